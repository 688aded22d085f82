// String mapping: upper and lower case, full and half width, native digits
// to ASCII digits.
//
// One algorithm (MapText) walks the source character by character and
// decides what each becomes; the text forms differ only in how a character
// is read, what its Unicode value and type are, and how a result is written
// back.  The forms are small classes with one interface:
//
//   next(c)        the next whole source character, false at the end
//   unicode(c)     its 16-bit Unicode value
//   type(c)        its type word (LX_C_* class bits)
//   encode(u, e)   the form's value for Unicode u; false when the codeset
//                  has no character for it
//   write(e)       writes one value; false when it does not fit
//   keep(c)        writes the source character unchanged
//   caseOf(c, up, e)  the character's case counterpart without locale
//                  rules; false when the source is to be kept as it is
//   mark/rollback  so that a rule's results are written whole or not at all
//   caseRun(up)    maps a run of characters at once where that is quicker and
//                  gives what caseOf and write or keep give one at a time
//                  (a case kind without language rules); stops in front of
//                  the first character it does not settle
//
//   MbText<W>  multibyte text read with walker W (single-byte, table-driven
//              or shift-state), written back in the codeset with shift
//              bytes where the output needs them
//   UText      16-bit Unicode; the built-in Unicode mappings
//   WText      packed LXWchar values of the codeset
#include "string/mapping.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "codeset/classify.h"
#include "codeset/unicode_tables.h"
#include "codeset/walkers.h"
#include "locale/layout.h"
#include "locale/registry.h"

using namespace lorvex;

namespace lorvex {

CaseRules::CaseRules(const LXLocale *loc, bool upper) {
    const PartRecord *la = loc->language;
    if (!la || !la->table[0]) return;
    const uint8_t *t = la->table[0];
    const uint32_t size = la->size[0];
    if (size < layout::la::kFixed) return;
    const uint32_t offset = layout::rd16(t + (upper ? layout::la::kUpperRules : layout::la::kLowerRules));
    const uint32_t count = layout::rd16(t + (upper ? layout::la::kUpperRuleCount : layout::la::kLowerRuleCount));
    if (offset > size) return;
    // A count that runs past the table is cut to the rules that are there.
    const uint32_t room = (size - offset) / layout::la::kRuleSize;
    rules_ = t + offset;
    count_ = count < room ? count : room;
}

const uint8_t *CaseRules::find(uint16_t first, uint16_t second) const {
    for (uint32_t i = 0; i < count_; ++i) {
        const uint8_t *r = rules_ + layout::la::kRuleSize * i;
        if (layout::rd16(r) == first && layout::rd16(r + 2) == second) return r;
    }
    return nullptr;
}

}  // namespace lorvex

