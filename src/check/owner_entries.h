// Entries of users and groups: finds the owner of each, and notes for it what the output will hold.
#pragma once

#include <string_view>

#include "check/digest.h"
#include "check/owners.h"

// Adds the current entry, as read from the work file, to its owner. `isBroken` means that it was
// split there.
void addToOwner(Part part, bool isGroup, bool isBroken);

// The sum of the lines of a policy container, without a change type.
LineSum sumOfContainer(std::string_view userDnLine);

// Clears what is known of owners.
void forgetOwnerEntries();
