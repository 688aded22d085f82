// The locale registry: finding the locale directory, reading control.nls,
// looking parts up by name and number, loading part files on first use, the
// built-in fallback, and the teardown.
//
// Control and part files come from outside the library.  Every region is
// checked against the file's size before it is mapped (a mapping past the end
// of a file faults on first touch), and every table is checked against the
// least size its kind's layout needs, so that code reading the tables later
// never strays outside them.
#include "locale/registry.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "codeset/validate.h"
#include "frame/state.h"
#include "locale/builtin.h"

#ifndef LORVEX_DEFAULT_LOCALEDIR
#define LORVEX_DEFAULT_LOCALEDIR "/usr/local/share/lorvex/locale"
#endif

namespace lorvex {

using namespace layout;

namespace {

constexpr const char kControlName[] = "control.nls";

// Table 0 is the "loaded" mark and is read without the mutex by lookups, so
// it is published last, with release order, after the other tables are set.
const uint8_t *LoadedTable0(const PartRecord *rec) {
    return std::atomic_ref<const uint8_t *const>(rec->table[0]).load(std::memory_order_acquire);
}
void PublishTable0(PartRecord *rec, const uint8_t *t0) {
    std::atomic_ref<const uint8_t *>(rec->table[0]).store(t0, std::memory_order_release);
}

char AsciiLower(char c) { return (c >= 'A' && c <= 'Z') ? char(c + ('a' - 'A')) : c; }

bool EqualNoCase(const char *a, const char *b, int32_t n) {
    for (int32_t i = 0; i < n; ++i)
        if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
    return true;
}

// Least size of table 0 for each kind of part; shorter tables are rejected
// at load time so that no reader needs to check.
uint32_t MinTable0Size(uint8_t kind, const uint8_t *t0, uint32_t size) {
    switch (kind) {
    case kLanguage: return la::kFixed;
    case kTerritory: return te::kFixed;
    case kSort: return so::kFixed;
    case kCodeset:
        if (size <= cs::kMaxBytes) return cs::kFixedSingle;
        return t0[cs::kMaxBytes] < 2 ? cs::kFixedSingle : cs::kFixedMulti;
    default: return 0;
    }
}

struct BuiltinRecord {
    uint8_t kind;
    const char *name;
};
constexpr BuiltinRecord kBuiltinRecords[3] = {
    {kLanguage, "English"}, {kTerritory, "UnitedStates"}, {kCodeset, "US-ASCII"}};

void SetTable(PartRecord *rec, int t, const builtin::Table &table) {
    rec->table[t] = table.data;
    rec->size[t] = table.size;
}

// Gives a record the built-in tables of its kind.  There is no built-in sort
// order: false for a sort part.
bool AttachBuiltin(PartRecord *rec) {
    switch (rec->kind) {
    case kLanguage: SetTable(rec, 0, builtin::kLanguage); break;
    case kTerritory: SetTable(rec, 0, builtin::kTerritory); break;
    case kCodeset: SetTable(rec, 0, builtin::kCodeset); SetTable(rec, 2, builtin::kCodesetTable2); break;
    default: return false;
    }
    rec->flags = uint8_t((rec->flags & ~kPartOwnedMask) | kPartBuiltin);
    PublishTable0(rec, rec->table[0]);
    return true;
}

// Turns r into the built-in registry: three records, strict, no directory.
bool BuildBuiltinRegistry(Registry *r) {
    auto *recs = static_cast<PartRecord *>(Allocate(3 * sizeof(PartRecord)));
    if (!recs) return false;
    std::memset(recs, 0, 3 * sizeof(PartRecord));
    for (int i = 0; i < 3; ++i) {
        recs[i].number = 1;
        recs[i].kind = kBuiltinRecords[i].kind;
        std::strcpy(recs[i].name, kBuiltinRecords[i].name);
        AttachBuiltin(&recs[i]);
    }
    r->records = recs;
    r->start[0] = 0; r->start[1] = 1; r->start[2] = 2; r->start[3] = 3;
    r->count = 3;
    r->strict = 1;
    r->directory[0] = '\0';
    return true;
}

// Where each kind's records begin.  The records are sorted by kind; a kind
// with no records starts where the next present kind does.
void ComputeKindStarts(Registry *r) {
    r->start[0] = r->start[1] = r->start[2] = r->start[3] = 0;
    if (r->count == 0) return;
    unsigned prev = 0;
    for (uint16_t i = 0; i < r->count; ++i) {
        unsigned kind = r->records[i].kind;
        if (kind != prev) {
            if (kind == 1) {
                r->start[1] = i;
            } else if (kind == 2) {
                r->start[2] = i;
                if (prev == 0) r->start[1] = i;
            } else if (kind == 3) {
                r->start[3] = i;
                if (prev <= 1) r->start[2] = i;
                if (prev == 0) r->start[1] = i;
            }
        }
        prev = kind;
    }
    for (unsigned k = prev + 1; k <= 3; ++k) r->start[k] = r->count;
}

uint16_t RangeEnd(const Registry *r, int kind) { return kind == 3 ? r->count : r->start[kind + 1]; }

// Reads the record area (size bytes at offset) into a new array of part
// records.  Returns 0 and sets r->records and r->count when the whole area was
// read; otherwise returns the code to fail with.  A file that is merely short
// is not a read error: that returns 0 with *complete false, and the registry
// falls back with code 0 (the caller then sees success although only the
// built-in locale is there).
int32_t ReadRecords(platform::File *f, uint32_t offset, uint16_t size, Registry *r, bool *complete) {
    *complete = false;
    uint16_t count = uint16_t(size / kRecordSize);
    PartRecord *recs = nullptr;
    if (count > 0) {
        recs = static_cast<PartRecord *>(Allocate(size_t(count) * sizeof(PartRecord)));
        if (!recs) return LX_ERR_NO_MEMORY;
        std::memset(recs, 0, size_t(count) * sizeof(PartRecord));
    }
    if (offset > 0x7FFFFFFFu || platform::FileSeek(f, int32_t(offset), platform::kSeekSet) != 0) {
        Free(recs);
        return LX_ERR_IO;
    }
    // Read in chunks of whole records.  Only number, kind and name are taken
    // from the file: the flags and the in-memory state start clear whatever
    // the file holds there.
    uint8_t chunk[kRecordSize * 64];
    uint32_t done = 0;
    while (done < size) {
        int32_t n = int32_t(size - done < sizeof chunk ? size - done : sizeof chunk);
        int32_t err = 0;
        int32_t got = platform::FileRead(f, chunk, n, &err);
        for (int32_t at = 0; at + int32_t(kRecordSize) <= got; at += int32_t(kRecordSize)) {
            uint32_t index = (done + uint32_t(at)) / kRecordSize;
            if (index >= count) break;
            PartRecord &rec = recs[index];
            rec.number = rd16(chunk + at + kRecNumber);
            rec.kind = chunk[at + kRecKind];
            std::memcpy(rec.name, chunk + at + kRecName, kNameSize - 1);
            rec.name[kNameSize - 1] = '\0';
        }
        if (got < n) {
            Free(recs);
            return err;
        }
        done += uint32_t(got);
    }
    r->records = recs;
    r->count = count;
    *complete = true;
    return LX_OK;
}

}  // namespace

int32_t LXLocaleDirectory(char *buf, int32_t size, int mode) {
    if (mode == 0) {
        int32_t n = platform::EnvGet("LX_LOCALEDIR", buf, size);
        if (n == 0) return -1;
        return n > size ? 0 : n;
    }
    size_t len = std::strlen(LORVEX_DEFAULT_LOCALEDIR);
    if (size < 0 || len + 1 > size_t(size)) return 0;
    std::memcpy(buf, LORVEX_DEFAULT_LOCALEDIR, len + 1);
    return int32_t(len + 1);
}

char *LXControlFilePath(const char *dir, char *buf, int32_t size) {
    size_t len = std::strlen(dir);
    // Room for the separator, "control.nls" and the terminator.
    if (size < 0 || len > size_t(size) || size_t(size) - len < sizeof kControlName + 1) return nullptr;
    std::memmove(buf, dir, len);
    buf[len] = platform::kDirSeparator;
    std::memcpy(buf + len + 1, kControlName, sizeof kControlName);
    return buf;
}

char *LXPartFilePath(const char *dir, int kind, unsigned number, char *buf, int32_t size) {
    if (kind < 0 || kind > 3) return nullptr;
    size_t len = std::strlen(dir);
    if (size < 0 || len + 1 + 12 > size_t(size)) return nullptr;
    const char sep[2] = {platform::kDirSeparator, '\0'};
    // Numbers above 9999 take five digits: refuse rather than cut the name.
    int n = std::snprintf(buf, size_t(size), "%s%s%s_%04u%s", dir, sep, kKindPrefix[kind], number, ".nls");
    if (n < 0 || n >= size) return nullptr;
    return buf;
}

Registry *LXRegistryCreate(const char *path, uint32_t flags, int32_t *errOut) {
    int32_t err = LX_OK;
    auto *r = static_cast<Registry *>(Allocate(sizeof(Registry)));
    if (!r) {
        if (errOut) *errOut = LX_ERR_NO_MEMORY;
        return nullptr;
    }
    std::memset(r, 0, sizeof *r);
    r->strict = flags == LX_INIT_STRICT ? 1 : 0;

    const platform::Allocator &alloc = Library().alloc;
    const uint32_t running = Library().running;
    char control[kPathMax];
    platform::File *f = nullptr;
    const uint8_t *header = nullptr;
    bool fromPath = false;

    // The directory: the caller's path, else LX_LOCALEDIR, else the default.
    if (path) {
        if (!LXControlFilePath(path, control, kPathMax)) { err = LX_ERR_IO; goto fail; }
        f = platform::FileOpen(alloc, running, control, platform::kRead, 0, &err);
        fromPath = f != nullptr;
    }
    if (!f) {
        int32_t n = LXLocaleDirectory(r->directory, kPathMax, 0);
        if (n == 0) { err = LX_ERR_IO; goto fail; }
        if (n > 0) {
            if (!LXControlFilePath(r->directory, control, kPathMax)) { err = LX_ERR_IO; goto fail; }
            f = platform::FileOpen(alloc, running, control, platform::kRead, 0, &err);
        }
        if (!f) {
            if (LXLocaleDirectory(r->directory, kPathMax, 1) == 0 ||
                !LXControlFilePath(r->directory, control, kPathMax)) {
                err = LX_ERR_IO;
                goto fail;
            }
            f = platform::FileOpen(alloc, running, control, platform::kRead, 0, &err);
            if (!f) goto fail;
        }
    }
    if (fromPath) std::memcpy(r->directory, path, std::strlen(path) + 1);

    {
        if (platform::FileSize(f) < int64_t(kHeaderSize)) { err = LX_ERR_IO; goto fail; }
        header = platform::FileMap(f, 0, kHeaderSize, &err);
        if (!header) { if (err == LX_OK) err = LX_ERR_IO; goto fail; }
        if (rd32(header + kHdrMagic) != kMagic) { err = LX_ERR_MAGIC; goto fail; }
        bool complete = false;
        err = ReadRecords(f, rd32(header + kHdrTableOffset[0]), rd16(header + kHdrTableSize[0]), r,
                          &complete);
        if (!complete) goto fail;
    }
    ComputeKindStarts(r);
    platform::FileUnmap(header, kHeaderSize);
    platform::FileClose(alloc, f, 0);
    if (errOut) *errOut = LX_OK;
    return r;

fail:
    if (r->records) { Free(r->records); r->records = nullptr; }
    r->count = 0;
    if (header) platform::FileUnmap(header, kHeaderSize);
    if (f) platform::FileClose(alloc, f, 0);
    if (errOut) *errOut = err;
    if (flags != LX_INIT_STRICT && err != LX_ERR_NO_MEMORY) {
        if (BuildBuiltinRegistry(r)) return r;
        if (errOut) *errOut = LX_ERR_NO_MEMORY;
    }
    Free(r);
    return nullptr;
}

int32_t LXUnloadPart(Registry * /*r*/, PartRecord *rec) {
    int32_t result = LX_OK;
    for (int t = 3; t >= 0; --t) {
        const uint8_t *table = t == 0 ? LoadedTable0(rec) : rec->table[t];
        if (!table) continue;
        if (rec->flags & (kPartTable0Owned << t)) {
            if (!Free(const_cast<uint8_t *>(table))) result = LX_ERR_FREE;
        } else if (platform::FileUnmap(table, rec->size[t]) != 0) {
            result = LX_ERR_UNMAP;
        }
    }
    if (rec->file && platform::FileClose(Library().alloc, rec->file, 0) != 0) result = LX_ERR_PLATFORM;
    rec->file = nullptr;
    for (int t = 1; t < 4; ++t) rec->table[t] = nullptr;
    for (uint16_t &s : rec->size) s = 0;
    rec->flags = uint8_t(rec->flags & ~kPartOwnedMask);
    PublishTable0(rec, nullptr);
    return result;
}

namespace {

// Maps table t of an open part file after checking that it lies inside the
// file.  Size 0 leaves the table absent.
int32_t MapTable(PartRecord *rec, const uint8_t *header, int64_t fileSize, int t, const uint8_t **out) {
    uint32_t size = rd16(header + kHdrTableSize[t]);
    uint32_t offset = rd32(header + kHdrTableOffset[t]);
    *out = nullptr;
    if (size == 0) return LX_OK;
    if (int64_t(offset) + int64_t(size) > fileSize) return LX_ERR_IO;
    int32_t err = LX_OK;
    *out = platform::FileMap(rec->file, offset, size, &err);
    if (!*out) return err != LX_OK ? err : LX_ERR_IO;
    rec->size[t] = uint16_t(size);
    return LX_OK;
}

// Replaces the packed tables 0 and 1 of a freshly mapped codeset part by
// their current-layout versions.
int32_t ConvertLoadedCodeset(PartRecord *rec, const uint8_t **t0) {
    uint8_t *new0 = nullptr, *new1 = nullptr;
    uint32_t size0 = 0, size1 = 0;
    int32_t err = ConvertPackedCodeset(*t0, rec->size[0], rec->table[1], rec->size[1], &new0, &size0,
                                       &new1, &size1);
    if (err != LX_OK) return err;
    platform::FileUnmap(*t0, rec->size[0]);
    if (rec->table[1]) platform::FileUnmap(rec->table[1], rec->size[1]);
    *t0 = new0;
    rec->size[0] = uint16_t(size0);
    rec->flags |= kPartTable0Owned;
    rec->table[1] = new1;
    rec->size[1] = uint16_t(size1);
    if (new1) rec->flags |= kPartTable0Owned << 1;
    else rec->flags = uint8_t(rec->flags & ~(kPartTable0Owned << 1));
    return LX_OK;
}

PartRecord *LoadLocked(Registry *r, PartRecord *rec, int32_t *errOut) {
    if (LoadedTable0(rec)) {
        *errOut = LX_OK;
        return rec;
    }
    int32_t err = LX_OK;
    const uint8_t *header = nullptr;
    const uint8_t *t0 = nullptr;
    char name[kPathMax];
    int64_t fileSize = 0;
    unsigned tables = 0;

    rec->flags = uint8_t(rec->flags & ~kPartOwnedMask);
    if (!LXPartFilePath(r->directory, rec->kind, rec->number, name, kPathMax)) { err = LX_ERR_IO; goto fail; }
    rec->file = platform::FileOpen(Library().alloc, Library().running, name, platform::kRead, 0, &err);
    if (!rec->file) goto fail;
    fileSize = platform::FileSize(rec->file);
    if (fileSize < int64_t(kHeaderSize)) { err = LX_ERR_IO; goto fail; }
    header = platform::FileMap(rec->file, 0, kHeaderSize, &err);
    if (!header) { if (err == LX_OK) err = LX_ERR_IO; goto fail; }
    if (rd32(header + kHdrMagic) != kMagic) { err = LX_ERR_MAGIC; goto fail; }

    tables = rd16(header + kHdrTableCount);
    if (tables > kMaxTables) tables = kMaxTables;
    if ((err = MapTable(rec, header, fileSize, 0, &t0)) != LX_OK) goto fail;
    for (unsigned t = 1; t < tables; ++t)
        if ((err = MapTable(rec, header, fileSize, int(t), &rec->table[t])) != LX_OK) goto fail;

    if (rec->kind == kCodeset && layoutVersion(rd32(header + kHdrVersion)) == kLayoutPacked &&
        (err = ConvertLoadedCodeset(rec, &t0)) != LX_OK)
        goto fail;
    if (!t0 || rec->size[0] < MinTable0Size(rec->kind, t0, rec->size[0])) { err = LX_ERR_IO; goto fail; }
    // Codeset lookups run per character without range checks; this proves
    // once that none of them can leave its table.
    if (rec->kind == kCodeset &&
        (err = ValidateCodeset(t0, rec->size[0], rec->table[1], rec->size[1], rec->table[2], rec->size[2],
                               rec->table[3], rec->size[3])) != LX_OK)
        goto fail;

    rec->flags = uint8_t(rec->flags & ~(kPartBuiltin | 0x08 | 0x10));
    platform::FileUnmap(header, kHeaderSize);
    PublishTable0(rec, t0);
    *errOut = LX_OK;
    return rec;

fail:
    if (header) platform::FileUnmap(header, kHeaderSize);
    if (t0) {
        rec->table[0] = t0;  // so that the unload releases it
    }
    LXUnloadPart(r, rec);
    *errOut = err;
    if (r->strict) return nullptr;
    // Not retried: the record keeps the built-in tables under its own name.
    return AttachBuiltin(rec) ? rec : nullptr;
}

}  // namespace

PartRecord *LXLoadPart(Registry *r, PartRecord *rec, int32_t *errOut) {
    int32_t err = LX_OK;
    platform::Mutex *m = Library().mutex;
    if (m) platform::MutexLock(m);
    PartRecord *result = LoadLocked(r, rec, &err);
    if (m) platform::MutexUnlock(m);
    if (errOut) *errOut = err;
    return result;
}

PartRecord *LXFindPartByName(Registry *r, int kind, const char *name, int32_t length, int mode,
                             int32_t *errOut) {
    if (kind < 0 || kind > 3 || !r || (length > 0 && !name)) {
        if (errOut) *errOut = LX_ERR_ARGUMENT;
        return nullptr;
    }
    // "Binary" as a sort name means no sort part; a length of 7 may count a
    // terminator, which then has to be there.
    if (kind == kSort && (length == 6 || length == 7) && EqualNoCase(name, "BINARY", length)) {
        if (errOut) *errOut = LX_OK;
        return nullptr;
    }
    for (uint16_t i = r->start[kind], end = RangeEnd(r, kind); i < end; ++i) {
        PartRecord *rec = &r->records[i];
        int32_t len = int32_t(std::strlen(rec->name));
        if (len != length && len != length - 1) continue;
        // Comparing length bytes takes in the record's terminator when the
        // given length counts one.
        if (!EqualNoCase(rec->name, name, length)) continue;
        if (mode == kNoLoad || LoadedTable0(rec)) {
            if (errOut) *errOut = LX_OK;
            return rec;
        }
        return LXLoadPart(r, rec, errOut);
    }
    if (errOut) *errOut = LX_ERR_REJECTED;
    return nullptr;
}

PartRecord *LXFindPartByNumber(Registry *r, int kind, unsigned number, int mode, int32_t *errOut) {
    if (kind < 0 || kind > 3 || !r) {
        if (errOut) *errOut = LX_ERR_ARGUMENT;
        return nullptr;
    }
    if (kind == kSort && number == 0) {
        if (errOut) *errOut = LX_OK;
        return nullptr;
    }
    uint16_t end = RangeEnd(r, kind);
    unsigned low = r->start[kind], high = end ? end - 1u : 0u;
    while (low < high) {
        unsigned mid = (low + high) / 2;
        if (number > r->records[mid].number) low = mid + 1;
        else high = mid;
    }
    // An empty range would leave the search on a record of a neighbouring
    // kind; its tables are not laid out for this kind, so it is never taken.
    PartRecord *rec = high < r->count ? &r->records[high] : nullptr;
    if (!rec || rec->number != number || rec->kind != kind) {
        if (errOut) *errOut = LX_ERR_REJECTED;
        return nullptr;
    }
    if (mode == kNoLoad || LoadedTable0(rec)) {
        if (errOut) *errOut = LX_OK;
        return rec;
    }
    return LXLoadPart(r, rec, errOut);
}

int32_t LXRegistryDestroy(Registry *r) {
    if (!r) return LX_OK;
    int32_t result = LX_OK;
    for (uint16_t i = 0; i < r->count; ++i) {
        PartRecord *rec = &r->records[i];
        if (!(rec->flags & kPartBuiltin) && LoadedTable0(rec)) result = LXUnloadPart(r, rec);
    }
    bool ok = true;
    if (r->records) ok &= Free(r->records);
    ok &= Free(r);
    return ok ? result : LX_ERR_PLATFORM;
}

}  // namespace lorvex
