#!/usr/bin/env python3
"""Writes src/codeset/unicode_tables.generated.cpp: the per-code-point tables
of the library's built-in Unicode data (type words, simple case mappings,
width counterparts, the digit table).

Usage (from anywhere):  python3 tools/gen/gen_unicode.py [--check] [OUTPUT]

The tables to write, with their code point ranges, are the declarations of
src/codeset/unicode_tables_data.h.  The values come from the Unicode
character database files that the unicode-data package installs in
/usr/share/unicode, all of one version.  docs/character-types.md states
the rules below in prose.  --check exits 1 when the committed file is not
what this script writes.
"""

import os
import re
import sys

from generated import write_or_check

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
DATA_H = os.path.join(ROOT, "src", "codeset", "unicode_tables_data.h")
DEFAULT_OUT = os.path.join(ROOT, "src", "codeset", "unicode_tables.generated.cpp")
UCD_DIR = "/usr/share/unicode"
REGEN_COMMAND = "python3 tools/gen/gen_unicode.py"

# Case mappings are those of characters, and to characters, that Unicode 2.1
# had already assigned, so that the case of a character does not depend on
# which later version the tables were built from.
CASE_AGE = (2, 1)


# --------------------------------------------------------------------------
# Reading the character database
# --------------------------------------------------------------------------

def ucd_lines(name):
    with open(os.path.join(UCD_DIR, name), encoding="utf-8") as f:
        for line in f:
            line = line.split("#", 1)[0].strip()
            if line:
                yield [field.strip() for field in line.split(";")]


def code_range(text):
    first, _, last = text.partition("..")
    return int(first, 16), int(last or first, 16)


def ranged_property(name, wanted=None):
    """{code point: value} of a file of "range ; value" lines (BMP only)."""
    out = {}
    for fields in ucd_lines(name):
        first, last = code_range(fields[0])
        if wanted is not None and fields[1] not in wanted:
            continue
        for cp in range(first, min(last, 0xFFFF) + 1):
            out[cp] = fields[1]
    return out


class Char:
    __slots__ = ("cat", "bidi", "decomp", "upper", "lower", "digit")


def unicode_data():
    chars = {}
    first = None
    for fields in ucd_lines("UnicodeData.txt"):
        cp = int(fields[0], 16)
        if cp > 0xFFFF:
            break
        c = Char()
        c.cat, c.bidi = fields[2], fields[4]
        c.decomp = fields[5]
        c.digit = fields[8]
        c.upper = int(fields[12], 16) if fields[12] else None
        c.lower = int(fields[13], 16) if fields[13] else None
        if fields[1].endswith(", First>"):
            first = cp
            continue
        if fields[1].endswith(", Last>"):
            for x in range(first, cp + 1):
                chars[x] = c
            continue
        chars[cp] = c
    return chars


def version():
    with open(os.path.join(UCD_DIR, "DerivedAge.txt"), encoding="utf-8") as f:
        m = re.match(r"# DerivedAge-([\d.]+)\.txt", f.readline())
    return m.group(1) if m else "unknown"


CHARS = unicode_data()
AGE = {cp: tuple(int(x) for x in v.split(".")) for cp, v in ranged_property("DerivedAge.txt").items()}
CORE = ranged_property("DerivedCoreProperties.txt", {"Uppercase", "Lowercase"})
UPPERCASE = {cp for cp, v in CORE.items() if v == "Uppercase"}
LOWERCASE = {cp for cp, v in CORE.items() if v == "Lowercase"}
WIDTH = ranged_property("EastAsianWidth.txt")
SCRIPT = ranged_property("Scripts.txt", {"Katakana", "Hiragana", "Hangul"})
IDEOGRAPHIC = set(ranged_property("PropList.txt", {"Ideographic"}))
VOWEL_SIGNS = set(ranged_property("IndicSyllabicCategory.txt", {"Vowel_Dependent"}))


# --------------------------------------------------------------------------
# Type words
# --------------------------------------------------------------------------

