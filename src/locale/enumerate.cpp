// Listing the parts of the locale directory.
#include "frame/state.h"
#include "locale/registry.h"

using namespace lorvex;

extern "C" LX_API int32_t LXEnumLocales(LXEnumFn callback, uintptr_t user) {
    const Registry *r = Library().registry;
    if (!callback || !r) return LX_OK;
    for (uint16_t i = 0; i < r->count; ++i) {
        const PartRecord &rec = r->records[i];
        if (callback(user, rec.kind, rec.name) == 0) break;
    }
    return LX_OK;
}
