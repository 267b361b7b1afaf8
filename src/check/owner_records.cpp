#include "check/owner_records.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cache/owner.h"
#include "check/digest.h"
#include "check/export_file.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "check/owner_entries.h"
#include "check/staged_entries.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "output/merge.h"
#include "output/new_dn.h"
#include "output/record.h"

namespace {

// An entry of an owner that needs another one, which is missing.
struct Dependence {
    Part part;
    FindingType type;
    std::string_view problem;
};

constexpr std::array<Dependence, 4> needUser = {{
    {Part::MAPPING, FindingType::MAPPING_WITHOUT_USER, "no secUser entry belongs to its owner"},
    {Part::USERS_ENTRY, FindingType::USERS_ENTRY_WITHOUT_USER,
     "no secUser entry below a directory entry belongs to its owner"},
    {Part::POLICY, FindingType::POLICY_WITHOUT_USER, "no secUser entry belongs to its owner"},
    {Part::POLICY_DATA, FindingType::POLICY_DATA_WITHOUT_USER,
     "no secUser entry belongs to its owner"},
}};
constexpr std::array<Dependence, 1> needGroup = {{
    {Part::MAPPING, FindingType::MAPPING_WITHOUT_GROUP, "no secGroup entry belongs to its owner"},
}};

void reportWithoutOwn(const Owner& owner, std::span<const Dependence> dependences) {
    for (const Dependence& one : dependences) {
        if (!owner.has(one.part) || owner.isExplained(one.part)) {
            continue;
        }
        const bool isPolicy = one.part == Part::POLICY || one.part == Part::POLICY_DATA;
        if (owner.has(HAS_SPACES_IN_DN)) {
            reportAtOffset(owner.offset(one.part), FindingType::BLANKS_IN_DN,
                           "the spaces keep its owner from being found", MESSAGE_PROCESSING_FAILED);
        } else if (isPolicy && owner.has(HAS_SPACE_IN_POLICY)) {
            reportAtOffset(owner.offset(one.part), FindingType::BLANK_IN_POLICY_DN,
                           "the space becomes part of its owner's DN, which no user has",
                           MESSAGE_PROCESSING_FAILED);
        } else {
            reportAtOffset(owner.offset(one.part), one.type, std::string(one.problem),
                           MESSAGE_PROCESSING_FAILED);
        }
    }
}

void reportWithoutMapping(const Owner& owner) {
    if (owner.isExplained(Part::OWN)) {
        return;
    }
    if (owner.has(HAS_SPACES_IN_DN)) {
        reportAtOffset(owner.offset(Part::OWN), FindingType::BLANKS_IN_DN,
                       "its other entries do not find the DN", MESSAGE_PROCESSING_FAILED);
        return;
    }
    reportAtOffset(owner.offset(Part::OWN),
                   owner.has(IS_GROUP) ? FindingType::GROUP_WITHOUT_MAPPING
                                       : FindingType::USER_WITHOUT_MAPPING,
                   "the entry has no secMap entry whose secDN names it", MESSAGE_PROCESSING_FAILED);
}

// The entries of an owner that are merged, and the record that they make.
struct MergedEntry {
    Part part;
    Entry entry;
    bool isInPieces;  // text that looks like a name in it may be part of a value
};

bool canBeMerged(const Owner& owner) {
    return owner.has(NAMED) && owner.has(Part::MAPPING) && !owner.has(BROKEN);
}

// Reads the entries, the owner's own and its mapping entry first; nothing if one of them has
// changed.
std::vector<MergedEntry> entriesOf(const Owner& owner) {
    std::vector<MergedEntry> entries;
    Entry().swap(object);  // frees the memory of a larger entry read before
    for (const Part part : {Part::OWN, Part::MAPPING, Part::USERS_ENTRY}) {
        if (owner.has(part)) {
            std::optional<Entry> entry = stagedEntryAt(owner.offset(part));
            if (!entry) {
                return {};
            }
            entries.push_back({part, *std::move(entry), current.isInPieces});
        }
    }
    return entries;
}

// The part of the owner that comes first in the export.
Part firstPart(const Owner& owner) {
    auto first = Part::OWN;
    for (std::size_t i = 0; i < partCount; ++i) {
        const auto part = static_cast<Part>(i);
        first = owner.has(part) && owner.offset(part) < owner.offset(first) ? part : first;
    }
    return first;
}

// The DN of the owner as its first entry spells it: its new DN has the domain in the same spelling.
std::string storedDn(const Owner& owner) {
    EntryOwner named;
    if (std::optional<Entry> first = firstPieceAt(owner.offset(firstPart(owner)))) {
        learnOwner(*first, objectClass, owner.has(IS_GROUP) ? OwnerKind::GROUP : OwnerKind::USER,
                   named);
    }
    return named.stored;
}

// A record as the migration writes it: its new DN line, and its lines in the current entry. Valid
// until the current entry changes.
struct Record {
    std::string dnLine;
    std::vector<std::string_view> lines;  // without line feeds, that of the new DN first
};
Record record;

// Makes the record from the entries.
void makeRecord(const Owner& owner, const std::vector<MergedEntry>& entries) {
    const std::string dn = owner.has(IN_SUBDOMAIN) ? storedDn(owner) : "";
    const std::string_view domain =
        owner.has(IN_SUBDOMAIN) ? domainOfOwner(dn) : std::string_view();
    const Entry& own = entries[0].entry;
    if (owner.has(IS_GROUP)) {
        mergeEntriesOfGroup(own, entries[1].entry);
        record.dnLine = newGroupDnLine(cnOf(own), domain);
    } else {
        mergeEntriesOfUser(own, entries[1].entry,
                           entries.size() > 2 ? EntryView(entries[2].entry) : EntryView());
        record.dnLine = newUserDnLine(principalNameOf(own), domain);
    }
    record.lines = {withoutLineEnd(record.dnLine)};
    visitMergedLines(object, [](const LineRun& run) {
        visitLines(run.text, [](std::string_view line, int) { record.lines.push_back(line); });
        return 0;
    });
}

std::string nameIn(const MergedEntry& merged, std::string_view line) {
    return merged.isInPieces ? std::string(unnamed) : shownName(line);
}

std::string_view valueOf(std::string_view line) {
    return withoutLeadingSpaces(line.substr(mergedName(line).size()));
}

// A DN in lower case and without spaces beside commas, which make no difference.
std::string comparableDn(std::string_view dn) {
    std::string comparable(dn);
    commaSpaceEater(comparable);
    return strtolower(comparable);
}

bool namesOwner(std::string_view line) {
    constexpr std::array<std::string_view, 3> names = {"secDN:", "secAuthority:", "secDomainId:"};
    return std::any_of(names.begin(), names.end(), [line](std::string_view name) {
        return equalIgnoringCase(name, mergedName(line));
    });
}

// Equal for lines of the same meaning: the case of the name makes no difference, nor do case and
// spaces beside commas in an owner's DN and in the name of a domain.
std::uint64_t digestOfMeaning(std::string_view line) {
    constexpr std::uint64_t factor = 0x9e3779b97f4a7c15U;
    const std::uint64_t name = digestIgnoringCase(mergedName(line)) * factor;
    return name + (namesOwner(line) ? digestOfLine(comparableDn(valueOf(line)))
                                    : digestOfLine(valueOf(line)));
}

// The lines of the record, to be looked for in it.
class RecordLines {
public:
    RecordLines() : lines_(digestsOf(digestOfLine)), isTaken_(lines_.size()) {
    }

