// How the check fails: with one line on standard error and exit status 2.
//
// A check that fails says nothing of the files: the report is written at the very end.
#pragma once

#include <string>
#include <string_view>

inline constexpr int cannotCheck = 2;  // the exit status

// Ends the process with this problem.
[[noreturn]] void failCheck(const std::string& problem);

// Ends the process because `name` cannot be checked.
[[noreturn]] void failReading(const std::string& name, std::string_view reason);

// From here on, the process ends in the same way when memory runs out, or when code shared with the
// migration fails.
void failAsCheck();
