// Entries of the export after staging: those that pass through to the output, and the others as
// they are read back from the work file.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string_view>

#include "entry/entry.h"

// An entry that passes through to the output, without the lines that are dropped.
struct ExpectedEntry {
    std::uint64_t lines = 0;       // the chain of its lines
    off_t offset = 0;              // in the export
    bool addsInstallDate = false;  // behind these lines
    bool isDomain = false;         // may have a date of its own
};

// Called with these entries, in the order of the export; may be null.
struct ExpectedEntryTakers {
    void (*passedThrough)(const ExpectedEntry& expected) = nullptr;
    void (*credential)(const ExpectedEntry& expected) = nullptr;
};

// Clears everything, and sets the takers.
void beginStagedEntries(const ExpectedEntryTakers& takers);

// Takes in the current entry, whose class is known; `attributes` holds each of its attributes on
// one line. `addsInstallDate` means that an installation date will follow them. Both may change
// `object`.
void passThrough(std::string_view attributes, bool addsInstallDate);
void regroup(std::string_view attributes);

// Takes in the current entry, which is too large for the migration to hold.
void passThroughOversized();

// Reports new DNs that an entry which passed through already has. To be called after indexNewDns.
void reportTakenNames();

// The entry at `offset` of the export as it would be read from the work file; nothing if it would
// not come back whole. Changes `object`.
std::optional<Entry> stagedEntryAt(off_t offset);

// The same, of an entry that would come back in pieces the first one.
std::optional<Entry> firstPieceAt(off_t offset);
