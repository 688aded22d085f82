// Locale names and selection: parsing, defaults, fallbacks and codes of
// LXGetLocale and its UCS-2 and wide forms, the user's default name, the
// library default locale, the enumeration forms, bounds on names, and running
// out of memory at every step.
#include <gtest/gtest.h>

#include <strings.h>

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "frame/state.h"
#include "locale/layout.h"
#include "locale/registry.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

using namespace layout;

// Every name the native identifier table produces.
struct Release {
    void operator()(LXLocale *loc) const { LXReleaseLocale(loc, 0); }
};
using Owned = std::unique_ptr<LXLocale, Release>;

template <class Ch>
std::vector<Ch> Widen(const std::string &s) {
    std::vector<Ch> u;
    for (unsigned char c : s) u.push_back(c);
    u.push_back(0);
    return u;
}

Owned Get(const std::string &name) { return Owned(LXGetLocale(name.c_str(), 0, nullptr)); }

// A locale as the numbers of its parts (sort 0: binary), for comparing what
// two calls selected; a failure as its code, negated, in the language place.
using Parts = std::tuple<int, int, int, int>;
Parts PartsOf(const LXLocale *loc) {
    return {loc->language->number, loc->territory->number, loc->codeset->number, loc->sort ? loc->sort->number : 0};
}
Parts Failed(int32_t code) { return {-code, 0, 0, 0}; }

// What a name selects in the plain, UCS-2 and wide forms, which must agree.
// err starts at a value no call sets, so that a call that forgets it shows.
Parts Resolve(const std::string &name, uint32_t flags = 0) {
    int32_t err[3] = {-1, -1, -1};
    const Owned loc[3] = {Owned(LXGetLocale(name.c_str(), flags, &err[0])),
                          Owned(LXGetLocaleU(Widen<LXUchar>(name).data(), flags, &err[1])),
                          Owned(LXGetLocaleW(Widen<LXWchar>(name).data(), flags, &err[2]))};
    Parts got[3];
    for (int i = 0; i < 3; ++i) {
        got[i] = loc[i] ? PartsOf(loc[i].get()) : Failed(err[i]);
        EXPECT_EQ(loc[i] != nullptr, err[i] == LX_OK) << name << " form " << i << " error " << err[i];
        EXPECT_EQ(got[i], got[0]) << name << " form " << i;
    }
    return got[0];
}

bool SameNoCase(const std::string &a, const char *b) { return strcasecmp(a.c_str(), b) == 0; }

uint16_t LanguageDefault(const LXLocale *loc, uint32_t field) { return rd16(loc->language->table[0] + field); }

class CleanEnv : public ::testing::Test {
protected:
    ScopedEnv noDir{"LX_LOCALEDIR", std::nullopt}, noLang{"LX_LANG", std::nullopt};
};

class SelectTest : public CleanEnv {
protected:
    Started lib{LORVEX_TEST_LOCALE_DIR, LX_INIT_STRICT};
    void SetUp() override { ASSERT_EQ(lib.result(), LX_OK); }
};

// Each name selects exactly the parts it names, and the language's defaults
// for the parts it leaves out.  No sort parts are compiled yet, so the two
// names with a sort modifier fail with 33.  "Unknown", the name of an
// identifier the table lacks, is no language.
TEST_F(SelectTest, EveryNativeNameResolves) {
    const auto rows = Split(kNativeNames, ';');
    ASSERT_EQ(rows.size(), 114u);
    EXPECT_EQ(Resolve("Unknown"), Failed(LX_ERR_NO_LANGUAGE));
    for (const std::string &row : rows) {
        const std::string name = row.substr(row.find(' ') + 1);
        SCOPED_TRACE(name);
        const Parts parts = Resolve(name);
        if (name.find('@') != std::string::npos) {
            EXPECT_EQ(parts, Failed(LX_ERR_NO_SORT));
            continue;
        }
        const Owned got = Get(name);
        ASSERT_NE(got, nullptr);
        const LXLocale *loc = got.get();
        const size_t us = name.find('_'), dot = name.find('.');
        EXPECT_TRUE(SameNoCase(name.substr(0, std::min(us, dot)), loc->language->name));
        if (us != std::string::npos)
            EXPECT_TRUE(SameNoCase(name.substr(us + 1, dot == std::string::npos ? dot : dot - us - 1),
                                   loc->territory->name));
        else
            EXPECT_EQ(loc->territory->number, LanguageDefault(loc, la::kDefaultTerritory));
        if (dot != std::string::npos)
            EXPECT_TRUE(SameNoCase(name.substr(dot + 1), loc->codeset->name));
        else
            EXPECT_EQ(loc->codeset->number, LanguageDefault(loc, la::kDefaultCodeset));
        EXPECT_EQ(loc->sort, nullptr);
        EXPECT_TRUE(loc->flags & kLocaleBinarySort);
    }
}

