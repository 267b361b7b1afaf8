#!/usr/bin/env python3
"""Measure what migrations take, and print a table of it in Markdown.

    run_bench.py PROGRAM [--folder DIR] [--only NAME[,NAME...]] [--runs N] [--million] [--small]
                 [--baseline PROGRAM] [--no-instructions]

Each workload migrates an export N times (5 if not given), taking turns with `floor`, which does the
file traffic of that migration and nothing else, and with a copy of the export that is on disk when
it ends. Those named `check` and `verify` check the export, before a migration and
after it, and have no floor or copy. The columns are:

    wall, CPU       seconds by the clock and of the processor: the median
    MB/s            of the export
    x floor, x cp   the median of what each run's time is to that of floor and copy right before it
    peak            the most memory held by any run, in MiB
    per byte        the same for each byte of the entries that are gathered, which are those of the
                    work file without the resource credentials
    instr./line     instructions for each line of the export, counted by callgrind on an export
                    that is fifty times smaller, with the same number of passes

All runs of a workload must end with status 0 and give the same output. With --baseline, messages,
output and trace must also be those of that other build. The exports are made in DIR and kept there
for the next time, or else in a temporary folder. --only chooses workloads; what these are compared
with is run as well. --million adds the workload that needs 8 GB of disk, --small makes everything
fifty times smaller. The status is 0 when all runs went as they must, whether or not they meet their
targets.
"""

import argparse
import os
import pathlib
import shutil
import statistics
import sys
import tempfile

sys.path.insert(1, sys.path[0] + "/../tests")
from runs import Faulty, Runner  # noqa: E402
from workloads import MIB, MIGRATE, workloads  # noqa: E402

SMALLER = 50
HEADINGS = ("workload", "MB", "wall", "CPU", "MB/s", "x floor", "x cp", "peak", "per byte",
            "instr./line", "targets")
LEAST_GATHERED = MIB  # below, the program itself is most of the memory


class Figures:
    """What has been measured of one workload."""

    def __init__(self, traffic):
        self.size, self.gathered = traffic.export, traffic.gathered
        self.usages, self.floor_ratios, self.copy_ratios = [], [], []
        self.instructions = None

    def add(self, usage):
        self.usages.append(usage)

    def compare(self, usage, floor_seconds, copy_seconds):
        self.floor_ratios.append(usage.wall / floor_seconds)
        self.copy_ratios.append(usage.wall / copy_seconds)

    wall = property(lambda self: statistics.median(usage.wall for usage in self.usages))
    cpu = property(lambda self: statistics.median(usage.cpu for usage in self.usages))
    peak = property(lambda self: max(usage.peak for usage in self.usages))
    rate = property(lambda self: self.size / 1e6 / self.wall)
    floor = property(lambda self: statistics.median(self.floor_ratios))
    copy = property(lambda self: statistics.median(self.copy_ratios))


def note(text):
    if sys.stderr.isatty():
        print(text, file=sys.stderr)


def chosen(arguments, scale):
    """The workloads to run: those that are asked for, and what they are compared with."""
    known = workloads(scale)
    names = [name for name in known if name != "million" or arguments.million]
    if arguments.only:
        names = [name for name in known
                 if any(name == asked or name.startswith(asked + "-") for asked in arguments.only)]
        if not names:
            sys.exit(f"no such workload; there are: {', '.join(known)}")
    needed = {*names, *(other for name in names for other in known[name].needs)}
    return [workload for name, workload in known.items() if name in needed]


def run_first(runner, listed, baseline):
    figures = {}
    for workload in listed:
        note(f"{workload.name}: first run")
        runner.run_first(workload)
        figures[workload.name] = Figures(runner.traffic[workload.name])
        if baseline and workload.what == MIGRATE:
            runner.migrate(workload, baseline)
    return figures


def measure(runner, listed, figures, runs):
    """Rounds over all workloads: what disturbs the machine for a while disturbs them alike."""
    for i in range(runs):
        for workload in listed:
            note(f"{workload.name}: run {i + 1} of {runs}")
            others = ((runner.floor(workload), runner.copy(workload))
                      if workload.what == MIGRATE else None)
            usage = runner.run(workload)
            figures[workload.name].add(usage)
            if others:
                figures[workload.name].compare(usage, *others)


def count_instructions(runner, listed, figures, scale):
    smaller = workloads(scale)
    for workload in listed:
        if workload.counts_instructions:
            note(f"{workload.name}: callgrind")
            figures[workload.name].instructions = runner.instructions(smaller[workload.name])


def short(number):
    return f"{number:.3g}" if number < 100 else f"{number:.0f}"


def verdict(target, figures):
    value, limit = target.value(figures), target.limit(figures)
    met = value >= limit if target.is_least else value <= limit
    return (f"{'at least' if target.is_least else 'at most'} {short(limit)} {target.unit}: "
            f"{short(value)}, {'met' if met else '**missed**'}")


def row(workload, figures):
    own = figures[workload.name]
    ratios = (short(own.floor), short(own.copy)) if own.floor_ratios else ("", "")
    return (workload.name, short(own.size / 1e6), short(own.wall), short(own.cpu), short(own.rate),
            *ratios, short(own.peak / MIB),
            short(own.peak / own.gathered) if own.gathered >= LEAST_GATHERED else "",
            "" if own.instructions is None else short(own.instructions),
            "; ".join(verdict(target, figures) for target in workload.targets))


def print_table(listed, figures):
    rows = [HEADINGS, ["---"] * len(HEADINGS), *(row(workload, figures) for workload in listed)]
    for cells in rows:
        print("| " + " | ".join(cells) + " |")


def run(arguments, folder):
    scale = SMALLER if arguments.small else 1
    listed = chosen(arguments, scale)
    runner = Runner(arguments.program, folder)
    figures = run_first(runner, listed, arguments.baseline)
    measure(runner, listed, figures, arguments.runs)
    if arguments.instructions:
        count_instructions(runner, listed, figures, scale * SMALLER)
    print_table(listed, figures)
    print(f"\n{arguments.runs} runs each. All migrations of a workload gave the same output.")
    if arguments.baseline:
        print("Output, messages and status were those of the baseline in every migration.")


def program(name):
    if shutil.which(os.path.abspath(name)) is None:
        raise argparse.ArgumentTypeError(f"there is no program {name}")
    return pathlib.Path(name).resolve()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=program)
    parser.add_argument("--folder", type=pathlib.Path)
    parser.add_argument("--only", type=lambda names: names.split(","))
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--million", action="store_true")
    parser.add_argument("--small", action="store_true")
    parser.add_argument("--baseline", type=program)
    parser.add_argument("--no-instructions", dest="instructions", action="store_false")
    arguments = parser.parse_args()
    if arguments.instructions and shutil.which("valgrind") is None:
        parser.error("valgrind is not there; --no-instructions goes without")
    try:
        if arguments.folder:
            arguments.folder.mkdir(parents=True, exist_ok=True)
            run(arguments, arguments.folder.resolve())
        else:
            with tempfile.TemporaryDirectory() as folder:
                run(arguments, pathlib.Path(folder))
    except Faulty as reason:
        sys.exit(f"run_bench.py: {reason}")


if __name__ == "__main__":
    main()
