#!/usr/bin/env python3
"""Sees to it that every kind of finding before a migration has a case.

    types_test.py PROGRAM [TEST...]

The program is not run.
"""

import pathlib
import re
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib.testcase import REPOSITORY  # noqa: E402
import lines  # noqa: E402
import names  # noqa: E402
import owners  # noqa: E402

FOLDER = pathlib.Path(__file__).resolve().parent
TABLE = REPOSITORY / "src" / "check" / "findings.cpp"
KIND = re.compile(r'\{FindingType::\w+, Severity::(ENDS|CHANGES|DIFFERS), "([a-z0-9-]+)"')
# These are not about what the export holds.
SURROUNDINGS = {"export-not-writable", "left-over-work-file", "work-file-refused",
                "disk-too-small"}


class KindsTest(unittest.TestCase):
    def setUp(self):
        self.severities = {kind: severity for severity, kind in KIND.findall(TABLE.read_text())}
        self.cases = [*owners.CASES, *lines.CASES, *names.CASES]

    def test_every_kind_has_a_case_named_after_it(self):
        self.assertGreater(len(self.severities), 40)
        before = {kind for kind, severity in self.severities.items() if severity != "DIFFERS"}
        named = {case.name.split(",")[0] for case in self.cases}
        self.assertEqual(named | SURROUNDINGS, before)
        surroundings = (FOLDER / "surroundings_test.py").read_text()
        for kind in SURROUNDINGS:
            self.assertIn(f'"{kind}"', surroundings)

    def test_cases_find_what_they_are_named_after(self):
        for case in self.cases:
            with self.subTest(case=case.name):
                self.assertIn(case.name.split(",")[0], {kind for kind, *_ in case.found})
                self.assertLessEqual({kind for kind, *_ in case.found}, set(self.severities))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
