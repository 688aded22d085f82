// Codeset conversion: the buffer converter and the string converters in their
// four forms, on small codesets compiled here (single-byte, double-byte,
// stateful) and on the real codesets of the compiled locale directory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "codeset/convert.h"
#include "frame/state.h"
#include "locale/locale_object.h"
#include "locale/registry.h"
#include "lxdc/codeset_compiler.h"
#include "support/codesets.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

using Units = std::vector<LXUchar>;
using Wide = std::vector<LXWchar>;
using Rng = std::mt19937;
constexpr uint32_t kTerm = LX_TERMINATE, kChars = LX_LEN_CHARS;

std::string Source(const char *name, int number, int maxBytes, bool stateful, const char *extra) {
    return CodesetSource(name, number, maxBytes, stateful ? "stateful yes\nshift-out 0x0E\nshift-in 0x0F" : "",
                         AsciiMap(stateful ? std::vector<unsigned>{0x0E, 0x0F} : std::vector<unsigned>{}) + extra);
}
// Leads 81 (trails 40-43) and 82 (trails 40-7E); 81 43 is a decode-only
// second spelling of U+3000; U+00A5 is written as 5C one way only.
const std::string kDoubleText = Source("TestDouble", 60001, 2, false,
                                       "0x8140 U+3000\n0x8141 U+3001\n0x8142 U+00A7\n0x8143 U+3000 decode\n"
                                       "0x8240 U+4E00\n0x827E U+4E01\n0xA1 U+FF61\n0x5C U+00A5 encode\n");
const std::string kShiftText =
    Source("TestShift", 60002, 2, true, "0x4040 U+3000\n0x4141 U+4E00\n0x4142 U+4E01\n0x4143 U+00A7\n");
const std::string kSingleText = Source("TestSingle", 60003, 1, false, "0xA4 U+20AC\n0xE9 U+00E9\n");

// A locale object over one codeset part, the only part conversion reads.  A
// plain value: making one allocates nothing through the library.
struct Locale {
    lxdc::Part part;
    PartRecord rec{};
    LXLocale loc{};
    explicit Locale(PartRecord *r) {
        loc.codeset = r;
        SetPartFlags(&loc);
    }
    explicit Locale(const std::string &text) : part(lxdc::CompileCodeset(text, "test")) {
        for (size_t t = 0; t < part.tables.size(); ++t) {
            if (part.tables[t].empty()) continue;
            rec.table[t] = part.tables[t].data();
            rec.size[t] = uint16_t(part.tables[t].size());
        }
        loc.codeset = &rec;
        SetPartFlags(&loc);
    }
};
std::map<std::string, std::unique_ptr<Locale>> &Locales() {
    static std::map<std::string, std::unique_ptr<Locale>> m;
    return m;
}
LXLocale *Compiled(const std::string &text) {
    auto &l = Locales()[text];
    if (!l) l = std::make_unique<Locale>(text);
    return &l->loc;
}
LXLocale *Double() { return Compiled(kDoubleText); }
LXLocale *Shift() { return Compiled(kShiftText); }
LXLocale *Single() { return Compiled(kSingleText); }
LXLocale *Utf8() { return Compiled(ReadFile(CodesetDataPath("utf-8.txt"))); }

Units ToU(LXLocale *l, const Bytes &b) {
    Out<LXUchar> o(b.size() + 1);
    const int32_t n = LXStringToUnicodeEx(o.data(), int32_t(o.n), l, b.data(), 0, int32_t(b.size()), 0);
    EXPECT_TRUE(o.intact());
    return o.first(n);
}
Bytes FromU(LXLocale *l, const Units &u) {
    Out<uint8_t> o(5 * u.size() + 1);
    const int32_t n = LXUnicodeToStringEx(l, o.data(), 0, int32_t(o.n), u.data(), int32_t(u.size()), 0);
    EXPECT_TRUE(o.intact());
    return o.first(n);
}

// The library runs on the compiled locale directory: real codesets load
// through the registry, and conversion objects have an allocator.
class Convert : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(LXInit(LORVEX_TEST_LOCALE_DIR, nullptr, nullptr, 0, 0), LX_OK); }
    static void TearDownTestSuite() {
        std::erase_if(Locales(), [](const auto &kv) { return kv.first.starts_with("data:"); });  // records go with the registry
        LXTerm();
    }
    static LXLocale *Data(const std::string &name) {
        int32_t err = 0;
        PartRecord *rec = LXFindPartByName(Library().registry, layout::kCodeset, name.c_str(), int32_t(name.size()),
                                           kLoad, &err);
        EXPECT_NE(rec, nullptr) << name << ": error " << err;
        EXPECT_TRUE(rec && !(rec->flags & kPartBuiltin)) << name << " was refused by the loader";
        auto &l = Locales()["data:" + name];
        if (!l && rec) l = std::make_unique<Locale>(rec);
        return l ? &l->loc : nullptr;
    }
};

