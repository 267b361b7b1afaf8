#!/usr/bin/env python3
"""Verifies outputs that are right, and outputs that are not.

    verification_test.py PROGRAM STEP [TEST...]

The check is beside PROGRAM, which migrates. With a STEP of 1, an output has one damage at a time.
For builds with a sanitizer, which would take minutes, a larger one damages a line of every record
at once, and only each STEP-th byte. What must be found for each damage follows from its record and
the entries that the record is made of.
"""

import collections
import itertools
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from expectation import records_of, text_of  # noqa: E402
from lib import base  # noqa: E402
from lib.generators import sound  # noqa: E402
from lib.programs import (CLEAN, FOUND, check, checker_of, kinds, make_export,  # noqa: E402
                          migrate, shown_of)
from lib.testcase import EXAMPLES, make_folder, take_program  # noqa: E402
from model.entry import without_blanks_at_commas  # noqa: E402
from model.expected import KINDS  # noqa: E402
from reading import classes, entries  # noqa: E402

EXAMPLE = EXAMPLES / "export.ldif"
# A domain without an install date, which gets one.
DATELESS = b"""
dn: secAuthority=Sales,cn=Subdomains,secAuthority=Default
objectClass: top
objectClass: secAuthorityInfo
secAuthority: Sales
version: 3.0
"""
# One user, with nothing that could be left out.
SMALL = b"""\
dn: o=x
o: x

dn: secAuthority=Default,o=x
objectclass: secUser
secAuthority: Default
principalName: a
secDomainId: Default%a

dn: cn=p,secAuthority=Default,o=x
objectclass: secPolicy

dn: secUUID=1,cn=Users,secAuthority=Default
objectclass: secMap
secDN: o=x
"""
# The kinds of records, and how the verification names them.
COUNTED_AS = dict(zip(KINDS, ("passed", "users", "containers", "policies", "groups", "credentials")))
# Rules whose lines can be counted in the export, and all that leave lines out.
COUNTED = ("entryIdentifiers", "accessControl", "filteredWords", "policyData", "normalized",
           "versions", "respelled", "domainIdsAdded", "datesAdded", "containersAdded")
LEFT_OUT = ("entryIdentifiers", "accessControl", "filteredWords", "policyData", "oldNames",
            "oldClasses", "equalLines", "replacedLines")
ACCESS_CONTROL = (b"aclentry", b"acl", b"aci", b"control")
REGROUPED = {b"secuser", b"secmap", b"secgroup", b"secpolicy", b"secrescreds"}
# A damage puts other records in the place of one, which has these findings: the kind, the line in
# the export, and how many lines behind the beginning of the record in the output, None for none.
Damage = collections.namedtuple("Damage", "place others found")
ALL = (1000, 1000)
SEVERAL_PASSES = ((1, 1), (2, 1), (3, 2))
REBUILT = ("user", "policy container", "policy", "group")


def line_of(record):
    """The number of the line in the export that is shown for the record."""
    return record.sources[0]


def lines_in(content):
    """How many lines a file has when they are unfolded, comments left out."""
    return sum(len(entry.attributes) for entry in entries(content))


def counts(found):
    """How often each rule meets a line in these entries of a sound export."""
    rules = dict.fromkeys(COUNTED, 0)
    for entry in found:
        lines = [attribute.line for attribute in entry.attributes]
        names = [attribute.name for attribute in entry.attributes]
        kinds_of_it = classes(entry)
        if b"secpolicydata" in kinds_of_it:
            rules["policyData"] += len(names)
            continue
        rules["entryIdentifiers"] += names.count(b"kvo-entryuuid")
        if is_regrouped(entry, kinds_of_it):
            rules["accessControl"] += sum(name in ACCESS_CONTROL for name in names)
            rules["normalized"] += sum(line.startswith(b"secdn:")
                                       and without_blanks_at_commas(line) != line for line in lines)
            rules["containersAdded"] += b"secpolicy" in kinds_of_it
        if b"secauthorityinfo" in kinds_of_it:
            rules["versions"] += b"version" in names
            rules["datesAdded"] += b"installdate" not in names
        if b"secuser" in kinds_of_it:
            rules["domainIdsAdded"] += b"secdomainid" not in names
        if {b"secuser", b"secgroup"} & kinds_of_it:
            rules["respelled"] += sum(line.startswith(b"secuuid: ") for line in lines)
    return rules


