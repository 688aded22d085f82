#!/usr/bin/env python3
"""Writes the codeset sources data/codeset/*.txt from the converters of this
machine: Python's codecs and glibc's iconv (through ctypes).

Run from the repository root:

    python3 tools/import/import_codesets.py            # write data/codeset/
    python3 tools/import/import_codesets.py --check    # compare, write nothing

Each codeset's whole repertoire is derived: every byte of a single-byte
codeset, every byte and every pair with a lead byte 0x80-0xFF of a double-byte
codeset, every byte in the initial state and every pair in the shifted state
of a stateful codeset. Every BMP code point is then encoded, and the result
classifies the decoded sequences:

- the sequence the encoder writes for a code point, when it decodes back to
  that code point, is a round-trip line;
- other sequences that decode to the same code point are `decode` lines;
- a code point whose bytes decode to a different code point is an `encode`
  (best-fit) line.

Sequences that decode to more than one code point, or to a value above
U+FFFF, are left out and named in a comment. Hand corrections live in
OVERRIDES below, each with its reason; nothing else is edited by hand.

Python standard library only.
"""

import argparse
import codecs
import ctypes
import ctypes.util
import errno
import os
import sys
import textwrap
from dataclasses import dataclass, field

SCRIPT = "tools/import/import_codesets.py"
REGENERATE = "python3 tools/import/import_codesets.py"
REPO_ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
OUTPUT_DIR = os.path.join(REPO_ROOT, "data", "codeset")

SURROGATES = range(0xD800, 0xE000)


# ---------------------------------------------------------------------------
# Converters


class PythonCodec:
    """A codec of Python's standard library."""

    def __init__(self, name):
        self.name = name
        codecs.lookup(name)  # fails early for an unknown name
        self.label = f"Python codec {name}"
        self.tag = f"python:{name}"

    def decode(self, data):
        try:
            return data.decode(self.name)
        except UnicodeDecodeError:
            return None

    def encode(self, text):
        try:
            return text.encode(self.name)
        except UnicodeEncodeError:
            return None

    def holds(self, byte):
        """True if the incremental decoder keeps the byte back as the start
        of a longer sequence."""
        dec = codecs.getincrementaldecoder(self.name)()
        try:
            return dec.decode(bytes([byte]), final=False) == ""
        except UnicodeDecodeError:
            return False


class _Iconv:
    """The few libc entry points of iconv(3)."""

    lib = None

    @classmethod
    def load(cls):
        if cls.lib is None:
            lib = ctypes.CDLL(ctypes.util.find_library("c"), use_errno=True)
            lib.iconv_open.restype = ctypes.c_void_p
            lib.iconv_open.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
            lib.iconv.restype = ctypes.c_size_t
            pp = ctypes.POINTER(ctypes.c_char_p)
            ps = ctypes.POINTER(ctypes.c_size_t)
            lib.iconv.argtypes = [ctypes.c_void_p, pp, ps, pp, ps]
            lib.iconv_close.argtypes = [ctypes.c_void_p]
            cls.lib = lib
        return cls.lib


class _IconvHandle:
    OUT = 64
    FAILED = ctypes.c_size_t(-1).value

    def __init__(self, tocode, fromcode):
        self.lib = _Iconv.load()
        handle = self.lib.iconv_open(tocode.encode(), fromcode.encode())
        if handle is None or handle == ctypes.c_void_p(-1).value:
            raise OSError(f"iconv cannot convert {fromcode} to {tocode}")
        self.handle = handle
        self.out = ctypes.create_string_buffer(self.OUT)

    def __call__(self, data):
        """Converts data from the initial state and returns (bytes, error),
        error being None, 'EILSEQ' (invalid input) or 'EINVAL' (input ends
        inside a character)."""
        lib = self.lib
        lib.iconv(self.handle, None, None, None, None)
        inbuf = ctypes.create_string_buffer(bytes(data), len(data))
        inp = ctypes.cast(inbuf, ctypes.c_char_p)
        inleft = ctypes.c_size_t(len(data))
        outp = ctypes.cast(self.out, ctypes.c_char_p)
        outleft = ctypes.c_size_t(self.OUT)
        r = lib.iconv(self.handle, ctypes.byref(inp), ctypes.byref(inleft),
                      ctypes.byref(outp), ctypes.byref(outleft))
        error = None
        if r == self.FAILED:
            code = ctypes.get_errno()
            error = errno.errorcode.get(code, str(code))
        else:
            # Return to the initial state (writes a final shift-in, if any).
            lib.iconv(self.handle, None, None, ctypes.byref(outp), ctypes.byref(outleft))
        return self.out.raw[: self.OUT - outleft.value], error