TEST_F(Convert, OneCharacterEachWay) {
    const struct {
        LXLocale *loc;
        Bytes bytes;
        Units u;
        char dir;  // 'r' both ways, 'd' bytes to Unicode only, 'e' Unicode to bytes only
    } cases[] = {
        {Utf8(), {0x7F}, {0x7F}, 'r'}, {Utf8(), {0xC2, 0x80}, {0x80}, 'r'}, {Utf8(), {0xDF, 0xBF}, {0x7FF}, 'r'},
        {Utf8(), {0xE0, 0xA0, 0x80}, {0x800}, 'r'}, {Utf8(), {0xEF, 0xBF, 0xBF}, {0xFFFF}, 'r'},
        {Utf8(), {0xC3, 0x41}, {0xC1}, 'd'},                        // trail bytes are not checked
        {Utf8(), {0xF0, 0x9F, 0x98, 0x80, 'A'}, {0xFFFD, 'A'}, 'd'},  // beyond 16 bits: one U+FFFD
        {Utf8(), {0x80, 0xBF}, {0xFFFD, 0xFFFD}, 'd'},
        {Double(), {0x81, 0x40, 0x82, 0x7E, 0xA1}, {0x3000, 0x4E01, 0xFF61}, 'r'},
        {Double(), {0x81, 0x43}, {0x3000}, 'd'},
        {Double(), {0x81, 0x30, 0x81, 0x44}, {0xFFFD, 0xFFFD}, 'd'},  // trail below low, above high
        {Double(), {0x83, 0x40}, {0xFFFD, '@'}, 'd'},                 // 83 leads nothing
        {Double(), {0x5C, '?', '?'}, {0xA5, 0xFFFD, 0x4E02}, 'e'},
    };
    for (const auto &c : cases) {
        EXPECT_TRUE(c.dir == 'e' || ToU(c.loc, c.bytes) == c.u) << int(c.bytes[0]);
        EXPECT_TRUE(c.dir == 'd' || FromU(c.loc, c.u) == c.bytes) << c.u[0];
    }
    // Out of the tree's ranges: the substitution byte, unless the target maps U+FFFD.
    const Bytes bad = {0x81, 0x30, 'A'};
    for (auto [target, expect] : {std::pair{Single(), Bytes{'?', 'A'}}, {Utf8(), Bytes{0xEF, 0xBF, 0xBD, 'A'}}}) {
        Out<uint8_t> o(8);
        EXPECT_EQ(o.first(LXConvertString(target, o.data(), 8, Double(), bad.data(), 3, 0)), expect);
    }
}

