// lx locale: every information item of a locale, or the parts that locale
// names are made of.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "lx.h"

const char kLocaleUsage[] =
    "usage: lx locale [-d DIR] [NAME]\n"
    "       lx locale [-d DIR] -a\n"
    "\n"
    "Prints every information item of the locale NAME, one per line: the item\n"
    "number, its constant and its current value; where the value in the locale's\n"
    "files differs, that follows as file=.  Texts are shown in UTF-8 whatever the\n"
    "locale's codeset, in double quotes, with \\\", \\\\ and \\xNN escapes.\n"
    "\n"
    "NAME is Language[_Territory][.Codeset][@Sort], for example German_Germany or\n"
    "Japanese_Japan.MS932.  Without NAME the user's default locale is shown: the\n"
    "one LX_LANG names, else English.\n"
    "\n"
    "  -a       list the parts locale names are made of, by kind\n"
    "  -d DIR   read the locale directory DIR\n";

namespace {

enum class Kind { kNumber, kText };

struct Item {
    int32_t number;
    const char *name;
    Kind kind;
};

#define LX_NUMBER(item) {item, #item, Kind::kNumber}
#define LX_TEXT(item) {item, #item, Kind::kText}

const Item kItems[] = {
    LX_NUMBER(LXI_LANGUAGE_NUMBER), LX_TEXT(LXI_LANGUAGE_PART), LX_TEXT(LXI_LANGUAGE_ABBREV),
    LX_TEXT(LXI_LANGUAGE_NAME), LX_NUMBER(LXI_TERRITORY_NUMBER), LX_TEXT(LXI_TERRITORY_PART),
    LX_TEXT(LXI_TERRITORY_ABBREV), LX_TEXT(LXI_TERRITORY_NAME), LX_NUMBER(LXI_CODESET_NUMBER),
    LX_TEXT(LXI_CODESET_PART), LX_NUMBER(LXI_SORT_NUMBER), LX_TEXT(LXI_SORT_PART),
    LX_TEXT(LXI_DEFAULT_TERRITORY), LX_TEXT(LXI_DEFAULT_CODESET), LX_TEXT(LXI_DEFAULT_SORT),
    LX_TEXT(LXI_DAY_1), LX_TEXT(LXI_DAY_2), LX_TEXT(LXI_DAY_3), LX_TEXT(LXI_DAY_4), LX_TEXT(LXI_DAY_5),
    LX_TEXT(LXI_DAY_6), LX_TEXT(LXI_DAY_7), LX_TEXT(LXI_ABDAY_1), LX_TEXT(LXI_ABDAY_2),
    LX_TEXT(LXI_ABDAY_3), LX_TEXT(LXI_ABDAY_4), LX_TEXT(LXI_ABDAY_5), LX_TEXT(LXI_ABDAY_6),
    LX_TEXT(LXI_ABDAY_7), LX_TEXT(LXI_MONTH_1), LX_TEXT(LXI_MONTH_2), LX_TEXT(LXI_MONTH_3),
    LX_TEXT(LXI_MONTH_4), LX_TEXT(LXI_MONTH_5), LX_TEXT(LXI_MONTH_6), LX_TEXT(LXI_MONTH_7),
    LX_TEXT(LXI_MONTH_8), LX_TEXT(LXI_MONTH_9), LX_TEXT(LXI_MONTH_10), LX_TEXT(LXI_MONTH_11),
    LX_TEXT(LXI_MONTH_12), LX_TEXT(LXI_MONTH_13), LX_TEXT(LXI_ABMONTH_1), LX_TEXT(LXI_ABMONTH_2),
    LX_TEXT(LXI_ABMONTH_3), LX_TEXT(LXI_ABMONTH_4), LX_TEXT(LXI_ABMONTH_5), LX_TEXT(LXI_ABMONTH_6),
    LX_TEXT(LXI_ABMONTH_7), LX_TEXT(LXI_ABMONTH_8), LX_TEXT(LXI_ABMONTH_9), LX_TEXT(LXI_ABMONTH_10),
    LX_TEXT(LXI_ABMONTH_11), LX_TEXT(LXI_ABMONTH_12), LX_TEXT(LXI_ABMONTH_13), LX_TEXT(LXI_AM),
    LX_TEXT(LXI_PM), LX_NUMBER(LXI_TERRITORY_FLAG_0), LX_TEXT(LXI_DECIMAL_POINT),
    LX_TEXT(LXI_THOUSANDS_SEP), LX_TEXT(LXI_OTHER_SEP), LX_TEXT(LXI_GROUPING),
    LX_NUMBER(LXI_FRAC_DIGITS), LX_TEXT(LXI_CURRENCY_SYMBOL), LX_TEXT(LXI_INT_CURRENCY_SYMBOL),
    LX_TEXT(LXI_MON_DECIMAL_POINT), LX_TEXT(LXI_MON_THOUSANDS_SEP), LX_TEXT(LXI_MON_GROUPING),
    LX_NUMBER(LXI_CURRENCY_DIGITS), LX_NUMBER(LXI_INT_CURRENCY_DIGITS), LX_TEXT(LXI_POSITIVE_SIGN),
    LX_TEXT(LXI_NEGATIVE_SIGN), LX_NUMBER(LXI_P_CS_PRECEDES), LX_NUMBER(LXI_P_SEP_BY_SPACE),
    LX_NUMBER(LXI_N_CS_PRECEDES), LX_NUMBER(LXI_N_SEP_BY_SPACE), LX_NUMBER(LXI_P_SIGN_POSN),
    LX_NUMBER(LXI_N_SIGN_POSN), LX_TEXT(LXI_TIME_FORMAT), LX_TEXT(LXI_DATE_FORMAT),
    LX_TEXT(LXI_LONG_DATE_FORMAT), LX_NUMBER(LXI_TERRITORY_FLAG_5), LX_NUMBER(LXI_TERRITORY_FLAG_6),
    LX_NUMBER(LXI_TERRITORY_VALUE), LX_NUMBER(LXI_MAX_CHAR_BYTES), LX_NUMBER(LXI_ASCII_BASED),
    LX_NUMBER(LXI_STATEFUL), LX_TEXT(LXI_LOCALE_NAME),
};

#undef LX_NUMBER
#undef LX_TEXT

// One value as printed: a number, a quoted UTF-8 text, or the error that
// kept it from being read.
std::string ErrorValue(int32_t code) {
    return "(error " + std::to_string(code) + ": " + lx_error_text(code) + ")";
}

void AppendUtf8(std::string &out, LXUchar u) {
    // A UCS-2 unit is one character; a surrogate on its own is not one that
    // UTF-8 may carry.
    if (u >= 0xD800 && u <= 0xDFFF) u = 0xFFFD;
    if (u < 0x80) {
        out += char(u);
    } else if (u < 0x800) {
        out += char(0xC0 | (u >> 6));
        out += char(0x80 | (u & 0x3F));
    } else {
        out += char(0xE0 | (u >> 12));
        out += char(0x80 | ((u >> 6) & 0x3F));
        out += char(0x80 | (u & 0x3F));
    }
}

// Codeset text of the locale, quoted as UTF-8 for the terminal.  Shift bytes
// of a stateful codeset are obeyed from state 0, not shown.
std::string Quoted(LXLocale *loc, const unsigned char *text) {
    LXUchar units[512];
    const int32_t n = LXStringToUnicodeEx(units, int32_t(sizeof units / sizeof units[0]), loc, text, 0, -1, 0);
    std::string out = "\"";
    for (int32_t i = 0; i < n && units[i] != 0; ++i) {
        const LXUchar u = units[i];
        if (u == '"' || u == '\\') {
            out += '\\';
            out += char(u);
        } else if (u < 0x20 || u == 0x7F) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\x%02X", unsigned(u));
            out += esc;
        } else {
            AppendUtf8(out, u);
        }
    }
    return out + "\"";
}

