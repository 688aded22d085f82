#include "nls_writer.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "locale/layout.h"

namespace lorvex::nls {

using namespace lorvex::layout;

Bytes BuildFile(const std::vector<Bytes> &tables, uint32_t versionWord) {
    if (tables.empty() || tables.size() > kMaxTables)
        throw std::invalid_argument("a locale file holds 1 to 4 tables");
    Bytes out(kHeaderSize, 0);
    wr32(&out[kHdrMagic], kMagic);
    wr32(&out[kHdrVersion], versionWord);
    wr16(&out[kHdrTableCount], uint16_t(tables.size()));
    for (size_t t = 0; t < tables.size(); ++t) {
        if (tables[t].size() > kMaxTableSize)
            throw std::length_error("table " + std::to_string(t) + " exceeds 65535 bytes");
        if (tables[t].empty()) continue;
        wr16(&out[kHdrTableSize[t]], uint16_t(tables[t].size()));
        wr32(&out[kHdrTableOffset[t]], uint32_t(out.size()));
        out.insert(out.end(), tables[t].begin(), tables[t].end());
    }
    return out;
}

Bytes BuildRecords(const std::vector<ControlEntry> &entries) {
    Bytes out(entries.size() * kRecordSize, 0);
    for (size_t i = 0; i < entries.size(); ++i) {
        uint8_t *r = &out[i * kRecordSize];
        const ControlEntry &e = entries[i];
        if (e.name.size() >= kNameSize)
            throw std::length_error("part name longer than 35 bytes: " + e.name);
        wr16(r + kRecNumber, e.number);
        r[kRecKind] = e.kind;
        std::copy(e.name.begin(), e.name.end(), r + kRecName);
    }
    return out;
}

void SortEntries(std::vector<ControlEntry> &entries) {
    std::stable_sort(entries.begin(), entries.end(), [](const ControlEntry &a, const ControlEntry &b) {
        return a.kind != b.kind ? a.kind < b.kind : a.number < b.number;
    });
}

std::string PartFileName(uint8_t kind, uint16_t number) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%s_%04u.nls", kind < 4 ? kKindPrefix[kind] : "xx", unsigned(number));
    return buf;
}

bool WriteBytes(const std::string &path, const Bytes &bytes) {
    FILE *f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace lorvex::nls
