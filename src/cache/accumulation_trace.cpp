#include "cache/accumulation_trace.h"

#include "cache/owner.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"

namespace {

constexpr std::string_view userEcho = "secUser_dn is : %s\n";
constexpr std::string_view groupEcho = "secGroup_dn is : %s\n";
constexpr std::string_view mappingEcho = "secUser_dn is: %s \n";

constexpr Narrative userNarrative = {
    "moveSecMapForSecUserObjectFromObjectArrayToSecMapForSecUserMatrix", " \n",
    "deleteNextObjectFromTemporaryInputLDIFFile"};
// Scripts that read traces expect this name for the group's move, although no procedure has it, its
// DN without a space and a line feed behind it, and the deletion with parentheses.
constexpr Narrative groupNarrative = {
    "moveSecMapForSecGroupObjectFromObjectArrayToSecGroupForSecUserMatrix", "",
    "deleteNextObjectFromTemporaryInputLDIFFile()"};

// The prefix of the handlers for a further line of one message.
constexpr std::string_view indent = "                                             ";

}  // namespace

// Only the error of this one has no space at its end.
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

const Owners users = {"secUser",
                      secUser_dn,
                      max_number_of_secuser_slots,
                      saved_secUser_dn,
                      learnIndexOfAssociatedSecUserDN,
                      "learnIndexOfAssociatedSecUserDN",
                      toSecMapForSecUser.function};
const Owners groups = {"secGroup",
                       secGroup_dn,
                       max_number_of_secgroup_slots,
                       saved_secGroup_dn,
                       learnIndexOfAssociatedSecGroupDN,
                       "learnIndexOfAssociatedSecGroupDN",
                       toSecMapForSecGroup.function};

const Handler secUserHandler = {
    "processSecUserObjectFromTempInputLDIFFile",
    "secUser",
    "processSecUserObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    userEcho,
    OWNER_OR_EMPTY,
    OWNER_OR_EMPTY};
const Handler secPolicyDataHandler = {
    "processSecPolicyDataObjectFromTempInputLDIFFile",
    "secPolicyData",
    "processSecPolicyDataObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    userEcho,
    OWNER_OR_EMPTY,
    OWNER_OR_EMPTY};
const Handler secPolicyHandler = {
    "processSecPolicyObjectFromTempInputLDIFFile",
    "secPolicy",
    "processSecPolicyObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    userEcho,
    NEVER,
    OWNER_FOUND,
    true};
const Handler secGroupHandler = {
    "processSecGroupObjectFromTempInputLDIFFile",
    "secGroup",
    "processSecGroupObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    groupEcho,
    NEVER,
    OWNER_OF_SLOT};

// Errors call the mapping entry a secUser object, for groups too.
const Handler userMappingHandler = {
    "processSecMapObjectFromTempInputLDIFFile",
    "secUser",
    "processSecMapObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    mappingEcho,
    NEVER,
    OWNER_FOUND,
    false,
    &userNarrative};
const Handler groupMappingHandler = {
    "processSecMapObjectFromTempInputLDIFFile",
    "secUser",
    "processSecMapObjectFromTempInputLDIFFile():  ERROR:  malloc() failure.  EXITING. \n",
    {},
    NEVER,
    NEVER,
    false,
    &groupNarrative};

void traceMoved(const Move& move, int index) {
    if (!debug || !move.tracesLines) {
        return;
    }
    trace("%s():  The secMap object moved is: \n", move.function);
    const EntryView moved = move.matrix.row(index);
    for (int column = 0; column < moved.lineCount(); ++column) {
        trace("%s[%d][%d] = %s ", move.matrix.name, index, column, moved.line(column));
    }
}

void traceObjectArray(std::string_view heading) {
    trace("processSecMapObjectFromTempInputLDIFFile():  The object array is:%s", heading);
    if (debug) {
        for (int i = 0; i < object.lineCount(); ++i) {
            trace("object[%d] = %s ", i, object.line(i));
        }
    }
}

void narrateOwner(const Handler& handler, const Owners& kind, int index) {
    if (handler.narrative == nullptr) {
        return;
    }
    trace("%s():  %s() returned index = %d \n", handler.function, kind.association, index);
    if (index < 0) {
        trace("%s():  The %s DN was NOT FOUND! \n%sThis is the first entry for this %s. \n",
              handler.function, kind.name, indent, kind.name);
    }
}

void narrateFreeSlot(const Handler& handler, const Owners& kind, bool isFree) {
    if (handler.narrative != nullptr) {
        trace("%s():  A slot %s AVAILABLE for this %s/secMap \n%snext_available_%s_dn_slot = %d \n",
              handler.function, isFree ? "IS" : "IS NOT", kind.name, indent, kind.name,
              kind.owners.slotCount());
    }
}

void narrateNewOwner(const Handler& handler, const Owners& kind, int slot) {
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

void narrateFoundOwner(const Handler& handler, const Owners& kind, int slot) {
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

std::string ownerEcho(const Handler& handler, const Owners& kind, OwnerEcho when, int index) {
    if (when == NEVER || (when == OWNER_FOUND && index < 0)) {
        return {};
    }
    const FormatArgument dn = index < 0 ? std::string_view() : kind.owners.dn(index);
    return formatText(handler.ownerEchoFormat, {&dn, 1});
}

void narrateStepOver(const Handler& handler) {
    if (handler.narrative != nullptr) {
        trace("%sStepping over this secMap object in the temporary input LDIF file \n", indent);
    }
}
