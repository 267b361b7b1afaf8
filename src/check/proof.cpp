#include "check/proof.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "check/demands.h"
#include "check/digest.h"
#include "check/export_file.h"
#include "check/export_scan.h"
#include "check/findings.h"
#include "check/output_reader.h"
#include "check/owner_findings.h"
#include "check/owners.h"
#include "check/regrouped_entries.h"
#include "check/shown.h"
#include "driver/diagnostics/format.h"
#include "entry/entry.h"
#include "entry/text.h"
#include "output/new_dn.h"

std::array<Balance, static_cast<std::size_t>(Content::END)> balances = {};

namespace {

OutputReader output;

// An entry of the output that has not found its counterpart yet.
struct Unexplained {
    OutputEntry entry;
    std::uint64_t dn = 0;  // of its first line, without regard to case
};

// What one side has and the other has not shown yet, by the chain of its lines. Empty as long as
// the two files agree.
std::unordered_multimap<std::uint64_t, Demand> unmetDemands;
std::unordered_multimap<std::uint64_t, Unexplained> unexplained;

// Resource credentials stand at the end of the output, in the order of the export.
struct Credential {
    Packed40 lines;
    Packed40 place;
};
std::deque<Credential> credentials;
std::size_t nextCredential = 0;

// The places of those that the output holds, by their lines; filled when something is too much.
std::unordered_map<std::uint64_t, off_t> takenCredentials;

// What passed through last, to know a repetition.
constexpr std::size_t remembered = 4096;
struct Passed {
    std::uint64_t lines = 0;
    off_t place = 0;  // in the export
};
std::array<Passed, remembered> passedLast = {};
std::size_t passedCount = 0;

Balance& balanceOf(Content content) {
    return balances[static_cast<std::size_t>(content)];
}

std::string outputDnAt(off_t place) {
    constexpr std::size_t most = 4096;
    const std::string text = output.file().textAt(place, most);
    return std::string(std::string_view(text).substr(0, text.find('\n')));
}

void tell(Kind kind, off_t exportPlace, const OutputEntry* entry, const std::string& effect) {
    if (!isShown(kind)) {
        countFinding(kind);
        return;
    }
    Finding finding;
    finding.line = exportPlace >= 0 ? lineAt(exportPlace) : 0;
    finding.outputLine = entry != nullptr ? entry->line : 0;
    finding.dn = entry != nullptr ? shownDn(outputDnAt(entry->place)) : dnAt(exportPlace);
    finding.effect = finding.dn.empty() ? "the entry begins without a DN line: " + effect : effect;
    addFinding(kind, std::move(finding));
}

// ---- Entries that pass through.

void remember(const Demand& demand) {
    passedLast[passedCount++ % remembered] = {demand.lines, demand.place};
    ++balanceOf(Content::PASSED).found;
}

// The place in the export of an entry that the output holds already and that has these lines; -1
// when none is known.
off_t placeOfRepeated(std::uint64_t chain) {
    const auto end =
        passedLast.begin() + static_cast<std::ptrdiff_t>(std::min(passedCount, remembered));
    const auto passed = std::find_if(passedLast.begin(), end,
                                     [chain](const Passed& one) { return one.lines == chain; });
    if (passed != end) {
        return passed->place;
    }
    const auto credential = takenCredentials.find(Packed40(chain).value());
    return credential == takenCredentials.end() ? -1 : credential->second;
}

bool isMetBy(const Demand& demand, const OutputEntry& entry) {
    return demand.addsInstallDate
               ? entry.endsInInstallDate && demand.lines == entry.linesButLast.chain
               : demand.lines == entry.lines.chain;
}

// Takes an entry of the output back that the demand asks for.
bool takeUnexplained(const Demand& demand) {
    if (unexplained.empty()) {
        return false;
    }
    auto found = unexplained.find(demand.lines);
    if (demand.addsInstallDate) {
        found = std::find_if(unexplained.begin(), unexplained.end(), [&demand](const auto& one) {
            return isMetBy(demand, one.second.entry);
        });
    }
    if (found == unexplained.end() || !isMetBy(demand, found->second.entry)) {
        return false;
    }
    remember(demand);
    unexplained.erase(found);
    return true;
}

bool takeDemand(const OutputEntry& entry) {
    for (const std::uint64_t chain : {entry.lines.chain, entry.linesButLast.chain}) {
        const auto [first, last] = unmetDemands.equal_range(chain);
        const auto found = std::find_if(
            first, last, [&entry](const auto& one) { return isMetBy(one.second, entry); });
        if (found != last) {
            remember(found->second);
            unmetDemands.erase(found);
            return true;
        }
    }
    return false;
}

bool readEntry(OutputEntry& entry) {
    const bool isRead = output.read(entry);
    if (isRead && !entry.isEnded) {
        tell(Kind::CHANGED_ENTRY, -1, &entry,
             "no empty line follows it: the file may have been cut off");
    }
    return isRead;
}

void setAside(const OutputEntry& entry) {
    unexplained.emplace(entry.lines.chain,
                        Unexplained{entry, digestIgnoringCase(output.firstLine())});
}

void comparePassed(const Demand& demand) {
    ++balanceOf(Content::PASSED).demanded;
    if (takeUnexplained(demand)) {
        return;
    }
    OutputEntry entry;
    while (readEntry(entry)) {
        if (isMetBy(demand, entry)) {
            remember(demand);
            return;
        }
        if (!takeDemand(entry)) {
            setAside(entry);
            break;
        }
    }
    unmetDemands.emplace(demand.lines, demand);
}

void noteCredential(const Demand& demand) {
    ++balanceOf(Content::CREDENTIAL).demanded;
    credentials.push_back(
        {Packed40(demand.lines), Packed40(static_cast<std::uint64_t>(demand.place))});
}

// ---- Entries that are rebuilt.

// The attribute names in which two lists of lines differ, those that `lines` has more often. Shows
// `names` alone: any other may be the rest of a value that was broken apart.
std::string namesOnlyIn(std::vector<std::string> lines, std::vector<std::string> others,
                        const std::set<std::string>& names) {
    std::sort(lines.begin(), lines.end());
    std::sort(others.begin(), others.end());
    std::vector<std::string> left;
    std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(),
                        std::back_inserter(left));
    std::string list;
    std::string last;
    for (const std::string& line : left) {
        const std::string found = shownName(line);
        const std::string name = names.contains(found) ? found : std::string(unnamed);
        if (name != last) {
            list += format("%s%s", list.empty() ? "" : ", ", name);
        }
        last = name;
    }
    return list;
}

