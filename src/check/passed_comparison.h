// Entries that pass through: they are at the beginning of the output, in the order of the export,
// and are compared while this is read.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "check/output_reader.h"
#include "check/staged_entries.h"

void beginPassedComparison();

// Looks for the next entry that is expected, in the output as far as it has been read and in its
// next entries.
void comparePassed(const ExpectedEntry& expected);

// Once the export has been read: the offsets in the output of entries that were read and are none
// of those expected.
std::vector<off_t> takeUnmatchedOffsets();

// Counts an entry of the output as found if it is missing so far. Returns whether it was.
bool takeMissing(const OutputEntry& entry);

// The offsets in the export of those missing.
std::vector<off_t> offsetsOfMissingPassed();

// The offset in the export of an entry that was found and has these lines, among the last ones
// found; -1 when there is none. Nothing may be found any more.
off_t offsetOfFound(std::uint64_t lines);
