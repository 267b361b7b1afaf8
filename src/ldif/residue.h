// The residue: the entries that all passes have left in the work file.
//
// Only resource credentials may be left. The newer layout takes them over unchanged, except for the
// access-control, control and identifier attributes, which are dropped.
#pragma once

#include <string_view>

#include "entry/entry.h"
#include "entry/filters.h"

// Calls `take` with the lines of `entry` that are copied, until it returns other than 0. Returns
// its last result.
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
// copying it. If a line cannot be written, returns silently, with the rest not copied and the work
// file open. Every other failure ends the process; if the blank line behind an entry cannot be
// written, without a message.
void copyRemainingObjectsToOutputLDIFFile();
