// Entries of users and groups: their owners, and what of them the output will hold.
#pragma once

#include "check/owners.h"

// Adds the current entry, as the work file would give it, to its owner. `isBroken` tells that the
// work file has not given it as the export has it.
void addToOwner(Part part, bool isGroup, bool isBroken);

// Whether the export has more domains than can be told apart.
bool hasTooManyDomains();

// Begins anew.
void forgetOwnerEntries();
