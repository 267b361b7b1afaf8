#!/usr/bin/env python3
"""Compare whether two LDIF files hold the same records, in whatever order.

    compare_records.py A B

A record that occurs twice in one file has to occur twice in the other. The first few records
that differ are printed, and the status is 1. Only a digest of each record is held in memory.
"""

import argparse
import hashlib
import sys

sys.path.insert(1, sys.path[0] + "/..")
from lib.ldif import records  # noqa: E402

SHOWN = 5


def digest(record):
    return hashlib.blake2b(b"\n".join(record), digest_size=16).digest()


def count_records(path, counts, step):
    total = 0
    for record in records(path):
        key = digest(record)
        count = counts.get(key, 0) + step
        if count:
            counts[key] = count
        else:
            del counts[key]
        total += 1
    return total


def show_surplus(path, surplus):
    """Prints the first few records of the file that the other file lacks."""
    shown = 0
    for record in records(path):
        key = digest(record)
        if surplus.get(key, 0) > 0:
            surplus[key] -= 1
            print(f"only in {path}:")
            for line in record:
                print("    " + line.decode("utf-8", "backslashreplace"))
            shown += 1
            if shown == SHOWN:
                return


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("a")
    parser.add_argument("b")
    arguments = parser.parse_args()

    counts = {}
    total_a = count_records(arguments.a, counts, 1)
    total_b = count_records(arguments.b, counts, -1)
    if not counts:
        print(f"{total_a} records, all equal")
        return 0
    only_a = sum(count for count in counts.values() if count > 0)
    only_b = sum(-count for count in counts.values() if count < 0)
    show_surplus(arguments.a, counts)
    show_surplus(arguments.b, {key: -count for key, count in counts.items()})
    print(f"{arguments.a}: {total_a} records, {only_a} of them nowhere in the other")
    print(f"{arguments.b}: {total_b} records, {only_b} of them nowhere in the other")
    return 1


if __name__ == "__main__":
    sys.exit(main())
