// The check before a migration, as far as the export alone decides it.
#pragma once

#include <cstddef>

#include "check/export_scan.h"
#include "check/findings.h"
#include "harness.h"
#include "workplace.h"

// Scans the input; keeps at most `limit` findings of each type, until the next scan or comparison.
inline void scanInput(std::size_t limit) {
    beginFindings(limit);
    scanExport(input, {});
    resetProgram();
}
