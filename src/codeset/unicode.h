// One character between a codeset and 16-bit Unicode.  Every function that
// turns codeset text into Unicode or back (conversion, streams, collation,
// formatting) goes through these few functions, so that the table walks and
// the UTF-8 arithmetic exist once.
//
// Nothing here fails: a character outside the tables is U+FFFD on the way in,
// and a value the codeset cannot represent is its substitution byte on the
// way out.  The tables were checked when the part was loaded, so the lookups
// carry no range checks of their own.
#pragma once

#include <cstdint>

#include "codeset/codeset.h"
#include "codeset/walk.h"

namespace lorvex {

inline constexpr uint16_t kReplacement = 0xFFFD;

// Longest encoding of one character: a shift byte and four character bytes.
inline constexpr unsigned kMaxEncoded = 5;

// The decode tree of table 1, for the multibyte characters of a codeset that
// is not UTF-8: n bytes (n >= 2) walked from node 0.  At an inner node the
// byte picks the next node; at a leaf it picks the value.  A byte outside the
// node's low..high range means the sequence is not a character: U+FFFD.
inline uint16_t DecodeTree(const Codeset &cs, const uint8_t *s, unsigned n) {
    using layout::rd16;
    // A multibyte codeset always has its table 1; a single-byte one has none,
    // and a packed value above 0xFF handed to it is simply not a character.
    const uint8_t *tree = cs.tree;
    if (!tree) return kReplacement;
    const uint8_t *node = tree;
    for (unsigned i = 0; i < n; ++i) {
        const uint8_t b = s[i];
        if (b < node[2] || b > node[3]) return kReplacement;
        const unsigned index = rd16(node + 4) + (b & node[1]);
        if (node[0]) return rd16(tree + rd16(cs.desc + layout::cs::kDecodeValues) + 2 * index);
        node = tree + layout::cs::kDecodeNodeSize * index;
    }
    // The tree asks for more bytes than the character has: the byte-length
    // entry and the tree disagree, and the bytes are not a character the
    // codeset decodes.  Stopping here keeps the walk inside the caller's text.
    return kReplacement;
}

// UTF-8 characters of two or three bytes, decoded arithmetically without
// looking at the trail bytes.  A lead byte of F0 or above would start a
// character of four or more bytes, which lies beyond 16 bits: such a
// character cannot be an LXUchar and decodes to U+FFFD, however many bytes
// the byte-length table gives its lead.
inline uint16_t DecodeUtf8(const uint8_t *s, unsigned n) {
    const uint8_t b0 = s[0];
    if (b0 >= 0xF0) return kReplacement;
    if (b0 >= 0xE0 && n >= 3) return uint16_t((((s[1] & 0x3F) | (b0 & 0x0F) << 6) << 6) | (s[2] & 0x3F));
    return uint16_t((s[1] & 0x3F) | (b0 & 0x1F) << 6);
}

// The Unicode value of the n-byte character at s.  A one-byte character
// (byte length 1, or any character in state 0 of a stateful codeset) is read
// from the single-byte table; a longer one is computed (UTF-8) or walked
// through the decode tree.  Shift bytes are the caller's business.
inline uint16_t DecodeMb(const Codeset &cs, const uint8_t *s, unsigned n) {
    if (n <= 1) return cs.toUnicode(s[0]);
    return cs.utf8() ? DecodeUtf8(s, n) : DecodeTree(cs, s, n);
}

// The Unicode value of a packed character.  A value below 256 is read from
// the single-byte table by its low byte, whatever the byte-length table says
// of that byte; a larger one is unpacked and decoded as its bytes.
inline uint16_t DecodeWchar(const Codeset &cs, LXWchar wc) {
    if (wc < 0x100) return cs.toUnicode(uint8_t(wc));
    uint8_t b[4];
    return DecodeMb(cs, b, UnpackWchar(wc, b));
}

// The UTF-8 bytes of u at out (room for 3); returns their count.
inline unsigned EncodeUtf8(uint16_t u, uint8_t *out) {
    if (u < 0x80) {
        out[0] = uint8_t(u);
        return 1;
    }
    if (u < 0x800) {
        out[0] = uint8_t(0xC0 | (u >> 6));
        out[1] = uint8_t(0x80 | (u & 0x3F));
        return 2;
    }
    out[0] = uint8_t(0xE0 | (u >> 12));
    out[1] = uint8_t(0x80 | ((u >> 6) & 0x3F));
    out[2] = uint8_t(0x80 | (u & 0x3F));
    return 3;
}

// The packed code of u through the page table and data areas (tables 2 and
// 3) of a codeset that is not UTF-8.  Takes the pointers rather than the
// Codeset so that conversion loops can keep them in registers.
inline LXWchar PageLookup(const uint8_t *pages, const uint8_t *area1, const uint8_t *area2,
                          uint8_t substitution, uint16_t u) {
    using layout::rd16;
    const uint8_t *e = pages + layout::cs::kPageSize * (u >> 8);
    const uint8_t lo = uint8_t(u);
    if (lo < e[2] || lo > e[3]) return substitution;
    const unsigned i = lo & e[1];
    const uint8_t *first = area1 + rd16(e + 4);
    switch (e[0]) {
    case 0: return first[i];
    case 1: return rd16(first + 2 * i);
    case 2: return LXWchar(area2[rd16(e + 6) + i]) << 16 | rd16(first + 2 * i);
    case 3: return LXWchar(rd16(area2 + rd16(e + 6) + 2 * i)) << 16 | rd16(first + 2 * i);
    case 4: return LXWchar(area2[rd16(e + 6) + i]) << 8 | first[i];
    default: return substitution;
    }
}

// The packed codeset code of u (the form the W converters produce).  UTF-8
// is computed; other codesets read the page entry of u's high byte and its
// data areas.  A low byte outside the page's range, or a page kind above 4,
// gives the substitution byte.
inline LXWchar EncodeToWchar(const Codeset &cs, uint16_t u) {
    if (cs.utf8()) {
        uint8_t b[3];
        return PackBytes(b, EncodeUtf8(u, b));
    }
    return PageLookup(cs.desc + layout::cs::kPages, cs.area1, cs.area2, cs.substitution(), u);
}

// The bytes of u in the codeset, written at out (room for 4); returns their
// count, 1 to 4.  Zero bytes inside a packed code are dropped as UnpackWchar
// drops them.
inline unsigned EncodeUnicode(const Codeset &cs, uint16_t u, uint8_t *out) {
    if (cs.utf8()) return EncodeUtf8(u, out);
    return UnpackWchar(EncodeToWchar(cs, u), out);
}

// Character bytes for a stateful codeset's output in the given state: a
// one-byte character in state 1 needs a shift-in byte first, a longer one in
// state 0 a shift-out byte first.  Writes the shift byte (if any) and then
// the n character bytes from bytes at out (room for kMaxEncoded), updates
// state, and returns the total count; *shifted tells whether a shift byte
// leads.  For a codeset that is not stateful the bytes are copied unchanged.
inline unsigned PlaceShifted(const Codeset &cs, const uint8_t *bytes, unsigned n, uint8_t &state,
                             uint8_t *out, bool *shifted = nullptr) {
    unsigned k = 0;
    if (cs.stateful()) {
        if (n == 1 && state) {
            out[k++] = cs.shiftIn();
            state = 0;
        } else if (n > 1 && !state) {
            out[k++] = cs.shiftOut();
            state = 1;
        }
    }
    if (shifted) *shifted = k != 0;
    for (unsigned i = 0; i < n; ++i) out[k + i] = bytes[i];
    return k + n;
}

}  // namespace lorvex
