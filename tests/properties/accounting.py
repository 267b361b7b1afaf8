"""Where each line of a well-formed export has to be after the migration, and why not.

The places are worked out from what was put into the export, the lines of each by the model. Every
line that is not in its record as it was must fall under a rule of the model or one of those below;
a tally counts how often each was the reason.
"""

import collections
import re
import time

from lib.generators.well_formed import (
    AUTHORITY, CREDENTIAL, GROUP, GROUP_MAP, MAP, PASSED, POLICY, USER, USERS_USER)
from lib.texts import shown
from model import entry as model_entry
from model import records, staging
from model.migration import Run

KEPT = "in its record"
ADDED = "added: secDomainId or installDate"
DATA_DROPPED = "dropped: policy data has no place in the new layout"
RULES = {
    **dict.fromkeys(("version", "secuuid", "blanks at commas"),
                    "edited: version, secUUID, or blanks around commas of a secdn"),
    "entry identifier": "dropped: the directory's identifier of an entry that is passed through",
    "old dn": "dropped: the old DN of a regrouped entry",
    "not merged": "dropped: object class, access control, control or identifier of entries merged",
    "not written": "dropped: access control, control or identifier, named anywhere in the line",
    "replaced by the second entry's": "replaced: a like-named line of the entry merged into it",
    "replaced by the first entry's": "replaced: the like-named secAuthority line of the leading "
                                     "entry"}
ADDED_DATE = re.compile(rb"installDate: \d{14}\.0Z")
CLASSES = {USER: model_entry.SECUSER, USERS_USER: model_entry.SECUSER,
           GROUP: model_entry.SECGROUP, AUTHORITY: model_entry.SECAUTHORITYINFO}

# A record that must be in the output: its kind, its DN line and the entries that its lines come
# from, the one that leads the record first.
Place = collections.namedtuple("Place", "kind dn sources")
CONTAINER = "policy container"
STAYING = (PASSED, AUTHORITY, CREDENTIAL)


def places(owners, entries):
    """The records that entries in this order must give, those of one user behind each other."""
    found = [Place(entry.kind, entry.lines[0], [entry]) for entry in entries
             if entry.kind in STAYING]
    held = collections.defaultdict(dict)
    for entry in entries:
        if entry.owner is not None:
            held[entry.owner][entry.kind] = entry
    for number, sources in held.items():
        # The spelling of the domain is that of the entry met first.
        base = subtree(owners[number], next(iter(sources.values())).component)
        made = group_places if GROUP in sources else user_places
        found += made(owners[number], base, sources)
    return found


def subtree(owner, component):
    if owner.default:
        return b"secAuthority=default"
    return component + b",cn=Subdomains,secAuthority=default"


def group_places(owner, base, sources):
    dn = b"dn: cn=" + owner.name + b",cn=Groups," + base
    return [Place(GROUP, dn, [sources[GROUP], sources[GROUP_MAP]])]


def user_places(owner, base, sources):
    user = b"principalName=" + owner.name + b",cn=Users,"
    merged = [sources[kind] for kind in (USERS_USER, USER, MAP) if kind in sources]
    found = [Place(USER, b"dn: " + user + base, merged)]
    if POLICY in sources:
        policy = sources[POLICY]
        found.append(Place(CONTAINER, b"dn: cn=Policies," + user + base, []))
        found.append(Place(POLICY, b"dn: cn=Policy,cn=Policies," + user
                           + subtree(owner, policy.component), [policy]))
    return found


def faults_of(record, place, changetype, tally):
    """What is wrong with the lines of the record behind its DN line."""
    if place.kind == CONTAINER:
        if record[1:] != container_lines(changetype):
            yield "not the lines of a policy container"
        return
    run = Run(1, 1, b"", time.localtime)
    expected = expected_lines(run, place, tally)
    if place.kind == AUTHORITY and ADDED_DATE.fullmatch(expected[-1]) and record:
        if not ADDED_DATE.fullmatch(record[-1]):
            yield "no install date added at its end"
        expected[-1] = record[-1]  # the clock goes on
    if (record if place.kind in STAYING else record[1:]) != expected:
        yield "not the lines that its entries give: " + text_of_lines(expected)
    tally[KEPT] += len(expected)
    for rule, _ in run.dropped:
        if rule in RULES:
            tally[RULES[rule]] += 1


def expected_lines(run, place, tally):
    """The lines of the record by the model, without the new DN of an entry that gets one."""
    entries = [adjusted(run, source, tally) for source in place.sources]
    if place.kind in (PASSED, AUTHORITY):
        return list(staging.passed_lines(run, entries[0]))
    staged = [list(staging.regrouped_lines(run, lines)) for lines in entries]
    if place.kind == CREDENTIAL:
        return list(records.written(run, staged[0], records.NOT_WRITTEN_OF_POLICIES))
    for lines in staged:
        run.drop("old dn", lines[:1])
    if place.kind == POLICY:
        return list(records.written(run, staged[0][1:], records.NOT_WRITTEN_OF_POLICIES))
    merged = records.merge_all(run, *staged)
    return list(records.written(run, merged[1:], records.NOT_WRITTEN))


def adjusted(run, source, tally):
    """The lines of an entry with the small edits that it gets on its way in."""
    lines = list(source.lines)
    staging.adjust(run, CLASSES.get(source.kind), lines)
    tally[ADDED] += len(lines) - len(source.lines)
    return lines


def text_of_lines(lines):
    return "".join("\n    " + shown(line) for line in lines)


def has_change_types(entries):
    return any(b"changetype:" in line for entry in entries
               if entry.kind not in (PASSED, AUTHORITY) for line in entry.lines)


def container_lines(changetype):
    return [b"changetype: add"] * changetype + [b"objectclass: container", b"objectclass: top",
                                                b"cn: Policies"]
