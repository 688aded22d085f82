// Byte layouts of the locale files: the common header, control records, and
// the tables of the four part kinds.  The loader, the built-in data and the
// data compiler all include this one header, so that a layout exists in one
// place only.  docs/data-format.md describes every field in prose.
//
// All multi-byte integers in the files are little-endian.  Tables are read
// in place through read-only mappings, so readers go through rd16/rd32
// rather than casting: a table may start at any byte offset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace lorvex::layout {

inline uint16_t rd16(const uint8_t *p) { return uint16_t(p[0] | (p[1] << 8)); }
inline uint32_t rd32(const uint8_t *p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}
inline void wr16(uint8_t *p, uint16_t v) { p[0] = uint8_t(v); p[1] = uint8_t(v >> 8); }
inline void wr32(uint8_t *p, uint32_t v) {
    p[0] = uint8_t(v); p[1] = uint8_t(v >> 8); p[2] = uint8_t(v >> 16); p[3] = uint8_t(v >> 24);
}

// ---------------------------------------------------------------------------
// Common header of control.nls and every part file (76 bytes).
// ---------------------------------------------------------------------------
inline constexpr uint32_t kMagic = 0x476CF462u;     // bytes 62 F4 6C 47
inline constexpr uint32_t kHeaderSize = 76;
inline constexpr uint32_t kHdrMagic = 0;            // u32
inline constexpr uint32_t kHdrVersion = 4;          // u32; top 4 bits: table layout version
inline constexpr uint32_t kHdrTableCount = 8;       // u16, 1..4 (part files only)
// Table t: size u16 at kHdrTableSize[t], file offset u32 at kHdrTableOffset[t].
inline constexpr uint32_t kHdrTableSize[4] = {10, 16, 24, 32};
inline constexpr uint32_t kHdrTableOffset[4] = {12, 20, 28, 36};
inline constexpr uint32_t kMaxTables = 4;
inline constexpr uint32_t kMaxTableSize = 65535;
// Layout version written by our compiler: the current layout (0).  Version 1
// is the older packed codeset layout that the loader converts.
inline constexpr uint32_t kLayoutCurrent = 0;
inline constexpr uint32_t kLayoutPacked = 1;
inline uint32_t layoutVersion(uint32_t versionWord) { return versionWord >> 28; }

// ---------------------------------------------------------------------------
// Control file records (60 bytes each, in table 0 of control.nls).
// ---------------------------------------------------------------------------
inline constexpr uint32_t kRecordSize = 60;
inline constexpr uint32_t kRecNumber = 0;   // u16 part number
inline constexpr uint32_t kRecKind = 2;     // u8 kind 0..3
inline constexpr uint32_t kRecFlags = 3;    // u8, 0 in the file
inline constexpr uint32_t kRecName = 4;     // char[36], zero-terminated
inline constexpr uint32_t kNameSize = 36;

enum Kind : uint8_t { kLanguage = 0, kTerritory = 1, kCodeset = 2, kSort = 3 };
inline constexpr const char *kKindPrefix[4] = {"la", "te", "cp", "so"};

