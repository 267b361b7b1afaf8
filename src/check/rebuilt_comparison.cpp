#include "check/rebuilt_comparison.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "check/compared_output.h"
#include "check/digest.h"
#include "check/namesakes.h"
#include "check/owner_records.h"
#include "check/owners.h"
#include "driver/diagnostics/format.h"
#include "ldif/entry_reader.h"
#include "output/record.h"

namespace {

// The names of attributes that `lines` has more often than the other list. Shows `names` alone: any
// other text may be the rest of a value that was split.
std::string namesOnlyIn(std::vector<std::string_view> lines, std::vector<std::string_view> others,
                        const std::set<std::string>& names) {
    std::sort(lines.begin(), lines.end());
    std::sort(others.begin(), others.end());
    std::vector<std::string_view> left;
    std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(),
                        std::back_inserter(left));
    std::string list;
    std::string last;
    for (const std::string_view line : left) {
        const std::string found = shownName(line);
        const std::string name = names.contains(found) ? found : std::string(unnamed);
        if (name != last) {
            list += format("%s%s", list.empty() ? "" : ", ", name);
        }
        last = name;
    }
    return list;
}

// The first lines of `text`, at most `max`.
std::vector<std::string_view> linesOf(std::string_view text, std::size_t max) {
    std::vector<std::string_view> lines;
    while (!text.empty() && lines.size() < max) {
        const std::size_t size = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, size));
        text.remove_prefix(std::min(size + 1, text.size()));
    }
    return lines;
}

// How the entry of the output just read differs. Names attributes, never values: these may be
// secrets.
std::string difference(const Owner& owner, const OutputEntry& entry) {
    const std::optional<ExpectedRecord> expected = expectedRecord(owner);
    if (!expected) {
        return "its lines are not those expected";
    }
    constexpr off_t maxSize = 1024 * 1024;
    const off_t size = comparedOutput.position().offset - entry.offset;
    if (size > maxSize) {
        return "its lines are not those expected";
    }
    const std::string text =
        comparedOutput.file().textAt(entry.offset, static_cast<std::size_t>(size));
    const std::vector<std::string_view> present = linesOf(text, entry.lines.count);
    const std::string lacks = namesOnlyIn(expected->lines, present, expected->names);
    const std::string besides = namesOnlyIn(present, expected->lines, expected->names);
    if (lacks.empty() && besides.empty()) {
        return "the file ends within its last line";
    }
    if (lacks.empty()) {
        return format("it has unexpected lines: %s", besides);
    }
    return besides.empty()
               ? format("it lacks expected lines: %s", lacks)
               : format("it lacks expected lines: %s; and has unexpected ones: %s", lacks, besides);
}

constexpr std::string_view dnName = "dn: ";

// The DN of a user, divided behind the name.
struct UserDn {
    std::string_view name;
    std::string_view domain;  // from ",cn=Users," on
};

UserDn dividedUserDn(std::string_view dn) {
    const std::size_t end = std::min(dn.rfind(",cn=Users,"), dn.size());
    return {dn.substr(0, end), dn.substr(end)};
}

// The digest that the domain in a policy's new DN adds to the expected lines; nothing for the
// default domain.
LineSum writtenDomain(std::string_view userDn) {
    constexpr std::string_view before = ",cn=Users,";
    constexpr std::string_view behind = ",cn=Subdomains,secAuthority=default";
    const std::string_view domain = dividedUserDn(userDn).domain;
    if (!domain.ends_with(behind)) {
        return LineSum(domain == ",cn=Users,secAuthority=default" ? 0 : 1);
    }
    return LineSum(
        digestOfLine(domain.substr(before.size(), domain.size() - before.size() - behind.size())));
}

// The key that an entry of the output must have to belong to an owner, and the key that it has;
// nothing if it belongs to none.
using Key = std::optional<std::uint64_t>;

// For entries below the user's: the name in the DN, and the rest of the key.
std::uint64_t keyOfName(std::uint32_t name, std::uint64_t other) {
    constexpr std::uint64_t factor = 0x9e3779b97f4a7c15U;
    return name * factor + other;
}

std::uint64_t keyOfName(std::string_view userDn, std::uint64_t other) {
    constexpr std::string_view name = "principalName=";
    return keyOfName(nameDigest(dividedUserDn(userDn).name.substr(name.size())), other);
}

bool isSpelledAsExpected(std::string_view userDn) {
    return userDn.starts_with("principalName=");
}

std::uint64_t keyOfRecord(const Owner& owner) {
    return owner.record.value();
}

Key keyInRecord(const OutputEntry& entry, std::string_view /*userDn*/,
                std::string_view /*dnLine*/) {
    return entry.lines.sum.value();
}

std::uint64_t keyOfPolicy(const Owner& owner) {
    return keyOfName(owner.name, owner.policy.value());
}

Key keyInPolicy(const OutputEntry& entry, std::string_view userDn, std::string_view dnLine) {
    LineSum lines = entry.lines.sum;
    lines -= LineSum(digestOfLine(dnLine));
    lines += writtenDomain(userDn);
    return isSpelledAsExpected(userDn) ? Key(keyOfName(userDn, lines.value())) : std::nullopt;
}

