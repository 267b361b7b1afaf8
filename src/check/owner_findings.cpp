#include "check/owner_findings.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "check/export_file.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "check/shown.h"
#include "check/staged_entries.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "output/merge.h"
#include "output/new_dn.h"

namespace {

// An entry of an owner that needs another one, which is missing.
struct Dependence {
    Part part;
    FindingType kind;
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
        if (owner.has(HAS_BLANKS_IN_DN)) {
            reportAtOffset(owner.offset(one.part), FindingType::BLANKS_IN_DN,
                           "the blanks keep its owner from being found", MESSAGE_PROCESSING_FAILED);
        } else if (isPolicy && owner.has(HAS_BLANK_IN_POLICY)) {
            reportAtOffset(owner.offset(one.part), FindingType::BLANK_IN_POLICY_DN,
                           "the blank belongs to the DN of its owner, which no user has",
                           MESSAGE_PROCESSING_FAILED);
        } else {
            reportAtOffset(owner.offset(one.part), one.kind, std::string(one.problem),
                           MESSAGE_PROCESSING_FAILED);
        }
    }
}

void reportWithoutMapping(const Owner& owner) {
    if (owner.isExplained(Part::OWN)) {
        return;
    }
    if (owner.has(HAS_BLANKS_IN_DN)) {
        reportAtOffset(owner.offset(Part::OWN), FindingType::BLANKS_IN_DN,
                       "its other entries do not find the DN", MESSAGE_PROCESSING_FAILED);
        return;
    }
    reportAtOffset(owner.offset(Part::OWN),
                   owner.has(IS_GROUP) ? FindingType::GROUP_WITHOUT_MAPPING
                                       : FindingType::USER_WITHOUT_MAPPING,
                   "the entry has no secMap entry whose secDN names it", MESSAGE_PROCESSING_FAILED);
}

// The entries of an owner that are merged.
struct MergedEntry {
    Part part;
    Entry entry;
    bool isInPieces;  // what looks like a name in it may be a part of a value
};

