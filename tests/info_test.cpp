// Information items over the compiled locale directory: reading items in the
// four text forms and as numbers, overriding them, switching parts, and the
// rollback of a failed allocation.  Expected codeset bytes come from glibc
// iconv where a codeset other than ASCII is involved, so that the library's
// tables and its shift handling are checked against an independent encoder.
#include <gtest/gtest.h>
#include <iconv.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "format/items.h"
#include "frame/state.h"
#include "locale/layout.h"
#include "locale/locale_object.h"
#include "locale/registry.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

using Bytes = std::vector<uint8_t>;
using Units = std::vector<LXUchar>;
constexpr uint8_t SO = 0x0E, SI = 0x0F;

Bytes B(const char *s) { return Bytes(s, s + std::strlen(s)); }
Units U(const char *s) { return Units(s, s + std::strlen(s)); }  // ASCII only
const unsigned char *Z(const char *s) { return reinterpret_cast<const unsigned char *>(s); }

// The text in the named codeset, encoded by glibc iconv.
Bytes Iconv(const char *codeset, const Units &u) {
    iconv_t cd = iconv_open(codeset, "UTF-16LE");
    EXPECT_NE(cd, iconv_t(-1)) << codeset;
    if (cd == iconv_t(-1)) return {};
    Bytes in;
    for (LXUchar c : u) in.insert(in.end(), {uint8_t(c), uint8_t(c >> 8)});
    Bytes out(u.size() * 6 + 8);
    char *ip = reinterpret_cast<char *>(in.data()), *op = reinterpret_cast<char *>(out.data());
    size_t il = in.size(), ol = out.size();
    EXPECT_NE(iconv(cd, &ip, &il, &op, &ol), size_t(-1)) << codeset;
    EXPECT_NE(iconv(cd, nullptr, nullptr, &op, &ol), size_t(-1));  // back to the initial state
    iconv_close(cd);
    out.resize(out.size() - ol);
    return out;
}

struct Release {
    void operator()(LXLocale *loc) const { LXReleaseLocale(loc, 0); }
};

// A locale object by name, released at the end of the scope.
struct Locale : std::unique_ptr<LXLocale, Release> {
    explicit Locale(const std::string &name) : unique_ptr(LXGetLocale(name.c_str(), 0, nullptr)) {
        EXPECT_NE(get(), nullptr) << name;
    }
    operator LXLocale *() const { return get(); }
};

PartRecord *FindPart(layout::Kind kind, const char *name) {
    int32_t err = -1;
    PartRecord *rec = LXFindPartByName(Library().registry, kind, name, int32_t(std::strlen(name)), kLoad, &err);
    EXPECT_NE(rec, nullptr) << name << ": error " << err;
    return rec;
}

// The item's text in the codeset (terminator not included), checking that
// the result counts what was written.
Bytes Text(LXLocale *h, int32_t item, uint32_t flags = 0) {
    unsigned char buf[300];
    const int32_t n = LXGetLocaleTextInfo(h, item, buf, sizeof buf, flags);
    if (n < 1) return {0xEE, uint8_t(n), uint8_t(LXGetError(h))};  // never text of a real item
    EXPECT_EQ(buf[n - 1], 0) << "item " << item;
    return Bytes(buf, buf + n - 1);
}
Units TextU(LXLocale *h, int32_t item, uint32_t flags = 0) {
    LXUchar buf[300];
    const int32_t n = LXGetLocaleTextInfoU(h, item, buf, 300, flags);
    if (n < 1) return {0xEEEE};
    return Units(buf, buf + n - 1);
}

// Every byte of an object but its error field, and the content of its strings.
struct Snapshot {
    LXLocale fields;
    std::vector<std::string> strings;
    std::vector<Units> units;
    explicit Snapshot(const LXLocale *l) : fields(*l) {
        fields.error = 0;
        for (int i = 0; i < 8; ++i) {
            strings.push_back(l->strings[i] ? reinterpret_cast<const char *>(l->strings[i]) : "(null)");
            units.emplace_back();
            for (const LXUchar *p = l->stringsU[i]; p && *p; ++p) units.back().push_back(*p);
        }
    }
    bool operator==(const Snapshot &o) const {
        return !std::memcmp(&fields, &o.fields, sizeof fields) && strings == o.strings && units == o.units;
    }
};

class Info : public ::testing::Test {
protected:
    static CountingAllocator &alloc() {
        static CountingAllocator a;
        return a;
    }
    static void SetUpTestSuite() {
        ASSERT_EQ(LXInit(LORVEX_TEST_LOCALE_DIR, &CountingAllocator::Alloc, &CountingAllocator::Free,
                         alloc().context(), 0),
                  LX_OK);
    }
    static void TearDownTestSuite() { LXTerm(); }
};

