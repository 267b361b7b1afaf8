#!/usr/bin/env python3
"""The memory that ldif-migrate-check predicts for a migration, and its own.

    memory_test.py PROGRAM [TEST...]

The check, make_export and measure stand beside PROGRAM, which migrates. What a run holds at most
is as the system counts it, so that a build with a sanitizer shows nothing.
"""

import json
import subprocess
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib.generators import alike  # noqa: E402
from lib.programs import checker_of, make_export  # noqa: E402
from lib.testcase import FolderTest, take_program  # noqa: E402

PROGRAM = take_program()
CHECK = checker_of(PROGRAM)
MEASURE = PROGRAM.with_name("measure")
KIBIBYTE, MEBIBYTE = 2**10, 2**20
LARGE = 20_000_000
LINE = 4000  # almost as long as a line that is not broken may be
OWNERS_OF_ALL = 500


def long_lines(size, name="secNote", width=LINE):
    return [f"{name}{number:07d}: ".ljust(width - 1, "x") for number in range(size // width)]


def with_lines(kind, lines):
    """Some users, and an entry of that kind that has these lines, too."""
    entries = [entry for number in range(OWNERS_OF_ALL)
               for entry in alike.user(number, f"user{number}")]
    if kind == "user":
        entries += alike.user(OWNERS_OF_ALL, "ann", lines)
    elif kind == "mapping":
        entries += alike.user(OWNERS_OF_ALL, "ann", (), lines)
    elif kind == "policy":
        entries += alike.user(OWNERS_OF_ALL, "ann")
        dn = entries[-2][0].replace("dn: ", "dn: cn=Policy,")
        entries.append([dn, "objectclass: secPolicy", "cn: Policy", *lines])
    elif kind == "credential":
        entries.append([*alike.credential(1), *lines])
    else:
        entries.append(["dn: cn=large,o=example", "objectclass: person", *lines])
    return entries


FOLDED = ["jpegPhoto: a", *(" ".ljust(LINE - 1, "x") for _ in range(LARGE // LINE))]
LARGE_ENTRIES = (
    ("person", long_lines(LARGE)), ("person", long_lines(LARGE, width=100)), ("person", FOLDED),
    ("person", [*FOLDED, "cn: x\r"]), ("person", ["jpegPhoto: " + "x" * LARGE]),
    ("user", long_lines(LARGE)), ("mapping", long_lines(LARGE)), ("policy", long_lines(LARGE)),
    ("policy", [*long_lines(LARGE), "secdn: cn=a , o=b"]), ("credential", long_lines(LARGE)))


class MemoryTest(FolderTest):
    def setUp(self):
        super().setUp()
        self.export = self.folder / "export.ldif"
        self.output = self.folder / "output.ldif"

    def peak(self, program, *arguments):
        """The most bytes that a run held, and what it has printed."""
        report = self.folder / "report"
        ended = subprocess.run([MEASURE, report, program, *map(str, arguments)], check=True,
                               stdin=subprocess.DEVNULL, capture_output=True)
        status, _, _, kibibytes = report.read_text().split()
        self.assertIn(status, ("0", "1"), ended.stderr)
        return int(kibibytes) * KIBIBYTE, ended.stdout

    def predicted(self, counts):
        _, report = self.peak(CHECK, "--json", "--users", counts[0], "--groups", counts[1],
                              self.export)
        return json.loads(report)["requested"]["memory"]

    def assertPredicted(self, counts):
        """A run takes at most what is predicted, and at least three quarters of it."""
        taken, _ = self.peak(PROGRAM, self.export, self.output, *counts)
        predicted = self.predicted(counts)
        self.assertLessEqual(taken, predicted, counts)
        self.assertGreaterEqual(taken, predicted * 0.75, counts)

    def assertModest(self, owners=0, credentials=0, longest=0, differing=0, merged_lines=0,
                     domains=0):
        """The check takes what its description states, before and after."""
        most = (4 * MEBIBYTE + 100 * owners + 10 * credentials + 3 * longest
                + 32 * differing + 100 * merged_lines + 20 * domains) * 1.03
        most += 128 * KIBIBYTE  # how much of the libraries is in memory differs from run to run
        for files in ((self.export,), (self.export, self.output)):
            taken, _ = self.peak(CHECK, *files)
            self.assertLessEqual(taken, most, len(files))


class GeneratedExports(MemoryTest):
    def test_migration_for_several_counts(self):
        for options in ((), ("--scattered",)):
            for users in (50, 10000):
                make_export(PROGRAM, self.export, "--users", users, *options)
                for passes in (1, 4, 64):
                    with self.subTest(options=options, users=users, passes=passes):
                        self.assertPredicted((-(-users // passes), -(-users // 50 // passes)))

    def test_check(self):
        make_export(PROGRAM, self.export, "--users", 20000)
        self.peak(PROGRAM, self.export, self.output, 20000, 400)
        self.assertModest(owners=20400, credentials=4000)


class LargeEntries(MemoryTest):
    def test_migration_and_check(self):
        for kind, lines in LARGE_ENTRIES:
            with self.subTest(kind=kind, lines=len(lines)):
                alike.write_entries(self.export, with_lines(kind, lines))
                for counts in ((OWNERS_OF_ALL + 1, 1), (50, 1)):
                    self.assertPredicted(counts)
                longest = sum(len(line) + 1 for line in lines)
                self.assertModest(OWNERS_OF_ALL, 1, longest)


def of_ann(own=(), mapping=(), users=None, policy=None):
    """Some users, the entries of one more with these lines, and then as many users again."""
    few = OWNERS_OF_ALL // 2
    entries = [entry for number in range(few) for entry in alike.user(number, f"user{number}")]
    entries += alike.user(OWNERS_OF_ALL, "ann", own, mapping)
    owner = f"cn=user{OWNERS_OF_ALL:06d},o=example"
    if users is not None:
        entries.append(["dn: principalName=ann,cn=Users,secAuthority=Default",
                        "objectclass: secUser", "secAuthority: Default", "principalName: ann",
                        f"secDN: {owner}", *users])
    if policy is not None:
        entries.append([f"dn: cn=Policy,secAuthority=Default,{owner}", "objectclass: secPolicy",
                        *policy])
    return entries + [entry for number in range(few)
                      for entry in alike.user(few + number, f"user{few + number}")]


def group(number, own=(), mapping=()):
    owner = f"cn=group{number:06d},o=example"
    yield [f"dn: secAuthority=Default,{owner}", "objectclass: secGroup", f"cn: group{number}", *own]
    yield [f"dn: secUUID=g{number},cn=Groups,secAuthority=Default", "objectclass: secMap",
           f"secDN: {owner}", *mapping]


class MergedEntries(MemoryTest):
    """What a merge takes counts: its result twice for a user below cn=Users, and every colon."""

    def assertPredictedFor(self, entries, *all_counts):
        alike.write_entries(self.export, entries)
        for counts in all_counts:
            self.assertPredicted(counts)

    def test_three_large_entries_of_a_user(self):
        own, mapping, users, policy = (long_lines(2_000_000, name)
                                       for name in ("own", "map", "users", "policy"))
        self.assertPredictedFor(of_ann(own, mapping), (501, 1), (50, 1))
        self.assertPredictedFor(of_ann(own, mapping, users), (501, 1))
        self.assertPredictedFor(of_ann(own, mapping, users, policy), (501, 1), (50, 1))

    def test_a_large_group(self):
        own, mapping = (long_lines(2_000_000, name) for name in ("own", "map"))
        self.assertPredictedFor(group(1, own, mapping), (1, 1))

    def test_values_full_of_colons(self):
        def colons(name):
            return [f"{name}{number}:" + "a:" * 1990 for number in range(500)]

        self.assertPredictedFor(of_ann(colons("note")), (501, 1))
        self.assertPredictedFor(of_ann((), colons("note")), (501, 1))
        self.assertPredictedFor(of_ann(colons("own"), colons("map")), (501, 1))
        self.assertPredictedFor(of_ann(colons("own"), colons("map"), colons("users")), (501, 1))


class SkewedSizes(MemoryTest):
    """The owners are gathered in the order of the export, whatever they take."""

    def test_large_users_first(self):
        large = long_lines(100_000)
        alike.write_entries(self.export, (
            entry for number in range(6000)
            for entry in alike.user(number, f"u{number}", large if number < 100 else ())))
        for counts in ((6000, 1), (1000, 1), (100, 1), (10, 1)):
            self.assertPredicted(counts)

    def test_large_users_last(self):
        large = long_lines(100_000)
        alike.write_entries(self.export, (
            entry for number in range(6000)
            for entry in alike.user(number, f"u{number}", large if number >= 5900 else ())))
        for counts in ((1000, 1), (70, 1)):
            self.assertPredicted(counts)

    def test_groups_of_very_different_sizes(self):
        alike.write_entries(self.export, (
            entry for number in range(300)
            for entry in group(number, [f"member: cn=user{member:07d},o=example"
                                        for member in range(60_000 // (number + 1))])))
        for counts in ((1, 300), (1, 30), (1, 10), (1, 1)):
            self.assertPredicted(counts)


class HostileExports(MemoryTest):
    def test_wrong_credentials(self):
        count = 100_000
        alike.write_credentials(self.export, count)
        alike.write_changed_credentials(self.output, count)
        self.assertModest(credentials=count, differing=2 * count)

    def test_namesakes(self):
        count = 40_000
        alike.write_namesakes(self.export, count)
        alike.write_records(self.output, count, lambda _: "ann")
        self.assertModest(owners=count)

    def test_nothing_in_common(self):
        count = 100_000
        alike.write_credentials(self.output, count)
        alike.write_entries(self.export, ([f"dn: cn=person{n},o=x", "objectclass: person"]
                                            for n in range(count)))
        self.assertModest(differing=2 * count)

    def test_entries_of_short_lines(self):
        lines = 240_000
        for odd in ("#\n" * 3 * lines, "a:\n" * lines + "# c\n", "a: \0x\n" * lines):
            with self.subTest(odd[-5:]):
                self.export.write_text(f"dn: cn=a,o=x\nobjectclass: person\n{odd}b: c\n")
                self.output.write_text("")
                self.assertModest(longest=len(odd))

    def test_domains_with_long_names(self):
        count = 10_000
        alike.write_domain_users(self.export,
                                   (b"Sales%06d" % n + b"x" * 1000 for n in range(count)))
        self.output.write_text("")
        self.assertModest(owners=count, domains=count)

    def test_one_owner_of_large_entries(self):
        size = 5_000_000
        own, mapping = alike.user(0, "ann", long_lines(size, "own"), long_lines(size, "map"))
        users = ["dn: principalName=ann,cn=Users,secAuthority=Default", *own[1:5], mapping[2],
                 *long_lines(size, "usr")]
        alike.write_entries(self.export, [own, mapping, users])
        self.output.write_text("")
        self.assertModest(owners=1, longest=3 * size, merged_lines=3 * size // LINE)

    def test_findings_in_one_entry(self):
        lines = 40_000
        alike.write_tab_lines(self.export, lines)
        self.output.write_text("")
        self.assertModest(owners=1, longest=self.export.stat().st_size, merged_lines=lines)


if __name__ == "__main__":
    unittest.main()