    LineSum sum() const {
        return std::accumulate(
            lines_.begin(), lines_.end(), LineSum(),
            [](LineSum sum, std::uint64_t line) { return sum += LineSum(line); });
    }

    // Removes one copy of the line. Returns whether there was one.
    bool take(std::string_view line) {
        const std::uint64_t sought = digestOfLine(line);
        const auto isBefore = [this, sought](const std::uint64_t& one) {
            const auto index = static_cast<std::size_t>(&one - lines_.data());
            return one < sought || (one == sought && isTaken_[index]);
        };
        const auto found = std::partition_point(lines_.begin(), lines_.end(), isBefore);
        if (found == lines_.end() || *found != sought) {
            return false;
        }
        isTaken_[static_cast<std::size_t>(found - lines_.begin())] = true;
        return true;
    }

    // Whether one of its lines has the same meaning.
    bool say(std::string_view line) {
        if (meanings_.empty()) {
            meanings_ = digestsOf(digestOfMeaning);
        }
        return std::binary_search(meanings_.begin(), meanings_.end(), digestOfMeaning(line));
    }

private:
    template <class Digest>
    static std::vector<std::uint64_t> digestsOf(Digest digest) {
        std::vector<std::uint64_t> digests(record.lines.size());
        std::transform(record.lines.begin(), record.lines.end(), digests.begin(), digest);
        std::sort(digests.begin(), digests.end());
        return digests;
    }

