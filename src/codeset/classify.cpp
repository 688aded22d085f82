// Character types and case counterparts of codeset characters, and the
// character-type functions.  One lookup serves every form: the plain form
// takes the character's length from the byte-length table, the Ex form of a
// stateful codeset from its shift walker, the W form unpacks its value, and
// all of them end in TypeWordOf.
#include "codeset/classify.h"

#include "codeset/unicode.h"
#include "codeset/unicode_tables.h"
#include "codeset/walkers.h"
#include "frame/state.h"

namespace lorvex {

namespace {

using layout::rd32;

// A UTF-8 lead byte of F0 or above starts a character beyond U+FFFF, which
// the 16-bit tables do not describe.
bool BeyondUcs2(const uint8_t *p) { return p[0] >= 0xF0; }

}  // namespace

uint32_t TypeWordOf(const Codeset &cs, const uint8_t *p, unsigned n) {
    if (n <= 1) return cs.typeWord(p[0]);
    if (cs.maxBytes() < 2) return 0;  // no tree: not a character of the codeset
    if (cs.utf8()) return BeyondUcs2(p) ? 0 : ucd::TypeWord(DecodeUtf8(p, n));
    const uint8_t *record = TypeRecord(cs, p, n);
    return record ? rd32(record) : 0;
}

uint32_t TypeWordOfPacked(const Codeset &cs, LXWchar wc) {
    if (wc < 0x100) return cs.typeWord(uint8_t(wc));
    uint8_t b[4];
    return TypeWordOf(cs, b, UnpackWchar(wc, b));
}

LXWchar CaseMapPacked(const Codeset &cs, LXWchar wc, bool upper) {
    if (wc < 0x100) return upper ? cs.upper(uint8_t(wc)) : cs.lower(uint8_t(wc));
    if (cs.maxBytes() < 2) return wc;
    uint8_t b[4];
    const unsigned n = UnpackWchar(wc, b);
    if (cs.utf8()) {
        if (BeyondUcs2(b)) return wc;
        const uint16_t u = DecodeUtf8(b, n);
        const uint16_t mapped = upper ? ucd::Upper(u) : ucd::Lower(u);
        return mapped == u ? wc : EncodeToWchar(cs, mapped);
    }
    const uint8_t *record = TypeRecord(cs, b, n);
    if (!HasCounterpart(record, upper)) return wc;
    return wc + rd32(record + 4);
}

}  // namespace lorvex

using namespace lorvex;

namespace {

// The field item selects from a type word, shifted down to bit 0; any other
// item is error 2 and gives the class field.
int32_t Field(LXLocale *loc, uint32_t word, uint32_t item) {
    switch (item) {
    case LX_CTYPE_CLASS: break;
    case LX_CTYPE_DIRECTION: return int32_t((word >> 10) & 0xFFF);
    case LX_CTYPE_SCRIPT: return int32_t(word >> 22);
    default:
        if (loc) loc->error = LX_ERR_ARGUMENT;
        break;
    }
    return int32_t(word & 0x3FF);
}

// The locale of a call, its error field cleared; null when there is none.
LXLocale *Begin(LXLocale *handle) {
    LXLocale *loc = Resolve(handle);
    if (loc) loc->error = LX_OK;
    return loc;
}

}  // namespace

extern "C" LX_API int32_t LXGetCharType(LXLocale *handle, const unsigned char *str, uint32_t item) {
    LXLocale *loc = Begin(handle);
    if (!loc) return 0;
    const Codeset cs = CodesetOf(loc);
    return Field(loc, TypeWordOf(cs, str, cs.byteLength(str[0])), item);
}

extern "C" LX_API int32_t LXGetCharTypeEx(LXLocale *handle, const unsigned char *str, LXState state,
                                          uint32_t item) {
    LXLocale *loc = Begin(handle);
    if (!loc) return 0;
    if (!(loc->flags & kLocaleStateful)) return LXGetCharType(handle, str, item);
    const Codeset cs = CodesetOf(loc);
    ShiftWalk<ShiftMatch::kUnsigned> w(cs, state);
    const uint8_t *p = Lead(w, str);
    return Field(loc, TypeWordOf(cs, p, w.width(p)), item);
}

extern "C" LX_API int32_t LXGetCharTypeW(LXLocale *handle, LXWchar wc, uint32_t item) {
    LXLocale *loc = Begin(handle);
    if (!loc) return 0;
    return Field(loc, TypeWordOfPacked(CodesetOf(loc), wc), item);
}

// Needs no locale data: without any locale the field is still given.
extern "C" LX_API int32_t LXGetCharTypeU(LXLocale *handle, LXUchar uc, uint32_t item) {
    return Field(Begin(handle), ucd::TypeWord(uc), item);
}
