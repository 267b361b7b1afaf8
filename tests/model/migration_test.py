"""Holds whole runs of the model to results worked out by hand, one small rule per test.

    python3 -m unittest model.migration_test
"""
import os
import subprocess
import sys
import tempfile
import time
import unittest
from unittest import mock

from model import migration
from model.samples import (CONTAINER_RECORD, CREDENTIALS, END, FAILED, GROUP, GROUP_MAP,
                           GROUP_RECORD, LEFT_BEHIND, PASS, POLICY, POLICY_DATA, POLICY_RECORD, STAGING,
                           STAGING_FAILED, STAGING_ON_LEFT_OVERS, USER, USER_MAP, USER_RECORD, echo_of, migrate, of)


class Oversized(unittest.TestCase):
    def entry_of(self, lines):
        head = b"dn: cn=jdoe\nobjectclass: secUser\nkvo-entryuuid: 1\n"
        return head, b"a: 1\n" * (lines - 3)

    def test_an_entry_of_250000_lines_passes_through(self):
        head, rest = self.entry_of(250000)
        result = migrate(b"\n" + head + b"#\n" + rest + b"\ndn: cn=o\n")
        self.assertEqual(result.messages, STAGING + END)
        self.assertTrue(result.output == b"dn: cn=jdoe\nobjectclass: secUser\n" + rest +
                        b"\ndn: cn=o\n\n")
        self.assertEqual(result.inventory.dropped,
                         [("comment", b"#\n"), ("entry identifier", b"kvo-entryuuid: 1\n")])

    def test_at_the_end_of_the_file_no_blank_line_follows_it(self):
        head, rest = self.entry_of(250000)
        self.assertTrue(migrate(head + rest).output.endswith(b"a: 1\na: 1\n"))

    def test_one_line_less_is_read_as_an_entry(self):
        head, rest = self.entry_of(249999)
        self.assertEqual(migrate(head + rest).messages, STAGING_FAILED)


class Staging(unittest.TestCase):
    def test_attributes_are_unfolded_and_identifiers_dropped(self):
        result = migrate(b"dn: cn=x\r\ndescription: ab\n cd\r\n ef\nkvo-entryuuid: 1\n"
                         b"KVO-ENTRYUUID: 2\nKvo-EntryUUID: 3\nkvo-entryuuid:4\n")
        self.assertEqual(result.output, b"dn: cn=x\ndescription: abcdef\nKvo-EntryUUID: 3\n"
                                        b"kvo-entryuuid:4\n\n")

    def test_policies_in_the_new_layout_pass(self):
        policy = b"dn: cn=p,CN=Policies,SECAUTHORITY=x\nobjectclass: secPolicy\nacl: 1\n\n"
        self.assertEqual(migrate(policy).output, policy)

    def test_identifiers_reach_the_work_file(self):
        user = USER.replace(b"\n\n", b"\nkvo-entryuuid: 1\n\n")
        self.assertEqual(migrate(user + USER_MAP, traced=True).snapshot, user + USER_MAP)

    def test_blanks_at_commas_go_in_lower_case_secdn_alone(self):
        staged = migrate(b"dn: cn=x,secAuthority=Default\nobjectclass: secMap\n"
                         b"secDN: cn=a, o=b\nsecdn: cn=a, o=b\n", traced=True).snapshot
        self.assertTrue(staged.endswith(b"secDN: cn=a, o=b\nsecdn: cn=a,o=b\n\n"))

    def test_a_work_file_left_behind_is_extended(self):
        result = migrate(USER_MAP, work_file=USER, traced=True)
        self.assertEqual(result.snapshot, USER + USER_MAP)
        self.assertEqual(result.output, USER_RECORD)
        self.assertEqual(result.messages.count(LEFT_BEHIND), 1)
        self.assertNotIn(LEFT_BEHIND, migrate(USER + USER_MAP).messages)

    def test_an_entry_must_not_begin_with_a_continuation(self):
        result = migrate(b" cn=x\n\n")
        self.assertEqual(result.messages, STAGING_FAILED)
        self.assertEqual(echo_of(result), [
            b"obtainAttributeFromObjectArray():  ERROR:  The object at the specified index is a "
            b"'continuation' line.  Exiting. \n",
            b"obtainAttributeFromObjectArray():  object =  cn=x\n"])


