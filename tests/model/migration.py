"""A plain model of the whole migration, to compare the program with.

    python3 -m model.migration INPUT OUTPUT MAX_USERS MAX_GROUPS

behaves like the program as far as it is modelled: it writes OUTPUT, extends, blanks and removes
INPUT.tmp, and prints the number of each message on a line of its own. Exit status as the
program's. Not modelled: the trace, memory and disks that fail, the command line's own failures.

As a module, migrate() does the same on bytes; see there.
"""
import collections
import os
import sys
import time

from model import cache, entry, records, staging

RESOURCE_CREDENTIALS = (entry.RESCREDS_CONTAINER, entry.SECRESCREDS)
NOT_IN_WORK_FILE = (entry.UNINTERESTING, entry.SECAUTHORITYINFO, entry.CONTAINER)
NOT_IN_RESIDUE = records.NOT_WRITTEN_OF_POLICIES
INT_MAX = 2147483647

# A record of the output: its kind, its lines without their ends, and the numbers of the lines of
# the export where the entries begin that it is made of, the one that it is named after first.
Record = collections.namedtuple("Record", "kind lines sources")


class Fatal(Exception):
    """The run ends here with status 255."""


class Run:
    """What one run knows and has written so far."""

    def __init__(self, max_users, max_groups, work_file, now):
        self.output = bytearray()
        self.work = entry.TextFile(work_file)
        self.users = cache.Owners(max_users)
        self.groups = cache.Owners(max_groups)
        self.now = now
        self.changetype_seen = False
        self.first_stepped_over = None
        self.passes = 0
        self.events = []
        self.dropped = []
        self.begun = []
        self.numbers = {}
        self.work_number = None

    def message(self, *numbers):
        self.events += [("message", number) for number in numbers]

    def echo(self, *lines, always=False):
        self.events += [("always" if always else "echo", line) for line in lines]

    def fail(self, number, *echo):
        self.echo(*echo)
        self.message(number)
        raise Fatal

    def drop(self, rule, lines):
        """Note lines that a rule drops or replaces."""
        self.dropped += [(rule, line) for line in lines]

    def begin_record(self, kind, sources):
        """Note what is written to the output from here on."""
        self.begun.append((kind, len(self.output), sources))

    def records(self):
        ends = [begin for _, begin, _ in self.begun[1:]] + [len(self.output)]
        for (kind, begin, sources), end in zip(self.begun, ends):
            lines = bytes(self.output[begin:end]).removesuffix(b"\n\n").split(b"\n")
            yield Record(kind, lines, sources)

    def step_over(self):
        if self.first_stepped_over is None:
            self.first_stepped_over = self.work.position
        entry.step_over_entry(self.work)

    def read_work_entry(self):
        """The next entry of the work file; reading goes on where it begins."""
        start = self.work.position
        lines, comments = entry.read_entry(self.work)
        self.work.position = start
        self.work_number = self.numbers.get(self.work.begin)
        if any(b"changetype:" in line for line in lines + comments):
            self.changetype_seen = True
        return lines


class Inventory:
    """What a run did, for checks of properties.

    peak_users, peak_groups   the most owners held at a time
    passes                    readings of the work file, the closing one included
    dropped                   (rule, line) for each line that a rule drops or replaces
    """

    def __init__(self, run):
        self.peak_users = run.users.peak
        self.peak_groups = run.groups.peak
        self.passes = run.passes
        self.dropped = run.dropped


class Result:
    """All that a run leaves behind.

    status      0 or 255
    output      bytes of the output
    work        bytes of the work file, or None when it is gone
    snapshot    bytes of TEMPORARY_INPUT_LDIF_FILE, or None when there is none
    messages    numbers of the messages in the order in which they are printed
    echo        what DEBUG_ERROR adds to standard output, one item per print, with its line end
    always      those lines beside the messages that are printed even without DEBUG_ERROR
    events      messages and lines in the order of all: ("message", number), ("echo", bytes) and
                ("always", bytes)
    inventory   see Inventory
    records     what the output consists of: each a Record
    """

    def __init__(self, run, status, traced, snapshot):
        self.status = status
        self.output = bytes(run.output)
        self.work = None if status == 0 and not traced else bytes(run.work.content)
        self.snapshot = snapshot
        self.events = run.events
        self.messages = [what for sort, what in run.events if sort == "message"]
        self.echo = [what for sort, what in run.events if sort == "echo"]
        self.always = [what for sort, what in run.events if sort == "always"]
        self.inventory = Inventory(run)
        self.records = list(run.records())


