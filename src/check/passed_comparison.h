// Entries that pass through: compares those of the export with those of the output, where they come
// first, in the order of the export.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "check/output_reader.h"
#include "check/staged_entries.h"

void beginPassedComparison();

// Looks for the next expected entry among the entries read from the output and the next ones there.
void comparePassed(const ExpectedEntry& expected);

// Once the export has been read: the offsets in the output of entries that were read but not
// expected.
std::vector<off_t> takeUnmatchedOffsets();

// Counts an entry of the output as found if it has been missing until now. Returns whether it was.
bool takeMissing(const OutputEntry& entry);

// The offsets in the export of the missing entries.
std::vector<off_t> offsetsOfMissingPassed();

// The offset in the export of an entry with these lines among the last ones found; -1 if there is
// none. To be called after the last entry has been found.
off_t offsetOfFound(std::uint64_t lines);
