// What is wrong with owners, once the whole export has been read: entries whose owner, or whose
// counterpart, is not there, and what the merges of their entries lose.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/owners.h"

// Looks at every owner and tells what is wrong, for a run with these slot counts; a count of 0
// stands for as many as there are. Completes the records of owners whose merges digests could not
// decide.
void findTroubleOfOwners(std::uint64_t users, std::uint64_t groups);

// The lines that the output must hold of an owner, its new DN line first; nothing when its entries
// cannot be read or merged.
std::optional<std::vector<std::string>> demandedRecord(const Owner& owner);
