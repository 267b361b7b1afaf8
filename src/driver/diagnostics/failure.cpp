#include "driver/diagnostics/failure.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "driver/diagnostics/interruption.h"
#include "driver/diagnostics/progress.h"
#include "driver/diagnostics/trace.h"

constinit FailureForm failureForm = {zr_printf_utf8, -1};

namespace {

// The line of the innermost OutOfMemoryLine, or empty.
std::string_view outOfMemoryLine;

}  // namespace

void report(std::string_view traceText, std::string_view echoText) {
    if (debug) {
        writeTrace(traceText);
    }
    echo(echoText);
}

void fail(std::string_view traceText, std::string_view echoText, const Message& message) {
    report(traceText, echoText);
    failureForm.print(message);
    endProgress();
    endInterruptionReports();
    std::exit(failureForm.status);
}

void failWithoutMemory() {
    // No second chance: what runs from here on must not come back for more memory.
    std::set_new_handler(nullptr);
    fail(outOfMemoryLine, {}, {MESSAGE_NO_MEMORY, {}});
}

void endProcessWithoutMemory() {
    std::set_new_handler(failWithoutMemory);
}

OutOfMemoryLine::OutOfMemoryLine(std::string_view traceLine)
    : outer_(std::exchange(outOfMemoryLine, traceLine)) {
}

OutOfMemoryLine::~OutOfMemoryLine() {
    outOfMemoryLine = outer_;
}
