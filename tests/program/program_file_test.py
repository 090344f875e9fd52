#!/usr/bin/env python3
"""What the built program is as a file.  program_file_test.py nexlet.exe SOURCE_DIR VERSION HOST..."""
import re
import struct
import sys
import unittest
from xml.etree import ElementTree

from pe_file import PeFile

PROGRAM, SOURCE_DIR, VERSION = sys.argv[1:4]
HOSTS = sys.argv[4:]  # of the beacons, the configuration and the reports, as the build sets them

# What a start needs. Every other library of Windows is loaded at its first use, through a table of the program's own.
# ntdll.dll is in every process before it begins.
START_IMPORTS = {"advapi32.dll", "gdi32.dll", "imm32.dll", "kernel32.dll", "msvcrt.dll", "ntdll.dll", "user32.dll"}
DELAY_IMPORT_DIRECTORY = 13

RT_ICON, RT_GROUP_ICON, RT_VERSION, RT_MANIFEST = 3, 14, 16, 24


def wide_texts(data):
    """Every run of six or more printable UTF-16 characters."""
    return [m.group().decode("utf-16-le") for m in re.finditer(rb"(?:[\x20-\x7e]\0){6,}", data)]


class ProgramFileTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.program = PeFile(PROGRAM)

    def test_is_a_64_bit_program_without_a_console(self):
        self.assertEqual(self.program.machine, 0x8664)
        self.assertEqual(self.program.subsystem, 2)

    def test_may_be_loaded_anywhere_and_never_runs_data(self):
        flags = self.program.dll_characteristics
        for name, bit in {"high entropy": 0x20, "dynamic base": 0x40, "no execute": 0x100, "terminal server": 0x8000}.items():
            self.assertTrue(flags & bit, f"{name} is not set in {flags:#x}")
        self.assertIn(".reloc", [section[0] for section in self.program.sections])

    def test_no_section_is_both_writable_and_executable(self):
        for name, _, _, _, flags in self.program.sections:
            self.assertFalse(flags & 0x20000000 and flags & 0x80000000, name)

    def test_imports_what_a_start_needs_and_nothing_else(self):
        self.assertEqual(set(self.program.imports()), START_IMPORTS)

    def test_no_library_is_loaded_late_by_the_linker(self):
        # Its trampolines lose arguments in floating-point registers, search the program's folder, and end the process
        # when a library is missing.
        self.assertEqual(self.program.directory(DELAY_IMPORT_DIRECTORY), (0, 0))

    def test_exports_are_the_two_assignments(self):
        self.assertEqual(sorted(self.program.exports()), [
            "??4OceanDelegate@@QEAAAEAU0@$$QEAU0@@Z", "??4OceanDelegate@@QEAAAEAU0@AEBU0@@Z"])

    def test_carries_no_time_and_no_path_of_the_build(self):
        self.assertEqual(self.program.timestamp, 0)
        export, size = self.program.directory(0)
        self.assertNotEqual(size, 0)
        self.assertEqual(struct.unpack_from("<I", self.program.data, self.program.offset(export) + 4)[0], 0)
        for path in (SOURCE_DIR, "/usr/", "/home/", "/root/", "/tmp/"):
            self.assertNotIn(path.encode(), self.program.data)
            self.assertNotIn(path.encode("utf-16-le"), self.program.data)

    def test_version_resource_is_the_projects(self):
        record = self.program.resources()[(RT_VERSION, 1)]
        at = record.index(struct.pack("<I", 0xFEEF04BD))
        high, low = struct.unpack_from("<II", record, at + 8)
        parts = [high >> 16, high & 0xFFFF, low >> 16]
        self.assertEqual(".".join(map(str, parts)), VERSION)

    def test_manifest_asks_for_no_rights_and_sees_the_system_dpi(self):
        manifest = self.program.resources()[(RT_MANIFEST, 1)].decode()
        self.assertIn('level="asInvoker"', manifest)
        # What is in another namespace is ignored.
        application, settings = "{urn:schemas-microsoft-com:asm.v3}", "{http://schemas.microsoft.com/SMI/2005/WindowsSettings}"
        aware = ElementTree.fromstring(manifest).find(f"{application}application/{application}windowsSettings/{settings}dpiAware")
        self.assertIsNotNone(aware, manifest)
        self.assertEqual("true", aware.text)
        # The system that current Windows reports to programs which name it.
        self.assertIn("{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}", manifest)

    def test_carries_the_pictures_of_the_loading_window(self):
        for number, side in {131: 96, 132: 360}.items():
            picture = self.program.resources()[("PNG", number)]
            self.assertEqual(picture[:8], b"\x89PNG\r\n\x1a\n")
            width, height, depth, colours = struct.unpack_from(">IIBB", picture, 16)
            self.assertEqual((width, height, depth, colours), (side, side, 8, 3), "a palette picture of that size")

    def test_has_an_icon_in_all_usual_sizes(self):
        resources = self.program.resources()
        group = resources[(RT_GROUP_ICON, 1)]
        _, kind, count = struct.unpack_from("<HHH", group)
        self.assertEqual(kind, 1)
        sizes = []
        for i in range(count):
            width, height, _, _, _, bits, size, number = struct.unpack_from("<BBBBHHIH", group, 6 + 14 * i)
            sizes.append(width or 256)
            self.assertEqual((height, bits), (width, 32))
            self.assertEqual(len(resources[(RT_ICON, number)]), size)
        self.assertEqual(sizes, [16, 24, 32, 48, 64, 256])

    def test_talks_to_the_hosts_that_the_build_sets_and_to_no_other(self):
        urls = (re.match("https?://([^/?]+)", text) for text in wide_texts(self.program.data))
        self.assertEqual({url[1] for url in urls if url}, set(HOSTS))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
