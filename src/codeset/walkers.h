// Walkers: how text functions step through multibyte text.
//
// Every function that walks text does it the same way and differs only in
// how the length of a character is found:
//
//   ByteWalk   single-byte codeset: every byte is a character
//   TableWalk  by the byte-length table entry of the character's first byte
//   PairWalk   a TableWalk whose table gives every byte 1 or 2, where a
//              character start can be told from the bytes just before it
//   ShiftWalk  stateful codeset: a shift-out byte switches to state 1, a
//              shift-in byte back to state 0, and the state alone gives the
//              length (max bytes per character in state 1, one byte in 0)
//
// The algorithms below are written once over a walker; the plain, Ex and
// single-byte forms of a function differ only in the walker they pass.  All
// walkers share one interface:
//
//   W(cs, state)       construction (ByteWalk and TableWalk ignore the state)
//   obey(b)            true if b is a shift byte, after switching the state
//   width(p)           length of the character at p (a ShiftWalk never reads p)
//   state()            the state in force
//
// A table entry of 0 names a byte that no walk can step over: every walk
// ends in front of it, so that such a byte can never make a loop spin.
#pragma once

#include <cstdint>
#include <cstring>

#include "codeset/unicode.h"
#include "codeset/walk.h"

namespace lorvex {

// Every unit is a character: the bytes of a single-byte codeset, and the
// units of the UCS-2 and LXWchar forms, which the string functions walk with
// the same algorithms as multibyte text.
template <class T>
struct UnitWalk {
    using Unit = T;
    static constexpr bool kStateful = false;
    static constexpr bool kUnitWidth = true;
    static constexpr bool kPairs = false;
    UnitWalk(const Codeset &, LXState) {}
    static bool obey(T) { return false; }
    static unsigned width(const T *) { return 1; }
    static LXState state() { return 0; }
};
using ByteWalk = UnitWalk<uint8_t>;

struct TableWalk {
    using Unit = uint8_t;
    static constexpr bool kStateful = false;
    static constexpr bool kUnitWidth = false;
    static constexpr bool kPairs = false;
    TableWalk(const Codeset &cs, LXState) : lengths(cs.desc + layout::cs::kByteLength) {}
    static bool obey(uint8_t) { return false; }
    unsigned width(const uint8_t *p) const { return lengths[*p]; }
    static LXState state() { return 0; }

    const uint8_t *lengths;
};

// Text of a codeset that is not stateful and whose characters all take one
// or two bytes (the locale flag kLocalePairs).  It walks as TableWalk does;
// the algorithms use StartsChar to check a position found by a byte search
// instead of walking to it.
struct PairWalk : TableWalk {
    static constexpr bool kPairs = true;
    using TableWalk::TableWalk;
};

// Whether offset at of s starts a character, in text of a PairWalk codeset
// where offset from (at or before at) starts one.  A byte that is not a lead
// byte always ends a character, its own or the one it trails, so characters
// start right after the last such byte before at and then every two bytes.
// Reads back from at no further than from.
inline bool StartsChar(const uint8_t *lengths, const uint8_t *s, int32_t from, int32_t at) {
    int32_t i = at;
    while (i > from && lengths[s[i - 1]] == 2) --i;
    return ((at - i) & 1) == 0;
}

// The trail bytes among 64 bytes of PairWalk text that start on a character,
// as a mask (bit i for byte i) from the mask of their lead bytes.  In a run
// of lead bytes that begins on a character every second byte is a trail
// byte, and so is the byte after the run when the run is odd; a subtraction
// finds every run's parity at once: (lead << 1 | odd) - lead carries through
// each run from its first byte and flips the odd positions of runs that
// begin on an odd position.
inline uint64_t TrailBytes(uint64_t lead) {
    constexpr uint64_t kOdd = 0xAAAAAAAAAAAAAAAAull;
    return ((((lead << 1) | kOdd) - lead) ^ kOdd) ^ lead;
}

// How a walk compares a text byte with the codeset's shift bytes.  Some
// members compare the text byte as a signed char with the description's
// unsigned byte, so that a shift byte of 0x80 or above never matches for
// them; others compare unsigned.  Real codesets keep their shift bytes below
// 0x80, where both agree; the difference is kept so that each member answers
// the same for every byte, whichever codeset it is given.
enum class ShiftMatch { kUnsigned, kSigned };

template <ShiftMatch M>
class ShiftWalk {
public:
    using Unit = uint8_t;
    static constexpr bool kStateful = true;
    static constexpr bool kUnitWidth = false;
    static constexpr bool kPairs = false;

