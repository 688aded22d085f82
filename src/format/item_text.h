// Moving the text of an information item from where it is kept to where it
// is wanted.  Item texts live in three forms (UCS-2, codeset text, portable
// 8-bit text) and are asked for in four (codeset bytes with or without a
// shift state, UCS-2, LXWchar); setters and the derivation move text the
// other way.  Rather than one copy loop per pair, every move is a source that
// yields characters and a sink that takes them:
//
//   sources  PumpUnits      UCS-2 units, from a data block or an owned copy
//            PumpCodeset    codeset text, walked by characters (shift bytes
//                           obeyed in a stateful codeset, never yielded)
//            PumpPortable   8-bit text through the portable codeset's table
//            PumpWide       packed LXWchar values
//   sinks    MbSink         codeset bytes; shift bytes inserted and the text
//                           closed in state 0 in a stateful codeset
//            UcsSink        UCS-2 units
//            WideSink       one LXWchar per character
//
// A character travels as a Unicode value or as codeset bytes, whichever the
// source has, and the sink converts only when it must.  Every sink can count
// without writing (a null buffer), so that a caller sizes an allocation with
// the same code that later fills it.
#pragma once

#include <cstdint>
#include <cstring>

#include "codeset/unicode.h"
#include "codeset/walk.h"
#include "codeset/walkers.h"

namespace lorvex::items {

// One character: codeset bytes b[0..n) when n > 0, else the UCS-2 value u.
struct Ch {
    uint16_t u;
    uint8_t n;
    uint8_t b[4];
};

inline Ch UnitCh(uint16_t u) { return Ch{u, 0, {}}; }
inline Ch BytesCh(const uint8_t *s, unsigned n) {
    Ch c{0, uint8_t(n), {}};
    std::memcpy(c.b, s, n);
    return c;
}

// A sink's room: size units in all, the terminator's included.  Unbounded
// when counting for an allocation.
inline constexpr int32_t kUnbounded = INT32_MAX / 2;

// Codeset bytes.  Byte mode appends a character only when its bytes (with a
// shift byte before it, and in a stateful codeset the shift-in that would
// close the text after it) are fewer than the room left, so the terminator
// always fits.  Character mode charges one unit per character and stops when
// fewer than two units are left; the caller provides room for its
// characters' bytes.
class MbSink {
public:
    MbSink(const Codeset &cs, LXState state, uint8_t *buf, int32_t size, bool chars)
        : cs_(cs), shifted_(cs.stateful()), state_(shifted_ && state), buf_(buf), size_(size),
          chars_(chars) {}

    bool put(const Ch &c) {
        uint8_t raw[4], placed[kMaxEncoded];
        unsigned n = c.n;
        if (n) std::memcpy(raw, c.b, n);
        else n = EncodeUnicode(cs_, c.u, raw);
        uint8_t st = state_;
        const unsigned k = shifted_ ? PlaceShifted(cs_, raw, n, st, placed) : n;
        const int64_t cost = chars_ ? 1 : int64_t(k) + (st ? 1 : 0);
        const int64_t left = int64_t(size_) - (chars_ ? count_ : at_);
        if (cost >= left) return false;
        if (buf_) std::memcpy(buf_ + at_, shifted_ ? placed : raw, k);
        at_ += int32_t(k);
        ++count_;
        state_ = st;
        return true;
    }

