#!/usr/bin/env python3
"""Makes an archive one object whose inline functions have names of their own.
own_copies.py LD NM OBJCOPY AR ARCHIVE

Of an inline function or a template the linker takes one copy for the whole program. Where one part of a program is compiled
for ThreadSanitizer and another is not, that copy would be either blind to the races of the one, or a false order of
threads by the other. Data stay common."""
import subprocess
import sys
import tempfile
from pathlib import Path

LD, NM, OBJCOPY, AR, ARCHIVE = sys.argv[1:]


def main():
    with tempfile.TemporaryDirectory() as folder:
        whole = Path(folder) / "whole.o"
        subprocess.run([LD, "-r", "-o", whole, "--whole-archive", ARCHIVE], check=True)
        lines = subprocess.run([NM, "--defined-only", "--extern-only", whole], check=True, stdout=subprocess.PIPE,
                               text=True).stdout.splitlines()
        # W is a weak function, V weak data.
        weak = sorted({line.split()[2] for line in lines if line.split()[1] == "W"})
        names = Path(folder) / "names"
        names.write_text("".join(f"{name} unwatched_{name}\n" for name in weak))
        own = Path(folder) / "own.o"
        subprocess.run([OBJCOPY, f"--redefine-syms={names}", whole, own], check=True)
        Path(ARCHIVE).unlink()
        subprocess.run([AR, "rcsD", ARCHIVE, own], check=True)


if __name__ == "__main__":
    main()
