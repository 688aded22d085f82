// Character navigation: stepping through multibyte text, counting, moving
// and cutting by characters, and packing text into LXWchars and back.
//
// Every function here is a thin face over the walks of walkers.h.  A plain
// form walks by the byte-length table, or byte by byte where a single-byte
// codeset allows a shortcut; the Ex form of a stateful codeset walks by
// shift state; the Ex form of any other codeset is the plain form, its state
// arguments ignored and no state written back.  The engines below take the
// walker as a template argument, so that each algorithm exists once.
#include <cstring>

#include "codeset/walkers.h"
#include "frame/state.h"

using namespace lorvex;

namespace {

using SignedShifts = ShiftWalk<ShiftMatch::kSigned>;
using UnsignedShifts = ShiftWalk<ShiftMatch::kUnsigned>;

bool SingleByte(const LXLocale *loc) { return (loc->flags & kLocaleSingleByte) != 0; }
bool Stateful(const LXLocale *loc) { return (loc->flags & kLocaleStateful) != 0; }

// Results point into the caller's text, as strchr's do.
unsigned char *Mutable(const unsigned char *p) { return const_cast<unsigned char *>(p); }

int32_t Strlen(const uint8_t *s) { return int32_t(std::strlen(reinterpret_cast<const char *>(s))); }

// The length of the character at p, a leading shift byte obeyed but not
// counted.
template <class W>
int32_t WidthAt(W &w, const uint8_t *p) {
    return int32_t(w.width(Lead(w, p)));
}

template <class W>
int32_t CountChars(const Codeset &cs, const uint8_t *s, LXState state, int32_t len) {
    if (len == 0) return 0;
    if (len < 0) len = Strlen(s);
    W w(cs, state);
    return CountWithin(w, s, len);
}

// The boundary at or before s + len bytes (len characters with
// LX_LEN_CHARS).  The state there goes to *newstate, except for a zero
// length, which returns s as it is.
template <class W>
const uint8_t *MoveBy(const Codeset &cs, const uint8_t *s, LXState state, int32_t len, uint32_t flags,
                      LXState *newstate) {
    if ((flags & LX_LEN_CHARS) && len > 0) len = CharsToBytes(cs, s, state, len);
    if (len == 0) return s;
    if constexpr (W::kUnitWidth) {
        return s + len;
    } else {
        W w(cs, state);
        const uint8_t *p = s + BoundaryWithin(w, s, len);
        if (newstate) *newstate = w.state();
        return p;
    }
}

// Cuts s in place so that it and its NUL fit in size bytes; returns the
// bytes kept with the NUL, or with LX_LEN_CHARS the characters kept as a
// walk of kind Count counts them.  The NUL goes at the last boundary that
// leaves room for it; a stateful walk then closes the text in state 0.
template <class W, class Count>
int32_t Truncate(const Codeset &cs, uint8_t *s, LXState state, int32_t size, uint32_t flags) {
    const bool chars = (flags & LX_LEN_CHARS) != 0;
    if (chars && size >= 1) size = CharsToBytes(cs, s, state, size);
    int32_t nul = size > 0 ? Strlen(s) : 0;
    if (size <= 0 || nul >= size) {
        W w(cs, state);
        nul = BoundaryWithin(w, s, size > 0 ? size - 1 : 0);
        if constexpr (W::kStateful) nul = CloseInStateZero(cs, s, nul, w.state(), size);
        else s[nul] = 0;
    }
    if (!chars) return nul + 1;
    Count c(cs, state);
    return CountWithin(c, s, nul + 1);
}

// Packs the first len bytes of s (len characters when flags is exactly
// LX_LEN_CHARS; a negative len takes the NUL too) into at most wmax LXWchars.
template <class W>
int32_t ToWide(const Codeset &cs, LXWchar *wbuf, int32_t wmax, const uint8_t *s, LXState state, int32_t len,
               uint32_t flags) {
    if (flags == LX_LEN_CHARS && len >= 1) len = CharsToBytes(cs, s, state, len);
    if (len < 0) len = Strlen(s) + 1;
    if (len == 0 || wmax == 0) return 0;
    W w(cs, state);
    return PackWithin(w, wbuf, wmax, s, len);
}

// Writes wlen LXWchars (a negative wlen: up to and with the 0 value) as
// bytes.  The single-byte shortcut writes the low byte of each value, one
// position each, in both modes.
template <class P>
int32_t FromWide(LXLocale *loc, const Codeset &cs, uint8_t *buf, LXState state, int32_t size,
                 const LXWchar *wstr, int32_t wlen, uint32_t flags, bool singleByte) {
    if (flags != 0 && flags != LX_LEN_CHARS) return FailCall(loc, LX_ERR_ARGUMENT);
    if (wlen < 0) {
        wlen = 0;
        while (wstr[wlen] != 0) ++wlen;
        ++wlen;
    }
    if (wlen == 0) return 0;
    if (singleByte) {
        const int32_t n = wlen < size ? wlen : (size > 0 ? size : 0);
        for (int32_t i = 0; i < n; ++i) buf[i] = uint8_t(wstr[i]);
        return n;
    }
    P p(cs, state);
    return PutAll(p, buf, size, wstr, wlen, flags == LX_LEN_CHARS);
}

}  // namespace

