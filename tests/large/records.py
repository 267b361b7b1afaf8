"""Reading LDIF files as records, for the scripts beside this one."""


def records(path):
    """Yields each record of the file as a list of its lines, without their line feeds.

    Blank lines part the records; a line of spaces and carriage returns is blank too.
    """
    lines = []
    with open(path, "rb") as stream:
        for line in stream:
            if line.strip(b" \r\n"):
                lines.append(line.rstrip(b"\n"))
            elif lines:
                yield lines
                lines = []
    if lines:
        yield lines
