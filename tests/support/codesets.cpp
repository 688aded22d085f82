#include "support/codesets.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "codeset/validate.h"

namespace lorvex::test {

std::string CodesetSource(const std::string &name, int number, int maxBytes, const std::string &props,
                          const std::string &map) {
    std::vector<std::string> lines = {"substitution 0x3F", "family ascii", "stateful no", "eol none"};
    std::istringstream in(props);
    for (std::string line; std::getline(in, line);) {
        const std::string key = line.substr(0, line.find(' '));
        const auto defaults = lines.begin() + 4;
        auto same = std::find_if(lines.begin(), defaults,
                                 [&](const std::string &l) { return l.rfind(key + " ", 0) == 0; });
        if (same != defaults) *same = line;
        else lines.push_back(line);
    }
    std::string s = "name " + name + "\npart " + std::to_string(number) + "\nnumber " + std::to_string(number) +
                    "\nmax-bytes " + std::to_string(maxBytes) + "\n";
    for (const std::string &l : lines) s += l + "\n";
    return s + "map\n" + map;
}

std::string AsciiMap(const std::vector<unsigned> &except) {
    std::string s;
    char line[32];
    for (unsigned b = 0; b < 0x80; ++b)
        if (std::find(except.begin(), except.end(), b) == except.end())
            s += (std::snprintf(line, sizeof line, "0x%02X U+%04X\n", b, b), line);
    return s;
}

const std::string kSmallDouble = CodesetSource("Small", 900, 2, "eol 0x0B 0x0C\nlead 0x83 2\nsource hand-written",
    "0x00 U+0000\n0x41 U+0041\n0x42 U+0042\n0x43 U+FF21 encode  # best fit\n0x8140 U+3000\n0x8141 U+3001\n"
    "0x8150 U+4E00\n0x81FE U+4E01\n0x8240 U+00C0\n0x8280 U+3001 decode\n0x8281 U+FF01\n");
const std::string kSmallStateful = CodesetSource("Shifty", 930, 2,
    "substitution 0x6F\nfamily ebcdic\nstateful yes\neol 0x15\nshift-out 0x0E\nshift-in 0x0F",
    "0x40 U+0020\n0xC1 U+0041\n0xF0 U+0030\n0x4040 U+3000\n0xC1C1 U+FF21\n0xC1C2 U+FF22\n0x4481 U+3042\n"
    "0x4482 U+3044 decode\n0x4483 U+3046\n");
const std::string kSmallWide = CodesetSource("Wide", 901, 4, "",
    "0x41 U+0041\n0xA1A1 U+3000\n0xA1FE U+3001\n0x8FA2AF U+02D8\n0x8FA2B0 U+02C7\n0x8FB0A1 U+4E02\n"
    "0x90308130 U+0080\n0x90308131 U+0081\n0x90318130 U+0100\n0x9130FE39 U+0101 decode\n");

std::vector<MapLine> ParseMap(const std::string &text) {
    std::vector<MapLine> lines;
    std::istringstream in(text);
    bool inMap = false;
    for (std::string line; std::getline(in, line);) {
        std::istringstream f(line.substr(0, line.find('#')));
        std::string bytes, u, dir;
        if (!(f >> bytes)) continue;
        if (!inMap) {
            inMap = bytes == "map";
            continue;
        }
        f >> u >> dir;
        lines.push_back({uint32_t(std::stoul(bytes, nullptr, 16)), uint16_t(std::stoul(u.substr(2), nullptr, 16)),
                         dir.empty() ? 'r' : dir[0]});
    }
    return lines;
}

std::string ReadFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}
std::string CodesetDataPath(const std::string &file) {
    return std::string(LORVEX_TEST_SOURCE_DIR) + "/data/codeset/" + file;
}

const lxdc::Bytes &Table(const lxdc::Part &p, size_t t) {
    static const lxdc::Bytes kAbsent;
    return t < p.tables.size() ? p.tables[t] : kAbsent;
}

int32_t ValidatePart(const lxdc::Part &p) {
    auto t = [&](size_t i) { return Table(p, i).empty() ? nullptr : Table(p, i).data(); };
    auto n = [&](size_t i) { return uint32_t(Table(p, i).size()); };
    return ValidateCodeset(t(0), n(0), t(1), n(1), t(2), n(2), t(3), n(3));
}

}  // namespace lorvex::test
