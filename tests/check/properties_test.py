#!/usr/bin/env python3
"""Check, migrate and verify random exports: the check must predict what the migration does.

    properties_test.py PROGRAM --cases N [--seed S] [--profile PROFILE] [--seconds T]
                       [--keep FOLDER]

PROGRAM migrates; the check is beside it. The profiles are those of tests/properties
(well-formed, hostile, crowded) and sound, of exports in which nothing may be found, and broken, of
such exports with a damage or a few; without one, cases of all alternate. The exports have the seeds
S, S + 1 and so on. A case that fails prints its seed, what is wrong and the command that repeats
it; the first one for each property is made as small as it can be with the property still failing,
and with --keep becomes FOLDER/PROPERTY.ldif. The status is then 1. With --seconds the run ends
after that time at the latest.
"""

import collections
import itertools
import re
import resource
import sys

sys.path.insert(1, sys.path[0] + "/..")
from predictions import PROPERTIES, examine  # noqa: E402
from lib import campaign  # noqa: E402
from lib.generators import PROFILES  # noqa: E402
from lib.programs import CLEAN, checker_of  # noqa: E402
from lib.smallest import shorter  # noqa: E402

MOST_MEMORY = 512 * 2**20  # by far enough for any small export, with a sanitizer as well
Exported = collections.namedtuple("Exported", "export")


def nothing_is_found(case):
    """In a sound export nothing is found."""
    if case.before.status != CLEAN:
        yield f"found: {case.before.stdout}"


def entries_of(text):
    return re.findall(rb"(?s).+?(?:\n\n|\Z)", text)


def without_pairs(case, fails):
    """Leaves out two entries at a time, which are often those of one owner."""
    entries = entries_of(case.export)
    for pair in itertools.combinations(range(len(entries)), 2):
        kept = [b"" if place in pair else entry for place, entry in enumerate(entries)]
        if all(entries[place] for place in pair) and fails(Exported(b"".join(kept))):
            entries = kept
    return Exported(b"".join(entries))


def show_smallest(programs, export, check, keep):
    """Prints the export with as much left out as can be with the property still failing.

    Entries are left out, then lines, and no bytes: it should still look like an export.
    """
    def fails(other):
        return list(check(examine(*programs, other.export)))

    small = shorter(Exported(export), "export", entries_of, fails)
    small = without_pairs(small, fails)
    small = shorter(small, "export", lambda text: text.splitlines(keepends=True), fails)
    print("made small:", *(repr(line)[1:] for line in small.export.splitlines(keepends=True)),
          sep="\n    ")
    print(*campaign.faults(examine(*programs, small.export), [check]).values(), sep="\n")
    campaign.keep(keep, f"{check.__name__}.ldif", small.export)


def main():
    arguments = campaign.parse(__doc__, PROFILES, None)
    programs = (arguments.program, checker_of(arguments.program))
    endings, failed, made_small = collections.Counter(), 0, set()
    for seed in campaign.seeds(arguments):
        profile = arguments.profile or list(PROFILES)[seed % len(PROFILES)]
        export = PROFILES[profile](seed)
        case = examine(*programs, export)
        endings[ending(case) if case.before.document else "not checked"] += 1
        found = campaign.faults(case, (*PROPERTIES, *[nothing_is_found] * (profile == "sound")))
        if found:
            failed += 1
            campaign.show_failure(arguments, seed, profile, found.values())
            for check in found.keys() - made_small:
                made_small.add(check)
                show_smallest(programs, export, check, arguments.keep)
    for what, count in endings.most_common():
        print(f"{count:9} {what}")
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024
    print(f"{endings.total()} exports, {failed} failed; at most {peak / 2**20:.0f} MiB held")
    return 1 if failed or not endings or peak > MOST_MEMORY else 0


def ending(case):
    """What became of the case, for the count."""
    severities = {found["severity"] for found in case.before.document["findings"]}
    return "with findings: " + " and ".join(sorted(severities)) if severities else "clean"


if __name__ == "__main__":
    sys.exit(main())
