// Character types and case counterparts: the built-in Unicode tables, the
// character-type functions in their four forms, and the tables the data
// compiler derives from the Unicode tables for every codeset of the compiled
// locale directory.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "codeset/classify.h"
#include "codeset/unicode.h"
#include "codeset/unicode_tables.h"
#include "lxdc/codeset_compiler.h"
#include "support/codesets.h"

namespace lorvex::test {
namespace {

constexpr uint32_t kClass = LX_CTYPE_CLASS, kDirection = LX_CTYPE_DIRECTION, kScript = LX_CTYPE_SCRIPT;
constexpr uint32_t kItems[] = {kClass, kDirection, kScript};

// A type word put together again from the three fields a function returns.
template <class F>
uint32_t Word(F field) {
    return uint32_t(field(kClass)) | uint32_t(field(kDirection)) << 10 | uint32_t(field(kScript)) << 22;
}
uint32_t WordU(uint16_t u) {
    return Word([u](uint32_t item) { return LXGetCharTypeU(nullptr, u, item); });
}

class Classify : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(LXInit(LORVEX_TEST_LOCALE_DIR, nullptr, nullptr, 0, 0), LX_OK); }
    static void TearDownTestSuite() { LXTerm(); }

    // A locale of the named codeset, released at the end of the test.
    LXLocale *Locale(const std::string &codeset) {
        LXLocale *loc = LXGetLocale(("English_UnitedStates." + codeset).c_str(), 0, nullptr);
        EXPECT_NE(loc, nullptr) << codeset;
        if (loc) held_.push_back(loc);
        return loc;
    }
    void TearDown() override {
        for (LXLocale *loc : held_) LXReleaseLocale(loc, 0);
    }

private:
    std::vector<LXLocale *> held_;
};

TEST_F(Classify, UnicodeTypeWords) {
    const struct {
        uint16_t u;
        uint32_t word;
    } cases[] = {
        {'A', 0x10000A13}, {'g', 0x10000A05}, {'0', 0x10002218}, {' ', 0x121002C0}, {'\t', 0x020803C0},
        {0x00C0, 0x00C00803}, {0x0627, 0x00001001},
        // Ranges with one type word.
        {0x4E00, 0x40000801}, {0x9FA5, 0x40000801}, {0xF900, 0x40000801}, {0xFA2D, 0x40000801},
        {0xAC00, 0x00000801}, {0xD7A3, 0x00000801}, {0x2200, 0x02200020}, {0x22F1, 0x02200020},
        {0x221E, 0x00200020}, {0x2212, 0x02008020}, {0x2213, 0x02008020}, {0xFBD3, 0x00001001},
        {0xFD3D, 0x00001001}, {0xFBE9, 0x00000400}, {0xFCE1, 0x00000400},
        // Unassigned: between the tables, and inside one.
        {0x06FA, 0x00000400}, {0x0900, 0x00000400}, {0x1DFF, 0x00000400}, {0x9FA6, 0x00000400},
        {0xE000, 0x00000400}, {0xFA2E, 0x00000400}, {0xFFFF, 0x00000400},
    };
    for (const auto &c : cases) EXPECT_EQ(WordU(c.u), c.word) << std::hex << c.u;
}

