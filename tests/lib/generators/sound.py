"""Small random exports in which there is nothing to find, and which migrate without an error.

They are made of what an administrator may well have: users with every entry, groups, several
domains, credentials, folded lines, comments, odd line ends and spellings, entries in any order,
access control and identifiers that are dropped on purpose. Left out is all that the migration
changes or loses silently: no attribute is in two entries of one user or group with two
values, and no value holds the name of an attribute.
"""

import random

from lib.generators.well_formed import (
    AUTHORITY, CREDENTIAL, DATA, GIVEN_NAMES, GROUP, GROUP_MAP, MAP, PASSED, POLICY, SURNAMES, USER,
    USERS_USER, Entry, Export, Work, add, attribute, base64_line, gaps, identifier, recased,
    respelled, sentence, text_of)

PEOPLE = ("ou=people,o=example", "ou=staff,o=Example Inc.", "cn=Users,dc=example",
          "ou=a+l=b,o=example")
GROUP_TREES = ("ou=groups,o=example", "cn=Users,dc=example")
DEFAULT_DOMAINS = ("Default", "default", "DEFAULT")
OTHER_DOMAINS = ("sales", "Research", "Büro 2", "Sales.north")
DROPPED = ("kvo-entryuuid", "KVO-ENTRYUUID", "aclEntry", "aclentry", "acl", "aci", "control")


def make(seed):
    """The bytes of an export."""
    rng = random.Random(f"sound {seed}")
    work = Work(rng)
    if work.folding:
        work.comments = 0  # a comment between the parts of a line is no sound comment
    add_domain(work, "Default")
    goal = rng.randint(1, 40)
    while len(work.entries) < goal:
        rng.choices(MAKERS, (50, 20, 6, 4))[0](work)
    entries = work.entries
    order = rng.choice(("as made", "shuffled", "mappings first", "users first"))
    if order == "shuffled":
        rng.shuffle(entries)
    elif order != "as made":
        first = (MAP, GROUP_MAP) if order == "mappings first" else (USER, USERS_USER, GROUP)
        entries.sort(key=lambda entry: entry.kind not in first)
    head = rng.choice((b"", b"", b"version: 1\n\n", b"# export\n\n", b"\n  \n# a\n\n#b\n \r\n"))
    if head.startswith(b"version"):
        entries.insert(0, Entry(PASSED, None, None, [b"version: 1"], b"version: 1\n"))
        head = b""
    return text_of(Export(entries, [], head, gaps(rng)))


def class_lines(work, deciding, *others):
    name = work.rng.choice(("objectclass: ", "objectClass: "))
    if work.chance(0.3):
        deciding = deciding.lower() if deciding != "container" else "Container"
    lines = [name + deciding] + [name + other for other in ("top",) + others]
    if work.chance(0.3):
        lines.reverse()
    return lines


def some_attributes(work):
    """Lines that an entry of any kind may have. No other entry has attributes of these names."""
    rng = work.rng
    lines = []
    for _ in range(rng.choice((0, 1, 2, 4, 8))):
        name = f"{rng.choice(('secNote', 'description', 'secSerial'))}{work.next_number()}"
        lines.append(rng.choice((
            lambda: attribute(work, recased(work, name), sentence(work, 6)),
            lambda: attribute(work, name, "TRUE  "),
            lambda: base64_line(name, sentence(work, 12)),
            lambda: name + ": 8-bit \udce4\udcff " + sentence(work, 2),
            lambda: name + ":",
            lambda: name + ": " + "x" * rng.choice((75, 76, 200, 4000)),
            lambda: rng.choice(DROPPED) + ": " + identifier(work)))())
    return lines


def a_domain(work):
    """The domain's name and the end of the DNs below it."""
    if work.chance(0.7):
        name = work.rng.choice(DEFAULT_DOMAINS)
        return name, f"secAuthority={name}"
    name = work.rng.choice(OTHER_DOMAINS)
    return name, f"secAuthority={name},cn=Subdomains,secAuthority=Default"


def add_domain(work, name=None):
    name, dn = (name, f"secAuthority={name}") if name else a_domain(work)
    if not work.claim("domain " + name):
        return
    lines = [f"dn: {dn}"] + class_lines(work, "secAuthorityInfo") + [f"secAuthority: {name}"]
    lines += work.rng.choice((["version: 3.0"], ["version:   5.1"], []))
    if work.chance(0.7):
        lines.append(work.rng.choice(("installDate: ", "INSTALLDATE: ")) + "20030302030405.0Z")
    add(work, AUTHORITY, lines + some_attributes(work))
    for part in ("Users", "Groups", "Policies"):
        add(work, PASSED, [f"dn: cn={part},{dn}"] + class_lines(work, "container")
            + [f"cn: {part}"])


