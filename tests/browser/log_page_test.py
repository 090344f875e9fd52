#!/usr/bin/env python3
"""The page of "nexctl log page" in a real browser.  log_page_test.py RUN NEXCTL LOG FOLDER"""
import html.parser
import json
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import time
import unittest

PREFIX = pathlib.Path(os.environ.get("NEXLET_WINEPREFIX",
                                     pathlib.Path(__file__).resolve().parents[2] / "build/wine/default"))
NEXCTL, LOG, FOLDER = sys.argv[1:3], pathlib.Path(sys.argv[3]), pathlib.Path(sys.argv[4])
LARGE_LINES = 200000
# A page that draws every line takes a hundred times the processor of one that draws what is in sight.
MOST_TIMES, MOST_BYTES = 10, 500 * 1000 * 1000
# What a user does, for the scripts below.
ACTIONS = """
const press = id => byId(id).click();
const mouse = (element, type, x, y, more) => element.dispatchEvent(new MouseEvent(type,
  {bubbles: true, clientX: element.getBoundingClientRect().left + x, clientY: element.getBoundingClientRect().top + y, ...more}));
const write = text => { byId('filter').value = text; byId('filter').dispatchEvent(new Event('input')); };
const wide = () => right - left;
const texts = () => [...room.children].map(row => row.lastElementChild.textContent);
const drawn = () => { const all = []; const own = CanvasRenderingContext2D.prototype.fillText;
  CanvasRenderingContext2D.prototype.fillText = function (text, ...rest) { all.push(text); own.call(this, text, ...rest); };
  draw(); CanvasRenderingContext2D.prototype.fillText = own; return all; };
"""


