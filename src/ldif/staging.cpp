#include "ldif/staging.h"

#include <fcntl.h>

#include <cerrno>
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
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"
#include "ldif/run_locks.h"
#include "ldif/staged_lines.h"

namespace {

// The work file while it is being written. Not local to a procedure, so that its buffer is written
// if the process ends.
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
    if (const int error = ifp.open(input_ldif_filename); error != 0) {
        fail(format("copyOriginalInputFileToTempInputFile():  Unable to open original input LDIF "
                    "file:  %s.  Exiting. \n",
                    input_ldif_filename),
             {}, openMessage(input_ldif_filename, error));
    }
}

void openWorkFile() {
    std::optional<Message> problem = lockWorkFile();
    if (!problem) {
        const int error = stagedFile.open(temp_input_ldif_filename, O_APPEND | O_NOFOLLOW);
        problem = error == 0 ? problem : lockMessage(temp_input_ldif_filename, error);
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

// Output and trace are emptied only when everything is open and the export is known to have
// positions: a run that ends before has destroyed nothing.
void emptyFiles() {
    FilePosition start;
    if (const int error = ifp.getPosition(start); error != 0) {
        fail({}, {}, positionMessage("fgetpos()", error));
    }
    reportInterruptions({MESSAGE_INTERRUPTED, {output_ldif_filename, temp_input_ldif_filename}});
    if (emptyTraceFile() != 0) {
        fail({}, {}, openMessage(debugFileName, errno));
    }
    if (const int error = ofp.empty(); error != 0) {
        fail({}, {}, openMessage(output_ldif_filename, error));
    }
}

// Reads the next entry that the reader does not copy to the output itself.
int readNextObject() {
    int result = 0;
    do {
        result = getNextObject(ifp);
    } while (result == PASSED_THROUGH);
    return result;
}

void stageObject() {
    determineTheObjectsObjectClass();
    requireAttribute(0);
    const bool writeObjectToLDIFFile = belongsInOutput();
    tweekObjectInObjectArray();
    OutputFile& file = writeObjectToLDIFFile ? ofp : stagedFile;
    const auto write = [&file](std::string_view, std::string_view text) {
        writeOrFail(file, text);
    };
    writeObjectToLDIFFile ? visitOutputLines(unfoldedObject(), write)
                          : visitWorkFileLines(unfoldedObject(), write);
    writeOrFail(file, "\n");
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
