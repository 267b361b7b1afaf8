#!/usr/bin/env python3
"""Runs end-to-end cases and compares everything that an administrator could see.

    run_cases.py PROGRAM [TOPIC | CASE]... [--jobs N]

    run_cases.py build/sanitize/bin/ldif-migrate                    # all cases
    run_cases.py build/sanitize/bin/ldif-migrate merge              # those of a topic
    run_cases.py build/sanitize/bin/ldif-migrate merge/drop-list    # one of them

A case is a file TOPIC/NAME.case, read from top to bottom:

    Title: which rule the case shows.

    The reason, and how its results were derived, where the title does not say it.

    $ ln -s input.ldif link.ldif
    $ DEBUG_ERROR=1 ldif-migrate link.ldif output.ldif 1 1 trace.txt

    === given input.ldif
    dn: cn=a,o=org
    objectclass: person

    === expect passes 0
    === expect output.ldif
    dn: cn=a,o=org
    objectclass: person

    === end

The program runs in a fresh folder that holds the given files, with umask 0 and without standard
input. Before it come the commands that make what a given file cannot be: ln, mkdir, mkfifo.

    status N                   the exit status; 0 if absent
    passes N[+M]               N passes that gather and M closing passes that read entries, which
                               decide the notices of an undisturbed run; 1 if absent
    stdout                     if absent, the notices of an undisturbed run
    stderr                     if absent, nothing
    output.ldif                if absent, there must be none afterwards
    input.ldif.tmp             the work file afterwards; if absent, there must be none
    trace.txt                  if absent, it is not compared: a named trace must be there when the
                               run prints anything to standard output, else it must not
    TEMPORARY_INPUT_LDIF_FILE  the copy of the staged work file; if absent, a traced run's is not
                               compared and an untraced run must leave none
    any other name             a file that the run leaves

All other files must stay unchanged. Files that the run makes must have mode 0600. Contents are
compared byte for byte, so a sanitizer's report on standard error is a difference, too; {any} in
an expected line stands for any text within it, {local-time} for the local time of the run on the
12-hour clock, as in 20030302030405.

A section holds the lines up to the next line that begins with "=== ". Text that an editor would
spoil is in a section marked (escaped): \\r \\n \\t \\0 \\\\ \\xNN stand for single bytes,
\\{TEXT*COUNT} for a repeated text (TEXT may hold the escapes before, but no asterisk or brace),
and real line feeds are layout. Quoted arguments of the program may hold escapes, too.
"""

import argparse
import collections
import concurrent.futures
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(1, sys.path[0] + "/..")
from lib.texts import difference  # noqa: E402

CASES = Path(__file__).resolve().parent
NOTICES = {
    308: "Reading the export: entries that pass through unchanged go to the output,",
    309: "entries that must be regrouped to a work file beside it.",
    310: "The work file is complete.",
    311: "Regrouping the users and groups begins.",
    312: "Gathering entries from the work file.",
    313: "Writing the gathered users and groups to the output.",
    315: "The migration is complete.",
}
OUTPUT = "output.ldif"
WORK_FILE = "input.ldif.tmp"
TRACE = "trace.txt"
SNAPSHOT = "TEMPORARY_INPUT_LDIF_FILE"
TIME_LIMIT_SECONDS = 120

SECTION_MARK = b"=== "
SECTION = re.compile(r"=== (?P<kind>given|expect) (?P<name>.+?)(?P<escaped> \(escaped\))?\n")
VALUE = re.compile(r"(status|passes) (\S+)")
END = b"=== end\n"
SETUP_COMMANDS = {"ln", "mkdir", "mkfifo"}

ESCAPE = re.compile(rb"\\(?:\{(?P<text>[^*}]*)\*(?P<count>\d+)\}|x(?P<hex>[0-9A-Fa-f]{2})"
                    rb"|(?P<letter>[rnt0\\]))|(?P<wrong>\\)|\n")
LETTERS = {b"r": b"\r", b"n": b"\n", b"t": b"\t", b"0": b"\0", b"\\": b"\\"}


def unescape(stored):
    def byte(match):
        if match["wrong"]:
            raise ValueError(f"unknown escape: {stored[match.start():match.start() + 8]!r}")
        if match["text"] is not None:
            return unescape(match["text"]) * int(match["count"])
        if match["hex"]:
            return bytes.fromhex(match["hex"].decode())
        return LETTERS[match["letter"]] if match["letter"] else b""

    return ESCAPE.sub(byte, stored)


