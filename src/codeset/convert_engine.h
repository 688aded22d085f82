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
//
// For a multibyte target it also keeps, by high byte, where in the first data
// area each whole page of two-byte codes starts (a page of kind 1 that covers
// all 256 low bytes, as the pages of ideographs do), so that a three-byte
// character is one read away from its code; kNoPage for other pages.
struct Utf8Pairs {
    uint8_t bytes[2048][4];
    uint8_t length[2048];
    bool ready[32];  // by lead byte & 0x1F
    bool pagesReady;
    uint32_t page[256];
};
inline constexpr uint32_t kNoPage = 0xFFFFFFFFu;

inline void ClearPairs(Utf8Pairs &p) {
    std::memset(p.ready, 0, sizeof p.ready);
    p.pagesReady = false;
}
void FillPairs(Utf8Pairs &p, const Codeset &tgt, unsigned lead);
void FillPages(Utf8Pairs &p, const Codeset &tgt);

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

// ---------------------------------------------------------------------------
// Per-run decoding and encoding
// ---------------------------------------------------------------------------
// The loops below store output a byte at a time, and a byte store may alias
// anything as far as the compiler knows, so a table pointer read through a
// Codeset or ByteMap reference would be read again after every character.
// These copy what the loops need into locals once per run.  Results are those
// of DecodeMb and EncodeUnicode exactly; only the work per character differs.

// Source side: the byte lengths, the one-byte table and the decode tree.
struct Decoder {
    const uint8_t *length, *single, *tree, *values;
    bool utf8;
    explicit Decoder(const Codeset &cs)
        : length(cs.desc + layout::cs::kByteLength), single(cs.desc + layout::cs::kToUnicode),
          tree(cs.tree),
          values(cs.tree ? cs.tree + layout::rd16(cs.desc + layout::cs::kDecodeValues) : nullptr),
          utf8(cs.utf8()) {}

    uint16_t one(uint8_t b) const { return layout::rd16(single + 2 * b); }

    // DecodeTree, with the tree and its values already found.
    uint16_t walk(const uint8_t *s, unsigned n) const {
        using layout::rd16;
        if (!tree) return kReplacement;
        const uint8_t *node = tree;
        unsigned i = 0;
        for (;;) {
            const uint8_t b = s[i];
            if (b < node[2] || b > node[3]) return kReplacement;
            const unsigned index = rd16(node + 4) + (b & node[1]);
            if (node[0]) return rd16(values + 2 * index);
            if (++i == n) return kReplacement;
            node = tree + layout::cs::kDecodeNodeSize * index;
        }
    }

    // walk(s, 2), written out: a double-byte codeset's characters are a
    // lead node and a leaf, two lookups with nothing to count.
    uint16_t walk2(const uint8_t *s) const {
        using layout::rd16;
        if (!tree) return kReplacement;
        const uint8_t *node = tree;
        uint8_t b = s[0];
        if (b < node[2] || b > node[3]) return kReplacement;
        unsigned index = rd16(node + 4) + (b & node[1]);
        if (node[0]) return rd16(values + 2 * index);
        node = tree + layout::cs::kDecodeNodeSize * index;
        b = s[1];
        if (b < node[2] || b > node[3]) return kReplacement;
        index = rd16(node + 4) + (b & node[1]);
        return node[0] ? rd16(values + 2 * index) : kReplacement;
    }

    // DecodeMb for n >= 1.
    uint16_t decode(const uint8_t *s, unsigned n) const {
        if (n <= 1) return one(s[0]);
        if (utf8) return DecodeUtf8(s, n);
        return n == 2 ? walk2(s) : walk(s, n);
    }
};

// Target side: the page entries and data areas, or UTF-8 arithmetic.
// single: a single-byte target, which keeps the first byte only.
struct Encoder {
    const uint8_t *pages, *area1, *area2;
    uint8_t substitution;
    bool utf8, single;
    explicit Encoder(const Codeset &cs)
        : pages(cs.desc + layout::cs::kPages), area1(cs.area1), area2(cs.area2),
          substitution(cs.substitution()), utf8(cs.utf8()), single(cs.maxBytes() == 1) {}

    // EncodeToWchar for a codeset that is not UTF-8.
    LXWchar packed(uint16_t u) const { return PageLookup(pages, area1, area2, substitution, u); }

