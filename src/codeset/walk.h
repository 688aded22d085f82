// Primitives every text function shares: packing a character's bytes into an
// LXWchar and back, and turning a character count into a byte count.
#pragma once

#include <cstdint>

#include "codeset/codeset.h"

namespace lorvex {

// Packs n bytes, first byte most significant.
inline LXWchar PackBytes(const uint8_t *s, unsigned n) {
    LXWchar v = 0;
    for (unsigned i = 0; i < n; ++i) v = (v << 8) | s[i];
    return v;
}

// The character at s of a codeset that is not stateful, by the byte-length
// table; a byte whose entry is 0 packs to 0.
inline LXWchar PackChar(const Codeset &cs, const uint8_t *s) { return PackBytes(s, cs.byteLength(s[0])); }

// The character at s of a stateful codeset in the given state: max bytes in
// state 1, one byte in state 0.  Shift bytes are not looked at.
inline LXWchar PackCharInState(const Codeset &cs, const uint8_t *s, LXState state) {
    return PackBytes(s, state ? cs.maxBytes() : 1u);
}

// Writes the bytes of wc at out and returns how many.  Each byte is tested on
// its own, so a zero byte inside the value is dropped: 0x01000041 writes
// 0x01 0x41 (two bytes).
inline unsigned UnpackWchar(LXWchar wc, uint8_t *out) {
    unsigned n = 0;
    if (wc > 0xFFFFFFu) out[n++] = uint8_t(wc >> 24);
    if ((wc >> 16) & 0xFF) out[n++] = uint8_t(wc >> 16);
    if ((wc >> 8) & 0xFF) out[n++] = uint8_t(wc >> 8);
    out[n++] = uint8_t(wc);
    return n;
}

// Bytes taken by the first n characters of s starting in state (n < 1: 0).
// The walk does not stop at a NUL: a count larger than the text walks on past
// its end, and callers pass counts that stay inside their buffers.
inline int32_t CharsToBytes(const Codeset &cs, const uint8_t *s, LXState state, int32_t n) {
    if (n < 1) return 0;
    int32_t at = 0;
    if (!cs.stateful()) {
        for (int32_t i = 0; i < n; ++i) at += cs.byteLength(s[at]);
        return at;
    }
    const uint8_t so = cs.shiftOut(), si = cs.shiftIn(), wide = cs.maxBytes();
    unsigned st = state ? 1u : 0u;
    for (int32_t i = 0; i < n; ++i) {
        if (s[at] == so || s[at] == si) st = s[at++] == so;
        at += st ? wide : 1;
        if (s[at] == so || s[at] == si) st = s[at++] == so;
    }
    return at;
}

}  // namespace lorvex
