// Test support for codesets: small sources built from a few lines, the map
// lines of a source, and the compiled tables as the validator takes them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "lxdc/codeset_compiler.h"
#include "lxdc/parts.h"

namespace lorvex::test {

// An output buffer of n units followed by canaries, so that a test sees what
// a call wrote past the output it reports.
inline constexpr uint8_t kCanary = 0xA5;
template <class T>
struct Out {
    explicit Out(size_t units) : v(units + 8, T(kCanary)), n(units) {}
    std::vector<T> v;
    size_t n;
    T *data() { return v.data(); }
    bool intact(size_t from) const {
        return std::all_of(v.begin() + ptrdiff_t(from), v.end(), [](T x) { return x == T(kCanary); });
    }
    bool intact() const { return intact(n); }
    std::vector<T> first(ptrdiff_t k) const { return std::vector<T>(v.begin(), v.begin() + (k > 0 ? k : 0)); }
};

// A codeset source: name, part and number, max-bytes, then the defaults
// substitution 0x3F, family ascii, stateful no, eol none, each replaced by
// the line of props with its key; other lines of props follow, then "map"
// and map.
std::string CodesetSource(const std::string &name, int number, int maxBytes, const std::string &props,
                          const std::string &map);
// Map lines "0xNN U+00NN" for 0x00-0x7F, less the bytes in except.
std::string AsciiMap(const std::vector<unsigned> &except = {});

// Small codesets: double-byte with a 0x83 lead that leads nothing, stateful
// EBCDIC, and characters of one to four bytes.
extern const std::string kSmallDouble, kSmallStateful, kSmallWide;

// A map line of a source: bytes packed big-endian, Unicode, and 'r' (round
// trip), 'd' (decode only) or 'e' (encode only).
struct MapLine {
    uint32_t bytes;
    uint16_t u;
    char dir;
};
std::vector<MapLine> ParseMap(const std::string &text);

std::string ReadFile(const std::string &path);
// A file under data/codeset of the source tree.
std::string CodesetDataPath(const std::string &file);

// Table t of p, empty when absent.
const lxdc::Bytes &Table(const lxdc::Part &p, size_t t);
// ValidateCodeset over p's tables.
int32_t ValidatePart(const lxdc::Part &p);

}  // namespace lorvex::test
