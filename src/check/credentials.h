// The resource credentials that the output must hold.
//
// They are the last entries of an output, in the order of the export, and are compared as they
// come. From the first one on that is another than expected, all of them are sorted and searched.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

void forgetCredentials();

// Adds the next credential of the export.
void expectCredential(std::uint64_t lines, off_t offset);

// Takes one that has these lines and was not taken. Returns whether there was one.
bool takeCredential(std::uint64_t lines);

// The place in the export of one that has these lines and was taken; -1 when there is none.
off_t offsetOfTakenCredential(std::uint64_t lines);

// The places of those that were not taken.
std::vector<off_t> offsetsOfMissingCredentials();
