"""Staging in the model: sends each entry of the export to the output or to the work file.

Entries that need no regrouping go to the output at once; a few entries are edited on the way.
"""
import re

from model import entry

ROOM_FOR_LINES = 250000
PASSED = "passed through"
ENTRY_IDENTIFIERS = (b"KVO-ENTRYUUID: ", b"kvo-entryuuid: ")
TO_BE_REGROUPED = (entry.SECUSER, entry.SECGROUP, entry.SECPOLICYDATA, entry.SECPOLICY,
                   entry.SECMAP, entry.RESCREDS_CONTAINER, entry.SECRESCREDS)


def stage(run, export):
    file = entry.TextFile(export)
    number, counted = 1, 0
    while True:
        start = file.position
        lines, comments = entry.read_entry(file)
        run.drop("comment", comments)
        if not lines:
            return
        number += file.content.count(b"\n", counted, file.begin)
        counted = file.begin
        if len(lines) >= ROOM_FOR_LINES:
            file.position = start
            run.begin_record(PASSED, [number])
            pass_through(run, file)
        else:
            stage_entry(run, lines, number)


def pass_through(run, file):
    """Copy an entry as it stands; where the file ends with it, no blank line follows."""
    begun = False
    while (line := entry.next_line(file)) is not None:
        if entry.is_blank(line):
            if begun:
                run.output += b"\n"
                return
        elif not line.startswith(b"#"):
            begun = True
            if entry.holds(line, ENTRY_IDENTIFIERS):
                run.drop("entry identifier", [line])
            else:
                run.output += line


def stage_entry(run, lines, number):
    kind = entry.object_class(lines)
    if lines[0].startswith(b" "):
        run.fail(
            380928302,
            b"obtainAttributeFromObjectArray():  ERROR:  The object at the specified index is a "
            b"'continuation' line.  Exiting. \n",
            b"obtainAttributeFromObjectArray():  object = %s" % lines[0])
    dn = entry.unfolded(lines[0], lines[1:])
    adjust(run, kind, lines)

    is_new_policy = kind == entry.SECPOLICY and entry.in_any_case(
        dn, b"cn=Policies,secAuthority=")
    if kind in TO_BE_REGROUPED and not is_new_policy:
        run.numbers[len(run.work.content)] = number
        run.work.content += b"".join(line + b"\n" for line in regrouped_lines(run, lines)) + b"\n"
    else:
        run.begin_record(PASSED, [number])
        run.output += b"".join(line + b"\n" for line in passed_lines(run, lines)) + b"\n"


def passed_lines(run, lines):
    """The attributes of an entry that goes to the output."""
    for attribute in entry.unfolded_attributes(lines):
        if entry.holds(attribute, ENTRY_IDENTIFIERS):
            run.drop("entry identifier", [attribute])
        else:
            yield attribute


def regrouped_lines(run, lines):
    """The attributes of an entry that goes to the work file."""
    for attribute in entry.unfolded_attributes(lines):
        if b"secdn:" in attribute:
            compact = entry.without_blanks_at_commas(attribute)
            if compact != attribute:
                run.drop("blanks at commas", [attribute])
            attribute = compact
        yield attribute


def adjust(run, kind, lines):
    if kind == entry.SECAUTHORITYINFO:
        set_version(run, lines)
        add_install_date(run, lines)
    if kind == entry.SECUSER:
        add_domain_id(run, lines)
    if kind in (entry.SECUSER, entry.SECGROUP):
        spell_uuid(run, lines)


def change_first(run, rule, lines, pattern, replacement):
    """Change the first line in which the pattern occurs, at its first place there."""
    for index, line in enumerate(lines):
        if re.search(pattern, line):
            lines[index] = re.sub(pattern, replacement, line, count=1)
            if lines[index] != line:
                run.drop(rule, [line])
            return


def set_version(run, lines):
    """Three bytes are overwritten, whatever they are; a shorter value takes the line end along."""
    change_first(run, "version", lines, b"(?s)(version: +).{0,3}", rb"\g<1>6.0")


def add_install_date(run, lines):
    if any(entry.in_any_case(line, b"installDate: ") for line in lines):
        return
    now = run.now()
    hour = now.tm_hour % 12 or 12
    lines.append(b"installDate: %d%02d%02d%02d%02d%02d.0Z" % (
        now.tm_year, now.tm_mon, now.tm_mday, hour, now.tm_min, now.tm_sec))


def add_domain_id(run, lines):
    if any(entry.in_any_case(line, b"secDomainId: ") for line in lines):
        return
    authority = entry.attribute_value(lines, b"secAuthority")
    if authority is None:
        run.fail(
            380928302,
            b"tweekObjectInObjectArray():  obtainAttributeValueFromObjArray('secAuthority') "
            b"failure.  EXITING. \n",
            b"object is:  %s\n" % lines[0])
    name = entry.attribute_value(lines, b"principalName")
    if name is None:
        run.fail(
            380928302,
            b"tweekObjectInObjectArray():  obtainAttributeValueFromObjArray('principalName') "
            b"failure.  EXITING. \n",
            b"tweekObjectInObjectArray():  secUser object is =%s\n" % lines[0])
    lines.append(b"secDomainId: " + authority + b"%" + name)


def spell_uuid(run, lines):
    change_first(run, "secuuid", lines, b"secuuid: ", b"secUUID: ")