def is_regrouped(entry, kinds_of_it):
    dn = entry.attributes[0].value.lower()
    if dn.startswith(b"cn=rescreds,"):
        return True
    return bool(REGROUPED & kinds_of_it) and b"cn=policies,secauthority=" not in dn


class VerificationTest(unittest.TestCase):
    @classmethod
    def prepare(cls, content, slots=ALL):
        """Migrates the export; what must be found in it and in its output follows."""
        folder = make_folder(cls)
        cls.export, cls.output = folder / "export.ldif", folder / "output.ldif"
        cls.export.write_bytes(content)
        run = migrate(PROGRAM, content, slots)
        assert run.status == 0, run.stderr
        cls.output.write_bytes(run.output)
        cls.records = records_of(cls.export, cls.output)
        cls.lines = [record.lines for record in cls.records]
        assert text_of(cls.lines) == run.output

    def verify(self, content, options=("--json",)):
        """Verifies what is given, in place of the output."""
        self.output.write_bytes(content)
        return check(CHECK, self.export, self.output, options)

    def assertClean(self, run, circumstance=None):
        self.assertEqual((run.status, run.document and run.document["findings"], run.stderr),
                         (CLEAN, [], b""), circumstance)

    def assertFound(self, run, expected, circumstance=None):
        """Holds what is shown of each kind to the expected pairs of lines."""
        self.assertEqual((run.status, run.stderr), (FOUND, b""), circumstance)
        found = {kind: sorted(shown_of(run, kind), key=str) for kind in kinds(run)}
        self.assertEqual(found, {kind: sorted(lines, key=str) for kind, lines in expected.items()},
                         circumstance)


