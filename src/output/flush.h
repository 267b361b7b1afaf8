// The flush: writing out what a pass has gathered, and emptying the cache.
//
// Every user in slot order, each followed by its policy container and policy, then every group
// in slot order. A slot is released as soon as its records are written.
#pragma once

#include "driver/diagnostics/messages.h"

// Returns 0 when everything was written and the cache is empty, or -1 when a step failed: the
// slot at hand and all later ones then stay in the cache.
int copyAllAccumulatedDataToOutputFile();

// What is said after a flush that has returned -1, and only then.
Message flushFailedMessage();
