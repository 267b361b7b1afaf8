// Entries of the export that go to the work file, and come back from it.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string_view>

#include "entry/entry.h"

// Takes in the current entry, whose class is known and whose attributes stand on a line each in
// `attributes`, as the work file would give it back. Changes `object`.
void regroup(std::string_view attributes);

// Whether an entry that was taken in has a change type, so that policy containers get one.
bool isChangetypeExpected();

// The entry at `place` of the export as the work file would give it back; nothing when it breaks
// apart there. Changes `object`.
std::optional<Entry> stagedEntryAt(off_t offset);

// Begins anew.
void forgetRegroupedEntries();
