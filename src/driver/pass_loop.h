// The passes over the work file.
//
// Each pass moves entries from the work file into the object cache until that is full, steps over
// the others, and then writes the cache out. The next pass starts at the first entry stepped over.
// The last pass reads nothing but resource credentials, which stay in the work file.
#pragma once

// Whether the current pass has read an entry that is no resource credential. Written by the
// passes alone; valid after each of them.
extern bool atLeastOneObjectProcessed;

// Runs all passes. Every failure ends the process.
void makePasses();
