// The language and territory compilers, and the sources under data/.
//
// - Sources that spell out the built-in English and UnitedStates compile to
//   the built-in tables byte for byte.
// - Every rule of the source format is reported with its line.
// - Every committed source compiles, and its table says field by field what
//   the source says; the sources read here with a reader of their own, not
//   the compiler's.  (That the sources say what the POSIX locales say is
//   the importer's --check.)
// - The committed parts cover the languages, territories and numbers of the
//   locale-identifier tables, and each language's defaults exist.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "frame/state.h"
#include "locale/builtin.h"
#include "locale/layout.h"
#include "locale/registry.h"
#include "lxdc/locale_compiler.h"
#include "support/locale_dir.h"

namespace lorvex::test {
namespace {

namespace fs = std::filesystem;
using namespace layout;
using lxdc::CompileLanguage;
using lxdc::CompileTerritory;
using lxdc::Part;
using Bytes = std::vector<uint8_t>;
using Lines = std::vector<std::string>;

std::string Join(const Lines &lines) {
    std::string s;
    for (const std::string &l : lines) s += l + "\n";
    return s;
}

unsigned U16(const Bytes &t, size_t at) { return t.at(at) | t.at(at + 1) << 8; }

// The zero-terminated UCS-2 string whose offset is the u16 at field.
std::u16string StringAt(const Bytes &t, size_t field) {
    std::u16string s;
    for (size_t at = U16(t, field);; at += 2) {
        const char16_t c = char16_t(U16(t, at));
        if (c == 0) return s;
        s += c;
    }
}

// Strings 0..count-1 of a block: each begins where the one before ended, and
// the end field holds the end of the last.
std::vector<std::u16string> Strings(const Bytes &t, size_t fixed, size_t offsets, size_t count, size_t endField) {
    std::vector<std::u16string> out;
    size_t expect = fixed;
    for (size_t i = 0; i < count; ++i) {
        EXPECT_EQ(U16(t, offsets + 2 * i), expect) << "offset of string " << i;
        out.push_back(StringAt(t, offsets + 2 * i));
        expect = U16(t, offsets + 2 * i) + 2 * out.back().size() + 2;
    }
    EXPECT_EQ(U16(t, endField), expect) << "end of the strings";
    return out;
}

// --- sources of the built-in locale ------------------------------------------------

const Lines kEnglish = {
    "# The built-in language, written out.",
    "name               English",
    "part               1",
    "abbreviation       \"EN\"",
    "display-name       \"English\"",
    "default-territory  1",
    "default-codeset    1",
    "default-sort       0        # binary",
    "day      \"Sunday\" \"Monday\" \"Tuesday\" \"Wednesday\" \"Thursday\" \"Friday\" \"Saturday\"",
    "abday    \"Sun\" \"Mon\" \"Tue\" \"Wed\" \"Thu\" \"Fri\" \"Sat\"",
    "month    \"January\" \"February\" \"March\" \"April\" \"May\" \"June\" \"July\" \"August\" "
    "\"September\" \"October\" \"November\" \"December\" \"\"",
    "abmonth  \"Jan\" \"Feb\" \"Mar\" \"Apr\" \"May\" \"Jun\" \"Jul\" \"Aug\" \"Sep\" \"Oct\" \"Nov\" \"Dec\" \"\"",
    "am       \"AM\"",
    "pm       \"PM\"",
};

const Lines kUnitedStates = {
    "# The built-in territory, written out.",
    "name                 UnitedStates",
    "part                 1",
    "abbreviation         \"USA\"",
    "display-name         \"United States\"",
    "decimal-point        \".\"",
    "thousands-sep        \",\"",
    "other-sep            \",\"",
    "grouping             \"3;0\"",
    "frac-digits          2",
    "mon-decimal-point    \".\"",
    "mon-thousands-sep    \",\"",
    "mon-grouping         \"3;0\"",
    "currency-symbol      \"$\"",
    "int-currency-symbol  \"USD\"",
    "currency-digits      2",
    "int-currency-digits  2",
    "positive-sign        \"\"",
    "negative-sign        \"-\"",
    "p-cs-precedes        1",
    "p-sep-by-space       0",
    "n-cs-precedes        1",
    "n-sep-by-space       0",
    "p-sign-posn          3",
    "n-sign-posn          0",
    "time-format          \"%#I:%M:%S %p\"",
    "date-format          \"%#m/%#d/%y\"",
    "long-date-format     \"%A, %B %d, %Y\"",
    "territory-flag-0     1",
    "territory-flag-5     1",
    "territory-flag-6     1",
    "territory-value      0",
};

Bytes BuiltinBytes(const builtin::Table &t) { return Bytes(t.data, t.data + t.size); }

TEST(LocaleCompiler, BuiltinEnglishCompilesToTheBuiltinTable) {
    const Part p = CompileLanguage(Join(kEnglish), "english.txt");
    EXPECT_EQ(p.kind, kLanguage);
    EXPECT_EQ(p.number, 1);
    EXPECT_EQ(p.name, "English");
    EXPECT_EQ(p.origin, "english.txt");
    ASSERT_EQ(p.tables.size(), 1u);
    EXPECT_EQ(p.tables[0], BuiltinBytes(builtin::kLanguage));
}

TEST(LocaleCompiler, BuiltinUnitedStatesCompilesToTheBuiltinTable) {
    const Part p = CompileTerritory(Join(kUnitedStates), "unitedstates.txt");
    EXPECT_EQ(p.kind, kTerritory);
    EXPECT_EQ(p.number, 1);
    EXPECT_EQ(p.name, "UnitedStates");
    ASSERT_EQ(p.tables.size(), 1u);
    EXPECT_EQ(p.tables[0], BuiltinBytes(builtin::kTerritory));
}

TEST(LocaleCompiler, LineEndingsCommentsAndKeywordOrderDoNotMatter) {
    Lines l = kUnitedStates;
    std::reverse(l.begin(), l.end());
    std::string text;
    for (const std::string &s : l) text += s + "   # a comment with \"quotes\" and %x\r\n";
    const Part p = CompileTerritory(text, "us.txt");
    EXPECT_EQ(p.tables.at(0), BuiltinBytes(builtin::kTerritory));
}

TEST(LocaleCompiler, TextsDecodeEscapesAndUtf8) {
    Lines l = kEnglish;
    l[3] = "abbreviation \"\\u00C9\\\"\\\\x\"";           // É"\x
    l[4] = "display-name \"Fran\xC3\xA7" "ais \xE2\x82\xAC\"";  // Français €
    const Part p = CompileLanguage(Join(l), "x.txt");
    EXPECT_EQ(StringAt(p.tables[0], la::kStringOffsets + 2 * la::kAbbrev), u"\u00C9\"\\x");
    EXPECT_EQ(StringAt(p.tables[0], la::kStringOffsets + 2 * la::kName), u"Fran\u00E7ais \u20AC");
}

TEST(LocaleCompiler, EmptyThousandsSeparatorIsStoredAsZero) {
    Lines l = kUnitedStates;
    l[6] = "thousands-sep \"\"";
    l[11] = "mon-thousands-sep \"\"";
    const Part p = CompileTerritory(Join(l), "x.txt");
    EXPECT_EQ(U16(p.tables[0], te::kThousandsSep), 0u);
    EXPECT_EQ(U16(p.tables[0], te::kMonThousandsSep), 0u);
    EXPECT_EQ(U16(p.tables[0], te::kDecimalPoint), u'.');
}

TEST(LocaleCompiler, FlagBitsAndPositionsLandInTheirPlaces) {
    // Each flag alone, so that a bit written to the wrong place shows.
    const struct {
        const char *keyword;
        unsigned bit;
    } flags[] = {{"territory-flag-0", 0x01}, {"p-cs-precedes", 0x02}, {"p-sep-by-space", 0x04},
                 {"n-cs-precedes", 0x08},    {"n-sep-by-space", 0x10}, {"territory-flag-5", 0x20},
                 {"territory-flag-6", 0x40}};
    for (const auto &only : flags) {
        Lines l;
        for (const std::string &s : kUnitedStates) {
            bool isFlag = false;
            for (const auto &f : flags)
                if (s.rfind(std::string(f.keyword) + " ", 0) == 0) isFlag = true;
            if (s.rfind("territory-value ", 0) == 0) isFlag = true;
            if (!isFlag) l.push_back(s);
        }
        for (const auto &f : flags) l.push_back(std::string(f.keyword) + " " + (&f == &only ? "1" : "0"));
        l.push_back("territory-value 200");
        const Part p = CompileTerritory(Join(l), "x.txt");
        EXPECT_EQ(p.tables[0].at(te::kFlagByte), only.bit) << only.keyword;
        EXPECT_EQ(p.tables[0].at(te::kValue), 200u);
        EXPECT_EQ(p.tables[0].at(te::kPSignPosn), 3u);
        EXPECT_EQ(p.tables[0].at(te::kNSignPosn), 0u);
    }
}

TEST(LocaleCompiler, CaseRulesFollowTheStrings) {
    Lines l = kEnglish;
    l.push_back("upper-rule U+00DF 0 U+0053 U+0053");
    l.push_back("lower-rule U+0130 0 U+0069 U+0307");
    l.push_back("upper-rule U+FB00 0 U+0046 U+0046");
    l.push_back("lower-rule U+0049 U+0307 U+0069 0");
    const Part p = CompileLanguage(Join(l), "x.txt");
    const Bytes &t = p.tables.at(0);
    const size_t strings = BuiltinBytes(builtin::kLanguage).size();
    EXPECT_EQ(U16(t, la::kUpperRuleCount), 2u);
    EXPECT_EQ(U16(t, la::kLowerRuleCount), 2u);
    EXPECT_EQ(U16(t, la::kUpperRules), strings);
    EXPECT_EQ(U16(t, la::kLowerRules), strings + 2 * la::kRuleSize);
    ASSERT_EQ(t.size(), strings + 4 * la::kRuleSize);
    const unsigned expect[4][4] = {
        {0x00DF, 0, 0x0053, 0x0053}, {0xFB00, 0, 0x0046, 0x0046}, {0x0130, 0, 0x0069, 0x0307}, {0x0049, 0x0307, 0x0069, 0}};
    for (size_t r = 0; r < 4; ++r)
        for (size_t v = 0; v < 4; ++v)
            EXPECT_EQ(U16(t, strings + r * la::kRuleSize + 2 * v), expect[r][v]) << "rule " << r << " value " << v;
    // The strings are those of the built-in block.
    EXPECT_TRUE(std::equal(t.begin() + la::kFixed, t.begin() + strings,
                           BuiltinBytes(builtin::kLanguage).begin() + la::kFixed));
}

// --- malformed sources --------------------------------------------------------------

enum class At { kEdit, kEnd };

struct BadCase {
    const char *what;
    bool territory;
    const char *keyword;      // the line to replace; nullptr appends `line`
    std::string line;         // the new line; empty deletes the keyword's line
    At at;
    const char *reason;       // part of the message after "file:line: "
};

std::string Long(size_t n, const char *unit) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += unit;
    return s;
}

const std::vector<BadCase> &BadCases() {
    static const std::vector<BadCase> cases = {
        // Keywords.
        {"unknown keyword", false, nullptr, "weekday \"x\"", At::kEdit, "unknown keyword \"weekday\""},
        {"keyword in quotes", false, "am", "\"am\" \"AM\"", At::kEdit, "starts with a keyword"},
        {"repeated field", false, nullptr, "pm \"PM\"", At::kEdit, "pm repeated (first given on line 14)"},
        {"repeated territory field", true, nullptr, "grouping \"3\"", At::kEdit, "grouping repeated (first given on line 9)"},
        {"missing language field", false, "abmonth", "", At::kEnd, "abmonth is missing"},
        {"missing name", false, "name", "", At::kEnd, "name is missing"},
        {"missing territory field", true, "territory-value", "", At::kEnd, "territory-value is missing"},
        {"missing format", true, "long-date-format", "", At::kEnd, "long-date-format is missing"},
        // Names.
        {"name with underscore", false, "name", "name Eng_lish", At::kEdit, "separates the parts"},
        {"name with dot", true, "name", "name United.States", At::kEdit, "separates the parts"},
        {"name with at", true, "name", "name United@States", At::kEdit, "separates the parts"},
        {"name of 36 bytes", false, "name", "name " + Long(36, "a"), At::kEdit, "longer than 35 bytes"},
        {"quoted name", false, "name", "name \"English\"", At::kEdit, "name takes one name"},
        {"name with non-ASCII", false, "name", "name Fran\xC3\xA7" "ais", At::kEdit, "printable ASCII"},
        // Numbers.
        {"part 0", false, "part", "part 0", At::kEdit, "part 0 is out of range (1..65535)"},
        {"part 65536", true, "part", "part 65536", At::kEdit, "out of range (1..65535)"},
        {"part in hex", true, "part", "part 0x10", At::kEdit, "takes a decimal number"},
        {"negative default", false, "default-codeset", "default-codeset -1", At::kEdit, "takes a decimal number"},
        {"default territory 0", false, "default-territory", "default-territory 0", At::kEdit, "out of range (1..65535)"},
        {"two numbers", false, "default-sort", "default-sort 0 1", At::kEdit, "takes one number"},
        {"flag 2", true, "p-cs-precedes", "p-cs-precedes 2", At::kEdit, "out of range (0..1)"},
        {"sign position 5", true, "n-sign-posn", "n-sign-posn 5", At::kEdit, "out of range (0..4)"},
        {"item 84 byte 256", true, "territory-value", "territory-value 256", At::kEdit, "out of range (0..255)"},
        {"digits 100", true, "currency-digits", "currency-digits 100", At::kEdit, "out of range (0..99)"},
        // Texts.
        {"six day names", false, "day", "day \"a\" \"b\" \"c\" \"d\" \"e\" \"f\"", At::kEdit, "takes 7 quoted texts, not 6"},
        {"twelve months", false, "abmonth", "abmonth " + Long(12, "\"m\" "), At::kEdit, "takes 13 quoted texts, not 12"},
        {"bare day name", false, "abday", "abday \"a\" \"b\" \"c\" d \"e\" \"f\" \"g\"", At::kEdit, "takes quoted texts"},
        {"unclosed quote", false, "am", "am \"AM", At::kEdit, "not closed"},
        {"unknown escape", false, "am", "am \"A\\n\"", At::kEdit, "unknown escape \\n"},
        {"short \\u", false, "am", "am \"\\u00A\"", At::kEdit, "four hexadecimal digits"},
        {"\\u0000", false, "am", "am \"\\u0000\"", At::kEdit, "U+0000"},
        {"surrogate", false, "am", "am \"\\uD800\"", At::kEdit, "surrogate"},
        {"invalid UTF-8", false, "pm", "pm \"\xFF\"", At::kEdit, "not UTF-8"},
        {"overlong UTF-8", false, "pm", "pm \"\xC0\xAE\"", At::kEdit, "overlong"},
        {"beyond UCS-2", false, "pm", "pm \"\xF0\x9F\x98\x80\"", At::kEdit, "beyond U+FFFF"},
        {"tab-free control", false, "pm", "pm \"a\x01\"", At::kEdit, "control character"},
        {"empty abbreviation", false, "abbreviation", "abbreviation \"\"", At::kEdit, "abbreviation is empty"},
        {"empty display name", true, "display-name", "display-name \"\"", At::kEdit, "display-name is empty"},
        {"day name over 31 bytes", false, "day",
         "day \"" + Long(11, "\xE0\xB8\x81") + "\" \"b\" \"c\" \"d\" \"e\" \"f\" \"g\"", At::kEdit, "is 33 bytes in UTF-8"},
        {"negative sign over 3 bytes", true, "negative-sign", "negative-sign \"\\u200F-\"", At::kEdit, "is 4 bytes in UTF-8"},
        {"currency symbol over 31 bytes", true, "currency-symbol", "currency-symbol \"" + Long(32, "$") + "\"",
         At::kEdit, "32 bytes in UTF-8"},
        {"language block over 65535 bytes", false, "display-name", "display-name \"" + Long(33000, "x") + "\"",
         At::kEnd, "the language block needs 66564 bytes, more than 65535"},
        {"territory block over 65535 bytes", true, "display-name", "display-name \"" + Long(33000, "x") + "\"",
         At::kEnd, "more than 65535"},
        // Separators.
        {"two-character separator", true, "thousands-sep", "thousands-sep \"..\"", At::kEdit, "is 2 characters"},
        {"empty decimal point", true, "decimal-point", "decimal-point \"\"", At::kEdit, "takes exactly one"},
        {"empty other separator", true, "other-sep", "other-sep \"\"", At::kEdit, "takes exactly one"},
        {"digit as separator", true, "mon-thousands-sep", "mon-thousands-sep \"0\"", At::kEdit, "cannot be a digit"},
        {"separator equals decimal point", true, "thousands-sep", "thousands-sep \".\"", At::kEdit,
         "thousands-sep equals decimal-point"},
        {"monetary pair equal", true, "mon-thousands-sep", "mon-thousands-sep \".\"", At::kEdit,
         "mon-thousands-sep equals mon-decimal-point"},
        {"unquoted separator", true, "decimal-point", "decimal-point .", At::kEdit, "takes one quoted text"},
        // Grouping.
        {"grouping starting with 0", true, "grouping", "grouping \"0\"", At::kEdit, "starts with 0"},
        {"grouping with 0 inside", true, "mon-grouping", "mon-grouping \"3;0;2\"", At::kEdit, "can only stand last"},
        {"grouping with an empty size", true, "grouping", "grouping \"3;;0\"", At::kEdit, "sizes are numbers"},
        {"grouping ending in ;", true, "grouping", "grouping \"3;\"", At::kEdit, "sizes are numbers"},
        {"grouping with letters", true, "grouping", "grouping \"three\"", At::kEdit, "sizes are numbers"},
        {"grouping size 100", true, "grouping", "grouping \"100\"", At::kEdit, "sizes are numbers"},
        // Pictures.
        {"unknown directive", true, "time-format", "time-format \"%H:%M:%S %Z\"", At::kEdit, "%Z is not a directive"},
        {"POSIX %e", true, "date-format", "date-format \"%e.%m.%Y\"", At::kEdit, "%e is not a directive"},
        {"%# before an unknown letter", true, "date-format", "date-format \"%#e\"", At::kEdit, "%#e is not a directive"},
        {"trailing %", true, "long-date-format", "long-date-format \"%A %\"", At::kEdit, "ends inside a directive"},
        {"trailing %#", true, "long-date-format", "long-date-format \"%A %#\"", At::kEdit, "ends inside a directive"},
        {"%x in a picture", true, "long-date-format", "long-date-format \"%A %x\"", At::kEdit, "formats another picture"},
        {"%X in a picture", true, "time-format", "time-format \"%X\"", At::kEdit, "formats another picture"},
        {"%#c in a picture", true, "date-format", "date-format \"%#c\"", At::kEdit, "formats another picture"},
        {"picture over 31 bytes", true, "long-date-format", "long-date-format \"%A " + Long(29, "x") + "\"",
         At::kEdit, "is 32 bytes"},
        // Case rules.
        {"rule with three values", false, nullptr, "upper-rule U+00DF U+0053 U+0053", At::kEdit, "takes four values"},
        {"rule with a bad value", false, nullptr, "upper-rule U+00DF 0 S U+0053", At::kEdit, "U+XXXX or 0"},
        {"rule with five digits", false, nullptr, "lower-rule U+1E9E0 0 U+00DF 0", At::kEdit, "U+XXXX or 0"},
        {"rule from nothing", false, nullptr, "upper-rule 0 0 U+0053 0", At::kEdit, "first character it maps"},
        {"rule to nothing", false, nullptr, "lower-rule U+0130 0 0 0", At::kEdit, "first character of its result"},
        {"rule with U+0000", false, nullptr, "lower-rule U+0130 0 U+0000 0", At::kEdit, "write U+0000 as 0"},
    };
    return cases;
}

// The source of a case, and the line its message must name.
std::pair<std::string, int> Apply(const BadCase &c) {
    Lines l = c.territory ? kUnitedStates : kEnglish;
    int edit = 0;
    if (!c.keyword) {
        l.push_back(c.line);
        edit = int(l.size());
    } else {
        auto it = std::find_if(l.begin(), l.end(),
                               [&](const std::string &s) { return s.rfind(std::string(c.keyword) + " ", 0) == 0; });
        if (it == l.end()) ADD_FAILURE() << c.what << ": no line " << c.keyword;
        edit = int(it - l.begin()) + 1;
        if (c.line.empty()) l.erase(it);
        else *it = c.line;
    }
    return {Join(l), c.at == At::kEdit ? edit : int(l.size())};
}

TEST(LocaleCompiler, MalformedSourcesAreRejectedWithTheirLine) {
    for (const BadCase &c : BadCases()) {
        const auto [text, line] = Apply(c);
        const char *file = c.territory ? "te.txt" : "la.txt";
        try {
            if (c.territory) CompileTerritory(text, file);
            else CompileLanguage(text, file);
            ADD_FAILURE() << c.what << ": accepted";
        } catch (const lxdc::Error &e) {
            const std::string msg = e.what();
            const std::string where = std::string(file) + ":" + std::to_string(line) + ": ";
            EXPECT_EQ(msg.substr(0, where.size()), where) << c.what << ": " << msg;
            EXPECT_NE(msg.find(c.reason), std::string::npos) << c.what << ": " << msg;
        }
    }
}

TEST(LocaleCompiler, EveryDirectiveOfTheFormatterIsAccepted) {
    Lines l = kUnitedStates;
    l[25] = "time-format \"%% %a %A %b %B %d %H %I %j\"";
    l[26] = "date-format \"%m %M %p %S %U %w %W %y %Y\"";
    l[27] = "long-date-format \"%#d%#H%#I%#j%#m%#M%#S%#U%#W\"";
    const Part p = CompileTerritory(Join(l), "x.txt");
    EXPECT_EQ(StringAt(p.tables[0], te::kStringOffsets + 2 * te::kTimeFormat), u"%% %a %A %b %B %d %H %I %j");
}

// --- the committed sources --------------------------------------------------------

// A source read line by line: keyword -> values (texts unquoted, words as
// they stand).  Independent of the compiler's reader.
struct Parsed {
    std::map<std::string, std::vector<std::u16string>> values;
    std::string firstLine;