class GlibcCodec:
    """A converter of glibc's iconv."""

    def __init__(self, name):
        self.name = name
        self.label = f"glibc iconv {name}"
        self.tag = f"glibc:{name}"
        self._dec = _IconvHandle("UTF-32LE", name)
        self._enc = _IconvHandle(name, "UTF-32LE")

    def decode(self, data):
        out, error = self._dec(data)
        if error is not None:
            return None
        return out.decode("utf-32-le")

    def encode(self, text):
        out, error = self._enc(text.encode("utf-32-le"))
        if error is not None:
            return None
        return out

    def holds(self, byte):
        """True if the converter reports the byte alone as an incomplete
        character."""
        return self._dec(bytes([byte]))[1] == "EINVAL"


# ---------------------------------------------------------------------------
# Codesets


@dataclass
class Codeset:
    name: str
    part: int
    number: int
    kind: str  # 'single', 'double', 'stateful' or 'utf-8'
    source: str  # 'python:NAME' or 'glibc:NAME'
    family: str = "ascii"
    substitution: int = 0x3F
    eol: tuple = ()
    shift: tuple = ()  # (shift-out, shift-in) of a stateful codeset
    # Converters that must all hold a byte back as the first of two before
    # it counts as a lead byte when no assigned pair starts with it.
    lead_probes: tuple = ()
    note: str = ""


CODESETS = [
    Codeset("US-ASCII", 1, 3, "single", "python:ascii"),
    Codeset("MS1250", 2250, 2250, "single", "python:cp1250"),
    Codeset("MS1251", 2251, 2251, "single", "python:cp1251"),
    Codeset("MS1252", 2252, 2252, "single", "python:cp1252"),
    Codeset("MS1253", 2253, 2253, "single", "python:cp1253"),
    Codeset("MS1254", 2254, 2254, "single", "python:cp1254"),
    Codeset("MS1255", 2255, 2255, "single", "python:cp1255"),
    Codeset("MS1256", 2256, 2256, "single", "python:cp1256"),
    Codeset("MS1257", 2257, 2257, "single", "python:cp1257"),
    Codeset("MS1258", 2258, 2258, "single", "python:cp1258"),
    Codeset("MS874", 874, 2109, "single", "python:cp874"),
    Codeset("MS932", 2024, 2024, "double", "glibc:CP932",
            lead_probes=("glibc:CP932", "python:cp932"),
            note="glibc's CP932 rather than Python's cp932: they decode the same "
                 "pairs, but Python encodes the NEC-selected IBM extensions "
                 "(0xED40-0xEEFC) where Windows and glibc write the IBM extensions "
                 "(0xFA40-0xFC4B). The one-byte private-use values that Python "
                 "decodes (0xA0, 0xFD-0xFF) are left out."),
    Codeset("MS936", 936, 113, "double", "glibc:CP936",
            lead_probes=("glibc:CP936",),
            note="glibc's CP936 rather than Python's gbk: they agree except that "
                 "glibc decodes and encodes 0x80 as U+20AC, as Windows does."),
    Codeset("MS949", 949, 949, "double", "python:cp949",
            lead_probes=("python:cp949", "glibc:CP949")),
    Codeset("MS950", 950, 2026, "double", "glibc:CP950",
            lead_probes=("glibc:CP950",),
            note="glibc's CP950 rather than Python's cp950: Python decodes "
                 "0xC6A1-0xC7F2 as kana and symbols of a Big5 extension, where "
                 "Windows and glibc decode 0xC6A1-0xC8FE as the private-use "
                 "values U+F6B1-U+F848; glibc also passes 0x80 through as U+0080, "
                 "as Windows does."),
    Codeset("MS1361", 1361, 1361, "double", "python:johab",
            lead_probes=("python:johab", "glibc:JOHAB")),
    Codeset("UTF-8", 106, 106, "utf-8", "python:utf_8"),
    Codeset("ISO8859-1", 4, 4, "single", "python:iso8859_1"),
    Codeset("ISO8859-2", 5, 5, "single", "python:iso8859_2"),
    Codeset("ISO8859-5", 8, 8, "single", "python:iso8859_5"),
    Codeset("ISO8859-7", 10, 10, "single", "python:iso8859_7"),
    Codeset("ISO8859-15", 111, 111, "single", "python:iso8859_15"),
    Codeset("IBM037", 2028, 2028, "single", "python:cp037",
            family="ebcdic", substitution=0x6F, eol=(0x15,)),
    Codeset("IBM939", 939, 939, "stateful", "glibc:IBM939",
            family="ebcdic", substitution=0x6F, eol=(0x15,), shift=(0x0E, 0x0F)),
]


