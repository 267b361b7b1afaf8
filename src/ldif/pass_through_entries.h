// Passing an entry of the export straight to the output, line by line.
//
// This is how entries that have too many lines to be gathered still reach the output, unchanged
// but for their comments and the directory's entry identifiers.
#pragma once

#include <string_view>

// Copies the entry at which `ifp` stands, and the blank line behind it, to `ofp`. A failed write
// ends the process.
void moveNextObjectToOutputLDIFFile();

// Whether a line up to one of its colons ends in the name of the directory's entry identifier, in
// one of the two spellings that the export has, and a blank stands behind it. Other spellings are
// left alone.
bool isEntryIdentifier(std::string_view colonPrefix, std::string_view tail);

// Whether a text holds one anywhere.
bool holdsEntryIdentifier(std::string_view text);
