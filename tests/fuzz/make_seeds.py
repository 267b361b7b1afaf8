#!/usr/bin/env python3
"""Makes the fuzz targets' first inputs from the end-to-end cases.

    make_seeds.py FOLDER

Every case becomes one file in FOLDER: a byte for tracing and echo, a byte for the slot counts, the
work file that was left behind, if any, and the export, as pipeline_fuzz.cpp and harness.h describe
them. Cases that are too large for the fuzzer to change them with profit are left out.
"""

import pathlib
import sys

CASES = pathlib.Path(__file__).resolve().parent.parent / "e2e"
sys.path.insert(0, str(CASES))
sys.dont_write_bytecode = True

from run_cases import Case  # noqa: E402, found by the line above

MOST_BYTES = 4000
END_OF_WORK_FILE = b"\x1d"


def slot_bits(count):
    """Four bits for a slot count of the command line: one less, or 15 for all that is larger."""
    return min(int(count) - 1, 15) if count.isdigit() and int(count) > 0 else 0


def seed(case):
    """The bytes of the fuzz input for `case`, or None when it has no export."""
    if "input.ldif" not in case.given or len(case.arguments) not in (4, 5):
        return None
    users, groups = (slot_bits(count) for count in case.arguments[2:4])
    tracing = 1 if len(case.arguments) == 5 else 0
    echo = 2 if "DEBUG_ERROR" in case.environment else 0
    left_over = case.given.get("input.ldif.tmp")
    return b"".join([bytes([tracing + echo, users | groups << 4]),
                     b"" if left_over is None else left_over + END_OF_WORK_FILE,
                     case.given["input.ldif"]])


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    for path in sorted(CASES.glob("*/*.case")):
        content = seed(Case(path))
        if content is not None and len(content) <= MOST_BYTES:
            (folder / f"{path.parent.name}-{path.stem}").write_bytes(content)


if __name__ == "__main__":
    main()
