#!/usr/bin/env python3
"""Checks exports before their migration and migrates them all the same.

    before_test.py PROGRAM CASES [TEST...]

CASES is owners, lines, names or harmless, the modules with the cases; case.py describes what
these are made of. The check is beside PROGRAM, which migrates.
"""

import importlib
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib.programs import CLEAN, FOUND, check, checker_of, migrate  # noqa: E402
from lib.testcase import FolderTest, take_program  # noqa: E402

PROGRAM = take_program()
CHECK = checker_of(PROGRAM)
ENDED = 255
TRIED = set()  # sound exports and outputs: many cases are fixed by undoing their edits
SHOWN = set()  # texts of findings that have been looked for in a report for people


def encoded(text):
    return text.encode("latin-1")


def findings(report):
    """Everything found: kind, line, DN."""
    return [(found["type"], one.get("line"), one.get("dn"))
            for found in report["findings"] for one in found["shown"]]


def unlike(reported, expected):
    """The findings that are not in the other list; of a DN the case knows the beginning."""
    def is_same(one, other):
        return one[:2] == other[:2] and (one[2] == other[2] if None in (one[2], other[2])
                                         else one[2].startswith(other[2]))

    return ([one for one in reported if not any(is_same(one, other) for other in expected)],
            [one for one in expected if not any(is_same(other, one) for other in reported)])


class BeforeTest(FolderTest):
    def setUp(self):
        super().setUp()
        self.export = self.folder / "export.ldif"
        self.output = self.folder / "output.ldif"

    def check(self, *options, output=None):
        before = self.state()
        run = check(CHECK, self.export, output, options)
        self.assertEqual(run.stderr, b"")
        self.assertEqual(self.state(), before)
        return run

    def state(self):
        """What is in the folder."""
        return {path.name: (path.read_bytes(), path.stat().st_mtime_ns)
                for path in self.folder.iterdir()}

    def migrate(self, text, report):
        """Migrates with the counts of the report."""
        return migrate(PROGRAM, encoded(text), (report["run"]["users"], report["run"]["groups"]))

    def run_case(self, case):
        if case.export is not None:
            self.run_broken(case)
        self.run_sound(case.repaired, case.repaired_output)

    def run_broken(self, case):
        self.export.write_bytes(encoded(case.export))
        run = self.check("--json")
        self.assertEqual(run.status, FOUND, run.stdout)
        self.compare_report(case, run.document)
        self.compare_text(run.document)
        ended = self.migrate(case.export, run.document)
        if case.ends:
            number, text = case.ends
            self.assertEqual(ended.status, ENDED)
            self.assertTrue(ended.stderr.startswith(b"%d ERROR: " % number), ended.stderr)
            self.assertIn(text, ended.stderr.decode("latin-1"))
        else:
            self.assertEqual((ended.status, ended.stderr), (0, b""))
            self.assertEqual(ended.output.decode("latin-1"), case.output)

    def compare_report(self, case, report):
        self.assertEqual(unlike(findings(report), case.found), ([], []))
        kinds = [kind for kind, *_ in case.found]
        self.assertEqual({found["type"]: found["total"] for found in report["findings"]},
                         {kind: kinds.count(kind) for kind in kinds})
        ending = [found for found in report["findings"] if found["severity"] == "ends"]
        self.assertEqual(bool(ending), bool(case.ends))
        for found in report["findings"]:
            self.assertIn(found["severity"], ("ends", "changes"))
            for one in found["shown"]:
                self.assertEqual(one.get("message"),
                                 case.ends[0] if found in ending else None, one)
                self.assertTrue(one["effect"])

    def compare_text(self, report):
        """The report for people has what the one for programs has.

        A case without a text of its own would only repeat this.
        """
        texts = {text for found in report["findings"] for one in found["shown"]
                 for text in (found["title"], found["fix"], one["effect"])}
        if texts <= SHOWN:
            return
        SHOWN.update(texts)
        run = self.check()
        self.assertEqual(run.status, FOUND)
        text = run.stdout.decode("latin-1")
        for found in report["findings"]:
            self.assertIn(found["title"], text)
            self.assertIn(found["fix"], text)
            for one in found["shown"]:
                self.assertIn(one.get("dn", "").encode().decode("latin-1"), text)
                self.assertIn(one["effect"].encode().decode("latin-1"), text)
                self.assertRegex(text, rf"\b{one['line']}\b")

    def run_sound(self, text, output):
        if (text, output) in TRIED:
            return
        self.export.write_bytes(encoded(text))
        run = self.check("--json")
        self.assertEqual(findings(run.document), [])
        self.assertEqual(run.status, CLEAN)
        if not TRIED:  # without findings, all reports for people are alike
            self.assertEqual(self.check().status, CLEAN)
        ended = self.migrate(text, run.document)
        self.assertEqual((ended.status, ended.stderr), (0, b""))
        self.assertEqual(ended.output.decode("latin-1"), output)
        self.output.write_bytes(ended.output)
        verified = self.check("--json", output=self.output)
        self.assertEqual((findings(verified.document), verified.status), ([], CLEAN))
        self.output.unlink()
        TRIED.add((text, output))


def add_tests(cases):
    for number, case in enumerate(cases):
        setattr(BeforeTest, f"test_{number:02} {case.name}",
                lambda self, case=case: self.run_case(case))


if __name__ == "__main__":
    add_tests(importlib.import_module(sys.argv.pop(1)).CASES)
    unittest.main()
