#!/usr/bin/python3
"""Have two LDIF readers that others wrote read migrated exports.

    readers_test.py PROGRAM [--users N] [TEST...]

python-ldap and Net::LDAP::LDIF must agree with each other and with our own reading, entry by
entry and value by value. N is the number of users in the generated export, 2,000 if not given.
"""

import sys

sys.path.insert(1, sys.path[0] + "/..")
from migration import SETTINGS, MigrationTest, run_tests  # noqa: E402
from readings import entry_of, first_difference, net_ldap_reading  # noqa: E402
from readings import own_reading, python_ldap_reading  # noqa: E402

# Line ends of both kinds, folds within a word, a character and Base64 data, values that are
# empty, end in a blank or are not ASCII.
AWKWARD = """\
dn:: Y249Wm/DqyxvPWFjbWU=\r
objectClass: inetOrgPerson\r
objectClass: top\r
cn:: Wm/Dqw==\r
sn;lang-de: Weiß\r
title: \r
employeeType:
description: keeps the regis\r
 try in order,\r
  and the printer \r
displayName:: IDogc3RhcnRzIHdpdGggYSBibGFuawph
 bmQgYSBzZWNvbmQgbGluZQ==

# The comment ends here.
dn: secAuthority=Default,cn=Zoë,o=acme
objectClass: secUser
secAuthority: Default
principalName: zoë
secUUID: 7c30
secRemark:: R3LDvMOfZSBhdXMgS8O
 2bG46IGJpcyBiYWxk
\x20
dn: secUUID=7c30,cn=Users,secAuthority=Default
objectClass: secMap
secUUID: 7c30
secDN: cn=Zo{fold},o=acme
""".encode().replace(b"{fold}", b"\xc3\n \xab")
AWKWARD_MIGRATED = [
    entry_of("cn=Zoë,o=acme".encode(), [
        ("objectClass", b"inetOrgPerson"), ("objectClass", b"top"), ("cn", "Zoë".encode()),
        ("sn;lang-de", "Weiß".encode()), ("title", b""), ("employeeType", b""),
        ("description", b"keeps the registry in order, and the printer "),
        ("displayName", b" : starts with a blank\nand a second line")]),
    entry_of("principalName=zoë,cn=Users,secAuthority=default".encode(), [
        ("objectClass", b"secUser"), ("secAuthority", b"Default"),
        ("principalName", "zoë".encode()), ("secUUID", b"7c30"),
        ("secDomainId", "Default%zoë".encode()), ("secDN", "cn=Zoë,o=acme".encode()),
        ("secRemark", "Grüße aus Köln: bis bald".encode())])]


class ReadersTest(MigrationTest):
    def check_agreement(self, path):
        """All must read the same entries in the same order; returns these."""
        own = own_reading(path)
        self.assertTrue(own)
        self.assertIsNone(first_difference(own, python_ldap_reading(path)))
        self.assertIsNone(first_difference(own, net_ldap_reading(path)))
        return own

    def test_they_agree_on_the_example(self):
        self.migrate_example()
        self.assertEqual(len(self.check_agreement(self.output)), 12)

    def test_they_agree_on_awkward_values(self):
        self.migrate(AWKWARD)
        found = self.check_agreement(self.output)
        self.assertIsNone(first_difference(AWKWARD_MIGRATED, found))

    def test_they_agree_on_change_records(self):
        self.migrate_generated("--changetype", "--scattered")
        self.check_agreement(self.output)

    def test_they_agree_and_see_staying_entries_unchanged(self):
        self.migrate_generated()
        after = self.check_agreement(self.output)
        before = dict(python_ldap_reading(self.export))
        staying = [entry for entry in after if entry[0] in before]
        self.assertGreater(len(staying), SETTINGS.users)
        expected = [(dn, as_it_stays(before[dn])) for dn, _ in staying]
        self.assertIsNone(first_difference(expected, staying))


def as_it_stays(attributes):
    """What an entry that keeps its name keeps of its attributes."""
    kept = {name: values for name, values in attributes.items()
            if name not in ("kvo-entryuuid", "aclentry")}
    if "version" in kept:
        kept["version"] = [b"6.0"]
    return kept


if __name__ == "__main__":
    run_tests(__doc__.splitlines()[0])
