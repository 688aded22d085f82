// Test support: temporary locale directories built with the same writer the
// data compiler uses, allocators that count and fail, and environment guards.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lorvex.h"
#include "nls_writer.h"

namespace lorvex::test {

using nls::Bytes;
using nls::ControlEntry;

// A fresh directory under /tmp, removed with everything in it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::string &path() const { return path_; }
    std::string file(const std::string &name) const { return path_ + "/" + name; }
    void write(const std::string &name, const Bytes &bytes) const;
    void remove(const std::string &name) const;

private:
    std::string path_;
};

// The least valid table 0 of each kind, taken from the built-in locale.
Bytes BuiltinTable(uint8_t kind, int table = 0);

// "0xID Name;..." for every locale name the native identifier table gives.
extern const char kNativeNames[];
std::vector<std::string> Split(const std::string &s, char sep);

// A locale directory: control.nls plus part files.
class LocaleDir : public TempDir {
public:
    // Writes control.nls listing entries in the order given.
    void control(const std::vector<ControlEntry> &entries, uint32_t magic = 0x476CF462u) const;
    // Writes the part file of (kind, number) holding tables.
    void part(uint8_t kind, uint16_t number, const std::vector<Bytes> &tables,
              uint32_t versionWord = 0) const;
    // Writes a working part of (kind, number) from the built-in tables.
    void builtinPart(uint8_t kind, uint16_t number) const;
    // control() over the three built-in parts, each written as a file.
    void standard() const;
};

// An allocator that counts live blocks, and can fail the n-th allocation
// (counting from 1) or report failure from frees.  A "failed" free still
// releases the block, so that the sanitizers see no leak.
struct CountingAllocator {
    long live = 0;
    long allocations = 0;
    long frees = 0;
    long failAt = 0;        // 0: never fail
    long failFreeAt = 0;    // fail the n-th free from now on counted in frees; 0: never
    bool failFrees = false; // fail every free
    static void *Alloc(uintptr_t ctx, size_t size);
    static int32_t Free(uintptr_t ctx, void *block);
    uintptr_t context() { return reinterpret_cast<uintptr_t>(this); }
};

// Sets (or unsets, with nullopt) an environment variable for one scope.
class ScopedEnv {
public:
    ScopedEnv(const char *name, std::optional<std::string> value);
    ~ScopedEnv();

private:
    std::string name_;
    std::optional<std::string> old_;
};

// Starts the library on dir and stops it at the end of the scope.
class Started {
public:
    explicit Started(const char *dir, uint32_t flags = 0, CountingAllocator *a = nullptr);
    ~Started();
    int32_t result() const { return result_; }

private:
    int32_t result_;
};

}  // namespace lorvex::test
