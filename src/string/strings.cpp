// The exported string functions: each checks its flags, picks the walker of
// its text form and calls the one template of its family (families.h).
//
// A plain function walks a single-byte codeset byte by byte and any other by
// the byte-length table (PairWalk when every character takes one or two
// bytes).  An Ex function of a stateful codeset walks by
// shift state; of any other codeset it is its plain form, its states ignored
// and none written back (LXStrtokEx, which cannot cut its const text, walks
// that text as the plain form would).  The U and LXWcs functions walk units.
#include <type_traits>

#include "frame/state.h"
#include "string/families.h"
#include "string/fold.h"

using namespace lorvex;
using namespace lorvex::text;

namespace {

using Shifts = ShiftWalk<ShiftMatch::kUnsigned>;
using UcsWalk = UnitWalk<LXUchar>;
using WideWalk = UnitWalk<LXWchar>;

bool Stateful(const LXLocale *loc) { return (loc->flags & kLocaleStateful) != 0; }

// Whether flags holds only the given bits plus, at most, the one kind (a
// value compared whole); otherwise error 2.
bool Accepts(LXLocale *loc, uint32_t flags, uint32_t bits, uint32_t kind = 0) {
    const uint32_t rest = flags & ~bits;
    if (rest == 0 || rest == kind) return true;
    loc->error = LX_ERR_ARGUMENT;
    return false;
}

// Results point into the caller's text, as strchr's do.
template <class T>
T *Mutable(const T *p) {
    return const_cast<T *>(p);
}

// Calls body with the walker of the locale's plain multibyte text.
template <class Body>
decltype(auto) Multibyte(const LXLocale *loc, Body &&body) {
    if (loc->flags & kLocaleSingleByte) return body(std::type_identity<ByteWalk>{});
    if (loc->flags & kLocalePairs) return body(std::type_identity<PairWalk>{});
    return body(std::type_identity<TableWalk>{});
}

constexpr uint32_t kCatFlags = LX_LEN_CHARS | LX_TERMINATE;
constexpr uint32_t kCmpFlags = LX_IGNORECASE | LX_LEN_CHARS;

}  // namespace

// ---------------------------------------------------------------------------
// Append
// ---------------------------------------------------------------------------

extern "C" LX_API int32_t LXStrcat(LXLocale *handle, unsigned char *dst, const unsigned char *src, int32_t srclen,
                                   uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, kCatFlags)) return -1;
    return Multibyte(loc, [&]<class W>(std::type_identity<W>) {
        return Strcat<W>(CodesetOf(loc), dst, 0, src, 0, srclen, flags);
    });
}

extern "C" LX_API int32_t LXStrcatEx(LXLocale *handle, unsigned char *dst, LXState dststate,
                                     const unsigned char *src, LXState srcstate, int32_t srclen, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXStrcat(handle, dst, src, srclen, flags);
    if (!Accepts(loc, flags, kCatFlags)) return -1;
    return Strcat<Shifts>(CodesetOf(loc), dst, dststate, src, srcstate, srclen, flags);
}

extern "C" LX_API int32_t LXStrcatU(LXLocale *handle, LXUchar *dst, const LXUchar *src, int32_t srclen,
                                    uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, kCatFlags)) return -1;
    return Strcat<UcsWalk>(CodesetOf(loc), dst, 0, src, 0, srclen, flags);
}

extern "C" LX_API int32_t LXWcscat(LXLocale *handle, LXWchar *dst, const LXWchar *src, int32_t srclen,
                                   uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, kCatFlags)) return -1;
    return Strcat<WideWalk>(CodesetOf(loc), dst, 0, src, 0, srclen, flags);
}

// ---------------------------------------------------------------------------
// Find a character
// ---------------------------------------------------------------------------

extern "C" LX_API unsigned char *LXStrchr(LXLocale *handle, const unsigned char *s, int32_t len,
                                          const unsigned char *ch, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, LX_LEN_CHARS, LX_REVERSE)) return nullptr;
    return Mutable(Multibyte(loc, [&]<class W>(std::type_identity<W>) {
        return Strchr<W>(CodesetOf(loc), s, 0, len, ch, 0, nullptr, flags);
    }));
}

