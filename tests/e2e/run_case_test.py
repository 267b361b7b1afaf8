#!/usr/bin/env python3
"""Shows that run_case.py passes a case that fits and fails on every kind of difference.

The program under test is a small script that each test words itself.
"""

import sys
import tempfile
import unittest
from pathlib import Path

import run_case

# Behaves like a successful run that gathers once and passes "dn: cn=a" through.
GOOD = """
import os, sys, time
def make(name, content, mode=0o600):
    with os.fdopen(os.open(name, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, mode), "wb") as made:
        made.write(content)
sys.stdout.buffer.write(NOTICES)
make("output.ldif", b"dn: cn=a\\n\\n")
"""


class RunCaseTest(unittest.TestCase):
    def setUp(self):
        self.temporary = tempfile.TemporaryDirectory()
        self.addCleanup(self.temporary.cleanup)
        self.case = Path(self.temporary.name) / "case"
        self.case.mkdir()
        self.store("arguments", "input.ldif output.ldif 1 1")
        self.store("input.ldif", "dn: cn=a\n")
        self.store("output.ldif", "dn: cn=a\n\n")

    def store(self, name, text):
        path = self.case / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def complaints(self, script=""):
        program = Path(self.temporary.name) / "program"
        notices = f"NOTICES = {run_case.undisturbed_notices('1')!r}\n"
        program.write_text(f"#!{sys.executable}\n" + notices + GOOD + script, encoding="utf-8")
        program.chmod(0o700)
        return list(run_case.complaints(str(program), self.case))

    def assertFails(self, script, *words):
        found = self.complaints(script)
        self.assertEqual(len(found), 1, found)
        for word in words:
            self.assertIn(word, found[0])

    def test_fitting_run_passes(self):
        self.assertEqual(self.complaints(), [])

    def test_wrong_output_fails(self):
        self.assertFails('make("output.ldif", b"dn: cn=a\\r\\n\\n")',
                         "-dn: cn=a\\n", "+dn: cn=a\\r\\n")

    def test_missing_output_fails(self):
        self.assertFails('os.remove("output.ldif")', "output.ldif: missing")

    def test_unexpected_output_fails(self):
        (self.case / "output.ldif").unlink()
        self.assertFails("", "output.ldif: must not be there")

    def test_wrong_status_fails(self):
        self.assertFails("sys.exit(255)", "exit status 255 instead of 0")

    def test_wrong_notice_fails(self):
        self.assertFails('print("one more")', "expected stdout", "+one more")

    def test_wrong_number_of_passes_fails(self):
        self.store("passes", "1+1")
        self.assertFails("", "expected stdout", "-380928312 NOTICE")

    def test_unexpected_message_fails(self):
        self.assertFails('print("runtime error: x", file=sys.stderr)', "+runtime error: x")

    def test_missing_message_fails(self):
        self.store("stderr", "380928304 ERROR: {any}\n")
        self.assertFails("", "-380928304 ERROR")

    def test_placeholder_stands_for_text_within_one_line(self):
        self.store("stderr", "1 ERROR: {any}. End\n")
        self.assertEqual(self.complaints('print("1 ERROR: a b. End", file=sys.stderr)'), [])
        self.assertFails('print("1 ERROR: a\\nb. End", file=sys.stderr)', "+1 ERROR: a")
        self.assertFails('print("2 ERROR: a b. End", file=sys.stderr)', "+2 ERROR: a b. End")

    def test_wrong_work_file_fails(self):
        self.store("work", "   \r\n")
        self.assertEqual(self.complaints('make("input.ldif.tmp", b"   \\r\\n")'), [])
        self.assertFails('make("input.ldif.tmp", b"    \\r\\n")', "expected input.ldif.tmp")
        self.assertFails("", "input.ldif.tmp: missing")

    def test_remaining_work_file_fails(self):
        self.assertFails('make("input.ldif.tmp", b"")', "input.ldif.tmp: must not be there")

    def test_left_over_work_file_must_be_removed(self):
        self.store("input.ldif.tmp", "dn: cn=b\n")
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
        self.store("arguments", "input.ldif output.ldif 1 1 trace.txt")
        self.assertFails("", "trace.txt: missing")
        self.assertEqual(self.complaints('make("trace.txt", b"any")'), [])
        self.store("trace", "this\n")
        self.assertFails('make("trace.txt", b"that\\n")', "-this", "+that")

    def test_snapshot(self):
        script = 'make("TEMPORARY_INPUT_LDIF_FILE", b"x\\n")\n'
        self.assertFails(script, "TEMPORARY_INPUT_LDIF_FILE: must not be there")
        self.store("arguments", "input.ldif output.ldif 1 1 trace.txt")
        script += 'make("trace.txt", b"")'
        self.assertEqual(self.complaints(script), [])
        self.store("snapshot", "y\n")
        self.assertFails(script, "-y", "+x")

    def test_made_files(self):
        self.store("made/other", "x\n")
        self.assertFails("", "other: missing")
        self.assertEqual(self.complaints('make("other", b"x\\n")'), [])

    def test_environment_replaces_a_debug_error_of_the_caller(self):
        script = 'print(os.environ.get("DEBUG_ERROR", "absent"))'
        self.store("stdout", run_case.undisturbed_notices("1").decode() + "absent\n")
        self.assertEqual(self.complaints(script), [])
        self.store("environment", "DEBUG_ERROR=")
        self.assertFails(script, "-absent")

    def test_setup_makes_links_fifos_and_folders(self):
        self.store("setup", "symlink input.ldif symbolic\nhardlink input.ldif hard\n"
                            "fifo pipe\nfolder sub/folder\n")
        self.assertEqual(self.complaints(
            'import stat\n'
            'assert os.readlink("symbolic") == "input.ldif"\n'
            'assert os.path.samefile("hard", "input.ldif") and os.stat("hard").st_nlink == 2\n'
            'assert stat.S_ISFIFO(os.stat("pipe").st_mode) and os.path.isdir("sub/folder")'), [])

    def test_local_time_is_on_the_twelve_hour_clock(self):
        self.store("output.ldif", "at {local-time}.0Z\n")
        script = ('make("output.ldif", time.strftime("at %Y%m%d{}%M%S.0Z\\n", '
                  'time.localtime(time.time() - {})).encode())')
        for zone in ("AHEAD-11:30", "BEHIND+0:30"):
            self.store("environment", "TZ=" + zone)
            self.assertEqual(self.complaints(script.format("%I", 0)), [])
            self.assertFails(script.format("%I", 60), "-at {local-time}")
        found = []
        for zone in ("AHEAD-11:30", "BEHIND+0:30"):
            self.store("environment", "TZ=" + zone)
            found += self.complaints(script.format("%H", 0))
        self.assertEqual(len(found), 1, "one of two zones twelve hours apart is after noon")

    def test_misspelled_name_in_a_case_fails(self):
        self.store("outptu.ldif", "")
        with self.assertRaises(ValueError):
            self.complaints()

    def test_escapes(self):
        self.assertEqual(run_case.unescape(rb"a\r\n" b"\n" rb"\t\0\\n\x41\{b\n*2}"),
                         b"a\r\n\t\0\\nAb\nb\n")
        with self.assertRaises(ValueError):
            run_case.unescape(rb"\q")


if __name__ == "__main__":
    unittest.main()
