// Owners that share their new DN with others, and what of them the output has shown.
//
// An entry of the output that has such a DN belongs to the owner that it is right for. There may be
// any number of them, so that they are sorted by what decides it, and those seen are skipped.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "check/owners.h"

class Namesakes {
public:
    // Takes in all owners that share their new DN and have the entry `source`. `keyOf` gives what
    // an entry must show to be right for an owner, `seen` marks those that one has been found for.
    void gather(Part source, OwnerFlag seen, std::uint64_t (*keyOf)(const Owner& owner));

    // The first owner of this DN that is not seen and has this key; when there is none, the first
    // one that is not seen, or the first one of all. Null when none has this DN.
    Owner* choose(std::uint64_t newDn, std::optional<std::uint64_t> key);

private:
    struct Namesake {
        OwnerNumber owner;
        std::uint32_t next;  // the index of one behind it; all between the two are seen
    };

    Owner& ownerOf(std::size_t index) const {
        return ownerAt(namesakes_[index].owner);
    }
    std::size_t firstNotSeen(std::size_t index);

    std::vector<Namesake> namesakes_;  // by their DNs, then their keys, then their numbers
    OwnerFlag seen_ = RECORD_SEEN;
    std::uint64_t (*keyOf_)(const Owner& owner) = nullptr;
};
