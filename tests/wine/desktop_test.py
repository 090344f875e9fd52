#!/usr/bin/env python3
"""Programs that start at once in a Wine prefix each get their first window.

  desktop_test.py ROOT FIRST_WINDOW_EXE

Without desktop_holder.exe some are refused in about seven of ten rounds.
"""
import os
import subprocess
import sys
import time
import unittest
from pathlib import Path

ROUNDS = 6
PROGRAMS = 16
# Longer than the second after which Wine closes a desktop without windows.
PAUSE_SECONDS = 2


class Desktop(unittest.TestCase):
    def test_each_of_many_first_windows_is_made(self):
        prefix = ROOT / "build" / "wine" / "desktop"
        subprocess.run([ROOT / "tools/wine/make-prefix", prefix], check=True)
        environment = dict(os.environ, NEXLET_WINEPREFIX=str(prefix))
        self.addCleanup(subprocess.run, [ROOT / "tools/wine/stop", prefix], check=True)
        for round_number in range(ROUNDS):
            started = [subprocess.Popen([ROOT / "tools/wine/run", EXE], env=environment) for _ in range(PROGRAMS)]
            codes = [one.wait(timeout=60) for one in started]
            self.assertEqual(codes, [0] * PROGRAMS, f"round {round_number}")
            time.sleep(PAUSE_SECONDS)


if __name__ == "__main__":
    ROOT = Path(sys.argv[1])
    EXE = sys.argv[2]
    unittest.main(argv=sys.argv[:1])