def add_person(work):
    rng = work.rng
    name = f"{rng.choice(GIVEN_NAMES)} {rng.choice(SURNAMES)} {work.next_number()}"
    dn = f"cn={name},{rng.choice(PEOPLE)}"
    add(work, PASSED, [f"dn: {dn}", "objectclass: inetOrgPerson", "objectClass: top",
                       f"cn: {name}", base64_line("sn", name),
                       f"description: {sentence(work, 25)}"] + some_attributes(work))
    domains = [a_domain(work) for _ in range(rng.choices((0, 1, 2), (2, 8, 2))[0])]
    for domain, suffix in domains:
        if work.claim(f"{domain} of {dn}"):
            add_user(work, dn, domain, suffix)
    if work.chance(0.25):
        add_credentials(work, dn)


def add_user(work, dn, domain, suffix):
    """The attributes that several of the user's entries have are the same in all."""
    rng = work.rng
    number = work.next_number()
    name = f"user{number}" + rng.choice(("", "", "ü"))
    uuid = f"secUUID: {identifier(work)}"
    authority = f"secAuthority: {domain}"
    mapped = f"{rng.choice(('secDN', 'secdn'))}: {recased(work, dn)}"
    own = f"secAuthority={domain},{dn}"

    lines = class_lines(work, "secUser") + [authority]
    lines.append(rng.choice(("principalName: ", "principalname: ", "principalName:")) + name)
    lines.append(uuid.replace("secUUID", rng.choice(("secUUID", "secuuid", "SECUUID"))))
    if work.chance(0.3):
        lines.append(f"secDomainId: {domain}%{name}")
    add(work, USER, [f"dn:{rng.choice((' ', '', '   '))}{respelled(work, own)}"] + lines
        + some_attributes(work), number)
    if work.chance(0.6):
        add(work, DATA, [f"dn: cn=PolicyData,{respelled(work, own)}"]
            + class_lines(work, "secPolicyData") + ["cn: PolicyData"] + some_attributes(work),
            number)
    if work.chance(0.5):
        add(work, POLICY, [f"dn: {rng.choice(('cn=Policy,', 'CN=POLICY,'))}{respelled(work, own)}"]
            + class_lines(work, "secPolicy") + ["cn: Policy"] + some_attributes(work), number)
    if work.chance(0.6):
        lines = class_lines(work, "secUser", "secExtra") + [authority, mapped]
        lines += [f"principalName: {name}"][:rng.randint(0, 1)] + [uuid][:rng.randint(0, 1)]
        lines += [f"secDomainId: {domain}%{name}"]
        below = f"{recased(work, 'cn=Users')},{recased(work, suffix)}"
        add(work, USERS_USER, [f"dn: principalName={name},{below}"] + lines
            + some_attributes(work), number)
    lines = class_lines(work, "secMap") + [mapped] + [uuid][:rng.randint(0, 1)]
    lines += [authority][:rng.randint(0, 1)]
    add(work, MAP, [f"dn: {uuid.replace(': ', '=')},{recased(work, 'cn=Users')},"
                    f"{recased(work, suffix)}"] + lines + some_attributes(work), number)


def add_group(work):
    rng = work.rng
    number = work.next_number()
    name = f"group {number}" + rng.choice(("", "é"))
    dn = f"cn={name},{rng.choice(GROUP_TREES)}"
    domain, suffix = a_domain(work)
    uuid = identifier(work)
    add(work, PASSED, [f"dn: {dn}", "objectclass: groupOfNames", f"cn: {name}"]
        + some_attributes(work))
    add(work, GROUP, [f"dn: {recased(work, f'secAuthority={domain},{dn}')}"]
        + class_lines(work, "secGroup") + [rng.choice(("cn: ", "CN: ", "cn:")) + name]
        + [f"secAuthority: {domain}"][:rng.randint(0, 1)]
        + [rng.choice(("secUUID: ", "secuuid: ")) + uuid] + some_attributes(work), number)
    mapped = recased(work, dn).replace(",", rng.choice((",", " , ")))
    add(work, GROUP_MAP, [f"dn: secUUID={uuid},cn=Groups,{recased(work, suffix)}"]
        + class_lines(work, "secMap") + [f"secDN: {mapped}"] + some_attributes(work), number)


def add_credentials(work, dn):
    rng = work.rng
    top = f"{rng.choice(('cn=ResCreds', 'cn=rescreds'))},{dn}"
    add(work, CREDENTIAL, [f"dn: {top}"] + class_lines(work, "container") + ["cn: ResCreds"]
        + some_attributes(work))
    for number in range(rng.randint(0, 2)):
        add(work, CREDENTIAL, [f"dn: secResource=desk{number},{respelled(work, top)}"]
            + class_lines(work, "secResCreds")
            + [base64_line("secResPassword", sentence(work, 9))] + some_attributes(work))


def add_new_policy(work):
    """A policy that is in the newer layout already."""
    add(work, PASSED, [f"dn: cn=Policy {work.next_number()},cn=Policies,secAuthority=Default"]
        + class_lines(work, "secPolicy") + some_attributes(work))


MAKERS = (add_person, add_group, add_domain, add_new_policy)
