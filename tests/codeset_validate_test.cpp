// Load-time validation of codeset parts: compiled and built-in tables pass,
// and each kind of corruption that would send a lookup outside its table is
// refused, directly and through the loader.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "codeset/validate.h"
#include "frame/state.h"
#include "locale/builtin.h"
#include "locale/layout.h"
#include "locale/registry.h"
#include "lxdc/codeset_compiler.h"
#include "support/codesets.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

using namespace layout;
using lxdc::Part;

const std::string kUtf8 = CodesetSource("UTF-8", 106, 3, "arithmetic utf-8\nlead 0xC0-0xDF 2\nlead 0xE0-0xFF 3",
                                        "0x41 U+0041\n");
const std::string &kDoubleByte = kSmallDouble, &kStateful = kSmallStateful, &kWide = kSmallWide;

Part Compile(const std::string &text) { return lxdc::CompileCodeset(text, "test.txt"); }
int32_t Validate(const Part &p) { return ValidatePart(p); }

// Byte offset in table 1 of the node reached by walking bytes from node 0.
size_t NodeAt(const Part &p, std::vector<uint8_t> bytes) {
    const Bytes &t1 = p.tables.at(1);
    uint32_t node = 0;
    for (uint8_t b : bytes) node = (b & t1.at(node * 6 + 1)) + rd16(&t1.at(node * 6 + 4));
    return node * cs::kDecodeNodeSize;
}
uint8_t *Page(Part &p, unsigned page) { return &p.tables[0][cs::kPages + cs::kPageSize * page]; }
uint8_t *TypeTree(Part &p) { return &p.tables[0][rd16(&p.tables[0][cs::kTypeTree])]; }
// The type tree node that the first byte of a character leads to.
uint8_t *TypeLeaf(Part &p, uint8_t lead) {
    uint8_t *root = TypeTree(p);
    return root + cs::kTypeNodeSize * (rd16(root + 2) + (lead & root[1]));
}
uint16_t TypeRecordCount(const Part &p) {
    const Bytes &t0 = p.tables[0];
    return uint16_t((rd16(&t0[cs::kTypeRecordsEnd]) - rd16(&t0[cs::kTypeRecords])) / cs::kTypeRecordSize);
}

// Compiled codesets pass before each edit below; the built-in one must too.
TEST(CodesetValidate, AcceptsTheBuiltinCodeset) {
    EXPECT_EQ(ValidateCodeset(builtin::kCodeset.data, builtin::kCodeset.size, nullptr, 0,
                              builtin::kCodesetTable2.data, builtin::kCodesetTable2.size, nullptr, 0),
              LX_OK);
}

