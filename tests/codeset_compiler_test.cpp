// The codeset compiler: every source rule is reported with its line, and the
// tables decode and encode what the source says, read by walking them as
// docs/data-format.md describes, independently of the library's conversion.
// (That every committed source gives back each of its lines through the
// compiled directory is convert_test.cpp's whole-repertoire check.)
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "codeset/validate.h"
#include "locale/layout.h"
#include "lxdc/codeset_compiler.h"
#include "support/codesets.h"

namespace lorvex::test {
namespace {

using namespace layout;
using lxdc::CompileCodeset;
using lxdc::Part;
using Bytes = std::vector<uint8_t>;
using Lines = std::vector<std::string>;

// at() throws on a position outside the table, which fails the test.
unsigned U8(const Bytes &t, size_t at) { return t.at(at); }
unsigned U16(const Bytes &t, size_t at) { return t.at(at) | t.at(at + 1) << 8; }

// The Unicode value of the character made of bytes s (one character).
unsigned Decode(const Part &p, const Bytes &s) {
    const Bytes &t0 = Table(p, 0), &t1 = Table(p, 1);
    if (s.size() == 1) return U16(t0, cs::kToUnicode + 2 * s[0]);
    uint32_t node = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        const size_t at = node * cs::kDecodeNodeSize;
        if (s[i] < U8(t1, at + 2) || s[i] > U8(t1, at + 3)) return 0xFFFD;
        const uint32_t next = (s[i] & U8(t1, at + 1)) + U16(t1, at + 4);
        if (U8(t1, at)) return U16(t1, U16(t0, cs::kDecodeValues) + 2 * size_t(next));
        node = next;
    }
    ADD_FAILURE() << "the decode walk needs more bytes than the character has";
    return 0;
}

// The packed code the page table gives for u.
uint32_t Encode(const Part &p, unsigned u) {
    const Bytes &t0 = Table(p, 0), &a1 = Table(p, 2), &a2 = Table(p, 3);
    const size_t e = cs::kPages + cs::kPageSize * (u >> 8);
    const unsigned kind = U8(t0, e), mask = U8(t0, e + 1), low = U8(t0, e + 2), high = U8(t0, e + 3);
    const size_t first = U16(t0, e + 4), second = U16(t0, e + 6);
    if ((u & 0xFF) < low || (u & 0xFF) > high) return U8(t0, cs::kSubstitution);
    const size_t i = (u & 0xFF) & mask;
    switch (kind) {
    case 0: return U8(a1, first + i);
    case 1: return U16(a1, first + 2 * i);
    case 2: return U8(a2, second + i) << 16 | U16(a1, first + 2 * i);
    case 3: return U16(a2, second + 2 * i) << 16 | U16(a1, first + 2 * i);
    case 4: return U8(a2, second + i) << 8 | U8(a1, first + i);
    default: ADD_FAILURE() << "page kind " << kind; return 0;
    }
}

unsigned PageKind(const Part &p, unsigned page) { return U8(Table(p, 0), cs::kPages + cs::kPageSize * page); }

Bytes Unpack(uint32_t code) {
    Bytes out;
    for (int shift = 24; shift > 0; shift -= 8)
        if (code >> shift) out.push_back(uint8_t(code >> shift));
    out.push_back(uint8_t(code));
    return out;
}

// --- compiler errors ----------------------------------------------------------

// A valid double-byte source; cases edit it.  Lines 1-8 properties, 9 "map",
// 10 0x41, 11 0x8140.
Lines BaseSource() {
    return {"name Test",          "part 900",   "number 900", "max-bytes 2", "substitution 0x3F",
            "family ascii",       "stateful no", "eol none",   "map",         "0x41 U+0041",
            "0x8140 U+3000"};
}

size_t Find(const Lines &l, const std::string &key) {
    for (size_t i = 0; i < l.size(); ++i)
        if (l[i] == key || l[i].rfind(key + " ", 0) == 0) return i;
    ADD_FAILURE() << "no line " << key;
    return 0;
}
// Edits: replace a property's line, drop it, insert lines before "map", append map lines.
using Edit = std::function<void(Lines &)>;
Edit Set(std::string key, std::string value) { return [=](Lines &l) { l[Find(l, key)] = key + " " + value; }; }
Edit Drop(std::string key) { return [=](Lines &l) { l.erase(l.begin() + ptrdiff_t(Find(l, key))); }; }
Edit Before(Lines add) { return [=](Lines &l) { l.insert(l.begin() + ptrdiff_t(Find(l, "map")), add.begin(), add.end()); }; }
Edit Append(Lines add) { return [=](Lines &l) { l.insert(l.end(), add.begin(), add.end()); }; }
Edit All(std::vector<Edit> edits) { return [=](Lines &l) { for (const Edit &e : edits) e(l); }; }

TEST(CodesetCompiler, ReportsEachRuleWithFileAndLine) {
    const std::string longName(36, 'N');
    const auto stateful = Before({"shift-out 0x0E", "shift-in 0x0F"});  // lines 9, 10
    struct Case { const char *what; Edit edit; int line; std::string fragment; };
    const Case cases[] = {
        {"unknown property", Before({"colour red"}), 9, "unknown property \"colour\""},
        {"repeated property", Before({"part 901"}), 9, "part repeated (first given on line 2)"},
        {"missing property", Drop("substitution"), 8, "property substitution is missing"},
        {"property without value", Set("part", ""), 2, "part takes one number"},
        {"name too long", Set("name", longName), 1, "longer than 35 bytes"},
        {"name with a space", Set("name", "Two Words"), 1, "one name without spaces"},
        {"part 0", Set("part", "0"), 2, "part 0 is out of range (1..65535)"},
        {"number too large", Set("number", "0x10000"), 3, "number 0x10000 is out of range"},
        {"max-bytes 5", Set("max-bytes", "5"), 4, "max-bytes 5 is out of range (1..4)"},
        {"not a number", Set("max-bytes", "two"), 4, "\"two\" is not a decimal or 0x hexadecimal number"},
        {"substitution 0", Set("substitution", "0"), 5, "substitution 0 is out of range (1..255)"},
        {"unknown family", Set("family", "latin"), 6, "family is ascii or ebcdic"},
        {"stateful neither yes nor no", Set("stateful", "maybe"), 7, "stateful is yes or no"},
        {"stateful without shift bytes", Set("stateful", "yes"), 9, "a stateful codeset needs shift-out"},
        {"shift byte 0x80 or above", All({Set("stateful", "yes"), Before({"shift-out 0x8E", "shift-in 0x0F"})}), 9,
         "shift-out 0x8E is out of range (1..127)"},
        {"equal shift bytes", All({Set("stateful", "yes"), Before({"shift-out 0x0E", "shift-in 0x0E"})}), 10,
         "shift-in must differ from shift-out"},
        {"shift bytes without stateful", Before({"shift-in 0x0F"}), 9, "shift bytes belong to stateful codesets only"},
        {"three eol bytes", Set("eol", "0x15 0x25 0x0B"), 8, "eol takes one or two bytes, or none"},
        {"eol byte 0", Set("eol", "0x00"), 8, "eol 0x00 is out of range (1..255)"},
        {"unknown arithmetic", Before({"arithmetic utf-16"}), 9, "arithmetic is utf-8"},
        {"utf-8 with another number", Before({"arithmetic utf-8"}), 3, "an arithmetic utf-8 codeset has number 106"},
        {"number 106 without arithmetic", Set("number", "106"), 3, "number 106 is UTF-8"},
        {"lead range backwards", Before({"lead 0x90-0x81 2"}), 9, "lead range 0x90-0x81 runs backwards"},
        {"lead longer than max-bytes", Before({"lead 0x90 3"}), 9, "lead length 3 exceeds max-bytes 2"},
        {"conflicting lead lines", Before({"lead 0x90 2", "lead 0x88-0x90 1"}), 10,
         "lead byte 0x90 already has length 2 (line 9)"},
        {"source without text", Before({"source"}), 9, "source takes a text"},
        {"no map section", [](Lines &l) { l.resize(8); }, 8, "no \"map\" line"},
        {"map with a value", Set("map", "now"), 9, "\"map\" stands alone on its line"},
        {"empty map", [](Lines &l) { l.resize(9); }, 9, "the map has no characters"},
        {"bytes without 0x", Append({"42 U+0042"}), 12, "\"42\" is not a byte sequence"},
        {"more than four bytes", Append({"0x8141424344 U+0042"}), 12, "is not a byte sequence"},
        {"not a Unicode value", Append({"0x42 0042"}), 12, "\"0042\" is not a Unicode value"},
        {"beyond UCS-2", Append({"0x42 U+10000"}), 12, "U+10000 is beyond UCS-2"},
        {"unknown direction", Append({"0x42 U+0042 both"}), 12, "direction is decode or encode, not \"both\""},
        {"too many fields", Append({"0x42 U+0042 decode extra"}), 12, "a map line is BYTES U+XXXX"},
        {"bytes decoded twice", Append({"0x8140 U+3001"}), 12, "0x8140 is already decoded on line 11"},
        {"decode line repeats bytes", Append({"0x8140 U+3001 decode"}), 12, "0x8140 is already decoded on line 11"},
        {"Unicode encoded twice", Append({"0x8141 U+3000"}), 12, "U+3000 is already encoded on line 11"},
        {"encode line repeats Unicode", Append({"0x8141 U+3000 encode"}), 12, "U+3000 is already encoded on line 11"},
        {"longer than max-bytes", Append({"0x8F8140 U+3001"}), 12, "0x8F8140 is 3 bytes, longer than max-bytes 2"},
        {"length differs from the lead's", Append({"0x81 U+0081"}), 12,
         "0x81 is 1 byte, but lead byte 0x81 begins 2-byte characters (line 11)"},
        {"length differs from a lead line", All({Before({"lead 0x90 1"}), Append({"0x9040 U+3002"})}), 13,
         "0x9040 is 2 bytes, but lead byte 0x90 begins 1-byte characters (line 9)"},
        {"zero trail byte", Append({"0x8100 U+3002"}), 12, "0x8100: a multibyte sequence cannot hold a zero byte"},
        {"zero lead byte", Append({"0x0041 U+3002"}), 12, "0x0041: a multibyte sequence cannot hold a zero byte"},
        {"utf-8 maps a longer character", All({Set("number", "106"), Before({"arithmetic utf-8"})}), 12,
         "arithmetic utf-8 maps only one-byte characters"},
        {"stateful character of another length",
         All({Set("stateful", "yes"), stateful, Set("max-bytes", "3"), Append({"0x818283 U+3003"})}), 13,
         "a stateful codeset's characters are 1 or max-bytes (3) bytes"},
        {"shift byte as a character", All({Set("stateful", "yes"), stateful, Append({"0x0E U+000E"})}), 14,
         "0x0E is a shift byte and cannot be a character"},
        {"stateful lead line", All({Set("stateful", "yes"), stateful, Before({"lead 0x81 2"})}), 11,
         "every byte of a stateful codeset has length 1"},
        {"max-bytes above the longest character", Set("max-bytes", "3"), 4,
         "max-bytes is 3, but no character is longer than 2 bytes"},
        {"substitution is a lead byte", Set("substitution", "0x81"), 5, "it must be a one-byte character"},
        {"comments and blank lines count", [](Lines &l) { l.insert(l.begin(), {"# header", ""}); l.push_back("0x8140 U+3001  # again"); },
         14, "0x8140 is already decoded on line 13"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Lines lines = BaseSource();
        c.edit(lines);
        try {
            std::string text;
            for (const std::string &l : lines) text += l + "\n";
            CompileCodeset(text, "t.txt");
            ADD_FAILURE() << "compiled without error";
        } catch (const lxdc::Error &e) {
            const std::string prefix = "t.txt:" + std::to_string(c.line) + ": ";
            EXPECT_EQ(std::string(e.what()).rfind(prefix, 0), 0u) << e.what();
            EXPECT_NE(std::string(e.what()).find(c.fragment), std::string::npos) << e.what();
        }
    }
}

// --- tables of small codesets ----------------------------------------------------

void ExpectCodes(const Part &p, const std::vector<std::pair<Bytes, unsigned>> &decodes,
                 const std::vector<std::pair<unsigned, uint32_t>> &encodes) {
    for (const auto &[bytes, u] : decodes) EXPECT_EQ(Decode(p, bytes), u) << ::testing::PrintToString(bytes);
    for (const auto &[u, code] : encodes) EXPECT_EQ(Encode(p, u), code) << std::hex << u;
}

TEST(CodesetCompiler, DoubleByteTablesDecodeAndEncode) {
    std::string text = "# a comment\n\n" + kSmallDouble;
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) text.insert(at, "\r");
    const Part p = CompileCodeset(text, "small.txt");
    EXPECT_EQ(p.kind, kCodeset);
    EXPECT_EQ(p.number, 900);
    EXPECT_EQ(p.name + " " + p.origin, "Small small.txt");
    ASSERT_EQ(p.tables.size(), 3u);  // no second data area
    const Bytes &t0 = Table(p, 0);
    EXPECT_EQ(ValidatePart(p), 0);
    EXPECT_EQ(U8(t0, cs::kMaxBytes), 2u);
    EXPECT_EQ(U16(t0, cs::kNumber), 900u);
    EXPECT_EQ(U8(t0, cs::kEol1) << 8 | U8(t0, cs::kEol2), 0x0B0Cu);
    EXPECT_EQ(U16(t0, cs::kFlags), 0u);
    EXPECT_EQ(U16(t0, cs::kVarStart), cs::kFixedMulti);
    for (unsigned b = 0; b < 256; ++b)
        EXPECT_EQ(U8(t0, cs::kByteLength + b), b >= 0x81 && b <= 0x83 ? 2u : 1u) << b;
    ExpectCodes(p,
                {{{0x00}, 0x0000}, {{0x41}, 0x0041}, {{0x43}, 0xFFFD},  // encode-only: not decoded
                 {{0x81}, 0xFFFD},                                      // a lead byte alone
                 {{0x81, 0x40}, 0x3000}, {{0x81, 0x41}, 0x3001}, {{0x81, 0x50}, 0x4E00}, {{0x81, 0xFE}, 0x4E01},
                 {{0x81, 0x42}, 0xFFFD},  // inside the row, unassigned
                 {{0x81, 0x3F}, 0xFFFD}, {{0x82, 0x82}, 0xFFFD},  // below, above the row
                 {{0x82, 0x40}, 0x00C0}, {{0x82, 0x80}, 0x3001}, {{0x82, 0x81}, 0xFF01},
                 {{0x83, 0x40}, 0xFFFD},  // lead byte without characters
                 {{0x80, 0x40}, 0xFFFD}, {{0x84, 0x40}, 0xFFFD}, {{0x41, 0x42}, 0xFFFD}},
                {{0x0000, 0x00}, {0x0041, 0x41}, {0x0042, 0x42}, {0xFF21, 0x43}, {0x3000, 0x8140},
                 {0x3001, 0x8141},  // the round trip wins over the decode-only duplicate
                 {0x4E00, 0x8150}, {0x4E01, 0x81FE}, {0x00C0, 0x8240}, {0xFF01, 0x8281}, {0x0043, 0x3F},
                 {0x0001, 0x3F}, {0x00C1, 0x3F}, {0x3002, 0x3F}, {0x4E02, 0x3F}, {0x1234, 0x3F}, {0xFFFF, 0x3F}});
    EXPECT_EQ(PageKind(p, 0x00), 1u);  // one- and two-byte codes
}

TEST(CodesetCompiler, StatefulTablesDecodeAndEncode) {
    const Part p = CompileCodeset(kSmallStateful, "shifty.txt");
    const Bytes &t0 = Table(p, 0);
    EXPECT_EQ(ValidatePart(p), 0);
    EXPECT_EQ(U16(t0, cs::kFlags), unsigned(cs::kFlagStateful | cs::kFlagEbcdic));
    EXPECT_EQ(U8(t0, cs::kShiftOut) << 8 | U8(t0, cs::kShiftIn), 0x0E0Fu);
    EXPECT_EQ(U8(t0, cs::kEol1) << 8 | U8(t0, cs::kEol2), 0x1500u);
    EXPECT_EQ(U8(t0, cs::kMaxBytes), 2u);
    for (unsigned b = 0; b < 256; ++b) EXPECT_EQ(U8(t0, cs::kByteLength + b), 1u) << b;
    // 0xC1C1 shares its first byte with the one-byte 0xC1.
    ExpectCodes(p,
                {{{0xC1}, 0x41}, {{0xC1, 0xC1}, 0xFF21}, {{0xC1, 0xC2}, 0xFF22}, {{0x40, 0x40}, 0x3000},
                 {{0x44, 0x82}, 0x3044}, {{0x44, 0x84}, 0xFFFD}, {{0xF0, 0xF0}, 0xFFFD}, {{0x0E}, 0xFFFD}},
                {{0x0041, 0xC1}, {0x0030, 0xF0}, {0xFF21, 0xC1C1}, {0x3000, 0x4040}, {0x3046, 0x4483},
                 {0x3044, 0x6F}, {0x0042, 0x6F}});
}

TEST(CodesetCompiler, ThreeAndFourByteSequences) {
    const Part p = CompileCodeset(kSmallWide, "wide.txt");
    EXPECT_EQ(ValidatePart(p), 0);
    for (auto [b, len] : {std::pair{0x8Fu, 3u}, {0x90u, 4u}, {0x91u, 4u}, {0xA1u, 2u}})
        EXPECT_EQ(U8(Table(p, 0), cs::kByteLength + b), len) << b;
    ExpectCodes(p,
                {{{0xA1, 0xA1}, 0x3000}, {{0xA1, 0xFE}, 0x3001}, {{0x8F, 0xA2, 0xAF}, 0x02D8},
                 {{0x8F, 0xA2, 0xB0}, 0x02C7}, {{0x8F, 0xB0, 0xA1}, 0x4E02}, {{0x90, 0x30, 0x81, 0x30}, 0x0080},
                 {{0x90, 0x30, 0x81, 0x31}, 0x0081}, {{0x90, 0x31, 0x81, 0x30}, 0x0100},
                 {{0x91, 0x30, 0xFE, 0x39}, 0x0101}, {{0x8F, 0xA3, 0xA1}, 0xFFFD}, {{0x8F, 0xA2, 0xA1}, 0xFFFD},
                 {{0x90, 0x32, 0x81, 0x30}, 0xFFFD}, {{0x90, 0x30, 0x82, 0x30}, 0xFFFD}, {{0xA2, 0xA1}, 0xFFFD}},
                {{0x02D8, 0x8FA2AF}, {0x4E02, 0x8FB0A1}, {0x0080, 0x90308130}, {0x0100, 0x90318130},
                 {0x0041, 0x41},  // a one-byte code on a four-byte page
                 {0x0101, 0x3F}, {0x3001, 0xA1FE}});
    EXPECT_EQ(PageKind(p, 0x00), 3u);
    EXPECT_EQ(PageKind(p, 0x02), 2u);
}

TEST(CodesetCompiler, SingleBytePagesShareIdenticalBlocks) {
    const Part p = CompileCodeset(CodesetSource("Single", 902, 1, "substitution 0x1A\nfamily ebcdic\neol 0x15",
                                                "0x15 U+0085\n0xC1 U+0041\n0x80 U+2010\n0x81 U+2011\n0x82 U+2012\n"
                                                "0x80 U+3010 encode\n0x81 U+3011 encode\n0x82 U+3012 encode\n"),
                                  "single.txt");
    ASSERT_EQ(p.tables.size(), 3u);
    EXPECT_TRUE(Table(p, 1).empty());
    const Bytes &t0 = Table(p, 0);
    EXPECT_EQ(t0.size(), cs::kFixedSingle);
    EXPECT_EQ(U16(t0, cs::kFlags), unsigned(cs::kFlagEbcdic));
    EXPECT_EQ(U16(t0, cs::kVarStart), 0u);
    EXPECT_EQ(U16(t0, cs::kDecodeValues), 0u);
    EXPECT_EQ(ValidatePart(p), 0);
    for (unsigned page : {0x00u, 0x20u, 0x30u}) EXPECT_EQ(PageKind(p, page), 0u);
    ExpectCodes(p, {{{0x80}, 0x2010}, {{0x83}, 0xFFFD}},
                {{0x3011, 0x81}, {0x2012, 0x82}, {0x0041, 0xC1}, {0x0042, 0x1A}});
    // Pages 20 and 30 hold the same bytes: both point at one copy.
    EXPECT_EQ(U16(t0, cs::kPages + cs::kPageSize * 0x20 + 4), U16(t0, cs::kPages + cs::kPageSize * 0x30 + 4));
}

TEST(CodesetCompiler, Utf8HasOnlyItsDescription) {
    const Part p = CompileCodeset(
        CodesetSource("UTF-8", 106, 4, "arithmetic utf-8\nlead 0xC0-0xDF 2\nlead 0xE0-0xEF 3\nlead 0xF0-0xF7 4",
                      AsciiMap()),
        "utf-8.txt");
    ASSERT_EQ(p.tables.size(), 1u);
    const Bytes &t0 = Table(p, 0);
    ASSERT_EQ(t0.size(), cs::kFixedMulti);
    for (uint32_t field : {cs::kVarStart, cs::kTypeTree, cs::kTypeRecords, cs::kTypeRecordsEnd})
        EXPECT_EQ(U16(t0, field), cs::kFixedMulti);
    for (unsigned b = 0; b < 256; ++b) {
        const unsigned len = b < 0xC0 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : b < 0xF8 ? 4 : 1;
        EXPECT_EQ(U8(t0, cs::kByteLength + b), len) << b;
        EXPECT_EQ(U16(t0, cs::kToUnicode + 2 * b), b < 0x80 ? b : 0xFFFDu) << b;
    }
    // Encoding is arithmetic: no page maps anything.
    for (unsigned page = 0; page < 256; ++page)
        EXPECT_GT(U8(t0, cs::kPages + cs::kPageSize * page + 2), U8(t0, cs::kPages + cs::kPageSize * page + 3));
    EXPECT_EQ(ValidatePart(p), 0);
}

// --- fitting in 65535 bytes ------------------------------------------------------

// A double-byte source of 126 lead bytes x 190 trail bytes whose Unicode
// values spread over `pages` pages from U+1000 on, each page used from its
// first to its last low byte.
std::string Spread(unsigned pages) {
    std::string s = "0x41 U+0041\n";
    const unsigned total = 126 * 190, perPage = (total + pages - 1) / pages;
    unsigned i = 0;
    for (unsigned lead = 0x81; lead <= 0xFE; ++lead)
        for (unsigned trail = 0x40; trail <= 0xFE; ++trail, ++i) {
            if (trail == 0x7F) { --i; continue; }
            const unsigned k = i % perPage, u = 0x1000 + (i / perPage) * 256 + k * 255 / (perPage - 1);
            char line[32];
            std::snprintf(line, sizeof line, "0x%02X%02X U+%04X\n", lead, trail, u);
            s += line;
        }
    return CodesetSource("Big", 903, 2, "", s);
}

TEST(CodesetCompiler, TwoBytePagesSplitOverBothAreasWhenOneIsNotEnough) {
    struct Case { unsigned pages, kind; };
    // 100 full pages of 16-bit codes fit in table 2 (51200 bytes); 150 need
    // 76800 and are split into 38400 bytes in each of tables 2 and 3.
    for (const Case c : {Case{100, 1}, Case{150, 4}}) {
        SCOPED_TRACE(c.pages);
        const std::string text = Spread(c.pages);
        const Part p = CompileCodeset(text, "big.txt");
        EXPECT_EQ(ValidatePart(p), 0);
        EXPECT_EQ(PageKind(p, 0x10), c.kind);
        EXPECT_EQ(p.tables.size(), c.kind == 4 ? 4u : 3u);
        for (const Bytes &t : p.tables) EXPECT_LE(t.size(), kMaxTableSize);
        unsigned checked = 0;
        for (const MapLine &m : ParseMap(text)) {
            ASSERT_EQ(Decode(p, Unpack(m.bytes)), m.u) << std::hex << m.bytes;
            ASSERT_EQ(Encode(p, m.u), m.bytes) << std::hex << m.u;
            ++checked;
        }
        EXPECT_EQ(checked, 126u * 190 + 1);
    }
}

}  // namespace
}  // namespace lorvex::test
