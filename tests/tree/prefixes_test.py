#!/usr/bin/env python3
"""Tests that change what others read must not meet them: each runs alone in a Wine prefix of its own kind.

What a test changes is seen by the names it uses. A program whose sources use one of them is made by a function that
gives it a prefix and a lock on it (nexlet_add_lone_gtest, nexlet_add_lone_e2e, nexlet_add_screen_gtest), or is the only
one of its prefix and makes its tests take turns.
"""
import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
TESTS = ROOT / "tests"

# What is one for all programs of a prefix, and what changes it or finds it by a fixed name.
CHANGES = {
    "the proxy": r"\bScopedInternetProxy\b",
    "the version of the system": r"\bScopedSystemVersion\b",
    "a scheme and what is installed": r"\bCStandInWeChat\b",
    "the monitor's window": r"\bCStandInMonitor\b|\bCMonitorWindow\b",
    "processes of a product's name": r'\bCStandInProcess\b[^;]*L"(WeChat|Weixin|WeChatMiniProgram|Androws\w*)\.exe"',
}
# Registry values are the test's own where it has a registry of its own.
WRITES = r"\b(CRegistryValue|SHSetValueW|SHDeleteValueW|RegSetValueExW|RegSetKeyValueW|RegDeleteTreeW)\b"
OWN_REGISTRY = r"\bCPrivateRegistry\b"

# Functions that give what they make a prefix and a lock on it.
LONE = ("nexlet_add_lone_gtest", "nexlet_add_lone_e2e", "nexlet_add_screen_gtest")
CALL = re.compile(r"^\s*(add_executable|nexlet_add_\w+)\(\s*([\w$\{\}-]+)([^()]*)\)", re.M)
INCLUDE = re.compile(r'^#include "(tests/(?:unit|e2e)/[^"]+|[^"/]+\.h)"', re.M)


def programs(folder=TESTS):
    """Each program of the tests: its name, whether it has a prefix of its own, and its sources."""
    for lists in sorted(folder.rglob("CMakeLists.txt")):
        text = re.sub(r"#.*", "", lists.read_text())
        # A lock that is given by hand counts like the functions'.
        locked = set(re.findall(r"gtest_discover_tests\((\w+)[^()]*RESOURCE_LOCK", text))
        calls = CALL.findall(text)
        prefixes = [rest.split()[0] for function, name, rest in calls if function == "nexlet_add_e2e"]
        for function, name, rest in calls:
            sources = [lists.parent / one for one in re.findall(r"[\w./-]+\.cpp", rest)]
            sources = [one for one in sources if one.is_file()]
            if sources:
                alone = function == "nexlet_add_e2e" and prefixes.count(rest.split()[0]) == 1
                yield name, function in LONE or name in locked or alone, sources


def whole_text(source, seen=None):
    """A source and what it includes of the tests themselves; what all share (tests/support) only defines."""
    seen = set() if seen is None else seen
    if source in seen or not source.is_file():
        return ""
    seen.add(source)
    text = re.sub(r"//.*", "", source.read_text(encoding="utf-8"))
    found = [ROOT / one if one.startswith("tests/") else source.parent / one for one in INCLUDE.findall(text)]
    return text + "".join(whole_text(one, seen) for one in found)


def changes(text):
    found = [what for what, pattern in CHANGES.items() if re.search(pattern, text)]
    if re.search(WRITES, text) and not re.search(OWN_REGISTRY, text):
        found.append("the registry")
    return found


class Prefixes(unittest.TestCase):
    def test_what_changes_something_that_others_read_runs_alone(self):
        for name, alone, sources in programs():
            for source in sources:
                if TESTS / "support" in source.parents or alone:
                    continue
                with self.subTest(program=name, source=str(source.relative_to(ROOT))):
                    self.assertEqual(changes(whole_text(source)), [], f"{name} shares its prefix with other programs")

    def test_the_programs_that_are_known_to_change_something_are_seen(self):
        lone = {name for name, alone, sources in programs()
                if alone and any(changes(whole_text(one)) for one in sources)}
        self.assertLessEqual({"support_http_test", "host_remote_config_test", "open_win_test", "host_notice_test",
                              "network_e2e_test", "clients_e2e_test"}, lone)


if __name__ == "__main__":
    unittest.main()
