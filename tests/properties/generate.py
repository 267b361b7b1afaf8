#!/usr/bin/env python3
"""Write a small random export to standard output.

    generate.py --seed S [--profile well-formed|hostile|crowded]

The same arguments always give the same bytes. A well-formed export has 5 to 60 entries or a few
more and must migrate without an error; a hostile one is such an export with damages; a crowded
one has a few users and groups whose names and lines get into each other's way.
"""

import argparse
import sys

sys.dont_write_bytecode = True
import crowded  # noqa: E402
import hostile  # noqa: E402
import well_formed  # noqa: E402

PROFILES = {"well-formed": lambda seed: well_formed.text_of(well_formed.make(seed)),
            "hostile": hostile.make, "crowded": crowded.make}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--profile", choices=PROFILES, default="well-formed")
    arguments = parser.parse_args()
    sys.stdout.buffer.write(PROFILES[arguments.profile](arguments.seed))


if __name__ == "__main__":
    main()
