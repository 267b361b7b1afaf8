"""What a case is made of: edits of the export in base.py, and what must come of them."""

import collections

from lib import base

# `export` is what is checked and migrated. `found` lists what the check must find: the kind, the
# line of the export, and how the entry's DN line begins, or None where no DN must be shown. `ends`
# is the number of the message that the migration ends with and a piece of its text; without it the
# migration ends well and makes `output`. `repaired` is the export as the check's advice makes it,
# and `repaired_output` what the migration makes of that.
Case = collections.namedtuple("Case",
                              "name export found ends output repaired repaired_output")


def edit(text, *edits):
    """The text after replacing, one pair after the other, what stands in it exactly once."""
    for old, new in edits:
        assert text.count(old) == 1, f"{text.count(old)} times in the text: {old!r}"
        text = text.replace(old, new)
    return text


def ends(name, *edits, found, message=380928302, text, repair=None, output=()):
    """A case whose migration ends with a message; `repair` and `output` are edits of the broken
    export and of the output in base.py. Without a repair the edits are undone."""
    export = edit(base.EXPORT, *edits)
    repaired = base.EXPORT if repair is None else edit(export, *repair)
    return Case(name, export, found, (message, text), None, repaired, edit(base.OUTPUT, *output))


def changes(name, *edits, found, output, repair=None, repaired_output=()):
    """A case whose migration ends well, with something lost or changed."""
    export = edit(base.EXPORT, *edits)
    repaired = base.EXPORT if repair is None else edit(export, *repair)
    return Case(name, export, found, None, edit(base.OUTPUT, *output), repaired,
                edit(base.OUTPUT, *repaired_output))


def harmless(name, *edits, output=()):
    """A case in which there is nothing to find."""
    export = edit(base.EXPORT, *edits)
    return Case(name, None, (), None, None, export, edit(base.OUTPUT, *output))
