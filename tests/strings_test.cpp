// The string families over three real codesets: single-byte MS1252,
// double-byte MS932 (whose trail bytes include ASCII letters and the
// backslash) and stateful IBM939.  Random texts are built from a few
// characters chosen to collide (a trail byte equal to a one-byte character,
// a one-byte character equal to a lead byte), so that a search that looks
// inside characters finds false matches.  Every multibyte result is checked
// against the same operation on the packed characters (the LXWcs form) and
// the UCS-2 form of the same text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "frame/state.h"
#include "lorvex.h"
#include "support/codesets.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

using Bytes = std::vector<uint8_t>;
using Wide = std::vector<LXWchar>;
using Units = std::vector<LXUchar>;
constexpr uint8_t SO = 0x0E, SI = 0x0F;

struct Release {
    void operator()(LXLocale *loc) const { LXReleaseLocale(loc, 0); }
};
struct Locale : std::unique_ptr<LXLocale, Release> {
    explicit Locale(const char *name) : unique_ptr(LXGetLocale(name, 0, nullptr)) { EXPECT_NE(get(), nullptr); }
    operator LXLocale *() const { return get(); }
};

struct Sample {
    const char *locale;
    Wide pool;  // characters as LXWchars; above 0xFF two bytes
};
const Sample kSamples[] = {
    {"English_UnitedStates.MS1252", {'a', 'b', ',', 0xE9, 0x80}},
    {"Japanese_Japan.MS932", {'A', 'B', '\\', 0xB1, 0x8341, 0x8342, 0x835C, 0x82A0}},
    {"Japanese_Japan.IBM939", {0xC1, 0xC2, 0x42, 0x40, 0x42C1, 0x4481, 0x4541, 0x4542}},
};

unsigned Width(LXWchar c) { return c > 0xFF ? 2 : 1; }

// Encoded text and, per character, where it begins (with the shift byte in
// front of it) and where its own bytes start.
struct Text {
    Bytes bytes;  // with a NUL after the text
    int32_t n = 0;
    Wide chars;
    std::vector<int32_t> begin, at;
    const unsigned char *p() const { return bytes.data(); }
    int32_t count() const { return int32_t(chars.size()); }
    // The characters that end within len bytes.
    int32_t whole(int32_t len) const {
        int32_t k = 0;
        while (k < count() && at[k] + int32_t(Width(chars[k])) <= len) ++k;
        return k;
    }
    bool boundary(int32_t off) const {
        for (int32_t i = 0; i < count(); ++i)
            if (off == begin[i] || off == at[i] || off == at[i] + int32_t(Width(chars[i]))) return true;
        return off == 0 || off == n;
    }
};

Text Encode(const Wide &chars, bool stateful, bool close) {
    Text t;
    t.chars = chars;
    t.chars.reserve(chars.size() + 1);  // data() is never null, as a caller's array is not
    bool shifted = false;
    for (LXWchar c : chars) {
        t.begin.push_back(int32_t(t.bytes.size()));
        if (stateful && (c > 0xFF) != shifted) {
            shifted = !shifted;
            t.bytes.push_back(shifted ? SO : SI);
        }
        t.at.push_back(int32_t(t.bytes.size()));
        if (c > 0xFF) t.bytes.push_back(uint8_t(c >> 8));
        t.bytes.push_back(uint8_t(c));
    }
    if (stateful && close && shifted) t.bytes.push_back(SI);
    t.n = int32_t(t.bytes.size());
    t.bytes.push_back(0);
    return t;
}

class Strings : public ::testing::Test {
protected:
    static void SetUpTestSuite() { started_ = new Started(LORVEX_TEST_LOCALE_DIR, LX_INIT_STRICT); }
    static void TearDownTestSuite() { delete started_; }
    static Started *started_;

