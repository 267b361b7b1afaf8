// Entries of users and groups: their owners, and what of them the output will hold.
#pragma once

#include <string_view>

#include "check/digest.h"
#include "check/owners.h"

// Adds the current entry, as the work file would give it, to its owner. `isBroken` tells that the
// work file has not given it as the export has it.
void addToOwner(Part part, bool isGroup, bool isBroken);

// The sum of the lines of a policy container, but for a change type.
LineSum sumOfContainer(std::string_view userDnLine);

// Begins anew.
void forgetOwnerEntries();
