#!/usr/bin/env python3
"""What the package holds, and that it is the same whenever it is made.
package_test.py SOURCE_DIR BUILD_DIR VERSION NINJA OUT

Leaves the package in OUT and, unpacked, in OUT/unpacked for the test of the example."""
import hashlib
import json
import pathlib
import re
import runpy
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zipfile
import zlib

SOURCE_DIR, BUILD_DIR, VERSION, NINJA, OUT = sys.argv[1:6]
SOURCE_DIR, BUILD_DIR, OUT = pathlib.Path(SOURCE_DIR), pathlib.Path(BUILD_DIR), pathlib.Path(OUT)

sys.dont_write_bytecode = True
sys.path.insert(0, str(SOURCE_DIR / "tests" / "program"))
from pe_file import PeFile  # noqa: E402
from relink import relink  # noqa: E402

NAME = f"nexlet-{VERSION}-windows-x64"
MADE = {f"{NAME}.zip", f"{NAME}-symbols.zip", f"{NAME}.cdx.json", "SHA256SUMS"}
PROGRAMS = ["bin/nexctl.exe", "bin/nexlet.exe", "bin/nexlet_client.dll"]
CONTENTS = PROGRAMS + [
    "CHANGELOG.md",
    "docs/beacons.md", "docs/client.md", "docs/envelope.md", "docs/package.md", "docs/pictures/doctor.png",
    "docs/pictures/timeline.png", "docs/protocol.md", "docs/refusals.md",
    "docs/registry.md", "docs/signer-check.md", "docs/threats.md", "docs/troubleshooting.md",
    "examples/caller/CMakeLists.txt", "examples/caller/caller.cpp",
    "include/nexlet_client.h", "include/nexlet_client.hpp",
    "lib/cmake/nexlet/nexlet-config-version.cmake", "lib/cmake/nexlet/nexlet-config.cmake",
    "lib/cmake/nexlet/nexlet-targets-relwithdebinfo.cmake", "lib/cmake/nexlet/nexlet-targets.cmake",
    "lib/nexlet_client.def", "lib/nexlet_client.dll.a",
    "licenses/THIRD-PARTY.md", "licenses/gcc-runtime.txt", "licenses/jsoncpp.txt", "licenses/mingw-w64.txt",
    "sbom.cdx.json"]


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def make_package(out):
    subprocess.run([SOURCE_DIR / "tools" / "package", "--build-dir", BUILD_DIR, "--out", out], check=True,
                   stdout=subprocess.DEVNULL)


