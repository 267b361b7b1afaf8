#!/usr/bin/env python3
"""Runs that cannot open one of their files change none of those that exist.

    kept_files_test.py PROGRAM

Each run finds an output and a trace of an earlier run. It is compared with a run that does not:
what it prints and its status are the same. The files that the latter makes are listed with the
test. Where root runs this, permissions are tried as another user.
"""

import fcntl
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROGRAM = os.path.abspath(sys.argv[1])
EXPORT = "dn: cn=a,o=org\nobjectclass: person\ncn: a\n\n"
INPUT, OUTPUT, WORK, TRACE = "input.ldif", "output.ldif", "input.ldif.tmp", "trace.txt"
NOBODY = 65534
STAGING_BEGINS = ["380928308", "380928309"]


class KeptFilesTest(unittest.TestCase):
    def run_in(self, prepare, old, arguments):
        """Runs the program in a new folder. Returns all that can be seen of it."""
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / INPUT).write_text(EXPORT)
            for path in old:
                (folder / path).write_text("of an earlier run")
            prepare(folder)
            if os.geteuid() == 0:
                for path in (folder, *folder.iterdir()):
                    os.chown(path, NOBODY, NOBODY, follow_symlinks=False)
            before = self.look_at(folder)
            run = subprocess.run(
                [PROGRAM, *arguments], cwd=folder, check=False, stdin=subprocess.DEVNULL,
                capture_output=True, text=True, timeout=60,
                user=NOBODY if os.geteuid() == 0 else None)
            after = self.look_at(folder)
        for path, state in before.items():
            self.assertEqual(after.get(path), state, path)
        said = [line.split(" ")[0] for line in run.stdout.splitlines()]
        return run.returncode, said, run.stderr, sorted(set(after) - set(before))

    def look_at(self, folder):
        """What is in the folder, with the contents and the time of each regular file."""
        return {path.name: (path.read_bytes(), path.stat().st_mtime_ns, path.stat().st_mode)
                if path.is_file() and not path.is_symlink() else path.lstat().st_mode
                for path in folder.iterdir()}

    def assert_keeps(self, prepare, message, made, *, notices=(), names=(INPUT, OUTPUT),
                     trace=True):
        """That the run ends with the message, and makes files where none have been."""
        arguments = [*names, "1", "1", *([TRACE] if trace else [])]
        first = self.run_in(prepare, [], arguments)
        self.assertEqual((first[0], first[1], first[3]), (255, list(notices), sorted(made)))
        self.assertEqual(first[2], message + "\n")
        old = [name for name in (OUTPUT, TRACE) if name in made]
        self.assertEqual(self.run_in(prepare, old, arguments),
                         (*first[:3], sorted(set(made) - set(old))))

    def lock(self, path):
        if not path.exists():
            path.write_text("")
        file = path.open("r+")
        self.addCleanup(file.close)
        fcntl.flock(file, fcntl.LOCK_EX)

    def cannot_open(self, name, reason):
        return f'380928304 ERROR: cannot open "{name}": {reason}'

    def test_an_export_that_is_not_there(self):
        self.assert_keeps(lambda folder: (folder / INPUT).unlink(),
                          self.cannot_open(INPUT, "No such file or directory"), [OUTPUT, TRACE],
                          notices=STAGING_BEGINS)

    def test_input_and_output_swapped(self):
        # The export is named as the output, and the output as the export.
        def name_them(folder):
            (folder / INPUT).rename(folder / "export.ldif")

        arguments = ["migrated.ldif", "export.ldif", "2", "1"]
        self.assertEqual(self.run_in(name_them, [], arguments),
                         (255, STAGING_BEGINS,
                          self.cannot_open("migrated.ldif", "No such file or directory") + "\n", []))

    def test_an_export_that_cannot_be_read_or_written(self):
        for mode in (0o000, 0o400):
            with self.subTest(mode=oct(mode)):
                self.assert_keeps(lambda folder, mode=mode: (folder / INPUT).chmod(mode),
                                  self.cannot_open(INPUT, "Permission denied"), [OUTPUT, TRACE],
                                  notices=STAGING_BEGINS)

    def test_an_export_that_is_a_folder(self):
        def make_folder(folder):
            (folder / INPUT).unlink()
            (folder / INPUT).mkdir()

        self.assert_keeps(make_folder, self.cannot_open(INPUT, "Is a directory"), [OUTPUT, TRACE],
                          notices=STAGING_BEGINS)

    def test_an_export_that_is_a_pipe(self):
        def make_pipe(folder):
            (folder / INPUT).unlink()
            os.mkfifo(folder / INPUT)

        self.assert_keeps(
            make_pipe,
            "380928301 ERROR: cannot position in the input or the work file: fgetpos() returned -1: "
            "Illegal seek. Both must be regular files; if a work file was left behind, remove it "
            "before the next run", [OUTPUT, TRACE, WORK], notices=STAGING_BEGINS)

    def test_an_export_that_is_a_device_is_not_read(self):
        for device in ("/dev/zero", "/dev/null"):
            def link(folder, device=device):
                (folder / INPUT).unlink()
                (folder / INPUT).symlink_to(device)

            with self.subTest(device=device):
                self.assert_keeps(link, self.cannot_open(INPUT, "it is not a regular file"), [])

    def test_an_export_that_is_locked(self):
        self.assert_keeps(
            lambda folder: self.lock(folder / INPUT),
            self.cannot_open(INPUT, "another migration is using it, or another program has locked "
                                    "it. Wait until that has ended"), [])

    def test_a_work_file_that_cannot_be_had(self):
        def make_pipe(path):
            os.mkfifo(path)

        def hard_link(path):
            path.write_text(EXPORT)
            (path.parent / "other").hardlink_to(path)

        def open_to_others(path):
            path.write_text(EXPORT)
            path.chmod(0o666)

        for prepare, reason in (
                (lambda path: path.mkdir(), "Is a directory"),
                (make_pipe, "it is not a regular file"),
                (self.lock, "another migration is using it, or another program has locked it. Wait "
                            "until that has ended"),
                (hard_link, "it has another name, a hard link. Remove it"),
                (open_to_others, "others than its owner may write to it. Remove it")):
            with self.subTest(reason=reason):
                self.assert_keeps(lambda folder, prepare=prepare: prepare(folder / WORK),
                                  self.cannot_open(WORK, reason), [OUTPUT, TRACE],
                                  notices=STAGING_BEGINS)

    def test_a_work_file_that_cannot_be_made(self):
        def close_folder(folder):
            (folder / "in").mkdir()
            (folder / INPUT).rename(folder / "in" / INPUT)
            if os.geteuid() == 0:
                os.chown(folder / "in" / INPUT, NOBODY, NOBODY)
            (folder / "in").chmod(0o555)

        self.assert_keeps(close_folder, self.cannot_open(f"in/{WORK}", "Permission denied"),
                          [OUTPUT, TRACE], notices=STAGING_BEGINS, names=(f"in/{INPUT}", OUTPUT))

    def test_a_work_file_of_another_user(self):
        if os.geteuid() != 0:
            self.skipTest("only root can make a file of another user")
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            for path in (INPUT, OUTPUT, WORK):
                (folder / path).write_text(EXPORT)
            os.chown(folder / WORK, NOBODY, NOBODY)
            run = subprocess.run([PROGRAM, INPUT, OUTPUT, "1", "1"], cwd=folder, check=False,
                                 capture_output=True, text=True)
            self.assertEqual((run.returncode, run.stderr),
                             (255, self.cannot_open(
                                 WORK, "it belongs to another user. Remove it") + "\n"))
            self.assertEqual((folder / OUTPUT).read_text(), EXPORT)

    def test_an_output_that_cannot_be_opened(self):
        self.assert_keeps(lambda folder: (folder / OUTPUT).mkdir(),
                          self.cannot_open(OUTPUT, "Is a directory"), [TRACE])

    def test_a_trace_that_cannot_be_opened(self):
        self.assert_keeps(lambda folder: (folder / TRACE).mkdir(),
                          self.cannot_open(TRACE, "Is a directory"), [])

    def test_a_run_that_opens_all_replaces_output_and_trace(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / INPUT).write_text(EXPORT)
            traces = []
            for _ in range(2):
                subprocess.run([PROGRAM, INPUT, OUTPUT, "1", "1", TRACE], cwd=folder, check=True,
                               stdout=subprocess.DEVNULL)
                self.assertEqual((folder / OUTPUT).read_text(), EXPORT)
                traces.append((folder / TRACE).read_text())
                for path in (OUTPUT, TRACE):
                    (folder / path).write_text("of an earlier run\n" * 1000)
            self.assertEqual(traces[0], traces[1])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
