#include "check/proof.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <iterator>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "check/credentials.h"
#include "check/digest.h"
#include "check/entry_table.h"
#include "check/export_file.h"
#include "check/export_scan.h"
#include "check/findings.h"
#include "check/namesakes.h"
#include "check/output_reader.h"
#include "check/owner_findings.h"
#include "check/owners.h"
#include "check/shown.h"
#include "check/staged_entries.h"
#include "driver/diagnostics/format.h"
#include "entry/entry.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "output/new_dn.h"

std::array<Balance, static_cast<std::size_t>(Content::END)> balances = {};

namespace {

OutputReader output;

// What one side has and the other has not shown yet. A domain's own entry may get an installation
// date from the migration: then its lines but the date count.
struct Unmatched {
    EntryTable byLines;
    EntryTable byLinesButDate;
};

Unmatched unmatchedExpected;

// Entries of the output that have not found their counterparts, in the order in which they pass
// through. Those that end in a date are in both tables; the set tells which of them have been taken
// out of one.
Unmatched unexplained;
std::unordered_set<off_t> matchedDated;

// An entry of the output that nothing explains, once all of it has been read.
struct Extra {
    Packed64 dn;  // of its first line, without regard to case
    Packed40 offset;
    Packed40 lines;
    Packed40 linesButDate;  // 0 when it ends in none
};
std::deque<Extra> extras;

// What passed through last, to know a repetition. Sorted by the lines, in the end.
constexpr std::size_t remembered = 4096;
struct Passed {
    Packed40 lines;
    Packed40 offset;  // in the export
};
std::vector<Passed> passedLast;
std::size_t passedCount = 0;

Balance& balanceOf(Content content) {
    return balances[static_cast<std::size_t>(content)];
}

std::string outputDnAt(off_t offset) {
    constexpr std::size_t usual = 512;
    constexpr std::size_t most = 4096;
    std::string text = output.file().textAt(offset, usual);
    if (text.find('\n') == std::string::npos) {
        text = output.file().textAt(offset, most);
    }
    text.resize(std::min(text.find('\n'), text.size()));
    return text;
}

constexpr off_t nowhere = -1;

// The DN is shown where the export has it. In the output alone, what looks like one may be a part
// of a value that was broken apart.
void report(FindingType kind, off_t exportOffset, off_t outputOffset, const std::string& effect) {
    if (!isShown(kind)) {
        countFinding(kind);
        return;
    }
    Finding finding;
    const bool isInOutput = outputOffset != nowhere;
    finding.line = exportOffset != nowhere ? lineAt(exportOffset) : 0;
    finding.outputLine = isInOutput ? output.file().lineAt(outputOffset) : 0;
    const std::string exportDn = exportOffset != nowhere ? dnAt(exportOffset) : "";
    const std::string dn = isInOutput ? shownDn(outputDnAt(outputOffset)) : exportDn;
    finding.dn = exportDn.empty() ? "" : dn;
    finding.effect = dn.empty() ? "the entry begins without a DN line: " + effect : effect;
    addFinding(kind, std::move(finding));
}

// ---- Entries that pass through.

void remember(std::uint64_t lines, off_t offset) {
    const Passed passed = {Packed40(lines), Packed40(static_cast<std::uint64_t>(offset))};
    if (passedLast.size() < remembered) {
        passedLast.push_back(passed);
    } else {
        passedLast[passedCount % remembered] = passed;
    }
    ++passedCount;
    ++balanceOf(Content::PASSED).found;
}

// The place in the export of an entry that the output holds already and that has these lines;
// nowhere when none is known.
off_t offsetOfRepeated(std::uint64_t lines) {
    const std::uint64_t sought = Packed40(lines).value();
    const auto passed =
        std::partition_point(passedLast.begin(), passedLast.end(),
                             [=](const Passed& one) { return one.lines.value() < sought; });
    return passed != passedLast.end() && passed->lines.value() == sought
               ? static_cast<off_t>(passed->offset.value())
               : offsetOfTakenCredential(lines);
}

bool isMetBy(const ExpectedEntry& expected, const OutputEntry& entry) {
    return expected.addsInstallDate
               ? entry.endsInInstallDate && expected.lines == entry.linesButLast.chain
               : expected.lines == entry.lines.chain;
}

// Takes an entry of the output back that the demand asks for.
bool takeUnexplained(const ExpectedEntry& expected) {
    EntryTable& table = expected.addsInstallDate ? unexplained.byLinesButDate : unexplained.byLines;
    for (off_t offset = table.take(expected.lines); offset != nowhere;
         offset = table.take(expected.lines)) {
        if (matchedDated.erase(offset) == 0) {
            if (expected.isDomain) {
                matchedDated.insert(offset);
            }
            remember(expected.lines, expected.offset);
            return true;
        }
    }
    return false;
}

bool takeExpected(const OutputEntry& entry) {
    off_t offset = unmatchedExpected.byLines.take(entry.lines.chain);
    if (offset != nowhere) {
        remember(entry.lines.chain, offset);
        return true;
    }
    offset = entry.endsInInstallDate
                 ? unmatchedExpected.byLinesButDate.take(entry.linesButLast.chain)
                 : nowhere;
    if (offset != nowhere) {
        remember(entry.linesButLast.chain, offset);
    }
    return offset != nowhere;
}

bool readEntry(OutputEntry& entry) {
    const bool isRead = output.read(entry);
    if (isRead && !entry.isEnded) {
        report(FindingType::CHANGED_ENTRY, nowhere, entry.offset,
               "no empty line follows it: the file may have been cut off");
    }
    return isRead;
}

void setAside(const OutputEntry& entry) {
    unexplained.byLines.add(entry.lines.chain, entry.offset);
    if (entry.endsInInstallDate) {
        unexplained.byLinesButDate.add(entry.linesButLast.chain, entry.offset);
    }
}

void comparePassed(const ExpectedEntry& expected) {
    ++balanceOf(Content::PASSED).expected;
    if (takeUnexplained(expected)) {
        return;
    }
    OutputEntry entry;
    while (readEntry(entry)) {
        if (isMetBy(expected, entry)) {
            remember(expected.lines, expected.offset);
            return;
        }
        if (!takeExpected(entry)) {
            setAside(entry);
            break;
        }
    }
    (expected.addsInstallDate ? unmatchedExpected.byLinesButDate : unmatchedExpected.byLines)
        .add(expected.lines, expected.offset);
}

void noteCredential(const ExpectedEntry& expected) {
    ++balanceOf(Content::CREDENTIAL).expected;
    expectCredential(expected.lines, expected.offset);
}

// ---- Entries that are rebuilt.

// The attribute names in which two lists of lines differ, those that `lines` has more often. Shows
// `names` alone: any other may be the rest of a value that was broken apart.
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

// The first lines of `text`, at most `most`.
std::vector<std::string_view> linesOf(std::string_view text, std::size_t most) {
    std::vector<std::string_view> lines;
    while (!text.empty() && lines.size() < most) {
        const std::size_t size = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, size));
        text.remove_prefix(std::min(size + 1, text.size()));
    }
    return lines;
}

