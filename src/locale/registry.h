// The locale registry: the control file's part records, kept in memory, and
// the part files loaded into them on first use.
#pragma once

#include <cstdint>

#include "locale/layout.h"
#include "platform/platform.h"

namespace lorvex {

inline constexpr int32_t kPathMax = 260;

// Part-record flags.
inline constexpr uint8_t kPartBuiltin = 0x01;     // tables are built-in data, never released
inline constexpr uint8_t kPartTable0Owned = 0x02; // table t allocated by the library: 0x02 << t
inline constexpr uint8_t kPartOwnedMask = 0x1E;

// One control record as the library uses it.  The file's 60-byte record
// gives number, kind and name; the rest is the in-memory state of the part.
// (The file reserves room for the pointers inside the record, but on a
// 64-bit host they do not fit there, so the records are copied out.)
struct PartRecord {
    uint16_t number;
    uint8_t kind;
    uint8_t flags;
    char name[layout::kNameSize];          // always zero-terminated
    platform::File *file;                  // open while loaded from a file
    const uint8_t *table[layout::kMaxTables];
    uint16_t size[layout::kMaxTables];     // bytes of each table, 0 when absent
    bool loaded() const { return table[0] != nullptr; }
};

struct Registry {
    PartRecord *records;
    uint16_t start[4];    // first record of each kind
    uint16_t count;       // number of records; end of the kind-3 range
    uint8_t strict;       // 1: no built-in fallback
    char directory[kPathMax];
};

// Load modes of the lookups.
inline constexpr int kLoad = 0;
inline constexpr int kNoLoad = 1;

// Locale directory: mode 0 reads LX_LOCALEDIR, mode 1 copies the default.
// Returns the length + 1, -1 when the variable is not set, 0 when it does
// not fit in size bytes.
int32_t LXLocaleDirectory(char *buf, int32_t size, int mode);
// "<dir>/control.nls" into buf; null when it does not fit.
char *LXControlFilePath(const char *dir, char *buf, int32_t size);
// "<dir>/<kind>_NNNN.nls" into buf; null when it does not fit.
char *LXPartFilePath(const char *dir, int kind, unsigned number, char *buf, int32_t size);

Registry *LXRegistryCreate(const char *path, uint32_t flags, int32_t *err);
int32_t LXRegistryDestroy(Registry *r);
PartRecord *LXFindPartByName(Registry *r, int kind, const char *name, int32_t length, int mode,
                             int32_t *err);
PartRecord *LXFindPartByNumber(Registry *r, int kind, unsigned number, int mode, int32_t *err);
PartRecord *LXLoadPart(Registry *r, PartRecord *rec, int32_t *err);
int32_t LXUnloadPart(Registry *r, PartRecord *rec);

// Rebuilds a codeset part stored in the packed layout (version 1) into the
// current layout.  On success *out0 (and *out1 when the old part had a table
// 1) are new blocks from the library allocator, with their sizes.  Returns
// 0, 20 when out of memory, or 1003 when the old tables are malformed.
int32_t ConvertPackedCodeset(const uint8_t *old0, uint32_t size0, const uint8_t *old1,
                             uint32_t size1, uint8_t **out0, uint32_t *newSize0, uint8_t **out1,
                             uint32_t *newSize1);

}  // namespace lorvex