// Every language and every territory of the data loads in the strict
// registry and works with UTF-8, and the object reads its texts in it (a day
// name and a territory name).
TEST_F(SelectTest, EveryPartWorksWithUtf8) {
    std::vector<std::pair<int32_t, std::string>> parts;
    LXEnumLocales([](uintptr_t user, int32_t kind, const char *name) -> int32_t {
        reinterpret_cast<std::vector<std::pair<int32_t, std::string>> *>(user)->emplace_back(kind, name);
        return 1;
    }, reinterpret_cast<uintptr_t>(&parts));
    int tried = 0;
    for (const auto &[kind, name] : parts) {
        if (kind > 1) continue;
        const std::string locale = (kind == 0 ? name : "English_" + name) + ".UTF-8";
        int32_t err = -1;
        LXLocale *loc = LXGetLocale(locale.c_str(), 0, &err);
        ASSERT_NE(loc, nullptr) << locale << " error " << err;
        unsigned char text[128];
        EXPECT_GT(LXGetLocaleTextInfo(loc, LXI_DAY_2, text, sizeof text, 0), 1) << locale;
        EXPECT_GT(LXGetLocaleTextInfo(loc, LXI_TERRITORY_NAME, text, sizeof text, 0), 1) << locale;
        LXReleaseLocale(loc, 0);
        ++tried;
    }
    EXPECT_EQ(tried, 64 + 97);
}

// Names that select the same parts as a canonical spelling: case, empty and
// absent components (the empty name is English with its defaults), and the
// binary sort modifier.
TEST_F(SelectTest, SpellingsOfTheSameLocale) {
    const struct { const char *name, *same; } kCases[] = {
        {"", "English_UnitedStates.MS1252"}, {"english", "English_UnitedStates.MS1252"},
        {"GERMAN_germany.ms1252", "German_Germany.MS1252"}, {"gErMaN_AuStRiA", "German_Austria.MS1252"},
        {"German_.MS1252", "German_Germany.MS1252"}, {"German_", "German_Germany.MS1252"},
        {"German.", "German_Germany.MS1252"}, {"German@", "German_Germany.MS1252"},
        {"German_.", "German_Germany.MS1252"}, {"German_Austria.@", "German_Austria.MS1252"},
        {"_Germany", "English_Germany.MS1252"}, {".UTF-8", "English_UnitedStates.UTF-8"},
        {"@BINARY", "English_UnitedStates.MS1252"}, {"English@BINARY", "English_UnitedStates.MS1252"},
        {"german@binary", "German_Germany.MS1252"}, {"Japanese_Japan.MS932@Binary", "Japanese_Japan.MS932"},
        {"Japanese", "Japanese_Japan.MS932"},
    };
    for (const auto &c : kCases) {
        SCOPED_TRACE(c.name);
        const Parts parts = Resolve(c.name);
        EXPECT_GT(std::get<0>(parts), 0);
        EXPECT_EQ(parts, Resolve(c.same));
        EXPECT_EQ(std::get<3>(parts), 0);
    }
    const Owned null(LXGetLocale(nullptr, 0, nullptr));
    ASSERT_NE(null, nullptr);
    EXPECT_EQ(PartsOf(null.get()), Resolve("English_UnitedStates.MS1252"));
}

