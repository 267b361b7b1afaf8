#include "check/export_scan.h"

#include <cerrno>
#include <optional>
#include <string_view>

#include "cache/owner.h"
#include "check/export_file.h"
#include "check/inventory.h"
#include "check/line_findings.h"
#include "check/owner_entries.h"
#include "check/passed_entries.h"
#include "check/regrouped_entries.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/staging.h"

DemandTakers demandTakers;

namespace {

void tellVersion() {
    bool isTold = false;
    someHead(
        object, [](std::string_view head) { return head.ends_with("version:"); },
        [&isTold](int line, std::string_view head, std::string_view tail) {
            if (isTold || !tail.starts_with(' ')) {
                return isTold;
            }
            isTold = true;
            const std::string_view value = withoutLineEnd(withoutLeadingBlanks(tail));
            countRule(Rule::VERSIONS);
            if (head != "version:" || line == 0) {
                findAt(
                    Kind::VERSION_ELSEWHERE, line,
                    format("would set the version in the attribute %s", nameOf(object.line(line))));
            } else if (value.size() != 3) {
                findAt(
                    Kind::VERSION_LENGTH, line,
                    value.size() < 3
                        ? std::string("would put 6.0 in the place of a version of another length")
                        : "would write 6.0 over the first three characters of the version alone");
            }
            return true;
        });
}

// Whether the user's entry has what its domain identifier is made of; tells what is missing.
bool canBeIdentified() {
    if (hasDomainIdentifier()) {
        return true;
    }
    const std::optional<std::string> authority = obtainAttributeValueFromObjArray("secAuthority");
    if (!authority) {
        findEntry(Kind::MISSING_DOMAIN, "the entry has no secAuthority", MESSAGE_PROCESSING_FAILED);
        return false;
    }
    if (!obtainAttributeValueFromObjArray("principalName")) {
        findEntry(Kind::MISSING_NAME, "the entry has no principalName", MESSAGE_PROCESSING_FAILED);
        return false;
    }
    if (authority->empty() && !isUsersEntry(object.line(0))) {
        findEntry(Kind::EMPTY_DOMAIN, "would give the user a domain identifier without a domain");
    }
    countRule(Rule::DOMAIN_IDS_ADDED);
    return true;
}

void countRespelled() {
    const bool mayBe = objectClass == SECUSER_OBJECTCLASS || objectClass == SECGROUP_OBJECTCLASS;
    if (mayBe && holdsOldUuidName()) {
        countRule(Rule::RESPELLED);
    }
}

void scanEntry() {
    ++inventory.entries;
    if (object.line(0).starts_with(' ')) {
        findEntry(Kind::STARTS_WITH_CONTINUATION, "the entry begins with a continuation line",
                  MESSAGE_PROCESSING_FAILED);
        return;
    }
    determineTheObjectsObjectClass();
    ++inventory.byClass[static_cast<std::size_t>(objectClass)];
    tellTornOff();
    tellFoldedComments();
    tellZeroBytes();
    tellCarriageReturns();
    const bool passes = belongsInOutput();
    const bool hasHeader = dostristr(object.line(0).substr(0, 8), "version:") != nullptr;
    if (hasHeader && !passes && objectClass != SECRESCREDS_OBJECTCLASS &&
        objectClass != RESCREDS_CONTAINER) {
        findEntry(Kind::HEADER_GLUED, "the header line is taken for the DN of the entry",
                  MESSAGE_PROCESSING_FAILED);
        return;
    }
    if (objectClass == SECAUTHORITYINFO_OBJECTCLASS) {
        tellVersion();
    }
    if (objectClass == SECUSER_OBJECTCLASS && !canBeIdentified()) {
        return;
    }
    countRespelled();
    const int lines = object.lineCount();
    tweekObjectInObjectArray();
    const bool addsInstallDate =
        objectClass == SECAUTHORITYINFO_OBJECTCLASS && object.lineCount() > lines;
    std::string_view text = unfoldedObject();
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
    ++inventory.entries;
    ++inventory.byClass[UNINTERESTING_OBJECTCLASS];
    passThroughOversized();
}

}  // namespace

int scanExport(const std::string& name, const DemandTakers& takers) {
    forgetInventory();
    forgetOwnerEntries();
    forgetRegroupedEntries();
    demandTakers = takers;
    if (openExport(name) != 0) {
        return -1;
    }
    int result = 0;
    while ((result = readNextEntry()) == 0) {
        current.isOversized ? scanOversizedEntry() : scanEntry();
    }
    if (result == -2) {
        return -1;
    }
    if (hasTooManyDomains()) {
        errno = E2BIG;
        return -1;
    }
    inventory.bytes = static_cast<std::uint64_t>(current.end);
    return 0;
}
