// The output that is compared with its export: reading it, counting its records, reporting how it
// differs.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "check/findings.h"
#include "check/output_reader.h"

// The kinds of entries in the output.
enum class RecordKind : std::uint8_t { PASSED, USER, CONTAINER, POLICY, GROUP, CREDENTIAL, END };

struct RecordCount {
    std::uint64_t expected = 0;  // by the export
    std::uint64_t found = 0;     // in the output, as expected
};
extern std::array<RecordCount, static_cast<std::size_t>(RecordKind::END)> recordCounts;

RecordCount& countOf(RecordKind kind);

// Opens the output and resets the counts.
void openComparedOutput(const std::string& name);

extern OutputReader comparedOutput;

// Reads the next entry of the output, and reports one that no empty line follows. Returns false at
// the end of the file.
bool readOutputEntry(OutputEntry& entry);

// Adds a finding at an offset of the export, of the output, or both.
inline constexpr off_t noOffset = -1;
void reportDifference(FindingType type, off_t exportOffset, off_t outputOffset,
                      const std::string& effect);
