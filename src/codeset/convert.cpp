// Conversion objects: LXOpenConversion, LXConvertBuffer, LXCloseConversion,
// and LXConversionRatio.
//
// LXConvertBuffer never hands input back.  A character is consumed as soon as
// it is decoded; what does not fit in the output waits in the object and is
// written first by the next call, and a character cut off by the end of the
// input waits there until the next call brings its missing bytes.  So the
// caller may split input and output anywhere.
#include "codeset/convert.h"

#include <cstring>

namespace lorvex {

namespace conv {

void BuildByteMap(ByteMap &m, const Codeset &src, const Codeset &tgt, bool shiftedSource,
                  bool shiftedTarget) {
    const bool singleTarget = tgt.maxBytes() == 1;
    m.asciiSame = m.allFast = true;
    m.pairs = nullptr;
    for (unsigned b = 0; b < 256; ++b) {
        const uint8_t byte = uint8_t(b);
        unsigned n = EncodeUnicode(tgt, DecodeMb(src, &byte, 1), m.bytes[b]);
        if (singleTarget) n = 1;
        m.length[b] = uint8_t(n);
        const bool oneByte = shiftedSource ? byte != src.shiftOut() && byte != src.shiftIn()
                                           : src.byteLength(byte) == 1;
        // A stateful target in state 0 takes one-byte results as they are; a
        // longer one needs a shift-out byte first, which the per-character
        // path inserts.
        m.fast[b] = uint8_t(oneByte && (!shiftedTarget || n == 1) ? n : 0);
        if (b < 0x80 && !(m.fast[b] == 1 && m.bytes[b][0] == byte)) m.asciiSame = false;
        if (!m.fast[b]) m.allFast = false;
    }
}

void FillPairs(Utf8Pairs &p, const Codeset &tgt, unsigned lead) {
    const bool singleTarget = tgt.maxBytes() == 1;
    for (unsigned t = 0; t < 64; ++t) {
        const unsigned i = lead << 6 | t;
        const unsigned n = EncodeUnicode(tgt, uint16_t(i), p.bytes[i]);
        p.length[i] = uint8_t(singleTarget ? 1 : n);
    }
    p.ready[lead] = true;
}

void FillPages(Utf8Pairs &p, const Codeset &tgt) {
    for (unsigned high = 0; high < 256; ++high) {
        const uint8_t *pe = tgt.page(uint8_t(high));
        const bool whole = pe[0] == 1 && pe[1] == 0xFF && pe[2] == 0 && pe[3] == 0xFF;
        p.page[high] = whole ? layout::rd16(pe + 4) : kNoPage;
    }
    p.pagesReady = true;
}

}  // namespace conv

namespace {

// The target bytes of the n-byte source character at p: from the byte map for
// a one-byte character, else decoded and encoded.
const uint8_t *CharBytes(const LXConversion &c, const Codeset &src, const Codeset &tgt, const uint8_t *p,
                         unsigned n, uint8_t *scratch, unsigned &len) {
    if (n == 1) {
        len = c.map.length[*p];
        return c.map.bytes[*p];
    }
    len = EncodeUnicode(tgt, DecodeMb(src, p, n), scratch);
    if (tgt.maxBytes() == 1) len = 1;  // as the string converters write a single-byte target
    return scratch;
}

// Writes one character's bytes after any shift byte the target needs, or as
// many as fit with the rest kept pending.  False when some are pending.
bool Emit(LXConversion &c, const Codeset &tgt, const uint8_t *bytes, unsigned n, uint8_t *&out,
          const uint8_t *outEnd) {
    uint8_t placed[kMaxEncoded];
    const unsigned k = PlaceShifted(tgt, bytes, n, c.targetState, placed);
    const size_t room = size_t(outEnd - out);
    const unsigned w = k <= room ? k : unsigned(room);
    std::memcpy(out, placed, w);
    out += w;
    if (w == k) return true;
    std::memcpy(c.pendingOut, placed + w, k - w);
    c.pendingOutCount = uint8_t(k - w);
    return false;
}

}  // namespace

int32_t ConvertBufferStep(LXConversion &c, uint8_t *&out, uint8_t *outEnd, const uint8_t *&in,
                          const uint8_t *end) {
    const Codeset src = CodesetOf(c.source), tgt = CodesetOf(c.target);

    // Output left over from the last call goes first.
    if (c.pendingOutCount) {
        const size_t room = size_t(outEnd - out);
        if (room == 0) return LX_ERR_OUTPUT_PENDING;
        const unsigned have = c.pendingOutCount;
        const unsigned w = have <= room ? have : unsigned(room);
        std::memcpy(out, c.pendingOut, w);
        out += w;
        c.pendingOutCount = uint8_t(have - w);
        if (c.pendingOutCount) {
            std::memmove(c.pendingOut, c.pendingOut + w, c.pendingOutCount);
            return LX_ERR_OUTPUT_PENDING;
        }
    }

    const bool shiftedSource = src.stateful(), shiftedTarget = tgt.stateful();
    const unsigned wide = src.maxBytes();
    uint8_t scratch[4];
    unsigned len;

    // Then the character cut off last time, once its missing bytes are here.
    if (c.pendingInCount) {
        const unsigned n = shiftedSource ? (c.sourceState ? wide : 1u) : src.byteLength(c.pendingIn[0]);
        const unsigned have = c.pendingInCount;
        const size_t left = size_t(end - in);
        if (left < n - have) {
            std::memcpy(c.pendingIn + have, in, left);
            c.pendingInCount = uint8_t(have + left);
            in = end;
            return LX_ERR_INPUT_PENDING;
        }
        std::memcpy(c.pendingIn + have, in, n - have);
        in += n - have;
        c.pendingInCount = 0;
        const uint8_t *bytes = CharBytes(c, src, tgt, c.pendingIn, n, scratch, len);
        if (!Emit(c, tgt, bytes, len, out, outEnd)) return LX_ERR_OUTPUT_PENDING;
    }

    for (;;) {
        // The map's loop takes what it can: every character when neither side
        // is stateful, else one-byte characters while both are in state 0.
        if (!shiftedSource && !shiftedTarget) {
            conv::RunMap<true>(c.map, src, tgt, in, end, out, outEnd);
        } else if (!c.afterShift) {
            if (!c.sourceState && !c.targetState)
                conv::RunMap<false>(c.map, src, tgt, in, end, out, outEnd);
            // A stateful source into a target without shift states: runs
            // of both states, shift bytes included, without the pending
            // logic below, which is left the characters at the edges.
            if (!shiftedTarget) conv::RunShiftedSource(src, tgt, c.sourceState, in, end, out, outEnd);
        }
        if (in == end) return LX_OK;
        // One shift byte goes before a character, as the whole-string walk
        // takes it: the byte after it belongs to the character even if it has
        // a shift byte's value.  A shift byte that ends the input leaves a
        // mark, so that the next call reads its first byte as that character
        // and the split changes nothing.
        if (shiftedSource && !c.afterShift && (*in == src.shiftOut() || *in == src.shiftIn())) {
            c.sourceState = *in == src.shiftOut();
            if (++in == end) {
                c.afterShift = 1;
                return LX_OK;
            }
        }
        c.afterShift = 0;
        const unsigned n = shiftedSource ? (c.sourceState ? wide : 1u) : src.byteLength(*in);
        const size_t left = size_t(end - in);
        if (left < n) {
            std::memcpy(c.pendingIn, in, left);
            c.pendingInCount = uint8_t(left);
            in = end;
            return LX_ERR_INPUT_PENDING;
        }
        const uint8_t *bytes = CharBytes(c, src, tgt, in, n, scratch, len);
        in += n;
        if (!Emit(c, tgt, bytes, len, out, outEnd)) return LX_ERR_OUTPUT_PENDING;
    }
}

}  // namespace lorvex

