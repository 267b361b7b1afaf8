#!/usr/bin/env python3
"""Runs ldif-migrate-check with wrong arguments, and on files that are not as they should be.

    surroundings_test.py PROGRAM [TEST...]

The check stands beside PROGRAM, which migrates. What this user may not set up (mounting, another
root) is named on standard output and left out.
"""

import fcntl
import json
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(1, sys.path[0] + "/..")
from lib import base  # noqa: E402
from lib.programs import CLEAN, FOUND, TIME_LIMIT_SECONDS  # noqa: E402
from lib.testcase import FolderTest, take_program  # noqa: E402

PROGRAM = take_program()
NOT_CHECKED, ENDED = 2, 255
NOBODY = 65534
EXPORT, OUTPUT, WORK = "export.ldif", "output.ldif", "export.ldif.tmp"

# Runs a command on a file system of its own, of $1 bytes, with the file $2 on it.
ON_SMALL_FILE_SYSTEM = """
    mount -t tmpfs -o "size=$1" tmpfs "$3" && cp "$2" "$3" && cd "$3" || exit 99
    shift 3
    exec "$@"
"""


def left_out(what, why):
    print(f"left out: {what}: {why}", flush=True)


class SurroundingsTest(FolderTest):
    def setUp(self):
        super().setUp()
        self.programs = self.folder / "programs"
        self.programs.mkdir()
        for name in (PROGRAM.name, "ldif-migrate-check"):
            shutil.copy(PROGRAM.with_name(name), self.programs)
        self.files = self.folder / "files"
        self.files.mkdir()
        self.export = self.files / EXPORT
        self.export.write_text(base.EXPORT)
        for path in (self.folder, self.programs, self.files):
            path.chmod(0o755)

    def run_program(self, name, *arguments, **options):
        settings = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        return subprocess.run([self.programs / name, *arguments], cwd=self.files, check=False,
                              stdin=subprocess.DEVNULL, timeout=TIME_LIMIT_SECONDS, **settings)

    def check(self, *arguments, **options):
        before = self.state()
        run = self.run_program("ldif-migrate-check", *arguments, **options)
        self.assertEqual(self.state(), before)
        return run

    def migrate(self, **options):
        return self.run_program("ldif-migrate", EXPORT, OUTPUT, "10", "10", **options)

    def state(self):
        """What is in the folder of the files."""
        return {path.name: (path.lstat().st_mode, path.lstat().st_mtime_ns,
                            path.read_bytes() if path.is_file() else None)
                for path in self.files.iterdir()}

    def assertNotChecked(self, run, *words):
        self.assertEqual((run.returncode, run.stdout), (NOT_CHECKED, b""), run.stderr)
        for word in words:
            self.assertIn(word, run.stderr.decode())

    def only_finding(self, *arguments, **options):
        """The one that there is: its kind, severity and message."""
        run = self.check("--json", *arguments, EXPORT, **options)
        self.assertEqual((run.returncode, run.stderr), (FOUND, b""))
        [found] = json.loads(run.stdout)["findings"]
        self.assertEqual(found["total"], 1)
        [one] = found["shown"]
        self.assertIn(found["title"], self.check(*arguments, EXPORT, **options).stdout.decode())
        return found["type"], found["severity"], one.get("message")

    def assertClean(self, **options):
        run = self.check(EXPORT, **options)
        self.assertEqual((run.returncode, run.stderr), (CLEAN, b""))

    def assertMigrationEnds(self, number, words, **options):
        run = self.migrate(**options)
        self.assertEqual(run.returncode, ENDED)
        last = run.stderr.splitlines()[-1]  # below the warning of a work file left behind
        self.assertTrue(last.startswith(b"%d ERROR: " % number), run.stderr)
        self.assertIn(words, run.stderr.decode())

    def assertMigrates(self, **options):
        run = self.migrate(**options)
        self.assertEqual((run.returncode, run.stderr), (0, b""))
        self.assertEqual((self.files / OUTPUT).read_text(), base.OUTPUT)
        run = self.check(EXPORT, OUTPUT, **options)
        self.assertEqual((run.returncode, run.stderr), (CLEAN, b""))


