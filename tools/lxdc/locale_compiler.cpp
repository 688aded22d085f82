// The language and territory compilers.  A source is a list of statements,
// one per line: a keyword and its values (docs/locale-source.md).  Each
// keyword has a rule for its values; the statements are checked one by one,
// then as a whole (every keyword present, separators that can be told
// apart), and the block is laid out in the order of src/locale/layout.h.
//
// Besides the file format, the checks hold the texts to what the library's
// readers can use.  The number, currency and time formatters read a name, a
// currency symbol, a sign or a picture into a fixed buffer (31 bytes, 3 for
// the negative sign and the thousands separators), so a longer text would be
// cut.  The limits are checked in UTF-8, the widest codeset a part may be
// used with: a text that fits there fits everywhere.
#include "locale_compiler.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "locale/layout.h"

namespace lxdc {

using namespace lorvex::layout;

namespace {

using Text = std::u16string;  // UCS-2, no terminator

// Longest text, in UTF-8 bytes, that the readers take whole.
constexpr size_t kReaderText = 31;
constexpr size_t kReaderSign = 3;

// The directive letters of the time formatter that a source may use.  %c,
// %x and %X are left out: they format another picture, and a picture that
// reaches itself through them would never end.
constexpr char16_t kDirectives[] = u"%aAbBdHIjmMpSUwWyY";

// ---------------------------------------------------------------------------
// Statements
// ---------------------------------------------------------------------------

struct Value {
    bool quoted = false;
    std::string word;  // a bare value as written
    Text text;         // a quoted value, decoded
};

struct Statement {
    int line = 0;
    std::string keyword;
    std::vector<Value> values;
};

size_t Utf8Length(const Text &t) {
    size_t n = 0;
    for (char16_t c : t) n += c < 0x80 ? 1 : c < 0x800 ? 2 : 3;
    return n;
}

std::string Utf8(const Text &t) {
    std::string s;
    for (char16_t c : t) {
        if (c < 0x80) {
            s += char(c);
        } else if (c < 0x800) {
            s += char(0xC0 | (c >> 6));
            s += char(0x80 | (c & 0x3F));
        } else {
            s += char(0xE0 | (c >> 12));
            s += char(0x80 | ((c >> 6) & 0x3F));
            s += char(0x80 | (c & 0x3F));
        }
    }
    return s;
}

std::string Hex4(unsigned v) {
    static const char digits[] = "0123456789ABCDEF";
    std::string s = "U+";
    for (int shift = 12; shift >= 0; shift -= 4) s += digits[(v >> shift) & 0xF];
    return s;
}

class Source {
public:
    Source(const std::string &text, const std::string &fileName) : file_(fileName) { Split(text); }

    [[noreturn]] void Fail(int line, const std::string &reason) const {
        throw Error(file_ + ":" + std::to_string(line) + ": " + reason);
    }

    const std::vector<Statement> &statements() const { return statements_; }
    // The line missing keywords and whole-table problems are reported at.
    int lastLine() const { return lastLine_ ? lastLine_ : 1; }

private:
    void Split(const std::string &text);
    void Line(int line, const std::string &s);
    size_t Quoted(int line, const std::string &s, size_t i, Text &out) const;

    const std::string &file_;
    std::vector<Statement> statements_;
    int lastLine_ = 0;
};

void Source::Split(const std::string &text) {
    int line = 0;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos) end = text.size();
        std::string s = text.substr(pos, end - pos);
        if (!s.empty() && s.back() == '\r') s.pop_back();
        ++line;
        Line(line, s);
        pos = end + 1;
    }
    lastLine_ = line;
}

