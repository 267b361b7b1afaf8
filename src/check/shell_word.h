// Words of a command that an administrator copies from the report into a shell.
#pragma once

#include <string>
#include <string_view>

// The name of a file as bash(1) reads it: in quotes where it needs any, in $'...' with the numbers
// of all bytes that are not printable ASCII, and behind ./ where it would look like an option.
std::string shellWord(std::string_view fileName);
