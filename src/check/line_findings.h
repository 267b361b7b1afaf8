// Findings of lines, whatever the class of their entry, and the count of lines that are dropped.
#pragma once

#include <string_view>

// Reports what reading does to the lines of the current entry: to folded comments, to zero bytes
// and carriage returns, and where blank lines split an entry or are missing between two.
void reportLineFindings();

// Whether a line names a version, in any spelling; whether the current entry begins with one, a
// header line such as "version: 1".
bool isVersion(std::string_view line);
bool beginsWithHeader();

// Reports the lines of the current entry, which passes through, that are too long.
void reportLongLines();

// Counts a line of the current entry, its attribute `index`, that is dropped because it holds one
// of the names that are dropped in these ways; reports it when the name is not the line's own.
void dropLine(std::string_view line, int index, unsigned drops);

// Does that for the lines of the current entry, as the work file gives it back and from line
// `first` on, that are dropped from entries which are not merged.
void dropUnmergedLines(int first);
