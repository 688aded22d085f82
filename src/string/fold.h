// Case-insensitive comparison for the string families.  A language with
// special upper-case rules (one character to two) needs the whole strings
// mapped first, since a character's upper case may be longer than it; every
// other locale folds character by character as the comparison walks.
#pragma once

#include <algorithm>

#include "codeset/classify.h"
#include "codeset/unicode_tables.h"
#include "frame/state.h"
#include "string/mapping.h"
#include "string/text.h"

namespace lorvex::text {

// The two characters' order after upper-casing each, 0 when they fold
// alike.  Multibyte text gives the difference of the first differing folded
// bytes (one-byte characters through the codeset's table, longer ones
// through its case records); UCS-2 units fold through the built-in Unicode
// tables and packed values as multibyte characters do, both giving +1 or -1.
template <class T>
int32_t FoldedOrder(const Codeset &cs, const T *a, const T *b, unsigned n) {
    if constexpr (std::is_same_v<T, LXUchar>) {
        const uint16_t x = ucd::Upper(*a), y = ucd::Upper(*b);
        return x == y ? 0 : x < y ? -1 : 1;
    } else if constexpr (std::is_same_v<T, LXWchar>) {
        const LXWchar x = CaseMapPacked(cs, *a, true), y = CaseMapPacked(cs, *b, true);
        return x == y ? 0 : x < y ? -1 : 1;
    } else {
        if (n == 1) return int32_t(cs.upper(*a)) - int32_t(cs.upper(*b));
        uint8_t x[4], y[4];
        const unsigned nx = UnpackWchar(CaseMapPacked(cs, PackBytes(a, n), true), x);
        const unsigned ny = UnpackWchar(CaseMapPacked(cs, PackBytes(b, n), true), y);
        for (unsigned i = 0; i < std::min(nx, ny); ++i)
            if (x[i] != y[i]) return int32_t(x[i]) - int32_t(y[i]);
        return int32_t(nx) - int32_t(ny);
    }
}

// The upper-case mapping of s[0..len) into out (cap units); returns the
// units written.
template <class W>
int32_t MapUpper(LXLocale *loc, Unit<W> *out, int32_t cap, const Unit<W> *s, LXState st, int32_t len) {
    if constexpr (std::is_same_v<Unit<W>, LXUchar>) return LXMapStringU(loc, out, cap, s, len, LX_MAP_UPPER);
    else if constexpr (std::is_same_v<Unit<W>, LXWchar>) return LXMapStringW(loc, out, cap, s, len, LX_MAP_UPPER);
    else if constexpr (W::kStateful) return LXMapStringEx(loc, out, 0, cap, s, st, len, LX_MAP_UPPER);
    else return LXMapString(loc, out, cap, s, len, LX_MAP_UPPER);
}

// The order in which mapped units compare: a packed value low half first,
// each half high byte first, as the bytes of the value's two 16-bit halves
// read in order; other units as they are.
template <class T>
uint32_t MappedKey(T v) {
    if constexpr (std::is_same_v<T, LXWchar>) return (v & 0xFFFFu) << 16 | v >> 16;
    else return v;
}

// Both strings mapped to upper case whole, in buffers of 8 bytes per unit of
// input, then compared unit by unit: +1 or -1 at the first difference, else
// the difference of the mapped lengths.  A mapping that yields nothing gives
// 0; buffers that cannot be had give error 20 and 0.
template <class W>
int32_t CompareMapped(LXLocale *loc, const Unit<W> *s1, LXState st1, int32_t len1, const Unit<W> *s2, LXState st2,
                      int32_t len2) {
    using T = Unit<W>;
    if (len1 < 1 || len2 < 1) return 0;  // nothing to map
    constexpr int64_t kPerUnit = 8 / sizeof(T), kMax = 0x7fffffff / sizeof(T);
    const int32_t cap1 = int32_t(std::min(kMax, kPerUnit * len1)), cap2 = int32_t(std::min(kMax, kPerUnit * len2));
    T *buf = static_cast<T *>(Allocate((size_t(cap1) + size_t(cap2)) * sizeof(T)));
    if (!buf) {
        loc->error = LX_ERR_NO_MEMORY;
        return 0;
    }
    T *m2 = buf + cap1;
    const int32_t n1 = MapUpper<W>(loc, buf, cap1, s1, st1, len1), n2 = MapUpper<W>(loc, m2, cap2, s2, st2, len2);
    loc->error = LX_OK;
    int32_t r = 0;
    if (n1 >= 1 && n2 >= 1) {
        const int32_t n = std::min(n1, n2);
        const auto [a, b] = std::mismatch(buf, buf + n, m2, [](T x, T y) { return x == y; });
        r = a != buf + n ? (MappedKey(*a) < MappedKey(*b) ? -1 : 1) : n1 - n2;
    }
    Free(buf);
    return r;
}

template <class W>
int32_t CompareFolded(LXLocale *loc, const Unit<W> *s1, LXState st1, int32_t len1, const Unit<W> *s2, LXState st2,
                      int32_t len2) {
    if (HasCaseRules(loc, true)) return CompareMapped<W>(loc, s1, st1, len1, s2, st2, len2);
    const Codeset cs = CodesetOf(loc);
    return CompareChars(W(cs, st1), s1, len1, W(cs, st2), s2, len2,
                        [&cs](const Unit<W> *a, const Unit<W> *b, unsigned n) { return FoldedOrder(cs, a, b, n); });
}

}  // namespace lorvex::text
