// Entries of the export that pass through to the output as they are.
#pragma once

#include <string_view>

// Takes in the current entry, whose class is known and whose attributes stand on a line each in
// `attributes`; `addsInstallDate` tells that an installation date will follow them.
void passThrough(std::string_view attributes, bool addsInstallDate);

// Takes in the current entry, which is too large for the migration to hold.
void passThroughOversized();

// Once owners are found by their new DNs: tells which of these an entry that passed through has
// already.
void reportTakenNames();

// Begins anew.
void forgetPassedEntries();