// ---------------------------------------------------------------------------
// Codeset description: table 0 of a codeset part.
//
// A single-byte codeset has the 4376-byte fixed part only.  A multibyte one
// has an 8752-byte fixed part (the second half is reserved, zero) and its
// variable data after it: the type tree and the type records.  The decode
// tree and decode values are table 1; the from-Unicode first and second data
// areas are tables 2 and 3.
// ---------------------------------------------------------------------------
namespace cs {
inline constexpr uint32_t kSubstitution = 0;      // u8: byte written for unmappable Unicode
inline constexpr uint32_t kShiftOut = 1;          // u8
inline constexpr uint32_t kShiftIn = 2;           // u8
inline constexpr uint32_t kEol1 = 3;              // u8: first further end-of-line byte, 0 = none
inline constexpr uint32_t kEol2 = 4;              // u8: second further end-of-line byte, 0 = none
inline constexpr uint32_t kMaxBytes = 5;          // u8: longest character
inline constexpr uint32_t kNumber = 6;            // u16: codeset number (IANA MIBenum)
inline constexpr uint32_t kReserved8 = 8;         // 2 bytes, zero
inline constexpr uint32_t kByteLength = 10;       // u8[256]: character length by first byte
inline constexpr uint32_t kUpper = 266;           // u8[256]: single-byte upper case (also the fold table)
inline constexpr uint32_t kLower = 522;           // u8[256]: single-byte lower case
inline constexpr uint32_t kToUnicode = 778;       // u16[256]: Unicode of one-byte characters
inline constexpr uint32_t kReserved1290 = 1290;   // 2 bytes, zero (aligns the type table)
inline constexpr uint32_t kTypes = 1292;          // u32[256]: type words of one-byte characters
inline constexpr uint32_t kPages = 2316;          // 256 x 8-byte from-Unicode page entries
inline constexpr uint32_t kFlags = 4364;          // u16: codeset flags (kFlag*)
inline constexpr uint32_t kVarStart = 4366;       // u16: start of variable data (8752), 0 if single-byte
inline constexpr uint32_t kTypeTree = 4368;       // u16: offset of the type tree (4-byte nodes)
inline constexpr uint32_t kTypeRecords = 4370;    // u16: offset of the type records (8 bytes each)
inline constexpr uint32_t kTypeRecordsEnd = 4372; // u16: end of the type records
inline constexpr uint32_t kDecodeValues = 4374;   // u16: offset of the decode values in table 1
inline constexpr uint32_t kFixedSingle = 4376;    // size of a single-byte description
inline constexpr uint32_t kFixedMulti = 8752;     // fixed part of a multibyte description

// Codeset flags (u16 at kFlags).
inline constexpr uint16_t kFlagEbcdic = 0x0001;   // EBCDIC family: digits F0-F9, minus 0x60
inline constexpr uint16_t kFlagStateful = 0x0002; // shift-out/shift-in codeset

// Page entry (8 bytes): kind u8, mask u8, low u8, high u8, first offset u16, second offset u16.
inline constexpr uint32_t kPageSize = 8;
// Decode tree node in table 1 (6 bytes): leaf u8, mask u8, low u8, high u8, base u16.
inline constexpr uint32_t kDecodeNodeSize = 6;
// Type tree node (4 bytes): leaf u8, mask u8, base u16.  Type record (8 bytes):
// type word u32, mapping delta u32.
inline constexpr uint32_t kTypeNodeSize = 4;
inline constexpr uint32_t kTypeRecordSize = 8;
// A type record is also the character's case record: class bit 0x002 (upper
// case: it has a lower-case counterpart) or 0x004 (lower case: it has an
// upper-case one) says which way the signed delta maps the packed code.

// Codeset number of UTF-8, converted arithmetically.
inline constexpr uint16_t kUtf8Number = 106;
}  // namespace cs

// Older packed codeset layout (layout version 1), read only by the converter.
namespace cs1 {
inline constexpr uint32_t kMaxBytes = 5;
inline constexpr uint32_t kFlags = 4360;
inline constexpr uint32_t kVarStart = 4362;
inline constexpr uint32_t kTypeTree = 4364;
inline constexpr uint32_t kTypeRecords = 4366;
inline constexpr uint32_t kTypeRecordsEnd = 4368;
inline constexpr uint32_t kDecodeValues = 4370;
inline constexpr uint32_t kFixed = 4372;          // bytes the converter reads at least
inline constexpr uint32_t kDecodeNodeSize = 4;    // leaf u8, mask u8, base u16
}  // namespace cs1

