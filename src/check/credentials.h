// The resource credentials that the output must hold.
//
// They are the last entries of an output, in the order of the export, and are compared one by one.
// After the first one that is not the expected one, all of them are sorted and searched.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

void forgetCredentials();

// Adds the next credential of the export.
void expectCredential(std::uint64_t lines, off_t offset);

// Takes a credential with these lines that was not taken yet. Returns whether there was one.
bool takeCredential(std::uint64_t lines);

// The offset in the export of a credential with these lines that was taken; -1 if there is none.
off_t offsetOfTakenCredential(std::uint64_t lines);

// The offsets of the credentials that were not taken.
std::vector<off_t> offsetsOfMissingCredentials();
