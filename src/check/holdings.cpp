#include "check/holdings.h"

#include <algorithm>
#include <bit>
#include <string_view>
#include <vector>

#include "output/name_search.h"

namespace {

// Of one entry, or the most of several.
struct EntrySize {
    std::uint32_t bytes = 0;  // as it is stored
    std::uint32_t lines = 0;
    std::uint32_t colons = 0;
};

struct Kind {
    std::uint64_t bytes = 0;
    std::uint32_t owners = 0;
    std::uint32_t largestSlot = 0;
};

struct Stretch {
    std::array<Kind, 2> kinds;  // users, and groups
    std::array<EntrySize, partCount> largest;
};

constexpr OwnerNumber maxStretches = 1024;

std::vector<Stretch> stretches;
OwnerNumber ownersEach = 1;  // of each stretch; a power of two

void raise(EntrySize& size, const EntrySize& other) {
    size.bytes = std::max(size.bytes, other.bytes);
    size.lines = std::max(size.lines, other.lines);
    size.colons = std::max(size.colons, other.colons);
}

Stretch joined(const Stretch& first, const Stretch& second) {
    Stretch both = first;
    for (std::size_t i = 0; i < both.kinds.size(); ++i) {
        both.kinds[i].bytes += second.kinds[i].bytes;
        both.kinds[i].owners += second.kinds[i].owners;
        both.kinds[i].largestSlot =
            std::max(both.kinds[i].largestSlot, second.kinds[i].largestSlot);
    }
    for (std::size_t i = 0; i < both.largest.size(); ++i) {
        raise(both.largest[i], second.largest[i]);
    }
    return both;
}

void joinStretches() {
    for (std::size_t i = 0; i < stretches.size() / 2; ++i) {
        stretches[i] = joined(stretches[2 * i], stretches[2 * i + 1]);
    }
    stretches.resize(stretches.size() / 2);
    ownersEach *= 2;
}

// What the migration keeps from merge to merge, each at its largest so far.
struct Merging {
    std::uint64_t object = 0;  // the current entry
    std::uint64_t second = 0;  // the result with an entry below cn=Users
    std::uint64_t firstLines = 0;
    std::uint64_t secondLines = 0;
    std::uint64_t colons = 0;

    std::uint64_t bytes() const {
        return object + second + sizeof(std::string_view) * (firstLines + secondLines) +
               NameSearch::bytesForColon * colons;
    }
};

void addMerge(Merging& merging, const Stretch& stretch) {
    const auto largest = [&stretch](Part part) -> const EntrySize& {
        return stretch.largest[static_cast<std::size_t>(part)];
    };
    const EntrySize& own = largest(Part::OWN);
    const EntrySize& mapping = largest(Part::MAPPING);
    const EntrySize& users = largest(Part::USERS_ENTRY);
    const std::uint64_t bytes = std::uint64_t{own.bytes} + mapping.bytes;
    const bool isMergedTwice = users.bytes != 0;
    const auto raiseTo = [](std::uint64_t& most, std::uint64_t one) { most = std::max(most, one); };
    raiseTo(merging.object, bytes);
    raiseTo(merging.second, isMergedTwice ? bytes + users.bytes : 0);
    raiseTo(merging.firstLines, std::max(own.lines, users.lines));
    raiseTo(merging.secondLines, mapping.lines + (isMergedTwice ? own.lines : 0));
    raiseTo(merging.colons, std::uint64_t{mapping.colons} + (isMergedTwice ? own.colons : 0));
}

// Where the next pass begins among the owners of one kind.
struct Place {
    std::size_t kind;
    std::size_t stretch = 0;
    std::uint64_t taken = 0;  // of its owners
};

std::uint64_t bytesOf(const Stretch& stretch, std::size_t kind, std::uint64_t owners) {
    const Kind& held = stretch.kinds[kind];
    std::uint64_t largest = held.largestSlot;
    for (const EntrySize& size : stretch.largest) {
        largest += size.bytes;
    }
    return owners == held.owners ? held.bytes : std::min(held.bytes, owners * largest);
}

// What the next `slots` owners take.
std::uint64_t takeOwners(Place& place, std::uint64_t slots, Merging& merging) {
    std::uint64_t bytes = 0;
    std::uint64_t held = 0;
    while (held < slots && place.stretch < stretches.size()) {
        const Stretch& stretch = stretches[place.stretch];
        const std::uint64_t left = stretch.kinds[place.kind].owners - place.taken;
        const std::uint64_t owners = std::min(slots - held, left);
        if (owners > 0) {
            bytes += bytesOf(stretch, place.kind, owners);
            addMerge(merging, stretch);
        }
        held += owners;
        place.taken += owners;
        if (owners == left) {
            ++place.stretch;
            place.taken = 0;
        }
    }
    // An owner is found by its hash, in a table at least half of which is free.
    constexpr std::uint64_t placeSize = 8;
    return held == 0 ? 0 : bytes + placeSize * std::bit_ceil(2 * held);
}

Stretch& stretchOf(OwnerNumber owner) {
    while (owner / ownersEach >= maxStretches) {
        joinStretches();
    }
    stretches.resize(std::max<std::size_t>(stretches.size(), owner / ownersEach + 1));
    return stretches[owner / ownersEach];
}

}  // namespace

void holdOwner(OwnerNumber owner, bool isGroup, std::uint64_t bytes) {
    Kind& kind = stretchOf(owner).kinds[isGroup ? 1 : 0];
    ++kind.owners;
    kind.bytes += bytes;
    kind.largestSlot = std::max(kind.largestSlot, static_cast<std::uint32_t>(bytes));
}

void holdEntry(OwnerNumber owner, bool isGroup, Part part, EntryView entry, std::uint64_t bytes) {
    Stretch& stretch = stretchOf(owner);
    const std::string_view text = entry.text();
    const EntrySize size = {static_cast<std::uint32_t>(StoredEntry::sizeOf(entry) + bytes),
                            static_cast<std::uint32_t>(entry.lineCount()),
                            static_cast<std::uint32_t>(std::count(text.begin(), text.end(), ':'))};
    raise(stretch.largest[static_cast<std::size_t>(part)], size);
    stretch.kinds[isGroup ? 1 : 0].bytes += size.bytes;
}

std::uint64_t maxHeld(std::uint64_t userSlots, std::uint64_t groupSlots, std::uint64_t read) {
    Merging merging;
    merging.object = read;
    std::uint64_t most = merging.bytes();
    Place users = {0};
    Place groups = {1};
    while (users.stretch < stretches.size() || groups.stretch < stretches.size()) {
        const std::uint64_t gathered =
            takeOwners(users, userSlots, merging) + takeOwners(groups, groupSlots, merging);
        most = std::max(most, gathered + merging.bytes());
    }
    return most - read;
}

void forgetHoldings() {
    stretches.clear();
    stretches.shrink_to_fit();
    ownersEach = 1;
}
