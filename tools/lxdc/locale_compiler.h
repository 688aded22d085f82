// The language and territory compilers: one source (docs/locale-source.md)
// in, one part out, whose table 0 is the language block or the territory
// block of docs/data-format.md (sections 6 and 7).
#pragma once

#include <string>

#include "parts.h"

namespace lxdc {

// Compiles the source text of one language.  fileName is used in messages
// only.  Throws Error("fileName:line: reason") for the first problem found;
// a missing keyword and a table that outgrows the file format are reported
// at the last line.
Part CompileLanguage(const std::string &text, const std::string &fileName);

// The same for one territory.
Part CompileTerritory(const std::string &text, const std::string &fileName);

}  // namespace lxdc
