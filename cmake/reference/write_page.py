#!/usr/bin/env python3
"""Writes the reference of the client library, one page, from what Doxygen read of its headers.
write_page.py XML_FOLDER PAGE"""
import html
import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

STYLE = """
body { font: 16px/1.5 "Segoe UI", sans-serif; max-width: 58em; margin: 2em auto; padding: 0 1em; color: #1b1b1b; }
code, pre { font: 14px/1.45 Consolas, monospace; }
pre { background: #f3f3f3; padding: .6em .8em; overflow-x: auto; white-space: pre-wrap; }
h2 { margin-top: 2.5em; border-bottom: 1px solid #ccc; }
h3 { margin-bottom: .3em; font-family: Consolas, monospace; }
td, th { text-align: left; vertical-align: top; padding: .15em 1em .15em 0; }
nav { columns: 3; }
nav a { display: block; font-family: Consolas, monospace; font-size: 14px; overflow: hidden; text-overflow: ellipsis; }
a { color: #0b5cad; text-decoration: none; }
"""
# Doxygen's elements that are those of HTML under another name.
SAME = {"para": "p", "computeroutput": "code", "bold": "b", "emphasis": "i", "itemizedlist": "ul", "orderedlist": "ol",
        "listitem": "li"}
VISIBLE = "public"


def in_order(declarations):
    """As they are in the header."""
    return sorted(declarations, key=lambda one: int(one.find("location").get("line")))


