// What the export demands of the output, for whoever holds the output against it.
#pragma once

#include <sys/types.h>

#include <cstdint>

// An entry that the output takes over as it is, but for what the filters drop.
struct ExpectedEntry {
    std::uint64_t lines = 0;       // the chain of its lines
    off_t offset = 0;              // in the export
    bool addsInstallDate = false;  // behind the lines counted
    bool isDomain = false;         // which may have a date of its own
};

// Whoever wants to know of these entries, in the order of the export; may be null. Set when the
// scan begins.
struct ExpectedEntryTakers {
    void (*passedThrough)(const ExpectedEntry& expected) = nullptr;
    void (*credential)(const ExpectedEntry& expected) = nullptr;
};
extern ExpectedEntryTakers expectedEntryTakers;
