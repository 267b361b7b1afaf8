// Entries that one file has and the other has not shown yet, by digests of their lines.
//
// The table is empty as long as the two files agree, and holds every entry of one of them if they
// have nothing in common. An entry takes 16 bytes, and 4 to 8 more in the index. Any number of
// entries may be equal; they cost no more than others.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <deque>
#include <vector>

#include "check/digest.h"

class EntryTable {
public:
    void add(std::uint64_t lines, off_t offset);

    // Removes an entry with these lines. Returns its offset, or -1 if there is none.
    off_t take(std::uint64_t lines);

    bool empty() const {
        return used_ == 0;
    }

    // The offsets of all entries, in their order.
    std::vector<off_t> offsets() const;

private:
    // Entries whose digests end alike are a chain: each names the next by its number plus one.
    struct Node {
        Packed40 lines;
        Packed40 offset;
        std::uint32_t next = 0;
    };

    std::uint32_t& headOf(const Packed40& lines) {
        return heads_[lines.value() & (heads_.size() - 1)];
    }
    void grow();

    std::deque<Node> nodes_;
    std::vector<std::uint32_t> heads_;  // a power of two of them, or none
    std::uint32_t free_ = 0;            // the chain of nodes that hold nothing
    std::size_t used_ = 0;
};
