#!/usr/bin/env python3
"""lx conv against glibc's iconv, and in constant memory.

usage: conv_vs_iconv.py LX DATA_DIR

For every codeset that iconv also knows, every character of the codeset's
source (each on its own line) is converted to UTF-8 by lx conv and by
iconv -c; wherever iconv converts a character, both must give the same bytes.
The UTF-8 text is then converted back by both, with the same rule.  The few
places where our data deliberately differs from glibc are listed below with
their reason.

Then a 48 MB file is converted and lx's peak memory must stay what it is for a
3 MB file: conversion goes through fixed-size buffers.
"""
import glob
import os
import re
import subprocess
import sys
import tempfile

ICONV_NAMES = {
    'US-ASCII': 'ANSI_X3.4-1968', 'MS1250': 'CP1250', 'MS1251': 'CP1251', 'MS1252': 'CP1252',
    'MS1253': 'CP1253', 'MS1254': 'CP1254', 'MS1255': 'CP1255', 'MS1256': 'CP1256',
    'MS1257': 'CP1257', 'MS1258': 'CP1258', 'MS874': 'CP874', 'MS932': 'CP932', 'MS936': 'CP936',
    'MS949': 'CP949', 'MS950': 'CP950', 'MS1361': 'JOHAB', 'ISO8859-1': 'ISO-8859-1',
    'ISO8859-2': 'ISO-8859-2', 'ISO8859-5': 'ISO-8859-5', 'ISO8859-7': 'ISO-8859-7',
    'ISO8859-15': 'ISO-8859-15', 'IBM037': 'IBM037', 'IBM939': 'IBM939',
}

# (codeset, source bytes): where our sources choose otherwise than glibc.
KNOWN = {
    # Johab keeps ASCII intact at 0x5C, as Python's codec does; glibc has the won sign.
    ('MS1361', b'\x5c'),
}
# (codeset, character): where our sources encode otherwise than glibc.
KNOWN_ENCODE = {
    # Windows and ICU write these box-drawing characters as 0xF9F9, 0xF9E9-0xF9EB.
    ('MS950', '\u2550'), ('MS950', '\u255e'), ('MS950', '\u256a'), ('MS950', '\u2561'),
    # IBM's table keeps backslash and tilde round-trip; glibc writes yen and overline.
    ('IBM939', '\\'), ('IBM939', '~'),
}


def run(cmd, data_path):
    return subprocess.run(cmd + [data_path], capture_output=True, check=False).stdout


def characters(source_text):
    chars, in_map = [], False
    for line in source_text.splitlines():
        line = line.split('#')[0].strip()
        if line == 'map':
            in_map = True
            continue
        fields = line.split()
        if in_map and len(fields) == 2:  # round-trip lines only
            digits = fields[0][2:]
            chars.append(bytes.fromhex(digits if len(digits) % 2 == 0 else '0' + digits))
    return chars


def compare(lx, data_dir, work):
    failures = 0
    for path in sorted(glob.glob(os.path.join(data_dir, 'codeset', '*.txt'))):
        text = open(path, encoding='utf-8').read()
        name = re.search(r'^name\s+(\S+)', text, re.M).group(1)
        if name not in ICONV_NAMES:
            continue
        stateful = re.search(r'^stateful\s+yes', text, re.M) is not None
        sep = b'\x25' if re.search(r'^family\s+ebcdic', text, re.M) else b'\n'
        chars = [c for c in characters(text) if c not in (b'\x00', sep)]
        wrap = (lambda c: b'\x0e' + c + b'\x0f' if len(c) == 2 else c) if stateful else (lambda c: c)
        src = os.path.join(work, 'src.bin')
        with open(src, 'wb') as f:
            f.write(b''.join(wrap(c) + sep for c in chars))
        ours = run([lx, 'conv', '-f', name, '-t', 'UTF-8'], src).split(b'\n')
        theirs = run(['iconv', '-c', '-f', ICONV_NAMES[name], '-t', 'UTF-8'], src).split(b'\n')
        diffs = [(c.hex(), a, b) for c, a, b in zip(chars, ours, theirs)
                 if b and a != b and (name, c) not in KNOWN]
        if len(ours) != len(theirs) or diffs:
            print(f'{name} -> UTF-8: {len(diffs)} characters differ, e.g. {diffs[:3]}')
            failures += 1
        # Back from UTF-8, on the characters iconv converted the same way.
        same = [a for a, b in zip(ours, theirs)
                if a == b and b and (name, a.decode('utf-8')) not in KNOWN_ENCODE]
        utf8 = os.path.join(work, 'utf8.bin')
        with open(utf8, 'wb') as f:
            f.write(b''.join(a + b'\n' for a in same))
        back_ours = run([lx, 'conv', '-f', 'UTF-8', '-t', name], utf8)
        back_theirs = run(['iconv', '-c', '-f', 'UTF-8', '-t', ICONV_NAMES[name]], utf8)
        if back_ours != back_theirs:
            print(f'UTF-8 -> {name}: outputs differ ({len(back_ours)} and {len(back_theirs)} bytes)')
            failures += 1
        print(f'{name}: {len(chars)} characters compared both ways')
    return failures


def peak_kib(cmd):
    with open(os.devnull, 'wb') as null:
        proc = subprocess.Popen(cmd, stdout=null)
        _, status, usage = os.wait4(proc.pid, 0)
    if status != 0:
        raise SystemExit(f'{cmd} failed')
    return usage.ru_maxrss


def constant_memory(lx, work):
    sample = 'Zwölf Boxkämpfer jagen Viktor quer über den großen Sylter Deich. 12,50 €\n'.encode('cp1252')
    small, large = os.path.join(work, 'small.txt'), os.path.join(work, 'large.txt')
    with open(small, 'wb') as f:
        f.write(sample * (3 * 2**20 // len(sample)))
    with open(large, 'wb') as f:
        for _ in range(16):
            f.write(sample * (3 * 2**20 // len(sample)))
    a = peak_kib([lx, 'conv', '-f', 'MS1252', '-t', 'UTF-8', small])
    b = peak_kib([lx, 'conv', '-f', 'MS1252', '-t', 'UTF-8', large])
    print(f'peak memory: {a} KiB for 3 MB, {b} KiB for 48 MB')
    # The input alone is 45 MB larger; allow a little noise.
    return 0 if b < a + 2048 else 1


def main():
    lx, data_dir = sys.argv[1], sys.argv[2]
    with tempfile.TemporaryDirectory() as work:
        failures = compare(lx, data_dir, work) + constant_memory(lx, work)
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