    ShiftWalk(const Codeset &cs, LXState state)
        : so_(cs.shiftOut()), si_(cs.shiftIn()), wide_(cs.maxBytes()), state_(state != 0) {}

    bool obey(uint8_t b) {
        return Switch(b, so_, si_);
    }
    // The same byte seen from behind: text before a shift-in was in state 1,
    // text before a shift-out in state 0.
    bool obeyBack(uint8_t b) {
        return Switch(b, si_, so_);
    }
    unsigned width(const uint8_t * = nullptr) const { return state_ ? wide_ : 1u; }
    LXState state() const { return state_; }

private:
    // Sets state 1 on toOne, state 0 on toZero; false for any other byte.
    bool Switch(uint8_t b, uint8_t toOne, uint8_t toZero) {
        if (Is(b, toOne)) state_ = 1;
        else if (Is(b, toZero)) state_ = 0;
        else return false;
        return true;
    }
    static bool Is(uint8_t b, uint8_t shift) {
        if constexpr (M == ShiftMatch::kSigned) return static_cast<int8_t>(b) == int(shift);
        else return b == shift;
    }

    uint8_t so_, si_, wide_;
    LXState state_;
};

// ---------------------------------------------------------------------------
// Single steps
// ---------------------------------------------------------------------------

// Where the character at p begins: a leading shift byte is obeyed and
// stepped over.
template <class W>
const uint8_t *Lead(W &w, const uint8_t *p) {
    return w.obey(*p) ? p + 1 : p;
}

// Past the character at p.  A stateful walk also steps over a shift byte on
// either side of the character, so that the next step starts on a character
// byte in the state written back to the caller.
template <class W>
const uint8_t *Step(W &w, const uint8_t *p) {
    p = Lead(w, p);
    p += w.width(p);
    if constexpr (W::kStateful) {
        if (w.obey(*p)) ++p;
    }
    return p;
}

// The character at p as an LXWchar (shift bytes are never part of it).
template <class W>
LXWchar PackAt(W &w, const uint8_t *p) {
    p = Lead(w, p);
    return PackBytes(p, w.width(p));
}

// The character before cur in a stateful codeset, found by looking back:
// every character of a run has the same length, so the byte before cur says
// enough.  The walker's state must be the one in force at cur.  Nothing
// checks the result against start: a wrong state can step back past it.
template <ShiftMatch M>
const uint8_t *StepBack(ShiftWalk<M> &w, const uint8_t *start, const uint8_t *cur) {
    if (cur == start) return cur;
    if (w.obeyBack(cur[-1])) --cur;
    if (cur == start) return cur;  // the shift byte opened the text
    return cur - w.width();
}

// ---------------------------------------------------------------------------
// Bounded walks
// ---------------------------------------------------------------------------

// The length of the whole character at offset at, or 0 when none begins
// there before limit.  A shift byte in front of it is obeyed and at moves
// over it (a shift byte at the end leaves no room for a character).
template <class W>
unsigned NextWithin(W &w, const typename W::Unit *s, int32_t &at, int32_t limit) {
    if (at < limit && w.obey(s[at])) ++at;
    if (at >= limit) return 0;
    const unsigned n = w.width(s + at);
    return n > unsigned(limit - at) ? 0 : n;
}

// Walks whole characters from s while each ends at or before offset limit,
// handing each to take(bytes, length); take returns false to end the walk
// after that character.  A stateful walk obeys and steps over a shift byte
// in front of a character (one, not a run: the byte after it is taken as the
// character).  Returns the offset reached, which is a character boundary at
// or before limit, and never reads a byte at or beyond limit.
template <class W, class Take>
int32_t WalkWithin(W &w, const typename W::Unit *s, int32_t limit, Take &&take) {
    int32_t at = 0;
    while (const unsigned n = NextWithin(w, s, at, limit)) {
        at += int32_t(n);
        if (!take(s + at - n, n)) break;
    }
    return at;
}

// The last boundary at or before limit (0 when limit < 1).
template <class W>
int32_t BoundaryWithin(W &w, const typename W::Unit *s, int32_t limit) {
    if constexpr (W::kUnitWidth) return limit > 0 ? limit : 0;
    // Either limit starts a character or a two-byte one starts just before it.
    else if constexpr (W::kPairs) return limit < 1 ? 0 : StartsChar(w.lengths, s, 0, limit) ? limit : limit - 1;
    else return WalkWithin(w, s, limit, [](const typename W::Unit *, unsigned) { return true; });
}

// The number of whole characters in the first len bytes; shift bytes do not
// count, nor does a character cut off by len.
template <class W>
int32_t CountWithin(W &w, const typename W::Unit *s, int32_t len) {
    if constexpr (W::kUnitWidth) {
        return len > 0 ? len : 0;
    } else {
        int32_t count = 0;
        WalkWithin(w, s, len, [&count](const typename W::Unit *, unsigned) {
            ++count;
            return true;
        });
        return count;
    }
}

// Packs the whole characters of the first len bytes into out, at most max of
// them; returns how many were stored.
template <class W>
int32_t PackWithin(W &w, LXWchar *out, int32_t max, const uint8_t *s, int32_t len) {
    if (max <= 0) return 0;
    int32_t stored = 0;
    WalkWithin(w, s, len, [&](const uint8_t *c, unsigned n) {
        out[stored++] = PackBytes(c, n);
        return stored < max;
    });
    return stored;
}

// ---------------------------------------------------------------------------
// Writing characters
// ---------------------------------------------------------------------------

// Writers of LXWchar values as bytes.  put() writes one character at out,
// which must have room for a shift byte and four bytes, and returns the bytes
// written; *own receives the character's own bytes (without a shift byte).
struct PlainPut {
    PlainPut(const Codeset &, LXState) {}
    static unsigned put(LXWchar wc, uint8_t *out, unsigned *own) { return *own = UnpackWchar(wc, out); }
};

class ShiftPut {
public:
    ShiftPut(const Codeset &cs, LXState state) : cs_(cs), state_(state != 0) {}
    unsigned put(LXWchar wc, uint8_t *out, unsigned *own) {
        uint8_t bytes[4];
        *own = UnpackWchar(wc, bytes);
        return PlaceShifted(cs_, bytes, *own, state_, out);
    }

private:
    Codeset cs_;
    uint8_t state_;
};

// Writes the values of w[0..wlen) at buf.  Byte mode: stops before a
// character whose bytes (with its shift byte) would pass size, and returns
// the bytes written.  Character mode: the limit is checked against the
// characters already written before each one, so up to size + 1 characters
// are written; the result is the count written, capped at size.
template <class P>
int32_t PutAll(P &p, uint8_t *buf, int32_t size, const LXWchar *w, int32_t wlen, bool chars) {
    int32_t at = 0, written = 0;
    for (int32_t i = 0; i < wlen; ++i) {
        if (chars && written > size) break;
        uint8_t scratch[kMaxEncoded];
        unsigned own;
        const unsigned n = p.put(w[i], scratch, &own);
        if (!chars && int64_t(at) + n > size) break;
        std::memcpy(buf + at, scratch, n);
        at += int32_t(n);
        ++written;
    }
    if (!chars) return at;
    if (written > size) written = size;
    return written > 0 ? written : 0;
}

// Ends the text s of a stateful codeset at offset p, where the state st is in
// force, so that it ends in state 0 and the next text can start there:
//  - in state 0, a NUL at p;
//  - a shift-out just before p with nothing after it is removed (the NUL
//    goes on it);
//  - otherwise a shift-in and a NUL at p when both fit in size bytes; if not,
//    the last character (max bytes) is taken back first, and a shift-out left
//    bare by that is removed instead of being closed.
// Returns the offset of the NUL.  With size < 2 in state 1 the shift-in and
// the NUL are written at the start even though they pass size.
inline int32_t CloseInStateZero(const Codeset &cs, uint8_t *s, int32_t p, LXState st, int32_t size) {
    const uint8_t so = cs.shiftOut();
    if (st != 0) {
        if (p > 0 && s[p - 1] == so) {
            --p;
        } else {
            if (int64_t(p) > int64_t(size) - 2) {
                p -= cs.maxBytes();
                if (p < 0) p = 0;
            }
            if (p > 0 && s[p - 1] == so) {
                --p;
            } else {
                s[p++] = cs.shiftIn();
            }
        }
    }
    s[p] = 0;
    return p;
}

}  // namespace lorvex
