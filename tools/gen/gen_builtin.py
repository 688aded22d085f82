#!/usr/bin/env python3
"""Writes src/locale/builtin_tables.generated.cpp: the built-in locale
(language "English", territory "UnitedStates", codeset "US-ASCII") in the
same byte layouts as the part files.

Usage (from anywhere):  python3 tools/gen/gen_builtin.py [OUTPUT]

Every offset comes from src/locale/layout.h, which this script parses, so
the tables cannot drift from the layout the loader reads.  The output is a
pure function of layout.h, this script and the Unicode character data that
gen_unicode.py reads: no dates, no host data.
"""

import os
import re
import sys

from gen_unicode import type_word
from generated import write_or_check

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", ".."))
LAYOUT_H = os.path.join(ROOT, "src", "locale", "layout.h")
DEFAULT_OUT = os.path.join(ROOT, "src", "locale", "builtin_tables.generated.cpp")
REGEN_COMMAND = "python3 tools/gen/gen_builtin.py"


# --------------------------------------------------------------------------
# layout.h constants
# --------------------------------------------------------------------------

def read_layout(path):
    """Returns {namespace: {name: int}} for the scalar constants of layout.h
    ("" is the top-level lorvex::layout namespace)."""
    with open(path, encoding="utf-8") as f:
        text = f.read()
    text = re.sub(r"//[^\n]*", "", text)
    consts = {"": {}}
    ns_stack = []
    token = re.compile(r"namespace\s+([\w:]+)\s*\{|\{|\}|inline\s+constexpr\s+[\w:]+\s+([^;]*);")
    for m in token.finditer(text):
        if m.group(1) is not None:
            ns_stack.append(m.group(1))
        elif m.group(0) == "{":
            ns_stack.append(None)       # function body, enum, ...
        elif m.group(0) == "}":
            ns_stack.pop()
        else:
            decls = m.group(2)
            if "[" in decls or "(" in decls:
                continue  # arrays, functions
            if None in ns_stack:
                continue
            inner = ns_stack[-1] if ns_stack[-1] != "lorvex::layout" else ""
            table = consts.setdefault(inner, {})
            for decl in decls.split(","):
                name, _, value = decl.partition("=")
                value = value.strip().rstrip("uU")
                table[name.strip()] = int(value, 0)
    return consts


L = read_layout(LAYOUT_H)
CS, LA, TE, TOP = L["cs"], L["la"], L["te"], L[""]


def put16(buf, off, v):
    assert 0 <= v <= 0xFFFF, v
    buf[off] = v & 0xFF
    buf[off + 1] = v >> 8


def put32(buf, off, v):
    assert 0 <= v <= 0xFFFFFFFF, v
    for i in range(4):
        buf[off + i] = (v >> (8 * i)) & 0xFF


def get32(buf, off):
    return buf[off] | buf[off + 1] << 8 | buf[off + 2] << 16 | buf[off + 3] << 24


def ucs2z(s):
    out = bytearray()
    for ch in s:
        cp = ord(ch)
        assert cp <= 0xFFFF
        out += bytes((cp & 0xFF, cp >> 8))
    return out + b"\0\0"


def string_block(fixed, offsets_at, end_at, strings):
    """A fixed part of `fixed` bytes followed by the strings; the u16 offset
    of string i at offsets_at + 2i and the end offset at end_at."""
    buf = bytearray(fixed)
    for i, s in enumerate(strings):
        put16(buf, offsets_at + 2 * i, len(buf))
        buf += ucs2z(s)
    put16(buf, end_at, len(buf))
    assert len(buf) <= TOP["kMaxTableSize"]
    return buf


# --------------------------------------------------------------------------
# Language "English"
# --------------------------------------------------------------------------

DAYS = ["Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"]
MONTHS = ["January", "February", "March", "April", "May", "June", "July", "August",
          "September", "October", "November", "December"]


def language():
    strings = (["EN", "English"] + DAYS + [d[:3] for d in DAYS] + MONTHS + [""]
               + [m[:3] for m in MONTHS] + ["", "AM", "PM"])
    assert len(strings) == LA["kStringCount"]
    assert strings[LA["kAm"]] == "AM" and strings[LA["kAbmonth1"]] == "Jan"
    buf = string_block(LA["kFixed"], LA["kStringOffsets"], LA["kStringsEnd"], strings)
    put16(buf, LA["kDefaultTerritory"], 1)
    put16(buf, LA["kDefaultCodeset"], 1)
    put16(buf, LA["kDefaultSort"], 0)          # binary collation
    put16(buf, LA["kUpperRuleCount"], 0)
    put16(buf, LA["kLowerRuleCount"], 0)
    # No special-case rules: both rule tables are empty and start at the end
    # of the strings (kUpperRules is the same word as kStringsEnd).
    put16(buf, LA["kUpperRules"], len(buf))
    put16(buf, LA["kLowerRules"], len(buf))
    return buf


# --------------------------------------------------------------------------
# Territory "UnitedStates"
# --------------------------------------------------------------------------