TEST_F(Convert, BufferCarriesPartsBetweenCalls) {
    struct Call { Bytes in; int32_t room, result; Bytes out; int32_t consumed; };
    const struct {
        const char *what;
        LXLocale *target, *source;
        std::vector<Call> calls;
        int pendingOut;  // after the first call
    } cases[] = {
        {"double-byte source one byte per call", Utf8(), Double(),
         {{{0x81}, 8, 53, {}, 1}, {{0x40}, 8, 0, {0xE3, 0x80, 0x80}, 1}}, 0},
        {"one byte of room for a two-byte character", Double(), Utf8(),
         {{{0xE3, 0x80, 0x80, 'A'}, 1, 52, {0x81}, 3}, {{'A'}, 4, 0, {0x40, 'A'}, 1}}, 1},
        {"shift-out needed with no room", Shift(), Utf8(),
         {{{0xE3, 0x80, 0x80}, 0, 52, {}, 3}, {{}, 2, 52, {0x0E, 0x40}, 0}, {{'B'}, 8, 0, {0x40, 0x0F, 'B'}, 1}}, 3},
        {"shift-out and half a character fit", Shift(), Utf8(), {{{0xE3, 0x80, 0x80}, 2, 52, {0x0E, 0x40}, 3}, {{}, 1, 0, {0x40}, 0}}, 1},
        // Shift bytes and UTF-8 sequences cut at any point are the random
        // splits of AllFormsAgreeUnderAnySplit.
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        LXConversion *conv = LXOpenConversion(c.target, c.source);
        ASSERT_NE(conv, nullptr);
        for (size_t k = 0; k < c.calls.size(); ++k) {
            const Call &call = c.calls[k];
            Out<uint8_t> o{size_t(call.room)};
            unsigned char *out = o.data();
            const unsigned char *in = call.in.data();
            int32_t room = call.room, left = int32_t(call.in.size());
            EXPECT_EQ(LXConvertBuffer(conv, &out, &room, &in, &left), call.result) << "call " << k;
            const int32_t wrote = int32_t(out - o.data());
            EXPECT_EQ(o.first(wrote), call.out) << "call " << k;
            EXPECT_TRUE(o.intact(size_t(wrote)));
            EXPECT_EQ(room, call.room - wrote);
            EXPECT_EQ(in - call.in.data(), call.consumed);
            EXPECT_EQ(left, int32_t(call.in.size()) - call.consumed);
            if (k == 0) {
                EXPECT_EQ(conv->pendingOutCount, c.pendingOut);
            }
        }
        EXPECT_EQ(LXCloseConversion(conv), LX_OK);
    }
    const struct {
        LXLocale *target, *source;
        int32_t ratio;
    } ratios[] = {{Double(), Double(), 1}, {Shift(), Single(), 3}, {Double(), Single(), 2},
                  {Single(), Utf8(), 1},   {Utf8(), Single(), 4},  {Shift(), Shift(), 1}};
    for (const auto &r : ratios) {
        r.target->error = LX_ERR_BUFFER;
        EXPECT_EQ(LXConversionRatio(r.target, r.source), r.ratio);
        EXPECT_EQ(r.target->error, LX_OK);
    }
}

// Lengths, flags and the terminator across the faces.  "A", U+3000, "B" in
// the double-byte codeset (and the same as Unicode and packed), and the
// stateful text A SO 4040 4141 (A, U+3000, U+4E00).
enum Face { kString, kToU, kToUW, kFromU, kFromUW, kStringW, kFromUEx };
struct Row {
    Face face;
    int32_t len, size;
    uint32_t flags;
    std::vector<uint32_t> out;
    int32_t result;
    LXState variant = 0;  // kToU: the text cut inside a character; kFromUEx: start in state 1
};

template <class T>
void RunRow(const Row &r, LXLocale *reporting, int32_t (*call)(const Row &, T *, int32_t)) {
    const bool chars = sizeof(T) == 1 && (r.flags & kChars);
    Out<T> o{size_t(r.size > 0 ? r.size : 0) * (chars ? 4 : 1)};
    EXPECT_EQ(call(r, o.data(), r.size), r.result);
    EXPECT_EQ(LXGetError(reporting), (r.flags & ~(kTerm | kChars)) ? LX_ERR_ARGUMENT : LX_OK);
    const std::vector<T> written = o.first(int32_t(r.out.size()));
    EXPECT_EQ(std::vector<uint32_t>(written.begin(), written.end()), r.out);
    EXPECT_TRUE(r.out.empty() ? o.intact(0) : o.intact());
}