namespace {

// ---------------------------------------------------------------------------
// Kinds
// ---------------------------------------------------------------------------

enum class Op { kCopy, kFull, kHalf, kLower, kUpper, kDigits };

struct Kind {
    Op op = Op::kCopy;
    bool rules = true;   // false with LX_MAP_NOSPECIAL
    bool chars = false;  // LX_LEN_CHARS
    bool valid = true;
};

// Kinds are compared whole: LX_MAP_NOSPECIAL only with the case kinds, and
// LX_LEN_CHARS with any kind.
Kind ParseKind(uint32_t kind) {
    Kind k;
    k.chars = (kind & LX_LEN_CHARS) != 0;
    switch (kind & ~uint32_t(LX_LEN_CHARS)) {
    case 0:
    case LX_MAP_NONE: k.op = Op::kCopy; break;
    case LX_MAP_FULLWIDTH: k.op = Op::kFull; break;
    case LX_MAP_HALFWIDTH: k.op = Op::kHalf; break;
    case LX_MAP_DIGITS: k.op = Op::kDigits; break;
    case LX_MAP_LOWER: k.op = Op::kLower; break;
    case LX_MAP_UPPER: k.op = Op::kUpper; break;
    case LX_MAP_LOWER | LX_MAP_NOSPECIAL: k.op = Op::kLower, k.rules = false; break;
    case LX_MAP_UPPER | LX_MAP_NOSPECIAL: k.op = Op::kUpper, k.rules = false; break;
    default: k.valid = false; break;
    }
    return k;
}

bool IsCase(Op op) { return op == Op::kLower || op == Op::kUpper; }

// ---------------------------------------------------------------------------
// The algorithm
// ---------------------------------------------------------------------------

// Writes a rule's one or two results, or nothing when either has no
// character in the codeset (the caller then keeps the source) or when they
// do not both fit: a result is never cut in half.
template <class T>
bool WriteRule(T &t, const uint8_t *rule, bool *written) {
    typename T::Value v[2];
    const uint16_t to[2] = {layout::rd16(rule + 4), layout::rd16(rule + 6)};
    const int n = to[1] ? 2 : 1;
    *written = false;
    for (int i = 0; i < n; ++i)
        if (!t.encode(to[i], v[i])) return true;
    const auto m = t.mark();
    for (int i = 0; i < n; ++i)
        if (!t.write(v[i])) {
            t.rollback(m);
            return false;
        }
    *written = true;
    return true;
}

// Keeps one or two source characters, both or neither.
template <class T>
bool Keep(T &t, const typename T::Char &c, const typename T::Char *next) {
    const auto m = t.mark();
    if (t.keep(c) && (!next || t.keep(*next))) return true;
    t.rollback(m);
    return false;
}

// Unicode u in place of c, or c itself when the codeset has no character
// for u.
template <class T>
bool Replace(T &t, const typename T::Char &c, uint16_t u) {
    typename T::Value v;
    return t.encode(u, v) ? t.write(v) : t.keep(c);
}

// The next source character into c, after the run the text form maps at
// once (runs: a case kind without rules, where every character maps alone).
template <class T>
bool Next(T &t, typename T::Char &c, bool runs, bool upper) {
    if (runs) t.caseRun(upper);
    return t.next(c);
}

// Maps the source of t into its output until the source ends or a result
// does not fit.  Returns true when the whole source was mapped.  The
// character after c is read ahead only where a pair rule may need it.
template <class T>
bool MapText(T &t, Op op, const CaseRules &rules) {
    const bool runs = IsCase(op) && rules.empty(), upper = op == Op::kUpper;
    typename T::Char c{}, next{};
    bool have = Next(t, c, runs, upper);
    while (have) {
        const bool haveNext = !rules.empty() && t.next(next);
        bool pair = false, ok;
        switch (op) {
        case Op::kCopy:
            ok = t.keep(c);
            break;
        case Op::kFull:
        case Op::kHalf: {
            const uint16_t u = t.unicode(c);
            const uint16_t m = op == Op::kFull ? ucd::FullWidth(u) : ucd::HalfWidth(u);
            ok = m ? Replace(t, c, m) : t.keep(c);
            break;
        }
        case Op::kDigits: {
            const uint16_t d = (t.type(c) & LX_C_DIGIT) ? ucd::AsciiDigit(t.unicode(c)) : 0;
            ok = d ? Replace(t, c, d) : t.keep(c);
            break;
        }
        case Op::kLower:
        case Op::kUpper: {
            // The character's own rule first; the pair with the next
            // character only when it has none, and never at the last
            // position.
            const uint8_t *rule = nullptr;
            if (!rules.empty()) {
                const uint16_t u = t.unicode(c);
                rule = rules.find(u, 0);
                if (!rule && haveNext) pair = (rule = rules.find(u, t.unicode(next))) != nullptr;
            }
            if (!rule) {
                typename T::Value v;
                ok = t.caseOf(c, op == Op::kUpper, v) ? t.write(v) : t.keep(c);
                break;
            }
            bool written;
            ok = WriteRule(t, rule, &written);
            if (ok && !written) ok = Keep(t, c, pair ? &next : nullptr);
            break;
        }
        }
        if (!ok) return false;
        if (haveNext && !pair) c = next;
        else have = Next(t, c, runs, upper);
    }
    return true;
}

// ---------------------------------------------------------------------------
// Text forms
// ---------------------------------------------------------------------------

// The codeset's packed code for u, when it has a character that decodes
// back to u (not the substitution byte standing in for it).
bool EncodeExact(const Codeset &cs, uint16_t u, LXWchar &wc) {
    wc = EncodeToWchar(cs, u);
    return DecodeWchar(cs, wc) == u;
}

// Multibyte text in the codeset.  The source is walked as the other text
// functions walk it; the output carries the shift bytes its own characters
// need, starting in the caller's output state, so a mapping that changes a
// character's length (full width of 'A' in a stateful codeset) stays
// well-formed.
template <class W>
class MbText {
public:
    struct Char {
        const uint8_t *p;
        unsigned n;
    };
    using Value = LXWchar;
    struct Mark {
        int32_t at, chars;
        uint8_t state;
    };

