#!/usr/bin/env python3
"""The loading window, as the screen shows it, against kept pictures.

    loading_window_picture_test.py POP_LOADING_WINDOW PREFIX SCRATCH [--keep]

PREFIX is a Wine prefix of this test's own; what was seen lies in SCRATCH afterwards. --keep makes what is seen the
pictures to compare with: look at them before they are committed.
"""
import os
import re
import signal
import subprocess
import sys
import time
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path.insert(0, str(HERE.parent / "servers"))
from screen import Screen  # noqa: E402

PROGRAM, PREFIX, SCRATCH = Path(sys.argv[1]), Path(sys.argv[2]), Path(sys.argv[3])
KEEP = sys.argv[4:] == ["--keep"]
NAME = "我的应用"
WAIT_SECONDS = 60
# A pixel differs when a channel does by more than this; so many may.
FUZZ = "15%"
SHARE = 0.001


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, **options).stdout


class Windows:
    """Programs of the prefix on a screen."""

    def __init__(self, screen):
        self.environment = os.environ | {"NEXLET_WINEPREFIX": str(PREFIX), "DISPLAY": screen.display}

    def run(self, *command):
        run(ROOT / "tools/wine/run", *command, env=self.environment)

    def set_dpi(self, dpi):
        # Programs that start from now on see it.
        self.run("reg", "add", r"HKCU\Control Panel\Desktop", "/v", "LogPixels", "/t", "REG_DWORD", "/d", str(dpi), "/f")

    def shot(self, path):
        run("import", "-window", "root", path, env=self.environment)

    def shown(self, path, name=NAME):
        """A picture of the whole screen with the window on it, once it no longer changes."""
        pop = subprocess.Popen([ROOT / "tools/wine/run", PROGRAM, name, "nobody waits for this", "", "600000"],
                               env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True)
        try:
            end = time.monotonic() + WAIT_SECONDS
            before = path.with_suffix(".before.png")
            self.shot(before)
            while time.monotonic() < end:
                if pop.poll() is not None:
                    raise AssertionError(f"the program ended with {pop.returncode}")
                self.shot(path)
                if is_lit(path) and differing(before, path) == 0:
                    before.unlink()
                    return
                path.replace(before)
                time.sleep(0.1)
            raise AssertionError("no window came")
        finally:
            os.killpg(pop.pid, signal.SIGKILL)
            pop.wait()


def is_lit(path):
    return float(run("convert", path, "-format", "%[fx:maxima]", "info:")) > 0.5


def box(path):
    """Where something else than the black of the screen is: width, height, left, top."""
    text = run("convert", path, "-bordercolor", "black", "-border", "1", "-format", "%@", "info:").decode()
    width, height, left, top = map(int, re.fullmatch(r"(\d+)x(\d+)\+(\d+)\+(\d+)", text).groups())
    return width, height, left - 1, top - 1


def differing(one, other):
    """How many pixels differ."""
    done = subprocess.run(["compare", "-metric", "AE", "-fuzz", FUZZ, str(one), str(other), "null:"],
                          capture_output=True, text=True)
    if done.returncode > 1:
        raise AssertionError(done.stderr)
    return int(float(done.stderr.split()[0]))


def crop(path, width, height, left, top, target):
    run("convert", path, "-crop", f"{width}x{height}+{left}+{top}", "+repage", "-strip", target)


def kept(dpi):
    return HERE / f"loading_window_{dpi}dpi.png"


class LoadingWindowPictureTest(unittest.TestCase):
    def setUp(self):
        SCRATCH.mkdir(parents=True, exist_ok=True)
        run(ROOT / "tools/wine/make-prefix", PREFIX)
        # Wine stays with the first screen that a prefix has seen.
        run(ROOT / "tools/wine/stop", PREFIX)
        self.addCleanup(run, ROOT / "tools/wine/stop", PREFIX)

    def on_screen(self, width, height):
        screen = Screen(width, height)
        self.addCleanup(screen.__exit__)
        return Windows(screen)

    def expect_like(self, seen, picture, width, height):
        count = differing(seen, picture)
        self.assertLessEqual(count, SHARE * width * height, f"{count} pixels of {seen} are not those of {picture}")

    def test_looks_as_kept_at_every_dpi(self):
        windows = self.on_screen(1280, 1024)
        for dpi in (96, 144, 192):
            with self.subTest(dpi=dpi):
                windows.set_dpi(dpi)
                whole = SCRATCH / f"screen_{dpi}dpi.png"
                windows.shown(whole)
                side = 360 * dpi // 96
                self.assertEqual(box(whole), (side, side, (1280 - side) // 2, (1024 - side) // 2))
                seen = SCRATCH / f"loading_window_{dpi}dpi.png"
                crop(whole, *box(whole), seen)
                if KEEP:
                    kept(dpi).write_bytes(seen.read_bytes())
                self.expect_like(seen, kept(dpi), side, side)

    def test_begins_at_the_corner_of_a_screen_that_is_too_small(self):
        windows = self.on_screen(300, 200)
        windows.set_dpi(96)
        seen = SCRATCH / "small_screen.png"
        windows.shown(seen)
        corner = SCRATCH / "corner.png"
        crop(kept(96), 300, 200, 0, 0, corner)
        self.expect_like(seen, corner, 300, 200)

    def test_a_name_too_long_for_its_line_stays_inside_its_box(self):
        windows = self.on_screen(1280, 1024)
        windows.set_dpi(96)
        whole = SCRATCH / "long_name.png"
        windows.shown(whole, "一个名字非常非常长以至于一行里放不下的小程序" * 3)
        window = SCRATCH / "long_name_window.png"
        crop(whole, *box(whole), window)
        # Everything but the box of the title is as ever.
        for what, top, height in (("above", 0, 88), ("below", 88 + 60, 360 - 88 - 60)):
            seen, ever = SCRATCH / f"long_name_{what}.png", SCRATCH / f"kept_{what}.png"
            crop(window, 360, height, 0, top, seen)
            crop(kept(96), 360, height, 0, top, ever)
            self.expect_like(seen, ever, 360, height)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
