#include "ldif/entry_reader.h"

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "entry/entry.h"
#include "entry/text.h"
#include "ldif/pass_through.h"
#include "ldif/run_files.h"

bool changetypeSeen = false;
FilePosition filePositionBeforeReadingObject;
FilePosition filePositionAfterReadingObject;

namespace {

[[noreturn]] void failPosition(std::string_view function, const char* call, int number) {
    const Message message = positionMessage(call, number);
    fail(format("%s():  %s failed with rc = %d (dec)  \n", function, call, number), {}, message);
}

FilePosition positionBeforeObject(std::string_view function, LineReader& stream) {
    FilePosition position;
    const long offset = stream.tell();
    const int returnCode = stream.getPosition(position);
    if (returnCode != 0) {
        failPosition(function, "fgetpos()", returnCode);
    }
    trace("%s():  filePositionBeforeReadingObject = %ld  \n", function, offset);
    return position;
}

void lookForChangetype(std::string_view line) {
    changetypeSeen = changetypeSeen || someHead(line, [](std::string_view head) {
                         return head.ends_with("changetype:");
                     });
}

enum Source { EXPORT, WORK_FILE };

// Gathers the lines of the next entry in `object`. Returns 0 at the blank line behind it,
// END_OF_FILE, READ_ERROR, or PASSED_THROUGH when an entry of the export is too large.
int gatherLines(LineReader& stream, Source source) {
    for (;;) {
        const int result = getNextLine(nextLine, stream);
        if (result != 0) {
            return result;
        }
        if (isBlankLine(nextLine)) {
            if (object.empty()) {
                continue;
            }
            return 0;
        }
        if (source == WORK_FILE) {
            lookForChangetype(nextLine);  // comments count here
        }
        if (isCommentLine(nextLine)) {
            continue;
        }
        object.append(nextLine);
        if (source == EXPORT && next_available_object_slot() > MOST_LINES_OF_AN_OBJECT) {
            return PASSED_THROUGH;
        }
    }
}

void traceObjectRead(std::string_view function) {
    trace("\n%s():  The object read is:   \n", function);
    if (debug) {
        for (int i = 0; i < object.lineCount(); ++i) {
            trace("   object[%d] = %s", i, object.line(i));
        }
    }
}

// Copies the entry that begins at `start` to the output: what nobody can regroup must at least not
// be lost.
void passThroughFrom(const FilePosition& start, LineReader& stream) {
    const int returnCode = stream.setPosition(start);
    if (returnCode != 0) {
        failPosition("getNextObject", "fsetpos()", returnCode);
    }
    freeObject();
    moveNextObjectToOutputLDIFFile();
}

}  // namespace

int getNextObject(LineReader& stream) {
    constexpr std::string_view function = "getNextObject";
    const OutOfMemoryLine line("getNextObject():  malloc() failure.  EXITING. \n");
    trace("getNextObject():  FUNCTION ENTRY  \n");
    freeObject();
    const FilePosition start = positionBeforeObject(function, stream);

    const int result = gatherLines(stream, EXPORT);
    if (result == PASSED_THROUGH) {
        passThroughFrom(start, stream);
    }
    traceObjectRead(function);
    trace("getNextObject():  Returning %d \ngetNextObject():  FUNCTION EXIT   \n", result);
    return result;
}

int getNextObjectFromTemporaryInputLDIFFile(LineReader& stream) {
    constexpr std::string_view function = "getNextObjectFromTemporaryInputLDIFFile";
    const OutOfMemoryLine line(
        "getNextObjectFromTemporaryInputLDIFFile():  malloc() failure.  EXITING. \n");
    trace("getNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n");
    freeObject();
    filePositionBeforeReadingObject = positionBeforeObject(function, stream);

    const int result = gatherLines(stream, WORK_FILE);
    traceObjectRead(function);
    if (stream.setPosition(filePositionBeforeReadingObject) != 0) {
        // The number reported is the reader's own result, not the code of the call: whoever
        // knows these messages reads it as "at a blank line" or "at end of file".
        failPosition(function, "fsetpos()", result);
    }
    filePositionAfterReadingObject.offset = stream.tell();
    trace("getNextObjectFromTemporaryInputLDIFFile():  filePositionBeforeReadingObject = %ld  \n"
          "                                            filePositionAfterReadingObject = %ld  \n"
          "                                            THESE VALUES SHOULD BE EQUAL SINCE THIS "
          "FUNCTION RESTORES THE FILE    \n"
          "                                            POSITION TO THE BEGINNING OF THE OBJECT "
          "THAT IT READS.                \n",
          filePositionBeforeReadingObject.offset, filePositionAfterReadingObject.offset);
    trace("getNextObjectFromTemporaryInputLDIFFile():  Returning rc = %d \n"
          "                                            next_available_object_slot = %d \n"
          "getNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT   \n",
          result, next_available_object_slot());
    return result;
}
