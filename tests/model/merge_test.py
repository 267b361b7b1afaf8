"""Holds the model's merging of two entries to results worked out by hand.

    python3 -m unittest model.merge_test
"""
import unittest

from model import migration, records


class Merge(unittest.TestCase):
    def merged(self, first, second):
        """The merged lines, or what is echoed when the merge is fatal."""
        run = migration.Run(1, 1, b"", None)
        try:
            return records.merge(run, first.splitlines(True), second.splitlines(True))
        except migration.Fatal:
            return [what for sort, what in run.events if sort == "echo"]

    def check(self, first, second, expected):
        self.assertEqual(b"".join(self.merged(first, second)), expected)

    def test_worked_example(self):
        self.check(
            b"dn: secAuthority=Default,cn=jdoe,o=example\nobjectclass: secUser\n"
            b"secAuthority: Default\nprincipalName: jdoe\nsecUUID: 1111\naclentry: group:x\n",
            b"dn: cn=jdoe,...\nobjectclass: secMap\nsecAuthority: Default\n"
            b"secDN: cn=jdoe,o=example\nsecUUID: 2222\n",
            b"dn: secAuthority=Default,cn=jdoe,o=example\nobjectclass: secUser\n"
            b"secAuthority: Default\nprincipalName: jdoe\nsecUUID: 2222\n"
            b"secDN: cn=jdoe,o=example\n")

    def test_entries_with_nothing_in_common_are_joined(self):
        self.check(b"dn: a\na: 1\ncontrol: x\n", b"dn: b\nobjectClass: y\nb: 2\nACI: z\n",
                   b"dn: a\na: 1\nb: 2\n")

    def test_values_pair_off_in_order(self):
        self.check(b"a: 1\na: 2\n", b"a: 3\n", b"a: 3\na: 2\n")
        self.check(b"a: 1\n", b"a: 3\nb: 4\na: 5\n", b"a: 3\nb: 4\na: 5\n")

    def test_a_name_matches_anywhere_in_any_case(self):
        self.check(b"cn: 1\n", b"b: x\nxCN: 2\n", b"xCN: 2\nb: x\n")
        self.check(b"cn: 1\n", b"b: see cn: y\n", b"b: see cn: y\n")

    def test_the_first_entry_keeps_its_domain(self):
        self.check(b"SecAuthority: 1\nb: secauthority: 2\n", b"secAuthority: 3\nb: 4\n",
                   b"SecAuthority: 1\nb: secauthority: 2\n")

    def test_object_class_text_is_kept_without_a_look(self):
        self.check(b"description: see objectClass: note\nxobjectclass:\n", b"description: x\n",
                   b"description: see objectClass: note\nxobjectclass:\ndescription: x\n")
        self.check(b"a: 1\n", b"ObjectClass: x\n", b"a: 1\nObjectClass: x\n")

    def test_two_spellings_of_dn_are_dns(self):
        self.check(b"DN: a\n", b"DN: b\nDn: c\n", b"DN: a\nDn: c\n")

    def test_lines_without_a_colon_are_fatal(self):
        missing = b"mergeObjects():  Colon missing from attribute definition. EXITING. \n"
        self.check(b"x\n", b"a: 1\n", missing + b"mergeObjects():  attributeClone = x\n\n")
        self.check(b"a: 1\n", b"y\n", missing + b"attributeClone =  y\n\n")

    def test_an_empty_entry_is_fatal(self):
        self.check(b"", b"a: 1\n", b"mergeObjects(): inputObject1 = NULL\n"
                                   b"mergeObjects(): inputObject2 = a: 1\n\n")


class MergeAll(unittest.TestCase):
    def test_the_last_two_entries_merge_first(self):
        run = migration.Run(1, 1, b"", None)
        self.assertEqual(records.merge_all(run, [b"a: 1\n", b"c: 1\n"], [b"a: 2\n"],
                                           [b"a: 3\n", b"b: 3\n"]),
                         [b"a: 3\n", b"c: 1\n", b"b: 3\n"])
