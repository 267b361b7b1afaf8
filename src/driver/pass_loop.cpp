#include "driver/pass_loop.h"

#include <fcntl.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "cache/accumulation.h"
#include "cache/object_cache.h"
#include "cache/owner.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/progress.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "ldif/run_locks.h"
#include "ldif/work_file.h"
#include "output/flush.h"

bool atLeastOneObjectProcessed = false;

namespace {

// How a pass treats an entry: its handler takes it in while fewer than `max` of its kind are held,
// else it is stepped over. Without a handler it is always stepped over.
struct Dispatch {
    std::string_view kind;  // in the error when it cannot be stepped over
    void (*handler)();
    std::int32_t (*held)();
    const std::int32_t* max;
};

const Dispatch usersSecUser = {"Users secUser object", processSecUserObjectFromTempInputLDIFFile,
                               numberOfUserSecUserObjectsInObjectCache,
                               &max_number_of_secuser_slots};
const Dispatch secUser = {"secUser object", processSecUserObjectFromTempInputLDIFFile,
                          numberOfSecUserObjectsInObjectCache, &max_number_of_secuser_slots};
const Dispatch secGroup = {"secGroup object", processSecGroupObjectFromTempInputLDIFFile,
                           numberOfSecGroupObjectsInObjectCache, &max_number_of_secgroup_slots};
const Dispatch secPolicyData = {
    "secPolicyData object", processSecPolicyDataObjectFromTempInputLDIFFile,
    numberOfSecPolicyDataObjectsInObjectCache, &max_number_of_secuser_slots};
const Dispatch userMapping = {"secMap for secUser object", processSecMapObjectFromTempInputLDIFFile,
                              numberOfSecMapForSecUserObjectsInObjectCache,
                              &max_number_of_secuser_slots};
const Dispatch groupMapping = {
    "secMap for secGroup object", processSecMapObjectFromTempInputLDIFFile,
    numberOfSecMapForSecGroupObjectsInObjectCache, &max_number_of_secgroup_slots};
const Dispatch secPolicy = {"secPolicy object", processSecPolicyObjectFromTempInputLDIFFile,
                            numberOfSecPolicyObjectsInObjectCache, &max_number_of_secuser_slots};
const Dispatch resourceCredentials = {"ResCreds container object or a secResCreds object", nullptr,
                                      nullptr, nullptr};

const Dispatch& dispatchOfObject() {
    switch (objectClass) {
        case SECUSER_OBJECTCLASS:
            return isUsersEntry(object.line(0)) ? usersSecUser : secUser;
        case SECGROUP_OBJECTCLASS:
            return secGroup;
        case SECPOLICYDATA_OBJECTCLASS:
            return secPolicyData;
        case SECMAP_OBJECTCLASS:
            return isMappingOfUser() ? userMapping : groupMapping;
        case SECPOLICY_OBJECTCLASS:
            return secPolicy;
        case RESCREDS_CONTAINER:
        case SECRESCREDS_OBJECTCLASS:
            return resourceCredentials;
        case UNINTERESTING_OBJECTCLASS:
        case SECAUTHORITYINFO_OBJECTCLASS:
        case CONTAINER_OBJECTCLASS:
            break;  // staging sends none of these to the work file
    }
    constexpr std::string_view error =
        "main():  ERROR:  The object class of this object was unrecognizable.  EXITING. \n";
    fail(error, error,
         migrationFailed(aboutObject(
             "is in the work file although it needs no regrouping (is a line of the export, or a "
             "folded attribute once its lines are joined, longer than 4,094 bytes?)")));
}

bool hasLeftAnObject = false;  // whether the current pass leaves the next one something to gather

void takeInOrStepOver(const Dispatch& dispatch) {
    if (dispatch.handler != nullptr && dispatch.held() < *dispatch.max) {
        const std::int32_t held = dispatch.held();
        dispatch.handler();
        hasLeftAnObject = hasLeftAnObject || dispatch.held() == held;
        return;
    }
    hasLeftAnObject = hasLeftAnObject || dispatch.handler != nullptr;
    if (stepOverNextObjectFromTemporaryInputLDIFFile(tifp) != 0) {
        const std::string error = format(
            "main():  ERROR: stepOverNextObjectFromTemporaryInputLDIFFile() failed stepping over "
            "a %s.  EXITING. \n",
            dispatch.kind);
        fail(error, error, workFileMessage(aboutObject("could not be stepped over")));
    }
}

// Reads the next entry into `object`. Returns false at the end of the work file.
bool readNextObject(bool& passAnnounced) {
    trace("\nmain():  Beginning new iteration of inner loop to get the next object \n");
    skipBlankedObjects(tifp);
    const int result = getNextObjectFromTemporaryInputLDIFFile(tifp);
    if (result == END_OF_FILE && next_available_object_slot() == 0) {
        return false;
    }
    if (!std::exchange(passAnnounced, true)) {
        zr_printf_utf8({MESSAGE_PASS_BEGINS, {}});
    }
    if (result == READ_ERROR) {
        constexpr std::string_view error =
            "\nmain():  ERROR:  The next object could not be read successfully.  EXITING.  \n";
        fail(error, error,
             {MESSAGE_CANNOT_READ, {temp_input_ldif_filename, systemReason(tifp.error())}});
    }
    trace("\nmain():  Another object WAS read successfully.  \n"
          "         next_available_object_slot = %d  \n"
          "         THE OBJECT READ WAS:  \n",
          next_available_object_slot());
    traceObject();
    return true;
}

void openWorkFile() {
    if (const int error = tifp.open(temp_input_ldif_filename, O_NOFOLLOW); error != 0) {
        const std::string line =
            format("main():  ERROR:  Unable to open temporary input LDIF file:  %s. \n",
                   temp_input_ldif_filename);
        fail(line + "                 EXITING \n", line,
             openMessage(temp_input_ldif_filename, error));
    }
    requireIntactWorkFile();
    if (hasTheStepOverFilePositionBeenInitialized) {
        const int error = tifp.setPosition(filePositionOfFirstObjectSteppedOver);
        if (error != 0) {
            fail("main():  fsetpos() failed with rc = -1 (dec)  \n", {},
                 positionMessage("fsetpos()", error));
        }
        hasTheStepOverFilePositionBeenInitialized = false;
    }
}

// Whether the work file is known to hold nothing but blank lines and entries stepped over: lines
// left by an earlier run may be divided differently between blank lines. A traced run takes no
// shortcut, so that its trace is complete.
bool mayShortcutsBeTaken() {
    return !debug && !holdsLeftOvers();
}

void readWorkFile() {
    beginPhase(Phase::PASS, tifp.tell(), workFileSize());
    bool passAnnounced = false;
    while (readNextObject(passAnnounced)) {
        showProgress(tifp.tell(), secUser_dn_count(), secGroup_dn_count());
        determineTheObjectsObjectClass();
        if (objectClass != RESCREDS_CONTAINER && objectClass != SECRESCREDS_OBJECTCLASS) {
            atLeastOneObjectProcessed = true;
        }
        takeInOrStepOver(dispatchOfObject());
        trace("\nmain():  This is the end of the inner loop \n");
    }
    trace("\nmain():  getNextObjectFromTemporaryInputLDIFFile() has reached the end of the "
          "temporary input LDIF file. \n");
    if (mayShortcutsBeTaken()) {
        rememberObjectsSteppedOver(tifp);
    }
    if (const int error = tifp.close(); error != 0) {
        // What was blanked in this pass may not be, and would be migrated again.
        fail({}, {}, {MESSAGE_CANNOT_WRITE, {temp_input_ldif_filename, systemReason(error)}});
    }
}

void writeGatheredData() {
    trace("\nmain():  Calling copyAllAccumulatedDataToOutputFile() within loop \n");
    zr_printf_utf8({MESSAGE_WRITING, {}});
    if (copyAllAccumulatedDataToOutputFile() != 0) {
        constexpr std::string_view error =
            "main():  ERROR:  Failed to copy all accumulated data to the temporary output LDIF "
            "file.  EXITING.  \n";
        fail(error, error, flushFailedMessage());
    }
    trace("\nmain():  Returned from copyAllAccumulatedDataToOutputFile() within loop \n");
}

// A pass that has left nothing to gather is followed by one that only looks at the resource
// credentials and changes nothing. Without it, and without what the residue copy then skips, a
// migration in one pass takes less time; scripts/bench measures that.
bool isLastPassSuperfluous() {
    return atLeastOneObjectProcessed && !hasLeftAnObject && mayShortcutsBeTaken();
}

// Prints the messages of the last pass without reading the work file, and sets the same state.
void skipLastPass() {
    if (hasTheStepOverFilePositionBeenInitialized) {
        zr_printf_utf8({MESSAGE_PASS_BEGINS, {}});
    }
    atLeastOneObjectProcessed = false;
}

}  // namespace

void makePasses() {
    forgetObjectsSteppedOver();
    do {
        trace("main():  Beginning new iteration of outer loop to make another pass on the input "
              "file. \n");
        atLeastOneObjectProcessed = false;
        hasLeftAnObject = false;
        openWorkFile();
        readWorkFile();
        if (atLeastOneObjectProcessed) {
            writeGatheredData();
        }
        trace("\nmain():  This is the end of the outer loop \n");
        if (isLastPassSuperfluous()) {
            skipLastPass();
        }
    } while (atLeastOneObjectProcessed);
}
