"""Reading LDIF as the standard has it, and not as the migration does.

So values that the migration breaks, cuts off or leaves out can be seen: they are in the export,
read like this, and not in the output.
"""

import collections

# An entry: the numbers of its first and last line, and its attributes.
Entry = collections.namedtuple("Entry", "first last attributes")
# An attribute: the number of its line, that line as it is when it is unfolded, its name in lower
# case and its value, with a colon ahead if it is in base64.
Attribute = collections.namedtuple("Attribute", "number line name value")


def entries(text):
    """All entries of a file, with their lines unfolded and without comments."""
    found, lines = [], []
    for number, line in enumerate(text.split(b"\n"), 1):
        line = line.rstrip(b"\r")
        if line.startswith(b"\r") and not line.strip(b" \r"):
            line = b""
        if not line or line.lower().startswith(b"dn:"):
            found += entry_of(lines)
            lines = []
        if line:
            lines.append((number, line))
    return found + entry_of(lines)


def entry_of(lines):
    """The entry that these lines are, if it is one.

    What part entries as well, and do not belong to them, are lines of blanks at their end with the
    comments behind these, and everything ahead of their first attribute.
    """
    end = len(lines)
    for place in range(len(lines) - 1, -1, -1):
        if not lines[place][1].strip(b" "):
            end = place
        elif not lines[place][1].startswith(b"#"):
            break
    lines = lines[:end]
    logical, in_comment = [], False
    for number, line in lines:
        if not line.startswith(b" "):
            in_comment = line.startswith(b"#")
            if not in_comment:
                logical.append((number, line))
        elif logical and not in_comment:
            logical[-1] = (logical[-1][0], logical[-1][1] + line[1:])
    if not logical:
        return []
    return [Entry(logical[0][0], lines[-1][0], [attribute(*one) for one in logical])]


def attribute(number, line):
    name, _, value = line.partition(b":")
    in_base64 = b":" if value.startswith(b":") else b""
    return Attribute(number, line, name.lower(),
                     in_base64 + value[len(in_base64):].lstrip(b" "))


def classes(entry):
    return {one.value.strip().lower() for one in entry.attributes if one.name == b"objectclass"}
