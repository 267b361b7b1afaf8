#!/usr/bin/env python3
"""Shows that run_cases.py passes a case that fits and fails on every kind of difference.

The program under test is a small script that each test words itself.
"""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import run_cases

RUN_CASES = Path(run_cases.__file__)

# Behaves like a successful run that gathers once and passes "dn: cn=a" through.
GOOD = """
import os, sys, time
def make(name, content, mode=0o600):
    with os.fdopen(os.open(name, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, mode), "wb") as made:
        made.write(content)
sys.stdout.buffer.write(NOTICES)
make("output.ldif", b"dn: cn=a\\n\\n")
"""


class RunCasesTest(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        self.path = self.folder / "topic" / "shown.case"
        self.path.parent.mkdir()
        self.introduction = "A person passes through.\n\nA reason.\n\n"
        self.setup, self.command = "", "ldif-migrate input.ldif output.ldif 1 1"
        self.sections = {"given input.ldif": "dn: cn=a\n", "expect output.ldif": "dn: cn=a\n\n"}

    def expect(self, name, content=""):
        self.sections["expect " + name] = content

    def store(self):
        stored = "".join(f"=== {head}\n{content}" for head, content in self.sections.items())
        self.path.write_text(
            f"{self.introduction}{self.setup}$ {self.command}\n\n{stored}=== end\n",
            encoding="utf-8")

    def case(self):
        self.store()
        return run_cases.Case(self.path)

    def program(self, script=""):
        program = self.folder / "program"
        notices = f"NOTICES = {run_cases.undisturbed_notices('1')!r}\n"
        program.write_text(f"#!{sys.executable} -IS\n" + notices + GOOD + script, encoding="utf-8")
        program.chmod(0o700)
        return str(program)

    def complaints(self, script=""):
        return list(run_cases.complaints(self.program(script), self.case()))

    def assertFails(self, script, *words):
        found = self.complaints(script)
        self.assertEqual(len(found), 1, found)
        for word in words:
            self.assertIn(word, found[0])

    def assertIsNoCase(self, text):
        self.path.write_text(text, encoding="utf-8")
        with self.assertRaises(ValueError):
            run_cases.Case(self.path)

    def test_fitting_run_passes(self):
        self.assertEqual(self.complaints(), [])

    def test_wrong_output_fails(self):
        self.assertFails('make("output.ldif", b"dn: cn=a\\r\\n\\n")',
                         "-dn: cn=a\\n", "+dn: cn=a\\r\\n")

    def test_missing_output_fails(self):
        self.assertFails('os.remove("output.ldif")', "output.ldif: missing")

    def test_unexpected_output_fails(self):
        del self.sections["expect output.ldif"]
        self.assertFails("", "output.ldif: must not be there")

    def test_wrong_status_fails(self):
        self.assertFails("sys.exit(255)", "exit status 255 instead of 0")

    def test_wrong_notice_fails(self):
        self.assertFails('print("one more")', "expected stdout", "+one more")

    def test_wrong_number_of_passes_fails(self):
        self.expect("passes 1+1")
        self.assertFails("", "expected stdout", "-380928312 NOTICE")

    def test_unexpected_message_fails(self):
        self.assertFails('print("runtime error: x", file=sys.stderr)', "+runtime error: x")

    def test_missing_message_fails(self):
        self.expect("stderr", "380928304 ERROR: {any}\n")
        self.assertFails("", "-380928304 ERROR")

    def test_placeholder_stands_for_text_within_one_line(self):
        self.expect("stderr", "1 ERROR: {any}. End\n")
        self.assertEqual(self.complaints('print("1 ERROR: a b. End", file=sys.stderr)'), [])
        self.assertFails('print("1 ERROR: a\\nb. End", file=sys.stderr)', "+1 ERROR: a")
        self.assertFails('print("2 ERROR: a b. End", file=sys.stderr)', "+2 ERROR: a b. End")

    def test_wrong_work_file_fails(self):
        self.expect("input.ldif.tmp (escaped)", "   \\r\\n\n")
        self.assertEqual(self.complaints('make("input.ldif.tmp", b"   \\r\\n")'), [])
        self.assertFails('make("input.ldif.tmp", b"    \\r\\n")', "expected input.ldif.tmp")
        self.assertFails("", "input.ldif.tmp: missing")

    def test_remaining_work_file_fails(self):
        self.assertFails('make("input.ldif.tmp", b"")', "input.ldif.tmp: must not be there")

    def test_left_over_work_file_must_be_removed(self):
        self.sections["given input.ldif.tmp"] = "dn: cn=b\n"
        self.assertFails("", "input.ldif.tmp: must not be there")
        self.assertEqual(self.complaints('os.remove("input.ldif.tmp")'), [])

    def test_readable_by_others_fails(self):
        self.assertFails('os.chmod("output.ldif", 0o644)', "mode 0644 instead of 0600")

    def test_unexpected_file_fails(self):
        self.assertFails('make("core", b"")', "core: must not be there")

    def test_changed_input_fails(self):
        self.assertFails('make("input.ldif", b"")', "input.ldif", "-dn: cn=a")

    def test_removed_input_fails(self):
        self.assertFails('os.remove("input.ldif")', "input.ldif: missing")

    def test_trace(self):
        self.command += " trace.txt"
        self.assertFails("", "trace.txt: missing")
        self.assertEqual(self.complaints('make("trace.txt", b"any")'), [])
        self.expect("trace.txt", "this\n")
        self.assertFails('make("trace.txt", b"that\\n")', "-this", "+that")

    def test_snapshot(self):
        script = 'make("TEMPORARY_INPUT_LDIF_FILE", b"x\\n")\n'
        self.assertFails(script, "TEMPORARY_INPUT_LDIF_FILE: must not be there")
        self.command += " trace.txt"
        script += 'make("trace.txt", b"")'
        self.assertEqual(self.complaints(script), [])
        self.expect("TEMPORARY_INPUT_LDIF_FILE", "y\n")
        self.assertFails(script, "-y", "+x")

    def test_made_files(self):
        self.expect("other", "x\n")
        self.assertFails("", "other: missing")
        self.assertEqual(self.complaints('make("other", b"x\\n")'), [])

    def test_environment_replaces_a_debug_error_of_the_caller(self):
        script = 'print(os.environ.get("DEBUG_ERROR", "absent"))'
        self.expect("stdout", run_cases.undisturbed_notices("1").decode() + "absent\n")
        self.assertEqual(self.complaints(script), [])
        self.command = "DEBUG_ERROR= " + self.command
        self.assertFails(script, "-absent")

    def test_setup_makes_links_fifos_and_folders(self):
        self.setup = ("$ ln -s input.ldif symbolic\n$ ln input.ldif hard\n"
                      "$ mkfifo pipe\n$ mkdir -p sub/folder\n")
        self.assertEqual(self.complaints(
            'import stat\n'
            'assert os.readlink("symbolic") == "input.ldif"\n'
            'assert os.path.samefile("hard", "input.ldif") and os.stat("hard").st_nlink == 2\n'
            'assert stat.S_ISFIFO(os.stat("pipe").st_mode) and os.path.isdir("sub/folder")'), [])

    def test_local_time_is_on_the_twelve_hour_clock(self):
        self.expect("output.ldif", "at {local-time}.0Z\n")
        script = ('make("output.ldif", time.strftime("at %Y%m%d{}%M%S.0Z\\n", '
                  'time.localtime(time.time() - {})).encode())')
        for zone in ("AHEAD-11:30", "BEHIND+0:30"):
            self.command = f"TZ={zone} ldif-migrate input.ldif output.ldif 1 1"
            self.assertEqual(self.complaints(script.format("%I", 0)), [])
            self.assertFails(script.format("%I", 60), "-at {local-time}")
        found = []
        for zone in ("AHEAD-11:30", "BEHIND+0:30"):
            self.command = f"TZ={zone} ldif-migrate input.ldif output.ldif 1 1"
            found += self.complaints(script.format("%H", 0))
        self.assertEqual(len(found), 1, "one of two zones twelve hours apart is after noon")

    def test_a_case_says_what_it_shows_and_what_is_run(self):
        self.command = r"TZ=X DEBUG_ERROR= ldif-migrate 'a b' '\{./*3}c' '' 1"
        case = self.case()
        self.assertEqual(case.title, "A person passes through.")
        self.assertEqual(case.arguments, ["a b", "./././c", "", "1"])
        self.assertEqual(case.environment, {"TZ": "X", "DEBUG_ERROR": ""})

    def test_sections_are_taken_to_the_byte(self):
        self.sections = {
            "given input.ldif": "dn: a\n\n == x\n===x\n\n", "given empty": "",
            "given a b;$c": "x\n", "given odd (escaped)": "a\\r\\n\n\\x3d== b\n",
            "expect o p": "y\n"}
        case = self.case()
        self.assertEqual(case.given, {"input.ldif": b"dn: a\n\n == x\n===x\n\n", "empty": b"",
                                      "a b;$c": b"x\n", "odd": b"a\r\n=== b"})
        self.assertEqual(case.expected["o p"], b"y\n")

    def test_a_text_that_is_no_case_is_refused(self):
        self.store()
        text = self.path.read_text(encoding="utf-8")
        for old, new in (("=== end\n", ""), ("output.ldif 1 1", "output.ldif '1 1"),
                         ("=== expect", "=== expct"), ("=== given", "==="),
                         ("ldif-migrate ", "ldif-migrat "), ("$ ldif", "ldif"),
                         ("$ ldif", "$ touch a\n$ ldif"), ("1 1\n", "1 1\nmore\n"),
                         ("1 1\n", "1 1\n\nmore\n"), ("1 1\n", "1 1\n\n$ ln a b\n"),
                         (self.introduction, ""), ("=== end", "=== given input.ldif\n=== end"),
                         ("=== end", "=== expect passes one\n=== end"),
                         ("=== end", "=== expect odd (escaped)\n\\q\n=== end")):
            wrong = text.replace(old, new)
            with self.subTest(wrong=wrong):
                self.assertNotEqual(wrong, text)
                self.assertIsNoCase(wrong)

    def test_a_misspelled_expectation_fails(self):
        for name in ("outptu.ldif", "staus 255", "output.ldif (escpaed)"):
            with self.subTest(name=name):
                self.expect(name)
                self.assertFails("", f"{name}: missing")
                del self.sections["expect " + name]

    def test_escapes(self):
        self.assertEqual(run_cases.unescape(rb"a\r\n" b"\n" rb"\t\0\\n\x41\{b\n*2}"),
                         b"a\r\n\t\0\\nAb\nb\n")
        with self.assertRaises(ValueError):
            run_cases.unescape(rb"\q")

    def run_runner(self, script, *names):
        # A copy, so that the cases beside it are those of the test.
        (self.folder / "run_cases.py").write_bytes(RUN_CASES.read_bytes())
        return subprocess.run(
            [sys.executable, "-B", self.folder / "run_cases.py", self.program(script), *names],
            capture_output=True, text=True, check=False,
            env={**os.environ, "PYTHONPATH": str(RUN_CASES.parent.parent)})

    def test_runner_runs_all_cases_a_topic_or_one(self):
        for self.path in (self.path, self.path.with_name("too.case"), self.folder / "b" / "c.case"):
            self.path.parent.mkdir(exist_ok=True)
            self.store()
        for names, said in (((), "b: 1 passed, 0 failed\ntopic: 2 passed, 0 failed\n"),
                            (("topic",), "topic: 2 passed, 0 failed\n"),
                            (("topic/too", "b"),
                             "topic: 1 passed, 0 failed\nb: 1 passed, 0 failed\n"),
                            ((str(self.path),), "b: 1 passed, 0 failed\n")):
            run = self.run_runner("", *names)
            self.assertEqual((run.returncode, run.stdout, run.stderr), (0, said, ""))

    def test_runner_shows_case_and_section_of_a_failure(self):
        self.store()
        self.path.with_name("spoilt.case").write_text("A case.\n", encoding="utf-8")
        run = self.run_runner('make("output.ldif", b"dn: cn=b\\n\\n")')
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stdout, f"""\
FAILED {self.path}: A person passes through.

--- expected output.ldif
+++ actual output.ldif
@@ -1,2 +1,2 @@
-dn: cn=a\\n
+dn: cn=b\\n
 \\n

FAILED {self.path.with_name("spoilt.case")}: not a case

ValueError: the last line is not "=== end"

topic: 0 passed, 2 failed
""")

    def test_runner_refuses_to_run_nothing(self):
        for names, message in (((), "no cases"), (("topic",), "no topic or case topic"),
                               (("other/case",), "no topic or case other/case")):
            run = self.run_runner("", *names)
            self.assertEqual((run.returncode, run.stdout), (1, ""))
            self.assertIn(message, run.stderr)


if __name__ == "__main__":
    unittest.main()
