// The locale registry and loader: finding the directory, reading the control
// file, lookups, loading on first use, fallback to the built-in locale, and
// files that lie.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "frame/state.h"
#include "locale/builtin.h"
#include "locale/layout.h"
#include "locale/registry.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

using namespace layout;

Registry *Reg() { return Library().registry; }

// Every test starts with LX_LOCALEDIR unset, so that the machine's
// environment cannot leak in.
class RegistryTest : public ::testing::Test {
protected:
    ScopedEnv noEnv{"LX_LOCALEDIR", std::nullopt};
    LocaleDir dir;
};

std::vector<std::string> Names() {
    std::vector<std::string> out;
    LXEnumLocales([](uintptr_t user, int32_t kind, const char *name) -> int32_t {
        reinterpret_cast<std::vector<std::string> *>(user)->push_back(std::to_string(kind) + ":" + name);
        return 1;
    }, reinterpret_cast<uintptr_t>(&out));
    return out;
}

const std::vector<std::string> kBuiltinNames = {"0:English", "1:UnitedStates", "2:US-ASCII"};

// Bytes after the last whole record of the record area are ignored.
TEST_F(RegistryTest, ReadsControlFileAndEnumeratesInStoredOrder) {
    Bytes records = nls::BuildRecords({{1, 0, "English"}, {7, 0, "German"}, {1, 1, "UnitedStates"},
                                       {1, 2, "US-ASCII"}, {3, 3, "Traditional"}});
    records.resize(records.size() + 59, 0xEE);
    dir.write("control.nls", nls::BuildFile({records}));
    Started s(dir.path().c_str());
    ASSERT_EQ(s.result(), LX_OK);
    EXPECT_EQ(Names(), (std::vector<std::string>{"0:English", "0:German", "1:UnitedStates",
                                                 "2:US-ASCII", "3:Traditional"}));
    EXPECT_STREQ(Reg()->directory, dir.path().c_str());
    EXPECT_EQ(Reg()->strict, 0);
    // Nothing is loaded by reading the control file.
    for (uint16_t i = 0; i < Reg()->count; ++i) EXPECT_FALSE(Reg()->records[i].loaded());
}

// A control file that cannot be used: the built-in registry (non-strict) or
// no start at all (strict).
TEST_F(RegistryTest, UnusableControlFileFallsBackOrFailsStrict) {
    struct Case { const char *what; std::function<void(Bytes &)> edit; int32_t loose; };
    const Case cases[] = {
        {"missing", nullptr, LX_ERR_BUILTIN_ONLY},
        {"wrong magic", [](Bytes &b) { b[0] ^= 1; }, LX_ERR_BUILTIN_ONLY},
        {"shorter than the header", [](Bytes &b) { b.resize(40); }, LX_ERR_BUILTIN_ONLY},
        // A short record area is not a read error: the fallback reports 0.
        {"record area past the end", [](Bytes &b) { b.resize(b.size() - 30); }, LX_OK},
        {"record area at an absurd offset", [](Bytes &b) { wr32(&b[kHdrTableOffset[0]], 0xFFFFFFF0u); },
         LX_ERR_BUILTIN_ONLY},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        LocaleDir d;
        Bytes file = nls::BuildFile({nls::BuildRecords({{1, 0, "English"}, {1, 1, "UnitedStates"}})});
        if (c.edit) c.edit(file), d.write("control.nls", file);
        {
            Started s(d.path().c_str());
            EXPECT_EQ(s.result(), c.loose);
            ASSERT_NE(Reg(), nullptr);
            EXPECT_EQ(Names(), kBuiltinNames);
            EXPECT_EQ(Reg()->strict, 1);
            EXPECT_STREQ(Reg()->directory, "");
        }
        EXPECT_EQ(LXInit(d.path().c_str(), nullptr, nullptr, 0, LX_INIT_STRICT), LX_ERR_INIT);
        EXPECT_EQ(Reg(), nullptr);
        EXPECT_EQ(Library().refCount, 0);
    }
}