    MbText(const Codeset &cs, const uint8_t *src, LXState srcState, int32_t srcLen, uint8_t *dst,
           LXState dstState, int32_t dstSize)
        : cs_(cs), walk_(cs, srcState), src_(src), limit_(srcLen), dst_(dst), size_(dstSize),
          state_(dstState != 0) {}

    // A run of shift bytes is obeyed whole, so that no character read here
    // starts with one: the output gets its own shift bytes.
    bool next(Char &c) {
        while (in_ < limit_ && walk_.obey(src_[in_])) ++in_;
        const unsigned n = in_ < limit_ ? walk_.width(src_ + in_) : 0;
        if (n == 0 || n > unsigned(limit_ - in_)) return false;
        c = {src_ + in_, n};
        in_ += int32_t(n);
        return true;
    }
    uint16_t unicode(const Char &c) const { return DecodeMb(cs_, c.p, c.n); }
    uint32_t type(const Char &c) const { return TypeWordOf(cs_, c.p, c.n); }
    bool caseOf(const Char &c, bool upper, LXWchar &wc) const {
        const LXWchar own = PackBytes(c.p, c.n);
        wc = CaseMapPacked(cs_, own, upper);
        return wc != own && whole(wc);
    }
    bool encode(uint16_t u, LXWchar &wc) const { return EncodeExact(cs_, u, wc) && whole(wc); }
    bool write(LXWchar wc) {
        uint8_t b[4];
        return put(b, UnpackWchar(wc, b));
    }
    bool keep(const Char &c) { return put(c.p, c.n); }

    // Text that is not stateful, as next, caseOf and put would take it: a
    // one-byte character becomes its entry in the codeset's case table when
    // that is a one-byte character too (else it stays), and a longer one
    // whose type record gives it no counterpart is copied.  The walk stops
    // in front of a character with a counterpart (which may yet stay as it
    // is), a character of UTF-8 or one with a zero byte that the packed form
    // would drop, a byte that starts no whole character, and a result that
    // does not fit.
    void caseRun(bool upper) {
        if constexpr (!W::kStateful) {
            // The plain functions walk a stateful codeset by its table too;
            // put() would give such output shift bytes, which this loop does
            // not write.
            if (cs_.stateful()) return;
            const Codeset cs = cs_;
            const uint8_t *lengths = cs.desc + layout::cs::kByteLength;
            const uint8_t *table = cs.desc + (upper ? layout::cs::kUpper : layout::cs::kLower);
            const uint8_t *s = src_;
            uint8_t *d = dst_;
            const int32_t limit = limit_, size = size_;
            int32_t in = in_, at = at_, chars = chars_;
            if constexpr (W::kUnitWidth) {
                const int32_t n = std::min(limit - in, size - at);
                for (int32_t i = 0; i < n; ++i) {
                    const uint8_t b = s[in + i], m = table[b];
                    d[at + i] = lengths[m] == 1 ? m : b;
                }
                in += n;
                at += n;
                chars += n;
            } else {
                const bool tree = !cs.utf8();
                const TypeTree types(cs);
                if constexpr (W::kPairs) {
                    if (tree) pairBlocks(lengths, table, types, upper, in, at, chars);
                }
                while (in < limit) {
                    const uint8_t b = s[in];
                    const int32_t n = lengths[b];
                    if (n == 1 && at < size) {
                        const uint8_t m = table[b];
                        d[at++] = lengths[m] == 1 ? m : b;
                        ++in;
                        ++chars;
                        continue;
                    }
                    if (n < 2 || n > limit - in || n > size - at || !tree || b == 0) break;
                    if (n > 2 && std::memchr(s + in + 1, 0, size_t(n - 2))) break;
                    if (HasCounterpart(types.record(s + in, unsigned(n)), upper)) break;
                    for (int32_t i = 0; i < n; ++i) d[at++] = s[in++];
                    ++chars;
                }
            }
            in_ = in;
            at_ = at;
            chars_ = chars;
        }
    }

