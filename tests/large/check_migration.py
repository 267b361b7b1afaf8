#!/usr/bin/env python3
"""Check the output of a migration against the export that it was made from.

    check_migration.py EXPORT OUTPUT

The records that the output has to hold are worked out from the export alone: entries that are
passed through, a user record per owner, container and policy for each user with a policy, a
group record per group, and the resource credentials. Each must be there once, with its new DN and
every line in its place, and nothing else. Passed-through entries must come first and credentials
last, both in the order of the export; a container follows its user and a policy its container.

The order of users among each other is left open, since it depends on the number of passes. The
export must be one that migrates without an error; else the first reason met is printed.
"""

import argparse
import hashlib
import sys

sys.dont_write_bytecode = True
from records import numbered_records, records  # noqa: E402

SHOWN = 10

# The first class with a name on the first line that names any decides; secPolicyData therefore
# stands before secPolicy, whose name it contains.
CLASSES = (
    ("user", (b" secUser", b" secuser")),
    ("policy data", (b" secPolicyData", b" secpolicydata")),
    ("policy", (b" secPolicy", b" secpolicy")),
    ("map", (b" secMap", b" secmap")),
    ("group", (b" secGroup", b" secgroup")),
    ("authority", (b" secAuthorityInfo", b" secauthorityinfo")),
    ("container", (b" container", b" Container")),
    ("credential", (b" secResCreds", b" secrescreds")),
)
NOT_MERGED = (b"objectclass:", b"objectClass:", b"KVO-ENTRYUUID:", b"kvo-entryuuid:", b"control:",
              b"Control:", b"aclpropagate:", b"aclPropagate:", b"aclentry:", b"aclEntry:",
              b"acl:", b"ACL:", b"aci:", b"ACI:")
NOT_WRITTEN = (b"kvo-entryuuid:", b"aclentry:", b"aci:", b"acl:")
NOT_WRITTEN_NOR_CONTROL = NOT_WRITTEN + (b"control:",)
LONGEST_LINE = 4094  # of a line in the work file; a longer one is read back in pieces
KINDS = ("passed through", "user", "policy container", "policy", "group", "credential")


class BadExport(Exception):
    pass


def class_of(lines):
    for line in lines:
        if b"objectClass:" in line or b"objectclass:" in line:
            for name, spellings in CLASSES:
                if any(spelling in line for spelling in spellings):
                    if name == "container" and (b"cn=ResCreds" in lines[0]
                                                or b"cn=rescreds" in lines[0]):
                        return "credential"
                    return name
    return "other"


def unfold(lines):
    unfolded = []
    for line in lines:
        if line.startswith(b" "):
            unfolded[-1] += line[1:]
        else:
            unfolded.append(line)
    return unfolded


def value_of(lines, name):
    """The value of the first line that has the name up to its first colon, or in its value."""
    key = name.lower() + b":"
    for line in lines:
        colon = line.find(b":") + 1
        searched = line[:colon].lower() + line[colon:]
        place = searched.find(key)
        if place >= 0:
            return line[place + len(key):].lstrip(b" ")
    raise BadExport(f"no {name.decode()} in the entry {shown(lines[0])}")


def strip_around_commas(text):
    parts = text.split(b",")
    last = len(parts) - 1
    for i, part in enumerate(parts):
        if i > 0:
            part = part.lstrip(b" ")
        if i < last:
            part = part.rstrip(b" ")
        parts[i] = part
    return b",".join(parts)


def shown(line):
    return line.decode("utf-8", "backslashreplace")


class Owner:
    """A user or a group: its DN as first met and the entries that were gathered for it."""

    def __init__(self, dn):
        self.dn = dn
        self.entries = {}

    def take(self, kind, lines, number):
        if kind in self.entries:
            raise BadExport(f"a second {kind} entry for {shown(self.dn)}")
        self.entries[kind] = (b"\n".join(lines), number)

    def lines(self, kind):
        if kind not in self.entries:
            raise BadExport(f"no {kind} entry for {shown(self.dn)}")
        return self.entries[kind][0].split(b"\n")

    def sources(self, *kinds):
        return {kind: self.entries[kind][1] for kind in kinds if kind in self.entries}


class Expectation:
    """The records that the output must hold, by their DN lines.

    The date is the value that entries of domains without an installDate get. Without a date there
    must be none of them.
    """

    def __init__(self, date=None):
        self.date = date
        self.awaited = {}
        self.totals = dict.fromkeys(KINDS, 0)

    def add(self, kind, record, sources, predecessor=None):
        """Awaits a record made of entries whose DN lines have these numbers, by their kinds.

        The place of a record that keeps the order of the export is its number in its kind.
        """
        if record[0] in self.awaited:
            raise BadExport(f"two records would be named {shown(record[0])}")
        place = self.totals[kind]
        self.totals[kind] += 1
        self.awaited[record[0]] = (kind, digest(record), place, predecessor)