// Without LX_FALLBACK the first component that names no part ends the call
// with its kind's code; with it, each is replaced by its default (the
// language by English) and the call goes on.
TEST_F(SelectTest, MissingComponentsFailOrFallBack) {
    const struct {
        const char *name;
        int32_t code;           // without LX_FALLBACK
        const char *fallback;   // what LX_FALLBACK selects instead
    } kCases[] = {
        {"Engl", LX_ERR_NO_LANGUAGE, "English_UnitedStates.MS1252"},
        {"Englishman", LX_ERR_NO_LANGUAGE, "English_UnitedStates.MS1252"},
        {"Klingon_Germany.MS1250", LX_ERR_NO_LANGUAGE, "English_Germany.MS1250"},
        {"Klingon_Atlantis.Nope@Nada", LX_ERR_NO_LANGUAGE, "English_UnitedStates.MS1252"},
        {"German_Germ", LX_ERR_NO_TERRITORY, "German_Germany.MS1252"},
        {"German_Atlantis.MS1250", LX_ERR_NO_TERRITORY, "German_Germany.MS1250"},
        {"German_Atlantis.Nope@Nada", LX_ERR_NO_TERRITORY, "German_Germany.MS1252"},
        {"German_Austria_Germany", LX_ERR_NO_TERRITORY, "German_Germany.MS1252"},
        {"German_Austria.MS125", LX_ERR_NO_CODESET, "German_Austria.MS1252"},
        {"German_Austria.MS1252_Germany", LX_ERR_NO_CODESET, "German_Austria.MS1252"},
        {"German_Germany.Nope@Nada", LX_ERR_NO_CODESET, "German_Germany.MS1252"},
        {"German@Nada", LX_ERR_NO_SORT, "German_Germany.MS1252"},
        {"German@BINARY_Austria", LX_ERR_NO_SORT, "German_Germany.MS1252"},
        {"Spanish_Spain.MS1252@TraditionalSpanish", LX_ERR_NO_SORT, "Spanish_Spain.MS1252"},
        {"English_UnitedStates.MS1252@Spanish", LX_ERR_NO_SORT, "English_UnitedStates.MS1252"},
    };
    for (const auto &c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Resolve(c.name), Failed(c.code));
        const Parts fallen = Resolve(c.name, LX_FALLBACK);
        EXPECT_GT(std::get<0>(fallen), 0);
        EXPECT_EQ(fallen, Resolve(c.fallback));
    }
    // A name that needs no fallback is not changed by the flag.
    EXPECT_EQ(Resolve("French_Canada.UTF-8", LX_FALLBACK), Resolve("French_Canada.UTF-8"));
}

TEST_F(SelectTest, FlagsOutsideUserDefaultAndFallbackAreRejected) {
    for (uint32_t flags : {0x1u, 0x8u, 0x10u, 0x4000u, 0x80000000u, 0xFFFFFFFFu, 0x8u | LX_FALLBACK}) {
        SCOPED_TRACE(flags);
        EXPECT_EQ(Resolve("German", flags), Failed(LX_ERR_ARGUMENT));
        EXPECT_EQ(LXGetLocale("German", flags, nullptr), nullptr);
        EXPECT_EQ(LXSetLocale("German", flags), LX_ERR_ARGUMENT);
    }
    EXPECT_GT(std::get<0>(Resolve("German", LX_USER_DEFAULT | LX_FALLBACK)), 0);
}

TEST_F(SelectTest, LocaleFlagsFollowTheCodeset) {
    const struct { const char *name; bool singleByte, stateful; } kCases[] = {
        {"German_Germany.MS1252", true, false}, {"German_Germany.US-ASCII", true, false},
        {"Japanese_Japan.MS932", false, false}, {"Japanese_Japan.UTF-8", false, false},
        {"Japanese_Japan.IBM939", false, true},
    };
    for (const auto &c : kCases) {
        SCOPED_TRACE(c.name);
        const Owned got = Get(c.name);
        ASSERT_NE(got, nullptr);
        EXPECT_EQ((got->flags & kLocaleSingleByte) != 0, c.singleByte);
        EXPECT_EQ((got->flags & kLocaleStateful) != 0, c.stateful);
    }
}

// The name syntax allows 131 bytes.  A longer name is refused with 37 in
// every form, and nothing past the 132nd character is read: the buffers below
// end there without a terminator (the sanitizer build catches a read past).
TEST_F(SelectTest, NamesLongerThan131AreRejected) {
    const std::string head = "German_Germany.MS1252@";
    for (size_t length : {130u, 131u, 132u, 133u, 400u}) {
        SCOPED_TRACE(length);
        std::string name = head + std::string(length - head.size(), 'x');
        EXPECT_EQ(Resolve(name), Failed(length <= 131 ? LX_ERR_NO_SORT : LX_ERR_REJECTED));
        EXPECT_EQ(Resolve(name, LX_FALLBACK) == Resolve("German"), length <= 131);
    }
    std::vector<char> bytes(132, 'x');
    std::vector<LXUchar> units(132, 'x');
    std::vector<LXWchar> wide(132, 'x');
    int32_t err[3] = {-1, -1, -1};
    EXPECT_EQ(LXGetLocale(bytes.data(), 0, &err[0]), nullptr);
    EXPECT_EQ(LXGetLocaleU(units.data(), 0, &err[1]), nullptr);
    EXPECT_EQ(LXGetLocaleW(wide.data(), LX_FALLBACK, &err[2]), nullptr);
    for (int32_t e : err) EXPECT_EQ(e, LX_ERR_REJECTED);
}