TEST(CodesetValidate, RefusesTablesALookupWouldLeave) {
    struct Case {
        const char *what;
        const std::string &source;
        std::function<void(Part &)> edit;
        int32_t expect;
    };
    auto t0 = [](uint32_t at, uint8_t v) { return [=](Part &p) { p.tables[0][at] = v; }; };
    auto t0w = [](uint32_t at, uint16_t v) { return [=](Part &p) { wr16(&p.tables[0][at], v); }; };
    const Case cases[] = {
        // Byte lengths and max bytes.
        {"byte length 0", kDoubleByte, t0(cs::kByteLength + 0x41, 0), LX_ERR_IO},
        {"byte length 5", kDoubleByte, t0(cs::kByteLength + 0x41, 5), LX_ERR_IO},
        {"byte length above max bytes", kDoubleByte, t0(cs::kByteLength + 0x90, 3), LX_ERR_IO},
        {"max bytes 0", kDoubleByte, t0(cs::kMaxBytes, 0), LX_ERR_IO},
        {"max bytes 5", kWide, t0(cs::kMaxBytes, 5), LX_ERR_IO},
        {"stateful byte length 2", kStateful, t0(cs::kByteLength + 0xC1, 2), LX_ERR_IO},
        {"shift-out 0x80", kStateful, t0(cs::kShiftOut, 0x80), LX_ERR_IO},
        {"shift-in 0", kStateful, t0(cs::kShiftIn, 0), LX_ERR_IO},
        {"equal shift bytes", kStateful, t0(cs::kShiftIn, 0x0E), LX_ERR_IO},
        // Decode tree and values.
        {"leaf base past the values", kDoubleByte,
         [](Part &p) { wr16(&p.tables[1][NodeAt(p, {0x81}) + 4], 0xFFFF); }, LX_ERR_IO},
        {"leaf range past the values", kDoubleByte, [](Part &p) { p.tables[1][NodeAt(p, {0x82}) + 3] = 0xFF; },
         LX_ERR_IO},
        {"values offset past the end", kDoubleByte,
         [](Part &p) { wr16(&p.tables[0][cs::kDecodeValues], uint16_t(rd16(&p.tables[0][cs::kDecodeValues]) + 2)); },
         LX_ERR_IO},
        {"inner node base past the nodes", kDoubleByte, [](Part &p) { wr16(&p.tables[1][4], 200); }, LX_ERR_IO},
        {"root range reaching itself", kDoubleByte,
         [](Part &p) { p.tables[1][2] = 0x00, p.tables[1][3] = 0xFF; }, LX_ERR_IO},  // 0x00, 0x80 lead to node 0
        {"inner node where the last byte is read", kDoubleByte, [](Part &p) { p.tables[1][NodeAt(p, {0x81})] = 0; },
         LX_ERR_IO},
        {"cycle below the root", kWide,
         [](Part &p) {  // inner, every byte back to node 0
             std::fill_n(&p.tables[1][NodeAt(p, {0x90})], 6, 0), p.tables[1][NodeAt(p, {0x90}) + 3] = 0xFF;
         },
         LX_ERR_IO},
        {"no decode tree", kDoubleByte, [](Part &p) { p.tables[1].clear(); }, LX_ERR_IO},
        {"leaf that accepts nothing", kDoubleByte,
         [](Part &p) {  // the base is never read
             uint8_t *n = &p.tables[1][NodeAt(p, {0x81})];
             n[2] = 0xFF, n[3] = 0x00, wr16(n + 4, 0xFFFF);
         },
         LX_OK},
        // Pages.
        {"page kind 5", kDoubleByte, [](Part &p) { Page(p, 0x30)[0] = 5; }, LX_ERR_IO},
        {"kind 5 on a page that maps nothing", kDoubleByte, [](Part &p) { Page(p, 0x12)[0] = 5; }, LX_ERR_IO},
        {"first offset past table 2", kDoubleByte, [](Part &p) { wr16(Page(p, 0x30) + 4, 0xFFF0); }, LX_ERR_IO},
        {"last block one byte past table 2", kDoubleByte,
         [](Part &p) { wr16(Page(p, 0xFF) + 4, uint16_t(rd16(Page(p, 0xFF) + 4) + 1)); }, LX_ERR_IO},
        {"range past table 2", kDoubleByte, [](Part &p) { Page(p, 0xFF)[3] = 0xFF; }, LX_ERR_IO},
        {"second offset past table 3", kWide,
         [](Part &p) { p.tables.resize(std::max<size_t>(p.tables.size(), 4)), wr16(Page(p, 0x02) + 6, 0xFFF0); },
         LX_ERR_IO},
        {"kind 2 page without table 3", kWide, [](Part &p) { p.tables.resize(3); }, LX_ERR_IO},
        {"page that maps nothing, offsets anywhere", kDoubleByte,
         [](Part &p) { wr16(Page(p, 0x12) + 4, 0xFFFF), wr16(Page(p, 0x12) + 6, 0xFFFF); }, LX_OK},
        {"page kind 5 in UTF-8", kUtf8, [](Part &p) { Page(p, 0x00)[0] = 5; }, LX_ERR_IO},
        // Type tree, type records and the offsets of the variable data.
        {"type record past the end", kDoubleByte, [](Part &p) { wr16(TypeLeaf(p, 0x81) + 2, TypeRecordCount(p)); },
         LX_ERR_IO},
        {"type leaf mask past the records", kDoubleByte, [](Part &p) { TypeLeaf(p, 0x81)[1] = 0xFF; }, LX_ERR_IO},
        {"type tree node pointing at itself", kStateful,
         [](Part &p) { TypeTree(p)[1] = 0, wr16(TypeTree(p) + 2, 0); }, LX_ERR_IO},
        {"type records end past table 0", kDoubleByte,
         [](Part &p) { wr16(&p.tables[0][cs::kTypeRecordsEnd], uint16_t(p.tables[0].size() + 1)); }, LX_ERR_IO},
        {"type records before the tree", kDoubleByte,
         [](Part &p) { wr16(&p.tables[0][cs::kTypeRecords], uint16_t(rd16(&p.tables[0][cs::kTypeTree]) - 4)); },
         LX_ERR_IO},
        {"variable data inside the fixed part", kDoubleByte, t0w(cs::kVarStart, cs::kFixedMulti - 4), LX_ERR_IO},
        {"multibyte description cut to its single-byte part", kDoubleByte,
         [](Part &p) { p.tables[0].resize(cs::kFixedSingle); }, LX_ERR_IO},
        {"empty type tree", kWide, t0w(cs::kTypeRecords, uint16_t(cs::kFixedMulti)), LX_ERR_IO},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Part p = Compile(c.source);
        ASSERT_EQ(Validate(p), LX_OK);
        c.edit(p);
        EXPECT_EQ(Validate(p), c.expect);
    }
}

