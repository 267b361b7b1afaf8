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

// What an entry says of its owner. Kept from entry to entry, it keeps its memory.
struct EntryOwner {
    OwnerProblem problem = OwnerProblem::NONE;

    // The owner DN as the handlers store it when they open a slot; learnIndexOf... adds a line feed
    // where it lacks one.
    std::string stored;

    // The owner DN as it is looked for: it ends in one line feed and no other white space.
    std::string sought;

    // Where the part of the DN line begins that is rewritten to `sought`; npos when it stays.
    std::size_t rewrittenFrom = std::string::npos;

    // The attributes that name the owner and its domain, in a mapping entry and in one below
    // cn=Users.
    std::optional<std::string> secDn;
    std::optional<std::string> secAuthority;

    // The DN of the entry itself as far as a mapping entry's owner needs it.
    std::optional<std::string> dn;
};

// Learns what `entry`, which has a first line, says of the user or group that it belongs to.
void learnOwner(EntryView entry, ObjectClass kind, OwnerKind ownerKind, EntryOwner& owner);

// Rewrites the DN line of the current entry as its owner was found. Of a user, a policy and policy
// data: no white space at its end but one line feed, no blanks around its commas from the owner
// part on. Of a group: the end alone; blanks around its commas stay and count.
void rewriteDnLine(const EntryOwner& owner);

// The owner DN of the current entry, ending in a line feed: what the handlers store when they
// open a slot. Written by the association of its kind.
extern std::string saved_secUser_dn;
extern std::string saved_secGroup_dn;

// The user or group slot of the current entry's owner, or -1 while it has none. The entry must have
// a first line, which is rewritten. One that has no owner ends the process.
int learnIndexOfAssociatedSecUserDN();
int learnIndexOfAssociatedSecGroupDN();

// Records the current entry's DN as the policy DN of user slot `index`.
void copySecPolicyDNFromObjectArrayToSecPolicyDNArray(int index);

// Whether the DN line of a user's entry places it below cn=Users already.
bool isUsersEntry(std::string_view dnLine);
