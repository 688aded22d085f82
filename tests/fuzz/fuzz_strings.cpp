// Fuzzes the string functions in their four forms.  The first input byte
// picks the codeset, the second the flags and the third where the input
// splits into a text and a second string (needle, set, delimiters, source).
// Texts with explicit lengths live in blocks of exactly that size, so that
// the sanitizer sees any read past them; outputs get exactly the room they
// are said to have.  Every result must lie within its text or buffer.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "fuzz/fuzz_locale.h"
#include "lorvex.h"

namespace {

const char *const kCodesets[] = {"MS1252", "MS932", "IBM939", "UTF-8", "MS950", "IBM037"};
constexpr size_t kCount = sizeof kCodesets / sizeof kCodesets[0];

// German has special upper-case rules, which take the case-insensitive
// comparisons through string mapping.
LXLocale *Locale(size_t i) { return FuzzLocale("German_Germany", kCodesets, i); }

void Check(bool ok) {
    if (!ok) std::abort();
}

// A block of exactly n units holding s, and a terminated copy.
template <class T>
struct Block {
    Block(const T *s, int32_t n) : exact(s, s + n), z(s, s + n) { z.push_back(0); }
    std::vector<T> exact, z;
    int32_t n() const { return int32_t(exact.size()); }
    const T *p() const { return exact.data(); }
};

template <class T>
bool Within(const T *r, const T *s, int32_t len) {
    return !r || (r >= s && r <= s + len);
}

void Multibyte(LXLocale *loc, const Block<unsigned char> &a, const Block<unsigned char> &b, uint8_t pick) {
    const int32_t n = a.n(), m = b.n();
    const uint32_t rev = (pick & 1) ? LX_REVERSE : 0;
    // The character searched for is whole, as callers give it: room for its
    // longest length (and a shift byte) after b.
    std::vector<unsigned char> ch(b.z);
    ch.resize(size_t(m) + 6);
    Check(Within(LXStrchr(loc, a.p(), n, ch.data(), rev), a.p(), n - 1));
    Check(Within(LXStrchrEx(loc, a.p(), pick & 2, n, ch.data(), pick & 4, nullptr, rev), a.p(), n - 1));
    Check(Within(LXStrchr(loc, a.z.data(), -1, ch.data(), rev), a.z.data(), n));
    Check(Within(LXStrstr(loc, a.p(), n, b.p(), m, 0), a.p(), n));
    Check(Within(LXStrstrEx(loc, a.p(), pick & 2, n, b.p(), pick & 4, m, nullptr, 0), a.p(), n));
    for (auto span : {LXStrspn, LXStrcspn}) {
        const int32_t r = span(loc, a.p(), n, b.p(), m, 0);
        Check(r >= 0 && r <= n);
        Check(span(loc, a.z.data(), -1, b.z.data(), -1, 0) <= n);
    }
    for (auto span : {LXStrspnEx, LXStrcspnEx}) {
        const int32_t r = span(loc, a.p(), pick & 2, n, b.p(), pick & 4, m, 0);
        Check(r >= 0 && r <= n);
    }
    const uint32_t cmp = (pick & 8) ? LX_IGNORECASE : 0;
    LXStrcmp(loc, a.p(), n, b.p(), m, cmp);
    LXStrcmpEx(loc, a.p(), pick & 2, n, b.p(), pick & 4, m, cmp);
    LXStrcmp(loc, a.z.data(), -1, b.z.data(), -1, cmp);

    // Copies into exactly dstsize bytes.
    const int32_t size = pick % (n + 2);
    std::vector<unsigned char> out(static_cast<size_t>(size));
    int32_t r = LXStrcpy(loc, out.data(), size, a.p(), n, 0);
    Check(r >= 0 && r <= size);
    r = LXStrcpyEx(loc, out.data(), pick & 2, size, a.p(), pick & 4, n, 0);
    Check(r >= 0 && r <= size);
    // Appends: dst holds b, with room for a, two shift bytes and the NUL.
    std::vector<unsigned char> dst(b.z);
    dst.resize(size_t(m + n) + 3);
    r = LXStrcat(loc, dst.data(), a.p(), n, LX_TERMINATE);
    Check(r >= 0 && r <= m + n + 1);
    dst.assign(b.z.begin(), b.z.end());
    dst.resize(size_t(m + n) + 3);
    r = LXStrcatEx(loc, dst.data(), pick & 2, a.z.data(), pick & 4, -1, 0);
    Check(r >= 0 && r <= m + n + 3);

    // Tokens: cut out of a copy, and copied out of the text.
    std::vector<unsigned char> cut(a.exact);
    int32_t left = n;
    for (unsigned char *p = cut.data(); p;) {
        unsigned char *next = nullptr;
        const unsigned char *tok = LXStrtok(loc, p, &left, b.p(), m, &next, 0);
        Check(Within(tok, cut.data(), n) && Within(next, cut.data(), n));
        Check(!next || next > p);
        p = next;
    }
    left = n;
    LXState st = pick & 2;
    for (const unsigned char *p = a.p(); p;) {
        std::vector<unsigned char> buf(size_t(size) + 1);
        const unsigned char *next = nullptr;
        const int32_t k = LXStrtokEx(loc, buf.data(), 0, size + 1, p, st, &left, b.p(), pick & 4, m, &next, &st, 0);
        Check(k >= 0 && k <= size && Within(next, a.p(), n) && (!next || next > p));
        p = next;
    }
}

// The U or LXWcs functions, given as a tuple in the order of kUcsForms.
template <class T, class Forms>
void Units(LXLocale *loc, const Block<T> &a, const Block<T> &b, uint8_t pick, const Forms &forms) {
    const auto [chr, str, spn, cspn, cmp, cpy, cat, tok, len] = forms;
    const int32_t n = a.n(), m = b.n();
    Check(Within(chr(loc, a.p(), n, m ? b.p()[0] : T(0), (pick & 1) ? LX_REVERSE : 0), a.p(), n - 1));
    Check(Within(str(loc, a.p(), n, b.p(), m), a.p(), n));
    const int32_t s1 = spn(loc, a.p(), n, b.p(), m), s2 = cspn(loc, a.p(), n, b.p(), m);
    Check(s1 >= 0 && s1 <= n && s2 >= 0 && s2 <= n);
    cmp(loc, a.p(), n, b.p(), m, (pick & 8) ? LX_IGNORECASE : 0);
    const int32_t size = pick % (n + 2);
    std::vector<T> out(static_cast<size_t>(size));
    const int32_t r = cpy(loc, out.data(), size, a.p(), n);
    Check(r >= 0 && r <= size);
    std::vector<T> dst(b.z);
    dst.resize(size_t(m + n) + 1);
    Check(cat(loc, dst.data(), a.z.data(), -1, 0) == len(loc, b.z.data()) + len(loc, a.z.data()) + 1);
    std::vector<T> cut(a.z);
    int32_t left = -1;
    for (T *p = cut.data(); p;) {
        T *next = nullptr;
        tok(loc, p, &left, b.p(), m, &next);
        Check(Within(next, cut.data(), n) && (!next || next > p));
        p = next;
    }
}

const auto kUcsForms = std::make_tuple(LXStrchrU, LXStrstrU, LXStrspnU, LXStrcspnU, LXStrcmpU, LXStrcpyU,
                                       LXStrcatU, LXStrtokU, LXStrlenU);
const auto kWideForms = std::make_tuple(LXWcschr, LXWcsstr, LXWcsspn, LXWcscspn, LXWcscmp, LXWcscpy, LXWcscat,
                                        LXWcstok, LXWcslen);

// The input as units of T, each built from sizeof(T) bytes; zero units end
// the text early, as the terminated forms would.
template <class T>
std::vector<T> AsUnits(const uint8_t *s, size_t n) {
    std::vector<T> v;
    for (size_t i = 0; i + sizeof(T) <= n; i += sizeof(T)) {
        T u = 0;
        std::memcpy(&u, s + i, sizeof(T));
        if (u == 0) break;
        v.push_back(u);
    }
    return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3 || size > 2048) return 0;
    LXLocale *loc = Locale(data[0] % kCount);
    const uint8_t pick = data[1];
    const size_t split = 3 + (size - 3) * data[2] / 256;
    // The terminated copies must not hold a NUL before their end.
    std::vector<unsigned char> first(data + 3, data + split), second(data + split, data + size);
    for (auto *v : {&first, &second})
        for (unsigned char &c : *v)
            if (c == 0) c = 1;
    Multibyte(loc, Block<unsigned char>(first.data(), int32_t(first.size())),
              Block<unsigned char>(second.data(), int32_t(second.size())), pick);
    const auto u1 = AsUnits<LXUchar>(data + 3, split - 3), u2 = AsUnits<LXUchar>(data + split, size - split);
    Units(loc, Block<LXUchar>(u1.data(), int32_t(u1.size())), Block<LXUchar>(u2.data(), int32_t(u2.size())), pick,
          kUcsForms);
    const auto w1 = AsUnits<LXWchar>(data + 3, split - 3), w2 = AsUnits<LXWchar>(data + split, size - split);
    Units(loc, Block<LXWchar>(w1.data(), int32_t(w1.size())), Block<LXWchar>(w2.data(), int32_t(w2.size())), pick,
          kWideForms);
    return 0;
}
