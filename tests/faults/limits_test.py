#!/usr/bin/env python3
"""Runs the program against limits of the system: full disks, missing permissions, long names.

    limits_test.py PROGRAM

Nothing here is pretended: devices, limits and file systems are those of the system. What this user
may not set up (mounting, making devices) is named on standard output and left out. Outputs on
/dev/full and an input that can be opened but not read are end-to-end cases; an input that turns
unreadable midway is tried by fault_loop.py.
"""

import errno
import os
import resource
import shutil
import stat
import subprocess
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
import endings  # noqa: E402
import exports  # noqa: E402
from exports import INPUT, OUTPUT, SNAPSHOT, TRACE, WORK  # noqa: E402
from lib.testcase import FolderTest, make_folder, take_program  # noqa: E402

PROGRAM = take_program()
EXAMPLE, PASSES = exports.EXAMPLE, exports.export_named("passes", PROGRAM)
NOBODY = 65534
LONGEST_PATH, LONGEST_NAME = 4095, 255
NO_SPACE, TOO_LARGE, DENIED, TOO_LONG = (
    "No space left on device", "File too large", "Permission denied", "File name too long")

# Migrates the file $3 with the program $4 on a file system of its own, of $1 bytes below $2, and
# copies what is there afterwards to the folder $5.
IN_SMALL_FILE_SYSTEM = """
    mount -t tmpfs -o "size=$1" tmpfs "$2" && cp "$3" "$2" && cd "$2" || exit 99
    size=$1 target=$5 program=$4
    shift 5
    "$program" "$@"
    status=$?
    cp * "$target" || exit 99
    exit $status
"""


def left_out(what, why):
    print(f"left out: {what}: {why}", flush=True)


class Limits(FolderTest):
    def assertFails(self, run, message, files, reason):
        """That the run ends with the message, which names one of the files and the reason."""
        text = run.stderr.decode()
        self.assertEqual((run.status, len(text.splitlines())), (255, 1), text)
        self.assertTrue(text.startswith(f"{message} ERROR: "), text)
        self.assertIn(reason, text)
        self.assertTrue(any(f'"{file}"' in text for file in files), text)


