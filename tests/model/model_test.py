#!/usr/bin/env python3
"""Holds the model to results worked out by hand, one small rule per test.

    model_test.py [TEST ...]

The larger part of each expected text is the input with one thing changed; what changes is what
the test's name says.
"""
import time
import unittest

import model
import model_cache
import model_entry as entry
import model_records as records

STAGING = [380928308, 380928309, 380928310, 380928311]
STAGING_FAILED = [380928308, 380928309, 380928302]
PASS = [380928312, 380928313]
END = [380928315]
FAILED = 380928302
OCCUPIED = 380928303

USER = (b"dn: secAuthority=Default,cn=jdoe,o=example\nobjectclass: secUser\n"
        b"secAuthority: Default\nprincipalName: jdoe\nsecDomainId: Default%jdoe\n\n")
USER_MAP = (b"dn: secAuthority=Default,cn=Users\nobjectclass: secMap\n"
            b"secDN: cn=jdoe,o=example\n\n")
USER_RECORD = (b"dn: principalName=jdoe,cn=Users,secAuthority=default\nobjectclass: secUser\n"
               b"secAuthority: Default\nprincipalName: jdoe\nsecDomainId: Default%jdoe\n"
               b"secDN: cn=jdoe,o=example\n\n")
POLICY = (b"dn: cn=Policy,secAuthority=Default,cn=jdoe,o=example\nobjectclass: secPolicy\n"
          b"cn: Policy\n\n")
CONTAINER_RECORD = (b"dn: cn=Policies,principalName=jdoe,cn=Users,secAuthority=default\n"
                    b"objectclass: container\nobjectclass: top\ncn: Policies\n\n")
POLICY_RECORD = (b"dn: cn=Policy,cn=Policies,principalName=jdoe,cn=Users,secAuthority=default\n"
                 b"objectclass: secPolicy\ncn: Policy\n\n")
POLICY_DATA = (b"dn: cn=Data,secAuthority=Default,cn=jdoe,o=example\n"
               b"objectclass: secPolicyData\nsecPwdFailures: 3\n\n")
GROUP = b"dn: secAuthority=Default,cn=g1,o=example\nobjectclass: secGroup\ncn: g1\n\n"
GROUP_MAP = (b"dn: secAuthority=Default,cn=Groups\nobjectclass: secMap\n"
             b"secDN: cn=g1,o=example\n\n")
GROUP_RECORD = (b"dn: cn=g1,cn=Groups,secAuthority=default\nobjectclass: secGroup\ncn: g1\n"
                b"secDN: cn=g1,o=example\n\n")
CREDENTIALS = b"dn: cn=rc,cn=ResCreds\nobjectclass: secResCreds\ncn: rc\n\n"


def of(name, text):
    """The text with the name of another user or group."""
    return text.replace(b"jdoe", name).replace(b"g1", name)


def migrate(export, max_users=9, max_groups=9, **more):
    return model.migrate(export, max_users, max_groups, **more)


def echo_of(result):
    """What a run echoes beyond its settings."""
    return result.echo[5:]


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
        staged = migrate(group + GROUP_MAP, traced=True).snapshot
        self.assertIn(b"\ncn: g1\nSECUUID: 1\nsecUUID: 2\nsecuuid: 3\n\n", staged)


