"""The exports of the fault tests, and what a run that nobody disturbs makes of each.

An export is a text with the arguments to migrate it; `NAMES` are those of the four:

    example   examples/export.ldif in one pass
    passes    a generated export in four passes; its entries are long enough that every phase of the
              run, the copying of resource credentials included, fills the buffers of the output and
              of the work file, and that entries are read again to be blanked or stepped over
    traced    examples/export.ldif with one slot each, in two passes, traced
    over      the same, over an output and a trace of an earlier run

What an undisturbed run makes is only taken as a measure once it has been compared with
examples/migrated.ldif, or with what tests/large/check_migration.py derives from the export.
"""

import collections
import functools
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from lib.programs import make_export
from lib.testcase import EXAMPLES, REPOSITORY

CHECK_MIGRATION = REPOSITORY / "tests" / "large" / "check_migration.py"

INPUT, OUTPUT, WORK, TRACE = "input.ldif", "output.ldif", "input.ldif.tmp", "trace.txt"
SNAPSHOT = "TEMPORARY_INPUT_LDIF_FILE"
TIME_LIMIT_SECONDS = 120

# Additional lines in the entries of a class of the export named passes.
PADDING = {"objectclass: inetOrgPerson": 3, "objectclass: secUser": 8,
           "objectclass: secResCreds": 50}

Export = collections.namedtuple("Export", "text slots traced gathering_passes is_over",
                                defaults=(False,))

# What an output and a trace of an earlier run hold.
OLD = b"of an earlier run\n" * 100

# What a run leaves; files that are not there are None.
Files = collections.namedtuple("Files", "input output work trace snapshot")
Run = collections.namedtuple("Run", "status stdout stderr files")

# An undisturbed run, the work file as staging leaves it, how much of the output there is after
# staging and after each pass, and whether files of an earlier run were in its way.
Undisturbed = collections.namedtuple("Undisturbed", "run staged passed_through flushed is_over",
                                     defaults=(False,))


def example_text():
    return (EXAMPLES / "export.ldif").read_bytes()


def generated_text(program, users, groups, padding):
    """An export whose entries have more lines of 3,000 bytes, as `padding` has it for a class."""
    with tempfile.TemporaryDirectory() as folder:
        made = pathlib.Path(folder) / "made"
        make_export(program, made, "--users", users, "--groups", groups, "--scattered")
        text = made.read_text(encoding="utf-8")
    entries = []
    for entry in text.rstrip("\n").split("\n\n"):
        for line, count in padding.items():
            if f"\n{line}\n" in entry:
                entry += "".join(f"\npad{number:02d}: {'x' * 2993}" for number in range(count))
        entries.append(entry + "\n\n")
    return "".join(entries).encode()


NAMES = ("example", "passes", "traced", "over")
EXAMPLE = Export(example_text(), ("10", "10"), False, 1)


@functools.lru_cache
def export_named(name, program):
    """The export of that name; one that has to be generated comes from the program's build."""
    if name == "passes":
        return Export(generated_text(program, 48, 8, PADDING), ("12", "2"), False, 4)
    if name in ("traced", "over"):
        return Export(EXAMPLE.text, ("1", "1"), True, 2, name == "over")
    return EXAMPLE


def migrated_example():
    return (EXAMPLES / "migrated.ldif").read_bytes()


def environment(**changes):
    """The environment without what changes the notices, and with `changes`."""
    return {name: value for name, value in {**os.environ, **changes}.items()
            if name != "DEBUG_ERROR"}


def arguments(export, traced):
    return [INPUT, OUTPUT, *export.slots, *([TRACE] if traced else [])]


def read_or_none(path):
    return path.read_bytes() if path.is_file() else None  # a device may have no end


def files_of(folder):
    return Files(*(read_or_none(folder / name) for name in (INPUT, OUTPUT, WORK, TRACE, SNAPSHOT)))


def run_in(folder, program, export, traced=None, **options):
    """Migrates the export in `folder`; the options are those of subprocess.run."""
    (folder / INPUT).write_bytes(export.text)
    if export.is_over:
        (folder / OUTPUT).write_bytes(OLD)
        (folder / TRACE).write_bytes(OLD)
    traced = export.traced if traced is None else traced
    settings = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "env": environment(),
                **options}
    ended = subprocess.run([program, *arguments(export, traced)], cwd=folder, check=False,
                           stdin=subprocess.DEVNULL, timeout=TIME_LIMIT_SECONDS, **settings)
    return Run(ended.returncode, ended.stdout, ended.stderr, files_of(folder))


def run_undisturbed(program, export, traced):
    with tempfile.TemporaryDirectory() as folder:
        return run_in(pathlib.Path(folder), program, export, traced)


def lengths(output):
    """How long the output is after staging and after each pass, by the order of its records.

    Users, with their policies, come before the groups in every pass, and every pass but the last
    must have both; resource credentials come last.
    """
    passed_through, flushed, previous = None, [], None
    for match in re.finditer(rb"^dn: .*$", output, re.MULTILINE):
        dn = match.group()
        if b"principalName=" in dn:
            kind = "user"
        elif b",cn=Groups,secAuthority=" in dn and dn.startswith(b"dn: cn="):
            kind = "group"
        elif b"cn=ResCreds," in dn:
            kind = "credential"
        else:
            continue
        if passed_through is None:
            passed_through = match.start()
        elif (previous, kind) == ("group", "user") or (kind == "credential" != previous):
            flushed.append(match.start())
        previous = kind
    return passed_through, flushed


def fits_export(files):
    """Whether the output holds what tests/large/check_migration.py derives from the input."""
    with tempfile.TemporaryDirectory() as folder:
        for name, content in ((INPUT, files.input), (OUTPUT, files.output)):
            (pathlib.Path(folder) / name).write_bytes(content)
        checked = subprocess.run(
            [sys.executable, "-B", CHECK_MIGRATION, INPUT, OUTPUT], cwd=folder,
            stdout=subprocess.DEVNULL, check=False)
    return checked.returncode == 0


def is_migrated(name, files):
    if name == "passes":
        return fits_export(files)
    if name in ("traced", "over"):  # in two passes, the same records come in another order
        return sorted(files.output.split(b"\n\n")) == sorted(migrated_example().split(b"\n\n"))
    return files.output == migrated_example()


def undisturbed(program, name):
    """Migrates an export without a fault; ends this script when that does not go well."""
    export = export_named(name, program)
    run = run_undisturbed(program, export, export.traced)
    if run.status != 0 or run.stderr or not is_migrated(name, run.files):
        sys.exit(f"the export {name} is not migrated as it should be: {run.stderr.decode()}")
    # Tracing is off while staging works, so that the copy made behind it holds for both.
    staged = run_undisturbed(program, export, True).files.snapshot
    passed_through, flushed = lengths(run.files.output)
    if len(flushed) != export.gathering_passes:
        sys.exit(f"the export {name} takes {len(flushed)} passes")
    return Undisturbed(run, staged, passed_through, flushed, export.is_over)
