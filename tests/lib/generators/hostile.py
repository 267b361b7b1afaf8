"""Small random files that are no good exports, but could have been: well-formed ones damaged."""

import random

from lib.generators import well_formed

# Lines that some rule reacts to, alone or where they do not belong.
LINES = tuple(line.encode() for line in (
    "dn", "dn:", "dn: ", "dn: x", "DN: x", "Dn: x", "x", ":", "-", "no colon here", "", "  ", "\t",
    " continued", "  ", " # continued", "\tx", "#", "# changetype: add", "#", " ,", "version: 1",
    "changetype: add", "changetype: modify", "objectclass:", "objectclass: secUser",
    "objectClass: secMap", "objectclass: secGroup", "objectclass: secPolicy",
    "objectclass: secPolicyData", "objectclass: secResCreds", "objectclass: container",
    "objectClass: secAuthorityInfo", "objectclass secUser", "description: objectclass: secGroup",
    "secAuthority:", "secAuthority: ", "secAuthority: Default", "secauthority: a:b", "secAuthority",
    "principalName:", "principalName:   ", "principalName: \tx", "principalName:: am9obg==",
    "PRINCIPALNAME: x", "cn:", "cn: ", "CN: g", "Cn: g", "xcn: g", "cn:: Zw==", "secDN:", "secDN: ",
    "secDN: a , b", "secdn: a , b", "secDN:: YQ==", "version: ", "version: 3", "version: 10.10",
    "installDate: x", "installdate:", "secDomainId: x", "secDomainId:x", "secuuid: 1", "secuuid:",
    "kvo-entryuuid: 1", "KVO-ENTRYUUID:1", "aclentry: 1", "description: acl: x", "control: x",
    "dn: cn=users,secauthority=x", "dn: secUUID=1,cn=Users,o=x", "dn: cn=x", "dn: cn=ResCreds",
    "dn: cn=Policies,secAuthority=x", "secDN: secAuthority: x", "description: secdn: a , b"))
# Texts and what one of their occurrences becomes.
SUBSTITUTIONS = tuple((old.encode(), new.encode("latin-1")) for old, new in (
    (",", ""), (",", ", "), (",", " ,"), (",", "\\, "), (", ", ","), ("=", ""), (":", ""),
    (": ", ":"), (": ", ":: "), (": ", ":\t"), ("dn: ", "dn:    "), ("dn: ", " dn: "),
    ("dn: ", "xx"), ("dn: ", "DN: "), ("secAuthority", "SECAUTHORITY"), ("secAuthority", "secAuth"),
    ("secAuthority=Default", "secAuthority=sales"), ("Default", "default"), ("Default", ""),
    ("cn=Users", "CN=USERS"), ("cn=Users", "cn=Users "), ("cn=Users,", "cn=Users, "),
    ("cn=Users", "cn=User"), ("cn=Groups", "cn=Users"), ("secUser", "secuser"),
    ("secUser", "SecUser"), ("secUser", "secUserX"), ("secMap", "secGroup"),
    ("secPolicy", "secPolicyData"), ("secPolicyData", "secPolicy"), ("secGroup", "secUser"),
    ("objectclass", "ObjectClass"), ("objectclass", "objectClass"), ("cn=Policy,", "cn=Policy, "),
    ("principalName", "principalname"), ("principalName", "PrincipalName"), ("secDN", "secdn"),
    ("secDN", "SECDN"), ("container", "Container"), ("cn=ResCreds", "CN=RESCREDS"),
    ("\n", ""), ("\n", "\r\n"), ("\n", "\r"), ("\n", "\n\n"), ("\n", " \n"), ("\n", "  \r\n"),
    ("\n", "\t\n"), ("\n", "\n "), ("\n", "\n\n "), ("\n", "\n# x\n"), ("\n", "\n# x\n y\n"),
    ("\n\n", "\n"), ("\n\n", "\n \n"), ("\n\n", "\n\t\n"), ("\n ", "\n"), ("\n ", " "),
    (" ", ""), (" ", "\0"), ("e", "\0"), ("\n", "\0\n"), ("o", "\xff"), ("a", "\x01"),
    ("s", "\x1b"), ("d", "D"), ("=", "=\x7f")))
