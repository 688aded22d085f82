// Locale objects for the benchmarks: the library started on the build's
// locale directory, and one locale per codeset asked for.
#pragma once

#include <cstring>
#include <map>
#include <string>

#include "frame/state.h"
#include "locale/locale_object.h"
#include "locale/registry.h"
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
        using namespace lorvex;
        Registry *r = Library_().registry;
        int32_t err = 0;
        PartRecord *la = LXFindPartByNumber(r, 0, 1, kLoad, &err);
        PartRecord *te = LXFindPartByNumber(r, 1, 1, kLoad, &err);
        PartRecord *cs = LXFindPartByName(r, 2, codeset, int32_t(std::strlen(codeset)), kLoad, &err);
        if (!la || !te || !cs || err != LX_OK) return nullptr;
        LXLocale *loc = NewLocale(la, te, cs, nullptr, &err);
        if (loc) locales_[codeset] = loc;
        return loc;
    }

private:
    static lorvex::LibraryState &Library_() { return lorvex::Library(); }
    bool started_ = false;
    std::map<std::string, LXLocale *> locales_;
};

}  // namespace bench
