#!/usr/bin/env python3
"""A caller that is linked as Microsoft's tools do it, from the package alone, and runs.
microsoft_link_test.py SOURCE_DIR PACKAGE CMAKE CLANG WINE_PREFIX FOLDER

clang and lld stand in for the compiler and the linker: they read the same import libraries and make the same records.
There is no C runtime of Microsoft's here, so the program is one without any."""
import os
import pathlib
import shutil
import subprocess
import sys
import unittest

SOURCE_DIR, PACKAGE, CMAKE, CLANG, PREFIX, FOLDER = sys.argv[1:7]
SOURCE_DIR, PACKAGE, FOLDER = pathlib.Path(SOURCE_DIR), pathlib.Path(PACKAGE), pathlib.Path(FOLDER)
WINE = SOURCE_DIR / "tools" / "wine"

sys.dont_write_bytecode = True
sys.path.insert(0, str(SOURCE_DIR / "tests" / "program"))
from pe_file import PeFile  # noqa: E402

PROJECT = """
cmake_minimum_required(VERSION 3.16)
project(caller LANGUAGES C)
find_package(nexlet 1.0 REQUIRED)
add_executable(caller caller.c)
target_compile_options(caller PRIVATE -ffreestanding)
target_link_libraries(caller PRIVATE nexlet::client)
target_link_options(caller PRIVATE -nostdlib -Wl,/entry:start,/subsystem:console,/opt:ref)
"""
# Two functions of the library, of which the exit code tells the results.
CALLER = """
#include <nexlet_client.h>
int start(void) {
    nexlet_free(0);
    return (nexlet_version() == NEXLET_CLIENT_VERSION ? 1 : 0) + (nexlet_shutdown(0) == NEXLET_BAD_HANDLE ? 40 : 0);
}
"""


def run(*command, code=0):
    environment = {**os.environ, "NEXLET_WINEPREFIX": PREFIX}
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=120)
    if done.returncode != code:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout.decode()}")


class MicrosoftLink:
    """The tests, for each processor."""
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(FOLDER, ignore_errors=True)
        (FOLDER / "source").mkdir(parents=True)
        (FOLDER / "source/CMakeLists.txt").write_text(PROJECT, encoding="utf-8")
        (FOLDER / "source/caller.c").write_text(CALLER, encoding="utf-8")
        cls.addClassCleanup(shutil.rmtree, FOLDER)
        cls.build = FOLDER / "build"
        run(CMAKE, "-S", FOLDER / "source", "-B", cls.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={CLANG}",
            f"-DCMAKE_C_COMPILER_TARGET={cls.processor}-pc-windows-msvc", "-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY",
            "-DCMAKE_C_STANDARD_LIBRARIES=", "-DCMAKE_MSVC_RUNTIME_LIBRARY=", f"-DCMAKE_PREFIX_PATH={PACKAGE}")
        run(CMAKE, "--build", cls.build)

    def test_links_with_the_library_in_the_short_form(self):
        rules = (self.build / "build.ninja").read_text(encoding="utf-8")
        self.assertTrue(f"{self.library}/nexlet_client.lib" in rules, "the other library is linked")
        self.assertFalse("nexlet_client.dll.a" in rules, "both libraries are linked")
        caller = PeFile(self.build / "caller.exe")
        self.assertEqual((caller.machine, caller.imports()), (self.machine, ["nexlet_client.dll"]))

    def test_records_are_laid_out_as_the_library_has_them(self):
        run(CLANG, f"--target={self.processor}-pc-windows-msvc", "-ffreestanding", "-fsyntax-only", "-std=c++20", "-Werror",
            f"-I{SOURCE_DIR}", SOURCE_DIR / "client/record_layout.cpp")


class LinkOf64BitProgramTest(MicrosoftLink, unittest.TestCase):
    processor, machine, library = "x86_64", 0x8664, f"{PACKAGE.name}/lib"

    def test_runs_and_reaches_the_library(self):
        run(WINE / "make-prefix", PREFIX)
        self.addCleanup(run, WINE / "stop", PREFIX)
        shutil.copy(PACKAGE / "bin/nexlet_client.dll", self.build)
        run(WINE / "run", self.build / "caller.exe", code=41)


class LinkOf32BitProgramTest(MicrosoftLink, unittest.TestCase):
    """It is not run: the Wine of this machine may have no half for 32-bit programs. tools/debian13 runs such programs."""
    processor, machine, library = "i686", 0x14C, f"{PACKAGE.name}/x86/lib"


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
