// The files of a run, but for the trace.
#pragma once

#include <string>

#include "driver/diagnostics/messages.h"
#include "ldif/line_reader.h"
#include "ldif/output_file.h"

extern LineReader ifp;   // the export; opened and closed by staging
extern LineReader tifp;  // the work file; opened anew for every pass and for the residue copy
extern OutputFile ofp;   // the result; opened and closed by the driver

// What is said when the position call `call` has failed with `returnCode`; errno gives the reason.
Message positionMessage(const char* call, int returnCode);

// The same for setting the position of `stream`, which may have to write blank lines first: it then
// says that these were refused.
Message setPositionMessage(const LineReader& stream, int returnCode);

// What is said when `name` cannot be opened; errno gives the reason.
Message openMessage(const std::string& name);

// What is said when writing `name` has failed.
Message writeMessage(const std::string& name, const OutputFile& file);

// What is said when an entry of the work file could not be treated as `problem` says.
Message workFileMessage(const std::string& problem);

// What is said when entries could not be blanked. It names none: blank lines are written many
// entries at a time, and those of an earlier one may have been refused.
Message blankingFailedMessage();
