// The operating-system layer.  Everything above it is logic over bytes and
// tables; these functions are the only place that calls the operating system
// (POSIX in platform_posix.cpp; a Win32 layer keeps the same contracts).
#pragma once

#include <cstddef>
#include <cstdint>

#include "lorvex.h"

namespace lorvex::platform {

// The library's allocation functions, handed to the layer so that the file
// object is taken from the caller's heap like every other block.
struct Allocator {
    LXAllocFn alloc;
    LXFreeFn free;
    uintptr_t context;
    void *allocate(size_t n) const { return alloc(context, n); }
    bool release(void *p) const { return free(context, p) != 0; }
};

#if defined(_WIN32)
inline constexpr char kDirSeparator = '\\';
#else
inline constexpr char kDirSeparator = '/';
#endif

// Recorded in message catalogs and compared when they are opened.
inline constexpr int32_t kPlatformCode = 2;

// Default allocation functions: the process heap.  The context is ignored;
// the free function returns 1 on success.
void *DefaultAlloc(uintptr_t context, size_t size);
int32_t DefaultFree(uintptr_t context, void *block);

// --- mutex ----------------------------------------------------------------
struct Mutex;
Mutex *MutexCreate();              // null on failure
void MutexLock(Mutex *m);          // waits without limit
void MutexUnlock(Mutex *m);
void MutexClose(Mutex *m);

// --- environment ------------------------------------------------------------
// Copies the variable's value into buf.  Returns 0 when it is not set; its
// length + 1 when it fits (terminator counted); otherwise the size it needs
// (larger than size), leaving buf unspecified.
int32_t EnvGet(const char *name, char *buf, int32_t size);

// The user's host locale identifier (a Windows LCID).  POSIX hosts have
// none: 0, which the native-name table maps to no locale.
uint32_t UserLocaleId();

// --- files ----------------------------------------------------------------
enum FileMode : uint8_t { kRead = 0, kWrite = 1, kReadWrite = 2 };
enum SeekOrigin : int32_t { kSeekSet = 10, kSeekCur = 11, kSeekEnd = 12 };

struct File;

// Opens name.  Write mode on an existing file writes to "<name up to its last
// dot>.tmp" that replaces the target on close, unless noReplace is set.
// running is accepted and ignored.  Null with *err = 20, 1000, 1001 or 1.
File *FileOpen(const Allocator &a, uint32_t running, const char *name, FileMode mode,
               int noReplace, int32_t *err);
// Closes the file; a pending replacement is completed, or discarded when
// discard is 1.  0 on success.  1 when the file cannot be closed (the object
// then stays allocated) or when the replacement fails (the object is freed
// all the same).
int32_t FileClose(const Allocator &a, File *f, int discard);
// Reads up to n bytes; returns the count (short is not an error).  *err 1002
// on a write-only file, 1003 when the read itself failed.
int32_t FileRead(File *f, void *buf, int32_t n, int32_t *err);
// Writes n bytes; returns the count written (fewer on failure, *err 1003).
// *err 1002 on a read-only file.
int32_t FileWrite(File *f, const void *buf, int32_t n, int32_t *err);
// origin kSeekSet/kSeekCur/kSeekEnd; 0 on success, 1 on failure.  Clears the
// end-reached mark.
int32_t FileSeek(File *f, int32_t offset, int32_t origin);
// Size of the file in bytes, or -1 when it cannot be told.
int64_t FileSize(File *f);
// True after a read returned no bytes (and from the start in write mode).
bool FileAtEnd(const File *f);
// Maps size bytes at offset read-only and returns a pointer to the byte at
// offset.  Size 0: null, *err 0.  Write mode: null, 1002.  Failure: null, 1003.
const uint8_t *FileMap(File *f, uint32_t offset, uint32_t size, int32_t *err);
// Releases a region returned by FileMap with the same size; 0, or 1005.
// Unmapping null fails harmlessly with 1005.
int32_t FileUnmap(const uint8_t *p, uint32_t size);

}  // namespace lorvex::platform
