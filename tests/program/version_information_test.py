#!/usr/bin/env python3
"""The version information and the manifests of the built files.
version_information_test.py VERSION COMPANY PRODUCT COPYRIGHT FILE..."""
import pathlib
import struct
import sys
import unittest

from pe_file import PeFile

VERSION, COMPANY, PRODUCT, COPYRIGHT = sys.argv[1:5]
FILES = [pathlib.Path(path) for path in sys.argv[5:]]

RT_VERSION, RT_MANIFEST = 16, 24
FIXED_MARK = 0xFEEF04BD
TYPE_PROGRAM, TYPE_LIBRARY = 1, 2
# Current Windows tells its version only to a program that names it.
CURRENT_WINDOWS = "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"


def aligned(at):
    return (at + 3) & ~3


def texts(record):
    """The texts of a version record by their names: blocks of length, value length, kind, name, value, children."""
    found = {}

    def walk(at, end):
        while at < end:
            length, value_length, kind = struct.unpack_from("<HHH", record, at)
            if length == 0:
                return
            name_end = at + 6
            while record[name_end:name_end + 2] != b"\0\0":
                name_end += 2
            name = record[at + 6:name_end].decode("utf-16-le")
            value = aligned(name_end + 2)
            if kind == 1 and value_length:
                found[name] = record[value:value + 2 * value_length].decode("utf-16-le").rstrip("\0")
                children = value + 2 * value_length
            else:
                children = value + value_length
            walk(aligned(children), at + length)
            at = aligned(at + length)

    walk(0, len(record))
    return found


class VersionInformationTest(unittest.TestCase):
    def test_names_company_product_file_and_version(self):
        self.assertGreaterEqual(len(FILES), 9)
        self.assertNotEqual(COMPANY, "")
        for path in FILES:
            with self.subTest(path.name):
                record = PeFile(path).resources()[(RT_VERSION, 1)]
                at = record.index(struct.pack("<I", FIXED_MARK))
                high, low = struct.unpack_from("<II", record, at + 8)
                self.assertEqual(".".join(map(str, [high >> 16, high & 0xFFFF, low >> 16])), VERSION)
                kind, = struct.unpack_from("<I", record, at + 36)
                self.assertEqual(kind, TYPE_LIBRARY if path.suffix == ".dll" else TYPE_PROGRAM)
                said = texts(record)
                self.assertEqual(said["CompanyName"], COMPANY)
                self.assertEqual(said["ProductName"], PRODUCT)
                self.assertEqual(said.get("LegalCopyright", ""), COPYRIGHT)
                self.assertEqual((said["FileVersion"], said["ProductVersion"]), (VERSION, VERSION))
                self.assertEqual((said["OriginalFilename"], said["InternalName"]), (path.name, path.stem))
                self.assertNotEqual(said["FileDescription"], "")

    def test_programs_have_a_manifest_that_asks_for_no_rights(self):
        for path in FILES:
            if path.suffix == ".exe":
                with self.subTest(path.name):
                    manifest = PeFile(path).resources()[(RT_MANIFEST, 1)].decode()
                    self.assertIn('level="asInvoker"', manifest)
                    self.assertIn(CURRENT_WINDOWS, manifest)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
