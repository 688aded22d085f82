// The built-in locale: language "English", territory "UnitedStates" and
// codeset "US-ASCII", in the same layouts as the part files, used when no
// locale directory can be read.  The tables are generated (see
// builtin_tables.generated.cpp for the command).
#pragma once

#include <cstdint>

namespace lorvex::builtin {

struct Table {
    const uint8_t *data;
    uint16_t size;
};

extern const Table kLanguage;       // table 0 of language 1, "English"
extern const Table kTerritory;      // table 0 of territory 1, "UnitedStates"
extern const Table kCodeset;        // table 0 of codeset 1, "US-ASCII": the description
extern const Table kCodesetTable2;  // table 2 of codeset 1: from-Unicode first data area

}  // namespace lorvex::builtin
