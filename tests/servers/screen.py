#!/usr/bin/env python3
"""A Wine prefix with a screen: a virtual X server for tests of windows.

    screen.py start PREFIX   makes the prefix, starts the server in the background, returns once it can be used
    screen.py stop PREFIX    ends both

PREFIX/.display then names the display; tools/wine/run takes it from there. Wine stays with the display that the first
program of a prefix has seen, so what ran in the prefix before is ended first.

The X server ends when its .display is taken away, and by itself after an hour.
"""
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import time
from pathlib import Path

LIFE_SECONDS = 3600
TOOLS = Path(__file__).resolve().parent.parent.parent / "tools" / "wine"


class Screen:
    """An X server on a free display, for the length of a with block."""

    def __init__(self, width=1280, height=1024):
        self.width, self.height = width, height
        # The server keeps what it shows in a file there.
        self.folder = tempfile.mkdtemp(prefix="screen-")
        reader, writer = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(writer), "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp", "-nocursor",
             "-fbdir", self.folder],
            pass_fds=[writer], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(writer)
        with os.fdopen(reader) as file:
            number = file.readline().strip()
        if not number:
            self.__exit__()
            raise OSError("Xvfb ended before it could be used")
        self.display = ":" + number

    def pixels(self):
        """What the screen shows now: rows from the top, four bytes a pixel (blue, green, red and one that is not used)."""
        with open(Path(self.folder, "Xvfb_screen0"), "rb") as file:
            whole = file.read()
        # An XWD file: big-endian words, among them the size of the header, the bytes of a row and the colours that follow.
        word = struct.unpack(">25I", whole[:100])
        row, begin = word[12], word[0] + 12 * word[19]
        assert row == 4 * self.width, f"a row of {row} bytes"
        return whole[begin:begin + row * self.height]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.server.terminate()
        self.server.wait()
        shutil.rmtree(self.folder)


def serve(prefix):
    with Screen() as screen:
        # The file appears complete: a reader that waits for it reads the display.
        file = prefix / ".display"
        Path(f"{file}.new").write_text(screen.display)
        os.replace(f"{file}.new", file)
        end = time.monotonic() + LIFE_SECONDS
        while time.monotonic() < end and screen.server.poll() is None:
            time.sleep(0.2)
            if not file.is_file() or file.read_text() != screen.display:
                return


def stop(prefix):
    subprocess.run([TOOLS / "stop", prefix], check=True)


def start(prefix):
    subprocess.run([TOOLS / "make-prefix", prefix], check=True)
    stop(prefix)
    # A session of its own and no inherited output: a reader of our output must not wait for it.
    server = subprocess.Popen([sys.executable, os.path.abspath(__file__), "serve", prefix], stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    while not (prefix / ".display").is_file():
        if server.poll() is not None:
            sys.exit("The X server ended before it could be used.")
        time.sleep(0.02)


def main():
    actions = {"start": start, "stop": stop, "serve": serve}
    if len(sys.argv) != 3 or sys.argv[1] not in actions:
        sys.exit(__doc__)
    actions[sys.argv[1]](Path(sys.argv[2]).resolve())


if __name__ == "__main__":
    main()
