"""Where each line of a well-formed export has to be after the migration, and why not.

The places are worked out from what was put into the export. Every line that is not in its record
as it was must fall under one of the rules below; a tally counts how often each was the reason.
"""

import collections
import pathlib
import re
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "large"))
from check_migration import (NOT_MERGED, NOT_WRITTEN, NOT_WRITTEN_NOR_CONTROL,  # noqa: E402
                             adjusted, filtered, merge, name_of, replace_first, shown,
                             strip_around_commas, with_new_version)
from well_formed import (AUTHORITY, CREDENTIAL, GROUP, GROUP_MAP, MAP, PASSED,  # noqa: E402
                         POLICY, USER, USERS_USER)

KEPT = "in its record"
EDITED = "edited: version, secUUID, or blanks around commas of a secdn"
ADDED = "added: secDomainId or installDate"
DN = "dropped: the old DN of a regrouped entry"
DATA_DROPPED = "dropped: policy data has no place in the new layout"
IDENTIFIER = "dropped: the directory's identifier of an entry that is passed through"
BY_NAME = "dropped: access control, control or identifier, by name, when entries are merged"
CLASS = "dropped: an object class of an entry merged into another"
BY_FILTER = "dropped: access control, control or identifier, named anywhere in the line"
REPLACED = "replaced: a like-named line of the entry merged into its own"
AUTHORITY_KEPT = "replaced: the like-named secAuthority line of the leading entry"
ADDED_DATE = re.compile(rb"installDate: \d{14}\.0Z")
CLASS_TEXTS = (b"objectclass:", b"objectClass:")

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
    if place.kind in (USER, GROUP):
        yield from faults_of_merged(record, place.sources, tally)
    elif place.kind == CONTAINER:
        if record[1:] != container_lines(changetype):
            yield "not the lines of a policy container"
    elif place.kind in (PASSED, AUTHORITY):
        yield from faults_of_passed(record, place.sources[0], tally)
    else:
        kept = filtered_lines(place.sources[0], tally)
        if record[1:] != kept:
            yield "not its lines without those that are dropped: " + text_of_lines(kept)


def text_of_lines(lines):
    return "".join("\n    " + shown(line) for line in lines)


def has_change_types(entries):
    return any(b"changetype:" in line for entry in entries
               if entry.kind not in (PASSED, AUTHORITY) for line in entry.lines)


def container_lines(changetype):
    return [b"changetype: add"] * changetype + [b"objectclass: container", b"objectclass: top",
                                                b"cn: Policies"]


def faults_of_passed(record, entry, tally):
    lines = list(entry.lines)
    if entry.kind == AUTHORITY:
        replace_first(lines, b"version: ", with_new_version)
        if not any(b"installdate: " in line.lower() for line in lines):
            if not ADDED_DATE.fullmatch(record[-1]):
                yield "no install date added at its end"
            lines.append(record[-1])
    count_edits(entry.lines, lines, tally)
    kept = [line for line in lines
            if b"KVO-ENTRYUUID: " not in line and b"kvo-entryuuid: " not in line]
    tally[KEPT] += len(kept)
    tally[IDENTIFIER] += len(lines) - len(kept)
    if record != kept:
        yield "not its lines without the identifiers: " + text_of_lines(kept)


def staged_entry(entry):
    """The lines of an entry that is regrouped, or of a credential, as they are gathered."""
    kind = {USER: "user", USERS_USER: "user", GROUP: "group"}.get(entry.kind)
    return [strip_around_commas(line) if b"secdn:" in line else line
            for line in adjusted(list(entry.lines), kind)]


def staged(entry, tally):
    """Those lines behind the DN line, counted if they were edited or added."""
    lines = staged_entry(entry)
    count_edits(entry.lines, lines, tally)
    return lines[1:]


def count_edits(before, after, tally):
    tally[EDITED] += sum(old != new for old, new in zip(before, after))
    tally[ADDED] += len(after) - len(before)


