"""The workloads of the benchmarks: their exports, counts and targets.

A workload is measured against others by its targets; `needs` names these. Figures are what
run_bench.py has measured of a workload.
"""

import collections
import functools
import shutil

from lib.generators import alike
from lib.programs import make_export
from lib.testcase import EXAMPLES
import long_entries

EXAMPLE = EXAMPLES / "export.ldif"
USERS, MOST_GROUPS, USERS_PER_GROUP = 100000, 10000, 50
POLICY_LINES = (25000, 50000, 100000)
LONG_MERGE_LINES = 32000
ENTRY_LINES = (62500, 125000, 249999)
NUMBERED_NAMES, BRACKETED_NAMES = 1000000, 32000
NAMESAKES, FINDINGS = 40000, 40000
MIB = 2**20

# `write` is called with the program and the path.
Export = collections.namedtuple("Export", "name write")
# What a workload measures is a migration, or the check before or after it.
MIGRATE, CHECK, VERIFY = "migrate", "check", "verify"
Workload = collections.namedtuple(
    "Workload", "name export counts targets needs traced counts_instructions what",
    defaults=((), False, True, MIGRATE))

# What a value must be at most or at least, both worked out from the figures of all workloads, by
# their names, and both shown in the given unit.
Target = collections.namedtuple("Target", "unit value limit is_least", defaults=(False,))


def generated(users, *options):
    def write(program, path):
        make_export(program, path, "--users", users, *options)

    return Export("-".join(["users", str(users), *(option[2:] for option in options)]), write)


def long_export(name, writer, *arguments):
    return Export("-".join([name, *map(str, arguments)]),
                  lambda _, path: writer(path, *arguments))


def copy_example(_, path):
    shutil.copyfile(EXAMPLE, path)


EXAMPLE_EXPORT = Export("example", copy_example)


def of(name, figure):
    return lambda figures: getattr(figures[name], figure)


def times(name, other):
    return lambda figures: figures[name].wall / figures[other].wall


def times_per_byte(name, other):
    """Without the time that a run takes whatever the size."""
    def value(figures):
        trivial = figures[f"{other}-example"].wall

        def per_byte(figure):
            return (figure.wall - trivial) / figure.size

        return per_byte(figures[name]) / per_byte(figures[other])

    return value


def peak(name):
    return lambda figures: figures[name].peak / MIB


def growth(smallest, largest):
    """The time for a line of the largest by that of the smallest; both have as many lines."""
    def value(figures):
        trivial = figures["example"].wall
        return (figures[largest].wall - trivial) / (figures[smallest].wall - trivial)

    return value


def at_most(limit, unit, value):
    return Target(unit, value, lambda _: limit)


def shared(total, passes):
    return max(1, -(-total // passes))


def long_workloads(name, writer, lengths, total_lines, scale):
    """The same number of lines in ever longer entries."""
    names = [f"{name}-{length}" for length in lengths]
    export = functools.partial(long_export, name, writer)
    listed = [Workload(names[i], export(length // scale, total_lines // scale), (1000, 1000), [])
              for i, length in enumerate(lengths)]
    listed[-1] = listed[-1]._replace(needs=["example", *names[:-1]], targets=[
        at_most(1.5, f"x a line of {names[0]}", growth(names[0], names[-1]))])
    return listed


def name_workloads(kind, total, scale):
    """Users whose names are much alike, and as many with plain names."""
    users = total // scale

    def named(kind):
        export = long_export("names", long_entries.write_names, kind, users)
        return Workload(f"{kind}-names-{total}", export, (users, 10), [])

    plain, alike = named("plain"), named(kind)
    return [plain, alike._replace(needs=[plain.name], targets=[
        at_most(1.3, f"x {plain.name}", times(alike.name, plain.name))])]


def check_workloads(name, what, export, users):
    """The check of the export and of the example, which takes no time for its size."""
    trivial = f"{name}-example"
    # Every tenth user has a resource credential in a container.
    most = 4 * MIB + 100 * (users + users // USERS_PER_GROUP) + 10 * (users // 5)
    return [
        Workload(name, export, (users, users), [
            at_most(2, "x one-pass", times(name, "one-pass")),
            at_most(most / MIB, "MiB", peak(name))],
            ["one-pass", trivial], what=what),
        Workload(trivial, EXAMPLE_EXPORT, (10, 10), [], what=what)]


def hostile_workload(name, other, what, export):
    """The check of an export in which many entries or lines have something in common."""
    return Workload(name, export, (NAMESAKES, 10), [
        at_most(2, f"x a byte of {other}", times_per_byte(name, other))],
        ["one-pass", f"{other}-example", other], what=what)


def workloads(scale):
    """All workloads by their names, with so many times fewer users and shorter entries."""
    users = max(1, USERS // scale)

    def counts(passes):
        return shared(users, passes), shared(MOST_GROUPS // scale, passes)

    clustered = generated(users)
    listed = [
        Workload("one-pass", clustered, counts(1), [
            at_most(4, "x floor", of("one-pass", "floor")),
            Target("MB/s", of("one-pass", "rate"), lambda _: 200, True),
            Target("MiB", peak("one-pass"),
                   lambda figures: 1.7 * figures["one-pass"].gathered / MIB + 32)]),
        Workload("16-passes", clustered, counts(16), [
            at_most(3, "x one-pass", times("16-passes", "one-pass")),
            Target("MiB", peak("16-passes"),
                   lambda figures: figures["one-pass"].peak / MIB / 12 + 32)],
            ["one-pass"]),
        Workload("64-passes", clustered, counts(64), [
            at_most(8, "x one-pass", times("64-passes", "one-pass"))], ["one-pass"]),
        Workload("scattered", generated(users, "--scattered"), counts(1), [
            at_most(1.2, "x one-pass", times("scattered", "one-pass"))], ["one-pass"]),
        Workload("million", generated(10 * users), (10 * users, 10 * MOST_GROUPS), [
            at_most(11, "x one-pass", times("million", "one-pass"))], ["one-pass"],
            counts_instructions=False),
        *long_workloads("long-policy", long_entries.write_long_policies, POLICY_LINES, 1600000,
                        scale),
        *long_workloads("long-entry", long_entries.write_long_users, ENTRY_LINES, 1000000, scale),
        Workload("merge", long_export("merge", long_entries.write_merge, 1000), (10, 10), [
            at_most(0.05, "s", of("merge", "wall"))]),
        Workload("long-merge",
                 long_export("merge", long_entries.write_merge, LONG_MERGE_LINES // scale),
                 (10, 10), [at_most(0.5, "s", of("long-merge", "wall"))]),
        *name_workloads("numbered", NUMBERED_NAMES, scale),
        *name_workloads("bracketed", BRACKETED_NAMES, scale),
        Workload("example", EXAMPLE_EXPORT, (10, 10), [
            at_most(0.01, "s", of("example", "wall")),
            at_most(8, "MiB", peak("example"))]),
        Workload("traced", generated(max(1, 10000 // scale)), (10000, 1000), [
            at_most(20, "s", of("traced", "wall"))], traced=True, counts_instructions=False),
        *check_workloads("check", CHECK, clustered, users),
        *check_workloads("verify", VERIFY, clustered, users),
        hostile_workload("check-findings", "check", CHECK, long_export(
            "findings", alike.write_policy, FINDINGS // scale)),
        hostile_workload("verify-namesakes", "verify", VERIFY, long_export(
            "namesakes", alike.write_namesakes, NAMESAKES // scale)),
    ]
    return {workload.name: workload for workload in listed}
