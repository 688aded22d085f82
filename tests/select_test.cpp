// Locale names and selection: parsing, defaults, fallbacks and codes of
// LXGetLocale and its UCS-2 and wide forms, the user's default name, the
// library default locale, the enumeration forms, bounds on names, and running
// out of memory at every step.
#include <gtest/gtest.h>

#include <strings.h>

#include <cstring>
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
const char *const kNativeNames[] = {
    "Arabic_SaudiArabia.MS1256", "Bulgarian_Bulgaria.MS1251", "Catalan_Catalonia.MS1252",
    "TraditionalChinese_Taiwan.MS950", "Czech_CzechRepublic.MS1250", "Danish_Denmark.MS1252",
    "German_Germany.MS1252", "Greek_Greece.MS1253", "English_UnitedStates.MS1252",
    "Spanish_Spain.MS1252@TraditionalSpanish", "Finnish_Finland.MS1252", "French_France.MS1252",
    "Hebrew_Israel.MS1255", "Hungarian_Hungary.MS1250", "Icelandic_Iceland.MS1252",
    "Italian_Italy.MS1252", "Japanese_Japan.MS932", "Korean_Korea.MS949", "Dutch_Netherlands.MS1252",
    "Norwegian_Norway.MS1252", "Polish_Poland.MS1250", "Portuguese_Brazil.MS1252", "Rhaeto-Romanic",
    "Romanian_Romania.MS1250", "Russian_Russia.MS1251", "Croatian_Croatia.MS1250",
    "Slovak_Slovakia.MS1250", "Albanian_Albania.MS1250", "Swedish_Sweden.MS1252",
    "Thai_Thailand.MS874", "Turkish_Turkey.MS1254", "Urdu_Pakistan.MS1256",
    "Indonesian_Indonesia.MS1252", "Ukrainian_Ukraine.MS1251", "Byelorussian_Belarus.MS1251",
    "Slovenian_Slovenia.MS1250", "Estonian_Estonia.MS1257", "Latvian_Latvia.MS1257",
    "Lithuanian_Lithuania.MS1257", "Maori", "Farsi_Iran.MS1256", "Vietnamese_VietNam.MS1258", "Laotian",
    "Kampuchean", "Basque.MS1252", "Sorbian_Germany", "Macedonian_Macedonia.MS1251", "Sutu", "Tsonga",
    "Tswana", "Venda", "Xhosa", "Zulu", "Afrikaans_SouthAfrica.MS1252", "Faeroese.MS1250", "Hindi_India",
    "Maltese", "Sami", "ScotsGaelic", "Arabic_Iraq.MS1256", "SimplifiedChinese_China.MS936",
    "German_German-Switzerland.MS1252", "English_UnitedKingdom.MS1252", "Spanish_Mexico.MS1252",
    "French_French-Belgium.MS1252", "Italian_Italian-Switzerland.MS1252", "Korean_Korea.MS1361",
    "Dutch_Dutch-Belgium.MS1252", "Norwegian(Nynorsk)_Norway.MS1252", "Portuguese_Portugal.MS1252",
    "Romanian_Moldavia", "Russian_Moldavia", "Serbian_Yugoslavia.MS1250", "Arabic_Egypt.MS1256",
    "TraditionalChinese_HongKong.MS950", "English_Australia.MS1252", "Spanish_Spain.MS1252@Spanish",
    "CanadianFrench_French-Canada.MS1252", "Arabic_Libya.MS1256", "SimplifiedChinese_Singapore.MS936",
    "German_Luxembourg.MS1252", "English_Canada.MS1252", "Spanish_Guatemala.MS1252",
    "French_French-Switzerland.MS1252", "Arabic_Algeria.MS1256", "English_NewZealand.MS1252",
    "Spanish_CostaRica.MS1252", "French_Luxembourg.MS1252", "Arabic_Morocco.MS1256",
    "English_Ireland.MS1252", "Spanish_Panama.MS1252", "Arabic_Tunisia.MS1256",
    "English_SouthAfrica.MS1252", "Spanish_DominicanRepublic.MS1252", "Arabic_Oman.MS1256",
    "English_Jamaica.MS1252", "Spanish_Venezuela.MS1252", "Arabic_Yemen.MS1256",
    "English_TheCarribean.MS1252", "Spanish_Columbia.MS1252", "Arabic_Syria.MS1256",
    "Spanish_Peru.MS1252", "Arabic_Jordan.MS1256", "Spanish_Argentina.MS1252", "Arabic_Lebanon.MS1256",
    "Spanish_Ecuador.MS1252", "Arabic_Kuwait.MS1256", "Spanish_Chile.MS1252",
    "Arabic_UnitedArabEmirates.MS1256", "Spanish_Uruguay.MS1252", "Arabic_Bahrain.MS1256",
    "Spanish_Paraguay.MS1252", "Arabic_Qatar.MS1256", "Spanish_Boliva.MS1252",
};