# Class field (bits 0-9).
C_LETTER, C_UPPER, C_LOWER, C_DIGIT, C_XDIGIT = 0x001, 0x002, 0x004, 0x008, 0x010
C_PUNCT, C_SPACE, C_BLANK, C_CNTRL, C_7BIT = 0x020, 0x040, 0x080, 0x100, 0x200
# Direction field (bits 10-21), one bit.
D_NONE, D_LTR, D_RTL, D_EN, D_ES, D_ET = 0x001, 0x002, 0x004, 0x008, 0x010, 0x020
D_AN, D_CS, D_PARA, D_SEG, D_WS, D_ON = 0x040, 0x080, 0x100, 0x200, 0x400, 0x800
# Script field (bits 22-31).
S_NONSPACING, S_DIACRITIC, S_VOWEL, S_SYMBOL = 0x001, 0x002, 0x004, 0x008
S_KATAKANA, S_HIRAGANA, S_HALFWIDTH, S_FULLWIDTH = 0x010, 0x020, 0x040, 0x080
S_IDEOGRAPH, S_KASHIDA = 0x100, 0x200

UNASSIGNED = D_NONE << 10

BIDI = {"L": D_LTR, "R": D_RTL, "AL": D_RTL, "EN": D_EN, "ES": D_ES, "ET": D_ET,
        "AN": D_AN, "CS": D_CS, "B": D_PARA, "S": D_SEG, "WS": D_WS, "ON": D_ON,
        "NSM": D_ON}
# Full stop and solidus, with their small and full-width forms, separate
# European numbers (1.5, 3/4); comma and colon stay common separators.
EUROPEAN_SEPARATORS = {0x002E, 0x002F, 0xFE52, 0xFF0E, 0xFF0F}
# Ordinal indicators are marks beside a number, not letters.
ORDINALS = {0x00AA, 0x00BA}
# Superscript and subscript digits count as decimal digits (the digit table
# maps them to ASCII).
SUPERSUB_DIGITS = {0x00B2, 0x00B3, 0x00B9, 0x2070} | set(range(0x2074, 0x207A)) | set(range(0x2080, 0x208A))
HEX_DIGITS = {ord(c) for c in "0123456789ABCDEFabcdef"}
HEX_DIGITS |= {c + 0xFEE0 for c in HEX_DIGITS}


def decomposes_with_mark(cp):
    """The canonical decomposition of cp, applied fully, holds a combining
    mark."""
    d = CHARS[cp].decomp
    if not d or d.startswith("<"):
        return False
    for part in d.split():
        p = int(part, 16)
        if p in CHARS and (CHARS[p].cat in ("Mn", "Me") or decomposes_with_mark(p)):
            return True
    return False


def class_field(cp, c):
    cat = c.cat
    cls = 0
    if cp in ORDINALS:
        cls |= C_PUNCT
    else:
        cased = cp in UPPERCASE or cp in LOWERCASE
        if cat[0] == "L" or cat == "Nl" or (cat == "So" and cased):
            cls |= C_LETTER
        # A title-case letter has a lower-case form: it counts as upper case.
        if cp in UPPERCASE or cat == "Lt":
            cls |= C_UPPER
        if cp in LOWERCASE:
            cls |= C_LOWER
        if cat[0] in "PSM" and not cls & C_LETTER:
            cls |= C_PUNCT
    if cat == "Nd" or cp in SUPERSUB_DIGITS:
        cls |= C_DIGIT
    if cp in HEX_DIGITS:
        cls |= C_XDIGIT
    if 0x09 <= cp <= 0x0D or cat in ("Zs", "Zl", "Zp"):
        cls |= C_SPACE
    if cp == 0x09 or cat == "Zs":
        cls |= C_BLANK
    if cat == "Cc":
        cls |= C_CNTRL
    if cp < 0x80:
        cls |= C_7BIT
    return cls


def direction_field(cp, c):
    if cp == 0x09:
        return D_SEG
    if c.cat == "Cc":
        return D_NONE           # line ends too: U+2028 and U+2029 separate paragraphs
    if c.cat == "Zs":
        return D_WS             # no-break spaces included
    if cp == 0x2028:
        return D_PARA
    if cp in EUROPEAN_SEPARATORS:
        return D_ES
    if c.bidi == "ES":
        return D_ET             # plus and minus signs stand beside a number like %
    return BIDI.get(c.bidi, D_NONE)  # boundary neutrals and embedding controls: none


