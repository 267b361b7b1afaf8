// What becomes of an entry while it is staged: where it goes, and which of its lines get there.
//
// It is decided here alone. Staging writes what is decided, and the check reports and digests it.
// What the reader of the work file then makes of a line that is too long is up to entry_reader.h.
#pragma once

#include <functional>
#include <string_view>

// Whether the current entry, whose class is known and which begins with an attribute, passes
// through to the output. Asked before the entry is adjusted.
bool belongsInOutput();

// Takes lines that follow one another, each with its line feed, and what is written for them: the
// same, another text, or nothing.
using StagedLinesTaker = std::function<void(std::string_view lines, std::string_view written)>;

// Divides an entry that goes to the output, or to the work file, into lines that are changed and
// those between them. `attributes` holds each of its attributes on a line.
void visitOutputLines(std::string_view attributes, const StagedLinesTaker& take);
void visitWorkFileLines(std::string_view attributes, const StagedLinesTaker& take);
