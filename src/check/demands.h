// What the export demands of the output, for whoever holds the output against it.
#pragma once

#include <sys/types.h>

#include <cstdint>

// An entry that the output takes over as it is, but for what the filters drop.
struct Demand {
    std::uint64_t lines = 0;       // the chain of its lines
    off_t place = 0;               // in the export
    bool addsInstallDate = false;  // behind the lines counted
    bool isDomain = false;         // which may have a date of its own
};

// Whoever wants to know of these entries, in the order of the export; may be null. Set when the
// scan begins.
struct DemandTakers {
    void (*passedThrough)(const Demand& demand) = nullptr;
    void (*credential)(const Demand& demand) = nullptr;
};
extern DemandTakers demandTakers;
