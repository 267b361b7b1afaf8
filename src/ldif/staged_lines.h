// The rules of staging: whether an entry goes to the output or to the work file, and which of its
// lines are dropped or changed.
//
// They are decided here alone. Staging writes the resulting lines, the check reports and digests
// them. How a line that is too long is then read from the work file is up to entry_reader.h.
#pragma once

#include <functional>
#include <string_view>

// Whether the current entry, whose class is known and which begins with an attribute, passes
// through to the output. Asked before the entry is adjusted.
bool belongsInOutput();

// Takes consecutive lines, each with its line feed, and the text written for them: the same,
// another, or none.
using StagedLinesTaker = std::function<void(std::string_view lines, std::string_view written)>;

// Divides an entry that goes to the output, or to the work file, into lines that are changed and
// those between them. `attributes` holds each of its attributes on one line.
void visitOutputLines(std::string_view attributes, const StagedLinesTaker& take);
void visitWorkFileLines(std::string_view attributes, const StagedLinesTaker& take);
