// String mapping over the compiled locale directory: the built-in Unicode
// rows, the languages' rules, rules that grow the text or do not fit, the
// character-counted cap, and the four forms agreeing over random text.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "codeset/unicode.h"
#include "frame/state.h"
#include "locale/layout.h"
#include "locale/registry.h"
#include "support/codesets.h"

namespace lorvex::test {
namespace {

using Bytes = std::vector<uint8_t>;
using Units = std::vector<LXUchar>;
using Wide = std::vector<LXWchar>;

constexpr uint32_t kUpper = LX_MAP_UPPER, kLower = LX_MAP_LOWER, kFull = LX_MAP_FULLWIDTH,
                   kHalf = LX_MAP_HALFWIDTH, kDigits = LX_MAP_DIGITS;

struct Release {
    void operator()(LXLocale *loc) const { LXReleaseLocale(loc, 0); }
};
using Locale = std::unique_ptr<LXLocale, Release>;

class Mapping : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_EQ(LXInit(LORVEX_TEST_LOCALE_DIR, nullptr, nullptr, 0, 0), LX_OK); }
    static void TearDownTestSuite() { LXTerm(); }
    static Locale Get(const char *name) {
        int32_t err = -1;
        Locale loc(LXGetLocale(name, 0, &err));
        EXPECT_NE(loc, nullptr) << name << ": error " << err;
        return loc;
    }
};

// Maps with one form into a buffer of dstsize followed by canaries; checks
// the canaries and returns what the call reports as written.  srclen -2:
// the whole of src.
template <class T>
std::vector<T> MapWith(int32_t (*map)(LXLocale *, T *, int32_t, const T *, int32_t, uint32_t), LXLocale *h,
                       const std::vector<T> &src, uint32_t kind, int32_t dstsize = 64, int32_t srclen = -2) {
    Out<T> out{size_t(dstsize)};
    const int32_t n = map(h, out.data(), dstsize, src.data(), srclen == -2 ? int32_t(src.size()) : srclen, kind);
    EXPECT_TRUE(out.intact()) << "kind " << std::hex << kind;
    return out.first(n);
}
Bytes Map(LXLocale *h, const Bytes &src, uint32_t kind, int32_t dstsize = 64, int32_t srclen = -2) {
    return MapWith(LXMapString, h, src, kind, dstsize, srclen);
}
Units MapU(LXLocale *h, const Units &src, uint32_t kind, int32_t dstsize = 64) {
    return MapWith(LXMapStringU, h, src, kind, dstsize);
}

TEST_F(Mapping, UnknownKindsAreRejectedInEveryForm) {
    Locale en = Get("English_UnitedStates.MS1252");
    const Bytes b = {'a', 0};
    const Units u = {'a', 0};
    const Wide w = {'a', 0};
    for (uint32_t kind : {0x80000026u, 0x80000020u, LX_MAP_FULLWIDTH | LX_MAP_NOSPECIAL, LX_MAP_UPPER | 0x8u,
                          LX_MAP_DIGITS | LX_MAP_NOSPECIAL, 0x11u, 0x2000u}) {
        Out<uint8_t> ob(4);
        Out<LXUchar> ou(4);
        Out<LXWchar> ow(4);
        EXPECT_EQ(LXMapString(en.get(), ob.data(), 4, b.data(), -1, kind), -1) << std::hex << kind;
        EXPECT_EQ(LXGetError(en.get()), LX_ERR_ARGUMENT);
        EXPECT_EQ(LXMapStringEx(en.get(), ob.data(), 0, 4, b.data(), 0, -1, kind), -1);
        EXPECT_EQ(LXMapStringU(en.get(), ou.data(), 4, u.data(), -1, kind), -1);
        EXPECT_EQ(LXMapStringW(en.get(), ow.data(), 4, w.data(), -1, kind), -1);
        EXPECT_EQ(LXGetError(en.get()), LX_ERR_ARGUMENT);
        EXPECT_TRUE(ob.intact(0) && ou.intact(0) && ow.intact(0));
    }
    // A negative length maps the terminator too; the error is cleared.
    EXPECT_EQ(Map(en.get(), {'a', 'b', 0, 'c'}, kUpper, 8, -1), (Bytes{'A', 'B', 0}));
    EXPECT_EQ(LXGetError(en.get()), LX_OK);
}