class RightOutputs(VerificationTest):
    def assertVerified(self, content, slots=ALL):
        """All is found that the export gives, and no line of it is lost without a rule."""
        self.prepare(content, slots)
        run = check(CHECK, self.export, self.output)
        self.assertClean(run, (content, slots))
        verification = run.document["verification"]
        counted = collections.Counter(record.kind for record in self.records)
        for kind, name in COUNTED_AS.items():
            self.assertEqual(verification[name], {"expected": counted[kind], "found": counted[kind]})
        rules = verification["rules"]
        self.assertEqual({name: rules[name] for name in COUNTED}, counts(entries(content)))
        container = sum(len(record.lines) for record in self.records
                        if record.kind == "policy container")
        self.assertEqual(
            lines_in(content) + rules["domainIdsAdded"] + rules["datesAdded"] + container,
            lines_in(self.output.read_bytes()) + sum(rules[name] for name in LEFT_OUT))
        return rules

    def test_Example(self):
        for slots in (ALL, *SEVERAL_PASSES):
            rules = self.assertVerified(EXAMPLE.read_bytes(), slots)
            # Two DNs of Ann, one of Cleo, one of the group.
            self.assertEqual(rules["oldNames"], 4)
            # Two lines of each mapping entry and of Ann's user entry.
            self.assertEqual(rules["oldClasses"], 8)
            # Ann's secAuthority, principalName, secDomainId, secDN and secUUID, Cleo's secUUID and
            # the group's.
            self.assertEqual(rules["equalLines"], 7)
            self.assertEqual(rules["replacedLines"], 0)

    def test_ExampleWithCarriageReturns(self):
        self.assertVerified(EXAMPLE.read_bytes().replace(b"\n", b"\r\n"))

    def test_AddedInstallDate(self):
        self.assertVerified(EXAMPLE.read_bytes() + DATELESS)

    def test_TheFirstEntrySpellsTheDomain(self):
        parts = [b"dn: secAuthority=Sales,o=x\nobjectclass: secUser\nsecAuthority: Sales\n"
                 b"principalName: a\nsecDomainId: Sales%a\n\n",
                 b"dn: secUUID=1,cn=Users,secAuthority=SALES\nobjectclass: secMap\nsecDN: o=x\n\n",
                 b"dn: cn=Policy,secAuthority=sAles,o=x\nobjectclass: secPolicy\ncn: Policy\n\n",
                 b"dn: principalName=a,cn=Users,secAuthority=x\nobjectclass: secUser\n"
                 b"secAuthority: sales\nprincipalName: a\nsecDN: o=x\n\n"]
        for order in itertools.permutations(parts):
            self.prepare(b"".join(order))
            self.assertClean(check(CHECK, self.export, self.output), order)

    def test_NamesDividedWithALongAttribute(self):
        """The work file gives it back in pieces of 4,095 bytes, none of which holds the name."""
        self.prepare(SMALL)
        for offset, text in ((4090, b"changetype: y"), (4093, b"acl: y")):
            line = b"note: ".ljust(offset, b"x") + text
            folded = b"\n ".join(line[i:i + 70] for i in range(0, len(line), 70))
            for entry in (b"objectclass: secPolicy", b"objectclass: secResCreds"):
                content = (SMALL + b"\ndn: cn=c,cn=ResCreds,o=x\nobjectclass: secResCreds\n").replace(
                    entry, entry + b"\n" + folded)
                self.export.write_bytes(content)
                self.assertClean(self.verify(migrate(PROGRAM, content, ALL).output), (text, entry))

    def test_ALongAttributeInTheFirstEntryOfASubdomain(self):
        """The DN of its owner is in the first piece; the rest of it makes no difference."""
        self.prepare(SMALL)
        note = b"\n ".join([b"note: " + b"x" * 2500, b"y" * 2500])
        for kind in (b"secPolicyData", b"secPolicy"):
            content = (b"dn: cn=Policy,secAuthority=Sales,o=x\nobjectclass: " + kind + b"\n" + note +
                       b"\n\ndn: secAuthority=Sales,o=x\nobjectclass: secUser\n"
                       b"secAuthority: Sales\nprincipalName: a\nsecDomainId: Sales%a\n\n"
                       b"dn: secUUID=1,cn=Users,secAuthority=Sales\nobjectclass: secMap\n"
                       b"secDN: o=x\n\n")
            self.export.write_bytes(content)
            self.assertClean(self.verify(migrate(PROGRAM, content, ALL).output), kind)

    def test_APolicyWithoutADnName(self):
        """Its DN begins behind three characters, whatever they are."""
        self.prepare(SMALL)
        content = (b"secAuthority=Other: x,secAuthority=Sales,o=x\nobjectclass: secPolicy\n\n"
                   b"dn: secAuthority=Sales,o=x\nobjectclass: secUser\n"
                   b"secAuthority: Sales\nprincipalName: a\nsecDomainId: Sales%a\n\n"
                   b"dn: secUUID=1,cn=Users,secAuthority=Sales\nobjectclass: secMap\n"
                   b"secDN: o=x\n\n")
        self.export.write_bytes(content)
        self.assertClean(self.verify(migrate(PROGRAM, content, ALL).output))

    def test_EntriesThatLoseAllTheirLines(self):
        """Nothing but an empty line is written for them."""
        self.prepare(SMALL)
        for entry in (b"kvo-entryuuid: 1", b"control: objectclass: secResCreds"):
            content = b"dn: cn=a\nobjectclass: person\n\n" + entry + b"\n\n" + SMALL
            self.export.write_bytes(content)
            self.assertClean(self.verify(migrate(PROGRAM, content, ALL).output), entry)

    def test_RandomExports(self):
        for seed in range(40):
            self.assertVerified(sound.make(seed), ALL if seed % 4 else SEVERAL_PASSES[seed % 3])

    def test_GeneratedExports(self):
        for options in ((), ("--scattered",), ("--changetype",)):
            with tempfile.NamedTemporaryFile() as file:
                make_export(PROGRAM, file.name, "--users", 500 if STEP == 1 else 200, *options)
                content = pathlib.Path(file.name).read_bytes()
            for slots in (ALL, (63, 3)):
                self.assertVerified(content, slots)


