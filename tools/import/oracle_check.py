#!/usr/bin/env python3
"""Compares the committed codeset sources data/codeset/*.txt with a converter
the importer does not read: ICU (libicuuc, through ctypes), or glibc's iconv
where ICU has no table for the codeset.

    python3 tools/import/oracle_check.py [NAME...] [--examples N]

For every codeset it reports, by kind, the places where the oracle disagrees
with the file:

  decode        a line's bytes decode to another value (or to nothing)
  encode        a round-trip or encode line's value encodes to other bytes
  extra-decode  the oracle decodes bytes that the file leaves undefined
  extra-encode  the oracle encodes a value that the file leaves unencodable
                (values that the oracle encodes to its own substitution
                character are not counted)

Differences are expected (see tools/import/README.md); the report is for a
person to read. Exit status is 0 unless the files cannot be read.
Python standard library only; needs libicuuc at run time.
"""

import argparse
import collections
import ctypes
import ctypes.util
import os
import re
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import import_codesets as imp  # noqa: E402  (converters and the codeset list)

ORACLES = {
    "US-ASCII": "icu:US-ASCII",
    "MS1250": "icu:windows-1250",
    "MS1251": "icu:windows-1251",
    "MS1252": "icu:windows-1252",
    "MS1253": "icu:windows-1253",
    "MS1254": "icu:windows-1254",
    "MS1255": "icu:windows-1255",
    "MS1256": "icu:windows-1256",
    "MS1257": "icu:windows-1257",
    "MS1258": "icu:windows-1258",
    "MS874": "icu:windows-874-2000",
    "MS932": "icu:windows-932",
    "MS936": "icu:windows-936-2000",
    "MS949": "icu:windows-949-2000",
    "MS950": "icu:windows-950-2000",
    "MS1361": "glibc:JOHAB",
    "UTF-8": "icu:UTF-8",
    "ISO8859-1": "icu:ISO-8859-1",
    "ISO8859-2": "icu:ISO-8859-2",
    "ISO8859-5": "icu:ISO-8859-5",
    "ISO8859-7": "icu:ISO-8859-7",
    "ISO8859-15": "icu:ISO-8859-15",
    "IBM037": "icu:ibm-37_P100-1995",
    "IBM939": "icu:ibm-939_P120-1999",
}


