"""The command line the generators share: write the generated file, or with
--check compare it with what the generator would write.

    python3 tools/gen/gen_X.py [--check] [OUTPUT]
"""

import sys


def write_or_check(argv, default_out, render):
    """Returns the exit status: 1 when --check finds the file different."""
    check = "--check" in argv[1:]
    args = [a for a in argv[1:] if a != "--check"]
    path = args[0] if args else default_out
    text = render()
    if check:
        with open(path, encoding="utf-8") as f:
            if f.read() != text:
                print(f"{path} differs from what {argv[0]} writes", file=sys.stderr)
                return 1
        return 0
    with open(path, "w", encoding="utf-8", newline="\n") as f:
        f.write(text)
    return 0