# ---------------------------------------------------------------------------
# Hand corrections


@dataclass
class Override:
    codeset: str
    kind: str
    value: tuple
    reason: str


# Kinds:
#   'c1'     (first, last): each byte of the range that the converter leaves
#            undefined, and that is not a lead byte, decodes to the code point
#            of the same value (a C1 control) and encodes back.
#   'prefer' (bytes, ...): of several sequences that decode to one code
#            point, the one listed is written when encoding; the others become
#            decode lines.
#   'lead'   (first, last, length): byte-length entries for bytes that no
#            mapped sequence starts.
_WINDOWS_C1 = ("Windows passes the bytes 0x80-0x9F that its code page leaves "
               "unassigned through as the C1 controls of the same value, in both "
               "directions; ICU's Windows table agrees. The converter leaves "
               "them undefined.")

OVERRIDES = [
    *[Override(name, "c1", (0x80, 0x9F), _WINDOWS_C1)
      for name in ("MS1250", "MS1251", "MS1252", "MS1253", "MS1254", "MS1255",
                   "MS1256", "MS1257", "MS1258", "MS874")],
    Override("MS932", "c1", (0x80, 0x80),
             "Windows passes 0x80 through as U+0080 in both directions, and so "
             "does Python's cp932; glibc leaves it undefined."),
    Override("MS949", "c1", (0x80, 0x80), _WINDOWS_C1),
    Override("MS949", "lead", (0xC9, 0xC9, 2),
             "0xC9A1-0xC9FE is a user-defined row of KS X 1001 that neither "
             "converter maps; Windows treats 0xC9 as a lead byte, so a "
             "user-defined character stays one character."),
    Override("MS949", "lead", (0xFE, 0xFE, 2),
             "0xFEA1-0xFEFE is a user-defined row of KS X 1001 that neither "
             "converter maps; Windows treats 0xFE as a lead byte."),
    Override("MS950", "lead", (0x81, 0xA0, 2),
             "0x8140-0xA0FE is a user-defined area that glibc does not map; "
             "Windows treats 0x81-0xA0 as lead bytes."),
    Override("MS950", "lead", (0xFA, 0xFE, 2),
             "0xFA40-0xFEFE is a user-defined area that glibc does not map; "
             "Windows treats 0xFA-0xFE as lead bytes."),
    Override("MS950", "prefer", (b"\xF9\xF9", b"\xF9\xE9", b"\xF9\xEA", b"\xF9\xEB"),
             "Windows encodes U+2550, U+255E, U+256A and U+2561 as 0xF9F9, "
             "0xF9E9, 0xF9EA and 0xF9EB (the ETEN box-drawing row) and only "
             "decodes their older duplicates 0xA2A4-0xA2A7; ICU's windows-950 "
             "agrees. glibc and Python write 0xA2A4-0xA2A7."),
    Override("IBM939", "prefer", (b"\xE0", b"\xA1"),
             "glibc decodes 0xE0 as U+005C and 0xA1 as U+007E but encodes them "
             "as 0xB2 (yen sign) and 0xA0 (overline), so backslash and tilde "
             "would not survive a round trip; IBM's table (ICU's ibm-939) "
             "round-trips 0xE0 and 0xA1."),
    Override("MS1361", "lead", (0xD8, 0xD8, 2),
             "0xD8 leads the user-defined area of Johab, which neither "
             "converter maps; Windows treats it as a lead byte."),
]


