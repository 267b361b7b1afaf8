#!/usr/bin/env python3
"""Finds one of everything in examples/broken.ldif, fixes it as suggested, and migrates it.

    example_test.py PROGRAM [TEST...]

The check is beside PROGRAM, which migrates.
"""

import re
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from case import edit  # noqa: E402
from lib.programs import CLEAN, FOUND, check, checker_of, migrate  # noqa: E402
from lib.testcase import EXAMPLES, FolderTest, take_program  # noqa: E402

PROGRAM = take_program()
CHECK = checker_of(PROGRAM)
EXAMPLE = EXAMPLES / "broken.ldif"

# What each finding's advice comes down to.
REPAIRS = {
    "version-length": [("version: 3.0.1", "version: 3.0")],
    "version-elsewhere": [("dataversion: 1.1\nversion: 3.0", "version: 3.0\ndataversion: 1.1")],
    "version-not-set": [("Version: 3.0", "version: 3.0")],
    "entry-without-dn": [("cn: Cleo Diaz\n\n# entry", "cn: Cleo Diaz\n# entry")],
    "tab-line": [("\n\tphone: 32", "\n phone: 32")],
    "second-dn": [("cn: PolicyData\ndn: cn=Dan Roe", "cn: PolicyData\n\ndn: cn=Dan Roe")],
    "dn-spelling": [("Dn: secUUID=7a36", "dn: secUUID=7a36")],
    "class-mistaken": [("the objectClass: secPolicyData", "the objectClass secPolicyData")],
    "normalized-value": [("see secdn: a, b", "see secDN: a, b")],
    "respelled-elsewhere": [("note: once secuuid: 7b00\nsecuuid: 7b01",
                             "secuuid: 7b01\nnote: once secuuid: 7b00")],
    "policy-renamed": [("dn: cn=Lockout,", "dn: cn=Policy,")],
    "domain-id-wrong": [("principalName: gil\n",
                         "principalName: gil\nsecDomainId: Default%gil\n")],
    "line-without-colon": [("note Cleo\n", "")],
    "replaced-value": [("lastLogin: 20030301", "lastLogin: 20030302")],
    "users-entry-without-user": [("""\
dn: principalName=moe,cn=Users,secAuthority=Default
objectClass: secUser
secAuthority: Default
principalName: moe
secDN: cn=Moe Poe,ou=people,o=acme
""", "")],
    "base64-owner": [("secDN:: Y249RGFuIFJvZSxvdT1wZW9wbGUsbz1hY21l",
                      "secDN: cn=Dan Roe,ou=people,o=acme")],
    "filtered-word": [("under control: yes", "under control, yes")],
    "folded-comment": [("\n and not this comment.", "\n# and not this comment.")],
    "tab-continuation": [("\n\tOR TRUE", "\n  OR TRUE")],
    "two-of-one-kind": [("""\
dn: cn=Policy2,secAuthority=Default,cn=Kim Orr,ou=people,o=acme
objectClass: secPolicy
cn: Policy2
""", "")],
    "class-not-recognised": [("SecPolicyData\n", "secPolicyData\n")],
    "base64-name": [("principalName:: Y2xlbw==", "principalName: cleo")],
    "blank-in-policy-dn": [("cn=PolicyData, secAuth", "cn=PolicyData,secAuth")],
    "base64-dn": [("dn:: cHJpbmNpcGFsTmFtZT1jbGVvLGNuPVVzZXJzLHNlY0F1dGhvcml0eT1TYWxlcyxjbj"
                   "1TdWJkb21haW5zLHNlY0F1dGhvcml0eT1EZWZhdWx0",
                   "dn: principalName=cleo,cn=Users,secAuthority=Sales,cn=Subdomains,"
                   "secAuthority=Default")],
    "blank-continuation": [("\n  \nmember", "\nmember")],
    "starts-with-continuation": [("\n\n  and do not write", "\n  and do not write")],
    "name-from-elsewhere": [("description: formerly cn: Authors\ncn: Editors\n",
                             "cn: Editors\ndescription: formerly cn: Authors\n")],
    "missing-name": [("cn=Readers,ou=groups,o=acme\nobjectClass: secGroup\n",
                      "cn=Readers,ou=groups,o=acme\nobjectClass: secGroup\ncn: Readers\n")],
    "group-without-mapping": [("secAuthority: Default\ncn: Testers\n", """\
secAuthority: Default
cn: Testers

dn: secUUID=7b03,cn=Groups,secAuthority=Default
objectClass: secMap
secUUID: 7b03
secDN: cn=Testers,ou=groups,o=acme
""")],
    "mapping-without-group": [("""\
dn: secUUID=7b04,cn=Groups,secAuthority=Default
objectClass: secMap
secUUID: 7b04
secDN: cn=Writers,ou=groups,o=acme
""", "")],
    "user-without-mapping": [("secAuthority: Default\nprincipalName: bob\n", """\
secAuthority: Default
principalName: bob

dn: secUUID=7a30,cn=Users,secAuthority=Default
objectClass: secMap
secUUID: 7a30
secDN: cn=Bob Ray,ou=people,o=acme
""")],
    "policy-without-user": [("""\
dn: cn=Policy,secAuthority=Default,cn=Tim Yeo,ou=people,o=acme
objectClass: secPolicy
cn: Policy
""", "")],
    "policy-data-without-user": [("""\
dn: cn=PolicyData,secAuthority=Default,cn=Zoe Foe,ou=people,o=acme
objectClass: secPolicyData
cn: PolicyData
""", "")],
    "missing-owner": [("dn: cn=Policy\n",
                       "dn: cn=Policy,secAuthority=Default,cn=Ian Moe,ou=people,o=acme\n")],
    "missing-domain": [("objectClass: secUser\nprincipalName: eve",
                        "objectClass: secUser\nsecAuthority: Default\nprincipalName: eve")],
    "header-not-separated": [("version: 1\n", "version: 1\n\n")],
    "blanks-in-dn, mapping-without-user": [("cn=Fay Dow,ou=people,o=acme  \n",
                                            "cn=Fay Dow,ou=people,o=acme\n")],
    "cut-text, stray-lines": [("\rnote: 1", "note: 1")],
    "escaped-comma": [("secdn: cn=Fox", "secDN: cn=Fox")],
    # A domain cannot be moved, but the user can.
    "wrong-domain": [("secAuthority=default-lab,cn=Hal Low", "secAuthority=lab,cn=Hal Low"),
                     ("secAuthority: default-lab", "secAuthority: lab"),
                     ("secAuthority=default-lab,cn=Subdomains", "secAuthority=lab,cn=Subdomains")],
    "name-needs-escaping": [("principalName: moe, ian", "principalName: ian")],
    "same-new-name": [("cn=Ann Jay,ou=people,o=acme\nobjectClass: secUser\nsecAuthority: Default\n"
                       "principalName: ann",
                       "cn=Ann Jay,ou=people,o=acme\nobjectClass: secUser\nsecAuthority: Default\n"
                       "principalName: jay")],
    "empty-domain": [("secAuthority:\nprincipalName: kim",
                      "secAuthority: Default\nprincipalName: kim")],
}


