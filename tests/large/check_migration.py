#!/usr/bin/env python3
"""Check the output of a migration against the export that it was made from.

    check_migration.py EXPORT OUTPUT

The records that the output has to hold are those of the model, whatever the number of passes. Each
must be there once, with its new DN and every line in its place, and nothing else. Passed-through
entries must come first and credentials last, both in the order of the export; a container follows
its user and a policy its container.

The order of users among each other is left open, since it depends on the number of passes. The
export must be one that migrates without an error; else the reason is printed.
"""

import argparse
import collections
import hashlib
import pathlib
import sys

sys.path.insert(1, sys.path[0] + "/..")
from lib.ldif import records  # noqa: E402
from lib.texts import shown  # noqa: E402
from model.expected import KINDS, BadExport, records_of  # noqa: E402

SHOWN = 10

# A record that is still to come: its kind, a digest of its lines, its place among those of its kind
# and, where it has to follow another record, the DN line of that one.
Awaited = collections.namedtuple("Awaited", "kind digest place predecessor")


def digest(record):
    return hashlib.blake2b(b"\n".join(record), digest_size=16).digest()


def awaited_records(export):
    """The records of the export by their DN lines, and how many there are of each kind."""
    awaited, totals = {}, dict.fromkeys(KINDS, 0)
    previous = None
    for kind, lines, _ in records_of(export):
        predecessor = previous if kind in ("policy container", "policy") else None
        awaited[lines[0]] = Awaited(kind, digest(lines), totals[kind], predecessor)
        totals[kind] += 1
        previous = lines[0]
    return awaited, totals


class Findings:
    """Prints the first few faults and counts them all."""

    def __init__(self):
        self.count = 0

    def add(self, text):
        self.count += 1
        if self.count <= SHOWN:
            print(text)


def section(kind):
    """The third of the output, as a number, in which records of the kind stand."""
    return {"passed through": 0, "credential": 2}.get(kind, 1)


def compare(awaited, output, findings):
    found = dict.fromkeys(KINDS, 0)
    last_place = {"passed through": -1, "credential": -1}
    previous_dn, previous_kind = None, "passed through"
    for record in records(output):
        dn = record[0]
        if dn not in awaited:
            findings.add(f"not expected, or there twice: {shown(dn)}")
            continue
        kind, sum_of_lines, place, predecessor = awaited.pop(dn)
        found[kind] += 1
        if digest(record) != sum_of_lines:
            findings.add(f"other lines than expected: {shown(dn)}")
        if predecessor is not None and predecessor != previous_dn:
            findings.add(f"not behind {shown(predecessor)}: {shown(dn)}")
        if kind in last_place:
            if place < last_place[kind]:
                findings.add(f"not in the order of the export: {shown(dn)}")
            last_place[kind] = place
        if section(kind) < section(previous_kind):
            findings.add(f"{kind} record after a {previous_kind} record: {shown(dn)}")
        previous_dn, previous_kind = dn, kind
    for dn in awaited:
        findings.add(f"missing: {shown(dn)}")
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("export")
    parser.add_argument("output")
    arguments = parser.parse_args()

    try:
        awaited, totals = awaited_records(pathlib.Path(arguments.export).read_bytes())
    except BadExport as reason:
        print(f"{arguments.export} cannot be migrated: {reason}")
        return 2
    findings = Findings()
    found = compare(awaited, arguments.output, findings)
    for kind in KINDS:
        print(f"{kind}: {found[kind]} of {totals[kind]}")
    if findings.count:
        print(f"{findings.count} faults")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
