// Entries of the export, as staging sends them to the output or to the work file and as the work
// file gives them back.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "entry/entry.h"

// An entry that the output takes over unchanged, but for the lines that are dropped.
struct ExpectedEntry {
    std::uint64_t lines = 0;       // the chain of its lines
    off_t offset = 0;              // in the export
    bool addsInstallDate = false;  // behind the lines counted
    bool isDomain = false;         // which may have a date of its own
};

// Whoever wants to know of these entries, in the order of the export; may be null.
struct ExpectedEntryTakers {
    void (*passedThrough)(const ExpectedEntry& expected) = nullptr;
    void (*credential)(const ExpectedEntry& expected) = nullptr;
};

// Begins anew, for these takers.
void beginStagedEntries(const ExpectedEntryTakers& takers);

// Takes in the current entry, whose class is known and whose attributes stand on a line each in
// `attributes`. `addsInstallDate` says that an installation date will follow them. Both may change
// `object`.
void passThrough(std::string_view attributes, bool addsInstallDate);
void regroup(std::string_view attributes);

// Takes in the current entry, which is too large for the migration to hold.
void passThroughOversized();

// Once owners are found by their new DNs: reports which of these an entry that passed through has
// already.
void reportTakenNames();

// The entry at `offset` of the export as the work file would give it back; nothing when it does not
// come back whole. Changes `object`.
std::optional<Entry> stagedEntryAt(off_t offset);
