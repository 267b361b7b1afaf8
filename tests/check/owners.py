"""Entries without their owner, owners without an entry: what ends a migration."""

from case import ends
from lib.base import (
    GROUP, GROUP_MAPPING, MAPPING, NEW_GROUP, NEW_POLICIES, NEW_POLICY, NEW_USER, POLICY,
    POLICY_DATA, USER, USERS_ENTRY)

ANN = "secAuthority=Default,cn=Ann Lee,o=acme"
BOB = "secAuthority=Default,cn=Bob Ray,o=acme"
EDITORS = "secAuthority=Default,cn=Editors,o=acme"


def no_mapping(dn):
    return f'the entry "dn: {dn}" has no secMap entry whose secDN names it'


def no_user(owner):
    return f'other entries belong to "{owner}", but it has no secUser entry outside cn=Users with a principalName'


def no_group(owner):
    return f'other entries belong to "{owner}", but it has no secGroup entry with a cn'


def twice(first, second):
    return f'two entries of one kind have the same owner: "dn: {first}" and "dn: {second}"'


# Entries of a second person, put in front of the group's mapping entry at line 23 or at the end at
# line 67.

BOBS_MAPPING = """\
dn: secUUID=7a44,cn=Users,secAuthority=Default
objectClass: secMap
secUUID: 7a44
secDN: cn=Bob Ray,o=acme

"""

BOBS_USERS_ENTRY = """\
dn: principalName=bob,cn=Users,secAuthority=Default
objectClass: secUser
secAuthority: Default
principalName: bob
secDN: cn=Bob Ray,o=acme

"""

BOBS_USER = """\
dn: secAuthority=Default,cn=Bob Ray,o=acme
objectClass: secUser
secAuthority: Default
principalName: bob

"""

BOBS_POLICY = """\
dn: cn=Policy,secAuthority=Default,cn=Bob Ray,o=acme
objectClass: secPolicy
cn: Policy

"""

BOBS_POLICY_DATA = """\
dn: cn=PolicyData,secAuthority=Default,cn=Bob Ray,o=acme
objectClass: secPolicyData
cn: PolicyData

"""

NEW_BOB = """\
dn: principalName=bob,cn=Users,secAuthority=default
objectClass: secUser
secAuthority: Default
principalName: bob
secDomainId: Default%bob
secUUID: 7a44
secDN: cn=Bob Ray,o=acme

"""


IN_SALES = "secAuthority=Sales,cn=Subdomains,secAuthority=default"

BOB_OF_SALES = (
    BOBS_USER.replace("Default", "Sales") + BOBS_POLICY.replace("Default", "Sales") +
    BOBS_MAPPING.replace("secAuthority=Default",
                         "secAuthority=Sales,cn=Subdomains,secAuthority=Default"))

NEW_BOB_OF_SALES = f"""\
dn: principalName=bob,cn=Users,{IN_SALES}
objectClass: secUser
secAuthority: Sales
principalName: bob
secDomainId: Sales%bob
secUUID: 7a44
secDN: cn=Bob Ray,o=acme

dn: cn=Policies,principalName=bob,cn=Users,{IN_SALES}
objectclass: container
objectclass: top
cn: Policies

dn: cn=Policy,cn=Policies,principalName=bob,cn=Users,{IN_SALES}
objectClass: secPolicy
cn: Policy

"""


def before_line_23(entry):
    return GROUP_MAPPING, entry + GROUP_MAPPING


def at_the_end(entry):
    return GROUP, GROUP + entry


WITHOUT_ANN = [(NEW_USER + NEW_POLICIES + NEW_POLICY, "")]

