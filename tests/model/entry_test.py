"""Holds the model's view of files and entries to results worked out by hand.

    python3 -m unittest model.entry_test
"""
import unittest

from model import entry


class Reading(unittest.TestCase):
    def entries(self, content):
        file = entry.TextFile(content)
        return [entry.read_entry(file)[0] for _ in range(3)]

    def test_blank_lines_and_comments_surround_entries(self):
        self.assertEqual(self.entries(b"\n# c\n\ncn=a\nx: 1\n\ncn=b\n"),
                         [[b"cn=a\n", b"x: 1\n"], [b"cn=b\n"], []])

    def test_a_comment_within_an_entry_is_left_out(self):
        self.assertEqual(self.entries(b"a: 1\n#\nb: 2\n #x\n")[0],
                         [b"a: 1\n", b"b: 2\n", b" #x\n"])

    def test_spaces_and_cr_are_blank_but_a_tab_is_not(self):
        self.assertEqual(self.entries(b"a: 1\n  \r\n\t\n"), [[b"a: 1\n"], [b"\t\n"], []])

    def test_a_long_line_comes_in_pieces_of_4095(self):
        self.assertEqual(self.entries(b"x" * 5000 + b"\n")[0],
                         [b"x" * 4095, b"x" * 905 + b"\n"])

    def test_the_line_end_behind_4095_bytes_is_a_blank_line(self):
        self.assertEqual(self.entries(b"x" * 4095 + b"\ny\n"), [[b"x" * 4095], [b"y\n"], []])

    def test_a_nul_byte_ends_a_line(self):
        self.assertEqual(self.entries(b"a: 1\0b\nc: 2\n")[0], [b"a: 1", b"c: 2\n"])
        self.assertEqual(self.entries(b"a: 1\n\0b\nc: 2\n")[0], [b"a: 1\n"])


class WorkFile(unittest.TestCase):
    def after_deletion(self, content):
        file = entry.TextFile(content)
        entry.delete_entry(file)
        return bytes(file.content), entry.read_entry(file)[0]

    def test_blanked_lines_keep_their_length(self):
        self.assertEqual(entry.blanked(b"cn=a\n"), b"   \r\n")
        self.assertEqual(entry.blanked(b"ab"), b"\r\n")
        self.assertEqual(entry.blanked(b"a"), b"\r\n")
        self.assertEqual(entry.blanked(b""), b"\r\n")

    def test_deletion_blanks_one_entry_with_its_comments(self):
        self.assertEqual(self.after_deletion(b"\na: 1\n# c\n\nb: 2\n"),
                         (b"\n   \r\n  \r\n\nb: 2\n", [b"b: 2\n"]))

    def test_deletion_ends_at_the_blank_line_behind_a_comment(self):
        self.assertEqual(self.after_deletion(b"# c\n\na: 1\n"), (b"  \r\n\na: 1\n", [b"a: 1\n"]))

    def test_deletion_of_blank_lines_writes_nothing(self):
        self.assertEqual(self.after_deletion(b"\n  \r\n"), (b"\n  \r\n", []))

    def test_what_a_nul_byte_hid_is_deleted_as_a_line_of_its_own(self):
        self.assertEqual(self.after_deletion(b"a\0bcd\n"), (b"\r\n  \r\n", []))

    def test_a_single_byte_at_the_end_becomes_two(self):
        self.assertEqual(self.after_deletion(b"\na"), (b"\n\r\n", []))


class Texts(unittest.TestCase):
    def test_blanks_at_commas_go(self):
        for before, after in ((b"cn=a , o=b ,  c=d", b"cn=a,o=b,c=d"), (b", a", b",a"),
                              (b"a ,", b"a,"), (b" ,a", b",a"), (b"a\t,b", b"a\t,b"),
                              (b"a b", b"a b"), (b" a, , b", b" a,,b")):
            self.assertEqual(entry.without_blanks_at_commas(before), after)

    def test_trim_cuts_white_space_at_the_end_alone(self):
        self.assertEqual(entry.trim(b"abc \r\n"), b"abc")
        self.assertEqual(entry.trim(b"  abc"), b"  abc")
        self.assertEqual(entry.trim(b"   "), b"")


class ObjectClass(unittest.TestCase):
    def of(self, *lines):
        return entry.object_class([line + b"\n" for line in lines])

    def test_first_line_with_a_known_class_decides(self):
        self.assertEqual(self.of(b"objectclass: secMap", b"objectclass: secUser"), entry.SECMAP)

    def test_policy_data_is_no_policy(self):
        self.assertEqual(self.of(b"objectClass: top", b"objectClass: secPolicyData"),
                         entry.SECPOLICYDATA)
        self.assertEqual(self.of(b"objectClass: secpolicy"), entry.SECPOLICY)

    def test_containers_are_told_apart_by_the_first_line(self):
        self.assertEqual(self.of(b"dn: cn=ResCreds,cn=x", b"objectclass: container"),
                         entry.RESCREDS_CONTAINER)
        self.assertEqual(self.of(b"dn: cn=RESCREDS,cn=x", b"objectclass: Container"),
                         entry.CONTAINER)

    def test_text_anywhere_in_a_line_counts(self):
        self.assertEqual(self.of(b"description: objectclass: secUserX"), entry.SECUSER)
        self.assertEqual(self.of(b"objectclass: secResCreds"), entry.SECRESCREDS)
        self.assertEqual(self.of(b"objectclass: secgroup"), entry.SECGROUP)

    def test_other_spellings_do_not_count(self):
        for line in (b"ObjectClass: secUser", b"objectclass:secUser", b"objectclass: SECUSER",
                     b"objectclass: SecUser"):
            self.assertEqual(self.of(line), entry.UNINTERESTING)
        self.assertEqual(self.of(), entry.UNINTERESTING)


class Lookup(unittest.TestCase):
    def test_names_match_in_any_case_and_values_are_unfolded(self):
        lines = [b"dn: x\n", b"secAuthority:  De\r\n", b" fault\n", b"  !\n"]
        self.assertEqual(entry.attribute_value(lines, b"SECAUTHORITY"), b"Default !")
        self.assertIsNone(entry.attribute_value(lines, b"cn"))

    def test_a_name_matches_within_a_longer_one(self):
        self.assertEqual(entry.attribute_value([b"secDN: cn=a\n"], b"dn"), b"cn=a")

    def test_behind_the_first_colon_only_lower_case_matches(self):
        self.assertEqual(entry.attribute_value([b"a: secDN: x\n", b"a: secdn: y\n"], b"secDN"),
                         b"y")

    def test_base64_keeps_its_second_colon(self):
        self.assertEqual(entry.attribute_value([b"cn:: eA==\n"], b"cn"), b": eA==")
