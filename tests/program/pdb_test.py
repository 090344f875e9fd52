#!/usr/bin/env python3
"""What a debugger finds with the stripped programs and their PDB files alone: function, file and line of an address.
pdb_test.py SYMBOLIZER PDBUTIL SOURCE_DIR PROGRAM..."""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from pe_file import PeFile

SYMBOLIZER, PDBUTIL, SOURCE_DIR = sys.argv[1:4]
SOURCE_DIR, PROGRAMS = pathlib.Path(SOURCE_DIR), {pathlib.Path(path).name: pathlib.Path(path) for path in sys.argv[4:]}

# Functions of each program: how the symbol begins, how the name reads in the source, and the file of its definition.
FUNCTIONS = {
    "nexlet.exe": (
        ("_Z14KeepCrashDumpsv", "KeepCrashDumps", "host/crash_dump.cpp"),
        ("_Z15DispatchRequest", "DispatchRequest", "ipc/protocol/dispatch.cpp"),
        ("_ZN12CIOCP_Object4StopEv", "CIOCP_Object::Stop", "ipc/transport/iocp_object.cpp"),
        ("_ZN14YYB_API_CLIENT7CYybApi10InitYybApi", "CYybApi::InitYybApi", "open/yyb/yyb_api.cpp"),
        ("_ZN15CommzoltHelperS4InitE", "CommzoltHelperS::Init", "host/helper_host.cpp")),
    "nexctl.exe": (
        ("_ZN7CRunner6Replay", "CRunner::Replay", "nexctl/runner/runner_exchange.cpp"),
        ("_ZN7CRunner6Record", "CRunner::Record", "nexctl/runner/runner_exchange.cpp")),
    "nexlet_client.dll": (
        ("nexlet_open", "nexlet_open", "client/client_api.cpp"),
        ("nexlet_close", "nexlet_close", "client/client_api.cpp"),
        ("_ZN7CCaller8ShutdownEv", "CCaller::Shutdown", "client/caller.cpp")),
}
MACHINE_X86 = 0x14C
# The most lines from the one with the name to the one with the body's brace.
SIGNATURE_LINES = 4


def output(*command):
    return subprocess.run(command, check=True, text=True, capture_output=True).stdout


class PdbTest(unittest.TestCase):
    def setUp(self):
        # Nothing else is beside them: no file for gdb, no objects.
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)
        for path in PROGRAMS.values():
            shutil.copy(path, self.folder)
            shutil.copy(path.with_suffix(".pdb"), self.folder)

    def function_addresses(self, program):
        """The functions that the PDB file lists, with their addresses from the start of the image."""
        file = PeFile(self.folder / program)
        # C names begin with one more underscore in 32-bit programs.
        more = "_" if file.machine == MACHINE_X86 else ""
        listed = output(PDBUTIL, "dump", "-publics", (self.folder / program).with_suffix(".pdb"))
        found = re.findall(r"S_PUB32 .* `(.*)`\n\s+flags = function, addr = (\d+):(\d+)", listed)
        return {name.removeprefix(more): file.sections[int(section) - 1][1] + int(offset) for name, section, offset in found}

    def test_functions_are_found_with_file_and_line(self):
        checked = 0
        for program in PROGRAMS:
            functions = FUNCTIONS[program]
            addresses = self.function_addresses(program)
            for symbol, name, file in functions:
                address, = {address for listed, address in addresses.items()
                            if listed == symbol or symbol.startswith("_Z") and listed.startswith(symbol)}
                said = output(SYMBOLIZER, f"--obj={self.folder / program}", "--relative-address", "--no-inlines", hex(address))
                function, place = said.splitlines()[:2]
                self.assertIn(name, function)
                path, line, _ = place.rsplit(":", 2)
                self.assertTrue(path.replace("\\", "/").endswith(file), place)
                lines = (SOURCE_DIR / file).read_text(encoding="utf-8").splitlines()
                self.assertTrue(any(f"{name}(" in one for one in lines[max(0, int(line) - SIGNATURE_LINES):int(line)]), place)
                checked += 1
        self.assertEqual(checked, 10 if len(PROGRAMS) == 3 else 3)

    def test_exported_functions_have_the_addresses_of_the_export_table(self):
        addresses = self.function_addresses("nexlet_client.dll")
        exports = PeFile(self.folder / "nexlet_client.dll").export_addresses()
        self.assertGreater(len(exports), 20)
        self.assertEqual({name: addresses.get(name) for name in exports}, exports)

    def test_without_the_pdb_file_nothing_is_found(self):
        program = next(iter(PROGRAMS))
        name = FUNCTIONS[program][0][1]
        address = next(address for listed, address in self.function_addresses(program).items() if name in listed)
        (self.folder / program).with_suffix(".pdb").unlink()
        done = subprocess.run([SYMBOLIZER, f"--obj={self.folder / program}", "--relative-address", hex(address)],
                              text=True, capture_output=True)
        self.assertNotIn(name, done.stdout)

    def test_names_no_folder_of_the_build(self):
        for program in PROGRAMS:
            self.assertNotIn(str(SOURCE_DIR).encode(), (self.folder / program).with_suffix(".pdb").read_bytes(), program)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
