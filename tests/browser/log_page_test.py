#!/usr/bin/env python3
"""The page of "nexctl log page" in a real browser.  log_page_test.py RUN NEXCTL LOG FOLDER"""
import html.parser
import os
import pathlib
import resource
import shutil
import subprocess
import sys
import time
import unittest

NEXCTL, LOG, FOLDER = sys.argv[1:3], pathlib.Path(sys.argv[3]), pathlib.Path(sys.argv[4])
LARGE_LINES = 200000
# A page that draws every line takes a hundred times the processor of one that draws what is in sight.
MOST_TIMES, MOST_BYTES = 10, 500 * 1000 * 1000


class Dom(html.parser.HTMLParser):
    """What the browser has made of the page: the rows in sight, the links to requests, the count, the time to draw."""

    def __init__(self, text):
        super().__init__()
        self.rows, self.links, self.scripts, self.count, self.drawn, self.inside = 0, [], 0, "", None, ""
        self.kinds = set()
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        kinds = attributes.get("class", "").split()
        if "line" in kinds:
            self.rows += 1
            self.kinds.update(kinds)
        if tag == "a" and attributes.get("href", "").startswith("#l"):
            self.links.append(attributes["href"])
        if tag == "body":
            self.drawn = attributes.get("data-drawn-ms")
        self.scripts += tag == "script"
        self.inside = tag

    def handle_data(self, data):
        if self.inside == "output":
            self.count += data

    def handle_endtag(self, tag):
        self.inside = ""


