// The locks of a run on its export and its work file, held from the start of the run to its end,
// and checks that other programs have not changed the two files.
//
// Other programs may ignore the locks. An export that grows while it is read, or a work file that
// is truncated, replaced or lost by its disk, seems to end early: without the checks, entries would
// be lost silently.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"

// Takes the lock of the export and notes its state. Returns the message to fail with if the lock is
// not free. An export that cannot be opened is left to staging, which reports it in its own way,
// and so is a pipe, which has no positions.
std::optional<Message> lockInput();

// Why a file that exists cannot be the work file, as a clause; empty if it can. Anybody who may
// write to it, or has another name for it, could change the entries that the run migrates.
std::string_view workFileProblem(const FileState& state);

// Creates the work file unless it exists, and takes its lock. Returns the message to fail with if
// that is not possible.
std::optional<Message> lockWorkFile();

// The size of the export when its lock was taken.
off_t inputSize();

// Whether the work file was not empty when its lock was taken: another run has left it behind.
bool holdsLeftOvers();

// The message if `name` cannot be locked because of this error number.
Message lockMessage(const std::string& name, int error);

// Why a file is not the one that it was: `other`, the act of another program, unless `state` shows
// that the system could not look at the file.
std::string reasonOfChange(const FileState& state, std::string_view other);

// Notes the size of the work file, which does not change from here on. Ends the process if the
// system does not report it.
void noteStagedWorkFile();

// The size noted.
off_t workFileSize();

// Ends the process if the export's name no longer leads to the locked file, or if the file has
// changed, even with its modification time set back. To be called when the export has been read: a
// file that replaces it later, or another name or mode for it, does no harm.
void requireInputInPlace();

// Ends the process if the export is a regular file and its size has changed or it has been written
// to since it was locked.
void requireUnchangedInput();

// Ends the process if the work file is no longer the one that was staged, or has another size, or
// if the system has lost some of it.
void requireIntactWorkFile();

// Releases both locks and the noted states of the files.
void releaseLocks();
