// The whole-string converters: LXConvertString and LXConvertStringEx/W,
// LXStringToUnicode and its Ex/W forms, LXUnicodeToString and its Ex/W
// forms.  Each checks its arguments, applies the length rules, picks a reader
// and a writer, and leaves the conversion to the engine's driver.
#include <cstring>

#include "codeset/convert_engine.h"
#include "frame/state.h"

namespace lorvex {
namespace {

using namespace conv;

// Below this many source bytes building a byte map costs more than it saves;
// above it the common conversions run through the map, which lives on the
// stack (with the UTF-8 pairs, about 12 KB), so no call allocates.
constexpr int32_t kByteMapThreshold = 512;

bool FlagsAllowed(uint32_t flags) { return (flags & ~(LX_LEN_CHARS | LX_TERMINATE)) == 0; }

// Clears the reporting handle's error and checks the flags; false when the
// call must return its failure value (no locale at all, or error 2).
bool Begin(LXLocale *loc, uint32_t flags) {
    if (!loc) return false;
    loc->error = LX_OK;
    if (FlagsAllowed(flags)) return true;
    loc->error = LX_ERR_ARGUMENT;
    return false;
}

template <class T>
int32_t UnitsBeforeZero(const T *s) {
    int32_t n = 0;
    while (s[n]) ++n;
    return n;
}

// Output of size units; LX_TERMINATE sets the last one aside for the 0.
Output OutputOf(int32_t size, uint32_t flags) {
    const bool terminate = (flags & LX_TERMINATE) != 0;
    return {size - terminate, size, (flags & LX_LEN_CHARS) != 0};
}

// Multibyte source text after its length rules: a character count becomes
// bytes (walking from the given state), a negative length is the length up to
// the NUL and marks the text as terminated.
struct MbText {
    const uint8_t *str;
    int32_t len;
    bool terminated;
};

MbText MeasureMb(const Codeset &cs, const uint8_t *str, uint8_t state, int32_t len, uint32_t flags) {
    if ((flags & LX_LEN_CHARS) && len > 0) len = CharsToBytes(cs, str, state, len);
    if (len >= 0) return {str, len, false};
    return {str, int32_t(std::strlen(reinterpret_cast<const char *>(str))), true};
}

template <class F>
int32_t WithMbReader(const Codeset &cs, bool shifted, uint8_t state, const MbText &t, ByteMap *map,
                     F &&f) {
    if (shifted) {
        ShiftMbReader r{cs, t.str, t.str + t.len, state};
        return f(r);
    }
    MbReader r{cs, t.str, t.str + t.len, map};
    return f(r);
}

template <class F>
int32_t WithMbWriter(const Codeset &cs, bool shifted, uint8_t state, uint8_t *buf, Output o, F &&f) {
    if (shifted) {
        ShiftMbWriter w{cs, buf, o, state};
        return f(w);
    }
    MbWriter w{cs, buf, o, cs.maxBytes() == 1};
    return f(w);
}

// The zero-length rule of the converters that read multibyte text: nothing
// to convert, or no room, gives 0, except that LX_TERMINATE with room writes
// the 0 alone.
template <class T>
int32_t EmptyResult(T *buf, int32_t size, uint32_t flags) {
    if (!(flags & LX_TERMINATE) || size <= 0) return 0;
    buf[0] = 0;
    return 1;
}

// LXConvertString (ex false) and LXConvertStringEx (ex true).
int32_t ConvertMb(LXLocale *target, uint8_t *buf, LXState targetState, int32_t size, LXLocale *source,
                  const uint8_t *str, LXState sourceState, int32_t len, uint32_t flags, bool ex) {
    const int32_t failure = (flags & LX_LEN_CHARS) ? 0 : -1;
    LXLocale *t = Resolve(target), *s = Resolve(source);
    if (!s || !Begin(t, flags)) return failure;
    const Codeset tc = CodesetOf(t), sc = CodesetOf(s);
    const bool shiftedSource = ex && sc.stateful(), shiftedTarget = ex && tc.stateful();
    const uint8_t sst = shiftedSource && sourceState, tst = shiftedTarget && targetState;
    if (len == 0 || size <= 0) return EmptyResult(buf, size, flags);
    const MbText text = MeasureMb(sc, str, sst, len, flags);
    const Output o = OutputOf(size, flags);
    ByteMap map;
    Utf8Pairs pairs;
    const bool useMap = !shiftedSource && !shiftedTarget && !o.chars && text.len >= kByteMapThreshold;
    if (useMap) {
        BuildByteMap(map, sc, tc, false, false);
        if (sc.utf8()) {
            ClearPairs(pairs);
            map.pairs = &pairs;
        }
    }
    return WithMbReader(sc, shiftedSource, sst, text, useMap ? &map : nullptr, [&](auto &r) {
        return WithMbWriter(tc, shiftedTarget, tst, buf, o, [&](auto &w) {
            return Drive(r, w, (flags & LX_TERMINATE) != 0, text.terminated);
        });
    });
}

// LXStringToUnicode (ex false) and LXStringToUnicodeEx (ex true).
int32_t MbToUnicode(LXUchar *ubuf, int32_t umax, LXLocale *handle, const uint8_t *str, LXState state,
                    int32_t len, uint32_t flags, bool ex) {
    LXLocale *loc = Resolve(handle);
    if (!Begin(loc, flags)) return -1;
    const Codeset cs = CodesetOf(loc);
    const bool shifted = ex && cs.stateful();
    const uint8_t st = shifted && state;
    if (len == 0 || umax <= 0) return EmptyResult(ubuf, umax, flags);
    const MbText text = MeasureMb(cs, str, st, len, flags);
    UcsWriter w{ubuf, OutputOf(umax, flags)};
    return WithMbReader(cs, shifted, st, text, nullptr, [&](auto &r) {
        return Drive(r, w, (flags & LX_TERMINATE) != 0, text.terminated);
    });
}

// The converters whose source is LXWchar or UCS-2 units: one unit is one
// character, and a negative length counts the units before the 0.  (The
// callers have returned 0 already when there is no room.)
template <class Unit, class R, class W>
int32_t UnitsTo(R r, W w, const Unit *src, int32_t len, uint32_t flags) {
    const bool terminated = len < 0;
    if (terminated) len = UnitsBeforeZero(src);
    r.p = src;
    r.end = src + len;
    return Drive(r, w, (flags & LX_TERMINATE) != 0, terminated);
}

// LXUnicodeToString (ex false) and LXUnicodeToStringEx (ex true).
int32_t UnicodeToMb(LXLocale *handle, uint8_t *buf, LXState state, int32_t size, const LXUchar *ustr,
                    int32_t ulen, uint32_t flags, bool ex) {
    LXLocale *loc = Resolve(handle);
    if (!Begin(loc, flags)) return (flags & LX_LEN_CHARS) ? 0 : -1;
    if (size <= 0) return 0;
    const Codeset cs = CodesetOf(loc);
    const bool shifted = ex && cs.stateful();
    return WithMbWriter(cs, shifted, shifted && state, buf, OutputOf(size, flags), [&](auto &w) {
        return UnitsTo(UcsReader{}, w, ustr, ulen, flags);
    });
}

}  // namespace
}  // namespace lorvex

