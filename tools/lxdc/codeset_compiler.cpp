// The codeset compiler: parses a codeset source and lays out the tables of a
// codeset part.
//
//   table 0  description: fixed part (byte lengths, one-byte tables, page
//            table, flags) and, for multibyte codesets, the type tree and
//            type records;
//   table 1  decode tree and decode values (multibyte codesets);
//   table 2  from-Unicode first data area;
//   table 3  from-Unicode second data area (pages of kinds 2-4).
//
// Every table is limited to 65535 bytes, which the largest double-byte
// codesets come close to; the layout choices below (trimmed ranges, shared
// blocks, two-byte pages split over tables 2 and 3 when one table is not
// enough) are what make them fit.  docs/data-format.md describes the result.
#include "codeset_compiler.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <deque>
#include <functional>
#include <map>
#include <sstream>
#include <vector>

#include "codeset/unicode_tables.h"
#include "codeset/validate.h"
#include "locale/layout.h"
#include "lorvex.h"

namespace lxdc {

using namespace lorvex::layout;

namespace {

// ---------------------------------------------------------------------------
// The source as parsed.
// ---------------------------------------------------------------------------

enum class Direction { kRoundTrip, kDecode, kEncode };

struct Mapping {
    std::array<uint8_t, 4> bytes{};  // first byte first; unused bytes 0
    uint8_t length = 0;
    uint32_t packed = 0;             // the bytes as a packed code (LXWchar)
    uint16_t unicode = 0;
    Direction direction = Direction::kRoundTrip;
    int line = 0;
    bool decodes() const { return direction != Direction::kEncode; }
    bool encodes() const { return direction != Direction::kDecode; }
};

struct Source {
    std::string name;
    uint16_t part = 0, number = 0;
    uint8_t maxBytes = 0, substitution = 0, shiftOut = 0, shiftIn = 0;
    uint8_t eol[2] = {0, 0};
    bool ebcdic = false, stateful = false, utf8 = false;
    std::map<std::string, int> lineOf;        // property -> line it was given on
    std::array<uint8_t, 256> length{};        // byte length by first byte, 0 = not yet known
    std::array<int, 256> lengthLine{};        // where that length was first given
    std::vector<Mapping> map;
    int mapLine = 0;
};

// ---------------------------------------------------------------------------
// Parsing.
// ---------------------------------------------------------------------------

std::string Hex(uint32_t v, int digits = 2) {
    std::ostringstream s;
    s << "0x" << std::uppercase << std::hex;
    s.width(digits);
    s.fill('0');
    s << v;
    return s.str();
}

std::string SequenceText(const Mapping &m) { return Hex(m.packed, 2 * m.length); }

std::string ByteCount(unsigned n) { return std::to_string(n) + (n == 1 ? " byte" : " bytes"); }

std::vector<std::string> Tokens(const std::string &line) {
    std::vector<std::string> out;
    std::istringstream in(line.substr(0, line.find('#')));
    for (std::string t; in >> t;) out.push_back(t);
    return out;
}

class Parser {
public:
    Parser(const std::string &text, const std::string &fileName) : text_(text), file_(fileName) {}

    Source Parse();

    [[noreturn]] void Fail(int line, const std::string &reason) const {
        throw Error(file_ + ":" + std::to_string(line) + ": " + reason);
    }

private:
    // A number: decimal or 0x hexadecimal, within lo..hi.
    uint32_t Number(int line, const std::string &what, const std::string &s, uint32_t lo, uint32_t hi) const;
    void Property(int line, const std::vector<std::string> &t, const std::string &rest);
    void CheckProperties();
    void ApplyLeads();
    void MapLine(int line, const std::vector<std::string> &t);
    void CheckMap();