    Mark mark() const { return {at_, chars_, state_}; }
    void rollback(const Mark &m) { at_ = m.at, chars_ = m.chars, state_ = m.state; }

    // After the whole source: a source that ends with a shift-in closes the
    // output too, when the shift-in fits.  Text that merely ends in the
    // single-byte state leaves the output in the state its last character
    // needs, so that text mapped piece by piece gets no shift-in and
    // shift-out pair at each seam.
    void close() {
        const bool closed = in_ == limit_ && limit_ > 0 && src_[limit_ - 1] == cs_.shiftIn() && walk_.state() == 0;
        if (W::kStateful && closed && state_ && at_ < size_) {
            dst_[at_++] = cs_.shiftIn();
            state_ = 0;
        }
    }
    int32_t bytes() const { return at_; }
    int32_t chars() const { return chars_; }

private:
    // The run over PairWalk text, 64 bytes at a time while they and a
    // character running past them fit in the source and the output: the
    // lead bytes give every character start at once (TrailBytes), so that no
    // step waits for the length of the character before it.  Ends in front
    // of a two-byte character with a counterpart; the character loop of
    // caseRun takes the rest.  Long text remembers the two-byte characters
    // it has found to have none (unchecked_).
    void pairBlocks(const uint8_t *lengths, const uint8_t *table, const TypeTree &types, bool upper, int32_t &in,
                    int32_t &at, int32_t &chars) {
        const uint8_t *s = src_;
        uint8_t *d = dst_;
        const int32_t limit = limit_, size = size_;
        uint64_t *unchecked = nullptr;
        if (limit - in >= kRememberFrom) {
            if (!uncheckedSet_) std::memset(unchecked_, 0xFF, sizeof unchecked_);
            uncheckedSet_ = true;
            unchecked = unchecked_;
        }
        while (limit - in > 64 && size - at > 64) {
            // The lengths are 1 or 2: eight of them shifted into
            // place add up to 255 plus the eight lead bits.
            uint64_t lead = 0;
            for (int g = 0; g < 64; g += 8) {
                const uint8_t *p = s + in + g;
                const unsigned sum = lengths[p[0]] + (lengths[p[1]] << 1) + (lengths[p[2]] << 2) +
                                     (lengths[p[3]] << 3) + (lengths[p[4]] << 4) +
                                     (lengths[p[5]] << 5) + (lengths[p[6]] << 6) + (lengths[p[7]] << 7);
                lead |= uint64_t(sum - 255u) << g;
            }
            const uint64_t starts = ~TrailBytes(lead);
            const uint64_t pairs = lead & starts;
            int32_t stop = 64 + int32_t(pairs >> 63);
            // The two-byte characters not yet known to have no counterpart,
            // without a branch per character; then each of them through
            // the type tree (a lead byte 0 packs below 0x100, which caseOf
            // takes through the one-byte table: left to it).
            uint64_t fresh = pairs;
            if (unchecked) {
                fresh = 0;
                const uint8_t *block = s + in;
                for (uint64_t m = pairs; m; m &= m - 1) {
                    const int i = std::countr_zero(m);
                    const unsigned key = PairKey(block + i);
                    fresh |= (unchecked[key >> 6] >> (key & 63) & 1) << i;
                }
            }
            for (uint64_t m = fresh; m; m &= m - 1) {
                const int i = std::countr_zero(m);
                if (s[in + i] == 0 || HasCounterpart(types.record(s + in + i, 2), upper)) {
                    stop = i;
                    break;
                }
                const unsigned key = PairKey(s + in + i);
                if (unchecked) unchecked[key >> 6] &= ~(uint64_t(1) << (key & 63));
            }
            std::memcpy(d + at, s + in, size_t(stop));
            const uint64_t before = stop >= 64 ? ~uint64_t(0) : (uint64_t(1) << stop) - 1;
            for (uint64_t m = starts & ~lead & before; m; m &= m - 1) {
                const int i = std::countr_zero(m);
                const uint8_t u = table[s[in + i]];
                if (lengths[u] == 1) d[at + i] = u;
            }
            // Every byte before stop starts a character or trails one.
            chars += stop - std::popcount(pairs & before);
            in += stop;
            at += stop;
            if (stop < 64) break;
        }
    }

