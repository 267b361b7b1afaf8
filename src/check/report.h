// The report: the findings of the check, its counts and predictions, as text or as JSON, on
// standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The files and settings of the check.
struct Request {
    std::string exportName;
    std::optional<std::string> outputName = {};  // after the migration
    std::uint64_t users = 0;                     // requested slot counts; 0: as many as there are
    std::uint64_t groups = 0;
    bool asJson = false;
};

// Write the report of a check before a migration, or of the verification after one. `freeSpace` is
// the free space on the disk of the export, if known. Return 0, or the error number if the report
// cannot be written to standard output.
int reportBefore(const Request& request, std::optional<std::uint64_t> freeSpace);
int reportAfter(const Request& request);
