// The verification after a migration: whether the output holds what the export expects, and nothing
// else.
//
// Export and output are read side by side, once: entries that pass through are at the beginning of
// the output and compared as they come. The rebuilt ones behind them are compared with the owners,
// and the resource credentials with those of the export.
#pragma once

#include <string>

// Reads both files and adds what differs to the findings.
void compareOutput(const std::string& exportName, const std::string& outputName);
