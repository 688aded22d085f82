#include "locale/locale_object.h"

#include <cstring>

#include "codeset/codeset.h"

namespace lorvex {

void SetPartFlags(LXLocale *loc) {
    Codeset cs = CodesetOf(loc);
    uint16_t f = uint16_t(loc->flags & ~(kLocaleSingleByte | kLocaleBinarySort | kLocaleStateful));
    if (cs.maxBytes() == 1) f |= kLocaleSingleByte;
    if (cs.stateful()) f |= kLocaleStateful;
    if (!loc->sort) f |= kLocaleBinarySort;
    loc->flags = f;
}

LXLocale *NewLocale(PartRecord *language, PartRecord *territory, PartRecord *codeset, PartRecord *sort,
                    int32_t *err) {
    auto *loc = static_cast<LXLocale *>(Allocate(sizeof(LXLocale)));
    if (!loc) {
        if (err) *err = LX_ERR_NO_MEMORY;
        return nullptr;
    }
    std::memset(loc, 0, sizeof *loc);
    loc->language = language;
    loc->territory = territory;
    loc->codeset = codeset;
    loc->sort = sort;
    SetPartFlags(loc);
    if (err) *err = LX_OK;
    return loc;
}

}  // namespace lorvex
