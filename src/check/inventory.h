// The inventory: counts of the entries in the export, and of the lines that the rules of the
// migration drop or change.
//
// It is counted while the export is read, by the procedures below.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "entry/object_class.h"

struct Inventory {
    std::uint64_t bytes = 0;                                    // of the export
    std::uint64_t entries = 0;                                  // in it
    std::array<std::uint64_t, classTable.size()> byClass = {};  // by object class code
    std::uint64_t users = 0;  // owners of user entries, there or missing
    std::uint64_t groups = 0;
    std::uint64_t workFileBytes = 0;
    std::uint64_t outputBytes = 0;  // at most, once owners have been merged
    std::uint64_t reading = 0;      // max memory for one entry while it is read and unfolded
    std::uint64_t read = 0;         // max memory that is kept for the entry read, from then on
    std::uint64_t unfolded = 0;     // the same for the entry unfolded
    std::uint64_t turns = 0;        // entries behind one of an owner that was first named later
    std::uint32_t lastOwner = 0;
};
extern Inventory inventory;

// Lines that the migration drops or changes on purpose.
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

void countExport(std::uint64_t bytes);
void countEntry(ObjectClass kind);
void countOwner(bool isGroup);

// Counts the entry of an owner; owners are numbered in the order in which the export names them.
void countEntryOf(std::uint32_t owner);

// Counts the memory for reading an entry, and for unfolding it if `unfolded` is not 0.
void countReading(std::uint64_t read, std::uint64_t unfolded);

void countWorkFile(std::uint64_t bytes);

// The output is never underestimated: a regrouped entry counts with all its bytes in the work file,
// less those that are then known to be dropped.
void countOutput(std::uint64_t bytes);
void discountOutput(std::uint64_t bytes);

// Resets all counts.
void forgetInventory();
