#include "cache/accumulation.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "cache/object_cache.h"
#include "cache/owner.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/text.h"
#include "ldif/run_files.h"
#include "ldif/work_file.h"

namespace {

// A move, as its traces and errors name it.
struct Move {
    std::string_view function;
    Matrix& matrix;
    std::string_view occupiedEnding = " \n";
    bool tracesLines = false;
};

// The error of this one alone has no blank at its end.
const Move toSecUser = {"moveSecUserObjectFromObjectArrayToSecUserMatrix", secUser_matrix, "\n"};
const Move toUsersSecUser = {"moveUsersSecUserObjectFromObjectArrayToUsersSecUserMatrix",
                             Users_secUser_matrix};
const Move toSecPolicyData = {"moveSecPolicyDataObjectFromObjectArrayToSecPolicyDataMatrix",
                              secPolicyData_matrix};
const Move toSecPolicy = {"moveSecPolicyObjectFromObjectArrayToSecPolicyMatrix", secPolicy_matrix};
const Move toSecGroup = {"moveSecGroupObjectFromObjectArrayToSecGroupMatrix", secGroup_matrix};
const Move toSecMapForSecUser = {
    "moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix", secMap_for_secUser_matrix,
    " \n", true};
const Move toSecMapForSecGroup = {
    "moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix",
    secMap_for_secGroup_matrix};

// A kind of owner: users or groups.
struct OwnerKind {
    std::string_view name;
    OwnerTable& owners;
    const std::int32_t& maxSlots;
    const std::string& savedDn;
    int (*learnIndex)();
    std::string_view association;  // the name of learnIndex
    std::string_view mappingMove;  // the name of the move of its mapping entries
};

const OwnerKind users = {"secUser",
                         secUser_dn,
                         max_number_of_secuser_slots,
                         saved_secUser_dn,
                         learnIndexOfAssociatedSecUserDN,
                         "learnIndexOfAssociatedSecUserDN",
                         toSecMapForSecUser.function};
const OwnerKind groups = {"secGroup",
                          secGroup_dn,
                          max_number_of_secgroup_slots,
                          saved_secGroup_dn,
                          learnIndexOfAssociatedSecGroupDN,
                          "learnIndexOfAssociatedSecGroupDN",
                          toSecMapForSecGroup.function};

void moveObject(const Move& move, int index) {
    trace("%s():  FUNCTION ENTRY \n", move.function);
    const EntryView row = move.matrix.row(index);
    if (!row.empty()) {
        const std::string error = format("%s():  Destination slot is already occupied.  EXITING.%s",
                                         move.function, move.occupiedEnding);
        fail(error, error + format("%s = %s\n", move.matrix.name, row.line(0)),
             slotOccupied(entryName(object), entryName(row)));
    }
    move.matrix.fill(index, object);
    freeObject();
    if (debug && move.tracesLines) {
        trace("%s():  The secMap object moved is: \n", move.function);
        const EntryView moved = move.matrix.row(index);
        for (int column = 0; column < moved.lineCount(); ++column) {
            trace("%s[%d][%d] = %s ", move.matrix.name, index, column, moved.line(column));
        }
    }
    trace("%s():  FUNCTION EXIT \n", move.function);
}

// When an error echoes the owner's DN after its own line. The handlers differ in that: where the
// owner was not found, some echo nothing, some an empty DN, and one that of the slot just opened.
enum OwnerEcho { NEVER, OWNER_FOUND, OWNER_OR_EMPTY, OWNER_OF_SLOT };

// The wording in which only the mapping handler tells its decisions.
struct Narrative {
    std::string_view moveOfNewOwner;
    std::string_view foundDnEnding;
    std::string_view deletion;
};

// A handler, as its traces and errors name it.
struct Handler {
    std::string_view function;
    std::string_view failedKind;  // what its errors call the entry
    std::string_view mallocLine;
    std::string_view ownerEchoFormat;
    OwnerEcho ownerEchoOnStepOver;
    OwnerEcho ownerEchoOnDeletion;
    bool recordsPolicyDn = false;
    const Narrative* narrative = nullptr;
};

constexpr std::string_view userEcho = "secUser_dn is : %s\n";
constexpr std::string_view groupEcho = "secGroup_dn is : %s\n";
constexpr std::string_view mappingEcho = "secUser_dn is: %s \n";

constexpr Handler secUserHandler = {
    "processSecUserObjectFromTempInputLDIFFile",
    "secUser",
    "processSecUserObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    userEcho,
    OWNER_OR_EMPTY,
    OWNER_OR_EMPTY};
constexpr Handler secPolicyDataHandler = {
    "processSecPolicyDataObjectFromTempInputLDIFFile",
    "secPolicyData",
    "processSecPolicyDataObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    userEcho,
    OWNER_OR_EMPTY,
    OWNER_OR_EMPTY};
constexpr Handler secPolicyHandler = {
    "processSecPolicyObjectFromTempInputLDIFFile",
    "secPolicy",
    "processSecPolicyObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    userEcho,
    NEVER,
    OWNER_FOUND,
    true};
constexpr Handler secGroupHandler = {
    "processSecGroupObjectFromTempInputLDIFFile",
    "secGroup",
    "processSecGroupObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    groupEcho,
    NEVER,
    OWNER_OF_SLOT};

constexpr Narrative userNarrative = {
    "moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix", " \n",
    "deleteNextObjectFromTemporaryInputLDIFFile"};
// Readers of old traces know the group's move by this name, which no procedure bears, its DN
// without a blank and a line feed behind it, and the deletion with parentheses.
constexpr Narrative groupNarrative = {
    "moveSecMapForSecGroupObjectFromObjectArrayToSecGroupForSecUserMatrix", "",
    "deleteNextObjectFromTemporaryInputLDIFFile()"};

// Errors call the mapping entry a secUser object, for groups too.
constexpr Handler userMappingHandler = {
    "processSecMapObjectFromTempInputLDIFFile",
    "secUser",
    "processSecMapObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    mappingEcho,
    NEVER,
    OWNER_FOUND,
    false,
    &userNarrative};
constexpr Handler groupMappingHandler = {
    "processSecMapObjectFromTempInputLDIFFile",
    "secUser",
    "processSecMapObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    {},
    NEVER,
    NEVER,
    false,
    &groupNarrative};

// What the handlers put in front of a further line of one message.
constexpr std::string_view indent = "                                             ";

void traceObjectArray(std::string_view heading) {
    trace("processSecMapObjectFromTempInputLDIFFile():  The object array is:%s", heading);
    if (debug) {
        for (int i = 0; i < object.lineCount(); ++i) {
            trace("object[%d] = %s ", i, object.line(i));
        }
    }
}

void narrateOwner(const Handler& handler, const OwnerKind& kind, int index) {
    if (handler.narrative == nullptr) {
        return;
    }
    trace("%s():  %s() returned index = %d \n", handler.function, kind.association, index);
    if (index < 0) {
        trace("%s():  The %s DN was NOT FOUND! \n%sThis is the first entry for this %s. \n",
              handler.function, kind.name, indent, kind.name);
    }
}

void narrateFreeSlot(const Handler& handler, const OwnerKind& kind, bool isFree) {
    if (handler.narrative != nullptr) {
        trace("%s():  A slot %s AVAILABLE for this %s/secMap \n%snext_available_%s_dn_slot = %d \n",
              handler.function, isFree ? "IS" : "IS NOT", kind.name, indent, kind.name,
              kind.owners.slotCount());
    }
}

void narrateNewOwner(const Handler& handler, const OwnerKind& kind, int slot) {
    if (handler.narrative != nullptr) {
        trace("%s():  The next_available_%s_dn_slot is %d \n"
              "%sAdded the following entry to the %s array.\n"
              "%s%s[%d] = %s"
              "Calling %s( %d ) \n",
              handler.function, kind.name, slot, indent, kind.owners.name(), indent,
              kind.owners.name(), slot, kind.owners.dn(slot), handler.narrative->moveOfNewOwner,
              slot);
    }
}

void narrateFoundOwner(const Handler& handler, const OwnerKind& kind, int slot) {
    if (handler.narrative != nullptr) {
        trace("%s():  The %s DN was FOUND in the %s array! \n%s = %s%sCalling %s( %d ) \n",
              handler.function, kind.name, kind.owners.name(), kind.owners.name(),
              kind.owners.dn(slot), handler.narrative->foundDnEnding, kind.mappingMove, slot);
    }
}

void narrateDeletion(const Handler& handler, bool isNewOwner) {
    if (handler.narrative == nullptr) {
        return;
    }
    if (isNewOwner) {
        trace("%s():  Deleting this secMap object from the temporary input LDIF file \n",
              handler.function);
    } else {
        trace("Calling %s \n", handler.narrative->deletion);
    }
}

// The line that an error echoes behind its own; `index` is -1 where the owner was not found.
std::string ownerEcho(const Handler& handler, const OwnerKind& kind, OwnerEcho when, int index) {
    if (when == NEVER || (when == OWNER_FOUND && index < 0)) {
        return {};
    }
    const FormatArgument dn = index < 0 ? std::string_view() : kind.owners.dn(index);
    return formatText(handler.ownerEchoFormat, {&dn, 1});
}

void stepOver(const Handler& handler, const OwnerKind& kind) {
    if (handler.narrative != nullptr) {
        trace("%sStepping over this secMap object in the temporary input LDIF file \n", indent);
    }
    if (stepOverNextObjectFromTemporaryInputLDIFFile(tifp) != 0) {
        const std::string error = format(
            "%s():  ERROR: stepOverNextObjectFromTemporaryInputLDIFFile() failed stepping over a "
            "%s object.  EXITING. \n",
            handler.function, handler.failedKind);
        fail(error, error + ownerEcho(handler, kind, handler.ownerEchoOnStepOver, -1),
             workFileMessage(aboutObject("could not be stepped over")));
    }
}

// Blanks the entry that has just been moved into the row of `slot`. `index` is -1 where its owner
// was new.
void deleteObject(const Handler& handler, const OwnerKind& kind, int index, int slot) {
    narrateDeletion(handler, index < 0);
    if (deleteNextObjectFromTemporaryInputLDIFFile(tifp) != 0) {
        const std::string error = format(
            "%s():  ERROR: deleteNextObjectFromTemporaryInputLDIFFile() failed deleting a %s "
            "object.  EXITING. \n",
            handler.function, handler.failedKind);
        const OwnerEcho when = handler.ownerEchoOnDeletion;
        fail(error, error + ownerEcho(handler, kind, when, when == OWNER_OF_SLOT ? slot : index),
             blankingFailedMessage());
    }
}

// Opens a slot for the owner of the current entry and returns it.
int openSlot(const Handler& handler, const OwnerKind& kind) {
    const int slot = kind.owners.slotCount();
    kind.owners.open(kind.savedDn);
    narrateNewOwner(handler, kind, slot);
    return slot;
}

// A slot that has been found and then holds no DN would mean that the cache is damaged.
void requireOwnerDn(const Handler& handler, const OwnerKind& kind, int index) {
    if (kind.owners.dn(index).empty()) {
        const std::string error = format("%s():  ERROR: %s at index %d is NULL.  EXITING. \n",
                                         handler.function, kind.owners.name(), index);
        fail(error, error, migrationFailed(aboutObject("has an owner whose DN is gone")));
    }
}

// What all handlers do; `move` puts the current entry into the row of its owner.
void accumulate(const Handler& handler, const OwnerKind& kind, void (*move)(int)) {
    const OutOfMemoryLine line(handler.mallocLine);
    const int index = kind.learnIndex();
    const bool isNewOwner = index < 0;
    narrateOwner(handler, kind, index);
    int slot = index;
    if (isNewOwner) {
        const bool isFree = kind.owners.slotCount() < kind.maxSlots;
        narrateFreeSlot(handler, kind, isFree);
        if (!isFree) {
            stepOver(handler, kind);
            return;
        }
        slot = openSlot(handler, kind);
    } else {
        requireOwnerDn(handler, kind, index);
        narrateFoundOwner(handler, kind, index);
    }
    if (handler.recordsPolicyDn) {
        copySecPolicyDNFromObjectArrayToSecPolicyDNArray(slot);
    }
    move(slot);
    deleteObject(handler, kind, index, slot);
}

// The four handlers end both lines in a full stop, the mapping handler only the second.
void process(const Handler& handler, const OwnerKind& kind, void (*move)(int)) {
    trace("%s():  FUNCTION ENTRY. \n", handler.function);
    accumulate(handler, kind, move);
    trace("%s():  FUNCTION EXIT. \n", handler.function);
}

// The DN line is looked at as the owner association has left it, which may have brought
// "cn=users," and "secauthority=" together.
void moveUserObject(int index) {
    if (isUsersEntry(object.line(0))) {
        moveUsersSecUserObjectFromObjectArrayToUsersSecUserMatrix(index);
    } else {
        moveSecUserObjectFromObjectArrayToSecUserMatrix(index);
    }
}

}  // namespace

