// What is wrong with owners, once the whole export has been read: entries whose owner, or whose
// counterpart, is not there, and what the merges of their entries lose.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/owners.h"

// Looks at every owner and tells what is wrong. Completes the records of owners whose merges
// digests could not decide.
void findTroubleOfOwners();

// The lines that the output must hold of an owner, its new DN line first; nothing when its entries
// cannot be merged.
std::optional<std::vector<std::string>> demandedRecord(const Owner& owner);
