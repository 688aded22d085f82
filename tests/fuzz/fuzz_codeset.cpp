// Fuzzes character navigation, conversion and mapping over the compiled
// codesets.
// The first two input bytes pick the source and target codeset, the third the
// chunk size for LXConvertBuffer and the mapping kind; the rest is the text, copied into a block
// of exactly its size so that the sanitizer sees any read past it.  Every
// function is given lengths inside its buffers; none may read or write
// outside them.  For codesets without shift states, converting buffer by
// buffer must give exactly the whole-string result.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_locale.h"
#include "lorvex.h"

namespace {

const char *const kCodesets[] = {"MS1252", "MS932", "IBM939", "UTF-8", "MS936", "MS949",
                                 "MS950", "MS1361", "IBM037", "ISO8859-7", "US-ASCII", "MS1255"};
constexpr size_t kCount = sizeof kCodesets / sizeof kCodesets[0];

LXLocale *Locale(size_t i) { return FuzzLocale("English_UnitedStates", kCodesets, i); }

bool Stateful(LXLocale *loc) { return LXGetLocaleNumInfo(loc, LXI_STATEFUL, 0) == 1; }

void Navigate(LXLocale *loc, const unsigned char *s, int32_t n) {
    LXNumChars(loc, s, n);
    LXNumCharsEx(loc, s, 0, n, 0);
    LXNumCharsEx(loc, s, 1, n, 0);
    LXMoveStringPointer(loc, s, n, 0);
    LXState st = 0;
    LXMoveStringPointerEx(loc, s, 0, n, &st, 0);
    std::vector<LXWchar> wide(size_t(n) + 1);
    int32_t w = LXMbToWide(loc, wide.data(), n, s, n, 0);
    std::vector<unsigned char> back(size_t(n) + 8);
    if (w > 0) LXWideToMb(loc, back.data(), int32_t(back.size()), wide.data(), w, 0);
    w = LXMbToWideEx(loc, wide.data(), n, s, 0, n, 0);
    if (w > 0) LXWideToMbEx(loc, back.data(), 0, int32_t(back.size()), wide.data(), w, 0);
    // Stepping: forwards from the start while inside the text, then back.
    const unsigned char *end = s + n, *p = s;
    int steps = 0;
    while (p < end && steps++ < n) {
        const int32_t len = LXByteLength(loc, p);
        if (len < 1 || p + len > end) break;
        p = LXNextChar(loc, p);
    }
    if (p > s && p <= end) LXPrevChar(loc, s, p);
    // Truncation writes into the text: work on a NUL-terminated copy.
    std::vector<unsigned char> copy(s, s + n);
    copy.push_back(0);
    LXTruncateString(loc, copy.data(), n / 2 + 1, 0);
    copy.assign(s, s + n);
    copy.push_back(0);
    LXTruncateStringEx(loc, copy.data(), 0, n / 2 + 2, 0);
}

void Convert(LXLocale *to, LXLocale *from, const unsigned char *s, int32_t n, int32_t chunk) {
    const int32_t room = n * 4 + 8;
    std::vector<unsigned char> whole(size_t(room) + 1);
    const int32_t wholeLen = LXConvertString(to, whole.data(), room, from, s, n, 0);
    std::vector<unsigned char> ex(size_t(room) + 2);
    LXConvertStringEx(to, ex.data(), 0, room, from, s, 0, n, LX_TERMINATE);
    std::vector<LXUchar> u(size_t(n) + 1);
    const int32_t units = LXStringToUnicode(u.data(), n, from, s, n, 0);
    LXStringToUnicodeEx(u.data(), n, from, s, 0, n, 0);
    if (units > 0) {
        LXUnicodeToString(to, whole.data(), room, u.data(), units, 0);
        LXUnicodeToStringEx(to, ex.data(), 0, room, u.data(), units, LX_TERMINATE);
    }

    // Buffer by buffer, into a small output buffer.
    LXConversion *conv = LXOpenConversion(to, from);
    if (!conv) std::abort();
    std::vector<unsigned char> pieces;
    unsigned char out[7];
    const unsigned char *src = s;
    int32_t left = n;
    while (left > 0) {
        int32_t take = chunk < left ? chunk : left;
        const unsigned char *piece = src;
        int32_t pieceLeft = take;
        int32_t rc;
        do {
            unsigned char *dst = out;
            int32_t dstLeft = int32_t(sizeof out);
            rc = LXConvertBuffer(conv, &dst, &dstLeft, &piece, &pieceLeft);
            pieces.insert(pieces.end(), out, dst);
        } while (rc == LX_ERR_OUTPUT_PENDING);
        if (pieceLeft != 0) std::abort();  // input is always consumed
        src += take;
        left -= take;
    }
    LXCloseConversion(conv);
    if (!Stateful(from) && !Stateful(to)) {
        if (pieces.size() != size_t(wholeLen) ||
            (!pieces.empty() && std::memcmp(pieces.data(), whole.data(), pieces.size()) != 0))
            std::abort();
    }
}

// Every mapping kind into outputs of exactly their size: a result that grows
// (full width of ASCII) must stop at the end of the output.  The
// character-counted form is given NUL-terminated text, as its callers give
// it: its count is turned into bytes by a walk that looks at the byte after
// the last character.
void Map(LXLocale *loc, const unsigned char *s, int32_t n, uint8_t pick) {
    static const uint32_t kKinds[] = {LX_MAP_UPPER, LX_MAP_LOWER, LX_MAP_FULLWIDTH, LX_MAP_HALFWIDTH,
                                      LX_MAP_DIGITS, LX_MAP_NONE};
    const uint32_t kind = kKinds[pick % 6];
    const int32_t room = 1 + pick % 3 * n;
    std::vector<unsigned char> out(static_cast<size_t>(room)), terminated(s, s + n);
    LXMapString(loc, out.data(), room, s, n, kind);
    LXMapStringEx(loc, out.data(), pick & 1, room, s, pick >> 7, n, kind);
    terminated.push_back(0);
    const int32_t chars = LXNumCharsEx(loc, s, 0, n, 0);
    // There dstsize counts characters: room for each one's four bytes and a
    // shift byte.
    LXMapStringEx(loc, out.data(), 0, room / 5, terminated.data(), 0, chars, kind | LX_LEN_CHARS);
    std::vector<LXWchar> wide(size_t(n) + 1), mapped(size_t(n) + 1);
    const int32_t w = LXMbToWide(loc, wide.data(), n, s, n, 0);
    if (w > 0) LXMapStringW(loc, mapped.data(), w, wide.data(), w, kind);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3 || size > 4096) return 0;
    LXLocale *from = Locale(data[0] % kCount);
    LXLocale *to = Locale(data[1] % kCount);
    const int32_t chunk = 1 + data[2] % 17;
    const int32_t n = int32_t(size - 3);
    auto *text = static_cast<unsigned char *>(std::malloc(size_t(n) ? size_t(n) : 1));
    std::memcpy(text, data + 3, size_t(n));
    Navigate(from, text, n);
    Convert(to, from, text, n, chunk);
    Map(from, text, n, data[2]);
    std::free(text);
    return 0;
}
