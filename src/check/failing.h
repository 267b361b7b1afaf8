// How the check fails: with one line on standard error and exit status 2.
//
// A check that fails reports nothing about the files: the report is written at the very end.
#pragma once

#include <string>
#include <string_view>

inline constexpr int cannotCheck = 2;  // exit status

// Ends the process with this problem.
[[noreturn]] void failCheck(const std::string& problem);

// Ends the process because `name` cannot be checked.
[[noreturn]] void failReading(const std::string& name, std::string_view reason);

// From here on, the process ends in the same way if memory runs out or if code shared with the
// migration fails.
void failAsCheck();
