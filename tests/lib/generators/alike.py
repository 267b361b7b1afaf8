"""Exports, and wrong outputs, in which many entries or lines have something in common.

A check that compared each of them with all others would take minutes.
"""

import random


def write_entries(path, entries):
    with open(path, "w", encoding="utf-8", newline="\n") as stream:
        stream.writelines("\n".join(entry) + "\n\n" for entry in entries)


def credential(number, kind="secResCreds"):
    return [f"dn: secResource=printer{number:06d},cn=ResCreds,cn=user{number:06d},o=example",
            f"objectclass: {kind}", "objectclass: top", f"secResource: printer{number:06d}",
            f"secResCredsData: {number * 7919:020d}"]


def write_credentials(path, count):
    write_entries(path, map(credential, range(count)))


def write_changed_credentials(path, count):
    """An output that has other credentials than those of the export, in another order."""
    write_entries(path, ([*credential(number), "description: changed"]
                         for number in reversed(range(count))))


def user(number, name, own=(), mapping=()):
    owner = f"cn=user{number:06d},o=example"
    yield [f"dn: secAuthority=Default,{owner}", "objectclass: secUser", "secAuthority: Default",
           f"principalName: {name}", f"secDomainId: Default%{name}", *own]
    yield [f"dn: secUUID={number:06d},cn=Users,secAuthority=Default", "objectclass: secMap",
           f"secDN: {owner}", *mapping]


def record(number, name):
    """What a migration makes of such a user."""
    return [f"dn: principalName={name},cn=Users,secAuthority=default", "objectclass: secUser",
            "secAuthority: Default", f"principalName: {name}", f"secDomainId: Default%{name}",
            f"secDN: cn=user{number:06d},o=example"]


def write_users(path, count, name_of):
    write_entries(path, (entry for number in range(count)
                         for entry in user(number, name_of(number))))


def write_namesakes(path, count):
    write_users(path, count, lambda _: "ann")


def write_records(path, count, name_of):
    """The output of these users, in an order of its own."""
    numbers = list(range(count))
    random.Random(1).shuffle(numbers)
    write_entries(path, (record(number, name_of(number)) for number in numbers))


def write_policy(path, lines, form="secNote{:06d}: acl: of spring"):
    """One user with a policy of such lines; about each of those of this form there is a finding."""
    own, mapping = user(0, "ann")
    write_entries(path, [own, mapping, [own[0].replace("dn: ", "dn: cn=Policy,"),
                                        "objectclass: secPolicy", "cn: Policy",
                                        *map(form.format, range(lines))]])


def write_tab_lines(path, lines):
    write_entries(path, user(0, "ann", [f"\tsecNote{n:06d}: as of spring" for n in range(lines)]))


def write_commented(path, count, form):
    """Small entries; {} in the form stands for the lines of each below its DN."""
    with open(path, "w", encoding="utf-8", newline="\n") as stream:
        for number in range(count):
            lines = f"objectclass: person\ncn: person{number:06d}"
            stream.write(form.format(f"dn: cn=person{number:06d},o=example", lines) + "\n\n")


def write_changed_records(path, count, name_of):
    """An output that has a line more in each record, in an order of its own."""
    numbers = list(range(count))
    random.Random(2).shuffle(numbers)
    write_entries(path, ([*record(number, name_of(number)), "x: y"] for number in numbers))


def plain_domains(count):
    return [b"Xyz%021d" % number for number in range(count)]


def colliding_domains(count):
    """Names that have one hash in the C++ library, which takes eight bytes at a time, and no key."""
    bits, factor = 2**64, 0xc6a4a7935bd1e995
    inverse = pow(factor, -1, bits)
    unfit = set(b"\0\t\n\v\f\r ,:=ABCDEFGHIJKLMNOPQRSTUVWXYZ")

    def mixed(block, multiplier):
        product = block * multiplier % bits
        return (product ^ product >> 47) * multiplier % bits

    names = []
    number = 0
    while len(names) < count:
        begin = b"secAuthority=Xyz%08d" % number
        value = 0xc70f6907 ^ (len(begin) + 8) * factor % bits
        for at in range(0, len(begin), 8):
            block = int.from_bytes(begin[at:at + 8], "little")
            value = (value ^ mixed(block, factor)) * factor % bits
        end = mixed(value ^ 0x123456789abcdef0, inverse).to_bytes(8, "little")
        if not unfit.intersection(end):
            names.append(begin[len(b"secAuthority="):] + end)
        number += 1
    return names


def write_domain_users(path, names):
    """A user in each of these domains."""
    with open(path, "wb") as stream:
        for number, name in enumerate(names):
            stream.write(b"dn: secAuthority=%(name)s,cn=u%(number)06d,o=e\nobjectclass: secUser\n"
                         b"secAuthority: %(name)s\nprincipalName: u%(number)06d\n\n"
                         b"dn: secUUID=%(number)06d,cn=Users,secAuthority=%(name)s\n"
                         b"objectclass: secMap\nsecDN: cn=u%(number)06d,o=e\n\n"
                         % {b"name": name, b"number": number})


def colliding(number):
    """A name of square and curly brackets, which differ by the bit that is the case of letters."""
    return "".join("[{"[number >> bit & 1] for bit in range(16))


def write_colliding_names(path, count):
    """Users whose DNs differ in such brackets alone."""
    def entries():
        for number in range(count):
            for entry in user(number, f"user{number:06d}"):
                yield [line.replace(f"cn=user{number:06d},", f"cn={colliding(number)},")
                       for line in entry]

    write_entries(path, entries())
