// The message of a run that is ended by a signal.
//
// HUP, INT, QUIT and TERM end the process, and its status says so, as if nobody had caught them;
// but first the progress line is erased, and a message is printed while there is one. A signal that
// was ignored when the program began, as under nohup(1), stays ignored. A second signal ends the
// process at once, should standard error hold up the first.
#pragma once

#include "driver/diagnostics/messages.h"

// From here on the signals are caught, and `message`, which goes to standard error, is printed.
void reportInterruptions(const Message& message);

// From here on there is nothing left to interrupt: no message is printed any more.
void endInterruptionReports();