def script_field(cp, c, cls):
    cat = c.cat
    script = 0
    if cat in ("Mn", "Me") or (cat[0] == "L" and decomposes_with_mark(cp)):
        script |= S_NONSPACING | S_DIACRITIC
    if cat == "Sk":
        script |= S_DIACRITIC
    if cp in VOWEL_SIGNS:
        script |= S_VOWEL
    if cat[0] in "PS" or cls & C_SPACE:
        script |= S_SYMBOL
    if SCRIPT.get(cp) == "Katakana":
        script |= S_KATAKANA
    if SCRIPT.get(cp) == "Hiragana":
        script |= S_HIRAGANA
    width = WIDTH.get(cp, "N")
    if width in ("Na", "H"):
        script |= S_HALFWIDTH
    ideograph = cp in IDEOGRAPHIC
    if width == "F" or (width == "W" and not ideograph and SCRIPT.get(cp) != "Hangul"):
        script |= S_FULLWIDTH
    if ideograph:
        script |= S_IDEOGRAPH
    if cp == 0x0640:
        script |= S_KASHIDA
    return script


def type_word(cp):
    c = CHARS.get(cp)
    if c is None or c.cat in ("Cn", "Cs", "Co"):
        return UNASSIGNED
    cls = class_field(cp, c)
    return cls | direction_field(cp, c) << 10 | script_field(cp, c, cls) << 22


# Whole type words and fields the rules must reproduce.
TYPE_EXAMPLES = {0x41: 0x10000A13, 0x67: 0x10000A05, 0x30: 0x10002218, 0x20: 0x121002C0,
                 0x09: 0x020803C0, 0xC0: 0x00C00803, 0x0627: 0x00001001}
FIELD_EXAMPLES = [(0x0660, 0x3FF, 0, 0x008), (0x0660, 0xFFF, 10, 0x040),
                  (0x0041, 0x3FF, 0, 0x213), (0x0041, 0x3FF, 22, 0x040)]


# --------------------------------------------------------------------------
# Case, width, digits
# --------------------------------------------------------------------------

def assigned_by(cp, age):
    return cp in AGE and AGE[cp] <= age


def case_map(cp, upper):
    c = CHARS.get(cp)
    if c is None or not assigned_by(cp, CASE_AGE):
        return cp
    if upper and c.cat == "Lt":
        return cp               # a title-case letter is already as upper as it gets
    target = c.upper if upper else c.lower
    if target is None or not assigned_by(target, CASE_AGE):
        return cp
    return target


def width_counterparts():
    """({half-width form: full form}, {full form: half-width form}) from the
    one-character <narrow>, <halfwidth>, <wide> and <fullwidth>
    decompositions."""
    to_full, to_half = {}, {}
    for cp, c in CHARS.items():
        parts = c.decomp.split()
        if len(parts) != 2:
            continue
        target = int(parts[1], 16)
        if parts[0] in ("<narrow>", "<halfwidth>"):
            to_full[cp] = target
            to_half[target] = cp
        elif parts[0] in ("<wide>", "<fullwidth>"):
            to_half[cp] = target
            to_full[target] = cp
    return to_full, to_half


TO_FULL, TO_HALF = width_counterparts()

# Blocks of decimal digits the digit table covers (Tamil from one: its zero
# came later).
DIGIT_RANGES = [(0x0030, 0x0039), (0x00B2, 0x00B3), (0x00B9, 0x00B9), (0x0660, 0x0669),
                (0x06F0, 0x06F9), (0x0966, 0x096F), (0x09E6, 0x09EF), (0x0A66, 0x0A6F),
                (0x0AE6, 0x0AEF), (0x0B66, 0x0B6F), (0x0BE7, 0x0BEF), (0x0C66, 0x0C6F),
                (0x0CE6, 0x0CEF), (0x0D66, 0x0D6F), (0x0E50, 0x0E59), (0x0ED0, 0x0ED9),
                (0x0F20, 0x0F29), (0x2070, 0x2070), (0x2074, 0x2079), (0x2080, 0x2089),
                (0xFF10, 0xFF19)]


def digit_pairs():
    pairs = []
    for first, last in DIGIT_RANGES:
        for cp in range(first, last + 1):
            pairs.append((cp, ord("0") + int(CHARS[cp].digit)))
    return pairs


# --------------------------------------------------------------------------
# Output
# --------------------------------------------------------------------------

