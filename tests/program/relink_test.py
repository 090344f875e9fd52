#!/usr/bin/env python3
"""Links the program once more and compares: the same objects give the same bytes.  relink_test.py NINJA BUILD_DIR PROGRAM"""
import hashlib
import pathlib
import sys
import tempfile

from relink import relink

NINJA, BUILD_DIR, PROGRAM = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def main():
    with tempfile.TemporaryDirectory(dir=BUILD_DIR.parent) as folder:
        built, relinked = digest(BUILD_DIR / PROGRAM), digest(relink(NINJA, BUILD_DIR, PROGRAM, folder))
    print(f"built    {built}\nrelinked {relinked}")
    sys.exit(0 if built == relinked else 1)


main()