// Part names are ASCII: a byte above 0x7F anywhere in a component makes it
// name no part, with that component's code (a UCS-2 character there becomes
// the portable codeset's substitution byte; a wide one its low byte).
TEST_F(SelectTest, BytesAbove7FMatchNoPart) {
    for (int b = 0x80; b <= 0xFF; ++b) {
        const std::string c(1, char(b));
        SCOPED_TRACE(b);
        EXPECT_EQ(Resolve(c), Failed(LX_ERR_NO_LANGUAGE));
        EXPECT_EQ(Resolve("German" + c), Failed(LX_ERR_NO_LANGUAGE));
        EXPECT_EQ(Resolve(c + "German_Germany"), Failed(LX_ERR_NO_LANGUAGE));
        EXPECT_EQ(Resolve("German_Germany" + c + ".MS1252"), Failed(LX_ERR_NO_TERRITORY));
        EXPECT_EQ(Resolve("German_" + c), Failed(LX_ERR_NO_TERRITORY));
        EXPECT_EQ(Resolve("German_Germany.MS" + c + "1252"), Failed(LX_ERR_NO_CODESET));
        EXPECT_EQ(Resolve("German@" + c), Failed(LX_ERR_NO_SORT));
        EXPECT_EQ(Resolve("German@BINARY" + c), Failed(LX_ERR_NO_SORT));
    }
}

// A wide name: "_", "." and "@" separate only as exactly those values, and
// each component is matched by the low byte of each character.  A character
// whose low byte is 0 belongs to no part name.
TEST_F(SelectTest, WideNamesMatchByLowBytes) {
    // The characters marked '^' get `high` added.
    const auto resolveW = [](const std::string &name, const std::string &marks, LXWchar high = 0x12300) {
        std::vector<LXWchar> w = Widen<LXWchar>(name);
        for (size_t i = 0; i < marks.size(); ++i)
            if (marks[i] == '^') w[i] |= high;
        int32_t err = -1;
        Owned loc(LXGetLocaleW(w.data(), 0, &err));
        return loc ? PartsOf(loc.get()) : Failed(err);
    };
    const std::string nul(1, '\0');
    EXPECT_EQ(resolveW("German_Austria.MS1250", "^  ^         ^      ^"), Resolve("German_Austria.MS1250"));
    EXPECT_EQ(resolveW("German_Austria", "      ^"), Failed(LX_ERR_NO_LANGUAGE));
    EXPECT_EQ(resolveW("German_Austria.M", "              ^"), Failed(LX_ERR_NO_TERRITORY));
    EXPECT_EQ(resolveW("English" + nul, "       ^", 0x100), Failed(LX_ERR_NO_LANGUAGE));
    EXPECT_EQ(resolveW("German@BINARY" + nul, "             ^", 0x4200), Failed(LX_ERR_NO_SORT));
}

TEST_F(SelectTest, UserDefaultComesFromLxLang) {
    const Parts english = Resolve("English");
    const struct {
        const char *lang;  // null: LX_LANG unset
        uint32_t flags;
        Parts expected;
    } kCases[] = {
        {nullptr, 0, english}, {"", 0, english}, {"French_France.UTF-8", 0, Resolve("French_France.UTF-8")},
        {"japanese", 0, Resolve("Japanese_Japan.MS932")}, {"Nowhere", 0, Failed(LX_ERR_NO_LANGUAGE)},
        {"Nowhere_France", LX_FALLBACK, Resolve("English_France")}, {"German_Germany.MS1252@", 0, Resolve("German")},
    };
    for (const auto &c : kCases) {
        SCOPED_TRACE(c.lang ? c.lang : "(unset)");
        ScopedEnv lang("LX_LANG", c.lang ? std::optional<std::string>(c.lang) : std::nullopt);
        // The name argument is ignored, in every form.
        EXPECT_EQ(Resolve("Greek_Greece.MS1253", LX_USER_DEFAULT | c.flags), c.expected);
        int32_t err = -1;
        Owned loc(LXGetLocale(nullptr, LX_USER_DEFAULT | c.flags, &err));
        EXPECT_EQ(loc ? PartsOf(loc.get()) : Failed(err), c.expected);
    }
}

