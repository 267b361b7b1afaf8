// Passing an entry of the export straight to the output, line by line.
//
// This is how entries that have too many lines to be gathered still reach the output, unchanged
// but for their comments and the directory's entry identifiers.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "ldif/line_reader.h"

// What a line, or a piece of one, is to an entry that is passed on.
enum class PassedLine : std::uint8_t { BLANK_BEFORE, COMMENT, DROPPED, KEPT, BLANK_BEHIND };

// Reads the next entry of `stream` and the blank line behind it. Gives `take` each line as it was
// read, and what it is. Returns what reading the last line has returned.
int visitPassedLines(LineReader& stream,
                     const std::function<void(PassedLine kind, std::string_view line)>& take);

// Copies the next entry of `stream` to `ofp`, and an empty line behind it unless the file ends
// there. A failed write ends the process.
void moveNextObjectToOutputLDIFFile(LineReader& stream);