// English_UnitedStates has the values the documentation gives for the
// built-in locale; German_Germany those of its data sources.
TEST_F(Info, ReadsTheCompiledData) {
    Locale en("English_UnitedStates.US-ASCII"), de("German_Germany.MS1252");
    const struct { LXLocale *h; int32_t item; const char *text; } texts[] = {
        {en, 2, "English"}, {en, 3, "EN"}, {en, 4, "English"}, {en, 6, "UnitedStates"}, {en, 7, "USA"},
        {en, 8, "United States"}, {en, 10, "US-ASCII"}, {en, 12, "Binary"}, {en, 13, "UnitedStates"},
        {en, 14, "MS1252"}, {en, 15, "Binary"}, {en, 16, "Sunday"}, {en, 22, "Saturday"}, {en, 23, "Sun"},
        {en, 29, "Sat"}, {en, 30, "January"}, {en, 41, "December"}, {en, 42, ""}, {en, 43, "Jan"},
        {en, 55, ""}, {en, 56, "AM"}, {en, 57, "PM"}, {en, 59, "."}, {en, 60, ","}, {en, 61, ","},
        {en, 62, "3;0"}, {en, 64, "$"}, {en, 65, "USD"}, {en, 66, "."}, {en, 67, ","}, {en, 68, "3;0"},
        {en, 71, ""}, {en, 72, "-"}, {en, 79, "%#I:%M:%S %p"}, {en, 80, "%#m/%#d/%y"},
        {en, 81, "%A, %B %d, %Y"}, {en, 88, "English_UnitedStates.US-ASCII@Binary"},
        {de, 17, "Montag"}, {de, 24, "Mo"}, {de, 32, "M\xE4rz"}, {de, 45, "M\xE4r"}, {de, 56, ""},
        {de, 59, ","}, {de, 60, "."}, {de, 61, ";"}, {de, 64, "\x80"}, {de, 65, "EUR"},
        {de, 79, "%H:%M:%S"}, {de, 80, "%d.%m.%Y"}, {de, 13, "Germany"}, {de, 88, "German_Germany.MS1252@Binary"}};
    for (const auto &c : texts)
        for (uint32_t flags : {0u, 1u}) EXPECT_EQ(Text(c.h, c.item, flags), B(c.text)) << c.item << "/" << flags;
    EXPECT_EQ(TextU(de, 64), Units{0x20AC});
    const struct { LXLocale *h; int32_t item, value; } numbers[] = {
        {en, 1, 1}, {en, 5, 1}, {en, 9, 1}, {en, 11, 0}, {en, 58, 1}, {en, 63, 2}, {en, 69, 2}, {en, 70, 2},
        {en, 73, 1}, {en, 74, 0}, {en, 75, 1}, {en, 76, 0}, {en, 77, 3}, {en, 78, 0}, {en, 82, 1},
        {en, 83, 1}, {en, 84, 0}, {en, 85, 1}, {en, 86, 1}, {en, 87, 0}, {de, 1, 2}, {de, 5, 276},
        {de, 9, 2252}, {de, 73, 0}, {de, 74, 1}, {de, 75, 0}, {de, 76, 1}, {de, 77, 1}, {de, 78, 1}};
    for (const auto &c : numbers)
        for (uint32_t flags : {0u, 1u}) EXPECT_EQ(LXGetLocaleNumInfo(c.h, c.item, flags), c.value) << c.item;
}

TEST_F(Info, RoomAndCounting) {
    Locale de("German_Germany.MS1252"), ja("Japanese_Japan.MS932");
    const Bytes monday = Iconv("CP932", {0x6708, 0x66DC, 0x65E5});  // three double-byte characters
    ASSERT_EQ(monday.size(), 6u);
    const struct {
        LXLocale *h;
        int32_t item, size;
        uint32_t flags;
        int32_t result;
        Bytes written;  // before the terminator
    } cases[] = {
        {de, 59, 100, 0, 2, B(",")},  // a separator is one character whatever the room
        {de, 60, 100, LX_LEN_CHARS, 2, B(".")}, {de, 17, 1, 0, 1, {}}, {de, 17, 4, 0, 4, B("Mon")},
        {de, 17, 4, LX_LEN_CHARS, 4, B("Mon")},
        {ja, 17, 2, 0, 1, {}},  // no room for a double-byte character and the terminator
        {ja, 17, 3, 0, 3, Bytes(monday.begin(), monday.begin() + 2)},
        {ja, 17, 6, 0, 5, Bytes(monday.begin(), monday.begin() + 4)}, {ja, 17, 7, 0, 7, monday},
        {ja, 17, 3, LX_LEN_CHARS, 3, Bytes(monday.begin(), monday.begin() + 4)}, {ja, 17, 4, LX_LEN_CHARS, 4, monday},
    };
    for (const auto &c : cases) {
        unsigned char buf[32];
        std::memset(buf, 0xA5, sizeof buf);
        ASSERT_EQ(LXGetLocaleTextInfo(c.h, c.item, buf, c.size, c.flags), c.result) << c.item << "/" << c.size;
        EXPECT_EQ(Bytes(buf, buf + c.written.size()), c.written) << c.item << "/" << c.size;
        EXPECT_EQ(buf[c.written.size()], 0);
        EXPECT_EQ(buf[c.written.size() + 1], 0xA5) << "wrote past the terminator";
        EXPECT_EQ(LXGetError(c.h), LX_OK);
    }
    unsigned char untouched = 0xA5;
    EXPECT_EQ(LXGetLocaleTextInfo(de, 17, &untouched, 0, 0), 0);
    EXPECT_EQ(untouched, 0xA5);
    LXUchar u[4];
    EXPECT_EQ(LXGetLocaleTextInfoU(de, 59, u, 4, 0), 2);
    EXPECT_EQ(u[0], u',');
}