def usage_below(process):
    """Of a process and of all that it has started, by their numbers: seconds on the processor and bytes of memory of its
    own."""
    parents, used = {}, {}
    for entry in pathlib.Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                fields = (entry / "stat").read_text().rsplit(")", 1)[1].split()
                resident, shared = map(int, (entry / "statm").read_text().split()[1:3])
            except (OSError, ValueError):
                continue
            parents[int(entry.name)] = int(fields[1])
            used[int(entry.name)] = ((int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK"),
                                     (resident - shared) * resource.getpagesize())
    below = {}
    for number in used:
        at = number
        while at not in (0, process):
            at = parents.get(at, 0)
        if at == process:
            below[number] = used[number]
    return below


class LogPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = shutil.which("chromium")
        if cls.browser is None:
            raise RuntimeError("chromium is not installed; tools/setup --browser does that")
        shutil.rmtree(FOLDER, ignore_errors=True)
        FOLDER.mkdir(parents=True)
        cls.page = cls.make_page(LOG, "page.html")

    @staticmethod
    def make_page(log, name):
        page = FOLDER / name
        subprocess.run([*NEXCTL, "log", "page", "--file", str(log), "--out", str(page)], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=300)
        return page

    def command(self, page, *options, fragment=""):
        return [self.browser, "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                "--enable-logging=stderr", f"--user-data-dir={FOLDER}/profile", *options,
                page.absolute().as_uri() + fragment]

    def browse(self, *options, page=None, fragment=""):
        run = subprocess.run(self.command(page or self.page, *options, fragment=fragment), capture_output=True, text=True,
                             check=True, timeout=300)
        self.assertNotRegex(run.stderr, r"CONSOLE.*(Uncaught|Refused|Error)")
        return run.stdout

    def colours(self, picture):
        """How many pixels there are of each colour."""
        histogram = subprocess.run(["convert", str(picture), "-format", "%c", "histogram:info:"], check=True,
                                   capture_output=True, text=True).stdout
        found = {}
        for line in histogram.splitlines():
            count, _, rest = line.strip().partition(":")
            found[rest.split("#", 1)[1][:6].upper()] = int(count)
        return found

    def shot(self, *options, page=None, fragment="", size="1400,900"):
        picture = FOLDER / "page.png"
        self.browse(f"--screenshot={picture}", f"--window-size={size}", *options, page=page, fragment=fragment)
        return picture

    def test_shows_the_lines_that_are_in_sight_and_counts_all(self):
        dom = Dom(self.browse("--dump-dom", fragment="#heartbeats"))
        count, of, all_, _ = dom.count.split()
        self.assertEqual((count, of), (all_, "of"))
        self.assertGreater(int(all_), 50)
        self.assertGreater(dom.rows, 5)
        self.assertLess(dom.rows, 200)
        self.assertEqual(dom.scripts, 1, "the data is gone once it was read")
        self.assertIsNotNone(dom.drawn)

    def test_heartbeats_are_folded_until_they_are_asked_for(self):
        folded = Dom(self.browse("--dump-dom")).count.split()
        self.assertLess(int(folded[0]), int(folded[2]))

    def test_filter_leaves_the_lines_that_hold_its_text(self):
        count = Dom(self.browse("--dump-dom", fragment="#find=receiveipcmessage")).count.split()
        self.assertGreater(int(count[0]), 4)
        self.assertLess(int(count[0]), int(count[2]) - 4)

    def test_requests_are_links_that_a_screen_reader_reaches(self):
        dom = Dom(self.browse("--dump-dom", "--virtual-time-budget=2000", fragment="#requests"))
        self.assertGreaterEqual(len(dom.links), 4)

    def test_link_to_a_line_chooses_it(self):
        self.assertIn("chosen", Dom(self.browse("--dump-dom", fragment="#l40")).kinds)

    def test_is_drawn_in_light_and_dark_and_narrow(self):
        light = self.colours(self.shot())
        self.assertGreater(light.get("BFE3C6", 0), 50, "no served request is drawn")
        self.assertGreater(light.get("FFFFFF", 0), 100000)
        dark = self.colours(self.shot("--blink-settings=preferredColorScheme=0"))
        self.assertGreater(dark.get("14191F", 0), 100000, "the page is not dark")
        narrow = self.colours(self.shot(size="480,900"))
        self.assertGreater(narrow.get("BFE3C6", 0), 10)

    def large_log(self):
        """The life of a helper again and again: requests, beacons, timers."""
        text = LOG.read_bytes().decode("utf-16-le")
        lines = text.splitlines()
        wide = []
        for i in range(LARGE_LINES):
            line = lines[i % len(lines)].partition("\t")[2]
            ms = i * 37
            wide.append(f"{ms // 3600000 % 24}:{ms // 60000 % 60}:{ms // 1000 % 60}:{ms % 1000}\t"
                        f"{line if line != 'start' else '[F(1)] again'}\r\n")
        log = FOLDER / "large.log"
        log.write_bytes("".join(wide).encode("utf-16-le"))
        return log

    def draw(self, page, picture):
        """Draws a page into a picture: seconds on the processor, of the browser alone so that other work on this machine
        does not count, and bytes of memory."""
        most, seconds = 0, {}
        with subprocess.Popen(self.command(page, f"--screenshot={picture}", "--window-size=1400,900"),
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as browser:
            while browser.poll() is None:
                usage = usage_below(browser.pid)
                most = max(most, sum(memory for _, memory in usage.values()))
                seconds.update((number, used) for number, (used, _) in usage.items())
                time.sleep(0.02)
        self.assertEqual(browser.returncode, 0)
        return sum(seconds.values()), most

    def test_two_hundred_thousand_lines_are_drawn_in_time_and_memory(self):
        page = self.make_page(self.large_log(), "large.html")
        floor, _ = self.draw(self.page, FOLDER / "small.png")
        picture = FOLDER / "large.png"
        used, most = self.draw(page, picture)
        drawn = self.colours(picture)
        self.assertGreater(drawn.get("5F7081", 0), 500, "no tick of a line is drawn")
        self.assertGreater(drawn.get("FFFFFF", 0), 100000)
        dom = Dom(self.browse("--dump-dom", page=page))
        print(f"{LARGE_LINES} lines: {page.stat().st_size} bytes, {used:.1f} s on the processor, {used / floor:.1f} times a "
              f"small page, {most} bytes of memory, drawn after {dom.drawn} ms")
        self.assertIn(f"of {LARGE_LINES} lines", dom.count)
        self.assertLess(used, MOST_TIMES * floor)
        self.assertLess(most, MOST_BYTES)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