CASES = [
    ends("user-without-mapping, of a user of both kinds",
         (MAPPING, ""),
         found=[("user-without-mapping", 36, f"dn: {ANN}")],
         text=no_mapping(ANN)),
    ends("user-without-mapping, of a user alone",
         at_the_end(BOBS_USER),
         found=[("user-without-mapping", 67, f"dn: {BOB}")],
         text=no_mapping(BOB),
         repair=[at_the_end(BOBS_MAPPING)],
         output=[(NEW_GROUP, NEW_BOB + NEW_GROUP)]),
    ends("user-without-mapping, because the mapping entry names another name",
         ("secUUID: 7a10\nsecDN: cn=Ann Lee,", "secUUID: 7a10\nsecDN: cn=Ann L,"),
         found=[("user-without-mapping", 41, f"dn: {ANN}"),
                ("mapping-without-user", 11, "dn: secUUID=7a10,cn=Users,")],
         text=no_user("secAuthority=Default,cn=Ann L,o=acme")),
    ends("user-without-mapping, because the mapping entry is of another domain",
         ("secUUID=7a10,cn=Users,", "secUUID=7a10,cn=Users,secAuthority=Sales,cn=Subdomains,"),
         found=[("user-without-mapping", 41, f"dn: {ANN}"),
                ("mapping-without-user", 11, "dn: secUUID=7a10,cn=Users,secAuthority=Sales,")],
         text=no_user("secAuthority=Sales,cn=Ann Lee,o=acme")),
    ends("user-without-mapping, because the mapping entry is one of a group",
         ("secUUID=7a10,cn=Users,", "secUUID=7a10,cn=Groups,"),
         found=[("user-without-mapping", 41, f"dn: {ANN}"),
                ("mapping-without-group", 11, "dn: secUUID=7a10,cn=Groups,")],
         text=no_mapping(ANN)),
    ends("mapping-without-user",
         at_the_end(BOBS_MAPPING),
         found=[("mapping-without-user", 67, "dn: secUUID=7a44,cn=Users,secAuthority=Default")],
         text=no_user(BOB)),
    ends("mapping-without-user, with all that belongs to the user",
         (USER, ""),
         found=[("mapping-without-user", 11, "dn: secUUID=7a10,cn=Users,secAuthority=Default"),
                ("users-entry-without-user", 16, "dn: principalName=ann,cn=Users,"),
                ("policy-without-user", 41, f"dn: cn=Policy,{ANN}"),
                ("policy-data-without-user", 46, f"dn: cn=PolicyData,{ANN}")],
         text=no_user(ANN),
         repair=[(MAPPING, ""), (USERS_ENTRY, ""), (POLICY, ""), (POLICY_DATA, "")],
         output=WITHOUT_ANN),
    ends("users-entry-without-user",
         before_line_23(BOBS_USERS_ENTRY),
         found=[("users-entry-without-user", 23, "dn: principalName=bob,cn=Users,")],
         text=no_user(BOB)),
    ends("users-entry-without-user, because its domain is another",
         ("Default\nprincipalName: ann\nsecDN", "Sales\nprincipalName: ann\nsecDN"),
         found=[("users-entry-without-user", 16, "dn: principalName=ann,cn=Users,")],
         text=no_user("secAuthority=Sales,cn=Ann Lee,o=acme")),
    ends("policy-without-user",
         at_the_end(BOBS_POLICY),
         found=[("policy-without-user", 67, f"dn: cn=Policy,{BOB}")],
         text=no_user(BOB)),
    ends("policy-data-without-user",
         at_the_end(BOBS_POLICY_DATA),
         found=[("policy-data-without-user", 67, f"dn: cn=PolicyData,{BOB}")],
         text=no_user(BOB)),
    ends("group-without-mapping",
         (GROUP_MAPPING, ""),
         found=[("group-without-mapping", 56, f"dn: {EDITORS}")],
         text=no_mapping(EDITORS)),
    ends("group-without-mapping, because the mapping entry names another name",
         ("secDN: cn=Editors,o=acme", "secDN: cn=Editor,o=acme"),
         found=[("group-without-mapping", 61, f"dn: {EDITORS}"),
                ("mapping-without-group", 23, "dn: secUUID=7b01,cn=Groups,")],
         text=no_group("secAuthority=Default,cn=Editor,o=acme")),
    ends("group-without-mapping, because the mapping entry is one of a user",
         ("secUUID=7b01,cn=Groups", "secUUID=7b01,cn=Users"),
         found=[("group-without-mapping", 61, f"dn: {EDITORS}"),
                ("mapping-without-user", 23, "dn: secUUID=7b01,cn=Users,")],
         text=no_user(EDITORS)),
    ends("mapping-without-group",
         (GROUP, ""),
         found=[("mapping-without-group", 23, "dn: secUUID=7b01,cn=Groups,secAuthority=Default")],
         text=no_group(EDITORS),
         repair=[(GROUP_MAPPING, "")],
         output=[(NEW_GROUP, "")]),
    ends("two-of-one-kind, users",
         at_the_end(USER),
         found=[("two-of-one-kind", 67, f"dn: {ANN}")],
         message=380928303, text=twice(ANN, ANN)),
    ends("two-of-one-kind, users in other case and with blanks",
         at_the_end(USER.replace("dn: secAuthority=Default,cn=Ann Lee,o=acme",
                                 "dn: SECAUTHORITY=default , CN=ann lee, O=Acme")),
         found=[("two-of-one-kind", 67, "dn: SECAUTHORITY=default")],
         message=380928303, text=twice("SECAUTHORITY=default,CN=ann lee,O=Acme", ANN)),
    ends("two-of-one-kind, user entries below cn=Users",
         before_line_23(USERS_ENTRY.replace("principalName=ann", "principalName=ann2")),
         found=[("two-of-one-kind", 23, "dn: principalName=ann2,cn=Users,")],
         message=380928303, text=twice("principalName=ann2,cn=Users,secAuthority=Default",
                                       "principalName=ann,cn=Users,secAuthority=Default")),
    ends("two-of-one-kind, mapping entries of a user",
         at_the_end(MAPPING.replace("7a10", "7a11")),
         found=[("two-of-one-kind", 67, "dn: secUUID=7a11,cn=Users,")],
         message=380928303, text=twice("secUUID=7a11,cn=Users,secAuthority=Default",
                                       "secUUID=7a10,cn=Users,secAuthority=Default")),
    ends("two-of-one-kind, policies",
         at_the_end(POLICY.replace("cn=Policy", "cn=Policy2")),
         found=[("two-of-one-kind", 67, f"dn: cn=Policy2,{ANN}")],
         message=380928303, text=twice(f"cn=Policy2,{ANN}", f"cn=Policy,{ANN}")),
    ends("two-of-one-kind, policy data",
         at_the_end(POLICY_DATA.replace("cn=PolicyData", "cn=PolicyData2")),
         found=[("two-of-one-kind", 67, f"dn: cn=PolicyData2,{ANN}")],
         message=380928303, text=twice(f"cn=PolicyData2,{ANN}", f"cn=PolicyData,{ANN}")),
    ends("two-of-one-kind, groups",
         at_the_end(GROUP),
         found=[("two-of-one-kind", 67, f"dn: {EDITORS}")],
         message=380928303, text=twice(EDITORS, EDITORS)),
    ends("two-of-one-kind, mapping entries of a group",
         at_the_end(GROUP_MAPPING.replace("7b01", "7b02")),
         found=[("two-of-one-kind", 67, "dn: secUUID=7b02,cn=Groups,")],
         message=380928303, text=twice("secUUID=7b02,cn=Groups,secAuthority=Default",
                                       "secUUID=7b01,cn=Groups,secAuthority=Default")),
    ends("missing-name, the user has none",
         ("principalName: ann\nsecuuid", "secuuid"),
         found=[("missing-name", 41, f"dn: {ANN}")],
         text=f'the entry "dn: {ANN}" has no principalName attribute'),
    ends("missing-name, the user has none but a domain identifier",
         ("principalName: ann\nsecuuid", "secDomainId: Default%ann\nsecuuid"),
         found=[("missing-name", 41, f"dn: {ANN}")],
         text=no_user(ANN),
         repair=[("%ann\nsecuuid", "%ann\nprincipalName: ann\nsecuuid")]),
    ends("missing-name, that of the user is empty",
         ("principalName: ann\nsecuuid", "principalName: \nsecuuid"),
         found=[("missing-name", 41, f"dn: {ANN}")],
         text=f'the entry "dn: {ANN}" has no name behind the first "principalName:" or '
              '"principalname:" in it'),
    ends("missing-name, that of the user is spelled in another case",
         ("principalName: ann\nsecuuid", "PrincipalName: ann\nsecuuid"),
         found=[("missing-name", 41, f"dn: {ANN}")],
         text=f'the entry "dn: {ANN}" has its principalName spelled "PrincipalName"; write '
              '"principalName"'),
    ends("missing-name, the user entry below cn=Users has none and no domain identifier",
         ("principalName: ann\nsecDN: cn=Ann Lee,o=acme\nsecDomainId: Default%ann",
          "secDN: cn=Ann Lee,o=acme"),
         found=[("missing-name", 16, "dn: principalName=ann,cn=Users,")],
         text='the entry "dn: principalName=ann,cn=Users,secAuthority=Default" has no '
              'principalName attribute'),
    ends("missing-name, the group has none",
         ("cn: Editors\nsecuuid", "secuuid"),
         found=[("missing-name", 61, f"dn: {EDITORS}")],
         text=no_group(EDITORS)),
    ends("missing-name, that of the group is empty",
         ("cn: Editors\nsecuuid", "cn:\nsecuuid"),
         found=[("missing-name", 61, f"dn: {EDITORS}")],
         text=f'the entry "dn: {EDITORS}" has no name behind the first "cn:" or "CN:" in it'),
    ends("missing-name, that of the group is spelled in another case",
         ("cn: Editors\nsecuuid", "Cn: Editors\nsecuuid"),
         found=[("missing-name", 61, f"dn: {EDITORS}")],
         text=f'the entry "dn: {EDITORS}" has its cn spelled "Cn"; write "cn"'),
    ends("missing-domain, of a user",
         ("secAuthority: Default\nprincipalName: ann\nsecuuid", "principalName: ann\nsecuuid"),
         found=[("missing-domain", 41, f"dn: {ANN}")],
         text=f'the entry "dn: {ANN}" has no secAuthority attribute'),
    ends("missing-domain, of a user entry below cn=Users",
         ("secAuthority: Default\nprincipalName: ann\nsecDN", "principalName: ann\nsecDN"),
         found=[("missing-domain", 16, "dn: principalName=ann,cn=Users,")],
         text='the entry "dn: principalName=ann,cn=Users,secAuthority=Default" has no secAuthority '
              'attribute'),
    ends("missing-domain, of a user's mapping entry",
         ("secUUID=7a10,cn=Users,secAuthority=Default", "secUUID=7a10,cn=Users"),
         found=[("missing-domain", 11, "dn: secUUID=7a10,cn=Users"),
                ("user-without-mapping", 41, f"dn: {ANN}")],
         text='the entry "dn: secUUID=7a10,cn=Users" has no secAuthority in its DN'),
    ends("missing-domain, of a group's mapping entry",
         ("secUUID=7b01,cn=Groups,secAuthority=Default", "secUUID=7b01,cn=Groups,o=acme"),
         found=[("missing-domain", 23, "dn: secUUID=7b01,cn=Groups,o=acme"),
                ("group-without-mapping", 61, f"dn: {EDITORS}")],
         text='the entry "dn: secUUID=7b01,cn=Groups,o=acme" has no secAuthority in its DN'),
    ends("missing-domain, of a policy below the directory entry",
         ("dn: cn=Policy,secAuthority=Default,", "dn: cn=Policy,"),
         found=[("missing-domain", 48, "dn: cn=Policy,cn=Ann Lee,o=acme")],
         text=no_user("cn=Ann Lee,o=acme")),
    ends("missing-owner, of a user's mapping entry",
         ("secUUID: 7a10\nsecDN: cn=Ann Lee,o=acme\n", "secUUID: 7a10\n"),
         found=[("missing-owner", 11, "dn: secUUID=7a10,cn=Users,"),
                ("user-without-mapping", 40, f"dn: {ANN}")],
         text='the entry "dn: secUUID=7a10,cn=Users,secAuthority=Default" has no secDN attribute'),
    ends("missing-owner, an empty one in a user's mapping entry",
         ("secUUID: 7a10\nsecDN: cn=Ann Lee,o=acme\n", "secUUID: 7a10\nsecDN: \n"),
         found=[("missing-owner", 11, "dn: secUUID=7a10,cn=Users,"),
                ("user-without-mapping", 41, f"dn: {ANN}")],
         text=no_user("secAuthority=Default,")),
    ends("missing-owner, of a user entry below cn=Users",
         ("principalName: ann\nsecDN: cn=Ann Lee,o=acme\n", "principalName: ann\n"),
         found=[("missing-owner", 16, "dn: principalName=ann,cn=Users,")],
         text='the entry "dn: principalName=ann,cn=Users,secAuthority=Default" has no secDN '
              'attribute'),
    ends("missing-owner, an empty one in a user entry below cn=Users",
         ("principalName: ann\nsecDN: cn=Ann Lee,o=acme\n", "principalName: ann\nsecDN:\n"),
         found=[("missing-owner", 16, "dn: principalName=ann,cn=Users,")],
         text=no_user("secAuthority=Default,")),
    ends("missing-owner, of a group's mapping entry",
         ("secUUID: 7b01\nsecDN: cn=Editors,o=acme\n", "secUUID: 7b01\n"),
         found=[("missing-owner", 23, "dn: secUUID=7b01,cn=Groups,"),
                ("group-without-mapping", 60, f"dn: {EDITORS}")],
         text='the entry "dn: secUUID=7b01,cn=Groups,secAuthority=Default" has no secDN attribute'),
    ends("missing-owner, of a policy whose DN has no comma",
         ("dn: cn=Policy,secAuthority=Default,cn=Ann Lee,o=acme", "dn: cn=Policy"),
         found=[("missing-owner", 48, "dn: cn=Policy")],
         text='the entry "dn: cn=Policy" has a DN without a comma, so it has no owner'),
    ends("missing-owner, of policy data whose DN has no comma",
         ("dn: cn=PolicyData,secAuthority=Default,cn=Ann Lee,o=acme", "dn: cn=PolicyData"),
         found=[("missing-owner", 53, "dn: cn=PolicyData")],
         text='the entry "dn: cn=PolicyData" has a DN without a comma, so it has no owner'),
    # In base64, cn=Ann Lee,o=acme is Y249QW5uIExlZSxvPWFjbWU= and so on.
    ends("base64-dn, of a user",
         (f"dn: {ANN}\nobjectClass: secUser",
          "dn:: c2VjQXV0aG9yaXR5PURlZmF1bHQsY249QW5uIExlZSxvPWFjbWU=\nobjectClass: secUser"),
         found=[("base64-dn", 41, "dn:: c2VjQXV0aG9yaXR5PURlZmF1bHQsY249QW5uIExlZSxvPWFjbWU="),
                ("mapping-without-user", 11, "dn: secUUID=7a10,cn=Users,"),
                ("users-entry-without-user", 16, "dn: principalName=ann,cn=Users,"),
                ("policy-without-user", 48, f"dn: cn=Policy,{ANN}"),
                ("policy-data-without-user", 53, f"dn: cn=PolicyData,{ANN}")],
         text=no_user(ANN)),
    ends("base64-dn, of a user entry below cn=Users",
         ("dn: principalName=ann,cn=Users,secAuthority=Default",
          "dn:: cHJpbmNpcGFsTmFtZT1hbm4sY249VXNlcnMsc2VjQXV0aG9yaXR5PURlZmF1bHQ="),
         found=[("base64-dn", 16, "dn:: cHJpbmNpcGFsTmFtZT1hbm4s")],
         text=no_mapping("x").partition("has")[2]),
    ends("base64-dn, of a user's mapping entry",
         ("dn: secUUID=7a10,cn=Users,secAuthority=Default",
          "dn:: c2VjVVVJRD03YTEwLGNuPVVzZXJzLHNlY0F1dGhvcml0eT1EZWZhdWx0"),
         found=[("base64-dn", 11, "dn:: c2VjVVVJRD03YTEwLGNuPVVzZXJzLH"),
                ("user-without-mapping", 41, f"dn: {ANN}")],
         text="has no secAuthority in its DN"),
    ends("base64-dn, of a policy",
         (f"dn: cn=Policy,{ANN}",
          "dn:: Y249UG9saWN5LHNlY0F1dGhvcml0eT1EZWZhdWx0LGNuPUFubiBMZWUsbz1hY21l"),
         found=[("base64-dn", 48, "dn:: Y249UG9saWN5LH")],
         text="has a DN without a comma, so it has no owner"),
    ends("base64-dn, of policy data",
         (f"dn: cn=PolicyData,{ANN}",
          "dn:: Y249UG9saWN5RGF0YSxzZWNBdXRob3JpdHk9RGVmYXVsdCxjbj1Bbm4gTGVlLG89YWNtZQ=="),
         found=[("base64-dn", 53, "dn:: Y249UG9saWN5RGF0YSxz")],
         text="has a DN without a comma, so it has no owner"),
    ends("base64-dn, of a group",
         (f"dn: {EDITORS}\nobjectClass: secGroup",
          "dn:: c2VjQXV0aG9yaXR5PURlZmF1bHQsY249RWRpdG9ycyxvPWFjbWU=\nobjectClass: secGroup"),
         found=[("base64-dn", 61, "dn:: c2VjQXV0aG9yaXR5PURlZmF1bHQsY249RWRp"),
                ("mapping-without-group", 23, "dn: secUUID=7b01,cn=Groups,")],
         text=no_group(EDITORS)),
    ends("base64-dn, of a group's mapping entry",
         ("dn: secUUID=7b01,cn=Groups,secAuthority=Default",
          "dn:: c2VjVVVJRD03YjAxLGNuPUdyb3VwcyxzZWNBdXRob3JpdHk9RGVmYXVsdA=="),
         found=[("base64-dn", 23, "dn:: c2VjVVVJRD03YjAxLGNuPUdyb3Vwcyx"),
                ("group-without-mapping", 61, f"dn: {EDITORS}")],
         text="has no secAuthority in its DN"),
    ends("base64-owner, in a user's mapping entry",
         ("7a10\nsecDN: cn=Ann Lee,o=acme", "7a10\nsecDN:: Y249QW5uIExlZSxvPWFjbWU="),
         found=[("base64-owner", 11, "dn: secUUID=7a10,cn=Users,"),
                ("user-without-mapping", 41, f"dn: {ANN}")],
         text=no_user("secAuthority=Default,: Y249QW5uIExlZSxvPWFjbWU=")),
    ends("base64-owner, in a user entry below cn=Users",
         ("ann\nsecDN: cn=Ann Lee,o=acme", "ann\nsecDN:: Y249QW5uIExlZSxvPWFjbWU="),
         found=[("base64-owner", 16, "dn: principalName=ann,cn=Users,")],
         text=no_user("secAuthority=Default,: Y249QW5uIExlZSxvPWFjbWU=")),
    ends("base64-owner, the domain of a user entry below cn=Users",
         (": Default\nprincipalName: ann\nsecDN", ":: RGVmYXVsdA==\nprincipalName: ann\nsecDN"),
         found=[("base64-owner", 16, "dn: principalName=ann,cn=Users,")],
         text=no_user("secAuthority=,cn=Ann Lee,o=acme")),
    ends("base64-owner, in a group's mapping entry",
         ("secDN: cn=Editors,o=acme", "secDN:: Y249RWRpdG9ycyxvPWFjbWU="),
         found=[("base64-owner", 23, "dn: secUUID=7b01,cn=Groups,"),
                ("group-without-mapping", 61, f"dn: {EDITORS}")],
         text=no_group("secAuthority=Default,: Y249RWRpdG9ycyxvPWFjbWU=")),
    ends("blanks-in-dn, at the end of a user's, which comes before its mapping entry",
         (MAPPING, ""), (USERS_ENTRY, ""),
         (USER, USER.replace("o=acme", "o=acme  ") + MAPPING + USERS_ENTRY),
         # The user now begins at 29 and the mapping entry at 36.
         found=[("blanks-in-dn", 29, f"dn: {ANN}  "),
                ("mapping-without-user", 36, "dn: secUUID=7a10,cn=Users,"),
                ("users-entry-without-user", 41, "dn: principalName=ann,cn=Users,"),
                ("policy-without-user", 48, f"dn: cn=Policy,{ANN}"),
                ("policy-data-without-user", 53, f"dn: cn=PolicyData,{ANN}")],
         text=no_mapping(ANN),
         repair=[("o=acme  \n", "o=acme\n")]),
    ends("blanks-in-dn, a tab at the end of a user's, which comes before its mapping entry",
         (MAPPING, ""), (USER, USER.replace("o=acme", "o=acme\t") + MAPPING), (USERS_ENTRY, ""),
         found=[("blanks-in-dn", 29, f"dn: {ANN}?"),
                ("mapping-without-user", 36, "dn: secUUID=7a10,cn=Users,"),
                ("policy-without-user", 41, f"dn: cn=Policy,{ANN}"),
                ("policy-data-without-user", 46, f"dn: cn=PolicyData,{ANN}")],
         text=no_mapping(ANN),
         repair=[("o=acme\t\n", "o=acme\n")],
         output=[("secAuthority: Default\nprincipalName: ann\nsecDN: cn=Ann Lee,o=acme\n"
                  "secDomainId: Default%ann\nsecUUID: 7a10\nloginAllowed: TRUE\n",
                  "secAuthority: Default\nprincipalName: ann\nsecUUID: 7a10\nloginAllowed: TRUE\n"
                  "secDomainId: Default%ann\nsecDN: cn=Ann Lee,o=acme\n")]),
    ends("blanks-in-dn, at the end of a policy's, which is the first entry of its user",
         (POLICY, ""), (MAPPING, POLICY.replace("o=acme", "o=acme ") + MAPPING),
         found=[("blanks-in-dn", 11, f"dn: cn=Policy,{ANN} ")],
         text=no_user(f"{ANN} "),
         repair=[("o=acme \n", "o=acme\n")]),
    ends("blanks-in-dn, at the end of policy data's, which is the first entry of its user",
         (POLICY_DATA, ""), (MAPPING, POLICY_DATA.replace("o=acme", "o=acme ") + MAPPING),
         found=[("blanks-in-dn", 11, f"dn: cn=PolicyData,{ANN} ")],
         text=no_user(f"{ANN} "),
         repair=[("o=acme \n", "o=acme\n")]),
    ends("blanks-in-dn, at the end of a group's, which comes before its mapping entry",
         (GROUP_MAPPING, ""), (GROUP, GROUP.replace("o=acme", "o=acme ") + GROUP_MAPPING),
         found=[("blanks-in-dn", 56, f"dn: {EDITORS} "),
                ("mapping-without-group", 62, "dn: secUUID=7b01,cn=Groups,")],
         text=no_mapping(EDITORS),
         repair=[("o=acme \n", "o=acme\n")]),
    ends("blanks-in-dn, beside the commas of a group's",
         ("dn: secAuthority=Default,cn=Editors,", "dn: secAuthority=Default, cn=Editors,"),
         found=[("blanks-in-dn", 61, "dn: secAuthority=Default, cn=Editors,o=acme"),
                ("mapping-without-group", 23, "dn: secUUID=7b01,cn=Groups,")],
         text=no_group(EDITORS)),
    ends("blanks-in-dn, at the end of that of a group's mapping entry",
         ("cn=Groups,secAuthority=Default", "cn=Groups,secAuthority=Default "),
         found=[("blanks-in-dn", 23, "dn: secUUID=7b01,cn=Groups,secAuthority=Default "),
                ("group-without-mapping", 61, f"dn: {EDITORS}")],
         text=no_group("secAuthority=Default ,cn=Editors,o=acme")),
    ends("blanks-in-dn, behind cn=Users of a user entry, which is not taken for one below it",
         ("cn=Users,secAuthority=Default\nobjectClass: secUser",
          "cn=Users, secAuthority=Default\nobjectClass: secUser"),
         found=[("blanks-in-dn", 16, "dn: principalName=ann,cn=Users, sec")],
         text=no_user("principalName=ann,cn=Users,secAuthority=Default")),
    ends("blank-in-policy-dn",
         ("dn: cn=Policy,secAuthority", "dn: cn=Policy, secAuthority"),
         found=[("blank-in-policy-dn", 48, f"dn: cn=Policy, {ANN}")],
         text=no_user(f" {ANN}")),
    ends("blank-in-policy-dn, in a subdomain",
         at_the_end(BOB_OF_SALES.replace("cn=Policy,", "cn=Policy, ")),
         found=[("blank-in-policy-dn", 72, "dn: cn=Policy, secAuthority=Sales,")],
         text=no_user(" secAuthority=Sales,cn=Bob Ray,o=acme"),
         repair=[("cn=Policy, ", "cn=Policy,")],
         output=[(NEW_GROUP, NEW_BOB_OF_SALES + NEW_GROUP)]),
    ends("blank-in-policy-dn, of policy data",
         ("dn: cn=PolicyData,secAuthority", "dn: cn=PolicyData, secAuthority"),
         found=[("blank-in-policy-dn", 53, f"dn: cn=PolicyData, {ANN}")],
         text=no_user(f" {ANN}")),
]
