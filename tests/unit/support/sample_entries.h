// The entries of a million users and groups, of the size and shape that exports have. Those that go
// to the work file have been staged. Entries of one kind have one size.
#pragma once

#include <string>

#include "support/entry_lines.h"

inline std::string sixDigits(int number) {
    return std::to_string(1'000'000 + number).substr(1);
}

inline std::string principalOf(int number) {
    return "user" + sixDigits(number);
}

inline std::string uuidOf(int number) {
    return "5f0c6a3e-91d4-4b7a-8e21-c03f7d" + sixDigits(number);
}

inline std::string directoryDnOfUser(int number) {
    return "cn=Helen Walker " + sixDigits(number) + ",ou=people" + std::to_string(number % 8) +
           ",o=example";
}

inline std::string directoryDnOfGroup(int number) {
    return "cn=group" + sixDigits(number) + ",ou=groups,o=example";
}

// The DNs by which the owners of entries are known.
inline std::string ownerDnOfUser(int number) {
    return "secAuthority=Default," + directoryDnOfUser(number);
}
inline std::string ownerDnOfGroup(int number) {
    return "secAuthority=Default," + directoryDnOfGroup(number);
}

// Names that a poor hash sends to the same buckets: those that differ in a few digits in the
// middle, and those that differ only in the bit that decides the case of letters.
inline std::string numberedOwnerDn(int number) {
    return "secAuthority=Default,cn=xx" + std::to_string(10'000'000 + number).substr(1) + ",o=a";
}
inline std::string bracketedOwnerDn(int number) {
    std::string brackets;
    for (unsigned bit = 0; bit < 16; ++bit) {
        brackets += (static_cast<unsigned>(number) >> bit & 1U) != 0 ? '{' : '[';
    }
    return "secAuthority=Default,cn=" + brackets + ",o=a";
}

inline Entry directoryEntry(int number) {
    const std::string digits = sixDigits(number);
    return entryOf({
        "dn: " + directoryDnOfUser(number) + "\n",
        "objectclass: inetOrgPerson\n",
        "objectclass: organizationalPerson\n",
        "objectclass: person\n",
        "objectclass: top\n",
        "cn: Helen Walker " + digits + "\n",
        "sn: Walker\n",
        "givenName: Helen\n",
        "uid: " + principalOf(number) + "\n",
        "mail: " + principalOf(number) + "@mail.example\n",
        "telephoneNumber: +1 555 " + digits + "\n",
        "title: questions about orders\n",
        "description: works in the second office on floor three and answers questions\n",
        "  about orders from northern branches since spring and works in the second o\n",
        " ffice on floor three\n",
        "displayName:: SGVsZW4gV2Fsa2Vy\n",
    });
}

inline Entry ordinaryUser(int number) {
    return entryOf({
        "dn: " + ownerDnOfUser(number) + "\n",
        "objectClass: secUser\n",
        "objectClass: top\n",
        "secAuthority: Default\n",
        "principalName: " + principalOf(number) + "\n",
        "secUUID: " + uuidOf(number) + "\n",
        "secAccountActive: TRUE\n",
        "secPasswordActive: TRUE\n",
        "secPasswordChanged: 20030412093015.0Z\n",
        "description: answers questions about orders since spring\n",
        "KVO-ENTRYUUID: " + uuidOf(number) + "\n",
        "aclEntry: access-id owner read\n",
        "secDomainId: Default%" + principalOf(number) + "\n",
    });
}

// The second entry of a user, below cn=Users.
inline Entry usersEntry(int number) {
    return entryOf({
        "dn: principalName=" + principalOf(number) + ",cn=Users,secAuthority=Default\n",
        "objectClass: secUser\n",
        "objectClass: top\n",
        "secAuthority: Default\n",
        "principalName: " + principalOf(number) + "\n",
        "secDN: " + directoryDnOfUser(number) + "\n",
        "secUUID: " + uuidOf(number) + "\n",
        "secSessionLimit: 5\n",
        "secDomainId: Default%" + principalOf(number) + "\n",
    });
}

inline Entry mappingOfUser(int number) {
    return entryOf({
        "dn: secUUID=" + uuidOf(number) + ",cn=Users,secAuthority=Default\n",
        "objectclass: secMap\n",
        "objectclass: top\n",
        "secAuthority: Default\n",
        "secDN: " + directoryDnOfUser(number) + "\n",
        "secUUID: " + uuidOf(number) + "\n",
        "secMapSerial: " + sixDigits(number) + "\n",
    });
}

inline Entry policyOfUser(int number) {
    return entryOf({
        "dn: cn=Policy," + ownerDnOfUser(number) + "\n",
        "objectclass: secPolicy\n",
        "objectclass: top\n",
        "cn: Policy\n",
        "secMinimumPasswordLength: 8\n",
        "secMaximumPasswordAge: 60\n",
        "secPolicyActive: TRUE\n",
        "secLoginHours: on floor three and answers questions about orders\n",
        "aclEntry: access-id owner read\n",
        "kvo-entryuuid: " + uuidOf(number) + "\n",
    });
}

inline Entry groupEntry(int number) {
    return entryOf({
        "dn: " + ownerDnOfGroup(number) + "\n",
        "objectClass: secGroup\n",
        "objectClass: top\n",
        "cn: group" + sixDigits(number) + "\n",
        "secAuthority: Default\n",
        "secUUID: " + uuidOf(number) + "\n",
        "aclEntry: access-id owner read\n",
    });
}

inline Entry mappingOfGroup(int number) {
    return entryOf({
        "dn: secUUID=" + uuidOf(number) + ",cn=Groups,secAuthority=Default\n",
        "objectclass: secMap\n",
        "objectclass: top\n",
        "secAuthority: Default\n",
        "secDN: " + directoryDnOfGroup(number) + "\n",
        "secUUID: " + uuidOf(number) + "\n",
    });
}

// The entries 0 to `count` - 1 of a kind, a blank line behind each.
inline std::string ldifOf(int count, Entry (*entryOfKind)(int)) {
    std::string text;
    for (int number = 0; number < count; ++number) {
        for (const std::string& line : linesOf(entryOfKind(number))) {
            text += line;
        }
        text += '\n';
    }
    return text;
}
