#!/usr/bin/env python3
"""The check takes no longer for a byte of a hostile export than of a plain one.

    linear_test.py PROGRAM [TEST...]

The check and measure stand beside PROGRAM. A test compares the processor's time for a byte with
that of an export of plain entries of the same kind, bytes of the report included. Where each entry
or line is compared with all others, the ratio is ten and more at these sizes, and grows with them.
"""

import subprocess
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib.generators import alike  # noqa: E402
from lib.programs import checker_of  # noqa: E402
from lib.testcase import make_folder, take_program  # noqa: E402

PROGRAM = take_program()
CHECK = checker_of(PROGRAM)
MEASURE = PROGRAM.with_name("measure")
ROUNDS = 12  # one more only where other programs may have disturbed those before
MOST = 2
MOST_SHOWN = 5  # where each finding is shown: its entries are read again
ALL = ("--limit", "1000000")
CREDENTIALS, USERS, OWNERS, LINES, DOMAINS = 100_000, 40_000, 64_000, 40_000, 20_000


def plain_name(number):
    return f"user{number:06d}"


def ann(_):
    return "ann"


def domain(number, *more):
    return [f"dn: secAuthority=Sales{number}", "objectclass: secAuthorityInfo", "version: 6.0",
            *more]


def domains(*more):
    return [domain(number, *more) for number in range(DOMAINS)]


class LinearTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = make_folder(cls)

    def written(self, name, write, *arguments):
        write(self.folder / name, *arguments)
        return self.folder / name

    def time(self, files, options):
        """The seconds for a byte, and the report."""
        report = self.folder / "report"
        ended = subprocess.run([MEASURE, report, CHECK, *options, *files], check=True,
                               stdin=subprocess.DEVNULL, capture_output=True)
        status, _, seconds, _ = report.read_text().split()
        self.assertIn(status, ("0", "1"), ended.stderr)
        return float(seconds) / (sum(file.stat().st_size for file in files) + len(ended.stdout))

    def assertLinear(self, plain, hostile_files, options=(), most=MOST):
        """The least of several runs is compared, run in turns."""
        runs = []
        for _ in range(ROUNDS):
            runs.append((self.time(plain, ()), self.time(hostile_files, options)))
            ratio = min(run[1] for run in runs) / min(run[0] for run in runs)
            if ratio < most:
                return
        self.fail(f"{ratio:.1f} times the time of a plain byte")

    def test_credentials_that_are_others_and_backwards(self):
        export = self.written("export", alike.write_credentials, CREDENTIALS)
        self.assertLinear([export, self.written("same", alike.write_credentials, CREDENTIALS)],
                          [export, self.written("output", alike.write_changed_credentials,
                                                CREDENTIALS)])

    def test_users_of_one_name(self):
        plain = self.written("plain", alike.write_users, USERS, plain_name)
        records = self.written("records", alike.write_records, USERS, plain_name)
        export = self.written("export", alike.write_namesakes, USERS)
        self.assertLinear([plain, records],
                          [export, self.written("output", alike.write_records, USERS, ann)])
        self.assertLinear([plain], [export], ALL, MOST_SHOWN)

    def test_records_that_are_changed(self):
        files = [self.written("plain", alike.write_users, USERS, plain_name),
                 self.written("records", alike.write_records, USERS, plain_name)]
        changed = [files[0], self.written("output", alike.write_changed_records, USERS,
                                          plain_name)]
        self.assertLinear(files, changed)
        self.assertLinear(files, changed, ALL, MOST_SHOWN)

    def test_users_whose_names_differ_by_one_bit(self):
        self.assertLinear([self.written("plain", alike.write_users, OWNERS, plain_name)],
                          [self.written("export", alike.write_colliding_names, OWNERS)])

    def test_domains_of_one_unkeyed_hash(self):
        self.assertLinear(
            [self.written("plain", alike.write_domain_users, alike.plain_domains(DOMAINS))],
            [self.written("export", alike.write_domain_users,
                          alike.colliding_domains(DOMAINS))])

    def test_comments(self):
        plain = self.written("plain", alike.write_commented, CREDENTIALS, "{}\n{}")
        for form in ("# c\n{}\n{}", "{}\n# c\n{}"):
            export = self.written("export", alike.write_commented, CREDENTIALS, form)
            self.assertLinear([plain], [export])

    def test_domains_whose_dates_are_wrong(self):
        export = self.written("export", alike.write_entries, domains())
        dated = domains("installDate: 20250102030405.0Z")
        wrong = [[*one[:2], "version: 5.0", one[3]] for one in reversed(dated)]
        self.assertLinear([export, self.written("plain", alike.write_entries, dated)],
                          [export, self.written("output", alike.write_entries, wrong)])

    def test_findings_in_one_entry(self):
        plain = self.written("plain", alike.write_policy, LINES,
                             "secNote{:06d}: as of spring")
        for form in ("secNote{:06d}: acl: of spring", "secNote{:06d}: of\rspring",
                     "secNote{:06d}: of\0spring", "secNote{:06d}: x,kvo-entryuuid: s"):
            with self.subTest(form):
                export = self.written("export", alike.write_policy, LINES, form)
                self.assertLinear([plain], [export])
                self.assertLinear([plain], [export], ALL, MOST_SHOWN)

    def test_lines_of_one_entry_that_are_dropped_or_normalized(self):
        for start in (["dn: cn=a"], ["dn: cn=a,cn=ResCreds", "objectclass: secResCreds"]):
            plain = self.written("plain", alike.write_entries, [start + ["secnote: 1"] * LINES])
            for line in ("kvo-entryuuid: 1", "secdn: cn=a, o=b"):
                with self.subTest(line=line, start=start):
                    export = self.written("export", alike.write_entries, [start + [line] * LINES])
                    self.assertLinear([plain], [export])


if __name__ == "__main__":
    unittest.main()
