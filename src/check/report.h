// The report: everything that the check has learned, as text or as JSON, on standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "check/plan.h"

// What was checked, and how.
struct Request {
    std::string exportName;
    std::optional<std::string> outputName = {};  // after the migration
    std::uint64_t users = 0;                     // slot counts asked for; 0: as many as there are
    std::uint64_t groups = 0;
    bool asJson = false;
};

// Writes the report of a check before a migration, or of the proof after one. Returns 0, or -1 when
// standard output does not take it.
int reportBefore(const Request& request, const DiskNeed& need);
int reportAfter(const Request& request);