TEST_F(Convert, LengthsFlagsAndTerminator) {
    static const uint8_t mb[] = {'A', 0x81, 0x40, 'B', 0}, cut[] = {'A', 0x81, 0};
    static const LXWchar wide[] = {'A', 0x8140, 'B', 0};
    static const LXUchar uni[] = {'A', 0x3000, 'B', 0}, shifted[] = {'A', 0x3000, 0x4E00, 0}, one[] = {0x3000, 'A'};
    const uint32_t e3 = 0xE3, x80 = 0x80, so = 0x0E, si = 0x0F;
    const Row rows[] = {
        {kString, -1, 16, 0, {'A', e3, x80, x80, 'B', 0}, 6},
        {kString, -1, 5, 0, {'A', e3, x80, x80, 'B'}, 5},  // no room for the 0
        {kString, -1, 4, 0, {'A', e3, x80, x80}, 4},       // not all converted: no 0
        {kString, -1, 3, 0, {'A'}, 1},                     // stops before what does not fit
        {kString, 4, 16, 0, {'A', e3, x80, x80, 'B'}, 5},  // a given length is not terminated
        {kString, 2, 16, 0, {'A'}, 1},                     // a character cut by the length ends it
        {kString, 4, 5, kTerm, {'A', e3, x80, x80, 0}, 5}, {kString, 4, 1, kTerm, {0}, 1},
        {kString, 0, 4, kTerm, {0}, 1}, {kString, 0, 4, 0, {}, 0},
        {kString, -1, 0, kTerm, {}, 0},
        {kString, 2, 16, kChars, {'A', e3, x80, x80}, 2},  // two characters of the source
        {kString, -1, 3, kChars, {'A', e3, x80, x80, 'B'}, 3}, {kString, -1, 4, kChars, {'A', e3, x80, x80, 'B', 0}, 4},
        {kString, -1, 3, kChars | kTerm, {'A', e3, x80, x80, 0}, 3}, {kString, 4, 16, 1, {}, -1},
        {kString, 4, 16, kChars | 0x10, {}, 0}, {kToU, -1, 8, 0, {'A', 0x3000, 'B', 0}, 4},
        {kToU, -1, 3, 0, {'A', 0x3000, 'B'}, 3}, {kToU, -1, 1, kTerm, {0}, 1},
        {kToU, -1, 8, 0, {'A'}, 1, 1},  // cut off before its 0: not all converted
        {kToU, -1, 8, kTerm, {'A', 0}, 2, 1}, {kToU, 2, 8, kChars, {'A', 0x3000}, 2},
        {kToU, 4, 8, kChars | 0x20, {}, -1}, {kToUW, -1, 8, 0, {'A', 0x3000, 'B', 0}, 4},
        {kToUW, -1, 2, kTerm, {'A', 0}, 2}, {kToUW, 3, 8, 0x100, {}, -1},
        {kFromU, -1, 8, 0, {'A', 0x81, 0x40, 'B', 0}, 5}, {kFromU, 3, 3, 0, {'A', 0x81, 0x40}, 3},
        {kFromU, 3, 2, kChars, {'A', 0x81, 0x40}, 2}, {kFromU, -1, 4, kChars, {'A', 0x81, 0x40, 'B', 0}, 4},
        {kFromU, 3, 4, kTerm, {'A', 0x81, 0x40, 0}, 4}, {kFromU, 0, 4, kTerm, {0}, 1},
        {kFromU, 3, 8, 2, {}, -1}, {kFromU, 3, 8, kChars | 2, {}, 0},
        {kFromUW, -1, 8, 0, {'A', 0x8140, 'B', 0}, 4}, {kFromUW, -1, 3, 0, {'A', 0x8140, 'B'}, 3},
        {kStringW, -1, 8, 0, {'A', 0xE38080, 'B', 0}, 4}, {kStringW, 3, 3, kTerm | kChars, {'A', 0xE38080, 0}, 3},
        {kStringW, 0, 3, kTerm, {0}, 1}, {kStringW, 3, 8, 4, {}, -1},
        // Shift bytes inserted, and the text closed in state 0 by a 0.
        {kFromUEx, 3, 16, 0, {'A', so, 0x40, 0x40, 0x41, 0x41}, 6},  // no 0: left in state 1
        {kFromUEx, 3, 8, kTerm, {'A', so, 0x40, 0x40, 0x41, 0x41, si, 0}, 8},
        {kFromUEx, 3, 7, kTerm, {'A', so, 0x40, 0x40, si, 0}, 6},  // the last character taken back
        {kFromUEx, 3, 6, kTerm, {'A', so, 0x40, 0x40, si, 0}, 6},
        {kFromUEx, 3, 5, kTerm, {'A', 0}, 2},  // ... and the bare shift-out removed
        {kFromUEx, -1, 16, 0, {'A', so, 0x40, 0x40, 0x41, 0x41, si, 0}, 8},
        {kFromUEx, -1, 7, 0, {'A', so, 0x40, 0x40, si, 0}, 6},
        {kFromUEx, -1, 6, 0, {'A', so, 0x40, 0x40, 0x41, 0x41}, 6},  // no room for a 0
        {kFromUEx, 3, 3, kChars | kTerm, {'A', so, 0x40, 0x40, si, 0}, 3},
        {kFromUEx, 1, 16, kTerm, {0x40, 0x40, si, 0}, 4, 1}, {kFromUEx, 2, 16, 0, {0x40, 0x40, si, 'A'}, 4, 1},
        {kFromUEx, 1, 1, kTerm, {0}, 1, 1},  // nothing of this call to take back: the 0 alone
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(::testing::Message() << "face " << r.face << " len " << r.len << " size " << r.size
                                          << " flags 0x" << std::hex << r.flags << " variant " << r.variant);
        switch (r.face) {
        case kString: RunRow<uint8_t>(r, Utf8(), [](const Row &w, uint8_t *b, int32_t n) {
            return LXConvertString(Utf8(), b, n, Double(), mb, w.len, w.flags); }); break;
        case kToU: RunRow<LXUchar>(r, Double(), [](const Row &w, LXUchar *b, int32_t n) {
            return LXStringToUnicode(b, n, Double(), w.variant ? cut : mb, w.len, w.flags); }); break;
        case kToUW: RunRow<LXUchar>(r, Double(), [](const Row &w, LXUchar *b, int32_t n) {
            return LXStringToUnicodeW(b, n, Double(), wide, w.len, w.flags); }); break;
        case kFromU: RunRow<uint8_t>(r, Double(), [](const Row &w, uint8_t *b, int32_t n) {
            return LXUnicodeToString(Double(), b, n, uni, w.len, w.flags); }); break;
        case kFromUW: RunRow<LXWchar>(r, Double(), [](const Row &w, LXWchar *b, int32_t n) {
            return LXUnicodeToStringW(Double(), b, n, uni, w.len, w.flags); }); break;
        case kStringW: RunRow<LXWchar>(r, Utf8(), [](const Row &w, LXWchar *b, int32_t n) {
            return LXConvertStringW(Utf8(), b, n, Double(), wide, w.len, w.flags); }); break;
        case kFromUEx: RunRow<uint8_t>(r, Shift(), [](const Row &w, uint8_t *b, int32_t n) {
            return LXUnicodeToStringEx(Shift(), b, w.variant, n, w.variant ? one : shifted, w.len, w.flags); }); break;
        }
    }
}