std::uint64_t keyOfContainer(const Owner& owner) {
    return owner.container.value();
}

Key keyInContainer(const OutputEntry& entry, std::string_view /*userDn*/,
                   std::string_view /*dnLine*/) {
    LineSum lines = entry.lines.sum;
    lines -= changetypeSeen ? LineSum(digestOfLine("changetype: add")) : LineSum();
    return lines.value();
}

// A kind of entry that is rebuilt for an owner.
struct Product {
    std::string_view prefix;  // of its DN, before the owner's new DN
    RecordKind kind;
    OwnerFlag seen;
    Part source;  // the entry of the export that it comes from
    std::uint64_t (*keyOf)(const Owner& owner);
    Key (*keyIn)(const OutputEntry& entry, std::string_view ownerDn, std::string_view dnLine);
};

constexpr std::array<Product, 3> products = {
    {{"dn: cn=Policy,cn=Policies,", RecordKind::POLICY, POLICY_SEEN, Part::POLICY, keyOfPolicy,
      keyInPolicy},
     {"dn: cn=Policies,", RecordKind::CONTAINER, CONTAINER_SEEN, Part::POLICY, keyOfContainer,
      keyInContainer},
     {dnName, RecordKind::USER, RECORD_SEEN, Part::OWN, keyOfRecord, keyInRecord}}};

std::array<Namesakes, products.size()> namesakes;

// An entry of the output that has the DN of a rebuilt entry.
struct Rebuilt {
    RecordKind kind;
    Owner* owner;
    OwnerFlag seen;
    bool isAsExpected;
    Part source;
};

std::optional<Rebuilt> rebuiltOf(const OutputEntry& entry, std::string_view dnLine) {
    for (std::size_t i = 0; i < products.size(); ++i) {
        const Product& product = products[i];
        if (!dnLine.starts_with(product.prefix)) {
            continue;
        }
        const std::string_view ownerDn = dnLine.substr(product.prefix.size());
        const std::uint64_t newDn = digestIgnoringCase(std::string(dnName).append(ownerDn));
        const std::span<const OwnerNumber> owners = ownersOfNewDn(newDn);
        if (owners.empty()) {
            continue;
        }
        const Key key = product.keyIn(entry, ownerDn, dnLine);
        Owner* const owner =
            owners.size() == 1 ? &ownerAt(owners.front()) : namesakes[i].choose(newDn, key);
        if (owner != nullptr && owner->has(product.source)) {
            const bool isOfGroup = product.kind == RecordKind::USER && owner->has(IS_GROUP);
            return Rebuilt{isOfGroup ? RecordKind::GROUP : product.kind, owner, product.seen,
                           key == product.keyOf(*owner), product.source};
        }
    }
    return std::nullopt;
}

void takeRebuilt(const Rebuilt& rebuilt, const OutputEntry& entry) {
    const off_t offset = rebuilt.owner->offset(rebuilt.source);
    if (rebuilt.owner->has(rebuilt.seen)) {
        reportDifference(FindingType::REPEATED_ENTRY, offset, entry.offset,
                         "an entry of this DN is above it");
        return;
    }
    rebuilt.owner->set(rebuilt.seen);
    if (rebuilt.isAsExpected) {
        ++countOf(rebuilt.kind).found;
        return;
    }
    const bool isShownInFull = isShown(FindingType::CHANGED_ENTRY) && rebuilt.source == Part::OWN;
    reportDifference(
        FindingType::CHANGED_ENTRY, offset, entry.offset,
        isShownInFull ? difference(*rebuilt.owner, entry) : "its lines are not those expected");
}

void reportUnseen(const Owner& owner, Part source, OwnerFlag seen, std::string_view what) {
    if (owner.has(source) && !owner.has(seen)) {
        reportDifference(FindingType::MISSING_ENTRY, owner.offset(source), noOffset,
                         format("its %s is missing from the output", what));
    }
}

void countExpected() {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        const Owner& owner = ownerAt(i);
        const std::uint64_t own = owner.has(Part::OWN) ? 1 : 0;
        countOf(owner.has(IS_GROUP) ? RecordKind::GROUP : RecordKind::USER).expected += own;
        const std::uint64_t policies = owner.has(Part::POLICY) ? 1 : 0;
        countOf(RecordKind::POLICY).expected += policies;
        countOf(RecordKind::CONTAINER).expected += policies;
    }
}

}  // namespace

void beginRebuiltComparison() {
    countExpected();
    for (std::size_t i = 0; i < products.size(); ++i) {
        namesakes[i].gather(products[i].source, products[i].seen, products[i].keyOf);
    }
}

bool compareRebuilt(const OutputEntry& entry, std::string_view dnLine) {
    const std::optional<Rebuilt> rebuilt = rebuiltOf(entry, dnLine);
    if (rebuilt) {
        takeRebuilt(*rebuilt, entry);
    }
    return rebuilt.has_value();
}

void reportMissingRecords() {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        const Owner& owner = ownerAt(i);
        reportUnseen(owner, Part::OWN, RECORD_SEEN, "new entry");
        reportUnseen(owner, Part::POLICY, CONTAINER_SEEN, "policy container");
        reportUnseen(owner, Part::POLICY, POLICY_SEEN, "policy");
    }
}
