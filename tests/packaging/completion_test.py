#!/usr/bin/env python3
"""Presses the Tab key in bash, with completion for both programs.

    completion_test.py

The programs themselves are replaced by functions that print their arguments.
"""

import os
import pty
import select
import subprocess
import sys
import time
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib.testcase import REPOSITORY, FolderTest  # noqa: E402

COMPLETIONS = REPOSITORY / "completions"
TIME_LIMIT_SECONDS = 20
SETUP = f"""
PS1=
bind 'set enable-bracketed-paste off'
bind 'set bell-style none'
show() {{ printf '<%s>' "$@"; echo '!'; }}
for program in ldif-migrate ldif-migrate-check; do
    . '{COMPLETIONS}'/$program
done
ldif-migrate() {{ show "$@"; }}
ldif-migrate-check() {{ show "$@"; }}
"""
OPTIONS = ["--users", "--groups", "--limit", "--json", "--help", "--version"]


class CompletionTest(FolderTest):
    def setUp(self):
        super().setUp()
        (self.folder / "export of today.ldif").touch()
        (self.folder / "migrated.ldif").touch()
        (self.folder / "folder").mkdir()
        (self.folder / "folder" / "inner.ldif").touch()
        (self.folder / "setup").write_text(SETUP)

        self.terminal, terminal = pty.openpty()
        self.addCleanup(os.close, self.terminal)
        environment = dict(os.environ, TERM="dumb", INPUTRC="/dev/null", HISTFILE="")
        self.shell = subprocess.Popen(["bash", "--norc", "--noprofile", "-i"], cwd=self.folder,
                                      env=environment, stdin=terminal, stdout=terminal,
                                      stderr=terminal, start_new_session=True)
        os.close(terminal)
        self.addCleanup(self.shell.wait)
        self.addCleanup(self.shell.kill)
        self.output = b""
        self.type(". ./setup; echo 'set ''up'\n")
        self.read_until(b"set up\r\n")

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def read_until(self, end):
        deadline = time.monotonic() + TIME_LIMIT_SECONDS
        while end not in self.output:
            ready, _, _ = select.select([self.terminal], [], [], deadline - time.monotonic())
            self.assertTrue(ready, self.output)
            self.output += os.read(self.terminal, 4096)
        text, self.output = self.output.split(end, 1)
        return text.decode()

    def arguments(self, line):
        """What a command is given when the line is typed and Return is pressed."""
        self.type(line + "\n")
        shown = self.read_until(b"!\r\n").rsplit("\n", 1)[-1]
        return shown.removeprefix("<").removesuffix(">").split("><")

    def replies(self, *words):
        """The words that completion offers for the last one."""
        quoted = " ".join(f"'{word}'" for word in words)
        self.type(f"COMP_WORDS=({quoted}) COMP_CWORD={len(words) - 1}; _ldif_migrate_check;"
                  " show \"${COMPREPLY[@]}\"\n")
        shown = self.read_until(b"!\r\n").rsplit("\n", 1)[-1]
        return shown.removeprefix("<").removesuffix(">").split("><")

    def test_files_of_the_migration_are_completed(self):
        self.assertEqual(self.arguments("ldif-migrate exp\t mig\t 5 5 fol\tin\t"),
                         ["export of today.ldif", "migrated.ldif", "5", "5", "folder/inner.ldif"])

    def test_counts_of_the_migration_are_left_alone(self):
        self.assertEqual(self.arguments("ldif-migrate a b mig\t mig\t"), ["a", "b", "mig", "mig"])

    def test_nothing_follows_the_trace(self):
        self.assertEqual(self.arguments("ldif-migrate a b 1 1 t mig\t"),
                         ["a", "b", "1", "1", "t", "mig"])

    def test_options_of_the_check_are_offered(self):
        self.assertEqual(self.replies("ldif-migrate-check", "-"), OPTIONS)
        self.assertEqual(self.replies("ldif-migrate-check", "export.ldif", "--l"), ["--limit"])

    def test_options_and_files_of_the_check_are_completed(self):
        self.assertEqual(self.arguments("ldif-migrate-check --js\t --us\t 7 exp\t mig\t"),
                         ["--json", "--users", "7", "export of today.ldif", "migrated.ldif"])

    def test_numbers_of_the_check_are_left_alone(self):
        for option in ("--users", "--groups", "--limit"):
            self.assertEqual(self.arguments(f"ldif-migrate-check {option} mig\t"), [option, "mig"])

    def test_the_check_takes_two_files(self):
        self.assertEqual(self.arguments("ldif-migrate-check a --limit 3 b mig\t"),
                         ["a", "--limit", "3", "b", "mig"])


if __name__ == "__main__":
    unittest.main()
