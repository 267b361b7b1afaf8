#!/usr/bin/env python3
"""What ldif-migrate-check reports of an export beside findings, and how it reports these.

    report_test.py PROGRAM [TEST...]

The check stands beside PROGRAM, which migrates, and so does make_export.
"""

import os
import pathlib
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib import base  # noqa: E402
from lib.programs import (CLEAN, FOUND, check, checker_of, make_export, messages,  # noqa: E402
                          migrate)
from lib.testcase import EXAMPLES, FolderTest, take_program  # noqa: E402
from owners import BOBS_POLICY, BOBS_USER  # noqa: E402

PROGRAM = take_program()
CHECK = checker_of(PROGRAM)
EXAMPLE = EXAMPLES / "export.ldif"
PASS_BEGINS, WRITING = 380928312, 380928313
NOTHING = {"other": 0, "secUser": 0, "secPolicyData": 0, "secPolicy": 0, "secGroup": 0, "secMap": 0,
           "secAuthorityInfo": 0, "resCredsContainer": 0, "secResCreds": 0, "container": 0}


class ReportTest(FolderTest):
    def setUp(self):
        super().setUp()
        self.export = self.folder / "export.ldif"

    def report_of(self, text, *options, status=CLEAN):
        self.export.write_bytes(text if isinstance(text, bytes) else text.encode())
        return self.report(*options, status=status)

    def report(self, *options, status=CLEAN):
        run = check(CHECK, self.export, None, ("--json", *options))
        self.assertEqual((run.status, run.stderr), (status, b""))
        return run.document

    def report_of_generated(self, *options):
        """The report of the generated export, which may hold what is not kept word for word."""
        run = check(CHECK, self.export, None, ("--json", *options))
        self.assertEqual([found["type"] for found in run.document["findings"]
                          if found["severity"] != "changes"], [])
        return run.document

    def text(self, *options):
        return check(CHECK, self.export, None, options).stdout.decode()


class InventoryTest(ReportTest):
    def test_the_small_export(self):
        report = self.report_of(base.EXPORT)
        self.assertEqual(report["program"], "ldif-migrate-check")
        self.assertEqual(report["export"], str(self.export))
        self.assertEqual(report["findings"], [])
        self.assertEqual(report["inventory"], {
            "bytes": 1365, "entries": 13,
            "byClass": {"secUser": 2, "secPolicyData": 1, "secPolicy": 1, "secGroup": 1,
                        "secMap": 2, "secAuthorityInfo": 1, "resCredsContainer": 1,
                        "secResCreds": 1, "container": 1, "other": 2},
            "users": 1, "groups": 1, "domains": 1, "policies": 1, "policyData": 1})
        self.assertEqual([report["run"][name] for name in ("users", "groups", "passes")],
                         [1, 1, 1])
        self.assertGreater(report["run"]["memory"], 0)

    def test_the_example(self):
        report = self.report_of(EXAMPLE.read_bytes())
        self.assertEqual(report["inventory"], {
            "bytes": EXAMPLE.stat().st_size, "entries": 16,
            "byClass": {"secUser": 3, "secPolicyData": 1, "secPolicy": 1, "secGroup": 1,
                        "secMap": 3, "secAuthorityInfo": 1, "resCredsContainer": 1,
                        "secResCreds": 1, "container": 1, "other": 3},
            "users": 2, "groups": 1, "domains": 2, "policies": 1, "policyData": 1})
        self.assertEqual([report["run"][name] for name in ("users", "groups", "passes")],
                         [2, 1, 1])

    def test_nothing(self):
        for text in ("", "\n\n", "# Nothing.\n"):
            with self.subTest(text=text):
                report = self.report_of(text)
                self.assertEqual(report["inventory"], {
                    "bytes": len(text), "entries": 0, "byClass": NOTHING, "users": 0, "groups": 0,
                    "domains": 0, "policies": 0, "policyData": 0})
                self.assertEqual([report["run"][name] for name in ("users", "groups")], [1, 1])

    def test_people_show_the_numbers_too(self):
        self.export.write_bytes(EXAMPLE.read_bytes())
        text = self.text()
        report = self.report()
        for number in (*report["inventory"]["byClass"].values(), report["inventory"]["entries"],
                       report["run"]["users"], report["run"]["groups"]):
            self.assertRegex(text, rf"\b{number:,}\b")