// The plain, Ex, U and W getters give one text; iconv says what the bytes
// must be, shift bytes of the stateful IBM939 included.
TEST_F(Info, TextFormsAgree) {
    const struct { const char *name, *iconvName; std::vector<int32_t> items; } locales[] = {
        {"German_Germany.MS1252", "CP1252", {17, 32, 59, 64, 81, 88}},
        {"Japanese_Japan.MS932", "CP932", {17, 24, 56, 59, 64, 79, 88}},
        {"Japanese_Japan.IBM939", "IBM939", {17, 24, 56, 59, 79, 88}},
        {"Japanese_Japan.UTF-8", "UTF-8", {17, 56, 64, 88}},
    };
    for (const auto &l : locales) {
        Locale h(l.name);
        for (int32_t item : l.items) {
            SCOPED_TRACE(std::string(l.name) + " item " + std::to_string(item));
            const Units u = TextU(h, item);
            const Bytes plain = Text(h, item);
            EXPECT_EQ(plain, Iconv(l.iconvName, u));
            unsigned char ex[64];
            const int32_t n = LXGetLocaleTextInfoEx(h, item, ex, 64, 0, 0);
            EXPECT_EQ(Bytes(ex, ex + n - 1), plain);
            // W: one packed character each, the same bytes without shifts.
            LXWchar w[64];
            const int32_t wn = LXGetLocaleTextInfoW(h, item, w, 64, 0);
            ASSERT_EQ(wn, int32_t(u.size()) + 1);
            Bytes unpacked;
            for (int32_t i = 0; i < wn - 1; ++i) {
                unsigned char one[4];
                const int32_t k = LXPutChar(h, one, w[i]);
                unpacked.insert(unpacked.end(), one, one + k);
            }
            Bytes unshifted;
            for (uint8_t b : plain)
                if (!LXGetLocaleNumInfo(h, LXI_STATEFUL, 0) || (b != SO && b != SI)) unshifted.push_back(b);
            EXPECT_EQ(unpacked, unshifted);
        }
    }
    // Ex output carries on from a caller in state 1: no shift-out before a
    // double-byte character, a shift-in before a single-byte one.
    Locale ibm("Japanese_Japan.IBM939");
    const Bytes monday = Iconv("IBM939", {0x6708, 0x66DC, 0x65E5});
    unsigned char ex[64];
    const int32_t n = LXGetLocaleTextInfoEx(ibm, 17, ex, 64, 1, 0);
    EXPECT_EQ(Bytes(ex, ex + n - 1), Bytes(monday.begin() + 1, monday.end()));
    Bytes name{SI};
    for (uint8_t b : Text(ibm, 88)) name.push_back(b);
    const int32_t m = LXGetLocaleTextInfoEx(ibm, 88, ex, 64, 1, 0);
    EXPECT_EQ(Bytes(ex, ex + m - 1), name);
    // A separator's room is one character: from state 1 only the shift-in fits.
    EXPECT_EQ(LXGetLocaleTextInfoEx(ibm, 59, ex, 64, 1, 0), 2);
    EXPECT_EQ(Bytes(ex, ex + 2), (Bytes{SI, 0}));
    // Cut inside a shifted run: the text is still closed in state 0.
    EXPECT_EQ(LXGetLocaleTextInfo(ibm, 17, ex, 6, 0), 5);
    EXPECT_EQ(Bytes(ex, ex + 5), (Bytes{SO, monday[1], monday[2], SI, 0}));
}

