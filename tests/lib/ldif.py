"""Reading LDIF files as records."""


def records(path):
    """Yields each record of the file as a list of its lines, without their line feeds.

    Blank lines part the records; a line of spaces and carriage returns is blank too.
    """
    for _, lines in numbered_records(path):
        yield lines


def numbered_records(path):
    """Yields the same, each with the number of its first line, counted from 1 on."""
    lines = []
    with open(path, "rb") as stream:
        for number, line in enumerate(stream, 1):
            if line.strip(b" \r\n"):
                lines.append(line.rstrip(b"\n"))
            elif lines:
                yield number - len(lines), lines
                lines = []
    if lines:
        yield number + 1 - len(lines), lines


def unfold(lines):
    """The lines of a record with each continuation line joined to the one before it."""
    unfolded = []
    for line in lines:
        if line.startswith(b" "):
            unfolded[-1] += line[1:]
        else:
            unfolded.append(line)
    return unfolded
