#!/usr/bin/env python3
"""Let every call that ldif-migrate-check makes fail, one run each, and check how each run ends.

    check_loop.py PROGRAM INTERPOSER [--case NAME]... [--kind KIND]... [--every N]

The check stands beside PROGRAM, which migrates. As in fault_loop.py, the n-th call of each kind
fails, n = 1, 2, 3 and so on, first that call alone, then all from that one on. A run must end as if
nothing had happened, or with status 2, a message and no report at all: what cannot be read is not
judged. `RULES` lists what is allowed beside that. The check must not make any call that changes a
file; the table at the end shows what was tried and how the runs ended.
"""

import argparse
import collections
import errno
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

sys.path.insert(1, sys.path[0] + "/..")
import endings  # noqa: E402
import exports  # noqa: E402
import fault_loop  # noqa: E402
from lib import base  # noqa: E402
from lib.programs import CLEAN, FOUND, checker_of  # noqa: E402

EXPORT, OUTPUT, WORK, REPORT = "export.ldif", "output.ldif", "export.ldif.tmp", "report"
NOT_CHECKED = 2

# The kinds of call, and what each may fail with. "short" moves half of the bytes.
ERRORS = {
    "open": (errno.EACCES, errno.EMFILE, errno.EIO, errno.EINTR),
    "close": (errno.EIO,),
    "read": (errno.EIO, errno.EINTR, "short"),
    "pread": (errno.EIO, errno.EINTR, "short"),
    "write": (errno.ENOSPC, errno.EIO, errno.EINTR, "short"),
    "lseek": (errno.EIO,),
    "fstat": (errno.EIO,),
    "stat": (errno.EACCES, errno.EIO),
    "lstat": (errno.EACCES, errno.EIO),
    "access": (errno.EACCES, errno.EIO),
    "statvfs": (errno.EACCES, errno.EIO),
    "memory": (errno.ENOMEM,),
}
CALLS = [kind for kind in ERRORS if kind != "memory"]

# Calls that change a file or keep others from it.
FORBIDDEN = ("pwrite", "fsync", "syncfs", "sync_file_range", "ftruncate", "flock", "unlink")

# Endings: SAME as if nothing had happened; the file not checked, for the system's reason; the
# report not written; without memory; UNKNOWN with the reason beside everything else; a finding of
# this kind with the reason, where the system refuses the file to a migration as well.
SAME, NOT_WRITTEN, NO_MEMORY, UNKNOWN = "undisturbed", "report refused", "no memory", "not known"
Unread = collections.namedtuple("Unread", "file")
Finding = collections.namedtuple("Finding", "kind")

LOCKS = "/proc/locks"

# Kinds of call and files with the endings allowed; None stands for all. The first line that fits
# counts.
RULES = (
    (" ".join(FORBIDDEN), None, {SAME}),
    ("write fstat", "standard error", {SAME}),
    ("fstat", "null", {SAME}),  # standard input
    ("memory", None, {SAME, NO_MEMORY}),
    ("open read", "locks", {UNKNOWN, Unread(LOCKS)}),
    ("statvfs", None, {UNKNOWN, Unread(".")}),
    ("write close", REPORT, {NOT_WRITTEN}),
    ("fstat", REPORT, {NOT_WRITTEN, SAME}),  # the second time to occupy what is closed
    ("close", None, {SAME}),
    ("open", EXPORT, {Unread(EXPORT), Finding("export-not-writable")}),
    ("lstat access", None, {Unread(WORK), Unread("."), Finding("work-file-refused")}),
    ("stat", WORK, {Unread(WORK)}),
    ("open read pread lseek fstat", EXPORT, {Unread(EXPORT)}),
    ("open read pread lseek fstat", OUTPUT, {Unread(OUTPUT)}),
    # Undisturbed where it only asks whether the report would be written there.
    ("stat", EXPORT, {SAME, Unread(EXPORT)}),
    ("stat", OUTPUT, {SAME, Unread(OUTPUT)}),
)

# The files of a case and the status of an undisturbed check; there is an output after the migration
# alone.
Case = collections.namedtuple("Case", "export output work status")
Run = collections.namedtuple("Run", "status stdout stderr report")