TEST_F(Info, GetTextItemReportsWhereTheTextLives) {
    Locale l("German_Germany.MS1252");
    const struct { int32_t item, current, form, formU; } cases[] = {
        {2, 1, 3, 3}, {13, 1, 3, 3}, {16, 1, 1, 1}, {65, 1, 1, 1}, {59, 1, 2, 1}, {59, 0, 1, 1},
        {62, 1, 2, 1}, {62, 0, 1, 1}, {81, 1, 2, 1}};
    for (const auto &c : cases) {
        int32_t form = 0, formU = 0;
        EXPECT_NE(LXLocaleGetTextItem(l, c.item, c.current, &form), nullptr) << c.item;
        EXPECT_NE(LXLocaleGetTextItemU(l, c.item, c.current, &formU), nullptr) << c.item;
        EXPECT_EQ(form, c.form) << c.item;
        EXPECT_EQ(formU, c.formU) << c.item;
    }
    EXPECT_EQ(LXLocaleGetTextItem(l, 62, 1, nullptr), l->strings[0]);
    EXPECT_EQ(LXLocaleGetTextItemU(l, 62, 1, nullptr), l->stringsU[0]);
    for (int32_t item : {0, 1, 5, 9, 11, 58, 63, 69, 70, 73, 77, 78, 82, 88}) {
        int32_t form = -7;
        EXPECT_EQ(LXLocaleGetTextItem(l, item, 1, &form), nullptr) << item;
        EXPECT_EQ(form, -7);
        EXPECT_EQ(LXGetError(l), LX_ERR_UNKNOWN_ITEM);
    }
}

// Every failure leaves the object as it was.
TEST_F(Info, ErrorCodes) {
    Locale l("English_UnitedStates.US-ASCII");
    const Snapshot before(l);
    unsigned char buf[16];
    LXUchar ubuf[16];
    const struct { int32_t item; uint32_t flags; int32_t error; } numGets[] = {
        {77, 2, 2}, {12, 0, 35} /* a text item */, {0, 0, 35}, {88, 0, 35}, {89, 0, 35}};
    for (const auto &c : numGets) {
        EXPECT_EQ(LXGetLocaleNumInfo(l, c.item, c.flags), -1) << c.item;
        EXPECT_EQ(LXGetError(l), c.error) << c.item;
    }
    const struct { int32_t item; uint32_t flags; int32_t error; } textGets[] = {
        {0, 0, 35}, {89, 0, 35}, {63, 0, 35} /* a number item */, {16, 2, 2}};
    for (const auto &c : textGets) {
        EXPECT_EQ(LXGetLocaleTextInfo(l, c.item, buf, 16, c.flags), -1) << c.item;
        EXPECT_EQ(LXGetError(l), c.error) << c.item;
    }
    EXPECT_EQ(LXGetLocaleTextInfoU(l, 16, ubuf, 16, 0x4001), 7);
    EXPECT_EQ(LXGetError(l), LX_OK);
    EXPECT_EQ(LXGetLocaleTextInfoU(l, 16, ubuf, 16, 0x8000), -1);
    EXPECT_EQ(LXGetError(l), 2);
    const struct { int32_t item, value, result, error; } numSets[] = {
        {77, 5, 0, 37}, {78, -1, 0, 37}, {73, 2, 0, 37}, {84, 0, 0, 35}, {58, 0, 0, 35}, {64, 0, 0, 35},
        {1, 9999, 0, 37} /* language */, {5, -1, 0, 37} /* territory */, {11, 3, 0, 37}, {11, 0, 1, 0} /* sort */};
    for (const auto &c : numSets) {
        EXPECT_EQ(LXSetLocaleNumInfo(l, c.item, c.value), c.result) << c.item;
        EXPECT_EQ(LXGetError(l), c.error) << c.item;
    }
    const struct { int32_t item; const char *text; int32_t length; uint32_t flags; int32_t result, error; } textSets[] = {
        {64, "x", 1, 1, 0, 2}, {65, "x", 1, 0, 0, 35}, {16, "x", 1, 0, 0, 35}, {63, "5", 1, 0, 0, 35},
        {82, "x", 1, 0, 0, 35}, {1, "x", 1, 0, 0, 35}, {82, "", -1, 0, 1, 0}, {6, "Atlantis", -1, 0, 0, 37},
        {12, "Traditional", -1, 0, 0, 37}, {12, "binary", -1, 0, 1, 0}};
    for (const auto &c : textSets) {
        EXPECT_EQ(LXSetLocaleTextInfo(l, c.item, Z(c.text), c.length, c.flags), c.result) << c.item << " " << c.text;
        EXPECT_EQ(LXGetError(l), c.error) << c.item << " " << c.text;
    }
    EXPECT_TRUE(Snapshot(l) == before) << "a failed call changed the object";
}