    std::mt19937 rng_{20261122};
    int32_t Uniform(int32_t lo, int32_t hi) { return std::uniform_int_distribution<int32_t>(lo, hi)(rng_); }
    bool Coin() { return Uniform(0, 1) == 1; }
    // Runs check on 300 random texts of up to maxChars characters in each
    // sample codeset.
    template <class Check>
    void ForEachText(int32_t maxChars, Check &&check);
    Wide Pick(const Wide &pool, int32_t lo, int32_t hi) {
        Wide w(size_t(Uniform(lo, hi)));
        for (LXWchar &c : w) c = pool[size_t(Uniform(0, int32_t(pool.size()) - 1))];
        return w;
    }
};
Started *Strings::started_ = nullptr;

bool Stateful(LXLocale *loc) { return LXGetLocaleNumInfo(loc, LXI_STATEFUL, 0) == 1; }

template <class Check>
void Strings::ForEachText(int32_t maxChars, Check &&check) {
    for (const Sample &sample : kSamples) {
        Locale loc(sample.locale);
        const bool sf = Stateful(loc);
        for (int round = 0; round < 300; ++round) {
            const Text t = Encode(Pick(sample.pool, 0, maxChars), sf, Coin());
            SCOPED_TRACE(testing::Message() << sample.locale << " round " << round);
            check(loc, sample, sf, t);
        }
    }
}

// Offset of a result in its text, -1 for null.
template <class T>
int32_t Off(const T *r, const T *s) {
    return r ? int32_t(r - s) : -1;
}
// The byte offset the character at index i of t has, -1 for none.
int32_t AtChar(const Text &t, int32_t i) { return i < 0 ? -1 : t.at[size_t(i)]; }

std::vector<Wide> WideTokens(LXLocale *loc, Wide s, const Wide &delims) {
    std::vector<Wide> tokens;
    const int32_t n = int32_t(s.size());
    s.push_back(0);
    int32_t len = n;
    for (LXWchar *p = s.data(); p;) {
        LXWchar *next = nullptr;
        LXWchar *tok = LXWcstok(loc, p, &len, delims.data(), int32_t(delims.size()), &next);
        if (tok && *tok) tokens.emplace_back(tok, tok + LXWcslen(loc, tok));
        p = next;
    }
    return tokens;
}

// The text as UCS-2, one unit per character.
Units Ucs(LXLocale *loc, const Text &t) {
    Units u(size_t(t.count()) + 1);
    EXPECT_EQ(LXStringToUnicodeEx(u.data(), t.count() + 1, loc, t.p(), 0, t.n, 0), t.count());
    return u;
}

Wide Decode(LXLocale *loc, const unsigned char *s, LXState state, int32_t len) {
    Wide w(size_t(len) + 1);
    w.resize(size_t(std::max(0, LXMbToWideEx(loc, w.data(), len + 1, s, state, len, 0))));
    return w;
}

