#!/usr/bin/env python3
"""What the caller's library is as a file.  client_library_file_test.py nexlet_client.dll HEADER SOURCE_DIR VERSION POINTER_BYTES"""
import re
import struct
import sys
import unittest

from pe_file import PeFile

LIBRARY, HEADER, SOURCE_DIR, VERSION = sys.argv[1:5]
IS_64_BIT = sys.argv[5] == "8"

RT_VERSION = 16


class ClientLibraryFileTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.library = PeFile(LIBRARY)
        with open(HEADER, encoding="utf-8") as file:
            cls.header = file.read()

    def test_is_a_library_for_its_processor(self):
        self.assertEqual(self.library.machine, 0x8664 if IS_64_BIT else 0x14C)
        self.assertTrue(struct.unpack_from("<H", self.library.data, self.library.nt + 22)[0] & 0x2000)

    def test_exports_exactly_what_the_header_declares(self):
        declared = sorted(re.findall(r"NEXLET_API [^;]*?NEXLET_CALL (nexlet_\w+)\(", self.header))
        self.assertGreater(len(declared), 20)
        self.assertEqual(sorted(self.library.exports()), declared)

    def test_needs_no_library_that_windows_does_not_ship(self):
        self.assertLessEqual(set(self.library.imports()), {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "user32.dll"})

    def test_may_be_loaded_anywhere_and_never_runs_data(self):
        flags = self.library.dll_characteristics
        bits = {"dynamic base": 0x40, "no execute": 0x100}
        # Addresses of 32 bits have no room for more; there an address in the library is never taken for a handler of
        # exceptions.
        bits.update({"high entropy": 0x20} if IS_64_BIT else {"no exception handlers": 0x400})
        for name, bit in bits.items():
            self.assertTrue(flags & bit, f"{name} is not set in {flags:#x}")
        for name, _, _, _, flags in self.library.sections:
            self.assertFalse(flags & 0x20000000 and flags & 0x80000000, name)

    def test_carries_no_time_and_no_path_of_the_build(self):
        self.assertEqual(self.library.timestamp, 0)
        for path in (SOURCE_DIR, "/usr/", "/home/", "/root/", "/tmp/"):
            self.assertNotIn(path.encode(), self.library.data)

    def test_version_resource_is_the_projects(self):
        record = self.library.resources()[(RT_VERSION, 1)]
        at = record.index(struct.pack("<I", 0xFEEF04BD))
        high, low = struct.unpack_from("<II", record, at + 8)
        self.assertEqual(".".join(map(str, [high >> 16, high & 0xFFFF, low >> 16])), VERSION)
        self.assertIn("nexlet_client.dll".encode("utf-16-le"), record)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
