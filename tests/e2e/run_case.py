#!/usr/bin/env python3
"""Runs one end-to-end case and compares everything that an administrator could see.

    run_case.py PROGRAM CASE_FOLDER

The program runs in a fresh folder, with umask 0 and without standard input. A case folder holds:

    about           which rule the case shows and how its results were derived
    arguments       the command line after the program name, in shell quoting
    environment     NAME=value lines
    input.ldif      the export; may be absent
    input.ldif.tmp  a work file left behind by an earlier run
    files/          other files to copy
    setup           one per line: symlink TARGET NAME, hardlink TARGET NAME, fifo NAME, folder NAME

    status          the exit status; 0 if absent
    passes          gathering passes, and after a plus sign closing passes that read entries; 1 if
                    absent. They decide the notices of an undisturbed run.
    stdout          if absent, the notices of an undisturbed run
    stderr          if absent, nothing
    output.ldif     if absent, there must be no output afterwards
    work            the work file afterwards; if absent, there must be none
    trace           trace.txt afterwards; if absent, it is not compared: a named trace must be there
                    when the run prints anything to standard output, else it must not be there
    snapshot        the copy of the staged work file; if absent, a traced run's is not compared and
                    an untraced run must leave none
    made/           other files that the run leaves

All other files must stay as they were. Files that the run makes must have mode 0600. Contents are
compared byte for byte, so a sanitizer's report on standard error is a difference, too; {any} in
an expected line stands for any text within it, {local-time} for the local time of the run on the
12-hour clock, as in 20030302030405.

A file whose bytes an editor would spoil is stored as NAME.escaped: \\r \\n \\t \\0 \\\\ \\xNN stand
for single bytes, \\{TEXT*COUNT} for a repeated text (TEXT may hold the escapes before, but no
asterisk or brace), and real line feeds are layout.
"""

import difflib
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time
from pathlib import Path