class WrongRecords(VerificationTest):
    """Every record of the example in turn, and each of its lines."""

    @classmethod
    def setUpClass(cls):
        cls.prepare(EXAMPLE.read_bytes() + DATELESS)

    def with_record(self, place, *others):
        """The output with others in the place of a record."""
        return text_of(self.lines[:place] + list(others) + self.lines[place + 1:])

    def assertChanged(self, place, lines):
        self.assertDamagesFound([self.changed(place, lines)])

    def changed(self, place, lines):
        return Damage(place, [lines], [("changed-entry", line_of(self.records[place]), 0)])

    def renamed(self, place, lines):
        return Damage(place, [lines], [("missing-entry", line_of(self.records[place]), None),
                                       ("extra-entry", None, 0)])

    def assertDamagesFound(self, damages):
        """Does each damage alone, or one of each record at a time."""
        groups = [[damage] for damage in damages]
        if STEP > 1:
            of_each = collections.defaultdict(list)
            for damage in damages:
                of_each[damage.place].append(damage)
            groups = [list(filter(None, group))
                      for group in itertools.zip_longest(*of_each.values())]
        for group in groups:
            lines, expected = self.damaged(group)
            run = self.verify(text_of(lines))
            if expected:
                self.assertFound(run, expected, group)
            else:
                self.assertClean(run, group)

    def damaged(self, damages):
        """The records with these damages, and what must be found."""
        damage_of = {damage.place: damage for damage in damages}
        damaged, expected, begin = [], collections.defaultdict(list), 1
        for place, lines in enumerate(self.lines):
            damage = damage_of.get(place, Damage(place, [lines], []))
            for kind, line, behind in damage.found:
                expected[kind].append((line, None if behind is None else begin + behind))
            damaged += damage.others
            begin += sum(len(other) + 1 for other in damage.others)
        return damaged, expected

    def test_TheOutputHasRecordsOfAllKinds(self):
        self.assertEqual({record.kind for record in self.records}, set(KINDS))

    def test_Removed(self):
        for place, record in enumerate(self.records):
            run = self.verify(self.with_record(place))
            self.assertFound(run, {"missing-entry": [(line_of(record), None)]}, record)
            balance = run.document["verification"][COUNTED_AS[record.kind]]
            self.assertEqual(balance["found"], balance["expected"] - 1)

    def test_Repeated(self):
        for place, record in enumerate(self.records):
            again = record.line + len(record.lines) + 1
            run = self.verify(self.with_record(place, record.lines, record.lines))
            self.assertFound(run, {"repeated-entry": [(line_of(record), again)]}, record)

    def test_RepeatedFarAway(self):
        end = self.records[-1].line + len(self.lines[-1]) + 1
        for record in self.records:
            run = self.verify(text_of(self.lines + [record.lines]))
            self.assertFound(run, {"repeated-entry": [(line_of(record), end)]}, record)

    def test_OrderOfRecordsDoesNotMatter(self):
        for place, record in enumerate(self.records):
            others = self.lines[:place] + self.lines[place + 1:]
            self.assertClean(self.verify(text_of([record.lines] + others)), record)
        self.assertClean(self.verify(text_of(self.lines[::-1])))

    def test_EmptyLinesBetweenRecordsDoNotMatter(self):
        self.assertClean(self.verify(b"\n" + b"\n".join(text_of([lines]) for lines in self.lines)))

    def test_AddedInstallDate(self):
        """When the migration was is not known, but how it writes that."""
        [(place, lines)] = [(place, lines) for place, lines in enumerate(self.lines)
                            if DATELESS.startswith(b"\n" + lines[0] + b"\n")]
        for date, is_right in ((b"20030302030405.0Z", True), (b"20030302030405.1Z", False),
                               (b"2003030203040.0Z", False), (b"200303020304050.0Z", False),
                               (b"20030302030405.0z", False), (b"2003030203040x.0Z", False),
                               (b"20240229120000.0Z", True), (b"20230229120000.0Z", False),
                               (b"20030302130405.0Z", False), (b"99999999999999.0Z", False)):
            other = lines[:-1] + [b"installDate: " + date]
            if is_right:
                self.assertClean(self.verify(self.with_record(place, other)), date)
            else:
                self.assertChanged(place, other)

    def lines_of_records(self):
        """Every line behind a DN line: the place of its record, the record's lines, its number."""
        for place, lines in enumerate(self.lines):
            for i in range(1, len(lines)):
                yield place, lines, i

    def test_ChangedLine(self):
        changes = itertools.cycle((
            lambda line: line + b"x", lambda line: line[:-1], lambda line: line[:-1] + b"~",
            lambda line: line.swapcase(), lambda line: line + b" ", lambda line: b"x" + line,
            lambda line: line + b"\r"))
        self.assertDamagesFound([
            self.changed(place, lines[:i] + [change(lines[i])] + lines[i + 1:])
            for place, lines, i in self.lines_of_records()
            for change in itertools.islice(changes, 3)])

    def test_RemovedLine(self):
        self.assertDamagesFound([self.changed(place, lines[:i] + lines[i + 1:])
                                 for place, lines, i in self.lines_of_records()])

    def test_AddedLine(self):
        added = [b"sn: x"]
        self.assertDamagesFound(
            [self.changed(place, lines[:i] + added + lines[i:])
             for place, lines, i in self.lines_of_records()]
            + [self.changed(place, lines + added) for place, lines in enumerate(self.lines)])

    def test_RepeatedLine(self):
        self.assertDamagesFound([self.changed(place, lines[:i] + lines[i - 1:])
                                 for place, lines, i in self.lines_of_records()])

    def test_LineOfAnotherRecord(self):
        for place, record in enumerate(self.records):
            other = self.lines[place - 1][-1]
            self.assertChanged(place, record.lines + [other])

    def test_OrderOfLines(self):
        """It matters in entries that stay unchanged alone."""
        damages = []
        for place, lines, i in self.lines_of_records():
            if i + 1 < len(lines):
                damage = self.changed(place, lines[:i] + [lines[i + 1], lines[i]] + lines[i + 2:])
                is_rebuilt = self.records[place].kind in REBUILT
                damages.append(damage._replace(found=[]) if is_rebuilt else damage)
        self.assertDamagesFound(damages)

    def test_ChangedName(self):
        self.assertDamagesFound([
            self.renamed(place, [name, *lines[1:]]) for place, lines in enumerate(self.lines)
            for name in (lines[0] + b"x", lines[0][:-1], lines[0] + b" ", b"dn:" + lines[0])])

    def test_NameInAnotherCase(self):
        """Of unchanged entries, it is a change; others have no other name."""
        for place, record in enumerate(self.records):
            lines = [record.lines[0].swapcase()] + record.lines[1:]
            damaged = self.renamed if record.kind in REBUILT else self.changed
            self.assertDamagesFound([damaged(place, lines)])

    def test_RemovedName(self):
        for place, record in enumerate(self.records):
            run = self.verify(self.with_record(place, record.lines[1:]))
            self.assertFound(run, {"missing-entry": [(line_of(record), None)],
                                   "extra-entry": [(None, record.line)]}, record)

    def test_AddedRecord(self):
        for place, record in enumerate(self.records):
            run = self.verify(self.with_record(place, [b"dn: cn=x", b"cn: x"], record.lines))
            self.assertFound(run, {"extra-entry": [(None, record.line)]}, record)

    def test_JoinedRecords(self):
        for place, (record, behind) in enumerate(itertools.pairwise(self.records)):
            lines = self.lines[:place] + [record.lines + behind.lines] + self.lines[place + 2:]
            self.assertFound(self.verify(text_of(lines)),
                             {"changed-entry": [(line_of(record), record.line)],
                              "missing-entry": [(line_of(behind), None)]}, record)

    def test_DividedRecord(self):
        self.assertDamagesFound([
            Damage(place, [lines[:i], lines[i:]], [
                ("changed-entry", line_of(self.records[place]), 0), ("extra-entry", None, i + 1)])
            for place, lines, i in self.lines_of_records()])

    def test_EntryInItsOldPlace(self):
        """An entry of the export that is regrouped does not belong into the output."""
        end = self.records[-1].line + len(self.lines[-1]) + 1
        for entry in EXAMPLE.read_bytes().split(b"\n\n"):
            if b"secMap" in entry or b"secPolicyData" in entry:
                lines = entry.split(b"\n")
                lines = [line for line in lines if not line.startswith(b"#")]
                self.assertFound(self.verify(text_of(self.lines + [lines])),
                                 {"extra-entry": [(None, end)]}, entry)