TEST_F(Info, SeparatorRules) {
    Locale us("English_UnitedStates.US-ASCII"), ebcdic("English_UnitedStates.IBM037"),
        ja("Japanese_Japan.MS932");
    const Bytes ebcdicFive = Iconv("IBM037", {u'5'});
    const struct { LXLocale *h; int32_t item; Bytes text; int32_t result; } steps[] = {
        {us, 59, B(","), 0},        // the thousands separator is ","
        {us, 60, B("."), 0},        // the decimal point is "."
        {us, 59, B("5"), 0},
        {us, 59, {0}, 0},           // a decimal point is never empty
        {us, 66, B(","), 0}, {us, 67, B("."), 0},
        {us, 61, B("5"), 1},        // the other separator is not checked
        {us, 60, {0}, 1},           // an empty thousands separator
        {us, 59, B(","), 1},        // now free: 60 is empty
        {us, 60, B(","), 0},
        {us, 60, B("'x"), 1},       // only the first byte counts
        {ebcdic, 59, ebcdicFive, 0},
        {ebcdic, 59, B("5"), 1},    // 0x35 is no digit in an EBCDIC codeset
        {ja, 59, {0x82}, 0},        // a lead byte is not a single-byte character
        {ja, 61, {0x82, 0xA0}, 0},
        {ja, 61, {0xB1}, 1},        // a half-width katakana is
    };
    for (const auto &s : steps) {
        const Snapshot before(s.h);
        EXPECT_EQ(LXSetLocaleTextInfo(s.h, s.item, s.text.data(), int32_t(s.text.size()), 0), s.result)
            << s.item << " " << int(s.text[0]);
        if (s.result == 0) {
            EXPECT_EQ(LXGetError(s.h), LX_ERR_REJECTED);
            EXPECT_TRUE(Snapshot(s.h) == before);
        }
    }
    EXPECT_EQ(Text(us, 59), B(","));
    EXPECT_EQ(Text(us, 60), B("'"));
    EXPECT_EQ(Text(us, 61), B("5"));
    EXPECT_EQ(Text(us, 59, LX_FILE_VALUE), B("."));
    EXPECT_EQ(us->overrideMask, 0x800u | 0x1000u | 0x2000u);
    EXPECT_EQ(TextU(ja, 61), Units{0xFF71});
}

TEST_F(Info, NumberOverridesAndMaskBits) {
    Locale l("English_UnitedStates.US-ASCII");
    const struct { int32_t item, value, read; uint32_t mask; } cases[] = {
        {63, 5, 5, 0x1}, {69, 70000, 70000 & 0xFFFF, 0x2}, {70, 0, 0, 0x4}, {73, 0, 0, 0x8},
        {74, 1, 1, 0x10}, {75, 0, 0, 0x20}, {76, 1, 1, 0x40}, {82, 0, 0, 0x80}, {83, 0, 0, 0x100},
        {77, 4, 4, 0x200}, {78, 2, 2, 0x400}};
    for (const auto &c : cases) {
        const uint32_t mask = l->overrideMask;
        const int32_t file = LXGetLocaleNumInfo(l, c.item, LX_FILE_VALUE);
        EXPECT_EQ(LXSetLocaleNumInfo(l, c.item, c.value), 1) << c.item;
        EXPECT_EQ(LXGetLocaleNumInfo(l, c.item, 0), c.read) << c.item;
        EXPECT_EQ(LXGetLocaleNumInfo(l, c.item, LX_FILE_VALUE), file) << c.item;
        EXPECT_EQ(l->overrideMask, mask | c.mask) << c.item;
    }
    const struct { int32_t item; const char *text; uint32_t mask; } texts[] = {
        {62, "4;0", 0x10000}, {64, "EUR ", 0x20000}, {68, "2", 0x40000}, {71, "+", 0x80000},
        {72, "--", 0x100000}, {79, "%H", 0x200000}, {80, "%y", 0x400000}, {81, "%Y", 0x800000}};
    for (const auto &c : texts) {
        const uint32_t mask = l->overrideMask;
        EXPECT_EQ(LXSetLocaleTextInfo(l, c.item, Z(c.text), -1, 0), 1) << c.item;
        EXPECT_EQ(Text(l, c.item), B(c.text));
        EXPECT_EQ(l->overrideMask, mask | c.mask) << c.item;
    }
}