def digest(record):
    return hashlib.blake2b(b"\n".join(record), digest_size=16).digest()


def await_records_of(export, expected):
    """Adds all records that the migration of the export must give."""
    users, groups = {}, {}
    changetype = False
    for number, record in numbered_records(export):
        lines = [line.rstrip(b"\r") for line in record if not line.startswith(b"#")]
        if not lines:
            continue
        number += next(i for i, line in enumerate(record) if not line.startswith(b"#"))
        kind = class_of(lines)
        lines = unfold(adjusted(lines, kind, expected.date))
        if passes_through(kind, lines[0]):
            expected.add("passed through", [line for line in lines if b"KVO-ENTRYUUID: " not in line
                                            and b"kvo-entryuuid: " not in line], {kind: number})
            continue
        lines = [strip_around_commas(line) if b"secdn:" in line else line for line in lines]
        if any(len(line) > LONGEST_LINE for line in lines):
            raise BadExport(f"a line too long for this check in {shown(lines[0])}")
        changetype = changetype or any(b"changetype:" in line for line in lines)
        if kind == "credential":
            expected.add("credential", filtered(lines, NOT_WRITTEN_NOR_CONTROL), {kind: number})
        elif kind == "group" or kind == "map" and b"cn=users" not in lines[0].lower():
            dn = group_owner(kind, lines)
            groups.setdefault(dn.lower(), Owner(dn)).take(kind, lines, number)
        else:
            if kind == "user" and b"cn=users,secauthority=" in lines[0].lower():
                kind = "'Users' user"
            dn = user_owner(kind, lines)
            users.setdefault(dn.lower(), Owner(dn)).take(kind, lines, number)
    while users:
        add_user(expected, users.popitem()[1], changetype)
    while groups:
        add_group(expected, groups.popitem()[1])


def adjusted(lines, kind, date=None):
    """The small edits that entries get on their way in."""
    if kind == "authority":
        if not any(b"installdate: " in line.lower() for line in lines):
            if date is None:
                raise BadExport(f"{shown(lines[0])} has no installDate and would get today's")
            lines = lines + [b"installDate: " + date]
        replace_first(lines, b"version: ", with_new_version)
    if kind == "user" and not any(b"secdomainid: " in line.lower() for line in lines):
        unfolded = unfold(lines)
        lines = lines + [b"secDomainId: " + value_of(unfolded, b"secAuthority") + b"%"
                         + value_of(unfolded, b"principalName")]
    if kind in ("user", "group"):
        replace_first(lines, b"secuuid: ",
                      lambda line: line.replace(b"secuuid: ", b"secUUID: ", 1))
    return lines


def replace_first(lines, text, edit):
    for i, line in enumerate(lines):
        if text in line:
            lines[i] = edit(line)
            return


def with_new_version(line):
    start = line.index(b"version: ") + len(b"version:")
    while line[start:start + 1] == b" ":
        start += 1
    return line[:start] + b"6.0" + line[start + 3:]


def passes_through(kind, dn_line):
    if kind == "policy":
        return b"cn=policies,secauthority=" in dn_line.lower()
    return kind in ("other", "authority", "container")


def filtered(lines, words):
    kept = []
    for line in lines:
        lowered = line.lower()
        if not any(word in lowered for word in words):
            kept.append(line)
    return kept


def dn_of(lines):
    return lines[0][3:].lstrip(b" ").rstrip()


def mapped_dn(lines):
    """The owner's DN by a secMap: the domain from its DN, the rest from its secDN."""
    dn = value_of(lines, b"dn")
    start = dn.lower().find(b"secauthority")
    if start < 0:
        raise BadExport(f"no secAuthority in {shown(dn)}")
    return dn[start:].split(b",")[0] + b"," + strip_around_commas(value_of(lines, b"secDN"))


def user_owner(kind, lines):
    if kind == "'Users' user":
        domain = value_of(lines, b"secAuthority").split(b":")[0]
        dn = b"secAuthority=" + domain + b"," + value_of(lines, b"secDN")
    elif kind == "map":
        dn = mapped_dn(lines)
    elif kind == "user":
        dn = dn_of(lines)
    else:
        dn = dn_of(lines).partition(b",")[2]
    return strip_around_commas(dn)


