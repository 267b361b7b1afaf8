// Findings of lines that do not depend on the class of the entry, and the count of dropped lines.
#pragma once

#include <string_view>

// Reports what is lost or misread when the current entry is read: folded comments, zero bytes,
// carriage returns, blank lines within an entry or missing between two.
void reportLineFindings();

// Whether a line names a version, in any spelling; whether the current entry begins with such a
// header line, for example "version: 1".
bool isVersion(std::string_view line);
bool beginsWithHeader();

// Reports lines of the current entry, which passes through, that are too long.
void reportLongLines();

// Counts a line of the current entry, its attribute `index`, that is dropped because it holds a
// name dropped in one of these ways. Reports the line if the name is not its own.
void dropLine(std::string_view line, int index, unsigned drops);

// Does that from line `first` on for an entry, as read from the work file, that is not merged.
void dropUnmergedLines(int first);
