// The files of a run, except the trace, and the messages about them.
#pragma once

#include <string>

#include "driver/diagnostics/messages.h"
#include "ldif/line_reader.h"
#include "ldif/output_file.h"

extern LineReader ifp;   // the export; opened and closed by staging
extern LineReader tifp;  // the work file; reopened for every pass and for the residue copy
extern OutputFile ofp;   // the result; opened and closed by the driver

// These messages give the system's reason for error number `error`.

// The position call `call` has failed; the message shows `returnCode`, usually -1.
Message positionMessage(const char* call, int error, int returnCode = -1);

// The same for setting the position of `stream`. If blank lines had to be written first and were
// refused, the message says so.
Message setPositionMessage(const LineReader& stream, int error, int returnCode = -1);

// `name` cannot be opened.
Message openMessage(const std::string& name, int error);

// Writing `name` has failed.
Message writeMessage(const std::string& name, const OutputFile& file);

// An entry of the work file could not be processed; `problem` says how.
Message workFileMessage(const std::string& problem);

// Entries could not be blanked. The message names none: blank lines are written for many entries at
// a time, and those of an earlier entry may have been refused.
Message blankingFailedMessage();
