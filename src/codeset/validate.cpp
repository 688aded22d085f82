// Load-time validation of codeset parts (see validate.h).
//
// The two trees are walked depth first from node 0 with an explicit stack of
// at most max-bytes frames, so neither a deep nor a cyclic tree can make the
// walk recurse or run long: a path that would need more bytes than the
// longest character fails, and a cycle is such a path.  Each node is expanded
// once (its result is kept in a one-byte state per node), so the cost is at
// most 256 steps per node and per page entry.
#include "codeset/validate.h"

#include <cstring>

#include "locale/layout.h"
#include "lorvex.h"

namespace lorvex {

using namespace layout;

namespace {

// The larger of the two trees' node limits: 65535 / 4 type nodes.
constexpr uint32_t kMaxNodes = kMaxTableSize / cs::kTypeNodeSize + 1;
constexpr unsigned kMaxDepth = 4;

// Largest (b & mask) for b in low..high (low <= high).
unsigned MaxMasked(unsigned low, unsigned high, unsigned mask) {
    unsigned best = 0;
    for (unsigned b = low; b <= high; ++b)
        if ((b & mask) > best) best = b & mask;
    return best;
}

struct Node {
    bool leaf;
    uint8_t mask, low, high;
    uint32_t base;
};

// A tree as the walk sees it: the decode tree (6-byte nodes with a byte
// range) or the type tree (4-byte nodes that take every byte).
struct Tree {
    const uint8_t *nodes;
    uint32_t count;
    bool ranged;
    // Leaf results: decode values in table 1, or type records.
    uint32_t valuesOffset, tableSize;  // decode tree
    uint32_t recordCount;              // type tree

    Node read(uint32_t n) const {
        if (ranged) {
            const uint8_t *p = nodes + n * cs::kDecodeNodeSize;
            return {p[0] != 0, p[1], p[2], p[3], rd16(p + 4)};
        }
        const uint8_t *p = nodes + n * cs::kTypeNodeSize;
        return {p[0] != 0, p[1], 0x00, 0xFF, rd16(p + 2)};
    }

