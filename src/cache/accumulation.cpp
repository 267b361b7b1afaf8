#include "cache/accumulation.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "cache/accumulation_trace.h"
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
    traceMoved(move, index);
    trace("%s():  FUNCTION EXIT \n", move.function);
}

void stepOver(const Handler& handler, const Owners& kind) {
    narrateStepOver(handler);
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
void deleteObject(const Handler& handler, const Owners& kind, int index, int slot) {
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
int openSlot(const Handler& handler, const Owners& kind) {
    const int slot = kind.owners.slotCount();
    kind.owners.open(kind.savedDn);
    narrateNewOwner(handler, kind, slot);
    return slot;
}

// If a slot that was found held no DN, the cache would be damaged.
void requireOwnerDn(const Handler& handler, const Owners& kind, int index) {
    if (kind.owners.dn(index).empty()) {
        const std::string error = format("%s():  ERROR: %s at index %d is NULL.  EXITING. \n",
                                         handler.function, kind.owners.name(), index);
        fail(error, error, migrationFailed(aboutObject("has an owner whose DN is missing")));
    }
}

// The common part of all handlers; `move` moves the current entry into the row of its owner.
void accumulate(const Handler& handler, const Owners& kind, void (*move)(int)) {
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
void process(const Handler& handler, const Owners& kind, void (*move)(int)) {
    trace("%s():  FUNCTION ENTRY. \n", handler.function);
    accumulate(handler, kind, move);
    trace("%s():  FUNCTION EXIT. \n", handler.function);
}

// The DN line is read after the owner association, which may have removed spaces between
// "cn=users," and "secauthority=".
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