// Rows of the built-in Unicode mapping that are easy to get wrong.
TEST_F(Mapping, BuiltinRowsOfTheUnicodeForm) {
    Locale en = Get("English_UnitedStates.MS1252");
    const struct { uint32_t kind; LXUchar in, out; } rows[] = {
        {kUpper, 0x0131, 0x0049}, {kUpper, 0x017F, 0x0053}, {kUpper, 0x03C2, 0x03A3},
        {kUpper, 0x01C6, 0x01C4}, {kUpper, 0x01C5, 0x01C5}, {kUpper, 0x0450, 0x0450},
        {kUpper, 0x10D0, 0x10D0}, {kLower, 0x0130, 0x0069}, {kLower, 0x0178, 0x00FF},
        {kLower, 0x01C5, 0x01C6}, {kFull, 0x0041, 0xFF21}, {kFull, 0x0020, 0x3000},
        {kFull, 0x00A5, 0xFFE5}, {kFull, 0x00C0, 0x00C0}, {kHalf, 0x3000, 0x0020},
        {kHalf, 0x30AC, 0x30AC}, {kHalf, 0xFF21, 0x0041}, {kDigits, 0x0663, '3'},
        {kDigits, 0x06F7, '7'}, {kDigits, 0xFF15, '5'}, {kDigits, 0x0E52, '2'},
        {kDigits, 0x00B2, '2'}, {kDigits, 0x0041, 0x0041}, {kDigits, 0x2167, 0x2167},
    };
    for (const auto &r : rows)
        EXPECT_EQ(MapU(en.get(), {r.in}, r.kind), Units{r.out}) << std::hex << r.kind << " U+" << r.in;
}

// The languages' rules through their compiled parts, in the language's own
// codeset and in 16-bit Unicode.
TEST_F(Mapping, LanguageRulesOfTheCompiledParts) {
    const struct { const char *locale; uint32_t kind; Bytes in, out; Units uin, uout; } rows[] = {
        {"German_Germany", kUpper, {'S', 't', 'r', 'a', 0xDF, 'e'}, {'S', 'T', 'R', 'A', 'S', 'S', 'E'},
         {0xDF}, {'S', 'S'}},
        {"German_Germany", kUpper | LX_MAP_NOSPECIAL, {0xDF}, {0xDF}, {0xDF}, {0xDF}},
        {"Turkish_Turkey", kUpper, {'i', 's', 't', 'a', 'n'}, {0xDD, 'S', 'T', 'A', 'N'}, {'i'}, {0x0130}},
        {"Turkish_Turkey", kLower, {'I', 0xD0, 'D', 'I', 'R'}, {0xFD, 0xF0, 'd', 0xFD, 'r'}, {'I', 0x0130},
         {0x0131, 'i'}},
        {"Turkish_Turkey", kUpper | LX_MAP_NOSPECIAL, {'i'}, {'I'}, {'i'}, {'I'}},
        {"Dutch_Netherlands", kUpper, {'i', 'j', 's'}, {'I', 'J', 'S'}, {'i', 'j'}, {'I', 'J'}},
        {"Greek_Greece", kUpper, {0xDC, 0xE1}, {0xC1, 0xC1}, {0x03AC, 0x0390}, {0x0391, 0x03AA}},
        {"Lithuanian_Lithuania", kUpper, {'i'}, {'I'}, {'i', 0x0307, 'i'}, {'I', 'I'}},
        // English has no rules: ß stays, i and I take the plain mapping.
        {"English_UnitedStates.MS1252", kUpper, {0xDF, 'i'}, {0xDF, 'I'}, {0xDF}, {0xDF}},
    };
    for (const auto &r : rows) {
        Locale loc = Get(r.locale);
        EXPECT_EQ(Map(loc.get(), r.in, r.kind), r.out) << r.locale << " " << std::hex << r.kind;
        EXPECT_EQ(MapU(loc.get(), r.uin, r.kind), r.uout) << r.locale << " " << std::hex << r.kind;
    }
}

// A language part with rules made for the test: "ab" -> "X" (a pair rule)
// and "c" -> "CC" (one character to two).
class CustomRules {
public:
    CustomRules(LXLocale *loc, const std::vector<std::array<uint16_t, 4>> &upper)
        : loc_(loc), saved_(loc->language), rec_(*saved_) {
        const uint8_t *t = saved_->table[0];
        table_.assign(t, t + layout::rd16(t + layout::la::kStringsEnd));
        layout::wr16(&table_[layout::la::kUpperRuleCount], uint16_t(upper.size()));
        layout::wr16(&table_[layout::la::kLowerRuleCount], 0);
        for (const auto &r : upper)
            for (uint16_t v : r) table_.insert(table_.end(), {uint8_t(v), uint8_t(v >> 8)});
        layout::wr16(&table_[layout::la::kLowerRules], uint16_t(table_.size()));
        rec_.table[0] = table_.data();
        rec_.size[0] = uint16_t(table_.size());
        loc_->language = &rec_;
    }
    ~CustomRules() { loc_->language = saved_; }

private:
    LXLocale *loc_;
    PartRecord *saved_, rec_;
    Bytes table_;
};