// ---------------------------------------------------------------------------
// Language block: table 0 of a language part.  u16 words; string offsets
// count bytes from the start of the block; strings are UCS-2, zero-terminated.
// ---------------------------------------------------------------------------
namespace la {
inline constexpr uint32_t kDefaultTerritory = 0;   // u16 part number
inline constexpr uint32_t kDefaultCodeset = 2;     // u16 part number
inline constexpr uint32_t kDefaultSort = 4;        // u16 part number, 0 = binary
inline constexpr uint32_t kUpperRuleCount = 6;     // u16
inline constexpr uint32_t kLowerRuleCount = 8;     // u16
inline constexpr uint32_t kStringOffsets = 10;     // u16[44]: strings 0..43
inline constexpr uint32_t kStringCount = 44;
inline constexpr uint32_t kStringsEnd = 98;        // u16: end of the last string = upper rules
inline constexpr uint32_t kUpperRules = 98;        // u16: offset of the upper-case rules
inline constexpr uint32_t kLowerRules = 100;       // u16: offset of the lower-case rules
inline constexpr uint32_t kFixed = 102;            // fixed part; strings follow
inline constexpr uint32_t kRuleSize = 8;           // four u16: from1, from2, to1, to2
// String indexes.
inline constexpr uint32_t kAbbrev = 0, kName = 1, kDay1 = 2, kAbday1 = 9, kMonth1 = 16,
                          kAbmonth1 = 29, kAm = 42, kPm = 43;
}  // namespace la

// ---------------------------------------------------------------------------
// Territory block: table 0 of a territory part.
// ---------------------------------------------------------------------------
namespace te {
inline constexpr uint32_t kDecimalPoint = 0;       // u16 UCS-2 character
inline constexpr uint32_t kThousandsSep = 2;
inline constexpr uint32_t kOtherSep = 4;
inline constexpr uint32_t kMonDecimalPoint = 6;
inline constexpr uint32_t kMonThousandsSep = 8;
inline constexpr uint32_t kFracDigits = 10;        // u16
inline constexpr uint32_t kCurrencyDigits = 12;    // u16
inline constexpr uint32_t kIntCurrencyDigits = 14; // u16
inline constexpr uint32_t kPSignPosn = 16;         // u8
inline constexpr uint32_t kNSignPosn = 17;         // u8
inline constexpr uint32_t kValue = 18;             // u8, item 84
inline constexpr uint32_t kFlagByte = 20;          // u8
inline constexpr uint32_t kStringOffsets = 22;     // u16[11]
inline constexpr uint32_t kStringCount = 11;
inline constexpr uint32_t kStringsEnd = 44;        // u16
inline constexpr uint32_t kFixed = 46;
// String indexes.
inline constexpr uint32_t kAbbrev = 0, kName = 1, kGrouping = 2, kMonGrouping = 3,
                          kCurrency = 4, kIntCurrency = 5, kPositiveSign = 6,
                          kNegativeSign = 7, kTimeFormat = 8, kDateFormat = 9,
                          kLongDateFormat = 10;
}  // namespace te

// ---------------------------------------------------------------------------
// Sort table: table 0 of a sort part.
// ---------------------------------------------------------------------------
namespace so {
inline constexpr uint32_t kDefaultSecondary = 0;   // u8
inline constexpr uint32_t kDefaultTertiary = 1;    // u8
inline constexpr uint32_t kExpansionCount = 2;     // u16
inline constexpr uint32_t kContractionCount = 4;   // u16
inline constexpr uint32_t kPages = 6;              // 256 x 4-byte page records
inline constexpr uint32_t kWeights = 0x406;        // u16 offset of the weight records
inline constexpr uint32_t kExpansions = 0x408;     // u16 offset of the expansion records
inline constexpr uint32_t kContractions = 0x40A;   // u16 offset of the contraction records
inline constexpr uint32_t kFixed = 0x40C;
inline constexpr uint32_t kPageRecordSize = 4;     // flags u8, class u8, base u16
inline constexpr uint32_t kWeightRecordSize = 6;   // weight u16, secondary u8, tertiary u8, flags u16
inline constexpr uint32_t kExpansionSize = 14;
inline constexpr uint32_t kContractionSize = 10;
}  // namespace so

}  // namespace lorvex::layout
