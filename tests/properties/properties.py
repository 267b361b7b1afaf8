"""What must hold of every migration, one function for each property.

A function is given a case, which is a set of trials that the functions share, and yields a text
for everything that is not as it should be. Those in PROPERTIES are about well-formed exports,
whose migration never fails; those in HOSTILE_PROPERTIES about any file at all.
"""

import collections
import re

from accounting import (ADDED_DATE, CONTAINER, DATA_DROPPED, STAYING, faults_of,
                        has_change_types, places, text_of_lines)
from lib.generators.well_formed import CREDENTIAL, DATA, GROUP, POLICY, USER
from lib.programs import beside_messages, messages
from lib.texts import shown

# A run of the program with the file that it was given and, if that was well formed, its entries.
Trial = collections.namedtuple("Trial", "run text entries slots")
# `large` has slots for all owners, `small` and `watched` have few and differ in tracing,
# `shuffled` has few and the entries in another order. The tally counts the rules met.
Case = collections.namedtuple("Case", "owners tally large small watched shuffled")
HostileCase = collections.namedtuple("HostileCase", "small watched")

BEGINNING = [380928308, 380928309, 380928310, 380928311]
GATHERING, WRITING, COMPLETE = 380928312, 380928313, 380928315
FAILURES = range(380928300, 380928308)
SUBDOMAIN = re.compile(rb"(?i)secauthority=[^,]*(?=,cn=Subdomains,secAuthority=default$)")
HELD = re.compile(rb"(?m)^dumpData\(\) - (\w+) += (\d+) $")
BLANKS = b" \r\n"
TEXT = re.compile(rb"[^ \r\n]+")


def trials(case):
    return [trial for trial in case if isinstance(trial, Trial)]


def undated(run):
    """How often each record is there, with the dates masked that were taken from the clock."""
    return collections.Counter(
        tuple(ADDED_DATE.sub(b"installDate:", line) for line in record) for record in run.records)


def differing(ours, theirs, circumstance):
    """A text for each record that is not equally often in both."""
    for record in (ours - theirs) + (theirs - ours):
        fate = "lost" if ours[record] > theirs[record] else "new"
        yield f"{fate} {circumstance}:{text_of_lines(record)}"


def every_run_ends_well(case):
    """The status is 0, and nothing but notices is printed."""
    for trial in trials(case):
        printed = trial.run.stderr + beside_messages(trial.run.stdout)
        if trial.run.status or printed:
            yield f"status {trial.run.status}, printed: {shown(printed)}"