TEST_F(Convert, ShiftBytesObeyedOnTheWayIn) {
    const struct {
        Bytes in;
        LXState state;
        Units ex, plain;  // plain: shift bytes are ordinary bytes
    } cases[] = {
        {{'A', 0x0E, 0x40, 0x40, 0x41, 0x41, 0x0F, 'B'}, 0, {'A', 0x3000, 0x4E00, 'B'}, {'A', 0xFFFD, '@', '@', 'A', 'A', 0xFFFD, 'B'}},
        {{0x40, 0x40, 0x0F, 'A'}, 1, {0x3000, 'A'}, {'@', '@', 0xFFFD, 'A'}},
        {{0x0E, 0x0F, 0x41}, 0, {0xFFFD}, {0xFFFD, 0xFFFD, 'A'}},  // the byte after a shift byte is a character's
        {{'A', 0x0E}, 0, {'A'}, {'A', 0xFFFD}},
        {{0x0E, 0x41}, 0, {}, {0xFFFD, 'A'}},  // cut off
    };
    for (const auto &c : cases) {
        Out<LXUchar> o(16);
        EXPECT_EQ(o.first(LXStringToUnicodeEx(o.data(), 16, Shift(), c.in.data(), c.state, int32_t(c.in.size()), 0)), c.ex);
        EXPECT_EQ(o.first(LXStringToUnicode(o.data(), 16, Shift(), c.in.data(), int32_t(c.in.size()), 0)), c.plain);
    }
    const Bytes text = {'A', 0x0E, 0x40, 0x40, 0x41, 0x41};  // two characters: A, SO 4040
    Out<LXUchar> u(8);
    EXPECT_EQ(u.first(LXStringToUnicodeEx(u.data(), 8, Shift(), text.data(), 0, 2, kChars)), (Units{'A', 0x3000}));
    const Bytes src = {'A', 0x0E, 0x40, 0x40, 0x0F, 'B', 0}, e9 = {0xE9, 'x'};
    Out<uint8_t> b(16);
    EXPECT_EQ(b.first(LXConvertStringEx(Shift(), b.data(), 0, 16, Shift(), src.data(), 0, -1, 0)), src);
    EXPECT_EQ(b.first(LXConvertStringEx(Shift(), b.data(), 1, 16, Shift(), src.data() + 2, 1, 4, kTerm)),
              (Bytes{0x40, 0x40, 0x0F, 'B', 0}));
    EXPECT_EQ(b.first(LXConvertStringEx(Shift(), b.data(), 0, 16, Single(), e9.data(), 1, 2, 0)), (Bytes{'?', 'x'}));
}

