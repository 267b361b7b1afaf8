#!/usr/bin/env python3
"""Shows that the fault loop would notice: every rule about endings is broken once.

    endings_test.py PROGRAM
"""

import errno
import os
import subprocess
import sys
import unittest

sys.path.insert(1, sys.path[0] + "/..")
import check_loop  # noqa: E402
import endings  # noqa: E402
import exports  # noqa: E402
import fault_loop  # noqa: E402
from endings import INPUT, OUTPUT, SNAPSHOT, TRACE, WORK  # noqa: E402
from lib.programs import checker_of  # noqa: E402
from lib.testcase import take_program  # noqa: E402

PROGRAM = take_program()
CHECK = checker_of(PROGRAM)

# Calls that open, read, change or move files. Each that the program makes needs a kind of its own.
CALLS_ON_FILES = {
    "open", "open64", "openat", "openat64", "creat", "creat64", "close", "dup", "dup2", "fcntl",
    "fcntl64", "read", "readv", "pread", "pread64", "write", "writev", "pwrite", "pwrite64",
    "lseek", "lseek64", "truncate", "truncate64", "ftruncate", "ftruncate64", "fallocate",
    "fallocate64", "posix_fallocate", "posix_fallocate64", "fsync", "fdatasync", "sync", "syncfs",
    "sync_file_range", "mmap", "mmap64", "msync", "munmap", "sendfile", "sendfile64", "splice",
    "copy_file_range", "ioctl", "flock", "lockf", "lockf64", "stat", "stat64", "lstat", "lstat64",
    "fstat", "fstat64", "fstatat", "fstatat64", "statx", "access", "faccessat", "link", "linkat",
    "symlink", "symlinkat", "readlink", "readlinkat", "rename", "renameat", "renameat2", "unlink",
    "unlinkat", "remove", "mkdir", "mkdirat", "rmdir", "chmod", "fchmod", "fchmodat", "chown",
    "fchown", "lchown", "umask", "utimensat", "futimens", "getcwd", "chdir", "fchdir", "realpath",
    "statvfs", "statvfs64", "statfs", "statfs64", "fstatvfs", "fstatvfs64", "fstatfs", "fstatfs64",
    "fopen", "fopen64", "freopen", "freopen64", "fdopen", "fclose", "tmpfile", "mkstemp",
    "mkdtemp", "opendir", "readdir", "system", "popen", "posix_spawn", "fork", "execve"}

# What the progress line asks of a terminal: runs here have none, and a width that is not known is
# shown by the tests of its module.
CALLS_ON_TERMINALS = {"ioctl"}

STAGED = b"user a\n\nuser b\n\ncredential\n\n"
BLANKED = b"     \r\n\n     \r\n\n         \r\n\n"
# What stays as it is, a pass, another pass, the credential.
WHOLE = b"entry\n\n" + b"new a\n\n" + b"new b\n\n" + b"credential\n\n"
TRACED = b"one\ntwo\nthree\nfour\n"
NOTICES = b"".join(b"380928%d NOTICE: x\n" % number for number in (
    308, 309, 310, 311, 312, 313, 312, 313, 312, 315))
UNTRACED_FILES = exports.Files(b"export", WHOLE, None, None, None)
TRACED_FILES = exports.Files(b"export", WHOLE, BLANKED, TRACED, STAGED)


def undisturbed(files=UNTRACED_FILES):
    return exports.Undisturbed(exports.Run(0, NOTICES, b"", files), STAGED, 7, [14, 21])


def fault(kind, file, phase, offset=0, size=0):
    return endings.Fault(kind, offset, size, file, phase)


def complaints(faults, run, measure=None, error=errno.EIO, goes_on=False):
    disturbance = endings.Disturbance(faults[0].kind if faults else "read", 1, error, goes_on)
    return list(endings.complaints(disturbance, faults, run, measure or undisturbed()))


def succeeded(**files):
    return exports.Run(0, NOTICES, b"", UNTRACED_FILES._replace(**files))


def failed(message, notices=5, **files):
    """A run that fails in its first pass, unless other notices and files are given."""
    stdout = b"".join(NOTICES.splitlines(keepends=True)[:notices])
    left = UNTRACED_FILES._replace(output=WHOLE[:7], work=STAGED)._replace(**files)
    return exports.Run(255, stdout, message, left)