// Rows that show one rule each (docs/character-types.md).
TEST_F(Classify, UnicodeTypeFields) {
    const struct {
        uint16_t u;
        uint32_t item, field;
    } cases[] = {
        {0x0041, kClass, 0x213}, {0x0041, kScript, 0x040}, {0x0660, kClass, 0x008}, {0x0660, kDirection, 0x040},
        {0xAC00, kScript, 0x000}, {0x4E00, kScript, 0x100},
        {0x00AA, kClass, 0x020},                            // ordinal indicator: punctuation
        {0x01C5, kClass, 0x003},                            // title case counts as upper case
        {0x00DF, kClass, 0x005}, {0x24B6, kClass, 0x003},   // circled letters are letters
        {0xFF21, kClass, 0x013}, {0xFF21, kScript, 0x080}, {0x00B2, kClass, 0x008}, {0x00B2, kDirection, 0x008},
        {0x00A0, kClass, 0x0C0}, {0x00A0, kDirection, 0x400}, {0x3000, kClass, 0x0C0}, {0x3000, kScript, 0x088},
        {0x000A, kClass, 0x340}, {0x000A, kDirection, 0x001}, {0x2028, kDirection, 0x100},
        {0x2029, kDirection, 0x100}, {'+', kDirection, 0x020}, {'-', kDirection, 0x020}, {'.', kDirection, 0x010},
        {'/', kDirection, 0x010}, {',', kDirection, 0x080}, {':', kDirection, 0x080}, {0x20AC, kDirection, 0x020},
        {0x200E, kDirection, 0x002}, {0x200F, kDirection, 0x004}, {0x200B, kDirection, 0x001},
        {0x0301, kClass, 0x020}, {0x0301, kDirection, 0x800}, {0x0301, kScript, 0x003},
        {'^', kScript, 0x04A}, {0x093F, kScript, 0x004}, {0x0640, kScript, 0x200},
        {0x30A2, kScript, 0x090}, {0x3042, kScript, 0x0A0}, {0x30AC, kScript, 0x093}, {0xFF71, kScript, 0x050},
        {0x3131, kScript, 0x000}, {0x3007, kScript, 0x100},
    };
    for (const auto &c : cases)
        EXPECT_EQ(uint32_t(LXGetCharTypeU(nullptr, c.u, c.item)), c.field) << std::hex << c.u << " " << c.item;
}

TEST_F(Classify, UnicodeCaseMappings) {
    const struct {
        uint16_t u, upper, lower;
    } cases[] = {
        {'a', 'A', 'a'}, {'A', 'A', 'a'}, {0x00F7, 0x00F7, 0x00F7}, {0x00D7, 0x00D7, 0x00D7},
        {0x00FF, 0x0178, 0x00FF}, {0x0178, 0x0178, 0x00FF}, {0x0131, 0x0049, 0x0131}, {0x0130, 0x0130, 0x0069},
        {0x017F, 0x0053, 0x017F}, {0x03C2, 0x03A3, 0x03C2}, {0x01C4, 0x01C4, 0x01C6}, {0x01C5, 0x01C5, 0x01C6},
        {0x01C6, 0x01C4, 0x01C6}, {0x0450, 0x0450, 0x0450}, {0x0400, 0x0400, 0x0400}, {0x0561, 0x0531, 0x0561},
        {0x10A0, 0x10A0, 0x10D0}, {0x10D0, 0x10D0, 0x10D0}, {0x2170, 0x2160, 0x2170}, {0x24B6, 0x24B6, 0x24D0},
        {0xFF41, 0xFF21, 0xFF41}, {0x1E00, 0x1E00, 0x1E01}, {0x1F00, 0x1F08, 0x1F00}, {0x00B5, 0x00B5, 0x00B5},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ucd::Upper(c.u), c.upper) << std::hex << c.u;
        EXPECT_EQ(ucd::Lower(c.u), c.lower) << std::hex << c.u;
    }
}

TEST_F(Classify, UnicodeWidthsAndDigits) {
    const struct {
        uint16_t u, full, half;
    } widths[] = {
        {0x0020, 0x3000, 0}, {0x0041, 0xFF21, 0}, {0x00A2, 0xFFE0, 0}, {0x00A4, 0, 0}, {0x20A9, 0xFFE6, 0},
        {0xFF76, 0x30AB, 0}, {0x30AB, 0, 0xFF76}, {0x30AC, 0, 0}, {0x3000, 0, 0x0020}, {0x3001, 0, 0xFF64},
        {0xFF21, 0, 0x0041}, {0xFFE0, 0, 0x00A2}, {0xFFE6, 0, 0x20A9}, {0x2190, 0, 0xFFE9}, {0x2502, 0, 0xFFE8},
        {0x25CB, 0, 0xFFEE}, {0xFFE8, 0x2502, 0}, {0x3131, 0, 0xFFA1}, {0xFFA1, 0x3131, 0},
    };
    for (const auto &c : widths) {
        EXPECT_EQ(ucd::FullWidth(c.u), c.full) << std::hex << c.u;
        EXPECT_EQ(ucd::HalfWidth(c.u), c.half) << std::hex << c.u;
    }
    const struct {
        uint16_t u, ascii;
    } digits[] = {
        {'0', '0'}, {'9', '9'}, {'A', 0}, {0x00B9, '1'}, {0x0669, '9'}, {0x06F0, '0'}, {0x0BE6, 0},
        {0x0BE7, '1'}, {0x0F29, '9'}, {0x2070, '0'}, {0x2071, 0}, {0x2089, '9'}, {0xFF10, '0'}, {0xFF1A, 0},
    };
    for (const auto &c : digits) EXPECT_EQ(ucd::AsciiDigit(c.u), c.ascii) << std::hex << c.u;
}