class Adjustments(unittest.TestCase):
    def authority(self, lines, now=None):
        head = b"dn: secAuthority=Default\nobjectclass: secAuthorityInfo\n"
        output = migrate(head + lines, now=now).output
        self.assertTrue(output.startswith(head))
        return output[len(head):]

    def test_three_bytes_of_the_version_are_overwritten(self):
        dated = b"installDate: x\n"
        for before, after in ((b"version: 3.0\n", b"version: 6.0\n"),
                              (b"version:   3.0\n", b"version:   6.0\n"),
                              (b"version: 3.10\n", b"version: 6.00\n"),
                              (b"version: 3\n", b"version: 6.0\n"),
                              (b"version: \n", b"version: 6.0\n"),
                              (b"Version: 3.0\n", b"Version: 3.0\n"),
                              (b"version: 3.0\nversion: 3.0\n", b"version: 6.0\nversion: 3.0\n")):
            self.assertEqual(self.authority(before + dated), after + dated + b"\n")

    def test_the_install_date_has_a_12_hour_clock(self):
        moment = time.strptime("2003-03-02 15:04:05", "%Y-%m-%d %H:%M:%S")
        self.assertEqual(self.authority(b"", moment), b"installDate: 20030302030405.0Z\n\n")
        midnight = time.strptime("2003-12-31 00:00:59", "%Y-%m-%d %H:%M:%S")
        self.assertEqual(self.authority(b"", lambda: midnight),
                         b"installDate: 20031231120059.0Z\n\n")

    def test_the_install_date_is_local_time_unless_told(self):
        moment = time.strptime("2003-03-02 12:00:00", "%Y-%m-%d %H:%M:%S")
        with mock.patch("time.localtime", return_value=moment):
            self.assertEqual(self.authority(b""), b"installDate: 20030302120000.0Z\n\n")

    def test_an_install_date_in_any_case_stays(self):
        self.assertEqual(self.authority(b"INSTALLDATE: x\n"), b"INSTALLDATE: x\n\n")

    def test_users_get_a_domain_identifier(self):
        bare = USER.replace(b"secDomainId: Default%jdoe\n", b"")
        self.assertEqual(migrate(bare + USER_MAP).output, USER_RECORD)
        other = USER.replace(b"secDomainId: Default%jdoe", b"SECDOMAINID: x")
        self.assertEqual(migrate(other + USER_MAP, traced=True).snapshot, other + USER_MAP)

    def test_users_without_what_it_needs_are_fatal(self):
        result = migrate(b"dn: cn=x\nobjectclass: secUser\n")
        self.assertEqual((result.status, result.messages), (255, STAGING_FAILED))
        self.assertEqual(echo_of(result), [
            b"tweekObjectInObjectArray():  obtainAttributeValueFromObjArray('secAuthority') "
            b"failure.  EXITING. \n", b"object is:  dn: cn=x\n\n"])
        result = migrate(b"dn: cn=x\nobjectclass: secUser\nsecAuthority: a\n")
        self.assertEqual(echo_of(result), [
            b"tweekObjectInObjectArray():  obtainAttributeValueFromObjArray('principalName') "
            b"failure.  EXITING. \n",
            b"tweekObjectInObjectArray():  secUser object is =dn: cn=x\n\n"])

    def test_the_first_lower_case_secuuid_is_respelled(self):
        lines = b"SECUUID: 1\nsecuuid: 2\nsecuuid: 3\n"
        group = GROUP.replace(b"cn: g1\n", b"cn: g1\n" + lines)
        result = migrate(group + GROUP_MAP, traced=True)
        self.assertIn(b"\ncn: g1\nSECUUID: 1\nsecUUID: 2\nsecuuid: 3\n\n", result.snapshot)
        self.assertEqual(result.inventory.dropped[0], ("secuuid", b"secuuid: 2\n"))


