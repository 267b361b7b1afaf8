"""Small random exports that must migrate without an error, and what was put into them.

An export holds users with every entry that they may have, groups, several security domains,
resource credentials and entries that need no regrouping. What differs between exports, entries
and lines: letter case, blanks, line ends, folding, comments, change types, the order of entries
and of the lines in them, base64 and 8-bit values, values that look like other attributes, lines
that the migration drops. Only what ends a run is left out: see the comments that say "never".
"""

import base64
import collections
import random

# An entry: its kind, the number of its owner or None, the domain component that it would give its
# owner, its unfolded lines without line ends, and its text in the file without a closing blank
# line.
Entry = collections.namedtuple("Entry", "kind owner component lines text")
# A user or group: the value that names it, and whether it goes to the default domain.
Owner = collections.namedtuple("Owner", "name default")
# The entries in the order of the file; the owners by number; the text between entries.
Export = collections.namedtuple("Export", "entries owners head gaps")

PASSED, AUTHORITY, CREDENTIAL = "passed through", "authority", "credential"
USER, USERS_USER, MAP, POLICY, DATA = "user", "'Users' user", "map", "policy", "policy data"
GROUP, GROUP_MAP = "group", "group map"

GIVEN_NAMES = ("Anna", "Chloé", "Dušan", "François", "Göran", "田中", "Kim")
SURNAMES = ("Archer", "Müller", "Østergaard", "Šimek", "Young")
WORDS = ("works", "in", "the", "second", "office", "answers", "questions", "für", "alle", "since",
         "spring", "#1", "a,b", "c , d", "x=y", "50%")
DEFAULT_DOMAINS = ("Default", "default", "DEFAULT", "Default", "defaulttest")
OTHER_DOMAINS = ("sales", "Research", "Büro 2", "Sales.north")
PEOPLE = ("ou=people,o=example", "ou=staff,o=Example Inc.", "cn=Users,dc=example",
          "ou=a+l=b,o=example", "cn=Subdomains,o=example")
GROUP_TREES = ("ou=groups,o=example", "cn=Users,dc=example", "cn=Subdomains,o=example")
LONGEST_REGROUPED = 4094  # longer lines of regrouped entries fall apart
PIECE = 4095  # what the reader takes of a line at a time
EARLIEST_FOLD = 24  # behind every text that is sought before lines are unfolded


def make(seed):
    rng = random.Random(seed)
    work = Work(rng)
    goal = rng.randint(5, 60)
    while len(work.entries) < goal:
        rng.choices(MAKERS, MAKER_WEIGHTS)[0](work)
    entries = work.entries
    order = rng.choice(("as made", "shuffled", "mappings first"))
    if order == "shuffled":
        rng.shuffle(entries)
    elif order == "mappings first":
        entries.sort(key=lambda entry: entry.kind not in (MAP, GROUP_MAP))
    head = rng.choice((b"", b"", b"version: 1\n\n", b"# export\n\n", b"\n  \n# a\n\n#b\n \r\n"))
    if head.startswith(b"version"):
        entries.insert(0, Entry(PASSED, None, None, [b"version: 1"], b"version: 1\n"))
        head = b""
    return Export(entries, work.owners, head, gaps(rng))


class Work:
    """What has been made so far, and the habits of this export."""

    def __init__(self, rng):
        self.rng = rng
        self.entries = []
        self.owners = []
        self.taken = set()
        self.number = 0
        self.changetype = rng.choice((0, 0, 1, 0.3))
        self.folding = rng.choice((0, 0.3, 1))
        self.carriage_returns = rng.choice((0, 0, 1, 0.3))
        self.comments = rng.choice((0, 0, 0.3))
        self.line_order = rng.choice((0, 0, 0.5))
        self.recasing = rng.choice((0, 0.2, 0.6))

    def chance(self, probability):
        return self.rng.random() < probability

    def next_number(self):
        self.number += 1
        return self.number

    def claim(self, *names):
        """Whether nothing had the names yet, whatever the case of their letters."""
        names = {name.lower() for name in names}
        if names & self.taken:
            return False
        self.taken |= names
        return True


