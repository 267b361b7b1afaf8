"""The program that a test script is given, and a fresh folder for each of its tests.

    PROGRAM = take_program()

    class SomeTest(FolderTest):
        ...

    unittest.main()
"""

import pathlib
import sys
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = REPOSITORY / "examples"


def take_program():
    """Takes the first argument, the program to test, off the command line."""
    return pathlib.Path(sys.argv.pop(1)).resolve()


def make_folder(test):
    """A folder that is removed when the test, or the class of tests, is done."""
    folder = tempfile.TemporaryDirectory()
    (test.addClassCleanup if isinstance(test, type) else test.addCleanup)(folder.cleanup)
    return pathlib.Path(folder.name)


class FolderTest(unittest.TestCase):
    def setUp(self):
        self.folder = make_folder(self)