class Page:
    def __init__(self, folder):
        self.compounds = {}
        for path in sorted(folder.glob("*.xml")):
            for compound in ElementTree.parse(path).getroot().iter("compounddef"):
                self.compounds[compound.get("id")] = compound
        self.anchors = {}
        for compound in self.compounds.values():
            if compound.get("kind") in ("struct", "class"):
                self.anchors[compound.get("id")] = compound.findtext("compoundname")
            for member in compound.iter("memberdef"):
                name = member.findtext("qualifiedname") or member.findtext("name")
                if compound.get("kind") == "struct" and "::" not in name:
                    name = f"{compound.findtext('compoundname')}::{name}"
                # Functions that share a name.
                while name in self.anchors.values():
                    name += "'"
                self.anchors[member.get("id")] = name
                for value in member.iter("enumvalue"):
                    self.anchors[value.get("id")] = value.findtext("name")
        self.out = []

    def text(self, node):
        """What is inside an element, as HTML."""
        parts = [html.escape(node.text or "", quote=False)]
        for child in node:
            parts += [self.element(child), html.escape(child.tail or "", quote=False)]
        return "".join(parts)

    def element(self, node):
        if node.tag in SAME:
            # A block inside a paragraph is not one for HTML.
            inner = self.text(node)
            return f"<{SAME[node.tag]}>{inner.strip() if node.tag == 'para' else inner}</{SAME[node.tag]}>\n"[:-1]
        if node.tag == "ref":
            name = self.anchors.get(node.get("refid"))
            return f'<a href="#{html.escape(name)}">{self.text(node)}</a>' if name else self.text(node)
        if node.tag in ("verbatim", "preformatted", "programlisting"):
            return f"</p><pre>{self.text(node).rstrip()}</pre><p>"
        if node.tag == "codeline":
            return self.text(node) + "\n"
        if node.tag == "highlight":
            return self.text(node)
        if node.tag == "sp":
            return " "
        if node.tag in ("ndash", "mdash"):
            return {"ndash": "--", "mdash": "---"}[node.tag]
        raise ValueError(f"Doxygen wrote <{node.tag}>, which this page has no form for")

    def description(self, node):
        parts = [self.element(para) for kind in ("briefdescription", "detaileddescription") for para in node.find(kind)]
        return re.sub(r"<p>\s*</p>", "", "\n".join(parts))

    def type(self, node):
        found = node.find("type")
        return re.sub(r" ([*&]+)$", r"\1", self.text(found)) if found is not None else ""

    def declaration(self, member):
        kind, name = member.get("kind"), member.findtext("name")
        if kind == "define":
            return f"#define {name} {html.escape(member.findtext('initializer') or '')}".rstrip()
        if kind == "typedef" and (member.findtext("definition") or "").startswith("using"):
            return f"using {name} = {self.type(member)};"
        if kind == "typedef":
            return f"typedef {self.type(member)} {name};"
        if kind == "variable":
            return f"{self.type(member)} {name}{html.escape(member.findtext('argsstring') or '')};".replace("* )", "*)")
        parameters = []
        for parameter in member.findall("param"):
            default = parameter.findtext("defval")
            word = f"{self.type(parameter)} {parameter.findtext('declname') or ''}".strip()
            parameters.append(word + (f" = {html.escape(default)}" if default else ""))
        after = (member.findtext("argsstring") or "").rpartition(")")[2]
        before = "explicit " if member.get("explicit") == "yes" else ""
        return " ".join(f"{before}{self.type(member)} {name}({', '.join(parameters)}){html.escape(after)};".split())

    def heading(self, node_id, title):
        self.out.append(f'<h3 id="{html.escape(self.anchors[node_id])}">{html.escape(title)}</h3>')

    def member(self, member):
        if member.get("kind") == "enum":
            self.enumeration(member)
            return
        self.heading(member.get("id"), member.findtext("name"))
        self.out.append(f"<pre>{self.declaration(member)}</pre>\n{self.description(member)}")

    def enumeration(self, member):
        self.out.append(self.description(member))
        self.out.append("<table>")
        for value in member.findall("enumvalue"):
            name = value.findtext("name")
            number = (value.findtext("initializer") or "").lstrip("= ")
            self.out.append(f'<tr id="{name}"><td><code>{name}</code></td><td><code>{html.escape(number)}</code></td>'
                            f"<td>{self.description(value)}</td></tr>")
        self.out.append("</table>")

    def record(self, compound, table):
        name = compound.findtext("compoundname")
        self.heading(compound.get("id"), name)
        self.out.append(self.description(compound))
        members = self.members(compound)
        if not table:
            for member in members:
                self.member(member)
            return
        self.out.append("<table>")
        for member in members:
            anchor = html.escape(self.anchors[member.get("id")])
            self.out.append(f'<tr id="{anchor}"><td><code>{self.declaration(member)}</code></td>'
                            f"<td>{self.description(member)}</td></tr>")
        self.out.append("</table>")

    def members(self, compound):
        return in_order(member for member in compound.iter("memberdef") if member.get("prot") == VISIBLE)

    def inner(self, compound):
        return [self.compounds[one.get("refid")] for one in compound.findall("innerclass") if one.get("prot") == VISIBLE]

    def header(self, compound):
        """A header: what it is, its constants and types, its records, and its functions by section."""
        self.out.append(f"<h2>{compound.findtext('compoundname')}</h2>\n{self.description(compound)}")
        sections = compound.findall("sectiondef")
        loose = [member for section in sections if section.get("kind") != "user-defined" for member in self.members(section)]
        for one in in_order(loose + self.inner(compound)):
            if one.tag == "memberdef":
                self.member(one)
            else:
                self.record(one, table=not any(member.get("kind") == "function" for member in self.members(one)))
        for section in sections:
            if section.get("kind") == "user-defined":
                self.out.append(f"<h2>{html.escape(section.findtext('header'))}</h2>")
                about = section.find("description")
                if about is not None:
                    self.out += [self.element(para) for para in about]
                for member in self.members(section):
                    self.member(member)

    def write(self):
        for compound in sorted(self.compounds.values(), key=lambda one: one.findtext("compoundname")):
            if compound.get("kind") == "file":
                self.header(compound)
        body = "\n".join(self.out)
        functions = re.findall(r'<h3 id="([^"]+)"', body)
        links = "\n".join(f'<a href="#{name}">{name}</a>' for name in functions)
        return ('<!DOCTYPE html>\n<html lang="en">\n<meta charset="utf-8">\n<title>Nexlet client library</title>\n'
                f"<style>{STYLE}</style>\n<h1>Nexlet client library</h1>\n"
                "<p>Each declaration of the two headers in <code>include/</code>, with what goes in and out, which results "
                f"it has and how long it waits.</p>\n<nav>\n{links}\n</nav>\n{body}\n</html>\n")


if __name__ == "__main__":
    Path(sys.argv[2]).write_text(Page(Path(sys.argv[1])).write(), encoding="utf-8", newline="\n")
