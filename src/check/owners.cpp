#include "check/owners.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr OwnerNumber ownersPerChunk = 4096;
std::vector<std::unique_ptr<Owner[]>> chunks;
OwnerNumber owners = 0;

// Owners found by one of their digests. The table is divided into shards, so that only a small part
// of it is in memory twice while it grows.
class OwnerIndex {
public:
    explicit OwnerIndex(Packed64 Owner::*key) : key_(key) {
    }

    // The number of the owner that has the digest, if there is one.
    std::optional<OwnerNumber> find(std::uint64_t digest) {
        Shard& shard = shardOf(digest);
        if (shard.slots.empty()) {
            return std::nullopt;
        }
        for (std::size_t at = firstSlot(shard, digest);; at = (at + 1) % shard.slots.size()) {
            const std::uint64_t slot = shard.slots[at].value();
            if (slot == 0) {
                return std::nullopt;
            }
            const OwnerNumber number = static_cast<OwnerNumber>(slot) - 1;
            if (slot >> 32U == tagOf(digest) && (ownerAt(number).*key_).value() == digest) {
                return number;
            }
        }
    }

    void add(OwnerNumber number) {
        Shard& shard = shardOf((ownerAt(number).*key_).value());
        if ((shard.used + 1) * 5 > shard.slots.size() * 4) {
            grow(shard);
        }
        put(shard, number);
    }

    void clear() {
        for (Shard& shard : shards_) {
            shard = Shard();
        }
    }

private:
    // A slot holds a number, one more than the owner's, and eight bits of the digest.
    struct Shard {
        std::vector<Packed40> slots;
        std::size_t used = 0;
    };

    static std::uint64_t tagOf(std::uint64_t digest) {
        return digest & 0xffU;
    }
    Shard& shardOf(std::uint64_t digest) {
        return shards_[digest >> 8U & (shards_.size() - 1)];
    }
    static std::size_t firstSlot(const Shard& shard, std::uint64_t digest) {
        return (digest >> 16U) % shard.slots.size();
    }

    void put(Shard& shard, OwnerNumber number) {
        const std::uint64_t digest = (ownerAt(number).*key_).value();
        std::size_t at = firstSlot(shard, digest);
        while (shard.slots[at].value() != 0) {
            at = (at + 1) % shard.slots.size();
        }
        shard.slots[at] = Packed40(tagOf(digest) << 32U | (std::uint64_t{number} + 1));
        ++shard.used;
    }

    void grow(Shard& shard) {
        constexpr std::size_t least = 16;
        Shard larger;
        larger.slots.resize(std::max(least, shard.slots.size() * 5 / 4));
        for (const Packed40 slot : shard.slots) {
            if (slot.value() != 0) {
                put(larger, static_cast<OwnerNumber>(slot.value()) - 1);
            }
        }
        shard = std::move(larger);
    }

    Packed64 Owner::*key_;
    std::array<Shard, 256> shards_;
};

OwnerIndex ownersByDn(&Owner::dn);
OwnerIndex ownersByNewDn(&Owner::newDn);
std::vector<OwnerNumber> sharingNewDn;  // by their new DNs, then by their numbers

// Digests of domains, case-insensitive. From time to time they are sorted and duplicates removed.
std::vector<Packed40> domainsNoted;
std::string lastDomainNoted;

void removeRepeatedDomains() {
    const auto precedes = [](const Packed40& first, const Packed40& second) {
        return first.value() < second.value();
    };
    const auto repeats = [](const Packed40& first, const Packed40& second) {
        return first.value() == second.value();
    };
    std::sort(domainsNoted.begin(), domainsNoted.end(), precedes);
    domainsNoted.erase(std::unique(domainsNoted.begin(), domainsNoted.end(), repeats),
                       domainsNoted.end());
}

void gatherSharing() {
    const auto visit = [](auto take) {
        for (OwnerNumber i = 0; i < owners; ++i) {
            if (ownerAt(i).has(SHARES_NEW_DN)) {
                take(i);
            }
        }
    };
    std::size_t count = 0;
    visit([&count](OwnerNumber) { ++count; });
    sharingNewDn.reserve(count);
    visit([](OwnerNumber number) { sharingNewDn.push_back(number); });
}

std::uint64_t newDnOf(OwnerNumber number) {
    return ownerAt(number).newDn.value();
}

}  // namespace

OwnerNumber ownerCount() {
    return owners;
}

Owner& ownerAt(OwnerNumber number) {
    return chunks[number / ownersPerChunk][number % ownersPerChunk];
}

std::optional<OwnerNumber> findOwner(std::uint64_t dn) {
    return ownersByDn.find(dn);
}

Owner& addOwner(std::uint64_t dn) {
    if (owners % ownersPerChunk == 0) {
        chunks.push_back(std::make_unique<Owner[]>(ownersPerChunk));
    }
    const OwnerNumber number = owners++;
    Owner& owner = ownerAt(number);
    owner.dn = Packed64(dn);
    if (!ownersByDn.find(dn)) {
        ownersByDn.add(number);
    }
    return owner;
}

std::uint32_t nameDigest(std::string_view name) {
    return static_cast<std::uint32_t>(digestOfLine(name) >> 32U);
}

void indexNewDns() {
    ownersByDn.clear();
    ownersByNewDn.clear();
    sharingNewDn.clear();
    for (OwnerNumber i = 0; i < owners; ++i) {
        Owner& owner = ownerAt(i);
        if (!owner.has(NAMED)) {
            continue;
        }
        if (const std::optional<OwnerNumber> first = ownersByNewDn.find(owner.newDn.value())) {
            ownerAt(*first).set(SHARES_NEW_DN);
            owner.set(SHARES_NEW_DN);
        } else {
            ownersByNewDn.add(i);
        }
    }
    gatherSharing();
    std::sort(sharingNewDn.begin(), sharingNewDn.end(), [](OwnerNumber one, OwnerNumber other) {
        return std::pair(newDnOf(one), one) < std::pair(newDnOf(other), other);
    });
}

std::span<const OwnerNumber> ownersOfNewDn(std::uint64_t newDn) {
    const auto from = std::partition_point(sharingNewDn.begin(), sharingNewDn.end(),
                                           [=](OwnerNumber one) { return newDnOf(one) < newDn; });
    const auto to = std::partition_point(from, sharingNewDn.end(),
                                         [=](OwnerNumber one) { return newDnOf(one) == newDn; });
    if (from != to) {
        return {from, to};
    }
    static OwnerNumber only;
    const std::optional<OwnerNumber> found = ownersByNewDn.find(newDn);
    only = found.value_or(0);
    return {&only, found ? 1U : 0U};
}

std::span<const OwnerNumber> ownersSharingNewDns() {
    return sharingNewDn;
}

void clearOwners() {
    ownersByDn.clear();
    ownersByNewDn.clear();
    sharingNewDn.clear();
    chunks.clear();
    owners = 0;
    domainsNoted.clear();
}

void noteDomain(std::string_view name) {
    if (lastDomainNoted == name && !domainsNoted.empty()) {
        return;
    }
    lastDomainNoted = name;
    if (domainsNoted.size() == domainsNoted.capacity()) {
        constexpr std::size_t least = 1024;
        removeRepeatedDomains();
        domainsNoted.reserve(std::max(least, 2 * domainsNoted.size()));
    }
    domainsNoted.emplace_back(digestIgnoringCase(name));
}

std::uint64_t domainCount() {
    removeRepeatedDomains();
    return domainsNoted.size();
}
