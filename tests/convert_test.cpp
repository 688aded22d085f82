// Codeset conversion: the buffer converter and the string converters in their
// four forms, on small codesets compiled here (single-byte, double-byte,
// stateful) and on the real codesets of the compiled locale directory.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "codeset/convert.h"
#include "frame/state.h"
#include "locale/locale_object.h"
#include "locale/registry.h"
#include "lxdc/codeset_compiler.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

using Units = std::vector<LXUchar>;
using Wide = std::vector<LXWchar>;
using Rng = std::mt19937;

constexpr uint8_t kCanary = 0xA5;
constexpr uint32_t kTerm = LX_TERMINATE, kChars = LX_LEN_CHARS;

// ---------------------------------------------------------------------------
// Codesets
// ---------------------------------------------------------------------------

// A codeset source: the properties, then ASCII (less the shift bytes), then
// the extra map lines.
std::string Source(const char *name, int number, int maxBytes, bool stateful, const char *extra) {
    std::string s = std::string("name ") + name + "\npart " + std::to_string(number) + "\nnumber " +
                    std::to_string(number) + "\nmax-bytes " + std::to_string(maxBytes) +
                    "\nsubstitution 0x3F\nfamily ascii\nstateful " +
                    (stateful ? "yes\nshift-out 0x0E\nshift-in 0x0F" : "no") + "\neol none\nmap\n";
    char line[32];
    for (int b = 0; b < 0x80; ++b) {
        if (stateful && (b == 0x0E || b == 0x0F)) continue;
        std::snprintf(line, sizeof line, "0x%02X U+%04X\n", b, b);
        s += line;
    }
    return s + extra;
}

// Double-byte: leads 81 (trails 40-43) and 82 (trails 40-7E); 81 43 is a
// second, decode-only spelling of U+3000; U+00A5 is written as 5C one way.
const std::string kDoubleText = Source("TestDouble", 60001, 2, false,
                                       "0x8140 U+3000\n0x8141 U+3001\n0x8142 U+00A7\n0x8143 U+3000 decode\n"
                                       "0x8240 U+4E00\n0x827E U+4E01\n0xA1 U+FF61\n0x5C U+00A5 encode\n");
// Stateful: shift-out 0E, shift-in 0F, two-byte characters in state 1.
const std::string kShiftText =
    Source("TestShift", 60002, 2, true, "0x4040 U+3000\n0x4141 U+4E00\n0x4142 U+4E01\n0x4143 U+00A7\n");
const std::string kSingleText = Source("TestSingle", 60003, 1, false, "0xA4 U+20AC\n0xE9 U+00E9\n");

std::string ReadFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string DataPath(const std::string &file) { return std::string(LORVEX_TEST_SOURCE_DIR) + "/data/codeset/" + file; }

// A locale object over one codeset part (conversion reads nothing else).  It
// is a plain value, so making one allocates nothing through the library.
class Locale {
public:
    explicit Locale(const std::string &text) : part_(lxdc::CompileCodeset(text, "test")) {
        rec_.kind = layout::kCodeset;
        for (size_t t = 0; t < part_.tables.size(); ++t) {
            if (part_.tables[t].empty()) continue;
            rec_.table[t] = part_.tables[t].data();
            rec_.size[t] = uint16_t(part_.tables[t].size());
        }
        Init(&rec_);
    }
    explicit Locale(PartRecord *rec) { Init(rec); }
    Locale(const Locale &) = delete;
    LXLocale *get() { return &loc_; }
    Codeset cs() const { return CodesetOf(&loc_); }

private:
    void Init(PartRecord *rec) {
        loc_ = LXLocale{};
        loc_.codeset = rec;
        SetPartFlags(&loc_);
    }
    lxdc::Part part_;
    PartRecord rec_{};
    LXLocale loc_{};
};

LXLocale *Compiled(const std::string &text) {
    static std::map<std::string, std::unique_ptr<Locale>> cache;
    auto &l = cache[text];
    if (!l) l = std::make_unique<Locale>(text);
    return l->get();
}
LXLocale *Double() { return Compiled(kDoubleText); }
LXLocale *Shift() { return Compiled(kShiftText); }
LXLocale *Single() { return Compiled(kSingleText); }
LXLocale *Utf8() { return Compiled(ReadFile(DataPath("utf-8.txt"))); }

// ---------------------------------------------------------------------------
// Buffers and whole-string helpers
// ---------------------------------------------------------------------------