extern "C" LX_API unsigned char *LXStrchrEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                                            const unsigned char *ch, LXState chstate, LXState *state_out,
                                            uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    if (!Stateful(loc)) return LXStrchr(handle, s, len, ch, flags);
    if (!Accepts(loc, flags, LX_LEN_CHARS, LX_REVERSE)) return nullptr;
    return Mutable(Strchr<Shifts>(CodesetOf(loc), s, state, len, ch, chstate, state_out, flags));
}

extern "C" LX_API LXUchar *LXStrchrU(LXLocale *handle, const LXUchar *s, int32_t len, LXUchar ch,
                                     uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, LX_LEN_CHARS, LX_REVERSE)) return nullptr;
    return Mutable(Strchr<UcsWalk>(CodesetOf(loc), s, 0, len, &ch, 0, nullptr, flags));
}

extern "C" LX_API LXWchar *LXWcschr(LXLocale *handle, const LXWchar *s, int32_t len, LXWchar ch, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, LX_LEN_CHARS, LX_REVERSE)) return nullptr;
    return Mutable(Strchr<WideWalk>(CodesetOf(loc), s, 0, len, &ch, 0, nullptr, flags));
}

// ---------------------------------------------------------------------------
// Compare
// ---------------------------------------------------------------------------

namespace {

// Both lengths resolved, then the plain or the case-folding comparison.
template <class W>
int32_t Compare(LXLocale *loc, const Unit<W> *s1, LXState st1, int32_t len1, const Unit<W> *s2, LXState st2,
                int32_t len2, uint32_t flags) {
    if constexpr (std::is_same_v<W, ByteWalk>) {
        if (len1 < 0 && len2 < 0 && !(flags & LX_IGNORECASE)) return CompareTerminated(s1, s2);
    }
    const Codeset cs = CodesetOf(loc);
    CompareLengths<W>(cs, s1, st1, len1, flags);
    CompareLengths<W>(cs, s2, st2, len2, flags);
    if (flags & LX_IGNORECASE) return CompareFolded<W>(loc, s1, st1, len1, s2, st2, len2);
    return Strcmp<W>(cs, s1, st1, len1, s2, st2, len2);
}

}  // namespace

extern "C" LX_API int32_t LXStrcmp(LXLocale *handle, const unsigned char *s1, int32_t len1,
                                   const unsigned char *s2, int32_t len2, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, kCmpFlags)) return 0;
    return Multibyte(loc, [&]<class W>(std::type_identity<W>) {
        return Compare<W>(loc, s1, 0, len1, s2, 0, len2, flags);
    });
}

extern "C" LX_API int32_t LXStrcmpEx(LXLocale *handle, const unsigned char *s1, LXState state1, int32_t len1,
                                     const unsigned char *s2, LXState state2, int32_t len2, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return 0;
    if (!Stateful(loc)) return LXStrcmp(handle, s1, len1, s2, len2, flags);
    if (!Accepts(loc, flags, kCmpFlags)) return 0;
    return Compare<Shifts>(loc, s1, state1, len1, s2, state2, len2, flags);
}

extern "C" LX_API int32_t LXStrcmpU(LXLocale *handle, const LXUchar *s1, int32_t len1, const LXUchar *s2,
                                    int32_t len2, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, LX_LEN_CHARS, LX_IGNORECASE)) return 0;
    return Compare<UcsWalk>(loc, s1, 0, len1, s2, 0, len2, flags);
}

extern "C" LX_API int32_t LXWcscmp(LXLocale *handle, const LXWchar *s1, int32_t len1, const LXWchar *s2,
                                   int32_t len2, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, 0, LX_IGNORECASE)) return 0;
    return Compare<WideWalk>(loc, s1, 0, len1, s2, 0, len2, flags);
}

// ---------------------------------------------------------------------------
// Copy
// ---------------------------------------------------------------------------

extern "C" LX_API int32_t LXStrcpy(LXLocale *handle, unsigned char *dst, int32_t dstsize, const unsigned char *src,
                                   int32_t srclen, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, LX_LEN_CHARS)) return -1;
    return Multibyte(loc, [&]<class W>(std::type_identity<W>) {
        return Strcpy<W>(CodesetOf(loc), dst, 0, dstsize, src, 0, srclen, flags);
    });
}

