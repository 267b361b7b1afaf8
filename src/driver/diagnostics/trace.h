// The trace file, and the echo of errors to standard output.
//
// Both serve to find out what a run did. The trace is written line by line without a
// buffer, so that it is complete up to a crash; failures to write it are never looked at. The
// echo repeats chosen error lines on standard output.
#pragma once

#include <string>
#include <string_view>

#include "driver/diagnostics/format.h"
#include "driver/platform/file.h"

// Whether the trace is on. Set at start-up by openTraceFile; staging switches it off for its own
// duration.
extern bool debug;

// Whether errors are echoed. Set at start-up from the environment.
extern bool debugError;

// The trace file; open from start-up to the end of the run when the trace is wanted.
extern File tfp;

// Opens `name` as the trace file and switches the trace on. Returns 0, or -1 with the reason in
// errno and the trace off. A file that holds something keeps it, and what is traced stays in
// memory, until emptyTraceFile: a run that cannot open its other files must not change it.
int openTraceFile(const std::string& name);

// Replaces the old contents of the trace file with the lines traced so far. Returns 0, or -1 with
// the reason in errno.
int emptyTraceFile();

// Writes `text` to the trace file unchanged, whether or not the trace is on.
void writeTrace(std::string_view text);

// Not inlined: calls while the trace is off would pay for what it has on the stack.
template <class... Arguments>
[[gnu::noinline]] void writeTraceLine(FormatString<std::type_identity_t<Arguments>...> line,
                                      const Arguments&... arguments) {
    writeTrace(format(line, arguments...));
}

// Writes a trace line when the trace is on; costs one test when it is off.
template <class... Arguments>
void trace(FormatString<std::type_identity_t<Arguments>...> line, const Arguments&... arguments) {
    if (debug) [[unlikely]] {
        writeTraceLine(line, arguments...);
    }
}

// Writes `text` to standard output unchanged, at once.
void writeStandardOutput(std::string_view text);

// The same, but only when errors are echoed.
void echo(std::string_view text);
