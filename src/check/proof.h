// The proof after a migration: whether the output holds what the export demands, and nothing else.
//
// Export and output are read side by side, once: entries that pass through stand at the head of the
// output in the order of the export, and are compared as they come. The rebuilt ones behind them
// are held against the owners, and the resource credentials against what the export has of them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

// What an entry of the output can be.
enum class Content : std::uint8_t { PASSED, USER, CONTAINER, POLICY, GROUP, CREDENTIAL, END };

struct Balance {
    std::uint64_t expected = 0;  // by the export
    std::uint64_t found = 0;     // in the output, as demanded
};
extern std::array<Balance, static_cast<std::size_t>(Content::END)> balances;

// Reads both files and adds what differs to the findings.
void compareOutput(const std::string& exportName, const std::string& outputName);
