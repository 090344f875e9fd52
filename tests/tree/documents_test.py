#!/usr/bin/env python3
"""The documents against the tree: every link leads somewhere, and what a page quotes of the sources is there."""
import re
import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FLOORS = ("foundation", "support", "ipc", "open", "service", "host")

CODE = re.compile(r"`([^`]+)`")
LINK = re.compile(r"\]\(([^)\s]+)\)")
PICTURE = re.compile(r"!\[([^\]]*)\]\(([^)\s]+)\)")
FENCE = re.compile(r"^```.*?^```", re.M | re.S)
LITERAL = r'L"((?:[^"\\]|\\.)*)"'


def files(*patterns):
    names = subprocess.run(["git", "-C", str(ROOT), "ls-files", "-co", "--exclude-standard", *patterns],
                           capture_output=True, text=True, check=True).stdout.split("\n")
    return [ROOT / name for name in names if name and (ROOT / name).is_file()]


def read(path):
    return path.read_text(encoding="utf-8")


def headings(text):
    """The anchors of a page's headings."""
    lines = re.findall(r"^#+ +(.*?)\s*$", FENCE.sub("", text), re.M)
    return {re.sub(r"[^\w\- ]", "", line.lower()).replace(" ", "-") for line in lines}


def rows(page, *columns):
    """The cells of these columns, of every row of every table that has the first of them; "" for one it lacks."""
    names = None
    for line in read(ROOT / page).split("\n"):
        if not line.startswith("|"):
            names = None
            continue
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if names is None:
            names = cells
        elif columns[0] in names and not set(line) <= set("|-: "):
            assert len(cells) == len(names), f"{page}: {line}"
            yield [cells[names.index(one)] if one in names else "" for one in columns]


def joined(text):
    """C++ text with its neighbouring string literals made one."""
    return re.sub(r'"\s*\n\s*L?"', "", text)


