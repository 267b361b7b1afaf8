// The writers: one record of the newer layout each, appended to the output.
//
// A record is the new DN line of its slot, the lines from record.h, and an empty line.
#pragma once

#include "ldif/output_file.h"

// Each returns 0, or -1 with part of the record written if the output cannot be written. If the
// cache does not have an entry that the record needs, the process ends.

// The user in slot `index`: its entry, its mapping entry and, if it has one, its entry below
// cn=Users, merged.
int writeSecUserAddToOutputFile(int index, OutputFile& stream);

// The container that holds the policy of the user in slot `index`. Goes to `ofp`.
int writePolicyContainerAddToOutputFile(int index);

// The policy of the user in slot `index`, unmerged; nothing if the user has none.
int writeSecPolicyAddToOutputFile(int index, OutputFile& stream);

// The group in slot `index`: its entry and its mapping entry, merged.
int writeSecGroupAddToOutputFile(int index, OutputFile& stream);
