// The scan of the export: counts its contents, reports problems of single entries, and notes what
// the output must hold.
//
// The export is read once. Every entry is read, classified, adjusted and divided into lines by the
// procedures that the migration uses. Where these would end the process, the scan asks first and
// reports a finding instead. Problems of owners are known after the last entry, see
// owner_records.h.
#pragma once

#include <string>

#include "check/staged_entries.h"

// Reads the whole export. Clears owners and the inventory first, and adds to the findings.
void scanExport(const std::string& name, const ExpectedEntryTakers& takers);
