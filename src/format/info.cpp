// The exported information-item functions: reading items as numbers or as
// text in any of the four text forms, and overriding them in one locale
// object.
//
// Every text getter is one path: find where the item's text is kept (Fetch),
// then pour it through the sink of the form asked for (Deliver).  Every text
// setter is one path as well (SetText); the UCS-2 and wide faces only convert
// their text into the codeset first.
#include <cstring>

#include "format/item_text.h"
#include "format/items.h"
#include "locale/locale_object.h"

using namespace lorvex;
using namespace lorvex::items;
using layout::rd16;

namespace {

constexpr char kBinary[] = "Binary";
// Longest composed locale name: four part names and three separators.
constexpr size_t kComposedSize = 4 * layout::kNameSize + 4;
// Part names are looked up by at most this many bytes of a caller's text.
constexpr int32_t kNameBytes = 32;
// Texts the UCS-2 and wide setters convert on the stack; longer ones take a
// block from the caller's allocator.
constexpr int32_t kStackText = 256;

int32_t GetFail(LXLocale *loc, int32_t code) {
    loc->error = code;
    return -1;
}
int32_t SetFail(LXLocale *loc, int32_t code) {
    loc->error = code;
    return 0;
}

bool IsSeparatorItem(int32_t item) {
    return item == LXI_DECIMAL_POINT || item == LXI_THOUSANDS_SEP || item == LXI_OTHER_SEP ||
           item == LXI_MON_DECIMAL_POINT || item == LXI_MON_THOUSANDS_SEP;
}

// Where an item's text is kept.  Form 1 reads UCS-2 units (from a data
// block's little-endian bytes, or from an owned copy), form 2 codeset text,
// form 3 portable text.  limit bounds what may be read; the text may end
// sooner at its terminator.  A separator is a single character with no
// terminator after it, so its limit is 1.
struct TextRef {
    int32_t form = 0;
    const uint8_t *bytes = nullptr;
    const LXUchar *units = nullptr;
    int32_t limit = 0;
    const void *pointer() const { return units ? static_cast<const void *>(units) : bytes; }
};

TextRef FileUnits(const BlockString &s) { return {1, s.bytes, nullptr, s.units}; }
TextRef Portable(const char *s) {
    return {3, reinterpret_cast<const uint8_t *>(s), nullptr, int32_t(std::strlen(s))};
}

// The registered part that a language block's default field names.
const PartRecord *DefaultPart(const LXLocale *loc, layout::Kind kind, uint32_t field) {
    Registry *r = Library().registry;
    const unsigned number = rd16(loc->language->table[0] + field);
    if (!r || (kind == layout::kSort && number == 0)) return nullptr;
    int32_t err = LX_OK;
    return LXFindPartByNumber(r, kind, number, kNoLoad, &err);
}

bool Fetch(const LXLocale *loc, int32_t item, bool current, bool ucsCopies, TextRef &t) {
    if (item < LXI_LANGUAGE_PART || item > LXI_LONG_DATE_FORMAT) return false;
    switch (item) {
    case LXI_LANGUAGE_PART: t = Portable(loc->language->name); return true;
    case LXI_TERRITORY_PART: t = Portable(loc->territory->name); return true;
    case LXI_CODESET_PART: t = Portable(loc->codeset->name); return true;
    case LXI_SORT_PART: t = Portable(loc->sort ? loc->sort->name : kBinary); return true;
    case LXI_DEFAULT_TERRITORY:
    case LXI_DEFAULT_CODESET: {
        const bool territory = item == LXI_DEFAULT_TERRITORY;
        const PartRecord *p = territory ? DefaultPart(loc, layout::kTerritory, layout::la::kDefaultTerritory)
                                        : DefaultPart(loc, layout::kCodeset, layout::la::kDefaultCodeset);
        if (!p) return false;
        t = Portable(p->name);
        return true;
    }
    case LXI_DEFAULT_SORT: {
        const PartRecord *p = DefaultPart(loc, layout::kSort, layout::la::kDefaultSort);
        t = Portable(p ? p->name : kBinary);
        return true;
    }
    case LXI_LANGUAGE_ABBREV: t = FileUnits(LanguageString(loc->language, layout::la::kAbbrev)); return true;
    case LXI_LANGUAGE_NAME: t = FileUnits(LanguageString(loc->language, layout::la::kName)); return true;
    case LXI_TERRITORY_ABBREV: t = FileUnits(TerritoryString(loc->territory, layout::te::kAbbrev)); return true;
    case LXI_TERRITORY_NAME: t = FileUnits(TerritoryString(loc->territory, layout::te::kName)); return true;
    case LXI_INT_CURRENCY_SYMBOL:
        t = FileUnits(TerritoryString(loc->territory, layout::te::kIntCurrency));
        return true;
    default: break;
    }
    if (item >= LXI_DAY_1 && item <= LXI_PM) {
        // Items 16-57 are language strings 2-43 in item order.
        t = FileUnits(LanguageString(loc->language, uint32_t(item - LXI_DAY_1) + layout::la::kDay1));
        return true;
    }
    const Overridable *o = FindOverridable(item);
    if (!o) return false;
    if (o->slot == Slot::kSeparator) {
        if (!current) t = {1, loc->territory->table[0] + o->source, nullptr, 1};
        else if (ucsCopies) t = {1, nullptr, &loc->separatorsU[o->index], 1};
        else t = {2, &loc->separators[o->index], nullptr, 1};
        return true;
    }
    if (o->slot == Slot::kString) {
        const unsigned char *s = loc->strings[o->index];
        const LXUchar *u = loc->stringsU[o->index];
        // An object whose items were never derived has no strings: it reads
        // the territory's values.
        if (!current || !s || !u) {
            t = FileUnits(TerritoryString(loc->territory, o->source));
        } else if (ucsCopies) {
            int32_t n = 0;
            while (u[n] != 0) ++n;
            t = {1, nullptr, u, n};
        } else {
            t = {2, s, nullptr, int32_t(std::strlen(reinterpret_cast<const char *>(s)))};
        }
        return true;
    }
    return false;  // a number item
}

// Item 88: the four part names as one portable text.
void ComposeName(const LXLocale *loc, char (&out)[kComposedSize]) {
    size_t at = 0;
    auto add = [&](const char *s) {
        const size_t n = std::strlen(s);
        std::memcpy(out + at, s, n);
        at += n;
    };
    add(loc->language->name);
    add("_");
    add(loc->territory->name);
    add(".");
    add(loc->codeset->name);
    add("@");
    add(loc->sort ? loc->sort->name : kBinary);
    out[at] = 0;
}

// Pours a kept text into a sink of the locale's codeset.  Portable text is
// copied as codeset text when the codeset is ASCII-based, and otherwise goes
// through the portable codeset's Unicode values; a UCS-2 sink always wants
// those values.
template <class Sink>
int32_t Deliver(const LXLocale *loc, const TextRef &t, Sink &sink) {
    const Codeset cs = CodesetOf(loc);
    switch (t.form) {
    case 1: PumpUnits(t.units ? nullptr : t.bytes, t.units, t.limit, sink); break;
    case 2: PumpCodeset(cs, 0, t.bytes, t.limit, sink); break;
    case 3:
        if (!Sink::kUnicode && !cs.ebcdic()) PumpCodeset(cs, 0, t.bytes, t.limit, sink);
        else PumpPortable(PortableCodeset(), t.bytes, t.limit, sink);
        break;
    default: break;
    }
    return sink.finish();
}

// The text getters.  make(loc, size, chars) builds the sink over the
// caller's buffer; ucsCopies reads overridden texts from their UCS-2 copies.
template <class Make>
int32_t GetText(LXLocale *handle, int32_t item, const void *buffer, int32_t size, uint32_t flags,
                bool ucsCopies, Make &&make) {
    LXLocale *loc = Resolve(handle);
    if (!loc) return -1;
    if (flags & ~(LX_FILE_VALUE | LX_LEN_CHARS)) return GetFail(loc, LX_ERR_ARGUMENT);
    loc->error = LX_OK;
    if (size <= 0) return 0;
    if (!buffer) return GetFail(loc, LX_ERR_ARGUMENT);
    char composed[kComposedSize];
    TextRef t;
    if (item == LXI_LOCALE_NAME) {
        ComposeName(loc, composed);
        t = Portable(composed);
    } else if (!Fetch(loc, item, !(flags & LX_FILE_VALUE), ucsCopies, t)) {
        return GetFail(loc, LX_ERR_UNKNOWN_ITEM);
    }
    // The five separators are kept side by side with no terminator between
    // them: the room is lowered to one character and the terminator, so that
    // the copy ends after the one asked for.
    if (IsSeparatorItem(item) && size > 2) size = 2;
    auto sink = make(loc, size, (flags & LX_LEN_CHARS) != 0);
    return Deliver(loc, t, sink);
}

const void *GetTextItem(LXLocale *handle, int32_t item, int32_t current, int32_t *form, bool ucsCopies) {
    LXLocale *loc = Resolve(handle);
    if (!loc) return nullptr;
    loc->error = LX_OK;
    TextRef t;
    if (!Fetch(loc, item, current != 0, ucsCopies, t)) {
        loc->error = LX_ERR_UNKNOWN_ITEM;
        return nullptr;
    }
    if (form) *form = t.form;
    return t.pointer();
}

// ---------------------------------------------------------------------------
// Setting
// ---------------------------------------------------------------------------

// Selects the part of kind that rec is (null: no sort part).
int32_t Install(LXLocale *loc, layout::Kind kind, PartRecord *rec) {
    const int32_t err = SwitchPart(loc, kind, rec);
    return err == LX_OK ? 1 : SetFail(loc, err);
}

int32_t LookupFailure(LXLocale *loc, int32_t err) {
    return SetFail(loc, err == LX_ERR_NO_MEMORY ? LX_ERR_NO_MEMORY : LX_ERR_REJECTED);
}

int32_t SelectByNumber(LXLocale *loc, layout::Kind kind, int32_t number) {
    Registry *r = Library().registry;
    if (!r || number < 0 || number > 0xFFFF) return SetFail(loc, LX_ERR_REJECTED);
    int32_t err = LX_OK;
    PartRecord *rec = LXFindPartByNumber(r, kind, unsigned(number), kLoad, &err);
    if (!rec && !(kind == layout::kSort && number == 0)) return LookupFailure(loc, err);
    return Install(loc, kind, rec);
}

// Collects a name converted character by character into the portable
// codeset; any character that is not one byte there spoils it.
class NameSink {
public:
    NameSink(const Codeset &cs, const Codeset &portable, char *out) : cs_(cs), portable_(portable), out_(out) {}
    bool put(const Ch &c) {
        uint8_t b[4];
        const uint16_t u = c.n ? DecodeMb(cs_, c.b, c.n) : c.u;
        if (EncodeUnicode(portable_, u, b) != 1 || b[0] == 0) {
            bad_ = true;
            return false;
        }
        out_[n_++] = char(b[0]);
        return true;
    }
    bool bad() const { return bad_; }
    int32_t length() const { return n_; }

private:
    Codeset cs_, portable_;
    char *out_;
    int32_t n_ = 0;
    bool bad_ = false;
};

int32_t SelectByName(LXLocale *loc, layout::Kind kind, const uint8_t *text, int32_t length, LXState state) {
    const Codeset cs = CodesetOf(loc);
    if (length > kNameBytes) length = kNameBytes;
    char name[kNameBytes + 1];
    int32_t n = length;
    if (!cs.ebcdic()) {
        std::memcpy(name, text, size_t(length));
    } else {
        NameSink sink(cs, PortableCodeset(), name);
        PumpCodeset(cs, state, text, length, sink);
        if (sink.bad()) return SetFail(loc, LX_ERR_REJECTED);
        n = sink.length();
    }
    Registry *r = Library().registry;
    if (!r) return SetFail(loc, LX_ERR_REJECTED);
    int32_t err = LX_OK;
    PartRecord *rec = LXFindPartByName(r, kind, name, n, kLoad, &err);
    // The sort name "Binary" finds no part, and that is no error: it removes
    // the sort part.
    if (!rec && !(kind == layout::kSort && err == LX_OK)) return LookupFailure(loc, err);
    return Install(loc, kind, rec);
}

bool IsDigit(const Codeset &cs, uint8_t b) {
    return cs.ebcdic() ? (b >= 0xF0 && b <= 0xF9) : (b >= 0x30 && b <= 0x39);
}

int32_t SetSeparator(LXLocale *loc, const Overridable &o, uint8_t b, LXState state) {
    const Codeset cs = CodesetOf(loc);
    // In a stateful codeset a shift byte is no character, and in state 1 the
    // first byte belongs to a double-byte one.
    const bool single = cs.byteLength(b) == 1 &&
                        !(cs.stateful() && (state || b == cs.shiftOut() || b == cs.shiftIn()));
    bool ok = single;
    switch (o.item) {
    case LXI_DECIMAL_POINT:
    case LXI_MON_DECIMAL_POINT: {
        const uint8_t thousands = loc->separators[o.index == 0 ? 1 : 4];
        ok = ok && b != 0 && !IsDigit(cs, b) && b != thousands;
        break;
    }
    case LXI_THOUSANDS_SEP:
    case LXI_MON_THOUSANDS_SEP: {
        // A zero byte is allowed here: it makes the separator empty, which a
        // decimal point may never be.
        const uint8_t decimal = loc->separators[o.index == 1 ? 0 : 3];
        ok = ok && !IsDigit(cs, b) && b != decimal;
        break;
    }
    default: break;  // the other separator: any one-byte character
    }
    if (!ok) return SetFail(loc, LX_ERR_REJECTED);
    loc->separators[o.index] = b;
    loc->separatorsU[o.index] = b ? cs.toUnicode(b) : 0;
    loc->ucsMarks = uint16_t(loc->ucsMarks | (1u << o.index));
    loc->overrideMask |= o.mask;
    return 1;
}

bool Overlaps(const void *a, size_t an, const void *b, size_t bn) {
    const auto x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
    return x < y + bn && y < x + an;
}

// Replaces an overridable string.  The text is kept as codeset text that
// starts and ends in state 0, with a UCS-2 copy beside it; it ends at a NUL,
// and the walk that copies it takes whole characters only, which cuts a
// character that the length splits.  A held block that is long enough is
// reused; new blocks are all taken before anything changes, so that running
// out of memory changes nothing.
int32_t SetString(LXLocale *loc, const Overridable &o, const uint8_t *text, int32_t length, LXState state) {
    const Codeset cs = CodesetOf(loc);
    MbSink countBytes(cs, 0, nullptr, kUnbounded, false);
    PumpCodeset(cs, state, text, length, countBytes);
    const int32_t needBytes = countBytes.finish();
    UcsSink countUnits(cs, nullptr, kUnbounded);
    PumpCodeset(cs, state, text, length, countUnits);
    const int32_t needUnits = countUnits.finish();

    unsigned char *heldBytes = loc->strings[o.index];
    LXUchar *heldUnits = loc->stringsU[o.index];
    const size_t heldLength = heldBytes ? std::strlen(reinterpret_cast<char *>(heldBytes)) : 0;
    size_t heldUnitCount = 0;
    if (heldUnits)
        while (heldUnits[heldUnitCount] != 0) ++heldUnitCount;
    // A caller may hand back the very text this item holds.
    const bool reuseBytes = heldBytes && size_t(needBytes) <= heldLength + 1 &&
                            !Overlaps(text, size_t(length), heldBytes, heldLength + 1);
    const bool reuseUnits = heldUnits && size_t(needUnits) <= heldUnitCount + 1 &&
                            !Overlaps(text, size_t(length), heldUnits, 2 * (heldUnitCount + 1));

    unsigned char *bytes = reuseBytes ? heldBytes : static_cast<unsigned char *>(Allocate(size_t(needBytes)));
    LXUchar *units = reuseUnits ? heldUnits
                                : static_cast<LXUchar *>(Allocate(sizeof(LXUchar) * size_t(needUnits)));
    if (!bytes || !units) {
        if (bytes && !reuseBytes) Free(bytes);
        if (units && !reuseUnits) Free(units);
        return SetFail(loc, LX_ERR_NO_MEMORY);
    }
    MbSink fillBytes(cs, 0, bytes, needBytes, false);
    PumpCodeset(cs, state, text, length, fillBytes);
    fillBytes.finish();
    UcsSink fillUnits(cs, units, needUnits);
    PumpCodeset(cs, state, text, length, fillUnits);
    fillUnits.finish();

    if (!reuseBytes && heldBytes) Free(heldBytes);
    if (!reuseUnits && heldUnits) Free(heldUnits);
    loc->strings[o.index] = bytes;
    loc->stringsU[o.index] = units;
    loc->overrideMask |= o.mask;
    return 1;
}

// The setter behind every face: flags were checked and the error cleared.
int32_t SetText(LXLocale *loc, int32_t item, const uint8_t *text, int32_t length, LXState state,
                uint32_t flags) {
    const Codeset cs = CodesetOf(loc);
    state = cs.stateful() && state ? 1 : 0;
    if (length != 0 && !text) return SetFail(loc, LX_ERR_ARGUMENT);
    if (length < 0) length = int32_t(std::strlen(reinterpret_cast<const char *>(text)));
    else if ((flags & LX_LEN_CHARS) && length >= 1) length = CharsToBytes(cs, text, state, length);
    if (length == 0) return 1;
    if (item < LXI_LANGUAGE_PART || item > LXI_LONG_DATE_FORMAT) return SetFail(loc, LX_ERR_UNKNOWN_ITEM);
    switch (item) {
    case LXI_LANGUAGE_PART: return SelectByName(loc, layout::kLanguage, text, length, state);
    case LXI_TERRITORY_PART: return SelectByName(loc, layout::kTerritory, text, length, state);
    case LXI_CODESET_PART: return SelectByName(loc, layout::kCodeset, text, length, state);
    case LXI_SORT_PART: return SelectByName(loc, layout::kSort, text, length, state);
    default: break;
    }
    const Overridable *o = FindOverridable(item);
    if (o && o->slot == Slot::kSeparator) return SetSeparator(loc, *o, text[0], state);
    if (o && o->slot == Slot::kString) return SetString(loc, *o, text, length, state);
    return SetFail(loc, LX_ERR_UNKNOWN_ITEM);
}

LXLocale *EnterSetter(LXLocale *handle, uint32_t flags, bool *ok) {
    LXLocale *loc = Resolve(handle);
    *ok = false;
    if (!loc) return nullptr;
    if (flags != 0 && flags != LX_LEN_CHARS) {
        loc->error = LX_ERR_ARGUMENT;
        return loc;
    }
    loc->error = LX_OK;
    *ok = true;
    return loc;
}

// The UCS-2 and wide setters: their text is converted into the codeset
// (closed in state 0) and set as zero-terminated codeset text.
template <class Pump>
int32_t SetConverted(LXLocale *handle, int32_t item, const void *text, int32_t length, uint32_t flags,
                     Pump &&pump) {
    bool ok;
    LXLocale *loc = EnterSetter(handle, flags, &ok);
    if (!ok) return 0;
    if (length == 0) return 1;
    if (!text) return SetFail(loc, LX_ERR_ARGUMENT);
    const Codeset cs = CodesetOf(loc);
    MbSink count(cs, 0, nullptr, kUnbounded, false);
    pump(count);
    const int32_t need = count.finish();
    uint8_t stack[kStackText];
    uint8_t *buf = need <= kStackText ? stack : static_cast<uint8_t *>(Allocate(size_t(need)));
    if (!buf) return SetFail(loc, LX_ERR_NO_MEMORY);
    MbSink fill(cs, 0, buf, need, false);
    pump(fill);
    fill.finish();
    const int32_t result = SetText(loc, item, buf, -1, 0, 0);
    if (buf != stack) Free(buf);
    return result;
}

}  // namespace

