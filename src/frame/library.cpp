// Start and stop of the library, the locale object's error field and release.
//
// The library is reference counted: the first LXInit builds everything, later
// ones only count, and the LXTerm that brings the count to zero tears it all
// down.  One mutex guards the count and the loading of part files.
#include "frame/state.h"

#include "locale/registry.h"

namespace lorvex {

namespace {
LibraryState g_state = {0, nullptr, {platform::DefaultAlloc, platform::DefaultFree, 0}, 0, nullptr,
                        nullptr};
}  // namespace

LibraryState &Library() { return g_state; }

}  // namespace lorvex

using namespace lorvex;

extern "C" LX_API int32_t LXInit(const char *path, LXAllocFn allocFn, LXFreeFn freeFn,
                                 uintptr_t allocContext, uint32_t flags) {
    LibraryState &s = Library();
    // Later starts only count.  The count is read before the mutex is taken:
    // the first start must happen on one thread before others use the library.
    // (After a stray LXTerm wrapped the count there is no mutex to take.)
    if (s.refCount != 0) {
        if (s.mutex) platform::MutexLock(s.mutex);
        ++s.refCount;
        if (s.mutex) platform::MutexUnlock(s.mutex);
        return LX_OK;
    }
    platform::Mutex *mutex = platform::MutexCreate();
    if (!mutex) return LX_ERR_NO_MEMORY;
    s.mutex = mutex;
    platform::MutexLock(mutex);

    s.alloc.alloc = allocFn ? allocFn : platform::DefaultAlloc;
    s.alloc.free = freeFn ? freeFn : platform::DefaultFree;
    if (allocContext != 0) s.alloc.context = allocContext;
    s.running = 1;

    int32_t err = LX_OK;
    Registry *registry = LXRegistryCreate(path, flags, &err);
    if (!registry) {
        s.running = 0;
        platform::MutexUnlock(mutex);
        platform::MutexClose(mutex);
        s.mutex = nullptr;
        return LX_ERR_INIT;
    }
    s.registry = registry;
    s.refCount = 1;
    platform::MutexUnlock(mutex);
    // A registry built after an error is the built-in one: the caller gets a
    // working library, told that only the built-in locale is there.
    return err != LX_OK ? LX_ERR_BUILTIN_ONLY : LX_OK;
}

extern "C" LX_API int32_t LXTerm(void) {
    LibraryState &s = Library();
    // With no start outstanding there is no mutex: the count simply wraps
    // (a stray LXTerm must not crash), and nothing is torn down.
    if (s.mutex) platform::MutexLock(s.mutex);
    --s.refCount;
    if (s.mutex) platform::MutexUnlock(s.mutex);
    if (s.refCount != 0 || !s.mutex) return LX_OK;

    int32_t released = LX_OK;
    if (LXLocale *def = s.defaultLocale) {
        s.defaultLocale = nullptr;
        released = LXReleaseLocale(def, 0);
    }
    Registry *registry = s.registry;
    s.registry = nullptr;
    int32_t teardown = registry ? LXRegistryDestroy(registry) : LX_OK;
    s.running = 0;
    platform::MutexClose(s.mutex);
    s.mutex = nullptr;
    return released != LX_OK ? released : teardown;
}

extern "C" LX_API int32_t LXGetError(LXLocale *handle) {
    LXLocale *loc = Resolve(handle);
    return loc ? loc->error : LX_OK;
}

extern "C" LX_API void LXInitState(LXLocale *handle, LXState *state) {
    if (LXLocale *loc = Resolve(handle)) loc->error = LX_OK;
    if (state) *state = 0;
}

extern "C" LX_API int32_t LXReleaseLocale(LXLocale *handle, uint32_t /*unused*/) {
    // No default substitution here: releasing "the default" through a null
    // handle would leave the library holding a freed object.
    if (!handle) return LX_OK;
    bool ok = true;
    for (unsigned char *&str : handle->strings)
        if (str) { ok &= Free(str); str = nullptr; }
    for (LXUchar *&str : handle->stringsU)
        if (str) { ok &= Free(str); str = nullptr; }
    ok &= Free(handle);
    return ok ? LX_OK : LX_ERR_PLATFORM;
}
