"""The records of the new layout in the model: new DNs, merged entries, and what is left out."""
import functools

from model import entry


NOT_MERGED = (
    b"objectclass:", b"objectClass:", b"KVO-ENTRYUUID:", b"kvo-entryuuid:", b"control:",
    b"Control:", b"aclpropagate:", b"aclPropagate:", b"aclentry:", b"aclEntry:", b"acl:", b"ACL:",
    b"aci:", b"ACI:")
DN_NAMES = (b"dn:", b"DN:")
NOT_WRITTEN = (b"kvo-entryuuid:", b"aclentry:", b"aci:", b"acl:")
NOT_WRITTEN_OF_POLICIES = NOT_WRITTEN + (b"control:",)
FLUSH_FAILED = (b"main():  ERROR:  Failed to copy all accumulated data to the temporary output "
                b"LDIF file.  EXITING.  \n")


def flush(run):
    """Write all users, then all groups, and empty the cache."""
    for owner in run.users.slots:
        write_user(run, owner)
    for owner in run.groups.slots:
        write_group(run, owner)
    run.users.clear()
    run.groups.clear()


def write_user(run, owner):
    sec_user = owner.lines("secUser_matrix")
    mapping = owner.lines("secMap_for_secUser_matrix")
    principal = naming_value(sec_user, (b"principalName:", b"principalname:"))
    if not principal:
        fail_without_principal(run, owner)
    name = b"principalName=" + principal
    first_component = owner.dn.split(b",")[0]
    user_dn = new_dn_line(name + b",cn=Users", owner.dn, first_component)
    run.begin_record("user", owner.sources(
        "secUser_matrix", "secMap_for_secUser_matrix", "Users_secUser_matrix"))
    run.output += user_dn
    if not mapping:
        run.fail(
            380928302,
            b"writeSecUserAddToOutputFile():  ERROR:  Passing a NULL pointer to mergeObjects() \n",
            b"secUser_matrix = %s\n" % sec_user[0],
            b"secMap_for_secUser_matrix = NULL\n")
    users_entry = owner.lines("Users_secUser_matrix")
    leading = [users_entry] if users_entry else []
    write_lines(run, merge_all(run, *leading, sec_user, mapping), NOT_WRITTEN)

    if owner.policy_dn is not None:
        domain = b"" if is_in_default_domain(owner.policy_dn) else domain_in_policy_dn(run, owner)
        policy_dn = new_dn_line(b"cn=Policy,cn=Policies," + name + b",cn=Users",
                                owner.policy_dn, domain)
        run.begin_record("policy container", owner.sources("secPolicy_matrix"))
        write_policy_container(run, user_dn)
        run.begin_record("policy", owner.sources("secPolicy_matrix"))
        run.output += policy_dn
        write_lines(run, owner.lines("secPolicy_matrix"), NOT_WRITTEN_OF_POLICIES)
    run.drop("policy data", owner.lines("secPolicyData_matrix"))


def write_policy_container(run, user_dn):
    run.output += b"dn: cn=Policies," + user_dn.partition(b":")[2].lstrip(b" ")
    if run.changetype_seen:
        run.output += b"changetype: add\n"
    run.output += b"objectclass: container\nobjectclass: top\ncn: Policies\n\n"


def write_group(run, owner):
    sec_group = owner.lines("secGroup_matrix")
    mapping = owner.lines("secMap_for_secGroup_matrix")
    common_name = naming_value(sec_group, (b"cn:", b"CN:"))
    if not common_name:
        fail_without_common_name(run, owner)
    first_component = owner.dn.split(b",")[0]
    run.begin_record("group", owner.sources("secGroup_matrix", "secMap_for_secGroup_matrix"))
    run.output += new_dn_line(b"cn=" + common_name + b",cn=Groups", owner.dn, first_component)
    if not mapping:
        run.fail(
            380928302,
            b"writeSecGroupAddToOutputFile():  ERROR:  Passing a NULL pointer to "
            b"mergeObjects() \n")
    write_lines(run, merge(run, sec_group, mapping), NOT_WRITTEN)


def write_lines(run, lines, words):
    """All lines but the first, which is the old DN line, and a blank line behind them."""
    run.drop("old dn", lines[:1])
    run.output += b"".join(written(run, lines[1:], words)) + b"\n"


def written(run, lines, words, rule="not written"):
    """The lines without those that hold one of the words in any case."""
    for line in lines:
        if entry.holds(line.lower(), words):
            run.drop(rule, [line])
        else:
            yield line