def many_findings():
    """An export that the check looks at again in every way, with findings of many kinds."""
    replaced = (base.EXPORT.replace("loginAllowed: TRUE\n", "loginAllowed: TRUE\nmail: a\n")
                .replace("secDN: cn=Ann Lee,o=acme\n\n",
                         "secDN: cn=Ann Lee,o=acme\nmail: b\n\n", 1))
    lonely = base.POLICY.replace("Ann Lee", "Bob Ray")
    long_lines = base.PERSON.replace("Keeps", "Keeps " + "x" * 100_000)
    folded = base.TEAM.replace("cn: Editors\n", "# one\n two\ncn: Editors\nacl: 1\n")
    oversized = base.PERSON.replace("Ann Lee", "Cy").rstrip("\n") + "\n" + "x: 1\n" * 250_000 + "\n"
    twin = base.USER.replace("cn=Ann Lee", "cn=Ann Two")
    twins_mapping = base.MAPPING.replace("cn=Ann Lee", "cn=Ann Two").replace("7a10", "7a11")
    return (lonely + long_lines + replaced + folded + oversized + twin + twins_mapping).encode()


def damaged(output):
    """The output with an entry changed, one missing, one repeated, one in excess, and no end."""
    entries = output.split(b"\n\n")
    users = [number for number, entry in enumerate(entries)
             if entry.startswith(b"dn: principalName")]
    entries[users[0]] = entries[users[0]].replace(b"\nsecUUID", b"\nsecuuid")
    entries.insert(1, b"dn: cn=Nobody,o=acme\ncn: Nobody")
    entries.insert(users[2], entries[2])
    del entries[users[3]]
    return b"\n\n".join(entries).rstrip(b"\n")


def cases(program):
    large = exports.undisturbed(program, "passes").run.files
    return {
        "clean": Case(base.EXPORT.encode(), None, None, CLEAN),
        "found": Case(many_findings(), None, b"left over\n", FOUND),
        "right": Case(large.input, large.output, None, CLEAN),
        "damaged": Case(large.input, damaged(large.output), None, FOUND),
    }


def files_of(case):
    files = {EXPORT: case.export, OUTPUT: case.output, WORK: case.work}
    return {name: content for name, content in files.items() if content is not None}


def run_check(check, case, env):
    """Runs the check once. Returns how it ended, and complaints about what it has left."""
    with tempfile.TemporaryDirectory() as name, tempfile.TemporaryDirectory() as elsewhere:
        folder, report = pathlib.Path(name), pathlib.Path(elsewhere) / REPORT
        for file, content in files_of(case).items():
            (folder / file).write_bytes(content)
        arguments = [EXPORT] if case.output is None else [EXPORT, OUTPUT]
        with report.open("wb") as stdout:
            ended = subprocess.run([check, *arguments], cwd=folder, check=False, env=env,
                                   stdin=subprocess.DEVNULL, stdout=stdout,
                                   stderr=subprocess.PIPE, timeout=exports.TIME_LIMIT_SECONDS)
        left = {path.name: path.read_bytes() for path in folder.iterdir()}
        changed = [] if left == files_of(case) else ["a file has changed"]
        return Run(ended.returncode, comparable(report.read_bytes()), ended.stderr.decode(),
                   report.stat().st_size), changed


def comparable(report):
    """The report without how much is free, which depends on what other programs write."""
    return re.sub(rb" +[\d,]+ MiB(?=  free on)", b"", report)


def known(report):
    """The report without what is said of things that are not known."""
    report = report.replace(b" in what could be read; see Not known.", b".")
    return re.sub(rb" +not known(?=  free on)|\nNot known:\n\n(    .*\n)+", b"", report)


def endings_of(fault):
    for kinds, file, allowed in RULES:
        if fault.kind in kinds.split() and file in (None, fault.file):
            return allowed
    raise LookupError(f"no rule for {fault}")


def faults_in(events):
    """The calls that have failed; standard error is the only pipe."""
    return [fault._replace(file="standard error") if fault.file.startswith("pipe:") else fault
            for fault in endings.read_report(events, exports.EXAMPLE)]


def allowed_endings(disturbance, faults):
    if not faults or disturbance.error in (errno.EINTR, "short"):
        return {SAME}
    allowed = set.union(*map(endings_of, faults))
    return allowed if all(SAME in endings_of(fault) for fault in faults) else allowed - {SAME}


def fits(ending, run, undisturbed, disturbance):
    reason = "" if disturbance.error == "short" else os.strerror(disturbance.error)
    silent = disturbance.kind == "write" and disturbance.goes_on  # standard error fails as well
    not_checked = run.status == NOT_CHECKED and run.stdout == b""
    if ending == SAME:
        return run[:3] == undisturbed[:3]
    if ending == NO_MEMORY:
        return not_checked and run.stderr == "ldif-migrate-check: not enough memory\n"
    if ending == NOT_WRITTEN:
        message = "" if silent else f"ldif-migrate-check: cannot write the report: {reason}\n"
        return ((run.status, run.stderr) == (NOT_CHECKED, message)
                and undisturbed.stdout.startswith(run.stdout))
    if isinstance(ending, Unread):
        return not_checked and run.stderr == (
            f'ldif-migrate-check: cannot check "{ending.file}": {reason}\n')
    if isinstance(ending, Finding):
        return (run.status, run.stderr) == (FOUND, "") and disturbance.error == errno.EACCES and (
            f"[{ending.kind}]".encode() in run.stdout and reason.encode() in run.stdout)
    return (run.status, run.stderr) == (undisturbed.status, "") and (
        disturbance.error == errno.EACCES and known(run.stdout) == undisturbed.stdout
        and b"Not known:" in run.stdout and reason.encode() in run.stdout)


