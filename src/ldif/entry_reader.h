// Reading one entry into `object`.
//
// Blank lines before an entry are skipped, comments are dropped, and a blank line ends it. The
// export is read once and consumed. The work file is read entry by entry without moving on: its
// position comes back to where the entry (with the blank lines before it) begins, and the caller
// then deletes the entry or steps over it.
#pragma once

#include "ldif/line_reader.h"

// Result of getNextObject for an entry that it has passed to the output itself.
constexpr int PASSED_THROUGH = 99;

// The most lines that an entry of the export may have to be gathered; one with more is passed
// through.
constexpr int MOST_LINES_OF_AN_OBJECT = 249'999;

// Set once a line of the work file holds "changetype:", a comment included; never cleared.
extern bool changetypeSeen;

// How far the work file has been searched for it. Later passes see the same lines, or blank ones,
// but of what an earlier run has left behind.
extern FilePosition filePositionOfChangetypeSearch;

// Where the entry last read from the work file begins, and where the position stood after it had
// been restored.
extern FilePosition filePositionBeforeReadingObject;
extern FilePosition filePositionAfterReadingObject;

// Reads the next entry of the export. Returns 0 when it ended at a blank line, END_OF_FILE when
// the file ended (with a last entry in `object`, or none), PASSED_THROUGH, or READ_ERROR. Ends
// the process when the file cannot be positioned.
int getNextObject(LineReader& stream);

// Reads the next entry of the work file and restores the position. Returns 0, END_OF_FILE or
// READ_ERROR as above. Ends the process when the file cannot be positioned.
int getNextObjectFromTemporaryInputLDIFFile(LineReader& stream);
