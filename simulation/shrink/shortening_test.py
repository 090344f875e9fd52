#!/usr/bin/env python3
"""A failing seed of tools/simulate makes itself shorter.  shortening_test.py PROGRAM"""
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROGRAM = sys.argv.pop(1)
# The search ends by itself long before. Only a machine that stands still comes to this limit.
SECONDS = 400
# At most one choice of so many is left, or ten of a run that had few, and at most half of the parts.
CHOICES_SHARE, FEW_CHOICES, PARTS_SHARE = 20, 10, 2
SHORTER = re.compile(r"^(.*): from (\d+) choices to (\d+), from (\d+) parts to (\d+), by \d+ runs", re.M)


def simulate(*arguments):
    return subprocess.run([PROGRAM, *arguments], capture_output=True, text=True, timeout=SECONDS + 100)


def without_addresses(text):
    return re.sub(r"\b[0-9a-f]{9,}\b", "ADDRESS", text)


class Shortening(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.run_ = simulate("--world=race", "--seeds=2000", f"--shorten={SECONDS}")
        match = re.search(r"again with --replay=(.*)", cls.run_.stdout)
        assert match, cls.run_.stdout + cls.run_.stderr
        cls.file = Path(match[1])

    def test_the_failing_seed_is_told_and_the_program_fails(self):
        self.assertEqual(1, self.run_.returncode)
        self.assertRegex(self.run_.stdout, r"failed at seed \d+; again with --seed=\d+ --world=race")

    def test_a_small_share_of_the_choices_and_of_the_parts_is_left(self):
        report, choices, fewer, parts, left = SHORTER.search(self.run_.stdout).groups()
        self.assertEqual("an amount is lost", report)
        self.assertLess(int(fewer), int(choices))
        self.assertLessEqual(int(fewer), max(int(choices) / CHOICES_SHARE, FEW_CHOICES), self.run_.stdout)
        self.assertLessEqual(int(left) * PARTS_SHARE, int(parts), self.run_.stdout)
        # Two threads are needed for the loss.
        self.assertGreaterEqual(int(left), 2)

    def test_the_shorter_run_is_shown_with_its_switches(self):
        self.assertIn("== an amount is lost", self.run_.stderr)
        self.assertIn("-- the schedule goes to thread", self.run_.stderr)

    def test_the_file_gives_the_same_run_each_time(self):
        one, other = (simulate(f"--replay={self.file}", "--trace") for _ in range(2))
        self.assertNotEqual(0, one.returncode)
        self.assertIn("== an amount is lost", one.stderr)
        self.assertEqual(without_addresses(one.stderr), without_addresses(other.stderr))

    def test_a_run_that_follows_the_file_makes_the_choices_of_the_file(self):
        with tempfile.TemporaryDirectory() as folder:
            kept = Path(folder) / "kept.replay"
            simulate(f"--replay={self.file}", f"--keep={kept}")
            self.assertEqual(self.file.read_text(), kept.read_text())

    def test_without_its_choices_the_run_does_not_fail(self):
        with tempfile.TemporaryDirectory() as folder:
            bare = Path(folder) / "bare.replay"
            bare.write_text("".join(line for line in self.file.read_text().splitlines(keepends=True)
                                    if not line.startswith(("switch", "wake", "jump"))))
            self.assertEqual(0, simulate(f"--replay={bare}").returncode)

    def test_a_file_may_say_which_allocation_fails(self):
        def trace(*lines):
            with tempfile.TemporaryDirectory() as folder:
                file = Path(folder) / "memory.replay"
                file.write_text("world helper\nseed 1\nschedule 1\ndraws yes\nfaults 0\nmemory 0\n" + "".join(lines))
                return simulate(f"--replay={file}", "--trace").stderr

        failing = trace("allocation 300\n", "for-good yes\n")
        self.assertEqual(without_addresses(failing), without_addresses(
            simulate("--world=helper", "--seed=1", "--allocation=300", "--for-good", "--trace").stderr))
        self.assertNotEqual(without_addresses(failing), without_addresses(trace()))

    def test_a_file_that_holds_no_run_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            other = Path(folder) / "other"
            other.write_text("switch 1.1\n")
            run = simulate(f"--replay={other}")
            self.assertEqual(2, run.returncode)
            self.assertIn("does not hold a run", run.stderr)


if __name__ == "__main__":
    unittest.main()
