"""Running the programs: each run of ldif-migrate has a folder of its own.

The check, ldif-migrate-check, and make_export are in the same folder as ldif-migrate, whichever
build that is.
"""

import collections
import fcntl
import json
import os
import pathlib
import re
import select
import subprocess
import tempfile
import time

from lib.ldif import records

EXPORT, OUTPUT, WORK_FILE = "input.ldif", "output.ldif", "input.ldif.tmp"
TRACE, SNAPSHOT = "trace.txt", "TEMPORARY_INPUT_LDIF_FILE"
TIME_LIMIT_SECONDS = 60
ENDLESS = "that of a run that was stopped after a minute"
PASSES_BEGIN = b"BEGIN MAIN PROCESSING LOOP."
MESSAGE = re.compile(rb"(\d{9}) (NOTICE|WARNING|ERROR): [^\n]*\n")
SMALLEST_PIPE = 4096
CLEAN, FOUND = 0, 1

# What a run left behind: None for a file that is not there. `export` holds the input afterwards,
# `records` the output in records, `seen` the states of the work file that were seen during the
# passes of a watched run.
Run = collections.namedtuple(
    "Run", "status stdout stderr output records work snapshot trace export seen began ended")
# What a check has printed; `document` is what the JSON holds, or None when there is none.
Checked = collections.namedtuple("Checked", "status document stdout stderr")


def checker_of(program):
    return pathlib.Path(program).with_name("ldif-migrate-check")


def make_export(program, path, *options):
    """Has make_export write the generated export `path`."""
    generator = pathlib.Path(program).resolve().with_name("make_export")
    subprocess.run([generator, path, *map(str, options)], check=True)


def check(checker, export, output=None, options=("--json",)):
    """Checks an export, or the output with it if there is one."""
    command = [checker, *options, export] + ([] if output is None else [output])
    ended = subprocess.run(command, check=False, stdin=subprocess.DEVNULL, capture_output=True,
                           timeout=TIME_LIMIT_SECONDS)
    document = None
    if ended.returncode in (CLEAN, FOUND) and "--json" in options:
        document = json.loads(ended.stdout)
    return Checked(ended.returncode, document, ended.stdout, ended.stderr)


def kinds(checked, severity=None):
    """The kinds that were found, or those of the severity."""
    return {found["type"] for found in checked.document["findings"]
            if severity in (None, found["severity"])}


def shown_of(checked, kind):
    """What is shown of a kind: the lines in the export and in the output, None for none."""
    return [(one.get("line"), one.get("outputLine"))
            for found in checked.document["findings"] if found["type"] == kind
            for one in found["shown"]]


def migrate(program, export, slots, traced=False, debug_error=False, work_file=None,
            watched=False):
    """Runs the program; `slots` are the counts of users and of groups."""
    with tempfile.TemporaryDirectory(prefix="migrate-") as name:
        folder = pathlib.Path(name)
        (folder / EXPORT).write_bytes(export)
        if work_file is not None:
            (folder / WORK_FILE).write_bytes(work_file)
        command = [program, EXPORT, OUTPUT, *map(str, slots)] + [TRACE] * (traced or watched)
        trace = None
        began = int(time.time())
        if watched:
            status, trace, seen = watch(command, folder)
        else:
            status, seen = run(command, folder, debug_error), []
            trace = content(folder / TRACE)
        output = content(folder / OUTPUT)
        return Run(status, content(folder / "stdout"), content(folder / "stderr"), output,
                   [] if output is None else list(records(folder / OUTPUT)),
                   content(folder / WORK_FILE), content(folder / SNAPSHOT), trace,
                   content(folder / EXPORT), seen, began, int(time.time()))


def content(path):
    return path.read_bytes() if path.is_file() else None


def start(command, folder, debug_error=False):
    environment = {name: value for name, value in os.environ.items() if name != "DEBUG_ERROR"}
    if debug_error:
        environment["DEBUG_ERROR"] = ""
    with open(folder / "stdout", "wb") as out, open(folder / "stderr", "wb") as err:
        return subprocess.Popen(command, cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                                stdout=out, stderr=err)


def run(command, folder, debug_error):
    with start(command, folder, debug_error) as child:
        try:
            return child.wait(TIME_LIMIT_SECONDS)
        except subprocess.TimeoutExpired:
            child.kill()
            return ENDLESS


def watch(command, folder):
    """Runs the program with a small pipe as its trace and reads the work file between reads.

    The program cannot get further ahead than the pipe is large, so the work file is seen in
    states that lie all over the passes, on every machine.
    """
    os.mkfifo(folder / TRACE)
    pipe = os.open(folder / TRACE, os.O_RDWR | os.O_NONBLOCK)
    fcntl.fcntl(pipe, fcntl.F_SETPIPE_SZ, SMALLEST_PIPE)
    trace, seen = bytearray(), []
    with start(command, folder) as child:
        ending = os.pidfd_open(child.pid)
        deadline = time.monotonic() + TIME_LIMIT_SECONDS
        while True:
            ready, _, _ = select.select([pipe, ending], [], [],
                                        max(0, deadline - time.monotonic()))
            if pipe in ready:
                trace += os.read(pipe, SMALLEST_PIPE)
                if PASSES_BEGIN in trace:
                    now = content(folder / WORK_FILE)
                    if seen[-1:] != [now]:
                        seen.append(now)
            elif ready:
                status = child.wait()
                break
            else:
                child.kill()
                status = ENDLESS
                break
    os.close(ending)
    os.close(pipe)
    return status, bytes(trace), seen


def messages(stream):
    """The numbers of the messages in what a run has printed."""
    return [int(match[1]) for match in MESSAGE.finditer(stream)]


def beside_messages(stream):
    return MESSAGE.sub(b"", stream)
