#!/usr/bin/env python3
"""Runs the program on a terminal, and checks what its progress line leaves of the screen.

    progress_test.py PROGRAM [TEST...]

Most runs are traced into a pipe, and the reader waits when there is no line: every phase then takes
long enough to be shown. Because they mostly wait, the tests run at the same time, each in a process
of its own.
"""

import contextlib
import fcntl
import os
import pathlib
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

PROGRAM = os.path.abspath(sys.argv[1])
TIME_LIMIT_SECONDS = 60
PIPE_SIZE = 4096
BETWEEN_REDRAWS_SECONDS = 0.21
DRAWN = re.compile(r"\r([^\r\n\x1b]+)\x1b\[J\r")
ERASED = "\r\x1b[J"

# What is traced of such an entry is several times what the pipe holds.
MANY_LINES = "x: y\n" * 1000


def group_entry(name):
    return (f"dn: secAuthority=Default,cn={name},o=org\nobjectClass: secGroup\ncn: {name}\n"
            f"{MANY_LINES}\n")


def group(name):
    return (f"{group_entry(name)}dn: secUUID={name},cn=Groups,secAuthority=Default\n"
            f"objectClass: secMap\nsecDN: cn={name},o=org\n\n")


PERSON = "dn: cn=p,o=org\nobjectclass: person\ncn: p\n\n"
CREDENTIAL = f"dn: secName=r,cn=ResCreds\nobjectclass: secResCreds\n{MANY_LINES}\n"
EXPORT = PERSON + group("g1") + group("g2")
FAULTY_EXPORT = PERSON + group("g1") + group_entry("g2")
PHASES = ["Staging", "Pass 1", "Writing", "Pass 2", "Writing"]


class Screen:
    """The rows of a terminal that knows what the program needs, and nothing else."""

    def __init__(self, columns, text=""):
        self.columns = columns
        self.rows, self.column = [""], 0
        self.show(text)

    def show(self, text):
        for sign in re.findall(r"\x1b\[J|[^\x1b]", text):
            if sign == "\x1b[J":
                self.rows[-1] = self.rows[-1][:self.column]
            elif sign == "\r":
                self.column = 0
            elif sign == "\n":
                self.rows.append("")
            else:
                if self.column == self.columns:
                    self.rows.append("")
                    self.column = 0
                row = self.rows[-1]
                self.rows[-1] = row[:self.column] + sign + row[self.column + 1:]
                self.column += 1