std::vector<std::string> linesAt(const OutputEntry& entry) {
    constexpr std::size_t most = 1024 * 1024;
    const std::string text = output.file().textAt(entry.place, most);
    std::vector<std::string> lines;
    std::string_view rest = text;
    while (!rest.empty() && lines.size() < entry.lines.count) {
        const std::size_t size = std::min(rest.find('\n'), rest.size());
        lines.emplace_back(rest.substr(0, size));
        rest.remove_prefix(std::min(size + 1, rest.size()));
    }
    return lines;
}

// Names attributes, never values: these may be secrets.
std::string difference(const Owner& owner, const OutputEntry& entry) {
    const std::optional<DemandedRecord> demanded = demandedRecord(owner);
    if (!demanded) {
        return "its lines are not those that the export demands";
    }
    const std::vector<std::string> present = linesAt(entry);
    const std::string lacks = namesOnlyIn(demanded->lines, present, demanded->names);
    const std::string besides = namesOnlyIn(present, demanded->lines, demanded->names);
    if (lacks.empty()) {
        return format("it has lines that the export does not demand: %s", besides);
    }
    return besides.empty()
               ? format("it lacks lines that the export demands: %s", lacks)
               : format("it lacks lines that the export demands: %s; and has others: %s", lacks,
                        besides);
}