class PlanTest(ReportTest):
    def passes_of(self, users, groups):
        """How often a migration with these counts gathers something."""
        run = migrate(PROGRAM, self.export.read_bytes(), (users, groups))
        self.assertEqual((run.status, run.stderr), (0, b""))
        numbers = messages(run.stdout)
        # The resource credentials are looked at once more.
        self.assertEqual(numbers.count(PASS_BEGINS), numbers.count(WRITING) + 1)
        return numbers.count(WRITING)

    def assertPlans(self, report):
        plans = report["plans"]
        self.assertEqual(plans[0], report["run"])
        self.assertGreater(len(plans), 4)
        for plan in plans:
            with self.subTest(plan=plan):
                self.assertEqual(self.passes_of(plan["users"], plan["groups"]), plan["passes"])
        for small, large in zip(plans[1:], plans):
            self.assertGreater(small["passes"], large["passes"])
            self.assertLess(small["memory"], large["memory"])
            self.assertLessEqual(small["users"], large["users"])
            self.assertLessEqual(small["groups"], large["groups"])

    def test_plans_are_kept(self):
        for options in (("--scattered",), ("--seed", 3, "--groups", 40)):
            with self.subTest(options=options):
                make_export(PROGRAM, self.export, "--users", 60, *options)
                report = self.report_of_generated()
                self.assertEqual(report["run"]["passes"], 1)
                self.assertEqual(report["run"]["users"], 60)
                self.assertEqual(report["run"]["users"], report["inventory"]["users"])
                self.assertEqual(report["run"]["groups"], report["inventory"]["groups"])
                self.assertPlans(report)

    def test_counts_given(self):
        make_export(PROGRAM, self.export, "--users", 50, "--groups", 20)
        for users, groups in ((50, 20), (49, 20), (50, 19), (7, 20), (50, 3), (1, 1), (1000, 1000),
                              (2_000_000_000, 2_000_000_000)):
            with self.subTest(users=users, groups=groups):
                run = self.report_of_generated("--users", str(users), "--groups",
                                               str(groups))["requested"]
                self.assertEqual((run["users"], run["groups"]), (users, groups))
                self.assertEqual(run["passes"], self.passes_of(users, groups))

    def test_one_count_given(self):
        make_export(PROGRAM, self.export, "--users", 50, "--groups", 20)
        run = self.report_of_generated("--users", "10")["requested"]
        self.assertEqual((run["users"], run["groups"], run["passes"]), (10, 20, 5))
        run = self.report_of_generated("--groups", "10")["requested"]
        self.assertEqual((run["users"], run["groups"], run["passes"]), (50, 10, 2))
        self.assertNotIn("requested", self.report_of_generated())

    def test_counts_for_nobody(self):
        report = self.report_of(base.PERSON)
        self.assertEqual((report["run"]["users"], report["run"]["groups"]), (1, 1))
        run = migrate(PROGRAM, self.export.read_bytes(), (1, 1))
        self.assertEqual((run.status, run.output), (0, base.PERSON.encode()))