// ---------------------------------------------------------------------------
// Exported functions
// ---------------------------------------------------------------------------

extern "C" LX_API int32_t LXGetLocaleNumInfo(LXLocale *handle, int32_t item, uint32_t flags) {
    LXLocale *loc = Resolve(handle);
    if (!loc) return -1;
    if (flags & ~LX_FILE_VALUE) return GetFail(loc, LX_ERR_ARGUMENT);
    loc->error = LX_OK;
    const bool file = (flags & LX_FILE_VALUE) != 0;
    const uint8_t *te = loc->territory->table[0];
    const Codeset cs = CodesetOf(loc);
    switch (item) {
    case LXI_LANGUAGE_NUMBER: return loc->language->number;
    case LXI_TERRITORY_NUMBER: return loc->territory->number;
    case LXI_CODESET_NUMBER: return loc->codeset->number;
    case LXI_SORT_NUMBER: return loc->sort ? loc->sort->number : 0;
    case LXI_TERRITORY_FLAG_0: return te[layout::te::kFlagByte] & 1;
    case LXI_TERRITORY_VALUE: return te[layout::te::kValue];
    case LXI_MAX_CHAR_BYTES: return cs.maxBytes();
    case LXI_ASCII_BASED: return cs.ebcdic() ? 0 : 1;
    case LXI_STATEFUL: return (loc->flags & kLocaleStateful) ? 1 : 0;
    default: break;
    }
    if (const Overridable *o = FindOverridable(item)) {
        switch (o->slot) {
        case Slot::kNumber: return file ? rd16(te + o->source) : loc->numItems[o->index];
        case Slot::kFlag:
            return file ? (te[layout::te::kFlagByte] >> o->source) & 1 : (loc->flags >> o->index) & 1;
        case Slot::kSmall: return file ? te[o->source] : loc->smallItems[o->index];
        default: break;
        }
    }
    return GetFail(loc, LX_ERR_UNKNOWN_ITEM);
}