class Writers(unittest.TestCase):
    def test_the_users_entry_leads_and_keeps_its_domain(self):
        users_entry = (b"dn: cn=jdoe,cn=Users,secAuthority=Default\nobjectclass: secUser\n"
                       b"secAuthority: DEFAULT\nsecDN: CN=jdoe,o=example\nsecValid: x\n"
                       b"principalName: old\nsecDomainId: old\n\n")
        self.assertEqual(
            migrate(USER + users_entry + USER_MAP).output,
            b"dn: principalName=jdoe,cn=Users,secAuthority=default\nobjectclass: secUser\n"
            b"secAuthority: DEFAULT\nsecDN: cn=jdoe,o=example\nsecValid: x\n"
            b"principalName: jdoe\nsecDomainId: Default%jdoe\n\n")

    def test_filters_look_at_the_whole_line(self):
        lines = b"description: ACL: none\nxcontrol: 1\nx: kvo-entryUUID:\nxaclEntry: 1\ny: z\n\n"
        result = migrate(USER.replace(b"\n\n", b"\n" + lines) + USER_MAP +
                         POLICY.replace(b"\n\n", b"\n" + lines))
        self.assertEqual(result.output,
                         USER_RECORD.replace(b"secDN", b"xcontrol: 1\ny: z\nsecDN") +
                         CONTAINER_RECORD + POLICY_RECORD.replace(b"\n\n", b"\ny: z\n\n"))

    def test_changetype_lines_stay_behind_the_dn(self):
        user = USER.replace(b"\nobj", b"\nchangetype: add\nobj")
        self.assertEqual(migrate(user + USER_MAP).output,
                         USER_RECORD.replace(b"\nobj", b"\nchangetype: add\nobj"))

    def test_changetype_is_seen_in_comments_of_the_work_file_alone(self):
        seen = CONTAINER_RECORD.replace(b"\nobj", b"\nchangetype: add\nobj", 1)
        plain = USER + USER_MAP + POLICY
        self.assertIn(CONTAINER_RECORD, migrate(b"# changetype: add\n" + plain).output)
        self.assertIn(seen, migrate(plain, work_file=b"# changetype: add\n").output)

    def test_groups_follow_all_users_and_policies(self):
        export = GROUP + USER_MAP + POLICY + of(b"ann", USER + USER_MAP) + USER + GROUP_MAP
        self.assertEqual(migrate(export).output, USER_RECORD + CONTAINER_RECORD + POLICY_RECORD +
                         of(b"ann", USER_RECORD) + GROUP_RECORD)

    def test_what_is_left_out_is_told(self):
        user = USER.replace(b"\n\n", b"\nx: acl:\nsecdn: q\nsecAuthority: A\nacl: 1\n\n")
        mapping = USER_MAP.replace(b"\n\n", b"\nsecAuthority: B\nsecdn: w, x\n\n")
        plain = b"dn: x\nkvo-entryuuid: 1\n"
        credentials = CREDENTIALS.replace(b"cn: rc", b"cn: acl:")
        dropped = migrate(user + mapping + POLICY_DATA + credentials + plain + b"# c\n"
                          ).inventory.dropped
        data = POLICY_DATA.splitlines(True)
        self.assertEqual(dropped, [
            ("blanks at commas", b"secdn: w, x"),
            ("comment", b"# c\n"),
            ("entry identifier", b"kvo-entryuuid: 1"),
            ("replaced by the first entry's", b"secAuthority: B\n"),
            ("replaced by the second entry's", b"secdn: q\n"),
            ("not merged", b"acl: 1\n"),
            ("not merged", b"dn: secAuthority=Default,cn=Users\n"),
            ("not merged", b"objectclass: secMap\n"),
            ("old dn", b"dn: secAuthority=Default,cn=jdoe,o=example\n"),
            ("not written", b"x: acl:\n"),
            ("policy data", data[0]), ("policy data", data[1]), ("policy data", data[2]),
            ("not in the residue", b"cn: acl:\n")])


