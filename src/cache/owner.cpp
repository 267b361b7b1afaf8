#include "cache/owner.h"

#include <algorithm>
#include <array>

#include "cache/object_cache.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/attribute_lookup.h"
#include "entry/text.h"

std::string saved_secUser_dn;
std::string saved_secGroup_dn;

namespace {

// The texts of one of the two associations in its traces and errors. The spaces and line feeds of
// the two differ on purpose.
struct Association {
    std::string_view function;
    OwnerTable& owners;
    std::string& savedDn;
    std::string_view upperKind;
    std::string_view mixedKind;
    std::string_view indexLabel;
    std::string_view exitPrefix;
    OwnerKind kind;
    std::string_view classes;    // in the error of an entry of another class
    std::string_view echoLabel;  // before its DN line
};

const Association userAssociation = {"learnIndexOfAssociatedSecUserDN",
                                     secUser_dn,
                                     saved_secUser_dn,
                                     "SECUSER",
                                     "secUser",
                                     "     The index returned is:    ",
                                     "\n",
                                     OwnerKind::USER,
                                     "secPolicy, secPolicyData, secMap, or secUser",
                                     "dn: "};
const Association groupAssociation = {"learnIndexOfAssociatedSecGroupDN",
                                      secGroup_dn,
                                      saved_secGroup_dn,
                                      "SECGROUP",
                                      "secGroup",
                                      "     The index returned is:     ",
                                      "",
                                      OwnerKind::GROUP,
                                      "secGroup or secMap",
                                      "learnIndexOfAssociatedSecGroupDN():  object = "};

// ---- The owner of an entry.

bool hasOwnerOfKind(ObjectClass kind, OwnerKind ownerKind) {
    switch (kind) {
        case SECUSER_OBJECTCLASS:
        case SECPOLICYDATA_OBJECTCLASS:
        case SECPOLICY_OBJECTCLASS:
            return ownerKind == OwnerKind::USER;
        case SECGROUP_OBJECTCLASS:
            return ownerKind == OwnerKind::GROUP;
        case SECMAP_OBJECTCLASS:
            return true;
        default:
            return false;
    }
}

std::size_t dnValueStart(std::string_view dnLine) {
    return dnLine.size() - dnValueOf(dnLine).size();
}

// Ends `text` in exactly one line feed instead of any other white space.
void endInLineFeed(std::string& text) {
    trim(text) += '\n';
}

// The owner DN is the DN line from `start` on. It is stored before the line is trimmed and keeps
// white space at its end: an owner with such a DN is not found again, and never was.
void takeOwnerFromDnLine(std::string_view dnLine, std::size_t start, OwnerKind kind,
                         EntryOwner& owner) {
    owner.stored = dnLine.substr(start);
    owner.sought = owner.stored;
    endInLineFeed(owner.sought);
    if (kind == OwnerKind::USER) {
        commaSpaceEater(owner.sought);
    }
    if (owner.sought != owner.stored) {
        owner.rewrittenFrom = start;
    }
    if (kind == OwnerKind::USER) {
        commaSpaceEater(owner.stored);
    }
}

// The owner of a policy is its parent: everything behind the first comma. A space behind the comma
// belongs to the owner DN, so that such a policy finds no user.
void takeOwnerOfPolicy(std::string_view dnLine, EntryOwner& owner) {
    const std::size_t comma = dnLine.find(',', dnValueStart(dnLine));
    if (comma == std::string_view::npos) {
        owner.problem = OwnerProblem::NO_COMMA;
        return;
    }
    takeOwnerFromDnLine(dnLine, comma + 1, OwnerKind::USER, owner);
}

// The owner DN of an entry below cn=Users or of a mapping entry: the domain before the DN that its
// attribute holds.
void takeOwnerFromAttributes(std::string_view domain, OwnerKind kind, EntryOwner& owner) {
    owner.stored += domain;
    owner.stored += ',';
    owner.stored += *owner.secDn;
    endInLineFeed(owner.stored);
    // For groups, spaces beside the commas of the whole DN count.
    if (kind == OwnerKind::USER) {
        commaSpaceEater(owner.stored);
    }
    owner.sought = owner.stored;
}

void takeOwnerOfUsersEntry(EntryView entry, EntryOwner& owner) {
    owner.secAuthority = obtainAttributeValueFromObjArray("secAuthority", entry);
    owner.secDn = obtainAttributeValueFromObjArray("secDN", entry);
    if (!owner.secAuthority || !owner.secDn) {
        owner.problem = owner.secAuthority ? OwnerProblem::NO_SECDN : OwnerProblem::NO_SECAUTHORITY;
        return;
    }
    owner.stored = "secAuthority=";
    // The text from a colon on is no part of the domain's name.
    const std::string_view domain = *owner.secAuthority;
    takeOwnerFromAttributes(domain.substr(0, domain.find(':')), OwnerKind::USER, owner);
}

// The domain of a mapping entry's owner is the secAuthority RDN of its own DN.
void takeMappedOwner(EntryView entry, OwnerKind kind, EntryOwner& owner) {
    owner.secDn =
        obtainAttributeValueFromObjArray(kind == OwnerKind::USER ? "secdn" : "secDN", entry);
    owner.dn = obtainAttributeValueFromObjArray("dn", entry);
    const std::string_view dn = owner.dn ? std::string_view(*owner.dn) : std::string_view();
    const char* found = dostristr(dn, "secAuthority");
    if (found == nullptr || !owner.secDn) {
        owner.problem =
            found == nullptr ? OwnerProblem::NO_SECAUTHORITY_IN_DN : OwnerProblem::NO_SECDN;
        return;
    }
    commaSpaceEater(*owner.secDn);
    const std::string_view authority = dn.substr(static_cast<std::size_t>(found - dn.data()));
    takeOwnerFromAttributes(authority.substr(0, authority.find(',')), kind, owner);
}

// ---- The associations.

void traceKind(const Association& association, std::string_view kind) {
    trace("%s(): \n   The input object is %s object \n", association.function, kind);
}

void traceKindOfObject(const Association& association) {
    if (!debug || !hasOwnerOfKind(objectClass, association.kind)) {
        return;
    }
    switch (objectClass) {
        case SECUSER_OBJECTCLASS:
            if (isUsersEntry(object.line(0))) {
                traceKind(association, "a 'Users' SECUSER");
                break;
            }
            // Traced twice, in two wordings.
            traceKind(association, "an 'ordinary' SECUSER");
            traceKind(association, "an ordinary  SECUSER");
            break;
        case SECPOLICYDATA_OBJECTCLASS:
            traceKind(association, "a SECPOLICYDATA");
            break;
        case SECPOLICY_OBJECTCLASS:
            traceKind(association, "a SECPOLICY");
            break;
        case SECGROUP_OBJECTCLASS:
            traceKind(association, "a SECGROUP");
            break;
        case SECMAP_OBJECTCLASS:
            traceKind(association, "a SECMAP");
            break;
        default:
            break;
    }
}

// The problem of an entry that has no owner, in messages.
constexpr std::array<std::string_view, static_cast<std::size_t>(OwnerProblem::END)> problemTexts = {
    "",
    "is of a kind that has no owner",
    "has a DN without a comma, so it has no owner",
    "has no secAuthority in its DN",
    "has no secAuthority attribute",
    "has no secDN attribute"};

// The trace and the echo for an entry that has no owner.
struct OwnerError {
    std::string trace;
    std::string echo;
};

OwnerError errorOf(const Association& association, const EntryOwner& owner) {
    if (owner.problem == OwnerProblem::WRONG_CLASS) {
        std::string error =
            format("%s():  ERROR: The object is not %s.  objectClass = %d \n", association.function,
                   association.classes, static_cast<int>(objectClass));
        std::string echo =
            error + format("%s%s\n", association.echoLabel, firstLineOr(object, "null"));
        return {std::move(error), std::move(echo)};
    }
    // A user's mapping entry without secDN is echoed as one without a domain.
    const bool isEchoed =
        owner.problem == OwnerProblem::NO_SECAUTHORITY_IN_DN ||
        (owner.problem == OwnerProblem::NO_SECDN && objectClass == SECMAP_OBJECTCLASS &&
         association.kind == OwnerKind::USER);
    return {{},
            isEchoed ? format("%s(): Missing secAuthority in dn: %s\n", association.function,
                              owner.dn.value_or("null"))
                     : ""};
}

void requireOwner(const Association& association, const EntryOwner& owner) {
    if (owner.problem != OwnerProblem::NONE) {
        const OwnerError error = errorOf(association, owner);
        const auto problem = static_cast<std::size_t>(owner.problem);
        fail(error.trace, error.echo, migrationFailed(aboutObject(problemTexts[problem])));
    }
}

// Groups have always been traced with the users' wording.
void traceComputedDn(const Association& association) {
    trace("   Its DN is  %s"
          "   The computed saved_secUser_dn is:  %s",
          object.line(0), association.savedDn);
    if (association.kind == OwnerKind::USER) {
        trace("   Its strlen is:  %d \n", association.savedDn.size());
    }
}

// The group search lists every slot that a scan would compare.
void traceComparedSlots(const Association& association, int found) {
    if (!debug || association.kind == OwnerKind::USER) {
        return;
    }
    const int last = found < 0 ? association.owners.slotCount() - 1 : found;
    for (int i = 0; i <= last; ++i) {
        trace("   %s[%d] =  %s \n", association.owners.name(), i, association.owners.dn(i));
    }
}

int search(const Association& association, std::string_view sought) {
    const std::string_view function = association.function;
    trace("\n%s():  BEGIN SEARCH WITHIN %s ARRAY  \n", function, association.owners.name());
    const int index = association.owners.find(sought);
    traceComparedSlots(association, index);
    if (index < 0) {
        trace("%s():  The %s DN WAS NOT FOUND  \n", function, association.upperKind);
        return index;
    }
    // Equal texts have the same length, so otherwise the table would be damaged.
    if (debug && association.owners.dn(index).size() != sought.size()) {
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

int learnIndex(const Association& association) {
    static EntryOwner owner;
    trace("%s():  FUNCTION ENTRY \n", association.function);
    traceKindOfObject(association);
    learnOwner(object, objectClass, association.kind, owner);
    requireOwner(association, owner);
    if (owner.secAuthority) {
        // The kind is traced again, without its heading.
        trace("   secAuthority_attribute_value = %s \n"
              "   secDN_attribute_value        = %s \n"
              "   The input object is a 'Users' SECUSER object \n",
              *owner.secAuthority, *owner.secDn);
    }
    rewriteDnLine(owner);
    association.savedDn.swap(owner.stored);
    traceComputedDn(association);
    const int index = search(association, owner.sought);
    if (!association.savedDn.ends_with('\n')) {
        association.savedDn += '\n';
    }
    trace("%s%s():  FUNCTION EXIT \n", association.exitPrefix, association.function);
    return index;
}

}  // namespace

void learnOwner(EntryView entry, ObjectClass kind, OwnerKind ownerKind, EntryOwner& owner) {
    owner.problem = OwnerProblem::NONE;
    owner.stored.clear();
    owner.rewrittenFrom = std::string::npos;
    owner.secDn.reset();
    owner.secAuthority.reset();
    const std::string_view dnLine = entry.line(0);
    if (!hasOwnerOfKind(kind, ownerKind)) {
        owner.problem = OwnerProblem::WRONG_CLASS;
    } else if (kind == SECMAP_OBJECTCLASS) {
        takeMappedOwner(entry, ownerKind, owner);
    } else if (kind == SECPOLICY_OBJECTCLASS || kind == SECPOLICYDATA_OBJECTCLASS) {
        takeOwnerOfPolicy(dnLine, owner);
    } else if (kind == SECUSER_OBJECTCLASS && isUsersEntry(dnLine)) {
        takeOwnerOfUsersEntry(entry, owner);
    } else {
        takeOwnerFromDnLine(dnLine, dnValueStart(dnLine), ownerKind, owner);
    }
}

void rewriteDnLine(const EntryOwner& owner) {
    if (owner.rewrittenFrom != std::string::npos) {
        object.replaceTail(0, owner.rewrittenFrom, owner.sought);
    }
}

int learnIndexOfAssociatedSecUserDN() {
    return learnIndex(userAssociation);
}

int learnIndexOfAssociatedSecGroupDN() {
    return learnIndex(groupAssociation);
}

void copySecPolicyDNFromObjectArrayToSecPolicyDNArray(int index) {
    const OutOfMemoryLine line(
        "copySecPolicyDNFromObjectArrayToSecPolicyDNArray():  malloc() failure.  EXITING. \n");
    const auto slot = static_cast<std::size_t>(index);
    if (slot >= secPolicy_dn.size()) {
        secPolicy_dn.resize(slot + 1);
    }
    secPolicy_dn[slot] = dnValueOf(object.line(0));
    // The trace has always called it the group's DN.
    trace("   The secPolicy dn copied was:   %s \n"
          "   The secGroup dn was copied to slot %d \n",
          secPolicy_dn[slot], index);
}

std::string_view dnValueOf(std::string_view dnLine) {
    return withoutLeadingSpaces(dnLine.substr(std::min<std::size_t>(3, dnLine.size())));
}

bool isUsersEntry(std::string_view dnLine) {
    return dostristr(dnLine, "cn=users,secauthority=") != nullptr;
}
