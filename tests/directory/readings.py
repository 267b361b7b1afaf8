"""LDIF files as lists of entries, read in three ways, for the tests beside this file.

An entry is its DN and its attributes, names in lower case and each with a sorted list of values;
DN and values are bytes. An entry without a change type counts as one to be added, since
Net::LDAP makes no difference between the two.
"""

import base64
import json
import pathlib
import subprocess

import ldap.dn
import ldif

from lib.ldif import records, unfold

FOLDER = pathlib.Path(__file__).resolve().parent
DN_VALUED = ("member", "secdn")


def entry_of(dn, pairs, changetype="add"):
    attributes = {}
    for name, value in pairs:
        attributes.setdefault(name.lower(), []).append(value)
    attributes.setdefault("changetype", [changetype.encode()])
    return dn, {name: sorted(values) for name, values in attributes.items()}


def pair_of(line):
    """The attribute name and the value of an unfolded line."""
    name, _, value = line.partition(b":")
    if value.startswith(b":"):
        return name.decode(), base64.b64decode(value[1:])
    return name.decode(), value.lstrip(b" ")


def entry_of_record(lines):
    (_, dn), *pairs = [pair_of(line) for line in lines]
    return entry_of(dn, pairs)


def own_reading(path):
    entries = []
    for record in records(path):
        lines = [line.removesuffix(b"\r") for line in record if not line.startswith(b"#")]
        if lines and not lines[0].startswith(b"version:"):
            entries.append(entry_of_record(unfold(lines)))
    return entries


def python_ldap_reading(path):
    with open(path, "rb") as stream:
        parser = ldif.LDIFRecordList(stream)
        parser.parse_entry_records()
    return [entry_of(dn.encode(), [(name, value) for name, values in attributes.items()
                                   for value in values])
            for dn, attributes in parser.all_records]


def net_ldap_reading(path):
    printed = subprocess.run(["perl", str(FOLDER / "dump_ldif.pl"), str(path)], check=True,
                             stdout=subprocess.PIPE).stdout
    entries = []
    for line in printed.splitlines():
        dn, changetype, attributes = json.loads(line)
        pairs = [(name, base64.b64decode(value)) for name, values in attributes.items()
                 for value in values]
        entries.append(entry_of(base64.b64decode(dn), pairs, changetype))
    return entries


def normal_dn(dn):
    """The DN without the differences that mean nothing to a directory server."""
    return tuple(tuple(sorted((name.lower(), value.casefold()) for name, value, _ in component))
                 for component in ldap.dn.str2dn(dn.decode()))


def normal_entry(entry):
    """The entry without the differences that mean nothing to a directory server."""
    dn, attributes = entry
    normal = {name: normal_values(name, values) for name, values in attributes.items()
              if name != "changetype"}
    return normal_dn(dn), normal


def normal_values(name, values):
    if name in DN_VALUED:
        return sorted(map(normal_dn, values))
    if name == "objectclass":
        return sorted(value.lower() for value in values)
    return values


def first_difference(expected, found):
    """Where two lists of entries part; nothing when they are the same."""
    for wanted, got in zip(expected, found):
        if wanted != got:
            return f"expected {wanted}\n   found {got}"
    if len(expected) != len(found):
        return f"{len(expected)} entries expected, {len(found)} found"
    return None
