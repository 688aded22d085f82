// The compiler's model of a locale directory: the parts it will write, each
// with its kind, number, name and tables.  Every source of parts (the
// built-in locale, the text sources under data/) appends to one PartList;
// the list is then checked as a whole and written out with control.nls.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "nls_writer.h"

namespace lxdc {

using lorvex::nls::Bytes;

struct Part {
    uint8_t kind;               // layout::Kind
    uint16_t number;
    std::string name;
    std::vector<Bytes> tables;  // 1 to 4; an empty table is written as absent
    uint32_t versionWord = 0;   // header version word (layout version in the top bits)
    std::string origin;         // where the part came from, for messages
};

using PartList = std::vector<Part>;

// The origin of the parts AddBuiltinParts appends.
inline constexpr char kBuiltinOrigin[] = "built-in";

// A problem in the input or the output; the message is printed as it is.
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "language 1 \"English\" (built-in)": names a part in messages.
std::string Describe(const Part &p);

// Appends the library's built-in locale: language 1 English, territory 1
// UnitedStates and codeset 1 US-ASCII, from the tables compiled into it.
void AddBuiltinParts(PartList &parts);

// Compiles the text sources under the data directory dir (every
// dir/codeset/*.txt, in name order; data_parts.cpp lists the kinds) and
// appends their parts.  A compiled part replaces a built-in part of the same
// kind and number.
void AddDataParts(PartList &parts, const std::string &dir);

// Checks the list as a whole: names, numbers, table sizes and the defaults
// each language names.  Throws Error listing every problem found.
void CheckParts(const PartList &parts);

// Writes every part file and then control.nls (records sorted by kind and
// number) into dir, creating it when missing.  Each file is written beside
// its target and renamed over it, and control.nls comes last, so a reader
// never sees a control file that names a part not yet written.
void WriteDirectory(const std::string &dir, const PartList &parts);

}  // namespace lxdc
