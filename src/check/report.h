// The report: what the check has found, as text or as JSON, on standard output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// What is checked, and how.
struct Request {
    std::string exportName;
    std::optional<std::string> outputName = {};  // after the migration
    std::uint64_t users = 0;                     // slot counts asked for; 0: as many as there are
    std::uint64_t groups = 0;
    bool asJson = false;
};

// Write the report of a check before a migration, or of the verification after one. `freeSpace` is
// what the disk of the export has left, if known. Return 0, or the error number when standard
// output does not take the report.
int reportBefore(const Request& request, std::optional<std::uint64_t> freeSpace);
int reportAfter(const Request& request);