// The name given in a codeset source.
std::string SourceName(const std::string &text) {
    std::istringstream in(text);
    for (std::string key, value; in >> key;) {
        if (key == "name" && in >> value) return value;
        std::getline(in, key);
    }
    return "";
}

// Every character a codeset maps is classified as its Unicode value is, by
// every form, and its case counterpart is the codeset's character of the
// value's counterpart, where the codeset has it.
TEST_F(Classify, EveryCodesetAgreesWithUnicode) {
    unsigned codesets = 0;
    for (const auto &file : std::filesystem::directory_iterator(CodesetDataPath(""))) {
        const std::string text = ReadFile(file.path().string());
        SCOPED_TRACE(SourceName(text));
        LXLocale *loc = Locale(SourceName(text));
        if (!loc) continue;
        ++codesets;
        const Codeset cs = CodesetOf(loc);
        unsigned wrong = 0;
        auto expect = [&](bool ok, const MapLine &m, const char *what) {
            if (!ok && ++wrong <= 5) ADD_FAILURE() << what << " of " << std::hex << m.bytes << " (U+" << m.u << ")";
        };
        for (const MapLine &m : ParseMap(text)) {
            if (m.dir == 'e') continue;
            uint8_t b[4];
            const unsigned n = UnpackWchar(m.bytes, b);
            for (uint32_t item : kItems) {
                const int32_t want = LXGetCharTypeU(loc, m.u, item);
                const int32_t got = cs.stateful() ? LXGetCharTypeEx(loc, b, n > 1, item) : LXGetCharType(loc, b, item);
                expect(got == want, m, "type");
                expect(LXGetCharTypeW(loc, m.bytes, item) == want, m, "packed type");
            }
            for (bool upper : {true, false}) {
                const uint16_t v = upper ? ucd::Upper(m.u) : ucd::Lower(m.u);
                LXWchar want = m.bytes;
                if (v != m.u) {
                    const LXWchar c = EncodeToWchar(cs, v);
                    // One-byte characters have one-byte counterparts only.
                    if (DecodeWchar(cs, c) == v && (m.bytes > 0xFF || c <= 0xFF)) want = c;
                }
                expect(CaseMapPacked(cs, m.bytes, upper) == want, m, upper ? "upper case" : "lower case");
            }
        }
        EXPECT_EQ(wrong, 0u);
    }
    EXPECT_EQ(codesets, 24u);
}

// UTF-8 has no tables of its own beyond ASCII: every UCS-2 value is
// classified and case-mapped through the built-in tables.
TEST_F(Classify, Utf8CoversEveryUcs2Value) {
    LXLocale *loc = Locale("UTF-8");
    ASSERT_NE(loc, nullptr);
    const Codeset cs = CodesetOf(loc);
    unsigned wrong = 0;
    for (uint32_t u = 0; u <= 0xFFFF; ++u) {
        uint8_t b[4] = {};
        const LXWchar wc = PackBytes(b, EncodeUtf8(uint16_t(u), b));
        const uint16_t upper = ucd::Upper(uint16_t(u));
        uint8_t ub[4];
        const LXWchar wantUpper = PackBytes(ub, EncodeUtf8(upper, ub));
        const bool ok = Word([&](uint32_t item) { return LXGetCharType(loc, b, item); }) == WordU(uint16_t(u)) &&
                        CaseMapPacked(cs, wc, true) == wantUpper;
        if (!ok && ++wrong <= 5) ADD_FAILURE() << std::hex << "U+" << u;
    }
    EXPECT_EQ(wrong, 0u);
    const uint8_t beyond[] = {0xF0, 0x9F, 0x98, 0x80};
    EXPECT_EQ(LXGetCharType(loc, beyond, kClass), 0);
}