// What an entry of the output that has just been read differs in. Names attributes, never values:
// these may be secrets.
std::string difference(const Owner& owner, const OutputEntry& entry) {
    const std::optional<ExpectedRecord> expected = expectedRecord(owner);
    if (!expected) {
        return "its lines are not those that the export demands";
    }
    constexpr off_t most = 1024 * 1024;
    const off_t size = output.position().offset - entry.offset;
    const std::string text =
        output.file().textAt(entry.offset, static_cast<std::size_t>(std::min(size, most)));
    const std::vector<std::string_view> present = linesOf(text, entry.lines.count);
    const std::string lacks = namesOnlyIn(expected->lines, present, expected->names);
    const std::string besides = namesOnlyIn(present, expected->lines, expected->names);
    if (lacks.empty()) {
        return format("it has lines that the export does not demand: %s", besides);
    }
    return besides.empty()
               ? format("it lacks lines that the export demands: %s", lacks)
               : format("it lacks lines that the export demands: %s; and has others: %s", lacks,
                        besides);
}

constexpr std::string_view dnName = "dn: ";

// The DN of a user, divided behind the name.
struct UserDn {
    std::string_view name;
    std::string_view domain;  // ",cn=Users," and what follows
};

UserDn dividedUserDn(std::string_view dn) {
    const std::size_t end = std::min(dn.rfind(",cn=Users,"), dn.size());
    return {dn.substr(0, end), dn.substr(end)};
}

// What the domain in a policy's new DN adds to the lines demanded; nothing for the default domain.
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

LineSum containerLines(std::string_view dnLine) {
    LineSum sum;
    for (const std::string_view line :
         {dnLine, std::string_view("objectclass: container"), std::string_view("objectclass: top"),
          std::string_view("cn: Policies")}) {
        sum += LineSum(digestOfLine(line));
    }
    if (changetypeSeen) {
        sum += LineSum(digestOfLine("changetype: add"));
    }
    return sum;
}

// What an entry of the output must show to be right for an owner, and what it shows; nothing when
// it is right for none.
using Key = std::optional<std::uint64_t>;

// Of what is below the user's entry, the name in the DN and what else decides.
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
    return keyOfName(owner.name,
                     owner.domain == 0 ? 0 : LineSum(domainDigest(owner.domain)).value());
}

