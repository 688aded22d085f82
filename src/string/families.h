// One template per string family over a walker (text.h): the length rules
// of the exported functions (negative lengths, LX_LEN_CHARS counts) around
// the algorithm.  The exported functions check the flags and pick the
// walker; everything else they do is here, once for the four forms.
#pragma once

#include "string/text.h"

namespace lorvex::text {

inline bool InChars(uint32_t flags) { return (flags & LX_LEN_CHARS) != 0; }

inline const char *Chars(const uint8_t *s) { return reinterpret_cast<const char *>(s); }
inline const uint8_t *Bytes(const char *s) { return reinterpret_cast<const uint8_t *>(s); }

template <class W>
const Unit<W> *Strchr(const Codeset &cs, const Unit<W> *s, LXState st, int32_t len, const Unit<W> *ch,
                      LXState chst, LXState *at, uint32_t flags) {
    if (InChars(flags)) len = CharsToUnits<W>(cs, s, st, len);
    if (len == 0) return nullptr;
    const bool reverse = (flags & ~LX_LEN_CHARS) == LX_REVERSE;
    if constexpr (std::is_same_v<W, ByteWalk>) {
        // strchr and strrchr also find the terminator.
        if (len < 0) return Bytes(reverse ? std::strrchr(Chars(s), *ch) : std::strchr(Chars(s), *ch));
    }
    if (len < 0) len = Length(s) + 1;  // the terminator can be found
    return Chr(W(cs, st), s, len, W(cs, chst), ch, reverse, at);
}

template <class W>
const Unit<W> *Strstr(const Codeset &cs, const Unit<W> *s, LXState st, int32_t len, const Unit<W> *sub,
                      LXState subst, int32_t sublen, LXState *at, uint32_t flags) {
    if (InChars(flags)) {
        len = CharsToUnits<W>(cs, s, st, len);
        sublen = CharsToUnits<W>(cs, sub, subst, sublen);
    }
    if constexpr (std::is_same_v<W, ByteWalk>) {
        if (len < 0 && sublen < 0) return Bytes(std::strstr(Chars(s), Chars(sub)));
    }
    if (len < 0) len = Length(s);
    if (sublen < 0) sublen = Length(sub);
    return Str(W(cs, st), s, len, W(cs, subst), sub, sublen, at);
}

// strspn (member true) and strcspn (member false).
template <class W>
int32_t Strspan(const Codeset &cs, const Unit<W> *s, LXState st, int32_t len, const Unit<W> *set, LXState setst,
                int32_t setlen, uint32_t flags, bool member) {
    const bool chars = InChars(flags);
    if (chars) {
        len = CharsToUnits<W>(cs, s, st, len);
        setlen = CharsToUnits<W>(cs, set, setst, setlen);
    }
    if constexpr (std::is_same_v<W, ByteWalk>) {
        if (len < 0 && setlen < 0)
            return int32_t(member ? std::strspn(Chars(s), Chars(set)) : std::strcspn(Chars(s), Chars(set)));
    }
    if (len < 0) len = Length(s);
    if (setlen < 0) setlen = Length(set);
    const int32_t n = Span(W(cs, st), s, len, W(cs, setst), set, setlen, member);
    return chars ? UnitsToChars<W>(cs, s, st, n) : n;
}

template <class W>
int32_t Strcpy(const Codeset &cs, Unit<W> *dst, LXState dstst, int32_t dstsize, const Unit<W> *src, LXState srcst,
               int32_t srclen, uint32_t flags) {
    if (dstsize < 1) return 0;
    const bool chars = InChars(flags);
    if (chars) srclen = CharsToUnits<W>(cs, src, srcst, srclen);
    // The terminator is copied when it fits; the source is read no further
    // than the copy can go.
    if (srclen < 0) srclen = (chars ? Length(src) : LengthWithin(src, dstsize)) + 1;
    const int32_t n =
        Copy(cs, W(cs, srcst), dstst, dst, chars ? INT32_MAX : dstsize, src, srclen, chars ? dstsize : -1);
    return chars ? UnitsToChars<W>(cs, dst, dstst, n) : n;
}

template <class W>
int32_t Strcat(const Codeset &cs, Unit<W> *dst, LXState dstst, const Unit<W> *src, LXState srcst, int32_t srclen,
               uint32_t flags) {
    const bool chars = InChars(flags);
    if (chars) srclen = CharsToUnits<W>(cs, src, srcst, srclen);
    const bool terminate = srclen < 0 || (srclen > 0 && (flags & LX_TERMINATE));
    if (srclen < 0) srclen = Length(src);
    const int32_t n = Cat(cs, W(cs, dstst), dst, W(cs, srcst), src, srclen, terminate);
    return chars ? UnitsToChars<W>(cs, dst, dstst, n) : n;
}

// Negative lengths become the text's length and, in a codeset with
// multibyte characters, lengths are cut back to whole characters.
template <class W>
void CompareLengths(const Codeset &cs, const Unit<W> *s, LXState st, int32_t &len, uint32_t flags) {
    if (InChars(flags)) len = CharsToUnits<W>(cs, s, st, len);
    if (len < 0) len = Length(s);
    W w(cs, st);
    len = BoundaryWithin(w, s, len);
}

// CompareUnits of two terminated single-byte strings.  A proper prefix
// compares as the difference of the lengths, which strcmp does not give, yet
// measuring both strings and then comparing them reads each twice.  Instead
// s1 is measured, and a strncmp bounded by its length stops at the first
// difference: at a byte of s1 that is not 0, so that only s2 can have ended
// there, and only when its byte is the smaller.  Nothing is read past either
// terminator.
inline int32_t CompareTerminated(const uint8_t *s1, const uint8_t *s2) {
    const char *a = Chars(s1), *b = Chars(s2);
    const size_t n1 = std::strlen(a);
    const int r = std::strncmp(a, b, n1);
    if (r == 0) return -int32_t(std::strlen(b + n1));  // s1 is s2 or a prefix of it
    if (r < 0) return -1;
    const size_t n2 = strnlen(b, n1);
    return n2 < n1 && std::memcmp(a, b, n2) == 0 ? int32_t(n1 - n2) : 1;
}

// The comparison without case folding: unit by unit, or for stateful text
// character by character (shift bytes are not compared).
template <class W>
int32_t Strcmp(const Codeset &cs, const Unit<W> *s1, LXState st1, int32_t len1, const Unit<W> *s2, LXState st2,
               int32_t len2) {
    if constexpr (W::kStateful) {
        return CompareChars(W(cs, st1), s1, len1, W(cs, st2), s2, len2,
                            [](const uint8_t *a, const uint8_t *b, unsigned n) {
                                const int r = std::memcmp(a, b, n);
                                return r == 0 ? 0 : r < 0 ? -1 : 1;
                            });
    } else {
        return CompareUnits(s1, len1, s2, len2);
    }
}

// The token search both LXStrtok and LXStrtokEx make: resolves the lengths,
// finds the token and leaves in *len_inout what remains after its delimiter
// (0 when nothing does).  Null text has no token.
template <class W>
Token Locate(const Codeset &cs, const Unit<W> *s, LXState st, int32_t *len_inout, const Unit<W> *delims,
             LXState dst, int32_t dlen, uint32_t flags) {
    int32_t len = *len_inout;
    *len_inout = 0;
    if (!s) return Token{};
    const bool chars = InChars(flags);
    if (chars) {
        len = CharsToUnits<W>(cs, s, st, len);
        dlen = CharsToUnits<W>(cs, delims, dst, dlen);
    }
    if (len < 0) len = Length(s);
    if (dlen < 0) dlen = Length(delims);
    const Token t = FindToken<W>(cs, s, st, len, delims, dst, dlen);
    if (t.more) *len_inout = chars ? UnitsToChars<W>(cs, s + t.end, t.endState, len - t.end) : len - t.end;
    return t;
}

// Splits off the next token of s: the delimiter after it is overwritten
// with zero units.
template <class W>
Unit<W> *Strtok(const Codeset &cs, Unit<W> *s, int32_t *len_inout, const Unit<W> *delims, int32_t dlen,
                Unit<W> **next_out, uint32_t flags) {
    const Token t = Locate<W>(cs, s, 0, len_inout, delims, 0, dlen, flags);
    *next_out = t.more ? s + t.end : nullptr;
    if (t.start < 0) return nullptr;
    if (t.delim >= 0) std::fill(s + t.delim, s + t.end, Unit<W>(0));
    return s + t.start;
}

// The same search without writing into s: the token is copied into buf,
// which keeps one unit for the terminator; returns the token's length there.
template <class W>
int32_t StrtokCopy(const Codeset &cs, Unit<W> *buf, LXState bufst, int32_t bufsize, const Unit<W> *s, LXState st,
                   int32_t *len_inout, const Unit<W> *delims, LXState dst, int32_t dlen, const Unit<W> **next_out,
                   LXState *next_state_out, uint32_t flags) {
    const Token t = Locate<W>(cs, s, st, len_inout, delims, dst, dlen, flags);
    *next_out = t.more ? s + t.end : nullptr;
    if constexpr (W::kStateful) {
        if (t.more && next_state_out) *next_state_out = t.endState;
    }
    if (bufsize < 1) return 0;
    const bool chars = InChars(flags);
    int32_t n = 0;
    if (t.start >= 0)
        n = Copy(cs, W(cs, t.startState), bufst, buf, chars ? INT32_MAX : bufsize - 1, s + t.start, t.n,
                 chars ? bufsize - 1 : -1);
    buf[n] = 0;
    return chars ? UnitsToChars<W>(cs, buf, bufst, n) : n;
}

}  // namespace lorvex::text