TEST_F(Convert, NoLocaleAndTheDefaultLocale) {
    ASSERT_EQ(Library().defaultLocale, nullptr);
    Out<uint8_t> b(8);
    Out<LXUchar> u(8);
    Out<LXWchar> w(8);
    const uint8_t s[] = "ab";
    const LXUchar us[] = {'a', 0};
    const LXWchar ws[] = {'a', 0};
    EXPECT_EQ(LXOpenConversion(nullptr, Single()), nullptr);
    EXPECT_EQ(LXOpenConversion(Single(), nullptr), nullptr);
    EXPECT_EQ(LXConversionRatio(nullptr, nullptr), 0);
    EXPECT_EQ(LXConvertString(nullptr, b.data(), 8, Single(), s, -1, 0), -1);
    EXPECT_EQ(LXConvertString(Single(), b.data(), 8, nullptr, s, -1, kChars), 0);
    EXPECT_EQ(LXConvertStringEx(nullptr, b.data(), 0, 8, nullptr, s, 0, -1, 0), -1);
    EXPECT_EQ(LXConvertStringW(nullptr, w.data(), 8, nullptr, ws, -1, 0), -1);
    EXPECT_EQ(LXStringToUnicode(u.data(), 8, nullptr, s, -1, 0), -1);
    EXPECT_EQ(LXStringToUnicodeEx(u.data(), 8, nullptr, s, 0, -1, 0), -1);
    EXPECT_EQ(LXStringToUnicodeW(u.data(), 8, nullptr, ws, -1, 0), -1);
    EXPECT_EQ(LXUnicodeToString(nullptr, b.data(), 8, us, -1, 0), -1);
    EXPECT_EQ(LXUnicodeToStringEx(nullptr, b.data(), 0, 8, us, -1, kChars), 0);
    EXPECT_EQ(LXUnicodeToStringW(nullptr, w.data(), 8, us, -1, 0), -1);
    EXPECT_EQ(LXConvertBuffer(nullptr, nullptr, nullptr, nullptr, nullptr), LX_ERR_ARGUMENT);
    EXPECT_EQ(LXCloseConversion(nullptr), LX_OK);
    EXPECT_TRUE(b.intact(0) && u.intact(0) && w.intact(0));

    // A null handle is the default locale, whose error field is cleared.
    Library().defaultLocale = Double();
    Double()->error = LX_ERR_BUFFER;
    const uint8_t dbl[] = {0x81, 0x40, 0};
    EXPECT_EQ(u.first(LXStringToUnicode(u.data(), 8, nullptr, dbl, -1, 0)), (Units{0x3000, 0}));
    EXPECT_EQ(Double()->error, LX_OK);
    EXPECT_EQ(LXConvertString(nullptr, b.data(), 8, nullptr, dbl, -1, 0), 3);
    Library().defaultLocale = nullptr;
}

// The caller's allocator: a failed allocation is error 20 in the target, a
// failed free 21.  (The library is started here with that allocator.)
TEST(ConvertAlloc, OpenAndCloseReportTheAllocator) {
    CountingAllocator a;
    Started started(LORVEX_TEST_LOCALE_DIR, 0, &a);
    ASSERT_EQ(started.result(), LX_OK);
    const long base = a.live;
    a.failAt = a.allocations + 1;
    EXPECT_EQ(LXOpenConversion(Single(), Double()), nullptr);
    EXPECT_EQ(Single()->error, LX_ERR_NO_MEMORY);
    a.failAt = 0;
    LXConversion *c = LXOpenConversion(Single(), Double());
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(Single()->error, LX_OK);
    EXPECT_EQ(a.live, base + 1);
    a.failFrees = true;
    EXPECT_EQ(LXCloseConversion(c), LX_ERR_FREE);
    a.failFrees = false;
    EXPECT_EQ(a.live, base);
}

// The fast path (texts of 512 bytes and more) stops exactly where the room
// ends, in blocks of one-byte characters, of ASCII, and of UTF-8 pairs.
TEST_F(Convert, LongTextsStopAtTheRoom) {
    const struct {
        LXLocale *target, *source;
        Bytes unit, out;  // the text repeats unit; each gives out
    } cases[] = {{Utf8(), Single(), {0xE9}, {0xC3, 0xA9}},
                 {Utf8(), Single(), {'a', 0xA4, 'b', 'c', 'd', 'e', 'f'}, {'a', 0xE2, 0x82, 0xAC, 'b', 'c', 'd', 'e', 'f'}},
                 {Single(), Utf8(), {0xC3, 0xA9, 'x'}, {0xE9, 'x'}}};
    for (const auto &c : cases) {
        Bytes in;
        while (in.size() < 1024) in.insert(in.end(), c.unit.begin(), c.unit.end());
        Bytes whole;
        for (size_t i = 0; i < in.size(); i += c.unit.size()) whole.insert(whole.end(), c.out.begin(), c.out.end());
        for (int32_t size = 0; size < 100; ++size) {
            Out<uint8_t> o{size_t(size)};
            const int32_t n = LXConvertString(c.target, o.data(), size, c.source, in.data(), int32_t(in.size()), 0);
            EXPECT_EQ(o.first(n), Bytes(whole.begin(), whole.begin() + n));
            EXPECT_TRUE(o.intact(size_t(n)));
            EXPECT_GT(n + 3, size);
        }
    }
}