// An output buffer of n units followed by canaries; it starts filled with
// canaries too, so that a test can also see that nothing past the output a
// call reports was written.
template <class T>
struct Out {
    std::vector<T> v;
    size_t n;
    explicit Out(size_t units) : v(units + 4, T(kCanary)), n(units) {}
    T *data() { return v.data(); }
    bool intact(size_t from) const {
        for (size_t i = from; i < v.size(); ++i)
            if (v[i] != T(kCanary)) return false;
        return true;
    }
    bool intact() const { return intact(n); }
    std::vector<T> first(int32_t k) const { return std::vector<T>(v.begin(), v.begin() + (k > 0 ? k : 0)); }
};

Bytes Hex(std::initializer_list<int> b) { return Bytes(b.begin(), b.end()); }

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

// ---------------------------------------------------------------------------
// Fixture: the library runs on the compiled locale directory, so that real
// codesets load through the registry and conversion objects have an
// allocator.
// ---------------------------------------------------------------------------
class Convert : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(LXInit(LORVEX_TEST_LOCALE_DIR, nullptr, nullptr, 0, 0), LX_OK); }
    static void TearDownTestSuite() {
        data().clear();
        LXTerm();
    }
    static std::map<std::string, std::unique_ptr<Locale>> &data() {
        static std::map<std::string, std::unique_ptr<Locale>> m;
        return m;
    }
    // The codeset part of that name from the locale directory.
    static LXLocale *Data(const std::string &name) {
        auto &l = data()[name];
        if (!l) {
            int32_t err = 0;
            PartRecord *rec = LXFindPartByName(Library().registry, layout::kCodeset, name.c_str(),
                                               int32_t(name.size()), kLoad, &err);
            EXPECT_NE(rec, nullptr) << name << ": error " << err;
            if (!rec) return nullptr;
            l = std::make_unique<Locale>(rec);
        }
        return l->get();
    }
};

// ---------------------------------------------------------------------------
// One character each way
// ---------------------------------------------------------------------------

TEST_F(Convert, Utf8IsArithmetic) {
    const struct {
        LXUchar u;
        Bytes bytes;
    } both[] = {
        {0x0041, {0x41}},       {0x007F, {0x7F}},       {0x0080, {0xC2, 0x80}},       {0x07FF, {0xDF, 0xBF}},
        {0x0800, {0xE0, 0xA0, 0x80}}, {0x20AC, {0xE2, 0x82, 0xAC}}, {0xFFFF, {0xEF, 0xBF, 0xBF}},
    };
    for (const auto &c : both) {
        EXPECT_EQ(FromU(Utf8(), {c.u}), c.bytes) << std::hex << c.u;
        EXPECT_EQ(ToU(Utf8(), c.bytes), Units{c.u}) << std::hex << c.u;
    }
    // Decoding: trail bytes are not checked, a character beyond 16 bits is
    // one U+FFFD however long, and a stray continuation byte is one U+FFFD.
    const struct {
        Bytes bytes;
        Units u;
    } in[] = {
        {{0xC3, 0x41}, {0x00C1}},
        {{0xED, 0xA0, 0x80}, {0xD800}},
        {{0xF0, 0x9F, 0x98, 0x80, 0x41}, {0xFFFD, 0x41}},
        {{0x80, 0xBF}, {0xFFFD, 0xFFFD}},
    };
    for (const auto &c : in) EXPECT_EQ(ToU(Utf8(), c.bytes), c.u);
}

TEST_F(Convert, DecodeTreeRangesAndPages) {
    const struct {
        Bytes bytes;
        Units u;
    } decode[] = {
        {{0x81, 0x40}, {0x3000}}, {{0x82, 0x7E}, {0x4E01}}, {{0x81, 0x43}, {0x3000}},  // decode-only line
        {{0x81, 0x30}, {0xFFFD}},                                                   // trail below the leaf's low
        {{0x81, 0x44}, {0xFFFD}},                                                   // above its high
        {{0x83, 0x40}, {0xFFFD, 0x40}},                                             // 83 is no lead
        {{0xA1, 0x5C}, {0xFF61, 0x5C}},
    };
    for (const auto &c : decode) EXPECT_EQ(ToU(Double(), c.bytes), c.u) << int(c.bytes[0]) << " " << int(c.bytes[1]);
    EXPECT_EQ(FromU(Double(), {0x3000, 0x00A5, 0x5C, 0xFFFD, 0x4E02, 0xFF61}),
              Hex({0x81, 0x40, 0x5C, 0x5C, '?', '?', 0xA1}));
    // Out of the tree's ranges: the target's substitution byte, unless the
    // target maps U+FFFD.
    const Bytes bad = {0x81, 0x30, 'A'};
    for (auto [target, expect] : {std::pair{Single(), Hex({'?', 'A'})}, {Utf8(), Hex({0xEF, 0xBF, 0xBD, 'A'})}}) {
        Out<uint8_t> o(8);
        ASSERT_EQ(LXConvertString(target, o.data(), 8, Double(), bad.data(), 3, 0), int32_t(expect.size()));
        EXPECT_EQ(o.first(int32_t(expect.size())), expect);
    }
}