extern "C" LX_API int32_t LXStrcpyEx(LXLocale *handle, unsigned char *dst, LXState dststate, int32_t dstsize,
                                     const unsigned char *src, LXState srcstate, int32_t srclen, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!Stateful(loc)) return LXStrcpy(handle, dst, dstsize, src, srclen, flags);
    if (!Accepts(loc, flags, LX_LEN_CHARS)) return -1;
    return Strcpy<Shifts>(CodesetOf(loc), dst, dststate, dstsize, src, srcstate, srclen, flags);
}

extern "C" LX_API int32_t LXStrcpyU(LXLocale *handle, LXUchar *dst, int32_t dstsize, const LXUchar *src,
                                    int32_t srclen) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    return Strcpy<UcsWalk>(CodesetOf(loc), dst, 0, dstsize, src, 0, srclen, 0);
}

extern "C" LX_API int32_t LXWcscpy(LXLocale *handle, LXWchar *dst, int32_t dstsize, const LXWchar *src,
                                   int32_t srclen) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    return Strcpy<WideWalk>(CodesetOf(loc), dst, 0, dstsize, src, 0, srclen, 0);
}

// ---------------------------------------------------------------------------
// Spans
// ---------------------------------------------------------------------------

namespace {

// strspn (member true) and strcspn (member false) of every form.
template <class W>
int32_t SpanOf(LXLocale *handle, const Unit<W> *s, LXState st, int32_t len, const Unit<W> *set, LXState setst,
             int32_t setlen, uint32_t flags, bool member) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, LX_LEN_CHARS)) return 0;
    if constexpr (std::is_same_v<W, Shifts>) {
        if (!Stateful(loc)) return SpanOf<TableWalk>(handle, s, 0, len, set, 0, setlen, flags, member);
    }
    if constexpr (std::is_same_v<W, TableWalk>) {
        if (loc->flags & kLocaleSingleByte) return SpanOf<ByteWalk>(handle, s, 0, len, set, 0, setlen, flags, member);
    }
    return Strspan<W>(CodesetOf(loc), s, st, len, set, setst, setlen, flags, member);
}

}  // namespace

extern "C" LX_API int32_t LXStrcspn(LXLocale *handle, const unsigned char *s, int32_t len, const unsigned char *set,
                                    int32_t setlen, uint32_t flags) {
    return SpanOf<TableWalk>(handle, s, 0, len, set, 0, setlen, flags, false);
}

extern "C" LX_API int32_t LXStrspn(LXLocale *handle, const unsigned char *s, int32_t len, const unsigned char *set,
                                   int32_t setlen, uint32_t flags) {
    return SpanOf<TableWalk>(handle, s, 0, len, set, 0, setlen, flags, true);
}

extern "C" LX_API int32_t LXStrcspnEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                                      const unsigned char *set, LXState setstate, int32_t setlen, uint32_t flags) {
    return SpanOf<Shifts>(handle, s, state, len, set, setstate, setlen, flags, false);
}

extern "C" LX_API int32_t LXStrspnEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                                     const unsigned char *set, LXState setstate, int32_t setlen, uint32_t flags) {
    return SpanOf<Shifts>(handle, s, state, len, set, setstate, setlen, flags, true);
}

extern "C" LX_API int32_t LXStrcspnU(LXLocale *handle, const LXUchar *s, int32_t len, const LXUchar *set,
                                     int32_t setlen) {
    return SpanOf<UcsWalk>(handle, s, 0, len, set, 0, setlen, 0, false);
}

extern "C" LX_API int32_t LXStrspnU(LXLocale *handle, const LXUchar *s, int32_t len, const LXUchar *set,
                                    int32_t setlen) {
    return SpanOf<UcsWalk>(handle, s, 0, len, set, 0, setlen, 0, true);
}

extern "C" LX_API int32_t LXWcscspn(LXLocale *handle, const LXWchar *s, int32_t len, const LXWchar *set,
                                    int32_t setlen) {
    return SpanOf<WideWalk>(handle, s, 0, len, set, 0, setlen, 0, false);
}

extern "C" LX_API int32_t LXWcsspn(LXLocale *handle, const LXWchar *s, int32_t len, const LXWchar *set,
                                   int32_t setlen) {
    return SpanOf<WideWalk>(handle, s, 0, len, set, 0, setlen, 0, true);
}

// ---------------------------------------------------------------------------
// Find a substring
// ---------------------------------------------------------------------------

