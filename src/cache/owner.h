// Owner association: which user or group the current entry belongs to.
//
// The owner is named by a DN of the form "secAuthority=<domain>,<DN of the directory entry>",
// computed from the entry itself, and found again, case-insensitively, among the owners of
// this pass. Its slot there is the row in which all of its entries meet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "entry/entry.h"
#include "entry/object_class.h"

enum class OwnerKind : std::uint8_t { USER, GROUP };

// Why an entry has no owner.
enum class OwnerProblem : std::uint8_t {
    NONE,
    WRONG_CLASS,
    NO_COMMA,               // in the DN of a policy
    NO_SECAUTHORITY_IN_DN,  // of a mapping entry
    NO_SECAUTHORITY,        // in an entry below cn=Users
    NO_SECDN,
    END
};

// The owner that an entry names. Reused from entry to entry to keep its memory.
struct EntryOwner {
    OwnerProblem problem = OwnerProblem::NONE;

    // The owner DN as the handlers store it when they open a slot; learnIndexOf... adds a line feed
    // where it lacks one.
    std::string stored;

    // The owner DN in the form that is looked for: it ends in one line feed and no other white
    // space.
    std::string sought;

    // Where the part of the DN line begins that is replaced by `sought`; npos if none is.
    std::size_t rewrittenFrom = std::string::npos;

    // The attributes that name the owner and its domain, in a mapping entry and in one below
    // cn=Users.
    std::optional<std::string> secDn;
    std::optional<std::string> secAuthority;

    // The part of the entry's own DN that the owner of a mapping entry needs.
    std::optional<std::string> dn;
};

// Finds out the user or group that `entry`, which has a first line, names as its owner.
void learnOwner(EntryView entry, ObjectClass kind, OwnerKind ownerKind, EntryOwner& owner);

// Normalizes the DN line of the current entry. For a user, a policy and policy data: no white space
// at its end but one line feed, no spaces around its commas from the owner part on. For a group:
// the end alone; spaces around its commas stay and count.
void rewriteDnLine(const EntryOwner& owner);

// The owner DN of the current entry, ending in a line feed, which the handlers store when they open
// a slot. Written by the association of its kind.
extern std::string saved_secUser_dn;
extern std::string saved_secGroup_dn;

// The user or group slot of the current entry's owner, or -1 while it has none. The entry must have
// a first line, which is normalized. An entry without an owner ends the process.
int learnIndexOfAssociatedSecUserDN();
int learnIndexOfAssociatedSecGroupDN();

// Records the current entry's DN as the policy DN of user slot `index`.
void copySecPolicyDNFromObjectArrayToSecPolicyDNArray(int index);

// The DN in a DN line: what follows its first three characters, which are not checked, and spaces.
std::string_view dnValueOf(std::string_view dnLine);

// Whether the DN line of a user's entry is already below cn=Users.
bool isUsersEntry(std::string_view dnLine);