TEST_F(Info, OverrideSurvivesATerritorySwitch) {
    Locale l("English_UnitedStates.MS1252"), other("English_UnitedStates.MS1252");
    ASSERT_EQ(LXSetLocaleTextInfo(l, 64, Z("US$"), -1, 0), 1);
    ASSERT_EQ(LXSetLocaleNumInfo(l, 63, 4), 1);
    EXPECT_EQ(Text(other, 64), B("$")) << "an override leaks into another object";
    ASSERT_EQ(LXSetLocaleNumInfo(l, LXI_TERRITORY_NUMBER, 300), 1);  // Greece: no grouping
    EXPECT_EQ(Text(l, 64), B("US$"));
    EXPECT_EQ(Text(l, 64, LX_FILE_VALUE), B("\x80"));
    EXPECT_EQ(Text(l, 62), B(""));
    EXPECT_EQ(Text(l, 59), B(","));
    EXPECT_EQ(Text(l, 80), B("%d/%m/%Y"));
    EXPECT_EQ(LXGetLocaleNumInfo(l, 63, 0), 4);
    EXPECT_EQ(LXGetLocaleNumInfo(l, 77, 0), 1);
    // And back by name.
    ASSERT_EQ(LXSetLocaleTextInfo(l, LXI_TERRITORY_PART, Z("unitedstates"), -1, 0), 1);
    EXPECT_EQ(LXGetLocaleNumInfo(l, LXI_TERRITORY_NUMBER, 0), 1);
    EXPECT_EQ(Text(l, 64), B("US$"));
    EXPECT_EQ(Text(l, 59), B("."));
}

TEST_F(Info, CodesetSwitchConvertsEveryCurrentText) {
    Locale l("German_Germany.MS1252");
    ASSERT_EQ(LXSetLocaleTextInfo(l, 61, Z("\xA0"), -1, 0), 1);  // no-break space
    ASSERT_EQ(LXSetLocaleTextInfo(l, 71, Z("\xB1"), -1, 0), 1);  // plus-minus sign
    // A separator is one byte: where no single byte encodes it, the
    // substitution byte stands in, and its UCS-2 value stays for the next
    // codeset.
    const struct {
        const char16_t *codeset;
        const char *iconvName;
        int32_t number, stateful;
        Bytes separator;
    } steps[] = {
        {u"UTF-8", "UTF-8", 106, 0, B("?")}, {u"IBM037", "IBM037", 2028, 0, Iconv("IBM037", {0xA0})},
        {u"IBM939", "IBM939", 939, 1, Iconv("IBM939", {u'?'})},
        {u"ISO8859-1", "ISO-8859-1", 4, 0, {0xA0}}};
    for (const auto &s : steps) {
        SCOPED_TRACE(s.iconvName);
        // Named in UCS-2: the name reaches the lookup through the codeset in
        // use, EBCDIC ones included.
        ASSERT_EQ(LXSetLocaleTextInfoU(l, LXI_CODESET_PART, reinterpret_cast<const LXUchar *>(s.codeset), -1, 0), 1);
        EXPECT_EQ(LXGetLocaleNumInfo(l, LXI_CODESET_NUMBER, 0), s.number);
        EXPECT_EQ(LXGetLocaleNumInfo(l, LXI_STATEFUL, 0), s.stateful);
        EXPECT_EQ(Text(l, 61), s.separator);
        EXPECT_EQ(TextU(l, 61), Units{0xA0});
        EXPECT_EQ(Text(l, 71), Iconv(s.iconvName, {0xB1}));
        EXPECT_EQ(TextU(l, 71), Units{0xB1});
        EXPECT_EQ(Text(l, 80), Iconv(s.iconvName, U("%d.%m.%Y")));
        EXPECT_EQ(Text(l, 59), Iconv(s.iconvName, {','}));
    }
    // The codeset in use replaces nothing.
    const Snapshot before(l);
    EXPECT_EQ(LXSetLocaleNumInfo(l, LXI_CODESET_NUMBER, 4), 1);
    EXPECT_TRUE(Snapshot(l) == before);
}

TEST_F(Info, MultibyteOverridesAreCutToWholeCharacters) {
    Locale l("Japanese_Japan.MS932");
    const Bytes yen = Iconv("CP932", {0x5186});  // "円", two bytes
    const struct { Bytes text; int32_t length; uint32_t flags; Bytes stored; Units units; } cases[] = {
        {{0x82}, 1, 0, {}, {}},                           // a lone lead byte
        {{'A', 0x82}, 2, 0, B("A"), {u'A'}}, {{yen[0], yen[1], 'X'}, 3, 0, {yen[0], yen[1], 'X'}, {0x5186, u'X'}},
        {{yen[0], yen[1], 'X'}, 1, LX_LEN_CHARS, yen, {0x5186}},
        {{'a', 0, 'b'}, 3, 0, B("a"), {u'a'}},             // the text ends at a NUL
    };
    for (const auto &c : cases) {
        ASSERT_EQ(LXSetLocaleTextInfo(l, 64, c.text.data(), c.length, c.flags), 1);
        EXPECT_EQ(Text(l, 64), c.stored);
        EXPECT_EQ(TextU(l, 64), c.units);
    }
    // The UCS-2 and wide setters arrive at the same text.
    const LXUchar u[] = {0x5186, u'!', 0};
    ASSERT_EQ(LXSetLocaleTextInfoU(l, 72, u, -1, 0), 1);
    EXPECT_EQ(Text(l, 72), Iconv("CP932", {0x5186, u'!'}));
    const LXWchar w[] = {LXWchar(yen[0]) << 8 | yen[1], u'?'};
    ASSERT_EQ(LXSetLocaleTextInfoW(l, 71, w, 2, 0), 1);
    EXPECT_EQ(Text(l, 71), Iconv("CP932", {0x5186, u'?'}));
}

