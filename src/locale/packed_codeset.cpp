// Conversion of codeset parts stored in the older packed layout (layout
// version 1) into the current layout.  The packed layout lacks four bytes of
// the fixed part and stores decode-tree nodes in 4 bytes without a byte
// range; the loader rebuilds both tables once, at load time, so that the
// character functions only ever see the current layout.
#include <cstring>

#include "frame/state.h"
#include "locale/registry.h"

namespace lorvex {

using namespace layout;

namespace {

struct Move {
    uint32_t from, to, size;
};
// Where each region of the packed fixed part goes.  New bytes 8-9 and
// 1290-1291 have no packed counterpart and stay zero.
constexpr Move kFixedMoves[] = {
    {0, 0, 6},           // substitution, shift bytes, end-of-line bytes, max bytes
    {6, 6, 2},           // codeset number
    {8, 10, 256},        // byte lengths
    {264, 266, 256},     // upper case
    {520, 522, 256},     // lower case
    {776, 778, 512},     // to-Unicode
    {1288, 1292, 1024},  // type words
    {2312, 2316, 2048},  // from-Unicode pages
    {4360, 4364, 2},     // codeset flags
};

uint8_t *AllocZeroed(uint32_t size) {
    auto *p = static_cast<uint8_t *>(Allocate(size ? size : 1));
    if (p) std::memset(p, 0, size ? size : 1);
    return p;
}

}  // namespace

int32_t ConvertPackedCodeset(const uint8_t *old0, uint32_t size0, const uint8_t *old1, uint32_t size1,
                             uint8_t **out0, uint32_t *newSize0, uint8_t **out1, uint32_t *newSize1) {
    *out0 = *out1 = nullptr;
    *newSize0 = *newSize1 = 0;
    if (!old0 || size0 <= cs1::kMaxBytes) return LX_ERR_IO;
    const bool multibyte = old0[cs1::kMaxBytes] >= 2;

    // Sizes first, so that nothing is read or written outside the tables.
    uint32_t oldVar = 0, size = cs::kFixedSingle;
    if (multibyte) {
        if (size0 < cs1::kFixed) return LX_ERR_IO;
        oldVar = rd16(old0 + cs1::kVarStart);
        if (oldVar < cs1::kFixed || oldVar > size0) return LX_ERR_IO;
        size = cs::kFixedMulti + (size0 - oldVar);
        if (size > kMaxTableSize) return LX_ERR_IO;
    } else if (size0 < cs1::kFlags + 2) {
        return LX_ERR_IO;
    }
    uint32_t c = 0, entries = 0, values = 0, size1New = 0;
    if (multibyte && old1) {
        values = rd16(old0 + cs1::kDecodeValues);
        if (values > size1) return LX_ERR_IO;
        c = values / cs1::kDecodeNodeSize;
        entries = (c * cs::kDecodeNodeSize + 3u) & ~3u;
        size1New = entries + c * cs::kDecodeNodeSize + (size1 - values);
        if (size1New > kMaxTableSize) return LX_ERR_IO;
    }

    uint8_t *t0 = AllocZeroed(size);
    if (!t0) return LX_ERR_NO_MEMORY;
    for (const Move &m : kFixedMoves) std::memcpy(t0 + m.to, old0 + m.from, m.size);
    if (multibyte) {
        const uint16_t shift = uint16_t(cs::kFixedMulti - oldVar);
        wr16(t0 + cs::kVarStart, uint16_t(cs::kFixedMulti));
        wr16(t0 + cs::kTypeTree, uint16_t(rd16(old0 + cs1::kTypeTree) + shift));
        wr16(t0 + cs::kTypeRecords, uint16_t(rd16(old0 + cs1::kTypeRecords) + shift));
        wr16(t0 + cs::kTypeRecordsEnd, uint16_t(rd16(old0 + cs1::kTypeRecordsEnd) + shift));
        std::memcpy(t0 + cs::kFixedMulti, old0 + oldVar, size0 - oldVar);
    }

    if (multibyte && old1) {
        uint8_t *t1 = AllocZeroed(size1New);
        if (!t1) {
            Free(t0);
            return LX_ERR_NO_MEMORY;
        }
        // Packed nodes carry no byte range: they accept every byte.
        for (uint32_t i = 0; i < c; ++i) {
            const uint8_t *o = old1 + i * cs1::kDecodeNodeSize;
            uint8_t *n = t1 + i * cs::kDecodeNodeSize;
            n[0] = o[0];
            n[1] = o[1];
            n[2] = 0x00;
            n[3] = 0xFF;
            n[4] = o[2];
            n[5] = o[3];
        }
        // The decode values land after the node area counted twice (once
        // rounded to 4 bytes); the gap between stays zero.
        const uint32_t valuesAt = entries + c * cs::kDecodeNodeSize;
        std::memcpy(t1 + valuesAt, old1 + values, size1 - values);
        wr16(t0 + cs::kDecodeValues, uint16_t(valuesAt));
        *out1 = t1;
        *newSize1 = size1New;
    }
    *out0 = t0;
    *newSize0 = size;
    return LX_OK;
}

}  // namespace lorvex