class WrongBytes(VerificationTest):
    @classmethod
    def setUpClass(cls):
        cls.prepare(SMALL)
        cls.right = text_of(cls.lines)

    def assertWrong(self, content, circumstance):
        run = self.verify(content)
        self.assertEqual((run.status, run.stderr), (FOUND, b""), circumstance)
        self.assertTrue(kinds(run, "differs"), circumstance)
        self.assertEqual(kinds(run), kinds(run, "differs"), circumstance)

    def test_EveryByte(self):
        """No bit is without meaning, not even one that makes another case of a letter."""
        masks = itertools.cycle(1 << i for i in range(8))
        for place, mask in zip(range(0, len(self.right), STEP), masks):
            content = bytearray(self.right)
            content[place] ^= mask
            self.assertWrong(bytes(content), (place, mask))

    def test_CutOff(self):
        for length in range(len(self.right) - 200, len(self.right), STEP):
            self.assertWrong(self.right[:length], length)

    def test_Empty(self):
        self.assertFound(self.verify(b""), {
            "missing-entry": [(line_of(record), None) for record in self.records]})

    def test_ZeroBytes(self):
        for place in range(0, len(self.right), 7 * STEP):
            self.assertWrong(self.right[:place] + b"\0" + self.right[place:], place)

    def test_HoleAtTheEnd(self):
        self.assertWrong(self.right + b"\0" * 4096, None)


