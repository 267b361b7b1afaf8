#!/usr/bin/env python3
"""Let every call that the program makes fail, one run each, and check how each run ends.

    fault_loop.py PROGRAM INTERPOSER [--export NAME]... [--kind KIND]... [--every N]

For every export and every kind of call, the n-th call fails, n = 1, 2, 3 and so on, until a run
makes fewer; first that call alone, then all from that one on. What an undisturbed run makes, how
a disturbed one may end and what it must leave is in exports.py and endings.py beside this
script. The table at the end says what was tried and how the runs ended; the status is 0 when all
ended as they may.

With --every N, only each N-th call is tried, the first one included. The kind "calls" stands for
all kinds but "memory".
"""

import argparse
import collections
import errno
import os
import pathlib
import subprocess
import sys
import tempfile
import time

sys.path.insert(1, sys.path[0] + "/..")
import endings  # noqa: E402
import exports  # noqa: E402

# The kinds of call, and what each may fail with. "short" moves half of the bytes.
ERRORS = {
    "open": (errno.EACCES, errno.EMFILE, errno.EINTR),
    "close": (errno.ENOSPC, errno.EIO),
    "read": (errno.EIO, errno.EINTR, "short"),
    "write": (errno.ENOSPC, errno.EIO, errno.EINTR, "short"),
    "pwrite": (errno.ENOSPC, errno.EIO, errno.EINTR, "short"),
    "fsync": (errno.ENOSPC, errno.EIO),
    "syncfs": (errno.EIO,),
    "sync_file_range": (errno.ENOSPC, errno.EIO),
    "lseek": (errno.ESPIPE, errno.EIO),
    "ftruncate": (errno.EIO,),
    "flock": (errno.ENOLCK, errno.EINTR),
    "fstat": (errno.EIO,),
    "stat": (errno.EACCES,),
    "lstat": (errno.EACCES,),
    "unlink": (errno.EPERM,),
    "getcwd": (errno.EACCES,),
    "realpath": (errno.EACCES,),
    "memory": (errno.ENOMEM,),
}
CALLS = [kind for kind in ERRORS if kind != "memory"]
MOST_COMPLAINTS = 20

Place = collections.namedtuple("Place", "program interposer name undisturbed")


def environment(place, disturbance, report):
    # Under AddressSanitizer the interposer has to come first: behind the sanitizer's own
    # replacements it would never see an allocation.
    options = os.environ.get("ASAN_OPTIONS", "")
    return exports.environment(
        LD_PRELOAD=place.interposer, FAULT_REPORT=report, FAULT_KIND=disturbance.kind,
        FAULT_CALL=str(disturbance.call), FAULT_ERRNO=str(disturbance.error),
        FAULT_MODE="on" if disturbance.goes_on else "once",
        ASAN_OPTIONS=f"{options}:verify_asan_link_order=0")


def try_fault(place, disturbance):
    """Runs the program once. Returns the calls that failed, how the run ended, the complaints."""
    export = exports.export_named(place.name, place.program)
    with tempfile.TemporaryDirectory() as folder, tempfile.NamedTemporaryFile("r") as report:
        try:
            run = exports.run_in(pathlib.Path(folder), place.program, export,
                                 env=environment(place, disturbance, report.name))
        except subprocess.TimeoutExpired:
            return True, "no end", ["did not end"]
        faults = endings.read_report(report.read(), export)
    found = list(endings.complaints(disturbance, faults, run, place.undisturbed))
    return faults, label(run, place.undisturbed), found


def label(run, undisturbed):
    ending = endings.ending_of(run)
    if isinstance(ending, endings.Fatal):
        return str(ending.id) if ending.id else "255 without a message"
    if ending == endings.IGNORED and run.files.output != undisturbed.run.files.output:
        return endings.CUT_OFF
    return ending


def modes(kind, error):
    if error == errno.EINTR:
        return (False,)  # lest the call be repeated for ever
    if kind == "fstat":
        return (False,)  # one that fails shows later, when another one has been asked
    return (False, True)


def loop(place, kind, error, every):
    """Lets the first, second, third call fail. Returns how the runs ended, and complaints."""
    endings_seen, found = collections.Counter(), []
    for goes_on in modes(kind, error):
        call = 1
        while True:
            disturbance = endings.Disturbance(kind, call, error, goes_on)
            faults, ending, complaints = try_fault(place, disturbance)
            found += [f"{place.name}: {disturbance}: {text}" for text in complaints]
            if not faults:
                break
            endings_seen[ending] += 1
            call += every
    return endings_seen, found


def error_name(error):
    return error if error == "short" else errno.errorcode[error]


def run_loops(arguments, name):
    program = os.path.abspath(arguments.program)
    place = Place(program, os.path.abspath(arguments.interposer), name,
                  exports.undisturbed(program, name))
    tried, all_found = collections.Counter(), []
    for kind in arguments.kind:
        for error in ERRORS[kind]:
            seen, found = loop(place, kind, error, arguments.every)
            tried[kind] += seen.total()
            all_found += found
            ended = ", ".join(f"{count} {ending}" for ending, count in sorted(seen.items()))
            print(f"{name:8} {kind:10} {error_name(error):7} {seen.total():6}  {ended}", flush=True)
    return tried, all_found


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("interposer")
    parser.add_argument("--export", action="append", choices=exports.NAMES)
    parser.add_argument("--kind", action="append", choices=[*ERRORS, "calls"])
    parser.add_argument("--every", type=int, default=1)
    arguments = parser.parse_args()
    arguments.export = arguments.export or list(exports.NAMES)
    chosen = arguments.kind or list(ERRORS)
    arguments.kind = [kind for kind in ERRORS
                      if kind in chosen or (kind in CALLS and "calls" in chosen)]
    return arguments


def main():
    arguments = parse_arguments()
    begin = time.monotonic()
    print(f"{'export':8} {'kind':10} {'error':7} {'faults':>6}  how the runs ended")
    tried, found = collections.Counter(), []
    for name in arguments.export:
        more_tried, more_found = run_loops(arguments, name)
        tried += more_tried
        found += more_found
    found += [f"no call of the kind {kind} has been seen" for kind in arguments.kind
              if not tried[kind]]
    print(f"{tried.total()} faults tried in {time.monotonic() - begin:.0f} s, {len(found)} complaints")
    for text in found[:MOST_COMPLAINTS]:
        print(f"FAULT: {text}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
