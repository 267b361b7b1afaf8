// The settings of a run, taken from the command line once, at start-up, and never changed after,
// and the messages that name the files among them.
#pragma once

#include <cstdint>
#include <string>

#include "driver/diagnostics/messages.h"

extern std::string input_ldif_filename;       // the export, older layout
extern std::string output_ldif_filename;      // the result, newer layout
extern std::string temp_input_ldif_filename;  // the work file
extern std::string debugFileName;             // the trace file; empty without one

// The name of the work file for this export.
std::string workFileName(const std::string& exportName);

// How many users and groups are held in memory at once; each 1 or more.
extern std::int32_t max_number_of_secuser_slots;
extern std::int32_t max_number_of_secgroup_slots;

// Fills the settings from the arguments that follow the program's name. Ends the process with
// the usage message when their number is wrong or a slot count is below 1.
void readCommandLine(int argc, const char* const* argv);

// Ends the process when two of the run's files are one file, or one is where messages go, before
// any of them is touched.
void refuseSharedFiles();

// Ends the process when the work file is a symbolic link: it leads to a file that is no work file,
// and the program would write to it.
void refuseLinkedWorkFile();

// The message when the export cannot be migrated; `problem` is a clause that gives the reason.
Message migrationFailed(const std::string& problem);

// Likewise when it is not the export that is to blame, but the system.
Message migrationStopped(const std::string& problem);

// The message when two entries that cannot both be migrated have one owner.
Message slotOccupied(const std::string& entry, const std::string& other);

// From here on the messages about entries name the work file as the likely cause, or no longer do:
// a work file that an earlier run has left behind holds its entries, or the rest of one, once more.
void suspectWorkFile(bool isSuspect);