class ForgedOutputs(VerificationTest):
    """Changes that keep digests which anybody could compute: two lines of one digest, and two pairs
    of lines whose digests have the same sum."""

    def assertForgeryFound(self, export, right, forged, record_name):
        self.prepare(export)
        [record] = [record for record in self.records if record.lines[0] == record_name]
        content = self.output.read_bytes()
        self.assertEqual(content.count(right), 1)
        run = self.verify(content.replace(right, forged))
        self.assertFound(run, {"changed-entry": [(line_of(record), record.line)]})

    def test_ALineForAnother(self):
        self.assertForgeryFound(base.EXPORT.encode(), b"description: Keeps the registry\n",
                                b"description: fddp`__hv_Yegistry\n", b"dn: cn=Ann Lee,o=acme")

    def test_TwoLinesForTwoOthers(self):
        right = b"loginAllowed: FALSE\nmaxFailedLogins: 3\n"
        policy = base.POLICY.encode()
        self.assertForgeryFound(
            base.EXPORT.encode().replace(policy, policy.replace(b"maxFailedLogins: 3\n", right)),
            right, b"loginAllowed: TRUE\nnote: 7l796k3k91NhkIYw~;\n",
            b"dn: cn=Policy,cn=Policies,principalName=ann,cn=Users,secAuthority=default")


