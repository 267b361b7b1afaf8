#include "check/owner_entries.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cache/owner.h"
#include "check/digest.h"
#include "check/export_file.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "check/line_findings.h"
#include "check/sizing.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "entry/adjustments.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "output/merge.h"
#include "output/new_dn.h"
#include "output/record.h"

namespace {

// The owner that the current entry names.
EntryOwner named;

std::string_view firstComponent(std::string_view dn) {
    return dn.substr(0, dn.find(','));
}

// The memory that the heap takes for a text of this size: with the zero byte and eight bytes of its
// own, in units of 16 bytes; none for a text that a std::string holds itself.
std::uint64_t heapBlock(std::size_t size) {
    constexpr std::size_t own = 8;
    constexpr std::size_t unit = 16;
    return size < sizeof(std::string) / 2 ? 0 : (size + 1 + own + unit - 1) / unit * unit;
}

// Adds the owner, which the current entry is the first to name.
OwnerNumber addNewOwner(bool isGroup, std::uint64_t salt) {
    Owner& owner = addOwner(digestIgnoringCase(named.stored) ^ salt);
    const std::string_view domain = firstComponent(named.stored);
    noteDomain(domain.substr(domain.find('=') + 1));
    if (!isInDefaultDomain(named.stored)) {
        owner.set(IN_SUBDOMAIN);
    }
    if (isGroup) {
        owner.set(IS_GROUP);
    }
    countOwner(isGroup);
    // The migration holds of an owner, beside its entries: its DN, for a user the DN of the policy,
    // which may be empty, and a row in each matrix.
    constexpr std::uint64_t userSlot = 2 * sizeof(std::string) + 5 * sizeof(StoredEntry);
    constexpr std::uint64_t groupSlot = sizeof(std::string) + 2 * sizeof(StoredEntry);
    const OwnerNumber number = ownerCount() - 1;
    holdOwner(number, isGroup, (isGroup ? groupSlot : userSlot) + heapBlock(named.stored.size()));
    return number;
}

// The owner of the current entry, found as the migration would find it, or added. Sets `isNew` if
// it was added.
OwnerNumber ownerOf(bool isGroup, bool& isNew) {
    constexpr std::uint64_t groupSalt = 0x5851f42d4c957f2dU;
    const std::uint64_t salt = isGroup ? groupSalt : 0;
    const auto number = findOwner(digestIgnoringCase(named.sought) ^ salt);
    isNew = !number;
    return number ? *number : addNewOwner(isGroup, salt);
}

// The domain of the current entry's owner as this entry spells it; null for the default domain.
std::string_view domainOf(const Owner& owner) {
    return owner.has(IN_SUBDOMAIN) ? firstComponent(named.sought) : std::string_view();
}

// The first component of the current entry's DN, when it has one.
std::string shownDomain(const std::string& domain) {
    constexpr std::string_view dnName = "dn:";
    const bool hasDn = !current.isInPieces && !shownDn(object.line(0)).empty();
    return hasDn ? shownDn(std::string(dnName) + domain).substr(dnName.size()) : "its own";
}

void reportDomain(const Owner& owner) {
    const std::string domain(withoutLineEnd(firstComponent(named.stored)));
    const std::string_view value = std::string_view(domain).substr(domain.find('=') + 1);
    if (value.empty()) {
        reportEntry(FindingType::EMPTY_DOMAIN, "would put the entry below a domain without a name");
        return;
    }
    const bool meansDefault = equalIgnoringCase(value, "default");
    if (meansDefault == owner.has(IN_SUBDOMAIN)) {
        reportEntry(FindingType::WRONG_DOMAIN,
                    meansDefault
                        ? "would put the entry into a subdomain instead of the default domain"
                        : format("would put the entry into the default domain instead of %s",
                                 shownDomain(domain)));
    }
}

// A policy's new DN names the domain that is first in its old one.
void reportPolicyDomain(const Owner& owner) {
    const std::string_view domain = domainOfPolicy(dnValueOf(object.line(0))).domain;
    const bool isReported = owner.has(HAS_SPACE_IN_POLICY);
    if (!isReported && !equalIgnoringCase(domain, domainOf(owner))) {
        reportEntry(FindingType::WRONG_DOMAIN,
                    "would put the policy into another domain than its user");
    }
}

void reportPolicyName() {
    std::string name(dnValueOf(object.line(0)));
    name.resize(std::min(name.find(','), name.size()));
    if (!equalIgnoringCase(trim(name), "cn=Policy")) {
        reportEntry(FindingType::POLICY_RENAMED, "would give the policy the name cn=Policy");
    }
}

// A value within a DN, RFC 4514, section 2.4.
bool needsEscaping(std::string_view name) {
    return name.find_first_of(",+\"\\<>;") != std::string_view::npos || name.starts_with('#') ||
           name.starts_with(' ') || name.ends_with(' ');
}

void reportName(const NamingAttribute& attribute, std::string_view name) {
    const auto offset = static_cast<std::size_t>(name.data() - object.text().data());
    const int index = EntryView(object).lineOf(std::min(offset, object.text().size() - 1));
    const std::string_view line = object.line(index);
    const bool isOwn = line.starts_with(attribute.first) || line.starts_with(attribute.second);
    if (!isOwn) {
        reportAt(FindingType::NAME_FROM_ELSEWHERE, index,
                 format("would take its %s from the attribute %s", attribute.name(),
                        nameOf(line, index)));
    } else if (name.starts_with(':')) {
        reportAt(FindingType::BASE64_NAME, index,
                 format("would take the %s undecoded into the new DN", attribute.name()));
    } else if (needsEscaping(name)) {
        reportAt(FindingType::NAME_NEEDS_ESCAPING, index,
                 format("would put the %s unescaped into the new DN", attribute.name()));
    }
}

void nameOwner(Owner& owner) {
    const bool isGroup = owner.has(IS_GROUP);
    const NamingAttribute& attribute = isGroup ? cnAttribute : principalNameAttribute;
    const std::string_view name = isGroup ? cnOf(object) : principalNameOf(object);
    if (name.empty()) {
        if (canBeTweeked()) {  // else it has been reported already
            reportEntry(FindingType::MISSING_NAME, format("the entry has no %s", attribute.name()),
                        MESSAGE_PROCESSING_FAILED);
        }
        return;
    }
    reportName(attribute, name);
    const std::string_view domain = domainOf(owner);
    const std::string dnLine = isGroup ? newGroupDnLine(name, domain) : newUserDnLine(name, domain);
    owner.newDn = Packed64(digestIgnoringCase(withoutLineEnd(dnLine)));
    owner.container = Packed40(sumOfContainer(dnLine).value());
    owner.set(NAMED);
    owner.name = nameDigest(name);
    owner.nameSize = static_cast<std::uint16_t>(name.size());
    countOutput(dnLine.size());
}

// Counts the bytes written for a policy beside its lines: its new DN and the container, but not the
// name of the user in both.
void countPolicy(const Owner& owner) {
    countOutput(newPolicyDnLine({}, domainOfPolicy(dnValueOf(object.line(0))).domain).size());
    visitPolicyContainer(newUserDnLine({}, domainOf(owner)), false, [](std::string_view text) {
        countOutput(text.size());
        return 0;
    });
}

void reportWithoutColon(std::string_view line, int index, bool isBroken) {
    if (isBroken) {
        return;  // reported as a long attribute
    }
    const bool isTab = line.starts_with('\t');
    reportAt(isTab ? FindingType::TAB_CONTINUATION : FindingType::LINE_WITHOUT_COLON, index,
             isTab ? "a tab does not continue a line, and the line has no colon"
                   : "the line has no colon",
             MESSAGE_PROCESSING_FAILED);
}

// Checks the lines of the current entry, which will be merged. Returns false if it cannot be.
bool lookAtMergedLines(bool isBroken) {
    bool canBeMerged = true;
    visitLines(object.text(), [&](std::string_view line, int index) {
        const std::string_view name = mergedName(line);
        if (name.empty()) {
            reportWithoutColon(line, index, isBroken);
            canBeMerged = false;
            return;
        }
        if (index == 0) {
            return;
        }
        if (line.starts_with('\t')) {
            reportAt(FindingType::TAB_LINE, index, "would take the line for a separate attribute");
        }
        if ((isOnDropList(name) && !isObjectClassName(name)) || mergedFilter.matchesSome(line)) {
            dropLine(line, index, BY_MERGE | FROM_MERGED);
        }
    });
    return canBeMerged;
}

// The sum of the lines of a policy's record behind its DN line, and of the domain, which its new DN
// keeps in the policy's own spelling.
LineSum digestOfPolicy(bool isBroken) {
    dropUnmergedLines(1);
    const std::string_view domain = domainOfPolicy(dnValueOf(object.line(0))).domain;
    LineSum sum = domain.data() == nullptr ? LineSum() : LineSum(digestOfLine(domain));
    TextDigest digest;
    std::uint64_t bytes = 0;
    visitPolicyLines(object, [&](const LineRun& run) {
        digest.add(run.text);
        bytes += run.text.size();
        return 0;
    });
    sum += digest.lines().sum;
    discountOutput(isBroken ? 0 : object.text().size() - bytes);
    return sum;
}

bool hasBase64Dn() {
    return equalIgnoringCase(object.line(0).substr(0, 4), "dn::");
}

void reportMissing(FindingType type, const std::string& problem) {
    reportEntry(type, problem, MESSAGE_PROCESSING_FAILED);
}

// The finding for an entry that has no owner. If its DN is in base64, that is why its parts seem to
// be missing.
struct OwnerFinding {
    FindingType type;
    bool isInDn;
    std::string_view effect;
};
constexpr std::array<OwnerFinding, static_cast<std::size_t>(OwnerProblem::END)> ownerFindings = {{
    {FindingType::END, false, ""},
    {FindingType::END, false, ""},  // of another class: is not taken for an entry of an owner
    {FindingType::MISSING_OWNER, true, "its DN has no comma, so it has no owner"},
    {FindingType::MISSING_DOMAIN, true, "the entry has no secAuthority in its DN"},
    {FindingType::MISSING_DOMAIN, false, "the entry has no secAuthority"},
    {FindingType::MISSING_OWNER, false, "the entry has no secDN"},
}};

// Finds out the owner of the current entry. Returns false after reporting that it has none or, for
// a policy, no domain.
bool learnOwnerOfObject(Part part, bool isGroup) {
    learnOwner(object, objectClass, isGroup ? OwnerKind::GROUP : OwnerKind::USER, named);
    if (named.problem != OwnerProblem::NONE) {
        const OwnerFinding& finding = ownerFindings[static_cast<std::size_t>(named.problem)];
        reportMissing(finding.isInDn && hasBase64Dn() ? FindingType::BASE64_DN : finding.type,
                      std::string(finding.effect));
        return false;
    }
    if (part == Part::POLICY &&
        domainOfPolicy(dnValueOf(object.line(0))).problem != DomainProblem::NONE) {
        reportMissing(FindingType::MISSING_DOMAIN, "its DN names no domain");
        return false;
    }
    if (!named.stored.ends_with('\n')) {
        named.stored += '\n';
    }
    return true;
}

// Reports an attribute that should name the entry's owner, or its domain, and does not.
void reportOwnerName(Owner& owner, Part part, std::string_view name,
                     const std::optional<std::string>& value, FindingType missing) {
    if (!value || owner.isExplained(part)) {
        return;
    }
    if (value->starts_with(':')) {
        reportEntry(FindingType::BASE64_OWNER, "the owner is not decoded, and so not found",
                    MESSAGE_PROCESSING_FAILED);
        owner.explain(part);
    } else if (value->empty()) {
        reportMissing(missing, format("the entry's %s is empty", name));
        owner.explain(part);
    }
}

// Reports anything in the entry that will keep its owner from being found.
void reportOwnerTrouble(Owner& owner, Part part) {
    if (part == Part::OWN && hasBase64Dn()) {
        reportEntry(FindingType::BASE64_DN, "the DN is not decoded, and no other entry finds it",
                    MESSAGE_PROCESSING_FAILED);
        owner.explain(part);
    }
    reportOwnerName(owner, part, "secDN", named.secDn, FindingType::MISSING_OWNER);
    reportOwnerName(owner, part, "secAuthority", named.secAuthority, FindingType::MISSING_DOMAIN);
}

bool hasTrailingSpaces(std::string_view dnLine) {
    return dnLine.find_last_not_of(" \t\v\f\r\n") + 1 < withoutLineEnd(dnLine).size();
}

// Marks an owner that was added with the current entry and is not found by its other entries.
// `dnLine` is the DN line before it was normalized.
void markSpaces(Owner& owner, Part part, std::string_view dnLine) {
    const bool isGroup = owner.has(IS_GROUP);
    const bool isPolicy = part == Part::POLICY || part == Part::POLICY_DATA;
    if (isPolicy && dnLine.substr(dnLine.find(',', 3) + 1, 1) == " ") {
        owner.set(HAS_SPACE_IN_POLICY);
    }
    if (named.secAuthority) {
        return;  // attributes name the owner, not the DN
    }
    const std::string_view compared =
        part == Part::MAPPING ? std::string_view(named.sought) : withoutLineEnd(dnLine);
    const bool hasSpaces =
        (part != Part::MAPPING && hasTrailingSpaces(dnLine)) ||
        ((isGroup || part == Part::USERS_ENTRY) && hasSpaceBesideComma(compared));
    if (hasSpaces) {
        owner.set(HAS_SPACES_IN_DN);
    }
}

// Counts the bytes written for it beside its lines if the two are gathered in different passes;
// either of them may be the one that a policy belongs to.
void countSecond(const Owner& owner, Part part) {
    if (part == Part::POLICY) {
        countPolicy(owner);
    } else if (part == Part::OWN) {
        const std::string_view domain = domainOf(owner);
        const std::string_view name = principalNameOf(object);
        countOutput(owner.has(IS_GROUP) ? newGroupDnLine(cnOf(object), domain).size()
                                        : newUserDnLine(name, domain).size() + 2 * name.size());
    }
}

// Reports a second entry of one kind for one owner, with the line of the first.
void reportSecond(Owner& owner, Part part) {
    if (part != Part::POLICY && part != Part::POLICY_DATA) {
        owner.set(BROKEN);
    }
    countSecond(owner, part);
    if (!isShown(FindingType::TWO_OF_ONE_KIND)) {
        countFinding(FindingType::TWO_OF_ONE_KIND);
        return;
    }
    reportEntry(
        FindingType::TWO_OF_ONE_KIND,
        format("the entry in line %ld is of the same kind and has the same owner; with so few "
               "slots that the two are gathered in different passes, the output may hold both",
               lineAt(owner.offset(part))),
        MESSAGE_SLOT_OCCUPIED);
}

// Adds what the output will hold of the current entry.
void addLines(Owner& owner, Part part, bool isBroken) {
    if (part == Part::POLICY) {
        reportPolicyDomain(owner);
        reportPolicyName();
        owner.policy = Packed40(digestOfPolicy(isBroken).value());
        countRule(Rule::CONTAINERS_ADDED);
        countPolicy(owner);
        return;
    }
    if (part == Part::POLICY_DATA) {
        countRule(Rule::POLICY_DATA, static_cast<std::uint64_t>(object.lineCount()));
        discountOutput(isBroken ? 0 : object.text().size() + 1);
        return;
    }
    if (part == Part::OWN) {
        if (!hasBase64Dn()) {
            reportDomain(owner);
        }
        nameOwner(owner);
    } else {
        countRule(Rule::OLD_NAMES);
    }
    if (!lookAtMergedLines(isBroken)) {
        owner.set(BROKEN);
    }
}

}  // namespace