class Association(unittest.TestCase):
    def test_case_and_blanks_at_commas_do_not_matter_to_users(self):
        user = USER.replace(b"Default,cn=jdoe,o=example\no", b"DEFAULT , CN=jdoe,  O=example\no")
        self.assertEqual(migrate(user + USER_MAP).output, USER_RECORD)
        mapping = USER_MAP.replace(b"dn: secAuthority", b"dn: cn=x,SECAUTHORITY")
        self.assertEqual(migrate(mapping + USER).output, USER_RECORD)

    def test_policies_find_the_owner_behind_their_first_comma(self):
        policy = POLICY.replace(b"Default,cn", b"Default, cn")
        self.assertEqual(migrate(policy + USER + USER_MAP).output,
                         USER_RECORD + CONTAINER_RECORD + POLICY_RECORD)

    def test_a_blank_behind_the_first_comma_of_a_policy_makes_another_owner(self):
        result = migrate(USER + USER_MAP + POLICY.replace(b"Policy,sec", b"Policy, sec"))
        self.assertEqual(result.messages, STAGING + PASS + [FAILED])
        self.assertEqual(result.output, USER_RECORD)
        self.assertEqual(echo_of(result), [
            b"learnPrincipalNameFromSecUserObject(): ERROR: secUser principal name could not be "
            b"found. \n",
            b"secUser is: null\n",
            b"createNewSecUserDN():  principalName for secUser: null  could not be determined\n",
            b"copyAllAccumulatedDataToOutputFile() - createNewSecUserDN() failure.  RETURNING. \n",
            b"secUser_dn =  secAuthority=Default,cn=jdoe,o=example\n\n",
            b"main():  ERROR:  Failed to copy all accumulated data to the temporary output LDIF "
            b"file.  EXITING.  \n"])

    def test_blanks_at_the_end_of_a_user_dn_hide_it(self):
        result = migrate(USER.replace(b"example\no", b"example  \no") + USER_MAP)
        self.assertEqual(result.output,
                         b"dn: principalName=jdoe,cn=Users,secAuthority=default\n")
        self.assertEqual(echo_of(result), [
            b"writeSecUserAddToOutputFile():  ERROR:  Passing a NULL pointer to mergeObjects() \n",
            b"secUser_matrix = dn: secAuthority=Default,cn=jdoe,o=example\n\n",
            b"secMap_for_secUser_matrix = NULL\n"])

    def test_blanks_at_commas_matter_to_groups(self):
        result = migrate(GROUP.replace(b"cn=g1,o", b"cn=g1, o") + GROUP_MAP)
        self.assertEqual(result.output, b"dn: cn=g1,cn=Groups,secAuthority=default\n")
        self.assertEqual(echo_of(result), [
            b"writeSecGroupAddToOutputFile():  ERROR:  Passing a NULL pointer to "
            b"mergeObjects() \n"])

    def test_blanks_at_commas_go_in_the_secdn_of_group_mappings(self):
        mapping = GROUP_MAP.replace(b"cn=g1,o", b"cn=g1 , o")
        self.assertEqual(migrate(GROUP + mapping).output,
                         GROUP_RECORD.replace(b"cn=g1,o", b"cn=g1 , o"))

    def test_mappings_without_a_domain_are_fatal(self):
        for dn, function in ((b"cn=Users,o=x", b"SecUserDN"), (b"cn=Groups,o=x", b"SecGroupDN")):
            result = migrate(b"dn: " + dn + b"\nobjectclass: secMap\nsecDN: o=y\n")
            self.assertEqual(result.messages, STAGING + [380928312, FAILED])
            self.assertEqual(echo_of(result), [b"learnIndexOfAssociated" + function +
                                               b"(): Missing secAuthority in dn: " + dn + b"\n"])

    def test_entries_that_name_no_owner_are_fatal(self):
        users_entry = b"dn: cn=Users,secAuthority=x\nobjectclass: secUser\nsecDomainId: x\n"
        missing = b"learnIndexOfAssociatedSecUserDN(): Missing secAuthority in dn: %s\n"
        for export, echo in (
                (users_entry, []),
                (b"dn: cn=Policy\nobjectclass: secPolicy\n", []),
                (b"dn: secAuthority=x\nobjectclass: secMap\n", []),
                (b"dn: cn=Users,secAuthority=x\nobjectclass: secMap\n",
                 [missing % b"cn=Users,secAuthority=x"]),
                (b"cn=Users\nobjectclass: secMap\n", [missing % b"null"])):
            result = migrate(export)
            self.assertEqual(result.messages, STAGING + [380928312, FAILED])
            self.assertEqual(echo_of(result), echo)