    // Whether wc is one character as the walks read it back: as many bytes
    // as its first byte's length (or the state's width), and no shift byte
    // in front.  A case record of bytes that are not a character (text that
    // is not in the codeset) may point anywhere; such a result is not
    // written, so the output stays text that every walk steps through alike.
    bool whole(LXWchar wc) const {
        uint8_t b[4];
        const unsigned n = UnpackWchar(wc, b);
        if (W::kStateful)
            return (n == 1 || n == cs_.maxBytes()) && b[0] != cs_.shiftOut() && b[0] != cs_.shiftIn();
        return cs_.byteLength(b[0]) == n;
    }

    bool put(const uint8_t *b, unsigned n) {
        uint8_t out[kMaxEncoded];
        uint8_t st = state_;
        const unsigned k = PlaceShifted(cs_, b, n, st, out);
        if (int64_t(at_) + k > size_) return false;
        std::memcpy(dst_ + at_, out, k);
        at_ += int32_t(k);
        state_ = st;
        ++chars_;
        return true;
    }

    // A two-byte character's bit in unchecked_: its two bytes as the machine
    // reads them, one load.
    static unsigned PairKey(const uint8_t *p) {
        uint16_t key;
        std::memcpy(&key, p, 2);
        return key;
    }

    // Text from this many bytes on uses unchecked_ (pairBlocks); shorter
    // text does not repay setting it up.
    static constexpr int32_t kRememberFrom = 4096;

    Codeset cs_;
    W walk_;
    const uint8_t *src_;
    int32_t limit_, in_ = 0;
    uint8_t *dst_;
    int32_t size_, at_ = 0, chars_ = 0;
    uint8_t state_;
    // One bit per two-byte character, cleared once the character is known
    // to have no counterpart (set bits: still to be looked up).
    bool uncheckedSet_ = false;
    uint64_t unchecked_[W::kPairs ? 1024 : 1];
};

// Units and elements: one source unit is one character, one written value
// one result character.
template <class Unit>
class UnitText {
public:
    using Char = Unit;
    using Value = Unit;
    using Mark = int32_t;

    UnitText(const Unit *src, int32_t srcLen, Unit *dst, int32_t dstSize)
        : src_(src), limit_(srcLen), dst_(dst), size_(dstSize) {}