# ---------------------------------------------------------------------------
# Derivation


_converters = {}


def converter(tag):
    if tag not in _converters:
        kind, name = tag.split(":", 1)
        _converters[tag] = PythonCodec(name) if kind == "python" else GlibcCodec(name)
    return _converters[tag]


@dataclass
class Line:
    seq: bytes
    cp: int
    direction: str = None  # None (round trip), 'decode' or 'encode'
    comment: str = None


@dataclass
class Table:
    lines: list = field(default_factory=list)
    notes: list = field(default_factory=list)  # (bytes, text) left-out sequences
    leads: list = field(default_factory=list)  # (first, last, length, reason)
    header: list = field(default_factory=list)  # comments for the file's head


def cps(text):
    return " ".join(f"U+{ord(c):04X}" for c in text)


def decode_all(cs, conv, table):
    """Returns {bytes: code point} for the whole repertoire."""
    decoded = {}

    def take(seq, text):
        if text is None or text == "":
            return
        if len(text) > 1:
            table.notes.append((seq, f"decodes to {cps(text)}, more than one code point: left out"))
        elif ord(text) > 0xFFFF:
            table.notes.append((seq, f"decodes to {cps(text)}, beyond the BMP: left out"))
        else:
            decoded[seq] = ord(text)

    if cs.kind == "utf-8":
        for b in range(0x80):
            take(bytes([b]), conv.decode(bytes([b])))
        return decoded

    if cs.kind == "stateful":
        so, si = cs.shift
        for b in range(256):
            if b in cs.shift:
                continue
            take(bytes([b]), conv.decode(bytes([b])))
        for lead in range(256):
            for trail in range(256):
                if lead in cs.shift or trail in cs.shift:
                    continue
                seq = bytes([lead, trail])
                take(seq, conv.decode(bytes([so]) + seq + bytes([si])))
        return decoded

    for b in range(256):
        take(bytes([b]), conv.decode(bytes([b])))
    if cs.kind == "double":
        for lead in range(0x80, 0x100):
            first = conv.decode(bytes([lead]))
            single = bytes([lead]) in decoded
            for trail in range(256):
                seq = bytes([lead, trail])
                text = conv.decode(seq)
                if text is None or text == "":
                    continue
                # A pair that decodes as two one-byte characters is not a
                # character of its own.
                if first and text == first + (conv.decode(bytes([trail])) or "\uFFFF"):
                    continue
                if single:
                    raise SystemExit(f"{cs.name}: 0x{lead:02X} is a character and "
                                     f"starts the pair 0x{seq.hex().upper()}")
                take(seq, text)
    return decoded


def encode_one(cs, conv, cp):
    out = conv.encode(chr(cp))
    if out is None or out == b"":
        return None
    if cs.kind == "stateful":
        so, si = cs.shift
        if out[:1] == bytes([so]):
            if out[-1:] != bytes([si]):
                raise SystemExit(f"{cs.name}: U+{cp:04X} encodes to {out.hex()}, no shift-in")
            out = out[1:-1]
    return out


