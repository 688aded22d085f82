// Start and stop, the reference count, the caller's allocator, and the locale
// object's error field and release.
#include <gtest/gtest.h>

#include <cstring>

#include "frame/state.h"
#include "locale/layout.h"
#include "locale/registry.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

class LibraryTest : public ::testing::Test {
protected:
    ScopedEnv noEnv{"LX_LOCALEDIR", std::nullopt};
    LocaleDir dir;
    void SetUp() override { dir.standard(); }
    void TearDown() override { ASSERT_EQ(Library().refCount, 0) << "a test left the library running"; }
    // Starts the library on the test directory with a's functions and context.
    int32_t Init(CountingAllocator &a, uint32_t flags = 0, bool zeroContext = false) {
        return LXInit(dir.path().c_str(), &CountingAllocator::Alloc, &CountingAllocator::Free,
                      zeroContext ? 0 : a.context(), flags);
    }
};

TEST_F(LibraryTest, SecondStartOnlyCounts) {
    CountingAllocator first, second;
    ASSERT_EQ(Init(first), LX_OK);
    Registry *registry = Library().registry;
    // Different arguments, even an unusable directory: ignored.
    EXPECT_EQ(LXInit("/nonexistent", &CountingAllocator::Alloc, &CountingAllocator::Free, second.context(),
                     LX_INIT_STRICT), LX_OK);
    EXPECT_EQ(Library().refCount, 2);
    EXPECT_EQ(Library().registry, registry);
    EXPECT_EQ(Library().alloc.context, first.context());
    EXPECT_EQ(second.allocations, 0);

    EXPECT_EQ(LXTerm(), LX_OK);
    EXPECT_EQ(Library().registry, registry);  // still running
    EXPECT_GT(first.live, 0);
    EXPECT_EQ(LXTerm(), LX_OK);
    EXPECT_EQ(Library().registry, nullptr);
    EXPECT_EQ(Library().mutex, nullptr);
    EXPECT_EQ(first.live, 0);
}

TEST_F(LibraryTest, ZeroContextKeepsThePreviousOne) {
    CountingAllocator a;
    ASSERT_EQ(Init(a), LX_OK);
    ASSERT_EQ(LXTerm(), LX_OK);
    // A new start with context 0 keeps the last non-zero context, so the same
    // counting allocator sees this start's blocks too.
    const long before = a.allocations;
    ASSERT_EQ(Init(a, 0, true), LX_OK);
    EXPECT_GT(a.allocations, before);
    ASSERT_EQ(LXTerm(), LX_OK);
    EXPECT_EQ(a.live, 0);
}

// An allocator that fails at the n-th call, for every n that the start and a
// first load reach: the result is a clean failure or success, never a crash
// or a leak.
TEST_F(LibraryTest, AllocationFailureAtEveryStep) {
    for (uint32_t flags : {0u, LX_INIT_STRICT}) {
        for (long n = 1;; ++n) {
            CountingAllocator a;
            a.failAt = n;
            const int32_t r = Init(a, flags);
            ASSERT_TRUE(r == LX_OK || r == LX_ERR_BUILTIN_ONLY || r == LX_ERR_INIT || r == LX_ERR_NO_MEMORY)
                << "n=" << n << " result " << r;
            if (r == LX_OK || r == LX_ERR_BUILTIN_ONLY) {
                int32_t err = -1;
                PartRecord *rec = LXFindPartByNumber(Library().registry, 2, 1, kLoad, &err);
                EXPECT_TRUE(rec != nullptr || err == LX_ERR_NO_MEMORY) << "n=" << n;
                EXPECT_EQ(LXTerm(), LX_OK);
            }
            EXPECT_EQ(a.live, 0) << "n=" << n;
            if (a.allocations < n) break;  // the failure point was never reached
        }
    }
}

TEST_F(LibraryTest, FailedStartLeavesTheLibraryStopped) {
    LocaleDir empty;
    EXPECT_EQ(LXInit(empty.path().c_str(), nullptr, nullptr, 0, LX_INIT_STRICT), LX_ERR_INIT);
    EXPECT_EQ(Library().refCount, 0);
    EXPECT_EQ(Library().mutex, nullptr);
    EXPECT_EQ(Library().running, 0u);
    // A later start begins from scratch.
    EXPECT_EQ(LXInit(dir.path().c_str(), nullptr, nullptr, 0, LX_INIT_STRICT), LX_OK);
    EXPECT_EQ(LXTerm(), LX_OK);
}

