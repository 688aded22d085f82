// Locale names and selection: turning "Language_Territory.Codeset@Sort" into
// a locale object, the user's default locale name, and the library default
// locale that null handles stand for.
//
// A name is parsed once, by one template over its character type: the byte
// form and the 32-bit wide form share every step, and the UCS-2 form is
// turned into bytes first.  Names are bounded (kNameMax characters) and are
// never read past that bound, whether or not the caller terminated them.
#include <cstring>

#include "codeset/unicode.h"
#include "format/items.h"
#include "frame/state.h"
#include "locale/layout.h"
#include "locale/locale_object.h"
#include "locale/registry.h"

namespace lorvex {
namespace {

// The longest name, terminator not counted; name buffers are one larger.
constexpr int32_t kNameMax = 131;

// The language an empty (or, with LX_FALLBACK, unknown) language names.
constexpr char kDefaultLanguage[] = "English";

constexpr uint32_t kAllowedFlags = LX_USER_DEFAULT | LX_FALLBACK;

// The "not found" code of each kind of part.
constexpr int32_t kNotFound[4] = {LX_ERR_NO_LANGUAGE, LX_ERR_NO_TERRITORY, LX_ERR_NO_CODESET,
                                  LX_ERR_NO_SORT};

// Where the language block keeps the default part number of each other kind.
constexpr uint32_t kDefaultField[4] = {0, layout::la::kDefaultTerritory, layout::la::kDefaultCodeset,
                                       layout::la::kDefaultSort};

// A run of a name's characters.
template <class Ch>
struct Span {
    const Ch *s;
    int32_t n;
};

// The name's four components, by kind.  An absent component and an empty
// one are both n == 0: either way the default is used.
template <class Ch>
struct Components {
    Span<Ch> part[4];
};

// The characters before the terminator, counting no further than one past
// kNameMax: a result above kNameMax means the name is too long, and the
// caller's memory beyond that point is never touched.
template <class Ch>
int32_t BoundedLength(const Ch *s) {
    int32_t n = 0;
    while (n <= kNameMax && s[n] != 0) ++n;
    return n;
}

// Language [ "_" Territory ] [ "." Codeset ] [ "@" Modifier ].  Each
// component runs up to the next separator that may follow it, so "_" inside
// a codeset and anything at all inside the modifier belong to them.  The
// separators are compared as whole characters: in a wide name only the
// values of "_", "." and "@" themselves separate.
template <class Ch>
Components<Ch> Parse(const Ch *s, int32_t n) {
    const auto isAny = [](Ch c, const char *set) {
        for (; *set; ++set)
            if (c == Ch(*set)) return true;
        return false;
    };
    Components<Ch> c{};
    int32_t at = 0;
    // Each entry: the separator that opens the component (none for the
    // language) and the separators that end it.
    static constexpr struct {
        char opener;
        const char *enders;
    } kSyntax[4] = {{0, "_.@"}, {'_', ".@"}, {'.', "@"}, {'@', ""}};
    for (int kind = 0; kind < 4; ++kind) {
        if (kSyntax[kind].opener) {
            if (at >= n || s[at] != Ch(kSyntax[kind].opener)) continue;
            ++at;
        }
        const int32_t start = at;
        while (at < n && !isAny(s[at], kSyntax[kind].enders)) ++at;
        c.part[kind] = {s + start, at - start};
    }
    return c;
}

// Looks a component up by name.  Each character stands for its low byte (a
// wide name is matched by the low bytes of its characters, as the control
// file holds byte names).  A character whose low byte is 0 is not part of any
// name: the registry would take such a byte as a terminator it is allowed to
// count, so it is refused here as "not found".
template <class Ch>
PartRecord *FindByName(Registry *r, int kind, Span<Ch> name, int32_t *err) {
    char bytes[kNameMax];
    for (int32_t i = 0; i < name.n; ++i) {
        const auto b = uint8_t(name.s[i]);
        if (b == 0) {
            *err = LX_ERR_REJECTED;
            return nullptr;
        }
        bytes[i] = char(b);
    }
    return LXFindPartByName(r, kind, bytes, name.n, kLoad, err);
}

// The default of a kind: the default language by name, the others by the
// number the language block gives.
PartRecord *FindDefault(Registry *r, int kind, const PartRecord *language, int32_t *err) {
    if (kind == layout::kLanguage)
        return LXFindPartByName(r, kind, kDefaultLanguage, int32_t(sizeof kDefaultLanguage - 1), kLoad, err);
    return LXFindPartByNumber(r, kind, layout::rd16(language->table[0] + kDefaultField[kind]), kLoad, err);
}

// Resolves one component: by name when one is given, else (or, with
// LX_FALLBACK, when the name is not found) the default.  Returns the record
// with *code 0; for a sort, null with *code 0 means binary collation.  On
// failure null with the code: 20 out of memory, the kind's "not found" code,
// or 11 for anything else (a part that exists but cannot be loaded in a
// strict registry).  A record returned together with a load error is a part
// that kept the built-in tables in a non-strict registry: that is a success.
template <class Ch>
PartRecord *ResolveComponent(Registry *r, int kind, Span<Ch> name, const PartRecord *language,
                             bool fallback, int32_t *code) {
    int32_t err = LX_OK;
    PartRecord *rec = nullptr;
    bool tryDefault = name.n == 0;
    if (!tryDefault) {
        rec = FindByName(r, kind, name, &err);
        tryDefault = !rec && err == LX_ERR_REJECTED && fallback;
    }
    if (tryDefault) {
        err = LX_OK;
        rec = FindDefault(r, kind, language, &err);
    }
    if (rec || err == LX_OK) {
        *code = LX_OK;
        return rec;
    }
    *code = err == LX_ERR_NO_MEMORY ? LX_ERR_NO_MEMORY
            : err == LX_ERR_REJECTED ? kNotFound[kind]
                                     : LX_ERR_INIT;
    return nullptr;
}

// Builds the locale object of an already measured name.  The object is
// allocated before any part is looked up, so that running out of memory
// costs nothing: a part load that failed for want of memory would otherwise
// leave its record on the built-in tables for good.  Components are resolved
// in order and the first failure ends the call.
template <class Ch>
LXLocale *Build(Registry *r, const Ch *name, int32_t n, uint32_t flags, int32_t *code) {
    auto *loc = static_cast<LXLocale *>(Allocate(sizeof(LXLocale)));
    if (!loc) {
        *code = LX_ERR_NO_MEMORY;
        return nullptr;
    }
    std::memset(loc, 0, sizeof *loc);

    const Components<Ch> c = Parse(name, n);
    const bool fallback = (flags & LX_FALLBACK) != 0;
    PartRecord *parts[4] = {};
    for (int kind = 0; kind < 4; ++kind) {
        parts[kind] = ResolveComponent(r, kind, c.part[kind], parts[0], fallback, code);
        if (*code != LX_OK) {
            LXReleaseLocale(loc, 0);
            return nullptr;
        }
    }
    loc->language = parts[0];
    loc->territory = parts[1];
    loc->codeset = parts[2];
    loc->sort = parts[3];
    SetPartFlags(loc);
    // The override mask and the UCS-2 marks are clear (the object is new);
    // the current item values come from the territory and codeset parts.
    if (const int32_t derived = DeriveItems(loc); derived != LX_OK) {
        LXReleaseLocale(loc, 0);
        *code = derived;
        return nullptr;
    }
    *code = LX_OK;
    return loc;
}

// The user's default locale name, into buf (kNameMax + 1 bytes).  Returns
// its length, or -1 with *code set.
//
// LX_LANG names it when set, cut to kNameMax bytes.  Otherwise the host's
// locale identifier would name it; identifiers are not mapped to names in
// this library yet (POSIX hosts have none: UserLocaleId() is 0), so the name
// is empty, which selects the default language with its defaults.
int32_t UserDefaultName(char *buf, int32_t *code) {
    constexpr int32_t kSize = kNameMax + 1;
    const int32_t need = platform::EnvGet("LX_LANG", buf, kSize);
    if (need == 0) {
        buf[0] = '\0';
        return 0;
    }
    if (need <= kSize) return need - 1;
    // Too long for the buffer: the environment hands out whole values only,
    // so read it into a block of its size and keep the front.  A value that
    // changed between the two reads (a caller racing with setenv) is refused.
    auto *whole = static_cast<char *>(Allocate(size_t(need)));
    if (!whole) {
        *code = LX_ERR_NO_MEMORY;
        return -1;
    }
    const int32_t again = platform::EnvGet("LX_LANG", whole, need);
    const bool ok = again > kSize && again <= need;
    if (ok) {
        std::memcpy(buf, whole, kNameMax);
        buf[kNameMax] = '\0';
    }
    Free(whole);
    if (!ok) {
        *code = LX_ERR_INIT;
        return -1;
    }
    return kNameMax;
}

// A caller's name, bounded by kNameMax characters and built.  A null name
// is the empty name.
template <class Ch>
LXLocale *BuildBounded(Registry *r, const Ch *name, uint32_t flags, int32_t *code) {
    const int32_t n = name ? BoundedLength(name) : 0;
    if (n > kNameMax) {
        *code = LX_ERR_REJECTED;
        return nullptr;
    }
    return Build(r, name, n, flags, code);
}

// The UCS-2 form: each unit becomes its bytes in the portable codeset
// (codeset 1), in which part names are written, and the bytes are built as a
// byte name.  A unit the codeset cannot represent becomes its substitution
// byte and so matches no part.  More than kNameMax bytes is rejected like an
// over-long byte name; the caller's units are read no further than that.
LXLocale *BuildUcs2(Registry *r, const LXUchar *name, uint32_t flags, int32_t *code) {
    char bytes[kNameMax + 1];
    int32_t n = 0;
    if (name) {
        const Codeset cs = items::PortableCodeset();
        for (const LXUchar *u = name; *u != 0; ++u) {
            uint8_t encoded[4];
            const unsigned k = EncodeUnicode(cs, *u, encoded);
            if (n + int32_t(k) > kNameMax) {
                *code = LX_ERR_REJECTED;
                return nullptr;
            }
            std::memcpy(bytes + n, encoded, k);
            n += int32_t(k);
        }
    }
    return Build(r, bytes, n, flags, code);
}

// The steps every form shares: the flag check, the library check and, with
// LX_USER_DEFAULT, the user's default name in place of the caller's; named
// builds the caller's name otherwise.  A null err is replaced by a local code.
template <class Named>
LXLocale *Select(uint32_t flags, int32_t *err, Named named) {
    int32_t local = LX_OK;
    int32_t *code = err ? err : &local;
    if (flags & ~kAllowedFlags) {
        *code = LX_ERR_ARGUMENT;
        return nullptr;
    }
    Registry *r = Library().registry;
    if (!r) {  // the library is not started
        *code = LX_ERR_INIT;
        return nullptr;
    }
    if (flags & LX_USER_DEFAULT) {
        char user[kNameMax + 1];
        const int32_t n = UserDefaultName(user, code);
        return n < 0 ? nullptr : Build(r, user, n, flags, code);
    }
    return named(r, flags, code);
}

// Installs loc as the default locale, releasing the previous one; a null
// loc (a failed selection) leaves the default as it was and returns code.
// No lock: the default is replaced while no other thread uses it.
int32_t Install(LXLocale *loc, int32_t code) {
    if (!loc) return code;
    LibraryState &s = Library();
    LXLocale *old = s.defaultLocale;
    s.defaultLocale = loc;
    if (old) LXReleaseLocale(old, 0);
    return LX_OK;
}

}  // namespace
}  // namespace lorvex