std::vector<MergedEntry> entriesOf(const Owner& owner) {
    std::vector<MergedEntry> entries;
    Entry().swap(object);  // a larger one that was read before would go on taking its memory
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

// What the entries take of the work file.
std::uint64_t bytesOf(const std::vector<MergedEntry>& entries) {
    std::uint64_t bytes = 0;
    for (const MergedEntry& one : entries) {
        bytes += one.entry.text().size() + 1;
    }
    return bytes;
}

// Merges the entries as the migration does, into the current entry.
void merge(const std::vector<MergedEntry>& entries) {
    mergeObjects(entries[0].entry, entries[1].entry);
    if (entries.size() > 2) {
        const Entry merged = std::exchange(object, Entry());
        mergeObjects(entries[2].entry, merged);
    }
}

bool canBeMerged(const Owner& owner) {
    return owner.has(Part::OWN) && owner.has(Part::MAPPING) && owner.has(NAMED) &&
           !owner.has(BROKEN);
}

// The text like `sought`, ignoring case, that has this digest behind `prefix`; else empty.
std::string spellingIn(std::string_view text, std::string_view prefix, std::string_view sought,
                       std::uint64_t digest) {
    for (const char* at = dostristr(text, sought); at != nullptr; at = dostristr(text, sought)) {
        const auto offset = static_cast<std::size_t>(at - text.data());
        std::string spelling = std::string(prefix).append(at, sought.size());
        if (digestOfLine(spelling) == digest) {
            return spelling;
        }
        text.remove_prefix(offset + sought.size());
    }
    return {};
}

// The domain as the first entry of the owner spells it: the others may differ in case. An entry
// below cn=Users names it in an attribute.
std::string spelledDomain(const Owner& owner, const std::vector<MergedEntry>& entries) {
    constexpr std::string_view dnName = "dn:";
    const std::string_view dnLine = withoutLineEnd(entries[0].entry.line(0));
    std::string dn(withoutLeadingBlanks(dnLine.substr(std::min(dnName.size(), dnLine.size()))));
    if (!owner.has(IS_GROUP)) {
        commaSpaceEater(dn);
    }
    const std::string_view domain = std::string_view(dn).substr(0, dn.find(','));
    const std::size_t name = std::min(domain.find('=') + 1, domain.size());
    std::array<std::string, 2> policies;
    constexpr std::array<Part, 2> partsOfPolicies = {Part::POLICY, Part::POLICY_DATA};
    std::transform(partsOfPolicies.begin(), partsOfPolicies.end(), policies.begin(),
                   [&owner](Part part) {
                       return owner.has(part) ? dnLineAt(owner.offset(part)) : std::string();
                   });
    std::vector<std::string_view> texts;
    texts.reserve(entries.size() + policies.size());
    for (const MergedEntry& one : entries) {
        texts.push_back(one.entry.text());
    }
    texts.insert(texts.end(), policies.begin(), policies.end());
    for (const std::string_view text : texts) {
        for (const std::size_t prefix : {std::size_t{0}, name}) {
            std::string found =
                spellingIn(text, prefix == 0 ? "" : "secAuthority=", domain.substr(prefix),
                           domainDigest(owner.domain));
            if (!found.empty()) {
                return found;
            }
        }
    }
    return std::string(domain);
}

std::string newDnLine(const Owner& owner, const std::vector<MergedEntry>& entries) {
    const std::string spelled = owner.domain == 0 ? "" : spelledDomain(owner, entries);
    const std::string_view domain = owner.domain == 0 ? std::string_view() : spelled;
    const Entry& own = entries[0].entry;
    return owner.has(IS_GROUP) ? newGroupDnLine(cnOf(own), domain)
                               : newUserDnLine(principalNameOf(own), domain);
}

std::string nameIn(const MergedEntry& merged, std::string_view line) {
    return merged.isInPieces ? std::string(unnamed) : shownName(line);
}

// The lines of the record: its new DN line, which `dnLine` keeps, and those of the current entry.
std::vector<std::string_view> linesOfRecord(const Owner& owner,
                                            const std::vector<MergedEntry>& entries,
                                            std::string& dnLine) {
    dnLine = newDnLine(owner, entries);
    std::vector<std::string_view> lines;
    lines.reserve(static_cast<std::size_t>(object.lineCount()));
    lines.push_back(withoutLineEnd(dnLine));
    for (int i = 1; i < object.lineCount(); ++i) {
        if (!mergedFilter.matchesSome(object.line(i))) {
            lines.push_back(withoutLineEnd(object.line(i)));
        }
    }
    return lines;
}

std::string_view nameWithColon(std::string_view line) {
    return line.substr(0, line.find(':') + 1);
}

std::string_view valueOf(std::string_view line) {
    return withoutLeadingBlanks(line.substr(nameWithColon(line).size()));
}

// A DN without what makes no difference in it.
std::string comparableDn(std::string_view dn) {
    std::string comparable(dn);
    commaSpaceEater(comparable);
    return strtolower(comparable);
}

bool namesOwner(std::string_view line) {
    constexpr std::array<std::string_view, 3> names = {"secDN:", "secAuthority:", "secDomainId:"};
    return std::any_of(names.begin(), names.end(), [line](std::string_view name) {
        return equalIgnoringCase(name, nameWithColon(line));
    });
}

// Equal for lines that say the same: the case of the name makes no difference, nor do case and
// blanks beside commas in an owner's DN and in the name of a domain.
std::uint64_t digestOfMeaning(std::string_view line) {
    constexpr std::uint64_t factor = 0x9e3779b97f4a7c15U;
    const std::uint64_t name = digestIgnoringCase(nameWithColon(line)) * factor;
    return name + (namesOwner(line) ? digestOfLine(comparableDn(valueOf(line)))
                                    : digestOfLine(valueOf(line)));
}

// The lines of a record, to be looked for in it.
class RecordLines {
public:
    explicit RecordLines(const std::vector<std::string_view>& record) : record_(record) {
        lines_.reserve(record.size());
        for (const std::string_view line : record) {
            lines_.push_back(digestOfLine(line));
        }
        std::sort(lines_.begin(), lines_.end());
        isTaken_.resize(lines_.size());
    }

    // Takes the line out once. Returns whether it was there.
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

    // Whether a line behind the first one says the same.
    bool say(std::string_view line) {
        if (meanings_.empty()) {
            std::transform(record_.begin() + 1, record_.end(), std::back_inserter(meanings_),
                           digestOfMeaning);
            std::sort(meanings_.begin(), meanings_.end());
        }
        return std::binary_search(meanings_.begin(), meanings_.end(), digestOfMeaning(line));
    }

private:
    const std::vector<std::string_view>& record_;
    std::vector<std::uint64_t> lines_;     // their digests, sorted
    std::vector<bool> isTaken_;            // each of them
    std::vector<std::uint64_t> meanings_;  // sorted; made when they are needed
};

// Whether a merge, or the filter behind it, drops the line whatever else the owner has.
bool isDroppedAnyway(std::string_view line) {
    const std::string_view name = nameWithColon(line);
    return name.empty() || isDnName(name) || isOnDropList(name) || mergedFilter.matchesSome(line);
}

// Tells which lines of one entry the record lacks; those that it has are taken out of `record`.
void reportLostLines(const Owner& owner, const MergedEntry& merged, RecordLines& record) {
    for (int i = 1; i < merged.entry.lineCount(); ++i) {
        const std::string_view line = withoutLineEnd(merged.entry.line(i));
        if (isDroppedAnyway(line)) {
            continue;
        }
        if (record.take(line)) {
            continue;
        }
        if (record.say(line)) {
            countRule(Rule::EQUAL_LINES);
        } else {
            countRule(Rule::REPLACED_LINES);
            const off_t offset = owner.offset(merged.part);
            if (!isShown(FindingType::REPLACED_VALUE)) {
                countFinding(FindingType::REPLACED_VALUE);
                continue;
            }
            addFinding(FindingType::REPLACED_VALUE,
                       {lineOfAttribute(offset, i), 0, dnAt(offset),
                        format("would drop %s: another entry of the same owner holds the name, and "
                               "its line takes the place",
                               nameIn(merged, line)),
                        0});
        }
    }
}

// Tells of an entry whose first line has come to stand in the record, because it is no DN line to
// the merge.
void reportTakenInDn(const Owner& owner, const MergedEntry& merged,
                     const std::vector<std::string_view>& record) {
    const std::string_view first = withoutLineEnd(merged.entry.line(0));
    if (std::find(record.begin() + 1, record.end(), first) != record.end()) {
        reportAtOffset(owner.offset(merged.part), FindingType::DN_SPELLING,
                       "would add the first line of the entry to the one that it is merged with");
    }
}

// How many lines takeIn() has counted as equal: of each common name an entry's last line counts,
// and is compared with that of the first entry in the export.
std::uint64_t equalLinesCounted(const Owner& owner, const std::vector<MergedEntry>& entries) {
    std::vector<const MergedEntry*> inOrder;
    std::transform(entries.begin(), entries.end(), std::back_inserter(inOrder),
                   [](const MergedEntry& one) { return &one; });
    std::sort(inOrder.begin(), inOrder.end(),
              [&owner](const MergedEntry* first, const MergedEntry* second) {
                  return owner.offset(first->part) < owner.offset(second->part);
              });
    std::uint64_t counted = 0;
    for (const std::string_view name : commonNames) {
        std::string_view first;
        for (const MergedEntry* one : inOrder) {
            std::string_view last;
            for (int i = 1; i < one->entry.lineCount(); ++i) {
                const std::string_view line = withoutLineEnd(one->entry.line(i));
                last = equalIgnoringCase(nameWithColon(line), name) ? line : last;
            }
            const bool isEqual = !last.empty() && last == first;
            counted += static_cast<std::uint64_t>(isEqual);
            first = first.empty() ? last : first;
        }
    }
    return counted;
}

// What the record takes of the output beside its DN line.
std::uint64_t bytesOf(const std::vector<std::string_view>& record) {
    std::uint64_t bytes = 1;
    std::for_each(record.begin() + 1, record.end(),
                  [&bytes](std::string_view line) { bytes += line.size() + 1; });
    return bytes;
}

// Merges what digests could not decide, and sets the record right.
void resolveMerge(Owner& owner) {
    const std::vector<MergedEntry> entries = entriesOf(owner);
    if (entries.size() < 2) {
        owner.set(BROKEN);
        return;
    }
    merge(entries);
    std::string dnLine;
    const std::vector<std::string_view> record = linesOfRecord(owner, entries, dnLine);
    LineSum sum;
    for (const std::string_view line : record) {
        sum += LineSum(digestOfLine(line));
    }
    owner.record = Packed40(sum.value());
    discountOutput(bytesOf(entries) - bytesOf(record));
    discountRule(Rule::EQUAL_LINES, equalLinesCounted(owner, entries));
    RecordLines lines(record);
    for (const MergedEntry& one : entries) {
        reportLostLines(owner, one, lines);
        reportTakenInDn(owner, one, record);
    }
}

void findTroubleOf(Owner& owner) {
    const bool isGroup = owner.has(IS_GROUP);
    if (!owner.has(Part::OWN)) {
        isGroup ? reportWithoutOwn(owner, needGroup) : reportWithoutOwn(owner, needUser);
    } else if (!owner.has(Part::MAPPING)) {
        reportWithoutMapping(owner);
    } else if (canBeMerged(owner)) {
        owner.has(MAY_LOSE_VALUES) ? resolveMerge(owner) : discountOutput(owner.leftOut);
    }
    if (owner.has(Part::POLICY)) {
        constexpr std::uint64_t occurrences = 2;  // in the policy's new DN and in the container's
        countOutput(occurrences * owner.nameSize);
    }
}

void reportSameName(Owner& first, Owner& second) {
    if (!isShown(FindingType::SAME_NEW_NAME)) {
        countFinding(FindingType::SAME_NEW_NAME);
        return;
    }
    reportAtOffset(second.offset(Part::OWN), FindingType::SAME_NEW_NAME,
                   format("would give the entry the new DN of the one in line %ld",
                          lineAt(first.offset(Part::OWN))));
}

}  // namespace

void findTroubleOfOwners() {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        findTroubleOf(ownerAt(i));
    }
    if (changetypeSeen) {
        constexpr std::string_view line = "changetype: add\n";  // in each policy container
        countOutput(line.size() * inventory.byClass[SECPOLICY_OBJECTCLASS]);
    }
    indexNewDns(reportSameName);
    reportTakenNames();
}

std::optional<ExpectedRecord> expectedRecord(const Owner& owner) {
    if (!canBeMerged(owner)) {
        return std::nullopt;
    }
    const std::vector<MergedEntry> entries = entriesOf(owner);
    if (entries.size() < 2) {
        return std::nullopt;
    }
    merge(entries);
    static std::string dnLine;
    ExpectedRecord record = {linesOfRecord(owner, entries, dnLine), {"dn"}};
    for (const MergedEntry& merged : entries) {
        for (int i = 1; i < merged.entry.lineCount(); ++i) {
            record.names.insert(nameIn(merged, merged.entry.line(i)));
        }
    }
    return record;
}
