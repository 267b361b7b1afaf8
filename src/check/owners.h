// Owners: the users and groups of an export, summarised in a few bytes each.
//
// An export of ten million users does not fit into memory, and the entries of one user may be
// anywhere in it. So an owner stores the offsets of its entries, and digests: of its DN, of its new
// DN, and of the lines of the records that the output must have.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "check/digest.h"

// The entries that an owner can have; a group has the first two.
enum class Part : std::uint8_t { OWN, MAPPING, USERS_ENTRY, POLICY, POLICY_DATA };
inline constexpr std::size_t partCount = 5;

// Flags of an owner.
enum OwnerFlag : std::uint16_t {
    IS_GROUP = 1U << 0U,
    HAS_SPACES_IN_DN = 1U << 1U,     // its own entry's DN is not found by other entries
    HAS_SPACE_IN_POLICY = 1U << 2U,  // its policy's DN has a space that keeps it from its user
    NAMED = 1U << 3U,                // it has an entry of its own, and its new DN is known
    IN_SUBDOMAIN = 1U << 4U,         // rather than in the default domain
    RECORD_SEEN = 1U << 5U,          // in the output
    CONTAINER_SEEN = 1U << 6U,
    POLICY_SEEN = 1U << 7U,
    BROKEN = 1U << 8U,  // its record in the output cannot be predicted
    SHARES_NEW_DN = 1U << 15U,
};

// The bits from this one on mark the parts whose problem has been reported.
inline constexpr unsigned firstExplained = 9;
static_assert(1U << (firstExplained + partCount) <= SHARES_NEW_DN);

// A digest in two words, which needs less alignment than a single one.
class Packed64 {
public:
    Packed64() = default;
    explicit Packed64(std::uint64_t value)
        : low_(static_cast<std::uint32_t>(value)), high_(static_cast<std::uint32_t>(value >> 32U)) {
    }
    std::uint64_t value() const {
        return std::uint64_t{high_} << 32U | low_;
    }

private:
    std::uint32_t low_ = 0;
    std::uint32_t high_ = 0;
};

struct Owner {
    Packed64 dn;             // in the form that other entries look for, in any case
    Packed64 newDn;          // of the new DN line, in any case
    std::uint32_t name = 0;  // a digest of the name in its new DN, in which case counts
    std::uint16_t nameSize = 0;
    std::uint16_t flags = 0;
    std::array<Packed40, partCount> offsets;  // one more than the offset; 0 for an entry it lacks
    Packed40 record;     // the sum of the lines of its record, once its entries have been merged
    Packed40 container;  // the same of its policy container, but for a change type
    Packed40 policy;     // the same of its policy, with its domain instead of the DN line

    bool has(OwnerFlag flag) const {
        return (flags & flag) != 0;
    }
    void set(OwnerFlag flag) {
        flags = static_cast<std::uint16_t>(flags | flag);
    }
    bool has(Part part) const {
        return offsets[static_cast<std::size_t>(part)].value() != 0;
    }
    off_t offset(Part part) const {
        return static_cast<off_t>(offsets[static_cast<std::size_t>(part)].value()) - 1;
    }
    bool isExplained(Part part) const {
        return (flags >> (firstExplained + static_cast<unsigned>(part)) & 1U) != 0;
    }
    void explain(Part part) {
        flags = static_cast<std::uint16_t>(flags |
                                           1U << (firstExplained + static_cast<unsigned>(part)));
    }
};

// A byte more takes 10 MB with ten million owners.
static_assert(sizeof(Owner) == 64);

using OwnerNumber = std::uint32_t;

// The number of owners; they are numbered from 0 in the order in which they were added.
OwnerNumber ownerCount();
Owner& ownerAt(OwnerNumber number);

// The first owner with this digest of its DN, if there is one.
std::optional<OwnerNumber> findOwner(std::uint64_t dn);

// Adds an owner behind the others. An earlier one with the same digest remains the one found.
Owner& addOwner(std::uint64_t dn);

// A digest of the name in a new DN, in which case counts.
std::uint32_t nameDigest(std::string_view name);

// Finds owners by their new DNs from here on, and no longer by their DNs. No owner may be added
// afterwards.
void indexNewDns();

// The owners of a new DN, in their order; valid until this is called again. None before
// indexNewDns.
std::span<const OwnerNumber> ownersOfNewDn(std::uint64_t newDn);

// All owners that share their new DN with another one, sorted by these DNs.
std::span<const OwnerNumber> ownersSharingNewDns();

// Clears all owners.
void clearOwners();

// Notes the name of a domain, and counts those that differ in more than case.
void noteDomain(std::string_view name);
std::uint64_t domainCount();
