"""What looks like a mistake and is none: nothing is to be found, and nothing is lost."""

from case import Case, harmless
from lib.base import (
    CONTAINER, CREDENTIAL, CREDENTIALS, DOMAIN, EXPORT, GROUP, GROUP_MAPPING, MAPPING,
    NEW_DOMAIN, NEW_GROUP, NEW_POLICIES, NEW_POLICY, NEW_USER, OUTPUT, PERSON, POLICY,
    POLICY_DATA, TEAM, USER, USERS_ENTRY)
from lines import LONG, description, folded
from owners import ANN, BOB_OF_SALES, EDITORS, NEW_BOB_OF_SALES, at_the_end

SORTED_BACKWARDS = (GROUP + TEAM + POLICY_DATA + POLICY + USER + PERSON + CREDENTIAL + CREDENTIALS +
                    GROUP_MAPPING + USERS_ENTRY + MAPPING + CONTAINER + DOMAIN)

# Without an entry below cn=Users a user's lines keep the order of the user entry.
NEW_USER_ALONE = """\
dn: principalName=ann,cn=Users,secAuthority=default
objectClass: secUser
secAuthority: Default
principalName: ann
secUUID: 7a10
loginAllowed: TRUE
secDomainId: Default%ann
secDN: cn=Ann Lee,o=acme

"""

def with_changetypes(text):
    """The entries with the line that says that they are to be added."""
    return text.replace("\nobjectC", "\nchangetype: add\nobjectC").replace(
        "\nobjectclass: container", "\nchangetype: add\nobjectclass: container")


NEW_LAYOUT_POLICY = """\
dn: cn=Policy,cn=Policies,secAuthority=Default
objectClass: secPolicy
cn: Policy
aclEntry: none

"""