void Source::Line(int line, const std::string &s) {
    Statement st;
    st.line = line;
    size_t i = 0;
    while (true) {
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
        if (i >= s.size() || s[i] == '#') break;
        Value v;
        if (s[i] == '"') {
            v.quoted = true;
            i = Quoted(line, s, i, v.text);
        } else {
            const size_t from = i;
            while (i < s.size() && s[i] != ' ' && s[i] != '\t' && s[i] != '#') {
                const unsigned char c = static_cast<unsigned char>(s[i]);
                if (c == '"') Fail(line, "a quote inside the value \"" + s.substr(from, i - from + 1) + "\"");
                if (c < 0x21 || c > 0x7E)
                    Fail(line, "a value that is not quoted is printable ASCII; quote texts");
                ++i;
            }
            v.word = s.substr(from, i - from);
        }
        if (st.keyword.empty()) {
            if (v.quoted) Fail(line, "a line starts with a keyword, not a quoted text");
            st.keyword = v.word;
        } else {
            st.values.push_back(std::move(v));
        }
    }
    if (!st.keyword.empty()) statements_.push_back(std::move(st));
}

// Reads the quoted text that starts at s[i] (the opening quote) into out and
// returns the position after the closing quote.
size_t Source::Quoted(int line, const std::string &s, size_t i, Text &out) const {
    ++i;
    while (true) {
        if (i >= s.size()) Fail(line, "a quoted text is not closed");
        const unsigned char c = static_cast<unsigned char>(s[i]);
        uint32_t cp = 0;
        if (c == '"') return i + 1;
        if (c == '\\') {
            const char e = i + 1 < s.size() ? s[i + 1] : '\0';
            if (e == '"' || e == '\\') {
                cp = uint8_t(e);
                i += 2;
            } else if (e == 'u') {
                if (i + 6 > s.size()) Fail(line, "\\u takes four hexadecimal digits");
                for (size_t k = i + 2; k < i + 6; ++k) {
                    const char h = s[k];
                    const int d = h >= '0' && h <= '9'   ? h - '0'
                                  : h >= 'A' && h <= 'F' ? h - 'A' + 10
                                  : h >= 'a' && h <= 'f' ? h - 'a' + 10
                                                         : -1;
                    if (d < 0) Fail(line, "\\u takes four hexadecimal digits");
                    cp = cp * 16 + uint32_t(d);
                }
                i += 6;
            } else {
                Fail(line, std::string("unknown escape \\") + (e ? std::string(1, e) : std::string()) +
                               " (texts know \\\", \\\\ and \\uXXXX)");
            }
        } else if (c < 0x80) {
            if (c < 0x20 && c != '\t') Fail(line, "a control character in a quoted text: write it as \\uXXXX");
            cp = c;
            ++i;
        } else {
            // UTF-8: two or three bytes for UCS-2; four-byte sequences are
            // beyond it.
            const int n = (c & 0xE0) == 0xC0 ? 2 : (c & 0xF0) == 0xE0 ? 3 : (c & 0xF8) == 0xF0 ? 4 : 0;
            if (n == 0 || i + size_t(n) > s.size()) Fail(line, "the text is not UTF-8");
            cp = n == 2 ? c & 0x1F : n == 3 ? c & 0x0F : c & 0x07;
            for (int k = 1; k < n; ++k) {
                const unsigned char t = static_cast<unsigned char>(s[i + size_t(k)]);
                if ((t & 0xC0) != 0x80) Fail(line, "the text is not UTF-8");
                cp = (cp << 6) | (t & 0x3F);
            }
            if ((n == 2 && cp < 0x80) || (n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000))
                Fail(line, "the text is not UTF-8 (an overlong sequence)");
            if (cp > 0xFFFF) Fail(line, "a character beyond U+FFFF: texts are UCS-2");
            i += size_t(n);
        }
        if (cp == 0) Fail(line, "U+0000 cannot stand in a text");
        if (cp >= 0xD800 && cp <= 0xDFFF) Fail(line, "a surrogate (" + Hex4(cp) + ") cannot stand in a text");
        out += char16_t(cp);
    }
}

// ---------------------------------------------------------------------------
// Keywords and their values
// ---------------------------------------------------------------------------

enum class Form {
    kName,       // part name
    kNumber,     // decimal number within lo..hi
    kText,       // one quoted text, at most `limit` UTF-8 bytes (0: no limit)
    kTexts,      // `count` quoted texts, each at most `limit` bytes
    kCharacter,  // one quoted text of exactly one character
    kSeparator,  // one quoted text of one character, or empty
    kGrouping,   // one quoted grouping text
    kFormat,     // one quoted time picture
    kRule,       // four values U+XXXX or 0
    kSource,     // anything; documentation only
};

