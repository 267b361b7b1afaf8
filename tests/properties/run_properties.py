#!/usr/bin/env python3
"""Migrate random exports in several ways and check what must hold of every migration.

    run_properties.py PROGRAM --cases N [--seed S] [--profile well-formed|hostile|crowded]
                      [--seconds T] [--keep FOLDER]

The exports have the seeds S, S + 1 and so on. A case that fails prints its seed, what is wrong and
the command that repeats it; the status is then 1. With --seconds the run ends after that time at
the latest. With --keep the export of the first case that failed becomes FOLDER/input.ldif. At
the end the lines of all exports are counted, by the rule that put them where they are, or for
other than well-formed exports their endings.
"""

import collections
import random
import sys

sys.path.insert(1, sys.path[0] + "/..")
from lib import campaign  # noqa: E402
from lib.generators import MIGRATING, well_formed  # noqa: E402
from lib.programs import EXPORT, migrate  # noqa: E402
import properties  # noqa: E402
from properties import Case, HostileCase, Trial  # noqa: E402

LARGE = (1000, 1000)


def well_formed_case(program, seed, tally):
    export = well_formed.make(seed)
    rng = random.Random(f"runs of {seed}")
    text = well_formed.text_of(export)
    shuffled = rng.sample(export.entries, len(export.entries))
    small = (rng.randint(1, 4), rng.randint(1, 3))

    def trial(slots, entries=export.entries, text=text, watched=False):
        return Trial(migrate(program, text, slots, watched=watched), text, entries, slots)

    return Case(export.owners, tally, trial(LARGE), trial(small), trial(small, watched=True),
                trial((rng.randint(1, 8), rng.randint(1, 4)), shuffled,
                      well_formed.text_of(export, shuffled)))


def hostile_case(program, profile, seed, tally):
    text = MIGRATING[profile](seed)
    slots = random.Random(f"runs of {seed}").choice(((1, 1), (2, 1), (3, 3), LARGE))
    runs = [migrate(program, text, slots, watched=watched) for watched in (False, True)]
    tally[f"that end with status {runs[0].status}"] += 1
    return HostileCase(*(Trial(run, text, None, slots) for run in runs))


def make_case(program, profile, seed, tally):
    """The case, with the properties that must hold of it."""
    if profile == "well-formed":
        return well_formed_case(program, seed, tally), properties.PROPERTIES
    return hostile_case(program, profile, seed, tally), properties.HOSTILE_PROPERTIES


def show(tally, counted):
    """Prints how many of what was counted fell under each rule."""
    for rule, count in tally.most_common():
        print(f"{count:9} {counted} {rule}")


def main():
    arguments = campaign.parse(__doc__, MIGRATING, "well-formed")
    tally, states, cases, failed = collections.Counter(), 0, 0, 0
    for seed in campaign.seeds(arguments):
        case, checks = make_case(arguments.program, arguments.profile, seed, tally)
        cases += 1
        states += len(case.watched.run.seen)
        found = campaign.faults(case, checks)
        if found:
            failed += 1
            campaign.show_failure(arguments, seed, arguments.profile, found.values())
            if failed == 1:
                campaign.keep(arguments.keep, EXPORT, case.watched.text)
    show(tally, "lines" if arguments.profile == "well-formed" else "exports")
    print(f"{cases} {arguments.profile} exports, {failed} failed; {states} states of work files "
          "were seen during passes")
    return 1 if failed or not cases else 0


if __name__ == "__main__":
    sys.exit(main())
