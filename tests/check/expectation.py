"""What the output of a sound export must hold, and where in the export it comes from."""

import collections
import pathlib
import re
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "large"))
from check_migration import Expectation, await_records_of  # noqa: E402
from records import numbered_records  # noqa: E402

UNKNOWN_DATE = b"?"
ADDED_DATE = re.compile(rb"installDate: \d{14}\.0Z")

# A record: its kind, its lines without their ends, the numbers of the DN lines of the entries that
# it is made of, by their kinds, and the number of its own DN line in the output.
Record = collections.namedtuple("Record", "kind lines sources line")


class Listing(Expectation):
    """An expectation that keeps its records as they are."""

    def __init__(self):
        super().__init__(UNKNOWN_DATE)
        self.by_dn = {}

    def add(self, kind, record, sources, predecessor=None):
        super().add(kind, record, sources, predecessor)
        self.by_dn[record[0]] = (kind, record, sources)

    def found(self, lines, number):
        """The awaited record that these lines of the output are; None if there is none."""
        kind, awaited, sources = self.by_dn.get(lines[0], (None, [], {}))
        if awaited[-1:] == [b"installDate: " + UNKNOWN_DATE] and ADDED_DATE.fullmatch(lines[-1]):
            awaited = awaited[:-1] + lines[-1:]
        return Record(kind, lines, sources, number) if awaited == lines else None


def records_of(export, output):
    """The records of an output, which must be those that the export gives and no others."""
    listing = Listing()
    await_records_of(export, listing)
    records = [listing.found(lines, number) for number, lines in numbered_records(output)]
    if None in records or len(records) != len(listing.by_dn):
        raise AssertionError(f"{output} is not what {export} gives")
    return records


def text_of(records):
    """The output that holds these lists of lines."""
    return b"".join(b"\n".join(lines) + b"\n\n" for lines in records)
