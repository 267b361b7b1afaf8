#!/usr/bin/env python3
"""Neither program prints a value: exports and outputs full of markers, and what is printed of them.

    secrets_test.py PROGRAM Check|Migration [--cases N] [--seed S]

The check stands beside PROGRAM, which migrates. A case is an export, sound or broken, in which every
value and comment holds a marker of its own; it is then broken again, mostly where a marker is. It is
checked, migrated, and its output verified, as it is and damaged. Check looks at what the check
prints, Migration at what the migration prints. No six bytes of a marker may be in it, in any case
and in base64 neither, but for those that stand where something else than a value does:

- in a DN line of the export with its continuation lines, and in a new DN of the output;
- in the name of an attribute of the export: letters, digits, "-", "." and ";" from the beginning of
  a line, which is not the first of its entry, to a colon;
- for the migration in a secDN and a secAuthority as well, of which it makes the DNs of owners, and
  in the line that shows the owner of a group without a name on standard output, which is an echo.
"""

import argparse
import base64
import importlib
import itertools
import pathlib
import random
import re
import subprocess
import sys
import tempfile

sys.path.insert(1, sys.path[0] + "/..")
from lib.generators import broken, hostile, sound  # noqa: E402
from lib.programs import TIME_LIMIT_SECONDS, checker_of  # noqa: E402
from lib.testcase import EXAMPLES  # noqa: E402

LARGEST = 100_000
PIECE, PIECE_IN_BASE64 = 6, 8
LIMIT = ("--limit", "1000000")
# Attributes whose values decide what becomes of an entry are mostly left as they are.
DECIDING = {b"objectclass": 0.1, b"secauthority": 0.2, b"version": 0.5}
OF_DNS = (b"dn", b"secdn")
NAME = re.compile(rb"[A-Za-z0-9.;-]+(?=:)")
ECHO = re.compile(rb"createNewSecGroupDN\(\):  secGroup:  .*")
# What may stand beside a marker, so that something is found there.
BESIDE = (b"", b"", b"", b" ", b": ", b":", b" acl: ", b": acl: x", b" secuuid: ", b" version: ",
          b" objectClass: secUser", b" principalName: x", b" cn: ", b" secdn: a , ", b"dn: ",
          b": kvo-entryuuid: ", b" changetype: ", b"secDomainId: ")
# What may come to stand within a marker or beside it.
TEARS = (b"\n", b"\n\n", b"\n\n ", b"\n \n", b"\n \n ", b"\r", b"\r\n", b"\r\r\n", b"\0", b"\0\n",
         b"\n ", b"\n\t", b"\n#", b"\n# ", b"\n\0", b"\n: ", b": ", b"\ndn: ", b"\n\ndn: cn=x\n",
         b"\nobjectClass: secUser\n", b"\n\nobjectClass: secMap\n", b"acl: ", b"\nacl: ", b":",
         b"\n\nversion: 1\n", b"\nversion: ", b"\nsecuuid: ", b"\nprincipalName: ")
SEAMS = (4090, 4093, 4094, 4095, 4096, 8189, 8190, 8191)


class Markers:
    """Markers that make no words, and all that would betray them."""

    def __init__(self, rng):
        self.rng = rng
        self.pieces = set()
        self.texts = []

    def new(self):
        text = "".join(self.rng.choices("bcdfghjklmnpqrstvwxz", k=15)).encode()
        self.texts.append(text)
        self.pieces |= pieces(text)
        for skipped in range(3):  # where the triples of base64 begin
            whole = base64.b64encode(b"\0" * skipped + text)
            self.pieces |= pieces(whole[4 if skipped else 0:-4], PIECE_IN_BASE64)
        return text

    def betrayed_by(self, text, allowed):
        return (all_pieces(text) & self.pieces) - allowed


def pieces(text, size=PIECE):
    return {text[i:i + size] for i in range(len(text) - size + 1)}


def all_pieces(text):
    return pieces(text.lower()) | pieces(text, PIECE_IN_BASE64)


def plant(rng, markers, text):
    """The text with a marker in every line that is neither blank nor a part of a DN."""
    lines, name = [], b""
    for line in text.split(b"\n"):
        if line.startswith(b"#"):
            line += markers.new()
        elif line.strip(b" \r"):
            if not line.startswith(b" "):
                name = line.partition(b":")[0].lower() if b":" in line else b""
            if name not in OF_DNS and rng.random() < DECIDING.get(name, 0.95):
                line = with_marker(rng, markers, line, name)
        lines.append(line)
    return b"\n".join(lines)


