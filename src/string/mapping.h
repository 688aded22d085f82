// The language part's case rules, as string mapping reads them; the
// case-insensitive comparisons ask whether a locale has any.
#pragma once

#include <cstdint>

#include "frame/state.h"

namespace lorvex {

// One case table of a language part: rules of 8 bytes (first and second
// source character, first and second result character, 16 bits each; a
// second character of 0 means none).
class CaseRules {
public:
    CaseRules() = default;
    CaseRules(const LXLocale *loc, bool upper);

    bool empty() const { return count_ == 0; }
    // The rule for the pair (first, second), second 0 for a one-character
    // rule; null when there is none.  The table is short: a linear search.
    const uint8_t *find(uint16_t first, uint16_t second) const;

private:
    const uint8_t *rules_ = nullptr;
    uint32_t count_ = 0;
};

// Whether the locale's language part has upper-case (upper true) or
// lower-case rules.
inline bool HasCaseRules(const LXLocale *loc, bool upper) { return !CaseRules(loc, upper).empty(); }

}  // namespace lorvex
