// The language and territory compilers, and the sources under data/.
//
// - Sources that spell out the built-in English and UnitedStates compile to
//   the built-in tables byte for byte.
// - Every rule of the source format is reported with its line.
// - Every committed source compiles and keeps the conventions the
//   formatters rely on.  (That the loader accepts every compiled part is
//   select_test.cpp's check that every part works; that the sources say what
//   the POSIX locales say is the importer's --check.)
// - The committed parts cover the languages, territories and numbers of the
//   locale-identifier tables, and each language's defaults are those of its
//   first row.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "locale/builtin.h"
#include "locale/layout.h"
#include "lxdc/codeset_compiler.h"
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

// Line endings, comments and keyword order do not matter.
TEST(LocaleCompiler, BuiltinSourcesCompileToTheBuiltinTables) {
    for (const bool territory : {false, true}) {
        const Lines &l = territory ? kUnitedStates : kEnglish;
        std::string reordered;
        for (auto it = l.rbegin(); it != l.rend(); ++it) reordered += *it + "   # a comment with \"quotes\" and %x\r\n";
        for (const std::string &text : {Join(l), reordered}) {
            const Part p = territory ? CompileTerritory(text, "us.txt") : CompileLanguage(text, "en.txt");
            EXPECT_EQ(p.kind, territory ? kTerritory : kLanguage);
            EXPECT_EQ(p.number, 1);
            EXPECT_EQ(p.name, territory ? "UnitedStates" : "English");
            EXPECT_EQ(p.origin, territory ? "us.txt" : "en.txt");
            ASSERT_EQ(p.tables.size(), 1u);
            EXPECT_EQ(p.tables[0], BuiltinBytes(territory ? builtin::kTerritory : builtin::kLanguage));
        }
    }
}

// Edits a source: "+line" appends line, "-keyword" deletes the keyword's
// line, and any other line replaces the line of its keyword (its first word,
// unquoted).  Returns the number of the line edited.
int Edit(Lines &l, const std::string &line) {
    if (line[0] == '+') {
        l.push_back(line.substr(1));
        return int(l.size());
    }
    const bool del = line[0] == '-';
    std::string key = line.substr(del, line.find(' ') - del);
    key.erase(std::remove(key.begin(), key.end(), '"'), key.end());
    key += ' ';
    const auto it = std::find_if(l.begin(), l.end(), [&](const std::string &s) { return s.rfind(key, 0) == 0; });
    if (it == l.end()) throw std::runtime_error("no line " + key);
    const int edit = int(it - l.begin()) + 1;
    if (del) l.erase(it);
    else *it = line;
    return edit;
}

// Escapes, UTF-8, empty separators, and every directive of the formatter.
TEST(LocaleCompiler, AcceptedTextsLandInTheirFields) {
    const struct {
        bool territory;
        std::string line;
        uint32_t field;  // a string's offset field, or a character field
        std::u16string want;
    } cases[] = {
        {false, "abbreviation \"\\u00C9\\\"\\\\x\"", la::kStringOffsets + 2 * la::kAbbrev, u"\u00C9\"\\x"},
        {false, "display-name \"Fran\xC3\xA7" "ais \xE2\x82\xAC\"", la::kStringOffsets + 2 * la::kName,
         u"Fran\u00E7ais \u20AC"},
        {true, "thousands-sep \"\"", te::kThousandsSep, u""},
        {true, "mon-thousands-sep \"\"", te::kMonThousandsSep, u""},
        {true, "time-format \"%% %a %A %b %B %d %H %I %j\"", te::kStringOffsets + 2 * te::kTimeFormat,
         u"%% %a %A %b %B %d %H %I %j"},
        {true, "date-format \"%m %M %p %S %U %w %W %y %Y\"", te::kStringOffsets + 2 * te::kDateFormat,
         u"%m %M %p %S %U %w %W %y %Y"},
        {true, "long-date-format \"%#d%#H%#I%#j%#m%#M%#S%#U%#W\"",
         te::kStringOffsets + 2 * te::kLongDateFormat, u"%#d%#H%#I%#j%#m%#M%#S%#U%#W"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.line);
        Lines l = c.territory ? kUnitedStates : kEnglish;
        Edit(l, c.line);
        const Bytes t = (c.territory ? CompileTerritory(Join(l), "x.txt") : CompileLanguage(Join(l), "x.txt")).tables[0];
        const bool isChar = c.field < (c.territory ? te::kStringOffsets : la::kStringOffsets);
        if (isChar) EXPECT_EQ(U16(t, c.field), c.want.empty() ? 0u : unsigned(c.want[0]));
        else EXPECT_EQ(StringAt(t, c.field), c.want);
    }
}