struct Release {
    void operator()(LXLocale *loc) const { LXReleaseLocale(loc, 0); }
};
using Owned = std::unique_ptr<LXLocale, Release>;

// The result of one call: the object (released with the result) and the code.
struct Got {
    Owned loc;
    int32_t err;
};

std::vector<LXUchar> Ucs2(const std::string &s) {
    std::vector<LXUchar> u;
    for (unsigned char c : s) u.push_back(c);
    u.push_back(0);
    return u;
}

std::vector<LXWchar> Wide(const std::string &s) {
    std::vector<LXWchar> w;
    for (unsigned char c : s) w.push_back(c);
    w.push_back(0);
    return w;
}

// err starts at a value no call sets, so that a call that forgets to write
// it is caught.
Got Get(const std::string &name, uint32_t flags = 0) {
    int32_t err = -1;
    LXLocale *loc = LXGetLocale(name.c_str(), flags, &err);
    return {Owned(loc), err};
}
Got GetU(const std::string &name, uint32_t flags = 0) {
    int32_t err = -1;
    LXLocale *loc = LXGetLocaleU(Ucs2(name).data(), flags, &err);
    return {Owned(loc), err};
}
Got GetW(const std::string &name, uint32_t flags = 0) {
    int32_t err = -1;
    LXLocale *loc = LXGetLocaleW(Wide(name).data(), flags, &err);
    return {Owned(loc), err};
}

// A locale as the numbers of its parts (sort 0: binary), for comparing what
// two calls selected.
using Parts = std::tuple<int, int, int, int>;
Parts PartsOf(const LXLocale *loc) {
    return {loc->language->number, loc->territory->number, loc->codeset->number,
            loc->sort ? loc->sort->number : 0};
}

// The parts a name selects, or the code it fails with (as a negative
// language number), in every form; the three must agree.
Parts Resolve(const std::string &name, uint32_t flags = 0) {
    Got plain = Get(name, flags), u = GetU(name, flags), w = GetW(name, flags);
    EXPECT_EQ(u.err, plain.err) << name;
    EXPECT_EQ(w.err, plain.err) << name;
    if (!plain.loc) {
        EXPECT_NE(plain.err, LX_OK) << name;
        EXPECT_FALSE(u.loc || w.loc) << name;
        return {-plain.err, 0, 0, 0};
    }
    EXPECT_EQ(plain.err, LX_OK) << name;
    if (u.loc) {
        EXPECT_EQ(PartsOf(u.loc.get()), PartsOf(plain.loc.get())) << name;
    }
    if (w.loc) {
        EXPECT_EQ(PartsOf(w.loc.get()), PartsOf(plain.loc.get())) << name;
    }
    return PartsOf(plain.loc.get());
}
Parts Failed(int32_t code) { return {-code, 0, 0, 0}; }

bool SameNoCase(const std::string &a, const char *b) { return strcasecmp(a.c_str(), b) == 0; }

uint16_t LanguageDefault(const LXLocale *loc, uint32_t field) { return rd16(loc->language->table[0] + field); }

// --- on the build's compiled locale directory -------------------------------

class SelectTest : public ::testing::Test {
protected:
    ScopedEnv noDir{"LX_LOCALEDIR", std::nullopt};
    ScopedEnv noLang{"LX_LANG", std::nullopt};
    Started lib{LORVEX_TEST_LOCALE_DIR, LX_INIT_STRICT};
    void SetUp() override { ASSERT_EQ(lib.result(), LX_OK); }
};