Key keyInContainer(const OutputEntry& entry, std::string_view userDn, std::string_view dnLine) {
    const bool isRight = isSpelledAsExpected(userDn) && containerLines(dnLine) == entry.lines.sum;
    return isRight ? Key(keyOfName(userDn, writtenDomain(userDn).value())) : std::nullopt;
}

// Something that is rebuilt for an owner.
struct Product {
    std::string_view prefix;  // what stands in front of the owner's new DN
    Content content;
    OwnerFlag seen;
    Part source;  // the entry of the export that it comes from
    std::uint64_t (*keyOf)(const Owner& owner);
    Key (*keyIn)(const OutputEntry& entry, std::string_view ownerDn, std::string_view dnLine);
};

constexpr std::array<Product, 3> products = {
    {{"dn: cn=Policy,cn=Policies,", Content::POLICY, POLICY_SEEN, Part::POLICY, keyOfPolicy,
      keyInPolicy},
     {"dn: cn=Policies,", Content::CONTAINER, CONTAINER_SEEN, Part::POLICY, keyOfContainer,
      keyInContainer},
     {dnName, Content::USER, RECORD_SEEN, Part::OWN, keyOfRecord, keyInRecord}}};

std::array<Namesakes, products.size()> namesakes;

void gatherNamesakes() {
    for (std::size_t i = 0; i < products.size(); ++i) {
        namesakes[i].gather(products[i].source, products[i].seen, products[i].keyOf);
    }
}

// An entry of the output that has the DN of something that is rebuilt.
struct Rebuilt {
    Content content;
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
            const bool isOfGroup = product.content == Content::USER && owner->has(IS_GROUP);
            return Rebuilt{isOfGroup ? Content::GROUP : product.content, owner, product.seen,
                           key == product.keyOf(*owner), product.source};
        }
    }
    return std::nullopt;
}

void takeRebuilt(const Rebuilt& rebuilt, const OutputEntry& entry) {
    const off_t offset = rebuilt.owner->offset(rebuilt.source);
    if (rebuilt.owner->has(rebuilt.seen)) {
        report(FindingType::REPEATED_ENTRY, offset, entry.offset,
               "an entry of this DN stands above it");
        return;
    }
    rebuilt.owner->set(rebuilt.seen);
    if (rebuilt.isAsExpected) {
        ++balanceOf(rebuilt.content).found;
        return;
    }
    const bool isShownInFull = isShown(FindingType::CHANGED_ENTRY) && rebuilt.source == Part::OWN;
    report(FindingType::CHANGED_ENTRY, offset, entry.offset,
           isShownInFull ? difference(*rebuilt.owner, entry)
                         : "its lines are not those that the export demands");
}

// Explains an entry behind those that passed through.
void explain(const OutputEntry& entry, const std::string& dnLine) {
    if (takeExpected(entry)) {
        return;
    }
    if (const std::optional<Rebuilt> rebuilt = rebuiltOf(entry, dnLine)) {
        takeRebuilt(*rebuilt, entry);
    } else if (takeCredential(entry.lines.chain)) {
        ++balanceOf(Content::CREDENTIAL).found;
    } else {
        extras.push_back({Packed64(digestIgnoringCase(dnLine)),
                          Packed40(static_cast<std::uint64_t>(entry.offset)),
                          Packed40(entry.lines.chain),
                          Packed40(entry.endsInInstallDate ? entry.linesButLast.chain : 0)});
    }
}

// Reads once more what has not found its counterpart, and then the rest.
void explainWhatIsLeft() {
    const OutputPosition end = output.position();
    const std::vector<off_t> aside = unexplained.byLines.offsets();
    unexplained = Unmatched();
    OutputEntry entry;
    for (const off_t offset : aside) {
        if (matchedDated.contains(offset)) {
            continue;
        }
        output.goTo({offset, 0});
        if (output.read(entry)) {
            explain(entry, output.firstLine());
        }
    }
    output.goTo(end);
    while (readEntry(entry)) {
        explain(entry, output.firstLine());
    }
}

// ---- What is missing, and what is too much.

// The entries of the export that nothing in the output meets.
std::vector<off_t> missingOffsets() {
    std::vector<off_t> offsets = unmatchedExpected.byLines.offsets();
    for (const std::vector<off_t>& others :
         {unmatchedExpected.byLinesButDate.offsets(), offsetsOfMissingCredentials()}) {
        offsets.insert(offsets.end(), others.begin(), others.end());
    }
    std::sort(offsets.begin(), offsets.end());
    return offsets;
}

