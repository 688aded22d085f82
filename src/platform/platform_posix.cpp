// The POSIX operating-system layer.
//
// This file is deliberately thin: each function does what its contract in
// platform.h asks with the plainest POSIX calls and nothing more.  Anything
// that is policy (when to map, which errors to retry, what a file name means)
// belongs to the callers, so that the same logic runs over the Win32 layer.
#include "platform/platform.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lorvex::platform {

// --- memory -----------------------------------------------------------------

void *DefaultAlloc(uintptr_t, size_t size) { return std::malloc(size); }

// free() cannot report failure, so the default free function always succeeds,
// for a null block as well.
int32_t DefaultFree(uintptr_t, void *block) {
    std::free(block);
    return 1;
}

// --- mutex ------------------------------------------------------------------

// The mutex is taken from the C++ runtime, not from the caller's allocation
// functions: it is created before the caller's functions are installed and
// closed after the last block has gone back to them.
//
// It is recursive because the library's locking was written against an
// operating-system mutex that its owner may take again without deadlocking;
// a plain pthread mutex would turn such a nested wait into a hang.
struct Mutex {
    pthread_mutex_t m;
};

Mutex *MutexCreate() {
    Mutex *mx = new (std::nothrow) Mutex;
    if (mx == nullptr) return nullptr;
    pthread_mutexattr_t attr;
    if (pthread_mutexattr_init(&attr) != 0) {
        delete mx;
        return nullptr;
    }
    int rc = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    if (rc == 0) rc = pthread_mutex_init(&mx->m, &attr);
    pthread_mutexattr_destroy(&attr);
    if (rc != 0) {
        delete mx;
        return nullptr;
    }
    return mx;
}

void MutexLock(Mutex *m) { pthread_mutex_lock(&m->m); }

void MutexUnlock(Mutex *m) { pthread_mutex_unlock(&m->m); }

void MutexClose(Mutex *m) {
    if (m == nullptr) return;
    pthread_mutex_destroy(&m->m);
    delete m;
}

// --- environment ------------------------------------------------------------

int32_t EnvGet(const char *name, char *buf, int32_t size) {
    const char *value = std::getenv(name);
    if (value == nullptr) return 0;
    // Both outcomes report length + 1; the caller tells them apart by
    // comparing with the size it gave.
    size_t need = std::strlen(value) + 1;
    if (size > 0 && need <= static_cast<size_t>(size)) std::memcpy(buf, value, need);
    return static_cast<int32_t>(need);
}

// A POSIX host describes the user's locale by LANG and LC_* names, which the
// locale layer reads through EnvGet; there is no numeric identifier to give.
// 0 is the value that maps to no locale, so the caller falls back the same
// way as on a host whose identifier it does not know.
uint32_t UserLocaleId() { return 0; }

// --- files ------------------------------------------------------------------

namespace {

// Longest file name accepted, the terminator not counted.  The base name of a
// pending replacement is kept in a fixed buffer one larger than this.
constexpr size_t kMaxName = 259;
// Longest extension that a pending replacement can restore.
constexpr size_t kMaxExt = 4;

// Error codes of this layer (the library's table).
constexpr int32_t kErrPlatform = 1;
constexpr int32_t kErrNoMemory = 20;
constexpr int32_t kErrNotFound = 1000;
constexpr int32_t kErrAccess = 1001;
constexpr int32_t kErrWriteOnly = 1002;
constexpr int32_t kErrIo = 1003;
constexpr int32_t kErrUnmap = 1005;

int32_t OpenError(int e) {
    switch (e) {
    case ENOENT:
    case ENOTDIR: return kErrNotFound;
    case EACCES:
    case EPERM: return kErrAccess;
    default: return kErrPlatform;
    }
}

// The allocation granularity of mappings.  Asked at every call rather than
// cached so that the layer keeps no state of its own.
size_t Granularity() {
    long page = sysconf(_SC_PAGESIZE);
    return page > 0 ? static_cast<size_t>(page) : 0;
}

}  // namespace

