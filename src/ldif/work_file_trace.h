// The trace of the operations on the work file.
#pragma once

#include <string_view>

// The beginning and the end of an operation; `function` is its name.
void traceDeletion();
void traceEndOfDeletion(int result);
void traceStepOver();
void traceEndOfStepOver(int result);

// A failed look at the position, before the message that the caller prints.
void tracePositionFailure(int returnCode);

// The role of a line in the entry that is stepped over.
void traceLineSteppedOver(std::string_view line, bool objectHasBegun);

void traceEndOfFile();
