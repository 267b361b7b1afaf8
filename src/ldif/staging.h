// Staging: reads the export, once, and splits it in two.
//
// Entries that need no regrouping go straight to the output; users, groups, policy data, policies
// of the older layout, mappings and resource credentials go to the work file, one blank line
// behind each. Every entry is adjusted on the way, and every attribute is written on one line.
//
// The work file is never emptied: if an earlier run left one behind, entries are appended to it,
// and its last line is not changed.
#pragma once

// Stages the export. Returns 0, or -1 when it could not be read to its end. A file that cannot
// be opened, positioned or written ends the process, and so does an entry that cannot be adjusted.
// Only the beginning and the end are traced, to keep the trace of a large export small.
int copyOriginalInputFileToTempInputFile();
