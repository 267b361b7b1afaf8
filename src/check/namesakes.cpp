#include "check/namesakes.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <tuple>

void Namesakes::gather(Part source, OwnerFlag seen, std::uint64_t (*keyOf)(const Owner& owner)) {
    seen_ = seen;
    keyOf_ = keyOf;
    namesakes_.clear();
    const std::span<const OwnerNumber> owners = ownersSharingNewDns();
    const auto isConcerned = [source](OwnerNumber number) { return ownerAt(number).has(source); };
    namesakes_.reserve(
        static_cast<std::size_t>(std::count_if(owners.begin(), owners.end(), isConcerned)));
    for (const OwnerNumber number : owners) {
        if (isConcerned(number)) {
            namesakes_.push_back({number, 0});
        }
    }
    std::sort(namesakes_.begin(), namesakes_.end(),
              [keyOf](const Namesake& one, const Namesake& other) {
                  const Owner& first = ownerAt(one.owner);
                  const Owner& second = ownerAt(other.owner);
                  return std::tuple(first.newDn.value(), keyOf(first), one.owner) <
                         std::tuple(second.newDn.value(), keyOf(second), other.owner);
              });
    for (std::uint32_t i = 0; i < namesakes_.size(); ++i) {
        namesakes_[i].next = i + 1;
    }
}

std::size_t Namesakes::firstNotSeen(std::size_t index) {
    std::size_t found = index;
    while (found < namesakes_.size() && ownerOf(found).has(seen_)) {
        found = namesakes_[found].next;
    }
    while (index != found) {
        const std::size_t next = namesakes_[index].next;
        namesakes_[index].next = static_cast<std::uint32_t>(found);
        index = next;
    }
    return found;
}

Owner* Namesakes::choose(std::uint64_t newDn, std::optional<std::uint64_t> key) {
    const auto indexOf = [this](auto isBefore) {
        const auto found = std::partition_point(
            namesakes_.begin(), namesakes_.end(),
            [&isBefore](const Namesake& one) { return isBefore(ownerAt(one.owner)); });
        return static_cast<std::size_t>(found - namesakes_.begin());
    };
    const auto hasDn = [this, newDn](std::size_t index) {
        return index < namesakes_.size() && ownerOf(index).newDn.value() == newDn;
    };
    const std::size_t first =
        indexOf([newDn](const Owner& owner) { return owner.newDn.value() < newDn; });
    if (!hasDn(first)) {
        return nullptr;
    }
    if (key) {
        const std::size_t right = firstNotSeen(indexOf([this, newDn, key](const Owner& owner) {
            return std::tuple(owner.newDn.value(), keyOf_(owner)) < std::tuple(newDn, *key);
        }));
        if (hasDn(right) && keyOf_(ownerOf(right)) == *key) {
            return &ownerOf(right);
        }
    }
    const std::size_t left = firstNotSeen(first);
    return &ownerOf(hasDn(left) ? left : first);
}
