#!/usr/bin/env python3
"""Icons made from pictures of every kind, read back by programs that share nothing with their maker.

    icon_read_back_test.py MAKE_ICON SCRATCH RUN

MAKE_ICON is the Windows program, RUN what runs it. ImageMagick draws the pictures, icotool takes the icons apart, and
ImageMagick decodes what was in them.
"""
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

PROGRAM, SCRATCH, RUN = sys.argv[1], Path(sys.argv[2]), sys.argv[3]
SIZES = (16, 32, 48, 64, 128, 256)

RED, GREEN, BLUE, WHITE = (224, 32, 32), (32, 160, 64), (48, 80, 208), (240, 240, 240)
QUADRANTS = {(0, 0): RED, (1, 0): GREEN, (0, 1): BLUE, (1, 1): WHITE}
OPAQUE = 255


def run(*command):
    return subprocess.run([str(part) for part in command], check=True, capture_output=True).stdout


def quadrants(width=256, height=256, alpha=OPAQUE):
    """Arguments that draw four fields of one colour each."""
    arguments = ["-size", f"{width}x{height}", "xc:none"]
    for (column, row), (red, green, blue) in QUADRANTS.items():
        left, top = column * width // 2, row * height // 2
        arguments += ["-fill", f"rgba({red},{green},{blue},{alpha / 255})", "-draw",
                      f"rectangle {left},{top} {left + width // 2 - 1},{top + height // 2 - 1}"]
    return arguments


def grey(colour):
    return (round(0.299 * colour[0] + 0.587 * colour[1] + 0.114 * colour[2]),) * 3


def pixels(png, size):
    """Every pixel, row by row, as (red, green, blue, alpha)."""
    raw = run("convert", png, "-depth", "8", "rgba:-")
    assert len(raw) == size * size * 4, f"{png} decodes to {len(raw)} bytes"
    return [tuple(raw[i:i + 4]) for i in range(0, len(raw), 4)]


