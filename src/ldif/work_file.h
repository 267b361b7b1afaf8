// Consuming entries of the work file: deletion and step-over.
//
// After the reader has shown an entry and gone back to its start, exactly one of the two is
// called. Deletion overwrites the entry's lines with blank lines of the same length, so that
// the file keeps its size and no later byte moves; a deleted entry reads as blank lines between
// its neighbours. Step-over leaves the entry for a later pass, which starts at the first entry
// stepped over, because everything before it has been consumed.
//
// What the file holds behind that is blank as well, but for the entries stepped over. They are
// remembered, so that the next reader need not look at the rest: a quarter of the time of 64 passes
// went into looking at blank lines.
#pragma once

#include "ldif/line_reader.h"

// Whether the current pass has stepped over an entry; cleared by the pass loop.
extern bool hasTheStepOverFilePositionBeenInitialized;

// Where the first entry stepped over begins, the blank lines before it included. Valid while the
// flag is set, and from then until the next pass has gone there.
extern FilePosition filePositionOfFirstObjectSteppedOver;

// Blanks the entry at the stream's position. Returns 0, or -1 when the file cannot be read,
// positioned or written; only a position failure prints its message.
int deleteNextObjectFromTemporaryInputLDIFFile(LineReader& stream);

// To be called at the end of a pass, when the stream has been read to its end, if everything but
// the entries stepped over is surely blank now. From then on skipBlankedObjects skips that.
void rememberObjectsSteppedOver(const LineReader& stream);

// Moves on to the next entry that the last pass has stepped over, or to the end of the file; stays
// where it is when that is not known. Ends the process when the file cannot be positioned.
void skipBlankedObjects(LineReader& stream);

// Forgets which entries have been stepped over.
void forgetObjectsSteppedOver();

// Moves past the entry at the stream's position. Returns 0, or -1 when the file cannot be read or
// positioned; only a position failure prints its message.
int stepOverNextObjectFromTemporaryInputLDIFFile(LineReader& stream);
