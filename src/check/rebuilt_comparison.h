// Entries that are rebuilt: users with their policy containers and policies, and groups. Each is
// compared with its owner, which is found by the entry's DN.
#pragma once

#include <string_view>

#include "check/output_reader.h"

// Begins the comparison. To be called after indexNewDns.
void beginRebuiltComparison();

// Compares an entry of the output, and reports differences. Returns false if it has the DN of no
// owner.
bool compareRebuilt(const OutputEntry& entry, std::string_view dnLine);

// After the last entry: reports the entries of owners that are missing.
void reportMissingRecords();
