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