// ---------------------------------------------------------------------------
// LXConvertBuffer
// ---------------------------------------------------------------------------

struct Call {
    Bytes in;
    int32_t room;
    int32_t result;
    Bytes out;        // written by this call
    int32_t consumed;
};

TEST_F(Convert, BufferCarriesPartsBetweenCalls) {
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
         {{{0xE3, 0x80, 0x80}, 0, 52, {}, 3}, {{}, 2, 52, {0x0E, 0x40}, 0}, {{'B'}, 8, 0, {0x40, 0x0F, 'B'}, 1}},
         3},
        {"shift-out and half a character fit", Shift(), Utf8(),
         {{{0xE3, 0x80, 0x80}, 2, 52, {0x0E, 0x40}, 3}, {{}, 1, 0, {0x40}, 0}}, 1},
        {"shift byte ends the input", Utf8(), Shift(),
         {{{'A', 0x0E}, 8, 0, {'A'}, 2}, {{0x40, 0x40, 0x0F}, 8, 0, {0xE3, 0x80, 0x80}, 3}}, 0},
        {"a shift byte ends the input, and the next one begins with another", Utf8(), Shift(),
         {{{'A', 0x0E}, 8, 0, {'A'}, 2}, {{0x0F, 0x41, 0x0F, 'B'}, 8, 0, {0xEF, 0xBF, 0xBD, 'B'}, 4}}, 0},
        {"stateful source cut inside a character", Utf8(), Shift(),
         {{{0x0E, 0x41}, 8, 53, {}, 2}, {{0x41, 0x0F, 'Z'}, 8, 0, {0xE4, 0xB8, 0x80, 'Z'}, 3}}, 0},
        {"UTF-8 source cut twice", Double(), Utf8(),
         {{{0xE4}, 8, 53, {}, 1}, {{0xB8}, 8, 53, {}, 1}, {{0x80}, 8, 0, {0x82, 0x40}, 1}}, 0},
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
            EXPECT_EQ(room, call.room - wrote);
            EXPECT_EQ(in - call.in.data(), call.consumed);
            EXPECT_EQ(left, int32_t(call.in.size()) - call.consumed);
            EXPECT_TRUE(o.intact());
            if (k == 0) {
                EXPECT_EQ(conv->pendingOutCount, c.pendingOut);
            }
        }
        EXPECT_EQ(LXCloseConversion(conv), LX_OK);
    }
}

TEST_F(Convert, Ratio) {
    const struct {
        LXLocale *target, *source;
        int32_t ratio;
    } cases[] = {
        {Double(), Double(), 1}, {Shift(), Single(), 3}, {Double(), Single(), 2},
        {Single(), Utf8(), 1},   {Utf8(), Single(), 4},  {Shift(), Shift(), 1},
    };
    for (const auto &c : cases) {
        c.target->error = LX_ERR_BUFFER;
        EXPECT_EQ(LXConversionRatio(c.target, c.source), c.ratio);
        EXPECT_EQ(c.target->error, LX_OK);
    }
}

// ---------------------------------------------------------------------------
// Lengths, flags and the terminator, across the faces
// ---------------------------------------------------------------------------

struct Row {
    int32_t len, size;
    uint32_t flags;
    std::vector<uint32_t> out;
    int32_t result;
    LXState variant = 0;  // the Ex faces: the starting state; others: their second input
};

// Runs one face on a row: returns the result and checks the units written
// and the canaries after size units (size characters of up to 4 bytes in
// character mode).
using Face = std::function<int32_t(const Row &, void *buf, int32_t size)>;

