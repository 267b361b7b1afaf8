#include "ldif/entry_reader.h"

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "entry/entry.h"
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

// Whether the line just read belongs to the entry. Otherwise it is blank or a comment.
bool isLineOfObject() {
    return !isBlankLine(nextLine) && !isCommentLine(nextLine);
}

// Whether the line just read is the blank one that ends the entry.
bool endsObject() {
    return isBlankLine(nextLine) && !object.empty();
}

void traceObjectRead(std::string_view function) {
    trace("\n%s():  The object read is:   \n", function);
    if (debug) {
        for (int i = 0; i < object.lineCount(); ++i) {
            trace("   object[%d] = %s", i, object.line(i));
        }
    }
}

}  // namespace

int getNextObject(LineReader& stream) {
    constexpr std::string_view function = "getNextObject";
    const OutOfMemoryLine line("getNextObject():  malloc() failure.  EXITING. \n");
    trace("getNextObject():  FUNCTION ENTRY  \n");
    freeObject();
    const FilePosition start = positionBeforeObject(function, stream);

    int result = 0;
    while ((result = getNextLine(nextLine, stream)) == 0 && !endsObject()) {
        if (!isLineOfObject()) {
            continue;
        }
        object.append(nextLine);
        if (next_available_object_slot() > MOST_LINES_OF_AN_OBJECT) {
            // On purpose: what nobody can regroup must at least not be lost.
            const int returnCode = stream.setPosition(start);
            if (returnCode != 0) {
                failPosition(function, "fsetpos()", returnCode);
            }
            freeObject();
            moveNextObjectToOutputLDIFFile();
            result = PASSED_THROUGH;
            break;
        }
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

    int result = 0;
    while ((result = getNextLine(nextLine, stream)) == 0 && !endsObject()) {
        changetypeSeen = changetypeSeen || nextLine.find("changetype:") != std::string_view::npos;
        if (isLineOfObject()) {
            object.append(nextLine);
        }
    }
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
