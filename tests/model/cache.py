"""The cache of the model: gathers the entries of one user or group under their owner.

An owner holds at most one entry of each sort. Owners are found by their DN case-insensitively.
"""
from model import entry

# What the program calls the move of an entry of each sort.
MOVES = {
    "secUser_matrix": "moveSecUserObjectFromObjectArrayToSecUserMatrix",
    "Users_secUser_matrix": "moveUsersSecUserObjectFromObjectArrayToUsersSecUserMatrix",
    "secPolicyData_matrix": "moveSecPolicyDataObjectFromObjectArrayToSecPolicyDataMatrix",
    "secPolicy_matrix": "moveSecPolicyObjectFromObjectArrayToSecPolicyMatrix",
    "secMap_for_secUser_matrix":
        "moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix",
    "secGroup_matrix": "moveSecGroupObjectFromObjectArrayToSecGroupMatrix",
    "secMap_for_secGroup_matrix":
        "moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix",
}
SORTS_OF_GROUPS = ("secGroup_matrix", "secMap_for_secGroup_matrix")


class Owner:
    def __init__(self, dn):
        self.dn = dn
        self.policy_dn = None
        self.entries = {}
        self.numbers = {}

    def lines(self, sort):
        return self.entries.get(sort, [])

    def sources(self, *sorts):
        """The numbers of the entries of these sorts, of those that there are."""
        return [self.numbers[sort] for sort in sorts if sort in self.numbers]


class Owners:
    """The users, or the groups, that the cache holds in this pass."""

    def __init__(self, limit):
        self.limit = limit
        self.peak = 0
        self.clear()

    def clear(self):
        self.slots = []
        self.slot_of = {}
        self.held = dict.fromkeys(MOVES, 0)

    def find(self, key):
        return self.slot_of.get(key.lower())

    def open(self, dn):
        owner = Owner(dn)
        self.slots.append(owner)
        self.slot_of.setdefault(dn.lower(), owner)
        self.peak = max(self.peak, len(self.slots))
        return owner

    def is_full(self):
        return len(self.slots) >= self.limit


def sort_of(kind, dn_line):
    if kind == entry.SECUSER:
        below_users = entry.lies_below_users(dn_line)
        return "Users_secUser_matrix" if below_users else "secUser_matrix"
    if kind == entry.SECMAP:
        of_user = entry.in_any_case(dn_line, b"cn=Users")
        return "secMap_for_secUser_matrix" if of_user else "secMap_for_secGroup_matrix"
    return {
        entry.SECPOLICYDATA: "secPolicyData_matrix",
        entry.SECPOLICY: "secPolicy_matrix",
        entry.SECGROUP: "secGroup_matrix",
    }[kind]


def owners_of(run, sort):
    return run.groups if sort in SORTS_OF_GROUPS else run.users


def has_room(run, kind, lines):
    sort = sort_of(kind, lines[0])
    owners = owners_of(run, sort)
    return owners.held[sort] < owners.limit


def take_in(run, kind, lines):
    """Move the entry to its owner and blank it out, or leave it when a new owner has no room."""
    owners = owners_of(run, sort_of(kind, lines[0]))
    if owners is run.users:
        key, dn = associate_with_user(run, kind, lines)
    else:
        key, dn = associate_with_group(run, kind, lines)

    owner = owners.find(key)
    if owner is None:
        if owners.is_full():
            run.step_over()
            return
        owner = owners.open(dn)
    if kind == entry.SECPOLICY:
        owner.policy_dn = entry.dn_value(lines[0])
    # The association may have changed the dn line, and it is the changed one that counts now.
    move(run, owners, owner, sort_of(kind, lines[0]), lines)
    entry.delete_entry(run.work)


def move(run, owners, owner, sort, lines):
    if sort in owner.entries:
        blank = b"" if sort == "secUser_matrix" else b" "
        run.fail(
            380928303,
            b"%s():  Destination slot is already occupied.  EXITING.%s\n" % (
                MOVES[sort].encode(), blank),
            b"%s = %s\n" % (sort.encode(), owner.lines(sort)[0]))
    owner.entries[sort] = lines
    owner.numbers[sort] = run.work_number
    owners.held[sort] += 1


# Each association gives the DN to look for and the DN under which a new owner is kept.


def associate_with_user(run, kind, lines):
    if kind == entry.SECMAP:
        return user_of_mapping(run, lines)
    if kind == entry.SECUSER and entry.lies_below_users(lines[0]):
        return user_of_users_entry(run, lines)

    dn = entry.dn_value(lines[0])
    if kind != entry.SECUSER:
        _, comma, dn = dn.partition(b",")
        if not comma:
            run.fail(380928302)
    key = normalised(dn)
    rewrite_end(lines, dn, key)
    return key, entry.with_line_feed(entry.without_blanks_at_commas(dn))


def user_of_users_entry(run, lines):
    authority = entry.attribute_value(lines, b"secAuthority")
    dn = entry.attribute_value(lines, b"secDN")
    if authority is None or dn is None:
        run.fail(380928302)
    owner = normalised(b"secAuthority=" + authority.split(b":")[0] + b"," + dn)
    return owner, owner


def user_of_mapping(run, lines):
    authority = authority_in_dn(lines)
    dn = entry.attribute_value(lines, b"secdn")
    if authority is None or dn is None:
        fail_without_authority(run, b"learnIndexOfAssociatedSecUserDN", lines)
    owner = normalised(authority + b"," + dn)
    return owner, owner


def associate_with_group(run, kind, lines):
    if kind == entry.SECMAP:
        return group_of_mapping(run, lines)
    dn = entry.dn_value(lines[0])
    key = entry.trim(dn) + b"\n"
    rewrite_end(lines, dn, key)
    return key, entry.with_line_feed(dn)


def group_of_mapping(run, lines):
    authority = authority_in_dn(lines)
    if authority is None:
        fail_without_authority(run, b"learnIndexOfAssociatedSecGroupDN", lines)
    dn = entry.attribute_value(lines, b"secDN")
    if dn is None:
        run.fail(380928302)
    owner = entry.trim(authority + b"," + entry.without_blanks_at_commas(dn)) + b"\n"
    return owner, owner


def normalised(dn):
    return entry.without_blanks_at_commas(entry.trim(dn) + b"\n")


def rewrite_end(lines, old_end, new_end):
    lines[0] = lines[0][:len(lines[0]) - len(old_end)] + new_end


def authority_in_dn(lines):
    """The component of a mapping's DN that names its domain, such as secAuthority=Default."""
    dn = entry.attribute_value(lines, b"dn") or b""
    place = entry.find_in_any_case(dn, b"secAuthority")
    return None if place < 0 else dn[place:].split(b",")[0]


def fail_without_authority(run, function, lines):
    dn = entry.attribute_value(lines, b"dn")
    shown = b"null" if dn is None else dn
    run.fail(380928302, b"%s(): Missing secAuthority in dn: %s\n" % (function, shown))
