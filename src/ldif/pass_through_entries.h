// Passing an entry of the export straight to the output, line by line.
//
// This is how entries that have too many lines to be gathered still reach the output, unchanged
// but for their comments and the directory's entry identifiers.
#pragma once

// Copies the entry at which `ifp` stands, and the blank line behind it, to `ofp`. A failed write
// ends the process.
void moveNextObjectToOutputLDIFFile();
