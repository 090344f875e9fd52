#!/usr/bin/env python3
"""The page of the log's lines against the sources: every line under the name of its operation, and nothing else."""
import re
import unittest

from documents_test import FLOORS, LITERAL, ROOT, joined, files, read, rows

PAGE = "docs/log-lines.md"
ORIGIN = "[%s(%d)]"
# The line is another literal of the same file.
ANY_TEXT = ORIGIN + " %s"

CALL = re.compile(r"NXL_LOG\(\s*" + LITERAL + r"|NXL_LOG_AS\(\s*([^,]+?),\s*" + LITERAL)
SPACE = re.compile(r"namespace(?: (\w+))? \{")
CONSTANT = re.compile(r'constexpr wchar_t (\w+)\[\] = ' + LITERAL)
# The beginning of a definition: these files indent all that is not one.
HEAD = re.compile(r"(?:\[\[\w+\]\] )?(?!namespace|using|struct|class|enum|template|constexpr|static_assert)"
                  r"\w[^;={]*?([\w:~]+)\(")


def lines_of(text):
    """The lines that this C++ text logs with a name: (name, line). The name is None where only a run can tell it."""
    text = joined(text)
    constants = dict(CONSTANT.findall(text))
    spaces = []
    function = None
    found = set()
    for match in re.finditer(r"^.*$", text, re.M):
        line = match.group()
        if opened := SPACE.match(line):
            spaces.append(opened.group(1))
        elif line.startswith("}  // namespace"):
            spaces.pop()
        elif head := HEAD.match(text, match.start()) if re.match(r"[\w[]", line) else None:
            function = "::".join([space for space in spaces if space] + [head.group(1)])
        if line.lstrip().startswith(("//", "#")) or "NXL_LOG" not in line:
            continue
        call = CALL.search(text, match.start())
        if call is None or call.start() > match.end():
            continue  # NXL_LOG_NAME
        plain, operation, named = call.groups()
        if named is not None:
            literal = re.fullmatch(LITERAL, operation)
            found.add((literal.group(1) if literal else constants.get(operation), named))
        elif plain.startswith(ORIGIN):
            found.add((function, plain))
    return found


class LogLines(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.page = {(name.strip("`"), line.strip("`")) for name, line in rows(PAGE, "operation", "line")}
        cls.texts = [read(path) for path in files("*.cpp", "*.h") if path.relative_to(ROOT).parts[0] in FLOORS]
        cls.sources = [(text, lines_of(text)) for text in cls.texts]

    def test_the_reader_of_the_sources_knows_every_form_of_a_call(self):
        text = ('namespace A {\nnamespace {\nconstexpr wchar_t kName[] = L"Whole";\n}  // namespace\n\n'
                'int B::f(const T& t,\n         int n) {\n    NXL_LOG(L"[%s(%d)] one %d", n);\n'
                '    NXL_LOG(\n        L"[%s(%d)]tw"\n        L"o");\n    NXL_LOG(L"bare");\n'
                '    NXL_LOG_AS(L"C::~C", L"[%s(%d)] three");\n    NXL_LOG_AS(kName, L"[%s(%d)] four");\n'
                '    NXL_LOG_AS(operation,\n               L"[%s(%d)] five");\n}\n\n}  // namespace A\n'
                'static void g() { NXL_LOG(L"[%s(%d)] six"); }\n')
        self.assertEqual(lines_of(text), {
            ("A::B::f", "[%s(%d)] one %d"), ("A::B::f", "[%s(%d)]two"), ("C::~C", "[%s(%d)] three"),
            ("Whole", "[%s(%d)] four"), (None, "[%s(%d)] five"), ("g", "[%s(%d)] six")})

    def test_every_line_of_the_sources_is_on_the_page_under_its_name(self):
        known = {line for _, line in self.page}
        faults = []
        for _, lines in self.sources:
            for name, line in lines:
                if line != ANY_TEXT and (line not in known if name is None else (name, line) not in self.page):
                    faults.append(f"{name}: {line!r}")
        self.assertEqual(sorted(faults), [])

    def test_every_line_of_the_page_is_one_that_the_sources_log(self):
        self.assertGreater(len(self.page), 250)
        logged = set().union(*(lines for _, lines in self.sources))
        for text, lines in self.sources:
            for name, line in lines:
                if line == ANY_TEXT:
                    # Under a name that only a run can tell, the text may come from any file: from the table of requests.
                    of = self.texts if name is None else [text]
                    logged |= {(name, f"{ORIGIN} {one}") for each in of for one in re.findall(LITERAL, joined(each))}
        faults = [f"{name}: {line!r}" for name, line in self.page
                  if (name, line) not in logged and (None, line) not in logged]
        self.assertEqual(sorted(faults), [])


if __name__ == "__main__":
    unittest.main()
