#!/usr/bin/python3
"""Load migrated exports into a directory server and find every entry there.

    directory_test.py PROGRAM [--users N] [TEST...]

N is the number of users in the generated exports, 2,000 if not given; TEST is ExampleTest or
GeneratedTest. What must be found is never taken from the output: for the example it is
examples/migrated.ldif, which was made by hand, and for a generated export it is worked out from
the export.
"""

import sys

import ldap.dn
import ldap.filter

sys.path.insert(1, sys.path[0] + "/..")
import server  # noqa: E402
from migration import EXAMPLES, FOLDER, MigrationTest, run_tests  # noqa: E402
from readings import entry_of_record, first_difference, normal_dn, normal_entry  # noqa: E402
from readings import own_reading  # noqa: E402
from model import expected  # noqa: E402

ANN = "principalName=ann,cn=Users,secAuthority=default"
CLEO = "principalName=cleo,cn=Users,secAuthority=Sales,cn=Subdomains,secAuthority=default"


def expected_entries(export):
    """The entries that the migrated export must hold, by their kinds."""
    entries = {kind: [] for kind in expected.KINDS}
    for kind, lines, _ in expected.records_of(export.read_bytes()):
        if not lines[0].startswith(b"version:"):
            entry = entry_of_record(lines)
            entries[kind].append(with_naming_value(entry) if kind == "passed through" else entry)
    return entries


def with_naming_value(entry):
    """The server adds the value in an entry's name to an entry that lacks it."""
    dn, attributes = entry
    [(name, value, _)] = ldap.dn.str2dn(dn.decode())[0]
    values = attributes[name.lower()]
    if value.encode() not in values:
        attributes[name.lower()] = sorted(values + [value.encode()])
    return dn, attributes


class DirectoryTest(MigrationTest):
    def setUp(self):
        super().setUp()
        server.configure(self.folder)

    def start_server(self):
        self.address = self.enterContext(server.running(self.folder))

    def search(self, *arguments):
        """The entries found, in the order in which they were."""
        result = self.folder / "result"
        server.search(self.address, result, *arguments)
        return own_reading(result)

    def difference(self, entries):
        """Searches for each entry by its DN; the first that is not there as expected."""
        names = self.folder / "names"
        names.write_text("".join(ldap.filter.escape_filter_chars(dn.decode()) + "\n"
                                 for dn, _ in entries))
        found = self.search("-b", "", "-f", str(names), "(entryDN=%s)")
        return first_difference([*map(normal_entry, entries)], [*map(normal_entry, found)])

    def check_found(self, entries_by_kind):
        everything = []
        for kind, entries in entries_by_kind.items():
            self.assertTrue(entries, kind)
            self.assertIsNone(self.difference(entries), kind)
            print(f"{kind}: {len(entries)} found")
            everything += entries
        stored = self.search("-b", "", "1.1")
        self.assertEqual(sorted(normal_dn(dn) for dn, _ in stored),
                         sorted(normal_dn(dn) for dn, _ in everything))


class ExampleTest(DirectoryTest):
    def setUp(self):
        super().setUp()
        self.migrate_example()
        self.migrated = own_reading(EXAMPLES / "migrated.ldif")
        parents = FOLDER / "example_parents.ldif"
        self.parents = own_reading(parents)

        everything = self.folder / "everything.ldif"
        everything.write_bytes(parents.read_bytes() + self.output.read_bytes())
        server.import_offline(self.folder, everything)
        self.start_server()

    def test_every_entry_is_found(self):
        self.check_found({"parents": self.parents, "migrated": self.migrated})

    def test_applications_find_what_they_look_for(self):
        for base, wanted, dns in (
                ("cn=Users,secAuthority=default", "(principalName=ANN)", [ANN]),
                ("cn=Users,secAuthority=default", "(secDomainId=Default%ann)", [ANN]),
                ("", "(secDN=CN=Ann Lee, OU=people, O=acme)", [ANN]),
                ("", "(&(objectClass=secUser)(loginAllowed=TRUE))", [ANN]),
                ("", "(&(objectClass=secUser)(loginAllowed=FALSE))", [CLEO]),
                ("cn=Subdomains,secAuthority=default", "(secUUID=7a22)", [CLEO]),
                (ANN, "(objectClass=container)", ["cn=Policies," + ANN]),
                (ANN, "(maxFailedLogins>=3)", ["cn=Policy,cn=Policies," + ANN]),
                ("cn=Groups,secAuthority=default", "(secDN=cn=Editors,ou=groups,o=acme)",
                 ["cn=Editors,cn=Groups,secAuthority=default"]),
                ("", "(resourceLogin=print-service)",
                 ["resourceName=printer,cn=ResCreds,secAuthority=default"]),
                ("o=acme", "(objectClass=secUser)", []),
                ("", "(|(objectClass=secMap)(objectClass=secPolicyData))", [])):
            with self.subTest(base=base, wanted=wanted):
                found = self.search("-b", base, wanted, "1.1")
                self.assertEqual([normal_dn(dn) for dn, _ in found],
                                 [normal_dn(dn.encode()) for dn in dns])

    def test_another_value_and_a_lost_entry_are_noticed(self):
        self.assertIsNone(self.difference(self.migrated))
        stranger = b"cn=Stranger,ou=people,o=acme", {"cn": [b"Stranger"]}
        self.assertEqual(self.difference(self.migrated + [stranger]),
                         "13 entries expected, 12 found")
        dn, attributes = self.migrated[-1]
        altered = dn, attributes | {"resourcelogin": [b"print-services"]}
        self.assertRegex(self.difference(self.migrated[:-1] + [altered]),
                         "expected .*b'print-services'.*\n.*found .*b'print-service'")


class GeneratedTest(DirectoryTest):
    def test_change_records_load_in_the_order_of_the_output(self):
        self.migrate_generated("--changetype")
        self.start_server()
        server.add(self.address, self.output)
        self.check_found(expected_entries(self.export))

    def test_records_of_many_passes_load_offline(self):
        self.migrate_generated("--scattered", passes=16)
        self.assertTrue(self.output.read_bytes().startswith(b"version: 1\n\n"))
        server.import_offline(self.folder, self.output, first_line=3)
        self.start_server()
        self.check_found(expected_entries(self.export))


if __name__ == "__main__":
    run_tests(__doc__.splitlines()[0])
