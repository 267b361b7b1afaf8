// The one reading of the export: what it holds, what is wrong with single entries, and what the
// output must have.
//
// Every entry is read, classified, adjusted and divided into lines by the very procedures that the
// migration uses. Where these would end the process, the scan asks first and tells a finding
// instead. What is wrong with owners shows when the export has been read, see owner_records.h.
#pragma once

#include <string>

#include "check/staged_entries.h"

// Reads the whole export. Owners and the inventory are forgotten first, findings added to those
// there are.
void scanExport(const std::string& name, const ExpectedEntryTakers& takers);