    const std::string &text_;
    const std::string &file_;
    Source src_;
    int lastLine_ = 0;
    struct Lead {
        int line;
        unsigned first, last, length;
    };
    std::vector<Lead> leads_;
    std::map<uint64_t, int> decoded_;  // (length << 32 | packed) -> line
    std::map<uint16_t, int> encoded_;  // Unicode value -> line
};

uint32_t Parser::Number(int line, const std::string &what, const std::string &s, uint32_t lo,
                        uint32_t hi) const {
    const bool hex = s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X');
    const size_t from = hex ? 2 : 0;
    uint64_t v = 0;
    bool ok = s.size() > from && s.size() - from <= 10;
    for (size_t i = from; ok && i < s.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(s[i]);
        if (hex && std::isxdigit(c)) v = v * 16 + unsigned(std::isdigit(c) ? c - '0' : std::tolower(c) - 'a' + 10);
        else if (!hex && std::isdigit(c)) v = v * 10 + unsigned(c - '0');
        else ok = false;
    }
    if (!ok) Fail(line, what + ": \"" + s + "\" is not a decimal or 0x hexadecimal number");
    if (v < lo || v > hi)
        Fail(line, what + " " + s + " is out of range (" + std::to_string(lo) + ".." + std::to_string(hi) + ")");
    return uint32_t(v);
}

Source Parser::Parse() {
    std::istringstream in(text_);
    int line = 0;
    bool inMap = false;
    for (std::string raw; std::getline(in, raw);) {
        ++line;
        if (!raw.empty() && raw.back() == '\r') raw.pop_back();
        const std::vector<std::string> t = Tokens(raw);
        if (t.empty()) continue;
        lastLine_ = line;
        if (inMap) {
            MapLine(line, t);
        } else if (t[0] == "map") {
            if (t.size() != 1) Fail(line, "\"map\" stands alone on its line");
            src_.mapLine = line;
            inMap = true;
            CheckProperties();
            ApplyLeads();
        } else {
            std::string body = raw.substr(0, raw.find('#'));
            const size_t key = body.find(t[0]);
            Property(line, t, body.substr(key + t[0].size()));
        }
    }
    if (!inMap) Fail(lastLine_ ? lastLine_ : 1, "no \"map\" line: the source has no map section");
    CheckMap();
    return std::move(src_);
}

void Parser::Property(int line, const std::vector<std::string> &t, const std::string &rest) {
    const std::string &key = t[0];
    static const char *const kKnown[] = {"name",   "part",     "number",   "max-bytes",  "substitution",
                                         "family", "stateful", "shift-out", "shift-in", "eol",
                                         "arithmetic", "lead",  "source"};
    if (std::find_if(std::begin(kKnown), std::end(kKnown), [&](const char *k) { return key == k; }) ==
        std::end(kKnown))
        Fail(line, "unknown property \"" + key + "\"");
    if (key != "lead") {
        auto [at, fresh] = src_.lineOf.emplace(key, line);
        if (!fresh) Fail(line, key + " repeated (first given on line " + std::to_string(at->second) + ")");
    }
    const size_t values = t.size() - 1;
    auto want = [&](size_t lo, size_t hi, const char *form) {
        if (values < lo || values > hi) Fail(line, key + " takes " + form);
    };
    auto byte = [&](const std::string &s, uint32_t lo, uint32_t hi) {
        return uint8_t(Number(line, key, s, lo, hi));
    };

    if (key == "name") {
        want(1, 1, "one name without spaces");
        if (t[1].size() >= kNameSize)
            Fail(line, "name \"" + t[1] + "\" is longer than " + std::to_string(kNameSize - 1) + " bytes");
        src_.name = t[1];
    } else if (key == "part") {
        want(1, 1, "one number");
        src_.part = uint16_t(Number(line, key, t[1], 1, 65535));
    } else if (key == "number") {
        want(1, 1, "one number");
        src_.number = uint16_t(Number(line, key, t[1], 1, 65535));
    } else if (key == "max-bytes") {
        want(1, 1, "one number");
        src_.maxBytes = byte(t[1], 1, 4);
    } else if (key == "substitution") {
        want(1, 1, "one byte");
        // 0 would end the string it is written into.
        src_.substitution = byte(t[1], 1, 255);
    } else if (key == "family") {
        want(1, 1, "ascii or ebcdic");
        if (t[1] != "ascii" && t[1] != "ebcdic") Fail(line, "family is ascii or ebcdic, not \"" + t[1] + "\"");
        src_.ebcdic = t[1] == "ebcdic";
    } else if (key == "stateful") {
        want(1, 1, "yes or no");
        if (t[1] != "yes" && t[1] != "no") Fail(line, "stateful is yes or no, not \"" + t[1] + "\"");
        src_.stateful = t[1] == "yes";
    } else if (key == "shift-out" || key == "shift-in") {
        want(1, 1, "one byte");
        // Some readers compare shift bytes as signed bytes.
        (key == "shift-out" ? src_.shiftOut : src_.shiftIn) = byte(t[1], 1, 0x7F);
    } else if (key == "eol") {
        want(1, 2, "one or two bytes, or none");
        if (values == 1 && t[1] == "none") return;
        // 0 marks "no byte" in the description.
        for (size_t i = 0; i < values; ++i) src_.eol[i] = byte(t[1 + i], 1, 255);
    } else if (key == "arithmetic") {
        want(1, 1, "utf-8");
        if (t[1] != "utf-8") Fail(line, "arithmetic is utf-8, not \"" + t[1] + "\"");
        src_.utf8 = true;
    } else if (key == "lead") {
        want(2, 2, "BYTE[-BYTE] LENGTH");
        const size_t dash = t[1].find('-');
        Lead lead{line, 0, 0, 0};
        lead.first = byte(t[1].substr(0, dash), 0, 255);
        lead.last = dash == std::string::npos ? lead.first : byte(t[1].substr(dash + 1), 0, 255);
        if (lead.last < lead.first) Fail(line, "lead range " + t[1] + " runs backwards");
        lead.length = byte(t[2], 1, 4);
        leads_.push_back(lead);
    } else if (key == "source") {
        if (rest.find_first_not_of(" \t") == std::string::npos) Fail(line, "source takes a text");
    }
}

void Parser::CheckProperties() {
    const int at = src_.mapLine;
    for (const char *key : {"name", "part", "number", "max-bytes", "substitution", "family", "stateful", "eol"})
        if (!src_.lineOf.count(key)) Fail(at, std::string("property ") + key + " is missing");
    const bool hasOut = src_.lineOf.count("shift-out") != 0, hasIn = src_.lineOf.count("shift-in") != 0;
    if (src_.stateful) {
        if (!hasOut) Fail(at, "a stateful codeset needs shift-out");
        if (!hasIn) Fail(at, "a stateful codeset needs shift-in");
        if (src_.shiftOut == src_.shiftIn)
            Fail(src_.lineOf["shift-in"], "shift-in must differ from shift-out");
    } else if (hasOut || hasIn) {
        Fail(src_.lineOf[hasOut ? "shift-out" : "shift-in"], "shift bytes belong to stateful codesets only");
    }
    // The library recognises UTF-8 by its number and converts it without
    // tables, so the two must agree.
    if (src_.utf8 && src_.number != cs::kUtf8Number)
        Fail(src_.lineOf["number"], "an arithmetic utf-8 codeset has number 106");
    if (!src_.utf8 && src_.number == cs::kUtf8Number)
        Fail(src_.lineOf["number"], "number 106 is UTF-8: it needs \"arithmetic utf-8\"");
    if (src_.utf8 && src_.stateful) Fail(src_.lineOf["stateful"], "arithmetic utf-8 cannot be stateful");
}

void Parser::ApplyLeads() {
    for (const Lead &lead : leads_) {
        if (lead.length > src_.maxBytes)
            Fail(lead.line, "lead length " + std::to_string(lead.length) + " exceeds max-bytes " +
                                std::to_string(src_.maxBytes));
        if (src_.stateful && lead.length != 1)
            Fail(lead.line, "every byte of a stateful codeset has length 1");
        for (unsigned b = lead.first; b <= lead.last; ++b) {
            if (src_.length[b] && src_.length[b] != lead.length)
                Fail(lead.line, "lead byte " + Hex(b) + " already has length " + std::to_string(src_.length[b]) +
                                    " (line " + std::to_string(src_.lengthLine[b]) + ")");
            src_.length[b] = uint8_t(lead.length);
            src_.lengthLine[b] = lead.line;
        }
    }
}

void Parser::MapLine(int line, const std::vector<std::string> &t) {
    if (t.size() < 2 || t.size() > 3) Fail(line, "a map line is BYTES U+XXXX [decode|encode]");
    Mapping m;
    m.line = line;

    const std::string &b = t[0];
    const bool hex = b.size() > 2 && b[0] == '0' && (b[1] == 'x' || b[1] == 'X');
    const size_t digits = hex ? b.size() - 2 : 0;
    if (!hex || digits > 8 || !std::all_of(b.begin() + 2, b.end(), [](char c) {
            return std::isxdigit(static_cast<unsigned char>(c)) != 0;
        }))
        Fail(line, "\"" + b + "\" is not a byte sequence (0x followed by 1 to 4 bytes in hexadecimal)");
    m.length = uint8_t((digits + 1) / 2);
    m.packed = uint32_t(std::stoul(b.substr(2), nullptr, 16));
    for (unsigned i = 0; i < m.length; ++i) m.bytes[i] = uint8_t(m.packed >> (8 * (m.length - 1 - i)));

    const std::string &u = t[1];
    if (u.size() < 3 || u.size() > 8 || (u[0] != 'U' && u[0] != 'u') || u[1] != '+' ||
        !std::all_of(u.begin() + 2, u.end(), [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }))
        Fail(line, "\"" + u + "\" is not a Unicode value (U+XXXX)");
    const unsigned long value = std::stoul(u.substr(2), nullptr, 16);
    if (value > 0xFFFF) Fail(line, u + " is beyond UCS-2 (U+FFFF)");
    m.unicode = uint16_t(value);

    if (t.size() == 3) {
        if (t[2] == "decode") m.direction = Direction::kDecode;
        else if (t[2] == "encode") m.direction = Direction::kEncode;
        else Fail(line, "direction is decode or encode, not \"" + t[2] + "\"");
    }

    const std::string seq = SequenceText(m);
    // A packed code keeps no leading zero byte, and writing one drops every
    // zero byte after the first: such a sequence could not round-trip.
    if (m.length > 1)
        for (unsigned i = 0; i < m.length; ++i)
            if (m.bytes[i] == 0) Fail(line, seq + ": a multibyte sequence cannot hold a zero byte");
    if (m.length > src_.maxBytes)
        Fail(line, seq + " is " + ByteCount(m.length) + ", longer than max-bytes " + std::to_string(src_.maxBytes));
    if (src_.utf8 && m.length > 1)
        Fail(line, seq + ": arithmetic utf-8 maps only one-byte characters");
    if (src_.stateful) {
        if (m.length != 1 && m.length != src_.maxBytes)
            Fail(line, seq + ": a stateful codeset's characters are 1 or max-bytes (" +
                           std::to_string(src_.maxBytes) + ") bytes");
        if (m.length == 1 && (m.bytes[0] == src_.shiftOut || m.bytes[0] == src_.shiftIn))
            Fail(line, seq + " is a shift byte and cannot be a character");
    } else {
        uint8_t &len = src_.length[m.bytes[0]];
        if (len && len != m.length)
            Fail(line, seq + " is " + ByteCount(m.length) + ", but lead byte " + Hex(m.bytes[0]) +
                           " begins " + std::to_string(len) + "-byte characters (line " +
                           std::to_string(src_.lengthLine[m.bytes[0]]) + ")");
        if (!len) {
            len = m.length;
            src_.lengthLine[m.bytes[0]] = line;
        }
    }

    if (m.decodes()) {
        auto [at, fresh] = decoded_.emplace(uint64_t(m.length) << 32 | m.packed, line);
        if (!fresh) Fail(line, seq + " is already decoded on line " + std::to_string(at->second));
    }
    if (m.encodes()) {
        auto [at, fresh] = encoded_.emplace(m.unicode, line);
        if (!fresh) Fail(line, u + " is already encoded on line " + std::to_string(at->second));
    }
    src_.map.push_back(m);
}

void Parser::CheckMap() {
    if (src_.map.empty()) Fail(src_.mapLine, "the map has no characters");
    unsigned longest = 1;
    for (const Mapping &m : src_.map) longest = std::max<unsigned>(longest, m.length);
    if (!src_.stateful)
        for (uint8_t len : src_.length) longest = std::max<unsigned>(longest, len);
    if (longest < src_.maxBytes)
        Fail(src_.lineOf["max-bytes"], "max-bytes is " + std::to_string(src_.maxBytes) +
                                           ", but no character is longer than " + ByteCount(longest));
    // The substitution byte is written alone, as a one-byte character.
    if (!src_.stateful && src_.length[src_.substitution] > 1)
        Fail(src_.lineOf["substitution"], "substitution " + Hex(src_.substitution) + " begins " +
                                              std::to_string(src_.length[src_.substitution]) +
                                              "-byte characters; it must be a one-byte character");
}

// ---------------------------------------------------------------------------
// Building the tables.
// ---------------------------------------------------------------------------

constexpr uint16_t kNoCharacter = 0xFFFD;

Bytes BuildDescription(const Source &src) {
    Bytes t0(src.maxBytes >= 2 ? cs::kFixedMulti : cs::kFixedSingle, 0);
    t0[cs::kSubstitution] = src.substitution;
    t0[cs::kShiftOut] = src.shiftOut;
    t0[cs::kShiftIn] = src.shiftIn;
    t0[cs::kEol1] = src.eol[0];
    t0[cs::kEol2] = src.eol[1];
    t0[cs::kMaxBytes] = src.maxBytes;
    wr16(&t0[cs::kNumber], src.number);
    for (unsigned b = 0; b < 256; ++b)
        t0[cs::kByteLength + b] = src.stateful || !src.length[b] ? 1 : src.length[b];
    for (unsigned b = 0; b < 256; ++b) wr16(&t0[cs::kToUnicode + 2 * b], kNoCharacter);
    for (const Mapping &m : src.map)
        if (m.length == 1 && m.decodes()) wr16(&t0[cs::kToUnicode + 2 * m.bytes[0]], m.unicode);
    wr16(&t0[cs::kFlags], uint16_t((src.ebcdic ? cs::kFlagEbcdic : 0) | (src.stateful ? cs::kFlagStateful : 0)));
    if (src.maxBytes >= 2) wr16(&t0[cs::kVarStart], uint16_t(cs::kFixedMulti));
    return t0;
}

// --- classification and case ----------------------------------------------
//
// A character's type word is the library's built-in type word of the
// Unicode value it decodes to, and its case counterpart is the codeset
// character of that value's built-in case mapping.  Classifying codeset text
// and classifying Unicode therefore never disagree, and neither do the case
// mappings of the two.
//
// One-byte characters fill the 256-entry tables.  Longer characters get a
// type record each, reached through the type tree; since most of them share
// a record (every ideograph is the same left-to-right letter without a case
// counterpart), records are shared: a leaf picks the smallest mask under which
// its characters still find their own record (mask 0 for a row of
// ideographs), and its window of records is laid over records already
// placed wherever they agree.  Positions that no character selects are free
// for later windows: the bytes that reach them are no characters, and the
// record they find is of no consequence.

struct TypeRecordValue {
    uint32_t type = 0;
    uint32_t delta = 0;  // two's complement
    bool operator==(const TypeRecordValue &) const = default;
};

class Classifier {
public:
    explicit Classifier(const Source &src) {
        for (const Mapping &m : src.map) {
            if (m.encodes()) encoder_[m.unicode] = &m;
            if (m.decodes()) decoded_[Key(m)] = m.unicode;
        }
    }

