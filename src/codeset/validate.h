// Structural validation of a codeset part, done once when the part is loaded.
//
// The per-character lookups (decoding, encoding, classification, case) run
// on every character of every string, so they carry no range checks of their
// own.  Instead, the loader proves once that no lookup can leave its table:
// every tree node and record that some byte sequence reaches, every decode
// value a leaf can select and every data-area position a page can select
// lies inside its table.  A part that fails is refused like a truncated file.
#pragma once

#include <cstdint>

namespace lorvex {

// Checks the four tables of a codeset part in the current layout (a packed
// part is checked after its conversion).  Table 0 must already be at least
// its fixed size (the loader's size check).  Absent tables are null with size
// 0.  Returns 0, or 1003 when a lookup could leave its table.  The cost is
// linear in the table sizes and nothing is allocated.
int32_t ValidateCodeset(const uint8_t *t0, uint32_t size0, const uint8_t *t1, uint32_t size1,
                        const uint8_t *t2, uint32_t size2, const uint8_t *t3, uint32_t size3);

}  // namespace lorvex