// The item's value, current or from the files.
std::string Value(LXLocale *loc, const Item &item, uint32_t flags) {
    if (item.kind == Kind::kNumber) {
        const int32_t v = LXGetLocaleNumInfo(loc, item.number, flags);
        if (v == -1 && LXGetError(loc) != LX_OK) return ErrorValue(LXGetError(loc));
        return std::to_string(v);
    }
    unsigned char text[1024];
    if (LXGetLocaleTextInfo(loc, item.number, text, int32_t(sizeof text), flags) < 0)
        return ErrorValue(LXGetError(loc));
    return Quoted(loc, text);
}

int PrintItems(LXLocale *loc) {
    for (const Item &item : kItems) {
        const std::string current = Value(loc, item, 0);
        const std::string file = Value(loc, item, LX_FILE_VALUE);
        std::printf("%2d %s=%s", int(item.number), item.name, current.c_str());
        if (file != current) std::printf(" file=%s", file.c_str());
        std::printf("\n");
    }
    return 0;
}

// The part names of each kind, in the control file's order.
int32_t CollectPart(uintptr_t user, int32_t kind, const char *name) {
    auto *byKind = reinterpret_cast<std::vector<std::string> *>(user);
    if (kind >= 0 && kind < 4) byKind[kind].push_back(name);
    return 1;
}

