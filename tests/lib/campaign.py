"""The scripts that try any number of random cases, one for each seed: command line and loop."""

import argparse
import pathlib
import sys
import time

SHOWN = 5  # reasons why a property does not hold


def parse(description, profiles, profile):
    parser = argparse.ArgumentParser(description=description.splitlines()[0])
    parser.add_argument("program")
    parser.add_argument("--cases", type=int, required=True)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--profile", choices=profiles, default=profile)
    parser.add_argument("--seconds", type=float, default=float("inf"))
    parser.add_argument("--keep", type=pathlib.Path)
    arguments = parser.parse_args()
    arguments.program = str(pathlib.Path(arguments.program).resolve())
    return arguments


def seeds(arguments):
    """The seeds of the cases to try, until all are tried or the time is over."""
    end = time.monotonic() + arguments.seconds
    for seed in range(arguments.seed, arguments.seed + arguments.cases):
        if time.monotonic() > end:
            return
        yield seed


def faults(case, properties):
    """The properties that do not hold of the case, each with a text of the first few reasons."""
    found = {}
    for check in properties:
        if reasons := list(check(case))[:SHOWN]:
            found[check] = "\n  ".join([f"{check.__name__}: {' '.join(check.__doc__.split())}",
                                        *reasons])
    return found


def keep(folder, name, content):
    if folder and content is not None:
        folder.mkdir(parents=True, exist_ok=True)
        (folder / name).write_bytes(content)


def show_failure(arguments, seed, profile, found):
    """Prints what is wrong with the case and how to try it again."""
    print(f"FAILED with seed {seed}:", *found, sep="\n")
    print(f"Repeat: {sys.argv[0]} {arguments.program} --cases 1 --seed {seed} "
          f"--profile {profile}", flush=True)