def gaps(rng):
    """What stands between entries: always at least one blank line."""
    return rng.choice(((b"\n",), (b"\n",), (b"\r\n", b"\n"),
                       (b"\n", b"   \n\n", b"\n# between\n", b"\n\n#\n#x\n\n \r \n")))


def text_of(export, entries=None, rng=None):
    """The export as a file, with its entries in the given order."""
    rng = rng or random.Random(0)
    parts = [export.head]
    for entry in export.entries if entries is None else entries:
        parts += [entry.text, rng.choice(export.gaps)]
    ending = rng.random()
    if ending < 0.3:
        parts.pop()
    text = b"".join(parts)
    return text.rstrip(b"\r\n") if ending < 0.1 else text


def recased(work, text, probability=None):
    """Letters in other cases; only ASCII letters are the same letter in both."""
    if not work.chance(work.recasing if probability is None else probability):
        return text
    style = work.rng.choice((str.upper, str.lower, str.swapcase))
    return "".join(style(c) if c.isascii() else c for c in text)


def respelled(work, dn):
    """The DN in another spelling that names the same user."""
    if work.chance(0.3):
        blanks = work.rng.choice((", ", " ,", " ,  ", ","))
        dn = dn.replace(",", blanks)
    return recased(work, dn)


def sentence(work, words):
    return " ".join(work.rng.choice(WORDS) for _ in range(words))


def identifier(work):
    return f"{work.rng.getrandbits(48):012x}"


def attribute(work, name, value):
    colon = work.rng.choices((": ", ":   ", ":"), (10, 1, 1))[0]
    return name + colon + value


def base64_line(name, value):
    return name + ":: " + base64.b64encode(value.encode()).decode()


def class_lines(work, deciding, *others):
    """The deciding line first or last, among class lines that decide nothing."""
    name = work.rng.choice(("objectclass: ", "objectClass: ", "objectclass:  "))
    if work.chance(0.3):
        deciding = deciding.lower() if deciding != "container" else "Container"
    lines = [name + deciding]
    lines += [work.rng.choice(("objectclass: ", "objectClass: ", "objectclass:")) + other
              for other in others]
    if work.chance(0.1):
        lines.append("ObjectClass: " + work.rng.choice(("top", "SECGROUP", "secUser")))
    if work.chance(0.3):
        lines.reverse()
    return lines


def some_attributes(work, kind):
    """Lines that entries of any kind may have, many of them dropped or replaced on the way."""
    rng = work.rng
    lines = []
    for _ in range(rng.choice((0, 1, 2, 4, 8))):
        lines.append(rng.choice((
            lambda: attribute(work, recased(work, "description"), sentence(work, 6)),
            lambda: attribute(work, "secLoginType", rng.choice(("Default:LDAP", "other"))),
            lambda: attribute(work, "secAccountActive", rng.choice(("TRUE", "FALSE", "TRUE  "))),
            lambda: attribute(work, recased(work, "secSerial"), str(rng.randint(1, 99))),
            lambda: base64_line("secRemark", sentence(work, 12)),
            lambda: "secRemark: 8-bit \udce4\udcff " + sentence(work, 2),
            lambda: "secEmpty:",
            lambda: rng.choice(DROPPED) + identifier(work),
            lambda: rng.choice(LOOK_ALIKES[kind]),
        ))())
    if work.chance(0.02):
        lines.append("secLong: " + "".join(rng.choices("abc:XYZ", k=LONGEST_REGROUPED - 9)))
    return lines


DROPPED = tuple(
    name + ": " for name in
    ("KVO-ENTRYUUID", "kvo-entryuuid", "Kvo-EntryUuid", "control", "Control", "CONTROL",
     "aclpropagate", "aclPropagate", "ACLPropagate", "aclentry", "aclEntry", "ACLEntry", "acl",
     "ACL", "Acl", "aci", "ACI", "xaci")) + ("kvo-entryuuid:", "aclEntry:: ")

# Values that hold the names of attributes. Never one that holds the name of an attribute whose
# value the migration looks up in an entry of the kind.
ANYWHERE = ("description: see secUUID: 12", "description: acl: none", "secNote: changetype: x",
            "secNote: note objectclass: top", "secNote: note objectClass: top",
            "secNote: a kvo-entryuuid: b", "secNote: control: x", "secNote: secSerial: 3")
