// The string families, each written once over a walker (walkers.h), which
// stands for a text form:
//
//   ByteWalk           multibyte text of a single-byte codeset (fast paths:
//                      memchr, memmem, memcmp, memcpy)
//   TableWalk          multibyte text, character lengths from the table
//   ShiftWalk          multibyte text of a stateful codeset with a caller-held
//                      state (the Ex functions)
//   UnitWalk<LXUchar>  UCS-2 (the U functions)
//   UnitWalk<LXWchar>  packed characters (the LXWcs functions)
//
// A walker is built from the codeset and the state its text starts in (the
// unit walkers ignore both).  Lengths reaching these templates are in units
// and not negative unless stated; the exported functions resolve negative
// lengths and LX_LEN_CHARS counts on entry.  A match, copy or cut never
// starts or ends inside a character: characters are only taken whole, and a
// stateful walk never matches or counts a shift byte.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "codeset/walkers.h"

namespace lorvex::text {

template <class W>
using Unit = typename W::Unit;

// Units before the terminating 0.
template <class T>
int32_t Length(const T *s) {
    if constexpr (sizeof(T) == 1) {
        return int32_t(std::strlen(reinterpret_cast<const char *>(s)));
    } else {
        const T *p = s;
        while (*p) ++p;
        return int32_t(p - s);
    }
}

// Units before the terminating 0, but no more than max.
template <class T>
int32_t LengthWithin(const T *s, int32_t max) {
    if constexpr (sizeof(T) == 1) {
        return int32_t(strnlen(reinterpret_cast<const char *>(s), size_t(max)));
    } else {
        const T *p = s;
        while (p - s < max && *p) ++p;
        return int32_t(p - s);
    }
}

// Units taken by the first n characters of s (n < 1 and unit forms: n).
template <class W>
int32_t CharsToUnits(const Codeset &cs, const Unit<W> *s, LXState state, int32_t n) {
    if constexpr (W::kUnitWidth) return n;
    else return n > 0 ? CharsToBytes(cs, s, state, n) : n;
}

// The end of the first n whole characters within limit units (n < 0: all).
template <class W>
int32_t CharsWithin(W &w, const Unit<W> *s, int32_t limit, int32_t n) {
    if (n < 0) return BoundaryWithin(w, s, limit);
    if (n == 0) return 0;
    if constexpr (W::kUnitWidth) return std::min(n, limit);
    else return WalkWithin(w, s, limit, [&n](const Unit<W> *, unsigned) { return --n > 0; });
}

// A count of units as characters, walking from state (unit forms: as is).
template <class W>
int32_t UnitsToChars(const Codeset &cs, const Unit<W> *s, LXState state, int32_t units) {
    W w(cs, state);
    return CountWithin(w, s, units);
}

template <class T>
const T *FindUnit(const T *s, int32_t n, T c) {
    if (n <= 0) return nullptr;
    if constexpr (sizeof(T) == 1) return static_cast<const T *>(std::memchr(s, c, size_t(n)));
    const T *e = s + n, *p = std::find(s, e, c);
    return p == e ? nullptr : p;
}

// The first occurrence of sub[0..sublen) (sublen >= 1) in s[0..len), unit
// for unit and wherever it starts, or null.
template <class T>
const T *FindUnits(const T *s, int32_t len, const T *sub, int32_t sublen) {
    if (sublen > len) return nullptr;
    if (sublen == 1) return FindUnit(s, len, *sub);
#if defined(__GLIBC__)
    if constexpr (sizeof(T) == 1) return static_cast<const T *>(memmem(s, size_t(len), sub, size_t(sublen)));
#endif
    const T *e = s + len, *p = std::search(s, e, sub, sub + sublen);
    return p == e ? nullptr : p;
}

// The first (last with reverse) occurrence of sub[0..sublen) in s[0..len)
// that starts a character, in text of a PairWalk codeset: found by a byte
// search and checked with StartsChar, reading back no further than the
// character start before it that is already known.
inline const uint8_t *FindOnChar(const PairWalk &w, const uint8_t *s, int32_t len, const uint8_t *sub,
                                 int32_t sublen, bool reverse) {
    const uint8_t *found = nullptr;
    for (int32_t known = 0; known < len;) {
        const uint8_t *hit = FindUnits(s + known, len - known, sub, sublen);
        if (!hit) break;
        const int32_t at = int32_t(hit - s);
        if (StartsChar(w.lengths, s, known, at)) {
            found = hit;
            if (!reverse) break;
            known = at + int32_t(w.width(hit));
        } else {
            known = at + 1;  // a two-byte character starts just before at
        }
    }
    return found;
}

template <class T>
bool SameUnits(const T *a, const T *b, unsigned n) {
    return std::memcmp(a, b, n * sizeof(T)) == 0;
}

// ---------------------------------------------------------------------------
// Search
// ---------------------------------------------------------------------------

// The first (last with reverse) character of s[0..len) equal to the
// character at ch, whose walker cw carries ch's state; *at gets the state
// in force at a match.  Only characters of the same length are compared.
template <class W>
const Unit<W> *Chr(W w, const Unit<W> *s, int32_t len, W cw, const Unit<W> *ch, bool reverse, LXState *at) {
    if constexpr (W::kUnitWidth) {
        if (!reverse) return FindUnit(s, len, *ch);
        for (const Unit<W> *p = s + len; p != s;)
            if (*--p == *ch) return p;
        return nullptr;
    } else if constexpr (W::kPairs) {
        const uint8_t *found = FindOnChar(w, s, len, ch, int32_t(cw.width(ch)), reverse);
        if (found && at) *at = w.state();
        return found;
    } else {
        ch = Lead(cw, ch);
        const unsigned n = cw.width(ch);
        const uint8_t *found = nullptr;
        WalkWithin(w, s, len, [&](const uint8_t *c, unsigned m) {
            if (m != n || !SameUnits(c, ch, n)) return true;
            found = c;
            if (at) *at = w.state();
            return reverse;
        });
        return found;
    }
}

// Whether the characters of sub[0..sublen) (sw walks them) follow in s from
// offset from (w is in the state there), shift bytes on either side skipped.
template <class W>
bool CharsFollow(W w, const Unit<W> *s, int32_t from, int32_t len, W sw, const Unit<W> *sub, int32_t sublen) {
    int32_t at = 0;
    while (const unsigned n = NextWithin(sw, sub, at, sublen)) {
        if (NextWithin(w, s, from, len) != n || !SameUnits(s + from, sub + at, n)) return false;
        at += int32_t(n);
        from += int32_t(n);
    }
    return true;
}

// The first occurrence of sub[0..sublen) in s[0..len) that begins on a
// character of s, or null; *at gets the state there.  sub counts only as
// far as its whole characters go; one without any matches at s.  Without
// shift states the last start tried is len - sublen; with them the lengths
// in bytes say nothing, and the characters are compared one by one.
template <class W>
const Unit<W> *Str(W w, const Unit<W> *s, int32_t len, W sw, const Unit<W> *sub, int32_t sublen, LXState *at) {
    if constexpr (!W::kUnitWidth) {
        W probe = sw;
        sublen = BoundaryWithin(probe, sub, sublen);
        probe = sw;
        int32_t first = 0;
        if (NextWithin(probe, sub, first, sublen) == 0) sublen = 0;  // shift bytes only
    }
    if (sublen <= 0) {
        if (at) *at = w.state();
        return s;
    }
    if constexpr (W::kStateful) {
        const uint8_t *found = nullptr;
        WalkWithin(w, s, len, [&](const uint8_t *c, unsigned) {
            if (!CharsFollow(w, s, int32_t(c - s), len, sw, sub, sublen)) return true;
            found = c;
            if (at) *at = w.state();
            return false;
        });
        return found;
    } else {
        if (sublen > len) return nullptr;
        if constexpr (W::kUnitWidth) {
            return FindUnits(s, len, sub, sublen);
        } else if constexpr (W::kPairs) {
            const uint8_t *found = FindOnChar(w, s, len, sub, sublen, false);
            if (found && at) *at = w.state();
            return found;
        } else {
            const uint8_t *found = nullptr;
            const int32_t last = len - sublen;
            WalkWithin(w, s, len, [&](const uint8_t *c, unsigned) {
                if (c - s > last) return false;
                if (!SameUnits(c, sub, unsigned(sublen))) return true;
                found = c;
                return false;
            });
            return found;
        }
    }
}

// Whether the character c of n units is a member of set[0..setlen), walked
// from sw's state.  A member cut short by setlen keeps its cut length.
template <class W>
bool InSet(W sw, const Unit<W> *set, int32_t setlen, const Unit<W> *c, unsigned n) {
    if constexpr (W::kUnitWidth) {
        return FindUnit(set, setlen, *c) != nullptr;
    } else {
        for (int32_t at = 0; at < setlen;) {
            if (sw.obey(set[at])) {
                ++at;
                continue;
            }
            const unsigned k = std::min(sw.width(set + at), unsigned(setlen - at));
            if (k == 0) break;
            if (k == n && SameUnits(set + at, c, n)) return true;
            at += int32_t(k);
        }
        return false;
    }
}

// The length of the leading part of s[0..len) whose characters are all
// (member true) or none (member false) in set; *end gets the state where it
// ends.  The part stops in front of the shift byte that opens the first
// character outside it, and runs over a shift byte that ends the text.
template <class W>
int32_t Span(W w, const Unit<W> *s, int32_t len, W sw, const Unit<W> *set, int32_t setlen, bool member,
             LXState *end = nullptr) {
    if constexpr (W::kUnitWidth && sizeof(Unit<W>) == 1) {
        bool in[256] = {};
        for (int32_t i = 0; i < setlen; ++i) in[set[i]] = true;
        int32_t i = 0;
        while (i < len && in[s[i]] == member) ++i;
        return i;
    } else {
        int32_t kept = 0;
        LXState keptState = w.state();
        bool stopped = false;
        const int32_t walked = WalkWithin(w, s, len, [&](const Unit<W> *c, unsigned n) {
            if (InSet(sw, set, setlen, c, n) != member) {
                stopped = true;
                return false;
            }
            kept = int32_t(c - s) + int32_t(n);
            keptState = w.state();
            return true;
        });
        if (!stopped) kept = walked, keptState = w.state();
        if (end) *end = keptState;
        return kept;
    }
}

// ---------------------------------------------------------------------------
// Copy and append
// ---------------------------------------------------------------------------

// Copies the whole characters of src[0..srclen) that fit in dstsize units
// (and, with chars >= 0, no more than chars characters) to dst; returns the
// units written.  A stateful copy into text whose state at dst (dststate)
// differs from src's writes the shift byte that src needs first, unless src
// opens with one; *end gets the state after the copy.
template <class W>
int32_t Copy(const Codeset &cs, W w, LXState dststate, Unit<W> *dst, int32_t dstsize, const Unit<W> *src,
             int32_t srclen, int32_t chars, LXState *end = nullptr) {
    if (end) *end = dststate;
    if (srclen <= 0 || dstsize < 1) return 0;
    int32_t lead = 0;
    if constexpr (W::kStateful) {
        W probe = w;
        if (!probe.obey(src[0]) && (dststate != 0) != (w.state() != 0)) lead = 1;
    }
    const int32_t n = CharsWithin(w, src, std::min(srclen, dstsize - lead), chars);
    if (n == 0) return 0;
    if constexpr (W::kStateful) {
        if (lead) dst[0] = dststate ? cs.shiftIn() : cs.shiftOut();
    }
    std::memcpy(dst + lead, src, size_t(n) * sizeof(Unit<W>));
    if (end) *end = w.state();
    return lead + n;
}

// Appends the whole characters of src[0..srclen) to the terminated dst (dw
// is in dst's state at its start), and with terminate a 0 after them, which
// a stateful text gets in state 0; returns dst's length with what was
// written.  The walks read one shift byte in front of a character, so the
// join never leaves two in a row: a shift byte that ends dst gives way to
// the one the appended text starts with.
template <class W>
int32_t Cat(const Codeset &cs, W dw, Unit<W> *dst, W w, const Unit<W> *src, int32_t srclen, bool terminate) {
    int32_t at = Length(dst);
    W end = dw;
    BoundaryWithin(end, dst, at);
    LXState state = end.state();
    if constexpr (W::kStateful) {
        if (at > 0 && W(dw).obey(dst[at - 1])) {
            BoundaryWithin(dw, dst, at - 1);
            LXState after = state;
            if (const int32_t n = Copy(cs, w, dw.state(), dst + at - 1, INT32_MAX - at, src, srclen, -1, &after)) {
                at += n - 1;
                state = after;
                srclen = 0;
            }
        }
    }
    at += Copy(cs, w, state, dst + at, INT32_MAX - at, src, srclen, -1, &state);
    if (!terminate) return at;
    if constexpr (W::kStateful) {
        if (state) dst[at++] = cs.shiftIn();
    }
    dst[at++] = 0;
    return at;
}

// ---------------------------------------------------------------------------
// Comparison
// ---------------------------------------------------------------------------

// What a comparison returns at the first differing units: the difference of
// two LXWchar values, else +1 or -1.
template <class T>
int32_t UnitOrder(T a, T b) {
    if constexpr (std::is_same_v<T, LXWchar>) return int32_t(a - b);
    else return a < b ? -1 : 1;
}

// Unit by unit over the shorter length: the order at the first difference,
// else the difference of the lengths, so that a proper prefix sorts first.
template <class T>
int32_t CompareUnits(const T *s1, int32_t len1, const T *s2, int32_t len2) {
    const int32_t n = std::min(len1, len2);
    if constexpr (sizeof(T) == 1) {
        const int r = n > 0 ? std::memcmp(s1, s2, size_t(n)) : 0;
        if (r != 0) return r < 0 ? -1 : 1;
    } else {
        const auto [a, b] = std::mismatch(s1, s1 + n, s2);
        if (a != s1 + n) return UnitOrder(*a, *b);
    }
    return len1 - len2;
}

// The units the characters of s[at..len) take, shift bytes not counted.
template <class W>
int32_t CountUnits(W &w, const Unit<W> *s, int32_t at, int32_t len) {
    int32_t units = 0;
    for (int32_t i = at; i < len;) {
        const unsigned n = NextWithin(w, s, i, len);
        if (n == 0) break;
        units += int32_t(n);
        i += int32_t(n);
    }
    return units;
}

// Character by character: characters of different lengths give the
// difference of the lengths, the first pair that differs gives
// differ(c1, c2, n), and when one text runs out the result is the difference
// of the units the two texts' characters take (shift bytes do not count).
template <class W, class Differ>
int32_t CompareChars(W w1, const Unit<W> *s1, int32_t len1, W w2, const Unit<W> *s2, int32_t len2,
                     Differ &&differ) {
    int32_t a = 0, b = 0;
    for (;;) {
        const unsigned n1 = NextWithin(w1, s1, a, len1), n2 = NextWithin(w2, s2, b, len2);
        if (n1 == 0 || n2 == 0) {
            if constexpr (W::kStateful) return CountUnits(w1, s1, a, len1) - CountUnits(w2, s2, b, len2);
            else return len1 - len2;
        }
        if (n1 != n2) return int32_t(n1) - int32_t(n2);
        if (const int32_t d = differ(s1 + a, s2 + b, n1)) return d;
        a += int32_t(n1);
        b += int32_t(n2);
    }
}

// ---------------------------------------------------------------------------
// Tokens
// ---------------------------------------------------------------------------

// Where the next token of s[0..len) lies: it starts at start in state
// startState and takes n units; the delimiter character that ends it runs
// from delim to end, where the text goes on in state endState.  delim is -1
// when the token runs to the end of s, and start is -1 when s holds only
// delimiters.
struct Token {
    int32_t start = -1, n = 0, delim = -1, end = -1;
    LXState startState = 0, endState = 0;
    bool more = false;  // text follows the delimiter
};

template <class W>
Token FindToken(const Codeset &cs, const Unit<W> *s, LXState state, int32_t len, const Unit<W> *delims,
                LXState dstate, int32_t dlen) {
    Token t;
    const W dw(cs, dstate);
    LXState at = state;
    int32_t start = 0;
    int32_t n = Span(W(cs, state), s, len, dw, delims, dlen, false, &at);
    if (n >= len) {
        t.start = 0;
        t.n = len;
        t.startState = state;
        return t;
    }
    if (n == 0) {
        start = Span(W(cs, state), s, len, dw, delims, dlen, true, &at);
        if (start >= len) return t;
        const LXState tokenState = at;
        n = Span(W(cs, tokenState), s + start, len - start, dw, delims, dlen, false, &at);
        t.startState = tokenState;
    } else {
        t.startState = state;
    }
    t.start = start;
    t.n = n;
    if (start + n >= len) return t;
    W d(cs, at);
    int32_t delim = start + n;
    const unsigned width = NextWithin(d, s, delim, len);
    if (width == 0) {  // a character cut off by len is no delimiter
        t.n = len - start;
        return t;
    }
    t.delim = delim;
    t.end = delim + int32_t(width);
    t.endState = d.state();
    int32_t rest = t.end;  // a shift byte alone after the delimiter is no text
    t.more = NextWithin(d, s, rest, len) != 0;
    return t;
}

}  // namespace lorvex::text
