// The cache dump: a report on the contents of the object cache, in the trace.
#pragma once

// Writes the report when the trace is on; changes nothing. Always returns 0.
int dumpData();