using namespace lorvex;

extern "C" LX_API LXLocale *LXGetLocale(const char *name, uint32_t flags, int32_t *err) {
    return Select(flags, err, [name](Registry *r, uint32_t f, int32_t *code) {
        return BuildBounded(r, name, f, code);
    });
}

extern "C" LX_API LXLocale *LXGetLocaleU(const LXUchar *name, uint32_t flags, int32_t *err) {
    return Select(flags, err, [name](Registry *r, uint32_t f, int32_t *code) {
        return BuildUcs2(r, name, f, code);
    });
}

// With LX_USER_DEFAULT the user's default name is a byte name: the call is
// then exactly the byte form's.
extern "C" LX_API LXLocale *LXGetLocaleW(const LXWchar *name, uint32_t flags, int32_t *err) {
    return Select(flags, err, [name](Registry *r, uint32_t f, int32_t *code) {
        return BuildBounded(r, name, f, code);
    });
}

extern "C" LX_API int32_t LXSetLocale(const char *name, uint32_t flags) {
    int32_t code = LX_OK;
    LXLocale *loc = LXGetLocale(name, flags, &code);
    return Install(loc, code);
}

extern "C" LX_API int32_t LXSetLocaleU(const LXUchar *name, uint32_t flags) {
    int32_t code = LX_OK;
    LXLocale *loc = LXGetLocaleU(name, flags, &code);
    return Install(loc, code);
}

extern "C" LX_API int32_t LXSetLocaleW(const LXWchar *name, uint32_t flags) {
    int32_t code = LX_OK;
    LXLocale *loc = LXGetLocaleW(name, flags, &code);
    return Install(loc, code);
}
