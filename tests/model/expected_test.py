"""Holds what the model expects of an output to results worked out by hand.

    python3 -m unittest model.expected_test
"""
import unittest

from model import expected
from model.migration import Record
from model.samples import (CONTAINER_RECORD, CREDENTIALS, GROUP, GROUP_MAP, GROUP_RECORD, POLICY,
                           POLICY_RECORD, USER, USER_MAP, USER_RECORD)

DOMAIN = b"dn: secAuthority=Default\nobjectclass: secAuthorityInfo\n"


def lines_of(record):
    return record.removesuffix(b"\n\n").split(b"\n")


class Records(unittest.TestCase):
    def test_each_has_its_kind_its_lines_and_the_entries_that_it_is_made_of(self):
        # The mapping is at line 1, the user at 6, the policy at 13, the credential at 17, the
        # group at 21 and its mapping at 25, the person at 30.
        export = (USER_MAP + b"\n" + USER + b"#\n" + POLICY + CREDENTIALS + GROUP + GROUP_MAP +
                  b"# c\ndn: cn=x\ncn: x\n")
        self.assertEqual(expected.records_of(export), [
            Record("passed through", [b"dn: cn=x", b"cn: x"], [30]),
            Record("user", lines_of(USER_RECORD), [6, 1]),
            Record("policy container", lines_of(CONTAINER_RECORD), [13]),
            Record("policy", lines_of(POLICY_RECORD), [13]),
            Record("group", lines_of(GROUP_RECORD), [21, 25]),
            Record("credential", lines_of(CREDENTIALS), [17])])

    def test_an_export_that_does_not_migrate_is_refused(self):
        self.assertRaises(expected.BadExport, expected.records_of, USER)

    def test_two_records_of_one_name_are_refused(self):
        twin = USER.replace(b"cn=jdoe", b"cn=twin") + USER_MAP.replace(b"cn=jdoe", b"cn=twin")
        self.assertRaises(expected.BadExport, expected.records_of, USER + USER_MAP + twin)

    def test_a_domain_without_a_date_needs_a_time(self):
        self.assertRaises(expected.BadExport, expected.records_of, DOMAIN)
        [record] = expected.records_of(DOMAIN, expected.UNDATED)
        self.assertEqual(record.lines[-1], expected.UNDATED_LINE)