using namespace lorvex;

extern "C" LX_API LXConversion *LXOpenConversion(LXLocale *target, LXLocale *source) {
    LXLocale *t = Resolve(target), *s = Resolve(source);
    if (!t || !s) return nullptr;
    t->error = LX_OK;
    const Codeset src = CodesetOf(s), tgt = CodesetOf(t);
    // A UTF-8 source into a codeset without shift states gets the two-byte
    // table too, in the same block, right after the object.
    const bool pairs = src.utf8() && !tgt.stateful();
    auto *c = static_cast<LXConversion *>(Allocate(sizeof(LXConversion) + (pairs ? sizeof(conv::Utf8Pairs) : 0)));
    if (!c) {
        t->error = LX_ERR_NO_MEMORY;
        return nullptr;
    }
    std::memset(c, 0, sizeof *c);
    c->source = s;
    c->target = t;
    conv::BuildByteMap(c->map, src, tgt, src.stateful(), tgt.stateful());
    if (pairs) {
        c->map.pairs = reinterpret_cast<conv::Utf8Pairs *>(c + 1);
        conv::ClearPairs(*c->map.pairs);
    }
    return c;
}

extern "C" LX_API int32_t LXConvertBuffer(LXConversion *conv, unsigned char **out, int32_t *outLeft,
                                          const unsigned char **in, int32_t *inLeft) {
    if (!conv || !out || !outLeft || !in || !inLeft) return LX_ERR_ARGUMENT;
    uint8_t *o = *out;
    const uint8_t *i = *in;
    // A negative count is no room and no input; it is left as it is.
    const int32_t room = *outLeft > 0 ? *outLeft : 0, left = *inLeft > 0 ? *inLeft : 0;
    const int32_t r = ConvertBufferStep(*conv, o, o + room, i, i + left);
    *outLeft -= int32_t(o - *out);
    *inLeft -= int32_t(i - *in);
    *out = o;
    *in = i;
    return r;
}

extern "C" LX_API int32_t LXCloseConversion(LXConversion *conv) {
    if (!conv) return LX_OK;
    return Free(conv) ? LX_OK : LX_ERR_FREE;
}

extern "C" LX_API int32_t LXConversionRatio(LXLocale *target, LXLocale *source) {
    LXLocale *t = Resolve(target), *s = Resolve(source);
    if (!t || !s) return 0;
    t->error = LX_OK;
    const Codeset tgt = CodesetOf(t), src = CodesetOf(s);
    if (tgt.number() == src.number()) return 1;
    return tgt.maxBytes() + (tgt.stateful() ? 1 : 0);
}