extern "C" LX_API unsigned char *LXStrstr(LXLocale *handle, const unsigned char *s, int32_t len,
                                          const unsigned char *sub, int32_t sublen, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc || !Accepts(loc, flags, LX_LEN_CHARS)) return nullptr;
    return Mutable(Multibyte(loc, [&]<class W>(std::type_identity<W>) {
        return Strstr<W>(CodesetOf(loc), s, 0, len, sub, 0, sublen, nullptr, flags);
    }));
}

extern "C" LX_API unsigned char *LXStrstrEx(LXLocale *handle, const unsigned char *s, LXState state, int32_t len,
                                            const unsigned char *sub, LXState substate, int32_t sublen,
                                            LXState *state_out, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    if (!Stateful(loc)) return LXStrstr(handle, s, len, sub, sublen, flags);
    if (!Accepts(loc, flags, LX_LEN_CHARS)) return nullptr;
    return Mutable(Strstr<Shifts>(CodesetOf(loc), s, state, len, sub, substate, sublen, state_out, flags));
}

extern "C" LX_API LXUchar *LXStrstrU(LXLocale *handle, const LXUchar *s, int32_t len, const LXUchar *sub,
                                     int32_t sublen) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    return Mutable(Strstr<UcsWalk>(CodesetOf(loc), s, 0, len, sub, 0, sublen, nullptr, 0));
}

extern "C" LX_API LXWchar *LXWcsstr(LXLocale *handle, const LXWchar *s, int32_t len, const LXWchar *sub,
                                    int32_t sublen) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    return Mutable(Strstr<WideWalk>(CodesetOf(loc), s, 0, len, sub, 0, sublen, nullptr, 0));
}

// ---------------------------------------------------------------------------
// Tokens
// ---------------------------------------------------------------------------

// The token functions check no flags and always leave error 0.

extern "C" LX_API unsigned char *LXStrtok(LXLocale *handle, unsigned char *s, int32_t *len_inout,
                                          const unsigned char *delims, int32_t dlen, unsigned char **next_out,
                                          uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    return Multibyte(loc, [&]<class W>(std::type_identity<W>) {
        return Strtok<W>(CodesetOf(loc), s, len_inout, delims, dlen, next_out, flags);
    });
}

extern "C" LX_API int32_t LXStrtokEx(LXLocale *handle, unsigned char *buf, LXState bufstate, int32_t bufsize,
                                     const unsigned char *s, LXState state, int32_t *len_inout,
                                     const unsigned char *delims, LXState delimstate, int32_t dlen,
                                     const unsigned char **next_out, LXState *next_state_out, uint32_t flags) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    const Codeset cs = CodesetOf(loc);
    if (Stateful(loc))
        return StrtokCopy<Shifts>(cs, buf, bufstate, bufsize, s, state, len_inout, delims, delimstate, dlen,
                                  next_out, next_state_out, flags);
    return Multibyte(loc, [&]<class W>(std::type_identity<W>) {
        return StrtokCopy<W>(cs, buf, 0, bufsize, s, 0, len_inout, delims, 0, dlen, next_out, nullptr, flags);
    });
}

extern "C" LX_API LXUchar *LXStrtokU(LXLocale *handle, LXUchar *s, int32_t *len_inout, const LXUchar *delims,
                                     int32_t dlen, LXUchar **next_out) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    return Strtok<UcsWalk>(CodesetOf(loc), s, len_inout, delims, dlen, next_out, 0);
}

extern "C" LX_API LXWchar *LXWcstok(LXLocale *handle, LXWchar *s, int32_t *len_inout, const LXWchar *delims,
                                    int32_t dlen, LXWchar **next_out) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return nullptr;
    return Strtok<WideWalk>(CodesetOf(loc), s, len_inout, delims, dlen, next_out, 0);
}

// ---------------------------------------------------------------------------
// Length
// ---------------------------------------------------------------------------

extern "C" LX_API int32_t LXStrlenU(LXLocale *handle, const LXUchar *s) {
    if (!EnterCall(handle)) return -1;
    return Length(s);
}

extern "C" LX_API int32_t LXWcslen(LXLocale *handle, const LXWchar *s) {
    if (!EnterCall(handle)) return -1;
    return Length(s);
}