TEST_F(RegistryTest, DirectoryPrecedence) {
    LocaleDir envDir;
    envDir.control({{1, 0, "FromEnv"}});
    dir.control({{1, 0, "FromPath"}});
    LocaleDir empty;  // no control file
    struct Case {
        const char *what;
        const char *path;
        std::optional<std::string> env;
        const char *expect;
        std::string expectDir;
    };
    const Case cases[] = {
        {"path wins over the environment", dir.path().c_str(), envDir.path(), "0:FromPath", dir.path()},
        {"environment when path is null", nullptr, envDir.path(), "0:FromEnv", envDir.path()},
        {"environment when path has no control file", empty.path().c_str(), envDir.path(), "0:FromEnv",
         envDir.path()},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        ScopedEnv env("LX_LOCALEDIR", c.env);
        Started s(c.path);
        ASSERT_EQ(s.result(), LX_OK);
        EXPECT_EQ(Names(), std::vector<std::string>{c.expect});
        EXPECT_EQ(std::string(Reg()->directory), c.expectDir);
    }
}

TEST_F(RegistryTest, DirectoryLengths) {
    char buf[kPathMax];
    const int32_t n = LXLocaleDirectory(buf, kPathMax, 1);  // the configured default
    ASSERT_GT(n, 1);
    EXPECT_EQ(n, int32_t(std::strlen(buf)) + 1);
    EXPECT_EQ(LXLocaleDirectory(buf, n - 1, 1), 0);  // does not fit
    EXPECT_EQ(LXLocaleDirectory(buf, n, 1), n);
    EXPECT_EQ(LXLocaleDirectory(buf, kPathMax, 0), -1);  // LX_LOCALEDIR not set
    // 259 characters fit; 260 are refused when read; 248 are read, but leave
    // no room for "/control.nls": both starts fall back with 1003.
    for (auto [length, read] : {std::pair{259, 260}, {260, 0}, {248, 249}}) {
        SCOPED_TRACE(length);
        ScopedEnv env("LX_LOCALEDIR", std::string(size_t(length), 'd'));
        EXPECT_EQ(LXLocaleDirectory(buf, kPathMax, 0), read);
        if (length == 259) continue;
        Started s(nullptr);
        EXPECT_EQ(s.result(), LX_ERR_BUILTIN_ONLY);
        EXPECT_EQ(Names(), kBuiltinNames);
    }
}

TEST(PathTest, FileNamesAndTheirLimit) {
    char buf[kPathMax];
    const std::string sep(1, platform::kDirSeparator), dir247(247, 'x'), dir248(248, 'x');
    struct Case { int kind; unsigned number; const char *name; };
    const Case cases[] = {{0, 1, "la_0001.nls"}, {1, 756, "te_0756.nls"}, {2, 2252, "cp_2252.nls"},
                          {3, 9999, "so_9999.nls"}, {2, 12345, "cp_12345.nls"}};
    for (const Case &c : cases) {
        ASSERT_NE(LXPartFilePath("/d", c.kind, c.number, buf, kPathMax), nullptr) << c.name;
        EXPECT_EQ(std::string(buf), "/d" + sep + c.name);
    }
    // 247 + "/control.nls" (or "/la_0001.nls") + terminator is exactly 260 bytes.
    ASSERT_NE(LXControlFilePath(dir247.c_str(), buf, kPathMax), nullptr);
    EXPECT_EQ(std::string(buf), dir247 + sep + "control.nls");
    EXPECT_EQ(LXControlFilePath(dir248.c_str(), buf, kPathMax), nullptr);
    EXPECT_NE(LXPartFilePath(dir247.c_str(), 0, 1, buf, kPathMax), nullptr);
    EXPECT_EQ(LXPartFilePath(dir247.c_str(), 0, 12345, buf, kPathMax), nullptr);  // no room for a 5th digit
    EXPECT_EQ(LXPartFilePath(dir248.c_str(), 0, 1, buf, kPathMax), nullptr);
}