// ---------------------------------------------------------------------------
// One character
// ---------------------------------------------------------------------------

extern "C" LX_API int32_t LXByteLength(LXLocale *handle, const unsigned char *str) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    TableWalk w(CodesetOf(loc), 0);
    return WidthAt(w, str);
}

extern "C" LX_API int32_t LXByteLengthEx(LXLocale *handle, const unsigned char *str, LXState state) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXByteLength(handle, str);
    SignedShifts w(CodesetOf(loc), state);
    return WidthAt(w, str);
}

extern "C" LX_API int32_t LXByteLengthW(LXLocale *handle, LXWchar wc) {
    if (!EnterCall(handle)) return -1;
    if (wc > 0xFFFFFFu) return 4;
    if (wc > 0xFFFFu) return 3;
    if (wc > 0xFFu) return 2;
    return 1;
}

extern "C" LX_API LXWchar LXGetChar(LXLocale *handle, const unsigned char *str) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return 0;
    TableWalk w(CodesetOf(loc), 0);
    return PackAt(w, str);
}

extern "C" LX_API LXWchar LXGetCharEx(LXLocale *handle, const unsigned char *str, LXState state) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return 0;
    if (!Stateful(loc)) return LXGetChar(handle, str);
    UnsignedShifts w(CodesetOf(loc), state);
    return PackAt(w, str);
}

extern "C" LX_API int32_t LXPutChar(LXLocale *handle, unsigned char *buf, LXWchar wc) {
    if (!EnterCall(handle)) return -1;
    unsigned own;
    return int32_t(PlainPut::put(wc, buf, &own));
}

extern "C" LX_API int32_t LXPutCharEx(LXLocale *handle, unsigned char *buf, LXState state, LXWchar wc) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXPutChar(handle, buf, wc);
    ShiftPut p(CodesetOf(loc), state);
    unsigned own;
    p.put(wc, buf, &own);
    return int32_t(own);
}

// ---------------------------------------------------------------------------
// Stepping
// ---------------------------------------------------------------------------

extern "C" LX_API unsigned char *LXNextChar(LXLocale *handle, const unsigned char *str) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    TableWalk w(CodesetOf(loc), 0);
    return Mutable(Step(w, str));
}

extern "C" LX_API unsigned char *LXNextCharEx(LXLocale *handle, const unsigned char *str, LXState state,
                                              LXState *newstate) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    if (!Stateful(loc)) return LXNextChar(handle, str);
    SignedShifts w(CodesetOf(loc), state);
    const uint8_t *p = Step(w, str);
    if (newstate) *newstate = w.state();
    return Mutable(p);
}

extern "C" LX_API unsigned char *LXPrevChar(LXLocale *handle, const unsigned char *start,
                                            const unsigned char *cur) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    if (SingleByte(loc)) return Mutable(cur - 1);
    // A trail byte may equal a lead byte, so the walk goes forward from
    // start: the character before cur starts at the last boundary that
    // leaves at least one byte before cur.
    TableWalk w(CodesetOf(loc), 0);
    return Mutable(start + BoundaryWithin(w, start, int32_t(cur - start) - 1));
}

extern "C" LX_API unsigned char *LXPrevCharEx(LXLocale *handle, const unsigned char *start,
                                              const unsigned char *cur, LXState state, LXState *newstate,
                                              uint32_t /*unused*/) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    if (!Stateful(loc)) return LXPrevChar(handle, start, cur);
    SignedShifts w(CodesetOf(loc), state);
    const uint8_t *p = StepBack(w, start, cur);
    if (newstate) *newstate = w.state();
    return Mutable(p);
}