class Handlers(unittest.TestCase):
    def test_taken_entries_are_blanked_and_refused_ones_stay(self):
        result = migrate(USER + USER)
        self.assertEqual(result.messages, STAGING + [380928312, OCCUPIED])
        self.assertEqual(len(result.work), 2 * len(USER))
        self.assertEqual(result.work[:len(USER)].strip(b" \r\n"), b"")
        self.assertEqual(result.work[len(USER):], USER)

    def test_with_one_slot_other_users_wait_for_the_next_pass(self):
        first, second = USER + POLICY_DATA, of(b"ann", USER)
        export = first + second + of(b"ann", USER_MAP) + USER_MAP
        result = migrate(export, 1, 1)
        self.assertEqual(result.output, USER_RECORD + of(b"ann", USER_RECORD))
        self.assertEqual(result.messages, STAGING + PASS + PASS + END)
        self.assertEqual(result.inventory.passes, 3)
        self.assertEqual((result.inventory.peak_users, result.inventory.peak_groups), (1, 0))

    def test_any_entry_may_open_the_slot(self):
        self.assertEqual(migrate(POLICY_DATA + USER_MAP + USER, 1, 1).output, USER_RECORD)

    def test_a_second_entry_of_a_kind_is_fatal_where_the_gate_lets_it_in(self):
        for export, echo in (
                (USER + USER, [
                    b"moveSecUserObjectFromObjectArrayToSecUserMatrix():  Destination slot is "
                    b"already occupied.  EXITING.\n",
                    b"secUser_matrix = dn: secAuthority=Default,cn=jdoe,o=example\n\n"]),
                (GROUP_MAP + GROUP_MAP, [
                    b"moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix():  "
                    b"Destination slot is already occupied.  EXITING. \n",
                    b"secMap_for_secGroup_matrix = dn: secAuthority=Default,cn=Groups\n\n"])):
            result = migrate(export)
            self.assertEqual(result.messages, STAGING + [380928312, OCCUPIED])
            self.assertEqual(echo_of(result), echo)

    def test_a_second_entry_waits_where_the_gate_is_shut(self):
        result = migrate(USER + USER + USER_MAP, 1, 1)
        self.assertEqual(result.messages, STAGING + PASS + PASS + [FAILED])
        self.assertEqual(result.output, USER_RECORD +
                         b"dn: principalName=jdoe,cn=Users,secAuthority=default\n")

    def test_users_and_groups_have_slots_of_their_own(self):
        result = migrate(GROUP + USER + of(b"ann", USER_MAP) + GROUP_MAP + USER_MAP +
                         of(b"ann", USER), 1, 1)
        self.assertEqual(result.output, USER_RECORD + GROUP_RECORD + of(b"ann", USER_RECORD))

    def test_a_users_entry_that_blanks_hid_at_first_counts_as_one_when_moved(self):
        dn = b"dn: cn=jdoe,cn=Users , secAuthority=Default\n"
        owner = model_cache.Owners(1)
        run = model.Run(1, 1, USER.replace(USER.split(b"\n")[0] + b"\n", dn), None)
        run.users = owner
        model_cache.take_in(run, entry.SECUSER, run.read_work_entry())
        self.assertEqual(owner.slots[0].dn, b"cn=jdoe,cn=Users,secAuthority=Default\n")
        self.assertEqual(list(owner.slots[0].entries), ["Users_secUser_matrix"])