template <class T>
void RunRows(const char *name, bool bytesOut, const Face &face, const std::vector<Row> &rows,
             LXLocale *reporting) {
    for (const Row &r : rows) {
        SCOPED_TRACE(::testing::Message() << name << " len " << r.len << " size " << r.size << " flags 0x"
                                          << std::hex << r.flags << " state " << r.variant);
        const bool chars = bytesOut && (r.flags & kChars);
        Out<T> o{size_t(r.size > 0 ? r.size : 0) * (chars ? 4 : 1)};
        const int32_t got = face(r, o.data(), r.size);
        EXPECT_EQ(got, r.result);
        EXPECT_EQ(LXGetError(reporting), (r.flags & ~(kTerm | kChars)) ? LX_ERR_ARGUMENT : LX_OK);
        const std::vector<T> written = o.first(int32_t(r.out.size()));
        EXPECT_EQ(std::vector<uint32_t>(written.begin(), written.end()), r.out);
        if (r.out.empty()) {
            EXPECT_EQ(o.v[0], T(kCanary)) << "nothing is written";
        }
        EXPECT_TRUE(o.intact());
    }
}

TEST_F(Convert, StringFacesLengthsAndTermination) {
    // "A", U+3000, "B" in the double-byte codeset, NUL-terminated.
    static const uint8_t mb[] = {'A', 0x81, 0x40, 'B', 0};
    static const LXWchar wide[] = {'A', 0x8140, 'B', 0};
    static const LXUchar uni[] = {'A', 0x3000, 'B', 0};
    static const uint8_t cut[] = {'A', 0x81, 0};  // ends inside a character
    const uint32_t e3 = 0xE3, x80 = 0x80;

    RunRows<uint8_t>("LXConvertString", true,
                     [&](const Row &r, void *b, int32_t size) {
                         return LXConvertString(Utf8(), static_cast<uint8_t *>(b), size, Double(), mb, r.len, r.flags);
                     },
                     {
                         {-1, 16, 0, {'A', e3, x80, x80, 'B', 0}, 6},
                         {-1, 5, 0, {'A', e3, x80, x80, 'B'}, 5},   // no room for the NUL
                         {-1, 4, 0, {'A', e3, x80, x80}, 4},        // not all converted: no NUL
                         {-1, 3, 0, {'A'}, 1},                      // stops before a character that passes
                         {4, 16, 0, {'A', e3, x80, x80, 'B'}, 5},   // a given length is not terminated
                         {2, 16, 0, {'A'}, 1},                      // a character cut by len ends it
                         {4, 16, kTerm, {'A', e3, x80, x80, 'B', 0}, 6},
                         {4, 5, kTerm, {'A', e3, x80, x80, 0}, 5},  // the last byte is kept for the NUL
                         {4, 1, kTerm, {0}, 1},
                         {0, 4, kTerm, {0}, 1},
                         {0, 4, 0, {}, 0},
                         {-1, 0, kTerm, {}, 0},
                         {2, 16, kChars, {'A', e3, x80, x80}, 2},  // two characters of the source
                         {-1, 2, kChars, {'A', e3, x80, x80}, 2},
                         {-1, 3, kChars, {'A', e3, x80, x80, 'B'}, 3},
                         {-1, 4, kChars, {'A', e3, x80, x80, 'B', 0}, 4},
                         {-1, 3, kChars | kTerm, {'A', e3, x80, x80, 0}, 3},
                         {4, 16, 1, {}, -1},
                         {4, 16, 0x10, {}, -1},
                         {4, 16, kChars | 1, {}, 0},
                     },
                     Utf8());
    RunRows<LXUchar>("LXStringToUnicode", false,
                     [&](const Row &r, void *b, int32_t size) {
                         return LXStringToUnicode(static_cast<LXUchar *>(b), size, Double(), r.variant ? cut : mb,
                                                  r.len, r.flags);
                     },
                     {
                         {-1, 8, 0, {'A', 0x3000, 'B', 0}, 4},
                         {-1, 3, 0, {'A', 0x3000, 'B'}, 3},
                         {-1, 2, 0, {'A', 0x3000}, 2},
                         {-1, 1, kTerm, {0}, 1},
                         {-1, 8, 0, {'A'}, 1, 1},  // a cut-off character: not all converted, no 0
                         {-1, 8, kTerm, {'A', 0}, 2, 1},
                         {3, 8, 0, {'A', 0x3000}, 2},
                         {2, 8, kChars, {'A', 0x3000}, 2},
                         {-1, 0, kTerm, {}, 0},
                         {4, 8, 0x20, {}, -1},
                         {4, 8, kChars | 0x20, {}, -1},
                     },
                     Double());
    RunRows<uint8_t>("LXUnicodeToString", true,
                     [&](const Row &r, void *b, int32_t size) {
                         return LXUnicodeToString(Double(), static_cast<uint8_t *>(b), size, uni, r.len, r.flags);
                     },
                     {
                         {-1, 8, 0, {'A', 0x81, 0x40, 'B', 0}, 5},
                         {3, 8, 0, {'A', 0x81, 0x40, 'B'}, 4},
                         {3, 3, 0, {'A', 0x81, 0x40}, 3},
                         {3, 2, 0, {'A'}, 1},
                         {3, 2, kChars, {'A', 0x81, 0x40}, 2},
                         {-1, 4, kChars, {'A', 0x81, 0x40, 'B', 0}, 4},
                         {3, 4, kTerm, {'A', 0x81, 0x40, 0}, 4},
                         {0, 4, kTerm, {0}, 1},
                         {3, 0, kTerm, {}, 0},
                         {3, 8, 2, {}, -1},
                         {3, 8, kChars | 2, {}, 0},
                     },
                     Double());
    const Face convertW = [&](const Row &r, void *b, int32_t size) {
        return LXConvertStringW(Utf8(), static_cast<LXWchar *>(b), size, Double(), wide, r.len, r.flags);
    };
    RunRows<LXWchar>("LXConvertStringW", false, convertW,
                     {
                         {-1, 8, 0, {'A', 0xE38080, 'B', 0}, 4},
                         {-1, 3, 0, {'A', 0xE38080, 'B'}, 3},
                         {3, 8, kChars, {'A', 0xE38080, 'B'}, 3},
                         {3, 3, kTerm, {'A', 0xE38080, 0}, 3},
                         {0, 3, kTerm, {0}, 1},
                         {3, 0, kTerm, {}, 0},
                         {3, 8, 4, {}, -1},
                     },
                     Utf8());
    RunRows<LXUchar>("LXStringToUnicodeW", false,
                     [&](const Row &r, void *b, int32_t size) {
                         return LXStringToUnicodeW(static_cast<LXUchar *>(b), size, Double(), wide, r.len, r.flags);
                     },
                     {{-1, 8, 0, {'A', 0x3000, 'B', 0}, 4}, {-1, 2, kTerm, {'A', 0}, 2}, {3, 8, 0x100, {}, -1}},
                     Double());
    RunRows<LXWchar>("LXUnicodeToStringW", false,
                     [&](const Row &r, void *b, int32_t size) {
                         return LXUnicodeToStringW(Double(), static_cast<LXWchar *>(b), size, uni, r.len, r.flags);
                     },
                     {{-1, 8, 0, {'A', 0x8140, 'B', 0}, 4}, {-1, 3, 0, {'A', 0x8140, 'B'}, 3}, {3, 8, 0x100, {}, -1}},
                     Double());
}

