// What a migration holds in memory of users and groups, pass by pass.
//
// The passes take owners in the order in which the export first names them, each with all its
// entries, so that sizes noted in this order give what every pass holds, for any counts. They are
// summed up for stretches of owners. One owner each is exact; when there are too many, two become
// one. A pass that takes a part of a stretch is predicted from its largest entries: the sum is
// never too small.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "check/owners.h"
#include "entry/entry.h"

// Notes an owner, with the bytes that its slot takes beside its entries.
void holdOwner(OwnerNumber owner, bool isGroup, std::uint64_t bytes);

// Notes an entry of an owner, for which its slot takes `bytes` more.
void holdEntry(OwnerNumber owner, bool isGroup, Part part, EntryView entry, std::uint64_t bytes);

// The most that passes with slots for so many users and groups take for these owners, beside what
// `read` bytes of an entry that is read take already: while a pass gathers them, and to merge.
std::uint64_t maxHeld(std::uint64_t userSlots, std::uint64_t groupSlots, std::uint64_t read);

void forgetHoldings();
