// Pass-through entries: copied from the export to the output line by line.
//
// Entries that have too many lines to be gathered reach the output in this way, unchanged except
// that comments and the directory's entry identifiers are dropped.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "ldif/line_reader.h"

// The role of a line, or a piece of one, in a pass-through entry.
enum class PassedLine : std::uint8_t { BLANK_BEFORE, COMMENT, DROPPED, KEPT, BLANK_BEHIND };

// Reads the next entry of `stream` and the blank line behind it. Calls `take` with each line,
// unchanged, and its role. Returns the result of reading the last line.
int visitPassedLines(LineReader& stream,
                     const std::function<void(PassedLine kind, std::string_view line)>& take);

// Copies the next entry of `stream` to `ofp`, and an empty line behind it unless the file ends
// there. A failed write ends the process.
void moveNextObjectToOutputLDIFFile(LineReader& stream);
