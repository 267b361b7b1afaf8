// The records of owners: made once the whole export has been read. Reports entries that lack their
// owner or their counterpart, and values that the merge of an owner loses.
//
// The entries of an owner may be anywhere in the export, so they are read again and merged as the
// migration merges them. Owners are taken in the order in which the export first names them: if the
// entries of one owner, or those of one kind, are together, the export is read forwards.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/owners.h"

// Reports entries whose owner or counterpart is missing.
void reportLoneEntries();

// Merges the entries of every owner that has both: completes its record and container, counts the
// bytes that the output will hold of it, and reports values that the merge loses.
void mergeOwners();

// Reports owners with the new DN of an earlier one. To be called after indexNewDns.
void reportSharedNewDns();

// The record that the output must hold for an owner.
struct ExpectedRecord {
    std::vector<std::string_view> lines;  // the new DN line first
    std::set<std::string> names;          // those of attributes that may be shown
};

// Nothing if the owner's entries cannot be merged. The lines are valid until the current entry
// changes or this is called again.
std::optional<ExpectedRecord> expectedRecord(const Owner& owner);