    // The character that u encodes to, when it decodes back to u.
    const Mapping *Character(uint16_t u) const {
        auto e = encoder_.find(u);
        if (e == encoder_.end()) return nullptr;
        auto d = decoded_.find(Key(*e->second));
        return d != decoded_.end() && d->second == u ? e->second : nullptr;
    }

    // m's counterpart of the given case, or null if it has none.
    const Mapping *Counterpart(const Mapping &m, bool upper) const {
        const uint16_t v = upper ? lorvex::ucd::Upper(m.unicode) : lorvex::ucd::Lower(m.unicode);
        return v == m.unicode ? nullptr : Character(v);
    }

    // The type record of a multibyte character: an upper-case character's
    // delta leads to its lower-case counterpart, a lower-case one's to its
    // upper-case counterpart (no character is both).
    TypeRecordValue Record(const Mapping &m) const {
        TypeRecordValue r{lorvex::ucd::TypeWord(m.unicode), 0};
        if (r.type & (LX_C_UPPER | LX_C_LOWER))
            if (const Mapping *c = Counterpart(m, (r.type & LX_C_LOWER) != 0)) r.delta = c->packed - m.packed;
        return r;
    }

private:
    static uint64_t Key(const Mapping &m) { return uint64_t(m.length) << 32 | m.packed; }
    std::map<uint16_t, const Mapping *> encoder_;
    std::map<uint64_t, uint16_t> decoded_;
};

// The type tree and its records, built depth first over the sorted
// multibyte characters.
class TypeTreeBuilder {
public:
    explicit TypeTreeBuilder(const Classifier &classifier) : classifier_(classifier) {
        // Record 0 is "no character", where the filler leaves point.
        records_.push_back({});
        pinned_.push_back(true);
    }