// The user whose record was read last, and its DN: containers and policies stand right behind it.
const Owner* lastUser = nullptr;
std::string lastUserDn;

constexpr std::string_view dnName = "dn: ";

// The new DN of a user as the export demands it; empty when its entry breaks apart.
std::string demandedDn(const Owner& owner) {
    if (&owner == lastUser) {
        return lastUserDn;
    }
    const std::optional<Entry> own = stagedEntryAt(owner.place(Part::OWN));
    if (!own) {
        return {};
    }
    const std::string line = newUserDnLine(principalNameOf(*own), domainName(owner.domain));
    return std::string(withoutLineEnd(line).substr(dnName.size()));
}

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
    if (isChangetypeDemanded()) {
        sum += LineSum(digestOfLine("changetype: add"));
    }
    return sum;
}

constexpr std::string_view containerPrefix = "dn: cn=Policies,";
constexpr std::string_view policyPrefix = "dn: cn=Policy,cn=Policies,";

// An entry of the output that has the DN of something that is rebuilt.
struct Rebuilt {
    Content content;
    Owner* owner;
    OwnerFlag seen;
    bool isAsDemanded;
    Part source;  // the entry of the export that it comes from
};

bool isDemandedPolicy(const Owner& owner, const OutputEntry& entry, std::string_view dnLine) {
    const std::string_view userDn = dnLine.substr(policyPrefix.size());
    LineSum demanded(owner.policy.value());
    demanded -= writtenDomain(userDn);
    demanded += LineSum(digestOfLine(dnLine));
    const std::string userDemanded = demandedDn(owner);
    return dividedUserDn(userDn).name == dividedUserDn(userDemanded).name &&
           demanded == entry.lines.sum;
}

bool isDemandedContainer(const Owner& owner, const OutputEntry& entry, std::string_view dnLine) {
    return dnLine.substr(containerPrefix.size()) == demandedDn(owner) &&
           containerLines(dnLine) == entry.lines.sum;
}

bool isDemandedRecord(const Owner& owner, const OutputEntry& entry, std::string_view /*dnLine*/) {
    return owner.record.value() == entry.lines.sum.value();
}

// Something that is rebuilt for an owner.
struct Product {
    std::string_view prefix;  // what stands in front of the owner's new DN
    Content content;
    OwnerFlag seen;
    Part source;
    bool (*isDemanded)(const Owner& owner, const OutputEntry& entry, std::string_view dnLine);
};

constexpr std::array<Product, 3> products = {
    {{policyPrefix, Content::POLICY, POLICY_SEEN, Part::POLICY, isDemandedPolicy},
     {containerPrefix, Content::CONTAINER, CONTAINER_SEEN, Part::POLICY, isDemandedContainer},
     {dnName, Content::USER, RECORD_SEEN, Part::OWN, isDemandedRecord}}};

// Of the owners that have the new DN, the one that the entry is meant for: one that demands it, or
// one whose entry has not been seen.
Rebuilt chosenOwner(const Product& product, const std::vector<Owner*>& owners,
                    const OutputEntry& entry, std::string_view dnLine) {
    Rebuilt chosen = {product.content, owners.front(), product.seen, false, product.source};
    for (Owner* const owner : owners) {
        if (!owner->has(product.seen)) {
            chosen.owner = owner;
            chosen.isAsDemanded = product.isDemanded(*owner, entry, dnLine);
            if (chosen.isAsDemanded) {
                break;
            }
        }
    }
    if (product.content == Content::USER && chosen.owner->has(IS_GROUP)) {
        chosen.content = Content::GROUP;
    }
    return chosen;
}