class ArgumentsTest(SurroundingsTest):
    def test_wrong_arguments_are_answered_with_the_usage(self):
        for arguments in ((), (EXPORT, OUTPUT, OUTPUT), ("--json",), ("--frobnicate", EXPORT),
                          ("--users", EXPORT), (EXPORT, "--users"), ("--users", "0", EXPORT),
                          ("--users", "-1", EXPORT), ("--users", "many", EXPORT),
                          ("--users", "5x", EXPORT), ("--users", "", EXPORT),
                          ("--groups", "0", EXPORT), ("--groups", "x", EXPORT),
                          (EXPORT, "--groups"), ("--limit", "-1", EXPORT),
                          ("--limit", "x", EXPORT), (EXPORT, "--limit"), ("-x", EXPORT),
                          ("--users=", EXPORT),
                          ("--users=0", EXPORT), ("--json=yes", EXPORT)):
            with self.subTest(arguments=arguments):
                self.assertNotChecked(self.check(*arguments), "ldif-migrate-check: ",
                                      "usage: ldif-migrate-check [OPTION]... EXPORT [OUTPUT]")

    def test_what_is_wrong_with_an_option_is_shown_as_it_can_be_printed(self):
        hint = 'Try "ldif-migrate-check --help" for more.\n'
        for option, problem in (("--frobnicate", 'unknown option "--frobnicate"'),
                                (b"--a\x1b[2Jb\xe2\x80\xae\xff", 'unknown option "--a?[2Jb??"'),
                                ("-x", 'unknown option "-x"'), (b"-\x1b", 'unknown option "-?"'),
                                ("--json=\t", '"--json=?": this option takes no value'),
                                ("--users", '"--users" needs a value')):
            with self.subTest(option=option):
                run = self.check(EXPORT, option)
                self.assertNotChecked(run)
                lines = run.stderr.decode().splitlines(keepends=True)
                self.assertEqual(lines[0], f"ldif-migrate-check: {problem}\n")
                self.assertEqual(lines[-1], hint)

    def test_an_output_without_a_name_is_no_check_before_the_migration(self):
        for arguments in ((EXPORT, ""), ("--json", EXPORT, "")):
            with self.subTest(arguments=arguments):
                self.assertNotChecked(self.check(*arguments),
                                      'cannot check "": No such file or directory')

    def test_help_and_version(self):
        run = self.check("--help")
        self.assertEqual((run.returncode, run.stderr), (CLEAN, b""))
        for option in (b"--users", b"--groups", b"--limit", b"--json", b"EXPORT", b"OUTPUT"):
            self.assertIn(option, run.stdout)
        run = self.check("--version")
        self.assertEqual((run.returncode, run.stderr), (CLEAN, b""))
        self.assertRegex(run.stdout.decode(), r"\Aldif-migrate-check \d+\.\d+\S*\n\Z")

    def test_options_stand_anywhere(self):
        for arguments in (("--json", "--users", "3", EXPORT), (EXPORT, "--users", "3", "--json"),
                          ("--users=3", EXPORT, "--json"),
                          ("--users", "3", "--json", "--", EXPORT)):
            with self.subTest(arguments=arguments):
                self.assertEqual(json.loads(self.check(*arguments).stdout)["requested"]["users"],
                                 3)

    def test_export_whose_name_begins_like_an_option(self):
        (self.files / "--json").write_text(base.EXPORT)
        self.assertEqual(self.check("--", "--json").returncode, CLEAN)


