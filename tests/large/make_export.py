#!/usr/bin/env python3
"""Write an old-layout export of any number of users and groups.

    make_export.py OUTPUT --users N [--groups G] [--seed S] [--scattered] [--changetype]

The same arguments always give the same file. Entries are written as they are made, so the memory
used does not depend on the number of users. A user takes 1.8 to 1.9 kB, all told:

    the directory entry; every tenth user: a resource-credential container and one credential
    an ordinary secUser below it, a secPolicyData and, every third user, a secPolicy below that
    three users in four: a 'Users' secUser below cn=Users
    the secMap below cn=Users

and a group is a directory entry with its members, a secGroup and a secMap. One user in 37 and
one group in seven belongs to a subdomain. Each owner has one entry of a kind at most and none that
is required is missing, so the export must migrate without an error. No value holds a colon, so
no value can be taken for an attribute name. DNs of one owner are spelled in several ways that
the migration has to treat as equal. With --scattered, entries change places with others up to
some hundred entries away, so that the entries of one owner lie among those of other users; the
entries themselves stay the same.
"""

import argparse
import base64
import random

GIVEN_NAMES = ("Anna", "Bruno", "Chlo\u00e9", "Du\u0161an", "Elif", "Fran\u00e7ois", "G\u00f6ran",
               "Helen", "Ivan", "Joan", "Kim")
SURNAMES = ("Archer", "M\u00fcller", "Nu\u00f1ez", "\u00d8stergaard", "Smith", "\u0160imek",
            "\u7530\u4e2d", "Walker", "Young")
WORDS = ("works", "in", "the", "second", "office", "on", "floor", "three", "and", "answers",
         "questions", "about", "orders", "from", "northern", "branches", "since", "spring")
SUBDOMAINS = ("sales", "research")
FOLD_WIDTH = 76
WINDOW = 400


class Writer:
    """Puts entries into the file, at once or after a stay in the window that scatters them."""

    def __init__(self, stream, seed, scattered, changetype):
        self.stream = stream
        self.rng = random.Random(seed)
        self.window = [] if scattered else None
        self.changetype = changetype

    def add(self, lines, folded=False):
        if self.changetype:
            lines.insert(1, "changetype: add")
        if folded:
            lines = [fold(line) for line in lines]
        text = "\n".join(lines) + "\n\n"
        if self.window is None:
            self.stream.write(text)
        elif len(self.window) < WINDOW:
            self.window.append(text)
        else:
            place = below(self.rng, WINDOW)
            self.stream.write(self.window[place])
            self.window[place] = text

    def finish(self):
        while self.window:
            self.stream.write(self.window.pop(below(self.rng, len(self.window))))


def below(rng, limit):
    # The sequence of random() is the one that stays the same across Python releases.
    return int(rng.random() * limit)


def fold(line):
    if len(line) <= FOLD_WIDTH:
        return line
    return "\n ".join(line[i:i + FOLD_WIDTH] for i in range(0, len(line), FOLD_WIDTH))


def base64_line(name, value):
    return name + ":: " + base64.b64encode(value.encode("utf-8")).decode("ascii")


def sentence(rng, words):
    return " ".join(WORDS[below(rng, len(WORDS))] for _ in range(words))


def uuid(rng):
    digits = f"{rng.getrandbits(128):032x}"
    return "-".join((digits[:8], digits[8:12], digits[12:16], digits[16:20], digits[20:]))