// What is too much, to be found by its DN.
class ExtrasByDn {
public:
    ExtrasByDn() : order_(extras.size()), isTaken_(extras.size()) {
        std::iota(order_.begin(), order_.end(), 0U);
        std::sort(order_.begin(), order_.end(), [](std::uint32_t one, std::uint32_t other) {
            return std::pair(dnOf(one), one) < std::pair(dnOf(other), other);
        });
    }

    // Takes the first one of this DN that is left; null when there is none.
    const Extra* take(std::uint64_t dn) {
        const auto found =
            std::partition_point(order_.begin(), order_.end(), [this, dn](std::uint32_t one) {
                return dnOf(one) < dn || (dnOf(one) == dn && isTaken_[one]);
            });
        if (found == order_.end() || dnOf(*found) != dn) {
            return nullptr;
        }
        isTaken_[*found] = true;
        return &extras[*found];
    }

    bool isTaken(std::size_t index) const {
        return isTaken_[index];
    }

private:
    static std::uint64_t dnOf(std::uint32_t index) {
        return extras[index].dn.value();
    }

    std::vector<std::uint32_t> order_;
    std::vector<bool> isTaken_;
};

void reportExtra(const Extra& extra) {
    off_t offset = offsetOfRepeated(extra.lines.value());
    if (offset == nowhere && extra.linesButDate.value() != 0) {
        offset = offsetOfRepeated(extra.linesButDate.value());
    }
    const bool isRepeated = offset != nowhere;
    report(isRepeated ? FindingType::REPEATED_ENTRY : FindingType::EXTRA_ENTRY, offset,
           static_cast<off_t>(extra.offset.value()),
           isRepeated ? "the same entry stands in the output already"
                      : "no entry of the export leads to it, or only to another like it");
}

// An entry that is missing and one that is too much are one that was changed when their DNs are
// equal. Looked for as long as there are few of them.
void reportUnmatched() {
    constexpr std::size_t maxLooks = 10'000;
    std::size_t looks = 0;
    ExtrasByDn byDn;
    for (const off_t offset : missingOffsets()) {
        const bool mayLook = looks++ < maxLooks && !extras.empty();
        const Extra* const found =
            mayLook ? byDn.take(digestIgnoringCase(dnLineAt(offset))) : nullptr;
        if (found == nullptr) {
            report(FindingType::MISSING_ENTRY, offset, nowhere, "the output does not hold it");
        } else {
            report(FindingType::CHANGED_ENTRY, offset, static_cast<off_t>(found->offset.value()),
                   "its lines are not those of the export");
        }
    }
    std::sort(passedLast.begin(), passedLast.end(), [](const Passed& one, const Passed& other) {
        return one.lines.value() < other.lines.value();
    });
    for (std::size_t i = 0; i < extras.size(); ++i) {
        if (!byDn.isTaken(i)) {
            reportExtra(extras[i]);
        }
    }
}

void reportUnseen(const Owner& owner, Part source, OwnerFlag seen, std::string_view what) {
    if (owner.has(source) && !owner.has(seen)) {
        report(FindingType::MISSING_ENTRY, owner.offset(source), nowhere,
               format("the output does not hold its %s", what));
    }
}

void reportMissingRecords() {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        const Owner& owner = ownerAt(i);
        reportUnseen(owner, Part::OWN, RECORD_SEEN, "new entry");
        reportUnseen(owner, Part::POLICY, CONTAINER_SEEN, "policy container");
        reportUnseen(owner, Part::POLICY, POLICY_SEEN, "policy");
    }
}

void countExpected() {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        const Owner& owner = ownerAt(i);
        const std::uint64_t own = owner.has(Part::OWN) ? 1 : 0;
        balanceOf(owner.has(IS_GROUP) ? Content::GROUP : Content::USER).expected += own;
        const std::uint64_t policies = owner.has(Part::POLICY) ? 1 : 0;
        balanceOf(Content::POLICY).expected += policies;
        balanceOf(Content::CONTAINER).expected += policies;
    }
}

void forgetComparison() {
    balances = {};
    output = OutputReader();
    unmatchedExpected = Unmatched();
    unexplained = Unmatched();
    matchedDated.clear();
    extras.clear();
    forgetCredentials();
    passedLast.clear();
    passedCount = 0;
}

}  // namespace

void compareOutput(const std::string& exportName, const std::string& outputName) {
    forgetComparison();
    output.open(outputName);
    scanExport(exportName, {comparePassed, noteCredential});
    findTroubleOfOwners();
    keepDifferencesAlone();
    countExpected();
    gatherNamesakes();
    explainWhatIsLeft();
    reportMissingRecords();
    reportUnmatched();
    requireUnchangedExport();
    output.file().requireUnchanged();
}
