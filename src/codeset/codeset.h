// A read-only view of a loaded codeset part: the codeset description
// (table 0), the decode tree (table 1) and the from-Unicode data areas
// (tables 2 and 3).  The tables were checked when the part was loaded, so the
// per-character lookups here carry no range checks of their own.
#pragma once

#include <cstdint>

#include "frame/state.h"
#include "locale/layout.h"
#include "locale/registry.h"

namespace lorvex {

struct Codeset {
    const uint8_t *desc;     // table 0
    const uint8_t *tree;     // table 1, may be null
    const uint8_t *area1;    // table 2, may be null
    const uint8_t *area2;    // table 3, may be null

    explicit Codeset(const PartRecord *rec)
        : desc(rec->table[0]), tree(rec->table[1]), area1(rec->table[2]), area2(rec->table[3]) {}

    uint8_t substitution() const { return desc[layout::cs::kSubstitution]; }
    uint8_t shiftOut() const { return desc[layout::cs::kShiftOut]; }
    uint8_t shiftIn() const { return desc[layout::cs::kShiftIn]; }
    uint8_t eol1() const { return desc[layout::cs::kEol1]; }
    uint8_t eol2() const { return desc[layout::cs::kEol2]; }
    uint8_t maxBytes() const { return desc[layout::cs::kMaxBytes]; }
    uint16_t number() const { return layout::rd16(desc + layout::cs::kNumber); }
    uint16_t flags() const { return layout::rd16(desc + layout::cs::kFlags); }
    bool stateful() const { return (flags() & layout::cs::kFlagStateful) != 0; }
    bool ebcdic() const { return (flags() & layout::cs::kFlagEbcdic) != 0; }
    bool utf8() const { return number() == layout::cs::kUtf8Number; }

    // Length in bytes of the character whose first byte is b.
    uint8_t byteLength(uint8_t b) const { return desc[layout::cs::kByteLength + b]; }
    uint8_t upper(uint8_t b) const { return desc[layout::cs::kUpper + b]; }
    uint8_t lower(uint8_t b) const { return desc[layout::cs::kLower + b]; }
    uint16_t toUnicode(uint8_t b) const { return layout::rd16(desc + layout::cs::kToUnicode + 2 * b); }
    uint32_t typeWord(uint8_t b) const { return layout::rd32(desc + layout::cs::kTypes + 4 * b); }
    const uint8_t *page(uint8_t high) const { return desc + layout::cs::kPages + layout::cs::kPageSize * high; }
};

inline Codeset CodesetOf(const LXLocale *loc) { return Codeset(loc->codeset); }

}  // namespace lorvex