SEAMS = (4090, 4093, 4094, 4095, 4096, 8188, 8190, 8191)


def make(seed):
    rng = random.Random(f"hostile {seed}")
    export = well_formed.make(seed)
    entries = [entry.text for entry in export.entries]
    for _ in range(rng.choice((0, 0, 1, 2))):
        rng.choice(ENTRY_DAMAGES)(rng, entries)
    text = well_formed.text_of(export, [well_formed.Entry("", None, None, [], entry)
                                        for entry in entries], rng)
    for _ in range(rng.choice((1, 1, 1, 2, 3, 6))):
        text = rng.choices(DAMAGES, DAMAGE_WEIGHTS)[0](rng, text)
    return text


def remove_entry(rng, entries):
    if entries:
        entries.pop(rng.randrange(len(entries)))


def double_entry(rng, entries):
    entries.insert(rng.randint(0, len(entries)), rng.choice(entries or [b""]))


def join_entries(rng, entries):
    if len(entries) > 1:
        place = rng.randrange(len(entries) - 1)
        entries[place:place + 2] = [entries[place] + entries[place + 1]]


def cross_entries(rng, entries):
    """Two entries exchange all that follows their first line."""
    if len(entries) > 1:
        a, b = rng.sample(range(len(entries)), 2)
        (first, _, rest), (other, _, others) = (entries[i].partition(b"\n") for i in (a, b))
        entries[a], entries[b] = first + b"\n" + others, other + b"\n" + rest


ENTRY_DAMAGES = (remove_entry, double_entry, join_entries, cross_entries)


def substitute(rng, text, substitutions=SUBSTITUTIONS):
    old, new = rng.choice(substitutions)
    parts = text.split(old)
    if len(parts) == 1:
        return text
    place = rng.randrange(1, len(parts))
    return old.join(parts[:place]) + new + old.join(parts[place:])


def damage_line(rng, text):
    """Removes a line, doubles it, moves it, puts another there or adds one."""
    lines = text.split(b"\n")
    place = rng.randrange(len(lines))
    kind = rng.randrange(5)
    if kind == 0:
        lines.pop(place)
    elif kind == 1:
        lines.insert(place, lines[place])
    elif kind == 2:
        lines.insert(rng.randrange(len(lines)), lines.pop(place))
    elif kind == 3:
        lines[place] = rng.choice(LINES)
    else:
        lines.insert(place, rng.choice(LINES))
    return b"\n".join(lines)


def lengthen_line(rng, text):
    """Makes a line about as long as the reader takes at a time, in one piece or folded."""
    lines = text.split(b"\n")
    place = rng.randrange(len(lines))
    length = rng.choice(SEAMS)
    filling = rng.choice((b"x", b" ", b"x: ", b"ab #", b"dn: cn:"))
    line = (lines[place] + filling * length)[:length] + rng.choice((b"", b"x", b"#", b" y: z"))
    if rng.random() < 0.4:
        line = b"\n ".join(line[start:start + 900] for start in range(0, len(line), 900))
    lines[place] = line
    return b"\n".join(lines)


def change_bytes(rng, text):
    changed = bytearray(text or b"\n")
    for _ in range(rng.choice((1, 1, 3, 20))):
        place = rng.randrange(len(changed))
        kind = rng.randrange(3)
        if kind == 0:
            changed[place] = rng.choice((0, 9, 10, 13, 32, 35, 44, 58, rng.randrange(256)))
        elif kind == 1:
            changed.insert(place, rng.randrange(256))
        elif len(changed) > 1:
            del changed[place]
    return bytes(changed)


def truncate(rng, text):
    """Loses the end, or the beginning, as a broken transfer would."""
    place = rng.randint(0, len(text))
    return text[:place] if rng.random() < 0.8 else text[place:]


def append_other(rng, text):
    return text + well_formed.text_of(well_formed.make(rng.randrange(10**6)))


DAMAGES = (substitute, damage_line, lengthen_line, change_bytes, truncate, append_other)
DAMAGE_WEIGHTS = (50, 30, 6, 8, 4, 2)
