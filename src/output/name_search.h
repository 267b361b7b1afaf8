// The search for attribute names in the lines of an entry, one for each line of another entry.
//
// A name may match anywhere in a line, inside a longer name and in a value too, but it ends at a
// colon. So the colons of the entry are found once. If both entries are long, comparing each name
// with each colon would still take time in proportion to the product of their lengths. Then the
// texts between the colons are sorted by their characters from the last one to the first: those
// that end in a name are neighbours, and a tree of minima over them gives their lowest line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "entry/entry.h"

// The lines of an entry; a null line has been moved to the result or dropped.
using Lines = std::vector<std::string_view>;

class NameSearch {
public:
    // The max memory for each colon of the entry.
    static constexpr std::size_t bytesForColon = 16;

    // Prepares at most so many searches of `entry`, which must not move until the last of them.
    void prepare(EntryView entry, std::size_t searches);

    // The first line not yet moved to the result that holds `name` anywhere, case-insensitively;
    // the number of lines if there is none. `name` ends in its only colon. Loose on purpose: the
    // name may match inside a longer name or in a value.
    std::size_t find(const Lines& lines, std::string_view name);

private:
    // A text up to and including a colon, from the colon before or the beginning of its line on. An
    // entry may hold a colon in every second byte: offsets take half the memory of views.
    struct Part {
        std::uint32_t line;
        std::uint32_t begin;
        std::uint32_t end;
    };

    void findParts(EntryView entry);
    void sortParts();
    std::string_view textOf(const Part& part) const {
        return {text_ + part.begin, part.end - part.begin};
    }
    std::size_t firstOf(const Lines& lines, std::string_view name) const;
    std::uint32_t partAt(std::size_t node) const;
    std::uint32_t lowestOf(std::size_t begin, std::size_t end) const;
    std::uint32_t lower(std::uint32_t first, std::uint32_t second) const;
    void leaveOut(std::uint32_t part);

    const char* text_ = nullptr;  // of the entry
    std::vector<Part> parts_;
    // A binary tree in an array when the parts are sorted, else empty: children of node i are 2i
    // and 2i + 1. Each node is the part with the lowest line below it; the leaves, which come last,
    // are the parts themselves and are not stored.
    std::vector<std::uint32_t> lowest_;
};
