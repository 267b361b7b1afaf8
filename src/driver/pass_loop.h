// The passes over the work file.
//
// Each pass takes what fits into the object cache out of the work file, steps over the rest, and
// then writes the cache out. The next pass starts at the first entry stepped over. The last pass
// is the one that reads nothing but resource credentials, which stay where they are.
#pragma once

// Whether the current pass has read an entry that is no resource credential. Written by the
// passes alone; valid after each of them.
extern bool atLeastOneObjectProcessed;

// Runs all passes. Every failure ends the process.
void makePasses();