    void Build(const std::vector<const Mapping *> &seqs) {
        nodes_.push_back(kFiller);
        if (!seqs.empty()) Node(0, seqs, 0, seqs.size(), 0);
    }

    Bytes Write() const {
        Bytes out(nodes_.size() * cs::kTypeNodeSize + records_.size() * cs::kTypeRecordSize, 0);
        for (size_t n = 0; n < nodes_.size(); ++n) {
            uint8_t *p = &out[n * cs::kTypeNodeSize];
            p[0] = nodes_[n].leaf;
            p[1] = nodes_[n].mask;
            wr16(p + 2, uint16_t(nodes_[n].base));
        }
        uint8_t *r = out.data() + nodes_.size() * cs::kTypeNodeSize;
        for (size_t i = 0; i < records_.size(); ++i) {
            wr32(r + i * cs::kTypeRecordSize, records_[i].type);
            wr32(r + i * cs::kTypeRecordSize + 4, records_[i].delta);
        }
        return out;
    }
    size_t NodeCount() const { return nodes_.size(); }

private:
    struct TreeNode {
        uint8_t leaf, mask;
        uint32_t base;
    };
    // A leaf that sends every byte to record 0.
    static constexpr TreeNode kFiller{1, 0, 0};
    static constexpr uint8_t kMasks[] = {0x00, 0x01, 0x03, 0x07, 0x0F, 0x1F, 0x3F, 0x7F, 0xFF};

