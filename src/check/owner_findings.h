// What is wrong with owners, once the whole export has been read: entries whose owner, or whose
// counterpart, is not there, and what the merges of their entries lose.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/owners.h"

// Looks at every owner and tells what is wrong. Completes the records of owners whose merges
// digests could not decide.
void findTroubleOfOwners();

// What the output must hold of an owner.
struct ExpectedRecord {
    std::vector<std::string_view> lines;  // the new DN line first
    std::set<std::string> names;          // those of attributes that may be shown
};

// Nothing when the owner's entries cannot be merged. Its lines are valid until the current entry
// changes or this is called again.
std::optional<ExpectedRecord> expectedRecord(const Owner& owner);
