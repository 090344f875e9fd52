#!/usr/bin/env python3
"""The loading window, as the screen shows it, against kept pictures.

    loading_window_picture_test.py POP_LOADING_WINDOW PREFIX SCRATCH [--keep]

PREFIX is a Wine prefix of this test's own; what was seen is in SCRATCH afterwards. --keep makes what is seen the
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
# How long a window may take where the processors are busy, and how long a picture must stay the same to be kept.
WAIT_SECONDS = 120
KEEP_SECONDS = 2
# A pixel differs when a channel does by more than this; so many may.
FUZZ = "15%"
SHARE = 0.001


def run(*command, **options):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True, **options).stdout


class Windows:
    """Programs of the prefix on a screen."""

    def __init__(self, screen):
        self.screen = screen
        self.environment = os.environ | {"NEXLET_WINEPREFIX": str(PREFIX), "DISPLAY": screen.display}

    def run(self, *command):
        run(ROOT / "tools/wine/run", *command, env=self.environment)

    def set_dpi(self, dpi):
        self.run("reg", "add", r"HKCU\Control Panel\Desktop", "/v", "LogPixels", "/t", "REG_DWORD", "/d", str(dpi), "/f")
        # Some versions of Wine look at it once for all programs of a prefix.
        run(ROOT / "tools/wine/stop", PREFIX)

    def save(self, pixels, path):
        run("convert", "-size", f"{self.screen.width}x{self.screen.height}", "-depth", "8", "bgra:-", "-alpha", "off", path,
            input=pixels)

    def shown(self, path, check, name=NAME):
        """Shows a window until a picture of the whole screen passes check, which gets its path. The last failure otherwise."""
        pop = subprocess.Popen([ROOT / "tools/wine/run", PROGRAM, name, "nobody waits for this", "", "600000"],
                               env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True)
        try:
            end = time.monotonic() + WAIT_SECONDS
            failure = AssertionError("no window came")
            before = seen = None
            while time.monotonic() < end:
                if pop.poll() is not None:
                    raise AssertionError(f"the program ended with {pop.returncode}")
                pixels = self.screen.pixels()
                # Pictures are costly: one is made of what is new, not black, and does not change.
                if pixels == before and pixels != seen and is_lit(pixels):
                    seen = pixels
                    self.save(pixels, path)
                    try:
                        return check(path)
                    except AssertionError as failed:
                        failure = failed
                before = pixels
                time.sleep(KEEP_SECONDS if KEEP else 0.1)
            raise failure
        finally:
            os.killpg(pop.pid, signal.SIGKILL)
            pop.wait()


def is_lit(pixels):
    return any(max(pixels[channel::4]) > 127 for channel in range(3))


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


class OnScreen(unittest.TestCase):
    """Tests that share a screen and the programs of the prefix on it."""

    SIZE = (1280, 1024)

    @classmethod
    def setUpClass(cls):
        SCRATCH.mkdir(parents=True, exist_ok=True)
        run(ROOT / "tools/wine/make-prefix", PREFIX)
        # Wine stays with the first screen that a prefix has seen.
        run(ROOT / "tools/wine/stop", PREFIX)
        cls.addClassCleanup(run, ROOT / "tools/wine/stop", PREFIX)
        screen = Screen(*cls.SIZE)
        cls.addClassCleanup(screen.__exit__)
        cls.windows = Windows(screen)

    def expect_like(self, seen, picture, width, height):
        count = differing(seen, picture)
        self.assertLessEqual(count, SHARE * width * height, f"{count} pixels of {seen} are not those of {picture}")


class LoadingWindowPictureTest(OnScreen):
    def test_looks_as_kept_at_every_dpi(self):
        for dpi in (96, 144, 192):
            with self.subTest(dpi=dpi):
                self.windows.set_dpi(dpi)
                side = 360 * dpi // 96
                seen = SCRATCH / f"loading_window_{dpi}dpi.png"

                def check(whole):
                    self.assertEqual(box(whole), (side, side, (1280 - side) // 2, (1024 - side) // 2))
                    crop(whole, *box(whole), seen)
                    if KEEP:
                        kept(dpi).write_bytes(seen.read_bytes())
                    self.expect_like(seen, kept(dpi), side, side)

                self.windows.shown(SCRATCH / f"screen_{dpi}dpi.png", check)

    def test_a_name_too_long_for_its_line_stays_inside_its_box(self):
        self.windows.set_dpi(96)

        def check(whole):
            window = SCRATCH / "long_name_window.png"
            crop(whole, *box(whole), window)
            # Everything but the box of the title is as ever; that is not.
            for what, top, height in (("above", 0, 88), ("below", 88 + 60, 360 - 88 - 60), ("title", 88, 60)):
                seen, ever = SCRATCH / f"long_name_{what}.png", SCRATCH / f"kept_{what}.png"
                crop(window, 360, height, 0, top, seen)
                crop(kept(96), 360, height, 0, top, ever)
                if what == "title":
                    self.assertGreater(differing(seen, ever), SHARE * 360 * height, "the name is not there")
                else:
                    self.expect_like(seen, ever, 360, height)

        self.windows.shown(SCRATCH / "long_name.png", check, "一个名字非常非常长以至于一行里放不下的小程序" * 3)


class SmallScreenPictureTest(OnScreen):
    SIZE = (300, 200)

    def test_begins_at_the_corner_of_a_screen_that_is_too_small(self):
        self.windows.set_dpi(96)
        corner = SCRATCH / "corner.png"
        crop(kept(96), *self.SIZE, 0, 0, corner)
        self.windows.shown(SCRATCH / "small_screen.png", lambda seen: self.expect_like(seen, corner, *self.SIZE))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
