// What a migration of the export needs: slot counts, passes, memory and room on the disk.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// A run with these slot counts.
struct Plan {
    std::uint64_t users = 0;
    std::uint64_t groups = 0;
    std::uint64_t passes = 0;  // in which the migration gathers something
    std::uint64_t memory = 0;  // the bytes it takes at most
};

// The plan for counts of at least 1; 0 stands for as many users or groups as there are.
Plan planFor(std::uint64_t users, std::uint64_t groups);

// The plan for one pass, and those for smaller counts.
std::vector<Plan> plans();

struct DiskNeed {
    std::uint64_t workFile = 0;  // bytes of the work file, beside the export
    std::uint64_t output = 0;    // bytes of the output, at most
    std::optional<std::uint64_t>
        free;  // bytes left to the user on the disk of the export, if known
};

// Notes that the free space is not known where the system does not show it. Any other failure to
// learn it ends the check.
DiskNeed diskNeed(const std::string& exportName);

// Tells what around the export would keep a migration from its end: the permissions, a lock, a work
// file of an earlier run, the disk. What the system does not report for other reasons than it would
// report to the migration ends the check.
void findTroubleAround(const std::string& exportName, const DiskNeed& need);