class ReportTest(SurroundingsTest):
    """A report that cannot be written does not pass for one of a sound migration."""

    def assertNotWritten(self, reason, **options):
        (self.files / OUTPUT).write_text(base.OUTPUT)
        for arguments in ((EXPORT,), ("--json", EXPORT), (EXPORT, OUTPUT),
                          ("--json", EXPORT, OUTPUT), ("--help",), ("--version",)):
            with self.subTest(arguments=arguments):
                run = self.run_program("ldif-migrate-check", *arguments, **options)
                self.assertEqual((run.returncode, run.stderr), (NOT_CHECKED, (
                    f"ldif-migrate-check: cannot write the report: {reason}\n".encode())))

    def test_report_on_a_full_device(self):
        with open("/dev/full", "wb") as full:
            self.assertNotWritten("No space left on device", stdout=full)

    def test_report_beyond_the_limit_of_file_sizes(self):
        with tempfile.TemporaryFile() as report:
            self.assertNotWritten("File too large", stdout=report, preexec_fn=lambda: (
                resource.setrlimit(resource.RLIMIT_FSIZE, (9, 9))))

    def test_report_into_a_pipe_that_nobody_reads(self):
        reading, writing = os.pipe()
        os.close(reading)
        self.assertNotWritten("Broken pipe", stdout=writing)
        os.close(writing)

    def test_report_on_a_closed_stream(self):
        self.assertNotWritten("Bad file descriptor", preexec_fn=lambda: os.close(1))

    def assertKept(self, arguments, expected, **options):
        """Neither a report nor a message is added to the files."""
        run = self.check(*arguments, **options)
        self.assertEqual((run.returncode, run.stdout or b"", run.stderr or b""),
                         (NOT_CHECKED, b"", expected.encode()))

    def test_report_into_a_file_that_is_checked(self):
        (self.files / OUTPUT).write_text(base.OUTPUT)
        (self.files / "link").symlink_to(OUTPUT)
        for name in (EXPORT, OUTPUT):
            message = (f'ldif-migrate-check: cannot check "{name}": standard output, which takes '
                       "the report, is the same file\n")
            for arguments in ((EXPORT,), ("--json", EXPORT), (EXPORT, OUTPUT)):
                if name in arguments:
                    with self.subTest(name=name, arguments=arguments), (
                            self.files / name).open("ab") as file:
                        self.assertKept(arguments, message, stdout=file)
        with (self.files / "link").open("ab") as file:
            self.assertKept((EXPORT, OUTPUT), message, stdout=file)

    def test_messages_into_a_file_that_is_checked(self):
        (self.files / OUTPUT).write_text(base.OUTPUT)
        for name in (EXPORT, OUTPUT):
            with self.subTest(name=name), (self.files / name).open("ab") as file:
                self.assertKept((EXPORT, OUTPUT), "", stderr=file)
                self.assertKept((EXPORT, OUTPUT), "", stdout=file, stderr=file)
        with (self.files / OUTPUT).open("ab") as file, self.export.open("ab") as other:
            self.assertKept((EXPORT, OUTPUT), "", stdout=other, stderr=file)

    def command(self, name):
        """The command that the check of the export with this name suggests."""
        self.export = self.export.rename(self.files / os.fsdecode(name))
        run = self.check("--", name)
        self.assertEqual((run.returncode, run.stderr), (CLEAN, b""))
        return re.search(rb"\n    (ldif-migrate .*)\n\Z", run.stdout, re.DOTALL)[1]

    def test_the_command_suggested_names_the_export_in_a_shell(self):
        for name in (b"my export.ldif", b"Ann's", b'"x"', b"\\", b"$(touch x)`touch x`$HOME", b"~",
                     b"a\nb", b"\n", b"\x1b[2J\t\x7f", b"\xff\xe4", "ä\u202e田1".encode(), b"*",
                     b"[a-z]", b"{a,b}", b"!!", b"#", b"x;y&z|(<>)", b"-x", b"--json", b"-\n'",
                     b"a=b", b"export.ldif"):
            with self.subTest(name=name):
                command = self.command(name)
                self.assertEqual([byte for byte in command if not 32 <= byte < 127], [])
                read = subprocess.run(
                    ["bash", "-c", b"ldif-migrate() { printf '%s\\0' \"$@\"; }\n" + command],
                    cwd=self.files, check=True, capture_output=True).stdout.split(b"\0")
                expected = b"./" + name if name.startswith(b"-") else name
                self.assertEqual(read, [expected, b"OUTPUT", b"1", b"1", b""])

    def test_a_plain_name_is_suggested_as_it_is(self):
        self.assertEqual(self.command(b"export_2.ldif"), b"ldif-migrate export_2.ldif OUTPUT 1 1")


