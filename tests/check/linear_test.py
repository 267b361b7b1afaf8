#!/usr/bin/env python3
"""The check takes no longer for a byte of a hostile export than of a plain one.

    linear_test.py PROGRAM [TEST...]

The check and measure stand beside PROGRAM. A test compares the processor's time for a byte with
that of an export of plain entries of the same kind. Where each entry or line is compared with all
others, the ratio is ten and more at these sizes, and grows with them.
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True
sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import hostile_exports as hostile  # noqa: E402

PROGRAM = pathlib.Path(sys.argv[1]).resolve()
CHECK = PROGRAM.with_name("ldif-migrate-check")
MEASURE = PROGRAM.with_name("measure")
RUNS = 3
MOST = 5  # with what a finding takes, and with what disturbs a machine
CREDENTIALS, USERS, LINES = 60_000, 20_000, 20_000


def plain_name(number):
    return f"user{number:06d}"


def ann(_):
    return "ann"


def domain(number, *more):
    return [f"dn: secAuthority=Sales{number}", "objectclass: secAuthorityInfo", "version: 6.0",
            *more]


def domains(*more):
    return [domain(number, *more) for number in range(USERS)]


class LinearTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)

    def written(self, name, write, *arguments):
        write(self.folder / name, *arguments)
        return self.folder / name

    def seconds_for_byte(self, files, options=()):
        """The least of several runs."""
        report = self.folder / "report"
        seconds = []
        for _ in range(RUNS):
            subprocess.run([MEASURE, report, CHECK, *options, *files], check=True,
                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
            status, _, time, _ = report.read_text().split()
            self.assertIn(status, ("0", "1"))
            seconds.append(float(time))
        return min(seconds) / sum(file.stat().st_size for file in files)

    def assertLinear(self, plain, hostile_files, options=(), most=MOST):
        ratio = self.seconds_for_byte(hostile_files, options) / self.seconds_for_byte(plain)
        self.assertLess(ratio, most)

    def test_credentials_that_are_others_and_backwards(self):
        export = self.written("export", hostile.write_credentials, CREDENTIALS)
        self.assertLinear([export, self.written("same", hostile.write_credentials, CREDENTIALS)],
                          [export, self.written("output", hostile.write_changed_credentials,
                                                CREDENTIALS)])

    def test_users_of_one_name(self):
        self.assertLinear(
            [self.written("plain", hostile.write_users, USERS, plain_name),
             self.written("records", hostile.write_records, USERS, plain_name)],
            [self.written("export", hostile.write_namesakes, USERS),
             self.written("output", hostile.write_records, USERS, ann)])

    def test_users_whose_names_differ_by_one_bit(self):
        self.assertLinear([self.written("plain", hostile.write_users, USERS, plain_name)],
                          [self.written("export", hostile.write_colliding_names, USERS)])

    def test_domains_whose_dates_are_wrong(self):
        export = self.written("export", hostile.write_entries, domains())
        dated = domains("installDate: 20250102030405.0Z")
        wrong = [[*one[:2], "version: 5.0", one[3]] for one in reversed(dated)]
        self.assertLinear([export, self.written("plain", hostile.write_entries, dated)],
                          [export, self.written("output", hostile.write_entries, wrong)])

    def test_findings_in_one_entry(self):
        plain = self.written("plain", hostile.write_policy, LINES,
                             "secNote{:06d}: as of spring")
        for form in ("secNote{:06d}: acl: of spring", "secNote{:06d}: of\rspring"):
            export = self.written("export", hostile.write_policy, LINES, form)
            self.assertLinear([plain], [export])
            # Each of them costs a hundred bytes of the report.
            self.assertLinear([plain], [export], ("--limit", "1000000"), 20)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
