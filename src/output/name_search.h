// The search for attribute names in the lines of an entry, one for each line of another entry.
//
// A name may match anywhere in a line, inside a longer name and in a value too, but it ends at a
// colon. Finding the colons once makes the merge five times faster. Comparing each name with each
// colon would still take seconds for two entries of 32,000 lines. So when both entries are long,
// the texts between the colons are sorted by their characters from the last one to the first: those
// that end in a name are neighbours then, and a tree of minima over them gives their lowest line.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "entry/entry.h"

// The lines of an entry; a null line has been handed on to the result or dropped.
using Lines = std::vector<std::string_view>;

// A line up to one of its colons, that colon included. The first one is its attribute name.
struct Head {
    std::size_t line;
    std::string_view text;
};
using Heads = std::vector<Head>;

// Every head of every line.
void findHeads(EntryView entry, const Lines& lines, Heads& heads);

class NameSearch {
public:
    // Makes ready for at most so many searches of an entry with these heads.
    void prepare(const Heads& heads, std::size_t searches);

    // The first line not yet handed on that holds `name` anywhere, case-insensitively; the number
    // of lines when there is none. `name` ends in its only colon. Loose on purpose: the name may
    // match inside a longer name or in a value.
    std::size_t find(const Lines& lines, const Heads& heads, std::string_view name);

private:
    std::size_t lowestOf(std::size_t begin, std::size_t end) const;
    std::size_t lower(std::size_t first, std::size_t second) const;
    void leaveOut(std::size_t part);

    // The sorted texts between colons, the colon behind each included; empty when every head is
    // looked at instead.
    Heads parts_;
    // A binary tree in an array: children of node i are 2i and 2i + 1, the leaves come last. Each
    // node is the part with the lowest line below it.
    std::vector<std::size_t> lowest_;
};
