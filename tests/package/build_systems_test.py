#!/usr/bin/env python3
"""What the package gives to build systems: the CMake package with its refusals, pkg-config, the vcpkg port, the NuGet
package's description.
build_systems_test.py PACKAGE CMAKE CC CLANG PKG_CONFIG VERSION CC_X86"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

PACKAGE, CMAKE, CC, CLANG, PKG_CONFIG, VERSION, CC_X86 = sys.argv[1:8]
PACKAGE = pathlib.Path(PACKAGE)

NUSPEC = "{http://schemas.microsoft.com/packaging/2013/05/nuspec.xsd}"
MSBUILD = "{http://schemas.microsoft.com/developer/msbuild/2003}"
CALLER = "#include <nexlet_client.h>\nint main(void) { return nexlet_version() == NEXLET_CLIENT_VERSION ? 0 : 1; }\n"


def run(*command, code=0, **more):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=120, **more)
    if done.returncode != code:
        raise AssertionError(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


class CMakePackageTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = pathlib.Path(temporary.name)

    def configure(self, find, *options, code=0):
        """What CMake says, with its line breaks taken out."""
        (self.folder / "CMakeLists.txt").write_text(
            f"cmake_minimum_required(VERSION 3.16)\nproject(p LANGUAGES C)\n{find}\n", encoding="utf-8")
        shutil.rmtree(self.folder / "build", ignore_errors=True)
        said = run(CMAKE, "-S", self.folder, "-B", self.folder / "build", "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={PACKAGE}",
                   *options, code=code)
        return re.sub(r"\s+", " ", said)

    def for_target(self, target):
        return ("-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={CLANG}", f"-DCMAKE_C_COMPILER_TARGET={target}",
                "-DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY", "-DCMAKE_C_STANDARD_LIBRARIES=",
                "-DCMAKE_MSVC_RUNTIME_LIBRARY=")

    mingw_x86 = ("-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={CC_X86}")
    mingw = ("-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_C_COMPILER={CC}")

    def test_native_linux_is_refused_in_words(self):
        said = self.configure("find_package(nexlet REQUIRED)", code=1)
        self.assertIn("is for programs for Windows, and this project is configured for Linux", said)
        self.assertIn("CMAKE_SYSTEM_NAME", said)

    def test_other_architectures_are_refused_in_words(self):
        said = self.configure("find_package(nexlet REQUIRED)", *self.for_target("aarch64-pc-windows-msvc"),
                              "-DCMAKE_SYSTEM_PROCESSOR=ARM64", code=1)
        self.assertIn("is for x86-64 and x86, and this compiler makes programs for ARM64", said)

    def test_unknown_component_is_refused_in_words(self):
        said = self.configure("find_package(nexlet REQUIRED COMPONENTS client sockets)", *self.mingw, code=1)
        self.assertIn("nexlet has no component sockets; it has client, client_static and helper.", said)

    def test_static_library_is_refused_in_words_where_the_linker_is_microsofts(self):
        said = self.configure("find_package(nexlet REQUIRED COMPONENTS client_static)",
                              *self.for_target("x86_64-pc-windows-msvc"), code=1)
        self.assertIn("The component client_static of nexlet is for 64-bit programs of gcc of mingw-w64", said)

    def test_static_library_is_refused_in_words_to_32_bit_programs(self):
        said = self.configure("find_package(nexlet REQUIRED COMPONENTS client_static)", *self.mingw_x86, code=1)
        self.assertIn("The component client_static of nexlet is for 64-bit programs of gcc", said)

    def test_32_bit_programs_get_the_library_for_their_processor_and_the_same_helper(self):
        for options, library in ((self.mingw_x86, "nexlet_client.dll.a"),
                                 (self.for_target("i686-pc-windows-msvc"), "nexlet_client.lib")):
            self.configure(f"find_package(nexlet {VERSION} REQUIRED COMPONENTS client helper)\n"
                           "foreach(one IMPLIB=lib/" + library + " LOCATION=bin/nexlet_client.dll)\n"
                           'string(REPLACE "=" ";" one ${one})\nlist(POP_FRONT one property path)\n'
                           "get_target_property(found nexlet::client IMPORTED_${property}_RELWITHDEBINFO)\n"
                           f'if(NOT found STREQUAL "{PACKAGE}/x86/${{path}}")\nmessage(FATAL_ERROR "${{found}}")\nendif()\n'
                           "endforeach()\nget_target_property(found nexlet::helper IMPORTED_LOCATION)\n"
                           f'if(NOT found STREQUAL "{PACKAGE}/bin/nexlet.exe")\nmessage(FATAL_ERROR "${{found}}")\nendif()',
                           *options)

    def test_a_refusal_does_not_stop_a_project_that_can_do_without(self):
        self.configure("find_package(nexlet)\nif(nexlet_FOUND OR TARGET nexlet::client)\n"
                       'message(FATAL_ERROR "found")\nendif()')

    def test_components_and_versions_that_are_there_are_found(self):
        self.configure(f"find_package(nexlet {VERSION} REQUIRED COMPONENTS client client_static helper "
                       "OPTIONAL_COMPONENTS sockets)\n"
                       "foreach(name client client_static helper)\nif(NOT TARGET nexlet::${name} OR NOT "
                       'nexlet_${name}_FOUND)\nmessage(FATAL_ERROR "no ${name}")\nendif()\nendforeach()\n'
                       'if(nexlet_sockets_FOUND)\nmessage(FATAL_ERROR "sockets")\nendif()', *self.mingw)
        self.configure("find_package(nexlet 99 REQUIRED)", *self.mingw, code=1)


class PkgConfigTest(unittest.TestCase):
    def build(self, module):
        environment = {**os.environ, "PKG_CONFIG_LIBDIR": str(PACKAGE / "lib/pkgconfig")}
        self.assertEqual(run(PKG_CONFIG, "--modversion", module, env=environment).strip(), VERSION)
        flags = run(PKG_CONFIG, "--cflags", "--libs", module, env=environment).split()
        with tempfile.TemporaryDirectory() as folder:
            source, program = pathlib.Path(folder, "caller.c"), pathlib.Path(folder, "caller.exe")
            source.write_text(CALLER, encoding="utf-8")
            run(CC, "-Wall", "-Werror", source, "-o", program, "-static", *flags)
            return b"nexlet_client.dll" in program.read_bytes()

    def test_program_is_linked_with_the_library(self):
        self.assertTrue(self.build("nexlet_client"))

    def test_program_is_linked_with_the_static_library(self):
        self.assertFalse(self.build("nexlet_client_static"))


class VcpkgPortTest(unittest.TestCase):
    port = PACKAGE / "packaging/vcpkg/nexlet"

    def test_manifest_has_the_form_of_a_port(self):
        manifest = json.loads((self.port / "vcpkg.json").read_text(encoding="utf-8"))
        self.assertRegex(manifest["name"], r"^[a-z0-9]+(-[a-z0-9]+)*$")
        self.assertEqual((manifest["name"], manifest["version-semver"]), (self.port.name, VERSION))
        self.assertEqual(set(manifest) - {"name", "version-semver", "description", "license", "supports", "dependencies"},
                         set())
        for dependency in manifest["dependencies"]:
            self.assertEqual((set(dependency), dependency["host"]), ({"name", "host"}, True))

    def test_port_installs_from_the_package_what_a_project_needs(self):
        for processor, place in (("x64", PACKAGE), ("x86", PACKAGE / "x86")):
            with self.subTest(processor):
                self.check_port(processor, place)

    def check_port(self, processor, place):
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            # What vcpkg does around a port, as far as this one needs it.
            (folder / "run.cmake").write_text(
                "function(vcpkg_cmake_config_fixup)\n"
                "  file(RENAME ${CURRENT_PACKAGES_DIR}/lib/cmake/nexlet/nexlet-config.cmake\n"
                "       ${CURRENT_PACKAGES_DIR}/share/nexlet/nexlet-config.cmake)\nendfunction()\n"
                f"set(VCPKG_TARGET_ARCHITECTURE {processor})\nset(CURRENT_PACKAGES_DIR {folder}/out)\nfile(MAKE_DIRECTORY {folder}/out/share/nexlet)\n"
                f"include({self.port}/portfile.cmake)\n", encoding="utf-8")
            run(CMAKE, "-P", folder / "run.cmake")
            made = {path.relative_to(folder / "out").as_posix() for path in (folder / "out").rglob("*") if path.is_file()}
            self.assertLessEqual({"bin/nexlet.exe", "bin/nexlet_client.dll", "include/nexlet_client.h",
                                  "include/nexlet_client.hpp", "lib/nexlet_client.lib", "share/nexlet/copyright",
                                  "share/nexlet/nexlet-config.cmake", "share/nexlet/usage"}, made)
            for path, source in {"bin/nexlet.exe": PACKAGE, "bin/nexlet_client.dll": place,
                                 "lib/nexlet_client.lib": place}.items():
                self.assertEqual((folder / "out" / path).read_bytes(), (source / path).read_bytes(), path)


class NugetPackageTest(unittest.TestCase):
    folder = PACKAGE / "packaging/nuget"

    def test_description_is_whole_and_names_files_that_are_there(self):
        package = ElementTree.parse(self.folder / "nexlet.nuspec").getroot()
        self.assertEqual(package.tag, NUSPEC + "package")
        metadata = {child.tag.removeprefix(NUSPEC): child.text for child in package.find(NUSPEC + "metadata")}
        for name in ("id", "version", "authors", "description"):
            self.assertTrue(metadata[name], name)
        self.assertEqual((metadata["id"], metadata["version"]), ("nexlet", VERSION))
        targets = {}
        for file in package.find(NUSPEC + "files"):
            self.assertEqual((file.tag, set(file.attrib)), (NUSPEC + "file", {"src", "target"}))
            self.assertTrue((self.folder / file.get("src")).is_file(), file.get("src"))
            self.assertNotIn(file.get("target"), targets)
            targets[file.get("target")] = file.get("src")
        self.assertIn(metadata["readme"], targets)
        self.assertIn(f"build/native/{metadata['id']}.targets", targets)

        # What the targets file names has its place in the package.
        project = ElementTree.parse(self.folder / "nexlet.targets").getroot()
        self.assertEqual(project.tag, MSBUILD + "Project")
        text = (self.folder / "nexlet.targets").read_text(encoding="utf-8")
        named = re.findall(r"\$\(MSBuildThisFileDirectory\)([^;\"<]+)", text)
        self.assertGreater(len(named), 5)
        for path in named:
            place = "build/native/" + path.replace("\\", "/")
            self.assertTrue(any(target == place or target.startswith(place + "/") for target in targets), path)
        self.assertIn("nexlet_client.lib;", text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
