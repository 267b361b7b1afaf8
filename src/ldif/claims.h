// What a run holds of its export and its work file, beside reading and writing them: a lock each,
// from before it touches anything to its end, and what they looked like.
//
// Other programs may ignore the locks. An export that grows while it is read, or a work file that
// is cut off, replaced or lost by its disk, reads like one that has ended: entries would be
// missing and nobody told.
#pragma once

#include <sys/types.h>

#include <string>

#include "driver/diagnostics/messages.h"

// Takes the lock of the export and notes its state. Returns 0, or -1 with the reason in errno. An
// export that cannot be opened is left to staging, which tells so in its own way.
int claimInput();

// Creates the work file unless it is there, and takes its lock. Returns 0, or -1 with the reason in
// errno: ELOOP for a symbolic link, ENODEV for what is no regular file.
int claimWorkFile();

// How long the export was when its lock was taken.
off_t inputSize();

// Whether the work file held something when its lock was taken: another run has left it behind.
bool holdsLeftOvers();

// What is said when `name` cannot be had for this run alone; errno gives the reason.
Message claimMessage(const std::string& name);

// Notes the size of the work file, which does not change from here on.
void noteStagedWorkFile();

// The size noted.
off_t workFileSize();

// Ends the process when the export's name does not lead to the file that was claimed. What is put
// in its place after staging does no harm.
void requireInputInPlace();

// Ends the process when the export, if it is a regular file, has changed its size or has been
// written to since it was claimed.
void requireUnchangedInput();

// Ends the process when the work file is no longer the one that was staged or has another size, or
// the system has lost some of it.
void requireIntactWorkFile();

// Gives up both locks and forgets what the files looked like.
void releaseClaims();