TEST(LocaleCompiler, FlagBitsAndPositionsLandInTheirPlaces) {
    // Each flag alone, so that a bit written to the wrong place shows.
    const struct { const char *keyword; unsigned bit; } flags[] = {
        {"territory-flag-0", 0x01}, {"p-cs-precedes", 0x02},    {"p-sep-by-space", 0x04},   {"n-cs-precedes", 0x08},
        {"n-sep-by-space", 0x10},   {"territory-flag-5", 0x20}, {"territory-flag-6", 0x40}};
    for (const auto &only : flags) {
        Lines l = kUnitedStates;
        for (const auto &f : flags) Edit(l, std::string(f.keyword) + (&f == &only ? " 1" : " 0"));
        Edit(l, "territory-value 200");
        const Bytes t = CompileTerritory(Join(l), "x.txt").tables[0];
        EXPECT_EQ(t.at(te::kFlagByte), only.bit) << only.keyword;
        EXPECT_EQ(t.at(te::kValue), 200u);
        EXPECT_EQ(t.at(te::kPSignPosn), 3u);
        EXPECT_EQ(t.at(te::kNSignPosn), 0u);
    }
}

TEST(LocaleCompiler, CaseRulesFollowTheStrings) {
    Lines l = kEnglish;
    l.insert(l.end(), {"upper-rule U+00DF 0 U+0053 U+0053", "lower-rule U+0130 0 U+0069 U+0307",
                       "upper-rule U+FB00 0 U+0046 U+0046", "lower-rule U+0049 U+0307 U+0069 0"});
    const Bytes t = CompileLanguage(Join(l), "x.txt").tables.at(0);
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

struct BadCase {
    bool territory;
    std::string edit;    // as Edit takes it
    const char *reason;  // part of the message after "file:line: "
    bool atEnd = false;  // the message names the last line, not the edited one
};

std::string Long(size_t n, const char *unit) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += unit;
    return s;
}

