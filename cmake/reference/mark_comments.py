#!/usr/bin/env python3
"""Doxygen's input filter for the headers of the client library: marks their plain comments as documentation.
mark_comments.py HEADER

A comment documents the declaration after it, or the one before it on its line. "/* ---- Title ----" begins a section
and the text after it is about the section. A comment before a preprocessor line other than #define is not documentation.
"""
import re
import sys

SECTION = re.compile(r"(/\*|//) ---- (.*?) ----")
COMMENT = re.compile(r"(\s*)(/\*|//)(.*)")
# A declaration, or a value of an enumeration, with a comment after it.
TRAILING = re.compile(r"(.*[;,{}\w]) +(/\*|//) (.*)")


def blocks(lines):
    """The lines, with those of one comment in one list."""
    found, at = [], 0
    while at < len(lines):
        start = COMMENT.match(lines[at])
        trailing = None if start else TRAILING.match(lines[at])
        opened = (start or trailing) and (start or trailing)[2]
        end = at + 1
        if opened == "/*":
            while "*/" not in lines[end - 1]:
                end += 1
        elif start and opened == "//":
            while end < len(lines) and re.match(r"\s*//", lines[end]):
                end += 1
        found.append((bool(start), bool(trailing), lines[at:end]))
        at = end
    return found


def mark(lines):
    """The same lines, marked."""
    out, open_section, first = [], False, True
    found = blocks(lines)
    for index, (before, trailing, block) in enumerate(found):
        following = next((line for _, _, more in found[index + 1:] for line in more if line.strip()), "")
        if re.match(r"#ifdef __cplusplus|}  // namespace", block[0]) and open_section:
            out.append("/** @} */")
            open_section = False
        if trailing:
            code, opened, text = TRAILING.match(block[0]).groups()
            block = [f"{code} {'/**<' if opened == '/*' else '///<'} {text}", *block[1:]]
        elif before:
            indent, opened, text = COMMENT.match(block[0]).groups()
            section = SECTION.match(block[0])
            marked = "/**" if opened == "/*" else "///"
            rest = [re.sub(r"^(\s*)//", r"\1///", line) if opened == "//" else line for line in block[1:]]
            if section:
                out += ["/** @} */"] if open_section else []
                text = f" @name {section[2]}" + (" */" if block[0].endswith("*/") else "")
                block = [marked + text, *rest, "/** @{ */"]
                open_section = True
            elif first:
                block = [marked + " @file" + ("" if opened == "/*" else "\n///" + text), *rest]
            elif not following.startswith("#") or following.startswith("#define"):
                block = [indent + marked + text, *rest]
            first = False
        out += block
    return out


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as header:
        print("\n".join(mark(header.read().split("\n"))))
