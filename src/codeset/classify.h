// Type words and case counterparts of codeset characters, read from the
// codeset part's single-byte tables and type tree (UTF-8, which has no tree,
// through its arithmetic decoding and the built-in Unicode tables).  Shared
// by the character-type functions, string mapping and the case-insensitive
// comparisons.
#pragma once

#include <cstdint>

#include "codeset/codeset.h"
#include "lorvex.h"

namespace lorvex {

// The type tree of a multibyte codeset that is not UTF-8.  record() gives
// the type record the n bytes at p select, or null when the bytes run out
// before a leaf.  The tree was validated at load, so the walk checks no
// ranges.  A loop that writes bytes keeps one of these in a local, so that
// the two offsets are not read again after every store.
struct TypeTree {
    const uint8_t *tree, *records;
    explicit TypeTree(const Codeset &cs)
        : tree(cs.desc + layout::rd16(cs.desc + layout::cs::kTypeTree)),
          records(cs.desc + layout::rd16(cs.desc + layout::cs::kTypeRecords)) {}
    const uint8_t *record(const uint8_t *p, unsigned n) const {
        const uint8_t *node = tree;
        for (unsigned i = 0; i < n; ++i) {
            const unsigned index = layout::rd16(node + 2) + (p[i] & node[1]);
            if (node[0]) return records + layout::cs::kTypeRecordSize * index;
            node = tree + layout::cs::kTypeNodeSize * index;
        }
        return nullptr;
    }
};

inline const uint8_t *TypeRecord(const Codeset &cs, const uint8_t *p, unsigned n) {
    return TypeTree(cs).record(p, n);
}

// Whether the character of a type record (null: none) has an upper-case
// (upper true) or lower-case counterpart.  The class bits say which way the
// record's delta leads: a lower-case letter's to its upper case, an
// upper-case letter's to its lower case.
inline bool HasCounterpart(const uint8_t *record, bool upper) {
    return record && (layout::rd32(record) & (upper ? LX_C_LOWER : LX_C_UPPER)) != 0;
}

// Type word of the character whose n bytes start at p; n is the length the
// codeset's walk gives it (the byte-length table, or the shifted width).
uint32_t TypeWordOf(const Codeset &cs, const uint8_t *p, unsigned n);

// Type word of a packed character: below 256 the single-byte table, else its
// bytes walk the type tree.
uint32_t TypeWordOfPacked(const Codeset &cs, LXWchar wc);

// The upper-case (upper true) or lower-case counterpart of a packed
// character through the codeset's case tables and records; wc itself when it
// has none.
LXWchar CaseMapPacked(const Codeset &cs, LXWchar wc, bool upper);

}  // namespace lorvex