struct Keyword {
    const char *name;
    Form form;
    uint32_t lo = 0, hi = 0;  // kNumber
    size_t count = 1;         // kTexts
    size_t limit = 0;         // kText, kTexts
    bool required = true;
    bool repeats = false;
    bool nonEmpty = false;    // kText
};

struct Rule {
    uint16_t from1, from2, to1, to2;
    int line;
};

// What a statement gave, by keyword.
struct Given {
    int line = 0;
    uint32_t number = 0;
    std::string word;
    std::vector<Text> texts;
};

class Compiler {
public:
    Compiler(const std::string &text, const std::string &fileName, const std::vector<Keyword> &keywords)
        : src_(text, fileName), keywords_(keywords) {}

    void Run();

    [[noreturn]] void Fail(int line, const std::string &reason) const { src_.Fail(line, reason); }
    int lastLine() const { return src_.lastLine(); }

    const Given &at(const char *keyword) const { return given_.at(keyword); }
    uint32_t number(const char *keyword) const { return at(keyword).number; }
    const Text &text(const char *keyword, size_t i = 0) const { return at(keyword).texts.at(i); }
    const std::vector<Rule> &rules(const char *keyword) const {
        static const std::vector<Rule> none;
        auto r = rules_.find(keyword);
        return r == rules_.end() ? none : r->second;
    }

private:
    void Take(const Statement &st, const Keyword &k);
    uint32_t Number(const Statement &st, const Value &v, uint32_t lo, uint32_t hi) const;
    uint16_t RuleValue(const Statement &st, const Value &v) const;
    void CheckName(const Statement &st, const std::string &name) const;
    void CheckGrouping(const Statement &st, const Text &t) const;
    void CheckFormat(const Statement &st, const Text &t) const;
    const Text &OneText(const Statement &st) const;

    Source src_;
    const std::vector<Keyword> &keywords_;
    std::map<std::string, Given> given_;
    std::map<std::string, std::vector<Rule>> rules_;
};

void Compiler::Run() {
    for (const Statement &st : src_.statements()) {
        const Keyword *k = nullptr;
        for (const Keyword &cand : keywords_)
            if (st.keyword == cand.name) k = &cand;
        if (!k) Fail(st.line, "unknown keyword \"" + st.keyword + "\"");
        if (!k->repeats) {
            auto seen = given_.find(st.keyword);
            if (seen != given_.end())
                Fail(st.line, st.keyword + " repeated (first given on line " + std::to_string(seen->second.line) + ")");
        }
        Take(st, *k);
    }
    for (const Keyword &k : keywords_)
        if (k.required && !given_.count(k.name)) Fail(lastLine(), std::string(k.name) + " is missing");
}

const Text &Compiler::OneText(const Statement &st) const {
    if (st.values.size() != 1 || !st.values[0].quoted) Fail(st.line, st.keyword + " takes one quoted text");
    return st.values[0].text;
}

uint32_t Compiler::Number(const Statement &st, const Value &v, uint32_t lo, uint32_t hi) const {
    uint64_t n = 0;
    bool ok = !v.quoted && !v.word.empty() && v.word.size() <= 10;
    for (char c : v.word) {
        if (c < '0' || c > '9') ok = false;
        n = n * 10 + uint64_t(c - '0');
    }
    if (!ok) Fail(st.line, st.keyword + " takes a decimal number, not " + (v.quoted ? "a quoted text" : "\"" + v.word + "\""));
    if (n < lo || n > hi)
        Fail(st.line, st.keyword + " " + v.word + " is out of range (" + std::to_string(lo) + ".." + std::to_string(hi) + ")");
    return uint32_t(n);
}

