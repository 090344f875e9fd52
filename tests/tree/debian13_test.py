#!/usr/bin/env python3
"""tools/debian13 on a machine that refuses what it needs: it says why, and only with --if-possible that is not a failure.

The tool runs in a copy of the tree's outline. Its programs are small scripts, so that this test needs no rights and each
refusal can be had on any machine."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from documents_test import ROOT

# What the tool may call, as on a machine where all of it is allowed.
ALLOWED = {
    "id": "echo 0",
    # The tool gives it long options alone; the command after them is run.
    "unshare": 'while [ $# -gt 0 ]; do case $1 in --propagation) shift 2 ;; --*) shift ;; *) break ;; esac; done; exec "$@"',
    "mount": "exit 0",
    # "chroot / true" asks whether it is allowed.
    "chroot": 'echo "$0 $1"; exit 0',
    "mmdebstrap": 'while [ $# -gt 2 ]; do shift; done; mkdir -p "$1"',
}
NEEDED = ("bash", "dirname", "sed", "cat", "grep", "head", "tail", "mkdir", "rm", "mv", "flock", "env", "true", "git")
NOT_PROVED = "== NOT PROVED on this machine: "


class Debian13Test(unittest.TestCase):
    def setUp(self):
        self.tree = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.tree)
        (self.tree / "tools").mkdir()
        shutil.copy(ROOT / "tools/debian13", self.tree / "tools")
        for program in ("windows-x64/bin/nexlet.exe", "windows-x86/bin/client_library_test.exe"):
            path = self.tree / "build" / program
            path.parent.mkdir(parents=True)
            path.touch()
        self.programs = self.tree / "programs"
        self.programs.mkdir()
        for name in NEEDED:
            (self.programs / name).symlink_to(shutil.which(name))
        for name, script in ALLOWED.items():
            self.put(name, script)

    def put(self, name, script):
        path = self.programs / name
        path.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
        path.chmod(0o755)

    def run_tool(self, *arguments):
        """The exit code, and what it writes, errors included."""
        done = subprocess.run([self.tree / "tools/debian13", *arguments], env={"PATH": str(self.programs)}, cwd=self.tree,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
        return done.returncode, done.stdout.decode()

    def expect_refusal(self, why):
        code, said = self.run_tool("--if-possible")
        self.assertEqual((code, said.count(NOT_PROVED)), (0, 1), said)
        self.assertIn(why, said.split(NOT_PROVED)[0])
        code, said = self.run_tool()
        self.assertEqual((code, said.count(NOT_PROVED)), (1, 0), said)
        self.assertIn(why, said)

    def test_where_all_is_allowed_the_root_is_entered(self):
        code, said = self.run_tool("--if-possible")
        self.assertEqual((code, said.count(NOT_PROVED)), (0, 0), said)
        self.assertIn(f"chroot {self.tree}/build/debian13/root\n", said)

    def test_says_that_it_needs_root(self):
        self.put("id", "echo 1000")
        self.expect_refusal("tools/debian13: this needs root.\n")

    def test_says_that_mmdebstrap_is_missing(self):
        (self.programs / "mmdebstrap").unlink()
        self.expect_refusal("tools/debian13: mmdebstrap is missing: run tools/setup --debian13 first.\n")

    def test_says_that_namespaces_are_refused(self):
        self.put("unshare", "exit 1")
        self.expect_refusal("tools/debian13: unshare --mount --pid is refused here.\n")

    def test_says_that_mount_is_refused(self):
        self.put("mount", "exit 32")
        self.expect_refusal("tools/debian13: mount is refused here.\n")

    def test_says_that_chroot_is_refused(self):
        self.put("chroot", "exit 125")
        self.expect_refusal("tools/debian13: chroot is refused here.\n")

    def test_shows_why_the_root_could_not_be_made(self):
        self.put("mmdebstrap", "echo E: no such mirror; exit 25")
        self.expect_refusal("E: no such mirror\ntools/debian13: the root could not be made;")

    def test_a_root_that_could_not_be_made_is_tried_again(self):
        self.put("mmdebstrap", 'while [ $# -gt 2 ]; do shift; done; mkdir -p "$1"; exit 25')
        self.expect_refusal("the root could not be made")
        self.put("mmdebstrap", ALLOWED["mmdebstrap"])
        self.assertEqual(self.run_tool("--if-possible")[0], 0)
        self.assertTrue((self.tree / "build/debian13/root").is_dir())

    def test_what_fails_in_the_root_is_a_failure(self):
        self.put("chroot", '[ "$1" = / ] || exit 7')
        for arguments in ([], ["--if-possible"], ["--if-possible", "--whole"]):
            code, said = self.run_tool(*arguments)
            self.assertEqual((code, said.count(NOT_PROVED)), (7, 0), said)

    def test_a_build_that_is_missing_is_a_failure(self):
        (self.tree / "build/windows-x64/bin/nexlet.exe").unlink()
        code, said = self.run_tool("--if-possible")
        self.assertEqual((code, said.count(NOT_PROVED)), (1, 0), said)
        self.assertIn("build/windows-x64/bin/nexlet.exe is missing", said)


if __name__ == "__main__":
    unittest.main()