// Whatever validation accepts, no lookup leaves its table.  Random bytes of
// the structural fields of small double-byte and stateful parts are
// overwritten; when the result still passes, every two-byte sequence is
// walked through both trees and every Unicode value through its page, with
// positions checked here.
bool LookupsStayInside(const Part &p) {
    const Bytes &t0 = p.tables[0];
    static const Bytes kAbsent;
    const Bytes &t1 = p.tables.size() > 1 ? p.tables[1] : kAbsent;
    const Bytes &a1 = p.tables.size() > 2 ? p.tables[2] : kAbsent;
    const Bytes &a2 = p.tables.size() > 3 ? p.tables[3] : kAbsent;
    auto inside = [](const Bytes &t, size_t at, size_t n) { return at + n <= t.size(); };
    const size_t tree = rd16(&t0[cs::kTypeTree]), records = rd16(&t0[cs::kTypeRecords]),
                 recordsEnd = rd16(&t0[cs::kTypeRecordsEnd]), values = rd16(&t0[cs::kDecodeValues]);
    for (unsigned b0 = 0; b0 < 256; ++b0)
        for (unsigned b1 = 0; b1 < 256; ++b1) {
            const unsigned seq[2] = {b0, b1};
            // Decode tree, with its byte ranges.
            size_t node = 0;
            for (unsigned i = 0;; ++i) {
                if (i == 2 || !inside(t1, node * 6, 6)) return false;
                const uint8_t *n = &t1[node * 6];
                if (seq[i] < n[2] || seq[i] > n[3]) break;
                const size_t next = rd16(n + 4) + (seq[i] & n[1]);
                if (n[0]) {
                    if (!inside(t1, values + 2 * next, 2)) return false;
                    break;
                }
                node = next;
            }
            // Type tree, without ranges.
            node = 0;
            for (unsigned i = 0;; ++i) {
                if (i == 2 || tree + node * 4 + 4 > records) return false;
                const uint8_t *n = &t0[tree + node * 4];
                const size_t next = rd16(n + 2) + (seq[i] & n[1]);
                if (n[0]) {
                    if (records + next * 8 + 8 > recordsEnd || recordsEnd > t0.size()) return false;
                    break;
                }
                node = next;
            }
        }
    for (unsigned u = 0; u < 0x10000; ++u) {
        const uint8_t *e = &t0[cs::kPages + cs::kPageSize * (u >> 8)];
        if (e[0] > 4) return false;
        if ((u & 0xFF) < e[2] || (u & 0xFF) > e[3]) continue;
        const size_t i = (u & 0xFF) & e[1], first = rd16(e + 4), second = rd16(e + 6);
        static constexpr size_t kWidths[5][2] = {{1, 0}, {2, 0}, {2, 1}, {2, 2}, {1, 1}};
        if (!inside(a1, first + kWidths[e[0]][0] * i, kWidths[e[0]][0])) return false;
        if (kWidths[e[0]][1] && !inside(a2, second + kWidths[e[0]][1] * i, kWidths[e[0]][1])) return false;
    }
    return true;
}

