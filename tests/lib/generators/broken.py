"""Sound exports with something broken in them, as it happens to exports."""

import random

from lib.generators import hostile, sound

# Texts and what one of their occurrences becomes, beside what hostile exports have.
SUBSTITUTIONS = tuple((old.encode(), new.encode("latin-1")) for old, new in (
    ("\n ", "\n\t"), ("\n", "\n\t: y\n"), ("\n", "\n\t"), ("\n ", "\n \n "), ("\n", "\n#\n x\n"),
    ("e", "\r"), ("e", "\r "), ("e", "\0"), ("\n", "\n\r"), ("\n\n", "\n\n\n x\n\n"),
    ("dn: ", "dn:: "), ("dn: ", "version: 1\ndn: "), ("dn: ", "dn:\t"), ("\n", "  \n"),
    ("secDN: ", "secDN:: "), ("secdn: ", "secdn:: "), ("secAuthority: ", "secAuthority:: "),
    ("principalName: ", "principalName:: "), ("principalName: ", "PRINCIPALNAME: "),
    ("principalName: ", "secNote: principalName: x\nprincipalName: "),
    ("cn: ", "description: was cn: x\ncn: "), ("cn: ", "cn:: "), ("cn: ", "cn: a,"),
    (": user", ": user+"), (": user", ": "), (": user", ": 1\nprincipalName: user"),
    (": ", ": acl: "), (": ", ": see kvo-entryuuid: "), ("secUUID: ", "secUUID: 0"),
    ("secAuthority: ", "secAuthority: X"), ("secAuthority=", "secAuthority=Default-"),
    ("o=example", "secAuthority=Default,o=example"), ("o=example", "cn=Subdomains,o=example"),
    (",o=", "\\, o="), ("version: ", "version: 1"), ("version: ", "secversion: 5.1\nversion: "),
    ("secMap", "SecMap"), ("secUser", "secUser "), (": secUser", ":  secUser"),
    (": secGroup", ":secGroup"), ("secPolicy", "SECPOLICY"), ("container", "CONTAINER"),
    ("secAuthority: ", "secSerial: 9\nsecAuthority: "), ("secDN: ", "secSerial: 8\nsecDN: "),
    ("\n", "\nno colon\n"), ("\n", "\nsecSerial: 7\n"), ("\n", "\ndescription: 1\n")))


def make(seed):
    rng = random.Random(f"broken {seed}")
    text = sound.make(rng.randrange(10**6))
    for _ in range(rng.choice((1, 1, 1, 2, 3))):
        text = rng.choices(DAMAGES, (50, 25, 10, 10, 5))[0](rng, text)
    return text


def substitute(rng, text):
    return hostile.substitute(rng, text, SUBSTITUTIONS)


def damage_entries(rng, text):
    entries = [entry + b"\n" for entry in text.split(b"\n\n")]
    rng.choice(hostile.ENTRY_DAMAGES)(rng, entries)
    return b"\n".join(entries)


def damage_as_hostile(rng, text):
    return rng.choice((hostile.substitute, hostile.change_bytes, hostile.truncate))(rng, text)


DAMAGES = (substitute, damage_entries, damage_as_hostile, hostile.damage_line,
           hostile.lengthen_line)
