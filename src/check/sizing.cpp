#include "check/sizing.h"

#include <sys/types.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "check/findings.h"
#include "check/inventory.h"
#include "entry/object_class.h"
#include "output/name_search.h"

namespace {

// Of one entry, or the largest values of several.
struct EntrySize {
    std::uint32_t bytes = 0;  // when it is stored
    std::uint32_t lines = 0;
    std::uint32_t colons = 0;
};

// The owners of one kind.
struct Owners {
    std::uint64_t bytes = 0;
    std::uint32_t count = 0;
    std::uint32_t largestSlot = 0;
};

struct Stretch {
    std::array<Owners, 2> owners;  // users, and groups
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
    for (std::size_t i = 0; i < both.owners.size(); ++i) {
        Owners& sum = both.owners[i];
        sum.bytes += second.owners[i].bytes;
        sum.count += second.owners[i].count;
        sum.largestSlot = std::max(sum.largestSlot, second.owners[i].largestSlot);
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

// The memory that the migration keeps from merge to merge, each at its largest so far.
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
    const auto raiseTo = [](std::uint64_t& max, std::uint64_t one) { max = std::max(max, one); };
    raiseTo(merging.object, bytes);
    raiseTo(merging.second, isMergedTwice ? bytes + users.bytes : 0);
    raiseTo(merging.firstLines, std::max(own.lines, users.lines));
    raiseTo(merging.secondLines, mapping.lines + (isMergedTwice ? own.lines : 0));
    raiseTo(merging.colons, std::uint64_t{mapping.colons} + (isMergedTwice ? own.colons : 0));
}

// Where the next pass begins among the owners of one kind.
struct Position {
    std::size_t kind;  // as in Stretch::owners
    std::size_t stretch = 0;
    std::uint64_t taken = 0;  // of its owners
};

std::uint64_t bytesOf(const Stretch& stretch, std::size_t kind, std::uint64_t count) {
    const Owners& owners = stretch.owners[kind];
    std::uint64_t largest = owners.largestSlot;
    for (const EntrySize& size : stretch.largest) {
        largest += size.bytes;
    }
    return count == owners.count ? owners.bytes : std::min(owners.bytes, count * largest);
}

// The bytes that the next `slots` owners take.
std::uint64_t takeOwners(Position& position, std::uint64_t slots, Merging& merging) {
    std::uint64_t bytes = 0;
    std::uint64_t held = 0;
    while (held < slots && position.stretch < stretches.size()) {
        const Stretch& stretch = stretches[position.stretch];
        const std::uint64_t left = stretch.owners[position.kind].count - position.taken;
        const std::uint64_t count = std::min(slots - held, left);
        if (count > 0) {
            bytes += bytesOf(stretch, position.kind, count);
            addMerge(merging, stretch);
        }
        held += count;
        position.taken += count;
        if (count == left) {
            ++position.stretch;
            position.taken = 0;
        }
    }
    // An owner is found by its hash, in a table at least half of which is free.
    constexpr std::uint64_t tableSlot = 8;
    return held == 0 ? 0 : bytes + tableSlot * std::bit_ceil(2 * held);
}

Stretch& stretchOf(OwnerNumber owner) {
    while (owner / ownersEach >= maxStretches) {
        joinStretches();
    }
    stretches.resize(std::max<std::size_t>(stretches.size(), owner / ownersEach + 1));
    return stretches[owner / ownersEach];
}

std::uint64_t passesFor(std::uint64_t owners, std::uint64_t slots) {
    return (owners + slots - 1) / slots;
}

std::uint64_t entriesOf(std::initializer_list<ObjectClass> classes) {
    std::uint64_t entries = 0;
    for (const ObjectClass code : classes) {
        entries += inventory.byClass[static_cast<std::size_t>(code)];
    }
    return entries;
}

// The memory for the entries stepped over in the pass before and in this one: a pair of offsets for
// each sequence of them.
std::uint64_t memoryForPasses(std::uint64_t passes) {
    constexpr std::uint64_t pair = 2 * sizeof(off_t);
    constexpr std::uint64_t maxPairs = 65536;
    // Between two pairs there is an entry that was gathered. A pass leaves the users behind the
    // last one that it takes, as long as their entries are in the order of the owners; credentials
    // stay, and groups are gathered at their own pace.
    const std::uint64_t credentials = entriesOf({RESCREDS_CONTAINER, SECRESCREDS_OBJECTCLASS});
    const std::uint64_t entries =
        credentials + entriesOf({SECUSER_OBJECTCLASS, SECPOLICYDATA_OBJECTCLASS,
                                 SECPOLICY_OBJECTCLASS, SECGROUP_OBJECTCLASS, SECMAP_OBJECTCLASS});
    const std::uint64_t ofGroups = 2 * inventory.groups;
    const std::uint64_t pairs =
        std::min({entries / 2 + 1, 1 + inventory.turns + credentials + ofGroups, maxPairs});
    return passes < 2 ? 0 : 2 * pair * pairs;
}

}  // namespace

void holdOwner(OwnerNumber owner, bool isGroup, std::uint64_t bytes) {
    Owners& owners = stretchOf(owner).owners[isGroup ? 1 : 0];
    ++owners.count;
    owners.bytes += bytes;
    owners.largestSlot = std::max(owners.largestSlot, static_cast<std::uint32_t>(bytes));
}

void holdEntry(OwnerNumber owner, bool isGroup, Part part, EntryView entry, std::uint64_t bytes) {
    Stretch& stretch = stretchOf(owner);
    const std::string_view text = entry.text();
    const EntrySize size = {static_cast<std::uint32_t>(StoredEntry::sizeOf(entry) + bytes),
                            static_cast<std::uint32_t>(entry.lineCount()),
                            static_cast<std::uint32_t>(std::count(text.begin(), text.end(), ':'))};
    raise(stretch.largest[static_cast<std::size_t>(part)], size);
    stretch.owners[isGroup ? 1 : 0].bytes += size.bytes;
}

std::uint64_t maxHeld(std::uint64_t userSlots, std::uint64_t groupSlots, std::uint64_t read) {
    Merging merging;
    merging.object = read;
    std::uint64_t max = merging.bytes();
    Position users = {0};
    Position groups = {1};
    while (users.stretch < stretches.size() || groups.stretch < stretches.size()) {
        const std::uint64_t gathered =
            takeOwners(users, userSlots, merging) + takeOwners(groups, groupSlots, merging);
        max = std::max(max, gathered + merging.bytes());
    }
    return max - read;
}

void forgetHoldings() {
    stretches.clear();
    stretches.shrink_to_fit();
    ownersEach = 1;
}

Plan planFor(std::uint64_t users, std::uint64_t groups) {
    // A run that gathers nothing: the program, the shared libraries it uses, and its buffers.
    // tests/check/memory_test.py compares the predictions with the memory that runs take.
    constexpr std::uint64_t programMemory = 4'850'000;
    constexpr std::uint64_t heapOverhead = 25;  // one byte in so many
    Plan plan;
    // With one slot more, a second entry of one kind meets the first in any case.
    const std::uint64_t spare = total(FindingType::TWO_OF_ONE_KIND) == 0 ? 0 : 1;
    plan.users = std::max<std::uint64_t>(users != 0 ? users : inventory.users + spare, 1);
    plan.groups = std::max<std::uint64_t>(groups != 0 ? groups : inventory.groups + spare, 1);
    plan.passes =
        std::max(passesFor(inventory.users, plan.users), passesFor(inventory.groups, plan.groups));
    const std::uint64_t held = maxHeld(plan.users, plan.groups, inventory.read);
    const std::uint64_t heap = std::max(inventory.reading, inventory.read + inventory.unfolded +
                                                               held + memoryForPasses(plan.passes));
    plan.memory = programMemory + heap + heap / heapOverhead;
    return plan;
}

std::vector<Plan> plans() {
    constexpr std::uint64_t maxPasses = 64;
    std::vector<Plan> all;
    for (std::uint64_t part = 1; part <= maxPasses; part *= 2) {
        const Plan plan =
            planFor(passesFor(inventory.users, part), passesFor(inventory.groups, part));
        if (all.empty() || plan.passes > all.back().passes) {
            all.push_back(plan);
        }
    }
    return all;
}
