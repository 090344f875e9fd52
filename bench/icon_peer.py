#!/usr/bin/env python3
"""An icon of six sizes, made by the helper's code and by ImageMagick from the same picture: time and bytes.

    icon_peer.py MAKE_ICON RUN     MAKE_ICON is the Windows program, RUN what runs it

What starting a program takes is measured too and taken off. ImageMagick stores all but the largest image as bitmaps,
the helper every one as PNG.
"""
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PROGRAM, RUN = sys.argv[1:3]
SIZES = "256,128,64,48,32,16"
ROUNDS = 7
TIMES = 10  # icons of the helper in one round


def milliseconds(*command):
    begin = time.perf_counter()
    subprocess.run([str(part) for part in command], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return (time.perf_counter() - begin) * 1e3


def measure(folder, kind, pixels):
    picture, ours, theirs = folder / f"{pixels}.{kind}", folder / "ours.ico", folder / "theirs.ico"
    subprocess.run(["convert", "-size", f"{pixels}x{pixels}", "-seed", "1", "plasma:fractal", str(picture)], check=True)
    best = [float("inf")] * 4
    for _ in range(ROUNDS):
        taken = (milliseconds("convert", "-size", "1x1", "xc:none", "null:"),
                 milliseconds("convert", picture, "-define", f"icon:auto-resize={SIZES}", theirs),
                 milliseconds(RUN, PROGRAM, picture, ours, 1),
                 milliseconds(RUN, PROGRAM, picture, ours, 1 + TIMES))
        best = list(map(min, best, taken))
    rows = (("ImageMagick", best[1] - best[0], theirs), ("TuFileToIcoFile", (best[3] - best[2]) / TIMES, ours))
    print(f"\nan icon of six sizes from a {kind} picture of {pixels} pixels")
    for name, taken, icon in rows:
        size = icon.stat().st_size
        print(f"  {name:44} {taken:8.2f} ms  {taken / rows[0][1]:6.2f} x  {size:8} bytes"
              f"  {size / rows[0][2].stat().st_size:6.2f} x")


with tempfile.TemporaryDirectory() as name:
    for kind in ("png", "jpg"):
        for pixels in (512, 2048):
            measure(Path(name), kind, pixels)