def undisturbed_notices(passes):
    gathering, _, closing = passes.partition("+")
    numbers = [308, 309, 310, 311] + [312, 313] * int(gathering) + [312] * int(closing or 0) + [315]
    return "".join(f"380928{n} NOTICE: {NOTICES[n]}\n" for n in numbers).encode()


def sections(text):
    """Yields what stands before the first section line, then each section line and its lines."""
    if not text.endswith(b"\n" + END):
        raise ValueError('the last line is not "=== end"')
    head, lines = b"", []
    for line in text.removesuffix(END).splitlines(keepends=True):
        if line.startswith(SECTION_MARK):
            yield head.decode(), b"".join(lines)
            head, lines = line, []
        else:
            lines.append(line)
    yield head.decode(), b"".join(lines)


class Case:
    def __init__(self, path):
        self.given, self.expected, values = {}, {}, {}
        (_, introduction), *stored = sections(path.read_bytes())
        for head, content in stored:
            section = SECTION.fullmatch(head)
            if not section:
                raise ValueError(f"not a section: {head!r}")
            kind, name = section["kind"], section["name"]
            value = VALUE.fullmatch(name) if kind == "expect" else None
            if value:
                name, content = value.groups() if not content.strip() else (name, content)
            elif section["escaped"]:
                content = unescape(content)
            known = values if value else self.given if kind == "given" else self.expected
            if name in known:
                raise ValueError(f"a second section {kind} {name}")
            known[name] = content
        self.introduce(introduction.decode())
        self.complete(values)

    def introduce(self, text):
        """Takes the title and the commands."""
        prose, mark, commands = text.partition("\n$ ")
        self.title = " ".join(prose.strip().split("\n\n")[0].split())
        if not self.title or not mark:
            raise ValueError("no title and command at the beginning")
        *setup, words = map(shlex.split, commands.rstrip("\n").split("\n$ "))
        if "\n" in commands.rstrip("\n").replace("\n$ ", ""):
            raise ValueError("a line that is no command behind the first command")
        self.setup = setup
        if any(command[0] not in SETUP_COMMANDS for command in setup):
            raise ValueError(f"a command that is none of {sorted(SETUP_COMMANDS)}")
        program = words.index("ldif-migrate")
        self.environment = dict(word.split("=", 1) for word in words[:program])
        self.arguments = [unescape(word.encode()).decode() for word in words[program + 1:]]

    def complete(self, values):
        """Adds what is expected where the case does not say it."""
        self.status = int(values.pop("status", "0"))
        passes = values.pop("passes", "1")
        self.stdout = self.expected.pop("stdout", undisturbed_notices(passes))
        self.stderr = self.expected.pop("stderr", b"")
        self.must_exist, self.uncompared = set(), set()
        if len(self.arguments) == 5:
            names_trace = os.path.normpath(self.arguments[4]) == TRACE
            if names_trace and TRACE not in self.expected and self.stdout:
                self.must_exist.add(TRACE)
            if SNAPSHOT not in self.expected:
                self.uncompared.add(SNAPSHOT)
        for name in (OUTPUT, WORK_FILE, TRACE, SNAPSHOT):
            self.expected.setdefault(name, None)

    def prepare(self, folder):
        for name, content in self.given.items():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(content)
        for words in self.setup:
            subprocess.run(words, cwd=folder, check=True)


# When a run began and ended, and the environment that decides its time zone.
Moment = collections.namedtuple("Moment", "begin end environment")


def local_times(moment):
    """The local time at every second of the run, and at the one before: time(2) may lag behind."""
    for second in range(int(moment.begin) - 1, int(moment.end) + 1):
        yield subprocess.run(["date", f"--date=@{second}", "+%Y%m%d%I%M%S"], check=True,
                             env=moment.environment, capture_output=True).stdout.strip()