std::optional<Rebuilt> rebuiltOf(const OutputEntry& entry, std::string_view dnLine) {
    for (const Product& product : products) {
        if (!dnLine.starts_with(product.prefix)) {
            continue;
        }
        std::string ownerLine(dnName);
        ownerLine += dnLine.substr(product.prefix.size());
        std::vector<Owner*> owners = ownersOfNewDn(digestIgnoringCase(ownerLine));
        std::erase_if(owners, [&product](const Owner* one) { return !one->has(product.source); });
        if (!owners.empty()) {
            return chosenOwner(product, owners, entry, dnLine);
        }
    }
    return std::nullopt;
}

bool takeCredential(const OutputEntry& entry) {
    const std::uint64_t lines = Packed40(entry.lines.chain).value();
    const auto isIt = [lines](const Credential& one) { return one.lines.value() == lines; };
    const auto from = credentials.begin() + static_cast<std::ptrdiff_t>(nextCredential);
    auto found = from;
    if (found == credentials.end() || !isIt(*found)) {
        found = std::find_if(from, credentials.end(), isIt);
    }
    if (found == credentials.end()) {
        return false;
    }
    // What was passed by is put behind what is left, and may still come.
    std::swap(*from, *found);
    ++nextCredential;
    ++balanceOf(Content::CREDENTIAL).found;
    return true;
}

void takeRebuilt(const Rebuilt& rebuilt, const OutputEntry& entry) {
    const off_t place = rebuilt.owner->place(rebuilt.source);
    if (rebuilt.owner->has(rebuilt.seen)) {
        tell(Kind::REPEATED_ENTRY, place, &entry, "an entry of this DN stands above it");
        return;
    }
    rebuilt.owner->set(rebuilt.seen);
    if (rebuilt.isAsDemanded) {
        ++balanceOf(rebuilt.content).found;
        return;
    }
    const bool isShownInFull = isShown(Kind::CHANGED_ENTRY) && rebuilt.source == Part::OWN;
    tell(Kind::CHANGED_ENTRY, place, &entry,
         isShownInFull ? difference(*rebuilt.owner, entry)
                       : "its lines are not those that the export demands");
}

// Explains an entry behind those that passed through.
void explain(const OutputEntry& entry, const std::string& dnLine) {
    if (!unmetDemands.empty() && takeDemand(entry)) {
        return;
    }
    if (const std::optional<Rebuilt> rebuilt = rebuiltOf(entry, dnLine)) {
        takeRebuilt(*rebuilt, entry);
        // A record that is as demanded has the DN that is demanded, too.
        if (rebuilt->content == Content::USER && rebuilt->isAsDemanded) {
            lastUser = rebuilt->owner;
            lastUserDn = dnLine.substr(dnName.size());
        }
    } else if (!takeCredential(entry)) {
        unexplained.emplace(entry.lines.chain, Unexplained{entry, digestIgnoringCase(dnLine)});
    }
}

void explainWhatIsLeft() {
    std::vector<Unexplained> aside;
    for (const auto& [chain, one] : unexplained) {
        aside.push_back(one);
    }
    unexplained.clear();
    std::sort(aside.begin(), aside.end(), [](const Unexplained& first, const Unexplained& second) {
        return first.entry.place < second.entry.place;
    });
    for (const Unexplained& one : aside) {
        explain(one.entry, outputDnAt(one.entry.place));
    }
    OutputEntry entry;
    while (readEntry(entry)) {
        explain(entry, output.firstLine());
    }
}

// ---- What is missing, and what is too much.

// The entries of the export that nothing in the output meets.
std::vector<off_t> missingPlaces() {
    std::vector<off_t> places;
    for (const auto& [chain, demand] : unmetDemands) {
        places.push_back(demand.place);
    }
    for (std::size_t i = nextCredential; i < credentials.size(); ++i) {
        places.push_back(static_cast<off_t>(credentials[i].place.value()));
    }
    std::sort(places.begin(), places.end());
    return places;
}