void PrintParts() {
    std::vector<std::string> byKind[4];
    LXEnumLocales(CollectPart, reinterpret_cast<uintptr_t>(byKind));
    static const char *const kHeadings[4] = {"languages", "territories", "codesets", "sort orders"};
    for (int kind = 0; kind < 4; ++kind) {
        std::printf("%s (%zu):\n", kHeadings[kind], byKind[kind].size());
        for (const std::string &name : byKind[kind]) std::printf("  %s\n", name.c_str());
    }
}

}  // namespace

int lx_cmd_locale(int argc, char **argv, const char *argv0) {
    const char *dirOption = nullptr;
    const char *name = nullptr;
    bool listParts = false;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            std::fputs(kLocaleUsage, stdout);
            return 0;
        } else if (a == "-a") {
            listParts = true;
        } else if (a == "-d") {
            if (i + 1 >= argc) return lx_usage_error("locale: -d needs a directory");
            dirOption = argv[++i];
        } else if (a.rfind("-d", 0) == 0 && a.size() > 2) {
            dirOption = argv[i] + 2;
        } else if (a.size() > 1 && a[0] == '-') {
            return lx_usage_error("locale: unknown option \"" + a + "\"");
        } else if (name) {
            return lx_usage_error("locale: more than one locale name");
        } else {
            name = argv[i];
        }
    }
    if (listParts && name) return lx_usage_error("locale: -a takes no locale name");

    LocaleDir dir;
    if (!lx_find_locale_dir(dirOption, argv0, dir)) return 1;
    if (!dir.note.empty()) std::fprintf(stderr, "lx: %s\n", dir.note.c_str());
    LxLibrary lib;
    if (!lib.start(dir)) return 1;
    if (lib.builtinOnly())
        std::fprintf(stderr, "lx: only the built-in locale (English_UnitedStates.US-ASCII) is available\n");

    if (listParts) {
        PrintParts();
        return lib.stop() ? 0 : 1;
    }

    // No name: the user's default, which the library takes from LX_LANG.
    int32_t err = LX_OK;
    LXLocale *loc = name ? LXGetLocale(name, 0, &err) : LXGetLocale(nullptr, LX_USER_DEFAULT, &err);
    if (!loc) {
        const char *lang = std::getenv("LX_LANG");
        return lx_fail(name ? "LXGetLocale(" + std::string(name) + ")"
                            : "LXGetLocale(LX_LANG=" + std::string(lang ? lang : "") + ")",
                       err);
    }
    const int status = PrintItems(loc);
    LXReleaseLocale(loc, 0);
    return lib.stop() ? status : 1;
}
