// What a run holds of its export and its work file, beside reading and writing them: a lock each,
// from before it touches anything to its end, and what they looked like.
//
// Other programs may ignore the locks. An export that grows while it is read, or a work file that
// is cut off, replaced or lost by its disk, reads like one that has ended: entries would be
// missing and nobody told.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"

// Takes the lock of the export and notes its state. Returns the message to fail with when it cannot
// be had. An export that cannot be opened is left to staging, which reports it in its own way, and
// so is a pipe, which has no positions.
std::optional<Message> lockInput();

// Why a file that exists cannot be the work file, as a clause; empty when it can. Whoever may write
// to it, or has another name for it, decides what a run migrates.
std::string_view workFileProblem(const FileState& state);

// Creates the work file unless it is there, and takes its lock. Returns the message to fail with
// when it cannot be had.
std::optional<Message> lockWorkFile();

// How long the export was when its lock was taken.
off_t inputSize();

// Whether the work file held something when its lock was taken: another run has left it behind.
bool holdsLeftOvers();

// The message when `name` cannot be had for this run alone because of this error number.
Message lockMessage(const std::string& name, int error);

// The reason why a file is not the one that it was: `other` is what another program has done to it,
// unless `state` shows that the system did not let it be seen.
std::string reasonOfChange(const FileState& state, std::string_view other);

// Notes the size of the work file, which does not change from here on. Ends the process when it
// cannot be seen.
void noteStagedWorkFile();

// The size noted.
off_t workFileSize();

// Ends the process when the export's name does not lead to the file that was claimed, or this has
// changed, also where its time was set back. To be called when the export has been read: what is
// put in its place later, or another name or mode for it, does no harm.
void requireInputInPlace();

// Ends the process when the export, if it is a regular file, has changed its size or has been
// written to since it was claimed.
void requireUnchangedInput();

// Ends the process when the work file is no longer the one that was staged or has another size, or
// the system has lost some of it.
void requireIntactWorkFile();

// Gives up both locks and forgets what the files looked like.
void releaseLocks();
