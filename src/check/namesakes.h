// Owners that share their new DN with others, and which of them the output has shown.
//
// An entry of the output with such a DN belongs to the owner whose key it has. There may be any
// number of owners with one DN, so they are sorted by their keys, and those seen are skipped.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "check/owners.h"

class Namesakes {
public:
    // Takes in all owners that share their new DN and have the entry `source`. `keyOf` gives the
    // key that an entry must have to belong to an owner, `seen` marks owners with an entry found.
    void gather(Part source, OwnerFlag seen, std::uint64_t (*keyOf)(const Owner& owner));

    // The first owner of this DN that is not seen and has this key; without one, the first that is
    // not seen, or else the first of all. Null if no owner has this DN.
    Owner* choose(std::uint64_t newDn, std::optional<std::uint64_t> key);

private:
    struct Namesake {
        OwnerNumber owner;
        std::uint32_t next;  // the index of a later one; all between the two are seen
    };

    Owner& ownerOf(std::size_t index) const {
        return ownerAt(namesakes_[index].owner);
    }
    std::size_t firstNotSeen(std::size_t index);

    std::vector<Namesake> namesakes_;  // by their DNs, then their keys, then their numbers
    OwnerFlag seen_ = RECORD_SEEN;
    std::uint64_t (*keyOf_)(const Owner& owner) = nullptr;
};
