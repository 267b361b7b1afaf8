#!/usr/bin/env python3
"""Shows that each property and the comparison notice a fault in what a run left behind.

    scripts_test.py PROGRAM

The program makes sound results, of which the tests first show that nothing is found in them, and
then damage one thing at a time.
"""

import collections
import itertools
import sys
import time
import unittest

sys.path.insert(1, sys.path[0] + "/..")
import compare_with_model  # noqa: E402
from lib.campaign import faults  # noqa: E402
from lib.generators import PROFILES, well_formed  # noqa: E402
from lib.programs import migrate  # noqa: E402
from lib.smallest import smallest  # noqa: E402
from lib.testcase import take_program  # noqa: E402
from model import migration  # noqa: E402
import properties  # noqa: E402
from run_properties import hostile_case, well_formed_case  # noqa: E402

PROGRAM = take_program()
EVERY_KIND = {
    well_formed.PASSED, well_formed.AUTHORITY, well_formed.CREDENTIAL, well_formed.USER,
    well_formed.USERS_USER, well_formed.MAP, well_formed.POLICY, well_formed.DATA,
    well_formed.GROUP, well_formed.GROUP_MAP}


def has_everything(export):
    """Whether the export is small and has a subdomain and every kind of entry."""
    return (len(export.entries) < 30 and {entry.kind for entry in export.entries} == EVERY_KIND
            and not all(owner.default for owner in export.owners)
            and sum(entry.kind == well_formed.POLICY for entry in export.entries) > 1)


SEED = next(seed for seed in itertools.count(1) if has_everything(well_formed.make(seed)))


def planted(case, name, **changes):
    """The case with other results in the run of the trial of that name."""
    trial = getattr(case, name)
    return case._replace(**{name: trial._replace(run=trial.run._replace(**changes))})


def without(sequence, place):
    return sequence[:place] + sequence[place + 1:]


def swapped(sequence, place):
    """With the element at the place and the next one in each other's."""
    return sequence[:place] + sequence[place:place + 2][::-1] + sequence[place + 2:]


class PropertiesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.case = well_formed_case(PROGRAM, SEED, collections.Counter())
        cls.records = cls.case.large.run.records

    def assertNoticed(self, check, case, planted_into=None):
        self.assertNotEqual(list(check(case)), [], planted_into)

    def place_of(self, start):
        return next(place for place, record in enumerate(self.records)
                    if record[0].startswith(start))

    def test_SoundResultsPass(self):
        self.assertEqual(faults(self.case, properties.PROPERTIES), {})

    def test_BadEndingsAreNoticed(self):
        check = properties.every_run_ends_well
        for changes in ({"status": 255}, {"stderr": b"AddressSanitizer\n"},
                        {"stdout": self.case.large.run.stdout + b"main():  ERROR\n"}):
            self.assertNoticed(check, planted(self.case, "large", **changes))

    def test_PassTooManyOrTooFewIsNoticed(self):
        stdout = self.case.small.run.stdout
        gathering = stdout.splitlines(keepends=True)[4:6]
        for other in (stdout.replace(b"".join(gathering), b"", 1),
                      stdout.replace(gathering[0], b"".join(gathering) + gathering[0], 1)):
            self.assertNotEqual(other, stdout)
            self.assertNoticed(properties.each_pass_fills_the_slots,
                               planted(self.case, "small", stdout=other))

    def test_ChangedInputAndWrongFilesAreNoticed(self):
        check = properties.the_right_files_are_left
        self.assertNoticed(check, planted(self.case, "large", export=b"dn: x\n"))
        self.assertNoticed(check, planted(self.case, "large", work=b""))
        self.assertNoticed(check, planted(self.case, "large", snapshot=b""))
        self.assertNoticed(check, planted(self.case, "watched", work=None))

    def test_LostDoubledAndChangedRecordsAreNoticed(self):
        checks = {"small": properties.slot_counts_change_no_record,
                  "shuffled": properties.shuffling_changes_no_record}
        for name, check in checks.items():
            records = getattr(self.case, name).run.records
            changed = [records[0] + [b"x: y"]] + records[1:]
            for other in (records[1:], records + records[:1], changed):
                self.assertNoticed(check, planted(self.case, name, records=other))

    def test_LetterCaseOfOtherThanTheDomainIsNoticed(self):
        records = self.case.shuffled.run.records
        place = self.place_of(b"dn: principalName=")
        record = records[place]
        other = [record[0].replace(b"principalName", b"PRINCIPALNAME")] + record[1:]
        self.assertNoticed(properties.shuffling_changes_no_record, planted(
            self.case, "shuffled", records=records[:place] + [other] + records[place + 1:]))

    def test_DifferencesThatTracingMakesAreNoticed(self):
        run = self.case.watched.run
        for changes in ({"output": run.output + b"\n"}, {"stdout": run.stdout + b"\n"},
                        {"status": 1}):
            self.assertNoticed(properties.tracing_changes_nothing,
                               planted(self.case, "watched", **changes))

    def test_EachLostOrDoubledRecordIsNoticed(self):
        for place in range(len(self.records)):
            for other in (without(self.records, place),
                          self.records + self.records[place:place + 1]):
                self.assertNoticed(properties.every_entry_has_one_record,
                                   planted(self.case, "large", records=other))

    def test_ChangedOrderOfWhatStaysIsNoticed(self):
        for place in (0, len(self.records) - 2, self.place_of(b"dn: principalName=") - 1):
            self.assertNoticed(properties.what_stays_keeps_its_order, planted(
                self.case, "large", records=swapped(self.records, place)))

    def test_PolicyAwayFromItsUserIsNoticed(self):
        place = self.place_of(b"dn: cn=Policies,principalName=")
        for at in (place - 1, place, place + 1):
            self.assertNoticed(properties.policies_follow_their_users, planted(
                self.case, "large", records=swapped(self.records, at)))

    def test_EachLostDoubledAndChangedLineIsNoticed(self):
        check = properties.every_line_is_accounted_for
        for place, record in enumerate(self.records):
            for line in range(1, len(record)):
                for other in (without(record, line), record + [record[line]],
                              record[:line] + [record[line] + b"x"] + record[line + 1:]):
                    self.assertNoticed(check, planted(
                        self.case, "large",
                        records=self.records[:place] + [other] + self.records[place + 1:]), other)

    def test_ChangesOfTheWorkFileAreNoticed(self):
        run = self.case.watched.run
        text = run.snapshot.index(b"dn:")
        changed = run.snapshot[:text] + b"DN:" + run.snapshot[text + 3:]
        for seen in (run.seen + [run.snapshot + b"\n"], run.seen + [run.snapshot[:-1]],
                     run.seen + [changed]):
            self.assertNoticed(properties.work_file_keeps_its_size,
                               planted(self.case, "watched", seen=seen))
        self.assertNoticed(properties.work_file_keeps_its_size,
                           planted(self.case, "watched", work=run.snapshot))

    def test_TheWorkFileIsSeenBetweenItsBeginningAndItsEnd(self):
        run = self.case.watched.run
        self.assertTrue(any(seen not in (run.snapshot, run.work) for seen in run.seen))

    def test_MoreOwnersThanSlotsAreNoticed(self):
        trace = self.case.watched.run.trace
        for name in (b"secUser_dn_count", b"secGroup_dn_count",
                     b"numberOfSecPolicyObjectsInObjectCache"):
            line = b"dumpData() - " + name + b" = 1001 \n"
            self.assertNoticed(properties.no_more_owners_are_held_than_slots,
                               planted(self.case, "watched", trace=trace + line))

    def test_UnknownEndingsAreNoticed(self):
        case = hostile_case(PROGRAM, "hostile", SEED, collections.Counter())
        self.assertEqual(faults(case, properties.HOSTILE_PROPERTIES), {})
        for changes in ({"status": 1}, {"status": 255, "stderr": b""},
                        {"status": 255, "stderr": b"380928302 ERROR: x\n" * 2},
                        {"status": 255, "stderr": b"380928314 ERROR: x\n"},
                        {"status": 255, "stderr": b"runtime error: x\n380928302 ERROR: x\n"},
                        {"status": 0, "stdout": b""},
                        {"status": 0, "stderr": b"380928302 ERROR: x\n"}):
            self.assertNoticed(properties.any_ending_is_a_known_one,
                               planted(case, "small", **changes))