TEST(CodesetValidate, AcceptedTablesKeepEveryLookupInside) {
    uint32_t seed = 12345;
    auto next = [&seed](uint32_t n) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) % n;
    };
    unsigned accepted = 0, refused = 0;
    for (const std::string *source : {&kDoubleByte, &kStateful}) {
        const Part original = Compile(*source);
        for (int round = 0; round < 300; ++round) {
            Part p = original;
            for (int k = 1 + int(next(3)); k > 0; --k) {
                const uint8_t value = next(4) ? uint8_t(next(256)) : uint8_t(next(6));
                // Moving a u16 field by a little probes the edges of the checks.
                auto nudge = [&](uint8_t *field) { wr16(field, uint16_t(rd16(field) + next(5) - 2)); };
                Bytes &t0 = p.tables[0], &t1 = p.tables[1];
                switch (next(6)) {
                case 0: t1[next(uint32_t(t1.size()))] = value; break;
                case 1: t0[cs::kPages + next(cs::kPageSize * 256)] = value; break;
                case 2: t0[cs::kVarStart + next(uint32_t(t0.size() - cs::kVarStart))] = value; break;
                case 3: t0[cs::kPages + cs::kPageSize * 0x30 + next(cs::kPageSize)] = value; break;
                case 4: nudge(&t1[next(uint32_t(t1.size() / cs::kDecodeNodeSize)) * cs::kDecodeNodeSize + 4]); break;
                default: nudge(&t0[next(2) ? cs::kDecodeValues : cs::kPages + cs::kPageSize * next(256) + 4]); break;
                }
            }
            if (Validate(p) != LX_OK) {
                ++refused;
                continue;
            }
            ++accepted;
            ASSERT_TRUE(LookupsStayInside(p)) << "round " << round;
        }
    }
    // Both outcomes occur, so the property was tested on accepted tables.
    EXPECT_GT(accepted, 50u);
    EXPECT_GT(refused, 50u);
}

// Through the loader: a part that fails is refused with 1003 and, in a
// non-strict registry, replaced by the built-in tables; the intact part loads.
TEST(CodesetValidate, LoaderRefusesAnInvalidPart) {
    ScopedEnv noEnv{"LX_LOCALEDIR", std::nullopt};
    const Part good = Compile(kDoubleByte);
    Part bad = good;
    Page(bad, 0x30)[0] = 5;
    LocaleDir dir;
    dir.control({{900, kCodeset, "Good"}, {901, kCodeset, "Bad"}});
    dir.part(kCodeset, 900, good.tables);
    dir.part(kCodeset, 901, bad.tables);
    for (uint32_t flags : {0u, LX_INIT_STRICT}) {
        SCOPED_TRACE(flags);
        Started s(dir.path().c_str(), flags);
        ASSERT_EQ(s.result(), LX_OK);
        int32_t err = -1;
        PartRecord *rec = LXFindPartByNumber(Library().registry, kCodeset, 900, kLoad, &err);
        ASSERT_NE(rec, nullptr);
        EXPECT_EQ(err, LX_OK);
        EXPECT_EQ(rec->flags & kPartBuiltin, 0);
        EXPECT_EQ(rec->size[1], good.tables[1].size());
        rec = LXFindPartByNumber(Library().registry, kCodeset, 901, kLoad, &err);
        EXPECT_EQ(err, LX_ERR_IO);
        if (flags == LX_INIT_STRICT) {
            EXPECT_EQ(rec, nullptr);
        } else {
            ASSERT_NE(rec, nullptr);
            EXPECT_EQ(rec->flags & kPartBuiltin, kPartBuiltin);
            EXPECT_EQ(rec->table[0], builtin::kCodeset.data);
        }
    }
}

}  // namespace
}  // namespace lorvex::test