// The stateful forms: shift bytes obeyed on the way in, inserted on the way
// out, and a written terminator that closes the text in state 0.
TEST_F(Convert, ShiftStatesAndClosing) {
    static const LXUchar uni[] = {'A', 0x3000, 0x4E00, 0};  // A SO 4040 4141 in the stateful codeset
    static const LXUchar one[] = {0x3000, 'A'};
    RunRows<uint8_t>("LXUnicodeToStringEx", true,
                     [&](const Row &r, void *b, int32_t size) {
                         const LXUchar *u = r.variant ? one : uni;
                         return LXUnicodeToStringEx(Shift(), static_cast<uint8_t *>(b), r.variant, size, u, r.len, r.flags);
                     },
                     {
                         {3, 16, 0, {'A', 0x0E, 0x40, 0x40, 0x41, 0x41}, 6},  // no terminator: left in state 1
                         {3, 16, kTerm, {'A', 0x0E, 0x40, 0x40, 0x41, 0x41, 0x0F, 0}, 8},
                         {3, 8, kTerm, {'A', 0x0E, 0x40, 0x40, 0x41, 0x41, 0x0F, 0}, 8},
                         {3, 7, kTerm, {'A', 0x0E, 0x40, 0x40, 0x0F, 0}, 6},  // last character taken back
                         {3, 6, kTerm, {'A', 0x0E, 0x40, 0x40, 0x0F, 0}, 6},
                         {3, 5, kTerm, {'A', 0}, 2},  // ... and the bare shift-out removed
                         {-1, 16, 0, {'A', 0x0E, 0x40, 0x40, 0x41, 0x41, 0x0F, 0}, 8},
                         {-1, 7, 0, {'A', 0x0E, 0x40, 0x40, 0x0F, 0}, 6},
                         {-1, 6, 0, {'A', 0x0E, 0x40, 0x40, 0x41, 0x41}, 6},  // no room for a NUL
                         {3, 3, kChars | kTerm, {'A', 0x0E, 0x40, 0x40, 0x0F, 0}, 3},
                         {1, 16, kTerm, {0x40, 0x40, 0x0F, 0}, 4, 1},  // starting in state 1
                         {2, 16, 0, {0x40, 0x40, 0x0F, 'A'}, 4, 1},
                         {1, 1, kTerm, {0}, 1, 1},  // nothing of this call to take back: the NUL alone
                     },
                     Shift());

    const struct {
        Bytes in;
        LXState state;
        Units ex, plain;
    } in[] = {
        {{'A', 0x0E, 0x40, 0x40, 0x41, 0x41, 0x0F, 'B'}, 0, {'A', 0x3000, 0x4E00, 'B'},
         {'A', 0xFFFD, '@', '@', 'A', 'A', 0xFFFD, 'B'}},
        {{0x40, 0x40, 0x0F, 'A'}, 1, {0x3000, 'A'}, {'@', '@', 0xFFFD, 'A'}},
        {{0x0E, 0x0F, 0x41}, 0, {0xFFFD}, {0xFFFD, 0xFFFD, 'A'}},  // the byte after a shift byte is a character's
        {{'A', 0x0E}, 0, {'A'}, {'A', 0xFFFD}},
        {{0x0E, 0x41}, 0, {}, {0xFFFD, 'A'}},  // cut off
    };
    for (const auto &c : in) {
        Out<LXUchar> o(16);
        int32_t n = LXStringToUnicodeEx(o.data(), 16, Shift(), c.in.data(), c.state, int32_t(c.in.size()), 0);
        EXPECT_EQ(o.first(n), c.ex);
        n = LXStringToUnicode(o.data(), 16, Shift(), c.in.data(), int32_t(c.in.size()), 0);
        EXPECT_EQ(o.first(n), c.plain);
    }
    // Characters counted from the given state: two characters are A, SO 4040.
    const Bytes text = {'A', 0x0E, 0x40, 0x40, 0x41, 0x41};
    Out<LXUchar> o(8);
    EXPECT_EQ(LXStringToUnicodeEx(o.data(), 8, Shift(), text.data(), 0, 2, kChars), 2);
    EXPECT_EQ(o.first(2), (Units{'A', 0x3000}));

    // Between two stateful texts, and from single-byte into stateful.
    const Bytes src = {'A', 0x0E, 0x40, 0x40, 0x0F, 'B', 0};
    Out<uint8_t> b(16);
    EXPECT_EQ(LXConvertStringEx(Shift(), b.data(), 0, 16, Shift(), src.data(), 0, -1, 0), 7);
    EXPECT_EQ(b.first(7), src);
    EXPECT_EQ(LXConvertStringEx(Shift(), b.data(), 1, 16, Shift(), src.data() + 2, 1, 4, kTerm), 5);
    EXPECT_EQ(b.first(5), Hex({0x40, 0x40, 0x0F, 'B', 0}));
    const Bytes e9 = {0xE9, 'x'};
    EXPECT_EQ(LXConvertStringEx(Shift(), b.data(), 0, 16, Single(), e9.data(), 1, 2, 0), 2);
    EXPECT_EQ(b.first(2), Hex({'?', 'x'}));
}

