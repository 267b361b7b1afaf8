// Merging two entries of one owner into one.
//
// The lines of the first entry lead, in their order; where the second has an attribute of the
// same name, the second's line takes the place, but for secAuthority. Each line of the first uses
// up at most one of the second, so that values of a multi-valued attribute pair off in order.
// What is left of the second follows. Object classes come from the first alone; identifier,
// access-control and control attributes from neither.
#pragma once

class Entry;

// Leaves the merged entry in `object`, whose old lines are released; neither input may be
// `object`. Ends the process when an input is empty or a line has no colon.
void mergeObjects(const Entry& inputObject1, const Entry& inputObject2);
