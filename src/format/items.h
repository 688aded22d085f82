// Information items: the current values a locale object keeps, derived from
// its territory and codeset parts, and the switching of its parts.
#pragma once

#include <cstdint>

#include "codeset/codeset.h"
#include "frame/state.h"
#include "locale/layout.h"
#include "locale/registry.h"

namespace lorvex {

// Fills the current values of every overridable item whose override bit is
// clear from the object's territory part, converted into its codeset (the
// separators as single codeset bytes beside their UCS-2 values, the eight
// strings as owned codeset texts with owned UCS-2 copies), and sets the
// codeset, sort and yes/no flags.  Used when an object is made and when its
// territory or codeset changes.  On an allocation failure returns 20 and
// leaves the object exactly as it was; otherwise 0, with the strings it
// replaced freed.
int32_t DeriveItems(LXLocale *loc);

// Puts rec in place of the object's part of its kind (rec may be null for
// the sort kind: binary collation).  A new territory is derived as
// DeriveItems derives it; a new codeset also converts the caller's
// overrides into it from their UCS-2 values; the codeset in use is not
// replaced by itself.  Returns 0, or 20 with the object unchanged.
int32_t SwitchPart(LXLocale *loc, layout::Kind kind, PartRecord *rec);

namespace items {

// The overridable items and where each keeps its current value.
enum class Slot : uint8_t { kNumber, kFlag, kSmall, kSeparator, kString };

struct Overridable {
    int32_t item;
    uint32_t mask;   // LXLocale::overrideMask bit
    Slot slot;
    uint8_t index;   // numItems, flag bit, smallItems, separators or strings index
    uint8_t source;  // territory block: byte offset (numbers, small values,
                     // separators), flag-byte bit, or string index
};

inline constexpr Overridable kOverridable[] = {
    {63, 0x000001, Slot::kNumber, 0, layout::te::kFracDigits},
    {69, 0x000002, Slot::kNumber, 1, layout::te::kCurrencyDigits},
    {70, 0x000004, Slot::kNumber, 2, layout::te::kIntCurrencyDigits},
    {73, 0x000008, Slot::kFlag, 0, 1},
    {74, 0x000010, Slot::kFlag, 1, 2},
    {75, 0x000020, Slot::kFlag, 2, 3},
    {76, 0x000040, Slot::kFlag, 3, 4},
    {82, 0x000080, Slot::kFlag, 4, 5},
    {83, 0x000100, Slot::kFlag, 5, 6},
    {77, 0x000200, Slot::kSmall, 0, layout::te::kPSignPosn},
    {78, 0x000400, Slot::kSmall, 1, layout::te::kNSignPosn},
    {59, 0x000800, Slot::kSeparator, 0, layout::te::kDecimalPoint},
    {60, 0x001000, Slot::kSeparator, 1, layout::te::kThousandsSep},
    {61, 0x002000, Slot::kSeparator, 2, layout::te::kOtherSep},
    {66, 0x004000, Slot::kSeparator, 3, layout::te::kMonDecimalPoint},
    {67, 0x008000, Slot::kSeparator, 4, layout::te::kMonThousandsSep},
    {62, 0x010000, Slot::kString, 0, layout::te::kGrouping},
    {64, 0x020000, Slot::kString, 1, layout::te::kCurrency},
    {68, 0x040000, Slot::kString, 2, layout::te::kMonGrouping},
    {71, 0x080000, Slot::kString, 3, layout::te::kPositiveSign},
    {72, 0x100000, Slot::kString, 4, layout::te::kNegativeSign},
    {79, 0x200000, Slot::kString, 5, layout::te::kTimeFormat},
    {80, 0x400000, Slot::kString, 6, layout::te::kDateFormat},
    {81, 0x800000, Slot::kString, 7, layout::te::kLongDateFormat},
};

// The entry of an overridable item, or null.
const Overridable *FindOverridable(int32_t item);

// A zero-terminated UCS-2 string of a language or territory block: its
// little-endian bytes and the units that may be read.  A string whose
// offsets do not lie in ascending order inside the table, or that has no
// terminator before the next string, reads as empty: the loader does not
// check these offsets, so every reader goes through here.
struct BlockString {
    const uint8_t *bytes;
    int32_t units;  // terminator excluded
};
BlockString LanguageString(const PartRecord *language, uint32_t index);
BlockString TerritoryString(const PartRecord *territory, uint32_t index);

// The yes/no flags of the territory block in the object's bit order
// (kLocaleYesNoMask).
uint16_t TerritoryYesNo(const PartRecord *territory);

// The one codeset byte a UCS-2 separator becomes: its encoding when that is
// a single byte, else the codeset's substitution byte.  0 stays 0 (an empty
// separator).
uint8_t SeparatorByte(const Codeset &cs, uint16_t u);

// The portable codeset (codeset number 1) that part names are written in.
Codeset PortableCodeset();

}  // namespace items
}  // namespace lorvex