    bool next(Unit &c) {
        if (in_ >= limit_) return false;
        c = src_[in_++];
        return true;
    }
    bool write(Unit v) {
        if (at_ >= size_) return false;
        dst_[at_++] = v;
        return true;
    }
    bool keep(Unit c) { return write(c); }
    static void caseRun(bool) {}
    Mark mark() const { return at_; }
    void rollback(Mark m) { at_ = m; }
    int32_t count() const { return at_; }

private:
    const Unit *src_;
    int32_t limit_, in_ = 0;
    Unit *dst_;
    int32_t size_, at_ = 0;
};

// 16-bit Unicode through the built-in Unicode tables.
class UText : public UnitText<LXUchar> {
public:
    UText(const LXLocale *, const LXUchar *src, int32_t srcLen, LXUchar *dst, int32_t dstSize)
        : UnitText(src, srcLen, dst, dstSize) {}
    static uint16_t unicode(LXUchar c) { return c; }
    static uint32_t type(LXUchar c) { return ucd::TypeWord(c); }
    static bool caseOf(LXUchar c, bool upper, LXUchar &v) { return v = upper ? ucd::Upper(c) : ucd::Lower(c), true; }
    static bool encode(uint16_t u, LXUchar &v) { return v = u, true; }
};

// Packed characters of the codeset: Unicode through the codeset's tables,
// case through its case records.
class WText : public UnitText<LXWchar> {
public:
    WText(const LXLocale *loc, const LXWchar *src, int32_t srcLen, LXWchar *dst, int32_t dstSize)
        : UnitText(src, srcLen, dst, dstSize), cs_(CodesetOf(loc)) {}
    uint16_t unicode(LXWchar c) const { return DecodeWchar(cs_, c); }
    uint32_t type(LXWchar c) const { return TypeWordOfPacked(cs_, c); }
    bool caseOf(LXWchar c, bool upper, LXWchar &v) const { return v = CaseMapPacked(cs_, c, upper), true; }
    bool encode(uint16_t u, LXWchar &v) const { return EncodeExact(cs_, u, v); }

private:
    Codeset cs_;
};

// ---------------------------------------------------------------------------
// Faces
// ---------------------------------------------------------------------------

CaseRules RulesFor(const LXLocale *loc, const Kind &k) {
    return IsCase(k.op) && k.rules ? CaseRules(loc, k.op == Op::kUpper) : CaseRules();
}

template <class Unit>
int32_t UnitsWithTerminator(const Unit *s) {
    int32_t n = 0;
    while (s[n] != 0) ++n;
    return n + 1;
}

// Counts of one multibyte mapping: bytes and characters written.
struct Written {
    int32_t bytes, chars;
};

// Maps srcLen bytes of multibyte text (a negative srcLen: up to and with the
// NUL) into dst.
template <class W>
Written MapBytes(const LXLocale *loc, const Kind &k, uint8_t *dst, LXState dstState, int32_t dstSize,
                 const uint8_t *src, LXState srcState, int32_t srcLen) {
    if (srcLen < 0) srcLen = int32_t(std::strlen(reinterpret_cast<const char *>(src))) + 1;
    const Codeset cs = CodesetOf(loc);
    MbText<W> t(cs, src, srcState, srcLen, dst, dstState, dstSize);
    // Width forms have no counterpart in a single-byte codeset.
    const Op op = (loc->flags & kLocaleSingleByte) && (k.op == Op::kFull || k.op == Op::kHalf) ? Op::kCopy : k.op;
    if (MapText(t, op, RulesFor(loc, k))) t.close();
    return {t.bytes(), t.chars()};
}

// The character-counted form: the source count becomes bytes, the mapping
// goes into an internal buffer of six bytes per character of dstsize but
// never more than 512 bytes, and the whole characters of it that dstsize
// counts are copied out.  The 512-byte cap is deliberate: a character-counted
// mapping is for short texts, and it needs no allocation.
constexpr int32_t kCharsBuffer = 512;
constexpr int32_t kBytesPerChar = 6;

int32_t CharsBufferSize(int32_t dstSize) {
    if (dstSize <= 0) return 0;
    return dstSize > kCharsBuffer / kBytesPerChar ? kCharsBuffer : dstSize * kBytesPerChar;
}

template <class W>
int32_t MapChars(LXLocale *handle, const LXLocale *loc, const Kind &k, unsigned char *dst, LXState dstState,
                 int32_t dstSize, const unsigned char *src, LXState srcState, int32_t srcLen) {
    if (srcLen > 0) srcLen = CharsToBytes(CodesetOf(loc), src, srcState, srcLen);
    // One byte more for a NUL after the mapping: the copy turns its character
    // count into bytes with a walk that looks at the byte after the last
    // character.
    uint8_t buf[kCharsBuffer + 1];
    const Written w = MapBytes<W>(loc, k, buf, dstState, CharsBufferSize(dstSize), src, srcState, srcLen);
    buf[w.bytes] = 0;
    if (W::kStateful)
        return LXStrcpyEx(handle, dst, dstState, dstSize, buf, dstState, w.chars, LX_LEN_CHARS);
    // The characters are counted as the mapping wrote them.  (LXStrcpy would
    // count a stateful codeset's text by its shift bytes, which the plain
    // walk takes as characters, and could read past what was mapped.)
    const W walk(CodesetOf(loc), 0);
    int32_t at = 0, n = 0;
    for (; n < dstSize && n < w.chars; ++n) {
        const int32_t len = int32_t(walk.width(buf + at));
        if (len == 0 || at + len > w.bytes) break;
        at += len;
    }
    std::memcpy(dst, buf, size_t(at));
    return n;
}

template <class W>
int32_t MapMultibyte(LXLocale *handle, const LXLocale *loc, const Kind &k, unsigned char *dst, LXState dstState,
                     int32_t dstSize, const unsigned char *src, LXState srcState, int32_t srcLen) {
    if (k.chars) return MapChars<W>(handle, loc, k, dst, dstState, dstSize, src, srcState, srcLen);
    return MapBytes<W>(loc, k, dst, dstState, dstSize, src, srcState, srcLen).bytes;
}

// The U and W faces, which differ only in their text class and their copy.
// LX_LEN_CHARS is accepted and changes nothing: a unit is a character.
template <class T, class Unit>
int32_t MapUnits(LXLocale *handle, Unit *dst, int32_t dstsize, const Unit *src, int32_t srclen, uint32_t kind,
                 int32_t (*copy)(LXLocale *, Unit *, int32_t, const Unit *, int32_t)) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    const Kind k = ParseKind(kind);
    if (!k.valid) return FailCall(loc, LX_ERR_ARGUMENT);
    if (k.op == Op::kCopy) return copy(handle, dst, dstsize, src, srclen);
    if (srclen < 0) srclen = UnitsWithTerminator(src);
    T t(loc, src, srclen, dst, dstsize);
    MapText(t, k.op, RulesFor(loc, k));
    return t.count();
}

}  // namespace