class FullDiskTest(Limits):
    @classmethod
    def setUpClass(cls):
        cls.measure = exports.undisturbed(PROGRAM, "passes")
        cls.whole, cls.staged = cls.measure.run.files.output, cls.measure.staged

    def assertNothingLost(self, run):
        self.assertEqual(run.files.input, PASSES.text)
        # Where the output was refused is not known, but it stays refused.
        refusal = endings.Disturbance("write", 1, errno.ENOSPC, True)
        refused = [endings.Fault("write", 0, 0, OUTPUT, endings.PASSES)]
        found = [*endings.complaints_about_loss(run, self.measure, refusal, refused),
                 *endings.complaints_after_failure(run, self.measure, refused)]
        self.assertEqual(found, [])

    def assertUndisturbed(self, run):
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertTrue(run.files == self.measure.run.files)

    def test_work_file_that_is_a_device_is_refused(self):
        for device in ("/dev/full", "/dev/null", "/dev/zero"):
            try:
                os.mknod(self.folder / WORK, stat.S_IFCHR | 0o600, os.stat(device).st_rdev)
                (self.folder / WORK).open("ab").close()
            except PermissionError as error:
                left_out("a work file that is a device", error)
                return
            run = exports.run_in(self.folder, PROGRAM, EXAMPLE)
            self.assertFails(run, endings.OPEN, [WORK], "it is not a regular file")
            (self.folder / WORK).unlink()

    def test_trace_and_notices_on_a_full_device_do_not_disturb(self):
        (self.folder / TRACE).symlink_to("/dev/full")
        with open("/dev/full", "wb") as full:
            run = exports.run_in(self.folder, PROGRAM, EXAMPLE, traced=True, stdout=full)
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertEqual(run.files.output, exports.migrated_example())
        self.assertIsNotNone(run.files.snapshot)

    def run_with_limit(self, size):
        limit = (size, resource.RLIM_INFINITY)
        return exports.run_in(make_folder(self), PROGRAM, PASSES, preexec_fn=lambda: (
            resource.setrlimit(resource.RLIMIT_FSIZE, limit)))

    def test_file_size_limit_below_what_staging_writes(self):
        passed_through = self.measure.passed_through
        for size in (0, 1, 300_001, passed_through - 1, passed_through, len(self.staged) - 1):
            with self.subTest(size=size):
                run = self.run_with_limit(size)
                fits = size >= passed_through
                self.assertFails(run, endings.WRITE, [WORK] if fits else [WORK, OUTPUT], TOO_LARGE)
                self.assertNothingLost(run)
                if fits:
                    self.assertTrue(run.files.work == self.staged[:size])

    def test_file_size_limit_below_the_size_of_the_output(self):
        for size in (len(self.staged), len(self.whole) - 1):
            with self.subTest(size=size):
                run = self.run_with_limit(size)
                self.assertFails(run, endings.WRITE, [OUTPUT], TOO_LARGE)
                self.assertNothingLost(run)
                self.assertTrue(run.files.output == self.whole[:size])

    def test_file_size_limit_that_suffices(self):
        self.assertUndisturbed(self.run_with_limit(len(self.whole)))

    def run_on_small_file_system(self, size):
        source, mount_point, left = (make_folder(self) for _ in range(3))
        (source / INPUT).write_bytes(PASSES.text)
        user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        ended = subprocess.run(
            ["unshare", *user, "--mount", "sh", "-c", IN_SMALL_FILE_SYSTEM, "sh", str(size),
             mount_point, source / INPUT, PROGRAM, left, *exports.arguments(PASSES, False)],
            stdin=subprocess.DEVNULL, capture_output=True, check=False,
            env=exports.environment(), timeout=exports.TIME_LIMIT_SECONDS)
        return exports.Run(ended.returncode, ended.stdout, ended.stderr, exports.files_of(left))

    def test_small_file_system(self):
        staging = len(PASSES.text) + len(self.staged)
        enough = staging + len(self.whole) + 65536  # whole pages are counted
        run = self.run_on_small_file_system(enough)
        if run.status == 99 or run.status == 1:
            left_out("a small file system", run.stderr.decode().strip())
            return
        self.assertUndisturbed(run)
        for size, message, files in (
                (len(PASSES.text) + 100_000, endings.WRITE, [WORK, OUTPUT]),
                (staging - 100_000, endings.WRITE, [WORK, OUTPUT]),
                # A pass writes more than its buffer holds, and so notices.
                (staging + self.measure.passed_through + 100_000, endings.PROCESSING, [OUTPUT]),
                (staging + self.measure.flushed[1] + 100_000, endings.PROCESSING, [OUTPUT]),
                (staging + self.measure.flushed[-1] + 100_000, endings.WRITE, [OUTPUT])):
            with self.subTest(size=size):
                run = self.run_on_small_file_system(size)
                self.assertFails(run, message, files, NO_SPACE)
                self.assertNothingLost(run)