TEST_F(Strings, MultibyteResultsFallOnCharactersAndAgreeWithTheOtherForms) {
    ForEachText(14, [&](LXLocale *loc, const Sample &sample, bool sf, const Text &t) {
        ASSERT_EQ(Decode(loc, t.p(), 0, t.n), t.chars);
        const Units u = Ucs(loc, t);
        const int32_t len = Uniform(0, t.n), wlen = t.whole(len);

        // A character, given with its shift byte or in the state it needs.
        const LXWchar c = Pick(sample.pool, 1, 1)[0];
        const bool bare = sf && c > 0xFF && Coin();
        const Text ct = Encode({c}, sf && !bare, false);
        LXUchar cu = 0;
        LXStringToUnicodeEx(&cu, 1, loc, ct.p(), bare, ct.n, 0);
        for (uint32_t flags : {0u, LX_REVERSE}) {
            LXState st = 7;
            const int32_t got = Off(LXStrchrEx(loc, t.p(), 0, len, ct.p(), bare, &st, flags), t.p());
            const int32_t k = Off(LXWcschr(loc, t.chars.data(), wlen, c, flags), t.chars.data());
            EXPECT_EQ(got, AtChar(t, k)) << "strchr " << flags;
            EXPECT_EQ(Off(LXStrchrU(loc, u.data(), wlen, cu, flags), u.data()), k);
            if (sf && got >= 0) {
                EXPECT_EQ(st, c > 0xFF ? 1 : 0);
            }
        }

        // A needle from the text or made up, perhaps cut inside its last
        // character.
        const int32_t from = Uniform(0, t.count());
        const Wide nw = Coin() ? Wide(t.chars.begin() + from, t.chars.begin() + std::min(t.count(), from + 3))
                               : Pick(sample.pool, 1, 3);
        const Text nt = Encode(nw, sf, Coin());
        const int32_t sublen = Uniform(0, nt.n), subWhole = nt.whole(sublen);
        LXState st = 7;
        const int32_t got = Off(LXStrstrEx(loc, t.p(), 0, len, nt.p(), 0, sublen, &st, 0), t.p());
        const int32_t k =
            Off(LXWcsstr(loc, t.chars.data(), wlen, nt.chars.data(), subWhole), t.chars.data());
        EXPECT_EQ(got, subWhole == 0 ? 0 : AtChar(t, k)) << "strstr";
        if (sf && got > 0) {
            EXPECT_EQ(st, t.chars[size_t(k)] > 0xFF ? 1 : 0);
        }
        EXPECT_EQ(Off(LXStrstrU(loc, u.data(), wlen, Ucs(loc, nt).data(), subWhole), u.data()), k);

        // Spans over a set of up to three characters.
        const Text set = Encode(Pick(sample.pool, 0, 3), sf, Coin());
        for (bool member : {false, true}) {
            auto span = member ? LXStrspnEx : LXStrcspnEx;
            auto wspan = member ? LXWcsspn : LXWcscspn;
            const int32_t kw = wspan(loc, t.chars.data(), t.count(), set.chars.data(), set.count());
            EXPECT_EQ(span(loc, t.p(), 0, t.n, set.p(), 0, set.n, 0), kw < t.count() ? t.begin[size_t(kw)] : t.n);
            EXPECT_EQ(span(loc, t.p(), 0, t.count(), set.p(), 0, set.count(), LX_LEN_CHARS), kw);
            EXPECT_EQ((member ? LXStrspnU : LXStrcspnU)(loc, u.data(), t.count(), Ucs(loc, set).data(), set.count()),
                      kw);
        }
    });
}