KINDS = {kind for kinds in REPAIRS for kind in kinds.split(", ")}


class ExampleTest(FolderTest):
    def setUp(self):
        super().setUp()
        self.export = self.folder / "export.ldif"
        self.text = EXAMPLE.read_bytes().decode()

    def report_of(self, text):
        self.export.write_bytes(text.encode())
        return check(CHECK, self.export)

    def test_one_of_each_is_found(self):
        run = self.report_of(self.text)
        self.assertEqual(run.status, FOUND)
        self.assertEqual({found["type"]: found["total"] for found in run.document["findings"]},
                         {kind: 1 for kind in KINDS})

    def test_comments_name_each_in_its_place(self):
        places = {}
        for number, line in enumerate(self.text.split("\n"), 1):
            if match := re.match(r"# ([a-z0-9-]+(, [a-z0-9-]+)*)[:.]", line):
                places.update((kind, number) for kind in match[1].split(", "))
        self.assertEqual(set(places), KINDS)
        for found in self.report_of(self.text).document["findings"]:
            [one] = found["shown"]
            # The comment stands above the entry or above the line that is meant.
            self.assertIn(one["line"] - places[found["type"]], range(-5, 7), found)

    def test_each_repair_fixes_its_finding(self):
        for kinds, edits in REPAIRS.items():
            with self.subTest(kinds=kinds):
                run = self.report_of(edit(self.text, *edits))
                self.assertEqual({found["type"] for found in run.document["findings"]},
                                 KINDS - set(kinds.split(", ")))

    def test_when_all_is_fixed_it_migrates(self):
        text = edit(self.text, *(pair for edits in REPAIRS.values() for pair in edits))
        run = self.report_of(text)
        self.assertEqual((run.status, run.document["findings"]), (CLEAN, []))
        counts = (run.document["run"]["users"], run.document["run"]["groups"])
        migrated = migrate(PROGRAM, text.encode(), counts)
        self.assertEqual((migrated.status, migrated.stderr), (0, b""))
        output = self.export.with_name("output.ldif")
        output.write_bytes(migrated.output)
        verified = check(CHECK, self.export, output)
        self.assertEqual((verified.status, verified.document["findings"]), (CLEAN, []))

    def test_as_it_is_it_does_not_migrate(self):
        self.assertEqual(migrate(PROGRAM, self.text.encode(), (100, 100)).status, 255)


if __name__ == "__main__":
    unittest.main()
