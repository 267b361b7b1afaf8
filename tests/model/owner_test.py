"""Holds the model's gathering and naming of entries to results worked out by hand.

    python3 -m unittest model.owner_test
"""
import unittest

from model import cache, entry, migration, records
from model.samples import (CONTAINER_RECORD, END, FAILED, GROUP, GROUP_MAP, GROUP_RECORD,
                           OCCUPIED, PASS, POLICY, POLICY_DATA, POLICY_RECORD, STAGING, USER,
                           USER_MAP, USER_RECORD, echo_of, migrate, of)


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

    def test_white_space_at_the_end_of_a_secdn_does_not_matter(self):
        mapping = GROUP_MAP.replace(b"o=example", b"o=example \t")
        self.assertEqual(migrate(GROUP + mapping).status, 0)
        mapping = USER_MAP.replace(b"o=example", b"o=example \t")
        self.assertEqual(migrate(USER + mapping).status, 0)

    def test_a_mapping_with_blanks_in_its_dns_finds_its_user(self):
        mapping = USER_MAP.replace(b"Default,", b"Default ,").replace(b"jdoe,o", b"jdoe , o")
        self.assertEqual(migrate(mapping + USER).output,
                         USER_RECORD.replace(b"jdoe,o=e", b"jdoe , o=e"))

    def test_the_domain_of_a_users_entry_ends_at_a_colon(self):
        users_entry = (b"dn: cn=Users,secAuthority=x\nobjectclass: secUser\n"
                       b"secAuthority: Default:x\nprincipalName: jdoe\n"
                       b"secDN: cn=jdoe , o=example\n\n")
        self.assertEqual(migrate(users_entry + USER + USER_MAP).messages, STAGING + PASS + END)

    def test_owners_end_in_a_line_feed_even_when_the_line_does_not(self):
        lines = [b"dn: cn=a, o=b"]
        self.assertEqual(cache.associate_with_user(None, entry.SECUSER, lines),
                         (b"cn=a,o=b\n", b"cn=a,o=b\n"))
        self.assertEqual(lines, [b"dn: cn=a,o=b\n"])
        self.assertEqual(cache.associate_with_group(None, entry.SECGROUP, [b"dn: cn=a"]),
                         (b"cn=a\n", b"cn=a\n"))

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
        owner = cache.Owners(1)
        run = migration.Run(1, 1, USER.replace(USER.split(b"\n")[0] + b"\n", dn), None)
        run.users = owner
        cache.take_in(run, entry.SECUSER, run.read_work_entry())
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

    def test_messages_and_lines_are_told_in_one_order(self):
        result = migrate(GROUP.replace(b"cn: g1\n", b"") + GROUP_MAP)
        self.assertEqual([sort for sort, _ in result.events],
                         ["echo"] * 5 + ["message"] * 6 + ["echo"] * 2 + ["always"] * 2 +
                         ["echo"] * 3 + ["message"])

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
        run, owner = migration.Run(1, 1, b"", None), cache.Owner(b"")
        for dn in (b"cn=Policy,cn=x,SecAuthority=Sales,o=y\n", b"SecAuthority=Sales,o=y\n"):
            owner.policy_dn = dn
            self.assertEqual(records.domain_in_policy_dn(run, owner), b"SecAuthority=Sales")
        for dn in (b"cn=Policy,o=y\n", b"cn=Policy,secauthority=Sales\n"):
            owner.policy_dn = dn
            with self.assertRaises(migration.Fatal):
                records.domain_in_policy_dn(run, owner)
        self.assertEqual(run.events, [
            ("echo", b"createNewSecPolicyDN(): Missing secAuthority in dn: cn=Policy,o=y\n\n"),
            ("message", FAILED), ("message", FAILED)])