uint16_t Compiler::RuleValue(const Statement &st, const Value &v) const {
    if (!v.quoted && v.word == "0") return 0;
    bool ok = !v.quoted && v.word.size() == 6 && v.word[0] == 'U' && v.word[1] == '+';
    unsigned cp = 0;
    for (size_t i = 2; ok && i < 6; ++i) {
        const char h = v.word[i];
        const int d = h >= '0' && h <= '9' ? h - '0' : h >= 'A' && h <= 'F' ? h - 'A' + 10 : h >= 'a' && h <= 'f' ? h - 'a' + 10 : -1;
        if (d < 0) ok = false;
        cp = cp * 16 + unsigned(d < 0 ? 0 : d);
    }
    if (!ok) Fail(st.line, st.keyword + " values are U+XXXX or 0, not " + (v.quoted ? "a quoted text" : "\"" + v.word + "\""));
    if (cp == 0) Fail(st.line, st.keyword + ": write U+0000 as 0");
    if (cp >= 0xD800 && cp <= 0xDFFF) Fail(st.line, st.keyword + ": " + v.word + " is a surrogate");
    return uint16_t(cp);
}

void Compiler::CheckName(const Statement &st, const std::string &name) const {
    if (name.size() > kNameSize - 1)
        Fail(st.line, "name \"" + name + "\" is longer than " + std::to_string(kNameSize - 1) + " bytes");
    // Locale names are split at "_", "." and "@": none can be in a part name.
    for (char c : name)
        if (c == '_' || c == '.' || c == '@')
            Fail(st.line, "name \"" + name + "\" holds \"" + std::string(1, c) + "\", which separates the parts of a locale name");
}

// "": no grouping.  Otherwise sizes 1..99 separated by ";", nearest the
// decimal point first; a final 0 repeats the size before it.
void Compiler::CheckGrouping(const Statement &st, const Text &t) const {
    if (t.empty()) return;
    const std::string s = Utf8(t);
    std::vector<std::string> parts;
    size_t from = 0;
    while (true) {
        const size_t semi = s.find(';', from);
        parts.push_back(s.substr(from, semi == std::string::npos ? std::string::npos : semi - from));
        if (semi == std::string::npos) break;
        from = semi + 1;
    }
    for (size_t i = 0; i < parts.size(); ++i) {
        const std::string &p = parts[i];
        bool digits = !p.empty() && p.size() <= 2;
        for (char c : p) digits = digits && c >= '0' && c <= '9';
        if (!digits)
            Fail(st.line, st.keyword + " \"" + s + "\": sizes are numbers 1..99 separated by \";\"");
        if (p == "0" || p == "00") {
            if (i == 0) Fail(st.line, st.keyword + " \"" + s + "\" starts with 0: write \"\" for no grouping");
            if (i + 1 != parts.size())
                Fail(st.line, st.keyword + " \"" + s + "\": 0 (repeat) can only stand last");
        }
    }
}

void Compiler::CheckFormat(const Statement &st, const Text &t) const {
    for (size_t i = 0; i < t.size(); ++i) {
        if (t[i] != u'%') continue;
        size_t j = i + 1;
        if (j < t.size() && t[j] == u'#') ++j;
        if (j >= t.size()) Fail(st.line, st.keyword + " \"" + Utf8(t) + "\" ends inside a directive");
        const char16_t letter = t[j];
        const std::string directive = Utf8(t.substr(i, j - i + 1));
        if (letter == u'c' || letter == u'x' || letter == u'X')
            Fail(st.line, st.keyword + ": " + directive + " formats another picture; write that picture out");
        bool known = false;
        for (const char16_t *d = kDirectives; *d; ++d) known = known || *d == letter;
        if (!known) Fail(st.line, st.keyword + ": " + directive + " is not a directive of the time formatter");
        i = j;
    }
}