    const std::u16string &one(const std::string &k) const {
        static const std::u16string none;
        auto it = values.find(k);
        if (it == values.end() || it->second.size() != 1) {
            ADD_FAILURE() << "no single value for " << k;
            return none;
        }
        return it->second[0];
    }
    unsigned number(const std::string &k) const {
        unsigned n = 0;
        for (char16_t c : one(k)) n = n * 10 + unsigned(c - u'0');
        return n;
    }
    std::string word(const std::string &k) const { return std::string(one(k).begin(), one(k).end()); }
};

std::u16string FromUtf8(const std::string &s) {
    std::u16string out;
    for (size_t i = 0; i < s.size();) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        const size_t n = c < 0x80 ? 1 : c < 0xE0 ? 2 : 3;
        unsigned cp = n == 1 ? c : n == 2 ? c & 0x1F : c & 0x0F;
        for (size_t k = 1; k < n; ++k) cp = cp << 6 | (static_cast<unsigned char>(s.at(i + k)) & 0x3F);
        out += char16_t(cp);
        i += n;
    }
    return out;
}

Parsed Parse(const std::string &text) {
    Parsed p;
    std::istringstream in(text);
    std::string line;
    std::getline(in, p.firstLine);
    in.seekg(0);
    while (std::getline(in, line)) {
        std::vector<std::u16string> vals;
        std::string keyword;
        size_t i = 0;
        while (i < line.size()) {
            if (line[i] == ' ' || line[i] == '\t') {
                ++i;
            } else if (line[i] == '#') {
                break;
            } else if (line[i] == '"') {
                std::string raw;
                for (++i; line.at(i) != '"'; ++i) {
                    if (line[i] == '\\') {
                        ++i;
                        if (line[i] == 'u') {
                            const unsigned cp = unsigned(std::stoul(line.substr(i + 1, 4), nullptr, 16));
                            raw += cp < 0x80 ? std::string(1, char(cp))
                                   : cp < 0x800
                                       ? std::string{char(0xC0 | cp >> 6), char(0x80 | (cp & 0x3F))}
                                       : std::string{char(0xE0 | cp >> 12), char(0x80 | (cp >> 6 & 0x3F)),
                                                     char(0x80 | (cp & 0x3F))};
                            i += 4;
                            continue;
                        }
                    }
                    raw += line[i];
                }
                ++i;
                vals.push_back(FromUtf8(raw));
            } else {
                const size_t end = line.find_first_of(" \t", i);
                const std::string w = line.substr(i, end == std::string::npos ? std::string::npos : end - i);
                if (keyword.empty()) keyword = w;
                else vals.push_back(std::u16string(w.begin(), w.end()));
                i += w.size();
            }
        }
        if (!keyword.empty()) p.values[keyword] = vals;
    }
    return p;
}

