// Case-insensitive comparison of the string families.
#pragma once

#include "frame/state.h"
#include "string/text.h"

namespace lorvex::text {

// Not available yet: the case tables it reads are still to come.
template <class W>
int32_t CompareFolded(LXLocale *loc, const Unit<W> *, LXState, int32_t, const Unit<W> *, LXState, int32_t) {
    loc->error = LX_ERR_ARGUMENT;
    return 0;
}

}  // namespace lorvex::text