const std::vector<BadCase> &BadCases() {
    static const std::vector<BadCase> cases = {
        // Keywords.
        {false, "+weekday \"x\"", "unknown keyword \"weekday\""}, {false, "\"am\" \"AM\"", "starts with a keyword"},
        {false, "+pm \"PM\"", "pm repeated (first given on line 14)"},
        {true, "+grouping \"3\"", "grouping repeated (first given on line 9)"},
        {false, "-abmonth", "abmonth is missing", true}, {false, "-name", "name is missing", true},
        {true, "-territory-value", "territory-value is missing", true},
        {true, "-long-date-format", "long-date-format is missing", true},
        // Names.
        {false, "name Eng_lish", "separates the parts"}, {true, "name United.States", "separates the parts"},
        {true, "name United@States", "separates the parts"}, {false, "name " + Long(36, "a"), "longer than 35 bytes"},
        {false, "name \"English\"", "name takes one name"}, {false, "name Fran\xC3\xA7" "ais", "printable ASCII"},
        // Numbers.
        {false, "part 0", "part 0 is out of range (1..65535)"}, {true, "part 65536", "out of range (1..65535)"},
        {true, "part 0x10", "takes a decimal number"}, {false, "default-codeset -1", "takes a decimal number"},
        {false, "default-territory 0", "out of range (1..65535)"}, {false, "default-sort 0 1", "takes one number"},
        {true, "p-cs-precedes 2", "out of range (0..1)"}, {true, "n-sign-posn 5", "out of range (0..4)"},
        {true, "territory-value 256", "out of range (0..255)"}, {true, "currency-digits 100", "out of range (0..99)"},
        // Texts.
        {false, "day \"a\" \"b\" \"c\" \"d\" \"e\" \"f\"", "takes 7 quoted texts, not 6"},
        {false, "abmonth " + Long(12, "\"m\" "), "takes 13 quoted texts, not 12"},
        {false, "abday \"a\" \"b\" \"c\" d \"e\" \"f\" \"g\"", "takes quoted texts"},
        {false, "am \"AM", "not closed"}, {false, "am \"A\\n\"", "unknown escape \\n"},
        {false, "am \"\\u00A\"", "four hexadecimal digits"}, {false, "am \"\\u0000\"", "U+0000"},
        {false, "am \"\\uD800\"", "surrogate"}, {false, "pm \"\xFF\"", "not UTF-8"},
        {false, "pm \"\xC0\xAE\"", "overlong"}, {false, "pm \"\xF0\x9F\x98\x80\"", "beyond U+FFFF"},
        {false, "pm \"a\x01\"", "control character"}, {false, "abbreviation \"\"", "abbreviation is empty"},
        {true, "display-name \"\"", "display-name is empty"},
        {false, "day \"" + Long(11, "\xE0\xB8\x81") + "\" \"b\" \"c\" \"d\" \"e\" \"f\" \"g\"", "is 33 bytes in UTF-8"},
        {true, "negative-sign \"\\u200F-\"", "is 4 bytes in UTF-8"},
        {true, "currency-symbol \"" + Long(32, "$") + "\"", "32 bytes in UTF-8"},
        {false, "display-name \"" + Long(33000, "x") + "\"", "the language block needs 66564 bytes, more than 65535",
         true},
        {true, "display-name \"" + Long(33000, "x") + "\"", "more than 65535", true},
        // Separators.
        {true, "thousands-sep \"..\"", "is 2 characters"}, {true, "decimal-point \"\"", "takes exactly one"},
        {true, "other-sep \"\"", "takes exactly one"}, {true, "mon-thousands-sep \"0\"", "cannot be a digit"},
        {true, "thousands-sep \".\"", "thousands-sep equals decimal-point"},
        {true, "mon-thousands-sep \".\"", "mon-thousands-sep equals mon-decimal-point"},
        {true, "decimal-point .", "takes one quoted text"},
        // Grouping.
        {true, "grouping \"0\"", "starts with 0"}, {true, "mon-grouping \"3;0;2\"", "can only stand last"},
        {true, "grouping \"3;;0\"", "sizes are numbers"}, {true, "grouping \"3;\"", "sizes are numbers"},
        {true, "grouping \"three\"", "sizes are numbers"}, {true, "grouping \"100\"", "sizes are numbers"},
        // Pictures.
        {true, "time-format \"%H:%M:%S %Z\"", "%Z is not a directive"},
        {true, "date-format \"%e.%m.%Y\"", "%e is not a directive"},
        {true, "date-format \"%#e\"", "%#e is not a directive"},
        {true, "long-date-format \"%A %\"", "ends inside a directive"},
        {true, "long-date-format \"%A %#\"", "ends inside a directive"},
        {true, "long-date-format \"%A %x\"", "formats another picture"},
        {true, "time-format \"%X\"", "formats another picture"},
        {true, "date-format \"%#c\"", "formats another picture"},
        {true, "long-date-format \"%A " + Long(29, "x") + "\"", "is 32 bytes"},
        // Case rules.
        {false, "+upper-rule U+00DF U+0053 U+0053", "takes four values"},
        {false, "+upper-rule U+00DF 0 S U+0053", "U+XXXX or 0"},
        {false, "+lower-rule U+1E9E0 0 U+00DF 0", "U+XXXX or 0"},
        {false, "+upper-rule 0 0 U+0053 0", "first character it maps"},
        {false, "+lower-rule U+0130 0 0 0", "first character of its result"},
        {false, "+lower-rule U+0130 0 U+0000 0", "write U+0000 as 0"},

    };
    return cases;
}

TEST(LocaleCompiler, MalformedSourcesAreRejectedWithTheirLine) {
    for (const BadCase &c : BadCases()) {
        SCOPED_TRACE(c.edit.substr(0, 80));
        Lines l = c.territory ? kUnitedStates : kEnglish;
        const int edit = Edit(l, c.edit);
        const std::string file = c.territory ? "te.txt" : "la.txt";
        const std::string where = file + ":" + std::to_string(c.atEnd ? int(l.size()) : edit) + ": ";
        try {
            c.territory ? CompileTerritory(Join(l), file) : CompileLanguage(Join(l), file);
            ADD_FAILURE() << "accepted";
        } catch (const lxdc::Error &e) {
            const std::string msg = e.what();
            EXPECT_EQ(msg.rfind(where, 0), 0u) << msg;
            EXPECT_NE(msg.find(c.reason), std::string::npos) << msg;
        }
    }
}

