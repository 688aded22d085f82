// The conversion engine behind every string converter: a reader that yields
// one Unicode value per source character, a writer that places it in the
// output, and one driver that runs them and applies the termination rule.
// The exported converters only pick a reader and a writer and check their
// arguments.
//
// Readers: multibyte by the byte-length table, multibyte with shift bytes,
// LXWchar, UCS-2.  Writers: multibyte (bytes or characters counted),
// multibyte with shift bytes inserted, LXWchar, UCS-2.
//
// The byte map is the fast path of the common conversions (single-byte to
// single-byte, single-byte to and from UTF-8): the target bytes of every
// one-byte source character, worked out once, and a loop over it that takes
// text eight bytes at a time where it can.  Conversion objects keep one;
// LXConvertString builds one on its stack for long texts.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "codeset/unicode.h"

namespace lorvex::conv {

// ---------------------------------------------------------------------------
// Byte map
// ---------------------------------------------------------------------------
// UTF-8 characters of two bytes (U+0080-U+07FF) to target bytes, for a UTF-8
// source.  Each lead byte's 64 values are worked out when the text first uses
// that lead, so that a text in one script pays for one or two rows only.
struct Utf8Pairs {
    uint8_t bytes[2048][4];
    uint8_t length[2048];
    bool ready[32];  // by lead byte & 0x1F
};

inline void ClearPairs(Utf8Pairs &p) { std::memset(p.ready, 0, sizeof p.ready); }
void FillPairs(Utf8Pairs &p, const Codeset &tgt, unsigned lead);

struct ByteMap {
    uint8_t bytes[256][4];  // target bytes of the one-byte source character b
    uint8_t length[256];    // how many of them
    uint8_t fast[256];      // bytes the run loop may copy for b; 0: the per-character path takes b
    bool asciiSame;         // 00-7F are one-byte characters of both and convert to themselves
    bool allFast;           // every byte is a one-byte character the loop may copy
    Utf8Pairs *pairs;       // a UTF-8 source's two-byte characters, or null
};

// Fills m for source to target.  shiftedSource: the source obeys shift
// bytes, so its shift bytes are left to the per-character path and the map
// serves its state 0.  shiftedTarget: the target inserts shift bytes, so only
// one-byte results are fast (valid while the target is in state 0).  No
// pairs are attached: the caller gives a UTF-8 source their storage.
void BuildByteMap(ByteMap &m, const Codeset &src, const Codeset &tgt, bool shiftedSource,
                  bool shiftedTarget);

// Writes exactly the first k (1-4) of a map entry's bytes and advances d.
inline void PutBytes(uint8_t *&d, const uint8_t *e, unsigned k) {
    d[0] = e[0];
    if (k > 1) {
        d[1] = e[1];
        if (k > 2) {
            d[2] = e[2];
            if (k > 3) d[3] = e[3];
        }
    }
    d += k;
}

// Copies p (1-7) bytes from s to d with at most two stores, which overlap
// rather than run past the p bytes.
inline void CopyShort(uint8_t *d, const uint8_t *s, unsigned p) {
    if (p >= 4) {
        std::memcpy(d, s, 4);
        std::memcpy(d + p - 4, s + p - 4, 4);
    } else if (p >= 2) {
        std::memcpy(d, s, 2);
        std::memcpy(d + p - 2, s + p - 2, 2);
    } else {
        d[0] = s[0];
    }
}

// Bytes before the first one with bit 7 set, of eight loaded from memory as
// one integer; high holds the eight bytes' bit 7 (at least one set).
inline unsigned AsciiPrefix(uint64_t high) {
    return unsigned(std::endian::native == std::endian::little ? std::countr_zero(high)
                                                               : std::countl_zero(high)) >> 3;
}

// Converts from in..end into out..outEnd while it can, advancing in and out,
// and stops at the first character it leaves to the caller: one whose bytes
// do not fit, one cut off by the end of the input, or (Multibyte false) any
// character the map does not serve.  With Multibyte true (neither side
// stateful) longer characters are decoded and encoded here as well.
//
// Text goes eight bytes at a time where it can: ASCII that both codesets
// agree on is copied whole, and the ASCII before the first other byte is
// copied in two stores at most; a source of one-byte characters only goes through the
// map eight characters at a time, with one four-byte store each at offsets
// summed ahead.  No byte past the output is left changed.
template <bool Multibyte>
inline void RunMap(ByteMap &m, const Codeset &src, const Codeset &tgt, const uint8_t *&in,
                   const uint8_t *end, uint8_t *&out, const uint8_t *outEnd) {
    constexpr uint64_t kHigh = 0x8080808080808080ull;
    const bool singleTarget = tgt.maxBytes() == 1, utf8Source = src.utf8();
    const uint8_t *s = in;
    uint8_t *d = out;
    while (s != end) {
        // (A block is only tried where it can pay: a text of one-byte
        // characters, or ASCII that both codesets share.)
        if (end - s >= 8 && outEnd - d >= 40 && (m.allFast || (m.asciiSame && *s < 0x80))) {
            uint64_t x;
            std::memcpy(&x, s, 8);
            const uint64_t high = x & kHigh;
            if (m.asciiSame && !high) {
                std::memcpy(d, &x, 8);
                s += 8;
                d += 8;
                continue;
            }
            if (m.allFast) {
                // Where each character goes, summed as a tree rather than
                // one after another, so that the stores need not wait on a
                // chain of eight additions.
                unsigned k[8];
                for (int i = 0; i < 8; ++i) k[i] = m.fast[s[i]];
                const unsigned a01 = k[0] + k[1], a23 = k[2] + k[3], a45 = k[4] + k[5];
                const unsigned a03 = a01 + a23, a05 = a03 + a45;
                const unsigned at[8] = {0, k[0], a01, a01 + k[2], a03, a03 + k[4], a05, a05 + k[6]};
                const unsigned total = at[7] + k[7];
                // The four-byte stores reach up to three bytes past the
                // block's output: those bytes are saved first and put back.
                uint32_t keep;
                std::memcpy(&keep, d + total, 4);
                for (int i = 0; i < 8; ++i) std::memcpy(d + at[i], m.bytes[s[i]], 4);
                std::memcpy(d + total, &keep, 4);
                d += total;
                s += 8;
                continue;
            }
            if (m.asciiSame) {
                if (const unsigned p = AsciiPrefix(high)) {
                    CopyShort(d, s, p);
                    s += p;
                    d += p;
                }
            }
        }
        // One character.
        const uint8_t b = *s;
        if (const unsigned k = m.fast[b]) {
            if (ptrdiff_t(k) > outEnd - d) break;
            PutBytes(d, m.bytes[b], k);
            ++s;
            continue;
        }
        if constexpr (!Multibyte) {
            break;
        } else {
            // Not a one-byte character, so n >= 2.
            const unsigned n = src.byteLength(b);
            if (ptrdiff_t(n) > end - s) break;
            if (m.pairs && n == 2 && b < 0xF0) {
                const unsigned lead = b & 0x1Fu;
                if (!m.pairs->ready[lead]) FillPairs(*m.pairs, tgt, lead);
                const unsigned i = lead << 6 | (s[1] & 0x3Fu), k = m.pairs->length[i];
                if (ptrdiff_t(k) > outEnd - d) break;
                PutBytes(d, m.pairs->bytes[i], k);
                s += 2;
                continue;
            }
            uint8_t e[4];
            unsigned len = EncodeUnicode(tgt, utf8Source ? DecodeUtf8(s, n) : DecodeTree(src, s, n), e);
            if (singleTarget) len = 1;
            if (ptrdiff_t(len) > outEnd - d) break;
            PutBytes(d, e, len);
            s += n;
        }
    }
    in = s;
    out = d;
}

// ---------------------------------------------------------------------------
// Readers: next() gives the Unicode value of the next source character.
// ---------------------------------------------------------------------------
enum class Step { Char, End, Cut };  // Cut: the next character would pass the length

// Multibyte text without shift bytes, stepped by the byte-length table.  The
// loader refuses a table with a 0 entry, so every step advances.
struct MbReader {
    Codeset cs;
    const uint8_t *p, *end;
    ByteMap *map = nullptr;  // set for long texts: see Bulk below
    Step next(uint16_t &u) {
        if (p == end) return Step::End;
        const unsigned n = cs.byteLength(*p);
        if (ptrdiff_t(n) > end - p) return Step::Cut;
        u = DecodeMb(cs, p, n);
        p += n;
        return Step::Char;
    }
};

// Multibyte text of a stateful codeset: a shift byte before a character sets
// the state and is not converted (a shift byte that ends the text ends the
// walk); the character is max bytes long in state 1 and one byte in state 0.
struct ShiftMbReader {
    Codeset cs;
    const uint8_t *p, *end;
    uint8_t state;
    Step next(uint16_t &u) {
        if (p == end) return Step::End;
        if (*p == cs.shiftOut() || *p == cs.shiftIn()) {
            state = *p == cs.shiftOut();
            if (++p == end) return Step::End;
        }
        const unsigned n = state ? cs.maxBytes() : 1u;
        if (ptrdiff_t(n) > end - p) return Step::Cut;
        u = DecodeMb(cs, p, n);
        p += n;
        return Step::Char;
    }
};

struct WcharReader {
    Codeset cs;
    const LXWchar *p, *end;
    Step next(uint16_t &u) {
        if (p == end) return Step::End;
        u = DecodeWchar(cs, *p++);
        return Step::Char;
    }
};

struct UcsReader {
    const LXUchar *p, *end;
    Step next(uint16_t &u) {
        if (p == end) return Step::End;
        u = *p++;
        return Step::Char;
    }
};

// ---------------------------------------------------------------------------
// Writers: put() places one value or refuses it (output full); terminate()
// appends the terminating 0; result() is what the converter returns.
//
// limit: output units for text (the size less the unit set aside for the
// terminator); cap: the whole size.  In character mode a multibyte writer
// counts characters against limit and applies no byte limit: the caller's
// buffer holds size characters of the target.
// ---------------------------------------------------------------------------
struct Output {
    int32_t limit, cap;
    bool chars;
};

// Multibyte output without shift bytes.  A single-byte target writes one byte
// per character, the first of its encoding, so that the text always walks as
// one character per byte.
struct MbWriter {
    Codeset cs;
    uint8_t *buf;
    Output o;
    bool single;
    int32_t at = 0;
    int32_t count = 0;  // characters; kept for character mode only (the bulk step skips it)
    bool put(uint16_t u) {
        uint8_t b[4];
        unsigned n = EncodeUnicode(cs, u, b);
        if (single) n = 1;
        if (o.chars ? count >= o.limit : ptrdiff_t(n) > o.limit - at) return false;
        for (unsigned i = 0; i < n; ++i) buf[at + i] = b[i];
        at += int32_t(n);
        ++count;
        return true;
    }
    bool roomForNul() const { return o.chars ? count < o.limit : at < o.limit; }
    void terminate() {
        buf[at++] = 0;
        ++count;
    }
    int32_t result() const { return o.chars ? count : at; }
};

// Multibyte output of a stateful codeset: shift bytes are inserted where the
// character's length changes state, and count against the size in byte mode.
// The terminator closes the text in state 0 (see terminate()).
struct ShiftMbWriter {
    Codeset cs;
    uint8_t *buf;
    Output o;
    uint8_t state;
    int32_t at = 0, count = 0;
    int32_t lastStart = -1;     // first byte of the last character written
    int32_t lastShiftOut = -1;  // position of the last shift-out byte written
    bool put(uint16_t u) {
        uint8_t b[4], placed[kMaxEncoded];
        uint8_t st = state;
        bool shifted;
        const unsigned k = PlaceShifted(cs, b, EncodeUnicode(cs, u, b), st, placed, &shifted);
        if (o.chars ? count >= o.limit : ptrdiff_t(k) > o.limit - at) return false;
        if (shifted && st) lastShiftOut = at;
        for (unsigned i = 0; i < k; ++i) buf[at + i] = placed[i];
        lastStart = at + shifted;
        at += int32_t(k);
        ++count;
        state = st;
        return true;
    }
    bool roomForNul() const { return o.chars ? count < o.limit : at < o.limit; }
    // Text that ends in state 1 gets a shift-in byte before the 0.  When the
    // two do not fit, the last character is taken back to make room, and if
    // that leaves a shift-out byte with nothing after it, the shift-out goes
    // too and the 0 takes its place.  Character mode counts no bytes, so the
    // shift-in always fits there.  A text that starts in state 1 and has no
    // character of this call to give back gets the 0 alone: nothing is ever
    // written past the size.
    void terminate() {
        if (state) {
            if (o.chars || at + 2 <= o.cap) {
                buf[at++] = cs.shiftIn();
                state = 0;
            } else if (count > 0) {
                at = lastStart;
                --count;
                if (lastShiftOut == at - 1) {
                    at = lastShiftOut;
                } else {
                    buf[at++] = cs.shiftIn();
                }
                state = 0;
            }
        }
        buf[at++] = 0;
        ++count;
    }
    int32_t result() const { return o.chars ? count : at; }
};

struct WcharWriter {
    Codeset cs;
    LXWchar *buf;
    Output o;
    int32_t count = 0;
    bool put(uint16_t u) {
        if (count >= o.limit) return false;
        buf[count++] = EncodeToWchar(cs, u);
        return true;
    }
    bool roomForNul() const { return count < o.limit; }
    void terminate() { buf[count++] = 0; }
    int32_t result() const { return count; }
};

struct UcsWriter {
    LXUchar *buf;
    Output o;
    int32_t count = 0;
    bool put(uint16_t u) {
        if (count >= o.limit) return false;
        buf[count++] = u;
        return true;
    }
    bool roomForNul() const { return count < o.limit; }
    void terminate() { buf[count++] = 0; }
    int32_t result() const { return count; }
};

// ---------------------------------------------------------------------------
// Driver
// ---------------------------------------------------------------------------

// A reader and writer pair with a bulk step runs it before each character.
template <class R, class W>
inline void Bulk(R &, W &) {}

// Multibyte to multibyte by bytes, when the converter built a byte map: the
// map's loop takes every character it can.
inline void Bulk(MbReader &r, MbWriter &w) {
    if (!r.map || w.o.chars) return;
    uint8_t *d = w.buf + w.at;
    RunMap<true>(*r.map, r.cs, w.cs, r.p, r.end, d, w.buf + w.o.limit);
    w.at = int32_t(d - w.buf);
}

// Converts until the input ends, a character is cut off by the length, or the
// output refuses one.  The terminator goes in when asked for (its unit was set
// aside), or when the length was negative, the whole input was converted and
// there is room left.
template <class R, class W>
int32_t Drive(R &r, W &w, bool terminate, bool terminated) {
    bool complete = true;
    for (uint16_t u;;) {
        Bulk(r, w);
        const Step s = r.next(u);
        if (s == Step::End) break;
        if (s == Step::Cut || !w.put(u)) {
            complete = false;
            break;
        }
    }
    if (terminate || (terminated && complete && w.roomForNul())) w.terminate();
    return w.result();
}

}  // namespace lorvex::conv
