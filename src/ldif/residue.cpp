#include "ldif/residue.h"

#include <fcntl.h>

#include <string_view>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/progress.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "ldif/run_locks.h"
#include "ldif/work_file.h"

namespace {

constexpr std::string_view writeFailedLine =
    "copyRemainingObjectsToOutputLDIFFile():  fputs() failed with rc=-1 \n";

int writeObject() {
    return visitResidueLines(object, [](std::string_view line) { return ofp.write(line); });
}

// Reads the next entry into `object`. Returns false at the end of the work file.
bool readNextObject() {
    skipBlankedObjects(tifp);
    const int result = getNextObjectFromTemporaryInputLDIFFile(tifp);
    if (result == READ_ERROR) {
        fail("\ncopyRemainingObjectsToOutputLDIFFile():  ERROR:  The next object could not be read "
             "successfully.  EXITING.  \n",
             {}, {MESSAGE_CANNOT_READ, {temp_input_ldif_filename, systemReason(tifp.error())}});
    }
    if (next_available_object_slot() == 0) {
        trace("\ncopyRemainingObjectsToOutputLDIFFile():  "
              "getNextObjectFromTemporaryInputLDIFFile() has reached the end of the temporary "
              "input LDIF file. \n");
        return false;
    }
    trace("\ncopyRemainingObjectsToOutputLDIFFile():  Another object WAS read successfully.  \n"
          "           next_available_object_slot = %d  \n"
          "\ncopyRemainingObjectsToOutputLDIFFile():  THE OBJECT READ WAS:  \n",
          next_available_object_slot());
    traceObject();
    return true;
}

void requireResourceCredentials() {
    determineTheObjectsObjectClass();
    if (objectClass != RESCREDS_CONTAINER && objectClass != SECRESCREDS_OBJECTCLASS) {
        constexpr std::string_view error =
            "copyRemainingObjectsToOutputLDIFFile():  ERROR:  The object class of this object was "
            "unrecognizable.  EXITING. \n";
        fail(error, error,
             migrationFailed(
                 aboutObject("is left in the work file although it is no resource credential")));
    }
}

void requireDeletion(int result) {
    if (result != 0) {
        constexpr std::string_view error =
            "copyRemainingObjectsToOutputLDIFFile():  ERROR: "
            "deleteNextObjectFromTemporaryInputLDIFFile() failed deleting a ResCreds container or "
            "secResCreds object.  EXITING. \n";
        fail(error, error, workFileMessage("a resource credential could not be overwritten"));
    }
}

void copyObjects() {
    beginPhase(Phase::CREDENTIALS, 0, workFileSize());
    while (readNextObject()) {
        showProgress(tifp.tell());
        requireResourceCredentials();
        if (writeObject() != 0) {
            // Silent on purpose, and the work file stays open: a run that has come this far
            // continues to its end. Bytes that the system has refused are tried again when the
            // output is closed, and a failure there is reported.
            report(writeFailedLine, {});
            return;
        }
        freeObject();
        if (ofp.write("\n") != 0) {
            // Unlike a failed line this is fatal, but without a message, on purpose: the entry
            // just written would not be separated from the text behind it.
            fail(writeFailedLine, {}, {NO_MESSAGE, {}});
        }
        requireDeletion(deleteNextObjectFromTemporaryInputLDIFFile(tifp));
    }
    requireDeletion(tifp.flush());  // writes the deletions gathered in memory
    tifp.close();  // a late write error does not matter: no pass reads the file again
}

}  // namespace

void copyRemainingObjectsToOutputLDIFFile() {
    trace("copyRemainingObjectsToOutputLDIFFile():  FUNCTION ENTRY  \n");
    if (const int error = tifp.open(temp_input_ldif_filename, O_NOFOLLOW); error != 0) {
        fail(format("copyRemainingObjectsToOutputLDIFFile():  ERROR:  Unable to open temporary "
                    "input LDIF file:  %s. \n                 EXITING \n",
                    temp_input_ldif_filename),
             {}, openMessage(temp_input_ldif_filename, error));
    }
    requireIntactWorkFile();
    copyObjects();
    trace("copyRemainingObjectsToOutputLDIFFile():  FUNCTION EXIT  \n");
}