NOTICES = {
    308: "Reading the export: entries that stay as they are go to the output,",
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
CASE_NAMES = {"about", "arguments", "environment", "input.ldif", WORK_FILE, "files", "setup",
              "status", "passes", "stdout", "stderr", OUTPUT, "work", "trace", "snapshot", "made"}
TIME_LIMIT_SECONDS = 120

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


def load(path):
    """The bytes that a case stores under `path`, or None."""
    escaped = path.with_name(path.name + ".escaped")
    if path.is_file() and escaped.is_file():
        raise ValueError(f"{path} is stored twice")
    if escaped.is_file():
        return unescape(escaped.read_bytes())
    return path.read_bytes() if path.is_file() else None


def load_text(path, default):
    stored = load(path)
    return default if stored is None else stored.decode().strip()


def load_tree(folder):
    """Every file below `folder`: relative name to bytes."""
    names = {str(path.relative_to(folder)).removesuffix(".escaped")
             for path in folder.rglob("*") if path.is_file()}
    return {name: load(folder / name) for name in names}


def undisturbed_notices(passes):
    gathering, _, closing = passes.partition("+")
    numbers = [308, 309, 310, 311] + [312, 313] * int(gathering) + [312] * int(closing or 0) + [315]
    return "".join(f"380928{n} NOTICE: {NOTICES[n]}\n" for n in numbers).encode()


class Case:
    def __init__(self, folder):
        unknown = {path.name.removesuffix(".escaped") for path in folder.iterdir()} - CASE_NAMES
        if unknown:
            raise ValueError(f"{folder} holds unknown names: {sorted(unknown)}")
        self.arguments = shlex.split(load_text(folder / "arguments", ""))
        self.environment = dict(line.split("=", 1)
                                for line in load_text(folder / "environment", "").splitlines())
        self.setup = [shlex.split(line) for line in load_text(folder / "setup", "").splitlines()]
        self.files = load_tree(folder / "files")
        for name in ("input.ldif", WORK_FILE):
            stored = load(folder / name)
            if stored is not None:
                self.files[name] = stored

        self.status = int(load_text(folder / "status", "0"))
        self.stdout = load(folder / "stdout")
        if self.stdout is None:
            self.stdout = undisturbed_notices(load_text(folder / "passes", "1"))
        self.stderr = load(folder / "stderr") or b""
        self.made = {OUTPUT: load(folder / "output.ldif"), WORK_FILE: load(folder / "work"),
                     TRACE: load(folder / "trace"), SNAPSHOT: load(folder / "snapshot")}
        self.made.update(load_tree(folder / "made"))
        self.must_exist, self.uncompared = set(), set()
        if len(self.arguments) == 5:
            names_trace = os.path.normpath(self.arguments[4]) == TRACE
            if names_trace and self.made[TRACE] is None and self.stdout:
                self.must_exist.add(TRACE)
            if self.made[SNAPSHOT] is None:
                self.uncompared.add(SNAPSHOT)

    def prepare(self, folder):
        for name, content in self.files.items():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(content)
        makers = {"symlink": lambda target, name: (folder / name).symlink_to(target),
                  "hardlink": lambda target, name: (folder / name).hardlink_to(folder / target),
                  "fifo": lambda name: os.mkfifo(folder / name),
                  "folder": lambda name: (folder / name).mkdir(parents=True)}
        for kind, *names in self.setup:
            makers[kind](*names)


def fill_placeholders(expected, actual, times):
    """`expected` with the placeholders that fit replaced by what stands in `actual`."""
    filled = expected.splitlines(keepends=True)
    for number, (wanted, found) in enumerate(zip(filled, actual.splitlines(keepends=True))):
        if b"{" not in wanted:
            continue
        pattern = re.escape(wanted).replace(rb"\{any\}", rb"[^\n]*")
        pattern = pattern.replace(rb"\{local\-time\}", b"(?:" + b"|".join(times) + b")")
        if re.fullmatch(pattern, found):
            filled[number] = found
    return b"".join(filled)


def local_times(begin, end, zone):
    """The local time at every second of the run, and at the one before: time(2) may lag behind."""
    before = os.environ.get("TZ")
    if zone is not None:
        os.environ["TZ"] = zone
    time.tzset()
    times = [time.strftime("%Y%m%d%I%M%S", time.localtime(second)).encode()
             for second in range(int(begin) - 1, int(end) + 1)]
    if zone is not None:
        os.environ.pop("TZ")
        if before is not None:
            os.environ["TZ"] = before
        time.tzset()
    return times


def difference(name, expected, actual):
    def lines(content):
        return [repr(line)[2:-1] for line in content.splitlines(keepends=True)]

    diff = difflib.unified_diff(lines(expected), lines(actual), f"expected {name}",
                                f"actual {name}", lineterm="")
    return "\n".join(diff)


def compare_files(case, folder, before, times):
    after = load_plain(folder)
    for name in sorted(before.keys() | after.keys() | case.made.keys() | case.must_exist):
        actual = after.get(name)
        if name in case.uncompared:
            pass
        elif name in case.must_exist:
            if actual is None:
                yield f"{name}: missing"
        else:
            expected = case.made[name] if name in case.made else before.get(name)
            if expected is None and actual is not None:
                yield f"{name}: must not be there, but holds\n" + difference(name, b"", actual)
            elif expected is not None and actual is None:
                yield f"{name}: missing"
            elif expected is not None:
                expected = fill_placeholders(expected, actual, times)
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


def complaints(program, case_folder):
    """Runs the case; yields a text for everything that is not as expected."""
    case = Case(case_folder)
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
        times = local_times(begin, time.time(), case.environment.get("TZ"))
        if run.returncode != case.status:
            yield f"exit status {run.returncode} instead of {case.status}"
        for name, expected, actual in (("stdout", case.stdout, run.stdout),
                                       ("stderr", case.stderr, run.stderr)):
            expected = fill_placeholders(expected, actual, times)
            if expected != actual:
                yield difference(name, expected, actual)
        yield from compare_files(case, folder, before, times)


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: run_case.py PROGRAM CASE_FOLDER")
    found = list(complaints(str(Path(sys.argv[1]).resolve()), Path(sys.argv[2])))
    print("\n\n".join(found))
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
