#!/usr/bin/env python3
"""Migrate a generated export, check the result and print what the migration took.

    run_large.py PROGRAM --users N [--groups G] --passes K [--scattered] [--changetype] [--seed S]

The slot counts are a K-th of the users and of the groups, so that K passes gather everything.
The export is made by the make_export beside PROGRAM and checked by the scripts beside this one,
in a temporary folder that is removed afterwards. With more than one pass, a migration in one pass
is made as well, and both outputs must hold the same records. The status is 0 when all checks
passed.

Peak memory is what the system accounts to the child. A child starts out with this script's own
pages, so that the figure never falls below those, which are printed beside it.
"""

import argparse
import os
import pathlib
import resource
import subprocess
import sys
import tempfile
import time

sys.path.insert(1, sys.path[0] + "/..")
from lib.programs import make_export  # noqa: E402

FOLDER = pathlib.Path(__file__).resolve().parent
MEGABYTE = 1e6


def script(name, *arguments):
    """Runs a script of this folder in its own process, which keeps this one small."""
    sys.stdout.flush()
    command = [sys.executable, "-B", str(FOLDER / name), *map(str, arguments)]
    return subprocess.run(command, check=False).returncode


def megabytes_of_rss(usage):
    return usage.ru_maxrss * 1024 / MEGABYTE


def migrate(program, folder, output, slots):
    """Runs the program once and prints its figures; returns the faults found."""
    command = [program, "export.ldif", output, *map(str, slots)]
    with open(folder / "stdout", "wb") as out, open(folder / "stderr", "wb") as err:
        start = time.perf_counter()
        child = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=out,
                                 stderr=err)
        _, status, usage = os.wait4(child.pid, 0)
        seconds = time.perf_counter() - start
    child.returncode = os.waitstatus_to_exitcode(status)

    size = (folder / "export.ldif").stat().st_size / MEGABYTE
    floor = megabytes_of_rss(resource.getrusage(resource.RUSAGE_SELF))
    print(f"slots {slots[0]} {slots[1]}: {seconds:.2f} s wall, "
          f"{usage.ru_utime:.2f} s user, {usage.ru_stime:.2f} s system, "
          f"{size / seconds:.1f} MB/s, peak memory {megabytes_of_rss(usage):.1f} MB "
          f"(at least {floor:.1f} MB)")

    faults = []
    if child.returncode != 0:
        faults.append(f"status {child.returncode}")
    complaints = (folder / "stderr").read_text(errors="backslashreplace")
    if complaints:
        faults.append(f"on standard error: {complaints[:2000]}")
    if (folder / "export.ldif.tmp").exists():
        faults.append("the work file was left behind")
    return faults


def passes_counted(folder):
    """Counts the passes that gathered something, by the notice before each flush."""
    with open(folder / "stdout", "rb") as stream:
        return sum(line.startswith(b"380928313 ") for line in stream)


def shares(total, parts):
    return max(1, -(-total // parts))


def passes_needed(users, groups, slots):
    return max(-(-users // slots[0]), -(-groups // slots[1]))


def run(arguments, folder):
    users, groups = arguments.users, arguments.groups
    options = [option for option in ("--scattered", "--changetype")
               if getattr(arguments, option[2:])]
    export = folder / "export.ldif"
    program = str(pathlib.Path(arguments.program).resolve())
    make_export(program, export, "--users", users, "--groups", groups, "--seed", arguments.seed,
                *options)
    size = export.stat().st_size
    print(f"export: {users} users, {groups} groups, {size / MEGABYTE:.1f} MB, "
          f"{size / users:.0f} bytes a user")

    slots = (shares(users, arguments.passes), shares(groups, arguments.passes))
    faults = migrate(program, folder, "output.ldif", slots)
    counted, needed = passes_counted(folder), passes_needed(users, groups, slots)
    if counted != needed:
        faults.append(f"{counted} gathering passes instead of {needed}")
    if not faults and script("check_migration.py", export, folder / "output.ldif") != 0:
        faults.append("the output does not fit the export")
    if not faults and arguments.passes > 1:
        faults = migrate(program, folder, "single.ldif", (users, max(1, groups)))
        if not faults and script("compare_records.py", folder / "single.ldif",
                                 folder / "output.ldif") != 0:
            faults.append("one pass and many give different records")
    return faults


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("--users", type=int, required=True)
    parser.add_argument("--groups", type=int, help="default: one per fifty users")
    parser.add_argument("--passes", type=int, required=True)
    parser.add_argument("--scattered", action="store_true")
    parser.add_argument("--changetype", action="store_true")
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    if arguments.groups is None:
        arguments.groups = arguments.users // 50

    with tempfile.TemporaryDirectory() as name:
        faults = run(arguments, pathlib.Path(name))
    for fault in faults:
        print(f"FAULT: {fault}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