// There is no separate mapping object as on hosts that need one: mmap()
// works from the descriptor directly, so the object holds the descriptor only.
struct File {
    int fd;
    uint8_t mode;
    uint8_t replacePending;
    uint8_t endReached;
    char base[kMaxName + 1];
    char ext[kMaxExt + 1];
};

File *FileOpen(const Allocator &a, uint32_t, const char *name, FileMode mode, int noReplace,
               int32_t *err) {
    *err = 0;
    File *f = static_cast<File *>(a.allocate(sizeof(File)));
    if (f == nullptr) {
        *err = kErrNoMemory;
        return nullptr;
    }
    std::memset(f, 0, sizeof *f);
    f->fd = -1;
    f->mode = mode;
    f->endReached = mode == kWrite ? 1 : 0;

    auto fail = [&](int32_t code) -> File * {
        a.release(f);
        *err = code;
        return nullptr;
    };

    size_t len = name != nullptr ? std::strlen(name) : 0;
    if (len == 0 || len > kMaxName) return fail(kErrPlatform);

    int fd = -1;
    switch (mode) {
    case kRead: fd = open(name, O_RDONLY | O_CLOEXEC); break;
    case kReadWrite: fd = open(name, O_RDWR | O_CLOEXEC); break;
    case kWrite: {
        char target[kMaxName + 1 + 4];  // base + ".tmp"
        std::memcpy(target, name, len + 1);
        struct stat st;
        if (noReplace == 0 && stat(name, &st) == 0) {
            // Only a dot in the last path component starts an extension: in
            // "v1.2/data" the file has none.  A trailing dot introduces no
            // extension either, else "a." would be replaced as "a".
            const char *slash = std::strrchr(name, '/');
            const char *dot = std::strrchr(slash != nullptr ? slash + 1 : name, '.');
            if (dot != nullptr && dot[1] == '\0') dot = nullptr;
            size_t baseLen = dot != nullptr ? static_cast<size_t>(dot - name) : len;
            size_t extLen = dot != nullptr ? len - baseLen - 1 : 0;
            // The extension is restored from a five-byte field on close.  A
            // longer one cannot be, and cutting it would replace some other
            // file, so the open is refused instead.
            if (extLen > kMaxExt) return fail(kErrPlatform);
            // A target already named like its own temporary ("x.tmp") cannot
            // be protected by one; it is written in place, as with noReplace,
            // so that a discarded close does not delete it.
            if (!(extLen == 3 && std::memcmp(dot + 1, "tmp", 3) == 0)) {
                std::memcpy(f->base, name, baseLen);
                f->base[baseLen] = '\0';
                if (extLen > 0) std::memcpy(f->ext, dot + 1, extLen);
                f->ext[extLen] = '\0';
                std::memcpy(target + baseLen, ".tmp", 5);
                f->replacePending = 1;
            }
        }
        fd = open(target, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        break;
    }
    default: return fail(kErrPlatform);
    }
    if (fd < 0) return fail(OpenError(errno));
    f->fd = fd;
    return f;
}

int32_t FileClose(const Allocator &a, File *f, int discard) {
    if (f == nullptr) return 1;
    if (f->fd >= 0) {
        int rc = close(f->fd);
        // The descriptor is released even when close() reports an error, and
        // may already belong to another open; a second FileClose must not
        // close it again, only finish the work below.
        f->fd = -1;
        if (rc != 0) return 1;
    }
    int32_t result = 0;
    if (f->replacePending) {
        char temp[sizeof f->base + 4];
        std::snprintf(temp, sizeof temp, "%s.tmp", f->base);
        if (discard == 1) {
            unlink(temp);
        } else {
            // Never longer than the name that was opened; sized for the
            // two fields so that no bound has to be argued.
            char target[sizeof f->base + 1 + sizeof f->ext];
            if (f->ext[0] != '\0')
                std::snprintf(target, sizeof target, "%s.%s", f->base, f->ext);
            else
                std::snprintf(target, sizeof target, "%s", f->base);
            // rename() replaces the target atomically: a reader sees either
            // the old file or the new one, never a partial write.
            if (rename(temp, target) != 0) result = 1;
        }
    }
    a.release(f);
    return result;
}

int32_t FileRead(File *f, void *buf, int32_t n, int32_t *err) {
    *err = 0;
    if (f->mode == kWrite) {
        *err = kErrWriteOnly;
        return 0;
    }
    // A regular file returns short only at its end; looping still covers the
    // rare short read and a signal arriving mid-read.
    auto *p = static_cast<uint8_t *>(buf);
    size_t want = n > 0 ? static_cast<size_t>(n) : 0;
    size_t got = 0;
    while (got < want) {
        ssize_t r = read(f->fd, p + got, want - got);
        if (r < 0) {
            if (errno == EINTR) continue;
            *err = kErrIo;
            return static_cast<int32_t>(got);
        }
        if (r == 0) break;
        got += static_cast<size_t>(r);
    }
    if (got == 0) f->endReached = 1;
    return static_cast<int32_t>(got);
}

int32_t FileWrite(File *f, const void *buf, int32_t n, int32_t *err) {
    *err = 0;
    if (f->mode == kRead) {
        *err = kErrWriteOnly;
        return 0;
    }
    const auto *p = static_cast<const uint8_t *>(buf);
    size_t want = n > 0 ? static_cast<size_t>(n) : 0;
    size_t put = 0;
    while (put < want) {
        ssize_t w = write(f->fd, p + put, want - put);
        if (w < 0 && errno == EINTR) continue;
        // A write that moves nothing would loop for ever; it is a failure.
        if (w <= 0) {
            *err = kErrIo;
            break;
        }
        put += static_cast<size_t>(w);
    }
    return static_cast<int32_t>(put);
}

int32_t FileSeek(File *f, int32_t offset, int32_t origin) {
    int whence;
    switch (origin) {
    case kSeekSet: whence = SEEK_SET; break;
    case kSeekCur: whence = SEEK_CUR; break;
    case kSeekEnd: whence = SEEK_END; break;
    // Any other value goes to the system as it stands and fails there.
    default: whence = origin; break;
    }
    if (lseek(f->fd, offset, whence) < 0) return 1;
    f->endReached = 0;
    return 0;
}

int64_t FileSize(File *f) {
    struct stat st;
    if (fstat(f->fd, &st) != 0) return -1;
    return static_cast<int64_t>(st.st_size);
}

bool FileAtEnd(const File *f) { return f->endReached != 0; }

const uint8_t *FileMap(File *f, uint32_t offset, uint32_t size, int32_t *err) {
    if (f->mode == kWrite) {
        *err = kErrWriteOnly;
        return nullptr;
    }
    *err = 0;
    if (size == 0) return nullptr;
    size_t gran = Granularity();
    if (gran == 0) {
        *err = kErrIo;
        return nullptr;
    }
    // A view must start on a granularity boundary; map from the boundary
    // below and hand back a pointer to the byte that was asked for.
    size_t r = offset % gran;
    if (size > SIZE_MAX - r) {
        *err = kErrIo;
        return nullptr;
    }
    void *view = mmap(nullptr, size + r, PROT_READ, MAP_SHARED, f->fd,
                      static_cast<off_t>(offset - r));
    if (view == MAP_FAILED) {
        *err = kErrIo;
        return nullptr;
    }
    return static_cast<const uint8_t *>(view) + r;
}

int32_t FileUnmap(const uint8_t *p, uint32_t size) {
    if (p == nullptr) return kErrUnmap;
    size_t gran = Granularity();
    if (gran == 0) return kErrUnmap;
    uintptr_t addr = reinterpret_cast<uintptr_t>(p);
    size_t r = addr % gran;
    if (munmap(reinterpret_cast<void *>(addr - r), size + r) != 0) return kErrUnmap;
    return 0;
}

}  // namespace lorvex::platform