// Kind starts for the shapes a control file can take.
TEST_F(RegistryTest, KindStarts) {
    struct Case { std::vector<uint8_t> kinds; std::array<uint16_t, 4> starts; };
    const Case cases[] = {
        {{0, 1, 2, 3}, {0, 1, 2, 3}}, {{0, 0, 2, 3}, {0, 2, 2, 3}}, {{1, 1}, {0, 0, 2, 2}}, {{3}, {0, 0, 0, 0}},
        {{0, 0}, {0, 2, 2, 2}}, {{2, 2, 2}, {0, 0, 0, 3}}, {{0, 3, 3}, {0, 1, 1, 1}}, {{}, {0, 0, 0, 0}},
    };
    for (const Case &c : cases) {
        LocaleDir d;
        std::vector<ControlEntry> entries;
        uint16_t n = 1;
        for (uint8_t k : c.kinds) entries.push_back({n++, k, "P" + std::to_string(n)});
        d.control(entries);
        Started s(d.path().c_str());
        ASSERT_EQ(s.result(), LX_OK);
        ASSERT_EQ(Reg()->count, c.kinds.size());
        for (int k = 0; k < 4; ++k) EXPECT_EQ(Reg()->start[k], c.starts[k]) << "kind " << k;
    }
}

TEST_F(RegistryTest, RecordStateInTheFileIsNotTrusted) {
    Bytes records = nls::BuildRecords({{1, 0, "English"}});
    records[kRecFlags] = 0xFF;                               // claims built-in and allocated tables
    std::memset(&records[40], 0xAB, 20);                     // claims loaded tables
    std::memset(&records[kRecName + 7], 'Z', 36 - 7);        // no terminator
    dir.write("control.nls", nls::BuildFile({records}));
    Started s(dir.path().c_str());
    ASSERT_EQ(s.result(), LX_OK);
    const PartRecord &rec = Reg()->records[0];
    EXPECT_EQ(rec.flags, 0);
    EXPECT_FALSE(rec.loaded());
    EXPECT_EQ(std::strlen(rec.name), 35u);
}

TEST_F(RegistryTest, LookupByName) {
    dir.control({{1, 0, "English"}, {2, 0, "Eng"}, {1, 2, "US-ASCII"}, {5, 3, "Traditional"}});
    Started s(dir.path().c_str());
    struct Case { int kind; std::string name; int32_t length; int32_t err; const char *found; };
    const Case cases[] = {
        {0, "english", 7, LX_OK, "English"},
        {0, "ENGLISH", 8, LX_OK, "English"},  // the length may count the terminator
        {0, "Eng", 3, LX_OK, "Eng"},          // equal length required: no prefix match
        {0, "Engl", 4, LX_ERR_REJECTED, nullptr},
        {0, "US-ASCII", 8, LX_ERR_REJECTED, nullptr},  // other kind
        {2, "us-ascii", 8, LX_OK, "US-ASCII"}, {3, "binary", 6, LX_OK, nullptr}, {3, "BiNaRy", 7, LX_OK, nullptr},
        {3, "Binaryx", 7, LX_ERR_REJECTED, nullptr}, {3, "traditional", 11, LX_OK, "Traditional"},
        {1, "UnitedStates", 12, LX_ERR_REJECTED, nullptr},  // empty range
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        int32_t err = -1;
        PartRecord *rec = LXFindPartByName(Reg(), c.kind, c.name.c_str(), c.length, kNoLoad, &err);
        EXPECT_EQ(err, c.err);
        if (c.found) {
            ASSERT_NE(rec, nullptr);
            EXPECT_STREQ(rec->name, c.found);
        } else {
            EXPECT_EQ(rec, nullptr);
        }
    }
}

