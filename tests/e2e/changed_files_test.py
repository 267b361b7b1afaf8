#!/usr/bin/env python3
"""Changes the files of a run while it is at work: what it has read or written is not all there is.

    changed_files_test.py PROGRAM

The run is traced into a pipe that is read line by line, so that it never gets far ahead of what
has been read, and the files are changed when a certain line has come. Staging is not traced: what
has to come before it happens while the pipe is full and the run waits to write its first line.
"""

import contextlib
import fcntl
import os
import pathlib
import select
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = os.path.abspath(sys.argv[1])
TIME_LIMIT_SECONDS = 60
PERSON = "dn: cn=p,o=org\nobjectclass: person\ncn: p\n\n"
NUMBER_OF_GROUPS = 6
BEFORE_STAGING = "main():  FUNCTION ENTRY"
PIPE_SIZE = 4096
AFTER_PASS = "main():  Returned from copyAllAccumulatedDataToOutputFile() within loop"


def group(name):
    return (f"dn: secAuthority=Default,cn={name},o=org\nobjectClass: secGroup\ncn: {name}\n\n"
            f"dn: secUUID={name},cn=Groups,secAuthority=Default\nobjectClass: secMap\n"
            f"secDN: cn={name},o=org\n\n")


# Its lines are traced long before the run is at its end.
CREDENTIAL = "dn: secName=r,cn=ResCreds\nobjectclass: secResCreds\n" + "x: y\n" * 400 + "\n"
EXPORT = PERSON + "".join(group(f"g{i}") for i in range(NUMBER_OF_GROUPS)) + CREDENTIAL


class ChangedFilesTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.input, self.output = self.folder / "input.ldif", self.folder / "output.ldif"
        self.work = self.folder / "input.ldif.tmp"
        self.input.write_text(EXPORT)

    def run_and_change(self, line, change, occurrence=1):
        """Runs one pass for each group; calls `change` when the trace holds `line` that often."""
        os.mkfifo(self.folder / "trace")
        # Open for writing as well, so that the reading does not wait and does not end too early.
        reading = os.open(self.folder / "trace", os.O_RDWR)
        fcntl.fcntl(reading, fcntl.F_SETPIPE_SZ, PIPE_SIZE)
        if line == BEFORE_STAGING:
            os.write(reading, bytes(PIPE_SIZE))
        run = subprocess.Popen([PROGRAM, "input.ldif", "output.ldif", "1", "1", "trace"],
                               cwd=self.folder, text=True, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.addCleanup(run.kill)
        os.set_blocking(reading, False)
        read, changed, end = b"", False, time.monotonic() + TIME_LIMIT_SECONDS
        if line == BEFORE_STAGING:
            while not self.has_opened_its_trace(run) and time.monotonic() < end:
                time.sleep(0.001)
            change()
            changed = True
        while run.poll() is None and time.monotonic() < end:
            if select.select([reading], [], [], 0.1)[0]:
                read += os.read(reading, 4096 if changed else 256)
            if not changed and read.count(line.encode()) == occurrence:
                change()
                changed = True
        os.close(reading)
        self.assertTrue(changed)
        stderr = run.communicate(timeout=TIME_LIMIT_SECONDS)[1]
        return run.returncode, stderr

    def has_opened_its_trace(self, run):
        """Whether it has come to the file that it opens after it has looked at the export."""
        for descriptor in pathlib.Path(f"/proc/{run.pid}/fd").iterdir():
            with contextlib.suppress(FileNotFoundError):  # closed meanwhile
                if descriptor.samefile(self.folder / "trace"):
                    return True
        return False

    def assert_fails(self, line, change, message, occurrence=1):
        status, stderr = self.run_and_change(line, change, occurrence)
        self.assertEqual(status, 255, stderr)
        self.assertIn(message, stderr)

    def append(self, path, text):
        with open(path, "a", encoding="ascii") as file:
            file.write(text)

    def test_an_undisturbed_run_gets_through(self):
        self.assertEqual(self.run_and_change(AFTER_PASS, lambda: None), (0, ""))
        self.assertEqual(self.output.read_text().count("\ndn: cn=g"), NUMBER_OF_GROUPS)

    def test_an_export_that_is_still_being_written(self):
        for line in (BEFORE_STAGING, AFTER_PASS):
            with self.subTest(line=line):
                self.setUp()
                self.assert_fails(line, lambda: self.append(self.input, PERSON),
                                  '380928305 ERROR: cannot read the export "input.ldif": another '
                                  "program has changed or replaced it since the run began.")

    def test_an_export_that_is_replaced(self):
        def replace():
            (self.folder / "new").write_text(PERSON)
            (self.folder / "new").rename(self.input)

        self.assert_fails(BEFORE_STAGING, replace, "380928305 ERROR: ")

    def test_an_export_that_is_cut_off(self):
        self.assert_fails(BEFORE_STAGING, lambda: os.truncate(self.input, len(PERSON)),
                          "380928305 ERROR: ")

    def test_a_work_file_that_is_cut_off(self):
        # Behind the last pass, the run has to trace a long entry twice before it blanks it.
        for passes in (1, NUMBER_OF_GROUPS):
            with self.subTest(passes=passes):
                self.setUp()
                self.assert_fails(AFTER_PASS, lambda: os.truncate(self.work, 0),
                                  '380928307 ERROR: cannot read the work file "input.ldif.tmp": '
                                  "another program has changed its size or replaced it.", passes)

    def test_a_work_file_that_grows(self):
        self.assert_fails(AFTER_PASS, lambda: self.append(self.work, group("more")),
                          "380928307 ERROR: ")

    def test_a_work_file_that_is_replaced(self):
        def replace():
            copy = self.folder / "copy"
            copy.write_bytes(self.work.read_bytes())
            copy.rename(self.work)

        self.assert_fails(AFTER_PASS, replace, "380928307 ERROR: ")

    def test_an_output_that_is_removed_or_replaced(self):
        def replace():
            (self.folder / "other").write_text("")
            (self.folder / "other").rename(self.output)

        for change in (lambda: self.output.unlink(), replace):
            self.setUp()
            self.assert_fails(AFTER_PASS, change,
                              '380928306 ERROR: cannot write "output.ldif": another program has '
                              "removed or replaced it.")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
