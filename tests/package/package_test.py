#!/usr/bin/env python3
"""What the package holds, and that it is the same whenever it is made.
package_test.py SOURCE_DIR BUILD_DIR VERSION NINJA OUT X86_BUILD_DIR

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
import uuid
import zipfile
import zlib

SOURCE_DIR, BUILD_DIR, VERSION, NINJA, OUT, X86_BUILD_DIR = sys.argv[1:7]
SOURCE_DIR, BUILD_DIR, OUT = pathlib.Path(SOURCE_DIR), pathlib.Path(BUILD_DIR), pathlib.Path(OUT)
X86_BUILD_DIR = pathlib.Path(X86_BUILD_DIR)

sys.dont_write_bytecode = True
sys.path.insert(0, str(SOURCE_DIR / "tests" / "program"))
from import_library import MACHINE_X64, MACHINE_X86, NAME_AS_IS, NAME_WITHOUT_PREFIX, TYPE_CODE, ImportLibrary  # noqa: E402
from pe_file import PeFile  # noqa: E402
from relink import relink  # noqa: E402

NAME = f"nexlet-{VERSION}-windows-x64"
# gcc makes no PDB files.
PDB = json.loads((BUILD_DIR / "package/facts.json").read_text(encoding="utf-8"))["compiler_id"] == "Clang"
MADE = {f"{NAME}.zip", f"{NAME}-symbols.zip", f"{NAME}-world.zip", f"{NAME}.cdx.json", f"{NAME}-world.cdx.json",
        "SHA256SUMS"}
PROGRAMS = ["bin/nexctl.exe", "bin/nexlet.exe", "bin/nexlet_client.dll"]
LIBRARY_X86 = "x86/bin/nexlet_client.dll"
STATIC_LIBRARY = "lib/libnexlet_client_static.a"
CONTENTS = [*PROGRAMS, LIBRARY_X86] + [
    "CHANGELOG.md", "README.md",
    "docs/beacons.md", "docs/client.md", "docs/crash.md", "docs/envelope.md", "docs/glossary.md", "docs/log-lines.md", "docs/nexctl.md", "docs/nexlet.md", "docs/package.md", "docs/pictures/doctor.png",
    "docs/pictures/timeline.png", "docs/protocol.md", "docs/reference.html", "docs/refusals.md",
    "docs/registry.md", "docs/signer-check.md", "docs/threats.md", "docs/troubleshooting.md", "docs/windows.md",
    "examples/CMakeLists.txt", "examples/README.md", "examples/c_caller.c",
    "examples/caller/CMakeLists.txt", "examples/caller/caller.cpp",
    *(f"examples/exchanges/{name}.exchange" for name in ("bare", "fails", "missing", "open", "products", "refusals",
                                                         "refuses", "requests", "screen-saver", "words")),
    "examples/message_loop.c", "examples/restart.cpp",
    *(f"examples/standin/{name}" for name in ("CMakeLists.txt", "crashes.scenario", "opens.scenario",
                                              "refuses.scenario")),
    "examples/targets.cpp", "examples/two_services.cpp",
    "include/nexlet_client.h", "include/nexlet_client.hpp",
    "lib/cmake/nexlet/nexlet-config-version.cmake", "lib/cmake/nexlet/nexlet-config.cmake",
    "lib/cmake/nexlet/nexlet-targets-relwithdebinfo.cmake", "lib/cmake/nexlet/nexlet-targets.cmake",
    "lib/libnexlet_client_static.a", "lib/nexlet_client.def", "lib/nexlet_client.dll.a", "lib/nexlet_client.lib",
    "lib/pkgconfig/nexlet_client.pc", "lib/pkgconfig/nexlet_client_static.pc",
    "licenses/THIRD-PARTY.md", "licenses/gcc-runtime.txt", "licenses/jsoncpp.txt", "licenses/mingw-w64.txt",
    "licenses/zlib.txt",
    "packaging/nuget/nexlet.nuspec", "packaging/nuget/nexlet.targets", "packaging/vcpkg/nexlet/portfile.cmake",
    "packaging/vcpkg/nexlet/usage", "packaging/vcpkg/nexlet/vcpkg.json",
    "sbom.cdx.json",
    "x86/lib/nexlet_client.def", "x86/lib/nexlet_client.dll.a", "x86/lib/nexlet_client.lib"]
OCEANS = ["broken", "failing", "good", "inside", "inside_thread", "late", "missing_export", "refusing", "unknown_id"]
YYB = {"good": ["AndrowsInstaller.exe", "pcyyb_sdk_dll.dll", "qimei.dll"], "missing_export": ["pcyyb_sdk_dll.dll"],
       "newer": ["pcyyb_sdk_dll.dll"], "old": ["AndrowsInstaller.exe", "pcyyb_sdk_dll.dll"],
       "older": ["pcyyb_sdk_dll.dll"], "stranger": ["AndrowsInstaller.exe", "pcyyb_sdk_dll.dll", "qimei.dll"],
       "unsigned": ["pcyyb_sdk_dll.dll", "qimei.dll"]}
WORLD_CONTENTS = [
    "README-world.md",
    "bin/nexlet-standin.exe", "bin/nexlet-world.exe",
    *(f"bin/world/{name}.exe" for name in ("WeChat", "internet", "monitor", "stand_in")),
    *(f"bin/world/{variant}/ocean.dll" for variant in OCEANS),
    "bin/world/yyb/androws_logo.png",
    *(f"bin/world/yyb/{variant}/{file}" for variant, files in YYB.items() for file in files),
    *(f"examples/conformance/{name}.scenario" for name in ("bare", "fails", "missing", "products", "refuses",
                                                           "screen-saver")),
    *(f"examples/world/{name}.scenario" for name in ("fails", "opens", "page", "yyb")),
    "licenses/THIRD-PARTY.md", "licenses/gcc-runtime.txt", "licenses/jsoncpp.txt", "licenses/mingw-w64.txt",
    "licenses/zlib.txt",
    "world/README.md", "world/sbom.cdx.json"]

# Of the schema of CycloneDX 1.5, as far as these bills use it: the members that an object may have, and must have.
BILL_MEMBERS = {"bomFormat", "specVersion", "serialNumber", "version", "metadata", "components", "services",
                "externalReferences", "dependencies", "compositions", "vulnerabilities", "annotations", "formulation",
                "properties", "signature", "$schema"}
COMPONENT_MEMBERS = {"type", "mime-type", "bom-ref", "supplier", "author", "publisher", "group", "name", "version",
                     "description", "scope", "hashes", "licenses", "copyright", "cpe", "purl", "swid", "modified",
                     "pedigree", "externalReferences", "components", "evidence", "releaseNotes", "modelCard", "data",
                     "properties", "signature"}
COMPONENT_TYPES = {"application", "framework", "library", "container", "platform", "operating-system", "device",
                   "device-driver", "firmware", "file", "machine-learning-model", "data"}
HASH_BYTES = {"MD5": 16, "SHA-1": 20, "SHA-256": 32, "SHA-384": 48, "SHA-512": 64}
REFERENCE_TYPES = {"vcs", "issue-tracker", "website", "advisories", "bom", "mailing-list", "social", "chat",
                   "documentation", "support", "distribution", "distribution-intake", "license", "build-meta",
                   "build-system", "release-notes", "security-contact", "other"}
LICENSE_IDS = {"Zlib", "MIT", "ZPL-2.1", "BSD-3-Clause", "GPL-3.0-or-later"}


def sha256(data):
    return hashlib.sha256(data).hexdigest()


def make_package(out):
    subprocess.run([SOURCE_DIR / "tools" / "package", "--build-dir", BUILD_DIR,
                    "--x86-build-dir", X86_BUILD_DIR, "--out", out], check=True,
                   stdout=subprocess.DEVNULL)


def debug_link(pe):
    """The name and the checksum by which a program refers to its debug information."""
    for name, _, size, raw, _ in pe.sections:
        # A long name is in the table of strings, which follows the (empty) table of symbols.
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
        cls.tool = runpy.run_path(str(SOURCE_DIR / "tools" / "package"))
        cls.zip = zipfile.ZipFile(OUT / f"{NAME}.zip")
        cls.symbols = zipfile.ZipFile(OUT / f"{NAME}-symbols.zip")
        cls.world = zipfile.ZipFile(OUT / f"{NAME}-world.zip")
        cls.zip.extractall(OUT / "unpacked")
        cls.world.extractall(OUT / "unpacked_world")
        cls.unpacked = OUT / "unpacked" / NAME
        cls.unpacked_world = OUT / "unpacked_world" / NAME
        cls.bill = json.loads((OUT / f"{NAME}.cdx.json").read_text(encoding="utf-8"))
        cls.world_bill = json.loads((OUT / f"{NAME}-world.cdx.json").read_text(encoding="utf-8"))
        cls.bills = ((cls.bill, cls.unpacked, CONTENTS, "sbom.cdx.json"),
                     (cls.world_bill, cls.unpacked_world, WORLD_CONTENTS, "world/sbom.cdx.json"))

    @classmethod
    def tearDownClass(cls):
        cls.zip.close()
        cls.world.close()
        cls.symbols.close()

    def assert_same_package(self, out):
        for name in sorted(MADE):
            self.assertEqual(sha256((out / name).read_bytes()), sha256((OUT / name).read_bytes()), name)

    def test_six_files_are_made(self):
        self.assertEqual({file.name for file in OUT.iterdir() if file.is_file()}, MADE)

    def test_zip_holds_exactly_what_it_should(self):
        self.assertEqual(self.zip.namelist(), sorted(f"{NAME}/{name}" for name in CONTENTS))
        for entry in self.zip.infolist():
            self.assertGreater(entry.file_size, 0, entry.filename)

    def test_world_holds_exactly_what_it_should_and_lies_over_the_package(self):
        self.assertEqual(self.world.namelist(), sorted(f"{NAME}/{name}" for name in WORLD_CONTENTS))
        for name in set(WORLD_CONTENTS) & set(CONTENTS):
            self.assertEqual((self.unpacked_world / name).read_bytes(), (self.unpacked / name).read_bytes(), name)

    def test_programs_of_the_world_need_nothing_but_windows(self):
        for name in WORLD_CONTENTS:
            if name.endswith((".exe", ".dll")) and "/broken/" not in name:
                self.assertLessEqual(set(PeFile(self.unpacked_world / name).imports()),
                                     {"advapi32.dll", "bcrypt.dll", "crypt32.dll", "gdi32.dll", "kernel32.dll",
                                      "msvcrt.dll", "ole32.dll", "psapi.dll", "shell32.dll", "shlwapi.dll",
                                      "user32.dll", "version.dll", "ws2_32.dll"}, name)

    def test_symbols_are_apart_and_are_those_that_the_programs_refer_to(self):
        self.assertEqual([name for name in self.symbols.namelist() if "/symbols/" not in name],
                         [f"{NAME}/README-symbols.md", *(f"{NAME}/{name}.debug" for name in [*PROGRAMS, LIBRARY_X86])])
        for name in [*PROGRAMS, LIBRARY_X86]:
            link, checksum = debug_link(PeFile(self.unpacked / name))
            self.assertEqual(link, pathlib.Path(name).name + ".debug")
            self.assertEqual(zlib.crc32(self.symbols.read(f"{NAME}/{name}.debug")), checksum, name)

    def test_pdb_files_are_where_a_symbol_server_has_them_and_are_those_that_the_programs_refer_to(self):
        expected = []
        # clang makes the library for x86 in any case.
        for name in [*(PROGRAMS if PDB else []), LIBRARY_X86]:
            guid, age, pdb = PeFile(self.unpacked / name).pdb()
            self.assertEqual(pdb, pathlib.Path(name).stem + ".pdb")
            id_ = uuid.UUID(bytes_le=guid).hex.upper() + f"{age:X}"
            expected.append(f"{NAME}/symbols/{pdb}/{id_}/{pdb}")
            data = self.symbols.read(expected[-1])
            # Its first bytes, and the GUID in the stream that describes the file.
            self.assertTrue(data.startswith(b"Microsoft C/C++ MSF 7.00"), name)
            self.assertIn(guid, data, name)
        self.assertEqual([name for name in self.symbols.namelist() if "/symbols/" in name], sorted(expected))

    def test_nothing_in_it_tells_when_or_where_it_was_made(self):
        for archive in (self.zip, self.symbols, self.world):
            for entry in archive.infolist():
                self.assertEqual(entry.date_time, (1980, 1, 1, 0, 0, 0), entry.filename)
                self.assertEqual((entry.external_attr, entry.extra, entry.comment), (0o100644 << 16, b"", b""))
        for folder, names in ((self.unpacked, CONTENTS), (self.unpacked_world, WORLD_CONTENTS)):
            for name in names:
                data = (folder / name).read_bytes()
                for path in (SOURCE_DIR, BUILD_DIR, "/home/", "/root/", "/tmp/"):
                    self.assertNotIn(str(path).encode(), data, name)
        for name in self.symbols.namelist():
            self.assertNotIn(str(SOURCE_DIR).encode(), self.symbols.read(name), name)

    def test_library_needs_nothing_but_windows(self):
        for path in ("bin/nexlet_client.dll", LIBRARY_X86):
            self.assertLessEqual(set(PeFile(self.unpacked / path).imports()),
                                 {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "user32.dll"}, path)

    def test_console_needs_windows_and_the_library(self):
        imports = set(PeFile(self.unpacked / "bin/nexctl.exe").imports())
        self.assertIn("nexlet_client.dll", imports)
        self.assertLessEqual(imports, {"nexlet_client.dll", "advapi32.dll", "bcrypt.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll",
                                       "ole32.dll", "psapi.dll", "shell32.dll", "shlwapi.dll", "user32.dll", "version.dll"})

    def test_exports_are_those_of_the_definition_file_and_of_the_import_library(self):
        # Names in 32-bit objects begin with an underscore, those of the exports do not.
        for top, before in (("", ""), ("x86/", "_")):
            with self.subTest(top):
                exports = sorted(PeFile(self.unpacked / top / "bin/nexlet_client.dll").exports())
                listed = re.findall(r"^\s+(nexlet_\w+)", (self.unpacked / top / "lib/nexlet_client.def").read_text(), re.M)
                self.assertEqual(sorted(listed), exports)
                symbols = (self.unpacked / top / "lib/nexlet_client.dll.a").read_bytes()
                for name in exports:
                    self.assertIn(f"__imp_{before}{name}\0".encode(), symbols)

    def test_import_library_for_microsofts_linker_is_in_the_short_form(self):
        for top, machine, before, name_type in (("", MACHINE_X64, "", NAME_AS_IS),
                                                ("x86/", MACHINE_X86, "_", NAME_WITHOUT_PREFIX)):
            with self.subTest(top):
                library = ImportLibrary(self.unpacked / top / "lib/nexlet_client.lib")
                exports = sorted(before + name for name in PeFile(self.unpacked / top / "bin/nexlet_client.dll").exports())
                self.assertEqual(sorted(one.name for one in library.imports), exports)
                for one in library.imports:
                    self.assertEqual((one.version, one.machine, one.time), (0, machine, 0), one.name)
                    self.assertEqual((one.type, one.name_type), (TYPE_CODE, name_type), one.name)
                    self.assertEqual(one.library, "nexlet_client.dll")
                # The descriptor of the library, the end of the list of descriptors, the end of its list of addresses.
                self.assertEqual(library.others, [[".idata$2", ".idata$6"], [".idata$3"], [".idata$5", ".idata$4"]])
                self.assertEqual(library.times, {0})
                # The one for mingw-w64: binutils writes the other form, lld the same.
                own = [one.name for one in ImportLibrary(self.unpacked / top / "lib/nexlet_client.dll.a").imports]
                self.assertEqual(sorted(own), exports if PDB or top else [])

    def test_checksums_match(self):
        lines = (OUT / "SHA256SUMS").read_text(encoding="utf-8").splitlines()
        listed = dict(reversed(line.split("  ")) for line in lines)
        self.assertEqual(set(listed), MADE - {"SHA256SUMS"})
        for name, digest in listed.items():
            self.assertEqual(sha256((OUT / name).read_bytes()), digest, name)

    def test_bills_of_materials_keep_to_their_schema(self):
        for bill, _, _, _ in self.bills:
            self.assertLessEqual(set(bill), BILL_MEMBERS)
            self.assertEqual((bill["bomFormat"], bill["specVersion"]), ("CycloneDX", "1.5"))
            self.assertIs(type(bill["version"]), int)
            self.assertGreaterEqual(bill["version"], 1)
            self.assertEqual(set(bill["metadata"]), {"authors", "component", "supplier"})
            components = [bill["metadata"]["component"], *bill["components"]]
            for component in components:
                self.check_component(component)
            references = [component["bom-ref"] for component in components]
            self.assertEqual(len(references), len(set(references)), "a reference is used twice")
            links = bill["dependencies"]
            self.assertEqual(len(links), len({link["ref"] for link in links}), "two lists of dependencies of one")
            for link in links:
                self.assertEqual(set(link), {"ref", "dependsOn"})
                self.assertLessEqual({link["ref"], *link["dependsOn"]}, set(references))
                self.assertEqual(len(link["dependsOn"]), len(set(link["dependsOn"])), link["ref"])

    def check_component(self, component):
        name = component["name"]
        self.assertLessEqual(set(component), COMPONENT_MEMBERS, name)
        self.assertIn(component["type"], COMPONENT_TYPES, name)
        for member in ("name", "version", "bom-ref", "purl"):
            if member in component:
                self.assertRegex(component[member], r"^\S(.*\S)?$", name)
        self.assertRegex(component.get("purl", "pkg:deb/debian/x@1"), r"^pkg:[a-z]+/[^@\s]+@[^@\s]+$")
        self.check_hashes(component.get("hashes", []))
        if "supplier" in component:
            self.assertEqual(set(component["supplier"]), {"name"}, name)
            self.assertIs(type(component["author"]), str, name)
        for reference in component.get("externalReferences", []):
            self.assertLessEqual({"type", "url"}, set(reference))
            self.assertLessEqual(set(reference), {"type", "url", "comment", "hashes"})
            self.assertIn(reference["type"], REFERENCE_TYPES)
            self.check_hashes(reference.get("hashes", []))
        licenses = component.get("licenses", [])
        for one in licenses:
            if "expression" in one:
                self.assertEqual((set(one), len(licenses)), ({"expression"}, 1), name)
                ids = re.split(r" (?:AND|OR|WITH) ", one["expression"])
                self.assertLessEqual(set(ids), LICENSE_IDS | {"GCC-exception-3.1"}, name)
            else:
                self.assertEqual((set(one), set(one["license"])), ({"license"}, {"id"}), name)
                self.assertIn(one["license"]["id"], LICENSE_IDS, name)

    def check_hashes(self, hashes):
        for one in hashes:
            self.assertEqual(set(one), {"alg", "content"})
            self.assertRegex(one["content"], "^[0-9a-f]{%d}$" % (2 * HASH_BYTES[one["alg"]]))

    def test_bills_of_materials_name_every_file_with_its_hash(self):
        for bill, folder, contents, own in self.bills:
            self.assertEqual(json.loads((folder / own).read_text(encoding="utf-8")), bill)
            listed = {part["name"]: part for part in bill["components"] if "hashes" in part}
            self.assertEqual(sorted(listed), sorted(set(contents) - {own}), "a bill cannot hold its own hash")
            for name, part in listed.items():
                data = (folder / name).read_bytes()
                self.assertEqual(part["hashes"], [{"alg": "SHA-256", "content": sha256(data)}], name)
                self.assertEqual(part["type"] == "file", data[:2] != b"MZ" and name != STATIC_LIBRARY, name)

    def test_bills_of_materials_name_what_is_linked_in(self):
        shared = {"JsonCpp", "libgcc", "libssp", "libstdc++", "mingw-w64 runtime", "winpthreads"}
        for bill, folder, _, _ in self.bills:
            linked = shared | ({"zlib"} | {f"{name} for x86" for name in shared - {"JsonCpp"}} if bill is self.bill else set())
            self.assertEqual(bill["metadata"]["component"]["version"], VERSION)
            parts = {part["bom-ref"]: part for part in bill["components"]}
            self.assertEqual({name for name, part in parts.items() if "hashes" not in part}, linked)
            self.assertEqual(parts["JsonCpp"]["version"], "1.9.5")
            for name in linked:
                self.assertTrue(parts[name]["licenses"], name)
                self.assertRegex(parts[name]["version"], r"^\d+\.\d+\.\d+$", name)
            links = {link["ref"]: set(link["dependsOn"]) for link in bill["dependencies"]}
            programs = {name for name, part in parts.items() if part["type"] != "file" and "hashes" in part}
            self.assertEqual(set(links), programs | {bill["metadata"]["component"]["bom-ref"]})
            for name in programs - {STATIC_LIBRARY}:
                data = (folder / name).read_bytes()
                mark = " for x86" if name == LIBRARY_X86 else ""
                self.assertEqual({part.endswith(" for x86") for part in links[name] - {"JsonCpp", "zlib", PROGRAMS[2]}}, {mark != ""})
                self.assertLessEqual({f"libgcc{mark}", f"mingw-w64 runtime{mark}"}, links[name], name)
                # What these two leave in every program that has them.
                self.assertEqual("JsonCpp" in links[name], b"in Json::Value" in data, name)
                self.assertEqual(f"libstdc++{mark}" in links[name], b"terminate called" in data, name)
                self.assertEqual("zlib" in links[name], b"Jean-loup Gailly and Mark Adler" in data, name)
        links = {link["ref"]: link["dependsOn"] for link in self.bill["dependencies"]}
        self.assertIn("bin/nexlet_client.dll", links["bin/nexctl.exe"])
        self.assertEqual(links[STATIC_LIBRARY], ["JsonCpp"], "the program that links it brings the rest")

    def test_bills_of_materials_name_supplier_and_author_as_the_build_sets_them(self):
        cache = (BUILD_DIR / "CMakeCache.txt").read_text(encoding="utf-8")
        company, author, owner = (re.search(f"^NEXLET_{name}:STRING=(.*)$", cache, re.M)[1]
                                  for name in ("COMPANY_NAME", "AUTHOR", "COPYRIGHT"))
        for bill, folder, _, own in self.bills:
            # The same folder under other settings.
            other = {**self.tool["read_facts"](BUILD_DIR), "company": "A company", "author": "An author",
                     "copyright": "A line"}
            made = json.loads(self.tool["bill_of_materials"](other, "x", folder, lambda path, parts: []))
            for one, names in ((bill, (company, author, owner)), (made, ("A company", "An author", "A line"))):
                self.assertEqual(one["metadata"]["supplier"], {"name": names[0]})
                self.assertEqual(one["metadata"]["authors"], [{"name": names[1]}])
                programs = [part for part in one["components"] if part["type"] != "file" and "hashes" in part]
                self.assertGreater(len(programs), 2)
                for part in [*programs, one["metadata"]["component"]]:
                    self.assertEqual((part["supplier"]["name"], part["author"], part.get("copyright", "")), names,
                                     part["name"])
                for part in one["components"]:
                    if "hashes" not in part:
                        self.assertEqual(part["supplier"], {"name": "Debian"}, part["name"])
                        self.assertNotIn(part["author"], (names[1], ""), part["name"])

    def test_bills_of_materials_have_no_time_and_no_serial_number(self):
        for bill, _, _, _ in self.bills:
            self.assertNotIn("serialNumber", bill)
            self.assertNotIn("timestamp", bill["metadata"])

    def test_licences_are_the_texts_and_not_a_word_about_them(self):
        for name, words in {"jsoncpp": "Permission is hereby granted, free of charge",
                            "mingw-w64": "Redistributions in source code must retain the accompanying",
                            "zlib": "This software is provided 'as-is'",
                            "gcc-runtime": "GCC Runtime Library Exception"}.items():
            text = (self.unpacked / f"licenses/{name}.txt").read_text(encoding="utf-8")
            # Where the distribution has no text of it, the build puts a notice of one line in its place.
            if name == "jsoncpp" or pathlib.Path("/usr/share/doc/mingw-w64-x86-64-dev/copyright").exists():
                self.assertIn(words.lower(), re.sub(r"\s+", " ", text).lower(), name)
            self.assertIn(f"`{name}.txt`", (self.unpacked / "licenses/THIRD-PARTY.md").read_text(encoding="utf-8"))

    def test_links_between_the_documents_lead_somewhere(self):
        for page in sorted([*self.unpacked.rglob("*.md"), *self.unpacked_world.rglob("*.md")]):
            for target in re.findall(r"\]\(([^)#]+)[^)]*\)", page.read_text(encoding="utf-8")):
                if not target.startswith(("http:", "https:")):
                    self.assertTrue((page.parent / target).exists(), f"{page.name} refers to {target}")

    def test_pages_name_no_path_that_the_archives_do_not_have(self):
        # The three archives are unpacked into one folder.
        archives = {name.split("/", 1)[1] for one in (self.zip, self.world, self.symbols) for name in one.namelist()}
        folders = {parent.as_posix() for name in archives for parent in pathlib.PurePosixPath(name).parents}
        tops = {path.name for path in SOURCE_DIR.iterdir() if path.is_dir() and not path.name.startswith(".")}
        tops = (tops | {name for name in folders if "/" not in name}) - {"build", "."}
        named = re.compile(r"(?<![\w/.:%>-])((?:" + "|".join(sorted(tops)) + r")/[\w.+*/-]*|build/(?:windows|native|package|wine)[\w./-]*)")
        faults, seen = [], 0
        for one in (self.zip, self.world, self.symbols):
            for page in one.namelist():
                if not page.endswith((".md", ".html")):
                    continue
                for path in named.findall(re.sub(r"\\(?=\w)", "/", one.read(page).decode("utf-8"))):
                    seen += 1
                    path = path.rstrip("./")
                    # Scenarios name files from below the programs' folder, and a command may leave .exe out.
                    if not any(place in archives or place in folders for place in (path, path + ".exe", "bin/" + path)):
                        faults.append(f"{page.split('/', 1)[1]} names {path}")
        self.assertGreater(seen, 40)
        self.assertEqual(faults, [])

    def test_reference_has_every_declaration_of_the_headers_and_its_links_lead_somewhere(self):
        page = (self.unpacked / "docs/reference.html").read_text(encoding="utf-8")
        anchors = re.findall(r' id="([^"]+)"', page)
        self.assertEqual(len(anchors), len(set(anchors)), "an anchor is there twice")
        self.assertLessEqual(set(re.findall(r'href="#([^"]+)"', page)), set(anchors))
        self.assertEqual(re.findall(r'(?:href|src)="(?!#)', page), [], "the page refers to another file")
        header, wrapper = ((self.unpacked / "include" / name).read_text(encoding="utf-8")
                           for name in ("nexlet_client.h", "nexlet_client.hpp"))
        declared = {*re.findall(r"NEXLET_CALL (nexlet_\w+)\(", header),
                    *re.findall(r"^} (nexlet_\w+);", header, re.M),
                    *re.findall(r"^\s*(?:enum \{ )?(NEXLET_[A-Z_]+) = ", header, re.M),
                    *("nexlet::" + name for name in re.findall(r"^(?:struct|class) (\w+) \{", wrapper, re.M))}
        self.assertGreater(len(declared), 60)
        self.assertEqual(declared - set(anchors), set())

    def test_reference_is_refused_while_a_declaration_has_no_comment(self):
        doxygen = re.search("^NEXLET_DOXYGEN:FILEPATH=(.+)$", (BUILD_DIR / "CMakeCache.txt").read_text(), re.M)[1]
        configuration = (BUILD_DIR / "reference/Doxyfile").read_text(encoding="utf-8")
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            for addition, code in ("/* Counts. */\nint nexlet_count(void);", 0), ("int nexlet_count(void);", 1):
                text = (SOURCE_DIR / "client/include/nexlet_client.h").read_text(encoding="utf-8")
                (folder / "nexlet_client.h").write_text(text + "\n" + addition + "\n", encoding="utf-8")
                done = subprocess.run([doxygen, "-"], input=configuration + f"INPUT = {folder}\nOUTPUT_DIRECTORY = {folder}\n",
                                      capture_output=True, text=True)
                self.assertEqual(done.returncode, code, done.stderr)
            self.assertIn("nexlet_count", done.stderr)

    def test_is_the_same_when_made_twice(self):
        with tempfile.TemporaryDirectory() as folder:
            make_package(pathlib.Path(folder))
            self.assert_same_package(pathlib.Path(folder))

    def test_reference_and_static_library_are_the_same_when_made_again(self):
        if not NINJA:
            self.skipTest("only Ninja shows how they are made")
        with tempfile.TemporaryDirectory() as folder:
            for made, place in (("reference/reference.html", "docs/reference.html"),
                                ("client/libnexlet_client_static.a", STATIC_LIBRARY)):
                command = subprocess.run([NINJA, "-C", BUILD_DIR, "-t", "commands", "-s", made], check=True, text=True,
                                         stdout=subprocess.PIPE).stdout
                # All that is written goes to another folder.
                out = (BUILD_DIR / made).parent if place.endswith(".html") else BUILD_DIR / made
                other = pathlib.Path(folder, out.name)
                if out.is_dir():
                    shutil.copytree(out, other)
                    text = (other / "Doxyfile").read_text(encoding="utf-8")
                    (other / "Doxyfile").write_text(text.replace(str(out), str(other)), encoding="utf-8")
                    (other / pathlib.Path(made).name).unlink()
                self.assertIn(str(out), command)
                subprocess.run(command.replace(str(out), str(other)), shell=True, check=True, stdout=subprocess.DEVNULL)
                again = other / pathlib.Path(made).name if other.is_dir() else other
                self.assertEqual(sha256(again.read_bytes()), sha256((self.unpacked / place).read_bytes()), place)

    def test_is_the_same_after_all_programs_were_linked_again(self):
        if not NINJA:
            self.skipTest("only Ninja shows how a program is linked")
        tool = self.tool
        with tempfile.TemporaryDirectory() as folder, tempfile.TemporaryDirectory(dir=BUILD_DIR.parent) as linked:
            folder, linked = pathlib.Path(folder), pathlib.Path(linked)
            package, symbols, world, out = (folder / name for name in ("package", "symbols", "world", "out"))
            cmake = tool["read_facts"](BUILD_DIR)["cmake"]
            tool["install"](cmake, BUILD_DIR, package, *tool["COMPONENTS"])
            tool["install"](cmake, BUILD_DIR, symbols, "symbols")
            tool["install"](cmake, BUILD_DIR, world, "world")
            tool["install"](cmake, X86_BUILD_DIR, package / "x86", "client")
            tool["install"](cmake, X86_BUILD_DIR, symbols / "x86", "symbols")
            for name in PROGRAMS:
                again = relink(NINJA, BUILD_DIR, name, linked)
                shutil.copy(again, package / name)
                (symbols / "bin").mkdir(parents=True, exist_ok=True)
                shutil.copy(f"{again}.debug", symbols / "bin")
                if PDB:
                    shutil.copy(again.with_suffix(".pdb"), symbols / "bin")
            shutil.copy(linked / "client/nexlet_client.dll.a", package / "lib")
            with tempfile.TemporaryDirectory(dir=X86_BUILD_DIR.parent) as linked_x86:
                again = relink(NINJA, X86_BUILD_DIR, PROGRAMS[2], linked_x86)
                shutil.copy(again, package / LIBRARY_X86)
                shutil.copy(f"{again}.debug", symbols / "x86/bin")
                shutil.copy(again.with_suffix(".pdb"), symbols / "x86/bin")
                shutil.copy(pathlib.Path(linked_x86, "client/nexlet_client.dll.a"), package / "x86/lib")
            tool["pack"](tool["read_facts"](BUILD_DIR), package, symbols, world, out)
            self.assert_same_package(out)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