// LX_LANG is cut to 131 bytes rather than refused: what is left is parsed as
// a name (here the modifier is cut, and LX_FALLBACK then replaces it).
TEST_F(SelectTest, LongLxLangIsCut) {
    for (size_t length : {131u, 132u, 1000u}) {
        SCOPED_TRACE(length);
        const std::string head = "German_Austria.MS1250@";
        const std::string value = head + std::string(length - head.size(), 'q');
        ScopedEnv lang("LX_LANG", value);
        EXPECT_EQ(Resolve("", LX_USER_DEFAULT), Failed(LX_ERR_NO_SORT));
        EXPECT_EQ(Resolve("", LX_USER_DEFAULT | LX_FALLBACK), Resolve("German_Austria.MS1250"));
        EXPECT_EQ(Resolve(value), Failed(length <= 131 ? LX_ERR_NO_SORT : LX_ERR_REJECTED));
    }
}

TEST_F(SelectTest, SetLocaleInstallsTheDefaultAndReleasesTheOldOne) {
    const unsigned char dbcs[] = {0x82, 0xA0, 0};
    EXPECT_EQ(LXSetLocale("German_Germany.MS1252", 0), LX_OK);
    LXLocale *german = Library().defaultLocale;
    ASSERT_NE(german, nullptr);
    EXPECT_EQ(PartsOf(german), Resolve("German_Germany.MS1252"));
    EXPECT_EQ(LXByteLength(nullptr, dbcs), 1);

    // Each form installs its locale; a null handle then means it.
    EXPECT_EQ(LXSetLocaleU(Widen<LXUchar>("Japanese_Japan.MS932").data(), 0), LX_OK);
    EXPECT_EQ(PartsOf(Library().defaultLocale), Resolve("Japanese_Japan.MS932"));
    EXPECT_EQ(LXByteLength(nullptr, dbcs), 2);
    EXPECT_EQ(LXSetLocaleW(Widen<LXWchar>("Japanese_Japan.UTF-8").data(), 0), LX_OK);
    EXPECT_EQ(PartsOf(Library().defaultLocale), Resolve("Japanese_Japan.UTF-8"));

    // A call through the null handle reports into the default object.
    EXPECT_EQ(LXTerminateStringEx(nullptr, nullptr, 0, 0x99), -1);
    EXPECT_EQ(LXGetError(nullptr), LX_ERR_ARGUMENT);
    EXPECT_EQ(Library().defaultLocale->error, LX_ERR_ARGUMENT);

    // A failed selection leaves the default as it was.
    LXLocale *before = Library().defaultLocale;
    EXPECT_EQ(LXSetLocale("Nowhere", 0), LX_ERR_NO_LANGUAGE);
    EXPECT_EQ(LXSetLocaleU(Widen<LXUchar>("German_Atlantis").data(), 0), LX_ERR_NO_TERRITORY);
    EXPECT_EQ(LXSetLocaleW(Widen<LXWchar>("German.Nope").data(), 0), LX_ERR_NO_CODESET);
    EXPECT_EQ(Library().defaultLocale, before);
    EXPECT_EQ(LXGetError(nullptr), LX_ERR_ARGUMENT);
}

// Replacing the default frees the one it replaces: with the parts loaded,
// installing locales over and over takes no more memory.
TEST(SelectMemory, SetLocaleReleasesTheDefaultItReplaces) {
    ScopedEnv noDir{"LX_LOCALEDIR", std::nullopt};
    CountingAllocator a;
    {
        Started lib(LORVEX_TEST_LOCALE_DIR, LX_INIT_STRICT, &a);
        ASSERT_EQ(lib.result(), LX_OK);
        ASSERT_EQ(LXSetLocale("German_Germany.MS1252", 0), LX_OK);
        ASSERT_EQ(LXSetLocale("Japanese_Japan.MS932", 0), LX_OK);
        const long live = a.live;
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(LXSetLocale(i % 2 ? "Japanese_Japan.MS932" : "German_Germany.MS1252", 0), LX_OK);
            EXPECT_EQ(a.live, live);
        }
    }
    // The last stop releases the default too.
    EXPECT_EQ(a.live, 0);
}

