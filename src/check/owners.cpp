#include "check/owners.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <optional>
#include <utility>

#include "entry/object_class.h"
#include "entry/text.h"

namespace {

constexpr OwnerNumber ownersPerChunk = 4096;
std::vector<std::unique_ptr<Owner[]>> chunks;
OwnerNumber owners = 0;

// Owners found by one of their digests. The table is divided, so that growing it never needs more
// than a small part of it twice.
class OwnerIndex {
public:
    explicit OwnerIndex(Packed64 Owner::*key) : key_(key) {
    }

    // The number of the owner that has the digest; none when there is none.
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

// Digests of the names of domains, by number, and a table that finds the numbers: 0 is a free slot.
std::deque<std::uint64_t> domains(1);
std::vector<std::uint16_t> domainNumbers;

// The slot of a domain, or the one where it belongs.
std::uint16_t& slotOfDomain(std::uint64_t digest) {
    const std::size_t mask = domainNumbers.size() - 1;
    std::size_t at = digest & mask;
    while (domainNumbers[at] != 0 && domains[domainNumbers[at]] != digest) {
        at = (at + 1) & mask;
    }
    return domainNumbers[at];
}

void growDomains() {
    constexpr std::size_t least = 16;
    domainNumbers.assign(std::max(least, 2 * domainNumbers.size()), 0);
    for (std::size_t number = 1; number < domains.size(); ++number) {
        slotOfDomain(domains[number]) = static_cast<std::uint16_t>(number);
    }
}

// Digests of domains, in which case does not count. Now and then they are sorted, and repeated ones
// removed.
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

// What a name must not be a part of, beside the common ones: names that every entry may hold and
// that the merge treats in ways of their own.
constexpr std::array<std::string_view, 8> specialNames = {
    "objectclass:",  "dn:",       "kvo-entryuuid:", "control:",
    "aclpropagate:", "aclentry:", "acl:",           "aci:"};

// A name is told by its last letters; one that is too short for that may be part of any.
constexpr std::size_t letters = 3;

std::uint64_t bitOf(std::string_view colonPrefix) {
    if (colonPrefix.size() < letters + 1) {
        return ~std::uint64_t{0};
    }
    const std::string_view end = colonPrefix.substr(colonPrefix.size() - letters - 1, letters);
    unsigned number = 0;
    for (const char c : end) {
        number = number * 37 + static_cast<unsigned char>(toLower(c));
    }
    return std::uint64_t{1} << (number * 2654435761U >> 26U);
}

std::uint64_t bitsOfKnownNames() {
    static const std::uint64_t bits = [] {
        std::uint64_t all = 0;
        for (const std::string_view name : commonNames) {
            all |= bitOf(name);
        }
        for (const std::string_view name : specialNames) {
            all |= name.size() > letters ? bitOf(name) : 0;
        }
        return all;
    }();
    return bits;
}

// Whether looking for one of the two would find the other, in a line that is no line of its name.
bool isMistakable(std::string_view colonPrefix, bool isName) {
    if (colonPrefix.size() > letters && (bitOf(colonPrefix) & bitsOfKnownNames()) == 0) {
        return false;
    }
    const auto holdsPrefix = [colonPrefix](std::string_view name) {
        return endsIgnoringCase(name, colonPrefix);
    };
    const auto isHeld = [colonPrefix](std::string_view name) {
        return endsIgnoringCase(colonPrefix, name);
    };
    return std::any_of(commonNames.begin(), commonNames.end(), isHeld) ||
           (isName && (std::any_of(commonNames.begin(), commonNames.end(), holdsPrefix) ||
                       std::any_of(specialNames.begin(), specialNames.end(), holdsPrefix)));
}

// The heads behind the name of a line: what its value holds.
template <class Visit>
void visitValuePrefixes(std::string_view line, std::size_t nameSize, Visit visit) {
    if (line.find(':', nameSize) == std::string_view::npos) {
        return;
    }
    someColonPrefix(line, [&](std::string_view colonPrefix) {
        if (colonPrefix.size() > nameSize) {
            visit(colonPrefix);
        }
        return false;
    });
}

bool endsInLetter(std::string_view colonPrefix) {
    const char last = colonPrefix.size() < 2 ? ':' : toLower(colonPrefix[colonPrefix.size() - 2]);
    return last >= 'a' && last <= 'z';
}

// The class lines of users' own entries, which differ little from one user to the next.
struct ClassLines {
    LineSum sum;
    std::uint32_t count;
    std::uint64_t bytes;
};
std::vector<ClassLines> classLines;
constexpr std::uint8_t unknownClassLines = 255;

std::uint8_t numberOfClassLines(const Sketch& sketch) {
    const auto found =
        std::find_if(classLines.begin(), classLines.end(),
                     [&sketch](const ClassLines& lines) { return lines.sum == sketch.classLines; });
    const auto number = static_cast<std::uint8_t>(found - classLines.begin());
    if (found == classLines.end() && number != unknownClassLines) {
        classLines.push_back({sketch.classLines, sketch.classLineCount, sketch.classBytes});
    }
    return number;
}

// The class lines of the entry that leads count alone: those of the owner's own, unless there is
// one below cn=Users. Returns what is left out.
MergedLines addClassLines(Owner& owner, Part part, const Sketch& sketch) {
    if (part == Part::OWN) {
        owner.classLines = numberOfClassLines(sketch);
        if (owner.classLines == unknownClassLines) {
            owner.set(MAY_LOSE_VALUES);
        }
    }
    const bool isLed = part == Part::MAPPING || (part == Part::OWN && owner.has(Part::USERS_ENTRY));
    if (isLed) {
        return {0, sketch.classLineCount, sketch.classBytes};
    }
    owner.addToRecord(sketch.classLines);
    if (part == Part::OWN || !owner.has(Part::OWN) || owner.classLines == unknownClassLines) {
        return {};
    }
    const ClassLines& own = classLines[owner.classLines];
    owner.addToRecord(LineSum() -= own.sum);
    return {0, own.count, own.bytes};
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

std::uint32_t packedLine(std::uint64_t line) {
    const auto packed = static_cast<std::uint32_t>(line >> 32U);
    return packed == 0 ? 1 : packed;
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

void indexNewDns(void (*sameName)(Owner& first, Owner& second)) {
    ownersByDn.clear();
    for (OwnerNumber i = 0; i < owners; ++i) {
        Owner& owner = ownerAt(i);
        if (!owner.has(NAMED)) {
            continue;
        }
        if (const std::optional<OwnerNumber> first = ownersByNewDn.find(owner.newDn.value())) {
            ownerAt(*first).set(SHARES_NEW_DN);
            owner.set(SHARES_NEW_DN);
            sameName(ownerAt(*first), owner);
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
    classLines.clear();
    domains.resize(1);
    domainNumbers.clear();
    domainsNoted.clear();
}

int numberOfDomain(std::string_view domain) {
    constexpr std::size_t most = 65535;
    const std::uint64_t digest = digestOfLine(domain);
    if (4 * domains.size() > 3 * domainNumbers.size()) {
        growDomains();
    }
    std::uint16_t& number = slotOfDomain(digest);
    if (number != 0) {
        return number;
    }
    if (domains.size() == most) {
        return -1;
    }
    number = static_cast<std::uint16_t>(domains.size());
    domains.push_back(digest);
    return number;
}

std::uint64_t domainDigest(int number) {
    return domains[static_cast<std::size_t>(number)];
}

void sketchValue(Sketch& sketch, std::string_view line) {
    visitValuePrefixes(line, line.find(':') + 1, [&sketch](std::string_view colonPrefix) {
        sketch.isIrregular = sketch.isIrregular || isObjectClassName(colonPrefix);
        if (endsInLetter(colonPrefix)) {
            sketch.names |= bitOf(colonPrefix);
            sketch.holdsCommonName = sketch.holdsCommonName || isMistakable(colonPrefix, false);
        }
    });
}

void sketchLine(Sketch& sketch, std::string_view line, bool isKept) {
    const std::string_view name = line.substr(0, line.find(':') + 1);
    sketchValue(sketch, line);
    const auto common =
        std::find_if(commonNames.begin(), commonNames.end(),
                     [name](std::string_view one) { return equalIgnoringCase(one, name); });
    if (common == commonNames.end()) {
        sketch.names |= bitOf(name);
        sketch.holdsCommonName = sketch.holdsCommonName || isMistakable(name, true);
        sketch.isIrregular = sketch.isIrregular || !endsInLetter(name);
        if (isKept) {
            sketch.lines += LineSum(digestOfLine(line));
        }
        return;
    }
    std::uint64_t& offset = sketch.common[static_cast<std::size_t>(common - commonNames.begin())];
    sketch.isIrregular = sketch.isIrregular || offset != 0 || !isKept;
    offset = digestOfLine(line);
    sketch.commonSizes[static_cast<std::size_t>(&offset - sketch.common.data())] = line.size() + 1;
}

MergedLines takeIn(Owner& owner, Part part, const Sketch& sketch) {
    MergedLines merged = addClassLines(owner, part, sketch);
    const bool mistakable =
        (owner.has(HOLDS_COMMON_NAME) || sketch.holdsCommonName) &&
        (owner.has(Part::OWN) || owner.has(Part::MAPPING) || owner.has(Part::USERS_ENTRY));
    if (mistakable || sketch.isIrregular || (owner.names.value() & sketch.names) != 0) {
        owner.set(MAY_LOSE_VALUES);
    }
    if (sketch.isBroken) {
        owner.set(BROKEN);
    }
    if (sketch.holdsCommonName) {
        owner.set(HOLDS_COMMON_NAME);
    }
    owner.names = Packed64(owner.names.value() | sketch.names);
    owner.addToRecord(sketch.lines);
    for (std::size_t i = 0; i < commonNames.size(); ++i) {
        const std::uint64_t line = sketch.common[i];
        if (line == 0) {
            continue;
        }
        if (owner.common[i] == 0) {
            owner.common[i] = packedLine(line);
            owner.addToRecord(LineSum(line));
        } else if (owner.common[i] == packedLine(line)) {
            ++merged.equal;
            merged.bytes += sketch.commonSizes[i];
        } else {
            owner.set(MAY_LOSE_VALUES);
        }
    }
    return merged;
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
