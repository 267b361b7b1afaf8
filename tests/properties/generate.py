#!/usr/bin/env python3
"""Write a small random export to standard output.

    generate.py --seed S [--profile well-formed|hostile|crowded|sound|broken]

The same arguments always give the same bytes. tests/lib/generators/ describes the profiles.
"""

import argparse
import sys

sys.path.insert(1, sys.path[0] + "/..")
from lib.generators import PROFILES  # noqa: E402


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seed", type=int, required=True)
    parser.add_argument("--profile", choices=PROFILES, default="well-formed")
    arguments = parser.parse_args()
    sys.stdout.buffer.write(PROFILES[arguments.profile](arguments.seed))


if __name__ == "__main__":
    main()
