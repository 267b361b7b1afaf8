"""Entries of the model: bytes of a file as lines, lines as entries, and what an entry is about.

An entry is a list of lines, each as read, with its line end. A line is at most 4,095 bytes of the
file and ends at a NUL byte; what is longer arrives as several lines.
"""
import re

LINE_ROOM = 4095
WHITE_SPACE = b" \t\n\v\f\r"

SECUSER = "secUser"
SECPOLICYDATA = "secPolicyData"
SECPOLICY = "secPolicy"
SECMAP = "secMap"
SECGROUP = "secGroup"
SECAUTHORITYINFO = "secAuthorityInfo"
CONTAINER = "container"
RESCREDS_CONTAINER = "container of resource credentials"
SECRESCREDS = "secResCreds"
UNINTERESTING = "uninteresting"

# The order counts: the text of a policy-data entry begins like that of a policy.
CLASS_WORDS = [
    ((b" secUser", b" secuser"), SECUSER),
    ((b" secPolicyData", b" secpolicydata"), SECPOLICYDATA),
    ((b" secPolicy", b" secpolicy"), SECPOLICY),
    ((b" secMap", b" secmap"), SECMAP),
    ((b" secGroup", b" secgroup"), SECGROUP),
    ((b" secAuthorityInfo", b" secauthorityinfo"), SECAUTHORITYINFO),
    ((b" container", b" Container"), CONTAINER),
    ((b" secResCreds", b" secrescreds"), SECRESCREDS),
]


# Text


def holds(text, words):
    """Whether any of the words stands somewhere in the text, in exactly this case."""
    for word in words:
        if word in text:
            return True
    return False


def find_in_any_case(text, word):
    return text.lower().find(word.lower())


def in_any_case(text, word):
    return find_in_any_case(text, word) >= 0


def is_blank(line):
    return not line.strip(b" \r\n")


def before_line_end(text):
    """The text up to its first carriage return or line feed."""
    return text.partition(b"\n")[0].partition(b"\r")[0]


def with_line_feed(text):
    return text if text.endswith(b"\n") else text + b"\n"


def trim(text):
    return text.rstrip(WHITE_SPACE)


def without_blanks_at_commas(text):
    return re.sub(b" *, *", b",", text)


# Files, read line by line


class TextFile:
    """Bytes, the offset where reading goes on and that of the entry that was read last."""

    def __init__(self, content):
        self.content = bytearray(content)
        self.position = 0
        self.begin = 0


def next_line(file):
    """The next line, or None at the end of the file."""
    start = file.position
    behind_line_feed = file.content.find(b"\n", start, start + LINE_ROOM) + 1
    line = bytes(file.content[start:behind_line_feed or start + LINE_ROOM])
    file.position += len(line)
    return line.partition(b"\0")[0] if line else None


def read_entry(file):
    """The lines of the next entry, none at the end of the file, and the comments met on the way."""
    lines, comments = [], []
    place = file.position
    while (line := next_line(file)) is not None:
        if is_blank(line):
            if lines:
                break
        elif line.startswith(b"#"):
            comments.append(line)
        else:
            file.begin = file.begin if lines else place
            lines.append(line)
        place = file.position
    return lines, comments


def walk_over_entry(file):
    """The places and texts of the next lines that are not blank, up to a blank one behind them.

    A comment is a line like any other here: behind a comment, a blank line ends the walk.
    """
    seen = False
    place = file.position
    while (line := next_line(file)) is not None:
        if not is_blank(line):
            seen = True
            yield place, line
        elif seen:
            return
        place = file.position


def step_over_entry(file):
    for _ in walk_over_entry(file):
        pass


def blanked(line):
    """Blanks and a CR LF in the length of the line, in two bytes at least."""
    return b"\r\n".rjust(len(line))


def delete_entry(file):
    for place, line in walk_over_entry(file):
        blanks = blanked(line)
        file.position = place + len(blanks)
        file.content[place:file.position] = blanks


# What an entry is and what it says


def object_class(lines):
    """The first line with an object class that is known decides."""
    for line in lines:
        if holds(line, (b"objectClass:", b"objectclass:")):
            for words, kind in CLASS_WORDS:
                if holds(line, words):
                    if kind == CONTAINER and holds(lines[0], (b"cn=ResCreds", b"cn=rescreds")):
                        return RESCREDS_CONTAINER
                    return kind
    return UNINTERESTING


def unfolded(text, lines_behind):
    """The text up to its line end, joined with the continuation lines that follow it."""
    text = before_line_end(text)
    for line in lines_behind:
        if not line.startswith(b" "):
            break
        text += before_line_end(line[1:])
    return text


def unfolded_attributes(lines):
    """The attribute lines of the entry, one by one, without their line ends."""
    for index, line in enumerate(lines):
        if not line.startswith(b" "):
            yield unfolded(line, lines[index + 1:])


def attribute_value(lines, name):
    """The value behind the first "name:" in an entry, or None.

    The name is found in any case, but behind the first colon of a line in lower case alone.
    """
    key = name.lower() + b":"
    for index, line in enumerate(lines):
        attribute, colon, rest = line.partition(b":")
        text = attribute.lower() + colon + rest
        _, found, value = text.partition(key)
        if found:
            return unfolded(value.lstrip(b" "), lines[index + 1:])
    return None


def dn_value(dn_line):
    """What stands behind "dn:" and the blanks there, line end included."""
    return dn_line[3:].lstrip(b" ")


def lies_below_users(dn_line):
    return b"cn=users,secauthority=" in dn_line.lower()
