// The standard streams and the exit status of a piece of the program.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <ostream>
#include <string>

struct Ending {
    int status = -1;  // exit status, or -1 after a signal
    std::string output;
    std::string errors;
};

// Runs `procedure` in a process of its own, which ends with status 0 if the procedure returns. The
// files that it changes, the trace file included, can be read afterwards.
Ending endingOf(const std::function<void()>& procedure);

// The text that `procedure` writes to standard output in this process.
std::string outputOf(const std::function<void()>& procedure);

inline void PrintTo(const Ending& ending, std::ostream* stream) {
    *stream << "status " << ending.status << ", output \"" << ending.output << "\", errors \""
            << ending.errors << '"';
}

// A fatal end with the error message `id` as the first of standard error.
MATCHER_P(FailsWith, id, "") {
    return arg.status == 255 && arg.errors.starts_with(std::to_string(id) + " ERROR: ");
}
