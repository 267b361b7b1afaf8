// Reading one entry into `object`.
//
// Blank lines before an entry are skipped, comments are dropped, and a blank line ends it. The
// export is read once, from beginning to end. After an entry of the work file has been read, the
// position is set back to its beginning (with the blank lines before it); the caller then deletes
// the entry or steps over it.
#pragma once

#include "ldif/line_reader.h"

// Result of getNextObject for an entry that it has copied to the output itself.
constexpr int PASSED_THROUGH = 99;

// The max lines of an entry of the export that is gathered; one with more is passed through.
constexpr int MOST_LINES_OF_AN_OBJECT = 249'999;

// Set once a line of the work file, even a comment, holds "changetype:"; never cleared.
extern bool changetypeSeen;

// How far the work file has been searched for it. Later passes read the same lines, or blank ones,
// except in a part that an earlier run has left behind.
extern FilePosition filePositionOfChangetypeSearch;

// Where the entry last read from the work file begins, and the position after it was restored.
extern FilePosition filePositionBeforeReadingObject;
extern FilePosition filePositionAfterReadingObject;

// Reads the next entry of the export. Returns 0 when it ended at a blank line, END_OF_FILE when
// the file ended (with a last entry in `object`, or none), PASSED_THROUGH, or READ_ERROR. Ends
// the process if the file cannot be positioned.
int getNextObject(LineReader& stream);

// Reads the next entry of the work file and restores the position. Returns 0, END_OF_FILE or
// READ_ERROR as above. Ends the process if the file cannot be positioned.
int getNextObjectFromTemporaryInputLDIFFile(LineReader& stream);