class OtherExports(VerificationTest):
    """The output of another day."""

    def setUp(self):
        self.prepare(SMALL)

    def test_OneMoreUser(self):
        more = SMALL.split(b"\n\n", 1)[1].replace(b"o=x", b"o=y").replace(b"a\n", b"b\n")
        self.export.write_bytes(SMALL + b"\n" + more)
        first = SMALL.count(b"\n") + 2
        policy = first + more.split(b"\n\n")[0].count(b"\n") + 2
        self.assertFound(check(CHECK, self.export, self.output), {
            "missing-entry": [(first, None), (policy, None), (policy, None)]})

    def test_OneChangedValue(self):
        [user] = [record for record in self.records if record.kind == "user"]
        self.export.write_bytes(SMALL.replace(b"Default%a", b"Default%b"))
        self.assertFound(check(CHECK, self.export, self.output),
                         {"changed-entry": [(line_of(user), user.line)]})

    def test_OneEntryLess(self):
        self.export.write_bytes(SMALL.partition(b"\n\n")[2])
        self.assertFound(check(CHECK, self.export, self.output), {"extra-entry": [(None, 1)]})


class Secrets(VerificationTest):
    """Names and DNs are shown, values never."""

    @classmethod
    def setUpClass(cls):
        cls.prepare(EXAMPLE.read_bytes())

    def test_NoValueIsShown(self):
        for place, record in enumerate(self.records):
            for i, line in enumerate(record.lines[1:], 1):
                other = line.partition(b":")[0] + b": hidden1"
                lines = [*record.lines[:i], other, b"secret2: hidden3", *record.lines[i + 1:]]
                content = text_of(self.lines[:place] + [lines] + self.lines[place + 1:])
                for options in ((), ("--json",)):
                    run = self.verify(content, options)
                    self.assertEqual(run.status, FOUND)
                    self.assertNotIn(b"hidden", run.stdout + run.stderr)

    def assertHidden(self, content):
        for options in ((), ("--json",)):
            run = self.verify(content, options)
            self.assertEqual(run.status, FOUND)
            self.assertNotIn(b"hidden", run.stdout + run.stderr)

    def test_ADnThatTheExportHasIsShown(self):
        dn = self.records[0].lines[0]
        run = self.verify(text_of([self.records[0].lines + [b"sn: x"]] + self.lines[1:]))
        [found] = run.document["findings"]
        self.assertEqual([one["dn"] for one in found["shown"]], [dn.decode()])

    def test_AValueThatLooksLikeADnIsNotShown(self):
        """What follows a line of blanks that is too long is an entry to the migration."""
        value = b"userPassword: x\n" + b" " * 4095 + b"dn: hidden1\nsn: x\n"
        self.prepare(SMALL)
        self.export.write_bytes(SMALL + b"\ndn: cn=b,o=x\n" + value)
        right = migrate(PROGRAM, self.export.read_bytes(), ALL).output
        self.assertIn(b"\n\ndn: hidden1\nsn: x\n\n", right)
        entry = b"dn: hidden1\nsn: x\n\n"
        for other in (b"dn: hidden1\nsn: y\n\n", b"dn: hidden2\nsn: x\n\n", entry + entry, b"",
                      entry[:-1]):
            self.assertHidden(right.replace(entry, b"") + other)

    def test_AValueBrokenApartInTheOutputIsNotShown(self):
        self.prepare(SMALL.replace(b"o: x", b"o: x dn: hidden"))
        self.assertHidden(text_of(self.lines).replace(b"x dn: hidden", b"x\n\ndn: hidden"))


if __name__ == "__main__":
    PROGRAM = take_program()
    CHECK = checker_of(PROGRAM)
    STEP = int(sys.argv.pop(1))
    unittest.main()
