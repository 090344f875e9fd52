#!/usr/bin/env python3
"""Builds the example of a caller from the unpacked package, as somebody does who has nothing else, and runs it.
example_test.py SOURCE_DIR UNPACKED CMAKE CXX RC OCEAN_DLL WINE_PREFIX"""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SOURCE_DIR, UNPACKED, CMAKE, CXX, RC, OCEAN, PREFIX = sys.argv[1:8]
SOURCE_DIR, PREFIX = pathlib.Path(SOURCE_DIR), pathlib.Path(PREFIX)
WINE = SOURCE_DIR / "tools" / "wine"
# The mini-program application counts as installed by its uninstall entry.
UNINSTALL = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\WeChatMiniProgram"


def run(*command):
    environment = {**os.environ, "NEXLET_WINEPREFIX": str(PREFIX)}
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


class ExampleTest(unittest.TestCase):
    def test_example_builds_from_the_package_alone_and_opens_a_mini_program(self):
        package, = pathlib.Path(UNPACKED).iterdir()
        run(WINE / "make-prefix", PREFIX)
        self.addCleanup(run, WINE / "stop", PREFIX)
        (PREFIX / "drive_c/temp").mkdir(exist_ok=True)
        # On drive C, so that paths stay short wherever this tree lies.
        with tempfile.TemporaryDirectory(dir=PREFIX / "drive_c/temp") as folder:
            app = pathlib.Path(folder, "app")
            build = pathlib.Path(folder, "build")
            run(CMAKE, "-S", package / "examples/caller", "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_CXX_COMPILER={CXX}", f"-DCMAKE_RC_COMPILER={RC}",
                "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror", "-DCMAKE_EXE_LINKER_FLAGS=-static",
                f"-DCMAKE_PREFIX_PATH={package}")
            run(CMAKE, "--build", build)
            run(CMAKE, "--install", build, "--prefix", app)
            self.assertEqual(sorted(file.name for file in (app / "bin").iterdir()),
                             ["caller.exe", "nexlet.exe", "nexlet_client.dll"])
            (app / "wxsdk").mkdir()
            (app / "wxsdk/ocean.dll").write_bytes(pathlib.Path(OCEAN).read_bytes())
            run(WINE / "run", "reg", "add", UNINSTALL, "/v", "UninstallString", "/d", r"C:\temp\uninstall.exe", "/f",
                "/reg:64")

            said = run(WINE / "run", app / "bin/caller.exe").replace("\r", "").splitlines()
            print(*said, sep="\n")
            self.assertEqual(len(said), 2, said)
            self.assertTrue(said[0].startswith('the open ended with "1": '), said)
            self.assertEqual(said[1], "the helper ended")
            calls = (app / "wxsdk/ocean_calls.txt").read_text()
            self.assertIn("open appId=wx0123456789abcdef appPath=pages/index/index", calls)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
