// Writes locale files: the common header followed by its tables.  Shared by
// the data compiler and the test fixtures, which also use it to build
// deliberately broken files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lorvex::nls {

using Bytes = std::vector<uint8_t>;

struct ControlEntry {
    uint16_t number;
    uint8_t kind;
    std::string name;
};

// Header and tables laid out one after another from offset 76.  The table
// count field is tables.size(); an empty table gets size 0 and offset 0.
Bytes BuildFile(const std::vector<Bytes> &tables, uint32_t versionWord = 0);

// The record area of control.nls: 60-byte records in the order given.
Bytes BuildRecords(const std::vector<ControlEntry> &entries);

// Sorts entries by kind, then number, as the registry's lookups need.
void SortEntries(std::vector<ControlEntry> &entries);

// "la_0001.nls" and so on (no directory).
std::string PartFileName(uint8_t kind, uint16_t number);

// Writes bytes to path; false with errno set on failure.
bool WriteBytes(const std::string &path, const Bytes &bytes);

}  // namespace lorvex::nls