def with_marker(rng, markers, line, name):
    marker = markers.new()
    if line.startswith(name + b"::") and rng.random() < 0.8:
        return line + base64.b64encode(marker)
    start = len(name) + 1 if name and not line.startswith(b" ") else 0
    place = rng.choice((len(line.rstrip(b"\r")), rng.randint(start, len(line))))
    return line[:place] + marker + rng.choice(BESIDE) + line[place:]


def tear(rng, markers, text):
    """Puts something within a marker or next to it."""
    places = [match.start() for marker in rng.sample(markers.texts, min(8, len(markers.texts)))
              for match in re.finditer(re.escape(marker), text)]
    if not places:
        return text
    place = rng.choice(places) + rng.choice((0, 0, 3, 8, 15))
    return text[:place] + rng.choice(TEARS) + text[place:]


def lengthen(rng, markers, text):
    """Puts a marker across the end of what is read at a time."""
    lines = text.split(b"\n")
    place = rng.randrange(len(lines))
    filling = rng.choice((b"x", b"x: ", b"#", b" ", b"dn: "))
    name = rng.choice((b"#", b"description: ", b"secNote: ", lines[place]))
    line = (name + filling * 9000)[:rng.choice(SEAMS) - rng.choice((0, 0, 1, 7))]
    line += markers.new() + rng.choice(BESIDE) + markers.new()
    if rng.random() < 0.3:
        line = b"\n ".join(line[start:start + 900] for start in range(0, len(line), 900))
    lines.insert(place, line)
    return b"\n".join(lines)


def hide(rng, markers, text):
    """Puts a marker behind the seam of a line that is too long, where it is taken for what names an
    entry or its owner: to the migration, what follows blanks is an entry of its own."""
    name = rng.choice((b"dn: ", b"dn: ", b"secDN: ", b"secAuthority: "))
    filling = rng.choice((b" ", b"description: x")) if name != b"dn: " else b" "
    line = filling + filling[-1:] * (4095 * rng.choice((1, 1, 2)) - len(filling))
    line += name + markers.new() + rng.choice(BESIDE) + b"\n"
    if rng.random() < 0.5:
        line += rng.choice((
            b"objectClass: secUser\nprincipalName: x\n", b"objectClass: secMap\nsecDN: o=x\n",
            b"objectClass: secGroup\n", b"objectClass: secPolicy\n", b"acl: x\n"))
    places = [match.end() for match in re.finditer(b"\n(?!\n)", text)]
    place = rng.choice(places or [len(text)])
    return text[:place] + line + text[place:]


def add_line(rng, markers, text):
    """Adds a line that is mostly a marker, often at the beginning of an entry."""
    line = rng.choice((b"", b"", b" ", b"#", b"dn ", b"\t")) + markers.new() + rng.choice(
        BESIDE) + markers.new()
    place = rng.choice([match.end() for match in re.finditer(rng.choice((b"\n", b"\n\n")), text)]
                       or [0])
    return text[:place] + line + b"\n" + text[place:]


def damage(rng, markers, text):
    for _ in range(rng.choice((1, 1, 2, 3))):
        kind = rng.choices((tear, add_line, lengthen, hide, None), (50, 20, 10, 10, 20))[0]
        text = (kind(rng, markers, text) if kind else
                rng.choice((broken.substitute, hostile.damage_line, hostile.change_bytes))(
                    rng, text))
    return text


def written_exports():
    """Those of the other tests, which show every kind of finding, and the example."""
    cases = itertools.chain(*(importlib.import_module(name).CASES
                              for name in ("owners", "lines", "names", "harmless")))
    texts = [(EXAMPLES / "broken.ldif").read_bytes()]
    return texts + [text.encode("latin-1") for case in cases
                    for text in (case.export or case.repaired,) if len(text) < LARGEST]


