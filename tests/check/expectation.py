"""What the output of a sound export must hold, and where in the export it comes from."""

import collections
import re

from lib.ldif import numbered_records
from model import expected

ADDED_DATE = re.compile(rb"installDate: \d{14}\.0Z")

# A record: its kind, its lines without their ends, the numbers of the DN lines of the entries that
# it is made of, the one that is shown for it first, and that of its own DN line in the output.
Record = collections.namedtuple("Record", "kind lines sources line")


def records_of(export, output):
    """The records of an output, which must be those that the export gives and no others."""
    awaited = {record.lines[0]: record
               for record in expected.records_of(export.read_bytes(), expected.UNDATED)}
    found = []
    for number, lines in numbered_records(output):
        kind, wanted, sources = awaited.pop(lines[0])
        if wanted[-1] == expected.UNDATED_LINE and ADDED_DATE.fullmatch(lines[-1]):
            wanted = wanted[:-1] + lines[-1:]
        assert lines == wanted, f"{lines}, not {wanted}"
        found.append(Record(kind, lines, sources, number))
    assert not awaited, f"missing: {list(awaited)}"
    return found


def text_of(records):
    """The output that holds these lists of lines."""
    return b"".join(b"\n".join(lines) + b"\n\n" for lines in records)
