// Merging two entries of one owner into one.
//
// The lines of the first entry come first, in their order. If a line of the second holds the same
// attribute name, it replaces that of the first, except for secAuthority. The name is searched for
// loosely, inside longer names and in values too. Each line of the first uses up at most one of the
// second, so that the values of a multi-valued attribute are paired in order. The remaining lines
// of the second follow. Lines of object classes, identifiers, access control and controls are not
// merged: only the first entry's object classes stay.
#pragma once

#include <string_view>

#include "entry/entry.h"

// Leaves the merged entry in `object`, whose old lines are released; neither input may be
// `object`. Ends the process if an input is empty or a line has no colon.
void mergeObjects(EntryView inputObject1, EntryView inputObject2);

// The name by which a line is merged, its colon included; empty if the line has no colon, so that
// it cannot be merged.
inline std::string_view mergedName(std::string_view line) {
    return line.substr(0, line.find(':') + 1);
}

// Whether a line of this name is a DN, which the first entry keeps.
bool isDnName(std::string_view name);
