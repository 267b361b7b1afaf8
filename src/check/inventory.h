// What the export holds, and what the rules of the migration do to it, in numbers.
//
// Counted while the export is read, through the procedures below.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "entry/object_class.h"

struct Inventory {
    std::uint64_t bytes = 0;                     // of the export
    std::uint64_t entries = 0;                   // in it
    std::array<std::uint64_t, 10> byClass = {};  // by object class code
    std::uint64_t users = 0;                     // owners of user entries, there or missing
    std::uint64_t groups = 0;
    std::uint64_t workFileBytes = 0;
    std::uint64_t outputBytes = 0;  // at most, once owners have been looked at
    std::uint64_t userMemory = 0;   // what a migration holds of all users and their entries
    std::uint64_t groupMemory = 0;
};
extern Inventory inventory;

// What the migration leaves out or changes on purpose, in lines.
enum class Rule : std::uint8_t {
    ENTRY_IDENTIFIERS,
    ACCESS_CONTROL,
    FILTERED_WORDS,
    POLICY_DATA,
    OLD_NAMES,
    OLD_CLASSES,
    EQUAL_LINES,
    REPLACED_LINES,
    NORMALIZED,
    VERSIONS,
    RESPELLED,
    DOMAIN_IDS_ADDED,
    DATES_ADDED,
    CONTAINERS_ADDED,
    END
};
extern std::array<std::uint64_t, static_cast<std::size_t>(Rule::END)> ruleLines;

void countRule(Rule rule, std::uint64_t lines = 1);

// Takes back what has been counted before something was known better.
void discountRule(Rule rule, std::uint64_t lines);

void countExport(std::uint64_t bytes);
void countEntry(ObjectClass kind);
void countOwner(bool isGroup);
void countMemory(bool isGroup, std::uint64_t bytes);
void countWorkFile(std::uint64_t bytes);

// The output is counted from above: an entry that is regrouped first with everything that the work
// file holds of it, less what is then known to be left out.
void countOutput(std::uint64_t bytes);
void discountOutput(std::uint64_t bytes);

// Begins to count anew.
void forgetInventory();
