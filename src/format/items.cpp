// Deriving the current values of the information items from a locale
// object's territory and codeset parts, and replacing those parts.
//
// A derivation never edits the object in place.  It builds the next state in
// a copy, allocating every new string first; only when all of them exist is
// the copy stored over the object and the strings it replaces freed.  An
// allocation failure therefore frees what was made so far and leaves the
// object exactly as it was, without a restore step that could itself fail.
#include "format/items.h"

#include "format/item_text.h"
#include "locale/builtin.h"
#include "locale/locale_object.h"

namespace lorvex {

using layout::rd16;

namespace items {

const Overridable *FindOverridable(int32_t item) {
    for (const Overridable &o : kOverridable)
        if (o.item == item) return &o;
    return nullptr;
}

namespace {

constexpr uint8_t kEmptyUnits[2] = {0, 0};

// String index of a block whose offsets start at offsets: its units end at
// the first zero unit before the next string's offset (or the end offset
// that follows the last).
BlockString ReadBlockString(const PartRecord *rec, uint32_t offsets, uint32_t index) {
    const uint8_t *t = rec ? rec->table[0] : nullptr;
    if (!t) return {kEmptyUnits, 0};
    const uint32_t size = rec->size[0];
    const uint32_t start = rd16(t + offsets + 2 * index);
    uint32_t end = rd16(t + offsets + 2 * (index + 1));
    if (end > size) end = size;
    for (uint32_t at = start; at + 2 <= end; at += 2)
        if (rd16(t + at) == 0) return {t + start, int32_t((at - start) / 2)};
    return {kEmptyUnits, 0};
}

}  // namespace

BlockString LanguageString(const PartRecord *language, uint32_t index) {
    if (index >= layout::la::kStringCount) return {kEmptyUnits, 0};
    return ReadBlockString(language, layout::la::kStringOffsets, index);
}

BlockString TerritoryString(const PartRecord *territory, uint32_t index) {
    if (index >= layout::te::kStringCount) return {kEmptyUnits, 0};
    return ReadBlockString(territory, layout::te::kStringOffsets, index);
}

uint16_t TerritoryYesNo(const PartRecord *territory) {
    // The flag byte holds item 58 in bit 0 and the six yes/no items in bits
    // 1-6; the object keeps the six in bits 0-5.
    return uint16_t((territory->table[0][layout::te::kFlagByte] >> 1) & kLocaleYesNoMask);
}

uint8_t SeparatorByte(const Codeset &cs, uint16_t u) {
    if (u == 0) return 0;
    uint8_t b[4];
    return EncodeUnicode(cs, u, b) == 1 ? b[0] : cs.substitution();
}

Codeset PortableCodeset() {
    if (Registry *r = Library().registry) {
        int32_t err = LX_OK;
        if (PartRecord *rec = LXFindPartByNumber(r, layout::kCodeset, 1, kLoad, &err)) return Codeset(rec);
    }
    // No registry, or its codeset 1 cannot be had: the built-in codeset is
    // codeset 1 of every registry the library builds itself.
    static const PartRecord builtinAscii = [] {
        PartRecord rec{};
        rec.number = 1;
        rec.kind = layout::kCodeset;
        rec.table[0] = builtin::kCodeset.data;
        rec.size[0] = builtin::kCodeset.size;
        rec.table[2] = builtin::kCodesetTable2.data;
        rec.size[2] = builtin::kCodesetTable2.size;
        return rec;
    }();
    return Codeset(&builtinAscii);
}

}  // namespace items

namespace {

using namespace items;

int32_t UnitsLength(const LXUchar *u) {
    int32_t n = 0;
    if (u)
        while (u[n] != 0) ++n;
    return n;
}

// A new block holding the codeset text of units UCS-2 units (little-endian
// bytes at le, or native units), zero-terminated and, in a stateful codeset,
// closed in state 0.  Null when out of memory.
unsigned char *EncodeNew(const Codeset &cs, const uint8_t *le, const LXUchar *native, int32_t units) {
    MbSink count(cs, 0, nullptr, kUnbounded, false);
    PumpUnits(le, native, units, count);
    const int32_t need = count.finish();
    auto *p = static_cast<unsigned char *>(Allocate(size_t(need)));
    if (!p) return nullptr;
    MbSink fill(cs, 0, p, need, false);
    PumpUnits(le, native, units, fill);
    fill.finish();
    return p;
}

// A new native, zero-terminated copy of units little-endian UCS-2 units.
LXUchar *CopyUnits(const uint8_t *le, int32_t units) {
    auto *p = static_cast<LXUchar *>(Allocate(sizeof(LXUchar) * (size_t(units) + 1)));
    if (!p) return nullptr;
    for (int32_t i = 0; i < units; ++i) p[i] = rd16(le + 2 * i);
    p[units] = 0;
    return p;
}

void FreeIf(void *p) {
    if (p) Free(p);
}

// The object's next state over territory and codeset: every item without an
// override takes the territory's value; an override keeps the caller's
// value, and with reencode its codeset form is made again from its UCS-2
// value (the codeset changed under it).
int32_t Rebuild(LXLocale *loc, PartRecord *territory, PartRecord *codeset, bool reencode) {
    if (!territory || !territory->table[0] || !codeset || !codeset->table[0]) return LX_ERR_REJECTED;
    LXLocale next = *loc;
    next.territory = territory;
    next.codeset = codeset;
    const Codeset cs(codeset);
    const uint8_t *te = territory->table[0];
    const uint16_t yesNo = TerritoryYesNo(territory);
    unsigned char *str[8] = {};
    LXUchar *ucs[8] = {};
    bool ok = true;

    for (const Overridable &o : kOverridable) {
        const bool kept = (loc->overrideMask & o.mask) != 0;
        switch (o.slot) {
        case Slot::kNumber:
            if (!kept) next.numItems[o.index] = rd16(te + o.source);
            break;
        case Slot::kFlag:
            if (!kept) {
                const uint16_t bit = uint16_t(1u << o.index);
                next.flags = uint16_t((next.flags & ~bit) | (yesNo & bit));
            }
            break;
        case Slot::kSmall:
            if (!kept) next.smallItems[o.index] = te[o.source];
            break;
        case Slot::kSeparator:
            if (!kept) {
                next.separatorsU[o.index] = rd16(te + o.source);
                next.ucsMarks = uint16_t(next.ucsMarks & ~(1u << o.index));
            }
            if (!kept || reencode) next.separators[o.index] = SeparatorByte(cs, next.separatorsU[o.index]);
            break;
        case Slot::kString:
            if (!kept) {
                const BlockString s = TerritoryString(territory, o.source);
                ucs[o.index] = CopyUnits(s.bytes, s.units);
                if (ucs[o.index]) str[o.index] = EncodeNew(cs, s.bytes, nullptr, s.units);
                ok = str[o.index] != nullptr;
            } else if (reencode) {
                const LXUchar *u = loc->stringsU[o.index];
                str[o.index] = EncodeNew(cs, nullptr, u, UnitsLength(u));
                ok = str[o.index] != nullptr;
            }
            break;
        }
        if (!ok) break;
    }
    if (!ok) {
        for (int i = 0; i < 8; ++i) {
            FreeIf(str[i]);
            FreeIf(ucs[i]);
        }
        return LX_ERR_NO_MEMORY;
    }

    SetPartFlags(&next);
    for (int i = 0; i < 8; ++i) {
        if (str[i]) {
            FreeIf(loc->strings[i]);
            next.strings[i] = str[i];
        }
        if (ucs[i]) {
            FreeIf(loc->stringsU[i]);
            next.stringsU[i] = ucs[i];
        }
    }
    next.error = loc->error;
    *loc = next;
    return LX_OK;
}

}  // namespace

int32_t DeriveItems(LXLocale *loc) { return Rebuild(loc, loc->territory, loc->codeset, false); }

int32_t SwitchPart(LXLocale *loc, layout::Kind kind, PartRecord *rec) {
    switch (kind) {
    case layout::kLanguage:
        if (!rec) return LX_ERR_REJECTED;
        loc->language = rec;
        return LX_OK;
    case layout::kTerritory:
        return Rebuild(loc, rec, loc->codeset, false);
    case layout::kCodeset:
        if (rec == loc->codeset) return LX_OK;
        return Rebuild(loc, loc->territory, rec, true);
    case layout::kSort:
        loc->sort = rec;
        SetPartFlags(loc);
        return LX_OK;
    }
    return LX_ERR_REJECTED;
}

}  // namespace lorvex
