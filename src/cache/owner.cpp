#include "cache/owner.h"

#include <algorithm>
#include <optional>

#include "cache/object_cache.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/attribute_lookup.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "entry/text.h"

std::string saved_secUser_dn;
std::string saved_secGroup_dn;
std::string searchedDn;

namespace {

// One of the two associations, as its traces and errors name it. The blanks and line feeds of the
// two differ, and are meant to.
struct Association {
    std::string_view function;
    OwnerTable& owners;
    std::string& savedDn;
    std::string_view mappedAttribute;  // names the owner in a mapping entry
    std::string_view upperKind;
    std::string_view mixedKind;
    std::string_view indexLabel;
    std::string_view exitPrefix;
    bool ofUsers;
};

const Association userAssociation = {"learnIndexOfAssociatedSecUserDN",
                                     secUser_dn,
                                     saved_secUser_dn,
                                     "secdn",
                                     "SECUSER",
                                     "secUser",
                                     "     The index returned is:    ",
                                     "\n",
                                     true};
const Association groupAssociation = {"learnIndexOfAssociatedSecGroupDN",
                                      secGroup_dn,
                                      saved_secGroup_dn,
                                      "secDN",
                                      "SECGROUP",
                                      "secGroup",
                                      "     The index returned is:     ",
                                      "",
                                      false};

[[noreturn]] void failMalformed(std::string_view problem) {
    fail({}, {}, migrationFailed(aboutObject(problem)));
}

void traceKind(const Association& association, std::string_view kind) {
    trace("%s(): \n   The input object is %s object \n", association.function, kind);
}

// Where the DN value begins in the DN line: behind "dn:", which is not checked, and blanks.
std::size_t dnValueStart() {
    const std::string_view line = object.line(0);
    const std::string_view value = line.substr(std::min<std::size_t>(3, line.size()));
    return line.size() - withoutLeadingBlanks(value).size();
}

// Ends `text` in exactly one line feed instead of any other white space.
void endInLineFeed(std::string& text) {
    trim(text) += '\n';
}

// Takes the part of the DN line from `start` on, which is rewritten to the DN searched.
void searchDnLine(std::size_t start, bool normalizeCommas) {
    const std::string_view part = object.line(0).substr(start);
    searchedDn = part;
    endInLineFeed(searchedDn);
    if (normalizeCommas) {
        commaSpaceEater(searchedDn);
    }
    if (searchedDn != part) {
        object.replaceTail(0, start, searchedDn);
    }
}

// The association of an ordinary user, a policy or policy data: the owner DN is what stands in
// the DN line from `start` on. The saved DN is copied before the line is trimmed and keeps white
// space at its end: an owner stored with it is not found again, and that is how it has always
// been.
void searchUserPart(std::size_t start) {
    saved_secUser_dn = object.line(0).substr(start);
    searchDnLine(start, true);
    commaSpaceEater(saved_secUser_dn);
}

void searchOwnerOfUsersEntry() {
    traceKind(userAssociation, "a 'Users' SECUSER");
    std::optional<std::string> authority = obtainAttributeValueFromObjArray("secAuthority");
    std::optional<std::string> dn = obtainAttributeValueFromObjArray("secDN");
    if (!authority || !dn) {
        failMalformed(authority ? "has no secDN attribute" : "has no secAuthority attribute");
    }
    // The kind is traced once more, without its heading.
    trace("   secAuthority_attribute_value = %s \n"
          "   secDN_attribute_value        = %s \n"
          "   The input object is a 'Users' SECUSER object \n",
          *authority, *dn);
    commaSpaceEater(*dn);
    // What follows a colon is no part of the domain's name.
    authority->resize(std::min(authority->find(':'), authority->size()));
    saved_secUser_dn = "secAuthority=";
    saved_secUser_dn += *authority;
    saved_secUser_dn += ',';
    saved_secUser_dn += *dn;
    endInLineFeed(saved_secUser_dn);
    commaSpaceEater(saved_secUser_dn);
    searchedDn = saved_secUser_dn;
}

void searchOrdinaryUser() {
    // Traced twice, in two wordings.
    traceKind(userAssociation, "an 'ordinary' SECUSER");
    traceKind(userAssociation, "an ordinary  SECUSER");
    searchUserPart(dnValueStart());
}

// The owner of a policy is its parent: everything behind the first comma. A blank that stands
// there belongs to the owner DN, so that such a policy finds no user.
void searchOwnerOfPolicy() {
    const std::size_t comma = object.line(0).find(',', dnValueStart());
    if (comma == std::string_view::npos) {
        failMalformed("has a DN without a comma, so that it belongs to nobody");
    }
    searchUserPart(comma + 1);
}

// Saves the owner DN of a mapping entry: the secAuthority RDN of its own DN before the DN that it
// maps.
void saveMappedDn(const Association& association) {
    std::optional<std::string> mapped =
        obtainAttributeValueFromObjArray(association.mappedAttribute);
    if (mapped) {
        commaSpaceEater(*mapped);
    }
    const std::optional<std::string> dn = obtainAttributeValueFromObjArray("dn");
    const std::string_view dnText = dn ? std::string_view(*dn) : std::string_view();
    const char* found = dostristr(dnText, "secAuthority");
    if (found == nullptr || (association.ofUsers && !mapped)) {
        const std::string_view problem =
            found == nullptr ? "has no secAuthority in its DN" : "has no secDN attribute";
        fail({},
             format("%s(): Missing secAuthority in dn: %s\n", association.function,
                    dn ? dnText : "null"),
             migrationFailed(aboutObject(problem)));
    }
    if (!mapped) {
        failMalformed("has no secDN attribute");
    }
    const std::string_view authority =
        dnText.substr(static_cast<std::size_t>(found - dnText.data()));
    association.savedDn = authority.substr(0, authority.find(','));
    association.savedDn += ',';
    association.savedDn += *mapped;
}

void searchMappedOwner(const Association& association) {
    traceKind(association, "a SECMAP");
    saveMappedDn(association);
    endInLineFeed(association.savedDn);
    // For groups, blanks beside the commas of the whole DN count.
    if (association.ofUsers) {
        commaSpaceEater(association.savedDn);
    }
    searchedDn = association.savedDn;
}

[[noreturn]] void failWrongClass(const Association& association, std::string_view expected,
                                 std::string_view echoLabel) {
    const std::string error = format("%s():  ERROR: The object is not %s.  objectClass = %d \n",
                                     association.function, expected, static_cast<int>(objectClass));
    fail(error, error + format("%s%s\n", echoLabel, firstLineOr(object, "null")),
         migrationFailed(aboutObject("is of a kind that has no owner")));
}

// Groups have always been traced with the users' wording.
void traceComputedDn(const Association& association) {
    trace("   Its DN is  %s"
          "   The computed saved_secUser_dn is:  %s",
          object.line(0), association.savedDn);
}

// The group search lists every slot that a scan would compare.
void traceComparedSlots(const Association& association, int found) {
    if (!debug || association.ofUsers) {
        return;
    }
    const int last = found < 0 ? association.owners.slotCount() - 1 : found;
    for (int i = 0; i <= last; ++i) {
        trace("   %s[%d] =  %s \n", association.owners.name(), i, association.owners.dn(i));
    }
}

int search(const Association& association) {
    const std::string_view function = association.function;
    trace("\n%s():  BEGIN SEARCH WITHIN %s ARRAY  \n", function, association.owners.name());
    const int index = association.owners.find(searchedDn);
    traceComparedSlots(association, index);
    if (index < 0) {
        trace("%s():  The %s DN WAS NOT FOUND  \n", function, association.upperKind);
        return index;
    }
    // Equal texts are of one length, so that this would mean that the table is damaged.
    if (debug && association.owners.dn(index).size() != searchedDn.size()) {
        fail(format("%s():  LENGTH MISMATCH ON %s_DN/POINTER.  EXITING. \n", function,
                    association.upperKind),
             {}, {NO_MESSAGE, {}});
    }
    trace("%s():  The %s DN WAS FOUND !!!  \n"
          "%s(): \n"
          "%s%d \n"
          "     The saved %s dn is:  %s",
          function, association.upperKind, function, association.indexLabel, index,
          association.mixedKind, association.savedDn);
    return index;
}

void finish(const Association& association) {
    if (!association.savedDn.ends_with('\n')) {
        association.savedDn += '\n';
    }
    trace("%s%s():  FUNCTION EXIT \n", association.exitPrefix, association.function);
}

void searchUser() {
    switch (objectClass) {
        case SECUSER_OBJECTCLASS:
            isUsersEntry(object.line(0)) ? searchOwnerOfUsersEntry() : searchOrdinaryUser();
            break;
        case SECPOLICYDATA_OBJECTCLASS:
            traceKind(userAssociation, "a SECPOLICYDATA");
            searchOwnerOfPolicy();
            break;
        case SECPOLICY_OBJECTCLASS:
            traceKind(userAssociation, "a SECPOLICY");
            searchOwnerOfPolicy();
            break;
        case SECMAP_OBJECTCLASS:
            searchMappedOwner(userAssociation);
            break;
        default:
            failWrongClass(userAssociation, "secPolicy, secPolicyData, secMap, or secUser", "dn: ");
    }
}

void searchGroup() {
    switch (objectClass) {
        case SECGROUP_OBJECTCLASS:
            traceKind(groupAssociation, "a SECGROUP");
            saved_secGroup_dn = object.line(0).substr(dnValueStart());
            searchDnLine(dnValueStart(), false);
            break;
        case SECMAP_OBJECTCLASS:
            searchMappedOwner(groupAssociation);
            break;
        default:
            failWrongClass(groupAssociation, "secGroup or secMap",
                           "learnIndexOfAssociatedSecGroupDN():  object = ");
    }
}

}  // namespace

