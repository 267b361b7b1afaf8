"""Small random exports made of few names, so that entries meet that should not.

Users and groups share names, spellings differ by what does and by what does not matter, entries
are there twice or not at all, and their lines hold each other's names. Many end with an error.
"""

import random

# Each person and each domain in several spellings; some of them are other ones to the migration.
PEOPLE = (("cn=a,o=x", "CN=A,O=X", "cn=a, o=x", "cn=a,o=x "),
          ("cn=b,o=x", "cn=b , o=x", "CN=b,o=x"), ("cn=c", "CN=C", "cn=c,"),
          ("cn=a,cn=Users,o=x", "cn=a, cn=users,o=x"))
DOMAINS = (("Default", "default", "DEFAULT "), ("sales", "SALES", " sales"), ("defaults", ""))
SUFFIXES = ("secAuthority=Default", "SECAUTHORITY=Default,o=y", "secAuthority=sales,o=y",
            "secAuthority=Sales ,cn=Subdomains,secAuthority=Default", "secauthority=default", "o=y")
BELOW_USERS = ("cn=Users,", "cn=Users,", "CN=USERS,", "cn=Users, ", "cn=users ,")
BELOW_GROUPS = ("cn=Groups,", "cn=Groups,", "")
POLICY_RDNS = ("cn=p,", "cn=p,", "cn=secAuthority,", "secauthority=p,")
ODD_POLICY_RDNS = ("cn=p, ", "cn=Policies,", "")
CLASSES = ("secUser", "secMap", "secGroup", "secPolicy", "secPolicyData", "secResCreds",
           "container", "secuser", "SecUser", "secAuthorityInfo", "top", "secGroup secMap",
           "secMap secUser", "secPolicy secGroup", "secResCreds container")
NAMES = ("cn", "Cn", "xcn", "a", "ba", "A", "secUUID", "secuuid", "xsecUUID", "description",
         "secDomainId", "secdomainid", "changetype", "control", "CONTROL", "aclEntry", "AclEntry",
         "acl", "aci", "kvo-entryuuid", "ObjectClass", "version", "installDate")
ODD_NAMES = ("", "CN", "dn", "DN", "secAuthority", "SECAUTHORITY", "principalName", "secDN",
             "principalname", "secdn", "objectclass")
VALUES = ("a", "b", "a , b", "a:b", "see A: x", "xsecUUID: 1", "acl: x", "objectclass: y",
          "changetype: z", "kvo-entryuuid: 1", "1", "x  ")
ODD_VALUES = ("", " ", "DN: b", "a: secAuthority: b", "secauthority: b", "see cn: x", "secdn: a, b",
              "x CN: y cn: z")


def make(seed):
    rng = random.Random(f"crowded {seed}")
    oddity = rng.choice((0, 0.01, 0.03, 0.1))

    def mostly(usual, *others):
        return rng.choice(others) if rng.random() < oddity else usual

    entries = []
    for person in rng.choices(PEOPLE, k=rng.randint(1, 3)):
        domain = rng.choice(DOMAINS)
        entries += (user if rng.random() < 0.7 else group)(rng, mostly, person, domain)
    entries = [entry for entry in entries if mostly(True, False)]
    if mostly(False, True):
        entries += entries[-rng.randint(1, 3):]
    if rng.random() < 0.3:
        entries.append(entry(rng, mostly, rng.choice(("cn=ResCreds,o=x", "cn=x")), "container"))
    if rng.random() < 0.2:
        entries.append(entry(rng, mostly, "secAuthority=Default", "secAuthorityInfo",
                             "version: " + rng.choice(VALUES)))
    if rng.random() < 0.7:
        rng.shuffle(entries)
    return "".join(entries).encode()


def entry(rng, mostly, dn, kind, *needed):
    kinds = [mostly(kind, *CLASSES), "top"][:rng.randint(1, 2)]
    lines = [mostly("objectclass: ", "objectClass: ", "objectclass:") + kind for kind in kinds]
    lines += needed
    for _ in range(rng.choice((0, 1, 3, 6))):
        line = (mostly(rng.choice(NAMES), *ODD_NAMES) + mostly(": ", ":", ":: ", "")
                + mostly(rng.choice(VALUES), *ODD_VALUES))
        lines.insert(rng.randint(0, len(lines)), line)
    return "\n".join([mostly("dn: ", "dn:", "DN: ", "dn:   ") + dn, *lines]) + "\n\n"


def user(rng, mostly, person, domain):
    def owner():
        # With blanks at its end the DN names the same owner to some entries and not to others.
        end = rng.choice((" ", "\t")) if rng.random() < 0.07 else ""
        return f"secAuthority={mostly(domain[0], *domain)},{mostly(person[0], *person)}{end}"

    users = rng.choice(BELOW_USERS)
    place = mostly(f"secAuthority={domain[0]}", *SUFFIXES)
    found = [
        entry(rng, mostly, owner(), "secUser", f"secAuthority: {domain[0]}", "principalName: a"),
        entry(rng, mostly, f"secUUID=1,{users}{place}", "secMap",
              f"secDN: {mostly(person[0], *person)}")]
    if rng.random() < 0.6:
        found.append(entry(
            rng, mostly, f"principalName=a,{mostly('cn=Users,', *BELOW_USERS)}{place}", "secUser",
            f"secAuthority: {mostly(domain[0], *domain)}", f"secDN: {mostly(person[0], *person)}",
            "principalName: a"))
    for kind in ("secPolicy", "secPolicyData"):
        if rng.random() < 0.4:
            parent = mostly(owner(), *SUFFIXES, *person)
            rdn = mostly(rng.choice(POLICY_RDNS), *ODD_POLICY_RDNS)
            found.append(entry(rng, mostly, rdn + parent, kind))
    return found


def group(rng, mostly, person, domain):
    owner = f"secAuthority={domain[0]},{mostly(person[0], *person)}"
    place = rng.choice(BELOW_GROUPS) + mostly(f"secAuthority={domain[0]}", *SUFFIXES)
    return [entry(rng, mostly, owner, "secGroup", "cn: a"),
            entry(rng, mostly, f"secUUID=2,{place}", "secMap",
                  f"secDN: {mostly(person[0], *person)}")]
