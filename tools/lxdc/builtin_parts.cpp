// The built-in locale as compiled part files, so that a locale directory
// always holds at least what the library falls back to.
#include "locale/builtin.h"
#include "locale/layout.h"
#include "parts.h"

namespace lxdc {

namespace {

Bytes Copy(const lorvex::builtin::Table &t) { return Bytes(t.data, t.data + t.size); }

}  // namespace

void AddBuiltinParts(PartList &parts) {
    using namespace lorvex;
    parts.push_back({layout::kLanguage, 1, "English", {Copy(builtin::kLanguage)}, 0, kBuiltinOrigin});
    parts.push_back(
        {layout::kTerritory, 1, "UnitedStates", {Copy(builtin::kTerritory)}, 0, kBuiltinOrigin});
    // Table 1 (the decode tree) is absent: every US-ASCII character is one byte.
    parts.push_back({layout::kCodeset,
                     1,
                     "US-ASCII",
                     {Copy(builtin::kCodeset), Bytes{}, Copy(builtin::kCodesetTable2)},
                     0,
                     kBuiltinOrigin});
}

}  // namespace lxdc
