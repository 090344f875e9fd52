#!/usr/bin/env python3
"""Links the program once more and compares: the same objects give the same bytes.  relink_test.py NINJA BUILD_DIR"""
import hashlib
import pathlib
import subprocess
import sys
import tempfile

NINJA, BUILD_DIR = sys.argv[1], pathlib.Path(sys.argv[2])
PROGRAM = "bin/nexlet.exe"


def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def main():
    commands = subprocess.run([NINJA, "-C", BUILD_DIR, "-t", "commands", "-s", PROGRAM], check=True, text=True,
                              capture_output=True).stdout.strip().splitlines()
    link = commands[-1]
    with tempfile.TemporaryDirectory(dir=BUILD_DIR) as folder:
        # The library of its exports is written beside it; everything else of the command stays.
        again = link.replace(PROGRAM, f"{folder}/nexlet.exe").replace(str(BUILD_DIR / PROGRAM), f"{folder}/nexlet.exe")
        again = again.replace("-Wl,--out-implib,", f"-Wl,--out-implib,{folder}/")
        again = again.replace(f"{BUILD_DIR}/{folder}", folder)
        pathlib.Path(folder, "host").mkdir()
        subprocess.run(again, shell=True, check=True, cwd=BUILD_DIR)
        built, relinked = digest(BUILD_DIR / PROGRAM), digest(pathlib.Path(folder, "nexlet.exe"))
    print(f"built    {built}\nrelinked {relinked}")
    sys.exit(0 if built == relinked else 1)


main()
