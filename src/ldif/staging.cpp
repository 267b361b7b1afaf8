#include "ldif/staging.h"

#include <fcntl.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/interruption.h"
#include "driver/diagnostics/progress.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "ldif/run_locks.h"

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

// Opened for writing too, although it is only read: an export that cannot be written is refused.
void openInput() {
    if (ifp.open(input_ldif_filename) != 0) {
        const Message message = openMessage(input_ldif_filename);
        fail(format("copyOriginalInputFileToTempInputFile():  Unable to open original input LDIF "
                    "file:  %s.  Exiting. \n",
                    input_ldif_filename),
             {}, message);
    }
}

void openWorkFile() {
    std::optional<Message> problem = lockWorkFile();
    if (!problem && stagedFile.open(temp_input_ldif_filename, O_APPEND | O_NOFOLLOW) != 0) {
        problem = lockMessage(temp_input_ldif_filename);
    }
    if (problem) {
        fail(format("copyOriginalInputFileToTempInputFile():  Unable to open temporary input LDIF "
                    "file:  %s. \n"
                    "copyOriginalInputFileToTempInputFile():  Returning \n",
                    temp_input_ldif_filename),
             {}, *problem);
    }
    if (holdsLeftOvers()) {
        zr_printf_utf8({MESSAGE_WORK_FILE_LEFT_BEHIND, {temp_input_ldif_filename}});
    }
}

// Output and trace lose what they have held once everything is open, and an export that has no
// positions is known: a run that ends before has destroyed nothing.
void emptyFiles() {
    FilePosition start;
    if (const int returnCode = ifp.getPosition(start); returnCode != 0) {
        fail({}, {}, positionMessage("fgetpos()", returnCode));
    }
    reportInterruptions({MESSAGE_INTERRUPTED, {output_ldif_filename, temp_input_ldif_filename}});
    if (emptyTraceFile() != 0) {
        fail({}, {}, openMessage(debugFileName));
    }
    if (ofp.empty() != 0) {
        fail({}, {}, openMessage(output_ldif_filename));
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

// The place of the line that holds `at`.
struct Line {
    std::size_t start;
    std::size_t end;  // behind its line feed
};

Line lineAt(std::string_view lines, std::size_t at) {
    return {lines.rfind('\n', at) + 1, lines.find('\n', at) + 1};
}

void writeToOutput(std::string_view attributes) {
    std::size_t written = 0;
    someColonPrefix(attributes, [&](std::string_view colonPrefix) {
        const std::size_t colon = colonPrefix.size() - 1;
        if (colon >= written &&
            passThroughDrops(colonPrefix, attributes.substr(colonPrefix.size()))) {
            const Line line = lineAt(attributes, colon);
            writeOrFail(ofp, attributes.substr(written, line.start - written));
            written = line.end;
        }
        return false;
    });
    writeOrFail(ofp, attributes.substr(written));
    writeOrFail(ofp, "\n");
}

// Entry identifiers stay in the work file; they are dropped when the new entries are written.
void writeToWorkFile(std::string_view attributes) {
    std::size_t written = 0;
    someColonPrefix(attributes, [&](std::string_view colonPrefix) {
        if (colonPrefix.size() > written && isNormalized(colonPrefix)) {
            const Line line = lineAt(attributes, colonPrefix.size() - 1);
            writeOrFail(stagedFile, attributes.substr(written, line.start - written));
            std::string attribute(attributes.substr(line.start, line.end - line.start));
            commaSpaceEater(attribute);
            writeOrFail(stagedFile, attribute);
            written = line.end;
        }
        return false;
    });
    writeOrFail(stagedFile, attributes.substr(written));
    writeOrFail(stagedFile, "\n");
}

void stageObject() {
    determineTheObjectsObjectClass();
    requireAttribute(0);
    const bool writeObjectToLDIFFile = belongsInOutput();
    tweekObjectInObjectArray();
    if (writeObjectToLDIFFile) {
        writeToOutput(unfoldedObject());
    } else {
        writeToWorkFile(unfoldedObject());
    }
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

bool belongsInOutput() {
    switch (objectClass) {
        case UNINTERESTING_OBJECTCLASS:
        case SECAUTHORITYINFO_OBJECTCLASS:
        case CONTAINER_OBJECTCLASS:
            return true;
        case SECPOLICY_OBJECTCLASS:  // one that is already in the newer layout
            return dostristr(obtainAttributeFromObjectArray(0), "cn=Policies,secAuthority=") !=
                   nullptr;
        default:
            return false;
    }
}

bool isNormalized(std::string_view colonPrefix) {
    // This one spelling alone: owners are compared without blanks beside their commas anyway.
    return colonPrefix.ends_with("secdn:");
}

int copyOriginalInputFileToTempInputFile() {
    trace("copyOriginalInputFileToTempInputFile():  TURNING DEBUG TRACING OFF \n"
          "copyOriginalInputFileToTempInputFile():  FUNCTION ENTRY \n"
          "copyOriginalInputFileToTempInputFile():  The temporary input file name = %s \n",
          temp_input_ldif_filename);
    const bool debugAtEntry = std::exchange(debug, false);

    openInput();
    openWorkFile();
    emptyFiles();
    beginPhase(Phase::STAGING, 0, inputSize());
    int result = 0;
    while (result == 0) {
        result = readNextObject();
        showProgress(ifp.tell());
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
