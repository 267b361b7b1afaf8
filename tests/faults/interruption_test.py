#!/usr/bin/env python3
"""Interrupt a migration at random moments, and check that nothing is lost by it.

    interruption_test.py PROGRAM [--users N] [--moments N] [--seed S]

A generated export is migrated in four passes and interrupted N times by each of KILL, TERM and INT,
at moments spread over the time that an undisturbed run takes. After each, the program must have
ended by that signal within seconds, and must have reported it if it could; the export must not have
changed, and what is in the output must be the beginning of what an undisturbed run writes.

The run is then repeated with the work file that is left: it must announce one that is not empty, so
that none that ends with status 0 gives another output without a warning. Once the work file has been
removed, a new run must give the undisturbed output. The table at the end counts the moments; those
at which the run had already come to its end must have given the undisturbed output, too. It also
counts the repeated runs that have ended with 0, and those of them with another output.
"""

import argparse
import collections
import os
import pathlib
import random
import signal
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(1, sys.path[0] + "/..")
import exports  # noqa: E402

SIGNALS = (signal.SIGKILL, signal.SIGTERM, signal.SIGINT, signal.SIGHUP)
PROMPT_SECONDS = 10
REPORT = (f'380928317 ERROR: interrupted: the output "{exports.OUTPUT}" is incomplete. Remove the '
          f'work file "{exports.WORK}" before the next run\n').encode()
LEFT_BEHIND = f'380928316 WARNING: the work file "{exports.WORK}" was left behind'.encode()
PASSES = 4

Place = collections.namedtuple("Place", "folder program export output")


def start(place):
    (place.folder / exports.OUTPUT).unlink(missing_ok=True)
    # A shell that runs a script in the background has its children ignore SIGINT.
    return subprocess.Popen(
        [place.program, *exports.arguments(place.export, False)], cwd=place.folder,
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
        env=exports.environment(), preexec_fn=lambda: [
            signal.signal(number, signal.SIG_DFL) for number in (signal.SIGTERM, signal.SIGINT)])


def run_to_the_end(place):
    """Returns the seconds that a run takes, and what it leaves."""
    begin = time.perf_counter()
    child = start(place)
    _, complaints = child.communicate(timeout=exports.TIME_LIMIT_SECONDS)
    seconds = time.perf_counter() - begin
    return seconds, exports.Run(child.returncode, b"", complaints, exports.files_of(place.folder))


def interrupt(place, number, moment):
    """Returns how a run ends to which a signal is sent, and the seconds it takes to end."""
    child = start(place)
    time.sleep(moment)
    sent = time.perf_counter()
    child.send_signal(number)
    try:
        _, complaints = child.communicate(timeout=PROMPT_SECONDS)
    except subprocess.TimeoutExpired:
        child.kill()
        _, complaints = child.communicate()
        complaints += b"did not end promptly"
    return (exports.Run(child.returncode, b"", complaints, exports.files_of(place.folder)),
            time.perf_counter() - sent)


def faults_of_undisturbed(place, run):
    if run.status != 0 or run.stderr or run.files.work is not None:
        yield f"an undisturbed run ended with {run.status}, {run.stderr}"
    if run.files.output != place.output:
        yield "an undisturbed run gave another output"


def faults_of_interrupted(place, number, run):
    if run.files.input != place.export.text:
        yield "the export has changed"
    if run.status == 0:
        yield from faults_of_undisturbed(place, run)
        return
    reports = {b""} if number == signal.SIGKILL else {REPORT}
    if not (run.files.output or run.files.work) or (
            (run.files.output, run.files.work) == (place.output, None)):
        reports.add(b"")  # there may be nothing to report yet, or any more
    if run.status != -number or run.stderr not in reports:
        yield f"ended with {run.status}, {run.stderr}"
    if not place.output.startswith(run.files.output or b""):
        yield "the output holds what an undisturbed run does not write"


def faults_of_repeated(place, left, run):
    """What must not be of a run that finds the work file `left`."""
    if run.files.input != place.export.text:
        yield "the export has changed in the repeated run"
    if run.stderr.startswith(LEFT_BEHIND) != bool(left):
        yield f"a work file of {len(left or b'')} bytes was left, and the repeated run said {run.stderr}"
    if run.status == 0 and run.files.output != place.output and not left:
        yield "the repeated run gave another output"
    if run.status not in (0, 255):
        yield f"the repeated run ended with {run.status}, {run.stderr}"


def try_moments(place, number, moments):
    """Interrupts once at each moment. Returns the row of the table, and the faults found."""
    interrupted, slowest, ended_with_0, doubled, found = 0, 0, 0, 0, []
    for moment in moments:
        run, seconds = interrupt(place, number, moment)
        faults = list(faults_of_interrupted(place, number, run))
        interrupted += run.status == -number
        slowest = max(slowest, seconds)
        if run.files.work is not None:
            _, repeated = run_to_the_end(place)
            faults += faults_of_repeated(place, run.files.work, repeated)
            ended_with_0 += repeated.status == 0
            doubled += repeated.status == 0 and repeated.files.output != place.output
        (place.folder / exports.WORK).unlink(missing_ok=True)
        _, again = run_to_the_end(place)
        faults += [f"afterwards: {fault}" for fault in faults_of_undisturbed(place, again)]
        found += [f"{number.name} after {moment:.3f} s: {fault}" for fault in faults]
    if not interrupted:
        found.append(f"{number.name} has interrupted no run")
    return (f"{number.name:8} {len(moments):7} {interrupted:11} {len(moments) - interrupted:13} "
            f"{slowest * 1000:10.0f} ms {ended_with_0:15} {doubled:14}"), found


def spread(rng, count, seconds):
    """Random moments, one in each of `count` equal parts of the time."""
    return [(part + rng.random()) * seconds / count for part in range(count)]


def test(arguments, folder):
    text = exports.generated_text(arguments.program, arguments.users, arguments.users // 50, {})
    export = exports.Export(text, (str(-(-arguments.users // PASSES)),) * 2, False, PASSES)
    place = Place(folder, os.path.abspath(arguments.program), export, None)
    (folder / exports.INPUT).write_bytes(text)
    runs = [run_to_the_end(place) for _ in range(3)]
    place = place._replace(output=runs[0][1].files.output)
    found = [fault for _, run in runs for fault in faults_of_undisturbed(place, run)]
    if not exports.fits_export(runs[0][1].files):
        found.append("the undisturbed output does not fit the export")
    seconds = statistics.median(seconds for seconds, _ in runs)
    print(f"export of {len(text) / 1e6:.1f} MB, an undisturbed run takes {seconds:.2f} s, "
          f"seed {arguments.seed}")
    print("signal   moments interrupted already ended slowest to end repeated with 0 other output")
    rng = random.Random(arguments.seed)
    for number in SIGNALS:
        row, more = try_moments(place, number, spread(rng, arguments.moments, seconds))
        print(row, flush=True)
        found += more
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("--users", type=int, default=8000)
    parser.add_argument("--moments", type=int, default=200, help="for each signal")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        found = test(arguments, pathlib.Path(folder))
    for fault in found:
        print(f"FAULT: {fault}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