    // Every result a leaf can select lies inside its array.  A leaf whose
    // range is empty selects nothing.
    bool leafInside(const Node &leaf) const {
        if (leaf.low > leaf.high) return true;
        const uint32_t last = leaf.base + MaxMasked(leaf.low, leaf.high, leaf.mask);
        if (ranged) return valuesOffset + 2 * last + 2 <= tableSize;
        return last < recordCount;
    }
};

// Walks every path from node 0 that at most maxDepth bytes can take.  Fails
// when a path reaches a node outside the tree, a leaf result outside its
// array, or needs more bytes than maxDepth.  state holds tree.count bytes:
// 0 not seen, 1 on the stack, 1 + h done, where h is the longest path below
// the node counted in nodes (a leaf has h = 1).
bool WalkTree(const Tree &tree, unsigned maxDepth, uint8_t *state) {
    if (tree.count == 0 || maxDepth == 0 || maxDepth > kMaxDepth) return false;
    std::memset(state, 0, tree.count);

    struct Frame {
        uint32_t node;
        unsigned next, high;  // next byte to try, last byte accepted
        uint8_t mask;
        uint32_t base;
        unsigned height;
    };
    Frame stack[kMaxDepth];
    unsigned depth = 0;  // frames on the stack; a node opened now is at depth + 1

    // Opens node n at depth + 1: a leaf is checked and done at once, an inner
    // node is pushed.  An inner node needs one more byte after its own.
    auto open = [&](uint32_t n) -> bool {
        const Node node = tree.read(n);
        if (node.leaf) {
            if (!tree.leafInside(node)) return false;
            state[n] = 2;
            return true;
        }
        if (depth + 1 >= maxDepth) return false;
        state[n] = 1;
        stack[depth++] = {n, node.low, node.high, node.mask, node.base, 1};
        return true;
    };

    if (!open(0)) return false;
    while (depth > 0) {
        Frame &f = stack[depth - 1];
        if (f.next > f.high) {
            state[f.node] = uint8_t(1 + f.height);
            const unsigned h = f.height;
            if (--depth > 0 && stack[depth - 1].height < h + 1) stack[depth - 1].height = h + 1;
            continue;
        }
        const uint32_t child = f.base + (f.next & f.mask);
        ++f.next;
        if (child >= tree.count) return false;
        const uint8_t s = state[child];
        if (s == 1) return false;  // a cycle: some byte sequence never ends
        if (s == 0) {
            if (!open(child)) return false;
            if (state[child] == 1) continue;  // pushed; its height comes later
        }
        const unsigned h = unsigned(state[child]) - 1;
        if (depth + h > maxDepth) return false;
        if (f.height < h + 1) f.height = h + 1;
    }
    return true;
}

// Every position a page entry can select lies inside the data areas.
bool PagesInside(const uint8_t *t0, uint32_t size2, uint32_t size3) {
    for (unsigned page = 0; page < 256; ++page) {
        const uint8_t *p = t0 + cs::kPages + cs::kPageSize * page;
        const unsigned kind = p[0], mask = p[1], low = p[2], high = p[3];
        if (kind > 4) return false;
        if (low > high) continue;  // never consulted
        const uint32_t i = MaxMasked(low, high, mask);
        const uint32_t first = rd16(p + 4), second = rd16(p + 6);
        // Bytes each area must hold: [first area element size, second area element size].
        static constexpr uint8_t kWidths[5][2] = {{1, 0}, {2, 0}, {2, 1}, {2, 2}, {1, 1}};
        const uint32_t w1 = kWidths[kind][0], w2 = kWidths[kind][1];
        if (first + w1 * i + w1 > size2) return false;
        if (w2 && second + w2 * i + w2 > size3) return false;
    }
    return true;
}

}  // namespace

int32_t ValidateCodeset(const uint8_t *t0, uint32_t size0, const uint8_t *t1, uint32_t size1,
                        const uint8_t *t2, uint32_t size2, const uint8_t *t3, uint32_t size3) {
    if (!t0 || size0 < cs::kFixedSingle) return LX_ERR_IO;
    if (!t1) size1 = 0;
    if (!t2) size2 = 0;
    if (!t3) size3 = 0;

    const unsigned maxBytes = t0[cs::kMaxBytes];
    const bool stateful = (rd16(t0 + cs::kFlags) & cs::kFlagStateful) != 0;
    if (maxBytes < 1 || maxBytes > kMaxDepth) return LX_ERR_IO;

    // Character navigation steps by these lengths without looking at the
    // bytes it steps over; a stateful codeset's characters are one byte in
    // the initial state and max bytes long after shift-out.
    for (unsigned b = 0; b < 256; ++b) {
        const unsigned n = t0[cs::kByteLength + b];
        if (n < 1 || n > (stateful ? 1u : maxBytes)) return LX_ERR_IO;
    }
    if (stateful) {
        const uint8_t so = t0[cs::kShiftOut], si = t0[cs::kShiftIn];
        // Some readers compare shift bytes as signed bytes; 0 would end a string.
        if (so == 0 || si == 0 || so >= 0x80 || si >= 0x80 || so == si) return LX_ERR_IO;
    }
    if (!PagesInside(t0, size2, size3)) return LX_ERR_IO;
    if (maxBytes < 2) return LX_OK;  // no variable data, no decode tree

    if (size0 < cs::kFixedMulti) return LX_ERR_IO;
    const uint32_t varStart = rd16(t0 + cs::kVarStart), typeTree = rd16(t0 + cs::kTypeTree),
                   records = rd16(t0 + cs::kTypeRecords), recordsEnd = rd16(t0 + cs::kTypeRecordsEnd);
    if (varStart < cs::kFixedMulti || typeTree < varStart || records < typeTree || recordsEnd < records ||
        recordsEnd > size0)
        return LX_ERR_IO;
    // UTF-8 decodes, encodes and classifies its longer characters without
    // the trees, so it need not have any.
    if (rd16(t0 + cs::kNumber) == cs::kUtf8Number) return LX_OK;

    uint8_t state[kMaxNodes];
    Tree types{t0 + typeTree, (records - typeTree) / cs::kTypeNodeSize, false, 0, 0,
               (recordsEnd - records) / cs::kTypeRecordSize};
    if (!WalkTree(types, maxBytes, state)) return LX_ERR_IO;
    Tree decode{t1, size1 / cs::kDecodeNodeSize, true, rd16(t0 + cs::kDecodeValues), size1, 0};
    if (!WalkTree(decode, maxBytes, state)) return LX_ERR_IO;
    return LX_OK;
}

}  // namespace lorvex