extern "C" LX_API int32_t LXGetLocaleTextInfo(LXLocale *handle, int32_t item, unsigned char *buffer,
                                              int32_t size, uint32_t flags) {
    return GetText(handle, item, buffer, size, flags, false, [buffer](LXLocale *loc, int32_t room, bool chars) {
        return MbSink(CodesetOf(loc), 0, buffer, room, chars);
    });
}

extern "C" LX_API int32_t LXGetLocaleTextInfoEx(LXLocale *handle, int32_t item, unsigned char *buffer,
                                                int32_t size, LXState state, uint32_t flags) {
    return GetText(handle, item, buffer, size, flags, false,
                   [buffer, state](LXLocale *loc, int32_t room, bool chars) {
                       return MbSink(CodesetOf(loc), state, buffer, room, chars);
                   });
}

extern "C" LX_API int32_t LXGetLocaleTextInfoU(LXLocale *handle, int32_t item, LXUchar *buffer, int32_t size,
                                               uint32_t flags) {
    return GetText(handle, item, buffer, size, flags, true, [buffer](LXLocale *loc, int32_t room, bool) {
        return UcsSink(CodesetOf(loc), buffer, room);
    });
}

extern "C" LX_API int32_t LXGetLocaleTextInfoW(LXLocale *handle, int32_t item, LXWchar *buffer, int32_t size,
                                               uint32_t flags) {
    return GetText(handle, item, buffer, size, flags, false, [buffer](LXLocale *loc, int32_t room, bool) {
        return WideSink(CodesetOf(loc), buffer, room);
    });
}