class IconReadBackTest(unittest.TestCase):
    def setUp(self):
        self.folder = SCRATCH / self.id().rsplit(".", 1)[1]
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)

    def draw(self, name, *arguments):
        path = self.folder / name.rsplit(":", 1)[-1]
        kind = name.rsplit(":", 1)[0] + ":" if ":" in name else ""
        run("convert", *arguments, f"{kind}{path}")
        return path

    def make(self, picture, icon=None):
        """Whether the icon was made, and its path."""
        icon = icon or self.folder / "icon.ico"
        done = subprocess.run([RUN, PROGRAM, str(picture), str(icon)], capture_output=True)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        return done.returncode == 0, icon

    def images(self, icon):
        """The icon's PNG files by size, after its directory was found to be as it must be."""
        listed = run("icotool", "--list", icon).decode().split("\n")[:-1]
        self.assertEqual(len(listed), len(SIZES), listed)
        for line, size, number in zip(listed, SIZES, range(1, 7)):
            for part in (f"--icon --index={number} ", f"--width={size} ", f"--height={size} ", "--bit-depth=32 "):
                self.assertIn(part, line + " ")
        run("icotool", "--extract", f"--output={self.folder}", icon)
        found = {}
        data = icon.read_bytes()
        for i, size in enumerate(SIZES):
            entry = data[6 + 16 * i:22 + 16 * i]
            length, at = int.from_bytes(entry[8:12], "little"), int.from_bytes(entry[12:16], "little")
            found[size] = self.folder / f"{size}.png"
            found[size].write_bytes(data[at:at + length])
            # icotool writes PNG images out again in its own way: the same picture, not the same bytes.
            extracted = self.folder / f"{icon.stem}_{i + 1}_{size}x{size}x32.png"
            self.assertEqual(pixels(found[size], size), pixels(extracted, size), f"{size} pixels")
        return found

    def expect_fields(self, icon, fields=QUADRANTS, alpha=OPAQUE, within=6):
        """Each image shows the four fields; only where they meet may a pixel be a mixture."""
        for size, png in self.images(icon).items():
            colours = pixels(png, size)
            margin = max(1, size // 16)
            for y in range(size):
                for x in range(size):
                    if min(abs(2 * x + 1 - size), abs(2 * y + 1 - size)) <= 2 * margin:
                        continue
                    wanted = fields[(x * 2 // size, y * 2 // size)] + (alpha,)
                    seen = colours[y * size + x]
                    if max(abs(one - other) for one, other in zip(seen, wanted)) > within:
                        self.fail(f"{size} pixels, {x},{y}: {seen} instead of {wanted}")

    def expect_icon(self, picture, **options):
        made, icon = self.make(picture)
        self.assertTrue(made)
        self.expect_fields(icon, **options)

    def expect_none(self, picture):
        earlier = self.folder / "earlier.ico"
        earlier.write_bytes(b"an earlier icon")
        made, icon = self.make(picture)
        self.assertFalse(made)
        self.assertFalse(icon.exists(), "half an icon is none")
        self.assertEqual(self.make(picture, earlier), (False, earlier))
        self.assertEqual(earlier.read_bytes(), b"an earlier icon")

    def test_png_without_alpha(self):
        self.expect_icon(self.draw("PNG24:picture.png", *quadrants()))

    def test_png_with_alpha(self):
        self.expect_icon(self.draw("PNG32:picture.png", *quadrants(alpha=128)), alpha=128)

    def test_png_that_is_transparent_all_over(self):
        made, icon = self.make(self.draw("PNG32:picture.png", "-size", "64x64", "xc:none"))
        self.assertTrue(made)
        for size, png in self.images(icon).items():
            self.assertEqual({pixel[3] for pixel in pixels(png, size)}, {0})

    def test_png_with_a_palette(self):
        self.expect_icon(self.draw("PNG8:picture.png", *quadrants()))

    def test_png_that_is_interlaced(self):
        self.expect_icon(self.draw("PNG24:picture.png", *quadrants(), "-interlace", "PNG"))

    def test_png_of_16_bits(self):
        self.expect_icon(self.draw("PNG48:picture.png", *quadrants(), "-depth", "16"))

    def test_jpeg_in_grey(self):
        self.expect_icon(self.draw("picture.jpg", *quadrants(), "-grayscale", "Rec601Luma", "-quality", "98"),
                         fields={place: grey(colour) for place, colour in QUADRANTS.items()}, within=10)

    def test_jpeg_in_rgb(self):
        self.expect_icon(self.draw("picture.jpg", *quadrants(), "-sampling-factor", "1x1", "-quality", "98"))

    def test_jpeg_in_cmyk(self):
        self.expect_icon(self.draw("picture.jpg", *quadrants(), "-colorspace", "CMYK", "-quality", "98"), within=12)

    def test_jpeg_that_is_progressive(self):
        self.expect_icon(self.draw("picture.jpg", *quadrants(), "-interlace", "JPEG", "-sampling-factor", "1x1",
                                   "-quality", "98"))

    def test_one_pixel(self):
        made, icon = self.make(self.draw("PNG24:picture.png", "-size", "1x1", f"xc:rgb{RED}"))
        self.assertTrue(made)
        for size, png in self.images(icon).items():
            colours = pixels(png, size)
            self.assertEqual(colours[0], RED + (OPAQUE,))
            # What is enlarged that much may fade towards the nothing around it, but not change its colour.
            for seen in colours:
                if seen[3] > 64:
                    self.assertLessEqual(max(abs(one - other) for one, other in zip(seen[:3], RED)), 6, f"{size} pixels")

    def test_5000_by_3000_pixels(self):
        self.expect_icon(self.draw("PNG24:picture.png", *quadrants(5000, 3000)))

    def test_a_picture_with_a_wrong_extension(self):
        self.expect_icon(self.draw("PNG24:picture.jpg", *quadrants()))
        self.expect_icon(self.draw("JPEG:picture.png", *quadrants(), "-sampling-factor", "1x1", "-quality", "98"))
        self.expect_icon(self.draw("PNG24:picture.txt", *quadrants()))

    def test_a_truncated_picture(self):
        whole = self.draw("PNG24:whole.png", *quadrants(), "-seed", "1", "+noise", "Random").read_bytes()
        for kept in (9, 40, len(whole) // 2, len(whole) - 30):
            picture = self.folder / "picture.png"
            picture.write_bytes(whole[:kept])
            made, icon = self.make(picture)
            # Decoders differ in how much they forgive; an icon is whole or not there.
            self.assertEqual(made, icon.exists())
            if made:
                self.images(icon)
                icon.unlink()
        picture.write_bytes(whole[:40])
        self.expect_none(picture)

    def test_what_is_no_picture(self):
        for content in (b"", b"no picture", bytes(4096), b"\x89PNG\r\n\x1a\n" + bytes(100), b"\xff\xd8\xff\xe0" + bytes(100)):
            picture = self.folder / "picture.png"
            picture.write_bytes(content)
            self.expect_none(picture)
        self.expect_none(self.folder / "missing.png")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