TEST_F(Strings, CopiesAppendsAndTokensKeepWholeCharactersAndStayInTheirBuffers) {
    ForEachText(12, [&](LXLocale *loc, const Sample &sample, bool sf, const Text &t) {

        const int32_t size = Uniform(0, t.n + 2);
        Out<uint8_t> out{size_t(size)};
        const int32_t got = LXStrcpyEx(loc, out.data(), 0, size, t.p(), 0, t.n, 0);
        EXPECT_TRUE(t.boundary(got) && got <= size) << got;
        const int32_t next = t.whole(got);  // no further character fits
        if (next < t.count()) {
            EXPECT_GT(t.at[size_t(next)] + int32_t(Width(t.chars[size_t(next)])), size);
        }
        EXPECT_TRUE(std::equal(t.bytes.begin(), t.bytes.begin() + got, out.v.begin()));
        EXPECT_TRUE(out.intact(size_t(got)));
        if (sf) {  // into text in the other state: the copy opens with the shift byte it needs
            Out<uint8_t> shifted{size_t(t.n) + 1};
            const int32_t k = LXStrcpyEx(loc, shifted.data(), 1, t.n + 1, t.p(), 0, t.n, 0);
            EXPECT_EQ(Decode(loc, shifted.data(), 1, k), t.chars);
            EXPECT_TRUE(shifted.intact(size_t(k)));
        }
        Out<LXWchar> wout{size_t(size)};
        EXPECT_EQ(LXWcscpy(loc, wout.data(), size, t.chars.data(), t.count()), std::min(size, t.count()));
        EXPECT_TRUE(wout.intact());

        // Appending to text that may end in the other state.
        const Text a = Encode(Pick(sample.pool, 0, 6), sf, Coin());
        const int32_t srclen = Coin() ? -1 : Uniform(0, t.n);
        const uint32_t flags = Coin() ? LX_TERMINATE : 0;
        Out<uint8_t> dst(size_t(a.n + t.n) + 2);
        std::copy(a.bytes.begin(), a.bytes.end(), dst.v.begin());
        const int32_t total = LXStrcatEx(loc, dst.data(), 0, t.p(), 0, srclen, flags);
        const bool terminated = srclen < 0 || (srclen > 0 && flags);
        Wide expect = a.chars;
        expect.insert(expect.end(), t.chars.begin(), t.chars.begin() + t.whole(srclen < 0 ? t.n : srclen));
        EXPECT_EQ(Decode(loc, dst.data(), 0, total - terminated), expect);
        if (terminated) {
            EXPECT_EQ(dst.v[size_t(total) - 1], 0);
        }
        EXPECT_TRUE(dst.intact(size_t(std::max(total, a.n + 1))));

        // Tokens: the same as those of the packed characters, whether cut
        // out of the text or copied out of it.
        const Text delims = Encode(Pick(sample.pool, 1, 2), sf, Coin());
        const std::vector<Wide> expected = WideTokens(loc, t.chars, delims.chars);
        std::vector<Wide> copied, cut;
        int32_t rest = t.n;
        LXState st = 0;
        for (const unsigned char *p = t.p(); p;) {
            Out<uint8_t> buf(size_t(t.n) + 1);
            const unsigned char *nextp = nullptr;
            LXState nst = 0;
            const int32_t n = LXStrtokEx(loc, buf.data(), 0, t.n + 1, p, st, &rest, delims.p(), 0, delims.n,
                                         &nextp, &nst, 0);
            if (n > 0) copied.push_back(Decode(loc, buf.data(), 0, n));
            EXPECT_TRUE(buf.intact(size_t(t.n) + 1));
            if (nextp) {
                EXPECT_TRUE(t.boundary(int32_t(nextp - t.p())));
            }
            p = nextp;
            st = nst;
        }
        EXPECT_EQ(copied, expected);
        if (sf) return;
        Bytes s = t.bytes;
        rest = -1;
        for (unsigned char *p = s.data(); p;) {
            unsigned char *nextp = nullptr;
            const unsigned char *tok = LXStrtok(loc, p, &rest, delims.p(), delims.n, &nextp, 0);
            if (tok && *tok) {
                cut.push_back(Decode(loc, tok, 0, int32_t(std::strlen(reinterpret_cast<const char *>(tok)))));
            }
            p = nextp;
        }
        EXPECT_EQ(cut, expected);
    });
}

int32_t Sign(int32_t v) { return (v > 0) - (v < 0); }

// Ignoring case is comparing the upper-case mappings: equal exactly when the
// mappings are, in the same order where bytes decide it (single-byte
// codesets, and languages whose special rules make the comparison map the
// whole strings first).  German maps ß to SS; English does not.
TEST_F(Strings, IgnoringCaseComparesTheUpperCaseMappings) {
    const Wide latin = {'a', 'A', 's', 'S', 0xDF, 0xE9, 0xC9};
    const Sample cased[] = {{"German_Germany.MS1252", latin},
                            {"English_UnitedStates.MS1252", latin},
                            {"Japanese_Japan.MS932", {'a', 'A', 0x8281, 0x8260, 0x8341}},
                            {"Japanese_Japan.IBM939", {0x81, 0xC1, 0x4281, 0x42C1}}};
    for (const Sample &sample : cased) {
        Locale loc(sample.locale);
        const bool sf = Stateful(loc), bytesDecide = LXGetLocaleNumInfo(loc, LXI_MAX_CHAR_BYTES, 0) == 1;
        int equal = 0;
        for (int round = 0; round < 300; ++round) {
            const Text t1 = Encode(Pick(sample.pool, 1, 3), sf, true), t2 = Encode(Pick(sample.pool, 1, 3), sf, true);
            SCOPED_TRACE(testing::Message() << sample.locale << " round " << round);
            Bytes m1(size_t(t1.n) * 8), m2(size_t(t2.n) * 8);
            m1.resize(size_t(LXMapStringEx(loc, m1.data(), 0, int32_t(m1.size()), t1.p(), 0, t1.n, LX_MAP_UPPER)));
            m2.resize(size_t(LXMapStringEx(loc, m2.data(), 0, int32_t(m2.size()), t2.p(), 0, t2.n, LX_MAP_UPPER)));
            const int32_t r = LXStrcmpEx(loc, t1.p(), 0, t1.n, t2.p(), 0, t2.n, LX_IGNORECASE);
            EXPECT_EQ(LXGetError(loc), LX_OK);
            EXPECT_EQ(r == 0, m1 == m2);
            if (bytesDecide) {
                EXPECT_EQ(Sign(r), m1 == m2 ? 0 : m1 < m2 ? -1 : 1);
            }
            equal += r == 0;
            const Units u1 = Ucs(loc, t1), u2 = Ucs(loc, t2);
            EXPECT_EQ(LXStrcmpU(loc, u1.data(), t1.count(), u2.data(), t2.count(), LX_IGNORECASE) == 0, r == 0);
            EXPECT_EQ(LXWcscmp(loc, t1.chars.data(), t1.count(), t2.chars.data(), t2.count(), LX_IGNORECASE) == 0,
                      r == 0);
        }
        EXPECT_GT(equal, 5);  // the texts do meet in other cases
    }
}