BLANKING = [fault("pwrite", WORK, endings.PASSES)]
BLANKING_FAILS = b'380928302 ERROR: cannot migrate "a": not blanked: Input/output error\n'
READING = [fault("read", INPUT, endings.STAGING)]
READING_FAILS = b'380928305 ERROR: cannot read the export "input.ldif": Input/output error\n'
RESIDUE = [fault("write", OUTPUT, endings.RESIDUE, 7, 14)]


class EndingsTest(unittest.TestCase):
    def assertComplaint(self, text, found):
        self.assertTrue(any(text in complaint for complaint in found), found)

    def test_endings_as_they_should_be_pass(self):
        self.assertEqual(complaints([], succeeded()), [])
        self.assertEqual(complaints(BLANKING, failed(BLANKING_FAILS)), [])
        at_end_of_pass = b'380928306 ERROR: cannot write "input.ldif.tmp": Input/output error\n'
        self.assertEqual(complaints(BLANKING, failed(at_end_of_pass)), [])
        staging = failed(READING_FAILS, notices=2, output=b"", work=b"user")
        self.assertEqual(complaints(READING, staging), [])
        warned = succeeded(work=BLANKED)._replace(
            stderr=f'380928318 WARNING: cannot remove the work file "{WORK}": reason\n'.encode())
        self.assertEqual(complaints([fault("unlink", WORK, endings.CLOSING)], warned), [])

    def test_work_file_that_stays_without_a_warning(self):
        self.assertComplaint("instead of", complaints([fault("unlink", WORK, endings.CLOSING)],
                                                      succeeded(work=BLANKED)))

    def test_output_of_an_earlier_run_that_is_not_left_alone(self):
        opening = [fault("open", INPUT, endings.STAGING)]
        message = f'380928304 ERROR: cannot open "{INPUT}": Input/output error\n'.encode()
        over = undisturbed()._replace(is_over=True)
        left_alone = failed(message, notices=2, output=exports.OLD, trace=exports.OLD, work=None)
        self.assertEqual(complaints(opening, left_alone, over), [])
        emptied = failed(message, notices=2, output=b"", trace=exports.OLD, work=None)
        self.assertComplaint("left alone", complaints(opening, emptied, over))

    def test_wrong_message(self):
        other = BLANKING_FAILS.replace(b"302", b"307")
        self.assertComplaint("instead of", complaints(BLANKING, failed(other)))

    def test_second_message(self):
        self.assertComplaint("instead of", complaints(BLANKING, failed(BLANKING_FAILS * 2)))

    def test_missing_message(self):
        self.assertComplaint("instead of", complaints(BLANKING, failed(b"")))

    def test_message_without_reason(self):
        silent = BLANKING_FAILS.replace(b": Input/output error", b"")
        self.assertComplaint("reason", complaints(BLANKING, failed(silent)))

    def test_message_about_another_file(self):
        about_output = READING_FAILS.replace(b"input.ldif", b"output.ldif")
        other = failed(about_output, notices=2, output=b"", work=b"")
        self.assertComplaint("does not name", complaints(READING, other))

    def test_success_in_spite_of_a_failure(self):
        self.assertComplaint("instead of", complaints(BLANKING, succeeded()))

    def test_failure_without_a_cause(self):
        self.assertComplaint("instead of", complaints([], failed(BLANKING_FAILS)))

    def test_end_by_a_signal(self):
        killed = failed(BLANKING_FAILS)._replace(status=-11)
        self.assertComplaint("instead of", complaints(BLANKING, killed))

    def test_report_of_a_sanitizer(self):
        report = BLANKING_FAILS + b"ERROR: AddressSanitizer: heap-use-after-free\n"
        self.assertComplaint("instead of", complaints(BLANKING, failed(report)))
        noisy = succeeded()._replace(stderr=b"runtime error\n")
        self.assertComplaint("instead of", complaints([], noisy))

    def test_call_to_be_repeated_that_fails(self):
        self.assertComplaint("instead of", complaints(
            BLANKING, failed(BLANKING_FAILS), error=errno.EINTR))
        self.assertComplaint("instead of", complaints(
            BLANKING, failed(BLANKING_FAILS), error="short"))

    def test_changed_input(self):
        self.assertComplaint("input", complaints(BLANKING, failed(BLANKING_FAILS, input=b"expor")))

    def test_foreign_notice(self):
        strange = failed(BLANKING_FAILS)._replace(stdout=b"hello\n")
        self.assertComplaint("notices", complaints(BLANKING, strange))
        short = succeeded()._replace(stdout=NOTICES.rsplit(b"\n", 2)[0] + b"\n")
        self.assertComplaint("notice is missing", complaints([], short))

    def test_lost_bytes_of_staging(self):
        lost = failed(BLANKING_FAILS, output=b"entry\n")
        self.assertComplaint("lost", complaints(BLANKING, lost))

    def test_lost_bytes_of_a_pass_that_is_done(self):
        second = failed(BLANKING_FAILS, notices=7, output=WHOLE[:14])
        self.assertEqual(complaints(BLANKING, second), [])
        lost = failed(BLANKING_FAILS, notices=7, output=WHOLE[:13])
        self.assertComplaint("lost", complaints(BLANKING, lost))

    def test_output_that_is_none_of_ours(self):
        odd = failed(BLANKING_FAILS, output=b"entry\n\nold a\n")
        self.assertComplaint("does not write", complaints(BLANKING, odd))

    def test_missing_output_after_success(self):
        for output in (WHOLE[:-1], WHOLE + b"\n", None):
            self.assertComplaint("output", complaints([], succeeded(output=output)))

    def test_spoiled_work_file(self):
        shortened, longer, changed = STAGED[:-1], STAGED + b"\n", STAGED.replace(b"b", b"c")
        half_blanked = STAGED.replace(b"user a", b"    \r\n")
        for work in (None, shortened, longer, changed, half_blanked):
            found = complaints(BLANKING, failed(BLANKING_FAILS, work=work))
            self.assertComplaint("work file", found)
        self.assertEqual(complaints(BLANKING, failed(BLANKING_FAILS, work=BLANKED)), [])

    def test_spoiled_work_file_of_staging(self):
        odd = failed(READING_FAILS, notices=2, output=b"", work=b"xx")
        self.assertComplaint("work file", complaints(READING, odd))

    def test_work_file_left_or_removed_without_a_reason(self):
        self.assertComplaint("work file", complaints([], succeeded(work=BLANKED)))
        kept = [fault("unlink", WORK, endings.CLOSING)]
        self.assertComplaint("work file", complaints(kept, succeeded(work=None)))
        traced = undisturbed(TRACED_FILES)
        run = exports.Run(0, NOTICES, b"", TRACED_FILES)
        self.assertEqual(complaints([], run, traced), [])
        gone = run._replace(files=TRACED_FILES._replace(work=None))
        self.assertComplaint("work file", complaints([], gone, traced))

    def test_residue_that_is_cut_off_elsewhere(self):
        self.assertEqual(complaints(RESIDUE, succeeded(output=WHOLE[:21])), [])
        for length in (len(WHOLE), 20, 25):
            run = succeeded(output=WHOLE[:length])
            self.assertComplaint("cut off", complaints(RESIDUE, run))
        later = [fault("write", OUTPUT, endings.RESIDUE, 7, 25)]
        lost = undisturbed(UNTRACED_FILES._replace(output=WHOLE[:31] + b"more\n"))
        self.assertComplaint("lost", complaints(later, succeeded(output=WHOLE[:21]), lost))

    def test_residue_that_is_refused_for_good(self):
        message = b'380928306 ERROR: cannot write "output.ldif": Input/output error\n'
        run = failed(message, notices=9, output=WHOLE[:12])
        self.assertEqual(complaints(RESIDUE * 2, run, goes_on=True), [])
        self.assertComplaint("lost", complaints(
            RESIDUE * 2, run._replace(files=run.files._replace(output=WHOLE[:6])), goes_on=True))
        quiet = succeeded(output=WHOLE[:21])
        self.assertComplaint("instead of", complaints(RESIDUE * 2, quiet, goes_on=True))

    def test_residue_without_its_blank_line(self):
        blank = [fault("write", OUTPUT, endings.RESIDUE, 7, 25)]
        run = failed(b"", notices=9, output=WHOLE[:32])
        self.assertEqual(complaints(blank, run), [])
        self.assertComplaint("instead of", complaints(blank, succeeded(output=WHOLE[:32])))

    def test_trace_that_misses_too_much(self):
        traced = undisturbed(TRACED_FILES)
        writing = [fault("write", TRACE, endings.PASSES)]
        for trace, fits in ((b"one\nthree\nfour\n", True), (b"one\nthree\n", False),
                            (TRACED[:8], True), (TRACED + b"x", False)):
            run = exports.Run(0, NOTICES, b"", TRACED_FILES._replace(trace=trace))
            found = complaints(writing, run, traced)
            self.assertEqual(found == [], fits, found)
        run = exports.Run(0, NOTICES, b"", TRACED_FILES._replace(trace=TRACED[:8]))
        self.assertComplaint("trace", complaints([], run, traced))

    def test_snapshot_that_is_spoiled_without_a_reason(self):
        traced = undisturbed(TRACED_FILES)
        run = exports.Run(0, NOTICES, b"", TRACED_FILES._replace(snapshot=STAGED[:5]))
        self.assertComplaint("copy of the work file", complaints([], run, traced))
        copying = [fault("write", SNAPSHOT, endings.COPYING)]
        self.assertEqual(complaints(copying, run, traced), [])

    def test_call_that_no_rule_knows(self):
        with self.assertRaises(LookupError):
            complaints([fault("rename", OUTPUT, endings.CLOSING)], succeeded())