# New DNs


def naming_value(lines, attributes):
    """The value on the first line that holds one of the attributes, earlier ones preferred."""
    for line in lines:
        for attribute in attributes:
            _, found, value = line.partition(attribute)
            if found:
                return entry.before_line_end(value.lstrip(b" "))
    return b""


def is_in_default_domain(dn):
    return b"secauthority=default" in dn.lower() and b"cn=subdomains" not in dn.lower()


def new_dn_line(start, old_dn, domain):
    if is_in_default_domain(old_dn):
        return b"dn: " + start + b",secAuthority=default\n"
    return b"dn: " + start + b"," + domain + b",cn=Subdomains,secAuthority=default\n"


def domain_in_policy_dn(run, owner):
    dn = owner.policy_dn
    place = entry.find_in_any_case(dn, b"secauthority")
    if place < 0:
        run.fail(380928302, b"createNewSecPolicyDN(): Missing secAuthority in dn: %s\n" % dn)
    domain, comma, _ = dn[place:].partition(b",")
    if not comma:
        run.fail(380928302)
    return domain


def first_or_null(lines):
    return lines[0] if lines else b"null"


def fail_without_principal(run, owner):
    first = first_or_null(owner.lines("secUser_matrix"))
    run.fail(
        380928302,
        b"learnPrincipalNameFromSecUserObject(): ERROR: secUser principal name could not be "
        b"found. \n",
        b"secUser is: %s\n" % first,
        b"createNewSecUserDN():  principalName for secUser: %s  could not be determined\n" % first,
        b"copyAllAccumulatedDataToOutputFile() - createNewSecUserDN() failure.  RETURNING. \n",
        b"secUser_dn = %s\n" % owner.dn,
        FLUSH_FAILED)


def fail_without_common_name(run, owner):
    run.echo(
        b"learnCNFromSecGroupObject():  ERROR: secGroup cn could not be found. \n",
        b"secGroup is: %s\n" % first_or_null(owner.lines("secGroup_matrix")))
    run.echo(
        b"createNewSecGroupDN():  learnCNFromSecGroupObject FAILED.\n",
        b"createNewSecGroupDN():  secGroup:  %s\n" % owner.dn,
        always=True)
    run.fail(
        380928302,
        b"copyAllAccumulatedDataToOutputFile() - createNewSecGroupDN() failure.  RETURNING. \n",
        b"secGroup_dn = %s\n" % owner.dn,
        FLUSH_FAILED)


# Merging entries


def merge_all(run, *entries):
    """The last two merged, and then each entry with what those behind it have become."""
    return functools.reduce(lambda merged, leading: merge(run, leading, merged),
                            reversed(entries))


def merge(run, first, second):
    """The first entry, with values of the second where both have an attribute, then the rest."""
    if not first or not second:
        run.fail(
            380928302,
            b"mergeObjects(): inputObject1 = %s\n" % (first[0] if first else b"NULL"),
            b"mergeObjects(): inputObject2 = %s\n" % (second[0] if second else b"NULL"))
    merged = []
    rest = list(second)
    for line in first:
        if entry.holds(line, (b"objectclass:", b"objectClass:")):
            merged.append(line)
            continue
        name = attribute_name(run, line, b"mergeObjects():  attributeClone = %s\n")
        if name in DN_NAMES:
            merged.append(line)
        elif name in NOT_MERGED:
            run.drop("not merged", [line])
        else:
            partner = next((other for other in rest if entry.in_any_case(other, name)), None)
            merged.append(survivor(run, line, partner, rest))
    for line in rest:
        name = attribute_name(run, line, b"attributeClone =  %s\n")
        if name in DN_NAMES + NOT_MERGED:
            run.drop("not merged", [line])
        else:
            merged.append(line)
    return merged


def survivor(run, line, partner, rest):
    """The line itself or its partner in the second entry, which is taken out of the rest."""
    if partner is None:
        return line
    rest.remove(partner)
    if entry.in_any_case(line, b"secauthority:"):
        run.drop("replaced by the first entry's", [partner])
        return line
    run.drop("replaced by the second entry's", [line])
    return partner


def attribute_name(run, line, echo_of_name):
    name, colon, _ = line.partition(b":")
    if not colon:
        run.fail(
            380928302,
            b"mergeObjects():  Colon missing from attribute definition. EXITING. \n",
            echo_of_name % line)
    return name + colon