def user_names(number):
    given = GIVEN_NAMES[number % len(GIVEN_NAMES)]
    surname = SURNAMES[number // len(GIVEN_NAMES) % len(SURNAMES)]
    return given, surname


def user_dn(number):
    given, surname = user_names(number)
    name = f"{given} {surname} {number:06d}"
    if number % 31 == 7:
        name = f"{surname}\\, {given} {number:06d}"
    return f"cn={name},ou=people{number % 8},o=example"


def principal(number):
    return f"m\u00fcller{number:06d}" if number % 100 == 17 else f"user{number:06d}"


def spaced(dn):
    """The DN with blanks after its commas; it names the same owner."""
    return dn.replace(",ou=", ", ou=").replace(",o=", ",  o=")


def add_tree(out):
    """The entries above all users and groups."""
    out.add(["dn: o=example", "objectclass: organization", "objectclass: top", "o: example"])
    for number in range(8):
        out.add([f"dn: ou=people{number},o=example", "objectclass: organizationalUnit",
                 "objectclass: top", f"ou: people{number}"])
    out.add(["dn: ou=groups,o=example", "objectclass: organizationalUnit", "ou: groups"])
    add_domain(out, "secAuthority=Default", "Default")
    out.add(["dn: cn=Policies,secAuthority=Default", "objectclass: container", "cn: Policies"])
    out.add(["dn: cn=Policy,cn=Policies,secAuthority=Default", "objectclass: secPolicy",
             "objectclass: top", "cn: Policy", "secMinimumPasswordLength: 8"])
    out.add(["dn: cn=Subdomains,secAuthority=Default", "objectclass: container",
             "cn: Subdomains"])
    for name in SUBDOMAINS:
        add_domain(out, f"secAuthority={name},cn=Subdomains,secAuthority=Default", name)


def add_domain(out, dn, name):
    out.add([f"dn: {dn}", "objectClass: secAuthorityInfo", "objectClass: top",
             f"secAuthority: {name}", "version: 3.0", "installDate: 20030302030405.0Z"])
    out.add([f"dn: cn=Users,{dn}", "objectclass: Container", "objectclass: top", "cn: Users"])
    out.add([f"dn: cn=Groups,{dn}", "objectclass: container", "objectclass: top", "cn: Groups"])


def add_user(out, rng, number):
    dn = user_dn(number)
    folded = number % 3 != 1
    domain, suffix = "Default", "secAuthority=Default"
    if number % 37 == 13:
        domain = SUBDOMAINS[number // 37 % len(SUBDOMAINS)]
        suffix = f"secAuthority={domain},cn=Subdomains,secAuthority=Default"
    owner = f"secAuthority={domain},{dn}"
    if number % 5 == 2:
        owner = f"secAuthority={domain}, {spaced(dn)}"
    identifier = uuid(rng)

    add_directory_entry(out, rng, number, dn, folded)
    if number % 10 == 6:
        add_credentials(out, rng, number, dn, folded)
    add_ordinary_user(out, rng, number, owner, domain, identifier, folded)
    add_policies(out, rng, number, owner, folded)
    if number % 4 != 3:
        out.add([f"dn: principalName={principal(number)},cn=Users,{suffix}",
                 "objectClass: secUser", "objectClass: top", f"secAuthority: {domain}",
                 f"principalName: {principal(number)}",
                 f"secDN: {spaced(dn) if number % 6 == 0 else dn}",
                 f"secUUID: {identifier}", f"secSessionLimit: {below(rng, 9)}"], folded)
    mapped = [f"dn: secUUID={identifier},cn=Users,{suffix}", "objectclass: secMap",
              "objectclass: top", f"secAuthority: {domain}"]
    if number % 7 == 5:
        mapped.append(f"secdn: {spaced(dn)}")
    elif number % 7 == 6:
        mapped.append("secDN: " + dn.replace("cn=", "CN=").replace(",o=", ",O="))
    else:
        mapped.append(f"secDN: {dn}")
    mapped += [f"secUUID: {identifier}", f"secMapSerial: {number}"]
    out.add(mapped, folded)


def add_directory_entry(out, rng, number, dn, folded):
    given, surname = user_names(number)
    lines = [f"dn: {dn}", "objectclass: inetOrgPerson", "objectclass: organizationalPerson",
             "objectclass: person", "objectclass: top", f"cn: {given} {surname} {number:06d}",
             base64_line("sn", surname) if number % 2 else f"sn: {surname}",
             f"givenName: {given}", f"uid: user{number:06d}",
             f"mail: user{number:06d}@mail.example", f"employeeNumber: {number}",
             f"telephoneNumber: +1 555 {below(rng, 10000000):07d}",
             f"roomNumber: {below(rng, 900)}", f"title: {sentence(rng, 3)}",
             f"description: {sentence(rng, 30)}",
             base64_line("displayName", f"{given} {surname}")]
    if number % 4 == 0:
        lines.append(f"kvo-entryuuid: {uuid(rng)}")
    out.add(lines, folded)


def add_credentials(out, rng, number, dn, folded):
    out.add([f"dn: cn=ResCreds,{dn}", "objectclass: container", "cn: ResCreds"], folded)
    lines = [f"dn: secResource=desk{number % 5},cn=ResCreds,{dn}", "objectclass: secResCreds",
             "objectclass: top", f"secResource: desk{number % 5}",
             base64_line("secResPassword", sentence(rng, 14))]
    if number % 20 == 6:
        lines += ["aclEntry: access-id owner read", f"kvo-entryuuid: {uuid(rng)}"]
    out.add(lines, folded)


def add_ordinary_user(out, rng, number, owner, domain, identifier, folded):
    lines = [f"dn: {owner}", "objectclass: secUser", "objectclass: top",
             f"secAuthority: {domain}", f"principalName: {principal(number)}",
             f"{'secuuid' if number % 2 else 'secUUID'}: {identifier}", "secAccountActive: TRUE",
             "secPasswordActive: TRUE", f"secPasswordChanged: 2003{below(rng, 10**10):010d}.0Z",
             f"description: {sentence(rng, 6)}"]
    if number % 8 == 2:
        lines.append(f"secDomainId: {domain}%{principal(number)}")
    if number % 4 == 1:
        lines += [f"KVO-ENTRYUUID: {uuid(rng)}", "aclEntry: access-id owner read"]
    if number % 12 == 3:
        lines.append(base64_line("secRemark", "Gr\u00fc\u00dfe " + sentence(rng, 12)))
    out.add(lines, folded)


def add_policies(out, rng, number, owner, folded):
    out.add([f"dn: cn=PolicyData,{owner}", "objectclass: secPolicyData", "objectclass: top",
             "cn: PolicyData", f"secLastLogin: 2003{below(rng, 10**10):010d}.0Z",
             f"secFailedLogins: {below(rng, 4)}"], folded)
    if number % 3 == 0:
        lines = [f"dn: cn=Policy,{owner}", "objectclass: secPolicy", "objectclass: top",
                 "cn: Policy", f"secMinimumPasswordLength: {6 + below(rng, 6)}",
                 f"secMaximumPasswordAge: {30 + below(rng, 60)}", "secPolicyActive: TRUE",
                 f"secLoginHours: {sentence(rng, 12)}"]
        if number % 6 == 0:
            lines += ["aclEntry: access-id owner read", f"kvo-entryuuid: {uuid(rng)}"]
        out.add(lines, folded)


def add_group(out, rng, number, members):
    dn = f"cn=group{number:06d},ou=groups,o=example"
    domain, suffix = "Default", "secAuthority=Default"
    if number % 7 == 4:
        domain = SUBDOMAINS[number // 7 % len(SUBDOMAINS)]
        suffix = f"secAuthority={domain},cn=Subdomains,secAuthority=Default"
    identifier = uuid(rng)
    out.add([f"dn: {dn}", "objectclass: groupOfNames", "objectclass: top",
             f"cn: group{number:06d}", f"description: {sentence(rng, 10)}"]
            + [f"member: {user_dn(member)}" for member in members])
    out.add([f"dn: secAuthority={domain},{dn}", "objectclass: secGroup", "objectclass: top",
             f"cn: group{number:06d}", f"secAuthority: {domain}",
             f"{'secuuid' if number % 2 else 'secUUID'}: {identifier}",
             "aclEntry: access-id owner read"])
    # Groups compare DNs blank for blank; only a secdn line loses its blanks when it is staged.
    named = f"secdn: {spaced(dn)}" if number % 3 == 1 else f"secDN: {dn}"
    out.add([f"dn: secUUID={identifier},cn=Groups,{suffix}", "objectclass: secMap",
             "objectclass: top", f"secAuthority: {domain}", named, f"secUUID: {identifier}"],
            number % 2 == 0)


def write_export(stream, users, groups, seed, scattered, changetype):
    rng = random.Random(seed)
    out = Writer(stream, seed, scattered, changetype)
    stream.write("# export of the registry\nversion: 1\n\n")
    add_tree(out)
    written = 0
    for number in range(users):
        add_user(out, rng, number)
        due = (number + 1) * groups // users
        while written < due:
            add_group(out, rng, written, range(max(0, number - 49), number + 1))
            written += 1
    out.finish()


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("output")
    parser.add_argument("--users", type=int, required=True)
    parser.add_argument("--groups", type=int, help="default: one per fifty users")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--scattered", action="store_true")
    parser.add_argument("--changetype", action="store_true")
    arguments = parser.parse_args()
    groups = arguments.groups
    if groups is None:
        groups = arguments.users // 50
    with open(arguments.output, "w", encoding="utf-8", newline="\n") as stream:
        write_export(stream, arguments.users, groups, arguments.seed, arguments.scattered,
                     arguments.changetype)


if __name__ == "__main__":
    main()