// --- the committed sources --------------------------------------------------------

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

using Compiler = Part (*)(const std::string &, const std::string &);

// Every committed source of a kind, compiled: each carries the importer's
// header and is named after its part.  (Where the compiler puts each field
// is checked above on the built-in sources, byte for byte.)
std::vector<Part> CompileAll(const char *kind, Compiler compile) {
    std::vector<Part> parts;
    const auto files = Sources(kind);
    EXPECT_FALSE(files.empty()) << kind;
    for (const fs::path &f : files) {
        SCOPED_TRACE(f.string());
        const std::string text = Read(f);
        parts.push_back(compile(text, f.string()));
        EXPECT_EQ(text.rfind(kGenerated, 0), 0u);
        EXPECT_EQ(f.filename().string(), Lower(parts.back().name) + ".txt");
    }
    return parts;
}

// What the time formatter and parser need of the names: the 13th month is
// empty, the others are not, and full names can be told apart; the case
// rules, upper then lower, follow the strings, and nothing follows them.
TEST(LocaleSources, EveryLanguageKeepsTheConventionsOfTheFormatters) {
    for (const Part &p : CompileAll("language", CompileLanguage)) {
        SCOPED_TRACE(p.origin);
        const Bytes &t = p.tables.at(0);
        const auto strings = Strings(t, la::kFixed, la::kStringOffsets, la::kStringCount, la::kStringsEnd);
        ASSERT_EQ(strings.size(), 44u);
        const struct { const char *what; size_t first, count; bool distinct; } lists[] = {
            {"day", la::kDay1, 7, true}, {"abday", la::kAbday1, 7, false},
            {"month", la::kMonth1, 13, true}, {"abmonth", la::kAbmonth1, 13, false}};
        for (const auto &l : lists) {
            const auto first = strings.begin() + long(l.first);
            for (size_t i = 0; i < l.count; ++i) EXPECT_EQ(first[long(i)].empty(), i == 12) << l.what << " " << i;
            const size_t named = std::min<size_t>(l.count, 12);
            EXPECT_TRUE(!l.distinct || std::set<std::u16string>(first, first + long(named)).size() == named)
                << l.what << " names repeat";
        }
        const size_t upper = U16(t, la::kStringsEnd), lower = upper + U16(t, la::kUpperRuleCount) * la::kRuleSize;
        EXPECT_EQ(U16(t, la::kUpperRules), upper);
        EXPECT_EQ(U16(t, la::kLowerRules), lower);
        EXPECT_EQ(lower + U16(t, la::kLowerRuleCount) * la::kRuleSize, t.size());
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

// Conventions the formatters rely on: a decimal point is neither a digit nor
// its thousands separator; the international symbol is an ISO 4217 code and
// the abbreviation an ISO 3166 alpha-3 code (or one of its user-assigned X
// codes).
TEST(LocaleSources, EveryTerritoryKeepsTheConventionsOfTheFormatters) {
    for (const Part &p : CompileAll("territory", CompileTerritory)) {
        SCOPED_TRACE(p.origin);
        const Bytes &t = p.tables.at(0);
        EXPECT_EQ(t.at(te::kFlagByte) & 0x80, 0u);
        const auto strings = Strings(t, te::kFixed, te::kStringOffsets, te::kStringCount, te::kStringsEnd);
        EXPECT_EQ(U16(t, te::kStringsEnd), t.size());
        EXPECT_NE(U16(t, te::kDecimalPoint), U16(t, te::kThousandsSep));
        EXPECT_NE(U16(t, te::kMonDecimalPoint), U16(t, te::kMonThousandsSep));
        EXPECT_FALSE(U16(t, te::kDecimalPoint) >= u'0' && U16(t, te::kDecimalPoint) <= u'9');
        for (const std::u16string &code : {strings.at(te::kIntCurrency), strings.at(te::kAbbrev)}) {
            EXPECT_EQ(code.size(), 3u);
            for (char16_t c : code) EXPECT_TRUE(c >= u'A' && c <= u'Z');
        }
        EXPECT_LE(t.at(te::kPSignPosn), 4u);
        EXPECT_LE(t.at(te::kNSignPosn), 4u);
    }
}

// --- coverage of the locale-identifier tables ------------------------------------

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

struct NativeName { unsigned id; std::string language, territory, codeset; };

std::vector<NativeName> NativeNames() {
    std::vector<NativeName> out;
    // The native table, and the two identifiers of the part rows it leaves out.
    const std::string table = std::string(kNativeNames) +
                              ";0x0C07 German_Austria.MS1252;0x0C1A Serbian(Cyrillic)_Yugoslavia.MS1251";
    for (const std::string &row : Split(table, ';')) {
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

struct PartRow { unsigned language, territory, codeset, id; };

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

using Numbering = std::map<std::string, unsigned>;
unsigned NumberOf(const Numbering &m, const std::string &name) { return m.count(name) ? m.at(name) : 0; }

// name -> part number of every committed source of a kind.
Numbering Numbers(const char *kind, Compiler compile) {
    Numbering out;
    for (const fs::path &f : Sources(kind)) {
        const Part p = compile(Read(f), f.string());
        out[p.name] = p.number;
    }
    return out;
}

TEST(LocaleSources, CoverTheIdentifierTablesWithTheirNumbers) {
    const auto languages = Numbers("language", CompileLanguage), territories = Numbers("territory", CompileTerritory),
               codesets = Numbers("codeset", lxdc::CompileCodeset);
    const auto names = NativeNames();
    std::map<unsigned, const NativeName *> byId;
    for (const NativeName &n : names) {
        byId[n.id] = &n;
        EXPECT_NE(NumberOf(languages, n.language), 0u) << n.language;
        EXPECT_TRUE(n.territory.empty() || NumberOf(territories, n.territory)) << n.territory;
        EXPECT_TRUE(n.codeset.empty() || NumberOf(codesets, n.codeset)) << n.codeset;
    }
    const auto rows = PartRows();
    for (const PartRow &r : rows) {
        ASSERT_TRUE(byId.count(r.id)) << std::hex << r.id;
        const NativeName &n = *byId[r.id];
        EXPECT_EQ(NumberOf(languages, n.language), r.language) << n.language;
        EXPECT_EQ(NumberOf(territories, n.territory), r.territory) << n.territory;
        EXPECT_EQ(NumberOf(codesets, n.codeset), r.codeset) << n.codeset;
    }
    // Languages the part rows leave out are numbered from 42 up, without
    // gaps; territories the rows leave out keep their ISO 3166-1 number
    // unless another part has it (then one from 901 up).
    std::set<unsigned> others;
    for (const auto &[name, number] : languages)
        if (std::none_of(rows.begin(), rows.end(), [&](const PartRow &r) { return r.language == number; }))
            others.insert(number);
    ASSERT_FALSE(others.empty());
    EXPECT_EQ(*others.begin(), 42u);
    EXPECT_EQ(*others.rbegin(), 42u + others.size() - 1);
    const std::pair<const char *, unsigned> iso[] = {
        {"Iceland", 352},   {"Poland", 616}, {"Pakistan", 586}, {"Indonesia", 360}, {"Moldavia", 498},
        {"Guatemala", 320}, {"Panama", 591}, {"Boliva", 68},    {"Columbia", 170},  {"HongKong", 344}};
    for (const auto &[name, number] : iso) EXPECT_EQ(NumberOf(territories, name), number) << name;
    EXPECT_GT(territories.at("Luxembourg"), 900u);
    EXPECT_GT(territories.at("TheCarribean"), 900u);
}

// Unique names and numbers, and defaults that exist, are the data
// compiler's own checks when it builds the directory.  The defaults are
// those of the language's first row: the part rows first, then the
// identifier list; UTF-8 when no row names a codeset.
TEST(LocaleSources, EachLanguagesDefaultsAreThoseOfItsFirstRow) {
    const auto territories = Numbers("territory", CompileTerritory), codesets = Numbers("codeset", lxdc::CompileCodeset);
    const auto rows = PartRows();
    const auto names = NativeNames();
    for (const Part &p : CompileAll("language", CompileLanguage)) {
        const std::string &name = p.name;
        const Bytes &t = p.tables.at(0);
        SCOPED_TRACE(name);
        const unsigned territory = U16(t, la::kDefaultTerritory), codeset = U16(t, la::kDefaultCodeset);
        EXPECT_EQ(U16(t, la::kDefaultSort), 0u);
        const auto row =
            std::find_if(rows.begin(), rows.end(), [&](const PartRow &r) { return r.language == p.number; });
        if (row != rows.end()) {
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