using namespace lorvex;
using namespace lorvex::conv;

extern "C" LX_API int32_t LXConvertString(LXLocale *target, unsigned char *buf, int32_t size,
                                          LXLocale *source, const unsigned char *str, int32_t len,
                                          uint32_t flags) {
    return ConvertMb(target, buf, 0, size, source, str, 0, len, flags, false);
}

extern "C" LX_API int32_t LXConvertStringEx(LXLocale *target, unsigned char *buf, LXState targetState,
                                            int32_t size, LXLocale *source, const unsigned char *str,
                                            LXState sourceState, int32_t len, uint32_t flags) {
    return ConvertMb(target, buf, targetState, size, source, str, sourceState, len, flags, true);
}

extern "C" LX_API int32_t LXConvertStringW(LXLocale *target, LXWchar *wbuf, int32_t wmax, LXLocale *source,
                                           const LXWchar *wstr, int32_t wlen, uint32_t flags) {
    LXLocale *t = Resolve(target), *s = Resolve(source);
    if (!s || !Begin(t, flags)) return -1;
    if (wmax <= 0) return 0;
    return UnitsTo(WcharReader{CodesetOf(s), nullptr, nullptr},
                   WcharWriter{CodesetOf(t), wbuf, OutputOf(wmax, flags)}, wstr, wlen, flags);
}

extern "C" LX_API int32_t LXStringToUnicode(LXUchar *ubuf, int32_t umax, LXLocale *handle,
                                            const unsigned char *str, int32_t len, uint32_t flags) {
    return MbToUnicode(ubuf, umax, handle, str, 0, len, flags, false);
}

extern "C" LX_API int32_t LXStringToUnicodeEx(LXUchar *ubuf, int32_t umax, LXLocale *handle,
                                              const unsigned char *str, LXState state, int32_t len,
                                              uint32_t flags) {
    return MbToUnicode(ubuf, umax, handle, str, state, len, flags, true);
}

extern "C" LX_API int32_t LXStringToUnicodeW(LXUchar *ubuf, int32_t umax, LXLocale *handle,
                                             const LXWchar *wstr, int32_t wlen, uint32_t flags) {
    LXLocale *loc = Resolve(handle);
    if (!Begin(loc, flags)) return -1;
    if (umax <= 0) return 0;
    return UnitsTo(WcharReader{CodesetOf(loc), nullptr, nullptr}, UcsWriter{ubuf, OutputOf(umax, flags)},
                   wstr, wlen, flags);
}

extern "C" LX_API int32_t LXUnicodeToString(LXLocale *handle, unsigned char *buf, int32_t size,
                                            const LXUchar *ustr, int32_t ulen, uint32_t flags) {
    return UnicodeToMb(handle, buf, 0, size, ustr, ulen, flags, false);
}

extern "C" LX_API int32_t LXUnicodeToStringEx(LXLocale *handle, unsigned char *buf, LXState state,
                                              int32_t size, const LXUchar *ustr, int32_t ulen,
                                              uint32_t flags) {
    return UnicodeToMb(handle, buf, state, size, ustr, ulen, flags, true);
}

extern "C" LX_API int32_t LXUnicodeToStringW(LXLocale *handle, LXWchar *wbuf, int32_t wmax,
                                             const LXUchar *ustr, int32_t ulen, uint32_t flags) {
    LXLocale *loc = Resolve(handle);
    if (!Begin(loc, flags)) return -1;
    if (wmax <= 0) return 0;
    return UnitsTo(UcsReader{}, WcharWriter{CodesetOf(loc), wbuf, OutputOf(wmax, flags)}, ustr, ulen, flags);
}