TEST_F(Classify, ExObeysAShiftByte) {
    LXLocale *loc = Locale("IBM939");
    ASSERT_NE(loc, nullptr);
    const uint8_t shiftedHiragana[] = {0x0E, 0x44, 0x81}, hiragana[] = {0x44, 0x81}, shiftedA[] = {0x0F, 0xC1};
    auto ex = [&](const uint8_t *s, LXState state) {
        return Word([&](uint32_t item) { return LXGetCharTypeEx(loc, s, state, item); });
    };
    EXPECT_EQ(ex(shiftedHiragana, 0), WordU(0x3042));
    EXPECT_EQ(ex(hiragana, 1), WordU(0x3042));
    EXPECT_EQ(ex(shiftedA, 1), WordU('A'));
    EXPECT_EQ(ex(shiftedA + 1, 0), WordU('A'));
    EXPECT_EQ(LXGetCharType(loc, shiftedHiragana, kClass), 0);  // the shift byte is no character
    LXLocale *ms1252 = Locale("MS1252");
    const uint8_t shiftOutByte[] = {0x0E};
    EXPECT_EQ(LXGetCharTypeEx(ms1252, shiftOutByte, 1, kClass), LXGetCharTypeU(ms1252, 0x0E, kClass));
    EXPECT_EQ(LXGetCharTypeW(ms1252, 0x4142, kClass), 0);  // no character of two bytes
}

TEST_F(Classify, UnknownSelectorGivesTheClassAndError2) {
    LXLocale *loc = Locale("MS932");
    ASSERT_NE(loc, nullptr);
    const uint8_t a[] = {'A'};
    const struct {
        const char *form;
        std::function<int32_t(uint32_t)> call;
    } forms[] = {
        {"U", [&](uint32_t item) { return LXGetCharTypeU(loc, 'A', item); }},
        {"W", [&](uint32_t item) { return LXGetCharTypeW(loc, 'A', item); }},
        {"mb", [&](uint32_t item) { return LXGetCharType(loc, a, item); }},
        {"Ex", [&](uint32_t item) { return LXGetCharTypeEx(loc, a, 0, item); }},
    };
    for (const auto &f : forms) {
        SCOPED_TRACE(f.form);
        EXPECT_EQ(f.call(0x80000013), 0x213);
        EXPECT_EQ(LXGetError(loc), LX_ERR_ARGUMENT);
        EXPECT_EQ(f.call(kScript), 0x040);
        EXPECT_EQ(LXGetError(loc), LX_OK);
    }
}

// Records the compiler cannot share: every decode-only spelling of "A" has
// its own distance to "a", and 8000 of them do not fit in table 0.
TEST(ClassifyCompiler, ReportsRecordsThatDoNotFit) {
    std::string map = "0x41 U+0041\n0x61 U+0061\n";
    char line[32];
    for (unsigned lead = 0x81; lead <= 0xBF; ++lead)
        for (unsigned trail = 0x40; trail <= 0xFE; ++trail)
            map += (std::snprintf(line, sizeof line, "0x%02X%02X U+0041 decode\n", lead, trail), line);
    try {
        lxdc::CompileCodeset(CodesetSource("Crowded", 900, 2, "", map), "crowded.txt");
        ADD_FAILURE() << "compiled";
    } catch (const lxdc::Error &e) {
        EXPECT_NE(std::string(e.what()).find("type tree and records need"), std::string::npos) << e.what();
    }
}

}  // namespace
}  // namespace lorvex::test