// ---------------------------------------------------------------------------
// Counting, moving, cutting
// ---------------------------------------------------------------------------

extern "C" LX_API int32_t LXNumChars(LXLocale *handle, const unsigned char *str, int32_t len) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    const Codeset cs = CodesetOf(loc);
    if (SingleByte(loc)) return CountChars<ByteWalk>(cs, str, 0, len);
    return CountChars<TableWalk>(cs, str, 0, len);
}

extern "C" LX_API int32_t LXNumCharsEx(LXLocale *handle, const unsigned char *str, LXState state, int32_t len,
                                       uint32_t /*unused*/) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXNumChars(handle, str, len);
    return CountChars<SignedShifts>(CodesetOf(loc), str, state, len);
}

extern "C" LX_API unsigned char *LXMoveStringPointer(LXLocale *handle, const unsigned char *str, int32_t len,
                                                     uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    const Codeset cs = CodesetOf(loc);
    if (SingleByte(loc)) return Mutable(MoveBy<ByteWalk>(cs, str, 0, len, flags, nullptr));
    return Mutable(MoveBy<TableWalk>(cs, str, 0, len, flags, nullptr));
}

extern "C" LX_API unsigned char *LXMoveStringPointerEx(LXLocale *handle, const unsigned char *str,
                                                       LXState state, int32_t len, LXState *newstate,
                                                       uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    if (!Stateful(loc)) return LXMoveStringPointer(handle, str, len, flags);
    return Mutable(MoveBy<UnsignedShifts>(CodesetOf(loc), str, state, len, flags, newstate));
}

extern "C" LX_API int32_t LXTruncateString(LXLocale *handle, unsigned char *str, int32_t size, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    const Codeset cs = CodesetOf(loc);
    if (SingleByte(loc)) return Truncate<ByteWalk, ByteWalk>(cs, str, 0, size, flags);
    return Truncate<TableWalk, TableWalk>(cs, str, 0, size, flags);
}

extern "C" LX_API int32_t LXTruncateStringEx(LXLocale *handle, unsigned char *str, LXState state, int32_t size,
                                             uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXTruncateString(handle, str, size, flags);
    return Truncate<UnsignedShifts, SignedShifts>(CodesetOf(loc), str, state, size, flags);
}

extern "C" LX_API int32_t LXTerminateStringEx(LXLocale *handle, unsigned char *buf, LXState state,
                                              uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (flags != 0 && flags != LX_TERMINATE) return FailCall(loc, LX_ERR_ARGUMENT);
    int32_t n = 0;
    if (Stateful(loc) && state != 0) buf[n++] = CodesetOf(loc).shiftIn();
    if (flags == LX_TERMINATE) buf[n++] = 0;
    return n;
}

// ---------------------------------------------------------------------------
// Multibyte text and LXWchar arrays
// ---------------------------------------------------------------------------

extern "C" LX_API int32_t LXMbToWide(LXLocale *handle, LXWchar *wbuf, int32_t wmax, const unsigned char *str,
                                     int32_t len, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    const Codeset cs = CodesetOf(loc);
    if (SingleByte(loc)) return ToWide<ByteWalk>(cs, wbuf, wmax, str, 0, len, flags);
    return ToWide<TableWalk>(cs, wbuf, wmax, str, 0, len, flags);
}

extern "C" LX_API int32_t LXMbToWideEx(LXLocale *handle, LXWchar *wbuf, int32_t wmax, const unsigned char *str,
                                       LXState state, int32_t len, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXMbToWide(handle, wbuf, wmax, str, len, flags);
    return ToWide<SignedShifts>(CodesetOf(loc), wbuf, wmax, str, state, len, flags);
}

extern "C" LX_API int32_t LXWideToMb(LXLocale *handle, unsigned char *buf, int32_t size, const LXWchar *wstr,
                                     int32_t wlen, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    return FromWide<PlainPut>(loc, CodesetOf(loc), buf, 0, size, wstr, wlen, flags, SingleByte(loc));
}

extern "C" LX_API int32_t LXWideToMbEx(LXLocale *handle, unsigned char *buf, LXState state, int32_t size,
                                       const LXWchar *wstr, int32_t wlen, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXWideToMb(handle, buf, size, wstr, wlen, flags);
    return FromWide<ShiftPut>(loc, CodesetOf(loc), buf, state, size, wstr, wlen, flags, false);
}
