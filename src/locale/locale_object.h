// Construction of locale objects over the registry's part records.
#pragma once

#include <cstdint>

#include "frame/state.h"
#include "locale/registry.h"

namespace lorvex {

// A new locale object over four loaded parts (sort may be null for binary
// collation), its flags set from the codeset and sort parts.  Null with *err
// 20 when the object cannot be allocated.
LXLocale *NewLocale(PartRecord *language, PartRecord *territory, PartRecord *codeset, PartRecord *sort,
                    int32_t *err);

// Sets the flags that follow from the codeset part (single-byte, stateful)
// and from the sort part (binary collation).
void SetPartFlags(LXLocale *loc);

}  // namespace lorvex
