#include "platform/platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/locale_dir.h"

namespace fs = std::filesystem;
using namespace lorvex::platform;
using lorvex::test::CountingAllocator;

namespace {

class PlatformFiles : public ::testing::Test {
public:  // the unprivileged child reaches in through a plain function
    void SetUp() override {
        char tmpl[] = "/tmp/lorvex_platform_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override {
        // Tests lock directories down; give them back so they can be removed.
        std::error_code ec;
        for (auto &e : fs::recursive_directory_iterator(dir_, ec))
            if (e.is_directory()) fs::permissions(e.path(), fs::perms::owner_all, ec);
        fs::remove_all(dir_, ec);
        EXPECT_EQ(heap_.live, 0) << "file object leaked";
    }

    std::string Path(const std::string &rel) const { return (dir_ / rel).string(); }
    void Put(const std::string &rel, const std::string &data) const {
        fs::create_directories((dir_ / rel).parent_path());
        std::ofstream(dir_ / rel, std::ios::binary) << data;
    }
    std::string Get(const std::string &rel) const {
        std::ifstream in(dir_ / rel, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    bool Exists(const std::string &rel) const { return fs::exists(dir_ / rel); }

    Allocator heap() { return {CountingAllocator::Alloc, CountingAllocator::Free, heap_.context()}; }
    File *Open(const std::string &rel, FileMode mode, int noReplace, int32_t *err) {
        return FileOpen(heap(), 1, Path(rel).c_str(), mode, noReplace, err);
    }
    int32_t Close(File *f, int discard) { return FileClose(heap(), f, discard); }
    void WriteAll(File *f, const std::string &data) {
        int32_t err = -1;
        EXPECT_EQ(FileWrite(f, data.data(), static_cast<int32_t>(data.size()), &err),
                  static_cast<int32_t>(data.size()));
        EXPECT_EQ(err, 0);
    }

    fs::path dir_;
    CountingAllocator heap_;
};

// --- safe replacement -------------------------------------------------------

// Writing over an existing file goes through a temporary named after it
// (its extension replaced by .tmp), which replaces the target at close, or
// is removed on discard.  A new file, a no-replace
// open, or a target that is its own temporary name is written directly.
TEST_F(PlatformFiles, WritesReplaceThroughATemporaryOrGoDirect) {
    const struct {
        const char *target, *temp;  // temp null: written directly
        bool exists;
        int noReplace, discard;
    } cases[] = {
        {"a.dat", "a.tmp", true, 0, 0}, {"a.dat", "a.tmp", true, 0, 1}, {"plain", "plain.tmp", true, 0, 0},
        {"plain", "plain.tmp", true, 0, 1},
        {"v1.2/data", "v1.2/data.tmp", true, 0, 0},  // the dot belongs to the directory
        {"v1.2/data.txt", "v1.2/data.tmp", true, 0, 0},
        {"x.abcd", "x.tmp", true, 0, 0},             // longest extension kept
        {"trail.", "trail..tmp", true, 0, 0},        // a trailing dot is no extension
        {"many.dots.here", "many.dots.tmp", true, 0, 0},
        {"new.dat", nullptr, false, 0, 0}, {"new.dat", nullptr, false, 0, 1}, {"old.dat", nullptr, true, 1, 0},
        {"old.dat", nullptr, true, 1, 1}, {"self.tmp", nullptr, true, 0, 1},
        {"data.json5", nullptr, true, 1, 0},  // without a replacement the extension is never needed
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.target) + " discard " + std::to_string(c.discard));
        if (c.exists) Put(c.target, "old");
        int32_t err = -1;
        File *f = Open(c.target, kWrite, c.noReplace, &err);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(err, 0);
        EXPECT_TRUE(FileAtEnd(f));
        WriteAll(f, "new");
        if (c.temp) {
            EXPECT_EQ(Get(c.temp), "new");
        }
        EXPECT_EQ(Get(c.target), c.temp ? "old" : "new") << "target touched before close";
        EXPECT_EQ(Close(f, c.discard), 0);
        EXPECT_EQ(Get(c.target), c.temp && c.discard ? "old" : "new");
        const auto files = [](auto &e) { return e.is_regular_file(); };
        EXPECT_EQ(std::count_if(fs::recursive_directory_iterator(dir_), {}, files), 1) << "stray file left";
        EXPECT_EQ(heap_.live, 0);
        fs::remove(dir_ / c.target);
    }
}

TEST_F(PlatformFiles, FailedReplacementReportsOneAndStillFrees) {
    Put("t.dat", "old");
    int32_t err = -1;
    File *f = Open("t.dat", kWrite, 0, &err);
    ASSERT_NE(f, nullptr);
    // The target turns into a non-empty directory: rename cannot replace it.
    fs::remove(dir_ / "t.dat");
    Put("t.dat/inner", "x");
    EXPECT_EQ(Close(f, 0), 1);
    EXPECT_EQ(heap_.live, 0);
    EXPECT_TRUE(fs::is_directory(dir_ / "t.dat"));
}

// --- open failures ------------------------------------------------------------

TEST_F(PlatformFiles, OpenErrorsAreClassifiedAndFreeTheObject) {
    Put("file.dat", "x");
    Put("data.json5", "keep");
    fs::create_directory(dir_ / "subdir");
    const std::string tooLong = std::string(260 - dir_.string().size() - 1, 'n');
    ASSERT_EQ(Path(tooLong).size(), 260u);
    const std::string longest = tooLong.substr(1);
    struct Case { std::string name; FileMode mode; int noReplace; int32_t err; };
    const Case cases[] = {
        {"missing.dat", kRead, 0, 1000}, {"missing.dat", kReadWrite, 0, 1000}, {"nodir/new.dat", kWrite, 0, 1000},
        {"file.dat/x", kRead, 0, 1000},   // a file used as a directory
        {"file.dat/x", kWrite, 0, 1000},
        {"subdir", kWrite, 1, 1},         // a directory cannot be written
        {"subdir", kReadWrite, 0, 1},
        {tooLong, kWrite, 0, 1},          // 260 bytes: one too many
        {longest, kRead, 0, 1000},        // 259 bytes: allowed, just absent
        {"data.json5", kWrite, 0, 1},     // an extension too long to restore after .tmp
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name + " mode " + std::to_string(c.mode));
        int32_t err = -1;
        EXPECT_EQ(Open(c.name, c.mode, c.noReplace, &err), nullptr);
        EXPECT_EQ(err, c.err);
        EXPECT_EQ(heap_.live, 0);
    }
    EXPECT_FALSE(Exists(tooLong));
    EXPECT_EQ(Get("data.json5"), "keep");
    EXPECT_FALSE(Exists("data.tmp"));
}