// The cases that tell a character-aware implementation from a byte loop.
TEST_F(Strings, EdgeCases) {
    Locale ja("Japanese_Japan.MS932"), en("English_UnitedStates.MS1252");
    const auto *s = reinterpret_cast<const unsigned char *>("\x83" "A" "A" "x\x83\x42");
    const auto *a = reinterpret_cast<const unsigned char *>("A");
    // 'A' is the trail byte of the first character: the match is the third byte.
    EXPECT_EQ(LXStrchr(ja, s, -1, a, 0), s + 2);
    EXPECT_EQ(LXStrstr(ja, s, -1, a, -1, 0), s + 2);
    EXPECT_EQ(LXStrcspn(ja, s, -1, a, -1, 0), 2);
    EXPECT_EQ(LXStrchr(ja, s, -1, reinterpret_cast<const unsigned char *>(""), 0), s + 6);  // the terminator
    // A needle whose last character is cut by sublen is searched for without it.
    EXPECT_EQ(LXStrstr(ja, s, -1, reinterpret_cast<const unsigned char *>("x\x83\x41"), 2, 0), s + 3);
    EXPECT_EQ(LXStrstr(ja, s, -1, reinterpret_cast<const unsigned char *>("x\x83\x41"), 3, 0), nullptr);

    struct Cmp {
        const char *s1;
        int32_t len1;
        const char *s2;
        int32_t len2;
        int32_t result;
    };
    for (const Cmp &c : {Cmp{"abc", -1, "abcde", -1, -2}, Cmp{"abc", 0, "abcde", -1, -5},
                         Cmp{"abc", -1, "abcde", 0, 3}, Cmp{"abd", -1, "abcde", -1, 1},
                         Cmp{"\x83\x41", 1, "", -1, 0}, Cmp{"a\x83\x41", 2, "a", -1, 0}}) {
        EXPECT_EQ(LXStrcmp(ja, reinterpret_cast<const unsigned char *>(c.s1), c.len1,
                           reinterpret_cast<const unsigned char *>(c.s2), c.len2, 0),
                  c.result)
            << c.s1 << " " << c.len1 << " " << c.s2;
    }
    const LXWchar w1[] = {'a', 0x8341, 0}, w2[] = {'a', 0x41, 0};
    EXPECT_EQ(LXWcscmp(ja, w1, -1, w2, -1, 0), 0x8300);

    // German upper-cases ß to SS, through buffers from the library's
    // allocator; without them the answer is 0 and error 20.
    Locale de("German_Germany.MS1252");
    const auto *sharp = reinterpret_cast<const unsigned char *>("Stra\xDF" "e");
    const auto *ss = reinterpret_cast<const unsigned char *>("STRASSE");
    EXPECT_EQ(LXStrcmp(de, sharp, -1, ss, -1, LX_IGNORECASE), 0);
    EXPECT_NE(LXStrcmp(en, sharp, -1, ss, -1, LX_IGNORECASE), 0);
    CountingAllocator failing;
    failing.failAt = 1;
    const platform::Allocator saved = Library().alloc;
    Library().alloc = {&CountingAllocator::Alloc, &CountingAllocator::Free, failing.context()};
    EXPECT_EQ(LXStrcmp(de, sharp, -1, reinterpret_cast<const unsigned char *>("X"), -1, LX_IGNORECASE), 0);
    EXPECT_EQ(LXGetError(de), LX_ERR_NO_MEMORY);
    Library().alloc = saved;
    EXPECT_EQ(failing.live, 0);

    // Strings of delimiters only have no token.
    unsigned char delims[] = ",,,";
    int32_t rest = -1;
    unsigned char *next = delims;
    EXPECT_EQ(LXStrtok(en, delims, &rest, reinterpret_cast<const unsigned char *>(","), 1, &next, 0), nullptr);
    EXPECT_EQ(rest, 0);
    EXPECT_EQ(next, nullptr);

    // A copy that would end inside a double-byte character stops before it.
    Out<uint8_t> out(2);
    EXPECT_EQ(LXStrcpy(ja, out.data(), 2, s + 3, -1, 0), 1);
    EXPECT_TRUE(out.intact(1));
    Out<uint8_t> chars(4);
    EXPECT_EQ(LXStrcpy(ja, chars.data(), 2, s, -1, LX_LEN_CHARS), 2);  // two characters, three bytes
    EXPECT_TRUE(chars.intact(3));
    // An append of a whole string writes and counts the terminator.
    unsigned char dst[8] = "ab";
    EXPECT_EQ(LXStrcat(en, dst, reinterpret_cast<const unsigned char *>("cd"), -1, 0), 5);
    EXPECT_STREQ(reinterpret_cast<char *>(dst), "abcd");
    EXPECT_EQ(LXStrcat(en, dst, reinterpret_cast<const unsigned char *>("ef"), 0, LX_TERMINATE), 4);

    // Counted in characters: s holds a double-byte character (trail byte
    // 'A'), 'A', 'x' and another double-byte character.
    EXPECT_EQ(LXStrchr(ja, s, 2, a, LX_LEN_CHARS), s + 2);
    EXPECT_EQ(LXStrchr(ja, s, 1, a, LX_LEN_CHARS), nullptr);
    EXPECT_EQ(LXStrstr(ja, s, 4, s + 3, 2, LX_LEN_CHARS), s + 3);
    EXPECT_EQ(LXStrcspn(ja, s, 4, s + 4, 1, LX_LEN_CHARS), 3);
    unsigned char cat[16] = "\x83\x41";
    EXPECT_EQ(LXStrcat(ja, cat, s, 4, LX_LEN_CHARS | LX_TERMINATE), 6);
    unsigned char text[] = "\x83\x41,\x83\x42,B";
    unsigned char *nextTok = nullptr;
    rest = 5;
    EXPECT_EQ(LXStrtok(ja, text, &rest, reinterpret_cast<const unsigned char *>(","), 1, &nextTok, LX_LEN_CHARS), text);
    EXPECT_EQ(nextTok, text + 3);
    EXPECT_EQ(rest, 3);

    // Flags a function does not take: error 2, and -1 from copy and append.
    const std::pair<std::function<int32_t()>, int32_t> bad[] = {
        {[&] { return LXStrcpy(en, out.data(), 2, a, -1, LX_TERMINATE); }, -1},
        {[&] { return LXStrcat(en, dst, a, -1, LX_REVERSE); }, -1},
        {[&] { return LXStrcmp(en, a, -1, a, -1, 1); }, 0},
        {[&] { return LXWcscmp(en, w1, -1, w2, -1, LX_LEN_CHARS); }, 0},
        {[&] { return LXStrcspn(en, a, -1, a, -1, LX_TERMINATE); }, 0},
        {[&] { return int32_t(LXStrchr(en, a, -1, a, LX_IGNORECASE) != nullptr); }, 0},
        {[&] { return int32_t(LXStrstr(en, a, -1, a, -1, LX_REVERSE) != nullptr); }, 0},
    };
    for (const auto &[call, expected] : bad) {
        EXPECT_EQ(call(), expected);
        EXPECT_EQ(LXGetError(en), LX_ERR_ARGUMENT);
    }
}

}  // namespace
}  // namespace lorvex::test