// Each name selects exactly the parts it names, and the language's defaults
// for the parts it leaves out.  No sort parts are compiled yet, so the two
// names with a sort modifier fail with 33.  "Unknown", the name of an
// identifier the table lacks, is no language.
TEST_F(SelectTest, EveryNativeNameResolves) {
    ASSERT_EQ(std::size(kNativeNames), 114u);
    EXPECT_EQ(Resolve("Unknown"), Failed(LX_ERR_NO_LANGUAGE));
    for (const std::string name : kNativeNames) {
        SCOPED_TRACE(name);
        Got got = Get(name);
        if (name.find('@') != std::string::npos) {
            EXPECT_EQ(got.loc, nullptr);
            EXPECT_EQ(got.err, LX_ERR_NO_SORT);
            EXPECT_EQ(Resolve(name), Failed(LX_ERR_NO_SORT));
            continue;
        }
        ASSERT_NE(got.loc, nullptr) << "error " << got.err;
        EXPECT_EQ(got.err, LX_OK);
        const LXLocale *loc = got.loc.get();
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
        EXPECT_EQ(Resolve(name), PartsOf(loc));
    }
}

TEST_F(SelectTest, EmptyNameIsEnglishWithItsDefaults) {
    Owned empty = std::move(Get("").loc), null(LXGetLocale(nullptr, 0, nullptr));
    for (const LXLocale *loc : {empty.get(), null.get()}) {
        ASSERT_NE(loc, nullptr);
        EXPECT_STREQ(loc->language->name, "English");
        EXPECT_EQ(loc->territory->number, LanguageDefault(loc, la::kDefaultTerritory));
        EXPECT_EQ(loc->codeset->number, LanguageDefault(loc, la::kDefaultCodeset));
        EXPECT_STREQ(loc->territory->name, "UnitedStates");
        EXPECT_STREQ(loc->codeset->name, "MS1252");
        EXPECT_EQ(loc->sort, nullptr);
        EXPECT_TRUE(loc->flags & kLocaleBinarySort);
    }
}