def each_pass_fills_the_slots(case):
    """The notices announce as many gathering passes as the slots require and not one more; a last
    pass reads the credentials if there are any."""
    for trial in trials(case):
        owned = {kind: sum(entry.kind == kind for entry in trial.entries)
                 for kind in (USER, GROUP, CREDENTIAL)}
        passes = max(-(-owned[USER] // trial.slots[0]), -(-owned[GROUP] // trial.slots[1]))
        expected = (BEGINNING + [GATHERING, WRITING] * passes
                    + [GATHERING] * bool(owned[CREDENTIAL]) + [COMPLETE])
        if messages(trial.run.stdout) != expected:
            yield f"with slots {trial.slots}: {messages(trial.run.stdout)}, not {expected}"


def the_right_files_are_left(case):
    """The input stays as it is; traced runs alone leave the work file and a copy of it."""
    for trial in trials(case):
        run = trial.run
        if run.export != trial.text:
            yield "the input was changed"
        traced = run.trace is not None
        if run.status == 0 and (run.work is not None) != traced:
            yield "a traced run left no work file" if traced else "the work file is still there"
        if run.snapshot is not None and not traced:
            yield "an untraced run left a copy of the work file"


def slot_counts_change_no_record(case):
    """The records are the same for any slot counts; only their order differs."""
    yield from differing(undated(case.large.run), undated(case.small.run), "with fewer slots")


def tracing_changes_nothing(case):
    """Output, messages and status of a traced run are those of an untraced one."""
    untraced, traced = case.small.run, case.watched.run
    if (untraced.status, untraced.stdout, untraced.stderr) != (
            traced.status, traced.stdout, traced.stderr):
        yield "a traced run ends in another way or prints other messages"
    outputs = [run.output and ADDED_DATE.sub(b"", run.output) for run in (untraced, traced)]
    if outputs[0] != outputs[1]:
        yield "the output of a traced run differs"
        yield from differing(undated(untraced), undated(traced), "in the traced run")


def shuffling_changes_no_record(case):
    """The order of the entries changes nothing but the order of the records.

    One rule is left out: a DN below cn=Subdomains spells the domain like the entry of the user or
    group that was met first, so that its letter case may differ.
    """
    def alike(run):
        records = collections.Counter()
        for record, count in undated(run).items():
            dn = SUBDOMAIN.sub(lambda match: match[0].lower(), record[0])
            records[(dn,) + record[1:]] += count
        return records

    yield from differing(alike(case.large.run), alike(case.shuffled.run),
                         "with the entries shuffled")


def every_entry_has_one_record(case):
    """Each user, group, policy, credential and entry that is passed through has one record with
    its new DN, and there are no others but a container for each policy."""
    for trial in trials(case):
        expected = collections.Counter(place.dn for place in places(case.owners, trial.entries))
        found = collections.Counter(record[0] for record in trial.run.records)
        for dn in expected - found:
            yield f"no record: {shown(dn)}"
        for dn in found - expected:
            yield f"not expected, or there twice: {shown(dn)}"


def what_stays_keeps_its_order(case):
    """Entries that are passed through come first and credentials last, as they came in."""
    for trial in trials(case):
        dns = [record[0] for record in trial.run.records]
        passed, credentials = [], []
        for entry in trial.entries:
            if entry.kind in STAYING:
                (credentials if entry.kind == CREDENTIAL else passed).append(entry.lines[0])
        if dns[:len(passed)] != passed:
            yield "the output does not begin with the entries that are passed through"
        if dns[len(dns) - len(credentials):] != credentials:
            yield "the output does not end with the credentials"


def policies_follow_their_users(case):
    """A container comes right behind the record of its user, and the policy behind it."""
    for trial in trials(case):
        expected = places(case.owners, trial.entries)
        leaders = {place.dn: leader.dn for leader, place in zip(expected, expected[1:])
                   if place.kind in (CONTAINER, POLICY)}
        dns = [b""] + [record[0] for record in trial.run.records]
        for before, dn in zip(dns, dns[1:]):
            if leaders.get(dn, before) != before:
                yield f"not behind {shown(leaders[dn])}: {shown(dn)}"


def every_line_is_accounted_for(case):
    """Each line of the export is in the record that it belongs to or is one that a rule drops or
    replaces, and no record holds a line that comes from nowhere."""
    entries = case.large.entries
    records = {record[0]: record for record in case.large.run.records}
    changetype = has_change_types(entries)
    for place in places(case.owners, entries):
        record = records.get(place.dn, [place.dn])
        for fault in faults_of(record, place, changetype, case.tally):
            yield f"{shown(place.dn)}: {fault}"
    case.tally[DATA_DROPPED] += sum(len(entry.lines) for entry in entries if entry.kind == DATA)


def work_file_keeps_its_size(case):
    """During the passes the work file keeps its size, and nothing happens to a byte of it but
    that it turns blank; at the end of a run that ends well all of it is blank."""
    for trial in trials(case):
        staged = trial.run.snapshot
        if staged is None:
            continue
        left = trial.run.work or b""
        for seen in trial.run.seen + [left]:
            if len(seen) != len(staged):
                yield f"the work file had {len(staged)} bytes, and later {len(seen)}"
            elif any(not staged.startswith(text[0], text.start())
                     for text in TEXT.finditer(seen)):
                yield "bytes of the work file changed and are not blank"
        if trial.run.status == 0 and left.strip(BLANKS):
            yield "not all of the work file is blank at the end"


def no_more_owners_are_held_than_slots(case):
    """The dumps before each writing, when a pass holds most, count no more users, groups or
    entries of a kind than there are slots."""
    for trial in trials(case):
        for name, count in HELD.findall(trial.run.trace or b""):
            slots = trial.slots[1 if b"Group" in name else 0]
            if int(count) > slots:
                yield f"{shown(name)} is {int(count)}, with {slots} slots"


def any_ending_is_a_known_one(case):
    """A run ends with status 0 and all its notices, or with 255 and one error message; neither
    prints anything else to standard error, such as a sanitizer's report."""
    for trial in trials(case):
        notices, errors = messages(trial.run.stdout), messages(trial.run.stderr)
        known = {0: notices[-1:] == [COMPLETE] and not errors,
                 255: COMPLETE not in notices and len(errors) == 1 and errors[0] in FAILURES}
        if not known.get(trial.run.status) or beside_messages(trial.run.stderr):
            yield f"status {trial.run.status}, on standard error: {shown(trial.run.stderr)}"


PROPERTIES = (every_run_ends_well, each_pass_fills_the_slots, the_right_files_are_left,
              slot_counts_change_no_record, tracing_changes_nothing, shuffling_changes_no_record,
              every_entry_has_one_record, what_stays_keeps_its_order, policies_follow_their_users,
              every_line_is_accounted_for, work_file_keeps_its_size,
              no_more_owners_are_held_than_slots)
HOSTILE_PROPERTIES = (any_ending_is_a_known_one, the_right_files_are_left, tracing_changes_nothing,
                      work_file_keeps_its_size, no_more_owners_are_held_than_slots)