    // The bytes of u at out (room for 4), as EncodeUnicode writes them and
    // cut to one for a single-byte target; returns their count.
    unsigned encode(uint16_t u, uint8_t *out) const {
        if (utf8) return EncodeUtf8(u, out);
        const LXWchar wc = packed(u);
        if (wc < 0x10000) {
            // The common case, one or two bytes, without UnpackWchar's tests.
            if (wc > 0xFF && !single) {
                out[0] = uint8_t(wc >> 8);
                out[1] = uint8_t(wc);
                return 2;
            }
            out[0] = uint8_t(wc > 0xFF ? wc >> 8 : wc);
            return 1;
        }
        const unsigned n = UnpackWchar(wc, out);
        return single ? 1 : n;
    }

    // Encodes u at d if its bytes fit before outEnd, advancing d; false when
    // they do not (nothing past outEnd is written).
    bool put(uint16_t u, uint8_t *&d, const uint8_t *outEnd) const {
        if (outEnd - d >= 4) {
            d += encode(u, d);
            return true;
        }
        uint8_t e[4];
        const unsigned k = encode(u, e);
        if (ptrdiff_t(k) > outEnd - d) return false;
        for (unsigned i = 0; i < k; ++i) d[i] = e[i];
        d += k;
        return true;
    }
};

// The characters of two bytes or more from s on, one after another, until a
// one-byte character (fast[b] not 0) or the end of the input: true when it
// stops there, false at a character it leaves to the caller (cut off by the
// end of the input, or not fitting).  Kept out of line so that RunMap's
// one-byte loop keeps its registers to itself.
inline bool RunLongAt(const Codeset &src, const Codeset &tgt, const uint8_t *fast, Utf8Pairs *pairs,
                      const uint8_t *&s, const uint8_t *end, uint8_t *&d, const uint8_t *outEnd) {
    const Decoder dec(src);
    const Encoder enc(tgt);
    // UTF-8 into a double-byte codeset: most such text is three-byte
    // characters whose page holds two-byte codes (kind 1), and those are
    // decoded and looked up directly, without the general path's tests.
    bool utf8ToTable = pairs && !enc.utf8 && !enc.single;
    for (unsigned lead = 0xE0; utf8ToTable && lead < 0xF0; ++lead)
        if (dec.length[lead] != 3) utf8ToTable = false;
    if (utf8ToTable && !pairs->pagesReady) FillPages(*pairs, tgt);
    uint8_t b = *s;
    do {
        if (utf8ToTable) {
            const uint32_t *const page = pairs->page;
            while (end - s >= 3 && outEnd - d >= 2 && (*s & 0xF0) == 0xE0) {
                const unsigned u = (*s & 0x0Fu) << 12 | (s[1] & 0x3Fu) << 6 | (s[2] & 0x3Fu);
                const uint8_t lo = uint8_t(u);
                uint32_t at = page[u >> 8];
                if (at == kNoPage) {
                    const uint8_t *pe = enc.pages + layout::cs::kPageSize * (u >> 8);
                    if (pe[0] != 1 || lo < pe[2] || lo > pe[3]) break;
                    at = layout::rd16(pe + 4) + 2u * (lo & pe[1]);
                } else {
                    at += 2u * lo;
                }
                const unsigned v = layout::rd16(enc.area1 + at);
                if (v > 0xFF) {
                    d[0] = uint8_t(v >> 8);
                    d[1] = uint8_t(v);
                    d += 2;
                } else {
                    d[0] = uint8_t(v);
                    d += 1;
                }
                s += 3;
            }
            if (s == end || fast[b = *s]) break;
        } else if (!dec.utf8) {
            // A double-byte source: its two-byte characters one
            // after another, with room for any encoding.
            if (enc.utf8) {
                while (end - s >= 2 && outEnd - d >= 4 && dec.length[*s] == 2) {
                    d += EncodeUtf8(uint16_t(dec.walk2(s)), d);
                    s += 2;
                }
            } else {
                while (end - s >= 2 && outEnd - d >= 4 && dec.length[*s] == 2) {
                    d += enc.encode(dec.walk2(s), d);
                    s += 2;
                }
            }
            if (s == end || fast[b = *s]) break;
        }
        const unsigned n = dec.length[b];
        if (ptrdiff_t(n) > end - s) {
            return false;
        }
        if (pairs && n == 2 && b < 0xF0) {
            const unsigned lead = b & 0x1Fu;
            if (!pairs->ready[lead]) FillPairs(*pairs, tgt, lead);
            const unsigned i = lead << 6 | (s[1] & 0x3Fu), k = pairs->length[i];
            if (ptrdiff_t(k) > outEnd - d) {
                return false;
            }
            PutBytes(d, pairs->bytes[i], k);
        } else if (!enc.put(dec.utf8 ? DecodeUtf8(s, n) : dec.walk(s, n), d, outEnd)) {
            return false;
        }
        s += n;
    } while (s != end && !fast[b = *s]);
    return true;
}

