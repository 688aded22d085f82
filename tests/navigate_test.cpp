// Character navigation over hand-built codesets: US-ASCII, a double-byte one
// (leads 0x81-0x9F, 0xE0-0xFC; 0xFD, 0xFE lead 3 and 4 bytes) and stateful
// ones.  Property checks over random text run on exact-size buffers, so that
// the ASan build catches reads past an explicit length and writes past output.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "codeset/codeset.h"
#include "frame/state.h"
#include "locale/builtin.h"
#include "locale/layout.h"
#include "locale/locale_object.h"
#include "locale/registry.h"
#include "support/codesets.h"

namespace lorvex::test {
namespace {

using Bytes = std::vector<uint8_t>;
using Wide = std::vector<LXWchar>;
constexpr uint8_t SO = 0x0E, SI = 0x0F;

// Makes and releases the static locales below with the platform allocator,
// not whatever allocator (and context) an earlier test left the library with.
struct PlatformAllocator {
    platform::Allocator saved = Library().alloc;
    PlatformAllocator() { Library().alloc = {platform::DefaultAlloc, platform::DefaultFree, 0}; }
    ~PlatformAllocator() { Library().alloc = saved; }
};

// A locale object over a codeset table built from the US-ASCII description.
class TestLocale {
public:
    explicit TestLocale(const std::function<void(Bytes &)> &edit) {
        const builtin::Table &a = builtin::kCodeset;
        table_.assign(layout::cs::kFixedMulti, 0);
        std::memcpy(table_.data(), a.data, a.size);
        edit(table_);
        Attach(language_, builtin::kLanguage.data, builtin::kLanguage.size);
        Attach(territory_, builtin::kTerritory.data, builtin::kTerritory.size);
        Attach(codeset_, table_.data(), uint16_t(table_.size()));
        int32_t err = -1;
        PlatformAllocator platformAllocator;
        loc_ = NewLocale(&language_, &territory_, &codeset_, nullptr, &err);
        EXPECT_EQ(err, LX_OK);
    }
    ~TestLocale() {
        PlatformAllocator platformAllocator;
        LXReleaseLocale(loc_, 0);
    }
    LXLocale *get() const { return loc_; }

private:
    static void Attach(PartRecord &r, const uint8_t *t, uint16_t size) {
        r.table[0] = t;
        r.size[0] = size;
    }
    Bytes table_;
    PartRecord language_{}, territory_{}, codeset_{};
    LXLocale *loc_ = nullptr;
};

LXLocale *Ascii() {
    static TestLocale l([](Bytes &) {});
    return l.get();
}
LXLocale *Mb() {
    static TestLocale l([](Bytes &t) {
        t[layout::cs::kMaxBytes] = 4;
        for (unsigned b = 0x81; b <= 0xFC; ++b)
            if (b <= 0x9F || b >= 0xE0) t[layout::cs::kByteLength + b] = 2;
        t[layout::cs::kByteLength + 0xFD] = 3;
        t[layout::cs::kByteLength + 0xFE] = 4;
    });
    return l.get();
}
Bytes StatefulTable(Bytes &t, uint8_t so, uint8_t si) {
    t[layout::cs::kMaxBytes] = 2;
    t[layout::cs::kShiftOut] = so;
    t[layout::cs::kShiftIn] = si;
    layout::wr16(&t[layout::cs::kFlags], layout::cs::kFlagStateful);
    return t;
}
LXLocale *Shift() {
    static TestLocale l([](Bytes &t) { StatefulTable(t, SO, SI); });
    return l.get();
}
// Shift bytes above 0x7F, which only some members recognise.
LXLocale *HighShift() {
    static TestLocale l([](Bytes &t) { StatefulTable(t, 0x8E, 0x8F); });
    return l.get();
}

// An input buffer of exactly the text's size: no NUL and no slack after it.
std::unique_ptr<uint8_t[]> Exact(const Bytes &b) {
    std::unique_ptr<uint8_t[]> p(new uint8_t[b.size() ? b.size() : 1]);
    std::copy(b.begin(), b.end(), p.get());
    return p;
}
Bytes Cstr(Bytes b) {
    b.push_back(0);
    return b;
}

TEST(Navigate, ByteLengthWCountsUpToTheHighestNonZeroByte) {
    const struct { LXWchar wc; int32_t n; } cases[] = {
        {0, 1}, {0xFF, 1}, {0x100, 2}, {0xFFFF, 2}, {0x10000, 3}, {0xFFFFFF, 3}, {0x1000000, 4}, {0xFFFFFFFF, 4}};
    for (const auto &c : cases) EXPECT_EQ(LXByteLengthW(Mb(), c.wc), c.n) << std::hex << c.wc;
}

TEST(Navigate, PutCharDropsZeroBytesInsideTheValue) {
    const struct { LXLocale *loc; LXState state; LXWchar wc; Bytes bytes; int32_t result; } cases[] = {
        {Mb(), 0, 0x41, {0x41}, 1}, {Mb(), 0, 0, {0x00}, 1}, {Mb(), 0, 0x82A0, {0x82, 0xA0}, 2},
        {Mb(), 0, 0x01000041, {0x01, 0x41}, 2}, {Mb(), 0, 0x12003400, {0x12, 0x34, 0x00}, 3},
        {Mb(), 1, 0x2122, {0x21, 0x22}, 2},            // not stateful: the state is ignored
        {Shift(), 0, 0x2122, {SO, 0x21, 0x22}, 2},     // shift byte not counted
        {Shift(), 1, 0x41, {SI, 0x41}, 1}, {Shift(), 1, 0x2122, {0x21, 0x22}, 2}, {Shift(), 0, 0x41, {0x41}, 1},
    };
    for (const auto &c : cases) {
        Out<uint8_t> out(5);
        EXPECT_EQ(LXPutCharEx(c.loc, out.data(), c.state, c.wc), c.result) << std::hex << c.wc;
        EXPECT_EQ(out.first(c.bytes.size()), c.bytes) << std::hex << c.wc;
        EXPECT_TRUE(out.intact(c.bytes.size())) << std::hex << c.wc;
        if (c.state == 0 && c.loc == Mb()) {
            Out<uint8_t> plain(4);
            EXPECT_EQ(LXPutChar(c.loc, plain.data(), c.wc), c.result);
            EXPECT_EQ(plain.first(c.bytes.size()), c.bytes);
        }
    }
}

// A step and the state it leaves, as (offset from base, state).
using Step = std::pair<ptrdiff_t, LXState>;
Step Next(LXLocale *l, const uint8_t *base, ptrdiff_t at, LXState in) {
    LXState out = 7;
    return {LXNextCharEx(l, base + at, in, &out) - base, out};
}
Step Prev(LXLocale *l, const uint8_t *base, ptrdiff_t from, ptrdiff_t at, LXState in) {
    LXState out = 7;
    return {LXPrevCharEx(l, base + from, base + at, in, &out, 0) - base, out};
}
Step Move(LXLocale *l, const uint8_t *base, int32_t len, uint32_t flags, LXState in = 0) {
    LXState out = 7;
    return {LXMoveStringPointerEx(l, base, in, len, &out, flags) - base, out};
}

TEST(Navigate, StatefulSingleSteps) {
    const Bytes t = Cstr({'A', SO, 0x21, 0x22, SI, 'B'});
    const uint8_t *s = t.data();
    EXPECT_EQ(Next(Shift(), s, 1, 0), Step(5, 0));     // SO 2122 SI: to 'B'
    EXPECT_EQ(Next(Shift(), s, 0, 0), Step(2, 1));     // 'A' and the SO after it
    EXPECT_EQ(Next(Shift(), s, 2, 5), Step(5, 0));     // any non-zero state is 1
    EXPECT_EQ(Prev(Shift(), s, 0, 5, 0), Step(2, 1));  // just after SI
    EXPECT_EQ(Prev(Shift(), s, 1, 2, 1), Step(1, 0));  // SO opening the text
    EXPECT_EQ(Prev(Shift(), s, 0, 0, 1), Step(0, 1));
    EXPECT_EQ(LXGetCharEx(Shift(), s + 1, 0), 0x2122u);
    EXPECT_EQ(LXGetCharEx(Shift(), s + 4, 1), LXWchar('B'));
    EXPECT_EQ(LXGetCharEx(Shift(), s + 2, 1), 0x2122u);
    EXPECT_EQ(LXByteLengthEx(Shift(), s + 1, 0), 2);
    EXPECT_EQ(LXByteLengthEx(Shift(), s + 4, 1), 1);
    EXPECT_EQ(LXByteLengthEx(Shift(), s, 1), 2);
    // Plain forms in a stateful codeset go by the table alone.
    EXPECT_EQ(LXNextChar(Shift(), s + 1), s + 2);
    EXPECT_EQ(LXGetChar(Shift(), s + 1), LXWchar(SO));
    // Ex forms of a codeset that is not stateful write no state.
    const Bytes m = Cstr({0x82, 0xA0, 'A'});
    EXPECT_EQ(Next(Mb(), m.data(), 0, 1), Step(2, 7));
    EXPECT_EQ(Prev(Mb(), m.data(), 0, 2, 1), Step(0, 7));
}

// Shift bytes of 0x80 and above: seen by the members that compare unsigned,
// not by those that compare the text byte as signed.
TEST(Navigate, HighShiftBytesAreSeenOnlyByUnsignedComparisons) {
    const Bytes t = Cstr({0x8E, 0x41, 0x42, 0x8F});
    const uint8_t *s = t.data();
    EXPECT_EQ(LXByteLengthEx(HighShift(), s, 0), 1);
    EXPECT_EQ(Next(HighShift(), s, 0, 0), Step(1, 0));
    EXPECT_EQ(LXNumCharsEx(HighShift(), s, 0, 4, 0), 4);
    EXPECT_EQ(Prev(HighShift(), s, 0, 4, 0), Step(3, 0));
    LXWchar w[4];
    EXPECT_EQ(LXMbToWideEx(HighShift(), w, 4, s, 0, 3, 0), 3);
    EXPECT_EQ(w[0], 0x8Eu);
    EXPECT_EQ(LXGetCharEx(HighShift(), s, 0), 0x4142u);
    EXPECT_EQ(Move(HighShift(), s, 3, 0), Step(3, 1));
    EXPECT_EQ(Move(HighShift(), s, 1, LX_LEN_CHARS), Step(4, 0));
    // Cut by an unsigned walk, counted as LXNumCharsEx counts: every byte.
    Bytes cut = Cstr({0x8E, 0x41, 0x42, 0x8F, 'C'});
    EXPECT_EQ(LXTruncateStringEx(HighShift(), cut.data(), 0, 2, LX_LEN_CHARS), 5);
    EXPECT_EQ(cut, Bytes({0x8E, 0x41, 0x42, 0x8F, 0, 0}));
}

TEST(Navigate, CountsAndMovesByWholeCharacters) {
    const Bytes mb = {'A', 0x82, 0xA0, 'B', 0, 'C'};
    const Bytes sh = {'A', SO, 0x21, 0x22, SI, 'B', 0};
    const struct { LXLocale *loc; const Bytes *text; int32_t len; int32_t count; } counts[] = {
        {Mb(), &mb, 0, 0}, {Mb(), &mb, 2, 1}, {Mb(), &mb, 3, 2}, {Mb(), &mb, -1, 3}, {Mb(), &mb, 6, 5},
        {Shift(), &sh, 2, 1}, {Shift(), &sh, 3, 1}, {Shift(), &sh, 4, 2}, {Shift(), &sh, 5, 2},
        {Shift(), &sh, -1, 3}, {Ascii(), &mb, 5, 5}, {Ascii(), &mb, -1, 4},
    };
    for (const auto &c : counts) {
        EXPECT_EQ(LXNumCharsEx(c.loc, c.text->data(), 0, c.len, 0), c.count) << c.len;
        if (c.loc != Shift()) {
            EXPECT_EQ(LXNumChars(c.loc, c.text->data(), c.len), c.count) << c.len;
        }
    }
    EXPECT_EQ(LXNumCharsEx(Shift(), sh.data() + 2, 1, 2, 0), 1);

    const struct {
        LXLocale *loc; const Bytes *text; int32_t len; uint32_t flags; int32_t at; LXState state;
    } moves[] = {
        // Byte moves of whole texts are the property tests'; here the state
        // a codeset that is not stateful leaves alone, and character counts.
        {Mb(), &mb, 3, 0, 3, 0}, {Mb(), &mb, 2, LX_LEN_CHARS, 3, 0},
        {Mb(), &mb, 5, LX_LEN_CHARS, 6, 0},  // the character count walks on past the NUL
        {Ascii(), &mb, -2, 0, -2, 0}, {Shift(), &sh, 2, LX_LEN_CHARS, 5, 0},
    };
    for (const auto &c : moves)
        EXPECT_EQ(Move(c.loc, c.text->data(), c.len, c.flags), Step(c.at, c.loc == Shift() ? c.state : 7u)) << c.len;
    EXPECT_EQ(Move(Shift(), sh.data(), 0, 0, 1), Step(0, 7));
}

TEST(Navigate, TruncateCutsAtABoundaryThatLeavesRoomForTheNul) {
    const Bytes ab = Cstr({'A', 'B', 0x82, 0xA0});
    const Bytes sh = Cstr({'A', SO, 0x21, 0x22, 0x23, 0x24, SI, 'B'});
    const Bytes run = Cstr({0x21, 0x22, SI, 'A'});
    // Byte sizes from state 0 are the property test's; here character
    // counts, a codeset without multibyte characters, and starts in state 1.
    const struct {
        LXLocale *loc; const Bytes *text; LXState state; int32_t size; uint32_t flags; int32_t result; Bytes kept;
    } cases[] = {
        {Mb(), &ab, 0, 3, LX_LEN_CHARS, 3, {'A', 'B', 0}}, {Ascii(), &ab, 0, 2, 0, 2, {'A', 0}},
        {Shift(), &sh, 0, 3, LX_LEN_CHARS, 3, {'A', SO, 0x21, 0x22, SI, 0}},
        {Shift(), &run, 1, 4, 0, 4, {0x21, 0x22, SI, 0}},  // ends on the text's own SI
        {Shift(), &run, 1, 3, 0, 2, {SI, 0}},  // the SI at size - 1 is not stepped over
        {Shift(), &run, 1, 2, 0, 2, {SI, 0}},
        {Shift(), &run, 1, 0, 0, 2, {SI, 0}},  // writes two bytes although size is 0
    };
    for (const auto &c : cases) {
        Bytes buf = *c.text;
        EXPECT_EQ(LXTruncateStringEx(c.loc, buf.data(), c.state, c.size, c.flags), c.result) << c.size;
        ASSERT_GE(buf.size(), c.kept.size());
        EXPECT_EQ(Bytes(buf.begin(), buf.begin() + long(c.kept.size())), c.kept) << c.size;
        EXPECT_TRUE(std::equal(buf.begin() + long(c.kept.size()), buf.end(), c.text->begin() + long(c.kept.size())))
            << "bytes after the NUL changed, size " << c.size;
    }
}

TEST(Navigate, TerminateStringEx) {
    const struct {
        LXLocale *loc; LXState state; uint32_t flags; int32_t result; Bytes bytes; int32_t error;
    } cases[] = {
        {Shift(), 1, LX_TERMINATE, 2, {SI, 0}, 0}, {Shift(), 1, 0, 1, {SI}, 0},
        {Shift(), 0, LX_TERMINATE, 1, {0}, 0},     {Shift(), 0, 0, 0, {}, 0},
        {Mb(), 1, LX_TERMINATE, 1, {0}, 0},        {Shift(), 1, 1, -1, {}, LX_ERR_ARGUMENT},
        {Shift(), 1, LX_TERMINATE | 1, -1, {}, LX_ERR_ARGUMENT},
    };
    for (const auto &c : cases) {
        Out<uint8_t> out(2);
        EXPECT_EQ(LXTerminateStringEx(c.loc, out.data(), c.state, c.flags), c.result);
        EXPECT_EQ(LXGetError(c.loc), c.error);
        EXPECT_EQ(out.first(c.bytes.size()), c.bytes);
        EXPECT_TRUE(out.intact(c.bytes.size()));
    }
}

TEST(Navigate, MbToWide) {
    const Bytes mb = Cstr({'A', 0x82, 0xA0});
    const Bytes sh = Cstr({'A', SO, 0x21, 0x22, SI, 'B'});
    const struct { LXLocale *loc; const Bytes *text; int32_t wmax, len; uint32_t flags; Wide out; } cases[] = {
        {Mb(), &mb, 8, -1, 0, {0x41, 0x82A0, 0}},  // the NUL is stored
        {Mb(), &mb, 8, 2, 0, {0x41}},              // a cut character is dropped
        {Mb(), &mb, 2, -1, 0, {0x41, 0x82A0}}, {Mb(), &mb, 8, 2, LX_LEN_CHARS, {0x41, 0x82A0}},
        {Mb(), &mb, 8, 2, LX_LEN_CHARS | 1, {0x41}},  // only exactly LX_LEN_CHARS counts characters
        {Mb(), &mb, 8, 0, 0, {}}, {Mb(), &mb, 0, -1, 0, {}}, {Ascii(), &mb, 8, -1, 0, {0x41, 0x82, 0xA0, 0}},
        {Shift(), &sh, 8, -1, 0, {0x41, 0x2122, 0x42, 0}}, {Shift(), &sh, 8, 3, 0, {0x41}},
        {Shift(), &sh, 8, 2, LX_LEN_CHARS, {0x41, 0x2122}},
    };
    for (const auto &c : cases) {
        Out<LXWchar> out{size_t(c.wmax)};
        EXPECT_EQ(LXMbToWideEx(c.loc, out.data(), c.wmax, c.text->data(), 0, c.len, c.flags), int32_t(c.out.size()));
        EXPECT_EQ(out.first(c.out.size()), c.out);
        EXPECT_TRUE(out.intact(c.out.size()));
    }
}

TEST(Navigate, WideToMb) {
    const Wide w = {0x41, 0x82A0, 0x42, 0};
    const Wide k = {0x41, 0x2122, 0x2324, 0x42, 0};
    const struct {
        LXLocale *loc; const Wide *in; LXState state; int32_t size, wlen; uint32_t flags; int32_t result; Bytes out;
    } cases[] = {
        {Mb(), &w, 0, 8, -1, 0, 5, {0x41, 0x82, 0xA0, 0x42, 0}}, {Mb(), &w, 0, 3, 3, 0, 3, {0x41, 0x82, 0xA0}},
        {Mb(), &w, 0, 2, 3, 0, 1, {0x41}},
        {Mb(), &w, 0, 2, 3, LX_LEN_CHARS, 2, {0x41, 0x82, 0xA0, 0x42}},  // size + 1 characters
        {Mb(), &w, 0, 0, 3, LX_LEN_CHARS, 0, {0x41}}, {Ascii(), &w, 0, 2, 3, LX_LEN_CHARS, 2, {0x41, 0xA0}},
        {Shift(), &k, 0, 12, -1, 0, 9, {0x41, SO, 0x21, 0x22, 0x23, 0x24, SI, 0x42, 0}},
        {Shift(), &k, 0, 6, 4, 0, 6, {0x41, SO, 0x21, 0x22, 0x23, 0x24}},
        {Shift(), &k, 0, 3, 4, 0, 1, {0x41}},  // the shift byte counts against size
        {Shift(), &k, 1, 8, 2, 0, 5, {SI, 0x41, SO, 0x21, 0x22}},
        {Shift(), &k, 0, 1, 4, LX_LEN_CHARS, 1, {0x41, SO, 0x21, 0x22}}, {Mb(), &w, 0, 8, 3, 1, -1, {}},
        {Shift(), &k, 0, 8, 3, LX_LEN_CHARS | LX_TERMINATE, -1, {}},
    };
    for (const auto &c : cases) {
        Out<uint8_t> out(std::max<size_t>(c.out.size(), 8));
        EXPECT_EQ(LXWideToMbEx(c.loc, out.data(), c.state, c.size, c.in->data(), c.wlen, c.flags), c.result);
        EXPECT_EQ(LXGetError(c.loc), c.result < 0 ? LX_ERR_ARGUMENT : LX_OK);
        EXPECT_EQ(out.first(c.out.size()), c.out) << c.size;
        EXPECT_TRUE(out.intact(c.out.size())) << c.size;
    }
}

// Each function with the given handle; its result widened to compare.
LXWchar gWide[2];
const LXWchar kWideA[] = {0x41, 0};
const std::vector<std::function<intptr_t(LXLocale *, uint8_t *, LXState *)>> kAllFunctions = {
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXByteLength(h, b)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXByteLengthEx(h, b, 0)); },
    [](LXLocale *h, uint8_t *, LXState *) { return intptr_t(LXByteLengthW(h, 0x41)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXGetChar(h, b)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXGetCharEx(h, b, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXPutChar(h, b, 0x41)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXPutCharEx(h, b, 1, 0x41)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXNextChar(h, b)); },
    [](LXLocale *h, uint8_t *b, LXState *s) { return intptr_t(LXNextCharEx(h, b, 0, s)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXPrevChar(h, b, b + 1)); },
    [](LXLocale *h, uint8_t *b, LXState *s) { return intptr_t(LXPrevCharEx(h, b, b + 1, 0, s, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXNumChars(h, b, 2)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXNumCharsEx(h, b, 0, 2, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXMoveStringPointer(h, b, 1, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *s) { return intptr_t(LXMoveStringPointerEx(h, b, 0, 1, s, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXTruncateString(h, b, 2, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXTruncateStringEx(h, b, 1, 2, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXTerminateStringEx(h, b, 1, LX_TERMINATE)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXMbToWide(h, gWide, 2, b, 2, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXMbToWideEx(h, gWide, 2, b, 0, 2, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXWideToMb(h, b, 4, kWideA, -1, 0)); },
    [](LXLocale *h, uint8_t *b, LXState *) { return intptr_t(LXWideToMbEx(h, b, 1, 4, kWideA, -1, 0)); },
};

TEST(Navigate, WithoutALocaleNothingIsTouched) {
    ASSERT_EQ(Library().defaultLocale, nullptr);
    for (size_t i = 0; i < kAllFunctions.size(); ++i) {
        Bytes buf(8, kCanary);
        LXState st = 7;
        const intptr_t r = kAllFunctions[i](nullptr, buf.data(), &st);
        EXPECT_TRUE(r == -1 || r == 0) << "function " << i << " returned " << r;
        EXPECT_EQ(buf, Bytes(8, kCanary)) << "function " << i;
        EXPECT_EQ(st, 7u) << "function " << i;
    }
}

TEST(Navigate, NullHandleUsesTheDefaultAndEveryCallClearsTheError) {
    for (LXLocale *loc : {Ascii(), Mb(), Shift()}) {
        Library().defaultLocale = loc;
        for (size_t i = 0; i < kAllFunctions.size(); ++i) {
            for (LXLocale *h : {loc, static_cast<LXLocale *>(nullptr)}) {
                Bytes buf = {'A', 'B', 'C', 0, 0, 0, 0, 0};
                LXState st = 0;
                loc->error = 99;
                kAllFunctions[i](h, buf.data(), &st);
                EXPECT_EQ(loc->error, LX_OK) << "function " << i;
            }
        }
        const Bytes ab = {'A', 0x82, 0xA0, 0};
        EXPECT_EQ(LXNumChars(nullptr, ab.data(), -1), LXNumChars(loc, ab.data(), -1));
    }
    Library().defaultLocale = nullptr;
}

// Random text with its characters: start offset, length and shift state.
struct Char { int32_t at, len; LXState state; };
struct Text {
    Bytes bytes;
    std::vector<Char> chars;
    std::vector<int32_t> stops;          // where a walk may stop: char starts, shift bytes, the end
    std::vector<LXState> stateAt;        // the state a walk holds at each offset of stops
};

uint8_t Pick(std::mt19937 &rng, unsigned lo, unsigned hi) { return uint8_t(lo + rng() % (hi - lo + 1)); }

// Characters of 1-4 bytes; no byte is 0, and trail bytes often equal lead bytes.
Text RandomMb(std::mt19937 &rng, int n) {
    Text t;
    for (int i = 0; i < n; ++i) {
        const unsigned kind = unsigned(rng() % 10);
        const int32_t at = int32_t(t.bytes.size());
        if (kind < 5) t.bytes.push_back(Pick(rng, 0x20, 0x7E));
        else if (kind == 5) t.bytes.push_back(Pick(rng, 0xA1, 0xDF));
        else if (kind < 9) t.bytes.insert(t.bytes.end(), {Pick(rng, 0x81, 0x9F), Pick(rng, 0x40, 0xFC)});
        else t.bytes.insert(t.bytes.end(), {uint8_t(0xFD + rng() % 2), Pick(rng, 1, 255), Pick(rng, 1, 255)});
        if (t.bytes[size_t(at)] == 0xFE) t.bytes.push_back(Pick(rng, 1, 255));
        t.chars.push_back({at, int32_t(t.bytes.size()) - at, 0});
        t.stops.push_back(at);
        t.stateAt.push_back(0);
    }
    t.stops.push_back(int32_t(t.bytes.size()));
    t.stateAt.push_back(0);
    return t;
}

// Alternating runs of one-byte characters and of shifted two-byte
// characters, each shifted run opened by SO and (but maybe for the last)
// closed by SI.  A walk obeys one shift byte in front of a character, so
// the text never holds two shift bytes in a row.
Text RandomShifted(std::mt19937 &rng, int runs) {
    Text t;
    LXState state = 0;
    auto shift = [&](uint8_t b) {
        t.stops.push_back(int32_t(t.bytes.size()));
        t.stateAt.push_back(state);
        t.bytes.push_back(b);
        state = b == SO;
    };
    bool wide = rng() % 2 == 0;
    for (int r = 0; r < runs; ++r, wide = !wide) {
        if (wide) shift(SO);
        for (int n = 1 + int(rng() % 3); n > 0; --n) {
            const int32_t at = int32_t(t.bytes.size());
            t.chars.push_back({at, wide ? 2 : 1, state});
            t.stops.push_back(at);
            t.stateAt.push_back(state);
            t.bytes.push_back(Pick(rng, 0x21, 0x7E));
            if (wide) t.bytes.push_back(Pick(rng, 0x21, 0x7E));
        }
        if (wide && (r + 1 < runs || rng() % 2)) shift(SI);
    }
    t.stops.push_back(int32_t(t.bytes.size()));
    t.stateAt.push_back(state);
    return t;
}

// The last stop at or before k.
size_t StopAtOrBefore(const Text &t, int32_t k) {
    size_t i = 0;
    while (i + 1 < t.stops.size() && t.stops[i + 1] <= k) ++i;
    return i;
}

class NavigateProperty : public ::testing::TestWithParam<bool> {
protected:
    bool stateful() const { return GetParam(); }
    LXLocale *loc() const { return stateful() ? Shift() : Mb(); }
    Text random(std::mt19937 &rng) const {
        return stateful() ? RandomShifted(rng, 1 + int(rng() % 6)) : RandomMb(rng, 1 + int(rng() % 12));
    }
};

TEST_P(NavigateProperty, StepsCountsAndMovesAgree) {
    std::mt19937 rng(GetParam() ? 11 : 7);
    for (int round = 0; round < 300; ++round) {
        const Text t = random(rng);
        const int32_t len = int32_t(t.bytes.size());
        const auto exact = Exact(t.bytes);
        const uint8_t *s = exact.get();
        EXPECT_EQ(LXNumCharsEx(loc(), s, 0, len, 0), int32_t(t.chars.size()));

        // NextCharEx reads the byte after a character: walk the terminated copy.
        const Bytes z = Cstr(t.bytes);
        const uint8_t *p = z.data();
        LXState st = 0;
        for (size_t i = 0; i < t.chars.size(); ++i) {
            const uint8_t *q = LXNextCharEx(loc(), p, st, &st);
            const Char &c = t.chars[i];
            int32_t end = c.at + c.len;  // and past a shift byte after the character
            if (stateful() && (z[size_t(end)] == SO || z[size_t(end)] == SI)) ++end;
            ASSERT_EQ(q - z.data(), end) << "char " << i;
            // Back from there: the start of the same character, in its state.
            LXState back = 9;
            EXPECT_EQ(LXPrevCharEx(loc(), z.data(), q, st, &back, 0) - z.data(), c.at) << "char " << i;
            if (stateful()) {
                EXPECT_EQ(back, c.state) << "char " << i;
            }
            p = q;
        }
        EXPECT_EQ(p - z.data(), len);

        for (int32_t k = 0; k <= len; ++k) {
            const size_t i = StopAtOrBefore(t, k);
            LXState ms = 9;
            EXPECT_EQ(LXMoveStringPointerEx(loc(), s, 0, k, &ms, 0) - s, k == 0 ? 0 : t.stops[i]) << "k " << k;
            if (stateful() && k > 0) {
                EXPECT_EQ(ms, t.stateAt[i]) << "k " << k;
            }
            if (!stateful() && k > 0) {
                EXPECT_EQ(LXPrevChar(loc(), s, s + k) - s, t.stops[StopAtOrBefore(t, k - 1)]) << "k " << k;
            }
        }
    }
}

TEST_P(NavigateProperty, WideRoundTripAndCanaries) {
    std::mt19937 rng(GetParam() ? 13 : 5);
    for (int round = 0; round < 300; ++round) {
        const Text t = random(rng);
        const int32_t len = int32_t(t.bytes.size());
        const int32_t n = int32_t(t.chars.size());
        const auto exact = Exact(t.bytes);

        Out<LXWchar> wide{size_t(n)};
        ASSERT_EQ(LXMbToWideEx(loc(), wide.data(), n, exact.get(), 0, len, 0), n);
        EXPECT_TRUE(wide.intact(size_t(n)));
        for (const Char &c : t.chars) {
            EXPECT_EQ(wide.v[size_t(&c - t.chars.data())], LXGetCharEx(loc(), exact.get() + c.at, c.state));
        }
        const int32_t part = n / 2;
        Out<LXWchar> half{size_t(part)};
        EXPECT_EQ(LXMbToWideEx(loc(), half.data(), part, exact.get(), 0, len, 0), part);
        EXPECT_TRUE(half.intact(size_t(part)));

        const auto wexact = std::make_unique<LXWchar[]>(size_t(n));
        std::copy(wide.v.begin(), wide.v.begin() + n, wexact.get());
        Out<uint8_t> back{size_t(len)};
        int32_t wrote = LXWideToMbEx(loc(), back.data(), 0, len, wexact.get(), n, 0);
        const LXState last = n > 0 && wide.v[size_t(n) - 1] > 0xFF;
        if (stateful() && last && t.bytes.back() == SI) {
            wrote += LXTerminateStringEx(loc(), back.data() + wrote, last, 0);  // the closing SI
        }
        EXPECT_EQ(wrote, len);
        EXPECT_EQ(back.first(size_t(len)), t.bytes);
        EXPECT_TRUE(back.intact(size_t(len)));
    }
}

// The kept text is the longest run of whole characters that, closed in
// state 0 and terminated, fits in size; nothing after the NUL changes.
TEST_P(NavigateProperty, TruncateKeepsTheMostThatFits) {
    std::mt19937 rng(GetParam() ? 17 : 3);
    for (int round = 0; round < 200; ++round) {
        const Text t = random(rng);
        const int32_t len = int32_t(t.bytes.size());
        for (int32_t size = 0; size <= len + 1; ++size) {
            Bytes expect = t.bytes;
            if (size > len) {
                expect.push_back(0);
            } else {  // the prefix of the most characters that fits, closed
                Bytes closed = {0};
                for (const Char &c : t.chars) {
                    Bytes b(t.bytes.begin(), t.bytes.begin() + c.at + c.len);
                    if (c.state) b.push_back(SI);
                    b.push_back(0);
                    if (int32_t(b.size()) > size) break;
                    closed = b;
                }
                expect.push_back(0);
                std::copy(closed.begin(), closed.end(), expect.begin());
            }
            Bytes buf = Cstr(t.bytes);
            const int32_t kept = LXTruncateStringEx(loc(), buf.data(), 0, size, 0);
            EXPECT_EQ(buf, expect) << "size " << size;
            EXPECT_EQ(kept, int32_t(std::strlen(reinterpret_cast<const char *>(buf.data()))) + 1) << "size " << size;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Codesets, NavigateProperty, ::testing::Values(false, true),
                         [](const auto &p) { return p.param ? "Stateful" : "DoubleByte"; });

}  // namespace
}  // namespace lorvex::test
