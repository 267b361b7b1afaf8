// The cache dump: everything that the object cache holds, as a report in the trace.
#pragma once

// Writes the report when the trace is on; changes nothing. Always returns 0.
int dumpData();