class PermissionsTest(Limits):
    """Runs without the rights of root, which no permission stops."""

    def setUp(self):
        super().setUp()
        self.folder.chmod(0o777)
        for name, mode in (("open", 0o777), ("locked", 0o755)):
            (self.folder / name).mkdir()
            (self.folder / name).chmod(mode)
        if os.geteuid() != 0:
            (self.folder / "locked").chmod(0o555)
            self.addCleanup((self.folder / "locked").chmod, 0o755)
        self.program = self.folder / "program"
        shutil.copy(PROGRAM, self.program)
        self.program.chmod(0o755)

    def put(self, name, mode, content=EXAMPLE.text):
        path = self.folder / name
        locked = os.geteuid() != 0 and path.parent.name == "locked"
        if locked:
            path.parent.chmod(0o755)
        path.write_bytes(content)
        if os.geteuid() == 0:
            os.chown(path, NOBODY, NOBODY)
        path.chmod(mode)
        if locked:
            path.parent.chmod(0o555)

    def run_as_nobody(self, *arguments):
        user = {"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.geteuid() == 0 else {}
        ended = subprocess.run([self.program, *arguments], cwd=self.folder,
                               stdin=subprocess.DEVNULL, capture_output=True, check=False,
                               env=exports.environment(), **user)
        return exports.Run(ended.returncode, ended.stdout, ended.stderr, None)

    def assertLeaves(self, *names):
        left = {str(path.relative_to(self.folder)) for path in self.folder.rglob("*")
                if path.is_file()}
        self.assertEqual(left, {"program", *names})

    def test_folder_of_the_input_without_write_permission(self):
        self.put("locked/export", 0o600)
        run = self.run_as_nobody("locked/export", "open/output", "1", "1")
        self.assertFails(run, endings.OPEN, ["locked/export.tmp"], DENIED)
        self.assertLeaves("locked/export", "open/output")
        self.assertEqual((self.folder / "locked/export").read_bytes(), EXAMPLE.text)
        self.assertEqual((self.folder / "open/output").read_bytes(), b"")

    def test_folder_of_the_output_without_write_permission(self):
        self.put("open/export", 0o600)
        run = self.run_as_nobody("open/export", "locked/output", "1", "1")
        self.assertFails(run, endings.OPEN, ["locked/output"], DENIED)
        self.assertLeaves("open/export")

    def test_folder_of_the_trace_without_write_permission(self):
        self.put("open/export", 0o600)
        run = self.run_as_nobody("open/export", "open/output", "1", "1", "locked/trace")
        self.assertFails(run, endings.OPEN, ["locked/trace"], DENIED)
        self.assertLeaves("open/export")

    def test_folder_of_the_snapshot_without_write_permission(self):
        self.put("open/export", 0o600)
        arguments = [self.folder / name for name in ("open/export", "open/output")]
        run = self.run_as_nobody(*arguments, "10", "10", self.folder / "open/trace")
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertLeaves("open/export", "open/export.tmp", "open/output", "open/trace", SNAPSHOT)
        (self.folder / SNAPSHOT).unlink()
        (self.folder / "open/export.tmp").unlink()

        self.folder.chmod(0o555)
        run = self.run_as_nobody(*arguments, "10", "10", self.folder / "open/trace")
        self.folder.chmod(0o777)
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertLeaves("open/export", "open/export.tmp", "open/output", "open/trace")
        self.assertEqual((self.folder / "open/output").read_bytes(), exports.migrated_example())

    def test_folder_of_the_output_without_read_permission(self):
        self.put("open/export", 0o600)
        (self.folder / "open").chmod(0o333)
        run = self.run_as_nobody("open/export", "open/output", "10", "10")
        (self.folder / "open").chmod(0o777)
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertEqual((self.folder / "open/output").read_bytes(), exports.migrated_example())

    def test_work_file_that_cannot_be_removed(self):
        for name in ("locked/export", "locked/export.tmp"):
            self.put(name, 0o600)
        (self.folder / "locked/export.tmp").write_bytes(b"")
        run = self.run_as_nobody("locked/export", "open/output", "10", "10")
        self.assertEqual(run.status, 0)
        self.assertEqual(run.stderr.decode(),
                         '380928318 WARNING: cannot remove the work file "locked/export.tmp": '
                         f"{DENIED}. Remove it before the next run\n")
        self.assertEqual((self.folder / "open/output").read_bytes(), exports.migrated_example())

    def test_input_without_write_or_read_permission(self):
        for mode in (0o400, 0o200, 0):
            with self.subTest(mode=oct(mode)):
                self.put("open/export", mode)
                run = self.run_as_nobody("open/export", "open/output", "1", "1")
                self.assertFails(run, endings.OPEN, ["open/export"], DENIED)
                self.assertLeaves("open/export", "open/output")
                (self.folder / "open/export").unlink()

    def test_existing_files_without_write_permission(self):
        for name, others in (("open/output", ()), ("open/export.tmp", ("open/output",))):
            with self.subTest(name=name):
                self.put("open/export", 0o600)
                self.put(name, 0o400, b"kept")
                run = self.run_as_nobody("open/export", "open/output", "1", "1")
                self.assertFails(run, endings.OPEN, [name], DENIED)
                self.assertEqual((self.folder / name).read_bytes(), b"kept")
                self.assertLeaves("open/export", name, *others)
                (self.folder / name).unlink()


def path_of(length, name):
    """A name for the file `name` of the current folder that is `length` bytes long."""
    padding = length - len(name)
    return "./" * (padding // 2) + "/" * (padding % 2) + name


class LongNamesTest(Limits):
    def migrate(self, source, *names):
        (self.folder / source.rsplit("/", 1)[-1]).write_bytes(EXAMPLE.text)
        output, *trace = names
        ended = subprocess.run([PROGRAM, source, output, "10", "10", *trace], cwd=self.folder,
                               stdin=subprocess.DEVNULL, capture_output=True, check=False,
                               env=exports.environment())
        return exports.Run(ended.returncode, ended.stdout, ended.stderr, None)

    def assertLeaves(self, **files):
        left = {path.name: path.read_bytes() for path in self.folder.iterdir()}
        self.assertEqual(left, {INPUT: EXAMPLE.text, **files})

    def test_longest_paths(self):
        run = self.migrate(path_of(LONGEST_PATH - len(".tmp"), INPUT),
                           path_of(LONGEST_PATH, OUTPUT))
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertLeaves(**{OUTPUT: exports.migrated_example()})

    def test_longest_path_of_the_trace(self):
        run = self.migrate(INPUT, OUTPUT, path_of(LONGEST_PATH, TRACE))
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertTrue((self.folder / TRACE).read_bytes().endswith(b"FUNCTION EXIT  \n"))

    def test_input_whose_work_file_has_too_long_a_path(self):
        name = path_of(LONGEST_PATH, INPUT)
        run = self.migrate(name, OUTPUT)
        self.assertFails(run, endings.OPEN, [name + ".tmp"], TOO_LONG)
        self.assertLeaves(**{OUTPUT: b""})

    def test_too_long_paths(self):
        for role in range(3):
            names = [INPUT, OUTPUT, TRACE]
            names[role] = path_of(LONGEST_PATH + 1, names[role])
            with self.subTest(role=role):
                run = self.migrate(*names)
                self.assertFails(run, endings.OPEN, [names[role]], TOO_LONG)
                self.assertEqual((self.folder / INPUT).read_bytes(), EXAMPLE.text)

    def test_longest_components(self):
        source = "i" * (LONGEST_NAME - len(".tmp"))
        run = self.migrate(source, "o" * LONGEST_NAME)
        self.assertEqual((run.status, run.stderr), (0, b""))
        self.assertEqual((self.folder / ("o" * LONGEST_NAME)).read_bytes(),
                         exports.migrated_example())
        self.assertFalse((self.folder / (source + ".tmp")).exists())

    def test_too_long_components(self):
        for source, output, offender in (
                ("i" * (LONGEST_NAME - 3), OUTPUT, "i" * (LONGEST_NAME - 3) + ".tmp"),
                ("i" * LONGEST_NAME, OUTPUT, "i" * LONGEST_NAME + ".tmp"),
                (INPUT, "o" * (LONGEST_NAME + 1), "o" * (LONGEST_NAME + 1))):
            with self.subTest(offender=offender):
                run = self.migrate(source, output)
                self.assertFails(run, endings.OPEN, [offender], TOO_LONG)
                self.assertEqual((self.folder / source).read_bytes(), EXAMPLE.text)


if __name__ == "__main__":
    unittest.main()
