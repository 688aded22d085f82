// The buffer-by-buffer conversion object.  Between calls it holds at most one
// partial source character and the output of at most one character, so that
// a text fed in pieces of any size, into output buffers of any size, converts
// exactly as the whole text would.
#pragma once

#include <cstdint>

#include "codeset/convert_engine.h"
#include "frame/state.h"

struct LXConversion {
    LXLocale *source;          // resolved at open; not referenced: it must outlive the object
    uint8_t pendingIn[4];      // first bytes of a source character cut off by the input's end
    uint8_t sourceState;       // shift state of a stateful source
    uint8_t pendingInCount;
    uint8_t afterShift;        // the last input byte taken was a shift byte: a character byte comes next
    LXLocale *target;
    uint8_t pendingOut[lorvex::kMaxEncoded];  // shift byte and character bytes that did not fit
    uint8_t targetState;       // shift state of a stateful target
    uint8_t pendingOutCount;
    lorvex::conv::ByteMap map; // one-byte source characters to target bytes
};

namespace lorvex {

// One LXConvertBuffer call on pointers: converts from in..end into
// out..outEnd, advancing in and out, and returns 0, 52 or 53.
int32_t ConvertBufferStep(LXConversion &c, uint8_t *&out, uint8_t *outEnd, const uint8_t *&in,
                          const uint8_t *end);

}  // namespace lorvex
