// The flush: writes the owners that a pass has gathered, and empties the cache.
//
// Every user in slot order, each followed by its policy container and policy, then every group
// in slot order. A slot is released as soon as its records are written.
#pragma once

#include "driver/diagnostics/messages.h"

// Returns 0 if everything was written and the cache is empty, or -1 if a step failed: the current
// slot and all later ones then stay in the cache.
int copyAllAccumulatedDataToOutputFile();

// The message after a flush that has returned -1. Not to be called otherwise.
Message flushFailedMessage();