CASES = [
    harmless("the export as it is"),
    Case("an empty export", None, (), None, None, "", ""),
    Case("an export of blank lines and comments", None, (), None, None, "\n  \n# Nothing\n\n", ""),
    Case("an export without a blank line at its end", None, (), None, None, EXPORT[:-1], OUTPUT),
    Case("an export without a line end", None, (), None, None, EXPORT[:-2], OUTPUT),
    Case("line ends of carriage return and line feed", None, (), None, None,
         EXPORT.replace("\n", "\r\n"), OUTPUT),
    Case("the entries in the other order", None, (), None, None, SORTED_BACKWARDS,
         TEAM + PERSON + CONTAINER + NEW_DOMAIN + NEW_USER + NEW_POLICIES + NEW_POLICY + NEW_GROUP +
         CREDENTIAL + CREDENTIALS),
    harmless("a user entry below cn=Users behind the user's",
             (USERS_ENTRY, ""), (USER, USER + USERS_ENTRY)),
    harmless("no user entry below cn=Users",
             (USERS_ENTRY, ""),
             output=[(NEW_USER, NEW_USER_ALONE)]),
    harmless("no policy, no policy data",
             (POLICY, ""), (POLICY_DATA, ""),
             output=[(NEW_POLICIES + NEW_POLICY, "")]),
    harmless("a policy of the newer layout",
             (TEAM, NEW_LAYOUT_POLICY + TEAM),
             output=[(TEAM, NEW_LAYOUT_POLICY + TEAM)]),
    harmless("blanks at the end of a user's DN behind the mapping entry",
             (f"dn: {ANN}\n", f"dn: {ANN}  \n")),
    harmless("blanks at the end of a group's DN behind the mapping entry",
             (f"dn: {EDITORS}\n", f"dn: {EDITORS}  \n")),
    harmless("blanks at the end of a policy's DN",
             (f"dn: cn=Policy,{ANN}\n", f"dn: cn=Policy,{ANN}  \n")),
    harmless("blanks beside the commas of a user's DN",
             (f"dn: {ANN}\n", "dn: secAuthority=Default , cn=Ann Lee , o=acme\n")),
    harmless("blanks beside the later commas of a policy's DN",
             (f"dn: cn=Policy,{ANN}\n",
              "dn: cn=Policy ,secAuthority=Default, cn=Ann Lee ,o=acme\n")),
    harmless("blanks before the DNs",
             ("dn: secUUID=7a10", "dn:   secUUID=7a10"), (f"dn: {ANN}\n", f"dn:    {ANN}\n"),
             (f"dn: cn=Policy,{ANN}", f"dn:cn=Policy,{ANN}"),
             (f"dn: {EDITORS}\n", f"dn:{EDITORS}\n")),
    harmless("blanks beside the commas of the owner of a group's mapping entry",
             ("secDN: cn=Editors,o=acme", "secDN: cn=Editors, o=acme"),
             output=[("secDN: cn=Editors,o=acme", "secDN: cn=Editors, o=acme")]),
    harmless("owners in other case",
             (MAPPING, MAPPING.replace("cn=Ann Lee,o=acme", "CN=ANN LEE,O=ACME")),
             (USERS_ENTRY, USERS_ENTRY.replace("cn=Ann Lee,o=acme", "CN=ANN LEE,O=ACME")),
             (f"dn: cn=Policy,{ANN}", f"dn: cn=Policy,{ANN.lower()}"),
             ("secDN: cn=Editors,o=acme", "secDN: CN=Editors,O=Acme"),
             output=[("secDN: cn=Ann Lee,o=acme", "secDN: CN=ANN LEE,O=ACME"),
                     ("secDN: cn=Editors,o=acme", "secDN: CN=Editors,O=Acme")]),
    harmless("classes in small letters, their attribute too",
             (POLICY, POLICY.replace("objectClass: secPolicy", "objectclass: secpolicy")),
             output=[(NEW_POLICY, NEW_POLICY.replace("objectClass: secPolicy",
                                                     "objectclass: secpolicy"))]),
    harmless("a folded class of an entry that stays",
             ("objectClass: inetOrgPerson", "objectClass:\n  inetOrg\n Person")),
    harmless("a class among others",
             ("objectClass: secPolicyData\n", "objectClass: top\nobjectClass: secPolicyData\n")),
    harmless("comments",
             (DOMAIN, "# The domain\n" + DOMAIN),
             ("loginAllowed: TRUE\n", "#loginAllowed: FALSE\nloginAllowed: TRUE\n# for ever\n"),
             ("cn: Ann Lee\n", "#\ncn: Ann Lee\n"),
             (GROUP, "# objectClass: secUser\n" + GROUP)),
    harmless("a folded value",
             ("description: Keeps the registry", "description: Kee\n ps\n  the registry")),
    harmless("lines of blanks before an entry",
             (USER, "  \n \n\n" + USER), (PERSON, " \n" + PERSON)),
    harmless("a header on its own",
             (DOMAIN, "version: 1\n\n" + DOMAIN),
             output=[(NEW_DOMAIN, "version: 1\n\n" + NEW_DOMAIN)]),
    harmless("a header right above an entry that stays",
             (CONTAINER, "version: 1\n" + CONTAINER),
             output=[(CONTAINER, "version: 1\n" + CONTAINER)]),
    harmless("a line of 4,094 bytes",
             ("cn: Ann Lee\n", description(4094) + "\ncn: Ann Lee\n"),
             output=[("cn: Ann Lee\n", description(4094) + "\ncn: Ann Lee\n")]),
    harmless("a line of 4,093 bytes and a carriage return",
             ("cn: Ann Lee\n", description(4093) + "\r\ncn: Ann Lee\n"),
             output=[("cn: Ann Lee\n", description(4093) + "\ncn: Ann Lee\n")]),
    harmless("words that look like an owner's where blanks beside commas go",
             ("description: Keeps the registry", "description: secdn: a , b"),
             ("loginAllowed: TRUE", "note: secDN , a, b\nloginAllowed: TRUE"),
             output=[("description: Keeps the registry", "description: secdn: a , b"),
                     ("loginAllowed: TRUE", "note: secDN , a, b\nloginAllowed: TRUE")]),
    harmless("a comment of 4,094 bytes",
             ("cn: Ann Lee\n", "#" + "x" * 4093 + "\ncn: Ann Lee\n")),
    harmless("an attribute of 4,094 bytes in each entry that is regrouped",
             ("loginAllowed: TRUE\n", "loginAllowed: TRUE\n" + folded(description(4094)) + "\n"),
             ("secUUID: 7b01\n", "secUUID: 7b01\n" + description(4094) + "\n"),
             ("maxFailedLogins: 3\n", "maxFailedLogins: 3\n" + folded(description(4094)) + "\n"),
             ("resourceName: printer\n", folded(description(4094)) + "\nresourceName: printer\n"),
             output=[("loginAllowed: TRUE\n", "loginAllowed: TRUE\n" + description(4094) +
                      "\n"),
                     ("secDN: cn=Editors,o=acme\n", description(4094) +
                      "\nsecDN: cn=Editors,o=acme\n"),
                     ("maxFailedLogins: 3\n", "maxFailedLogins: 3\n" + description(4094) + "\n"),
                     ("resourceName: printer\n", description(4094) + "\nresourceName: printer\n")]),
    harmless("a long folded attribute of an entry that stays",
             ("description: Keeps the registry", folded(description(9000))),
             output=[("description: Keeps the registry", description(9000))]),
    harmless("a long folded attribute of a policy, a credential and policy data",
             ("maxFailedLogins: 3\n", LONG + "maxFailedLogins: 3\n"),
             ("resourceName: printer\n", LONG + "resourceName: printer\n"),
             ("cn: PolicyData\n", "cn: PolicyData\n" + LONG),
             output=[("maxFailedLogins: 3\n", description(4096) + "\nmaxFailedLogins: 3\n"),
                     ("resourceName: printer\n",
                      description(4096) + "\nresourceName: printer\n")]),
    harmless("lines without a colon in entries that are not merged",
             ("cn: Ann Lee\n", "cn: Ann Lee\nnote\n"),
             ("maxFailedLogins: 3\n", "maxFailedLogins 3\n"),
             ("resourceName: printer\n", "resourceName printer\n"),
             output=[("cn: Ann Lee\n", "cn: Ann Lee\nnote\n"),
                     ("maxFailedLogins: 3\n", "maxFailedLogins 3\n"),
                     ("resourceName: printer\n", "resourceName printer\n")]),
    harmless("DNs in base64 of entries that stay",
             ("dn: cn=Ann Lee,o=acme", "dn:: Y249QW5uIExlZSxvPWFjbWU="),
             ("dn: cn=Users,secAuthority=Default", "dn:: Y249VXNlcnMsc2VjQXV0aG9yaXR5PURlZmF1bHQ="),
             output=[("dn: cn=Ann Lee,o=acme", "dn:: Y249QW5uIExlZSxvPWFjbWU="),
                     ("dn: cn=Users,secAuthority=Default",
                      "dn:: Y249VXNlcnMsc2VjQXV0aG9yaXR5PURlZmF1bHQ=")]),
    harmless("values in base64",
             ("description: Keeps the registry", "description:: S2VlcHMgdGhlIHJlZ2lzdHJ5"),
             ("loginAllowed: TRUE", "loginAllowed:: VFJVRQ=="),
             output=[("description: Keeps the registry", "description:: S2VlcHMgdGhlIHJlZ2lzdHJ5"),
                     ("loginAllowed: TRUE", "loginAllowed:: VFJVRQ==")]),
    harmless("bytes that are no UTF-8",
             ("description: Keeps the registry", "description: H\xe4lt \xff"),
             ("loginAllowed: TRUE", "loginAllowed: \xe4"),
             output=[("description: Keeps the registry", "description: H\xe4lt \xff"),
                     ("loginAllowed: TRUE", "loginAllowed: \xe4")]),
    harmless("access control and identifiers, which are left out on purpose",
             ("loginAllowed: TRUE\n", "loginAllowed: TRUE\naclEntry: a\nACL: b\naci: c\n"
                                      "aclPropagate: TRUE\ncontrol: d\nkvo-entryuuid: 1\n"),
             ("maxFailedLogins: 3\n", "maxFailedLogins: 3\naclEntry: a\ncontrol: d\n"
                                      "KVO-EntryUUID: 2\n"),
             ("resourceName: printer\n", "resourceName: printer\nacl: a\ncontrol: d\n"
                                         "kvo-entryuuid: 3\n"),
             ("secuuid: 7b01\n", "secuuid: 7b01\naclentry: a\nControl: d\n"),
             ("secDN: cn=Editors,o=acme\n", "secDN: cn=Editors,o=acme\naclEntry: a\n"),
             ("description: Keeps the registry\n",
              "description: Keeps the registry\nKVO-ENTRYUUID: 4\n")),
    harmless("words that are dropped elsewhere",
             ("loginAllowed: TRUE\n", "loginAllowed: TRUE\nnote: access control: strict\n"),
             ("description: Keeps the registry",
              "description: acl: 1, aci: 2, control: 3\naclEntry: 4\nnote: KVO-ENTRYUUID:7"),
             output=[("loginAllowed: TRUE\n",
                      "loginAllowed: TRUE\nnote: access control: strict\n"),
                     ("description: Keeps the registry", "description: acl: 1, aci: 2, control: 3\n"
                                                         "aclEntry: 4\nnote: KVO-ENTRYUUID:7")]),
    harmless("equal values in both entries that are merged",
             ("Default%ann\n", "Default%ann\nloginAllowed: TRUE\n"),
             output=[("secUUID: 7a10\nloginAllowed: TRUE\n",
                      "loginAllowed: TRUE\nsecUUID: 7a10\n")]),
    harmless("a name that ends a longer one which has its own line first",
             ("secuuid: 7a10\n", "secuuid: 7a10\nuid: 17\n"),
             output=[("secUUID: 7a10\n", "secUUID: 7a10\nuid: 17\n")]),
    harmless("another spelling of the owner in the user entry below cn=Users",
             ("ann\nsecDN: cn=Ann Lee,o=acme", "ann\nsecDN: CN=Ann Lee , o=Acme")),
    harmless("lines that begin with a tab in entries that are not merged",
             ("cn: Ann Lee\n", "cn: Ann Lee\n\tnote: 1\n"),
             ("maxFailedLogins: 3\n", "maxFailedLogins: 3\n\tnote: 2\n\tnote\n"),
             output=[("cn: Ann Lee\n", "cn: Ann Lee\n\tnote: 1\n"),
                     ("maxFailedLogins: 3\n", "maxFailedLogins: 3\n\tnote: 2\n\tnote\n")]),
    harmless("several values, one of them in both entries",
             ("Default%ann\n", "Default%ann\nnote: one\n"),
             ("loginAllowed: TRUE\n", "note: two\nnote: one\nloginAllowed: TRUE\n"),
             output=[("secUUID: 7a10\n", "note: two\nsecUUID: 7a10\nnote: one\n")]),
    harmless("an escaped comma",
             ("secDN: cn=Editors,o=acme", "secDN: cn=Editors\\,o=acme"),
             (f"dn: {EDITORS}", "dn: secAuthority=Default,cn=Editors\\,o=acme"),
             output=[("secDN: cn=Editors,o=acme", "secDN: cn=Editors\\,o=acme")]),
    harmless("a name with blanks and signs that need no escaping",
             ("cn: Editors\nsecuuid", "cn: Editors' (new) & old / 2.\nsecuuid"),
             output=[("dn: cn=Editors,cn=Groups", "dn: cn=Editors' (new) & old / 2.,cn=Groups"),
                     ("cn: Editors\nsecUUID", "cn: Editors' (new) & old / 2.\nsecUUID")]),
    harmless("a name found elsewhere behind the line that it belongs to",
             ("loginAllowed: TRUE", "note: principalName: bob\nloginAllowed: TRUE"),
             output=[("loginAllowed: TRUE", "note: principalName: bob\nloginAllowed: TRUE")]),
    harmless("a name in small letters, one in capitals",
             ("principalName: ann\nsecuuid", "principalname: ann\nsecuuid"),
             ("cn: Editors\nsecuuid", "CN: Editors\nsecuuid"),
             output=[("principalName: ann\nsecDN", "principalname: ann\nsecDN"),
                     ("cn: Editors\nsecUUID", "CN: Editors\nsecUUID")]),
    harmless("a domain identifier and no domain",
             ("secAuthority: Default\nprincipalName: ann\nsecuuid",
              "secDomainId: Default%ann\nprincipalName: ann\nsecuuid")),
    harmless("no installation date to add, and no version",
             ("version: 3.0\n", ""),
             output=[("version: 6.0\n", "")]),
    harmless("a version found elsewhere behind it",
             ("version: 3.0", "version: 3.0\nschemaversion: 2.1"),
             output=[("version: 6.0", "version: 6.0\nschemaversion: 2.1")]),
    harmless("a user of a subdomain",
             at_the_end(BOB_OF_SALES),
             output=[(NEW_GROUP, NEW_BOB_OF_SALES + NEW_GROUP)]),
    harmless("a user of a subdomain with the name of one of the default domain",
             at_the_end(BOB_OF_SALES.replace("principalName: bob", "principalName: ann")),
             output=[(NEW_GROUP, NEW_BOB_OF_SALES.replace("bob", "ann") + NEW_GROUP)]),
    Case("change types", None, (), None, None, with_changetypes(EXPORT), with_changetypes(OUTPUT)),
    harmless("folded DNs",
             (f"dn: {ANN}\n", "dn: secAuthority=Default,\n cn=Ann Lee,o=acme\n"),
             (f"dn: {EDITORS}\n", "dn: secAuth\n ority=Default,cn=Editors,o=acme\n"),
             (f"dn: cn=Policy,{ANN}\n",
              "dn: cn=Policy,secAuthority=Default,cn=Ann\n  Lee,o=acme\n"),
             ("secUUID: 7a10\nsecDN: cn=Ann Lee,o=acme",
              "secUUID: 7a10\nsecDN:\n  cn=Ann Lee,\n o=acme")),
    harmless("two groups of one name in two domains",
             at_the_end(GROUP.replace("secAuthority=Default", "secAuthority=Sales")
                        .replace("secuuid: 7b01", "secuuid: 7b02")
                        .replace("secAuthority: Default", "secAuthority: Sales") +
                        GROUP_MAPPING.replace("7b01", "7b02").replace(
                            "secAuthority=Default",
                            "secAuthority=Sales,cn=Subdomains,secAuthority=Default")),
             output=[(NEW_GROUP, NEW_GROUP + NEW_GROUP.replace(
                 "secAuthority=default", "secAuthority=Sales,cn=Subdomains,secAuthority=default")
                      .replace("7b01", "7b02").replace("secAuthority: Default",
                                                       "secAuthority: Sales"))]),
    harmless("an entry of 249,999 lines",
             ("maxFailedLogins: 3\n", "note: 1\n" * 249_995 + "maxFailedLogins: 3\n"),
             output=[("maxFailedLogins: 3\n", "note: 1\n" * 249_995 + "maxFailedLogins: 3\n")]),
]