std::string Read(const fs::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

fs::path DataDir() { return fs::path(LORVEX_TEST_SOURCE_DIR) / "data"; }

std::vector<fs::path> Sources(const char *kind) {
    std::vector<fs::path> out;
    for (const auto &e : fs::directory_iterator(DataDir() / kind))
        if (e.path().extension() == ".txt") out.push_back(e.path());
    std::sort(out.begin(), out.end());
    return out;
}

std::string Lower(std::string s) {
    for (char &c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

const char kGenerated[] = "# Generated by tools/import/import_locales.py from ";

TEST(LocaleSources, EveryLanguageCompilesToWhatItsSourceSays) {
    const auto files = Sources("language");
    ASSERT_FALSE(files.empty());
    for (const fs::path &f : files) {
        SCOPED_TRACE(f.string());
        const std::string text = Read(f);
        const Parsed src = Parse(text);
        const Part p = CompileLanguage(text, f.string());
        const Bytes &t = p.tables.at(0);
        EXPECT_EQ(src.firstLine.rfind(kGenerated, 0), 0u);
        EXPECT_EQ(f.filename().string(), Lower(p.name) + ".txt");
        EXPECT_EQ(p.name, src.word("name"));
        EXPECT_EQ(p.number, src.number("part"));
        EXPECT_EQ(U16(t, la::kDefaultTerritory), src.number("default-territory"));
        EXPECT_EQ(U16(t, la::kDefaultCodeset), src.number("default-codeset"));
        EXPECT_EQ(U16(t, la::kDefaultSort), src.number("default-sort"));

        const auto strings = Strings(t, la::kFixed, la::kStringOffsets, la::kStringCount, la::kStringsEnd);
        ASSERT_EQ(strings.size(), 44u);
        EXPECT_EQ(strings[la::kAbbrev], src.one("abbreviation"));
        EXPECT_EQ(strings[la::kName], src.one("display-name"));
        const std::vector<std::u16string> &day = src.values.at("day"), &abday = src.values.at("abday"),
                                          &month = src.values.at("month"), &abmonth = src.values.at("abmonth");
        ASSERT_EQ(day.size(), 7u);
        ASSERT_EQ(abday.size(), 7u);
        ASSERT_EQ(month.size(), 13u);
        ASSERT_EQ(abmonth.size(), 13u);
        for (size_t i = 0; i < 7; ++i) {
            EXPECT_EQ(strings[la::kDay1 + i], day[i]) << "day " << i;
            EXPECT_EQ(strings[la::kAbday1 + i], abday[i]) << "abday " << i;
        }
        for (size_t i = 0; i < 13; ++i) {
            EXPECT_EQ(strings[la::kMonth1 + i], month[i]) << "month " << i;
            EXPECT_EQ(strings[la::kAbmonth1 + i], abmonth[i]) << "abmonth " << i;
        }
        EXPECT_EQ(strings[la::kAm], src.one("am"));
        EXPECT_EQ(strings[la::kPm], src.one("pm"));
        // No case rules yet: both rule tables are empty at the table's end.
        EXPECT_EQ(U16(t, la::kUpperRuleCount), 0u);
        EXPECT_EQ(U16(t, la::kLowerRuleCount), 0u);
        EXPECT_EQ(U16(t, la::kUpperRules), t.size());
        EXPECT_EQ(U16(t, la::kLowerRules), t.size());

        // What the time formatter and parser need of the names: the 13th
        // month is empty, the others are not, and full names can be told
        // apart.
        EXPECT_TRUE(month[12].empty());
        EXPECT_TRUE(abmonth[12].empty());
        for (size_t i = 0; i < 12; ++i) EXPECT_FALSE(month[i].empty() || abmonth[i].empty()) << i;
        for (size_t i = 0; i < 7; ++i) EXPECT_FALSE(day[i].empty() || abday[i].empty()) << i;
        EXPECT_EQ(std::set<std::u16string>(day.begin(), day.end()).size(), 7u);
        EXPECT_EQ(std::set<std::u16string>(month.begin(), month.end() - 1).size(), 12u);
    }
}

// The directory's territory 1 and language 1 are the built-in ones, so that
// the default locale formats alike with and without a locale directory.
// English differs only in its default codeset: the code page its rows name
// (the built-in locale has only US-ASCII).
TEST(LocaleSources, TerritoryOneAndLanguageOneAreTheBuiltinOnes) {
    const fs::path te = DataDir() / "territory" / "unitedstates.txt";
    const fs::path la = DataDir() / "language" / "english.txt";
    EXPECT_EQ(CompileTerritory(Read(te), te.string()).tables.at(0), BuiltinBytes(builtin::kTerritory));
    Bytes english = CompileLanguage(Read(la), la.string()).tables.at(0);
    EXPECT_EQ(U16(english, la::kDefaultCodeset), 2252u);
    wr16(&english.at(la::kDefaultCodeset), 1);
    EXPECT_EQ(english, BuiltinBytes(builtin::kLanguage));
}

// The library's loader, in a strict registry, accepts every compiled part,
// finds it by its name in any case and by its number, and maps the table the
// compiler wrote.
TEST(LocaleSources, TheLoaderAcceptsEveryCompiledPart) {
    ScopedEnv noEnv("LX_LOCALEDIR", std::nullopt);
    std::vector<Part> parts;
    for (const fs::path &f : Sources("language")) parts.push_back(CompileLanguage(Read(f), f.string()));
    for (const fs::path &f : Sources("territory")) parts.push_back(CompileTerritory(Read(f), f.string()));
    LocaleDir dir;
    std::vector<nls::ControlEntry> entries;
    for (const Part &p : parts) {
        dir.part(p.kind, p.number, p.tables);
        entries.push_back({p.number, p.kind, p.name});
    }
    nls::SortEntries(entries);
    dir.control(entries);
    Started started(dir.path().c_str(), LX_INIT_STRICT);
    ASSERT_EQ(started.result(), LX_OK);
    Registry *reg = Library().registry;
    for (const Part &p : parts) {
        SCOPED_TRACE(p.origin);
        std::string upper = p.name;
        for (char &c : upper) c = char(std::toupper(static_cast<unsigned char>(c)));
        int32_t err = -1;
        PartRecord *rec = LXFindPartByName(reg, p.kind, upper.c_str(), int32_t(upper.size()), kLoad, &err);
        ASSERT_NE(rec, nullptr) << "error " << err;
        EXPECT_EQ(err, 0);
        EXPECT_EQ(rec->number, p.number);
        ASSERT_EQ(rec->size[0], p.tables[0].size());
        EXPECT_TRUE(std::equal(p.tables[0].begin(), p.tables[0].end(), rec->table[0]));
        EXPECT_EQ(LXFindPartByNumber(reg, p.kind, p.number, kNoLoad, &err), rec);
    }
}

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

TEST(LocaleSources, EveryTerritoryCompilesToWhatItsSourceSays) {
    const auto files = Sources("territory");
    ASSERT_FALSE(files.empty());
    for (const fs::path &f : files) {
        SCOPED_TRACE(f.string());
        const std::string text = Read(f);
        const Parsed src = Parse(text);
        const Part p = CompileTerritory(text, f.string());
        const Bytes &t = p.tables.at(0);
        EXPECT_EQ(src.firstLine.rfind(kGenerated, 0), 0u);
        EXPECT_EQ(f.filename().string(), Lower(p.name) + ".txt");
        EXPECT_EQ(p.name, src.word("name"));
        EXPECT_EQ(p.number, src.number("part"));

        const struct {
            const char *keyword;
            uint32_t at;
        } chars[] = {{"decimal-point", te::kDecimalPoint},
                     {"thousands-sep", te::kThousandsSep},
                     {"other-sep", te::kOtherSep},
                     {"mon-decimal-point", te::kMonDecimalPoint},
                     {"mon-thousands-sep", te::kMonThousandsSep}};
        for (const auto &c : chars) {
            const std::u16string &v = src.one(c.keyword);
            ASSERT_LE(v.size(), 1u) << c.keyword;
            EXPECT_EQ(U16(t, c.at), v.empty() ? 0u : unsigned(v[0])) << c.keyword;
        }
        const struct {
            const char *keyword;
            uint32_t at;
        } numbers[] = {{"frac-digits", te::kFracDigits},
                       {"currency-digits", te::kCurrencyDigits},
                       {"int-currency-digits", te::kIntCurrencyDigits}};
        for (const auto &n : numbers) EXPECT_EQ(U16(t, n.at), src.number(n.keyword)) << n.keyword;
        EXPECT_EQ(t.at(te::kPSignPosn), src.number("p-sign-posn"));
        EXPECT_EQ(t.at(te::kNSignPosn), src.number("n-sign-posn"));
        EXPECT_EQ(t.at(te::kValue), src.number("territory-value"));
        const char *bits[] = {"territory-flag-0", "p-cs-precedes", "p-sep-by-space", "n-cs-precedes",
                              "n-sep-by-space",   "territory-flag-5", "territory-flag-6"};
        for (unsigned b = 0; b < 7; ++b) EXPECT_EQ(t.at(te::kFlagByte) >> b & 1, src.number(bits[b])) << bits[b];
        EXPECT_EQ(t.at(te::kFlagByte) & 0x80, 0u);

        const auto strings = Strings(t, te::kFixed, te::kStringOffsets, te::kStringCount, te::kStringsEnd);
        EXPECT_EQ(U16(t, te::kStringsEnd), t.size());
        const char *keys[] = {"abbreviation",  "display-name", "grouping",    "mon-grouping",
                              "currency-symbol", "int-currency-symbol", "positive-sign", "negative-sign",
                              "time-format",   "date-format",  "long-date-format"};
        for (size_t i = 0; i < 11; ++i) EXPECT_EQ(strings.at(i), src.one(keys[i])) << keys[i];

        // Conventions the formatters rely on: a decimal point is neither a
        // digit nor its thousands separator; the international symbol is an
        // ISO 4217 code and the abbreviation an ISO 3166 alpha-3 code (or
        // one of its user-assigned X codes).
        EXPECT_NE(U16(t, te::kDecimalPoint), U16(t, te::kThousandsSep));
        EXPECT_NE(U16(t, te::kMonDecimalPoint), U16(t, te::kMonThousandsSep));
        EXPECT_FALSE(IsDigit(char16_t(U16(t, te::kDecimalPoint))));
        for (const std::u16string &code : {strings[te::kIntCurrency], strings[te::kAbbrev]}) {
            EXPECT_EQ(code.size(), 3u);
            for (char16_t c : code) EXPECT_TRUE(c >= u'A' && c <= u'Z');
        }
        EXPECT_LE(t.at(te::kPSignPosn), 4u);
        EXPECT_LE(t.at(te::kNSignPosn), 4u);
    }
}

// --- coverage of the locale-identifier tables ------------------------------------

// Windows locale identifiers and the locale names they stand for.
const char kNativeNames[] =
    "0x0401 Arabic_SaudiArabia.MS1256;0x0402 Bulgarian_Bulgaria.MS1251;0x0403 Catalan_Catalonia.MS1252;"
    "0x0404 TraditionalChinese_Taiwan.MS950;0x0405 Czech_CzechRepublic.MS1250;0x0406 Danish_Denmark.MS1252;"
    "0x0407 German_Germany.MS1252;0x0408 Greek_Greece.MS1253;0x0409 English_UnitedStates.MS1252;"
    "0x040A Spanish_Spain.MS1252@TraditionalSpanish;0x040B Finnish_Finland.MS1252;0x040C French_France.MS1252;"
    "0x040D Hebrew_Israel.MS1255;0x040E Hungarian_Hungary.MS1250;0x040F Icelandic_Iceland.MS1252;"
    "0x0410 Italian_Italy.MS1252;0x0411 Japanese_Japan.MS932;0x0412 Korean_Korea.MS949;"
    "0x0413 Dutch_Netherlands.MS1252;0x0414 Norwegian_Norway.MS1252;0x0415 Polish_Poland.MS1250;"
    "0x0416 Portuguese_Brazil.MS1252;0x0417 Rhaeto-Romanic;0x0418 Romanian_Romania.MS1250;"
    "0x0419 Russian_Russia.MS1251;0x041A Croatian_Croatia.MS1250;0x041B Slovak_Slovakia.MS1250;"
    "0x041C Albanian_Albania.MS1250;0x041D Swedish_Sweden.MS1252;0x041E Thai_Thailand.MS874;"
    "0x041F Turkish_Turkey.MS1254;0x0420 Urdu_Pakistan.MS1256;0x0421 Indonesian_Indonesia.MS1252;"
    "0x0422 Ukrainian_Ukraine.MS1251;0x0423 Byelorussian_Belarus.MS1251;0x0424 Slovenian_Slovenia.MS1250;"
    "0x0425 Estonian_Estonia.MS1257;0x0426 Latvian_Latvia.MS1257;0x0427 Lithuanian_Lithuania.MS1257;"
    "0x0428 Maori;0x0429 Farsi_Iran.MS1256;0x042A Vietnamese_VietNam.MS1258;0x042B Laotian;"
    "0x042C Kampuchean;0x042D Basque.MS1252;0x042E Sorbian_Germany;0x042F Macedonian_Macedonia.MS1251;"
    "0x0430 Sutu;0x0431 Tsonga;0x0432 Tswana;0x0433 Venda;0x0434 Xhosa;0x0435 Zulu;"
    "0x0436 Afrikaans_SouthAfrica.MS1252;0x0438 Faeroese.MS1250;0x0439 Hindi_India;0x043A Maltese;"
    "0x043B Sami;0x043C ScotsGaelic;0x0801 Arabic_Iraq.MS1256;0x0804 SimplifiedChinese_China.MS936;"
    "0x0807 German_German-Switzerland.MS1252;0x0809 English_UnitedKingdom.MS1252;0x080A Spanish_Mexico.MS1252;"
    "0x080C French_French-Belgium.MS1252;0x0810 Italian_Italian-Switzerland.MS1252;0x0812 Korean_Korea.MS1361;"
    "0x0813 Dutch_Dutch-Belgium.MS1252;0x0814 Norwegian(Nynorsk)_Norway.MS1252;0x0816 Portuguese_Portugal.MS1252;"
    "0x0818 Romanian_Moldavia;0x0819 Russian_Moldavia;0x081A Serbian_Yugoslavia.MS1250;"
    "0x0C01 Arabic_Egypt.MS1256;0x0C04 TraditionalChinese_HongKong.MS950;0x0C09 English_Australia.MS1252;"
    "0x0C0A Spanish_Spain.MS1252@Spanish;0x0C0C CanadianFrench_French-Canada.MS1252;0x1001 Arabic_Libya.MS1256;"
    "0x1004 SimplifiedChinese_Singapore.MS936;0x1007 German_Luxembourg.MS1252;0x1009 English_Canada.MS1252;"
    "0x100A Spanish_Guatemala.MS1252;0x100C French_French-Switzerland.MS1252;0x1401 Arabic_Algeria.MS1256;"
    "0x1409 English_NewZealand.MS1252;0x140A Spanish_CostaRica.MS1252;0x140C French_Luxembourg.MS1252;"
    "0x1801 Arabic_Morocco.MS1256;0x1809 English_Ireland.MS1252;0x180A Spanish_Panama.MS1252;"
    "0x1C01 Arabic_Tunisia.MS1256;0x1C09 English_SouthAfrica.MS1252;0x1C0A Spanish_DominicanRepublic.MS1252;"
    "0x2001 Arabic_Oman.MS1256;0x2009 English_Jamaica.MS1252;0x200A Spanish_Venezuela.MS1252;"
    "0x2401 Arabic_Yemen.MS1256;0x2409 English_TheCarribean.MS1252;0x240A Spanish_Columbia.MS1252;"
    "0x2801 Arabic_Syria.MS1256;0x280A Spanish_Peru.MS1252;0x2C01 Arabic_Jordan.MS1256;"
    "0x2C0A Spanish_Argentina.MS1252;0x3001 Arabic_Lebanon.MS1256;0x300A Spanish_Ecuador.MS1252;"
    "0x3401 Arabic_Kuwait.MS1256;0x340A Spanish_Chile.MS1252;0x3801 Arabic_UnitedArabEmirates.MS1256;"
    "0x380A Spanish_Uruguay.MS1252;0x3C01 Arabic_Bahrain.MS1256;0x3C0A Spanish_Paraguay.MS1252;"
    "0x4001 Arabic_Qatar.MS1256;0x400A Spanish_Boliva.MS1252;"
    // The two identifiers of the part-number table that the list above
    // leaves out.
    "0x0C07 German_Austria.MS1252;0x0C1A Serbian(Cyrillic)_Yugoslavia.MS1251";

// language/territory/codeset/sort and the identifier they convert to.
const char kPartRows[] =
    "1/1/2252/1 0x0409;1/36/2252/1 0x0C09;1/124/2252/1 0x1009;1/826/2252/1 0x0809;1/710/2252/1 0x1C09;"
    "2/276/2252/1 0x0407;2/40/2252/1 0x0C07;2/756/2252/1 0x0807;3/250/2252/1 0x040C;3/757/2252/1 0x100C;"
    "3/57/2252/1 0x080C;4/724/2252/2 0x0C0A;4/724/2252/3 0x040A;4/32/2252/2 0x2C0A;4/152/2252/2 0x340A;"
    "4/484/2252/2 0x080A;5/380/2252/1 0x0410;5/758/2252/1 0x0810;6/620/2252/1 0x0816;6/76/2252/1 0x0416;"
    "7/578/2252/4 0x0414;8/752/2252/5 0x041D;9/208/2252/4 0x0406;10/246/2252/6 0x040B;11/392/2024/0 0x0411;"
    "12/125/2252/1 0x0C0C;13/158/950/0 0x0404;14/156/936/0 0x0804;15/8/2250/1 0x041C;16/682/2256/1 0x0401;"
    "17/100/2251/1 0x0402;18/112/2251/1 0x0423;19/134/2252/1 0x0403;20/191/2250/7 0x041A;"
    "21/203/2250/8 0x0405;22/528/2252/1 0x0413;22/56/2252/1 0x0813;23/233/2257/9 0x0425;"
    "24/364/2256/1 0x0429;25/300/2253/1 0x0408;26/376/2255/1 0x040D;27/348/2250/10 0x040E;"
    "28/410/949/0 0x0412;28/410/1361/0 0x0812;29/428/2257/11 0x0426;30/442/2257/12 0x0427;"
    "31/807/2251/1 0x042F;32/642/2250/13 0x0418;33/643/2251/1 0x0419;34/891/2250/1 0x081A;"
    "35/891/2251/1 0x0C1A;36/703/2250/14 0x041B;37/705/2250/15 0x0424;38/764/874/16 0x041E;"
    "39/792/2254/17 0x041F;40/804/2251/18 0x0422;41/704/2258/19 0x042A";

std::vector<std::string> Split(const std::string &s, char sep) {
    std::vector<std::string> out;
    std::string item;
    std::istringstream in(s);
    while (std::getline(in, item, sep)) out.push_back(item);
    return out;
}

struct NativeName {
    unsigned id;
    std::string language, territory, codeset;
};

std::vector<NativeName> NativeNames() {
    std::vector<NativeName> out;
    for (const std::string &row : Split(kNativeNames, ';')) {
        NativeName n;
        const size_t space = row.find(' ');
        n.id = unsigned(std::stoul(row.substr(0, space), nullptr, 16));
        std::string name = row.substr(space + 1);
        name = name.substr(0, name.find('@'));
        const size_t dot = name.find('.');
        if (dot != std::string::npos) n.codeset = name.substr(dot + 1);
        name = name.substr(0, dot);
        const size_t us = name.find('_');
        n.language = name.substr(0, us);
        if (us != std::string::npos) n.territory = name.substr(us + 1);
        out.push_back(n);
    }
    return out;
}

struct PartRow {
    unsigned language, territory, codeset, id;
};

std::vector<PartRow> PartRows() {
    std::vector<PartRow> out;
    for (const std::string &row : Split(kPartRows, ';')) {
        const size_t space = row.find(' ');
        const auto n = Split(row.substr(0, space), '/');
        out.push_back({unsigned(std::stoul(n[0])), unsigned(std::stoul(n[1])), unsigned(std::stoul(n[2])),
                       unsigned(std::stoul(row.substr(space + 1), nullptr, 16))});
    }
    return out;
}

// name -> part number of every committed source of a kind.
std::map<std::string, unsigned> Numbers(const char *kind) {
    std::map<std::string, unsigned> out;
    for (const fs::path &f : Sources(kind)) {
        const Parsed p = Parse(Read(f));
        out[p.word("name")] = p.number("part");
    }
    return out;
}

TEST(LocaleSources, CoverTheIdentifierTablesWithTheirNumbers) {
    const auto languages = Numbers("language"), territories = Numbers("territory"), codesets = Numbers("codeset");
    const auto names = NativeNames();
    std::map<unsigned, const NativeName *> byId;
    for (const NativeName &n : names) {
        byId[n.id] = &n;
        EXPECT_TRUE(languages.count(n.language)) << "language " << n.language;
        if (!n.territory.empty()) {
            EXPECT_TRUE(territories.count(n.territory)) << "territory " << n.territory;
        }
        if (!n.codeset.empty()) {
            EXPECT_TRUE(codesets.count(n.codeset)) << "codeset " << n.codeset;
        }
    }
    for (const PartRow &r : PartRows()) {
        ASSERT_TRUE(byId.count(r.id)) << std::hex << r.id;
        const NativeName &n = *byId[r.id];
        EXPECT_EQ(languages.count(n.language) ? languages.at(n.language) : 0, r.language) << n.language;
        EXPECT_EQ(territories.count(n.territory) ? territories.at(n.territory) : 0, r.territory) << n.territory;
        EXPECT_EQ(codesets.count(n.codeset) ? codesets.at(n.codeset) : 0, r.codeset) << n.codeset;
    }
    // Languages the part rows leave out are numbered from 42 up, without
    // gaps; territories the rows leave out keep their ISO 3166-1 number
    // unless another part has it (then one from 901 up).
    std::set<unsigned> rowLanguages;
    for (const PartRow &r : PartRows()) rowLanguages.insert(r.language);
    std::set<unsigned> others;
    for (const auto &[name, number] : languages)
        if (!rowLanguages.count(number)) others.insert(number);
    ASSERT_FALSE(others.empty());
    EXPECT_EQ(*others.begin(), 42u);
    EXPECT_EQ(*others.rbegin(), 42u + others.size() - 1);
    const struct {
        const char *name;
        unsigned number;
    } iso[] = {{"Iceland", 352}, {"Poland", 616}, {"Pakistan", 586}, {"Indonesia", 360}, {"Moldavia", 498},
               {"Guatemala", 320}, {"Panama", 591}, {"Boliva", 68}, {"Columbia", 170}, {"HongKong", 344}};
    for (const auto &t : iso) EXPECT_EQ(territories.count(t.name) ? territories.at(t.name) : 0, t.number) << t.name;
    EXPECT_GT(territories.at("Luxembourg"), 900u);
    EXPECT_GT(territories.at("TheCarribean"), 900u);
}

TEST(LocaleSources, PartNamesAndNumbersAreUniqueAndDefaultsExist) {
    const auto territories = Numbers("territory"), codesets = Numbers("codeset");
    std::set<unsigned> territoryNumbers, codesetNumbers;
    for (const auto &[name, n] : territories) EXPECT_TRUE(territoryNumbers.insert(n).second) << name;
    for (const auto &[name, n] : codesets) codesetNumbers.insert(n);
    const auto rows = PartRows();
    const auto names = NativeNames();
    std::set<unsigned> languageNumbers;
    std::set<std::string> lowerNames;
    for (const fs::path &f : Sources("language")) {
        const Parsed p = Parse(Read(f));
        const std::string name = p.word("name");
        SCOPED_TRACE(name);
        EXPECT_TRUE(languageNumbers.insert(p.number("part")).second);
        EXPECT_TRUE(lowerNames.insert(Lower(name)).second);
        const unsigned territory = p.number("default-territory"), codeset = p.number("default-codeset");
        EXPECT_TRUE(territoryNumbers.count(territory)) << "default territory " << territory;
        EXPECT_TRUE(codesetNumbers.count(codeset)) << "default codeset " << codeset;
        EXPECT_EQ(p.number("default-sort"), 0u);
        // The defaults are those of the language's first row: the part
        // rows first, then the identifier list; UTF-8 when no row names a
        // codeset.
        const PartRow *row = nullptr;
        for (const PartRow &r : rows)
            if (!row && r.language == p.number("part")) row = &r;
        if (row) {
            EXPECT_EQ(territory, row->territory);
            EXPECT_EQ(codeset, row->codeset);
            continue;
        }
        std::string firstTerritory, firstCodeset;
        for (const NativeName &n : names) {
            if (n.language != name) continue;
            if (firstTerritory.empty()) firstTerritory = n.territory;
            if (firstCodeset.empty()) firstCodeset = n.codeset;
        }
        if (!firstTerritory.empty()) {
            EXPECT_EQ(territory, territories.at(firstTerritory));
        }
        EXPECT_EQ(codeset, firstCodeset.empty() ? 106u : codesets.at(firstCodeset));
    }
}

}  // namespace
}  // namespace lorvex::test
