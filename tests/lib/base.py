"""A small export in which nothing is wrong, and what a migration makes of it.

Every case is an edit of it. The comments give the lines at which the entries begin.
"""

DOMAIN = """\
dn: secAuthority=Default
objectClass: secAuthorityInfo
secAuthority: Default
version: 3.0
installDate: 20030302090000.0Z

"""  # 1

CONTAINER = """\
dn: cn=Users,secAuthority=Default
objectClass: container
cn: Users

"""  # 7

MAPPING = """\
dn: secUUID=7a10,cn=Users,secAuthority=Default
objectClass: secMap
secUUID: 7a10
secDN: cn=Ann Lee,o=acme

"""  # 11

USERS_ENTRY = """\
dn: principalName=ann,cn=Users,secAuthority=Default
objectClass: secUser
secAuthority: Default
principalName: ann
secDN: cn=Ann Lee,o=acme
secDomainId: Default%ann

"""  # 16

GROUP_MAPPING = """\
dn: secUUID=7b01,cn=Groups,secAuthority=Default
objectClass: secMap
secUUID: 7b01
secDN: cn=Editors,o=acme

"""  # 23

CREDENTIALS = """\
dn: cn=ResCreds,secAuthority=Default
objectClass: container
cn: ResCreds

"""  # 28

CREDENTIAL = """\
dn: resourceName=printer,cn=ResCreds,secAuthority=Default
objectClass: secResCreds
resourceName: printer

"""  # 32

PERSON = """\
dn: cn=Ann Lee,o=acme
objectClass: inetOrgPerson
cn: Ann Lee
description: Keeps the registry

"""  # 36

USER = """\
dn: secAuthority=Default,cn=Ann Lee,o=acme
objectClass: secUser
secAuthority: Default
principalName: ann
secuuid: 7a10
loginAllowed: TRUE

"""  # 41

POLICY = """\
dn: cn=Policy,secAuthority=Default,cn=Ann Lee,o=acme
objectClass: secPolicy
cn: Policy
maxFailedLogins: 3

"""  # 48

POLICY_DATA = """\
dn: cn=PolicyData,secAuthority=Default,cn=Ann Lee,o=acme
objectClass: secPolicyData
cn: PolicyData

"""  # 53

TEAM = """\
dn: cn=Editors,o=acme
objectClass: groupOfNames
cn: Editors

"""  # 57

GROUP = """\
dn: secAuthority=Default,cn=Editors,o=acme
objectClass: secGroup
secAuthority: Default
cn: Editors
secuuid: 7b01

"""  # 61; the last line is 66, and blank

EXPORT = (DOMAIN + CONTAINER + MAPPING + USERS_ENTRY + GROUP_MAPPING + CREDENTIALS + CREDENTIAL +
          PERSON + USER + POLICY + POLICY_DATA + TEAM + GROUP)

# The migrated export. What stays comes first, then the users, the groups and the credentials.

NEW_DOMAIN = """\
dn: secAuthority=Default
objectClass: secAuthorityInfo
secAuthority: Default
version: 6.0
installDate: 20030302090000.0Z

"""

NEW_USER = """\
dn: principalName=ann,cn=Users,secAuthority=default
objectClass: secUser
secAuthority: Default
principalName: ann
secDN: cn=Ann Lee,o=acme
secDomainId: Default%ann
secUUID: 7a10
loginAllowed: TRUE

"""

NEW_POLICIES = """\
dn: cn=Policies,principalName=ann,cn=Users,secAuthority=default
objectclass: container
objectclass: top
cn: Policies

"""

NEW_POLICY = """\
dn: cn=Policy,cn=Policies,principalName=ann,cn=Users,secAuthority=default
objectClass: secPolicy
cn: Policy
maxFailedLogins: 3

"""

NEW_GROUP = """\
dn: cn=Editors,cn=Groups,secAuthority=default
objectClass: secGroup
secAuthority: Default
cn: Editors
secUUID: 7b01
secDN: cn=Editors,o=acme

"""

OUTPUT = (NEW_DOMAIN + CONTAINER + PERSON + TEAM + NEW_USER + NEW_POLICIES + NEW_POLICY +
          NEW_GROUP + CREDENTIALS + CREDENTIAL)
