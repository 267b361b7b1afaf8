#!/usr/bin/env python3
"""Migrate random exports with the program and with the model and compare everything they leave.

    compare_with_model.py PROGRAM --cases N [--seed S] [--profile well-formed|hostile|crowded]
                          [--seconds T] [--keep FOLDER]

Without a profile, cases of all alternate. A case has an export, slot counts, tracing and
DEBUG_ERROR on or off, and sometimes a work file that an earlier run left behind, all of them
decided by its seed: S, S + 1 and so on. Compared are the status, the bytes of the output, of the
work file and of its copy, the messages on standard error by their numbers, and standard output
whole, with numbers in place of the notices. The first case with a difference is made as small as
it can be made with the difference still there, and shown; with --keep its files are written to
FOLDER. The status is 1 when a case differed. With --seconds the run ends after that time at the
latest.
"""

import collections
import random
import sys
import time

sys.path.insert(1, sys.path[0] + "/..")
from lib import campaign  # noqa: E402
from lib.generators import MIGRATING, hostile, well_formed  # noqa: E402
from lib.programs import (EXPORT, MESSAGE, WORK_FILE, beside_messages, messages,  # noqa: E402
                          migrate)
from lib.smallest import smallest  # noqa: E402
from lib.texts import difference  # noqa: E402
from model import migration  # noqa: E402

# `work_file` is what an earlier run left, or None; the flags are those of the runs.
Case = collections.namedtuple("Case", "export work_file slots traced debug_error")
NOTICES = range(380928308, 380928316)
SLOTS = ((1, 1), (1, 1), (2, 1), (1, 3), (3, 2), (5, 5), (1000, 1000), (2000000000, 1),
         (2147483647, 2147483647))


def make_case(seed, profile):
    rng = random.Random(f"comparison {seed}")
    export = MIGRATING[profile](seed)
    left = rng.choices((None, b"", left_behind(rng)), (10, 1, 4))[0]
    if left and rng.random() < 0.2:
        export = b""  # so that the end of what was left behind is the end of the work file
    return Case(export, left, rng.choice(SLOTS), rng.random() < 0.2, rng.random() < 0.5)


def left_behind(rng):
    """A work file of another migration: as staged, partly blank or damaged."""
    other = well_formed.make(rng.randrange(10**6))
    entries = [entry for entry in other.entries if entry.kind != well_formed.PASSED]
    chosen = rng.sample(entries, rng.randint(0, min(4, len(entries))))
    text = b"".join(b"\n".join(entry.lines) + b"\n\n" for entry in chosen)
    damage = rng.choice((None, hostile.truncate, hostile.damage_line, hostile.change_bytes))
    return rng.choice((b"", b"     \r\n\n")) + (damage(rng, text) if damage else text)


def differences(program, case):
    """A text for everything in which program and model differ."""
    run = migrate(program, case.export, case.slots, case.traced, case.debug_error, case.work_file)
    found = []
    # The model takes the clock as an argument; time(2) may lag behind by a second.
    for second in range(run.began - 1, run.ended + 1):
        result = migration.migrate(
            case.export, *case.slots, work_file=case.work_file or b"", traced=case.traced,
            now=time.localtime(second))
        found = list(compare(run, result, case.debug_error))
        if not found or b"installDate: " not in result.output:
            break
    return found


def compare(run, result, debug_error):
    errors = [number for number in result.messages if number not in NOTICES]
    ending = (result.status, errors)
    if (run.status, messages(run.stderr)) != ending or beside_messages(run.stderr):
        yield (f"the program ends with {run.status} and {run.stderr!r}, "
               f"the model with {result.status} and {errors}")
    for name, ours, theirs in (
            ("standard output", MESSAGE.sub(rb"\1\n", run.stdout), printed(result, debug_error)),
            ("output", run.output, result.output), ("work file", run.work, result.work),
            ("copy of the work file", run.snapshot, result.snapshot)):
        if ours != theirs:
            yield difference(f"{name}, by the model", *(
                b"(none)" if text is None else text for text in (theirs, ours)))


def printed(result, debug_error):
    """Standard output by the model, with numbers in place of the notices."""
    parts = []
    for sort, what in result.events:
        if sort == "message":
            parts.append(b"%d\n" % what if what in NOTICES else b"")
        elif sort == "always" or debug_error:
            parts.append(what)
    return b"".join(parts)


def show(program, case, keep):
    """Prints the case after making it small."""
    case = smallest(case, lambda other: bool(differences(program, other)))
    print(f"made small: slots {case.slots}, traced {case.traced}, "
          f"DEBUG_ERROR {case.debug_error}")
    print("export:", *(repr(line)[1:] for line in case.export.splitlines(keepends=True)),
          sep="\n    ")
    if case.work_file is not None:
        print("work file left behind:",
              *(repr(line)[1:] for line in case.work_file.splitlines(keepends=True)), sep="\n    ")
    print(*differences(program, case), sep="\n")
    campaign.keep(keep, EXPORT, case.export)
    campaign.keep(keep, WORK_FILE, case.work_file)


def main():
    arguments = campaign.parse(__doc__, MIGRATING, None)
    cases, failed = 0, 0
    for seed in campaign.seeds(arguments):
        profile = arguments.profile or list(MIGRATING)[seed % len(MIGRATING)]
        case = make_case(seed, profile)
        cases += 1
        found = differences(arguments.program, case)
        if found:
            failed += 1
            campaign.show_failure(arguments, seed, profile, found)
            if failed == 1:
                show(arguments.program, case, arguments.keep)
    print(f"{cases} cases compared with the model, {failed} different")
    return 1 if failed or not cases else 0


if __name__ == "__main__":
    sys.exit(main())
