"""The records that the output must hold, by the model, whatever the number of passes."""

import time

from model import migration

KINDS = ("passed through", "user", "policy container", "policy", "group", "credential")
# A time that no clock shows, and the line that a domain without an install date gets at it.
UNDATED = time.struct_time((0,) * 9)
UNDATED_LINE = b"installDate: 00000120000.0Z"


class BadExport(Exception):
    """The export does not migrate, or its records cannot be known or distinguished."""


def no_date():
    raise BadExport("a domain has no installDate and would get today's")


def records_of(export, now=no_date):
    """The records that the bytes of an export give in one pass, each with a DN of its own.

    The time is for domains without an install date, of which there must be none without it.
    """
    result = migration.migrate(export, migration.INT_MAX, migration.INT_MAX, now=now)
    if result.status:
        raise BadExport(f"{result.messages[-1]} {b' '.join(result.echo[-2:])!r}")
    names = set()
    for record in result.records:
        if record.lines[0] in names:
            raise BadExport(f"two records would be named {record.lines[0]!r}")
        names.add(record.lines[0])
    return result.records