class Terminal:
    def __init__(self, columns):
        self.screen, self.program = pty.openpty()
        fcntl.ioctl(self.screen, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.columns = columns
        self.text = ""  # all that has been written to it
        self.seen = 0  # how much of it has_lost_its_line knows

    def take(self):
        while select.select([self.screen], [], [], 0)[0]:
            self.text += os.read(self.screen, 65536).decode()

    def drawn(self):
        return DRAWN.findall(self.text)

    def shows_a_line(self):
        return self.text.endswith("\x1b[J\r")

    def shows_the_first_pass(self):
        return self.shows_a_line() and self.drawn()[-1].startswith("Pass 1")

    def has_lost_its_line(self):
        """Whether there is no line, and this is news."""
        is_news = len(self.text) != self.seen
        self.seen = len(self.text)
        return is_news and not self.shows_a_line()

    def log_in(self):
        fcntl.ioctl(self.program, termios.TIOCSCTTY, 0)

    def close(self):
        os.close(self.screen)
        os.close(self.program)


class ProgressTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def terminal(self, columns=80):
        terminal = Terminal(columns)
        self.addCleanup(terminal.close)
        return terminal

    def start(self, terminal, *arguments, stdout=None, stderr=None, environment=(), prefix=()):
        for leftover in ("input.ldif.tmp", "output.ldif"):
            (self.folder / leftover).unlink(missing_ok=True)
        run = subprocess.Popen([*prefix, PROGRAM, "input.ldif", *arguments], cwd=self.folder,
                               stdin=terminal.program, stdout=stdout or terminal.program,
                               stderr=stderr or terminal.program, start_new_session=True,
                               preexec_fn=terminal.log_in,
                               env={**os.environ, "TERM": "xterm", **dict(environment)})
        self.addCleanup(run.communicate)
        self.addCleanup(run.kill)
        return run

    def start_held(self, terminal, *arguments, **options):
        """Starts a run that is held at what it first writes to the terminal, if it does, until it
        is time for a line."""
        termios.tcflow(terminal.program, termios.TCOOFF)
        run = self.start(terminal, *arguments, **options)
        status = pathlib.Path(f"/proc/{run.pid}/stat")
        while run.poll() is None and status.read_text().rpartition(")")[2].split()[0] == "R":
            time.sleep(0.01)
        time.sleep(2 * BETWEEN_REDRAWS_SECONDS)
        termios.tcflow(terminal.program, termios.TCOON)
        return run

    def wait(self, run, terminal, meanwhile=lambda: None):
        end = time.monotonic() + TIME_LIMIT_SECONDS
        while run.poll() is None and time.monotonic() < end:
            meanwhile()
            terminal.take()
            time.sleep(0.001)
        terminal.take()
        return run.poll()

    def start_traced(self, terminal, export=EXPORT, **options):
        """Starts a run of one group in each pass. Returns it and the pipe of its trace."""
        (self.folder / "input.ldif").write_text(export)
        trace = self.folder / "trace"
        trace.unlink(missing_ok=True)
        os.mkfifo(trace)
        # Open for writing as well, so that the reading does not wait and does not end too early.
        reading = os.open(trace, os.O_RDWR | os.O_NONBLOCK)
        self.addCleanup(os.close, reading)
        fcntl.fcntl(reading, fcntl.F_SETPIPE_SZ, PIPE_SIZE)
        return self.start_held(terminal, "output.ldif", "1", "1", "trace", **options), reading

    def run_traced(self, terminal, export=EXPORT, **options):
        run, reading = self.start_traced(terminal, export, **options)
        return self.wait(run, terminal, lambda: self.read_slowly(reading, terminal))

    def read_slowly(self, trace, terminal):
        """Waits before it reads on where a message has taken the place of the line."""
        terminal.take()
        if terminal.has_lost_its_line():
            time.sleep(BETWEEN_REDRAWS_SECONDS)
        with contextlib.suppress(BlockingIOError):
            os.read(trace, PIPE_SIZE)

    def messages(self, *arguments, environment=()):
        """What a run writes without a terminal, in its order."""
        terminal = self.terminal()
        run = self.start(terminal, "output.ldif", *arguments, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, environment=environment)
        text = run.communicate(timeout=TIME_LIMIT_SECONDS)[0].decode()
        terminal.take()
        self.assertEqual(terminal.text, "")
        return text

    def assert_screen_holds(self, terminal, messages):
        """After each message and at the end, nothing but messages is on the screen."""
        screen = Screen(terminal.columns)
        expected = Screen(terminal.columns)
        lines = messages.splitlines(keepends=True)
        shown = re.findall(r"[^\n]*\n", terminal.text)
        self.assertEqual(len(shown), len(lines), terminal.text)
        for part, line in zip(shown, lines):
            screen.show(part)
            expected.show(line.replace("\n", "\r\n"))
            self.assertEqual(screen.rows, expected.rows)
        screen.show(terminal.text[len("".join(shown)):])
        self.assertEqual(screen.rows, expected.rows)
        self.assertEqual(screen.column, 0)

    def names_of(self, lines):
        """The phases shown, each for as long as it lasts."""
        names = [re.match(r"Pass \d+|\w+", line).group() for line in lines]
        return [name for i, name in enumerate(names) if i == 0 or name != names[i - 1]]

    def test_every_phase_is_shown_and_erased_before_each_message(self):
        terminal = self.terminal(columns=100)
        self.assertEqual(self.run_traced(terminal), 0)
        self.assertEqual(self.names_of(terminal.drawn()), PHASES)
        self.assertRegex(terminal.text, r"\rPass 2  \[=+ +\]   \d\d%  users 0, groups 0\x1b\[J\r")
        self.assert_screen_holds(terminal, self.messages("1", "1", "/dev/null"))

    def test_no_line_is_as_wide_as_the_terminal(self):
        messages = None
        for columns in (1, 20, 40):
            with self.subTest(columns=columns):
                terminal = self.terminal(columns)
                self.assertEqual(self.run_traced(terminal), 0)
                if columns >= 20:
                    self.assertEqual(self.names_of(terminal.drawn()), PHASES)
                self.assertLess(max(map(len, terminal.drawn()), default=0), columns)
                messages = messages or self.messages("1", "1", "/dev/null")
                self.assert_screen_holds(terminal, messages)

    def test_a_fatal_error_and_its_echo_find_no_line(self):
        terminal = self.terminal(columns=200)
        environment = {"DEBUG_ERROR": ""}
        self.assertEqual(self.run_traced(terminal, FAULTY_EXPORT, environment=environment), 255)
        self.assertEqual(self.names_of(terminal.drawn()), ["Pass 1", "Writing", "Pass 2"])
        messages = self.messages("1", "1", "/dev/null", environment=environment)
        self.assertIn("380928302 ERROR: ", messages.splitlines()[-1])
        self.assert_screen_holds(terminal, messages)

    def test_notices_that_go_elsewhere_erase_the_line_as_well(self):
        terminal = self.terminal(columns=100)
        with open(self.folder / "notices", "w+b") as notices:
            self.assertEqual(self.run_traced(terminal, stdout=notices), 0)
            notices.seek(0)
            self.assertEqual(notices.read().decode(), self.messages("1", "1", "/dev/null"))
        # Nothing holds this run before its first notice.
        self.assertEqual(self.names_of(terminal.drawn())[-4:], PHASES[1:])
        self.assertGreaterEqual(terminal.text.count(ERASED), 4)
        self.assert_screen_holds(terminal, "")

    def test_credentials_are_shown(self):
        terminal = self.terminal(columns=100)
        run, reading = self.start_traced(terminal, PERSON + CREDENTIAL)

        def read():
            with contextlib.suppress(BlockingIOError):
                os.read(reading, PIPE_SIZE)
                time.sleep(0.02)

        self.assertEqual(self.wait(run, terminal, read), 0)
        self.assertIn("Credentials", self.names_of(terminal.drawn()))
        self.assert_screen_holds(terminal, self.messages("1", "1", "/dev/null"))

    def test_a_large_export_is_shown_without_a_trace(self):
        make_export = pathlib.Path(PROGRAM).with_name("make_export")
        subprocess.run([make_export, self.folder / "input.ldif", "--users", "1000"], check=True)
        for counts in (("1000000", "1000000"), ("300", "300")):
            terminal = self.terminal(columns=100)
            run = self.start_held(terminal, "output.ldif", *counts)
            self.assertEqual(self.wait(run, terminal), 0)
            self.assertEqual(self.names_of(terminal.drawn())[:1], ["Staging"])
            self.assert_screen_holds(terminal, self.messages(*counts))

    def test_a_short_run_shows_nothing(self):
        (self.folder / "input.ldif").write_text(PERSON)
        terminal = self.terminal(columns=100)
        begin = time.monotonic()
        run = self.start(terminal, "output.ldif", "1", "1")
        self.assertEqual(self.wait(run, terminal), 0)
        if time.monotonic() - begin < BETWEEN_REDRAWS_SECONDS:
            self.assertEqual(terminal.text, self.messages("1", "1").replace("\n", "\r\n"))

    def test_there_is_no_line_on_a_terminal_that_cannot_erase_it(self):
        for kind in ("dumb", ""):
            terminal = self.terminal()
            self.assertEqual(self.run_traced(terminal, environment={"TERM": kind}), 0)
            messages = self.messages("1", "1", "/dev/null")
            self.assertEqual(terminal.text, messages.replace("\n", "\r\n"))

    def test_a_standard_error_that_is_no_terminal_stays_empty(self):
        reading, writing = os.pipe()
        with open(self.folder / "errors", "w+b") as file, open(reading, "rb") as pipe:
            for stderr in (file, writing):
                terminal = self.terminal()
                self.assertEqual(self.run_traced(terminal, stderr=stderr), 0)
                messages = self.messages("1", "1", "/dev/null")
                self.assertEqual(terminal.text, messages.replace("\n", "\r\n"))
            os.close(writing)
            self.assertEqual((file.read(), pipe.read()), (b"", b""))

    def test_there_is_no_line_where_the_output_or_the_trace_goes(self):
        (self.folder / "input.ldif").write_text(EXPORT)
        for output, trace in (("/dev/tty", "/dev/null"), ("output.ldif", "/dev/tty")):
            terminal = self.terminal()
            termios.tcflow(terminal.program, termios.TCOOFF)
            run = self.start(terminal, output, "1", "1", trace)
            time.sleep(3 * BETWEEN_REDRAWS_SECONDS)
            termios.tcflow(terminal.program, termios.TCOON)
            self.assertEqual(self.wait(run, terminal), 0)
            self.assertIn("380928315 NOTICE: ", terminal.text)
            self.assertNotIn("\x1b", terminal.text)

    def test_signals_erase_the_line_and_end_the_run(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            terminal = self.terminal()
            run, reading = self.start_traced(terminal)
            signals = [number]  # one: a second would end the run before it has said so

            def interrupt_in_the_first_pass():
                if signals and terminal.shows_the_first_pass():
                    run.send_signal(signals.pop())
                elif signals:
                    self.read_slowly(reading, terminal)

            self.assertEqual(self.wait(run, terminal, interrupt_in_the_first_pass), -number)
            before, _, after = terminal.text.rpartition(ERASED)
            self.assertIn("Pass 1", before)
            self.assertRegex(after, r"^380928317 ERROR: interrupted: [^\r\n]+\r\n$")

    def test_a_stopped_terminal_does_not_hold_up_the_run(self):
        terminal = self.terminal()
        run, reading = self.start_traced(terminal, stdout=subprocess.DEVNULL)

        def stop_in_the_first_pass():
            if terminal.shows_the_first_pass():
                termios.tcflow(terminal.program, termios.TCOOFF)
            self.read_slowly(reading, terminal)

        self.assertEqual(self.wait(run, terminal, stop_in_the_first_pass), 0)
        self.assertEqual(self.names_of(terminal.drawn())[-1], "Pass 1")

    def test_a_background_job_leaves_the_terminal_alone(self):
        terminal = self.terminal()
        # Whoever writes nevertheless is stopped.
        # Bash reports at the end that the job is done.
        prefix = ("bash", "-mc", 'stty tostop; "$@" & wait $!', "bash")
        self.assertEqual(self.run_traced(terminal, stdout=subprocess.DEVNULL, prefix=prefix), 0)
        self.assertNotIn("\x1b", terminal.text)


def run_all_at_once():
    """Returns the number of tests that fail, and prints what they print."""
    names = unittest.defaultTestLoader.getTestCaseNames(ProgressTest)
    runs = [subprocess.Popen([sys.executable, "-B", __file__, PROGRAM, f"ProgressTest.{name}"],
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, text=True) for name in names]
    failed = 0
    for name, run in zip(names, runs):
        print(f"{name}\n{run.communicate()[0]}")
        failed += run.returncode != 0
    print(f"{len(runs)} tests, {failed} failed")
    return failed


if __name__ == "__main__":
    if len(sys.argv) == 2:
        sys.exit(1 if run_all_at_once() else 0)
    unittest.main(argv=sys.argv[1:])
