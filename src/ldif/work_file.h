// Consuming entries of the work file: deletion and step-over.
//
// After the reader has read an entry and set the position back to its start, exactly one of the two
// is called. Deletion overwrites the entry's lines with blank lines of the same length, so that the
// file keeps its size and no later byte moves; a deleted entry reads as blank lines between its
// neighbours. Step-over leaves the entry for a later pass, which starts at the first entry stepped
// over, because everything before it has been consumed.
//
// Behind that, too, the file is blank except for the entries stepped over. Their offsets are
// remembered, so that the next pass need not read blank lines.
#pragma once

#include "ldif/line_reader.h"

// Whether the current pass has stepped over an entry; cleared by the pass loop.
extern bool hasTheStepOverFilePositionBeenInitialized;

// Where the first entry stepped over begins, the blank lines before it included. Valid while the
// flag is set, and from then until the next pass has gone there.
extern FilePosition filePositionOfFirstObjectSteppedOver;

// Blanks the entry at the stream's position. Returns 0, or -1 if the file cannot be read,
// positioned or written; only a position failure prints its message.
int deleteNextObjectFromTemporaryInputLDIFFile(LineReader& stream);

// To be called at the end of a pass, when the stream has been read to its end, if everything but
// the entries stepped over is known to be blank. From then on skipBlankedObjects skips that.
void rememberObjectsSteppedOver(const LineReader& stream);

// Moves on to the next entry that the last pass has stepped over, or to the end of the file; does
// nothing if that is not known. Ends the process if the file cannot be positioned.
void skipBlankedObjects(LineReader& stream);

// Clears the remembered offsets.
void forgetObjectsSteppedOver();

// Moves past the entry at the stream's position. Returns 0, or -1 if the file cannot be read or
// positioned; only a position failure prints its message.
int stepOverNextObjectFromTemporaryInputLDIFFile(LineReader& stream);