LineSum sumOfContainer(std::string_view userDnLine) {
    LineSum sum;
    visitPolicyContainer(userDnLine, false, [&sum](std::string_view text) {
        sum += sumOfLines(text);
        return 0;
    });
    return sum;
}

void addToOwner(Part part, bool isGroup, bool isBroken) {
    if (!learnOwnerOfObject(part, isGroup)) {
        return;
    }
    const std::string dnLine(object.line(0));
    rewriteDnLine(named);
    bool isNew = false;
    const OwnerNumber number = ownerOf(isGroup, isNew);
    Owner& owner = ownerAt(number);
    // The migration reads the DN line after its search for the owner: that has removed spaces which
    // kept the line from being recognised as one below cn=Users.
    if (part == Part::OWN && !isGroup && isUsersEntry(object.line(0))) {
        part = Part::USERS_ENTRY;
    }
    if (isBroken || current.isShortened) {
        owner.set(BROKEN);
    }
    if (owner.has(part)) {
        reportSecond(owner, part);
        return;
    }
    reportOwnerTrouble(owner, part);
    if (isNew) {
        markSpaces(owner, part, dnLine);
    }
    addLines(owner, part, isBroken);
    owner.offsets[static_cast<std::size_t>(part)] =
        Packed40(static_cast<std::uint64_t>(current.offset) + 1);
    countEntryOf(number);
    holdEntry(number, isGroup, part, object,
              part == Part::POLICY ? heapBlock(object.line(0).size()) : 0);
}

void forgetOwnerEntries() {
    clearOwners();
    forgetHoldings();
}