[[gnu::noinline]] inline bool RunLong(const Codeset &src, const Codeset &tgt, const uint8_t *fast,
                                      Utf8Pairs *pairs, const uint8_t *&in, const uint8_t *end, uint8_t *&out,
                                      const uint8_t *outEnd) {
    // The positions are copied in and out: through the references, every
    // byte stored would make the compiler read them again.
    const uint8_t *s = in;
    uint8_t *d = out;
    const bool done = RunLongAt(src, tgt, fast, pairs, s, end, d, outEnd);
    in = s;
    out = d;
    return done;
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
// summed ahead.  Longer characters are taken in runs, one after another,
// without going back to the block tests between them.  No byte past the
// output is left changed.
template <bool Multibyte>
inline void RunMap(ByteMap &m, const Codeset &src, const Codeset &tgt, const uint8_t *&in,
                   const uint8_t *end, uint8_t *&out, const uint8_t *outEnd) {
    constexpr uint64_t kHigh = 0x8080808080808080ull;
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
            // A character of two bytes or more (fast[b] is 0 only for those
            // when neither side is stateful).  A UTF-8 source's two-byte
            // characters, scattered through text that is mostly ASCII, go
            // through the pairs one at a time.
            if (Utf8Pairs *const pairs = m.pairs) {
                const unsigned n = src.byteLength(b);
                if (ptrdiff_t(n) > end - s) break;
                if (n == 2 && b < 0xF0) {
                    const unsigned lead = b & 0x1Fu;
                    if (!pairs->ready[lead]) FillPairs(*pairs, tgt, lead);
                    const unsigned i = lead << 6 | (s[1] & 0x3Fu), k = pairs->length[i];
                    if (ptrdiff_t(k) > outEnd - d) break;
                    PutBytes(d, pairs->bytes[i], k);
                    s += 2;
                    continue;
                }
            }
            // Otherwise a run of them, one after another.
            if (!RunLong(src, tgt, m.fast, m.pairs, s, end, d, outEnd)) break;
        }
    }
    in = s;
    out = d;
}

// A stateful source into a target without shift states: shift bytes set the
// state and are not converted, and the character after a shift byte is taken
// whatever its value.  Stops before a character it cannot finish (cut off by
// the end of the input, or not fitting in the output) and before a shift
// byte that ends the input, leaving both, with the shift byte before them,
// to the caller's own per-character walk; state is the source state at in.
inline void RunShiftedSource(const Codeset &src, const Codeset &tgt, uint8_t &state, const uint8_t *&in,
                             const uint8_t *end, uint8_t *&out, const uint8_t *outEnd) {
    const Decoder dec(src);
    const Encoder enc(tgt);
    const uint8_t so = src.shiftOut(), si = src.shiftIn();
    const unsigned wide = src.maxBytes();
    const uint8_t *s = in;
    uint8_t *d = out;
    uint8_t st = state;
    while (s != end) {
        const uint8_t *p = s;
        uint8_t next = st;
        if (*p == so || *p == si) {
            next = *p == so;
            if (++p == end) break;
        }
        // p is a character in state next, whatever its value.
        const unsigned n = next ? wide : 1u;
        if (ptrdiff_t(n) > end - p) break;
        if (!enc.put(dec.decode(p, n), d, outEnd)) break;
        s = p + n;
        st = next;
        // Then the characters up to the next shift byte, with no state to
        // look at: two bytes each in the double-byte state, one otherwise.
        if (st && wide == 2) {
            while (end - s >= 2 && *s != so && *s != si) {
                if (!enc.put(dec.decode(s, 2), d, outEnd)) goto done;
                s += 2;
            }
        } else if (!st) {
            while (s != end && *s != so && *s != si) {
                if (!enc.put(dec.one(*s), d, outEnd)) goto done;
                ++s;
            }
        }
    }
done:
    in = s;
    out = d;
    state = st;
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

// A stateful source into a target without shift states, by bytes: runs of
// characters go through the shifted-source loop, which leaves the reader's
// edge cases (a cut character, a shift byte at the end) to next().
inline void Bulk(ShiftMbReader &r, MbWriter &w) {
    if (w.o.chars) return;
    uint8_t *d = w.buf + w.at;
    RunShiftedSource(r.cs, w.cs, r.state, r.p, r.end, d, w.buf + w.o.limit);
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