class NewDNs(unittest.TestCase):
    def dn_line(self, owner, principal=b"principalName: jdoe\n"):
        """The user's new DN line; without a mapping nothing follows it."""
        return migrate(b"dn: " + owner + b"\nobjectclass: secUser\nsecAuthority: x\n" +
                       principal).output

    def test_the_default_domain_is_found_by_its_text(self):
        default = b"dn: principalName=jdoe,cn=Users,secAuthority=default\n"
        for owner in (b"secAuthority=Default,cn=x", b"secAuthority=DEFAULT,cn=x",
                      b"secAuthority=defaulttest,cn=x", b"cn=y,secAuthority=Default"):
            self.assertEqual(self.dn_line(owner), default)

    def test_other_domains_lie_below_subdomains(self):
        for owner, domain in ((b"secAuthority=Sales,cn=x", b"secAuthority=Sales"),
                              (b"secAuthority=Default,cn=x,cn=Subdomains",
                               b"secAuthority=Default"),
                              (b"cn=x,secAuthority=Sales", b"cn=x"),
                              (b"secAuthority=Sales", b"secAuthority=Sales\n")):
            self.assertEqual(self.dn_line(owner), b"dn: principalName=jdoe,cn=Users," + domain +
                             b",cn=Subdomains,secAuthority=default\n")

    def test_naming_values_keep_blanks_at_their_end(self):
        self.assertEqual(self.dn_line(b"secAuthority=Default,cn=x", b"principalname:   j  \r\n"),
                         b"dn: principalName=j  ,cn=Users,secAuthority=default\n")

    def test_a_user_without_a_name_stops_the_flush(self):
        self.assertEqual(self.dn_line(b"secAuthority=Default,cn=x", b"principalName:  \n"), b"")

    def test_a_group_takes_its_name_from_the_first_cn_text(self):
        self.assertEqual(records.naming_value([b"dn: x\n", b"acn: CN: b\n"], (b"cn:", b"CN:")),
                         b"CN: b")
        self.assertEqual(records.naming_value([b"CN: b\n", b"cn: c\n"], (b"cn:", b"CN:")), b"b")

    def test_a_group_without_a_name_is_told_even_without_being_asked(self):
        result = migrate(GROUP.replace(b"cn: g1\n", b"") + GROUP_MAP)
        dn = b"secAuthority=Default,cn=g1,o=example\n"
        self.assertEqual(result.always, [
            b"createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.\n",
            b"createNewSecGroupDN():  secGroup:  " + dn + b"\n"])
        self.assertEqual(echo_of(result), [
            b"learnCNFromSecGroupObject():  ERROR: secGroup cn could not be found. \n",
            b"secGroup is: dn: " + dn + b"\n",
            b"copyAllAccumulatedDataToOutputFile() - createNewSecGroupDN() failure.  "
            b"RETURNING. \n",
            b"secGroup_dn = " + dn + b"\n",
            records.FLUSH_FAILED])

    def test_a_policy_finds_its_domain_anywhere_in_its_dn(self):
        run, owner = model.Run(1, 1, b"", None), model_cache.Owner(b"")
        owner.policy_dn = b"cn=Policy,cn=x,SecAuthority=Sales,o=y\n"
        self.assertEqual(records.domain_in_policy_dn(run, owner), b"SecAuthority=Sales")
        for dn in (b"cn=Policy,o=y\n", b"cn=Policy,secauthority=Sales\n"):
            owner.policy_dn = dn
            with self.assertRaises(model.Fatal):
                records.domain_in_policy_dn(run, owner)


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
        dropped = migrate(USER + USER_MAP + POLICY_DATA + b"# c\n").inventory.dropped
        data = POLICY_DATA.splitlines(True)
        self.assertEqual(dropped, [
            ("comment", b"# c\n"),
            ("not merged", b"dn: secAuthority=Default,cn=Users\n"),
            ("not merged", b"objectclass: secMap\n"),
            ("old dn", b"dn: secAuthority=Default,cn=jdoe,o=example\n"),
            ("policy data", data[0]), ("policy data", data[1]), ("policy data", data[2])])


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
        self.assertEqual(result.messages, STAGING + [380928312, FAILED])
        self.assertEqual(echo_of(result), [
            b"main():  ERROR:  The object class of this object was unrecognizable.  EXITING. \n"])
        self.assertEqual(result.work, b"dn: x\n")

    def test_the_settings_are_echoed(self):
        self.assertEqual(model.migrate(b"", 1, 3000000000, input_name="i").echo, [
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


if __name__ == "__main__":
    unittest.main()