// Names that select the same parts as a canonical spelling: case, empty and
// absent components, and the binary sort modifier.
TEST_F(SelectTest, SpellingsOfTheSameLocale) {
    const struct {
        const char *name, *same;
    } kCases[] = {
        {"english", "English_UnitedStates.MS1252"},
        {"GERMAN_germany.ms1252", "German_Germany.MS1252"},
        {"gErMaN_AuStRiA", "German_Austria.MS1252"},
        {"German_.MS1252", "German_Germany.MS1252"},
        {"German_", "German_Germany.MS1252"},
        {"German.", "German_Germany.MS1252"},
        {"German@", "German_Germany.MS1252"},
        {"German_.", "German_Germany.MS1252"},
        {"German_Austria.@", "German_Austria.MS1252"},
        {"_Germany", "English_Germany.MS1252"},
        {".UTF-8", "English_UnitedStates.UTF-8"},
        {"@BINARY", "English_UnitedStates.MS1252"},
        {"English@BINARY", "English_UnitedStates.MS1252"},
        {"german@binary", "German_Germany.MS1252"},
        {"Japanese_Japan.MS932@Binary", "Japanese_Japan.MS932"},
        {"Japanese", "Japanese_Japan.MS932"},
    };
    for (const auto &c : kCases) {
        SCOPED_TRACE(c.name);
        const Parts parts = Resolve(c.name);
        EXPECT_GT(std::get<0>(parts), 0);
        EXPECT_EQ(parts, Resolve(c.same));
        EXPECT_EQ(std::get<3>(parts), 0);
    }
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
    const struct {
        const char *name;
        bool singleByte, stateful;
    } kCases[] = {
        {"German_Germany.MS1252", true, false},
        {"German_Germany.US-ASCII", true, false},
        {"Japanese_Japan.MS932", false, false},
        {"Japanese_Japan.UTF-8", false, false},
        {"Japanese_Japan.IBM939", false, true},
    };
    for (const auto &c : kCases) {
        SCOPED_TRACE(c.name);
        Got got = Get(c.name);
        ASSERT_NE(got.loc, nullptr) << got.err;
        EXPECT_EQ((got.loc->flags & kLocaleSingleByte) != 0, c.singleByte);
        EXPECT_EQ((got.loc->flags & kLocaleStateful) != 0, c.stateful);
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
    int32_t err = -1;
    EXPECT_EQ(LXGetLocale(bytes.data(), 0, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_REJECTED);
    err = -1;
    EXPECT_EQ(LXGetLocaleU(units.data(), 0, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_REJECTED);
    err = -1;
    EXPECT_EQ(LXGetLocaleW(wide.data(), LX_FALLBACK, &err), nullptr);
    EXPECT_EQ(err, LX_ERR_REJECTED);
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
    const Parts german = Resolve("German_Austria.MS1250");
    const auto resolveW = [](std::vector<LXWchar> w) {
        w.push_back(0);
        int32_t err = -1;
        Owned loc(LXGetLocaleW(w.data(), 0, &err));
        return loc ? PartsOf(loc.get()) : Failed(err);
    };
    const LXWchar hi = 0x12300;
    EXPECT_EQ(resolveW({'G' | hi, 'e', 'r', 'M' | hi, 'a', 'n', '_', 'A', 'u', 's', 't', 'r', 'i', 'a' | hi,
                        '.', 'M', 'S', '1', '2', '5', '0' | hi}),
              german);
    EXPECT_EQ(resolveW({'G', 'e', 'r', 'm', 'a', 'n', '_' | hi, 'A', 'u', 's', 't', 'r', 'i', 'a'}),
              Failed(LX_ERR_NO_LANGUAGE));
    EXPECT_EQ(resolveW({'G', 'e', 'r', 'm', 'a', 'n', '_', 'A', 'u', 's', 't', 'r', 'i', 'a', '.' | hi, 'M'}),
              Failed(LX_ERR_NO_TERRITORY));
    EXPECT_EQ(resolveW({'E', 'n', 'g', 'l', 'i', 's', 'h', 0x100}), Failed(LX_ERR_NO_LANGUAGE));
    EXPECT_EQ(resolveW({'G', 'e', 'r', 'm', 'a', 'n', '@', 'B', 'I', 'N', 'A', 'R', 'Y', 0x4200}),
              Failed(LX_ERR_NO_SORT));
}

TEST_F(SelectTest, UserDefaultComesFromLxLang) {
    const Parts english = Resolve("English");
    const struct {
        const char *lang;  // null: LX_LANG unset
        uint32_t flags;
        Parts expected;
    } kCases[] = {
        {nullptr, 0, english},
        {"", 0, english},
        {"French_France.UTF-8", 0, Resolve("French_France.UTF-8")},
        {"japanese", 0, Resolve("Japanese_Japan.MS932")},
        {"Nowhere", 0, Failed(LX_ERR_NO_LANGUAGE)},
        {"Nowhere_France", LX_FALLBACK, Resolve("English_France")},
        {"German_Germany.MS1252@", 0, Resolve("German")},
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
    const std::vector<LXUchar> u = Ucs2("Japanese_Japan.MS932");
    const std::vector<LXWchar> w = Wide("Japanese_Japan.UTF-8");
    EXPECT_EQ(LXSetLocaleU(u.data(), 0), LX_OK);
    EXPECT_EQ(PartsOf(Library().defaultLocale), Resolve("Japanese_Japan.MS932"));
    EXPECT_EQ(LXByteLength(nullptr, dbcs), 2);
    EXPECT_EQ(LXSetLocaleW(w.data(), 0), LX_OK);
    EXPECT_EQ(PartsOf(Library().defaultLocale), Resolve("Japanese_Japan.UTF-8"));

    // A call through the null handle reports into the default object.
    EXPECT_EQ(LXTerminateStringEx(nullptr, nullptr, 0, 0x99), -1);
    EXPECT_EQ(LXGetError(nullptr), LX_ERR_ARGUMENT);
    EXPECT_EQ(Library().defaultLocale->error, LX_ERR_ARGUMENT);

    // A failed selection leaves the default as it was.
    LXLocale *before = Library().defaultLocale;
    EXPECT_EQ(LXSetLocale("Nowhere", 0), LX_ERR_NO_LANGUAGE);
    EXPECT_EQ(LXSetLocaleU(Ucs2("German_Atlantis").data(), 0), LX_ERR_NO_TERRITORY);
    EXPECT_EQ(LXSetLocaleW(Wide("German.Nope").data(), 0), LX_ERR_NO_CODESET);
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
    EXPECT_EQ(LXSetLocaleU(Ucs2("English").data(), 0), LX_ERR_INIT);
    EXPECT_EQ(LXSetLocaleW(Wide("English").data(), LX_USER_DEFAULT), LX_ERR_INIT);
    EXPECT_EQ(LXEnumLocalesU([](uintptr_t, int32_t, const LXUchar *) -> int32_t { return 1; }, 0), LX_OK);
}

// --- enumeration ------------------------------------------------------------

template <class Ch>
std::string Narrow(const Ch *name) {
    std::string s;
    for (; *name; ++name) s.push_back(char(*name));
    return s;
}

struct Listing {
    std::vector<std::string> names;
    int stopAfter = 0;  // 0: never stop
};

template <class Ch>
int32_t Collect(uintptr_t user, int32_t kind, const Ch *name) {
    auto *l = reinterpret_cast<Listing *>(user);
    l->names.push_back(std::to_string(kind) + ":" + Narrow(name));
    return l->stopAfter == 0 || int(l->names.size()) < l->stopAfter;
}

TEST_F(SelectTest, EnumerationFormsGiveTheSameNames) {
    Listing plain, u, w;
    EXPECT_EQ(LXEnumLocales(Collect<char>, reinterpret_cast<uintptr_t>(&plain)), LX_OK);
    EXPECT_EQ(LXEnumLocalesU(Collect<LXUchar>, reinterpret_cast<uintptr_t>(&u)), LX_OK);
    EXPECT_EQ(LXEnumLocalesW(Collect<LXWchar>, reinterpret_cast<uintptr_t>(&w)), LX_OK);
    EXPECT_EQ(plain.names.size(), Library().registry->count);
    EXPECT_EQ(u.names, plain.names);
    EXPECT_EQ(w.names, plain.names);
    EXPECT_EQ(plain.names.front(), "0:English");

    for (int stop : {1, 2, 70}) {
        Listing p1, u1, w1;
        p1.stopAfter = u1.stopAfter = w1.stopAfter = stop;
        LXEnumLocales(Collect<char>, reinterpret_cast<uintptr_t>(&p1));
        LXEnumLocalesU(Collect<LXUchar>, reinterpret_cast<uintptr_t>(&u1));
        LXEnumLocalesW(Collect<LXWchar>, reinterpret_cast<uintptr_t>(&w1));
        EXPECT_EQ(p1.names.size(), size_t(stop));
        EXPECT_EQ(u1.names, p1.names);
        EXPECT_EQ(w1.names, p1.names);
    }
    EXPECT_EQ(LXEnumLocalesU(nullptr, 0), LX_OK);
    EXPECT_EQ(LXEnumLocalesW(nullptr, 0), LX_OK);
}

// --- on directories made for the test ---------------------------------------

class SelectDirTest : public ::testing::Test {
protected:
    ScopedEnv noDir{"LX_LOCALEDIR", std::nullopt};
    ScopedEnv noLang{"LX_LANG", std::nullopt};
    LocaleDir dir;
};

// With only the built-in locale, its one name (and the empty name) works;
// any other language is not found, or is English with LX_FALLBACK.
TEST_F(SelectDirTest, BuiltinRegistryOnly) {
    Started lib(dir.path().c_str());
    if (lib.result() != LX_ERR_BUILTIN_ONLY) GTEST_SKIP() << "a locale directory is installed here";
    const Parts builtin{1, 1, 1, 0};
    EXPECT_EQ(Resolve("English_UnitedStates.US-ASCII"), builtin);
    EXPECT_EQ(Resolve(""), builtin);
    EXPECT_EQ(Resolve("english_unitedstates"), builtin);
    EXPECT_EQ(Resolve("German"), Failed(LX_ERR_NO_LANGUAGE));
    EXPECT_EQ(Resolve("German_Germany.MS1252"), Failed(LX_ERR_NO_LANGUAGE));
    EXPECT_EQ(Resolve("German", LX_FALLBACK), builtin);
    EXPECT_EQ(Resolve("German_Germany.MS1252", LX_FALLBACK), builtin);
    EXPECT_EQ(Resolve("English_Germany"), Failed(LX_ERR_NO_TERRITORY));
    EXPECT_EQ(Resolve("English.MS1252"), Failed(LX_ERR_NO_CODESET));
}

// The language's defaults are looked up by number, and a default that is not
// registered fails with its kind's code, with or without LX_FALLBACK.
TEST_F(SelectDirTest, DefaultsThatAreNotRegistered) {
    const struct {
        uint32_t field;
        uint16_t number;
        int32_t code;
    } kCases[] = {
        {la::kDefaultTerritory, 9, LX_ERR_NO_TERRITORY},
        {la::kDefaultCodeset, 9, LX_ERR_NO_CODESET},
        {la::kDefaultSort, 9, LX_ERR_NO_SORT},
        {la::kDefaultSort, 0, LX_OK},
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
            const Parts got = Resolve("English", flags);
            EXPECT_EQ(got, c.code ? Failed(c.code) : (Parts{1, 1, 1, 0}));
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
    dir.control({{1, 0, "English"}, {2, 0, "German"}, {1, 1, "UnitedStates"}, {1, 2, "US-ASCII"}});
    dir.builtinPart(kLanguage, 1);
    dir.builtinPart(kTerritory, 1);
    dir.builtinPart(kCodeset, 1);
    {
        Started lib(dir.path().c_str(), LX_INIT_STRICT);
        ASSERT_EQ(lib.result(), LX_OK);
        EXPECT_EQ(Resolve("German"), Failed(LX_ERR_INIT));
        EXPECT_EQ(Resolve("German", LX_FALLBACK), Failed(LX_ERR_INIT));
    }
    Started lib(dir.path().c_str());
    ASSERT_EQ(lib.result(), LX_OK);
    EXPECT_EQ(Resolve("German"), (Parts{2, 1, 1, 0}));
    Got got = Get("German");
    ASSERT_NE(got.loc, nullptr);
    EXPECT_TRUE(got.loc->language->flags & kPartBuiltin);
}

// An allocator that fails at the n-th call, for every n a selection reaches
// (loading parts included): the result is a clean 20 or 11, or success, never
// a crash or a leak; and after a failure in a strict registry the same name
// is selected in full.
TEST_F(SelectDirTest, AllocationFailureAtEveryStep) {
    const std::string longLang = "German_Austria.MS1250@" + std::string(300, 'q');
    const struct {
        const char *what;
        uint32_t flags;
        std::function<LXLocale *(int32_t *)> call;
    } kCalls[] = {
        {"plain", 0, [](int32_t *e) { return LXGetLocale("German_Austria.MS1250", 0, e); }},
        {"ucs-2", 0, [](int32_t *e) { return LXGetLocaleU(Ucs2("Japanese_Japan.MS932").data(), 0, e); }},
        {"wide", 0, [](int32_t *e) { return LXGetLocaleW(Wide("Japanese.IBM939").data(), 0, e); }},
        {"user", 0, [](int32_t *e) { return LXGetLocale(nullptr, LX_USER_DEFAULT | LX_FALLBACK, e); }},
        {"plain non-strict", 1, [](int32_t *e) { return LXGetLocale("German_Austria.MS1250", 0, e); }},
    };
    ScopedEnv lang("LX_LANG", longLang);
    for (const auto &c : kCalls) {
        SCOPED_TRACE(c.what);
        const uint32_t init = c.flags ? 0 : LX_INIT_STRICT;
        for (long n = 1;; ++n) {
            SCOPED_TRACE(n);
            CountingAllocator a;
            ASSERT_EQ(LXInit(LORVEX_TEST_LOCALE_DIR, &CountingAllocator::Alloc, &CountingAllocator::Free,
                             a.context(), init),
                      LX_OK);
            a.failAt = a.allocations + n;
            int32_t err = -1;
            LXLocale *loc = c.call(&err);
            const bool reached = a.allocations >= a.failAt;
            if (loc) {
                EXPECT_EQ(err, LX_OK);
            } else {
                EXPECT_TRUE(err == LX_ERR_NO_MEMORY || err == LX_ERR_INIT) << err;
                if (init == LX_INIT_STRICT) {
                    a.failAt = 0;
                    loc = c.call(&err);
                    EXPECT_NE(loc, nullptr) << err;
                    if (loc) {
                        EXPECT_FALSE(loc->language->flags & kPartBuiltin);
                    }
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
