#include "check/passed_entries.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "check/digest.h"
#include "check/expected_entry.h"
#include "check/export_file.h"
#include "check/inventory.h"
#include "check/line_findings.h"
#include "check/owners.h"
#include "driver/diagnostics/format.h"
#include "entry/adjustments.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/pass_through_entries.h"

namespace {

// The class of the registry that a line names in a spelling that is not recognised, or empty.
std::string_view unrecognisedClass(std::string_view line) {
    constexpr std::string_view name = "objectclass:";
    if (line.size() <= name.size() || !equalIgnoringCase(line.substr(0, name.size()), name)) {
        return {};
    }
    std::string_view value = line.substr(name.size());
    const bool isBase64 = value.starts_with(':');
    value.remove_prefix(isBase64 ? 1 : 0);
    constexpr std::string_view blanks = " \t";
    value.remove_prefix(std::min(value.find_first_not_of(blanks), value.size()));
    value = value.substr(0, value.find_last_not_of(blanks) + 1);
    const auto found =
        std::find_if(classTable.begin(), classTable.end(), [&](const ClassNames& one) {
            return !one.base64.empty() &&
                   (isBase64 ? value == one.base64 : equalIgnoringCase(value, one.name));
        });
    return found == classTable.end() ? std::string_view() : found->name;
}

void reportUnrecognisedClass(std::string_view line, int index) {
    const std::string_view name = unrecognisedClass(line);
    if (name.empty()) {
        return;
    }
    if (!isShown(FindingType::CLASS_NOT_RECOGNISED)) {
        countFinding(FindingType::CLASS_NOT_RECOGNISED);
        return;
    }
    reportAt(FindingType::CLASS_NOT_RECOGNISED, index,
             format("would leave the entry as it is, and not take it for a %s", name));
}

// A half-migrated export may hold entries under the names that users and groups will get.
struct NewName {
    std::uint64_t dn;  // without regard to case
    off_t offset;
};
std::vector<NewName> newNames;

void noteNewName(std::string_view attributes) {
    const std::string_view dnLine = attributes.substr(0, attributes.find('\n'));
    const bool mayBe =
        dostristr(dnLine, ",cn=Users,") != nullptr || dostristr(dnLine, ",cn=Groups,") != nullptr;
    if (mayBe && dostristr(dnLine, "secAuthority=default") != nullptr) {
        newNames.push_back({digestIgnoringCase(dnLine), current.offset});
    }
}

void expected(const LinesDigest& lines, bool addsInstallDate) {
    if (expectedEntryTakers.passedThrough != nullptr) {
        expectedEntryTakers.passedThrough({lines.chain, current.offset, addsInstallDate,
                                           objectClass == SECAUTHORITYINFO_OBJECTCLASS});
    }
}

// The lines of an oversized entry so far, and of the last one the pieces so far: they come out
// joined, and folded as they were.
LinesDigest oversizedLines;
std::string oversizedLine;

// The migration reads so much of it before it gives up.
std::uint64_t oversizedRead = 0;
int oversizedPieces = 0;

void takeOversizedLine(std::string_view piece) {
    oversizedRead +=
        oversizedPieces++ <= MOST_LINES_OF_AN_OBJECT ? piece.size() + sizeof(std::uint32_t) : 0;
    if (passThroughDrops(piece)) {
        countRule(Rule::ENTRY_IDENTIFIERS);
        return;
    }
    countOutput(piece.size());
    oversizedLine += piece;
    if (oversizedLine.ends_with('\n')) {
        oversizedLine.pop_back();
        oversizedLines.add(digestOfLine(oversizedLine));
        oversizedLine.clear();
    }
}

}  // namespace

void passThrough(std::string_view attributes, bool addsInstallDate) {
    const bool losesLines = passThroughDrops(attributes);
    const bool isPlain =
        objectClass == UNINTERESTING_OBJECTCLASS || objectClass == CONTAINER_OBJECTCLASS;
    LinesDigest digest;
    std::uint64_t bytes = 1;
    visitLines(attributes, [&](std::string_view line, int index) {
        if (isPlain) {
            reportUnrecognisedClass(line, index);
        }
        if (losesLines && passThroughDrops(line)) {
            dropLine(line, index, FROM_PASS_THROUGH);
            return;
        }
        digest.add(digestOfLine(line));
        bytes += line.size() + 1;
    });
    reportLongLines();
    noteNewName(attributes);
    countOutput(addsInstallDate ? bytes + installDateLine({}).size() + 1 : bytes);
    expected(digest, addsInstallDate);
}

void passThroughOversized() {
    oversizedLines = LinesDigest();
    oversizedLine.clear();
    oversizedRead = 0;
    oversizedPieces = 0;
    visitOversizedEntry(takeOversizedLine);
    countReading(oversizedRead, 0);
    countOutput(1);  // the blank line behind it
    reportEntry(
        FindingType::TOO_MANY_LINES,
        current.isLast
            ? "would pass the entry on as it is, without comments and entry identifiers, and "
              "write what comes next right behind it"
            : "would pass the entry on as it is, without comments and entry identifiers");
    expected(oversizedLines, false);
}

void reportTakenNames() {
    for (const NewName& name : newNames) {
        const std::span<const OwnerNumber> owners = ownersOfNewDn(name.dn);
        std::size_t told = 0;
        for (; told < owners.size() && isShown(FindingType::SAME_NEW_NAME); ++told) {
            reportAtOffset(name.offset, FindingType::SAME_NEW_NAME,
                           format("stays as it is, and the entry in line %ld would get the same DN",
                                  lineAt(ownerAt(owners[told]).offset(Part::OWN))));
        }
        countFinding(FindingType::SAME_NEW_NAME, owners.size() - told);
    }
}

void forgetPassedEntries() {
    newNames.clear();
}