TEST_F(RegistryTest, LookupByNumber) {
    std::vector<ControlEntry> entries;
    for (uint16_t n : std::initializer_list<uint16_t>{1, 3, 4, 9, 40, 756, 9999}) entries.push_back({n, 0, "L" + std::to_string(n)});
    entries.push_back({2, 2, "CS2"});
    entries.push_back({1, 3, "S1"});
    dir.control(entries);
    Started s(dir.path().c_str());
    for (const ControlEntry &e : entries) {
        int32_t err = -1;
        PartRecord *rec = LXFindPartByNumber(Reg(), e.kind, e.number, kNoLoad, &err);
        ASSERT_NE(rec, nullptr) << e.name;
        EXPECT_EQ(err, LX_OK);
        EXPECT_EQ(rec->name, e.name);
    }
    struct Miss { int kind; unsigned number; int32_t err; };
    const Miss misses[] = {
        {0, 2, LX_ERR_REJECTED}, {0, 10000, LX_ERR_REJECTED}, {0, 0, LX_ERR_REJECTED}, {2, 1, LX_ERR_REJECTED},
        // The territory range is empty; the language record 9999 just before
        // it must not be taken for a territory.
        {1, 9999, LX_ERR_REJECTED},
        {3, 0, LX_OK},  // binary collation
        {7, 1, LX_ERR_ARGUMENT},
    };
    for (const Miss &m : misses) {
        int32_t err = -1;
        EXPECT_EQ(LXFindPartByNumber(Reg(), m.kind, m.number, kNoLoad, &err), nullptr);
        EXPECT_EQ(err, m.err) << m.kind << "/" << m.number;
    }
}

