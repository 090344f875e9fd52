#!/usr/bin/env python3
"""The doctor where the disk of the log folder is full: doctor_full_disk_test.py PREFIX RUN NEXCTL

The folder is a link to a file system that never has a free byte, which only the host of Wine can make."""
import json
import os
import subprocess
import sys
from pathlib import Path

prefix, program = Path(sys.argv[1]), sys.argv[2:4]


def run(*command):
    return subprocess.run(command, capture_output=True, text=True)


def codes():
    done = run(*program, "doctor", "--summary", "--mark", "full-disk")
    assert done.returncode in (0, 5), done.stderr
    return json.loads(done.stdout)["codes"]


full = os.statvfs("/proc")
assert full.f_bavail == 0, full
run(*program, "log", "on")
folder = prefix / "drive_c" / "temp" / "zolt"
aside = folder.with_name("zolt-aside")
if folder.is_symlink():
    folder.unlink()
if folder.exists():
    folder.rename(aside)
try:
    assert "log.disk-full" not in codes()
    folder.symlink_to("/proc")
    found = codes()
    assert "log.disk-full" in found, found
finally:
    if folder.is_symlink():
        folder.unlink()
    if aside.exists():
        aside.rename(folder)
print("told")
