// The surroundings of the export: permissions, locks, a work file of an earlier run, disk space.
// Reports those that would make a migration fail.
//
// Only conditions that the migration would meet as well are reported. If the system does not have
// or show something, it is noted as unknown; any other failure ends the check.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The bytes free for the user on the disk of the export; nothing if the system does not show them.
std::optional<std::uint64_t> freeDiskSpace(const std::string& exportName);

// Reports conditions that would make a migration fail, with `freeSpace` on the disk.
void checkSurroundings(const std::string& exportName, std::optional<std::uint64_t> freeSpace);
