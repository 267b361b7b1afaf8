#!/usr/bin/env python3
"""Runs all benchmarks on small exports, so that they go on working.

    smoke_test.py PROGRAM [TEST...]

The figures of such runs mean nothing. Tested is that they are printed, and that runs which differ
are noticed.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/../tests")
from lib.testcase import FolderTest, take_program  # noqa: E402

FOLDER = pathlib.Path(__file__).resolve().parent
ROWS = ("one-pass", "16-passes", "64-passes", "scattered", "long-policy-25000",
        "long-policy-50000", "long-policy-100000", "long-entry-62500", "long-entry-125000",
        "long-entry-249999", "merge", "long-merge", "plain-names-1000000",
        "numbered-names-1000000", "plain-names-32000", "bracketed-names-32000", "example",
        "traced", "check", "check-example", "verify", "verify-example", "check-findings",
        "verify-namesakes")
TARGETS = 22  # of all rows


class Smoke(FolderTest):
    def bench(self, *options):
        """Returns the status, the lines of the table and what was complained of."""
        command = [sys.executable, "-B", FOLDER / "run_bench.py", PROGRAM, "--small", "--runs", "1",
                   "--folder", self.folder, *options]
        ended = subprocess.run(command, check=False, stdin=subprocess.DEVNULL, encoding="utf-8",
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        lines = [line.strip("| ").split(" | ") for line in ended.stdout.splitlines()
                 if line.startswith("|")]
        return ended.returncode, lines, ended.stderr

    def baseline(self, *commands):
        """A program that does the same as ours, and then what the commands do."""
        script = self.folder / "baseline"
        script.write_text("\n".join(["#!/bin/sh", f'"{PROGRAM}" "$@"', *commands]) + "\n")
        script.chmod(0o755)
        return script

    def test_every_workload_has_its_row(self):
        status, lines, complaints = self.bench("--no-instructions")
        self.assertEqual((status, complaints), (0, ""))
        headings, _, *rows = lines
        self.assertEqual(tuple(row[0] for row in rows), ROWS)
        for row in rows:
            figures = dict(zip(headings, row))
            for name in ("MB", "wall", "CPU", "MB/s", "peak"):
                self.assertGreater(float(figures[name]), 0, row)
            for name in ("x floor", "x cp"):
                if row[0].startswith(("check", "verify")):
                    self.assertEqual(figures[name], "", row)
                else:
                    self.assertGreater(float(figures[name]), 0, row)
        met_or_missed = sum(row[-1].count(", met") + row[-1].count(", **missed**") for row in rows)
        self.assertEqual(met_or_missed, TARGETS)

    def test_nothing_but_exports_is_left(self):
        self.assertEqual(self.bench("--no-instructions", "--only", "merge,traced")[0], 0)
        self.assertEqual(sorted(os.listdir(self.folder)), ["merge-1000.ldif", "users-200.ldif"])

    def test_workloads_to_compare_with_run_as_well(self):
        _, lines, _ = self.bench("--no-instructions", "--only", "long-policy-100000")
        self.assertEqual([row[0] for row in lines[2:]], ["long-policy-25000", "long-policy-50000",
                                                         "long-policy-100000", "example"])

    def test_other_baseline_is_noticed(self):
        for workload, commands, complaint in (
                ("example", ["exit 3"], "status 3 of "),
                ("example", ["echo >>output.ldif"], "another output.ldif than"),
                ("example", ["echo more"], "another stdout than"),
                ("example", ["echo more >&2"], "another stderr than"),
                ("traced", ["echo >>trace.txt"], "another trace.txt than"),
                ("traced", [], "")):
            with self.subTest(commands=commands):
                status, lines, complaints = self.bench(
                    "--no-instructions", "--only", workload, "--baseline",
                    self.baseline(*commands))
                self.assertIn(complaint, complaints)
                self.assertEqual((status, bool(lines)), (1, False) if complaint else (0, True))

    @unittest.skipUnless(shutil.which("valgrind"), "valgrind is not there")
    def test_instructions_are_counted(self):
        status, lines, complaints = self.bench("--only", "merge")
        self.assertEqual((status, complaints), (0, ""))
        self.assertGreater(float(dict(zip(lines[0], lines[2]))["instr./line"]), 100)


if __name__ == "__main__":
    PROGRAM = take_program()
    unittest.main()