void Compiler::Take(const Statement &st, const Keyword &k) {
    Given g;
    g.line = st.line;
    auto limit = [&](const Text &t, size_t max) {
        if (max && Utf8Length(t) > max)
            Fail(st.line, st.keyword + " \"" + Utf8(t) + "\" is " + std::to_string(Utf8Length(t)) +
                              " bytes in UTF-8; the readers take " + std::to_string(max) + " at most");
    };
    switch (k.form) {
        case Form::kName:
            if (st.values.size() != 1 || st.values[0].quoted) Fail(st.line, "name takes one name, not quoted");
            CheckName(st, st.values[0].word);
            g.word = st.values[0].word;
            break;
        case Form::kNumber:
            if (st.values.size() != 1) Fail(st.line, st.keyword + " takes one number");
            g.number = Number(st, st.values[0], k.lo, k.hi);
            break;
        case Form::kText: {
            const Text &t = OneText(st);
            if (k.nonEmpty && t.empty()) Fail(st.line, st.keyword + " is empty");
            limit(t, k.limit);
            g.texts.push_back(t);
            break;
        }
        case Form::kTexts:
            if (st.values.size() != k.count)
                Fail(st.line, st.keyword + " takes " + std::to_string(k.count) + " quoted texts, not " +
                                  std::to_string(st.values.size()));
            for (const Value &v : st.values) {
                if (!v.quoted) Fail(st.line, st.keyword + " takes quoted texts, not \"" + v.word + "\"");
                limit(v.text, k.limit);
                g.texts.push_back(v.text);
            }
            break;
        case Form::kCharacter:
        case Form::kSeparator: {
            const Text &t = OneText(st);
            if (t.size() > 1 || (t.empty() && k.form == Form::kCharacter))
                Fail(st.line, st.keyword + " \"" + Utf8(t) + "\" is " + std::to_string(t.size()) +
                                  " characters; it takes exactly one" + (k.form == Form::kSeparator ? " (or none)" : ""));
            if (!t.empty() && t[0] >= u'0' && t[0] <= u'9') Fail(st.line, st.keyword + " cannot be a digit");
            limit(t, kReaderSign);
            g.texts.push_back(t);
            break;
        }
        case Form::kGrouping: {
            const Text &t = OneText(st);
            CheckGrouping(st, t);
            g.texts.push_back(t);
            break;
        }
        case Form::kFormat: {
            const Text &t = OneText(st);
            CheckFormat(st, t);
            limit(t, kReaderText);
            g.texts.push_back(t);
            break;
        }
        case Form::kRule: {
            if (st.values.size() != 4) Fail(st.line, st.keyword + " takes four values: FROM1 FROM2 TO1 TO2");
            Rule r{RuleValue(st, st.values[0]), RuleValue(st, st.values[1]), RuleValue(st, st.values[2]),
                   RuleValue(st, st.values[3]), st.line};
            if (r.from1 == 0) Fail(st.line, st.keyword + ": the first character it maps cannot be 0");
            if (r.to1 == 0) Fail(st.line, st.keyword + ": the first character of its result cannot be 0");
            for (const Rule &o : rules_[st.keyword])
                if (o.from1 == r.from1 && o.from2 == r.from2) {
                    std::string pair = Hex4(r.from1);
                    if (r.from2) pair += ' ' + Hex4(r.from2);
                    Fail(st.line, st.keyword + " for " + pair + " already given on line " + std::to_string(o.line));
                }
            rules_[st.keyword].push_back(r);
            break;
        }
        case Form::kSource:
            break;
    }
    given_[st.keyword] = std::move(g);
}

// ---------------------------------------------------------------------------
// Layout
// ---------------------------------------------------------------------------

void Append(Bytes &b, const Text &t) {
    for (char16_t c : t) {
        b.push_back(uint8_t(c));
        b.push_back(uint8_t(c >> 8));
    }
    b.push_back(0);
    b.push_back(0);
}

// Lays the strings one after another from the end of b, writing the offset
// of string i at offsets + 2i.
void AppendStrings(Bytes &b, uint32_t offsets, const std::vector<Text> &strings) {
    for (size_t i = 0; i < strings.size(); ++i) {
        wr16(&b[offsets + 2 * i], uint16_t(b.size()));
        Append(b, strings[i]);
    }
}

void CheckSize(const Compiler &c, const Bytes &b, const char *what) {
    if (b.size() > kMaxTableSize)
        c.Fail(c.lastLine(), std::string("the ") + what + " needs " + std::to_string(b.size()) + " bytes, more than 65535");
}