TEST_F(Mapping, RulesGrowTheTextStopWholeAndPairOnlyBeforeTheEnd) {
    Locale en = Get("English_UnitedStates.MS1252");
    CustomRules rules(en.get(), {{'a', 'b', 'X', 0}, {'c', 0, 'C', 'C'}});
    const struct { Bytes in; int32_t srclen, dstsize; Bytes out; } rows[] = {
        {{'a', 'b', 'c'}, 3, 8, {'X', 'C', 'C'}},
        {{'a', 'b'}, 1, 8, {'A'}},             // the pair is not looked up at the last position
        {{'c', 'c'}, 2, 3, {'C', 'C'}},        // the second rule's two results do not fit
        {{'c'}, 1, 1, {}},
        {{'x', 'a', 'b'}, 3, 2, {'X', 'X'}},
    };
    for (const auto &r : rows) {
        const std::string what(r.in.begin(), r.in.end());
        EXPECT_EQ(Map(en.get(), r.in, kUpper, r.dstsize, r.srclen), r.out) << what;
        EXPECT_EQ(MapWith(LXMapStringU, en.get(), Units(r.in.begin(), r.in.end()), kUpper, r.dstsize, r.srclen),
                  Units(r.out.begin(), r.out.end())) << what;
        EXPECT_EQ(MapWith(LXMapStringW, en.get(), Wide(r.in.begin(), r.in.end()), kUpper, r.dstsize, r.srclen),
                  Wide(r.out.begin(), r.out.end())) << what;
    }
}

TEST_F(Mapping, MultibyteWidthAndDigitsThroughTheCodeset) {
    Locale ja = Get("Japanese_Japan.MS932"), ebcdic = Get("Japanese_Japan.IBM939");
    EXPECT_EQ(Map(ja.get(), {'A', ' ', 0x82, 0x60}, kFull), (Bytes{0x82, 0x60, 0x81, 0x40, 0x82, 0x60}));
    EXPECT_EQ(Map(ja.get(), {0x82, 0x60, 0x82, 0x54, 'x'}, kHalf), (Bytes{'A', '5', 'x'}));
    EXPECT_EQ(Map(ja.get(), {0x82, 0x54, '7', 0x82, 0x60}, kDigits), (Bytes{'5', '7', 0x82, 0x60}));
    // A character that grows past dstsize is not written.
    EXPECT_EQ(Map(ja.get(), {'A', 'B'}, kFull, 3), (Bytes{0x82, 0x60}));
    // Stateful: the output gets the shift bytes its own characters need, and
    // ends in the state the source ends in.
    const Bytes ab = {0xC1, 0xC2, 0};
    Out<uint8_t> out(16);
    ASSERT_EQ(LXMapStringEx(ebcdic.get(), out.data(), 0, 16, ab.data(), 0, -1, kFull), 7);
    EXPECT_EQ(out.first(7), (Bytes{0x0E, 0x42, 0xC1, 0x42, 0xC2, 0x0F, 0}));
    const Bytes wide = {0x0E, 0x42, 0xC1, 0x42, 0xC2, 0x0F, 0xC3};
    ASSERT_EQ(LXMapStringEx(ebcdic.get(), out.data(), 0, 16, wide.data(), 0, 7, kHalf), 3);
    EXPECT_EQ(out.first(3), (Bytes{0xC1, 0xC2, 0xC3}));
    EXPECT_TRUE(out.intact());
    // Bytes that are not text of the codeset (a run of shift bytes, pairs
    // that begin with 0x00) are kept whole, each pair behind one shift-out.
    const Bytes junk = {0x0E, 0x0E, 0x00, 0x0E, 0x00, 0x0F, 0x0F, 0xC1};
    ASSERT_EQ(LXMapStringEx(ebcdic.get(), out.data(), 0, 16, junk.data(), 0, 8, kLower), 7);
    EXPECT_EQ(out.first(7), (Bytes{0x0E, 0x00, 0x0E, 0x00, 0x0F, 0x0F, 0x81}));
}