TEST_F(LibraryTest, StopWithoutStartWrapsTheCount) {
    ASSERT_EQ(Library().refCount, 0);
    EXPECT_EQ(LXTerm(), LX_OK);
    EXPECT_EQ(Library().refCount, 65535);
    // The next start only counts (and wraps the count back to zero).
    EXPECT_EQ(LXInit(dir.path().c_str(), nullptr, nullptr, 0, 0), LX_OK);
    EXPECT_EQ(Library().registry, nullptr);
    EXPECT_EQ(Library().refCount, 0);
}

TEST_F(LibraryTest, FreeFailuresAreReported) {
    // A packed codeset is converted into allocated tables; a free function
    // that fails while they are released makes the last stop report 21.
    Bytes packed(4362, 0);
    packed[layout::cs1::kMaxBytes] = 1;
    std::fill(packed.begin() + 8, packed.begin() + 264, 1);  // byte lengths (packed offsets 8-263)
    dir.control({{1, 2, "Packed"}});
    // Every page entry is zero (kind 0, range 00-00): one byte of table 2 serves them.
    dir.part(layout::kCodeset, 1, {packed, {}, {0x3F}}, 0x10000000);
    CountingAllocator a;
    ASSERT_EQ(Init(a), LX_OK);
    int32_t err = -1;
    PartRecord *rec = LXFindPartByNumber(Library().registry, layout::kCodeset, 1, kLoad, &err);
    ASSERT_NE(rec, nullptr);
    ASSERT_EQ(rec->flags & kPartTable0Owned, kPartTable0Owned);
    a.failFreeAt = a.frees + 1;  // the converted table is the first block freed
    EXPECT_EQ(LXTerm(), LX_ERR_FREE);
    EXPECT_EQ(a.live, 0);

    // Failing to free the record array or the registry itself reports 1.
    ASSERT_EQ(Init(a), LX_OK);
    a.failFrees = true;
    EXPECT_EQ(LXTerm(), LX_ERR_PLATFORM);
    EXPECT_EQ(a.live, 0);
}

// A locale object built by hand, as the locale constructor will build one.
LXLocale *MakeLocale(int strings) {
    auto *loc = static_cast<LXLocale *>(Allocate(sizeof(LXLocale)));
    std::memset(loc, 0, sizeof *loc);
    for (int i = 0; i < strings; ++i) {
        loc->strings[i] = static_cast<unsigned char *>(Allocate(8));
        loc->stringsU[i] = static_cast<LXUchar *>(Allocate(16));
    }
    return loc;
}

TEST_F(LibraryTest, ReleaseLocaleFreesEverything) {
    CountingAllocator a;
    ASSERT_EQ(Init(a), LX_OK);
    const long base = a.live;
    for (int strings : {0, 3, 8}) {
        LXLocale *loc = MakeLocale(strings);
        EXPECT_EQ(a.live, base + 1 + 2 * strings);
        EXPECT_EQ(LXReleaseLocale(loc, 0), LX_OK);
        EXPECT_EQ(a.live, base);
    }
    LXLocale *loc = MakeLocale(2);
    a.failFreeAt = a.frees + 3;  // one of the five frees fails
    EXPECT_EQ(LXReleaseLocale(loc, 0), LX_ERR_PLATFORM);
    EXPECT_EQ(a.live, base);
    EXPECT_EQ(LXTerm(), LX_OK);
}

TEST_F(LibraryTest, ErrorFieldAndNullHandle) {
    Started s(dir.path().c_str());
    LXLocale *loc = MakeLocale(0);
    loc->error = LX_ERR_BUFFER;
    EXPECT_EQ(LXGetError(loc), LX_ERR_BUFFER);
    EXPECT_EQ(LXGetError(loc), LX_ERR_BUFFER);  // reading does not clear
    LXState state = 77;
    LXInitState(loc, &state);
    EXPECT_EQ(state, 0u);
    EXPECT_EQ(LXGetError(loc), LX_OK);

    // A null handle stands for the default locale.
    Library().defaultLocale = loc;
    loc->error = LX_ERR_ARGUMENT;
    EXPECT_EQ(LXGetError(nullptr), LX_ERR_ARGUMENT);
    state = 1;
    LXInitState(nullptr, &state);
    EXPECT_EQ(state, 0u);
    EXPECT_EQ(loc->error, LX_OK);
    // Released by the stop, together with everything else (the sanitizer
    // build sees a leak).
}

}  // namespace
}  // namespace lorvex::test