LOOK_ALIKES = dict.fromkeys(
    (USERS_USER, MAP, GROUP, GROUP_MAP, CREDENTIAL), ANYWHERE)
LOOK_ALIKES.update(dict.fromkeys(
    (USER, POLICY, DATA, PASSED, AUTHORITY),
    ANYWHERE + ("secNote: see secdn: cn=a , o=b ,  c=d", "secnote: xsecDN: cn=a , o=b")))


def add(work, kind, lines, owner=None, component=None):
    """Adds the entry; the first line is the DN line."""
    if work.chance(work.changetype):
        lines.insert(1, work.rng.choice(("changetype: add", "changetype: add", "changeType: add")))
    if work.chance(work.line_order):
        rest = lines[1:]
        work.rng.shuffle(rest)
        lines[1:] = rest
    raw = [line.encode("utf-8", "surrogateescape") for line in lines]
    work.entries.append(Entry(kind, owner, component, pieces(raw), file_text(work, raw)))


def pieces(lines):
    """Only lines of entries that are passed through are ever long enough to be cut up."""
    return [line[start:start + PIECE] for line in lines for start in range(0, len(line), PIECE)]


def file_text(work, lines):
    end = b"\r\n" if work.chance(work.carriage_returns) else b"\n"
    if max(map(len, lines)) + len(b"\r\n") > PIECE:
        end = b"\n"  # a line feed read by itself would end the entry
    physical = []
    for line in lines:
        physical += folded(work, line)
    text = []
    for line in physical:
        if work.chance(work.comments):
            text.append(work.rng.choice((b"#", b"# dn: x", b"#changetype: add")) + end)
        text.append(line + end)
    return b"".join(text)


def folded(work, line):
    """The line in pieces; a piece of blanks alone would end the entry and never occurs."""
    width = work.rng.choice((30, 76, 76))
    if (not work.chance(work.folding) or b"objectclass" in line.lower() or len(line) > PIECE
            or len(line) <= width):
        return [line]
    cuts = [width if width > EARLIEST_FOLD else EARLIEST_FOLD]
    while cuts[-1] + width < len(line):
        cuts.append(cuts[-1] + width)
    parts = [line[start:end] for start, end in zip([0] + cuts, cuts + [len(line)])]
    if any(not part.strip(b" \r\n") for part in parts):
        return [line]
    return parts[:1] + [b" " + part for part in parts[1:]]


def add_person(work):
    rng = work.rng
    given, surname = rng.choice(GIVEN_NAMES), rng.choice(SURNAMES)
    name = f"{given} {surname} {work.next_number()}"
    if work.chance(0.2):
        name = f"{surname}\\, {name}"
    dn = f"cn={name},{rng.choice(PEOPLE)}"
    add(work, PASSED, [
        f"dn: {dn}", "objectclass: inetOrgPerson", "objectClass: top", f"cn: {name}",
        base64_line("sn", surname), f"description: {sentence(work, 25)}"]
        + some_attributes(work, PASSED))
    for _ in range(rng.choices((0, 1, 2), (2, 8, 2))[0]):
        add_user(work, dn)
    if work.chance(0.25):
        add_credentials(work, dn)


def domain_of(work):
    """A domain, and the end of the DNs of the entries that are kept below it."""
    if work.chance(0.7):
        domain = work.rng.choice(DEFAULT_DOMAINS)
        return domain, f"secAuthority={domain}"
    domain = work.rng.choice(OTHER_DOMAINS)
    return domain, f"secAuthority={domain},cn=Subdomains,secAuthority=Default"


def is_default(owner_dn):
    lowered = owner_dn.lower()
    return "secauthority=default" in lowered and "cn=subdomains" not in lowered


def first_component(owner_dn):
    return owner_dn.split(",")[0].encode()


def component(owner_dn):
    """The domain as a user's DN spells it, without the blanks before its comma."""
    return first_component(owner_dn).rstrip(b" ")


