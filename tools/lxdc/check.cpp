// Whole-list checks before anything is written: a part the library could
// never select, or a file it would reject, is an error here rather than a
// surprise at run time.
#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <utility>

#include "locale/layout.h"
#include "parts.h"

namespace lxdc {

using namespace lorvex::layout;

namespace {

const char *const kKindName[4] = {"language", "territory", "codeset", "sort"};

std::string Lower(std::string s) {
    for (char &c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Smallest table 0 the library reads without running off its end.
uint32_t MinimumTable0(uint8_t kind) {
    switch (kind) {
        case kLanguage: return la::kFixed;
        case kTerritory: return te::kFixed;
        case kCodeset: return cs::kFixedSingle;
        default: return so::kFixed;
    }
}

void CheckName(const Part &p, std::vector<std::string> &problems) {
    const std::string what = Describe(p) + ": ";
    if (p.name.empty()) problems.push_back(what + "empty name");
    if (p.name.size() >= kNameSize)
        problems.push_back(what + "name longer than " + std::to_string(kNameSize - 1) + " bytes");
    // Names are parsed out of "Language_Territory.Codeset@Sort": the
    // separators cannot appear inside one, nor anything but printable ASCII.
    for (char c : p.name) {
        if (c <= ' ' || c > '~' || c == '_' || c == '.' || c == '@') {
            problems.push_back(what + "name may hold only printable ASCII other than space, '_', '.' and '@'");
            break;
        }
    }
    if (p.kind == kSort && Lower(p.name) == "binary")
        problems.push_back(what + "\"BINARY\" is reserved for binary collation");
}

void CheckTables(const Part &p, std::vector<std::string> &problems) {
    const std::string what = Describe(p) + ": ";
    if (p.tables.empty() || p.tables.size() > kMaxTables) {
        problems.push_back(what + "a part file holds 1 to 4 tables, not " +
                           std::to_string(p.tables.size()));
        return;
    }
    for (size_t t = 0; t < p.tables.size(); ++t)
        if (p.tables[t].size() > kMaxTableSize)
            problems.push_back(what + "table " + std::to_string(t) + " has " +
                               std::to_string(p.tables[t].size()) + " bytes (at most 65535)");
    if (p.tables[0].size() < MinimumTable0(p.kind))
        problems.push_back(what + "table 0 has " + std::to_string(p.tables[0].size()) +
                           " bytes, fewer than the " + std::to_string(MinimumTable0(p.kind)) +
                           " a " + kKindName[p.kind] + " needs");
}

}  // namespace

std::string Describe(const Part &p) {
    std::string s = p.kind < 4 ? kKindName[p.kind] : "kind " + std::to_string(p.kind);
    s.append(" ").append(std::to_string(p.number)).append(" \"").append(p.name).append("\"");
    if (!p.origin.empty()) s.append(" (").append(p.origin).append(")");
    return s;
}

void CheckParts(const PartList &parts) {
    std::vector<std::string> problems;
    std::map<std::pair<uint8_t, uint16_t>, const Part *> byNumber;
    std::map<std::pair<uint8_t, std::string>, const Part *> byName;

    for (const Part &p : parts) {
        if (p.kind >= 4) {
            problems.push_back(Describe(p) + ": unknown kind");
            continue;
        }
        // Number 0 means "none" where a language names its defaults.
        if (p.number == 0) problems.push_back(Describe(p) + ": part numbers start at 1");
        CheckName(p, problems);
        CheckTables(p, problems);
        auto [n, newNumber] = byNumber.emplace(std::make_pair(p.kind, p.number), &p);
        if (!newNumber)
            problems.push_back(Describe(p) + ": number already used by " + Describe(*n->second));
        // Lookups by name ignore ASCII case and stop at the first match.
        auto [m, newName] = byName.emplace(std::make_pair(p.kind, Lower(p.name)), &p);
        if (!newName)
            problems.push_back(Describe(p) + ": name already used by " + Describe(*m->second));
    }

    // A language's defaults complete a locale name that leaves parts out;
    // each must exist (sort 0 stands for binary collation).
    for (const Part &p : parts) {
        if (p.kind != kLanguage || p.tables.empty() || p.tables[0].size() < la::kFixed) continue;
        const uint8_t *t = p.tables[0].data();
        const struct {
            uint8_t kind;
            uint16_t number;
        } defaults[] = {{kTerritory, rd16(t + la::kDefaultTerritory)},
                        {kCodeset, rd16(t + la::kDefaultCodeset)},
                        {kSort, rd16(t + la::kDefaultSort)}};
        for (const auto &d : defaults) {
            if (d.kind == kSort && d.number == 0) continue;
            if (!byNumber.count({d.kind, d.number}))
                problems.push_back(Describe(p) + ": default " + kKindName[d.kind] + " " +
                                   std::to_string(d.number) + " is not among the parts");
        }
    }

    if (!problems.empty()) {
        std::string msg;
        for (const std::string &s : problems) msg += (msg.empty() ? "" : "\n") + s;
        throw Error(msg);
    }
}

}  // namespace lxdc