int learnIndexOfAssociatedSecUserDN() {
    trace("learnIndexOfAssociatedSecUserDN():  FUNCTION ENTRY \n");
    saved_secUser_dn.clear();
    searchUser();
    traceComputedDn(userAssociation);
    trace("   Its strlen is:  %d \n", saved_secUser_dn.size());
    const int index = search(userAssociation);
    finish(userAssociation);
    return index;
}

int learnIndexOfAssociatedSecGroupDN() {
    trace("learnIndexOfAssociatedSecGroupDN():  FUNCTION ENTRY \n");
    saved_secGroup_dn.clear();
    searchGroup();
    traceComputedDn(groupAssociation);
    const int index = search(groupAssociation);
    finish(groupAssociation);
    return index;
}

void copySecPolicyDNFromObjectArrayToSecPolicyDNArray(int index) {
    const OutOfMemoryLine line(
        "copySecPolicyDNFromObjectArrayToSecPolicyDNArray():  malloc() failure.  EXITING. \n");
    const auto slot = static_cast<std::size_t>(index);
    if (slot >= secPolicy_dn.size()) {
        secPolicy_dn.resize(slot + 1);
    }
    secPolicy_dn[slot] = object.line(0).substr(dnValueStart());
    // The trace has always called it the group's DN.
    trace("   The secPolicy dn copied was:   %s \n"
          "   The secGroup dn was copied to slot %d \n",
          secPolicy_dn[slot], index);
}

bool isUsersEntry(std::string_view dnLine) {
    return dostristr(dnLine, "cn=users,secauthority=") != nullptr;
}
