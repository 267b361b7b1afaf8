#include "check/export_scan.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "cache/owner.h"
#include "check/export_file.h"
#include "check/failing.h"
#include "check/inventory.h"
#include "check/line_findings.h"
#include "check/owner_entries.h"
#include "check/owner_records.h"
#include "check/owners.h"
#include "check/staged_entries.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/staged_lines.h"
#include "output/new_dn.h"

namespace {

// The new text of the version found at `line`.
void reportVersionAt(int line, std::string_view colonPrefix, std::string_view value) {
    countRule(Rule::VERSIONS);
    if (colonPrefix != "version:" || line == 0) {
        reportAtLine(
            FindingType::VERSION_ELSEWHERE, line,
            format("would set the version in the attribute %s", nameOf(object.line(line), line)));
    } else if (value.size() < 3) {
        reportAtLine(FindingType::VERSION_LENGTH, line,
                     "would replace a version of another length with 6.0");
    } else if (value.size() > 3) {
        reportAtLine(FindingType::VERSION_LENGTH, line,
                     "would write 6.0 over the first three characters of the version alone");
    }
}

void reportVersion() {
    const bool isSet = someColonPrefix(
        object, [](std::string_view colonPrefix) { return colonPrefix.ends_with("version:"); },
        [](int line, std::string_view colonPrefix, std::string_view tail) {
            if (tail.starts_with(' ')) {
                const std::string_view value = withoutLeadingSpaces(tail);
                // A carriage return within the line is overwritten like any other character.
                reportVersionAt(line, colonPrefix,
                                value.substr(0, value.find_last_not_of("\r\n") + 1));
            }
            return tail.starts_with(' ');
        });
    for (int i = 1; i < object.lineCount() && !isSet; ++i) {
        if (isVersion(object.line(i))) {
            reportAtLine(FindingType::VERSION_NOT_SET, i, "would leave the version unchanged");
        }
    }
}

// A class is searched for anywhere in a line, and a longer name that begins like it is taken for
// it.
void reportMistakenClass() {
    const int index = lineOfObjectClass();
    if (index < 0 || objectClass == CONTAINER_OBJECTCLASS) {
        return;
    }
    const std::string_view line = withoutLineEnd(object.line(index));
    const std::size_t colon = std::min(line.find(':'), line.size());
    std::string value(withoutLeadingSpaces(line.substr(std::min(colon + 1, line.size()))));
    const bool isExact = equalIgnoringCase(line.substr(0, colon), "objectclass") &&
                         classNamed(trim(value)) != nullptr;
    if (!isExact) {
        reportAtLine(
            FindingType::CLASS_MISTAKEN, index,
            format("would take the entry's class from the attribute %s", nameOf(line, index)));
    }
}

// Whether a line is the user's own domain identifier, in any spelling.
bool isDomainIdentifier(std::string_view line) {
    constexpr std::string_view name = "secDomainId:";
    return equalIgnoringCase(line.substr(0, name.size()), name);
}

bool hasLineOfDomainIdentifier() {
    for (int i = 0; i < object.lineCount(); ++i) {
        if (isDomainIdentifier(object.line(i))) {
            return true;
        }
    }
    return false;
}

// Reports a domain identifier that will be added with a wrong value.
void reportAddedIdentifier(std::string_view authority, std::string_view principal) {
    const std::string_view name = withoutLineEnd(principalNameOf(object));
    if (hasLineOfDomainIdentifier()) {
        reportEntry(FindingType::DOMAIN_ID_WRONG, "would add a second domain identifier");
    } else if (authority.starts_with(':') || (principal != name && !name.empty())) {
        reportEntry(FindingType::DOMAIN_ID_WRONG,
                    "would make the domain identifier from other values");
    } else if (authority.empty() && !isUsersEntry(object.line(0))) {
        reportEntry(FindingType::EMPTY_DOMAIN,
                    "would give the user a domain identifier without a domain");
    }
}

// Reports what the user's entry lacks for its domain identifier, or a wrong value of it.
void reportDomainIdentifier() {
    if (hasDomainIdentifier()) {
        if (!hasLineOfDomainIdentifier()) {
            reportEntry(FindingType::DOMAIN_ID_WRONG,
                        "would add no domain identifier, because a value mentions one");
        }
        return;
    }
    const std::optional<std::string> authority = obtainAttributeValueFromObjArray("secAuthority");
    const std::optional<std::string> principal = obtainAttributeValueFromObjArray("principalName");
    if (!authority) {
        reportEntry(FindingType::MISSING_DOMAIN, "the entry has no secAuthority",
                    MESSAGE_PROCESSING_FAILED);
    } else if (!principal) {
        reportEntry(FindingType::MISSING_NAME, "the entry has no principalName",
                    MESSAGE_PROCESSING_FAILED);
    } else {
        countRule(Rule::DOMAIN_IDS_ADDED);
        reportAddedIdentifier(*authority, *principal);
    }
}

void reportRespelled() {
    const bool mayBe = objectClass == SECUSER_OBJECTCLASS || objectClass == SECGROUP_OBJECTCLASS;
    const int line = mayBe ? lineOfOldUuidName() : -1;
    if (line < 0) {
        return;
    }
    countRule(Rule::RESPELLED);
    if (!object.line(line).starts_with("secuuid:")) {
        reportAtLine(FindingType::RESPELLED_ELSEWHERE, line,
                     format("would respell secuuid within the attribute %s",
                            nameOf(object.line(line), line)));
    }
}

// Reports lines before the entry at which the migration would fail, and removes them.
void reportLeadingLines() {
    int continuations = 0;
    while (object.line(continuations).starts_with(' ')) {
        ++continuations;
    }
    if (continuations > 0) {
        reportEntry(FindingType::STARTS_WITH_CONTINUATION,
                    "the entry begins with a continuation line", MESSAGE_PROCESSING_FAILED);
        leaveOutLines(continuations, 0);
    }
}

// Whether a header line before the entry keeps its owner from being found. A mapping entry names
// its owner by other lines, but only its first line can make it a user's.
bool isHeaderInTheWay() {
    switch (objectClass) {
        case SECUSER_OBJECTCLASS:
        case SECGROUP_OBJECTCLASS:
        case SECPOLICY_OBJECTCLASS:
        case SECPOLICYDATA_OBJECTCLASS:
            return beginsWithHeader();
        case SECMAP_OBJECTCLASS:
            return beginsWithHeader() && dostristr(object.line(1), "cn=Users") != nullptr;
        default:
            return false;
    }
}

void reportHeader() {
    if (isHeaderInTheWay()) {
        reportEntry(FindingType::HEADER_NOT_SEPARATED,
                    "the header line is taken for the DN of the entry", MESSAGE_PROCESSING_FAILED);
        int lines = 1;
        while (object.line(lines).starts_with(' ')) {
            ++lines;
        }
        leaveOutLines(lines, 1);
    }
}

void adjust() {
    if (objectClass == SECAUTHORITYINFO_OBJECTCLASS) {
        noteDomain(obtainAttributeValueFromObjArray("secAuthority").value_or(""));
        reportVersion();
    }
    reportRespelled();
    if (objectClass == SECUSER_OBJECTCLASS) {
        reportDomainIdentifier();
    }
    if (canBeTweeked()) {
        tweekObjectInObjectArray();
    }
}

void scanEntry() {
    reportLeadingLines();
    determineTheObjectsObjectClass();
    countEntry(objectClass);
    reportLineFindings();
    reportMistakenClass();
    reportHeader();
    if (object.empty()) {
        return;
    }
    const bool passes = belongsInOutput();
    const int lines = object.lineCount();
    const std::uint64_t read = StoredEntry::sizeOf(object);
    adjust();
    const bool addsInstallDate =
        objectClass == SECAUTHORITYINFO_OBJECTCLASS && object.lineCount() > lines;
    std::string_view text = unfoldedObject();
    countReading(read, text.data() == object.text().data() ? 0 : text.size());
    if (addsInstallDate) {
        countRule(Rule::DATES_ADDED);
        text = text.substr(0, text.rfind('\n', text.size() - 2) + 1);
    }
    if (passes) {
        passThrough(text, addsInstallDate);
    } else {
        regroup(text);
    }
}

void scanOversizedEntry() {
    countEntry(UNINTERESTING_OBJECTCLASS);
    passThroughOversized();
}

}  // namespace

void scanExport(const std::string& name, const ExpectedEntryTakers& takers) {
    forgetInventory();
    forgetOwnerEntries();
    beginStagedEntries(takers);
    openExport(name);
    while (readNextEntry()) {
        current.isOversized ? scanOversizedEntry() : scanEntry();
    }
    countExport(static_cast<std::uint64_t>(current.end));
    reportLoneEntries();
    mergeOwners();
    indexNewDns();
    reportSharedNewDns();
    reportTakenNames();
}
