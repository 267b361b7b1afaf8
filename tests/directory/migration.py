"""What the tests beside this file have in common: their arguments and the exports they migrate."""

import argparse
import pathlib
import signal
import subprocess
import sys
import unittest

from lib.programs import make_export
from lib.testcase import EXAMPLES, FolderTest

FOLDER = pathlib.Path(__file__).resolve().parent
SETTINGS = argparse.Namespace()


def run_tests(description):
    """Reads the command line and runs the tests that it names, or all."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("program", type=lambda name: str(pathlib.Path(name).resolve()))
    parser.add_argument("--users", type=int, default=2000)
    parser.add_argument("tests", nargs="*")
    parser.parse_intermixed_args(namespace=SETTINGS)
    # An exit, unlike the signal itself, stops what was started and removes the folders.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    unittest.main(argv=[sys.argv[0], *SETTINGS.tests])


class MigrationTest(FolderTest):
    """A test with a fresh folder, an export in it and what the program makes of it."""

    def setUp(self):
        super().setUp()
        self.export = self.folder / "export.ldif"
        self.output = self.folder / "output.ldif"

    def run_command(self, *command):
        subprocess.run([str(word) for word in command], cwd=self.folder, check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)

    def migrate(self, export, slots=10):
        self.export.write_bytes(export)
        self.run_command(SETTINGS.program, self.export, self.output, slots, slots)

    def migrate_example(self):
        self.migrate((EXAMPLES / "export.ldif").read_bytes())

    def migrate_generated(self, *options, passes=1):
        made = self.folder / "made.ldif"
        make_export(SETTINGS.program, made, "--users", SETTINGS.users, *options)
        self.migrate(made.read_bytes(), slots=-(-SETTINGS.users // passes))