def add_user(work, dn):
    """One user below the person's DN; a person may have one in each of several domains."""
    rng = work.rng
    domain, suffix = domain_of(work)
    owner_dn = f"secAuthority={domain},{dn}"
    name = f"user{work.number}" + rng.choice(("", "", "ü", " x", "  ", ",y", "=z"))
    default = is_default(owner_dn)
    if not work.claim(owner_dn, f"{name} in {'default' if default else domain}"):
        return
    owner = len(work.owners)
    work.owners.append(Owner(name.encode(), default))
    uuid = identifier(work)

    spelled = respelled(work, owner_dn)
    add(work, USER, [f"dn:{rng.choice((' ', '', '   '))}{spelled}"]
        + user_lines(work, domain, name, uuid) + some_attributes(work, USER), owner,
        component(spelled))
    for kind, deciding, chance in ((DATA, "secPolicyData", 0.6), (POLICY, "secPolicy", 0.5)):
        if work.chance(chance):
            spelled = respelled(work, owner_dn)
            # Never a blank behind the first comma: it would belong to the owner's name.
            rdn = rng.choice(("cn=Policy,", "cn=Policy ,", "cn=x,", "CN=POLICY,"))
            add(work, kind, [f"dn: {rdn}{spelled}"] + class_lines(work, deciding, "top")
                + ["cn: Policy"] + some_attributes(work, kind), owner, component(spelled))
    if work.chance(0.6):
        add_users_user(work, owner, (domain, suffix), dn, name, uuid)
    spelled = recased(work, suffix)
    add(work, MAP, [f"dn: secUUID={uuid},{recased(work, 'cn=Users')},{spelled}"]
        + class_lines(work, "secMap", "top") + authority_line(work, domain, 0.5)
        + [secdn_line(work, respelled(work, dn))] + [f"secUUID: {uuid}"][:rng.randint(0, 1)]
        + some_attributes(work, MAP), owner, component(spelled))


def user_lines(work, domain, name, uuid):
    rng = work.rng
    lines = class_lines(work, "secUser", *["top", "secExtra"][:rng.randint(0, 2)])
    lines.append(rng.choice(("principalName: ", "principalname: ", "principalName:")) + name)
    if work.chance(0.3):
        lines.append(rng.choice(("secDomainId: ", "secdomainid: ")) + f"{domain}%{name}")
        lines += authority_line(work, domain, 0.7)
    else:
        lines += authority_line(work, domain, 1)
    lines.append(rng.choice(("secUUID: ", "secuuid: ", "secUuid: ", "SECUUID: ")) + uuid)
    return lines


def authority_line(work, domain, probability):
    if not work.chance(probability):
        return []
    return [attribute(work, recased(work, "secAuthority"), recased(work, domain))]


def secdn_line(work, dn):
    name = work.rng.choice(("secDN", "secDN", "secdn", "SECDN"))
    return attribute(work, name, dn) + work.rng.choice(("", "", "  "))


def add_users_user(work, owner, place, dn, name, uuid):
    domain, suffix = place
    below = f"{recased(work, 'cn=Users')},{recased(work, suffix)}"
    lines = [f"dn: principalName={name.strip()},{below}"]
    spelled = recased(work, domain)
    lines += class_lines(work, "secUser", *["top", "secExtra"][:work.rng.randint(0, 2)])
    lines.append(f"secAuthority: {spelled}{work.rng.choice(('', '', ':more', ' '))}")
    lines.append(secdn_line(work, respelled(work, dn)))
    lines.append(f"principalName: {name}")
    if work.chance(0.5):
        lines.append(f"secUUID: {uuid}")
    add(work, USERS_USER, lines + some_attributes(work, USERS_USER), owner,
        f"secAuthority={spelled}".encode())