class Documents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sources = {path: read(path) for path in files("*.cpp", "*.h")
                       if path.relative_to(ROOT).parts[0] in FLOORS}
        # What each operation logs; log_lines_test.py holds that page to the sources.
        cls.lines = {(name.strip("`"), line.strip("`").removeprefix("[%s(%d)]").strip())
                     for name, line in rows("docs/log-lines.md", "operation", "line")}

    def test_every_link_in_a_page_leads_somewhere(self):
        pages = files("*.md")
        self.assertGreater(len(pages), 5)
        faults = []
        for page in pages:
            text = CODE.sub("", FENCE.sub("", read(page)))
            for link in LINK.findall(text):
                if re.match(r"[a-z]+:", link):
                    continue
                name, _, anchor = link.partition("#")
                target = (page.parent / name).resolve() if name else page
                if not target.exists():
                    faults.append(f"{page.relative_to(ROOT)}: {link}: there is no such file")
                elif anchor and anchor not in headings(read(target)):
                    faults.append(f"{page.relative_to(ROOT)}: {link}: there is no such heading")
        self.assertEqual(faults, [])

    def test_every_page_opens_with_what_its_reader_can_do_after_it(self):
        pages = [page for page in files("*.md", "resources/package/README*.md.in")
                 if page.name != "THIRD-PARTY.md" and not page.relative_to(ROOT).parts[0].startswith(".")]
        self.assertGreater(len(pages), 20)
        # Before the first heading below the page's own; a picture or a sentence about the subject may come first.
        opening = {page.relative_to(ROOT).as_posix(): read(page).split("\n## ")[0] for page in pages}
        self.assertEqual([page for page, text in opening.items() if "fter this page you" not in " ".join(text.split())], [])

    def test_every_picture_of_the_documents_is_shown_and_is_small(self):
        shown = set()
        for page in files("*.md"):
            for text, link in PICTURE.findall(FENCE.sub("", read(page))):
                self.assertGreater(len(text), 20, f"{page.name}: {link} has no text for readers who cannot see it")
                shown.add((page.parent / link).resolve())
        pictures = files("docs/pictures/*.png")
        self.assertGreater(len(pictures), 1)
        for picture in pictures:
            self.assertIn(picture, shown, "no page shows it")
            data = picture.read_bytes()
            self.assertEqual(data[12:16] + data[25:26], b"IHDR\x03", f"{picture.name} has no palette")
            self.assertLess(len(data), 150_000, picture.name)

    def test_every_log_line_of_the_refusals_is_one_that_its_function_writes(self):
        faults = []
        seen = 0
        functions = []
        for cell, said_by in rows("docs/refusals.md", "line in the log", "function"):
            if said_by != "the same":
                functions = CODE.findall(said_by)
            for line in CODE.findall(cell):
                seen += 1
                if line not in {text for _, text in self.lines}:
                    faults.append(f"no function logs: {line}")
                for function in functions:
                    if not any(text == line and ("::" + name).endswith("::" + function) for name, text in self.lines):
                        faults.append(f"{function} does not log: {line}")
        self.assertGreater(seen, 40)
        self.assertEqual(faults, [])

    def test_every_registry_value_on_its_page_is_one_that_the_sources_name(self):
        literals = set().union(*(re.findall(LITERAL, text) for text in self.sources.values()))
        values = [value for cell, in rows("docs/registry.md", "value") for value in CODE.findall(cell)]
        self.assertGreater(len(values), 15)
        self.assertEqual([value for value in values if value not in literals], [])

    def test_what_clean_removes_is_what_the_helper_leaves(self):
        clean = read(ROOT / "nexctl/clean/leftovers.cpp")
        removed = set(re.findall(LITERAL, clean))
        for cell, written_by in rows("docs/registry.md", "value", "written by"):
            if re.search(r"the helper|probe", written_by) or cell.startswith("`debug_"):
                for value in CODE.findall(cell):
                    self.assertIn(value, removed, "a value that the helper writes stays")
        # The other way round: whatever it removes has a name that the helper knows.
        literals = set().union(*(re.findall(LITERAL, text) for text in self.sources.values()))
        names = re.findall(LITERAL, clean[clean.index("kKeys[]"):clean.index("// Keys that only")])
        names += re.findall(r'L"(Nxl\w+)"', clean)
        self.assertGreater(len(names), 20)

        def known(name):
            # The sources write a key below another one in two pieces.
            parent, _, last = name.rpartition("\\\\")
            return name in literals or (parent in literals and "\\\\" + last in literals)
        self.assertEqual([name for name in names if not known(name)], [])

    def test_the_walk_of_a_request_names_functions_of_its_files(self):
        faults = []
        seen = 0
        for cell, functions in rows("docs/architecture.md", "file", "functions, in order"):
            texts = [read(ROOT / name) for name in CODE.findall(cell)]
            for name in CODE.findall(functions):
                seen += 1
                if not any(re.search(rf"^[\w[].*\b{name}\(", text, re.M) for text in texts):
                    faults.append(f"{cell} does not define {name}")
        self.assertGreater(seen, 40)
        self.assertEqual(faults, [])

    def test_beacons_that_are_counted_are_those_of_the_page(self):
        paths = {path for cell, in rows("docs/beacons.md", "Path") for path in CODE.findall(cell) if path.startswith("/")}
        counted = set(re.findall(r'\{"(/[^"]+)"', read(ROOT / "nexctl/beacons/beacon_counts.cpp")))
        self.assertGreater(len(paths), 5)
        self.assertEqual(counted, paths)

    def test_findings_of_the_doctor_and_of_its_page_are_the_same(self):
        kinds = {"Wrong": "wrong", "Note": "note"}
        judged = [(code, kinds[kind]) for kind, code in
                  re.findall(r'\b(Wrong|Note)\(\s*"([a-z.-]+)"', read(ROOT / "nexctl/doctor/judge.cpp"))]
        told = [(CODE.findall(cells[0])[0], cells[1].strip()) for cells in rows("docs/troubleshooting.md", "code", "finding")]
        self.assertGreater(len(told), 30)
        self.assertEqual(sorted(set(judged)), sorted(told))

    def test_the_caller_that_newcomers_are_shown_compiles(self):
        code, = re.findall(r"^```c\n(.*?)^```", read(ROOT / "docs/getting-started.md"), re.M | re.S)
        for flags in (["-x", "c", "-std=c11", "-Wall", "-Wextra", "-Wno-missing-field-initializers"],
                      ["-x", "c++", "-std=c++17", "-Wall"]):
            done = subprocess.run(["x86_64-w64-mingw32-g++", *flags, "-Werror", "-fsyntax-only",
                                   f"-I{ROOT / 'client/include'}", "-"], input=code, text=True, capture_output=True)
            self.assertEqual(done.returncode, 0, done.stderr)


if __name__ == "__main__":
    unittest.main()
