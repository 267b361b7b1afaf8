#include "ldif/staging.h"

#include <fcntl.h>

#include <string>
#include <string_view>
#include <utility>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/claims.h"
#include "ldif/entry_reader.h"
#include "ldif/pass_through.h"
#include "ldif/run_files.h"

namespace {

// The work file while it is being written. Not local to a procedure, so that a fatal end finds
// it and writes out what it holds.
OutputFile stagedFile;

[[noreturn]] void failWriting(const OutputFile& file) {
    const bool isOutput = &file == &ofp;
    fail("copyOriginalInputFileToTempInputFile():  fputs() failed with rc=-1 \n", {},
         writeMessage(isOutput ? output_ldif_filename : temp_input_ldif_filename, file));
}

void writeOrFail(OutputFile& file, std::string_view text) {
    if (file.write(text) != 0) {
        failWriting(file);
    }
}

// The next entry that is not passed to the output by the reader itself.
int readNextObject() {
    int result = 0;
    do {
        result = getNextObject(ifp);
    } while (result == PASSED_THROUGH);
    return result;
}

bool belongsInOutput(std::string_view dn) {
    switch (objectClass) {
        case UNINTERESTING_OBJECTCLASS:
        case SECAUTHORITYINFO_OBJECTCLASS:
        case CONTAINER_OBJECTCLASS:
            return true;
        case SECPOLICY_OBJECTCLASS:  // one that is already in the newer layout
            return dostristr(dn, "cn=Policies,secAuthority=") != nullptr;
        default:
            return false;
    }
}

void writeAttributeToOutput(const std::string& attribute) {
    if (!holdsEntryIdentifier(attribute)) {
        writeOrFail(ofp, attribute);
        writeOrFail(ofp, "\n");
    }
}

// Entry identifiers stay in the work file; they are dropped when the new entries are written.
void writeAttributeToWorkFile(std::string& attribute) {
    // This one spelling alone: owners are compared without blanks beside their commas anyway.
    if (attribute.find("secdn:") != std::string::npos) {
        commaSpaceEater(attribute);
    }
    writeOrFail(stagedFile, attribute);
    writeOrFail(stagedFile, "\n");
}

void stageObject() {
    determineTheObjectsObjectClass();
    const std::string dn = obtainAttributeFromObjectArray(0);
    tweekObjectInObjectArray();

    const bool writeObjectToLDIFFile = belongsInOutput(dn);
    for (int i = 0; i < next_available_object_slot(); ++i) {
        if (object.line(i).starts_with(' ')) {
            continue;  // already part of the attribute before it
        }
        std::string attribute = obtainAttributeFromObjectArray(i);
        if (writeObjectToLDIFFile) {
            writeAttributeToOutput(attribute);
        } else {
            writeAttributeToWorkFile(attribute);
        }
    }
    writeOrFail(writeObjectToLDIFFile ? ofp : stagedFile, "\n");
}

// Everything staged must have reached its file before the passes begin to rely on it.
void finishFiles() {
    if (stagedFile.close() != 0) {
        failWriting(stagedFile);
    }
    if (ofp.flush() != 0) {
        failWriting(ofp);
    }
    noteStagedWorkFile();
}

}  // namespace

int copyOriginalInputFileToTempInputFile() {
    trace("copyOriginalInputFileToTempInputFile():  TURNING DEBUG TRACING OFF \n"
          "copyOriginalInputFileToTempInputFile():  FUNCTION ENTRY \n"
          "copyOriginalInputFileToTempInputFile():  The temporary input file name = %s \n",
          temp_input_ldif_filename);
    const bool debugAtEntry = std::exchange(debug, false);

    // Opened for writing too, although it is only read: an export that cannot be written is
    // refused.
    if (ifp.open(input_ldif_filename) != 0) {
        const Message message = openMessage(input_ldif_filename);
        fail(format("copyOriginalInputFileToTempInputFile():  Unable to open original input LDIF "
                    "file:  %s.  Exiting. \n",
                    input_ldif_filename),
             {}, message);
    }
    if (claimWorkFile() != 0 ||
        stagedFile.open(temp_input_ldif_filename, O_APPEND | O_NOFOLLOW) != 0) {
        const Message message = claimMessage(temp_input_ldif_filename);
        fail(format("copyOriginalInputFileToTempInputFile():  Unable to open temporary input LDIF "
                    "file:  %s. \n"
                    "copyOriginalInputFileToTempInputFile():  Returning \n",
                    temp_input_ldif_filename),
             {}, message);
    }

    int result = 0;
    while (result == 0) {
        result = readNextObject();
        if (result != READ_ERROR && next_available_object_slot() > 0) {
            stageObject();
        }
    }
    finishFiles();

    // The exit is not traced: it comes before the trace is on again.
    debug = debugAtEntry;
    trace("copyOriginalInputFileToTempInputFile():  TURNING DEBUG TRACING BACK ON \n");
    if (result == READ_ERROR) {
        return -1;  // ifp stays open: it knows why
    }
    ifp.close();
    return 0;
}
