// Sizing: predicts the passes and the memory of a migration, for any slot counts.
//
// The passes take owners in the order in which the export first names them, each with all its
// entries. So sizes noted in this order predict what every pass holds, for any slot counts. They
// are added up for stretches of owners. A stretch begins as one owner, which is exact; if there are
// too many stretches, each two become one. A pass that takes a part of a stretch is predicted from
// its largest entries, so that a prediction is never too small.
#pragma once

#include <cstdint>
#include <vector>

#include "check/owners.h"
#include "entry/entry.h"

// Notes an owner, and the bytes that its slot takes beside its entries.
void holdOwner(OwnerNumber owner, bool isGroup, std::uint64_t bytes);

// Notes an entry of an owner, whose slot then takes `bytes` more.
void holdEntry(OwnerNumber owner, bool isGroup, Part part, EntryView entry, std::uint64_t bytes);

// The max memory that passes with these slot counts take for these owners, beside the `read` bytes
// of an entry being read: while a pass gathers them, and while it merges.
std::uint64_t maxHeld(std::uint64_t userSlots, std::uint64_t groupSlots, std::uint64_t read);

void forgetHoldings();

// A run with these slot counts.
struct Plan {
    std::uint64_t users = 0;
    std::uint64_t groups = 0;
    std::uint64_t passes = 0;  // in which the migration gathers entries
    std::uint64_t memory = 0;  // in bytes, at most
};

// The plan for counts of at least 1; 0 means as many users or groups as there are.
Plan planFor(std::uint64_t users, std::uint64_t groups);

// The plan for one pass, and plans for smaller counts.
std::vector<Plan> plans();
