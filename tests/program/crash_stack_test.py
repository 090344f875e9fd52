#!/usr/bin/env python3
"""A real crash of the helper, its minidump, and the stack that a debugger reads from it with the stripped program and the
PDB file.
crash_stack_test.py LLDB SOURCE_DIR nexlet.exe WINE_PREFIX"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

LLDB, SOURCE_DIR, PROGRAM, PREFIX = sys.argv[1:5]
SOURCE_DIR, PROGRAM, PREFIX = pathlib.Path(SOURCE_DIR), pathlib.Path(PROGRAM), pathlib.Path(PREFIX)
WINE = SOURCE_DIR / "tools" / "wine"
DUMPS = PREFIX / "drive_c/temp/zolt"
UNCAUGHT_EXCEPTION = 3

# From the crash outwards: the function, its file, and what the line of the frame says.
FRAMES = (("DumpThisThread", "crash_dump.cpp", ""),
          ("CommzoltHelperS::InitData", "helper_host.cpp", "TypeFromSwitch("),
          ("CommzoltHelperS::Init", "helper_host.cpp", "InitData("),
          ("wWinMain", "main.cpp", "Init("))


def run(*command, code=0):
    environment = {**os.environ, "NEXLET_WINEPREFIX": str(PREFIX)}
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=240)
    if done.returncode != code:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout.decode()}")
    return done.stdout.decode("utf-8", "replace")


class CrashStackTest(unittest.TestCase):
    def test_stack_of_an_uncaught_exception_has_functions_files_and_lines(self):
        run(WINE / "make-prefix", PREFIX)
        self.addCleanup(run, WINE / "stop", PREFIX)
        shutil.rmtree(DUMPS, ignore_errors=True)
        DUMPS.parent.mkdir(exist_ok=True)
        run(WINE / "run", "reg", "add", r"HKCU\Software\Ovrin\zolt", "/v", "debug_dump", "/t", "REG_DWORD", "/d", "1", "/f")
        # A type that is not a number is an exception that nothing catches.
        run(WINE / "run", PROGRAM, "/from:crashstack", "/service_id:svc", "/type:abc", code=UNCAUGHT_EXCEPTION)
        dump, = DUMPS.glob("Nexlet*.dmp")

        with tempfile.TemporaryDirectory() as folder:
            # What somebody has to whom a dump was sent: the dump, the program and its PDB file.
            for path in (dump, PROGRAM, PROGRAM.with_suffix(".pdb")):
                shutil.copy(path, folder)
            said = run(LLDB, "--batch", "--no-lldbinit", "-o", f"settings set target.exec-search-paths {folder}",
                       "-o", f"target create --core {folder}/{dump.name}", "-o", "thread backtrace")
        frames = re.findall(r"frame #\d+: \S+ nexlet\.exe`(.*) at (\w+\.cpp):(\d+)", said)
        for function, file, text in FRAMES:
            # Each is further out than the one before.
            while frames and not re.match(re.escape(function) + r"\b(?!::)", frames[0][0]):
                frames.pop(0)
            self.assertTrue(frames, f"{function} is not on the stack:\n{said}")
            _, found, line = frames.pop(0)
            self.assertEqual(found, file, said)
            self.assertIn(text, (SOURCE_DIR / "host" / file).read_text(encoding="utf-8").splitlines()[int(line) - 1], said)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
