// The residue: what every pass has left in the work file.
//
// Only resource credentials may be left; the newer layout keeps them as they are, but for the
// access-control, control and identifier attributes.
#pragma once

#include <string_view>

#include "entry/entry.h"
#include "entry/filters.h"

// Calls `take` with the lines of `entry` that are copied, until it returns other than 0. Returns
// what it returned last.
template <class Take>
int visitResidueLines(EntryView entry, Take take) {
    int result = 0;
    for (int i = 0; i < entry.lineCount() && result == 0; ++i) {
        // Line by line: a continuation line of a dropped attribute is not dropped with it.
        result = unmergedFilter.matchesSome(entry.line(i)) ? 0 : take(entry.line(i));
    }
    return result;
}

// Copies the entries left in the work file to the end of the output and blanks each one after
// copying it. Returns without a message, with the rest not copied and the work file open, when a
// line cannot be written. Every other failure ends the process; that of the blank line behind an
// entry does so without a message.
void copyRemainingObjectsToOutputLDIFFile();
