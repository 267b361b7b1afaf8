// Failures of a piece of the program: its messages, its echo, and how it ends without memory.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "support/allocations.h"
#include "support/process.h"
#include "support/temporary_folder.h"

struct Failure {
    std::vector<int> messages;  // their ids, in order
    std::string echo;

    bool operator==(const Failure&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Failure& failure) {
    for (const int message : failure.messages) {
        stream << message << ' ';
    }
    return stream << "echo:\n" << failure.echo;
}

// The ids of the messages in `text`, one per line.
inline std::vector<int> messagesIn(const std::string& text) {
    std::vector<int> messages;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        messages.push_back(std::atoi(line.c_str()));
    }
    return messages;
}

// How `procedure` ends the process while errors are echoed. Without trace and echo it must end the
// same way and write nothing to standard output.
inline Failure failureOf(const std::function<void()>& procedure) {
    const Ending silent = endingOf([&procedure] {
        debug = false;
        procedure();
    });
    EXPECT_EQ(silent.status, 255);
    EXPECT_EQ(silent.output, "");
    const Ending loud = endingOf([&procedure] {
        debugError = true;
        procedure();
    });
    EXPECT_EQ(loud.status, 255);
    EXPECT_EQ(loud.errors, silent.errors);
    return {messagesIn(loud.errors), loud.output};
}

// Runs the traced `procedure` once for each of its allocations, which fails and must end the
// process with the message for it. Returns the lines with which the trace ended.
inline std::set<std::string> lastTracesWithoutMemory(const std::function<void()>& procedure) {
    std::set<std::string> lines;
    const TemporaryFolder folder;
    const std::string name = folder.path("trace");
    for (std::size_t allocations = 0;; ++allocations) {
        const Ending ending = endingOf([&] {
            openTraceFile(name);
            emptyTraceFile();
            endProcessWithoutMemory();
            const AllocationLimit limit(allocations);
            procedure();
        });
        if (ending.status == 0) {
            return lines;
        }
        EXPECT_EQ(ending.status, 255) << ending.errors;
        EXPECT_EQ(messagesIn(ending.errors), std::vector<int>{380928300});
        EXPECT_EQ(ending.output, "");
        if (testing::Test::HasFailure()) {
            return lines;
        }
        const std::string trace = readFile(name);
        const std::size_t lineStart = trace.rfind('\n', trace.size() - 2) + 1;
        lines.insert(trace.substr(trace.size() < 2 ? 0 : lineStart));
    }
}
