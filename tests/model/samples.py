"""Small entries and the records that they become, for the tests of the model."""
from model import migration

STAGING = [380928308, 380928309, 380928310, 380928311]
LEFT_BEHIND = 380928316
STAGING_ON_LEFT_OVERS = STAGING[:2] + [LEFT_BEHIND] + STAGING[2:]
STAGING_FAILED = [380928308, 380928309, 380928302]
PASS = [380928312, 380928313]
END = [380928315]
FAILED = 380928302
OCCUPIED = 380928303

USER = (b"dn: secAuthority=Default,cn=jdoe,o=example\nobjectclass: secUser\n"
        b"secAuthority: Default\nprincipalName: jdoe\nsecDomainId: Default%jdoe\n\n")
USER_MAP = (b"dn: secAuthority=Default,cn=Users\nobjectclass: secMap\n"
            b"secDN: cn=jdoe,o=example\n\n")
USER_RECORD = (b"dn: principalName=jdoe,cn=Users,secAuthority=default\nobjectclass: secUser\n"
               b"secAuthority: Default\nprincipalName: jdoe\nsecDomainId: Default%jdoe\n"
               b"secDN: cn=jdoe,o=example\n\n")
POLICY = (b"dn: cn=Policy,secAuthority=Default,cn=jdoe,o=example\nobjectclass: secPolicy\n"
          b"cn: Policy\n\n")
CONTAINER_RECORD = (b"dn: cn=Policies,principalName=jdoe,cn=Users,secAuthority=default\n"
                    b"objectclass: container\nobjectclass: top\ncn: Policies\n\n")
POLICY_RECORD = (b"dn: cn=Policy,cn=Policies,principalName=jdoe,cn=Users,secAuthority=default\n"
                 b"objectclass: secPolicy\ncn: Policy\n\n")
POLICY_DATA = (b"dn: cn=Data,secAuthority=Default,cn=jdoe,o=example\n"
               b"objectclass: secPolicyData\nsecPwdFailures: 3\n\n")
GROUP = b"dn: secAuthority=Default,cn=g1,o=example\nobjectclass: secGroup\ncn: g1\n\n"
GROUP_MAP = (b"dn: secAuthority=Default,cn=Groups\nobjectclass: secMap\n"
             b"secDN: cn=g1,o=example\n\n")
GROUP_RECORD = (b"dn: cn=g1,cn=Groups,secAuthority=default\nobjectclass: secGroup\ncn: g1\n"
                b"secDN: cn=g1,o=example\n\n")
CREDENTIALS = b"dn: cn=rc,cn=ResCreds\nobjectclass: secResCreds\ncn: rc\n\n"


def of(name, text):
    """The text with the name of another user or group."""
    return text.replace(b"jdoe", name).replace(b"g1", name)


def migrate(export, max_users=9, max_groups=9, **more):
    return migration.migrate(export, max_users, max_groups, **more)


def echo_of(result):
    """What a run echoes beyond its settings."""
    return result.echo[5:]
