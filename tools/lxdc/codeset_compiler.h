// The codeset compiler: one codeset source (docs/codeset-source.md) in, one
// codeset part (docs/data-format.md, section 5) out.
#pragma once

#include <string>

#include "parts.h"

namespace lxdc {

// Compiles the source text of one codeset.  fileName is used in messages
// only.  Throws Error("fileName:line: reason") for the first problem found;
// tables that outgrow the file format are reported at the "map" line.
Part CompileCodeset(const std::string &text, const std::string &fileName);

}  // namespace lxdc
