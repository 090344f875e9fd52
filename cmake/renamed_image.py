#!/usr/bin/env python3
"""Makes another copy of some archives' code and data, under other names, so that one program holds them twice.
renamed_image.py LD NM OBJCOPY PREFIX OUT ARCHIVE...

On the simulated machine all processes are in one address space. A program that is started again needs static objects
that are new, and two programs may use one name for two things. Names that the compiler's run time looks for stay, and
those of the caller's library."""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

LD, NM, OBJCOPY, PREFIX, OUT, *ARCHIVES = sys.argv[1:]
KEPT = re.compile(r"_*(asan|sancov|tsan|ubsan)[._]|DW\.ref\.|nexlet_")


def main():
    with tempfile.TemporaryDirectory() as folder:
        whole = Path(folder) / "whole.o"
        subprocess.run([LD, "-r", "-o", whole, "--whole-archive", *ARCHIVES], check=True)
        symbols = subprocess.run([NM, "--defined-only", "--extern-only", "--format=just-symbols", whole], check=True,
                                 stdout=subprocess.PIPE, text=True).stdout.split()
        names = Path(folder) / "names"
        names.write_text("".join(f"{one} {PREFIX}{one}\n" for one in sorted(set(symbols)) if not KEPT.match(one)))
        subprocess.run([OBJCOPY, f"--redefine-syms={names}", whole, OUT], check=True)


if __name__ == "__main__":
    main()
