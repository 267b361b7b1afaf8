#!/usr/bin/env python3
"""Starts a second run while a first one is at work.

    two_runs_test.py PROGRAM

The first run is held at its first notice by a pipe that is full.
"""

import contextlib
import fcntl
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAM = os.path.abspath(sys.argv[1])
TIME_LIMIT_SECONDS = 60
ENTRY = "dn: cn=a,o=org\nobjectclass: person\ncn: a\n\n"
EXPORT = ENTRY * 3


class TwoRunsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.path("input.ldif").write_text(EXPORT)
        self.path("old.ldif").write_text("an output of another day")

    def path(self, name):
        return self.folder / name

    def start(self, *arguments, stdout=subprocess.PIPE):
        run = subprocess.Popen([PROGRAM, *arguments], cwd=self.folder, text=True,
                               stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE)
        self.addCleanup(run.kill)
        return run

    def run_to_end(self, *arguments):
        run = self.start(*arguments)
        stdout, stderr = run.communicate(timeout=TIME_LIMIT_SECONDS)
        return run.returncode, stdout, stderr

    def sleeps(self, run):
        status = pathlib.Path(f"/proc/{run.pid}/stat").read_text()
        return status.rpartition(")")[2].split()[0] == "S"

    def start_held_run(self):
        """Starts a run; once it holds its locks, returns it and a procedure that lets it go on."""
        reading, writing = os.pipe()
        os.set_blocking(writing, False)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(writing, b"x")
        os.set_blocking(writing, True)
        run = self.start("input.ldif", "output.ldif", "1", "1", stdout=writing)
        os.close(writing)
        # The output is opened last before the first notice, and nothing else makes the run wait.
        while not (self.path("output.ldif").exists() and self.sleeps(run)):
            self.assertIsNone(run.poll())
            time.sleep(0.01)

        def let_go():
            with open(reading, "rb") as notices:
                notices.read()

        return run, let_go

    def assert_refused(self, result, name):
        status, stdout, stderr = result
        self.assertEqual(status, 255)
        self.assertEqual(stdout, "")
        self.assertEqual(stderr, f'380928304 ERROR: cannot open "{name}": another migration is '
                                 "using it, or another program has locked it. Wait until that has "
                                 "ended\n")

    def test_a_second_run_on_one_export_touches_nothing(self):
        first, let_go = self.start_held_run()
        self.assert_refused(self.run_to_end("input.ldif", "old.ldif", "1", "1", "trace.txt"),
                            "input.ldif")
        self.assertEqual(self.path("old.ldif").read_text(), "an output of another day")
        self.assertFalse(self.path("trace.txt").exists())

        let_go()
        self.assertEqual(first.communicate(timeout=TIME_LIMIT_SECONDS)[1], "")
        self.assertEqual(first.returncode, 0)
        self.assertEqual(self.path("output.ldif").read_text(), EXPORT)
        self.assertEqual(self.path("input.ldif").read_text(), EXPORT)

    def test_another_name_of_the_export_is_the_same_export(self):
        os.link(self.path("input.ldif"), self.path("hard.ldif"))
        os.symlink("input.ldif", self.path("soft.ldif"))
        first, let_go = self.start_held_run()
        for name in ("hard.ldif", "soft.ldif"):
            self.assert_refused(self.run_to_end(name, "old.ldif", "1", "1"), name)
        first.kill()
        first.communicate()
        let_go()

    def test_a_killed_run_holds_nothing(self):
        first, let_go = self.start_held_run()
        first.kill()
        first.communicate()
        let_go()
        self.path("input.ldif.tmp").unlink(missing_ok=True)
        self.assertEqual(self.run_to_end("input.ldif", "old.ldif", "1", "1")[0], 0)
        self.assertEqual(self.path("old.ldif").read_text(), EXPORT)

    def test_no_part_of_a_run_is_anything_that_another_run_works_on(self):
        first, let_go = self.start_held_run()
        self.path("other.ldif").write_text(ENTRY)
        for output, trace in (("output.ldif", "t"), ("input.ldif", "t"), ("old.ldif", "output.ldif"),
                              ("old.ldif", "input.ldif")):
            with self.subTest(output=output, trace=trace):
                status, _, stderr = self.run_to_end("other.ldif", output, "1", "1", trace)
                self.assertEqual(status, 255)
                self.assertIn(": another migration is using it,", stderr)
        let_go()
        first.communicate(timeout=TIME_LIMIT_SECONDS)
        self.assertEqual(first.returncode, 0)
        self.assertEqual(self.path("output.ldif").read_text(), EXPORT)
        self.assertEqual(self.path("input.ldif").read_text(), EXPORT)

    def test_the_work_file_of_another_run_is_not_shared(self):
        self.path("other.ldif").write_text(ENTRY)
        self.path("other.ldif.tmp").write_text("")
        with open(self.path("other.ldif.tmp"), "rb") as writer:
            fcntl.flock(writer, fcntl.LOCK_EX)
            for arguments, name in ((("other.ldif", "out", "1", "1"), "other.ldif.tmp"),
                                    (("other.ldif.tmp", "out", "1", "1"), "other.ldif.tmp"),
                                    (("input.ldif", "other.ldif.tmp", "1", "1"), "other.ldif.tmp")):
                status, _, stderr = self.run_to_end(*arguments)
                self.assertEqual(status, 255)
                self.assertIn(f'380928304 ERROR: cannot open "{name}": another migration', stderr)
        self.assertEqual(self.path("other.ldif.tmp").read_text(), "")

    def test_the_snapshot_replaces_nothing_that_another_run_writes(self):
        snapshot = self.path("TEMPORARY_INPUT_LDIF_FILE")
        snapshot.write_text("an output in the making")
        with open(snapshot, "rb") as writer:
            fcntl.flock(writer, fcntl.LOCK_EX)
            self.assertEqual(self.run_to_end("input.ldif", "out", "1", "1", "trace.txt")[0], 0)
        self.assertEqual(snapshot.read_text(), "an output in the making")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