class DiskTest(ReportTest):
    def test_room_for_work_file_and_output(self):
        for options in ((), ("--scattered",), ("--changetype",)):
            with self.subTest(options=options):
                make_export(PROGRAM, self.export, "--users", 60, *options)
                disk = self.report_of_generated()["disk"]
                # A traced run leaves its work file.
                run = migrate(PROGRAM, self.export.read_bytes(), (60, 60), traced=True)
                self.assertEqual(disk["workFile"], len(run.work))
                self.assertGreaterEqual(disk["output"], len(run.output))
                self.assertLessEqual(disk["output"], len(run.output) * 1.01)

    def assertOutputFits(self, export, surplus):
        """The output takes at most what is predicted, which is at most `surplus` times as much."""
        predicted = self.report_of(export)["disk"]["output"]
        run = migrate(PROGRAM, self.export.read_bytes(), (1000, 1000))
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertGreaterEqual(predicted, len(run.output))
        self.assertLessEqual(predicted, len(run.output) * surplus)

    def test_disk_space_for_a_known_output(self):
        self.assertEqual(self.report_of(base.EXPORT)["disk"]["output"], len(base.OUTPUT))

    def test_disk_space_for_policies_in_a_subdomain(self):
        """The domain and the user's name are in three DNs: the user's, its policy's and that of
        the policy container."""
        name, domain = "n" * 200, "s" * 100
        owner = "".join((base.MAPPING, base.USER, base.POLICY)).replace(
            "Default", domain).replace("ann", name)
        self.assertOutputFits(base.DOMAIN + "".join(
            owner.replace("Ann Lee", f"Ann{n}").replace(name, f"{n}{name}").replace("7a10", f"{n}")
            for n in range(50)), 1.001)

    def test_disk_space_for_what_is_added(self):
        """Change types of policy containers, an installation date, blank lines of credentials."""
        undated = base.DOMAIN.replace("installDate: 20030302090000.0Z\n", "")
        self.assertOutputFits(undated * 50, 1.001)
        self.assertOutputFits(base.CREDENTIAL * 50, 1.001)
        self.assertOutputFits(base.EXPORT.replace("\nobject", "\nchangetype: add\nobject"), 1.001)

    def test_what_is_free(self):
        free = self.report_of(base.EXPORT)["disk"]["free"]
        state = os.statvfs(self.folder)
        # Others write meanwhile.
        self.assertLess(abs(free - state.f_bavail * state.f_frsize), 1 << 30)