// ---------------------------------------------------------------------------
// Handles
// ---------------------------------------------------------------------------

TEST_F(Convert, NoLocaleTouchesNothing) {
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
    EXPECT_EQ(b.v, Out<uint8_t>(8).v);
    EXPECT_EQ(u.v, Out<LXUchar>(8).v);
    EXPECT_EQ(w.v, Out<LXWchar>(8).v);

    // A null handle is the default locale, whose error field is cleared.
    Library().defaultLocale = Double();
    Double()->error = LX_ERR_BUFFER;
    const uint8_t dbl[] = {0x81, 0x40, 0};
    EXPECT_EQ(LXStringToUnicode(u.data(), 8, nullptr, dbl, -1, 0), 2);
    EXPECT_EQ(u.first(2), (Units{0x3000, 0}));
    EXPECT_EQ(Double()->error, LX_OK);
    EXPECT_EQ(LXConvertString(nullptr, b.data(), 8, nullptr, dbl, -1, 0), 3);
    Library().defaultLocale = nullptr;
}

// Allocation through the caller's functions: a failed allocation is error 20
// in the target, a failed free is 21.
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

// ---------------------------------------------------------------------------
// Randomised: any split of input and output gives the whole-string result,
// and the W and U forms agree with the byte forms.
// ---------------------------------------------------------------------------