void moveSecUserObjectFromObjectArrayToSecUserMatrix(int index) {
    moveObject(toSecUser, index);
}

void moveUsersSecUserObjectFromObjectArrayToUsersSecUserMatrix(int index) {
    moveObject(toUsersSecUser, index);
}

void moveSecPolicyDataObjectFromObjectArrayToSecPolicyDataMatrix(int index) {
    moveObject(toSecPolicyData, index);
}

void moveSecPolicyObjectFromObjectArrayToSecPolicyMatrix(int index) {
    moveObject(toSecPolicy, index);
}

void moveSecGroupObjectFromObjectArrayToSecGroupMatrix(int index) {
    moveObject(toSecGroup, index);
}

void moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix(int index) {
    moveObject(toSecMapForSecUser, index);
}

void moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix(int index) {
    moveObject(toSecMapForSecGroup, index);
}

void processSecUserObjectFromTempInputLDIFFile() {
    process(secUserHandler, users, moveUserObject);
}

void processSecPolicyDataObjectFromTempInputLDIFFile() {
    process(secPolicyDataHandler, users,
            moveSecPolicyDataObjectFromObjectArrayToSecPolicyDataMatrix);
}

void processSecPolicyObjectFromTempInputLDIFFile() {
    process(secPolicyHandler, users, moveSecPolicyObjectFromObjectArrayToSecPolicyMatrix);
}

void processSecGroupObjectFromTempInputLDIFFile() {
    process(secGroupHandler, groups, moveSecGroupObjectFromObjectArrayToSecGroupMatrix);
}

void processSecMapObjectFromTempInputLDIFFile() {
    trace("processSecMapObjectFromTempInputLDIFFile():  FUNCTION ENTRY \n");
    traceObjectArray(" \n");
    const bool ofUser = isMappingOfUser();
    trace("processSecMapObjectFromTempInputLDIFFile():  secMap is associated with a %s \n",
          ofUser ? users.name : groups.name);
    if (ofUser) {
        accumulate(userMappingHandler, users,
                   moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix);
    } else {
        accumulate(groupMappingHandler, groups,
                   moveSecMapForSecGroupObjectFromObjectArrayToSecMapForSecGroupMatrix);
    }
    traceObjectArray("\n");
    trace("processSecMapObjectFromTempInputLDIFFile():  FUNCTION EXIT. \n");
}

bool isMappingOfUser() {
    return dostristr(object.line(0), "cn=Users") != nullptr;
}