def logical_lines(text):
    """Each attribute of an export, unfolded, and whether it is the first of its entry."""
    attribute, is_first, is_next_first = None, False, True
    for line in text.split(b"\n"):
        line = line.partition(b"\0")[0]
        if line.startswith(b"#"):
            continue
        if line.startswith(b" ") and line.strip(b" \r") and attribute is not None:
            attribute += line[1:].rstrip(b"\r")
            continue
        if attribute is not None:
            yield attribute, is_first
            is_next_first = False
        attribute, is_first = (line.rstrip(b"\r"), is_next_first) if line.strip(b" \r") else (
            None, False)
        is_next_first = is_next_first or attribute is None
    if attribute is not None:
        yield attribute, is_first


def allowed_of_export(text, shown_attributes):
    """What may be shown: the attributes of these names as a whole, the names of all."""
    allowed = set()
    for line, is_first in logical_lines(text):
        if line.partition(b":")[0].lower() in shown_attributes:
            allowed |= all_pieces(line)
        name = NAME.match(line)
        if name and not is_first:
            allowed |= all_pieces(name[0])
    return allowed


def allowed_of_output(text):
    """The new DNs of users, groups and policies, which are not folded and hold any byte."""
    return set().union(*(all_pieces(line) for line in text.split(b"\n")
                         if line.startswith(b"dn: ") and line.endswith(b"secAuthority=default")))


class Runs:
    """Runs the programs in a folder, and lists what they betray."""

    def __init__(self, program, looks_at, folder):
        self.program, self.looks_at, self.folder = program, looks_at, folder
        self.checker = checker_of(program)
        self.leaks = []

    def run(self, markers, allowed, *command):
        ended = subprocess.run(command, cwd=self.folder, check=False, capture_output=True,
                               timeout=TIME_LIMIT_SECONDS, stdin=subprocess.DEVNULL)
        printed = ended.stdout + ended.stderr
        if b"Sanitizer" in printed or ended.returncode < 0:
            self.leaks.append(f"{command}: {printed}")
        is_migration = command[0] == self.program
        printed = ECHO.sub(b"", printed)
        if is_migration == (self.looks_at == "Migration"):
            found = markers.betrayed_by(printed, allowed)
            if found:
                first = min(found)
                place = max(printed.find(first), printed.lower().find(first))
                self.leaks.append(f"{' '.join(map(str, command))} prints {first}: "
                                  f"...{printed[max(0, place - 300):place + 100]}...")
        return ended.returncode

    def check(self, markers, allowed, *files):
        options = markers.rng.choice((LIMIT, ("--json", *LIMIT)))
        self.run(markers, allowed, self.checker, *options, *files)

    def try_case(self, rng, text):
        markers = Markers(rng)
        export = plant(rng, markers, text)
        if rng.random() < 0.7:
            export = damage(rng, markers, export)
        (self.folder / "export").write_bytes(export)
        if self.looks_at == "Migration":
            allowed = allowed_of_export(export, (b"dn", b"secdn", b"secauthority"))
        else:
            allowed = allowed_of_export(export, (b"dn",))
            self.check(markers, allowed, "export")
        (self.folder / "export.tmp").unlink(missing_ok=True)
        status = self.run(markers, allowed, self.program, "export", "output", "100", "100")
        if status == 0 and self.looks_at == "Check":
            self.verify(rng, markers, allowed)

    def verify(self, rng, markers, allowed):
        output = (self.folder / "output").read_bytes()
        for content in (output, damage(rng, markers, output), damage(rng, markers, output)):
            (self.folder / "output").write_bytes(content)
            self.check(markers, allowed | allowed_of_output(output), "export", "output")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=lambda name: pathlib.Path(name).resolve())
    parser.add_argument("looks_at", choices=("Check", "Migration"))
    parser.add_argument("--cases", type=int, default=100)
    parser.add_argument("--seed", type=int, default=1)
    arguments = parser.parse_args()
    written, failed = written_exports(), 0
    for seed in range(arguments.seed, arguments.seed + arguments.cases):
        rng = random.Random(f"secrets {seed}")
        text = rng.choice((lambda: sound.make(seed), lambda: broken.make(seed),
                           lambda: hostile.make(seed), lambda: rng.choice(written),
                           lambda: rng.choice(written)))()
        with tempfile.TemporaryDirectory(prefix="secrets-") as name:
            runs = Runs(arguments.program, arguments.looks_at, pathlib.Path(name))
            runs.try_case(rng, text)
        if runs.leaks:
            failed += 1
            print(f"FAILED with seed {seed}:", *runs.leaks, sep="\n")
    print(f"{arguments.cases} cases, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
