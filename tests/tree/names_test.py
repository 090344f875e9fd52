#!/usr/bin/env python3
"""The names of the tests: Subject.SentenceOfTheBehaviour, as CONTRIBUTING.md says."""
import re
import unittest

from documents_test import ROOT, files, read

DECLARED = re.compile(r"^\s*TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", re.M)
WORD = re.compile(r"[A-Z]+(?![a-z])|[A-Z][a-z]*|\d+")


class Names(unittest.TestCase):
    def test_every_test_is_named_by_a_sentence(self):
        seen = 0
        faults = []
        for path in files("*_test.cpp"):
            for subject, sentence in DECLARED.findall(read(path)):
                seen += 1
                # A sentence has three words or more.
                if "_" in subject + sentence or not sentence[0].isupper() or len(WORD.findall(sentence)) < 3:
                    faults.append(f"{path.relative_to(ROOT)}: {subject}.{sentence}")
        self.assertGreater(seen, 1500)
        self.assertEqual(faults, [])


if __name__ == "__main__":
    unittest.main()