def debug_link(pe):
    """The name and the checksum by which a program refers to its debug information."""
    for name, _, size, raw, _ in pe.sections:
        # A long name stands in the table of strings, behind the symbols of which there are none.
        if name == ".gnu_debuglink" or name.startswith("/"):
            data = pe.data[raw:raw + size]
            end = data.find(b"\0")
            if end > 0 and data[:end].endswith(b".debug"):
                return data[:end].decode(), struct.unpack_from("<I", data, (end + 4) & ~3)[0]
    raise AssertionError("no link to debug information")


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(OUT, ignore_errors=True)
        make_package(OUT)
        cls.zip = zipfile.ZipFile(OUT / f"{NAME}.zip")
        cls.symbols = zipfile.ZipFile(OUT / f"{NAME}-symbols.zip")
        cls.zip.extractall(OUT / "unpacked")
        cls.unpacked = OUT / "unpacked" / NAME
        cls.bill = json.loads((OUT / f"{NAME}.cdx.json").read_text(encoding="utf-8"))

    @classmethod
    def tearDownClass(cls):
        cls.zip.close()
        cls.symbols.close()

    def assert_same_package(self, out):
        for name in sorted(MADE):
            self.assertEqual(sha256((out / name).read_bytes()), sha256((OUT / name).read_bytes()), name)

    def test_four_files_are_made(self):
        self.assertEqual({file.name for file in OUT.iterdir() if file.is_file()}, MADE)

    def test_zip_holds_exactly_what_it_should(self):
        self.assertEqual(self.zip.namelist(), sorted(f"{NAME}/{name}" for name in CONTENTS))
        for entry in self.zip.infolist():
            self.assertGreater(entry.file_size, 0, entry.filename)

    def test_symbols_are_apart_and_are_those_that_the_programs_refer_to(self):
        self.assertEqual(self.symbols.namelist(), [f"{NAME}/{name}.debug" for name in PROGRAMS])
        for name in PROGRAMS:
            link, checksum = debug_link(PeFile(self.unpacked / name))
            self.assertEqual(link, pathlib.Path(name).name + ".debug")
            self.assertEqual(zlib.crc32(self.symbols.read(f"{NAME}/{name}.debug")), checksum, name)

    def test_nothing_in_it_tells_when_or_where_it_was_made(self):
        for archive in (self.zip, self.symbols):
            for entry in archive.infolist():
                self.assertEqual(entry.date_time, (1980, 1, 1, 0, 0, 0), entry.filename)
                self.assertEqual((entry.external_attr, entry.extra, entry.comment), (0o100644 << 16, b"", b""))
        for name in CONTENTS:
            data = (self.unpacked / name).read_bytes()
            for path in (SOURCE_DIR, BUILD_DIR, "/home/", "/root/", "/tmp/"):
                self.assertNotIn(str(path).encode(), data, name)

    def test_library_needs_nothing_but_windows(self):
        library = PeFile(self.unpacked / "bin/nexlet_client.dll")
        self.assertLessEqual(set(library.imports()), {"advapi32.dll", "kernel32.dll", "msvcrt.dll"})

    def test_console_needs_windows_and_the_library(self):
        imports = set(PeFile(self.unpacked / "bin/nexctl.exe").imports())
        self.assertIn("nexlet_client.dll", imports)
        self.assertLessEqual(imports, {"nexlet_client.dll", "advapi32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll",
                                       "ole32.dll", "psapi.dll", "shell32.dll", "shlwapi.dll", "user32.dll", "version.dll"})

    def test_exports_are_those_of_the_definition_file_and_of_the_import_library(self):
        exports = sorted(PeFile(self.unpacked / "bin/nexlet_client.dll").exports())
        listed = re.findall(r"^\s+(nexlet_\w+)", (self.unpacked / "lib/nexlet_client.def").read_text(), re.M)
        self.assertEqual(sorted(listed), exports)
        symbols = (self.unpacked / "lib/nexlet_client.dll.a").read_bytes()
        for name in exports:
            self.assertIn(f"__imp_{name}\0".encode(), symbols)

    def test_checksums_match(self):
        lines = (OUT / "SHA256SUMS").read_text(encoding="utf-8").splitlines()
        listed = dict(reversed(line.split("  ")) for line in lines)
        self.assertEqual(set(listed), MADE - {"SHA256SUMS"})
        for name, digest in listed.items():
            self.assertEqual(sha256((OUT / name).read_bytes()), digest, name)

    def test_bill_of_materials_names_what_is_inside(self):
        self.assertEqual((self.unpacked / "sbom.cdx.json").read_bytes(), (OUT / f"{NAME}.cdx.json").read_bytes())
        self.assertEqual((self.bill["bomFormat"], self.bill["specVersion"]), ("CycloneDX", "1.5"))
        self.assertEqual(self.bill["metadata"]["component"]["version"], VERSION)
        parts = {part["bom-ref"]: part for part in self.bill["components"]}
        self.assertEqual(len(parts), len(self.bill["components"]), "a reference is used twice")
        linked = {"JsonCpp", "libgcc", "libssp", "libstdc++", "mingw-w64 runtime", "winpthreads"}
        self.assertEqual(set(parts), linked | set(PROGRAMS))
        self.assertEqual(parts["JsonCpp"]["version"], "1.9.5")
        for name in linked:
            self.assertTrue(parts[name]["licenses"], name)
            self.assertRegex(parts[name]["version"], r"^\d+\.\d+\.\d+$", name)
        for name in PROGRAMS:
            self.assertEqual(parts[name]["hashes"], [{"alg": "SHA-256", "content": sha256((self.unpacked / name).read_bytes())}])
        for link in self.bill["dependencies"]:
            self.assertLessEqual(set(link["dependsOn"]), set(parts))
            self.assertTrue(link["ref"] == "nexlet" or linked <= set(link["dependsOn"]), link["ref"])

    def test_bill_of_materials_has_no_time_and_no_serial_number(self):
        self.assertNotIn("serialNumber", self.bill)
        self.assertNotIn("timestamp", self.bill["metadata"])

    def test_licences_are_the_texts_and_not_a_word_about_them(self):
        for name, words in {"jsoncpp": "Permission is hereby granted, free of charge",
                            "mingw-w64": "Redistributions in source code must retain the accompanying",
                            "gcc-runtime": "GCC Runtime Library Exception"}.items():
            text = (self.unpacked / f"licenses/{name}.txt").read_text(encoding="utf-8")
            # Where the distribution has no text of it, the build puts a notice of one line in its place.
            if name == "jsoncpp" or pathlib.Path("/usr/share/doc/mingw-w64-x86-64-dev/copyright").exists():
                self.assertIn(words.lower(), re.sub(r"\s+", " ", text).lower(), name)
            self.assertIn(f"`{name}.txt`", (self.unpacked / "licenses/THIRD-PARTY.md").read_text(encoding="utf-8"))

    def test_links_between_the_documents_lead_somewhere(self):
        for page in sorted(self.unpacked.rglob("*.md")):
            for target in re.findall(r"\]\(([^)#]+)[^)]*\)", page.read_text(encoding="utf-8")):
                if not target.startswith(("http:", "https:")):
                    self.assertTrue((page.parent / target).exists(), f"{page.name} refers to {target}")

    def test_is_the_same_when_made_twice(self):
        with tempfile.TemporaryDirectory() as folder:
            make_package(pathlib.Path(folder))
            self.assert_same_package(pathlib.Path(folder))

    def test_is_the_same_after_all_programs_were_linked_again(self):
        if not NINJA:
            self.skipTest("only Ninja tells how a program is linked")
        tool = runpy.run_path(str(SOURCE_DIR / "tools" / "package"))
        with tempfile.TemporaryDirectory(dir=BUILD_DIR) as folder:
            folder = pathlib.Path(folder)
            linked, package, symbols, out = (folder / name for name in ("linked", "package", "symbols", "out"))
            tool["install"](BUILD_DIR, package, *tool["COMPONENTS"])
            for name in PROGRAMS:
                linked.mkdir(exist_ok=True)
                again = relink(NINJA, BUILD_DIR, name, linked)
                shutil.copy(again, package / name)
                (symbols / "bin").mkdir(parents=True, exist_ok=True)
                shutil.copy(f"{again}.debug", symbols / "bin")
            shutil.copy(linked / "client/nexlet_client.dll.a", package / "lib")
            tool["pack"](tool["read_facts"](BUILD_DIR), package, symbols, out)
            self.assert_same_package(out)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
