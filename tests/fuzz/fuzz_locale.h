// Locales for the fuzz targets: the library started once, strictly, on the
// build's locale directory, and Language_Territory.Codeset for each codeset
// of the target's list made on first use and kept for the whole run (in a
// plain array, where the leak checker sees them).  A locale that cannot be
// made stops the run.
#pragma once

#include <cstdlib>
#include <string>

#include "lorvex.h"

template <size_t N>
LXLocale *FuzzLocale(const char *languageTerritory, const char *const (&codesets)[N], size_t i) {
    static const bool started = LXInit(LORVEX_FUZZ_LOCALE_DIR, nullptr, nullptr, 0, LX_INIT_STRICT) == LX_OK;
    static LXLocale *locales[N];
    if (!started) std::abort();
    if (!locales[i]) {
        const std::string name = std::string(languageTerritory) + "." + codesets[i];
        locales[i] = LXGetLocale(name.c_str(), 0, nullptr);
        if (!locales[i]) std::abort();
    }
    return locales[i];
}