class Passes(unittest.TestCase):
    def test_an_empty_export(self):
        result = migrate(b"")
        self.assertEqual((result.status, result.messages), (0, STAGING + END))
        self.assertEqual((result.output, result.work, result.snapshot), (b"", None, None))

    def test_resource_credentials_alone_need_one_pass(self):
        result = migrate(CREDENTIALS)
        self.assertEqual(result.messages, STAGING + [380928312] + END)
        self.assertEqual((result.output, result.inventory.passes), (CREDENTIALS, 1))

    def test_one_slot_and_three_users_need_three_passes_and_one_to_close(self):
        users = [of(name, USER + USER_MAP) for name in (b"a", b"b", b"c")]
        result = migrate(CREDENTIALS + b"".join(users), 1, 1)
        self.assertEqual(result.messages, STAGING + PASS * 3 + [380928312] + END)
        self.assertEqual(result.output, b"".join(of(name, USER_RECORD)
                                                 for name in (b"a", b"b", b"c")) + CREDENTIALS)

    def test_the_last_entry_needs_no_blank_line(self):
        self.assertEqual(migrate(USER + USER_MAP[:-2]).output, USER_RECORD)

    def test_a_mapping_of_a_user_is_known_by_its_dn_in_any_case(self):
        self.assertEqual(migrate(USER + USER_MAP.replace(b"cn=Users", b"CN=USERS")).output,
                         USER_RECORD)

    def test_foreign_entries_in_the_work_file_are_fatal(self):
        result = migrate(b"", work_file=b"dn: x\n")
        self.assertEqual(result.messages, STAGING_ON_LEFT_OVERS + [380928312, FAILED])
        self.assertEqual(echo_of(result), [
            b"main():  ERROR:  The object class of this object was unrecognizable.  EXITING. \n"])
        self.assertEqual(result.work, b"dn: x\n")

    def test_the_settings_are_echoed(self):
        self.assertEqual(migration.migrate(b"", 1, 3000000000, input_name="i").echo, [
            b"DEBUG_ERROR flag is on................ \n",
            b"main():  input_ldif_filename           = i \n",
            b"main():  output_ldif_filename          = output.ldif \n",
            b"main():  max_number_of_secuser_slots   = 1 \n",
            b"main():  max_number_of_secgroup_slots  = 2147483647 \n"])


class Residue(unittest.TestCase):
    def test_filtered_line_by_line(self):
        kept = b"dn: cn=rc,cn=ResCreds\nobjectclass: secResCreds\ncn: rc\n"
        dropped = b"ACI: 1\nkvo-EntryUUID: 2\ndescription: acl: 3\nxCONTROL: 4\naclEntry: 5\n"
        self.assertEqual(migrate(b"", work_file=kept + dropped + b" more\r\n").output,
                         kept + b" more\r\n\n")

    def test_the_work_file_of_a_traced_run_is_blank_afterwards(self):
        result = migrate(USER + CREDENTIALS + USER_MAP, traced=True)
        self.assertEqual(result.snapshot, USER + CREDENTIALS + USER_MAP)
        self.assertEqual(len(result.work), len(result.snapshot))
        self.assertEqual(result.work.strip(b" \r\n"), b"")


class CommandLine(unittest.TestCase):
    def run_in(self, folder, *arguments):
        tests = os.path.dirname(os.path.dirname(os.path.abspath(migration.__file__)))
        run = subprocess.run([sys.executable, "-B", "-m", "model.migration", *arguments],
                             cwd=folder, env={**os.environ, "PYTHONPATH": tests},
                             stdout=subprocess.PIPE, check=False)
        return run.returncode, [int(line) for line in run.stdout.split()]

    def test_files_are_left_as_the_program_leaves_them(self):
        with tempfile.TemporaryDirectory() as folder:
            export, output = (os.path.join(folder, name) for name in ("in", "out"))
            migration.write_bytes(export, USER)
            self.assertEqual(self.run_in(folder, "in", "out", "1", "1"),
                             (255, STAGING + PASS + [FAILED]))
            self.assertEqual(migration.read_bytes(output),
                             b"dn: principalName=jdoe,cn=Users,secAuthority=default\n")
            migration.write_bytes(export + ".tmp", USER)
            migration.write_bytes(export, USER_MAP)
            self.assertEqual(self.run_in(folder, "in", "out", "1", "1"),
                             (0, STAGING_ON_LEFT_OVERS + PASS + END))
            self.assertEqual(migration.read_bytes(output), USER_RECORD)
            self.assertEqual(sorted(os.listdir(folder)), ["in", "out"])
