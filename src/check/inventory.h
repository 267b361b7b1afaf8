// What the export holds and what the rules of the migration change, in numbers.
//
// Counted while the export is read, through the procedures below.
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
    std::uint64_t outputBytes = 0;  // at most, once owners have been looked at
    std::uint64_t reading = 0;      // max memory for one entry while it is read and unfolded
    std::uint64_t read = 0;         // max memory that is kept for the entry read, from then on
    std::uint64_t unfolded = 0;     // the same for the entry unfolded
    std::uint64_t turns = 0;        // entries behind one of an owner that was first named later
    std::uint32_t lastOwner = 0;
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

// Takes lines back that turn out not to follow the rule.
void discountRule(Rule rule, std::uint64_t lines);

void countExport(std::uint64_t bytes);
void countEntry(ObjectClass kind);
void countOwner(bool isGroup);

// Counts the entry of an owner; owners are numbered in the order in which the export names them.
void countEntryOf(std::uint32_t owner);

// Counts what it takes to read an entry, and to unfold it where `unfolded` is not 0.
void countReading(std::uint64_t read, std::uint64_t unfolded);

void countWorkFile(std::uint64_t bytes);

// The output is estimated from above: an entry that is regrouped counts with everything that the
// work file holds of it, less what is then known to be left out.
void countOutput(std::uint64_t bytes);
void discountOutput(std::uint64_t bytes);

// Begins to count anew.
void forgetInventory();
