// The records of owners, once the whole export has been read: entries that lack their owner or
// their counterpart, what each owner's record is, and what its merge loses.
//
// The entries of an owner may be anywhere in the export, so they are read again and merged as the
// migration merges them. Owners are taken in the order in which the export first names them: where
// entries of one owner, or entries of one kind, are together, reading goes forward.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/owners.h"

// Reports entries whose owner, or whose counterpart, is not there.
void reportLoneEntries();

// Merges the entries of every owner that has them: completes its record and container, counts what
// the output will hold of it, and reports what the merge loses.
void mergeOwners();

// Reports owners whose new DN an earlier one has, once new DNs have their index.
void reportSharedNewDns();

// What the output must hold of an owner.
struct ExpectedRecord {
    std::vector<std::string_view> lines;  // the new DN line first
    std::set<std::string> names;          // those of attributes that may be shown
};

// Nothing when the owner's entries cannot be merged. Its lines are valid until the current entry
// changes or this is called again.
std::optional<ExpectedRecord> expectedRecord(const Owner& owner);