class FindingsTest(ReportTest):
    def many(self, number):
        return base.EXPORT + "".join(BOBS_POLICY.replace("Bob Ray", f"Bob{n}")
                                     for n in range(number))

    def test_limit(self):
        for limit, shown in (("3", 3), ("0", 0), ("25", 25), ("1000", 25)):
            with self.subTest(limit=limit):
                [found] = self.report_of(self.many(25), "--limit", limit, status=FOUND)["findings"]
                self.assertEqual((found["type"], found["total"]), ("policy-without-user", 25))
                # Each of them takes four lines, the first is at line 67.
                self.assertEqual([one["line"] for one in found["shown"]],
                                 [67 + 4 * n for n in range(shown)])

    def test_limit_for_people(self):
        self.export.write_text(self.many(25))
        text = self.text("--limit", "3")
        self.assertRegex(text, r"\b25\b")
        for n in range(25):
            self.assertEqual(f"secAuthority=Default,cn=Bob{n},o=acme" in text, n < 3)

    def test_without_a_limit_given_all_are_counted(self):
        [found] = self.report_of(self.many(3000), status=FOUND)["findings"]
        self.assertEqual(found["total"], 3000)
        self.assertGreater(len(found["shown"]), 0)
        self.assertLess(len(found["shown"]), 3000)

    def test_twins_that_are_gathered_one_after_the_other(self):
        """With room for a single user the migration does not notice them; the check does."""
        twice = base.EXPORT + base.USER + base.MAPPING
        for counts in (("1", "1"), ("2", "2")):
            [found] = self.report_of(twice, "--users", counts[0], "--groups", counts[1],
                                     status=FOUND)["findings"]
            self.assertEqual((found["type"], found["total"]), ("two-of-one-kind", 2))
            for one in found["shown"]:
                self.assertIn("so few slots that the two are gathered in different passes",
                              one["effect"])
            self.assertEqual(migrate(PROGRAM, twice.encode(), counts).status,
                             0 if counts == ("1", "1") else 255)

    def dn_shown(self, dn):
        user = BOBS_USER.encode().replace(b"dn: secAuthority=Default,cn=Bob Ray,o=acme",
                                          b"dn: secAuthority=Default," + dn)
        [found] = self.report_of(base.EXPORT.encode() + user, status=FOUND)["findings"]
        self.assertEqual(found["type"], "user-without-mapping")
        [one] = found["shown"]
        text = check(CHECK, self.export, None, ()).stdout
        return one["dn"].removeprefix("dn: secAuthority=Default,"), text

    def test_control_characters(self):
        shown, text = self.dn_shown(b'cn=\x01\x1b[2J\x7f\t"\\,o=acme')
        self.assertEqual(shown, 'cn=??[2J??"\\,o=acme')
        self.assertEqual([byte for byte in text if byte < 32 and byte != 10 or byte == 127], [])

    def test_characters_that_a_terminal_obeys(self):
        hostile = "\u0085\u009b\u061c\u200e\u200f\u2028\u2029\u202a\u202e\u2066\u2069"
        shown, text = self.dn_shown(f"cn=a{hostile}b,o=acme".encode())
        self.assertEqual(shown, "cn=a???????????b,o=acme")
        self.assertIn(b"cn=a???????????b,o=acme\n", text)

    def test_bytes_that_are_utf_8(self):
        dn = "cn=Bölte 田中,o=acme"
        self.assertEqual(self.dn_shown(dn.encode())[0], dn)

    def test_bytes_that_are_no_utf_8(self):
        for bad in (b"\xff", b"\xe4", b"\xc3", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xc0\xaf",
                    b"\xe2\x82"):
            with self.subTest(bad=bad):
                shown, _ = self.dn_shown(b"cn=<" + bad + b">,o=acme")
                self.assertTrue(shown.startswith("cn=<"), shown)
                self.assertTrue(shown.endswith(">,o=acme"), shown)

    def test_long_dn(self):
        shown, _ = self.dn_shown(b"cn=" + "ä".encode() * 1000 + b",o=acme")
        self.assertTrue(shown.startswith("cn=ääää"))
        self.assertLess(len(shown), 300)

    def test_export_with_an_odd_name(self):
        name = b'a "b"\\\n\x1b\xff\xe2\x80\xae.ldif'
        shown = 'a "b"\\????.ldif'
        path = os.fsencode(self.folder) + b"/" + name
        pathlib.Path(os.fsdecode(path)).write_text(base.EXPORT)
        for options in ((), ("--json",)):
            run = check(CHECK, path, None, options)
            self.assertEqual((run.status, run.stderr), (CLEAN, b""))
            if options:
                self.assertTrue(run.document["export"].endswith('a "b"\\\n\x1b\ufffd\u202e.ldif'))
                self.assertNotIn("\u202e".encode(), run.stdout)
            else:
                self.assertEqual(run.stdout.decode().count(shown), 1)
                self.assertNotRegex(run.stdout.decode(), "[\x1b\u202e]")
        missing = check(CHECK, path + b"2", None, ())
        self.assertIn(f'{shown}2": No such file or directory\n', missing.stderr.decode())

    def test_folded_dn(self):
        [found] = self.report_of(
            base.EXPORT + BOBS_USER.replace("cn=Bob Ray", "cn=Bob\n  Ray"),
            status=FOUND)["findings"]
        [one] = found["shown"]
        self.assertEqual((one["line"], one["dn"]),
                         (67, "dn: secAuthority=Default,cn=Bob Ray,o=acme"))

    def test_no_value_is_shown(self):
        """What is split off an entry begins with a value, which may be a secret."""
        for broken in ("ann\n \nuserPassword: hunter2\n", "ann\n\n hunter2\n",
                       "ann\nuserPassword hunter2\n", "ann\n\thunter2\n",
                       "ann\ndescription: hunter2 acl: 1\n", "ann\n# x\n hunter2\n",
                       "ann\n\rhunter2: 1\n", "ann\nsn: x\rhunter2\n", "ann\nsn: x\0hunter2\n"):
            with self.subTest(broken=broken):
                self.report_of(base.EXPORT.replace("ann\nsecuuid", broken + "secuuid"),
                               status=FOUND)
                for options in ((), ("--json",)):
                    run = check(CHECK, self.export, None, options)
                    self.assertNotIn(b"hunter2", run.stdout)


if __name__ == "__main__":
    unittest.main()