Part MakePart(uint8_t kind, const Compiler &c, Bytes table, const std::string &fileName) {
    return Part{kind, uint16_t(c.number("part")), c.at("name").word, {std::move(table)}, 0, fileName};
}

const std::vector<Keyword> &LanguageKeywords() {
    static const std::vector<Keyword> k = {
        {"name", Form::kName},
        {"part", Form::kNumber, 1, 65535},
        {"abbreviation", Form::kText, 0, 0, 1, 0, true, false, true},
        {"display-name", Form::kText, 0, 0, 1, 0, true, false, true},
        {"default-territory", Form::kNumber, 1, 65535},
        {"default-codeset", Form::kNumber, 1, 65535},
        {"default-sort", Form::kNumber, 0, 65535},
        {"day", Form::kTexts, 0, 0, 7, kReaderText},
        {"abday", Form::kTexts, 0, 0, 7, kReaderText},
        {"month", Form::kTexts, 0, 0, 13, kReaderText},
        {"abmonth", Form::kTexts, 0, 0, 13, kReaderText},
        {"am", Form::kText, 0, 0, 1, kReaderText},
        {"pm", Form::kText, 0, 0, 1, kReaderText},
        {"upper-rule", Form::kRule, 0, 0, 1, 0, false, true},
        {"lower-rule", Form::kRule, 0, 0, 1, 0, false, true},
        {"source", Form::kSource, 0, 0, 1, 0, false},
    };
    return k;
}

const std::vector<Keyword> &TerritoryKeywords() {
    static const std::vector<Keyword> k = {
        {"name", Form::kName},
        {"part", Form::kNumber, 1, 65535},
        {"abbreviation", Form::kText, 0, 0, 1, 0, true, false, true},
        {"display-name", Form::kText, 0, 0, 1, 0, true, false, true},
        {"decimal-point", Form::kCharacter},
        {"thousands-sep", Form::kSeparator},
        {"other-sep", Form::kCharacter},
        {"grouping", Form::kGrouping},
        {"frac-digits", Form::kNumber, 0, 99},
        {"mon-decimal-point", Form::kCharacter},
        {"mon-thousands-sep", Form::kSeparator},
        {"mon-grouping", Form::kGrouping},
        {"currency-symbol", Form::kText, 0, 0, 1, kReaderText},
        {"int-currency-symbol", Form::kText, 0, 0, 1, kReaderText},
        {"currency-digits", Form::kNumber, 0, 99},
        {"int-currency-digits", Form::kNumber, 0, 99},
        {"positive-sign", Form::kText, 0, 0, 1, kReaderText},
        {"negative-sign", Form::kText, 0, 0, 1, kReaderSign},
        {"p-cs-precedes", Form::kNumber, 0, 1},
        {"p-sep-by-space", Form::kNumber, 0, 1},
        {"n-cs-precedes", Form::kNumber, 0, 1},
        {"n-sep-by-space", Form::kNumber, 0, 1},
        {"p-sign-posn", Form::kNumber, 0, 4},
        {"n-sign-posn", Form::kNumber, 0, 4},
        {"time-format", Form::kFormat},
        {"date-format", Form::kFormat},
        {"long-date-format", Form::kFormat},
        {"territory-flag-0", Form::kNumber, 0, 1},
        {"territory-flag-5", Form::kNumber, 0, 1},
        {"territory-flag-6", Form::kNumber, 0, 1},
        {"territory-value", Form::kNumber, 0, 255},
        {"source", Form::kSource, 0, 0, 1, 0, false},
    };
    return k;
}

// One UCS-2 character, or 0 for an empty separator.
uint16_t Character(const Text &t) { return t.empty() ? 0 : uint16_t(t[0]); }

}  // namespace