def filtered_lines(entry, tally):
    """What the output keeps of a credential or a policy behind its DN."""
    lines = staged(entry, tally)
    kept = filtered(lines, NOT_WRITTEN_NOR_CONTROL)
    tally[KEPT] += len(kept)
    tally[BY_FILTER] += len(lines) - len(kept)
    return kept


def faults_of_merged(record, sources, tally):
    """What is wrong with the record of a user or group, made of the sources' lines."""
    lines = [staged(entry, tally) for entry in sources]
    tally[DN] += len(lines)
    absent, made_up = compare_lines(record[1:], lines)
    tally[KEPT] += sum(map(len, lines)) - sum(map(len, absent))
    for rank in range(len(lines)):
        for line in unexplained(absent[rank], lines, rank, tally):
            yield f"lost without a reason: {shown(line)}"
    for line in made_up:
        yield f"made up: {shown(line)}"
    expected = merged_lines(sources)
    if record[1:] != expected:
        yield "not the lines of its entries when they are merged: " + text_of_lines(expected)


def merged_lines(sources):
    """The lines of a user or group in their order; the user entry and its mapping merge first."""
    *leading, entry, mapping = [staged_entry(source) for source in sources]
    merged = merge(entry, mapping)
    if leading:
        merged = merge(leading[0], merged)
    return filtered(merged[1:], NOT_WRITTEN)


def compare_lines(record, lines):
    """The lines of each entry that the record lacks, and those of the record that none has.

    Of equal lines of several entries the one that the rules keep is the one that is there: an
    object class or secAuthority line of an earlier entry, any other line of a later one.
    """
    left = collections.Counter(record)
    absent = [[] for _ in lines]
    ranks = range(len(lines))
    for earlier_stays, order in ((True, ranks), (False, reversed(ranks))):
        for rank in order:
            for line in lines[rank]:
                if is_kept_of_earlier(line) != earlier_stays:
                    continue
                if left[line]:
                    left[line] -= 1
                else:
                    absent[rank].append(line)
    return absent, left.elements()


def is_kept_of_earlier(line):
    return any(text in line for text in CLASS_TEXTS) or b"secauthority:" in line.lower()


def unexplained(absent, lines, rank, tally):
    """The lines, missing from the entry of this rank, that no rule drops or replaces."""
    partnered = []
    for line in absent:
        if not filtered([line], NOT_WRITTEN):
            tally[BY_FILTER] += 1
        elif rank == 0 and any(text in line for text in CLASS_TEXTS):
            yield line
        elif name_of(line) in CLASS_TEXTS:
            tally[CLASS] += 1
        elif name_of(line) in NOT_MERGED:
            tally[BY_NAME] += 1
        else:
            partnered.append(line)
    yield from without_partner(partnered, lines, rank, tally)


def without_partner(absent, lines, rank, tally):
    """The lines for which no line of their own is left that can have replaced them."""
    earlier = [line for source in lines[:rank] for line in source]
    later = [line for source in lines[rank + 1:] for line in source]
    choices = [replacers(line, earlier, later) for line in absent]
    taken = {}
    for number, line in enumerate(absent):
        if claim(number, choices, taken, set()):
            tally[AUTHORITY_KEPT if b"secauthority:" in line.lower() else REPLACED] += 1
        else:
            yield line


def replacers(line, earlier, later):
    """The places of lines that may replace the line: a later entry's that holds its name, or an
    earlier entry's secAuthority line whose name it holds."""
    lowered = line.lower()
    found = [("earlier", place) for place, other in enumerate(earlier)
             if b"secauthority:" in other.lower() and name_of(other).lower() in lowered]
    if b"secauthority:" not in lowered:
        found += [("later", place) for place, other in enumerate(later)
                  if name_of(line).lower() in other.lower()]
    return found


def claim(number, choices, taken, tried):
    """Gives the line a replacer that no other line has, moving others to theirs if need be."""
    for choice in choices[number]:
        if choice not in tried:
            tried.add(choice)
            if choice not in taken or claim(taken[choice], choices, taken, tried):
                taken[choice] = number
                return True
    return False


def show(tally, counted):
    """Prints how many of what was counted fell under each rule."""
    for rule, count in tally.most_common():
        print(f"{count:9} {counted} {rule}")
