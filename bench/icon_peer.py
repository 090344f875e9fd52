#!/usr/bin/env python3
"""An icon of six sizes, made by the helper's code and by ImageMagick from the same picture: time and bytes.

    icon_peer.py MAKE_ICON RUN     MAKE_ICON is the Windows program, RUN what runs it

What starting a program takes is measured too and taken off. ImageMagick stores all but the largest image as bitmaps,
the helper every one as PNG.
"""
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import bench_record

PROGRAM, RUN = sys.argv[1:3]
SIZES = "256,128,64,48,32,16"
ROUNDS = bench_record.rounds(7)
TIMES = 10  # icons of the helper in one round


def milliseconds(*command):
    begin = time.perf_counter()
    subprocess.run([str(part) for part in command], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return (time.perf_counter() - begin) * 1e3


def measure(folder, kind, pixels):
    picture, ours, theirs = folder / f"{pixels}.{kind}", folder / "ours.ico", folder / "theirs.ico"
    subprocess.run(["convert", "-size", f"{pixels}x{pixels}", "-seed", "1", "plasma:fractal", str(picture)], check=True)
    ours_ms, theirs_ms = [], []
    for _ in range(ROUNDS):
        nothing = milliseconds("convert", "-size", "1x1", "xc:none", "null:")
        theirs_ms.append(milliseconds("convert", picture, "-define", f"icon:auto-resize={SIZES}", theirs) - nothing)
        one = milliseconds(RUN, PROGRAM, picture, ours, 1)
        ours_ms.append((milliseconds(RUN, PROGRAM, picture, ours, 1 + TIMES) - one) / TIMES)
    rows = (("ImageMagick", theirs_ms, theirs), ("TuFileToIcoFile", ours_ms, ours))
    floor = statistics.median(theirs_ms)
    print(f"\nan icon of six sizes from a {kind} picture of {pixels} pixels")
    for name, values, icon in rows:
        size, taken = icon.stat().st_size, statistics.median(values)
        bench_record.record(f"icon from a {kind} picture of {pixels} pixels", name, "time", "ms", values)
        print(f"  {name:44} {taken:8.2f} ms  {taken / floor:6.2f} x  {size:8} bytes"
              f"  {size / rows[0][2].stat().st_size:6.2f} x")


with tempfile.TemporaryDirectory() as name:
    for kind in ("png", "jpg"):
        for pixels in (512, 2048):
            measure(Path(name), kind, pixels)
