// Locale objects for the benchmarks: the library started on the build's
// locale directory, and one locale per codeset asked for.
#pragma once

#include <cstring>
#include <map>
#include <string>

#include "lorvex.h"

namespace bench {

class Library {
public:
    Library() { started_ = LXInit(LORVEX_BENCH_LOCALE_DIR, nullptr, nullptr, 0, LX_INIT_STRICT) == LX_OK; }
    ~Library() {
        for (auto &kv : locales_) LXReleaseLocale(kv.second, 0);
        if (started_) LXTerm();
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    // English_UnitedStates with the named codeset; null when it is missing.
    LXLocale *locale(const char *codeset) {
        if (!started_) return nullptr;
        auto it = locales_.find(codeset);
        if (it != locales_.end()) return it->second;
        const std::string name = std::string("English_UnitedStates.") + codeset;
        int32_t err = 0;
        LXLocale *loc = LXGetLocale(name.c_str(), 0, &err);
        if (loc) locales_[codeset] = loc;
        return loc;
    }

private:
    bool started_ = false;
    std::map<std::string, LXLocale *> locales_;
};

}  // namespace bench
