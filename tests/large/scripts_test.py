#!/usr/bin/env python3
"""Tests of the scripts in this folder and of the make_export beside PROGRAM.

    scripts_test.py PROGRAM

The small migration below was worked out by hand.
"""

import pathlib
import subprocess
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib.programs import make_export  # noqa: E402
from lib.testcase import FolderTest, take_program  # noqa: E402

FOLDER = pathlib.Path(__file__).resolve().parent

EXPORT = """\
# comment
dn: secAuthority=Default
objectClass: secAuthorityInfo
version:  3.0
installDate: 20030302030405.0Z

dn: cn=Ann Hill,o=example
objectclass: inetOrgPerson
description: one
  two
kvo-entryuuid: 1

dn: secAuthority=Default, cn=Ann Hill, o=example
objectclass: secUser
secAuthority: Default
principalName: ann
secuuid: 77
aclEntry: none

dn: cn=PolicyData,secAuthority=Default,cn=Ann Hill,o=example
objectclass: secPolicyData

dn: cn=Policy,secAuthority=Default,cn=Ann Hill,o=example
objectclass: secPolicy
secLimit: 3
control: 1.1 false

dn: principalName=ann,cn=Users,secAuthority=Default
objectclass: secUser
secAuthority: Default
principalName: ann
secDomainId: here
secDN: cn=Ann Hill,o=example

dn: secUUID=77,cn=Users,secAuthority=Default
objectclass: secMap
secdn: cn=Ann Hill, o=example
secSerial: 5

dn: cn=ResCreds,cn=Ann Hill,o=example
objectclass: container
kvo-entryuuid: 2

dn: secAuthority=sales,cn=team,o=example
objectclass: secGroup
cn: team

dn: secUUID=9,cn=Groups,secAuthority=sales,cn=Subdomains,secAuthority=Default
objectclass: secMap
secDN: cn=team,o=example

"""

OUTPUT = """\
dn: secAuthority=Default
objectClass: secAuthorityInfo
version:  6.0
installDate: 20030302030405.0Z

dn: cn=Ann Hill,o=example
objectclass: inetOrgPerson
description: one two

dn: principalName=ann,cn=Users,secAuthority=default
objectclass: secUser
secAuthority: Default
principalName: ann
secDomainId: Default%ann
secdn: cn=Ann Hill,o=example
secUUID: 77
secSerial: 5

dn: cn=Policies,principalName=ann,cn=Users,secAuthority=default
objectclass: container
objectclass: top
cn: Policies

dn: cn=Policy,cn=Policies,principalName=ann,cn=Users,secAuthority=default
objectclass: secPolicy
secLimit: 3

dn: cn=team,cn=Groups,secAuthority=sales,cn=Subdomains,secAuthority=default
objectclass: secGroup
cn: team
secDN: cn=team,o=example

dn: cn=ResCreds,cn=Ann Hill,o=example
objectclass: container

"""

RECORDS = OUTPUT.split("\n\n")[:-1]
AUTHORITY, PERSON, USER, CONTAINER, POLICY, GROUP, CREDENTIAL = range(7)