def derive(cs):
    conv = converter(cs.source)
    table = Table()
    decoded = decode_all(cs, conv, table)

    round_trip = {}  # bytes -> code point
    encode_only = {}  # code point -> bytes
    substituted = []  # code points the converter writes as its SUB character
    if cs.kind == "utf-8":
        for seq, cp in decoded.items():
            if encode_one(cs, conv, cp) != seq:
                raise SystemExit(f"{cs.name}: U+{cp:04X} does not encode to {seq.hex()}")
            round_trip[seq] = cp
    else:
        for cp in range(0x10000):
            if cp in SURROGATES:
                continue
            seq = encode_one(cs, conv, cp)
            if seq is None:
                continue
            back = decoded.get(seq)
            if back == cp:
                round_trip[seq] = cp
            elif back == 0x1A:
                # The converter's own substitution (the SUB control), not a
                # best fit: such values take this codeset's substitution byte.
                substituted.append(cp)
            elif back is not None:
                encode_only[cp] = seq
            else:
                table.notes.append((seq, f"U+{cp:04X} encodes to bytes that decode to no "
                                         f"single character: left out"))
    if substituted:
        table.header.append(
            f"{len(substituted)} code points that {conv.label} encodes as its SUB "
            f"character are left out (they take the substitution byte): "
            + ", ".join(f"U+{a:04X}" if a == b else f"U+{a:04X}-U+{b:04X}"
                        for a, b in ranges(substituted)) + ".")

    corrected = set()  # bytes of lines set by OVERRIDES
    for ov in OVERRIDES:
        if ov.codeset != cs.name:
            continue
        if ov.kind == "c1":
            first, last = ov.value
            leads = {seq[0] for seq in decoded if len(seq) > 1}
            encodable = set(round_trip.values()) | set(encode_only)
            for b in range(first, last + 1):
                seq = bytes([b])
                if seq in decoded or b in leads:
                    continue
                if b in encodable:
                    raise SystemExit(f"{cs.name}: U+{b:04X} is already encodable")
                decoded[seq] = round_trip[seq] = b
                corrected.add(seq)
        elif ov.kind == "prefer":
            for seq in ov.value:
                cp = decoded.get(seq)
                if cp is None or seq in round_trip:
                    raise SystemExit(f"{cs.name}: nothing to prefer at 0x{seq.hex()}")
                for old in [s for s, c in round_trip.items() if c == cp]:
                    del round_trip[old]
                encode_only.pop(cp, None)
                round_trip[seq] = cp
                corrected.add(seq)
        elif ov.kind == "lead":
            first, last, length = ov.value
            table.leads.append((first, last, length, "hand correction, see OVERRIDES"))
        else:
            raise SystemExit(f"unknown override kind {ov.kind}")

    note = "hand correction, see OVERRIDES"
    lines = []
    for seq, cp in decoded.items():
        lines.append(Line(seq, cp, None if seq in round_trip else "decode",
                          note if seq in corrected else None))
    for cp, seq in encode_only.items():
        lines.append(Line(seq, cp, "encode"))

    order = {None: 0, "decode": 1, "encode": 2}
    lines.sort(key=lambda l: (len(l.seq) if cs.kind == "stateful" else 0, l.seq,
                              order[l.direction], l.cp))
    table.lines = lines
    table.notes.sort()

    if cs.kind == "double":
        mapped_leads = {l.seq[0] for l in lines if len(l.seq) == 2}
        singles = {l.seq[0] for l in lines if len(l.seq) == 1}
        if mapped_leads & singles:
            raise SystemExit(f"{cs.name}: bytes both single and lead: {sorted(mapped_leads & singles)}")
        probes = [converter(tag) for tag in cs.lead_probes]
        held = [b for b in range(0x80, 0x100)
                if b not in mapped_leads and b not in singles and probes
                and all(p.holds(b) for p in probes)]
        for first, last in ranges(held):
            table.leads.append((first, last, 2, "held back as the first of two, no character assigned"))
        for first, last, length, _ in table.leads:
            clash = set(range(first, last + 1)) & (singles | mapped_leads)
            if clash:
                raise SystemExit(f"{cs.name}: lead line for bytes the map shows: {sorted(clash)}")
        table.leads.sort()
    elif cs.kind == "utf-8":
        table.leads = [(0xC0, 0xDF, 2, None), (0xE0, 0xEF, 3, None), (0xF0, 0xF7, 4, None)]
    return table


