// How the program fails: the one procedure that ends it, and what happens without memory.
#pragma once

#include <string_view>

#include "driver/diagnostics/messages.h"

// Writes `traceText` to the trace file when the trace is on, and `echoText` to standard output
// when errors are echoed. Each may hold several lines, or none.
void report(std::string_view traceText, std::string_view echoText);

// The procedure that prints the message of a failure, and the exit status: zr_printf_utf8 and 255
// unless the program sets others when it begins.
struct FailureForm {
    void (*print)(const Message& message);
    int status;
};
extern FailureForm failureForm;

// Reports as above, prints the message and ends the process as failureForm says. Buffered
// output reaches its files on the way out; nothing else is cleaned up.
[[noreturn]] void fail(std::string_view traceText, std::string_view echoText,
                       const Message& message);

// From here on, memory that cannot be had ends the process with MESSAGE_NO_MEMORY. May be called
// before main begins, as failureForm may be written.
void endProcessWithoutMemory();

// While it lives, `traceLine` is what the trace says when memory cannot be had. The innermost
// one counts. The text must outlive it.
class OutOfMemoryLine {
public:
    explicit OutOfMemoryLine(std::string_view traceLine);
    OutOfMemoryLine(const OutOfMemoryLine&) = delete;
    OutOfMemoryLine& operator=(const OutOfMemoryLine&) = delete;
    ~OutOfMemoryLine();

private:
    std::string_view outer_;
};

// Ends the process as if memory could not be had; for sizes that cannot be asked for at all.
[[noreturn]] void failWithoutMemory();
