#!/usr/bin/env python3
"""Starts a second run while a first one is at work.

    two_runs_test.py PROGRAM

The first run is held in the middle of its work by an output that nobody reads.
"""

import fcntl
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = os.path.abspath(sys.argv[1])
TIME_LIMIT_SECONDS = 60
ENTRY = "dn: cn=a,o=org\nobjectclass: person\ncn: a\n\n"
# More than the run's own buffer and a pipe hold together.
LARGE_EXPORT = ENTRY * 20_000


class TwoRunsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.path("input.ldif").write_text(LARGE_EXPORT)
        self.path("old.ldif").write_text("an output of another day")
        os.mkfifo(self.path("pipe"))

    def path(self, name):
        return self.folder / name

    def start(self, *arguments):
        run = subprocess.Popen([PROGRAM, *arguments], cwd=self.folder, text=True,
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE)
        self.addCleanup(run.kill)
        return run

    def run_to_end(self, *arguments):
        run = self.start(*arguments)
        stdout, stderr = run.communicate(timeout=TIME_LIMIT_SECONDS)
        return run.returncode, stdout, stderr

    def start_held_run(self):
        """Starts a run and returns it with the reading end of its output once it is at work."""
        reading = os.open(self.path("pipe"), os.O_RDONLY | os.O_NONBLOCK)
        run = self.start("input.ldif", "pipe", "1", "1")
        # The notice comes after the locks are taken and the output is open.
        self.assertTrue(run.stdout.readline().startswith("380928308 NOTICE: "))
        os.set_blocking(reading, True)
        return run, open(reading, "rb")

    def assert_refused(self, result, name):
        status, stdout, stderr = result
        self.assertEqual(status, 255)
        self.assertEqual(stdout, "")
        self.assertEqual(stderr, f'380928304 ERROR: cannot open "{name}": another migration is '
                                 "using it. Wait until it has ended\n")

    def test_a_second_run_on_one_export_touches_nothing(self):
        first, output = self.start_held_run()
        self.assert_refused(self.run_to_end("input.ldif", "old.ldif", "1", "1", "trace.txt"),
                            "input.ldif")
        self.assertEqual(self.path("old.ldif").read_text(), "an output of another day")
        self.assertFalse(self.path("trace.txt").exists())

        with output:
            self.assertEqual(output.read().decode(), LARGE_EXPORT)
        self.assertEqual(first.communicate(timeout=TIME_LIMIT_SECONDS)[1], "")
        self.assertEqual(first.returncode, 0)
        self.assertEqual(self.path("input.ldif").read_text(), LARGE_EXPORT)

    def test_another_name_of_the_export_is_the_same_export(self):
        os.link(self.path("input.ldif"), self.path("hard.ldif"))
        os.symlink("input.ldif", self.path("soft.ldif"))
        first, output = self.start_held_run()
        for name in ("hard.ldif", "soft.ldif"):
            self.assert_refused(self.run_to_end(name, "old.ldif", "1", "1"), name)
        first.kill()
        first.communicate()
        output.close()

    def test_a_killed_run_holds_nothing(self):
        first, output = self.start_held_run()
        first.kill()
        first.communicate()
        output.close()
        self.path("input.ldif.tmp").unlink(missing_ok=True)
        self.assertEqual(self.run_to_end("input.ldif", "old.ldif", "1", "1")[0], 0)
        self.assertEqual(self.path("old.ldif").read_text(), LARGE_EXPORT)

    def test_an_output_that_another_run_writes_is_not_emptied(self):
        # A lock stands for the other run: one that is held by its output has no other output.
        self.path("other.ldif").write_text(ENTRY)
        with open(self.path("old.ldif"), "rb") as writer:
            fcntl.flock(writer, fcntl.LOCK_EX)
            status, _, stderr = self.run_to_end("other.ldif", "old.ldif", "1", "1")
        self.assertEqual(status, 255)
        self.assertIn('380928304 ERROR: cannot open "old.ldif": another migration is using it.',
                      stderr)
        self.assertEqual(self.path("old.ldif").read_text(), "an output of another day")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
