"""Exports of a few users with very long entries, and of many users whose names are much alike, for
the benchmarks.

An export has no more than what the migration needs: for each user a secUser, a secMap, and a policy
if it is the long entry.
"""


# The DN of a user by its number; bracketed ones differ only in the bit that distinguishes capital
# and small letters.
DNS = {
    "plain": "cn=user{},o=example".format,
    "numbered": "cn=xx{:07},o=a".format,
    "bracketed": lambda number: f"cn={number:016b},o=a".replace("0", "[").replace("1", "{"),
}
OWN_LINES = {"user": 5, "mapping": 3, "policy": 3}  # without the additional ones


def write_export(path, users, *, names="plain", user_lines=(), mapping_lines=(),
                 policy_lines=()):
    """Users whose entries have additional lines; the lines are texts without their line feeds."""
    additional = {name: "".join(line + "\n" for line in lines) for name, lines in (
        ("user", user_lines), ("mapping", mapping_lines), ("policy", policy_lines))}
    with open(path, "w", encoding="utf-8", newline="\n") as stream:
        for number in range(users):
            write_user(stream, number, DNS[names](number), additional)


def write_user(stream, number, owner, additional):
    own = f"secAuthority=Default,{owner}"
    stream.write(f"dn: {own}\nobjectclass: secUser\nsecAuthority: Default\n"
                 f"principalName: user{number}\nsecDomainId: Default%user{number}\n"
                 f"{additional['user']}\n")
    stream.write(f"dn: secUUID={number},cn=Users,secAuthority=Default\nobjectclass: secMap\n"
                 f"secDN: {owner}\n{additional['mapping']}\n")
    if additional["policy"]:
        stream.write(f"dn: cn=Policy,{own}\nobjectclass: secPolicy\ncn: Policy\n"
                     f"{additional['policy']}\n")


def write_long_policies(path, lines, total_lines):
    """Policies of so many lines each, and of `total_lines` altogether."""
    write_export(path, total_lines // lines,
                 policy_lines=numbered("secLoginHours: {:06d} to midnight",
                                       lines - OWN_LINES["policy"]))


def write_long_users(path, lines, total_lines):
    write_export(path, total_lines // lines,
                 user_lines=numbered("secNote{:06d}: as of spring", lines - OWN_LINES["user"]))


def write_merge(path, lines):
    """One user, whose two entries have half of their attributes in common."""
    write_export(path, 1,
                 user_lines=numbered("secShared{:04d}: old", lines // 2)
                 + numbered("secOwn{:04d}: kept", lines - lines // 2 - OWN_LINES["user"]),
                 mapping_lines=numbered("secMapped{:04d}: added",
                                        lines - lines // 2 - OWN_LINES["mapping"])
                 + numbered("secShared{:04d}: new", lines // 2))


def write_names(path, names, users):
    """Users with names of one kind."""
    write_export(path, users, names=names)


def numbered(form, count):
    return [form.format(number) for number in range(count)]