    std::vector<std::uint64_t> lines_;     // their digests, sorted
    std::vector<bool> isTaken_;            // each of them
    std::vector<std::uint64_t> meanings_;  // sorted; made when they are needed
};

// Whether the record never has the line, whatever else the owner has.
bool isAlwaysDropped(std::string_view line) {
    const std::string_view name = mergedName(line);
    return isDnName(name) || (isOnDropList(name) && !isObjectClassName(name)) ||
           mergedFilter.matchesSome(line);
}

void reportReplaced(const Owner& owner, const MergedEntry& merged, std::string_view line,
                    int index) {
    countRule(Rule::REPLACED_LINES);
    if (!isShown(FindingType::REPLACED_VALUE)) {
        countFinding(FindingType::REPLACED_VALUE);
        return;
    }
    const off_t offset = owner.offset(merged.part);
    addFinding(FindingType::REPLACED_VALUE,
               {lineOfAttribute(offset, index), 0, dnAt(offset),
                format("would drop %s: another entry of the same owner holds the name, and its "
                       "line takes the place",
                       nameIn(merged, line)),
                0});
}

// Reports lines of one entry that the record lacks; removes those that it has from `lines`.
void reportLostLines(const Owner& owner, const MergedEntry& merged, RecordLines& lines) {
    for (int i = 1; i < merged.entry.lineCount(); ++i) {
        const std::string_view line = withoutLineEnd(merged.entry.line(i));
        if (isAlwaysDropped(line) || lines.take(line)) {
            continue;
        }
        if (isObjectClassName(mergedName(line))) {
            countRule(Rule::OLD_CLASSES);
        } else if (lines.say(line)) {
            countRule(Rule::EQUAL_LINES);
        } else {
            reportReplaced(owner, merged, line, i);
        }
    }
}

// Reports an entry whose first line is in the record because the merge does not take it for a DN
// line.
void reportTakenInDn(const Owner& owner, const MergedEntry& merged) {
    const std::string_view first = withoutLineEnd(merged.entry.line(0));
    if (std::find(record.lines.begin() + 1, record.lines.end(), first) != record.lines.end()) {
        reportAtOffset(owner.offset(merged.part), FindingType::DN_SPELLING,
                       "would add the first line of the entry to the one that it is merged with");
    }
}

// The bytes of the entries in the work file, and so in the output before they are merged.
std::uint64_t bytesOf(const std::vector<MergedEntry>& entries) {
    std::uint64_t bytes = 0;
    for (const MergedEntry& one : entries) {
        bytes += one.entry.text().size() + 1;
    }
    return bytes;
}

// The bytes of the record in the output, without its DN line.
std::uint64_t bytesOfRecord() {
    std::uint64_t bytes = 1;
    std::for_each(record.lines.begin() + 1, record.lines.end(),
                  [&bytes](std::string_view line) { bytes += line.size() + 1; });
    return bytes;
}

void mergeOwner(Owner& owner) {
    const std::vector<MergedEntry> entries = entriesOf(owner);
    if (entries.size() < 2) {
        owner.set(BROKEN);
        return;
    }
    makeRecord(owner, entries);
    RecordLines lines;
    owner.record = Packed40(lines.sum().value());
    owner.container = Packed40(sumOfContainer(record.dnLine).value());
    discountOutput(bytesOf(entries) - bytesOfRecord());
    for (const MergedEntry& one : entries) {
        reportLostLines(owner, one, lines);
        reportTakenInDn(owner, one);
    }
}

template <class Visit>
void visitOwners(Visit visit) {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        visit(ownerAt(i));
    }
}

}  // namespace

void reportLoneEntries() {
    visitOwners([](const Owner& owner) {
        if (!owner.has(Part::OWN)) {
            owner.has(IS_GROUP) ? reportWithoutOwn(owner, needGroup)
                                : reportWithoutOwn(owner, needUser);
        } else if (!owner.has(Part::MAPPING)) {
            reportWithoutMapping(owner);
        }
    });
}

void mergeOwners() {
    visitOwners([](Owner& owner) {
        if (canBeMerged(owner)) {
            mergeOwner(owner);
        }
        if (owner.has(Part::POLICY)) {
            constexpr std::uint64_t occurrences = 2;  // in the policy's new DN and the container's
            countOutput(occurrences * owner.nameSize);
        }
    });
    if (changetypeSeen) {
        constexpr std::string_view line = "changetype: add\n";  // in each policy container
        countOutput(line.size() * inventory.byClass[SECPOLICY_OBJECTCLASS]);
    }
}

void reportSharedNewDns() {
    visitOwners([](const Owner& owner) {
        if (!owner.has(SHARES_NEW_DN)) {
            return;
        }
        const Owner& first = ownerAt(ownersOfNewDn(owner.newDn.value()).front());
        if (&first == &owner) {
            return;
        }
        if (!isShown(FindingType::SAME_NEW_NAME)) {
            countFinding(FindingType::SAME_NEW_NAME);
            return;
        }
        reportAtOffset(owner.offset(Part::OWN), FindingType::SAME_NEW_NAME,
                       format("would give the entry the new DN of the one in line %ld",
                              lineAt(first.offset(Part::OWN))));
    });
}

std::optional<ExpectedRecord> expectedRecord(const Owner& owner) {
    const std::vector<MergedEntry> entries =
        canBeMerged(owner) ? entriesOf(owner) : std::vector<MergedEntry>();
    if (entries.size() < 2) {
        return std::nullopt;
    }
    makeRecord(owner, entries);
    ExpectedRecord expected = {record.lines, {"dn"}};
    for (const MergedEntry& merged : entries) {
        for (int i = 1; i < merged.entry.lineCount(); ++i) {
            expected.names.insert(nameIn(merged, merged.entry.line(i)));
        }
    }
    return expected;
}
