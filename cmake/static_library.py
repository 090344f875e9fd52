#!/usr/bin/env python3
"""Puts what the client library consists of into one archive, for programs that link it statically.
static_library.py LD OBJCOPY AR OUT FILE...

FILE are object files, all of which are taken, and archives, of which the linker chooses. Debug information stays out, so
that the archive tells nothing about the folders of the build."""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

LD, OBJCOPY, AR, OUT, *FILES = sys.argv[1:]


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout


def main():
    # The version resource is the library's own, not that of a program.
    files = [file for file in FILES if ".rc." not in file]
    with tempfile.TemporaryDirectory() as folder:
        folder = Path(folder)
        trace = output(LD, "-r", "--trace", "--trace", "-o", str(folder / "all.o"), *files).decode()
        members = []
        for line in trace.splitlines():
            archived = re.fullmatch(r"\((.*)\)(.*)", line)
            if not archived and line.endswith(".a"):
                continue
            data = output(AR, "p", *archived.groups()) if archived else Path(line).read_bytes()
            # Two folders have files of one name.
            member = folder / f"{len(members):03}_{archived[2] if archived else Path(line).name}"
            member.write_bytes(data)
            subprocess.run([OBJCOPY, "--strip-debug", member], check=True)
            members.append(member)
        Path(OUT).unlink(missing_ok=True)
        subprocess.run([AR, "rcsD", OUT, *members], check=True)


if __name__ == "__main__":
    main()