def ranges(values):
    out = []
    for v in sorted(values):
        if out and out[-1][1] == v - 1:
            out[-1][1] = v
        else:
            out.append([v, v])
    return [tuple(r) for r in out]


# ---------------------------------------------------------------------------
# Output


def check_properties(cs, table):
    """The properties the file states must be true of the map."""
    rt = {l.seq: l.cp for l in table.lines if l.direction is None}
    enc = {l.cp: l.seq for l in table.lines if l.direction != "decode"}
    if cs.family == "ascii":
        digits, minus = range(0x30, 0x3A), 0x2D
    else:
        digits, minus = range(0xF0, 0xFA), 0x60
    for b in list(digits) + [minus]:
        want = 0x30 + b - digits[0] if b != minus else 0x2D
        if rt.get(bytes([b])) != want:
            raise SystemExit(f"{cs.name}: not {cs.family} family: 0x{b:02X} -> {rt.get(bytes([b]))}")
    if enc.get(0x3F) != bytes([cs.substitution]):
        raise SystemExit(f"{cs.name}: '?' does not encode to the substitution byte "
                         f"0x{cs.substitution:02X}")
    for line in table.lines:
        # A packed multibyte code cannot hold a zero byte.
        if len(line.seq) > 1 and 0 in line.seq:
            raise SystemExit(f"{cs.name}: 0x{line.seq.hex()} holds a zero byte")
    if cs.shift and any(s >= 0x80 for s in cs.shift):
        raise SystemExit(f"{cs.name}: shift bytes must be below 0x80")


def render(cs, table):
    conv = converter(cs.source)
    counts = {None: 0, "decode": 0, "encode": 0}
    for line in table.lines:
        counts[line.direction] += 1
    longest = max(len(l.seq) for l in table.lines)
    max_bytes = 4 if cs.kind == "utf-8" else longest
    width = 2 + 2 * longest

    out = [f"# Generated by {SCRIPT} from {conv.label}; do not edit.",
           f"# Regenerate from the repository root: {REGENERATE}"]

    def comment(text):
        out.extend(textwrap.wrap(text, 79, initial_indent="# ", subsequent_indent="# ",
                                 break_on_hyphens=False))

    comment(f"{counts[None]} round-trip, {counts['decode']} decode-only and "
            f"{counts['encode']} encode-only (best-fit) lines.")
    if cs.note:
        comment(cs.note)
    if cs.kind == "utf-8":
        comment("Multibyte characters are decoded and encoded arithmetically; the "
                "map lists the one-byte characters.")
    if cs.kind == "stateful":
        comment(f"Two-byte lines are the characters of the shifted state (after "
                f"0x{cs.shift[0]:02X}, until 0x{cs.shift[1]:02X}); the shift bytes "
                f"themselves have no line.")
    for text in table.header:
        comment(text)
    for ov in OVERRIDES:
        if ov.codeset == cs.name:
            comment(f"Hand correction ({ov.kind} {fmt_override(ov)}): {ov.reason}")
    out.append("")

    def prop(key, value):
        out.append(f"{key:<13} {value}")

    prop("name", cs.name)
    prop("part", cs.part)
    prop("number", cs.number)
    prop("max-bytes", max_bytes)
    prop("substitution", f"0x{cs.substitution:02X}")
    prop("family", cs.family)
    prop("stateful", "yes" if cs.kind == "stateful" else "no")
    if cs.kind == "stateful":
        prop("shift-out", f"0x{cs.shift[0]:02X}")
        prop("shift-in", f"0x{cs.shift[1]:02X}")
    prop("eol", " ".join(f"0x{b:02X}" for b in cs.eol) if cs.eol else "none")
    if cs.kind == "utf-8":
        prop("arithmetic", "utf-8")
    for first, last, length, reason in table.leads:
        span = f"0x{first:02X}" if first == last else f"0x{first:02X}-0x{last:02X}"
        text = f"{span} {length}"
        out.append(f"{'lead':<13} {text:<12}  # {reason}" if reason else f"{'lead':<13} {text}")
    prop("source", conv.tag)
    out.append("")
    out.append("map")

    def key(seq):
        return (len(seq) if cs.kind == "stateful" else 0, seq)

    entries = [(key(seq), 0, f"# 0x{seq.hex().upper()} {text}") for seq, text in table.notes]
    for i, line in enumerate(table.lines):
        text = f"{'0x' + line.seq.hex().upper():<{width}}  U+{line.cp:04X}"
        if line.direction:
            text += f"  {line.direction}"
        if line.comment:
            text += f"  # {line.comment}"
        entries.append((key(line.seq), 1 + i, text))
    out.extend(text for _, _, text in sorted(entries))
    return "\n".join(out) + "\n"