TEST_F(RegistryTest, LoadsOnFirstUseAndShares) {
    dir.standard();
    Started s(dir.path().c_str());
    int32_t err = -1;
    PartRecord *rec = LXFindPartByNumber(Reg(), kCodeset, 1, kNoLoad, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_FALSE(rec->loaded());
    rec = LXFindPartByName(Reg(), kCodeset, "US-ASCII", 8, kLoad, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(err, LX_OK);
    ASSERT_TRUE(rec->loaded());
    EXPECT_EQ(rec->flags & kPartBuiltin, 0);
    EXPECT_NE(rec->file, nullptr);
    // Mapped from the file, not the built-in copy, and byte for byte the same.
    EXPECT_NE(rec->table[0], builtin::kCodeset.data);
    ASSERT_EQ(rec->size[0], builtin::kCodeset.size);
    EXPECT_EQ(std::memcmp(rec->table[0], builtin::kCodeset.data, rec->size[0]), 0);
    EXPECT_EQ(rec->table[1], nullptr);  // table 1 of size 0 stays absent
    ASSERT_NE(rec->table[2], nullptr);
    EXPECT_EQ(std::memcmp(rec->table[2], builtin::kCodesetTable2.data, rec->size[2]), 0);
    const uint8_t *t0 = rec->table[0];
    EXPECT_EQ(LXFindPartByNumber(Reg(), kCodeset, 1, kLoad, &err), rec);
    EXPECT_EQ(rec->table[0], t0);
}

TEST_F(RegistryTest, TablesAtUnalignedOffsetsMapExactly) {
    dir.control({{1, 1, "UnitedStates"}});
    // A padding table pushes table 0 of the real data to an odd file offset.
    Bytes te = BuiltinTable(kTerritory);
    Bytes file = nls::BuildFile({Bytes(4099, 0x55), te});
    // Swap the two table entries so that table 0 is the one at the odd offset.
    Bytes hdr(file.begin(), file.begin() + kHeaderSize);
    wr16(&file[kHdrTableSize[0]], rd16(&hdr[kHdrTableSize[1]]));
    wr32(&file[kHdrTableOffset[0]], rd32(&hdr[kHdrTableOffset[1]]));
    wr16(&file[kHdrTableCount], 1);
    dir.write("te_0001.nls", file);
    Started s(dir.path().c_str());
    int32_t err = -1;
    PartRecord *rec = LXFindPartByNumber(Reg(), kTerritory, 1, kLoad, &err);
    ASSERT_NE(rec, nullptr);
    EXPECT_EQ(err, LX_OK);
    EXPECT_EQ(rec->flags & kPartBuiltin, 0);
    EXPECT_EQ(std::memcmp(rec->table[0], te.data(), te.size()), 0);
}

// Part files that cannot be used: the built-in tables take their place in a
// non-strict registry, nothing does in a strict one.
TEST_F(RegistryTest, BrokenPartFiles) {
    // The part file is the built-in table 0 of kind, with table edited, then
    // the file edited; neither edit: no file.
    using Edit = std::function<void(Bytes &)>;
    struct Case { const char *what; uint8_t kind; Edit table, file; int32_t err; };
    const Case cases[] = {
        {"missing file", kLanguage, nullptr, nullptr, LX_ERR_FILE_NOT_FOUND},
        {"wrong magic", kTerritory, nullptr, [](Bytes &b) { b[0] ^= 1; }, LX_ERR_MAGIC},
        {"truncated header", kLanguage, nullptr, [](Bytes &b) { b.resize(50); }, LX_ERR_IO},
        {"table 0 past the end", kLanguage, nullptr, [](Bytes &b) { b.resize(b.size() - 1); }, LX_ERR_IO},
        {"table 0 offset beyond the file", kTerritory, nullptr,
         [](Bytes &b) { wr32(&b[kHdrTableOffset[0]], 0x7FFFFFFF); }, LX_ERR_IO},
        {"table 0 absent", kTerritory, nullptr, [](Bytes &b) { wr16(&b[kHdrTableSize[0]], 0); }, LX_ERR_IO},
        {"table 1 past the end", kLanguage, nullptr,
         [](Bytes &b) {
             wr16(&b[kHdrTableCount], 2), wr16(&b[kHdrTableSize[1]], 100);
             wr32(&b[kHdrTableOffset[1]], uint32_t(b.size() - 10));
         },
         LX_ERR_IO},
        {"territory table shorter than its layout", kTerritory, [](Bytes &t) { t.assign(te::kFixed - 1, 0); },
         nullptr, LX_ERR_IO},
        // Claims multibyte, but has only the single-byte fixed part.
        {"multibyte codeset shorter than its fixed part", kCodeset, [](Bytes &t) { t[cs::kMaxBytes] = 2; }, nullptr,
         LX_ERR_IO},
        {"single-byte codeset cut short", kCodeset, [](Bytes &t) { t.assign(cs::kFixedSingle - 1, 1); }, nullptr,
         LX_ERR_IO},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        for (uint32_t flags : {0u, LX_INIT_STRICT}) {
            LocaleDir d;
            d.control({{1, c.kind, "Part"}});
            Bytes table = BuiltinTable(c.kind), file;
            if (c.table) c.table(table);
            if (c.file) c.file(file = nls::BuildFile({table}));
            if (c.table || c.file) d.write(nls::PartFileName(c.kind, 1), c.file ? file : nls::BuildFile({table}));
            Started s(d.path().c_str(), flags);
            ASSERT_EQ(s.result(), LX_OK);
            int32_t err = -1;
            PartRecord *rec = LXFindPartByNumber(Reg(), c.kind, 1, kLoad, &err);
            EXPECT_EQ(err, c.err);
            if (flags == LX_INIT_STRICT) {
                EXPECT_EQ(rec, nullptr);
                EXPECT_FALSE(Reg()->records[0].loaded());
                EXPECT_EQ(Reg()->records[0].file, nullptr);
                continue;
            }
            ASSERT_NE(rec, nullptr);
            EXPECT_EQ(rec->flags & kPartBuiltin, kPartBuiltin);
            EXPECT_EQ(rec->file, nullptr);
            EXPECT_STREQ(rec->name, "Part");  // its own name, the built-in tables
            // Not retried: the second lookup answers at once, without error.
            EXPECT_EQ(LXFindPartByNumber(Reg(), c.kind, 1, kLoad, &err), rec);
            EXPECT_EQ(err, LX_OK);
        }
    }
}

TEST_F(RegistryTest, StrictRegistryRetriesAFailedLoad) {
    dir.control({{1, 0, "English"}, {12345, 1, "Far"}});
    dir.builtinPart(kTerritory, 12345);  // te_12345.nls: a fifth digit
    Started s(dir.path().c_str(), LX_INIT_STRICT);
    ASSERT_EQ(s.result(), LX_OK);
    int32_t err = -1;
    EXPECT_EQ(LXFindPartByNumber(Reg(), kLanguage, 1, kLoad, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_FILE_NOT_FOUND);
    dir.builtinPart(kLanguage, 1);
    for (auto [kind, number] : {std::pair{kLanguage, 1}, {kTerritory, 12345}}) {
        PartRecord *rec = LXFindPartByNumber(Reg(), kind, uint16_t(number), kLoad, &err);
        ASSERT_NE(rec, nullptr) << number;
        EXPECT_EQ(err, LX_OK);
        EXPECT_EQ(rec->flags & kPartBuiltin, 0);
    }
}

TEST_F(RegistryTest, SortPartHasNoBuiltinFallback) {
    dir.control({{1, 3, "Traditional"}});
    Started s(dir.path().c_str());
    int32_t err = -1;
    EXPECT_EQ(LXFindPartByName(Reg(), kSort, "Traditional", 11, kLoad, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_FILE_NOT_FOUND);
}

TEST_F(RegistryTest, ConcurrentLookupsLoadOnce) {
    dir.standard();
    CountingAllocator a;
    Started s(dir.path().c_str(), 0, &a);
    ASSERT_EQ(s.result(), LX_OK);
    const long before = a.live;
    constexpr int kThreads = 8;
    std::vector<PartRecord *> got(kThreads);
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            while (!go.load()) {}
            int32_t err = -1;
            got[i] = LXFindPartByName(Reg(), kCodeset, "US-ASCII", 8, kLoad, &err);
        });
    go = true;
    for (auto &t : threads) t.join();
    for (PartRecord *rec : got) EXPECT_EQ(rec, got[0]);
    ASSERT_NE(got[0], nullptr);
    EXPECT_EQ(got[0]->flags & kPartBuiltin, 0);
    // One part file opened: one file object taken from the allocator.
    EXPECT_EQ(a.live - before, 1);
}

// The older packed codeset layout is rebuilt into the current one at load;
// one whose offsets lie outside it is refused.
TEST_F(RegistryTest, PackedCodesetLayoutIsConverted) {
    constexpr uint32_t kOldVar = 4372;
    // One type leaf (mask 0, base 0) and its record.
    const Bytes varData = {0x01, 0x00, 0x00, 0x00, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8};
    Bytes old0(kOldVar + varData.size(), 0);
    for (uint32_t i = 0; i < 4360; ++i) old0[i] = uint8_t(i * 7 + 3);
    // The loader validates the rebuilt tables: byte lengths 1 (stateful), and
    // pages that map nothing (packed offsets 2312-4359).
    std::fill(old0.begin() + 8, old0.begin() + 264, 1);
    for (uint32_t page = 0; page < 256; ++page) {
        old0[2312 + 8 * page] = uint8_t(page % 5);  // kind
        old0[2312 + 8 * page + 2] = 0xFF;           // low > high
        old0[2312 + 8 * page + 3] = 0x00;
    }
    old0[cs1::kMaxBytes] = 2;
    wr16(&old0[6], 939);
    wr16(&old0[cs1::kFlags], cs::kFlagStateful);
    wr16(&old0[cs1::kVarStart], uint16_t(kOldVar));
    wr16(&old0[cs1::kTypeTree], uint16_t(kOldVar));
    wr16(&old0[cs1::kTypeRecords], uint16_t(kOldVar + 4));
    wr16(&old0[cs1::kTypeRecordsEnd], uint16_t(kOldVar + 12));
    wr16(&old0[cs1::kDecodeValues], 8);  // two 4-byte nodes before the values
    std::copy(varData.begin(), varData.end(), old0.begin() + kOldVar);
    // Node 0 sends every byte to node 1, a leaf choosing value 0 or 1.
    const Bytes old1 = {0, 0x00, 0x01, 0x00, 1, 0x01, 0x00, 0x00, 0x41, 0x00, 0x42, 0x00};

    dir.control({{939, 2, "Packed"}, {940, 2, "PackedSingle"}, {941, 2, "PackedBroken"}});
    dir.part(kCodeset, 939, {old0, old1}, 0x10000000);
    Bytes broken(4400, 0);
    broken[cs1::kMaxBytes] = 2;
    wr16(&broken[cs1::kVarStart], 9000);  // beyond the table
    dir.part(kCodeset, 941, {broken}, 0x10000000);
    Bytes single = old0;
    single.resize(4362);
    single[cs1::kMaxBytes] = 1;
    dir.part(kCodeset, 940, {single}, 0x1ABCDEF0);

    CountingAllocator a;
    Started s(dir.path().c_str(), LX_INIT_STRICT, &a);
    int32_t err = -1;
    PartRecord *rec = LXFindPartByNumber(Reg(), kCodeset, 939, kLoad, &err);
    ASSERT_NE(rec, nullptr);
    ASSERT_EQ(err, LX_OK);
    EXPECT_EQ(rec->flags & (kPartTable0Owned | kPartTable0Owned << 1), kPartTable0Owned | kPartTable0Owned << 1);
    const uint8_t *t0 = rec->table[0];
    ASSERT_EQ(rec->size[0], cs::kFixedMulti + varData.size());
    struct Region { uint32_t from, to, size; };
    for (Region r : {Region{0, 0, 8}, {8, 10, 256}, {264, 266, 256}, {520, 522, 256}, {776, 778, 512},
                     {1288, 1292, 1024}, {2312, 2316, 2048}, {4360, 4364, 2}})
        EXPECT_EQ(std::memcmp(t0 + r.to, &old0[r.from], r.size), 0) << "region at " << r.from;
    EXPECT_EQ(rd16(t0 + cs::kVarStart), cs::kFixedMulti);
    EXPECT_EQ(rd16(t0 + cs::kTypeTree), cs::kFixedMulti);
    EXPECT_EQ(rd16(t0 + cs::kTypeRecords), cs::kFixedMulti + 4);
    EXPECT_EQ(rd16(t0 + cs::kTypeRecordsEnd), cs::kFixedMulti + 12);
    EXPECT_EQ(std::memcmp(t0 + cs::kFixedMulti, varData.data(), varData.size()), 0);
    // Two nodes of 6 bytes, the values after the node area counted twice
    // (12 rounded to 12, plus 12).
    const uint8_t *t1 = rec->table[1];
    ASSERT_EQ(rd16(t0 + cs::kDecodeValues), 24);
    ASSERT_EQ(rec->size[1], 24 + 4);
    const Bytes nodes = {0, 0x00, 0, 0xFF, 0x01, 0x00, 1, 0x01, 0, 0xFF, 0x00, 0x00};
    EXPECT_EQ(Bytes(t1, t1 + 12), nodes);
    EXPECT_EQ(rd16(t1 + 24), 0x41);
    EXPECT_EQ(rd16(t1 + 26), 0x42);

    rec = LXFindPartByNumber(Reg(), kCodeset, 940, kLoad, &err);
    ASSERT_NE(rec, nullptr);
    ASSERT_EQ(err, LX_OK);
    EXPECT_EQ(rec->size[0], cs::kFixedSingle);
    EXPECT_EQ(rec->table[1], nullptr);
    EXPECT_EQ(rec->flags & (kPartTable0Owned << 1), 0);
    for (uint32_t i = 4366; i < 4376; ++i) EXPECT_EQ(rec->table[0][i], 0) << i;

    EXPECT_EQ(LXFindPartByNumber(Reg(), kCodeset, 941, kLoad, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_IO);
}

TEST_F(RegistryTest, BuiltinRegistryServesTheBuiltinLocale) {
    Started s(dir.path().c_str());  // empty directory
    ASSERT_EQ(s.result(), LX_ERR_BUILTIN_ONLY);
    struct Case { int kind; const char *name; const uint8_t *table0; };
    const Case cases[] = {{kLanguage, "English", builtin::kLanguage.data},
                          {kTerritory, "UnitedStates", builtin::kTerritory.data},
                          {kCodeset, "US-ASCII", builtin::kCodeset.data}};
    for (const Case &c : cases) {
        int32_t err = -1;
        PartRecord *rec = LXFindPartByNumber(Reg(), c.kind, 1, kLoad, &err);
        ASSERT_NE(rec, nullptr) << c.name;
        EXPECT_STREQ(rec->name, c.name);
        EXPECT_EQ(rec->table[0], c.table0);
        EXPECT_EQ(rec->flags, kPartBuiltin);
    }
    int32_t err = -1;
    EXPECT_EQ(LXFindPartByNumber(Reg(), kSort, 1, kLoad, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_REJECTED);
    EXPECT_EQ(reinterpret_cast<const uint8_t *>(Reg()->records[2].table[2]), builtin::kCodesetTable2.data);
}

}  // namespace
}  // namespace lorvex::test