// Random text of the codeset: characters it maps, ASCII runs, and shift
// bytes and bytes of any value, padded to end on a whole character.
Bytes RandomText(Rng &rng, LXLocale *l, const std::vector<MapLine> &map, size_t minSize) {
    const Codeset cs = CodesetOf(l);
    Bytes t;
    for (int pieces = int(rng() % 12); pieces >= 0 || t.size() < minSize; --pieces) {
        const unsigned kind = unsigned(rng() % 3), count = unsigned(rng() % 20);
        Units u;
        for (unsigned i = 0; i <= count; ++i) {
            if (kind == 0) u.push_back(rng() % 8 ? map[rng() % map.size()].u : LXUchar(rng()));
            if (kind == 1) t.push_back(uint8_t(0x20 + rng() % 0x5F));
            if (kind == 2 && i < 6) t.push_back(rng() % 3 ? uint8_t(rng()) : rng() % 2 ? cs.shiftOut() : cs.shiftIn());
        }
        const Bytes b = FromU(l, u);
        t.insert(t.end(), b.begin(), b.end());
    }
    size_t at = 0;
    unsigned st = 0;
    while (at < t.size()) {
        if (cs.stateful() && (t[at] == cs.shiftOut() || t[at] == cs.shiftIn())) {
            st = t[at] == cs.shiftOut();
            if (++at == t.size()) break;
        }
        at += cs.stateful() ? (st ? cs.maxBytes() : 1u) : cs.byteLength(t[at]);
    }
    t.resize(at, 0x40);
    return t;
}

// Converts through one conversion object, in random pieces into random room.
Bytes Chunked(Rng &rng, LXConversion *conv, const Bytes &in) {
    Bytes got;
    size_t at = 0;
    int32_t r = LX_OK;
    for (int guard = 0; (at < in.size() || r == LX_ERR_OUTPUT_PENDING) && guard < 100000; ++guard) {
        const size_t piece = std::min(in.size() - at, size_t(rng() % 4 ? rng() % 5 : rng() % 600));
        const int32_t room = int32_t(rng() % 4 ? rng() % 6 : rng() % 2000);
        Out<uint8_t> o{size_t(room)};
        unsigned char *out = o.data();
        const unsigned char *p = in.data() + at;
        int32_t roomLeft = room, left = int32_t(piece);
        r = LXConvertBuffer(conv, &out, &roomLeft, &p, &left);
        EXPECT_TRUE(o.intact(size_t(out - o.data())));
        EXPECT_EQ(left, int32_t(piece) - int32_t(p - (in.data() + at)));
        EXPECT_TRUE(r != LX_ERR_INPUT_PENDING || left == 0);
        at = size_t(p - in.data());
        got.insert(got.end(), o.data(), out);
    }
    EXPECT_EQ(r, LX_OK);
    return got;
}

