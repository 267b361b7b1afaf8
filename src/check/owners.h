// Owners: the users and groups of an export, boiled down to a few bytes each.
//
// An export of ten million users does not fit into memory, and the entries of one user may stand
// anywhere in it. So an owner keeps digests: of its DN, of its new DN, of the lines that its record
// in the output must have, and of what decides how its entries merge. Where digests do not decide
// it, the owner is marked, and its entries are read again when the export has been read.
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "check/digest.h"
#include "entry/entry.h"

// The entries that an owner can have; a group has the first two.
enum class Part : std::uint8_t { OWN, MAPPING, USERS_ENTRY, POLICY, POLICY_DATA };
inline constexpr std::size_t partCount = 5;

// What is known of an owner beside its digests.
enum OwnerFlag : std::uint16_t {
    IS_GROUP = 1U << 0U,
    MAY_LOSE_VALUES = 1U << 1U,      // what its merge keeps cannot be told from digests
    HOLDS_COMMON_NAME = 1U << 2U,    // a name of an entry occurs in one that most entries have
    HAS_BLANKS_IN_DN = 1U << 3U,     // its own entry's DN is not found by other entries
    HAS_BLANK_IN_POLICY = 1U << 4U,  // its policy's DN has a blank that keeps it from its user
    NAMED = 1U << 5U,                // its new DN is known
    RECORD_SEEN = 1U << 6U,          // in the output
    CONTAINER_SEEN = 1U << 7U,
    POLICY_SEEN = 1U << 8U,
    BROKEN = 1U << 9U,  // what the output holds of it cannot be foretold
    SHARES_NEW_DN = 1U << 15U,
};

// The bits from this one on stand for the parts whose trouble has been told.
inline constexpr unsigned firstExplained = 10;
static_assert(1U << (firstExplained + partCount) <= SHARES_NEW_DN);

// A digest in two words, which needs less alignment than one.
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

// The attributes that entries of one owner usually have in common.
inline constexpr std::array<std::string_view, 5> commonNames = {
    "secUUID:", "secDN:", "secAuthority:", "principalName:", "secDomainId:"};

struct Owner {
    Packed64 dn;     // as other entries look for it, without regard to case
    Packed64 newDn;  // of the new DN line, without regard to case
    Packed64 names;  // a bit for how each other attribute name ends
    std::array<std::uint32_t, commonNames.size()> common = {};  // digests of these lines, or 0
    std::array<Packed40, partCount> offsets;  // one more than the offset; 0 for an entry it lacks
    Packed40 record;              // the sum of the lines of its record, DN line included
    Packed40 policy;              // the same of its policy, but for the DN line
    std::uint8_t classLines = 0;  // those of a user's own entry, by number
    std::uint16_t domain = 0;     // see numberOfDomain
    std::uint16_t flags = 0;
    std::uint16_t nameSize = 0;  // of the name in its new DN
    std::uint16_t leftOut = 0;   // bytes of its entries that its record does not take over
    std::uint32_t name = 0;      // a digest of the name, in which case counts

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
    // Counts more than it can hold as less.
    void leaveOut(std::uint64_t bytes) {
        constexpr std::uint64_t most = std::numeric_limits<std::uint16_t>::max();
        leftOut = static_cast<std::uint16_t>(std::min(leftOut + bytes, most));
    }
    void addToRecord(LineSum lines) {
        record = Packed40((lines += LineSum(record.value())).value());
    }
};

// Each byte of it counts ten million times.
static_assert(sizeof(Owner) <= 92);

using OwnerNumber = std::uint32_t;

// The number of owners, which have the numbers from 0 on, in the order in which they were added.
OwnerNumber ownerCount();
Owner& ownerAt(OwnerNumber number);

// The first owner with this digest of its DN, if there is one.
std::optional<OwnerNumber> findOwner(std::uint64_t dn);

// Adds an owner, the last one; another one of the same digest stays the one that is found.
Owner& addOwner(std::uint64_t dn);

// A digest of the name in a new DN, in which case counts.
std::uint32_t nameDigest(std::string_view name);

// Lets go of the way from DNs to owners, and finds owners by their new DNs from here on.
// `sameName` is called for each owner whose new DN is that of an earlier one.
void indexNewDns(void (*sameName)(Owner& first, Owner& second));

// The owners of a new DN, in their order; valid until this is called again.
std::span<const OwnerNumber> ownersOfNewDn(std::uint64_t newDn);

// All owners whose new DN is that of another one, too, by these DNs.
std::span<const OwnerNumber> ownersSharingNewDns();

// Forgets all owners.
void clearOwners();

// The number of a domain, such as "secAuthority=Sales"; 0 is the default domain. Returns -1 when
// there are more than 65,534 of them.
int numberOfDomain(std::string_view domain);

// The digest of its name, as digestOfLine() gives it. The name itself is not kept: hostile ones are
// as long as a line, and each user may have its own.
std::uint64_t domainDigest(int number);

// Notes the name of a domain, and counts those that differ in more than case.
void noteDomain(std::string_view name);
std::uint64_t domainCount();

// What decides how an entry merges with others of its owner.
struct Sketch {
    std::uint64_t names = 0;
    std::array<std::uint64_t, commonNames.size()> common = {};
    std::array<std::uint64_t, commonNames.size()> commonSizes = {};  // with their line feeds
    LineSum lines;       // those that are neither common nor class lines
    LineSum classLines;  // the object class lines
    std::uint32_t classLineCount = 0;
    std::uint64_t classBytes = 0;
    std::uint64_t leftOut = 0;  // bytes of lines that are left out whatever the other entries hold
    bool holdsCommonName = false;
    bool isIrregular = false;  // merging it follows rules of its own
    bool isBroken = false;     // it cannot be merged at all
};

// Adds a line that the output may hold, up to its line end. `isKept` tells whether it survives the
// filters; its names count in any case.
void sketchLine(Sketch& sketch, std::string_view line, bool isKept);

// Lines that a merge leaves out, as far as digests tell.
struct MergedLines {
    std::uint32_t equal = 0;    // lines that another entry of the owner holds as well
    std::uint32_t classes = 0;  // object classes of an entry that another leads
    std::uint64_t bytes = 0;    // of both
};

// Adds a line that no other entry takes over: what its value holds may still be taken for a name.
void sketchValue(Sketch& sketch, std::string_view line);

// Takes the sketch of an own, mapping or Users entry in, which the owner did not have.
MergedLines takeIn(Owner& owner, Part part, const Sketch& sketch);
