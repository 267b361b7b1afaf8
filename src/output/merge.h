// Merging two entries of one owner into one.
//
// The lines of the first entry lead, in their order; where a line of the second holds the same
// attribute name, it takes the place of the first's, but for secAuthority. The name is looked for
// loosely, inside longer names and in values too. Each line of the first uses up at most one of
// the second, so that values of a multi-valued attribute pair off in order. What is left of the
// second follows. Lines that are named for an object class, an identifier, access control or a
// control are not merged: only the first entry's object classes stay.
#pragma once

#include <string_view>

#include "entry/entry.h"

// Leaves the merged entry in `object`, whose old lines are released; neither input may be
// `object`. Ends the process when an input is empty or a line has no colon.
void mergeObjects(EntryView inputObject1, EntryView inputObject2);

// Whether a line of this name, its colon included, is a DN, which the first entry keeps.
bool isDnName(std::string_view name);