Part CompileLanguage(const std::string &text, const std::string &fileName) {
    Compiler c(text, fileName, LanguageKeywords());
    c.Run();

    std::vector<Text> strings = {c.text("abbreviation"), c.text("display-name")};
    for (const char *list : {"day", "abday", "month", "abmonth"})
        for (const Text &t : c.at(list).texts) strings.push_back(t);
    strings.push_back(c.text("am"));
    strings.push_back(c.text("pm"));

    Bytes b(la::kFixed, 0);
    wr16(&b[la::kDefaultTerritory], uint16_t(c.number("default-territory")));
    wr16(&b[la::kDefaultCodeset], uint16_t(c.number("default-codeset")));
    wr16(&b[la::kDefaultSort], uint16_t(c.number("default-sort")));
    AppendStrings(b, la::kStringOffsets, strings);
    // The end of the strings is where the upper-case rules begin; the
    // lower-case rules follow them.  Without rules both offsets are the
    // table's size.
    const std::vector<Rule> &upper = c.rules("upper-rule");
    const std::vector<Rule> &lower = c.rules("lower-rule");
    wr16(&b[la::kStringsEnd], uint16_t(b.size()));
    auto appendRules = [&](const std::vector<Rule> &rules) {
        for (const Rule &r : rules)
            for (uint16_t v : {r.from1, r.from2, r.to1, r.to2}) {
                b.push_back(uint8_t(v));
                b.push_back(uint8_t(v >> 8));
            }
    };
    appendRules(upper);
    wr16(&b[la::kLowerRules], uint16_t(b.size()));
    appendRules(lower);
    wr16(&b[la::kUpperRuleCount], uint16_t(upper.size()));
    wr16(&b[la::kLowerRuleCount], uint16_t(lower.size()));
    CheckSize(c, b, "language block");
    return MakePart(kLanguage, c, std::move(b), fileName);
}

Part CompileTerritory(const std::string &text, const std::string &fileName) {
    Compiler c(text, fileName, TerritoryKeywords());
    c.Run();

    // A separator that equals its decimal point makes numbers unreadable,
    // and the library refuses such a pair when a caller sets one.
    const struct {
        const char *point, *sep;
    } pairs[] = {{"decimal-point", "thousands-sep"}, {"mon-decimal-point", "mon-thousands-sep"}};
    for (const auto &p : pairs)
        if (c.text(p.point) == c.text(p.sep))
            c.Fail(std::max(c.at(p.point).line, c.at(p.sep).line),
                   std::string(p.sep) + " equals " + p.point + " (\"" + Utf8(c.text(p.point)) + "\")");

    Bytes b(te::kFixed, 0);
    wr16(&b[te::kDecimalPoint], Character(c.text("decimal-point")));
    wr16(&b[te::kThousandsSep], Character(c.text("thousands-sep")));
    wr16(&b[te::kOtherSep], Character(c.text("other-sep")));
    wr16(&b[te::kMonDecimalPoint], Character(c.text("mon-decimal-point")));
    wr16(&b[te::kMonThousandsSep], Character(c.text("mon-thousands-sep")));
    wr16(&b[te::kFracDigits], uint16_t(c.number("frac-digits")));
    wr16(&b[te::kCurrencyDigits], uint16_t(c.number("currency-digits")));
    wr16(&b[te::kIntCurrencyDigits], uint16_t(c.number("int-currency-digits")));
    b[te::kPSignPosn] = uint8_t(c.number("p-sign-posn"));
    b[te::kNSignPosn] = uint8_t(c.number("n-sign-posn"));
    b[te::kValue] = uint8_t(c.number("territory-value"));
    b[te::kFlagByte] = uint8_t(c.number("territory-flag-0") | c.number("p-cs-precedes") << 1 |
                               c.number("p-sep-by-space") << 2 | c.number("n-cs-precedes") << 3 |
                               c.number("n-sep-by-space") << 4 | c.number("territory-flag-5") << 5 |
                               c.number("territory-flag-6") << 6);
    std::vector<Text> strings;
    for (const char *k : {"abbreviation", "display-name", "grouping", "mon-grouping", "currency-symbol",
                          "int-currency-symbol", "positive-sign", "negative-sign", "time-format", "date-format",
                          "long-date-format"})
        strings.push_back(c.text(k));
    AppendStrings(b, te::kStringOffsets, strings);
    wr16(&b[te::kStringsEnd], uint16_t(b.size()));
    CheckSize(c, b, "territory block");
    return MakePart(kTerritory, c, std::move(b), fileName);
}

}  // namespace lxdc