TEST_F(Info, StatefulOverridesAreKeptInStateZero) {
    Locale l("Japanese_Japan.IBM939");
    const Bytes yen = Iconv("IBM939", {0x5186});  // SO, two bytes, SI
    ASSERT_EQ(yen.size(), 4u);
    // The caller's text starts in state 1: the stored text gets its shift-out.
    ASSERT_EQ(LXSetLocaleTextInfoEx(l, 64, yen.data() + 1, 2, 1, 0), 1);
    EXPECT_EQ(Text(l, 64), yen);
    EXPECT_EQ(TextU(l, 64), Units{0x5186});
    // Characters are counted by state; a double-byte pair cut by the length goes.
    const Bytes mixed = Iconv("IBM939", {u'A', 0x5186, 0x5186, u'B'});
    ASSERT_EQ(LXSetLocaleTextInfo(l, 72, mixed.data(), 2, LX_LEN_CHARS), 1);
    EXPECT_EQ(Text(l, 72), Iconv("IBM939", {u'A', 0x5186}));
    ASSERT_EQ(LXSetLocaleTextInfo(l, 71, mixed.data(), 5, 0), 1);
    EXPECT_EQ(Text(l, 71), Iconv("IBM939", {u'A', 0x5186}));
    // Part names are looked up through the portable codeset.
    const Bytes germany = Iconv("IBM939", U("Germany"));
    ASSERT_EQ(LXSetLocaleTextInfo(l, LXI_TERRITORY_PART, germany.data(), int32_t(germany.size()), 0), 1);
    EXPECT_EQ(LXGetLocaleNumInfo(l, LXI_TERRITORY_NUMBER, 0), 276);
    EXPECT_EQ(Text(l, 88), Iconv("IBM939", U("Japanese_Germany.IBM939@Binary")));
    EXPECT_EQ(LXSetLocaleTextInfo(l, LXI_TERRITORY_PART, yen.data(), 4, 0), 0);
    EXPECT_EQ(LXGetError(l), LX_ERR_REJECTED);
}

TEST_F(Info, LanguageSwitchAndNullHandle) {
    Locale l("English_UnitedStates.MS1252");
    ASSERT_EQ(LXSetLocaleNumInfo(l, LXI_LANGUAGE_NUMBER, 2), 1);
    EXPECT_EQ(Text(l, 17), B("Montag"));
    ASSERT_EQ(LXSetLocaleTextInfo(l, LXI_LANGUAGE_PART, Z("English"), 7, 0), 1);
    EXPECT_EQ(Text(l, 17), B("Monday"));

    // Without a default locale a null handle does nothing at all.
    ASSERT_EQ(Library().defaultLocale, nullptr);
    unsigned char buf[8] = {0xA5};
    EXPECT_EQ(LXGetLocaleNumInfo(nullptr, 63, 0), -1);
    EXPECT_EQ(LXGetLocaleTextInfo(nullptr, 16, buf, 8, 0), -1);
    EXPECT_EQ(buf[0], 0xA5);
    EXPECT_EQ(LXLocaleGetTextItem(nullptr, 16, 1, nullptr), nullptr);
    EXPECT_EQ(LXSetLocaleNumInfo(nullptr, 63, 1), 0);
    EXPECT_EQ(LXSetLocaleTextInfo(nullptr, 64, Z("x"), 1, 0), 0);
    // With one, a null handle is that locale.
    Library().defaultLocale = l;
    EXPECT_EQ(LXSetLocaleNumInfo(nullptr, 63, 7), 1);
    EXPECT_EQ(LXGetLocaleNumInfo(l, 63, 0), 7);
    EXPECT_EQ(Text(nullptr, 16), B("Sunday"));
    Library().defaultLocale = nullptr;
}

// Runs op on a fresh object with the n-th allocation from now failing, for
// every n until op succeeds untouched by failures: each run ends in success
// or in error 20 with the object as it was, and nothing leaks.
void EveryFailure(CountingAllocator &a, const std::function<LXLocale *()> &make,
                  const std::function<int32_t(LXLocale *)> &op, const std::function<void(LXLocale *)> &check) {
    const long live = a.live;
    bool succeeded = false;
    int failures = 0;
    for (long n = 1; !succeeded && n < 200; ++n) {
        LXLocale *loc = make();
        ASSERT_NE(loc, nullptr);
        const Snapshot before(loc);
        a.failAt = a.allocations + n;
        const int32_t err = op(loc);
        const bool failed = a.allocations >= a.failAt;
        a.failAt = 0;
        if (err == LX_OK) {
            check(loc);
            succeeded = !failed;
        } else {
            ++failures;
            EXPECT_EQ(err, LX_ERR_NO_MEMORY) << "allocation " << n;
            EXPECT_TRUE(Snapshot(loc) == before) << "allocation " << n << " left the object changed";
        }
        LXReleaseLocale(loc, 0);
        EXPECT_EQ(a.live, live) << "allocation " << n << " leaked";
    }
    EXPECT_TRUE(succeeded);
    EXPECT_GT(failures, 0) << "the operation never allocated";
}

