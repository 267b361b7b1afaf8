// Owner association: which user or group the current entry belongs to.
//
// The owner is named by a DN of the form "secAuthority=<domain>,<DN of the directory entry>",
// computed from the entry itself, and found again, without regard to case, among the owners of
// this pass. Its slot there is the row in which all of its entries meet.
#pragma once

#include <string>
#include <string_view>

// The owner DN of the current entry, ending in a line feed: what the handlers store when they
// open a slot. Written by the association of its kind.
extern std::string saved_secUser_dn;
extern std::string saved_secGroup_dn;

// The owner DN that the last association has looked for. Written by both.
extern std::string searchedDn;

// The user slot of the current entry's owner, or -1 while it has none. The entry must have a first
// line and be a user, policy, policy-data or mapping entry; any other, and one without a usable
// owner, ends the process. Rewrites the owner part of a user's, policy's or policy data's DN line:
// no white space at its end but one line feed, no blanks around its commas.
int learnIndexOfAssociatedSecUserDN();

// The same for the group slot of a group or mapping entry. Rewrites the end of a group's DN line;
// blanks around its commas stay and count.
int learnIndexOfAssociatedSecGroupDN();

// Records the current entry's DN as the policy DN of user slot `index`.
void copySecPolicyDNFromObjectArrayToSecPolicyDNArray(int index);

// Whether the DN line of a user's entry places it below cn=Users already.
bool isUsersEntry(std::string_view dnLine);
