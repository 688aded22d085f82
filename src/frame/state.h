// The process-wide library state and the locale object.
#pragma once

#include <cstdint>

#include "lorvex.h"
#include "platform/platform.h"

namespace lorvex {
struct Registry;
struct PartRecord;
}  // namespace lorvex

// Locale flags (LXLocale::flags).
inline constexpr uint16_t kLocaleYesNoMask = 0x003F;   // six yes/no information items
inline constexpr uint16_t kLocaleSingleByte = 0x0040;  // every character is one byte
inline constexpr uint16_t kLocaleBinarySort = 0x0080;  // no sort part
inline constexpr uint16_t kLocaleStateful = 0x0100;    // shift-out/shift-in codeset
inline constexpr uint16_t kLocalePairs = 0x0200;       // not stateful, every byte-length entry 1 or 2

// The locale object a handle points at.  It only points at the registry's
// part records; the strings are its own.
struct LXLocale {
    lorvex::PartRecord *language;
    lorvex::PartRecord *territory;
    lorvex::PartRecord *codeset;
    lorvex::PartRecord *sort;      // null: binary collation
    uint32_t overrideMask;         // one bit per overridden information item
    uint16_t numItems[3];          // current values of items 63, 69, 70
    uint16_t flags;                // kLocale*
    uint8_t smallItems[2];         // current values of items 77, 78
    uint8_t separators[5];         // current separators in the codeset
    unsigned char *strings[8];     // current text items in the codeset, owned
    uint16_t ucsMarks;             // separators whose UCS-2 value a caller set
    uint16_t separatorsU[5];       // the separators as UCS-2
    LXUchar *stringsU[8];          // UCS-2 copies of strings, owned
    int32_t error;                 // code of the last call with this handle
};

namespace lorvex {

struct LibraryState {
    uint16_t refCount;
    platform::Mutex *mutex;
    platform::Allocator alloc;
    uint32_t running;
    Registry *registry;
    LXLocale *defaultLocale;
};

// The one library state.  Unguarded except where the library mutex is taken.
LibraryState &Library();

// Allocation through the caller's functions.
inline void *Allocate(size_t n) { return Library().alloc.allocate(n); }
inline bool Free(void *p) { return Library().alloc.release(p); }

// The object a handle stands for: the default locale for null.
inline LXLocale *Resolve(LXLocale *h) { return h ? h : Library().defaultLocale; }

// The locale a text function works on, its error field cleared.  Null when
// there is no locale at all (a null handle and no default installed): the
// call then returns its failure value and touches nothing.
inline LXLocale *EnterCall(LXLocale *handle) {
    LXLocale *loc = Resolve(handle);
    if (loc) loc->error = LX_OK;
    return loc;
}

// Stores code in the locale's error field; -1, the usual failure result.
inline int32_t FailCall(LXLocale *loc, int32_t code) {
    loc->error = code;
    return -1;
}

}  // namespace lorvex