def fill_placeholders(expected, actual, moment):
    """`expected` with the placeholders that fit replaced by what `actual` has in their place."""
    if b"{" not in expected:
        return expected
    filled = expected.splitlines(keepends=True)
    for number, (wanted, found) in enumerate(zip(filled, actual.splitlines(keepends=True))):
        if b"{" not in wanted:
            continue
        pattern = re.escape(wanted).replace(rb"\{any\}", rb"[^\n]*")
        if b"{local-time}" in wanted:
            times = b"(?:" + b"|".join(local_times(moment)) + b")"
            pattern = pattern.replace(rb"\{local\-time\}", times)
        if re.fullmatch(pattern, found):
            filled[number] = found
    return b"".join(filled)


def compare_files(case, folder, before, moment):
    after = load_plain(folder)
    for name in sorted(before.keys() | after.keys() | case.expected.keys() | case.must_exist):
        actual = after.get(name)
        if name in case.uncompared:
            pass
        elif name in case.must_exist:
            if actual is None:
                yield f"{name}: missing"
        else:
            expected = case.expected[name] if name in case.expected else before.get(name)
            if expected is None and actual is not None:
                yield f"{name}: must not be there, but holds\n" + difference(name, b"", actual)
            elif expected is not None and actual is None:
                yield f"{name}: missing"
            elif expected is not None:
                expected = fill_placeholders(expected, actual, moment)
                if expected != actual:
                    yield difference(name, expected, actual)
        if actual is not None and name not in before:
            mode = (folder / name).stat().st_mode & 0o7777
            if mode != 0o600:
                yield f"{name}: mode {mode:04o} instead of 0600"


def load_plain(folder):
    """Every file below `folder`, links to what lies outside left out."""
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*")
            if path.is_file() and path.resolve().is_relative_to(folder.resolve())}


def complaints(program, case):
    """Runs the case; yields a text for everything that is not as expected."""
    environment = {name: value for name, value in os.environ.items() if name != "DEBUG_ERROR"}
    environment.update(case.environment)
    with tempfile.TemporaryDirectory(prefix="e2e-") as folder:
        folder = Path(folder)
        case.prepare(folder)
        before = load_plain(folder)
        begin = time.time()
        run = subprocess.run([program, *case.arguments], cwd=folder, env=environment, umask=0,
                             stdin=subprocess.DEVNULL, capture_output=True,
                             timeout=TIME_LIMIT_SECONDS, check=False)
        moment = Moment(begin, time.time(), environment)
        if run.returncode != case.status:
            yield f"exit status {run.returncode} instead of {case.status}"
        for name, expected, actual in (("stdout", case.stdout, run.stdout),
                                       ("stderr", case.stderr, run.stderr)):
            expected = fill_placeholders(expected, actual, moment)
            if expected != actual:
                yield difference(name, expected, actual)
        yield from compare_files(case, folder, before, moment)


def failure(program, path):
    """What is wrong with the case in the file `path`, as it is shown; empty when nothing is."""
    title = "not a case"
    try:
        case = Case(path)
        title = case.title
        found = list(complaints(program, case))
    except (ValueError, OSError, subprocess.SubprocessError) as error:
        found = [f"{type(error).__name__}: {error}"]
    return "\n\n".join([f"FAILED {path}: {title}", *found]) + "\n" if found else ""


def find_cases(name):
    """The files of a topic or of one case, which may also be given by its path."""
    stem = CASES / name.removesuffix(".case")
    paths = sorted(stem.glob("*.case")) or [Path(name)] * name.endswith(".case")
    paths = paths or [stem.with_name(stem.name + ".case")]
    if not all(path.is_file() for path in paths):
        sys.exit(f"run_cases.py: there is no topic or case {name}")
    return paths


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("program", type=Path)
    parser.add_argument("names", nargs="*", metavar="TOPIC | CASE")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    arguments = parser.parse_args()
    topics = sorted({path.parent.name for path in CASES.glob("*/*.case")})
    paths = [path for name in arguments.names or topics for path in find_cases(name)]
    if not paths:
        sys.exit("run_cases.py: there are no cases")

    counts, failed = collections.Counter(), collections.Counter()
    program = str(arguments.program.resolve())
    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        for path, text in zip(paths, pool.map(lambda path: failure(program, path), paths)):
            counts[path.resolve().parent.name] += 1
            failed[path.resolve().parent.name] += bool(text)
            if text:
                print(text)
    for topic, count in counts.items():
        print(f"{topic}: {count - failed[topic]} passed, {failed[topic]} failed")
    sys.exit(1 if failed.total() else 0)


if __name__ == "__main__":
    main()