TEST(SelectMemory, NothingWorksBeforeTheLibraryStarts) {
    ASSERT_EQ(Library().registry, nullptr);
    int32_t err = -1;
    EXPECT_EQ(LXGetLocale("English", 0, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_INIT);
    EXPECT_EQ(LXSetLocaleU(Widen<LXUchar>("English").data(), 0), LX_ERR_INIT);
    EXPECT_EQ(LXSetLocaleW(Widen<LXWchar>("English").data(), LX_USER_DEFAULT), LX_ERR_INIT);
    EXPECT_EQ(LXEnumLocalesU([](uintptr_t, int32_t, const LXUchar *) -> int32_t { return 1; }, 0), LX_OK);
}

struct Listing {
    std::vector<std::string> names;
    int stopAfter;  // 0: never stop
};

template <class Ch>
int32_t Collect(uintptr_t user, int32_t kind, const Ch *name) {
    auto *l = reinterpret_cast<Listing *>(user);
    l->names.push_back(std::to_string(kind) + ":");
    for (; *name; ++name) l->names.back().push_back(char(*name));
    return l->stopAfter == 0 || int(l->names.size()) < l->stopAfter;
}

TEST_F(SelectTest, EnumerationFormsGiveTheSameNames) {
    for (int stop : {0, 1, 2, 70}) {
        SCOPED_TRACE(stop);
        Listing p{{}, stop}, u{{}, stop}, w{{}, stop};
        const int32_t rp = LXEnumLocales(Collect<char>, reinterpret_cast<uintptr_t>(&p)),
                      ru = LXEnumLocalesU(Collect<LXUchar>, reinterpret_cast<uintptr_t>(&u)),
                      rw = LXEnumLocalesW(Collect<LXWchar>, reinterpret_cast<uintptr_t>(&w));
        EXPECT_TRUE(stop || (rp == LX_OK && ru == LX_OK && rw == LX_OK));
        EXPECT_EQ(p.names.size(), stop ? size_t(stop) : Library().registry->count);
        EXPECT_EQ(p.names.front(), "0:English");
        EXPECT_EQ(u.names, p.names);
        EXPECT_EQ(w.names, p.names);
    }
    EXPECT_EQ(LXEnumLocalesU(nullptr, 0), LX_OK);
    EXPECT_EQ(LXEnumLocalesW(nullptr, 0), LX_OK);
}

// --- on directories made for the test ---------------------------------------

class SelectDirTest : public CleanEnv {
protected:
    LocaleDir dir;
};

// With only the built-in locale, its one name (and the empty name) works;
// any other language is not found, or is English with LX_FALLBACK.
TEST_F(SelectDirTest, BuiltinRegistryOnly) {
    Started lib(dir.path().c_str());
    if (lib.result() != LX_ERR_BUILTIN_ONLY) GTEST_SKIP() << "a locale directory is installed here";
    const Parts builtin{1, 1, 1, 0};
    for (const char *name : {"English_UnitedStates.US-ASCII", "", "english_unitedstates"})
        EXPECT_EQ(Resolve(name), builtin) << name;
    for (const char *name : {"German", "German_Germany.MS1252"}) {
        EXPECT_EQ(Resolve(name), Failed(LX_ERR_NO_LANGUAGE));
        EXPECT_EQ(Resolve(name, LX_FALLBACK), builtin);
    }
    EXPECT_EQ(Resolve("English_Germany"), Failed(LX_ERR_NO_TERRITORY));
    EXPECT_EQ(Resolve("English.MS1252"), Failed(LX_ERR_NO_CODESET));
}

// The language's defaults are looked up by number, and a default that is not
// registered fails with its kind's code, with or without LX_FALLBACK.
TEST_F(SelectDirTest, DefaultsThatAreNotRegistered) {
    const struct { uint32_t field; uint16_t number; int32_t code; } kCases[] = {
        {la::kDefaultTerritory, 9, LX_ERR_NO_TERRITORY}, {la::kDefaultCodeset, 9, LX_ERR_NO_CODESET},
        {la::kDefaultSort, 9, LX_ERR_NO_SORT}, {la::kDefaultSort, 0, LX_OK},
    };
    for (const auto &c : kCases) {
        SCOPED_TRACE(c.field);
        LocaleDir d;
        d.standard();
        Bytes language = BuiltinTable(kLanguage);
        wr16(&language[c.field], c.number);
        d.part(kLanguage, 1, {language});
        Started lib(d.path().c_str(), LX_INIT_STRICT);
        ASSERT_EQ(lib.result(), LX_OK);
        for (uint32_t flags : {0u, uint32_t(LX_FALLBACK)}) {
            EXPECT_EQ(Resolve("English", flags), c.code ? Failed(c.code) : (Parts{1, 1, 1, 0}));
            // Naming the part leaves the default out of it.
            if (c.field != la::kDefaultSort) {
                EXPECT_EQ(Resolve("English_UnitedStates.US-ASCII", flags), (Parts{1, 1, 1, 0}));
            }
        }
    }
}

// A listed part whose file is missing: a strict registry fails with 11; a
// non-strict one builds the locale on the built-in tables.
TEST_F(SelectDirTest, PartThatCannotBeLoaded) {
    dir.standard();
    dir.control({{1, 0, "English"}, {2, 0, "German"}, {1, 1, "UnitedStates"}, {1, 2, "US-ASCII"}});
    {
        Started lib(dir.path().c_str(), LX_INIT_STRICT);
        ASSERT_EQ(lib.result(), LX_OK);
        EXPECT_EQ(Resolve("German"), Failed(LX_ERR_INIT));
        EXPECT_EQ(Resolve("German", LX_FALLBACK), Failed(LX_ERR_INIT));
    }
    Started lib(dir.path().c_str());
    ASSERT_EQ(lib.result(), LX_OK);
    EXPECT_EQ(Resolve("German"), (Parts{2, 1, 1, 0}));
    const Owned got = Get("German");
    ASSERT_NE(got, nullptr);
    EXPECT_TRUE(got->language->flags & kPartBuiltin);
}

// An allocator that fails at the n-th call, for every n a selection reaches
// (loading parts included): the result is a clean 20 or 11, or success, never
// a crash or a leak; and after a failure in a strict registry the same name
// is selected in full.
TEST_F(SelectDirTest, AllocationFailureAtEveryStep) {
    const struct { const char *what; bool strict; std::function<LXLocale *(int32_t *)> call; } kCalls[] = {
        {"plain", true, [](int32_t *e) { return LXGetLocale("German_Austria.MS1250", 0, e); }},
        {"ucs-2", true, [](int32_t *e) { return LXGetLocaleU(Widen<LXUchar>("Japanese_Japan.MS932").data(), 0, e); }},
        {"wide", true, [](int32_t *e) { return LXGetLocaleW(Widen<LXWchar>("Japanese.IBM939").data(), 0, e); }},
        {"user", true, [](int32_t *e) { return LXGetLocale(nullptr, LX_USER_DEFAULT | LX_FALLBACK, e); }},
        {"plain non-strict", false, [](int32_t *e) { return LXGetLocale("German_Austria.MS1250", 0, e); }},
    };
    ScopedEnv lang("LX_LANG", "German_Austria.MS1250@" + std::string(300, 'q'));
    for (const auto &c : kCalls) {
        SCOPED_TRACE(c.what);
        for (long n = 1;; ++n) {
            SCOPED_TRACE(n);
            CountingAllocator a;
            ASSERT_EQ(LXInit(LORVEX_TEST_LOCALE_DIR, &CountingAllocator::Alloc, &CountingAllocator::Free, a.context(),
                             c.strict ? LX_INIT_STRICT : 0), LX_OK);
            a.failAt = a.allocations + n;
            int32_t err = -1;
            LXLocale *loc = c.call(&err);
            const bool reached = a.allocations >= a.failAt;
            if (loc) {
                EXPECT_EQ(err, LX_OK);
            } else {
                EXPECT_TRUE(err == LX_ERR_NO_MEMORY || err == LX_ERR_INIT) << err;
                if (c.strict) {
                    a.failAt = 0;
                    loc = c.call(&err);
                    EXPECT_TRUE(loc && !(loc->language->flags & kPartBuiltin)) << err;
                }
            }
            LXReleaseLocale(loc, 0);
            EXPECT_EQ(LXTerm(), LX_OK);
            EXPECT_EQ(a.live, 0);
            if (!reached) {  // the call needs fewer than n allocations
                EXPECT_GT(n, 3);
                break;
            }
        }
    }
}

}  // namespace
}  // namespace lorvex::test