Place = collections.namedtuple("Place", "program interposer case undisturbed")


def name_of(ending):
    return str(ending) if isinstance(ending, str) else str(ending[0])


def try_fault(place, disturbance):
    """Runs the check once. Returns the calls that failed, how the run ended, the complaints."""
    with tempfile.NamedTemporaryFile("r") as report:
        env = fault_loop.environment(place, disturbance, report.name)
        try:
            run, found = run_check(place.program, place.case, env)
        except subprocess.TimeoutExpired:
            return True, "no end", ["did not end"]
        events = report.read()
    if "create " in events:
        found.append("it may have created a file")
    faults = faults_in(events)
    fitting = [ending for ending in allowed_endings(disturbance, faults)
               if fits(ending, run, place.undisturbed, disturbance)]
    if not fitting:
        found.append(f"{faults[:1]}: status {run.status}, {run.report} bytes of a report, and on "
                     f"standard error: {run.stderr[:1000]}")
    return faults, name_of(fitting[0]) if fitting else "otherwise", found


def modes(error):
    return (False,) if error == errno.EINTR else (False, True)


def loop(place, kind, error, every):
    """Lets the first, second, third call fail. Returns how the runs ended, and complaints."""
    seen, found = collections.Counter(), []
    for goes_on in modes(error):
        for call in range(1, sys.maxsize, every):
            disturbance = endings.Disturbance(kind, call, error, goes_on)
            faults, ending, complaints = try_fault(place, disturbance)
            found += [f"{disturbance}: {text}" for text in complaints]
            if not faults:
                break
            seen[ending] += 1
    return seen, found


def undisturbed_run(check, name, case):
    run, changed = run_check(check, case, exports.environment())
    if changed or (run.status, run.stderr) != (case.status, ""):
        sys.exit(f"the case {name} ends with status {run.status}: {run.stderr}")
    return run


def forbidden_calls(place):
    for kind in FORBIDDEN:
        faults, _, found = try_fault(place, endings.Disturbance(kind, 1, errno.EIO, True))
        yield from found
        if faults:
            yield f"it calls {kind}"


def run_loops(arguments, name, case):
    check = checker_of(os.path.abspath(arguments.program))
    place = Place(check, os.path.abspath(arguments.interposer), case,
                  undisturbed_run(check, name, case))
    all_seen, all_found = collections.Counter(), list(forbidden_calls(place))
    for kind in arguments.kind:
        for error in ERRORS[kind]:
            seen, found = loop(place, kind, error, arguments.every)
            all_seen[kind] += seen.total()
            all_found += found
            ended = ", ".join(f"{count} {ending}" for ending, count in sorted(seen.items()))
            print(f"{name:8} {kind:8} {fault_loop.error_name(error):7} {seen.total():6}  {ended}",
                  flush=True)
    return all_seen, [f"{name}: {text}" for text in all_found]


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("interposer")
    parser.add_argument("--case", action="append")
    parser.add_argument("--kind", action="append", choices=[*ERRORS, "calls"])
    parser.add_argument("--every", type=int, default=1)
    arguments = parser.parse_args()
    chosen = arguments.kind or list(ERRORS)
    arguments.kind = [kind for kind in ERRORS
                      if kind in chosen or (kind in CALLS and "calls" in chosen)]
    return arguments


def main():
    arguments = parse_arguments()
    begin = time.monotonic()
    print(f"{'case':8} {'kind':8} {'error':7} {'faults':>6}  how the runs ended")
    seen, found = collections.Counter(), []
    for name, case in cases(os.path.abspath(arguments.program)).items():
        if name in (arguments.case or [name]):
            more_seen, more_found = run_loops(arguments, name, case)
            seen += more_seen
            found += more_found
    if not arguments.case:
        found += [f"no call of the kind {kind} has been seen" for kind in arguments.kind
                  if not seen[kind]]
    duration = time.monotonic() - begin
    print(f"{seen.total()} faults tried in {duration:.0f} s, {len(found)} complaints")
    for text in found[:fault_loop.MOST_COMPLAINTS]:
        print(f"FAULT: {text}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
