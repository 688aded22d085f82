// The per-code-point tables behind the built-in Unicode functions
// (unicode_tables.h), defined in unicode_tables.generated.cpp.
//
// Each array is named after its kind and the first and last code point it
// covers, and is declared here with its exact size: the generator
// (tools/gen/gen_unicode.py) reads these declarations to learn which tables
// to write, and a definition of another size does not compile.
#pragma once

#include <cstdint>

namespace lorvex::ucd::data {

// Type words; 0x00000400 for a code point that is not assigned.
extern const uint32_t kTypes_0000_06F9[0x06F9 - 0x0000 + 1];
extern const uint32_t kTypes_0901_0EDD[0x0EDD - 0x0901 + 1];
extern const uint32_t kTypes_10A0_11F9[0x11F9 - 0x10A0 + 1];
extern const uint32_t kTypes_1E00_21FF[0x21FF - 0x1E00 + 1];
extern const uint32_t kTypes_22F2_27BE[0x27BE - 0x22F2 + 1];
extern const uint32_t kTypes_3000_33FE[0x33FE - 0x3000 + 1];
extern const uint32_t kTypes_FB00_FBD2[0xFBD2 - 0xFB00 + 1];
extern const uint32_t kTypes_FD3E_FFFF[0xFFFF - 0xFD3E + 1];

// Simple case mappings; the code point itself where it has none.
extern const uint16_t kUpper_0101_0292[0x0292 - 0x0101 + 1];
extern const uint16_t kUpper_03AC_03F1[0x03F1 - 0x03AC + 1];
extern const uint16_t kUpper_0430_04F9[0x04F9 - 0x0430 + 1];
extern const uint16_t kUpper_1E01_1EF9[0x1EF9 - 0x1E01 + 1];
extern const uint16_t kUpper_1F00_1FF3[0x1FF3 - 0x1F00 + 1];
extern const uint16_t kLower_0100_0275[0x0275 - 0x0100 + 1];
extern const uint16_t kLower_0386_03EE[0x03EE - 0x0386 + 1];
extern const uint16_t kLower_0401_04F8[0x04F8 - 0x0401 + 1];
extern const uint16_t kLower_1E00_1EF8[0x1EF8 - 0x1E00 + 1];
extern const uint16_t kLower_1F08_1FFC[0x1FFC - 0x1F08 + 1];

// Width counterparts; 0 where there is none.
extern const uint16_t kFullWidth_FF61_FFEE[0xFFEE - 0xFF61 + 1];
extern const uint16_t kHalfWidth_2502_25CB[0x25CB - 0x2502 + 1];
extern const uint16_t kHalfWidth_3000_30FC[0x30FC - 0x3000 + 1];
extern const uint16_t kHalfWidth_3131_3164[0x3164 - 0x3131 + 1];

// (decimal digit, ASCII digit) pairs, sorted by the first.
inline constexpr unsigned kDigitPairCount = 179;
extern const uint16_t kDigitPairs[kDigitPairCount][2];

}  // namespace lorvex::ucd::data
