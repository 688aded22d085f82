#include "locale/locale_object.h"

#include <cstring>

#include "codeset/codeset.h"

namespace lorvex {

namespace {

// Whether every character of the codeset takes one or two bytes by its
// byte-length table.  Text in such a codeset can be read from any byte that
// is not a lead byte (walkers.h, StartsChar), which the string functions use
// to search without walking from the start.
bool OneOrTwoBytes(const Codeset &cs) {
    if (cs.stateful() || cs.maxBytes() != 2) return false;
    unsigned other = 0;
    for (unsigned b = 0; b < 256; ++b) other |= unsigned(cs.byteLength(uint8_t(b)) - 1u > 1u);
    return other == 0;
}

}  // namespace

void SetPartFlags(LXLocale *loc) {
    Codeset cs = CodesetOf(loc);
    uint16_t f = uint16_t(loc->flags & ~(kLocaleSingleByte | kLocaleBinarySort | kLocaleStateful | kLocalePairs));
    if (cs.maxBytes() == 1) f |= kLocaleSingleByte;
    if (cs.stateful()) f |= kLocaleStateful;
    if (OneOrTwoBytes(cs)) f |= kLocalePairs;
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
