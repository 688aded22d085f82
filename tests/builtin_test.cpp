// The built-in codeset, read back through the offsets of layout.h the way
// the loader and the character functions read a part file.  The built-in
// language and territory are checked byte for byte against their sources in
// locale_compiler_test.cpp.

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <string>
#include <vector>

#include "locale/builtin.h"
#include "locale/layout.h"

namespace {

using namespace lorvex::layout;
using lorvex::builtin::Table;

const uint8_t *cs0() { return lorvex::builtin::kCodeset.data; }

uint32_t typeWord(unsigned byte) { return rd32(cs0() + cs::kTypes + 4 * byte); }
uint32_t classOf(uint32_t w) { return w & 0x3FF; }
uint32_t directionOf(uint32_t w) { return (w >> 10) & 0xFFF; }
uint32_t scriptOf(uint32_t w) { return w >> 22; }

// Unicode value to codeset bytes through the page table and the first and
// second data areas, as the from-Unicode conversion walks them.  Only the
// kinds a single-byte codeset may use are accepted.
std::vector<uint8_t> fromUnicode(uint16_t u) {
    const uint8_t *e = cs0() + cs::kPages + cs::kPageSize * (u >> 8);
    uint8_t kind = e[0], mask = e[1], low = e[2], high = e[3];
    uint16_t first = rd16(e + 4);
    uint8_t lo = uint8_t(u);
    if (lo < low || lo > high) return {cs0()[cs::kSubstitution]};
    EXPECT_EQ(kind, 0) << "page " << (u >> 8);
    unsigned at = first + (lo & mask);
    const Table &t2 = lorvex::builtin::kCodesetTable2;
    if (at >= t2.size) {
        ADD_FAILURE() << "U+" << std::hex << u << " reads past table 2";
        return {};
    }
    return {t2.data[at]};
}

// ---------------------------------------------------------------------------
// Codeset "US-ASCII"
// ---------------------------------------------------------------------------

TEST(BuiltinCodeset, HeaderFields) {
    const uint8_t *d = cs0();
    ASSERT_EQ(lorvex::builtin::kCodeset.size, cs::kFixedSingle);
    EXPECT_EQ(d[cs::kSubstitution], '?');
    EXPECT_EQ(d[cs::kShiftOut], 0);
    EXPECT_EQ(d[cs::kShiftIn], 0);
    EXPECT_EQ(d[cs::kEol1], 0);
    EXPECT_EQ(d[cs::kEol2], 0);
    EXPECT_EQ(d[cs::kMaxBytes], 1);
    EXPECT_EQ(rd16(d + cs::kNumber), 3);  // MIBenum of US-ASCII
    EXPECT_EQ(rd16(d + cs::kFlags), 0);   // ASCII family, not stateful
    for (uint32_t at = cs::kVarStart; at < cs::kFixedSingle; ++at)
        EXPECT_EQ(d[at], 0) << "byte " << at << " of a single-byte description";
    for (unsigned b = 0; b < 256; ++b)
        EXPECT_EQ(d[cs::kByteLength + b], 1) << "byte length of " << b;
}

TEST(BuiltinCodeset, WholeTypeWords) {
    const struct {
        char c;
        uint32_t word;
    } cases[] = {
        {'A', 0x10000A13}, {'g', 0x10000A05}, {'0', 0x10002218}, {' ', 0x121002C0},
        {'\t', 0x020803C0},
    };
    for (const auto &c : cases)
        EXPECT_EQ(typeWord(uint8_t(c.c)), c.word) << std::hex << "byte 0x" << int(c.c);
}

// The class bits of every ASCII byte agree with the C library's "C" locale.
TEST(BuiltinCodeset, ClassBitsMatchCLocale) {
    const struct {
        uint32_t bit;
        int (*test)(int);
        const char *name;
    } classes[] = {
        {0x001, isalpha, "letter"}, {0x002, isupper, "upper"}, {0x004, islower, "lower"},
        {0x008, isdigit, "digit"},  {0x010, isxdigit, "hex"},  {0x020, ispunct, "punct"},
        {0x040, isspace, "space"},  {0x080, isblank, "blank"}, {0x100, iscntrl, "control"},
    };
    for (unsigned b = 0; b < 0x80; ++b) {
        uint32_t cls = classOf(typeWord(b));
        EXPECT_TRUE(cls & 0x200) << "7-bit bit of " << b;
        for (const auto &c : classes)
            EXPECT_EQ((cls & c.bit) != 0, c.test(int(b)) != 0) << c.name << " of byte " << b;
    }
}

TEST(BuiltinCodeset, DirectionAndScriptFields) {
    for (unsigned b = 0; b < 0x80; ++b) {
        uint32_t w = typeWord(b), dir = directionOf(w);
        EXPECT_TRUE(dir != 0 && (dir & (dir - 1)) == 0) << "one direction bit for " << b;
        EXPECT_EQ((scriptOf(w) & 0x040) != 0, b >= 0x20 && b < 0x7F) << "half-width " << b;
        EXPECT_EQ((scriptOf(w) & 0x008) != 0, ispunct(int(b)) || isspace(int(b))) << "symbol " << b;
    }
    const struct {
        const char *chars;
        uint32_t dir;
    } dirs[] = {
        {"0123456789", 0x008}, {"./", 0x010}, {"#$%+-", 0x020}, {",:", 0x080},
        {" ", 0x400},          {"\t", 0x200}, {"\n\r", 0x001},  {"Az", 0x002},
        {"!\"&'()*;<=>?@[\\]^_`{|}~", 0x800},
    };
    for (const auto &d : dirs)
        for (const char *p = d.chars; *p; ++p)
            EXPECT_EQ(directionOf(typeWord(uint8_t(*p))), d.dir) << "direction of '" << *p << "'";
    for (unsigned b = 0x80; b < 0x100; ++b) EXPECT_EQ(typeWord(b), 0u) << "byte " << b;
}

TEST(BuiltinCodeset, CaseTablesAgree) {
    const uint8_t *up = cs0() + cs::kUpper, *lo = cs0() + cs::kLower;
    for (unsigned b = 0; b < 256; ++b) {
        uint32_t cls = b < 0x80 ? classOf(typeWord(b)) : 0;
        if (cls & 0x004) {  // lower case letter
            EXPECT_EQ(up[b], b - 0x20) << "upper of " << b;
            EXPECT_EQ(lo[up[b]], b) << "lower of upper of " << b;
            EXPECT_EQ(lo[b], b) << "lower of lower " << b;
        } else if (cls & 0x002) {
            EXPECT_EQ(lo[b], b + 0x20) << "lower of " << b;
            EXPECT_EQ(up[lo[b]], b) << "upper of lower of " << b;
            EXPECT_EQ(up[b], b) << "upper of upper " << b;
        } else {
            EXPECT_EQ(up[b], b) << "upper of non-letter " << b;
            EXPECT_EQ(lo[b], b) << "lower of non-letter " << b;
        }
    }
}

TEST(BuiltinCodeset, UnicodeRoundTrip) {
    for (unsigned b = 0; b < 256; ++b) {
        uint16_t u = rd16(cs0() + cs::kToUnicode + 2 * b);
        if (b < 0x80) {
            EXPECT_EQ(u, b);
            EXPECT_EQ(fromUnicode(u), std::vector<uint8_t>{uint8_t(b)}) << "U+" << std::hex << u;
        } else {
            EXPECT_EQ(u, 0xFFFD) << "byte " << b;
        }
    }
    const std::vector<uint8_t> sub{'?'};
    for (unsigned u : {0x0080, 0x00E9, 0x00FF, 0x0100, 0x0141, 0x20AC, 0x3000, 0xFF21, 0xFFFD})
        EXPECT_EQ(fromUnicode(uint16_t(u)), sub) << "U+" << std::hex << u;
    // Every page but the first maps nothing.
    for (unsigned p = 1; p < 256; ++p) {
        const uint8_t *e = cs0() + cs::kPages + cs::kPageSize * p;
        EXPECT_GT(e[2], e[3]) << "page " << p << " has an empty range";
    }
}

}  // namespace