def add_group(work):
    """Blanks in DNs of groups count: only those behind the domain may be there, in both entries."""
    rng = work.rng
    cn = f"group {work.next_number()}" + rng.choice(("", "é", " "))
    dn = f"cn={cn.strip()},{rng.choice(GROUP_TREES)}"
    domain, suffix = domain_of(work)
    behind = rng.choice(("", "", "", " "))
    owner_dn = f"secAuthority={domain}{behind},{dn}"
    owner = len(work.owners)
    work.owners.append(Owner(cn.encode(), is_default(owner_dn)))
    uuid = identifier(work)
    spelled = recased(work, owner_dn)
    add(work, PASSED, [f"dn: {dn}", "objectclass: groupOfNames", f"cn: {cn}"]
        + some_attributes(work, PASSED))
    add(work, GROUP, [f"dn: {spelled}"] + class_lines(work, "secGroup", "top")
        + [rng.choice(("cn: ", "CN: ", "cn:")) + cn] + authority_line(work, domain, 0.8)
        + [rng.choice(("secUUID: ", "secuuid: ")) + uuid] + some_attributes(work, GROUP),
        owner, first_component(spelled))
    spelled = recased(work, suffix.replace(domain, domain + behind, 1))
    mapped = dn.replace(",", rng.choice((",", " , ")))
    add(work, GROUP_MAP, [f"dn: secUUID={uuid},cn=Groups,{spelled}"]
        + class_lines(work, "secMap", "top") + [secdn_line(work, recased(work, mapped))]
        + some_attributes(work, GROUP_MAP), owner, first_component(spelled))


def add_credentials(work, dn):
    rng = work.rng
    top = f"{rng.choice(('cn=ResCreds', 'cn=rescreds'))},{dn}"
    if not work.claim(top):
        return
    add(work, CREDENTIAL, [f"dn: {top}"] + class_lines(work, "container", "top")
        + ["cn: ResCreds"] + some_attributes(work, CREDENTIAL))
    for number in range(rng.randint(0, 2)):
        add(work, CREDENTIAL, [f"dn: secResource=desk{number},{respelled(work, top)}"]
            + class_lines(work, "secResCreds", "top")
            + [base64_line("secResPassword", sentence(work, 9))]
            + some_attributes(work, CREDENTIAL))


def add_domain(work):
    """The entry of a security domain, with the containers below it."""
    rng = work.rng
    domain, dn = domain_of(work)
    if not work.claim("domain " + domain):
        return
    lines = [f"dn: {dn}"] + class_lines(work, "secAuthorityInfo", "top")
    lines.append(f"secAuthority: {domain}")
    lines += rng.choice((["version: 3.0"], ["version:   5.1"], ["version: 10.22"], [],
                         ["version: 4.1", "version: 4.2"]))
    if work.chance(0.7):
        lines.append(rng.choice(("installDate: ", "INSTALLDATE: ")) + "20030302030405.0Z")
    add(work, AUTHORITY, lines + some_attributes(work, AUTHORITY))
    for name in ("Users", "Groups", "Policies"):
        add(work, PASSED, [f"dn: cn={name},{dn}"] + class_lines(work, "container", "top")
            + [f"cn: {name}"])


def add_new_policy(work):
    """A policy that is in the new layout already."""
    top = recased(work, "cn=Policies,secAuthority=Default", 0.5)
    add(work, PASSED, [f"dn: cn=Policy {work.next_number()},{top}"]
        + class_lines(work, "secPolicy", "top") + some_attributes(work, PASSED))


def add_stranger(work):
    """An entry whose class is written in a way that is not recognised, or is unknown."""
    number = work.next_number()
    line = work.rng.choice(("objectClass: SecUser", "OBJECTCLASS: secUser", "objectclass:secUser",
                            "objectClass:: c2VjVXNlcg==", "ObjectClass: secMap", "cn: secGroup",
                            "objectclass: SECRESCREDS"))
    add(work, PASSED, [f"dn: cn=stranger {number},secAuthority=Default", line]
        + some_attributes(work, PASSED))
    if work.chance(0.3):
        add(work, PASSED, [f"dn: CN=ResCreds,cn={number},o=example", "objectclass: container"])


def add_long_line(work):
    """An entry that is passed through with a line that is read in pieces."""
    length = work.rng.choice((4090, 5000, 9000))
    add(work, PASSED, [f"dn: cn=long {work.next_number()},o=example", "objectclass: device",
                       "photo:: " + "".join(work.rng.choices("abcXYZ+/", k=length))])


MAKERS = (add_person, add_group, add_domain, add_new_policy, add_stranger, add_long_line)
MAKER_WEIGHTS = (50, 20, 6, 4, 8, 1)
