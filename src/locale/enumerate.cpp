// Listing the parts of the locale directory: every control record in stored
// order (by kind, then by number), its name in the form the caller asked
// for.  Parts are not loaded.
#include "format/items.h"
#include "frame/state.h"
#include "locale/layout.h"
#include "locale/registry.h"

using namespace lorvex;

namespace {

// Calls callback with each record's kind and its name made by widen(name,
// buffer), until the callback returns 0.  The buffer holds a name of
// kNameSize - 1 characters and its terminator.
template <class Ch, class Callback, class Widen>
int32_t Enumerate(Callback callback, uintptr_t user, Widen widen) {
    const Registry *r = Library().registry;
    if (!callback || !r) return LX_OK;
    Ch name[layout::kNameSize];
    for (uint16_t i = 0; i < r->count; ++i) {
        const PartRecord &rec = r->records[i];
        if (callback(user, rec.kind, widen(rec.name, name)) == 0) break;
    }
    return LX_OK;
}

}  // namespace

extern "C" LX_API int32_t LXEnumLocales(LXEnumFn callback, uintptr_t user) {
    return Enumerate<char>(callback, user, [](const char *name, char *) { return name; });
}

// Part names are text in the portable codeset (codeset 1), one byte per
// character: each byte goes through that codeset's byte-to-UCS-2 table, which
// is loaded for this when it is not yet.
extern "C" LX_API int32_t LXEnumLocalesU(LXEnumFnU callback, uintptr_t user) {
    if (!callback || !Library().registry) return LX_OK;
    const Codeset cs = items::PortableCodeset();
    return Enumerate<LXUchar>(callback, user, [&cs](const char *name, LXUchar *out) {
        int i = 0;
        for (; name[i] != '\0'; ++i) out[i] = cs.toUnicode(uint8_t(name[i]));
        out[i] = 0;
        return static_cast<const LXUchar *>(out);
    });
}

// Each byte of the name becomes one wide character of its value.
extern "C" LX_API int32_t LXEnumLocalesW(LXEnumFnW callback, uintptr_t user) {
    return Enumerate<LXWchar>(callback, user, [](const char *name, LXWchar *out) {
        int i = 0;
        for (; name[i] != '\0'; ++i) out[i] = uint8_t(name[i]);
        out[i] = 0;
        return static_cast<const LXWchar *>(out);
    });
}
