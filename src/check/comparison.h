// The verification after a migration: whether the output holds the entries that the export leads
// to, and nothing else.
//
// Export and output are read side by side, once. Entries that pass through are at the beginning of
// the output and are compared in the order of the files. The rebuilt entries behind them are
// compared with the owners, the resource credentials with those of the export.
#pragma once

#include <string>

// Reads both files and adds every difference to the findings.
void compareOutput(const std::string& exportName, const std::string& outputName);