// With LX_LEN_CHARS the mapping goes through an internal buffer of at most
// 512 bytes: whole characters, and nothing beyond them.
TEST_F(Mapping, CharacterCountedMappingIsCappedAt512Bytes) {
    Locale de = Get("German_Germany"), ja = Get("Japanese_Japan.MS932");
    const Bytes sharp(300, 0xDF);
    const Bytes upper = Map(de.get(), sharp, kUpper | LX_LEN_CHARS, 1000, 300);
    EXPECT_EQ(upper, Bytes(512, 'S'));
    EXPECT_EQ(Map(de.get(), sharp, kUpper | LX_LEN_CHARS, 7, 300), Bytes(7, 'S'));
    // A tab stays one byte and full-width katakana takes two: after the tab,
    // 255 of them fill 511 bytes and the 256th does not fit.
    Bytes kana(301, 0xB1);  // half-width katakana A
    kana[0] = '\t';
    Bytes full = {'\t'};
    for (int i = 0; i < 255; ++i) full.insert(full.end(), {0x83, 0x41});
    Out<uint8_t> out(600);
    EXPECT_EQ(LXMapString(ja.get(), out.data(), 400, kana.data(), 301, kFull | LX_LEN_CHARS), 256);
    EXPECT_EQ(out.first(511), full);
    EXPECT_TRUE(out.intact(511));
}

// The plain (or Ex), W and U forms map the same text alike: random
// characters of the codeset, every mapping kind, compared as Unicode.  The U
// form may produce a character the codeset lacks; the codeset forms keep the
// source character there.
TEST_F(Mapping, FormsAgreeOverRandomText) {
    for (const char *name : {"English_UnitedStates.MS1252", "Japanese_Japan.MS932", "Japanese_Japan.IBM939"}) {
        SCOPED_TRACE(name);
        Locale loc = Get(name);
        const Codeset cs = CodesetOf(loc.get());
        std::mt19937 rng(1234);
        // The repertoire: every Unicode value the codeset takes and gives back.
        auto encodable = [&](uint16_t u) { return DecodeWchar(cs, EncodeToWchar(cs, u)) == u; };
        std::vector<uint16_t> repertoire;
        for (uint32_t u = 1; u < 0xFFFF; ++u)
            if (encodable(uint16_t(u))) repertoire.push_back(uint16_t(u));
        for (int round = 0; round < 40; ++round) {
            Units text(1 + rng() % 40);
            for (LXUchar &c : text) c = repertoire[rng() % repertoire.size()];
            Wide wide;
            for (LXUchar c : text) wide.push_back(EncodeToWchar(cs, c));
            Bytes bytes(text.size() * 4 + 2);
            const int32_t nb = LXUnicodeToStringEx(loc.get(), bytes.data(), 0, int32_t(bytes.size()), text.data(),
                                                   int32_t(text.size()), 0);
            ASSERT_GT(nb, 0);
            for (uint32_t kind : {kUpper, kLower, kFull, kHalf, kDigits}) {
                const Units u = MapU(loc.get(), text, kind, int32_t(text.size()));
                Units expect;
                for (size_t i = 0; i < u.size(); ++i) expect.push_back(encodable(u[i]) ? u[i] : text[i]);

                const Wide w = MapWith(LXMapStringW, loc.get(), wide, kind, int32_t(text.size()));
                ASSERT_EQ(w.size(), text.size());
                Units fromW(text.size());
                LXStringToUnicodeW(fromW.data(), int32_t(w.size()), loc.get(), w.data(), int32_t(w.size()), 0);

                Out<uint8_t> ob(size_t(nb) * 2 + 8);
                const int32_t n = LXMapStringEx(loc.get(), ob.data(), 0, int32_t(ob.n), bytes.data(), 0, nb, kind);
                EXPECT_TRUE(ob.intact());
                Units fromB(text.size() + 1);
                const int32_t nu = LXStringToUnicodeEx(fromB.data(), int32_t(fromB.size()), loc.get(), ob.data(), 0,
                                                       n, 0);
                fromB.resize(size_t(nu > 0 ? nu : 0));
                EXPECT_EQ(fromW, expect) << std::hex << kind;
                EXPECT_EQ(fromB, expect) << std::hex << kind;
            }
        }
    }
}

}  // namespace
}  // namespace lorvex::test