// Any split of input and output gives the whole-string result, the string
// converter's fast path agrees with the character path, and the W forms agree
// with the byte forms.
TEST_F(Convert, AllFormsAgreeUnderAnySplit) {
    std::vector<std::tuple<std::string, LXLocale *, std::vector<MapLine>>> sets = {
        {"TestDouble", Double(), ParseMap(kDoubleText)},
        {"TestShift", Shift(), ParseMap(kShiftText)},
        {"TestSingle", Single(), ParseMap(kSingleText)}};
    for (std::string name : {"MS1252", "UTF-8", "MS932", "IBM939", "IBM037"}) {
        std::string file = name + ".txt";
        std::transform(file.begin(), file.end(), file.begin(), [](char c) { return char(std::tolower(c)); });
        sets.emplace_back(name, Data(name), ParseMap(ReadFile(CodesetDataPath(file))));
        ASSERT_NE(std::get<1>(sets.back()), nullptr);
    }
    Rng rng(20240611);
    for (const auto &[sname, s, smap] : sets) {
        for (const auto &[tname, t, tmap] : sets) {
            SCOPED_TRACE(sname + " to " + tname);
            const Codeset sc = CodesetOf(s), tc = CodesetOf(t);
            for (int round = 0; round < 6; ++round) {
                const Bytes in = RandomText(rng, s, smap, round == 0 ? 2000 : 0);  // long: the byte map
                const Units u = ToU(s, in);
                const Bytes whole = FromU(t, u);
                LXConversion *conv = LXOpenConversion(t, s);
                ASSERT_NE(conv, nullptr);
                EXPECT_EQ(Chunked(rng, conv, in), whole);
                EXPECT_EQ(LXCloseConversion(conv), LX_OK);
                Out<uint8_t> o(whole.size() + 1);
                EXPECT_EQ(o.first(LXConvertStringEx(t, o.data(), 0, int32_t(o.n), s, in.data(), 0, int32_t(in.size()), 0)), whole);
                EXPECT_TRUE(o.intact(whole.size()));
                if (sc.stateful() || tc.stateful()) continue;
                // Cut short: stops before the character that does not fit,
                // and LX_TERMINATE keeps the last byte for the 0.
                for (const uint32_t flags : {0u, kTerm}) {
                    const int32_t cut = int32_t(whole.size() / 2) + 1, text = cut - int32_t(flags != 0);
                    Out<uint8_t> h{size_t(cut)};
                    int32_t m = LXConvertString(t, h.data(), cut, s, in.data(), int32_t(in.size()), flags);
                    EXPECT_TRUE(h.intact(size_t(m)));
                    EXPECT_TRUE(!flags || h.v[size_t(--m)] == 0);
                    EXPECT_TRUE(m <= text && m + int32_t(tc.maxBytes()) > text) << m << " of " << text;
                    EXPECT_EQ(h.first(m), Bytes(whole.begin(), whole.begin() + m));
                }
                // W forms: the source's packed characters are the bytes of
                // the plain form, and convert to the target's.
                Wide sw(u.size() + 1), tw(u.size() + 1), expect(u.size() + 1);
                sw.resize(size_t(LXUnicodeToStringW(s, sw.data(), int32_t(sw.size()), u.data(), int32_t(u.size()), 0)));
                Bytes unpacked;
                for (LXWchar c : sw) {
                    uint8_t b4[4];
                    unpacked.insert(unpacked.end(), b4, b4 + UnpackWchar(c, b4));
                }
                EXPECT_EQ(unpacked, FromU(s, u));
                Units back(u.size() + 1);
                back.resize(size_t(LXStringToUnicodeW(back.data(), int32_t(back.size()), s, sw.data(), int32_t(sw.size()), 0)));
                EXPECT_EQ(back, ToU(s, unpacked));
                tw.resize(size_t(LXConvertStringW(t, tw.data(), int32_t(tw.size()), s, sw.data(), int32_t(sw.size()), 0)));
                expect.resize(size_t(LXUnicodeToStringW(t, expect.data(), int32_t(expect.size()), back.data(), int32_t(back.size()), 0)));
                EXPECT_EQ(tw, expect);
            }
        }
    }
}

// Every codeset of the locale directory, line by line of its source: bytes to
// Unicode and back, in the plain and W forms (decode-only lines one way,
// encode-only lines the other).
TEST_F(Convert, EveryCodesetRoundTripsItsRepertoire) {
    size_t files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(CodesetDataPath(""))) {
        if (entry.path().extension() != ".txt") continue;
        const std::string text = ReadFile(entry.path().string());
        std::istringstream props(text);
        std::string key, name;
        while (props >> key && key != "name") {}
        props >> name;
        SCOPED_TRACE(name);
        LXLocale *l = Data(name);
        ASSERT_NE(l, nullptr);
        ++files;
        const Codeset cs = CodesetOf(l);
        size_t failures = 0;
        for (const MapLine &m : ParseMap(text)) {
            uint8_t raw[4];
            Bytes bytes(raw, raw + UnpackWchar(m.bytes, raw));
            if (cs.stateful() && bytes.size() > 1) bytes.insert(bytes.begin(), cs.shiftOut());
            LXUchar u = 0;
            LXWchar w = 0;
            bool ok = true;
            if (m.dir != 'e')
                ok &= ToU(l, bytes) == Units{m.u} && LXStringToUnicodeW(&u, 1, l, &m.bytes, 1, 0) == 1 && u == m.u;
            if (m.dir != 'd')
                ok &= FromU(l, {m.u}) == bytes && LXUnicodeToStringW(l, &w, 1, &m.u, 1, 0) == 1 && w == m.bytes;
            if (!ok && ++failures <= 5) ADD_FAILURE() << std::hex << "0x" << m.bytes << " U+" << m.u << " " << m.dir;
        }
        EXPECT_EQ(failures, 0u);
    }
    EXPECT_GE(files, 20u);
}

}  // namespace
}  // namespace lorvex::test
