#include "codeset/unicode.h"

namespace lorvex {

uint16_t DecodeTree(const Codeset &cs, const uint8_t *s, unsigned n) {
    using layout::rd16;
    namespace cs_ = layout::cs;
    // A multibyte codeset always has its table 1; a single-byte one has none,
    // and a packed value above 0xFF handed to it is simply not a character.
    const uint8_t *tree = cs.tree;
    if (!tree) return kReplacement;
    const uint8_t *values = tree + rd16(cs.desc + cs_::kDecodeValues);
    const uint8_t *node = tree;
    for (unsigned i = 0; i < n; ++i) {
        const uint8_t b = s[i];
        if (b < node[2] || b > node[3]) return kReplacement;
        const unsigned index = rd16(node + 4) + (b & node[1]);
        if (node[0]) return rd16(values + 2 * index);
        node = tree + cs_::kDecodeNodeSize * index;
    }
    // The tree asks for more bytes than the character has: a byte-length
    // entry and the tree disagree, and the character is not one the codeset
    // decodes.  Stopping here keeps the walk inside the caller's text.
    return kReplacement;
}

}  // namespace lorvex