// Unicode values a codeset maps, from its source's map lines.
struct MapLine {
    LXWchar bytes;
    LXUchar u;
    char dir;  // 'r' round trip, 'd' decode only, 'e' encode only
};

std::vector<MapLine> ParseMap(const std::string &text) {
    std::vector<MapLine> lines;
    std::istringstream in(text);
    bool inMap = false;
    for (std::string line; std::getline(in, line);) {
        std::istringstream f(line.substr(0, line.find('#')));
        std::string bytes, u, dir;
        if (!(f >> bytes)) continue;
        if (bytes == "map") inMap = true;
        if (!inMap || bytes == "map") continue;
        f >> u >> dir;
        lines.push_back({LXWchar(std::stoul(bytes, nullptr, 16)), LXUchar(std::stoul(u.substr(2), nullptr, 16)),
                         dir.empty() ? 'r' : dir[0]});
    }
    return lines;
}

// Random text of the codeset: characters it maps, ASCII runs, and bytes of
// any value (shift bytes included), completed so that it ends on a whole
// character.
Bytes RandomText(Rng &rng, LXLocale *l, const std::vector<MapLine> &map, size_t minSize = 0) {
    const Codeset cs = CodesetOf(l);
    Bytes t;
    for (int pieces = int(rng() % 12); pieces >= 0 || t.size() < minSize; --pieces) {
        switch (rng() % 3) {
        case 0: {
            Units u;
            for (int i = int(rng() % 20); i >= 0; --i)
                u.push_back(rng() % 8 ? map[rng() % map.size()].u : LXUchar(rng()));
            const Bytes b = FromU(l, u);
            t.insert(t.end(), b.begin(), b.end());
            break;
        }
        case 1:
            for (int i = int(rng() % 40); i >= 0; --i) t.push_back(uint8_t(0x20 + rng() % 0x5F));
            break;
        default:  // shift bytes often, any byte now and then
            for (int i = int(rng() % 6); i >= 0; --i)
                t.push_back(rng() % 3 ? uint8_t(rng()) : rng() % 2 ? cs.shiftOut() : cs.shiftIn());
        }
    }
    // Walk it as the converters do and pad a cut-off last character.
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

// Converts through one conversion object in random pieces into random room.
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
        EXPECT_EQ(left, int32_t(piece - size_t(p - (in.data() + at))));
        if (r == LX_ERR_INPUT_PENDING) {
            EXPECT_EQ(left, 0);
        }
        at = size_t(p - in.data());
        got.insert(got.end(), o.data(), out);
    }
    EXPECT_EQ(r, LX_OK);
    return got;
}