    // Closes a stateful text in state 0 and writes the terminator; returns
    // the bytes written, or the characters with the terminator in character
    // mode.  A text begun in state 1 that had no room for a character gets
    // its shift-in only when both it and the terminator fit.
    int32_t finish() {
        if (state_ && (chars_ || int64_t(at_) + 2 <= size_)) {
            if (buf_) buf_[at_] = cs_.shiftIn();
            ++at_;
            state_ = 0;
        }
        if (buf_) buf_[at_] = 0;
        ++at_;
        ++count_;
        return chars_ ? count_ : at_;
    }
    int32_t characters() const { return count_; }
    static constexpr bool kUnicode = false;

private:
    Codeset cs_;
    bool shifted_;
    uint8_t state_;
    uint8_t *buf_;
    int32_t size_;
    bool chars_;
    int32_t at_ = 0, count_ = 0;
};

// UCS-2 units, one per character.
class UcsSink {
public:
    UcsSink(const Codeset &cs, LXUchar *buf, int32_t size) : cs_(cs), buf_(buf), size_(size) {}
    bool put(const Ch &c) {
        if (size_ - count_ < 2) return false;
        const uint16_t u = c.n ? DecodeMb(cs_, c.b, c.n) : c.u;
        if (buf_) buf_[count_] = u;
        ++count_;
        return true;
    }
    int32_t finish() {
        if (buf_) buf_[count_] = 0;
        return ++count_;
    }
    static constexpr bool kUnicode = true;

private:
    Codeset cs_;
    LXUchar *buf_;
    int32_t size_;
    int32_t count_ = 0;
};

// Packed codeset characters, one LXWchar each; shift bytes are never part of
// one.
class WideSink {
public:
    WideSink(const Codeset &cs, LXWchar *buf, int32_t size) : cs_(cs), buf_(buf), size_(size) {}
    bool put(const Ch &c) {
        if (size_ - count_ < 2) return false;
        const LXWchar w = c.n ? PackBytes(c.b, c.n) : EncodeToWchar(cs_, c.u);
        if (buf_) buf_[count_] = w;
        ++count_;
        return true;
    }
    int32_t finish() {
        if (buf_) buf_[count_] = 0;
        return ++count_;
    }
    static constexpr bool kUnicode = false;

private:
    Codeset cs_;
    LXWchar *buf_;
    int32_t size_;
    int32_t count_ = 0;
};

// ---------------------------------------------------------------------------
// Sources.  Each feeds sink.put() until its text ends (a zero unit, or limit
// units or bytes) or the sink refuses a character.
// ---------------------------------------------------------------------------

// UCS-2 units: from a data block (little-endian bytes, read byte by byte as
// the blocks need not be aligned) when le is set, else from native units.
template <class Sink>
void PumpUnits(const uint8_t *le, const LXUchar *native, int32_t limit, Sink &sink) {
    for (int32_t i = 0; i < limit; ++i) {
        const uint16_t u = le ? layout::rd16(le + 2 * i) : native[i];
        if (u == 0 || !sink.put(UnitCh(u))) return;
    }
}

// Codeset text of len bytes starting in state: whole characters only, the
// walk ending at a NUL character or at one cut off by len.
template <class Sink>
void PumpCodeset(const Codeset &cs, LXState state, const uint8_t *s, int32_t len, Sink &sink) {
    auto take = [&sink](const uint8_t *c, unsigned n) { return c[0] != 0 && sink.put(BytesCh(c, n)); };
    if (cs.stateful()) {
        ShiftWalk<ShiftMatch::kUnsigned> w(cs, state);
        WalkWithin(w, s, len, take);
    } else {
        TableWalk w(cs, 0);
        WalkWithin(w, s, len, take);
    }
}

// 8-bit text in the portable codeset, up to its NUL or len bytes, each byte a
// character whose Unicode value the portable codeset's table gives.
template <class Sink>
void PumpPortable(const Codeset &portable, const uint8_t *s, int32_t len, Sink &sink) {
    for (int32_t i = 0; i < len && s[i] != 0; ++i)
        if (!sink.put(UnitCh(portable.toUnicode(s[i])))) return;
}

// Packed characters up to a 0 value or len of them.
template <class Sink>
void PumpWide(const LXWchar *w, int32_t len, Sink &sink) {
    for (int32_t i = 0; i < len && w[i] != 0; ++i) {
        uint8_t b[4];
        const unsigned n = UnpackWchar(w[i], b);
        if (!sink.put(BytesCh(b, n))) return;
    }
}

}  // namespace lorvex::items
