// What around the export would make a migration fail: permissions, a lock, a work file of an
// earlier run, the disk.
//
// Only what the migration would meet as well is judged. Where the system does not have or show
// something, that is noted as unknown; any other failure ends the check.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The bytes left to the user on the disk of the export; none where the system does not show them.
std::optional<std::uint64_t> freeDiskSpace(const std::string& exportName);

// Reports what would make a migration fail with `freeSpace` on the disk.
void checkSurroundings(const std::string& exportName, std::optional<std::uint64_t> freeSpace);
