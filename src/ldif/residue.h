// The residue: what every pass has left in the work file.
//
// Only resource credentials may be left; the newer layout keeps them as they are, but for the
// access-control, control and identifier attributes.
#pragma once

// Copies the entries left in the work file to the end of the output and blanks each one after
// copying it. Returns without a message, with the rest not copied and the work file open, when a
// line cannot be written. Every other failure ends the process; that of the blank line behind an
// entry does so without a message.
void copyRemainingObjectsToOutputLDIFFile();