extern "C" LX_API const void *LXLocaleGetTextItem(LXLocale *handle, int32_t item, int32_t current,
                                                  int32_t *form) {
    return GetTextItem(handle, item, current, form, false);
}

extern "C" LX_API const void *LXLocaleGetTextItemU(LXLocale *handle, int32_t item, int32_t current,
                                                   int32_t *form) {
    return GetTextItem(handle, item, current, form, true);
}

extern "C" LX_API int32_t LXSetLocaleNumInfo(LXLocale *handle, int32_t item, int32_t value) {
    LXLocale *loc = Resolve(handle);
    if (!loc) return 0;
    loc->error = LX_OK;
    switch (item) {
    case LXI_LANGUAGE_NUMBER: return SelectByNumber(loc, layout::kLanguage, value);
    case LXI_TERRITORY_NUMBER: return SelectByNumber(loc, layout::kTerritory, value);
    case LXI_CODESET_NUMBER: return SelectByNumber(loc, layout::kCodeset, value);
    case LXI_SORT_NUMBER: return SelectByNumber(loc, layout::kSort, value);
    default: break;
    }
    const Overridable *o = FindOverridable(item);
    if (!o) return SetFail(loc, LX_ERR_UNKNOWN_ITEM);
    switch (o->slot) {
    case Slot::kNumber:
        loc->numItems[o->index] = uint16_t(value);
        break;
    case Slot::kFlag: {
        if (value != 0 && value != 1) return SetFail(loc, LX_ERR_REJECTED);
        const uint16_t bit = uint16_t(1u << o->index);
        loc->flags = uint16_t(value ? loc->flags | bit : loc->flags & ~bit);
        break;
    }
    case Slot::kSmall:
        if (value < 0 || value > 4) return SetFail(loc, LX_ERR_REJECTED);
        loc->smallItems[o->index] = uint8_t(value);
        break;
    default: return SetFail(loc, LX_ERR_UNKNOWN_ITEM);  // a text item
    }
    loc->overrideMask |= o->mask;
    return 1;
}

