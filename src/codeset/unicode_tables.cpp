// The built-in Unicode functions: range tests, each followed by at most one
// table read.  Which ranges come from a per-code-point table and which follow
// a rule of their own is the library's choice and is written out here; the
// tables themselves are generated (unicode_tables_data.h).
#include "codeset/unicode_tables.h"

#include <algorithm>
#include <cstddef>

#include "codeset/unicode_tables_data.h"

namespace lorvex::ucd {

namespace {

using namespace data;

// The type word of a code point the tables do not describe.
constexpr uint32_t kUnassigned = 0x00000400;
// Ideographs and Hangul syllables are left-to-right letters; ideographs carry
// the ideograph script bit as well.
constexpr uint32_t kIdeograph = 0x40000801;
constexpr uint32_t kHangul = 0x00000801;
// Arabic presentation forms: right-to-left letters.
constexpr uint32_t kArabicForm = 0x00001001;
// Mathematical operators: symbols and other neutrals of the punctuation
// class; infinity is no symbol, and the minus and minus-or-plus signs
// terminate European numbers.
constexpr uint32_t kMathOperator = 0x02200020;
constexpr uint32_t kInfinity = 0x00200020;
constexpr uint32_t kMinusSign = 0x02008020;

// The entry of c in a table that starts at first; c is known to be inside.
template <class T, size_t N>
T At(const T (&table)[N], uint16_t first, uint16_t c) {
    return table[c - first];
}

// Reads the entry of c into out when c lies inside the table that starts at
// first.
template <class T, size_t N>
bool Within(const T (&table)[N], uint16_t first, uint16_t c, T &out) {
    if (c < first || size_t(c - first) >= N) return false;
    out = table[c - first];
    return true;
}

}  // namespace

uint32_t TypeWord(uint16_t c) {
    if (c <= 0x06F9) return At(kTypes_0000_06F9, 0x0000, c);
    if (c <= 0x0900) return kUnassigned;
    if (c <= 0x0EDD) return At(kTypes_0901_0EDD, 0x0901, c);
    if (c <= 0x109F) return kUnassigned;
    if (c <= 0x11F9) return At(kTypes_10A0_11F9, 0x10A0, c);
    if (c <= 0x1DFF) return kUnassigned;
    if (c <= 0x21FF) return At(kTypes_1E00_21FF, 0x1E00, c);
    if (c <= 0x22F1) {
        if (c == 0x221E) return kInfinity;
        if (c == 0x2212 || c == 0x2213) return kMinusSign;
        return kMathOperator;
    }
    if (c <= 0x27BE) return At(kTypes_22F2_27BE, 0x22F2, c);
    if (c <= 0x2FFF) return kUnassigned;
    if (c <= 0x33FE) return At(kTypes_3000_33FE, 0x3000, c);
    if (c <= 0x4DFF) return kUnassigned;
    if (c <= 0x9FA5) return kIdeograph;
    if (c <= 0xABFF) return kUnassigned;
    if (c <= 0xD7A3) return kHangul;
    if (c <= 0xF8FF) return kUnassigned;
    if (c <= 0xFA2D) return kIdeograph;
    if (c <= 0xFAFF) return kUnassigned;
    if (c <= 0xFBD2) return At(kTypes_FB00_FBD2, 0xFB00, c);
    if (c <= 0xFD3D) {
        // Two code points of this block are kept unassigned on purpose,
        // although their neighbours are all letters.
        if (c == 0xFBE9 || c == 0xFCE1) return kUnassigned;
        return kArabicForm;
    }
    return At(kTypes_FD3E_FFFF, 0xFD3E, c);
}

uint16_t Upper(uint16_t c) {
    if (c >= 0x0061 && c <= 0x007A) return uint16_t(c - 0x20);
    if (c >= 0x00E0 && c <= 0x00FE) return c == 0x00F7 ? c : uint16_t(c - 0x20);
    if (c == 0x00FF) return 0x0178;
    uint16_t u;
    if (Within(kUpper_0101_0292, 0x0101, c, u) || Within(kUpper_03AC_03F1, 0x03AC, c, u) ||
        Within(kUpper_0430_04F9, 0x0430, c, u))
        return u;
    if (c >= 0x0561 && c <= 0x0586) return uint16_t(c - 0x30);
    if (Within(kUpper_1E01_1EF9, 0x1E01, c, u) || Within(kUpper_1F00_1FF3, 0x1F00, c, u)) return u;
    if (c >= 0x2170 && c <= 0x217F) return uint16_t(c - 0x10);
    if (c >= 0x24D0 && c <= 0x24E9) return uint16_t(c - 0x1A);
    if (c >= 0xFF41 && c <= 0xFF5A) return uint16_t(c - 0x20);
    return c;
}

uint16_t Lower(uint16_t c) {
    if (c >= 0x0041 && c <= 0x005A) return uint16_t(c + 0x20);
    if (c >= 0x00C0 && c <= 0x00DE) return c == 0x00D7 ? c : uint16_t(c + 0x20);
    uint16_t l;
    if (Within(kLower_0100_0275, 0x0100, c, l) || Within(kLower_0386_03EE, 0x0386, c, l) ||
        Within(kLower_0401_04F8, 0x0401, c, l))
        return l;
    if (c >= 0x0531 && c <= 0x0556) return uint16_t(c + 0x30);
    // Georgian capitals map to the Mkhedruli letters, which have no upper
    // case of their own here.
    if (c >= 0x10A0 && c <= 0x10C5) return uint16_t(c + 0x30);
    if (Within(kLower_1E00_1EF8, 0x1E00, c, l) || Within(kLower_1F08_1FFC, 0x1F08, c, l)) return l;
    if (c >= 0x2160 && c <= 0x216F) return uint16_t(c + 0x10);
    if (c >= 0x24B6 && c <= 0x24CF) return uint16_t(c + 0x1A);
    if (c >= 0xFF21 && c <= 0xFF3A) return uint16_t(c + 0x20);
    return c;
}

uint16_t FullWidth(uint16_t c) {
    if (c == 0x0020) return 0x3000;
    if (c >= 0x0021 && c <= 0x007E) return uint16_t(c + 0xFEE0);
    switch (c) {
    case 0x00A2: return 0xFFE0;
    case 0x00A3: return 0xFFE1;
    case 0x00A5: return 0xFFE5;
    case 0x00A6: return 0xFFE4;
    case 0x00AC: return 0xFFE2;
    case 0x00AF: return 0xFFE3;
    case 0x20A9: return 0xFFE6;
    default: break;
    }
    uint16_t f = 0;
    Within(kFullWidth_FF61_FFEE, 0xFF61, c, f);
    return f;
}

uint16_t HalfWidth(uint16_t c) {
    if (c >= 0xFF01 && c <= 0xFF5E) return uint16_t(c - 0xFEE0);
    if (c >= 0x2190 && c <= 0x2193) return uint16_t(c - 0x2190 + 0xFFE9);
    static constexpr uint16_t kSigns[] = {0x00A2, 0x00A3, 0x00AC, 0x00AF, 0x00A6, 0x00A5, 0x20A9};
    if (c >= 0xFFE0 && c <= 0xFFE6) return kSigns[c - 0xFFE0];
    uint16_t h = 0;
    if (Within(kHalfWidth_2502_25CB, 0x2502, c, h) || Within(kHalfWidth_3000_30FC, 0x3000, c, h)) return h;
    Within(kHalfWidth_3131_3164, 0x3131, c, h);
    return h;
}

uint16_t AsciiDigit(uint16_t c) {
    const auto *end = kDigitPairs + kDigitPairCount;
    const auto *at = std::lower_bound(kDigitPairs, end, c,
                                      [](const uint16_t (&pair)[2], uint16_t v) { return pair[0] < v; });
    return at != end && (*at)[0] == c ? (*at)[1] : 0;
}

}  // namespace lorvex::ucd