def territory():
    strings = ["USA", "United States", "3;0", "3;0", "$", "USD", "", "-",
               "%#I:%M:%S %p", "%#m/%#d/%y", "%A, %B %d, %Y"]
    assert len(strings) == TE["kStringCount"]
    buf = string_block(TE["kFixed"], TE["kStringOffsets"], TE["kStringsEnd"], strings)
    put16(buf, TE["kDecimalPoint"], ord("."))
    put16(buf, TE["kThousandsSep"], ord(","))
    put16(buf, TE["kOtherSep"], ord(","))
    put16(buf, TE["kMonDecimalPoint"], ord("."))
    put16(buf, TE["kMonThousandsSep"], ord(","))
    put16(buf, TE["kFracDigits"], 2)
    put16(buf, TE["kCurrencyDigits"], 2)
    put16(buf, TE["kIntCurrencyDigits"], 2)
    buf[TE["kPSignPosn"]] = 3
    buf[TE["kNSignPosn"]] = 0
    buf[TE["kValue"]] = 0
    # Bit 0 item 58, 1 currency precedes (positive), 2 no space, 3 currency
    # precedes (negative), 4 no space, 5 item 82, 6 item 83.
    buf[TE["kFlagByte"]] = 0x6B
    return buf


# --------------------------------------------------------------------------
# Codeset "US-ASCII": type words
# --------------------------------------------------------------------------

# The type words of ASCII are the library's built-in Unicode type words,
# derived once, by gen_unicode.py.
# Whole type words the rules must reproduce.
TYPE_EXAMPLES = {"A": 0x10000A13, "g": 0x10000A05, "0": 0x10002218, " ": 0x121002C0,
                 "\t": 0x020803C0}


# --------------------------------------------------------------------------
# Codeset "US-ASCII": description and from-Unicode data
# --------------------------------------------------------------------------

US_ASCII_MIBENUM = 3


def codeset():
    buf = bytearray(CS["kFixedSingle"])
    buf[CS["kSubstitution"]] = ord("?")
    buf[CS["kShiftOut"]] = 0
    buf[CS["kShiftIn"]] = 0
    buf[CS["kEol1"]] = 0
    buf[CS["kEol2"]] = 0
    buf[CS["kMaxBytes"]] = 1
    put16(buf, CS["kNumber"], US_ASCII_MIBENUM)
    for b in range(256):
        # Every byte is one character long: a length of 0 would stop the
        # navigation functions on that byte.
        buf[CS["kByteLength"] + b] = 1
        buf[CS["kUpper"] + b] = b - 0x20 if 0x61 <= b <= 0x7A else b
        buf[CS["kLower"] + b] = b + 0x20 if 0x41 <= b <= 0x5A else b
        put16(buf, CS["kToUnicode"] + 2 * b, b if b < 0x80 else 0xFFFD)
        # Bytes 0x80-0xFF are not characters of this codeset: type word 0.
        put32(buf, CS["kTypes"] + 4 * b, type_word(b) if b < 0x80 else 0)
    for page in range(256):
        e = CS["kPages"] + CS["kPageSize"] * page
        if page == 0:
            # Kind 0: U+0000-U+007F -> first data area byte (low byte & 0x7F).
            buf[e:e + 4] = bytes((0, 0x7F, 0x00, 0x7F))
        else:
            # low > high: nothing matches, every value gets the substitution byte.
            buf[e:e + 4] = bytes((0, 0x00, 0xFF, 0x00))
        put16(buf, e + 4, 0)
        put16(buf, e + 6, 0)
    put16(buf, CS["kFlags"], 0)             # ASCII family, not stateful
    # kVarStart .. kDecodeValues stay 0: a single-byte codeset has no
    # variable data and no decode tree.
    for ch, word in TYPE_EXAMPLES.items():
        got = get32(buf, CS["kTypes"] + 4 * ord(ch))
        if got != word:
            sys.exit(f"type word of {ch!r} is {got:#010x}, expected {word:#010x}")
    return buf


def codeset_table2():
    return bytearray(range(0x80))


# --------------------------------------------------------------------------
# Output
# --------------------------------------------------------------------------

def emit_array(name, data):
    lines = [f"static const uint8_t {name}[] = {{"]
    for i in range(0, len(data), 16):
        lines.append("    " + ", ".join(f"0x{b:02X}" for b in data[i:i + 16]) + ",")
    lines.append("};")
    return "\n".join(lines)


def render():
    tables = [
        ("kLanguage", "kLanguageData", language(), 'language "English"'),
        ("kTerritory", "kTerritoryData", territory(), 'territory "UnitedStates"'),
        ("kCodeset", "kCodesetData", codeset(), 'codeset "US-ASCII": description'),
        ("kCodesetTable2", "kCodesetTable2Data", codeset_table2(),
         'codeset "US-ASCII": from-Unicode first data area'),
    ]
    out = [
        "// Generated by tools/gen/gen_builtin.py; do not edit by hand.",
        f"// Regenerate from the repository root with:  {REGEN_COMMAND}",
        "//",
        "// The built-in locale in the part-file layouts of src/locale/layout.h.",
        "",
        '#include "locale/builtin.h"',
        "",
        "namespace lorvex::builtin {",
        "",
    ]
    for _, data_name, data, what in tables:
        out.append(f"// {what}, {len(data)} bytes")
        out.append(emit_array(data_name, data))
        out.append("")
    for obj, data_name, data, _ in tables:
        out.append(f"const Table {obj} = {{{data_name}, {len(data)}}};")
    out.append("")
    out.append("}  // namespace lorvex::builtin")
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    sys.exit(write_or_check(sys.argv, DEFAULT_OUT, render))
