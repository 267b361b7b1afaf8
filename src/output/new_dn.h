// New DNs: the first line of every record in the newer layout.
//
//   user    principalName=<name>,cn=Users,secAuthority=default
//   group   cn=<name>,cn=Groups,secAuthority=default
//   policy  cn=Policy,cn=Policies,principalName=<name>,cn=Users,secAuthority=default
//
// Outside the default domain "secAuthority=<domain>,cn=Subdomains," precedes the last
// component. A builder replaces the old DN in its slot with the whole line, "dn: " and line feed
// included, once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "entry/entry.h"

// The attribute that names users, or groups, in its two spellings, both of one length. Each line is
// searched for the first of them before the second.
struct NamingAttribute {
    std::string_view first;  // with its colon
    std::string_view second;

    constexpr std::string_view name() const {
        return first.substr(0, first.size() - 1);
    }
};
inline constexpr NamingAttribute principalNameAttribute = {"principalName:", "principalname:"};
inline constexpr NamingAttribute cnAttribute = {"cn:", "CN:"};

// The naming value found last; empty if there was none. Written by the finder of its kind.
extern std::string principalName;
extern std::string cnFromSecGroupObject;

// The naming value of a user's or group's entry, without its line end; null if the entry has none.
std::string_view principalNameOf(EntryView user);
std::string_view cnOf(EntryView group);

// Why such an entry has no naming value, as a clause for a message: the attribute's name has a
// spelling that is not recognised, or its value is empty. Empty if the entry has no such attribute.
std::string nameProblemOfUser(EntryView user);
std::string nameProblemOfGroup(EntryView group);

// Whether the owner, or policy, of this old DN is in the default domain.
bool isInDefaultDomain(std::string_view dn);

// The domain of an owner by its old DN, such as "secAuthority=Sales": the first component, or all
// of the DN if it has only one; null in the default domain.
std::string_view domainOfOwner(std::string_view ownerDn);

enum class DomainProblem : std::uint8_t { NONE, NOT_NAMED, NOTHING_BEHIND };

// The domain of a policy: the first in its old DN; null in the default domain, and if there is a
// problem.
struct PolicyDomain {
    std::string_view domain;
    DomainProblem problem = DomainProblem::NONE;
};
PolicyDomain domainOfPolicy(std::string_view policyDn);

// The new DN line of the user or group `name`, or of the policy of the user `name`, in domain
// `domain`; in the default domain if that is null.
std::string newUserDnLine(std::string_view name, std::string_view domain);
std::string newGroupDnLine(std::string_view name, std::string_view domain);
std::string newPolicyDnLine(std::string_view name, std::string_view domain);

// Find the naming value in row `index` of secUser_matrix or secGroup_matrix. Return 0, or -1 if it
// is missing or empty.
int learnPrincipalNameFromSecUserObject(int index);
int learnCNFromSecGroupObject(int index);

// Build the new DN line of slot `index`. Return 0, or -1, with the slot unchanged, if the finder
// failed. A policy slot without a DN is not changed; a policy outside the default domain whose
// domain cannot be found in its DN ends the process.
int createNewSecUserDN(int index);
int createNewSecGroupDN(int index);
int createNewSecPolicyDN(int index);