class ComparisonTest(unittest.TestCase):
    def setUp(self):
        self.case = compare_with_model.Case(
            PROFILES["well-formed"](SEED), work_file=None, slots=(2, 2), traced=True,
            debug_error=True)
        self.run = migrate(PROGRAM, self.case.export, self.case.slots, traced=True,
                           debug_error=True)
        self.result = migration.migrate(self.case.export, *self.case.slots, traced=True,
                                    now=time.localtime(self.run.began))

    def test_EachDifferenceIsNoticed(self):
        sound = list(compare_with_model.compare(self.run, self.result, True))
        for changes in ({"status": 255}, {"stderr": b"380928302 ERROR: x\n"}, {"stderr": b"x\n"},
                        {"stdout": self.run.stdout + b"main():  ERROR\n"},
                        {"stdout": self.run.stdout.replace(b"380928312", b"380928313", 1)},
                        {"output": self.run.output + b"\n"}, {"work": None}, {"snapshot": None}):
            found = list(compare_with_model.compare(
                self.run._replace(**changes), self.result, True))
            self.assertEqual(len(set(found) - set(sound)), 1, changes)

    def test_ModelAndProgramAgree(self):
        self.assertEqual(compare_with_model.differences(PROGRAM, self.case), [])

    def test_EchoWithoutDebugErrorIsNoticed(self):
        self.assertTrue(any("standard output" in text for text in
                            compare_with_model.compare(self.run, self.result, False)))


class GeneratorTest(unittest.TestCase):
    def test_ExportsDependOnTheirSeedAlone(self):
        for name, make in PROFILES.items():
            with self.subTest(profile=name):
                self.assertEqual(make(SEED), make(SEED))
                self.assertNotEqual(make(SEED), make(SEED + 1))

    def test_EntriesInAnotherOrderAreTheSameEntries(self):
        export = well_formed.make(SEED)
        backwards = export._replace(head=b"", gaps=(b"\n",))
        text = well_formed.text_of(backwards, export.entries[::-1])
        self.assertTrue(text.startswith(export.entries[-1].text))
        for entry in export.entries:
            self.assertIn(entry.text.strip(), text)

    def test_FaultIsMadeSmall(self):
        case = compare_with_model.Case(b"a\nbxc\n\nd\n" * 9, b"work\n", (3, 3), True, True)

        def fails(other):
            return b"x" in other.export and other.slots != (1, 1)

        self.assertEqual(smallest(case, fails), (b"x", None, (1000, 1000), False, False))


if __name__ == "__main__":
    unittest.main()