def migrate(export, max_users, max_groups, *, work_file=b"", traced=False,
            input_name="input.ldif", output_name="output.ldif", now=None):
    """Migrate the bytes of an export; max_users and max_groups are at least 1.

    work_file holds what an earlier run left behind; now is a time.struct_time or a function that
    gives one, by default the local time.
    """
    if now is None:
        now = time.localtime
    clock = now if callable(now) else lambda: now
    max_users, max_groups = min(max_users, INT_MAX), min(max_groups, INT_MAX)
    run = Run(max_users, max_groups, work_file, clock)
    snapshot = None
    try:
        run.echo(
            b"DEBUG_ERROR flag is on................ \n",
            b"main():  input_ldif_filename           = %s \n" % os.fsencode(input_name),
            b"main():  output_ldif_filename          = %s \n" % os.fsencode(output_name),
            b"main():  max_number_of_secuser_slots   = %d \n" % max_users,
            b"main():  max_number_of_secgroup_slots  = %d \n" % max_groups)
        run.message(380928308, 380928309)
        if work_file:
            run.message(380928316)
        staging.stage(run, export)
        run.message(380928310, 380928311)
        if traced:
            snapshot = bytes(run.work.content)
        while gather(run):
            run.message(380928313)
            records.flush(run)
        copy_residue(run)
        run.message(380928315)
        status = 0
    except Fatal:
        status = 255
    return Result(run, status, traced, snapshot)


def gather(run):
    """Make one pass; return whether anything but resource credentials was read."""
    run.passes += 1
    run.work.position = run.first_stepped_over or 0
    run.first_stepped_over = None
    announced = processed = False
    while lines := run.read_work_entry():
        if not announced:
            run.message(380928312)
            announced = True
        kind = entry.object_class(lines)
        if kind in NOT_IN_WORK_FILE:
            run.fail(380928302, b"main():  ERROR:  The object class of this object was "
                                b"unrecognizable.  EXITING. \n")
        elif kind in RESOURCE_CREDENTIALS:
            run.step_over()
        else:
            processed = True
            if cache.has_room(run, kind, lines):
                cache.take_in(run, kind, lines)
            else:
                run.step_over()
    return processed


def copy_residue(run):
    run.work.position = 0
    while lines := run.read_work_entry():
        if entry.object_class(lines) not in RESOURCE_CREDENTIALS:
            run.fail(380928302, b"copyRemainingObjectsToOutputLDIFFile():  ERROR:  The object "
                                b"class of this object was unrecognizable.  EXITING. \n")
        run.begin_record("credential", [run.work_number])
        run.output += b"".join(
            records.written(run, lines, NOT_IN_RESIDUE, "not in the residue")) + b"\n"
        entry.delete_entry(run.work)


def read_bytes(path):
    with open(path, "rb") as file:
        return file.read()


def write_bytes(path, content):
    with open(path, "wb") as file:
        file.write(content)


def main(arguments):
    if len(arguments) != 4:
        sys.exit(__doc__)
    input_name, output_name, max_users, max_groups = arguments
    work_name = input_name + ".tmp"
    result = migrate(read_bytes(input_name), int(max_users), int(max_groups),
                     work_file=read_bytes(work_name) if os.path.exists(work_name) else b"",
                     input_name=input_name, output_name=output_name)
    write_bytes(output_name, result.output)
    if result.work is not None:
        write_bytes(work_name, result.work)
    elif os.path.exists(work_name):
        os.remove(work_name)
    for number in result.messages:
        print(number)
    return result.status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