class Dom(html.parser.HTMLParser):
    """What the browser has made of the page: the rows in sight, the links to requests, the count, the time to draw."""

    def __init__(self, text):
        super().__init__()
        self.rows, self.links, self.scripts, self.count, self.drawn, self.inside = 0, [], 0, "", None, ""
        self.kinds, self.result = set(), None
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
            self.result = json.loads(attributes.get("data-result", "null"))
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

    def act(self, script, page=None, fragment=""):
        """Runs a script in the page, after the page's own: what it returns. It sees the page's variables, and acts as a
        user does, by events."""
        acting = FOLDER / "acting.html"
        text = (page or self.page).read_text(encoding="utf-8")
        script = "document.body.dataset.result = JSON.stringify((() => {" + ACTIONS + script + "})());"
        acting.write_text(text.replace("</body>", f"<script>{script}</script></body>"), encoding="utf-8")
        result = Dom(self.browse("--dump-dom", "--window-size=1400,900", page=acting, fragment=fragment)).result
        self.assertIsNotNone(result, "the script has not run to its end")
        return result

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

    def test_buttons_and_wheel_zoom_and_the_whole_log_comes_back(self):
        steps = self.act("""const all = [wide() / whole];
            press('in'); all.push(wide() / whole);
            press('in'); press('out'); all.push(wide() / whole);
            const around = left + wide() / 4, x = NAMES + (around - left) * (chart.clientWidth - NAMES - 60) / wide();
            chart.dispatchEvent(new WheelEvent('wheel', {bubbles: true, cancelable: true, deltaY: -100,
              clientX: chart.getBoundingClientRect().left + x, clientY: chart.getBoundingClientRect().top + 20}));
            all.push(wide() / whole, (around - left) / wide());
            press('all'); all.push(wide() / whole); return all;""")
        whole, half, again, wheel, place, back = steps
        self.assertEqual((whole, back), (1, 1))
        self.assertAlmostEqual(half, 0.5)
        self.assertAlmostEqual(again, 0.5)
        self.assertAlmostEqual(wheel, 0.4)
        self.assertAlmostEqual(place, 0.25, places=1, msg="what is under the pointer stays there")

    def test_overview_shows_the_part_in_sight_and_leads_to_another(self):
        before, after = self.act("""press('in'); press('in'); press('in');
            const middle = () => (left + right) / 2 / whole, all = [middle()];
            mouse(overview, 'click', 16 + (overview.clientWidth - 32) * 0.9, 10);
            all.push(middle()); return all;""")
        self.assertAlmostEqual(before, 0.5)
        self.assertAlmostEqual(after, 0.9, places=1)

    def test_drag_moves_the_chart(self):
        moved = self.act("""press('in'); const before = left;
            mouse(chart, 'mousedown', 600, 100); mouse(chart, 'mousemove', 400, 100); mouse(chart, 'mouseup', 400, 100);
            return left - before;""")
        self.assertGreater(moved, 0)

    def test_lane_that_is_switched_off_leaves_chart_and_list(self):
        lane, high, count, rows = self.act("""const box = byId('lanes').querySelector('input');
            const measure = () => [chart.clientHeight, shown.length];
            const before = measure(); box.click(); const after = measure();
            return [lanes[0].name, before[0] - after[0], before[1] - after[1],
                    shown.filter(line => line.lane === 0).length + hits.filter(hit => hit.line && hit.line.lane === 0).length];""")
        self.assertNotEqual(lane, "")
        self.assertEqual(high, 46)
        self.assertGreater(count, 0)
        self.assertEqual(rows, 0)

    def test_filter_holds_for_list_and_chart(self):
        texts, marks, spans, fewer = self.act("""const before = hits.length; write('getwxappstatus');
            return [texts(), hits.filter(hit => hit.line).map(hit => hit.line.text),
                    hits.filter(hit => hit.span).every(hit => hit.span.from.row >= 0 || hit.span.to.row >= 0),
                    before - hits.length];""")
        self.assertGreater(len(texts), 0)
        self.assertLess(len(texts), 10)
        self.assertTrue(all("getwxappstatus" in text.lower() for text in texts), texts)
        self.assertGreater(len(marks), 0)
        self.assertTrue(all("getwxappstatus" in mark.lower() for mark in marks), marks)
        self.assertTrue(spans, "a span is drawn though neither its first nor its last line fits")
        self.assertGreater(fewer, 0)

    def test_click_on_a_line_leads_to_the_chart_and_a_click_there_to_the_line(self):
        line = self.act("""for (let i = 0; i < 6; ++i) press('in');
            left = 0; right = whole / 64; draw(); list.scrollTop = 1e9; drawList();
            const row = [...room.children].at(-1); row.click();
            return [chosen.text === row.lastElementChild.textContent, chosen.x >= left && chosen.x <= right,
                    byId('tip').textContent.includes(chosen.text), room.querySelectorAll('.chosen').length];""")
        self.assertEqual(line, [True, True, True, 1])
        chart = self.act("""list.scrollTop = 1e9; drawList();
            const hit = hits.find(one => one.line && one.line.kind !== LINE) || hits[0];
            mouse(chart, 'click', hit.x + hit.wide / 2, hit.y + hit.high / 2);
            const line = hit.line || hit.span.from, top = (line.row - base) * ROW; drawList();
            return [chosen.at === line.at, top >= list.scrollTop && top <= list.scrollTop + list.clientHeight];""")
        self.assertEqual(chart, [True, True])

    def test_keyboard_moves_through_the_list_and_a_link_leads_to_its_request(self):
        self.assertEqual(self.act("""const key = name => list.dispatchEvent(new KeyboardEvent('keydown', {key: name}));
            key('ArrowDown'); key('ArrowDown'); const down = chosen.row; key('ArrowUp'); return [down, chosen.row];"""),
                         [2, 1])
        # The links are made when their list is opened, which the browser tells a moment later.
        self.assertEqual(self.act("""byId('requests').dispatchEvent(new Event('toggle'));
            const link = byId('requests').querySelectorAll('a')[1]; link.click();
            return ['#l' + chosen.at === link.getAttribute('href'), link.textContent.includes(asked[1].name),
                    list.tabIndex, list.getAttribute('role'), chart.getAttribute('role')];"""),
                         [True, True, 0, "listbox", "img"])

    def test_outcome_of_a_request_is_a_sign_and_not_a_colour_alone(self):
        refused = "".join(f"5:25:56:{100 + i}\t[CPipeClientCallback::ReceiveIPCMessage({i})] {line}\r\n" for i, line in enumerate((
            "ReceiveIPCMessage begin", 'ReceiveIPCMessage szMessage={"content":{},"message_type":99}', "receive extension msg")))
        outcomes = FOLDER / "outcomes.log"
        outcomes.write_bytes(LOG.read_bytes() + ("\r\n" + refused).encode("utf-16-le"))
        page = self.make_page(outcomes, "outcomes.html")
        signs = self.act("""return [drawn().map(text => text[0]), spans.filter(span => span.kind !== WORK).map(span => span.kind),
            spans.map(span => span.open)];""", page=page)
        self.assertIn(1, signs[1], "no request was served")
        self.assertIn(3, signs[1], "no request was refused")
        self.assertIn("\u2713", signs[0])
        self.assertIn("\u2717", signs[0])

    def test_request_without_an_end_is_dashed_to_the_end_of_the_log(self):
        page = self.make_page(self.torn_log(), "torn.html")
        dashes = self.act("""const all = [], own = CanvasRenderingContext2D.prototype.setLineDash;
            CanvasRenderingContext2D.prototype.setLineDash = function (dash) { all.push(dash.length); own.call(this, dash); };
            draw(); const open = spans.filter(span => span.open && span.kind !== WORK);
            return [open.length, open.every(span => span.to.at === lines.length - 1), Math.max(...all)];""", page=page)
        self.assertEqual(dashes, [1, True, 2])

    def torn_log(self):
        """The log up to the arrival of an open, and one line of another thread after it."""
        lines = LOG.read_bytes().decode("utf-16-le").splitlines(keepends=True)
        at = next(i for i, line in enumerate(lines) if "receive WM_COPY_DATA_MSG_IPC_GET_OPEN" in line)
        beat = next(line for line in lines if "enter WindowProc" in line or "CheckzoltDLLThread" in line)
        late = lines[at].partition("\t")[0] + "\t" + beat.partition("\t")[2]
        log = FOLDER / "torn.log"
        log.write_bytes("".join(lines[:at + 1] + [late]).encode("utf-16-le"))
        return log

    def test_head_tells_mark_services_date_and_how_it_ended(self):
        heads = re.search(r'<div id="heads">(.*?)</div>', self.page.read_text(encoding="utf-8"), re.S)[1]
        for part in (r'mark &quot;\w+&quot;|mark "\w+"', r"services \w", r"on \d{4}-\d\d-\d\d", r"ended"):
            self.assertRegex(heads, part)

    def test_several_logs_are_on_one_axis(self):
        folder = PREFIX / "drive_c/temp/zolt"
        folder.mkdir(parents=True, exist_ok=True)
        numbers = (4000000004, 4000000008)
        logs = [folder / f"Nexlet{number}.log" for number in numbers]
        try:
            for log in logs:
                log.write_bytes(LOG.read_bytes())
            page = FOLDER / "several.html"
            subprocess.run([*NEXCTL, "log", "page", "--pid", str(numbers[0]), "--pid", str(numbers[1]), "--out", str(page)],
                           check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=300)
        finally:
            for log in logs:
                log.unlink(missing_ok=True)
        names, ordered, of, heads = self.act("""return [lanes.map(lane => lane.name.slice(0, 3)),
            lines.every((line, i) => i === 0 || lines[i - 1].time <= line.time),
            new Set(lines.slice(0, 20).map(line => lanes[line.lane].name[0])).size,
            byId('heads').children.length];""", page=page)
        self.assertEqual({"1: ", "2: "}, set(names))
        self.assertTrue(ordered)
        self.assertEqual(of, 2, "the beginnings of both are beside each other")
        self.assertEqual(heads, 4, "a title and a summary for each")

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

    def columns_of_the_overview(self, picture):
        """How many columns of the picture have a mark in the strip that is the overview."""
        top = self.act("return Math.round(overview.getBoundingClientRect().top);", page=FOLDER / "large.html")
        strip = subprocess.run(["convert", str(picture), "-crop", f"1400x30+0+{top + 3}", "+repage", "-scale", "1400x1!",
                                "txt:-"], check=True, capture_output=True, text=True).stdout
        return sum("#FFFFFF" not in line for line in strip.splitlines()[1:])

    def test_two_hundred_thousand_lines_are_drawn_in_time_and_memory(self):
        page = self.make_page(self.large_log(), "large.html")
        floor, _ = self.draw(self.page, FOLDER / "small.png")
        picture = FOLDER / "large.png"
        used, most = self.draw(page, picture)
        drawn = self.colours(picture)
        self.assertGreater(drawn.get("5F7081", 0), 500, "no tick of a line is drawn")
        self.assertGreater(drawn.get("FFFFFF", 0), 100000)
        self.assertGreater(self.columns_of_the_overview(picture), 1200, "the overview does not show the whole log")
        dom = Dom(self.browse("--dump-dom", page=page))
        print(f"{LARGE_LINES} lines: {page.stat().st_size} bytes, {used:.1f} s on the processor, {used / floor:.1f} times a "
              f"small page, {most} bytes of memory, drawn after {dom.drawn} ms")
        self.assertIn(f"of {LARGE_LINES} lines", dom.count)
        self.assertLess(used, MOST_TIMES * floor)
        self.assertLess(most, MOST_BYTES)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