    // Node n stands for the first `depth` bytes shared by seqs[begin, end).
    void Node(uint32_t n, const std::vector<const Mapping *> &seqs, size_t begin, size_t end, unsigned depth) {
        if (seqs[begin]->length == depth + 1) {
            Leaf(n, seqs, begin, end, depth);
            return;
        }
        // An inner node: one child slot for each value of (byte & mask),
        // the smallest mask that keeps the children apart.  Bytes that lead
        // nowhere share a slot with some child or a filler leaf.
        uint8_t mask = 0xFF;
        for (uint8_t m : kMasks) {
            std::array<int, 256> owner;
            owner.fill(-1);
            bool apart = true;
            for (size_t i = begin; i < end && apart; ++i) {
                const uint8_t b = seqs[i]->bytes[depth];
                int &o = owner[b & m];
                apart = o < 0 || o == b;
                o = b;
            }
            if (apart) {
                mask = m;
                break;
            }
        }
        const uint32_t base = uint32_t(nodes_.size());
        nodes_[n] = {0, mask, base};
        nodes_.resize(base + mask + 1u, kFiller);
        for (size_t i = begin; i < end;) {
            size_t j = i;
            while (j < end && seqs[j]->bytes[depth] == seqs[i]->bytes[depth]) ++j;
            Node(base + (seqs[i]->bytes[depth] & mask), seqs, i, j, depth + 1);
            i = j;
        }
    }

    void Leaf(uint32_t n, const std::vector<const Mapping *> &seqs, size_t begin, size_t end, unsigned depth) {
        std::vector<std::pair<uint8_t, TypeRecordValue>> wanted;  // (last byte, record)
        for (size_t i = begin; i < end; ++i)
            wanted.emplace_back(seqs[i]->bytes[depth], classifier_.Record(*seqs[i]));
        // Mask 0xFF always fits: it keeps every byte apart.
        for (uint8_t mask : kMasks) {
            std::map<uint8_t, TypeRecordValue> slots;
            bool fits = true;
            for (const auto &[b, r] : wanted) {
                auto [at, fresh] = slots.emplace(uint8_t(b & mask), r);
                if (!fresh && !(at->second == r)) fits = false;
            }
            if (fits) {
                nodes_[n] = {1, mask, Place(slots, mask)};
                return;
            }
        }
    }