extern "C" LX_API int32_t LXSetLocaleTextInfo(LXLocale *handle, int32_t item, const unsigned char *text,
                                              int32_t length, uint32_t flags) {
    bool ok;
    LXLocale *loc = EnterSetter(handle, flags, &ok);
    return ok ? SetText(loc, item, text, length, 0, flags) : 0;
}

extern "C" LX_API int32_t LXSetLocaleTextInfoEx(LXLocale *handle, int32_t item, const unsigned char *text,
                                                int32_t length, LXState state, uint32_t flags) {
    bool ok;
    LXLocale *loc = EnterSetter(handle, flags, &ok);
    return ok ? SetText(loc, item, text, length, state, flags) : 0;
}

extern "C" LX_API int32_t LXSetLocaleTextInfoU(LXLocale *handle, int32_t item, const LXUchar *text,
                                               int32_t length, uint32_t flags) {
    return SetConverted(handle, item, text, length, flags, [text, length](auto &sink) {
        PumpUnits(nullptr, text, length < 0 ? INT32_MAX : length, sink);
    });
}

extern "C" LX_API int32_t LXSetLocaleTextInfoW(LXLocale *handle, int32_t item, const LXWchar *text,
                                               int32_t length, uint32_t flags) {
    return SetConverted(handle, item, text, length, flags, [text, length](auto &sink) {
        PumpWide(text, length < 0 ? INT32_MAX : length, sink);
    });
}