def fmt_override(ov):
    if ov.kind == "prefer":
        return " ".join(f"0x{seq.hex().upper()}" for seq in ov.value)
    first, last = ov.value[:2]
    span = f"0x{first:02X}" if first == last else f"0x{first:02X}-0x{last:02X}"
    return span + "".join(f" {v}" for v in ov.value[2:])


def file_name(cs):
    return cs.name.lower() + ".txt"


def build(names=None):
    files = {}
    stats = {}
    for cs in CODESETS:
        if names and cs.name not in names:
            continue
        table = derive(cs)
        check_properties(cs, table)
        files[file_name(cs)] = render(cs, table)
        stats[cs.name] = tuple(sum(1 for l in table.lines if l.direction == d)
                               for d in (None, "decode", "encode"))
    return files, stats


def main(argv=None):
    ap = argparse.ArgumentParser(description="Write data/codeset/*.txt from Python's codecs and glibc's iconv.")
    ap.add_argument("--check", action="store_true",
                    help="write nothing; exit 1 if data/codeset/ differs from what would be written")
    ap.add_argument("--output", default=OUTPUT_DIR, help="directory to write (default: data/codeset)")
    ap.add_argument("names", nargs="*", help="codeset names (default: all)")
    args = ap.parse_args(argv)

    unknown = set(args.names) - {cs.name for cs in CODESETS}
    if unknown:
        ap.error(f"unknown codeset: {', '.join(sorted(unknown))}")
    files, stats = build(args.names)

    if args.check:
        differ = []
        for name, text in sorted(files.items()):
            path = os.path.join(args.output, name)
            try:
                with open(path, encoding="utf-8", newline="") as f:
                    if f.read() != text:
                        differ.append(f"{name}: differs")
            except FileNotFoundError:
                differ.append(f"{name}: missing")
        if not args.names and os.path.isdir(args.output):
            for name in sorted(os.listdir(args.output)):
                if name.endswith(".txt") and name not in files:
                    differ.append(f"{name}: not written by the importer")
        for d in differ:
            print(f"{os.path.relpath(args.output)}/{d}", file=sys.stderr)
        if differ:
            print(f"run: {REGENERATE}", file=sys.stderr)
            return 1
        print(f"{len(files)} codeset sources up to date")
        return 0

    os.makedirs(args.output, exist_ok=True)
    for name, text in sorted(files.items()):
        with open(os.path.join(args.output, name), "w", encoding="utf-8", newline="\n") as f:
            f.write(text)
    for cs_name, (rt, dec, enc) in stats.items():
        print(f"{cs_name:<11} {rt:6} round-trip {dec:4} decode {enc:4} encode")
    return 0


if __name__ == "__main__":
    sys.exit(main())