def group_owner(kind, lines):
    return mapped_dn(lines) if kind == "map" else dn_of(lines)


def subtree(dn, domain):
    """Where the new layout keeps the users and groups of the domain; dn is the old one."""
    lowered = dn.lower()
    if b"secauthority=default" in lowered and b"cn=subdomains" not in lowered:
        return b"secAuthority=default"
    return domain + b",cn=Subdomains,secAuthority=default"


def add_user(expected, owner, changetype):
    entry = owner.lines("user")
    name = naming_value(entry, (b"principalName:", b"principalname:"))
    merged = merge(entry, owner.lines("map"))
    if "'Users' user" in owner.entries:
        merged = merge(owner.lines("'Users' user"), merged)
    base = subtree(owner.dn, owner.dn.split(b",")[0])
    user = b"principalName=" + name + b",cn=Users," + base
    expected.add("user", [b"dn: " + user] + filtered(merged[1:], NOT_WRITTEN),
                 owner.sources("user", "map", "'Users' user"))

    if "policy" in owner.entries:
        policy = owner.lines("policy")
        old = strip_around_commas(dn_of(policy))
        domain = old[old.lower().index(b"secauthority"):].split(b",")[0]
        container = [b"dn: cn=Policies," + user]
        if changetype:
            container.append(b"changetype: add")
        container += [b"objectclass: container", b"objectclass: top", b"cn: Policies"]
        expected.add("policy container", container, owner.sources("policy"), b"dn: " + user)
        new = (b"dn: cn=Policy,cn=Policies,principalName=" + name + b",cn=Users,"
               + subtree(old, domain))
        expected.add("policy", [new] + filtered(policy[1:], NOT_WRITTEN_NOR_CONTROL),
                     owner.sources("policy"), container[0])


def add_group(expected, owner):
    entry = owner.lines("group")
    name = naming_value(entry, (b"cn:", b"CN:"))
    merged = merge(entry, owner.lines("map"))
    dn = b"dn: cn=" + name + b",cn=Groups," + subtree(owner.dn, owner.dn.split(b",")[0])
    expected.add("group", [dn] + filtered(merged[1:], NOT_WRITTEN), owner.sources("group", "map"))


def naming_value(lines, names):
    for line in lines:
        for name in names:
            if name in line:
                value = line.partition(name)[2].lstrip(b" ")
                if value:
                    return value
                raise BadExport(f"an empty name in {shown(lines[0])}")
    raise BadExport(f"no name in {shown(lines[0])}")


def merge(first, second):
    """One entry out of two: the first one's order, the second one's values where both have one."""
    lowered = [line.lower() for line in second]
    merged = []
    for line in first:
        if b"objectclass:" in line or b"objectClass:" in line:
            merged.append(line)
            continue
        name = name_of(line)
        if name in NOT_MERGED:
            continue
        if name not in (b"dn:", b"DN:"):
            sought = name.lower()
            for j, candidate in enumerate(lowered):
                if candidate is not None and sought in candidate:
                    if b"secauthority:" not in line.lower():
                        line = second[j]
                    lowered[j] = None
                    break
        merged.append(line)
    for line, left in zip(second, lowered):
        if left is not None:
            name = name_of(line)
            if name not in (b"dn:", b"DN:") and name not in NOT_MERGED:
                merged.append(line)
    return merged


def name_of(line):
    colon = line.find(b":")
    if colon < 0:
        raise BadExport(f"no colon in the line {shown(line)}")
    return line[:colon + 1]


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


def compare(expected, output, findings):
    found = dict.fromkeys(KINDS, 0)
    last_place = {"passed through": -1, "credential": -1}
    previous_dn, previous_kind = None, "passed through"
    for record in records(output):
        dn = record[0]
        if dn not in expected.awaited:
            findings.add(f"not expected, or there twice: {shown(dn)}")
            continue
        kind, sum_of_lines, place, predecessor = expected.awaited.pop(dn)
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
    for dn in expected.awaited:
        findings.add(f"missing: {shown(dn)}")
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("export")
    parser.add_argument("output")
    arguments = parser.parse_args()

    expected = Expectation()
    try:
        await_records_of(arguments.export, expected)
    except BadExport as reason:
        print(f"{arguments.export} cannot be migrated: {reason}")
        return 2
    findings = Findings()
    found = compare(expected, arguments.output, findings)
    for kind in KINDS:
        print(f"{kind}: {found[kind]} of {expected.totals[kind]}")
    if findings.count:
        print(f"{findings.count} faults")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
