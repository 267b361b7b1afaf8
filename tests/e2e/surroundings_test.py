#!/usr/bin/env python3
"""Runs the program where the system around it is not as it should be.

    surroundings_test.py PROGRAM [--with-little-memory]

The test with little memory is for builds without a sanitizer: those reserve terabytes.
"""

import os
import pathlib
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

WITH_LITTLE_MEMORY = "--with-little-memory" in sys.argv
PROGRAM = os.path.abspath(sys.argv[1])
ENTRY = "dn: cn=a,o=org\nobjectclass: person\ncn: a\n\n"


class SurroundingsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_program(self, export, **options):
        (self.folder / "input.ldif").write_text(export)
        return subprocess.run([PROGRAM, "input.ldif", "output.ldif", "1", "1"], cwd=self.folder,
                              stdin=subprocess.DEVNULL, check=False, **options)

    def test_closed_standard_streams_are_not_taken_for_the_output(self):
        def close_all():
            for descriptor in range(3):
                os.close(descriptor)

        result = self.run_program(ENTRY, preexec_fn=close_all)
        self.assertEqual(result.returncode, 0)
        self.assertEqual((self.folder / "output.ldif").read_text(), ENTRY)

    def test_a_reader_of_notices_that_goes_away_does_not_end_the_run(self):
        reading, writing = os.pipe()
        os.close(reading)
        result = self.run_program(ENTRY, stdout=writing, preexec_fn=lambda: signal.signal(
            signal.SIGPIPE, signal.SIG_DFL))
        os.close(writing)
        self.assertEqual(result.returncode, 0)
        self.assertEqual((self.folder / "output.ldif").read_text(), ENTRY)

    def test_messages_are_not_written_into_the_files_of_the_run(self):
        for name in ("input.ldif", "output.ldif", "input.ldif.tmp"):
            for stream, words in (("stdout", "standard output"), ("stderr", "standard error")):
                with self.subTest(name=name, stream=stream):
                    path = self.folder / name
                    path.write_text(ENTRY)
                    with open(path, "a", encoding="ascii") as file:
                        others = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
                        result = self.run_program(ENTRY, text=True, **{**others, stream: file})
                    self.assertEqual(result.returncode, 255)
                    said = (result.stdout or "") + (result.stderr or "") + path.read_text()
                    self.assertIn(f'380928304 ERROR: cannot open "{name}": as the ', said)
                    self.assertIn(f"it is the same file as {words}", said)
                    if stream == "stdout":
                        self.assertEqual(path.read_text(), ENTRY)
                    path.unlink()

    def test_an_output_into_the_pipe_of_the_notices_is_refused(self):
        (self.folder / "input.ldif").write_text(ENTRY)
        result = subprocess.run([PROGRAM, "input.ldif", "/dev/stdout", "1", "1"], cwd=self.folder,
                                stdin=subprocess.DEVNULL, capture_output=True, check=False)
        self.assertEqual((result.returncode, result.stdout), (255, b""))
        self.assertTrue(result.stderr.startswith(b'380928304 ERROR: cannot open "/dev/stdout": '))

    def test_an_output_that_is_a_pipe_is_refused(self):
        os.mkfifo(self.folder / "output.ldif")
        result = self.run_program(ENTRY, capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (255, ""))
        self.assertEqual(result.stderr, '380928304 ERROR: cannot open "output.ldif": it is a pipe; '
                                        "the output must be a file\n")

    def test_a_file_size_limit_is_a_failed_write(self):
        def limit_files():
            signal.signal(signal.SIGXFSZ, signal.SIG_DFL)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))

        result = self.run_program(ENTRY * 5, preexec_fn=limit_files, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE, text=True)
        self.assertEqual(result.returncode, 255)
        self.assertTrue(result.stderr.startswith(
            '380928306 ERROR: cannot write "output.ldif": File too large.'), result.stderr)

    @unittest.skipUnless(WITH_LITTLE_MEMORY, "the build has a sanitizer")
    def test_missing_memory_is_reported(self):
        def limit_memory():
            resource.setrlimit(resource.RLIMIT_AS, (24 << 20, 24 << 20))

        export = "dn: cn=a,o=org\n" + ("a: " + "x" * 4_000 + "\n") * 6_000
        result = self.run_program(export, preexec_fn=limit_memory, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.PIPE, text=True)
        self.assertEqual(result.returncode, 255)
        self.assertTrue(result.stderr.startswith("380928300 ERROR: not enough memory."),
                        result.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