// Root passes every permission check, so the denied cases run in a child that
// has given up its privileges; an ordinary user runs them in place.
std::vector<int32_t> RunUnprivileged(const std::vector<int32_t> &fallback,
                                     std::vector<int32_t> (*body)(void *), void *arg) {
    if (geteuid() != 0) return body(arg);
    int pipefd[2];
    if (pipe(pipefd) != 0) return fallback;
    pid_t pid = fork();
    if (pid == 0) {
        close(pipefd[0]);
        if (setgid(65534) != 0 || setuid(65534) != 0) _exit(2);
        std::vector<int32_t> r = body(arg);
        ssize_t n = write(pipefd[1], r.data(), r.size() * sizeof(int32_t));
        _exit(n == static_cast<ssize_t>(r.size() * sizeof(int32_t)) ? 0 : 3);
    }
    close(pipefd[1]);
    std::vector<int32_t> r(fallback.size());
    ssize_t n = read(pipefd[0], r.data(), r.size() * sizeof(int32_t));
    close(pipefd[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    const bool ok = n == static_cast<ssize_t>(r.size() * sizeof(int32_t)) && WIFEXITED(status) && !WEXITSTATUS(status);
    return ok ? r : fallback;
}

TEST_F(PlatformFiles, AccessDeniedIs1001) {
    Put("secret.dat", "x");
    Put("readonly.dat", "x");
    Put("locked/old.dat", "x");
    const std::pair<const char *, int> modes[] = {
        {"", 0755}, {"secret.dat", 0}, {"readonly.dat", 0444}, {"locked/old.dat", 0777}, {"locked", 0555}};
    for (const auto &[name, mode] : modes) fs::permissions(dir_ / name, fs::perms(mode));
    struct Case { const char *name; FileMode mode; };
    static const Case cases[] = {
        {"secret.dat", kRead}, {"readonly.dat", kReadWrite},
        {"locked/new.dat", kWrite},  // cannot create in the directory
        {"locked/old.dat", kWrite},  // nor its temporary beside the target
    };
    auto body = [](void *self) {
        auto *t = static_cast<PlatformFiles *>(self);
        std::vector<int32_t> errs;
        for (const Case &c : cases) {
            int32_t err = -1;
            File *f = t->Open(c.name, c.mode, 0, &err);
            if (f != nullptr) t->Close(f, 1);
            errs.push_back(t->heap_.live == 0 ? err : -2);
        }
        return errs;
    };
    std::vector<int32_t> got = RunUnprivileged(std::vector<int32_t>(std::size(cases), -3),
                                               +body, this);
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(got[i], 1001) << cases[i].name;
    EXPECT_EQ(Get("locked/old.dat"), "x");
}

TEST_F(PlatformFiles, RefusedAllocationGives20AndTouchesNothing) {
    for (FileMode mode : {kRead, kWrite, kReadWrite}) {
        heap_.failAt = heap_.allocations + 1;
        int32_t err = -1;
        EXPECT_EQ(Open("new.dat", mode, 0, &err), nullptr);
        EXPECT_EQ(err, 20);
    }
    EXPECT_EQ(heap_.live, 0);
    EXPECT_FALSE(Exists("new.dat"));
}

// --- read, write, seek ----------------------------------------------------------

TEST_F(PlatformFiles, WrongDirectionGives1002) {
    Put("r.dat", "abc");
    int32_t err = -1;
    char buf[4];
    File *w = Open("w.dat", kWrite, 0, &err);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(FileRead(w, buf, 3, &err), 0);
    EXPECT_EQ(err, 1002);
    EXPECT_EQ(FileMap(w, 0, 1, &err), nullptr);
    EXPECT_EQ(err, 1002);
    File *r = Open("r.dat", kRead, 0, &err);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(FileWrite(r, "xyz", 3, &err), 0);
    EXPECT_EQ(err, 1002);
    EXPECT_EQ(Close(w, 0), 0);
    EXPECT_EQ(Close(r, 0), 0);
    EXPECT_EQ(Get("r.dat"), "abc");
}

TEST_F(PlatformFiles, ReadSeekAndEndReached) {
    Put("ten.dat", "0123456789");
    int32_t err = -1;
    File *f = Open("ten.dat", kRead, 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_FALSE(FileAtEnd(f));
    EXPECT_EQ(FileSize(f), 10);

    char buf[32] = {};
    EXPECT_EQ(FileRead(f, buf, 4, &err), 4);
    EXPECT_EQ(std::string(buf, 4), "0123");
    EXPECT_EQ(FileRead(f, buf, 32, &err), 6);  // short read is not the end
    EXPECT_EQ(err, 0);
    EXPECT_FALSE(FileAtEnd(f));
    EXPECT_EQ(FileRead(f, buf, 32, &err), 0);
    EXPECT_EQ(err, 0);
    EXPECT_TRUE(FileAtEnd(f));

    // then: what a following read of 3 bytes returns
    const struct { int32_t offset, origin, result; const char *then; } steps[] = {
        {0, kSeekSet, 0, "012"}, {2, kSeekCur, 0, "567"}, {-2, kSeekEnd, 0, "89"}, {0, kSeekEnd, 0, ""},
        {3, kSeekSet, 0, "345"},
        {-1, kSeekSet, 1, "678"},  // a failed seek leaves the position alone
        {0, 99, 1, "9"},           // unknown origin goes to the system and fails
    };
    for (const auto &s : steps) {
        SCOPED_TRACE(std::to_string(s.offset) + " from " + std::to_string(s.origin));
        EXPECT_EQ(FileSeek(f, s.offset, s.origin), s.result);
        EXPECT_TRUE(s.result != 0 || !FileAtEnd(f));
        EXPECT_EQ(std::string(buf, static_cast<size_t>(FileRead(f, buf, 3, &err))), s.then);
    }
    EXPECT_EQ(Close(f, 0), 0);
}

TEST_F(PlatformFiles, ReadWriteModeDoesBoth) {
    Put("rw.dat", "abcdef");
    int32_t err = -1;
    File *f = Open("rw.dat", kReadWrite, 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_FALSE(FileAtEnd(f));
    EXPECT_EQ(FileSeek(f, 2, kSeekSet), 0);
    WriteAll(f, "XY");
    EXPECT_EQ(FileSeek(f, 0, kSeekSet), 0);
    char buf[8];
    EXPECT_EQ(FileRead(f, buf, 8, &err), 6);
    EXPECT_EQ(std::string(buf, 6), "abXYef");
    EXPECT_EQ(Close(f, 1), 0);  // no temporary: discard changes nothing
    EXPECT_EQ(Get("rw.dat"), "abXYef");
}

TEST_F(PlatformFiles, SystemFailuresGive1003) {
    fs::create_directory(dir_ / "d");
    int32_t err = -1;
    char buf[4];
    File *d = Open("d", kRead, 0, &err);  // a directory opens but cannot be read
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(FileRead(d, buf, 4, &err), 0);
    EXPECT_EQ(err, 1003);
    EXPECT_FALSE(FileAtEnd(d)) << "a failure is not the end of the file";
    EXPECT_EQ(Close(d, 0), 0);

    File *null = FileOpen(heap(), 0, "/dev/null", kRead, 0, &err);
    ASSERT_NE(null, nullptr);
    EXPECT_EQ(FileMap(null, 0, 1, &err), nullptr);  // not mappable
    EXPECT_EQ(err, 1003);
    EXPECT_EQ(Close(null, 0), 0);

    if (access("/dev/full", W_OK) == 0) {
        File *full = FileOpen(heap(), 0, "/dev/full", kReadWrite, 0, &err);
        ASSERT_NE(full, nullptr);
        EXPECT_EQ(FileWrite(full, "abc", 3, &err), 0);
        EXPECT_EQ(err, 1003);
        EXPECT_EQ(Close(full, 0), 0);
    }
}

// --- mapping --------------------------------------------------------------------

TEST_F(PlatformFiles, MapReturnsTheRequestedByteAndUnmapReleasesTheView) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    std::string data(3 * page + 123, '\0');
    for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>((i * 7 + 3) % 251);
    Put("m.dat", data);
    int32_t err = -1;
    File *f = Open("m.dat", kRead, 0, &err);
    ASSERT_NE(f, nullptr);

    const uint8_t *p = FileMap(f, 5, 0, &err);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(err, 0);

    struct Case { size_t offset, size; };
    const Case cases[] = {
        {0, 1}, {1, 100},
        {page - 1, 2},  // straddles a page boundary
        {page, page}, {page + 5, page + 9},
        {3 * page + 122, 1},  // the last byte
    };
    for (const Case &c : cases) {
        SCOPED_TRACE("offset " + std::to_string(c.offset) + " size " + std::to_string(c.size));
        p = FileMap(f, static_cast<uint32_t>(c.offset), static_cast<uint32_t>(c.size), &err);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(err, 0);
        EXPECT_EQ(std::memcmp(p, data.data() + c.offset, c.size), 0);
        // Every page of the view, the last partial one included, must go.
        auto *base = const_cast<uint8_t *>(p) - c.offset % page;
        const size_t pages = (c.size + c.offset % page + page - 1) / page;
        unsigned char vec;
        for (size_t i = 0; i < pages; ++i) EXPECT_EQ(mincore(base + i * page, 1, &vec), 0);
        EXPECT_EQ(FileUnmap(p, static_cast<uint32_t>(c.size)), 0);
        for (size_t i = 0; i < pages; ++i) {
            errno = 0;
            EXPECT_EQ(mincore(base + i * page, 1, &vec), -1) << "page " << i << " still mapped";
            EXPECT_EQ(errno, ENOMEM);
        }
    }
    EXPECT_EQ(FileUnmap(nullptr, 10), 1005);
    EXPECT_EQ(Close(f, 0), 0);
}

TEST(PlatformMemory, DefaultAllocatorServesFileObjects) {
    EXPECT_EQ(DefaultFree(0, nullptr), 1);
    const Allocator a{DefaultAlloc, DefaultFree, 0};
    int32_t err = -1;
    File *f = FileOpen(a, 0, "/dev/null", kRead, 0, &err);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(FileClose(a, f, 0), 0);  // a leak shows under the sanitizer
}

// --- environment ----------------------------------------------------------------

TEST(PlatformEnv, ValueLengthAgainstBufferSize) {
    const char *var = "LORVEX_PLATFORM_TEST_VAR";
    struct Case {
        const char *value;  // null: unset
        int32_t size;
        int32_t result;
        bool copied;
    };
    const Case cases[] = {
        {nullptr, 16, 0, false}, {"", 1, 1, true}, {"", 0, 1, false},
        {"abc", 4, 4, true},   // exactly fills the buffer less one byte
        {"abcd", 4, 5, false},  // one byte too long: the size it needs
        {"abc", 16, 4, true}, {"abc", 0, 4, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.value ? c.value : "(unset)") + " in " +
                     std::to_string(c.size));
        if (c.value)
            setenv(var, c.value, 1);
        else
            unsetenv(var);
        char buf[32];
        std::memset(buf, '#', sizeof buf);
        EXPECT_EQ(EnvGet(var, buf, c.size), c.result);
        if (c.copied) {
            EXPECT_STREQ(buf, c.value);
        }
        for (size_t i = static_cast<size_t>(c.size); i < sizeof buf; ++i)
            ASSERT_EQ(buf[i], '#') << "wrote past the buffer at " << i;
    }
    unsetenv(var);
}

// --- mutex ----------------------------------------------------------------------

// Unexcluded read-modify-write steps of four threads lose increments.
TEST(PlatformMutex, ExcludesOtherThreads) {
    Mutex *m = MutexCreate();
    ASSERT_NE(m, nullptr);
    long counter = 0;
    std::vector<std::thread> workers;
    for (int i = 0; i < 4; ++i)
        workers.emplace_back([&] {
            for (int k = 0; k < 20000; ++k) {
                MutexLock(m);
                long v = counter;
                counter = v + 1;
                MutexUnlock(m);
            }
        });
    for (auto &w : workers) w.join();
    EXPECT_EQ(counter, 80000);
    MutexClose(m);
}

TEST(PlatformMutex, OwnerMayLockAgain) {
    Mutex *m = MutexCreate();
    ASSERT_NE(m, nullptr);
    // Run where a deadlock cannot take the test runner with it.
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> finished = done->get_future();
    std::thread([m, done] {
        MutexLock(m);
        MutexLock(m);
        MutexUnlock(m);
        MutexUnlock(m);
        done->set_value();
    }).detach();
    ASSERT_EQ(finished.wait_for(std::chrono::seconds(5)), std::future_status::ready)
        << "nested lock deadlocked";
    // Fully released after as many unlocks as locks.
    std::thread([m] {
        MutexLock(m);
        MutexUnlock(m);
    }).join();
    MutexClose(m);
    MutexClose(nullptr);
}

}  // namespace
