// The files of a run, but for the trace.
#pragma once

#include <string>

#include "driver/diagnostics/messages.h"
#include "ldif/line_reader.h"
#include "ldif/output_file.h"

extern LineReader ifp;   // the export; opened and closed by staging
extern LineReader tifp;  // the work file; opened anew for every pass and for the residue copy
extern OutputFile ofp;   // the result; opened and closed by the driver

// The messages here name the reason by its error number, `error`.

// When the position call `call` has failed; `returnCode` is the code that the message shows for it,
// -1 as a rule.
Message positionMessage(const char* call, int error, int returnCode = -1);

// The same for setting the position of `stream`, which may have to write blank lines first: it then
// says that these were refused.
Message setPositionMessage(const LineReader& stream, int error, int returnCode = -1);

// When `name` cannot be opened.
Message openMessage(const std::string& name, int error);

// When writing `name` has failed.
Message writeMessage(const std::string& name, const OutputFile& file);

// When an entry of the work file could not be treated as `problem` says.
Message workFileMessage(const std::string& problem);

// When entries could not be blanked. It names none: blank lines are written many
// entries at a time, and those of an earlier one may have been refused.
Message blankingFailedMessage();