// An entry that is missing and one that is too much are one that was changed when their DNs are
// equal. Looked for as long as there are few of them.
void tellUnmet() {
    std::unordered_multimap<std::uint64_t, const Unexplained*> byDn;
    for (const auto& [chain, one] : unexplained) {
        byDn.emplace(one.dn, &one);
    }
    std::vector<const Unexplained*> changed;
    constexpr std::size_t mostLooks = 10'000;
    std::size_t looks = 0;
    for (const off_t place : missingPlaces()) {
        const bool mayLook = looks++ < mostLooks && !byDn.empty();
        const auto found = mayLook ? byDn.find(digestIgnoringCase(dnLineAt(place))) : byDn.end();
        if (found == byDn.end()) {
            tell(Kind::MISSING_ENTRY, place, nullptr, "the output does not hold it");
        } else {
            tell(Kind::CHANGED_ENTRY, place, &found->second->entry,
                 "its lines are not those of the export");
            changed.push_back(found->second);
            byDn.erase(found);
        }
    }
    for (std::size_t i = 0; i < nextCredential && !byDn.empty(); ++i) {
        takenCredentials.emplace(credentials[i].lines.value(),
                                 static_cast<off_t>(credentials[i].place.value()));
    }
    std::vector<const Unexplained*> extra;
    for (const auto& [dn, one] : byDn) {
        extra.push_back(one);
    }
    std::sort(extra.begin(), extra.end(), [](const Unexplained* first, const Unexplained* second) {
        return first->entry.place < second->entry.place;
    });
    for (const Unexplained* one : extra) {
        const off_t whole = placeOfRepeated(one->entry.lines.chain);
        const off_t place = whole >= 0 || !one->entry.endsInInstallDate
                                ? whole
                                : placeOfRepeated(one->entry.linesButLast.chain);
        tell(place >= 0 ? Kind::REPEATED_ENTRY : Kind::EXTRA_ENTRY, place, &one->entry,
             place >= 0 ? "the same entry stands in the output already"
                        : "no entry of the export leads to it, or only to another like it");
    }
}

void tellUnseen(const Owner& owner, Part source, OwnerFlag seen, std::string_view what) {
    if (owner.has(source) && !owner.has(seen)) {
        tell(Kind::MISSING_ENTRY, owner.place(source), nullptr,
             format("the output does not hold its %s", what));
    }
}

void tellMissingRecords() {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        const Owner& owner = ownerAt(i);
        tellUnseen(owner, Part::OWN, RECORD_SEEN, "new entry");
        tellUnseen(owner, Part::POLICY, CONTAINER_SEEN, "policy container");
        tellUnseen(owner, Part::POLICY, POLICY_SEEN, "policy");
    }
}

void countDemands() {
    for (OwnerNumber i = 0; i < ownerCount(); ++i) {
        const Owner& owner = ownerAt(i);
        const std::uint64_t own = owner.has(Part::OWN) ? 1 : 0;
        balanceOf(owner.has(IS_GROUP) ? Content::GROUP : Content::USER).demanded += own;
        const std::uint64_t policies = owner.has(Part::POLICY) ? 1 : 0;
        balanceOf(Content::POLICY).demanded += policies;
        balanceOf(Content::CONTAINER).demanded += policies;
    }
}

void forgetProof() {
    balances = {};
    output = OutputReader();
    unmetDemands.clear();
    unexplained.clear();
    credentials.clear();
    nextCredential = 0;
    takenCredentials.clear();
    passedCount = 0;
    lastUser = nullptr;
    lastUserDn.clear();
}

}  // namespace

void prove(const std::string& exportName, const std::string& outputName) {
    forgetProof();
    output.open(outputName);
    scanExport(exportName, {comparePassed, noteCredential});
    findTroubleOfOwners();
    keepDifferencesAlone();
    countDemands();
    explainWhatIsLeft();
    tellMissingRecords();
    tellUnmet();
    requireUnchangedExport();
    output.file().requireUnchanged();
}