    // The least base at which the records of slots (slot -> record) agree
    // with every record already pinned, the window of mask + 1 records
    // extending the array where it must.
    uint32_t Place(const std::map<uint8_t, TypeRecordValue> &slots, uint8_t mask) {
        uint32_t base = 0;
        for (;; ++base) {
            bool fits = true;
            for (const auto &[slot, r] : slots) {
                const size_t at = base + slot;
                if (at < records_.size() && pinned_[at] && !(records_[at] == r)) {
                    fits = false;
                    break;
                }
            }
            if (fits) break;
        }
        if (records_.size() < base + mask + 1u) {
            records_.resize(base + mask + 1u);
            pinned_.resize(base + mask + 1u, false);
        }
        for (const auto &[slot, r] : slots) {
            records_[base + slot] = r;
            pinned_[base + slot] = true;
        }
        return base;
    }

    const Classifier &classifier_;
    std::vector<TreeNode> nodes_;
    std::vector<TypeRecordValue> records_;
    std::vector<bool> pinned_;
};

void ClassifyCharacters(const Source &src, Bytes &t0, const Parser &parser) {
    const Classifier classifier(src);
    for (unsigned b = 0; b < 256; ++b) {
        t0[cs::kUpper + b] = uint8_t(b);
        t0[cs::kLower + b] = uint8_t(b);
    }
    for (const Mapping &m : src.map) {
        if (m.length != 1 || !m.decodes()) continue;
        const uint8_t b = m.bytes[0];
        wr32(&t0[cs::kTypes + 4 * b], lorvex::ucd::TypeWord(m.unicode));
        // The one-byte tables hold one-byte counterparts only.
        for (bool upper : {true, false}) {
            const Mapping *c = classifier.Counterpart(m, upper);
            if (c && c->length == 1) t0[(upper ? cs::kUpper : cs::kLower) + b] = c->bytes[0];
        }
    }
    if (src.maxBytes < 2) return;
    const uint32_t tree = uint32_t(t0.size());
    wr16(&t0[cs::kTypeTree], uint16_t(tree));
    if (src.utf8) {
        // Classified through the built-in Unicode tables: no tree, no records.
        wr16(&t0[cs::kTypeRecords], uint16_t(tree));
        wr16(&t0[cs::kTypeRecordsEnd], uint16_t(tree));
        return;
    }
    std::vector<const Mapping *> seqs;
    for (const Mapping &m : src.map)
        if (m.decodes() && m.length >= 2) seqs.push_back(&m);
    std::sort(seqs.begin(), seqs.end(), [](const Mapping *a, const Mapping *b) { return a->bytes < b->bytes; });
    TypeTreeBuilder builder(classifier);
    builder.Build(seqs);
    const Bytes data = builder.Write();
    if (tree + data.size() > kMaxTableSize)
        parser.Fail(src.mapLine, "the type tree and records need " + std::to_string(data.size()) +
                                     " bytes, which would make the description " +
                                     std::to_string(tree + data.size()) + " bytes, more than the 65535 a table holds");
    const uint32_t records = tree + uint32_t(builder.NodeCount() * cs::kTypeNodeSize);
    t0.insert(t0.end(), data.begin(), data.end());
    wr16(&t0[cs::kTypeRecords], uint16_t(records));
    wr16(&t0[cs::kTypeRecordsEnd], uint16_t(t0.size()));
}

// --- decode tree ------------------------------------------------------------
//
// Breadth first over the sorted multibyte sequences.  A node stands for the
// bytes read so far; it accepts exactly the range of next bytes that some
// sequence continues with.  Where the next byte is the last one the node is
// a leaf with mask 0xFF whose values block covers that range; otherwise it is
// an inner node whose children take consecutive node slots.  Every lead byte
// of a codeset has one length, so all sequences below a node end at the same
// depth.

struct DecodeNode {
    uint8_t leaf = 1, mask = 0, low = 0xFF, high = 0x00;  // default: accepts nothing
    uint32_t base = 0;
};

struct ChildLayout {
    uint8_t mask;
    uint32_t base, end;  // children at base + (b & mask); slots up to end - 1
};

// The mask that places the children of bytes lo..hi in the fewest slots from
// start on.  It has to tell every byte of the range apart; dropping high
// bits lets a range such as 81..FE begin at slot 1 instead of slot 0x81.
ChildLayout LayChildren(unsigned lo, unsigned hi, uint32_t start) {
    ChildLayout best{0xFF, 0, UINT32_MAX};
    for (unsigned mask = 0xFF; mask >= hi - lo; mask >>= 1) {
        unsigned minIdx = 0xFF, maxIdx = 0;
        for (unsigned b = lo; b <= hi; ++b) {
            minIdx = std::min(minIdx, b & mask);
            maxIdx = std::max(maxIdx, b & mask);
        }
        const uint32_t base = start >= minIdx ? start - minIdx : 0;
        if (base + maxIdx + 1 < best.end) best = {uint8_t(mask), base, base + maxIdx + 1};
        if (mask == 0) break;
    }
    return best;
}

// Table 1; sets kDecodeValues in t0.
Bytes BuildDecodeTree(const Source &src, Bytes &t0, const Parser &parser) {
    std::vector<const Mapping *> seqs;
    for (const Mapping &m : src.map)
        if (m.decodes() && m.length >= 2) seqs.push_back(&m);
    std::sort(seqs.begin(), seqs.end(), [](const Mapping *a, const Mapping *b) { return a->bytes < b->bytes; });

    struct Leaf {
        uint32_t node;
        std::vector<uint16_t> values;  // for bytes low..high of the node
    };
    std::vector<DecodeNode> nodes(1);
    std::vector<Leaf> leaves;
    struct Group {
        uint32_t node;
        size_t begin, end;  // seqs[begin, end) share their first `depth` bytes
        unsigned depth;
    };
    std::deque<Group> queue;
    if (!seqs.empty()) queue.push_back({0, 0, seqs.size(), 0});
    while (!queue.empty()) {
        const Group g = queue.front();
        queue.pop_front();
        const unsigned d = g.depth;
        const unsigned lo = seqs[g.begin]->bytes[d], hi = seqs[g.end - 1]->bytes[d];
        const bool leaf = seqs[g.begin]->length == d + 1;
        for (size_t i = g.begin; i < g.end; ++i)
            if ((seqs[i]->length == d + 1) != leaf)
                parser.Fail(seqs[i]->line, "sequences below one lead byte differ in length");
        if (leaf) {
            nodes[g.node] = {1, 0xFF, uint8_t(lo), uint8_t(hi), 0};
            Leaf l{g.node, std::vector<uint16_t>(hi - lo + 1, kNoCharacter)};
            for (size_t i = g.begin; i < g.end; ++i) l.values[seqs[i]->bytes[d] - lo] = seqs[i]->unicode;
            leaves.push_back(std::move(l));
            continue;
        }
        const ChildLayout lay = LayChildren(lo, hi, uint32_t(nodes.size()));
        nodes[g.node] = {0, lay.mask, uint8_t(lo), uint8_t(hi), lay.base};
        if (nodes.size() < lay.end) nodes.resize(lay.end);
        for (size_t i = g.begin; i < g.end;) {
            size_t j = i;
            while (j < g.end && seqs[j]->bytes[d] == seqs[i]->bytes[d]) ++j;
            queue.push_back({lay.base + (seqs[i]->bytes[d] & lay.mask), i, j, d + 1});
            i = j;
        }
    }

    // The values follow the nodes.  A leaf reads index base + trail with
    // trail >= low, so each block starts `low` indexes after its base, and
    // the values offset may point 2 x (least low) bytes before the first
    // block, into the node area, without any read landing there.
    const uint32_t nodesEnd = uint32_t(nodes.size()) * cs::kDecodeNodeSize;
    uint32_t leastLow = 0xFF;
    for (const Leaf &l : leaves) leastLow = std::min<uint32_t>(leastLow, nodes[l.node].low);
    const uint32_t valuesOffset = nodesEnd >= 2 * leastLow ? nodesEnd - 2 * leastLow : 0;
    uint32_t next = (nodesEnd - valuesOffset) / 2;  // first free value index
    std::vector<std::pair<uint32_t, const Leaf *>> placed;
    for (const Leaf &l : leaves) {
        const uint32_t low = nodes[l.node].low, start = std::max(next, low);
        nodes[l.node].base = start - low;
        placed.emplace_back(start, &l);
        next = start + uint32_t(l.values.size());
    }
    const uint32_t size = valuesOffset + 2 * next;
    if (size > kMaxTableSize)
        parser.Fail(src.mapLine, "the decode tree and values need " + std::to_string(size) +
                                     " bytes, more than the 65535 a table holds");

    Bytes t1(size, 0);
    for (size_t n = 0; n < nodes.size(); ++n) {
        uint8_t *p = &t1[n * cs::kDecodeNodeSize];
        p[0] = nodes[n].leaf;
        p[1] = nodes[n].mask;
        p[2] = nodes[n].low;
        p[3] = nodes[n].high;
        wr16(p + 4, uint16_t(nodes[n].base));
    }
    for (const auto &[start, leaf] : placed)
        for (size_t i = 0; i < leaf->values.size(); ++i)
            wr16(&t1[valuesOffset + 2 * (start + i)], leaf->values[i]);
    wr16(&t0[cs::kDecodeValues], uint16_t(valuesOffset));
    return t1;
}

// --- from-Unicode pages -----------------------------------------------------
//
// One page per high byte of the Unicode value.  A page's low..high range is
// trimmed to the low bytes it maps, with the substitution byte in the gaps,
// and its kind follows its longest code: one byte kind 0, three bytes kind 2,
// four bytes kind 3, two bytes kind 1 (16-bit values in table 2) or, when
// those would overflow table 2, kind 4 (low bytes in table 2, high bytes in
// table 3).  A block whose bytes are already in its table, whole or as the
// table's tail, is not written again.

// Puts block into area at an offset of at least minStart (so that the page's
// offset, start - low x width, is not negative) and returns that offset.
uint32_t Place(Bytes &area, const Bytes &block, uint32_t minStart) {
    if (area.size() > minStart) {
        auto at = std::search(area.begin() + minStart, area.end(),
                              std::boyer_moore_horspool_searcher(block.begin(), block.end()));
        if (at != area.end()) return uint32_t(at - area.begin());
        // The block's head may already stand at the end of the area.
        for (size_t k = std::min(block.size() - 1, area.size() - minStart); k > 0; --k)
            if (std::equal(area.end() - ptrdiff_t(k), area.end(), block.begin())) {
                const uint32_t start = uint32_t(area.size() - k);
                area.insert(area.end(), block.begin() + ptrdiff_t(k), block.end());
                return start;
            }
    }
    if (area.size() < minStart) area.resize(minStart, 0);
    const uint32_t start = uint32_t(area.size());
    area.insert(area.end(), block.begin(), block.end());
    return start;
}

struct PageTables {
    std::array<std::array<uint8_t, cs::kPageSize>, 256> entries{};
    Bytes area1, area2;  // tables 2 and 3
};

PageTables BuildPages(const Source &src, uint8_t twoByteKind) {
    std::array<std::map<uint8_t, const Mapping *>, 256> pages;
    if (!src.utf8)
        for (const Mapping &m : src.map)
            if (m.encodes()) pages[m.unicode >> 8][uint8_t(m.unicode)] = &m;

    PageTables out;
    for (unsigned page = 0; page < 256; ++page) {
        uint8_t *e = out.entries[page].data();
        if (pages[page].empty()) {
            e[2] = 0xFF;  // low > high: maps nothing
            continue;
        }
        const unsigned low = pages[page].begin()->first, high = pages[page].rbegin()->first;
        unsigned longest = 1;
        for (const auto &[b, m] : pages[page]) longest = std::max<unsigned>(longest, m->length);
        const uint8_t kind = longest == 1 ? 0 : longest == 2 ? twoByteKind : longest == 3 ? 2 : 3;
        // Element widths in tables 2 and 3, as the reader indexes them.
        static constexpr uint8_t kWidths[5][2] = {{1, 0}, {2, 0}, {2, 1}, {2, 2}, {1, 1}};
        const unsigned w1 = kWidths[kind][0], w2 = kWidths[kind][1];
        Bytes block1, block2;
        for (unsigned b = low; b <= high; ++b) {
            auto it = pages[page].find(uint8_t(b));
            const uint32_t code = it == pages[page].end() ? src.substitution : it->second->packed;
            // Table 2 takes the low byte (kinds 0, 4) or the low 16 bits;
            // table 3 the bits above them.
            const unsigned shift = 8 * w1;
            for (unsigned i = 0; i < w1; ++i) block1.push_back(uint8_t(code >> (8 * i)));
            for (unsigned i = 0; i < w2; ++i) block2.push_back(uint8_t(code >> (shift + 8 * i)));
        }
        const uint32_t first = Place(out.area1, block1, low * w1) - low * w1;
        const uint32_t second = w2 ? Place(out.area2, block2, low * w2) - low * w2 : 0;
        e[0] = kind;
        e[1] = 0xFF;
        e[2] = uint8_t(low);
        e[3] = uint8_t(high);
        wr16(e + 4, uint16_t(first));
        wr16(e + 6, uint16_t(second));
    }
    return out;
}

}  // namespace

Part CompileCodeset(const std::string &text, const std::string &fileName) {
    Parser parser(text, fileName);
    const Source src = parser.Parse();

    Bytes t0 = BuildDescription(src);
    Bytes t1;
    if (src.maxBytes >= 2 && !src.utf8) t1 = BuildDecodeTree(src, t0, parser);
    ClassifyCharacters(src, t0, parser);

    PageTables pages = BuildPages(src, 1);
    if (pages.area1.size() > kMaxTableSize) pages = BuildPages(src, 4);
    for (const Bytes *area : {&pages.area1, &pages.area2})
        if (area->size() > kMaxTableSize)
            parser.Fail(src.mapLine, "the from-Unicode data need " + std::to_string(area->size()) +
                                         " bytes in one table, more than the 65535 it holds");
    for (unsigned page = 0; page < 256; ++page)
        std::copy(pages.entries[page].begin(), pages.entries[page].end(), &t0[cs::kPages + cs::kPageSize * page]);
    if (t0.size() > kMaxTableSize)
        parser.Fail(src.mapLine, "the description needs " + std::to_string(t0.size()) + " bytes, more than 65535");

    // The library refuses a part that fails its load-time checks; finding
    // out here names the source instead.
    auto data = [](const Bytes &b) { return b.empty() ? nullptr : b.data(); };
    if (lorvex::ValidateCodeset(t0.data(), uint32_t(t0.size()), data(t1), uint32_t(t1.size()), data(pages.area1),
                                uint32_t(pages.area1.size()), data(pages.area2), uint32_t(pages.area2.size())) != 0)
        throw Error(fileName + ": the compiled tables fail the library's load-time checks (a compiler fault)");

    Part part{kCodeset, src.part, src.name, {std::move(t0), std::move(t1), std::move(pages.area1), std::move(pages.area2)},
              0, fileName};
    while (part.tables.size() > 1 && part.tables.back().empty()) part.tables.pop_back();
    return part;
}

}  // namespace lxdc