class IcuConverter:
    lib = None
    suffix = ""

    @classmethod
    def load(cls):
        if cls.lib is not None:
            return
        path = ctypes.util.find_library("icuuc")
        if not path:
            raise SystemExit("libicuuc not found (apt-get install libicu-dev)")
        cls.lib = ctypes.CDLL(path)
        m = re.search(r"\.so\.(\d+)", path)
        for suffix in ([f"_{m.group(1)}"] if m else []) + [""]:
            if hasattr(cls.lib, "ucnv_open" + suffix):
                cls.suffix = suffix
                break

    def fn(self, name, restype, argtypes):
        f = getattr(self.lib, name + self.suffix)
        f.restype = restype
        f.argtypes = argtypes
        return f

    def __init__(self, name):
        self.load()
        c_int_p = ctypes.POINTER(ctypes.c_int)
        vp = ctypes.c_void_p
        self._open = self.fn("ucnv_open", vp, [ctypes.c_char_p, c_int_p])
        self._to = self.fn("ucnv_toUChars", ctypes.c_int32,
                           [vp, vp, ctypes.c_int32, ctypes.c_char_p, ctypes.c_int32, c_int_p])
        self._from = self.fn("ucnv_fromUChars", ctypes.c_int32,
                             [vp, ctypes.c_char_p, ctypes.c_int32, vp, ctypes.c_int32, c_int_p])
        self._reset = self.fn("ucnv_reset", None, [vp])
        set_to = self.fn("ucnv_setToUCallBack", None, [vp, vp, vp, vp, vp, c_int_p])
        set_from = self.fn("ucnv_setFromUCallBack", None, [vp, vp, vp, vp, vp, c_int_p])
        get_name = self.fn("ucnv_getName", ctypes.c_char_p, [vp, c_int_p])
        err = ctypes.c_int(0)
        self.h = self._open(name.encode(), ctypes.byref(err))
        if err.value > 0:
            raise SystemExit(f"ICU has no converter {name}")
        # Stop at the first unmappable or illegal input instead of substituting.
        stop_to = getattr(self.lib, "UCNV_TO_U_CALLBACK_STOP" + self.suffix)
        stop_from = getattr(self.lib, "UCNV_FROM_U_CALLBACK_STOP" + self.suffix)
        set_to(self.h, ctypes.cast(stop_to, vp), None, None, None, ctypes.byref(err))
        set_from(self.h, ctypes.cast(stop_from, vp), None, None, None, ctypes.byref(err))
        self.label = "ICU " + get_name(self.h, ctypes.byref(err)).decode()
        self.ubuf = ctypes.create_string_buffer(64)
        self.bbuf = ctypes.create_string_buffer(64)

    def decode(self, data):
        self._reset(self.h)
        err = ctypes.c_int(0)
        n = self._to(self.h, self.ubuf, 32, bytes(data), len(data), ctypes.byref(err))
        if err.value > 0:
            return None
        return self.ubuf.raw[: 2 * n].decode("utf-16-le", "surrogatepass")

    def encode(self, text):
        self._reset(self.h)
        err = ctypes.c_int(0)
        units = text.encode("utf-16-le", "surrogatepass")
        n = self._from(self.h, self.bbuf, 64, units, len(units) // 2, ctypes.byref(err))
        if err.value > 0:
            return None
        return self.bbuf.raw[:n]


def oracle(tag):
    kind, name = tag.split(":", 1)
    if kind == "icu":
        return IcuConverter(name)
    conv = imp.GlibcCodec(name)
    return conv


def read_source(path):
    props, lines = {}, []
    in_map = False
    with open(path, encoding="utf-8") as f:
        for raw in f:
            text = raw.split("#", 1)[0].split()
            if not text:
                continue
            if not in_map:
                if text == ["map"]:
                    in_map = True
                else:
                    props.setdefault(text[0], []).append(" ".join(text[1:]))
                continue
            digits = text[0][2:]
            seq = bytes.fromhex(digits if len(digits) % 2 == 0 else "0" + digits)
            cp = int(text[1][2:], 16)
            lines.append((seq, cp, text[2] if len(text) > 2 else None))
    return props, lines


def compare(cs, path, conv, examples):
    props, lines = read_source(path)
    stateful = props.get("stateful") == ["yes"]
    so, si = (int(props["shift-out"][0], 16), int(props["shift-in"][0], 16)) if stateful else (0, 0)
    sub_bytes = set()

    def dec(seq):
        if stateful and len(seq) > 1:
            seq = bytes([so]) + seq + bytes([si])
        text = conv.decode(seq)
        return ord(text) if text and len(text) == 1 else None

    def enc(cp):
        out = conv.encode(chr(cp))
        if out and stateful and out[:1] == bytes([so]):
            out = out[1:-1] if out[-1:] == bytes([si]) else out[1:]
        return out or None

    found = collections.defaultdict(list)
    by_seq = {}
    by_cp = {}
    for seq, cp, direction in lines:
        if direction != "encode":
            by_seq[seq] = cp
        if direction != "decode":
            by_cp[cp] = seq
    for seq, cp, direction in lines:
        if direction != "encode":
            got = dec(seq)
            if got != cp:
                found["decode"].append(f"0x{seq.hex().upper()} U+{cp:04X}: oracle "
                                       + (f"U+{got:04X}" if got is not None else "undefined"))
    for cp, seq in by_cp.items():
        got = enc(cp)
        if got != seq:
            found["encode"].append(f"U+{cp:04X} 0x{seq.hex().upper()}: oracle "
                                   + (f"0x{got.hex().upper()}" if got else "unencodable"))

    # What the oracle has beyond the file.
    if "arithmetic" in props:
        candidates = [bytes([b]) for b in range(0x80)]
    elif stateful:
        candidates = [bytes([b]) for b in range(256) if b not in (so, si)]
        candidates += [bytes([a, b]) for a in range(256) for b in range(256)
                       if a not in (so, si) and b not in (so, si)]
    else:
        candidates = [bytes([b]) for b in range(256)]
        candidates += [bytes([a, b]) for a in range(0x80, 0x100) for b in range(256)
                       if dec(bytes([a])) is None]
    for seq in candidates:
        if seq in by_seq:
            continue
        got = dec(seq)
        if got is not None:
            found["extra-decode"].append(f"0x{seq.hex().upper()}: oracle U+{got:04X}")
    # The oracle's own substitution characters (SUB controls) are not mappings.
    for b in (0x1A, 0x3F, 0x7F):
        if dec(bytes([b])) == 0x1A:
            sub_bytes.add(bytes([b]))
    if "arithmetic" not in props:
        for cp in range(0x10000):
            if cp in imp.SURROGATES or cp in by_cp:
                continue
            got = enc(cp)
            if got is not None and got not in sub_bytes:
                found["extra-encode"].append(f"U+{cp:04X}: oracle 0x{got.hex().upper()}")

    summary = ", ".join(f"{k} {len(v)}" for k, v in sorted(found.items())) or "agrees"
    print(f"{cs.name:<11} vs {conv.label}: {summary}")
    for kind, items in sorted(found.items()):
        for item in items[:examples]:
            print(f"    {kind:<13} {item}")
        if len(items) > examples:
            print(f"    {kind:<13} ... {len(items) - examples} more")


def main(argv=None):
    ap = argparse.ArgumentParser(description="Compare data/codeset/ with ICU or glibc.")
    ap.add_argument("names", nargs="*")
    ap.add_argument("--examples", type=int, default=8, help="differences shown per kind")
    args = ap.parse_args(argv)
    for cs in imp.CODESETS:
        if args.names and cs.name not in args.names:
            continue
        path = os.path.join(imp.OUTPUT_DIR, imp.file_name(cs))
        compare(cs, path, oracle(ORACLES[cs.name]), args.examples)
    return 0


if __name__ == "__main__":
    sys.exit(main())