class ScriptsTest(FolderTest):
    def file(self, name, text):
        path = self.folder / name
        path.write_text(text, encoding="utf-8", newline="\n")
        return str(path)

    def run_script(self, name, *arguments):
        result = subprocess.run([sys.executable, "-B", str(FOLDER / name), *arguments],
                                capture_output=True, text=True, check=False)
        self.assertEqual(result.stderr, "")
        return result.returncode, result.stdout

    def check(self, records, export=EXPORT):
        output = "".join(record + "\n\n" for record in records)
        return self.run_script("check_migration.py", self.file("export", export),
                               self.file("output", output))

    def expect_fault(self, records, text):
        status, printed = self.check(records)
        self.assertEqual(status, 1)
        self.assertIn(text, printed)

    def test_CorrectOutputPasses(self):
        status, printed = self.check(RECORDS)
        self.assertEqual(printed, "passed through: 2 of 2\nuser: 1 of 1\n"
                                  "policy container: 1 of 1\npolicy: 1 of 1\n"
                                  "group: 1 of 1\ncredential: 1 of 1\n")
        self.assertEqual(status, 0)

    def test_EachMissingRecordIsFound(self):
        for missing, record in enumerate(RECORDS):
            with self.subTest(record=record):
                self.expect_fault(RECORDS[:missing] + RECORDS[missing + 1:],
                                  "missing: " + record.split("\n")[0])

    def test_EachDoubledRecordIsFound(self):
        for doubled, record in enumerate(RECORDS):
            with self.subTest(record=record):
                self.expect_fault(RECORDS[:doubled + 1] + RECORDS[doubled:],
                                  "there twice: " + record.split("\n")[0])

    def test_EachChangedLineIsFound(self):
        for changed, record in enumerate(RECORDS):
            with self.subTest(record=record):
                other = RECORDS.copy()
                other[changed] = record + "x"
                self.expect_fault(other, "other lines than expected: " + record.split("\n")[0])

    def test_ForeignRecordIsFound(self):
        self.expect_fault(RECORDS + ["dn: cn=stranger"], "not expected, or there twice")

    def test_MisplacedRecordsAreFound(self):
        for order, text in (
                ((PERSON, AUTHORITY, USER, CONTAINER, POLICY, GROUP, CREDENTIAL),
                 "not in the order of the export"),
                ((AUTHORITY, USER, CONTAINER, POLICY, PERSON, GROUP, CREDENTIAL),
                 "passed through record after a policy record"),
                ((AUTHORITY, PERSON, CREDENTIAL, USER, CONTAINER, POLICY, GROUP),
                 "user record after a credential record"),
                ((AUTHORITY, PERSON, CONTAINER, POLICY, USER, GROUP, CREDENTIAL),
                 "not behind dn: principalName=ann")):
            with self.subTest(order=order):
                self.expect_fault([RECORDS[i] for i in order], text)

    def test_ChangeTypeLinesCallForOneInTheContainer(self):
        export = EXPORT.replace("objectclass: secPolicyData",
                                "changetype: add\nobjectclass: secPolicyData")
        self.assertEqual(self.check(RECORDS, export)[0], 1)
        records = RECORDS.copy()
        records[CONTAINER] = records[CONTAINER].replace("\n", "\nchangetype: add\n", 1)
        self.assertEqual(self.check(records, export)[0], 0)

    def test_ExportWithoutMappingIsRefused(self):
        status, printed = self.check(RECORDS, EXPORT.replace("secDN: cn=team", "secDN: cn=none"))
        self.assertEqual(status, 2)
        self.assertIn("cannot be migrated", printed)

    def compare(self, a, b):
        return self.run_script("compare_records.py", self.file("a", a), self.file("b", b))

    def test_OrderAndBlankLinesDoNotMatter(self):
        status, printed = self.compare("dn: a\n\ndn: b\nx: 1\n\n", "\ndn: b\nx: 1\n \r\n\ndn: a\n")
        self.assertEqual(printed, "2 records, all equal\n")
        self.assertEqual(status, 0)

    def test_DifferingRecordsAreShown(self):
        status, printed = self.compare("dn: a\n\ndn: b\nx: 1\n", "dn: a\n\ndn: b\nx: 2\n")
        self.assertEqual(status, 1)
        self.assertIn("    dn: b\n    x: 1\n", printed)
        self.assertIn("    dn: b\n    x: 2\n", printed)
        self.assertNotIn("dn: a", printed)

    def test_NumberOfEqualRecordsMatters(self):
        status, printed = self.compare("dn: a\n\ndn: a\n", "dn: a\n")
        self.assertEqual(status, 1)
        self.assertIn("2 records, 1 of them nowhere in the other", printed)

    def export(self, *options):
        path = str(self.folder / "made")
        make_export(PROGRAM, path, "--users", 200, *options)
        return pathlib.Path(path).read_text(encoding="utf-8")

    def test_ExportDependsOnItsArgumentsAlone(self):
        self.assertEqual(self.export(), self.export())
        self.assertNotEqual(self.export(), self.export("--seed", "2"))

    def test_ScatteringKeepsTheEntries(self):
        clustered, scattered = self.export(), self.export("--scattered")
        self.assertNotEqual(clustered, scattered)
        self.assertEqual(self.compare(clustered, scattered)[0], 0)

    def test_ExportThatCannotBeWrittenIsAnError(self):
        with self.assertRaises(subprocess.CalledProcessError):
            make_export(PROGRAM, "/dev/full", "--users", 1)

    def test_ChangeTypeFollowsEachDN(self):
        for record in self.export("--changetype").split("\n\n")[1:-1]:
            lines = record.replace("\n ", "").split("\n")
            self.assertTrue(lines[0].startswith("dn: "), record)
            self.assertEqual(lines[1], "changetype: add")


if __name__ == "__main__":
    PROGRAM = take_program()
    unittest.main()
