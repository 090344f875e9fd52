#!/usr/bin/env python3
"""The page of a run.  page_test.py PROGRAM"""
import json
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

PROGRAM = sys.argv.pop(1)
SECONDS = 300


def page_of(*arguments):
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / "run.html"
        run = subprocess.run([PROGRAM, *arguments, f"--page={file}", "--shorten=0"], capture_output=True, text=True,
                             timeout=SECONDS)
        text = file.read_text(encoding="utf-8")
    data = json.loads(re.search(r'<script type="application/json" id="data">(.*?)</script>', text, re.S)[1])
    return run, text, data["logs"]


class Page(unittest.TestCase):
    def test_each_thread_is_a_lane_and_each_call_a_line(self):
        run, text, logs = page_of("--seed=1", "--world=race")
        self.assertEqual(0, run.returncode, run.stderr)
        self.assertEqual(1, len(logs))
        # The main thread, and eight that it starts.
        self.assertEqual(["thread 1 (1), process 1"] + [f"thread {n} (1.{n - 1}), process 1" for n in range(2, 10)],
                         logs[0]["lanes"])
        self.assertEqual(8, sum("CreateThread" in line for line in logs[0]["text"]))
        self.assertEqual("the run has ended", logs[0]["text"][-1])
        self.assertIn("<h1>world race, seed 1</h1>", text)

    def test_a_wait_is_a_span_over_what_came_meanwhile(self):
        _, _, logs = page_of("--seed=1", "--world=race")
        waits = [span for span in logs[0]["spans"] if span[0] == 0 and span[5] == "WaitForSingleObject"]
        self.assertTrue(waits)
        lane_of = logs[0]["lane"]
        self.assertTrue(any(lane_of[line] != 0 for line in range(waits[0][1], waits[0][2])))

    def test_the_failure_is_the_last_line_on_the_lane_of_its_thread(self):
        run, text, logs = page_of("--seeds=2000", "--world=race")
        self.assertEqual(1, run.returncode)
        self.assertEqual("an amount is lost", logs[0]["text"][-1])
        self.assertEqual(0, logs[0]["lane"][-1])
        self.assertIn("an amount is lost. The axis is the order of what happened.", text)

    def test_the_helpers_own_log_is_drawn_as_nexctl_draws_it(self):
        _, _, logs = page_of("--seed=7", "--world=helper")
        self.assertEqual(2, len(logs))
        self.assertIn("main thread", logs[1]["lanes"])
        self.assertTrue(logs[1]["spans"])
        self.assertTrue(any("CreateWindowExW" in line for line in logs[0]["text"]))


if __name__ == "__main__":
    unittest.main()