TEST_F(Info, AnAllocationFailureChangesNothing) {
    CountingAllocator &a = alloc();
    PartRecord *en = FindPart(layout::kLanguage, "English"), *us = FindPart(layout::kTerritory, "UnitedStates"),
               *de = FindPart(layout::kTerritory, "Germany"), *cp1252 = FindPart(layout::kCodeset, "MS1252");
    FindPart(layout::kCodeset, "IBM939");  // loaded now, so that no lookup below allocates
    auto fresh = [&] {
        int32_t err;
        return NewLocale(en, us, cp1252, nullptr, &err);
    };
    auto derived = [&] {
        LXLocale *loc = fresh();
        EXPECT_EQ(DeriveItems(loc), LX_OK);
        EXPECT_EQ(LXSetLocaleTextInfo(loc, 64, Z("\x80 "), -1, 0), 1);
        EXPECT_EQ(LXSetLocaleTextInfo(loc, 60, Z("\xA0"), -1, 0), 1);
        return loc;
    };
    auto result = [](LXLocale *loc, int32_t ok) { return ok ? LX_OK : LXGetError(loc); };
    const Units euroSpace = {0x20AC, u' '};

    EveryFailure(a, fresh, [](LXLocale *loc) { return DeriveItems(loc); },
                 [](LXLocale *loc) { EXPECT_EQ(Text(loc, 81), B("%A, %B %d, %Y")); });
    EveryFailure(a, derived,
                 [&](LXLocale *loc) { return result(loc, LXSetLocaleTextInfo(loc, 79, Z("%H.%M.%S Uhr (MEZ)"), -1, 0)); },
                 [](LXLocale *loc) { EXPECT_EQ(Text(loc, 79), B("%H.%M.%S Uhr (MEZ)")); });
    EveryFailure(a, derived, [&](LXLocale *loc) { return result(loc, LXSetLocaleNumInfo(loc, 5, 276)); },
                 [&](LXLocale *loc) {
                     EXPECT_EQ(loc->territory, de);
                     EXPECT_EQ(Text(loc, 80), B("%d.%m.%Y"));
                     EXPECT_EQ(TextU(loc, 64), euroSpace);
                 });
    EveryFailure(a, derived,
                 [&](LXLocale *loc) { return result(loc, LXSetLocaleTextInfo(loc, 10, Z("IBM939"), -1, 0)); },
                 [&](LXLocale *loc) {
                     EXPECT_EQ(Text(loc, 64), Iconv("IBM939", {u'?', u' '}));  // no euro sign there
                     EXPECT_EQ(TextU(loc, 60), Units{0xA0});
                 });
    // A long UCS-2 text is converted through an allocated block.
    std::vector<LXUchar> terminated(400, u'x');
    terminated.push_back(0);
    EveryFailure(a, derived,
                 [&](LXLocale *loc) { return result(loc, LXSetLocaleTextInfoU(loc, 81, terminated.data(), -1, 0)); },
                 [&](LXLocale *loc) {
                     EXPECT_EQ(std::string(reinterpret_cast<char *>(loc->strings[7])), std::string(400, 'x'));
                 });
}

TEST(InfoDefaults, UnregisteredDefaultTerritory) {
    LocaleDir dir;
    dir.standard();
    Bytes language = BuiltinTable(layout::kLanguage);
    layout::wr16(&language[layout::la::kDefaultTerritory], 99);
    dir.part(layout::kLanguage, 1, {language});
    Started started(dir.path().c_str());
    ASSERT_EQ(started.result(), LX_OK);
    Locale l("English_UnitedStates.US-ASCII");
    unsigned char buf[16];
    EXPECT_EQ(LXGetLocaleTextInfo(l, LXI_DEFAULT_TERRITORY, buf, 16, 0), -1);
    EXPECT_EQ(LXGetError(l), LX_ERR_UNKNOWN_ITEM);
    EXPECT_EQ(LXLocaleGetTextItem(l, LXI_DEFAULT_TERRITORY, 1, nullptr), nullptr);
    EXPECT_EQ(Text(l, LXI_DEFAULT_CODESET), B("US-ASCII"));
}

}  // namespace
}  // namespace lorvex::test