TEST_F(Convert, BufferAndStringFormsAgreeUnderAnySplit) {
    struct Named {
        const char *name;
        LXLocale *loc;
        std::vector<MapLine> map;
    };
    std::vector<Named> sets = {
        {"TestDouble", Double(), ParseMap(kDoubleText)},
        {"TestShift", Shift(), ParseMap(kShiftText)},
        {"TestSingle", Single(), ParseMap(kSingleText)},
    };
    for (const char *name : {"MS1252", "UTF-8", "MS932", "IBM939", "IBM037"}) {
        std::string file = name;
        for (char &ch : file) ch = char(std::tolower(static_cast<unsigned char>(ch)));
        sets.push_back({name, Data(name), ParseMap(ReadFile(DataPath(file + ".txt")))});
        ASSERT_NE(sets.back().loc, nullptr);
    }
    Rng rng(20240611);
    for (const Named &s : sets) {
        for (const Named &t : sets) {
            SCOPED_TRACE(std::string(s.name) + " to " + t.name);
            const Codeset sc = CodesetOf(s.loc), tc = CodesetOf(t.loc);
            for (int round = 0; round < 6; ++round) {
                // The first text is long enough for the string converter's
                // byte map.
                const Bytes in = RandomText(rng, s.loc, s.map, round == 0 ? 2000 : 0);
                const Units u = ToU(s.loc, in);
                const Bytes whole = FromU(t.loc, u);

                LXConversion *conv = LXOpenConversion(t.loc, s.loc);
                ASSERT_NE(conv, nullptr);
                EXPECT_EQ(Chunked(rng, conv, in), whole);
                EXPECT_EQ(LXCloseConversion(conv), LX_OK);

                Out<uint8_t> o(whole.size() + 1);
                const int32_t n = LXConvertStringEx(t.loc, o.data(), 0, int32_t(o.n), s.loc, in.data(), 0,
                                                    int32_t(in.size()), 0);
                EXPECT_EQ(o.first(n), whole);
                EXPECT_TRUE(o.intact());
                if (!sc.stateful() && !tc.stateful()) {
                    // Cut short: the plain form stops before the character
                    // that does not fit, whichever path converts it, and
                    // LX_TERMINATE keeps the last byte for the NUL.
                    for (const uint32_t flags : {0u, kTerm}) {
                        const int32_t cut = int32_t(whole.size() / 2) + 1, text = cut - int32_t(flags != 0);
                        Out<uint8_t> h{size_t(cut)};
                        int32_t m = LXConvertString(t.loc, h.data(), cut, s.loc, in.data(), int32_t(in.size()), flags);
                        EXPECT_TRUE(h.intact(size_t(m)));
                        if (flags) {
                            EXPECT_EQ(h.v[size_t(--m)], 0);
                        }
                        EXPECT_LE(m, text);
                        EXPECT_GT(m + int32_t(tc.maxBytes()), text);
                        EXPECT_EQ(h.first(m), Bytes(whole.begin(), whole.begin() + m));
                    }
                }

                // W forms: the packed characters of the source convert to
                // the packed characters of the target.
                if (sc.stateful() || tc.stateful()) continue;
                Wide sw(u.size() + 1), tw(u.size() + 1);
                const int32_t ns = LXUnicodeToStringW(s.loc, sw.data(), int32_t(sw.size()), u.data(), int32_t(u.size()), 0);
                Bytes unpacked;
                for (int32_t i = 0; i < ns; ++i) {
                    uint8_t b4[4];
                    unpacked.insert(unpacked.end(), b4, b4 + UnpackWchar(sw[size_t(i)], b4));
                }
                EXPECT_EQ(unpacked, FromU(s.loc, u));
                Units back(u.size() + 1);
                back.resize(size_t(LXStringToUnicodeW(back.data(), int32_t(back.size()), s.loc, sw.data(), ns, 0)));
                EXPECT_EQ(back, ToU(s.loc, unpacked));
                const int32_t nt = LXConvertStringW(t.loc, tw.data(), int32_t(tw.size()), s.loc, sw.data(), ns, 0);
                Wide expect(back.size() + 1);
                expect.resize(size_t(LXUnicodeToStringW(t.loc, expect.data(), int32_t(expect.size()), back.data(),
                                                        int32_t(back.size()), 0)));
                EXPECT_EQ(Wide(tw.begin(), tw.begin() + nt), expect);
            }
        }
    }
}

// ---------------------------------------------------------------------------
// Every codeset of the locale directory, line by line of its source.
// ---------------------------------------------------------------------------

TEST_F(Convert, EveryCodesetRoundTripsItsRepertoire) {
    size_t files = 0;
    for (const auto &entry : std::filesystem::directory_iterator(DataPath(""))) {
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
            const unsigned n = UnpackWchar(m.bytes, raw);
            Bytes bytes(raw, raw + n);
            if (cs.stateful() && n > 1) bytes.insert(bytes.begin(), cs.shiftOut());
            Units u(2);
            Wide w(2);
            bool ok = true;
            if (m.dir != 'e') {
                ok &= ToU(l, bytes) == Units{m.u};
                ok &= LXStringToUnicodeW(u.data(), 2, l, &m.bytes, 1, 0) == 1 && u[0] == m.u;
            }
            if (m.dir != 'd') {
                ok &= FromU(l, {m.u}) == bytes;
                ok &= LXUnicodeToStringW(l, w.data(), 2, &m.u, 1, 0) == 1 && w[0] == m.bytes;
            }
            if (!ok && ++failures <= 5)
                ADD_FAILURE() << std::hex << "0x" << m.bytes << " U+" << m.u << " " << m.dir;
        }
        EXPECT_EQ(failures, 0u);
    }
    EXPECT_GE(files, 20u);
}

}  // namespace
}  // namespace lorvex::test
