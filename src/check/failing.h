// How the check fails: with one line on standard error and exit status 2.
//
// What cannot be read is not judged. The report is written at the very end, so that a check that
// fails has not said anything of the files.
#pragma once

#include <string>
#include <string_view>

inline constexpr int cannotCheck = 2;  // the exit status

// Ends the process with this problem.
[[noreturn]] void failCheck(const std::string& problem);

// Ends the process because `name` cannot be checked.
[[noreturn]] void failReading(const std::string& name, std::string_view reason);

// From here on, memory that cannot be had and failures of what is shared with the migration end the
// process in the same way.
void failAsCheck();
