"""What must hold of every export: the check predicts what the migration does with it.

A case is an export with everything that came of it. Each property is a function that yields a text
for everything that is not as it should be.
"""

import collections
import os
import pathlib
import tempfile

from lib.programs import CLEAN, FOUND, check, kinds, messages, migrate
from lib.texts import shown
from model.entry import without_blanks_at_commas
from reading import classes, entries

GATHERED = 380928313
# Names that the migration drops or sets anew.
DROPPED = (b"dn", b"objectclass", b"kvo-entryuuid", b"aclentry", b"acl", b"aci", b"aclpropagate",
           b"control", b"version")
ALL = ("--json", "--limit", "1000000")

# What came of an export: the check's runs before and after, the migration in between with the
# counts that the check suggests, and whether the check left its surroundings unchanged. There is no
# run after when the migration has failed.
Case = collections.namedtuple("Case", "export before slots migration after untouched")


def examine(program, checker, export):
    with tempfile.TemporaryDirectory(prefix="predictions-") as name:
        folder = pathlib.Path(name)
        path, output = folder / "export.ldif", folder / "output.ldif"
        path.write_bytes(export)
        surroundings = state(folder)
        before = check(checker, path, options=ALL)
        untouched = state(folder) == surroundings
        if before.document is None:
            return Case(export, before, None, None, None, untouched)
        slots = recommended(before)
        # A traced run leaves its work file, and differs from others in nothing else.
        migration = migrate(program, export, slots, traced=True)
        after = None
        if migration.status == 0:
            output.write_bytes(migration.output)
            surroundings = state(folder)
            after = check(checker, path, output, ALL)
            untouched = untouched and state(folder) == surroundings
        return Case(export, before, slots, migration, after, untouched)


def state(folder):
    """What is in the folder, with times and contents."""
    return {entry.name: (entry.stat().st_mtime_ns, entry.stat().st_size,
                         pathlib.Path(entry).read_bytes()) for entry in os.scandir(folder)}


def recommended(before):
    run = before.document["run"]
    return run["users"], run["groups"]


def ends_as_it_must(case):
    """The check ends with 0 when there is nothing to find and else with 1, prints nothing to
    standard error, and leaves export and folder as they were."""
    for run in filter(None, (case.before, case.after)):
        if run.document is None or run.stderr or (
                run.status != (FOUND if run.document["findings"] else CLEAN)):
            yield f"status {run.status}, on standard error: {shown(run.stderr)}"
    if not case.untouched:
        yield "the check changed its surroundings"


def nothing_found_means_a_good_migration(case):
    """Where nothing is found, the migration with the recommended counts ends with 0, and its
    output is verified."""
    if case.before.status == CLEAN:
        if case.migration.status:
            yield f"the migration ends with {shown(case.migration.stderr)}"
        elif case.after.status != CLEAN:
            yield f"not verified: {shown(case.after.stdout)}"


def failures_are_predicted(case):
    """Where the migration fails, a finding says so, with the number of its message."""
    if case.migration and case.migration.status:
        if not kinds(case.before, "ends"):
            yield f"no finding that ends it: {shown(case.migration.stderr)}"
            return
        predicted = {one.get("message") for found in case.before.document["findings"]
                     if found["severity"] == "ends" for one in found["shown"]}
        came = set(messages(case.migration.stderr))
        if not came <= predicted:
            yield f"ends with {came} where {predicted} was predicted"


def predicted_failures_come(case):
    """Where a finding says that the migration fails, it does."""
    if case.migration and case.migration.status == 0 and kinds(case.before, "ends"):
        yield f"ends with 0 in spite of {kinds(case.before, 'ends')}"


def differences_are_predicted(case):
    """Where the migration ends with 0, but its output is not what the export gives, a finding
    has said that something would be changed or lost."""
    if case.after and case.after.status != CLEAN and not kinds(case.before, "changes"):
        yield f"not predicted: {shown(case.after.stdout)}"


def passes_are_as_predicted(case):
    """A migration takes as many passes as the check predicts."""
    if case.after:
        counted = messages(case.migration.stdout).count(GATHERED)
        if counted != case.before.document["run"]["passes"]:
            yield f"{counted} passes, not {case.before.document['run']['passes']}"


def losses_are_predicted(case):
    """Every value of the export is somewhere in the output, but for those that are dropped on
    purpose by their names; or a finding names the entry that it is from. The parts of an
    attribute that breaks may take the place of values of other entries."""
    if (case.migration and case.migration.status == 0
            and "long-attribute-broken" not in kinds(case.before)):
        kept = {value for entry in entries(case.migration.output) for value in values(entry)}
        found_at = {one.get("line", 0) for found in case.before.document["findings"]
                    for one in found["shown"]}
        for entry in entries(case.export):
            lost = values(entry) - kept
            # A second DN line parts entries here, but not in the migration: it is found as well.
            if (lost and b"secpolicydata" not in classes(entry)
                    and not found_at.intersection(range(entry.first, entry.last + 2))):
                yield f"lost of lines {entry.first} to {entry.last}: {lost}"


def disk_space_suffices(case):
    """Work file and output of a migration that ends with 0 take at most the disk space that the
    check predicts, and the work file all of it."""
    if case.migration and case.migration.status == 0:
        disk = case.before.document["disk"]
        if len(case.migration.output) > disk["output"]:
            yield f"an output of {len(case.migration.output)} bytes, not {disk['output']}"
        if len(case.migration.work) != disk["workFile"]:
            yield f"a work file of {len(case.migration.work)} bytes, not {disk['workFile']}"


def values(entry):
    """The names and values of the entry that must not be lost."""
    return {(one.name, comparable(one)) for one in entry.attributes if one.name not in DROPPED}


def comparable(attribute):
    """The value; names of owners and domains are the same in every case and with any blanks."""
    if attribute.name == b"secauthority":
        return attribute.value.lower().rstrip(b" ")
    if attribute.name == b"secdn":
        return without_blanks_at_commas(attribute.value.lower()).rstrip(b" ")
    return attribute.value


PROPERTIES = (ends_as_it_must, nothing_found_means_a_good_migration, failures_are_predicted,
              predicted_failures_come, differences_are_predicted, passes_are_as_predicted,
              losses_are_predicted, disk_space_suffices)