def declared_tables():
    """[(C type, name, kind, first, last)] in the order of the header."""
    with open(DATA_H, encoding="utf-8") as f:
        text = f.read()
    decl = re.compile(r"extern const (uint16_t|uint32_t) (k(\w+?)_([0-9A-F]{4})_([0-9A-F]{4}))\[")
    return [(m.group(1), m.group(2), m.group(3), int(m.group(4), 16), int(m.group(5), 16))
            for m in decl.finditer(text)]


def table_values(kind, first, last):
    cps = range(first, last + 1)
    if kind == "Types":
        return [type_word(cp) for cp in cps]
    if kind in ("Upper", "Lower"):
        return [case_map(cp, kind == "Upper") for cp in cps]
    if kind == "FullWidth":
        return [TO_FULL.get(cp, 0) for cp in cps]
    if kind == "HalfWidth":
        return [TO_HALF.get(cp, 0) for cp in cps]
    sys.exit(f"{DATA_H}: no rule for tables of kind {kind}")


def check(tables):
    """Exits when a rule no longer gives what the library promises."""
    failures = []
    for cp, word in TYPE_EXAMPLES.items():
        if type_word(cp) != word:
            failures.append(f"type word of U+{cp:04X} is {type_word(cp):#010x}, expected {word:#010x}")
    for cp, mask, shift, value in FIELD_EXAMPLES:
        if (type_word(cp) >> shift) & mask != value:
            failures.append(f"field at bit {shift} of U+{cp:04X} is not {value:#x}")
    by_point = {}
    for _, _, kind, first, last in tables:
        for cp, v in zip(range(first, last + 1), table_values(kind, first, last)):
            by_point[(kind, cp)] = v
    for kind, cp, want in [("Upper", 0x0131, 0x0049), ("Upper", 0x017F, 0x0053), ("Upper", 0x03C2, 0x03A3),
                           ("Upper", 0x01C6, 0x01C4), ("Upper", 0x01C5, 0x01C5), ("Lower", 0x0130, 0x0069),
                           ("Lower", 0x0178, 0x00FF), ("Lower", 0x01C5, 0x01C6), ("Upper", 0x0450, 0x0450),
                           ("HalfWidth", 0x30AC, 0), ("HalfWidth", 0x3000, 0x0020)]:
        if by_point.get((kind, cp)) != want:
            failures.append(f"{kind} of U+{cp:04X} is not U+{want:04X}")
    for cp in range(0x10000):
        word = type_word(cp)
        if word & C_UPPER and word & C_LOWER:
            failures.append(f"U+{cp:04X} is both upper and lower case")
    if len(digit_pairs()) != 179:
        failures.append(f"the digit table has {len(digit_pairs())} pairs, not 179")
    if failures:
        sys.exit("\n".join(failures))


def emit(ctype, name, size, values, per_line, width):
    lines = [f"const {ctype} {name}[{size}] = {{"]
    for i in range(0, len(values), per_line):
        lines.append("    " + ", ".join(f"0x{v:0{width}X}" for v in values[i:i + per_line]) + ",")
    lines.append("};")
    return lines


def render():
    tables = declared_tables()
    check(tables)
    out = [
        "// Generated by tools/gen/gen_unicode.py; do not edit by hand.",
        f"// Regenerate from the repository root with:  {REGEN_COMMAND}",
        "//",
        f"// From the Unicode {version()} character database; case mappings only",
        f"// between characters assigned by Unicode {CASE_AGE[0]}.{CASE_AGE[1]}.",
        "",
        '#include "codeset/unicode_tables_data.h"',
        "",
        "namespace lorvex::ucd::data {",
        "",
    ]
    for ctype, name, kind, first, last in tables:
        size = f"0x{last:04X} - 0x{first:04X} + 1"
        values = table_values(kind, first, last)
        if ctype == "uint32_t":
            out += emit(ctype, name, size, values, 8, 8)
        else:
            out += emit(ctype, name, size, values, 12, 4)
        out.append("")
    out.append("const uint16_t kDigitPairs[kDigitPairCount][2] = {")
    pairs = digit_pairs()
    for i in range(0, len(pairs), 6):
        out.append("    " + " ".join(f"{{0x{u:04X}, 0x{a:04X}}}," for u, a in pairs[i:i + 6]))
    out.append("};")
    out.append("")
    out.append("}  // namespace lorvex::ucd::data")
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    sys.exit(write_or_check(sys.argv, DEFAULT_OUT, render))