class ReportTest(unittest.TestCase):
    def phases(self, export, events):
        """The phase in which a call fails behind each of the events."""
        text = "".join(f"{event}\nfault read 1 0 0 /folder/x\n" for event in events)
        return [fault.phase for fault in endings.read_report(text, export)]

    def test_phases_follow_from_openings(self):
        work = ["open input.ldif.tmp", "close /folder/input.ldif.tmp"]
        export = exports.Export(b"", (), False, 1)
        self.assertEqual(
            self.phases(export, ["open input.ldif", "open output.ldif", work[0], *(work * 3)]),
            [endings.STARTUP] + [endings.STAGING] * 4 + [endings.PASSES] * 2
            + [endings.RESIDUE, endings.CLOSING])
        self.assertEqual(
            self.phases(export._replace(traced=True),
                        ["open output.ldif", work[0], *(work * 3)]),
            [endings.STAGING] * 4 + [endings.COPYING] * 2 + [endings.PASSES] * 2)

    def test_faults_are_read_with_their_place(self):
        text = "fault write 7 4096 262144 /folder with blanks/output.ldif\n"
        self.assertEqual(endings.read_report(text, exports.EXAMPLE),
                         [endings.Fault("write", 4096, 262144, OUTPUT, endings.STARTUP)])


class CheckTest(unittest.TestCase):
    """The same for the check: what its loop would notice."""

    REPORT = b"inventory\n  free on\n\nNothing found.\n"
    UNDISTURBED = check_loop.Run(0, REPORT, "", len(REPORT))
    READING = ("read", check_loop.EXPORT)
    REASON = os.strerror(errno.EIO)

    def fits(self, call, run, error=errno.EIO, goes_on=False):
        """Whether a run in which this kind of call on this file has failed may end like this."""
        faults = [fault(*call, None)] if call else []
        disturbance = endings.Disturbance(call[0] if call else "read", 1, error, goes_on)
        return any(check_loop.fits(ending, run, self.UNDISTURBED, disturbance)
                   for ending in check_loop.allowed_endings(disturbance, faults))

    def failed(self, problem, report=b""):
        return check_loop.Run(2, report, f"ldif-migrate-check: {problem}\n", len(report))

    def unread(self, file, reason=REASON, report=b""):
        return self.failed(f'cannot check "{file}": {reason}', report)

    def reports(self, report, status=0):
        return check_loop.Run(status, report, "", len(report))

    def test_undisturbed_runs_pass_where_nothing_has_failed(self):
        self.assertTrue(self.fits(None, self.UNDISTURBED))
        self.assertTrue(self.fits(self.READING, self.UNDISTURBED, errno.EINTR))
        self.assertFalse(self.fits(None, self.unread(check_loop.EXPORT)))
        self.assertFalse(self.fits(self.READING, self.UNDISTURBED))
        self.assertFalse(self.fits(None, self.UNDISTURBED._replace(stderr="runtime error")))
        self.assertFalse(self.fits(None, self.UNDISTURBED._replace(status=1)))

    def test_file_and_reason_are_named_and_nothing_is_judged(self):
        self.assertTrue(self.fits(self.READING, self.unread(check_loop.EXPORT)))
        for run in (self.unread(check_loop.OUTPUT), self.unread(check_loop.EXPORT, "no reason"),
                    self.unread(check_loop.EXPORT, report=self.REPORT),
                    self.unread(check_loop.EXPORT)._replace(status=1),
                    self.unread(check_loop.EXPORT)._replace(stderr="")):
            self.assertFalse(self.fits(self.READING, run), run)

    def test_report_that_cannot_be_written(self):
        writing = ("write", check_loop.REPORT)
        problem = f"cannot write the report: {self.REASON}"
        self.assertTrue(self.fits(writing, self.failed(problem, self.REPORT[:9])))
        self.assertFalse(self.fits(writing, self.failed(problem, b"else")))
        self.assertFalse(self.fits(writing, self.UNDISTURBED))
        silent = self.failed(problem)._replace(stderr="")
        self.assertTrue(self.fits(writing, silent, goes_on=True))
        self.assertFalse(self.fits(writing, silent))

    def test_missing_memory(self):
        self.assertTrue(self.fits(("memory", ""), self.failed("not enough memory"), errno.ENOMEM))
        self.assertFalse(self.fits(("memory", ""), self.failed("not enough memory", b"x")))

    def test_what_is_not_known_is_reported_beside_everything_else(self):
        denied = os.strerror(errno.EACCES).encode()
        unknown = (b"inventory\n       not known  free on\n\nNot known:\n\n    how much: " + denied
                   + b"\n\nNothing found in what could be read; see Not known.\n")
        call = ("statvfs", "x")
        self.assertTrue(self.fits(call, self.reports(unknown), errno.EACCES))
        for report in (self.REPORT, unknown.replace(b"inventory\n", b""),
                       unknown.replace(denied, b"?")):
            self.assertFalse(self.fits(call, self.reports(report), errno.EACCES), report)

    def test_a_disk_that_fails_ends_the_check(self):
        self.assertTrue(self.fits(("statvfs", "x"), self.unread(".")))
        self.assertFalse(self.fits(("statvfs", "x"), self.UNDISTURBED))

    def test_refusals_that_a_migration_would_meet_are_findings(self):
        opening, reason = ("open", check_loop.EXPORT), os.strerror(errno.EACCES).encode()
        found = self.reports(b"[export-not-writable] " + reason, 1)
        self.assertTrue(self.fits(opening, found, errno.EACCES))
        self.assertFalse(self.fits(opening, found, errno.EIO))
        self.assertFalse(self.fits(opening, self.reports(reason, 1), errno.EACCES))

    def test_call_that_no_rule_knows(self):
        with self.assertRaises(LookupError):
            self.fits(("rename", check_loop.EXPORT), self.UNDISTURBED)


class KindsTest(unittest.TestCase):
    def without_kind(self, program, kinds):
        listed = subprocess.run(["nm", "--dynamic", "--undefined-only", program], text=True,
                                capture_output=True, check=True).stdout.split()
        imported = {name.split("@")[0] for name in listed}
        self.assertIn("open", imported)
        return (imported & CALLS_ON_FILES) - set(kinds) - CALLS_ON_TERMINALS

    def test_every_call_on_files_that_the_program_makes_has_a_kind(self):
        self.assertEqual(self.without_kind(PROGRAM, fault_loop.ERRORS), set())
        self.assertEqual(self.without_kind(
            CHECK, [*check_loop.ERRORS, *check_loop.FORBIDDEN, "realpath", "getcwd"]), set())


if __name__ == "__main__":
    unittest.main()
