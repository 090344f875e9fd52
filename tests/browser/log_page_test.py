#!/usr/bin/env python3
"""The page of "nexctl log page" in a real browser.  log_page_test.py RUN NEXCTL LOG FOLDER"""
import html.parser
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

NEXCTL, LOG, FOLDER = sys.argv[1:3], pathlib.Path(sys.argv[3]), pathlib.Path(sys.argv[4])


class Dom(html.parser.HTMLParser):
    """What the browser has made of the page: rows and which are hidden, marks of the chart, the count."""

    def __init__(self, text):
        super().__init__()
        self.rows, self.hidden, self.scripts, self.classes, self.count, self.inside = 0, 0, 0, {}, "", ""
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if tag == "tr":
            self.rows += 1
            self.hidden += "hidden" in attributes
        self.scripts += tag == "script"
        if tag in ("rect", "polygon", "circle"):
            kind = attributes.get("class", "")
            self.classes[kind] = self.classes.get(kind, 0) + 1
        self.inside = tag

    def handle_data(self, data):
        if self.inside == "output":
            self.count += data

    def handle_endtag(self, tag):
        self.inside = ""


class LogPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = shutil.which("chromium")
        if cls.browser is None:
            raise RuntimeError("chromium is not installed; tools/setup --browser does that")
        shutil.rmtree(FOLDER, ignore_errors=True)
        FOLDER.mkdir(parents=True)
        cls.page = FOLDER / "page.html"
        subprocess.run([*NEXCTL, "log", "page", "--file", str(LOG), "--out", str(cls.page)], check=True,
                       stdout=subprocess.DEVNULL, timeout=120)

    def browse(self, *options, fragment=""):
        command = [self.browser, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                   "--enable-logging=stderr", f"--user-data-dir={FOLDER}/profile", *options,
                   self.page.absolute().as_uri() + fragment]
        run = subprocess.run(command, capture_output=True, text=True, check=True, timeout=120)
        self.assertNotRegex(run.stderr, r"CONSOLE.*(Uncaught|Refused|Error)")
        return run.stdout

    def test_shows_every_line_and_the_requests_of_the_log(self):
        dom = Dom(self.browse("--dump-dom"))
        self.assertGreater(dom.rows, 50)
        self.assertEqual(dom.hidden, 0)
        self.assertEqual(dom.count, f"{dom.rows} of {dom.rows} lines")
        self.assertGreaterEqual(dom.classes.get("request", 0), 4)
        self.assertGreaterEqual(dom.classes.get("span", 0), 4)
        self.assertGreaterEqual(dom.classes.get("Timer", 0), 1)
        self.assertEqual(dom.scripts, 1)

    def test_filter_leaves_the_lines_that_hold_its_text(self):
        dom = Dom(self.browse("--dump-dom", fragment="#find=receiveipcmessage"))
        shown = dom.rows - dom.hidden
        self.assertGreater(shown, 4)
        self.assertGreater(dom.hidden, 4)
        self.assertEqual(dom.count, f"{shown} of {dom.rows} lines")

    def test_is_drawn(self):
        picture = FOLDER / "page.png"
        self.browse(f"--screenshot={picture}", "--window-size=1400,900")
        colours = subprocess.run(["identify", "-format", "%w %h %k", str(picture)], check=True, capture_output=True,
                                 text=True).stdout.split()
        self.assertEqual(colours[:2], ["1400", "900"])
        self.assertGreater(int(colours[2]), 50, "the page is blank")
        # The green of a request that was answered is there.
        histogram = subprocess.run(["convert", str(picture), "-format", "%c", "histogram:info:"], check=True,
                                   capture_output=True, text=True).stdout
        self.assertTrue(re.search("#BFE3C6", histogram, re.I), "no request is drawn")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