extern "C" LX_API int32_t LXMapString(LXLocale *handle, unsigned char *dst, int32_t dstsize,
                                      const unsigned char *src, int32_t srclen, uint32_t kind) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    const Kind k = ParseKind(kind);
    if (!k.valid) return FailCall(loc, LX_ERR_ARGUMENT);
    if (k.op == Op::kCopy && !k.chars) return LXStrcpy(handle, dst, dstsize, src, srclen, 0);
    if (loc->flags & kLocaleSingleByte)
        return MapMultibyte<ByteWalk>(handle, loc, k, dst, 0, dstsize, src, 0, srclen);
    if (loc->flags & kLocalePairs) return MapMultibyte<PairWalk>(handle, loc, k, dst, 0, dstsize, src, 0, srclen);
    return MapMultibyte<TableWalk>(handle, loc, k, dst, 0, dstsize, src, 0, srclen);
}

extern "C" LX_API int32_t LXMapStringEx(LXLocale *handle, unsigned char *dst, LXState dststate, int32_t dstsize,
                                        const unsigned char *src, LXState srcstate, int32_t srclen,
                                        uint32_t kind) {
    LXLocale *loc = EnterCall(handle);
    if (!loc) return -1;
    if (!(loc->flags & kLocaleStateful)) return LXMapString(handle, dst, dstsize, src, srclen, kind);
    const Kind k = ParseKind(kind);
    if (!k.valid) return FailCall(loc, LX_ERR_ARGUMENT);
    if (k.op == Op::kCopy && !k.chars)
        return LXStrcpyEx(handle, dst, dststate, dstsize, src, srcstate, srclen, 0);
    return MapMultibyte<ShiftWalk<ShiftMatch::kUnsigned>>(handle, loc, k, dst, dststate, dstsize, src, srcstate,
                                                          srclen);
}

extern "C" LX_API int32_t LXMapStringU(LXLocale *handle, LXUchar *dst, int32_t dstsize, const LXUchar *src,
                                       int32_t srclen, uint32_t kind) {
    return MapUnits<UText>(handle, dst, dstsize, src, srclen, kind, LXStrcpyU);
}

extern "C" LX_API int32_t LXMapStringW(LXLocale *handle, LXWchar *dst, int32_t dstsize, const LXWchar *src,
                                       int32_t srclen, uint32_t kind) {
    return MapUnits<WText>(handle, dst, dstsize, src, srclen, kind, LXWcscpy);
}
