// The library's built-in Unicode character data: the type word of every
// UCS-2 value, the simple case mappings, the half- and full-width
// counterparts and the digit table.  The per-code-point tables are generated
// (tools/gen/gen_unicode.py); the range tests around them are written here by
// hand because they are part of the library's classification rules, not of
// the Unicode data.
#pragma once

#include <cstdint>

namespace lorvex::ucd {

// The 32-bit type word: class bits 0-9, direction bits 10-21, script and
// width bits 22-31.
uint32_t TypeWord(uint16_t c);

// Simple case mappings; a value without a counterpart maps to itself.
uint16_t Upper(uint16_t c);
uint16_t Lower(uint16_t c);

// Width counterparts; 0 when the value has none (the caller keeps it).
uint16_t FullWidth(uint16_t c);
uint16_t HalfWidth(uint16_t c);

// The ASCII digit ('0'..'9') of a decimal digit in the digit table, else 0.
uint16_t AsciiDigit(uint16_t c);

}  // namespace lorvex::ucd
