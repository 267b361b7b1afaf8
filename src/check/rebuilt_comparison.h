// Entries that are rebuilt: users with their policy containers and policies, and groups. Each is
// compared with its owner, which it is found by its DN.
#pragma once

#include <string_view>

#include "check/output_reader.h"

// Begins once owners are found by their new DNs.
void beginRebuiltComparison();

// Compares an entry of the output, and reports how it differs. Returns false when it has the DN of
// no owner.
bool compareRebuilt(const OutputEntry& entry, std::string_view dnLine);

// After the last entry: reports the entries of owners that are missing.
void reportMissingRecords();