class FilesTest(SurroundingsTest):
    def test_export_that_is_not_there(self):
        self.export.unlink()
        self.assertNotChecked(self.check(EXPORT), EXPORT, "No such file or directory")
        self.assertNotChecked(self.check("--json", EXPORT), EXPORT)

    def test_export_without_a_name(self):
        self.assertNotChecked(self.check(""), '""')

    def test_export_that_is_a_folder(self):
        self.assertNotChecked(self.check("."), '"."')

    def test_export_that_is_a_pipe(self):
        os.mkfifo(self.files / "pipe")
        self.assertNotChecked(self.check("pipe"), '"pipe"')

    def test_export_that_is_a_device(self):
        self.assertNotChecked(self.check("/dev/null"), '"/dev/null"')

    def test_export_that_may_not_be_read(self):
        self.give(self.export, 0o200)
        self.assertNotChecked(self.check_as_nobody(EXPORT), EXPORT, "Permission denied")

    def test_output_that_is_not_there(self):
        self.assertNotChecked(self.check(EXPORT, OUTPUT), OUTPUT, "No such file or directory")

    def test_output_that_is_a_folder(self):
        self.assertNotChecked(self.check(EXPORT, "."), '"."')

    def test_output_that_is_a_pipe(self):
        os.mkfifo(self.files / "pipe")
        self.assertNotChecked(self.check(EXPORT, "pipe"), '"pipe"')

    def test_output_that_may_not_be_read(self):
        (self.files / OUTPUT).write_text(base.OUTPUT)
        self.give(self.files / OUTPUT, 0o200)
        self.give(self.export, 0o600)
        self.assertNotChecked(self.check_as_nobody(EXPORT, OUTPUT), OUTPUT, "Permission denied")

    def test_files_behind_links(self):
        self.export.rename(self.files / "real.ldif")
        self.export.symlink_to("real.ldif")
        self.assertClean()
        self.assertMigrates()

    def give(self, path, mode, owner=NOBODY):
        """Gives a file or folder to the user without rights, where that is another one."""
        path.chmod(mode)
        if os.geteuid() == 0:
            os.chown(path, owner, owner)

    def as_nobody(self):
        return ({"user": NOBODY, "group": NOBODY, "extra_groups": []} if os.geteuid() == 0
                else {})

    def check_as_nobody(self, *arguments):
        return self.check(*arguments, **self.as_nobody())

    def test_export_not_writable(self):
        self.give(self.files, 0o755)
        self.give(self.export, 0o400)
        self.assertEqual(self.only_finding(**self.as_nobody()),
                         ("export-not-writable", "ends", 380928304))
        self.assertMigrationEnds(380928304, f'"{EXPORT}": Permission denied', **self.as_nobody())
        self.export.chmod(0o600)
        self.remove_all_but_export()
        self.assertClean(**self.as_nobody())
        self.assertMigrates(**self.as_nobody())

    @unittest.skipUnless(os.geteuid() == 0, "only root can give files to other users")
    def test_export_of_another_user(self):
        self.give(self.files, 0o755)
        self.give(self.export, 0o644, owner=0)
        self.assertEqual(self.only_finding(**self.as_nobody()),
                         ("export-not-writable", "ends", 380928304))
        self.assertMigrationEnds(380928304, f'"{EXPORT}": Permission denied', **self.as_nobody())

    def test_export_that_another_program_has_locked(self):
        for kind in (fcntl.LOCK_EX, fcntl.LOCK_SH):
            with self.export.open("rb") as other:
                fcntl.flock(other, kind)
                self.assertEqual(self.only_finding(), ("export-not-writable", "ends", 380928304))
                self.assertMigrationEnds(380928304, "another migration is using it")
        self.remove_all_but_export()
        self.assertClean()
        self.assertMigrates()

    def test_a_root_without_devices_stays_without(self):
        """Nothing is made where /dev/null is missing; what is not known without /proc is said."""
        root = self.folder / "root"
        listed = subprocess.run(["ldd", PROGRAM], check=True, capture_output=True, text=True).stdout
        for library in re.findall(r"/\S+", listed):
            (root / library[1:]).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(library, root / library[1:])
        (root / "dev").mkdir()
        shutil.copy(self.programs / "ldif-migrate-check", root)
        shutil.copy(self.export, root)
        before = sorted(root.rglob("*"))

        def enter():
            os.chroot(root)
            os.chdir("/")

        try:
            run = subprocess.run(["/ldif-migrate-check", EXPORT], check=False, preexec_fn=enter,
                                 stdin=subprocess.DEVNULL, capture_output=True,
                                 timeout=TIME_LIMIT_SECONDS)
        except subprocess.SubprocessError as error:
            left_out("a root without devices", error)
            return
        self.assertEqual(sorted(root.rglob("*")), before)
        if b"Sanitizer" in run.stderr:
            left_out("a root without /proc", "the sanitizer needs it")
            return
        self.assertEqual((run.returncode, run.stderr), (CLEAN, b""))
        self.assertIn(b'\nNot known:\n\n    whether another program has locked the export: '
                      b'"/proc/locks": No such file or directory\n', run.stdout)
        self.assertIn(b"\nNothing found in what could be read; see Not known. Migrate with\n",
                      run.stdout)

    def test_folder_that_takes_no_work_file(self):
        self.give(self.export, 0o600)
        self.files.chmod(0o555)
        self.addCleanup(self.files.chmod, 0o755)
        self.assertEqual(self.only_finding(**self.as_nobody()),
                         ("work-file-refused", "ends", 380928304))
        output = self.folder / OUTPUT
        output.touch()
        self.give(output, 0o600)
        run = self.run_program("ldif-migrate", EXPORT, output, "10", "10", **self.as_nobody())
        self.assertEqual((run.returncode, run.stderr), (
            ENDED, f'380928304 ERROR: cannot open "{WORK}": Permission denied\n'.encode()))
        self.give(self.files, 0o755)
        self.assertClean(**self.as_nobody())
        self.assertMigrates(**self.as_nobody())

    def remove_all_but_export(self):
        for path in self.files.iterdir():
            if path != self.export:
                path.unlink()

    def leave_work_file(self, number, words):
        """Migrates the broken export, which is fixed afterwards."""
        self.assertMigrationEnds(number, words)
        self.export.write_text(base.EXPORT)
        self.assertEqual(self.only_finding(), ("left-over-work-file", "changes", None))

    def remove_work_file(self):
        (self.files / WORK).unlink()
        self.assertClean()
        self.assertMigrates()

    def test_work_file_left_over_with_all_entries(self):
        self.export.write_text(base.EXPORT.replace("cn: Editors\nsec", "\n cn: Editors\nsec"))
        self.leave_work_file(380928302, "has a continuation line where an attribute should begin")
        self.assertMigrationEnds(380928303, "two entries of one kind have the same owner")
        self.remove_work_file()

    def test_work_file_left_over_with_credentials(self):
        self.export.write_text(base.EXPORT.replace(base.GROUP_MAPPING, ""))
        self.leave_work_file(380928302, "has no secMap entry")
        self.assertEqual(self.migrate().returncode, 0)
        credentials = base.CREDENTIALS + base.CREDENTIAL
        self.assertEqual((self.files / OUTPUT).read_text(), base.OUTPUT + credentials)
        (self.files / WORK).write_text(credentials)  # as it was
        self.remove_work_file()

    def test_work_file_left_over_empty(self):
        (self.files / WORK).touch()
        self.assertClean()
        self.assertMigrates()

    def refuse_work_file(self, words):
        self.assertEqual(self.only_finding(), ("work-file-refused", "ends", 380928304))
        self.assertMigrationEnds(380928304, words)

    def test_work_file_that_is_a_link(self):
        (self.files / WORK).symlink_to("elsewhere")
        self.refuse_work_file("the work file is a symbolic link")
        self.remove_work_file()

    def test_work_file_that_is_a_link_to_an_empty_file(self):
        (self.files / "elsewhere").touch()
        (self.files / WORK).symlink_to("elsewhere")
        self.refuse_work_file("the work file is a symbolic link")
        self.remove_work_file()

    def test_work_file_that_is_a_folder(self):
        (self.files / WORK).mkdir()
        self.refuse_work_file("Is a directory")

    def test_work_file_that_is_a_pipe(self):
        os.mkfifo(self.files / WORK)
        self.refuse_work_file("it is not a regular file")
        self.remove_work_file()

    def test_work_file_that_others_share(self):
        (self.files / WORK).touch()
        (self.files / "other").hardlink_to(self.files / WORK)
        self.refuse_work_file("it has another name, a hard link")
        (self.files / "other").unlink()
        (self.files / WORK).chmod(0o666)
        self.refuse_work_file("others than its owner may write to it")
        self.remove_work_file()

    def test_work_file_that_may_not_be_written(self):
        self.give(self.files, 0o755)
        self.give(self.export, 0o600)
        (self.files / WORK).touch()
        self.give(self.files / WORK, 0o400)
        self.assertEqual(self.only_finding(**self.as_nobody()),
                         ("work-file-refused", "ends", 380928304))
        self.assertMigrationEnds(380928304, f'"{WORK}": Permission denied', **self.as_nobody())

    def test_work_file_whose_name_is_too_long(self):
        longest_name = 255
        name = "e" * (longest_name - len(".tmp") + 1)
        self.export.rename(self.files / name)
        run = self.check("--json", name)
        [found] = json.loads(run.stdout)["findings"]
        self.assertEqual(found["type"], "work-file-refused")
        run = self.run_program("ldif-migrate", name, OUTPUT, "10", "10")
        self.assertEqual(run.returncode, ENDED)
        self.assertIn(b"File name too long", run.stderr)

    def run_on_small_file_system(self, size, *command):
        mount_point = self.folder / "small"
        mount_point.mkdir(exist_ok=True)
        user = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        return subprocess.run(
            ["unshare", *user, "--mount", "sh", "-c", ON_SMALL_FILE_SYSTEM, "sh", str(size),
             self.export, mount_point, *command], check=False, stdin=subprocess.DEVNULL,
            capture_output=True, timeout=TIME_LIMIT_SECONDS)

    def test_disk_too_small(self):
        # Persons alone: the output takes as much room as they, the work file none.
        people = "".join(base.PERSON.replace("Ann", f"Ann{number}") for number in range(10_000))
        self.export.write_text(base.EXPORT + people)
        size = self.export.stat().st_size
        migrate = [self.programs / "ldif-migrate", EXPORT, OUTPUT, "10", "10"]
        check = [self.programs / "ldif-migrate-check", "--json", EXPORT]
        for room, fits in ((size * 2 + 65536, True), (size * 3 // 2, False)):
            with self.subTest(room=room):
                migrated = self.run_on_small_file_system(room, *migrate)
                if migrated.returncode not in (0, ENDED):
                    left_out("a small file system", migrated.stderr.decode().strip())
                    return
                checked = self.run_on_small_file_system(room, *check)
                kinds = [found["type"] for found in json.loads(checked.stdout)["findings"]]
                if fits:
                    self.assertEqual((migrated.returncode, migrated.stderr), (0, b""))
                    self.assertEqual((checked.returncode, kinds), (CLEAN, []))
                else:
                    self.assertEqual(migrated.returncode, ENDED)
                    self.assertTrue(migrated.stderr.startswith(b"380928306 ERROR: "))
                    self.assertIn(b"No space left on device", migrated.stderr)
                    self.assertEqual((checked.returncode, kinds), (FOUND, ["disk-too-small"]))


if __name__ == "__main__":
    unittest.main()
