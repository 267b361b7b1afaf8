#include "ldif/work_file.h"

#include <string>

#include "driver/diagnostics/messages.h"
#include "driver/diagnostics/trace.h"
#include "ldif/run_files.h"

bool hasTheStepOverFilePositionBeenInitialized = false;
FilePosition filePositionOfFirstObjectSteppedOver;

namespace {

// Blanks the lines of the entry. They follow one another without a gap, so one write does. Nothing
// in here is traced: a line per blanked line would drown the trace.
int blankObject(LineReader& stream) {
    FilePosition start;
    if (const int returnCode = stream.getPosition(start); returnCode != 0) {
        zr_printf_utf8(positionMessage("fgetpos()", returnCode));
        return -1;
    }
    static std::string blanks;
    static std::string blank;
    blanks.clear();
    int result = 0;
    while ((result = getNextLine(nextLine, stream)) == 0) {
        if (isBlankLine(nextLine)) {
            if (!blanks.empty()) {
                break;
            }
            start.offset = stream.tell();
            continue;
        }
        // Comments are blanked too: nothing of the entry may be read again.
        blank.assign(nextLine);
        blankLine(blank);
        blanks += blank;
        // The next line begins behind the blanks. That is where it began anyway, unless this
        // line was shortened by a NUL byte or is a last line of one character.
        const FilePosition behind = {start.offset + static_cast<off_t>(blanks.size())};
        if (behind.offset != stream.tell()) {
            if (const int returnCode = stream.setPosition(behind); returnCode != 0) {
                zr_printf_utf8(positionMessage("fsetpos()", returnCode));
                return -1;
            }
        }
    }
    if (result == READ_ERROR) {
        return -1;
    }
    return stream.overwrite(start, blanks);
}

}  // namespace

int deleteNextObjectFromTemporaryInputLDIFFile(LineReader& stream) {
    trace("deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n");
    const int result = blankObject(stream);
    if (result == 0) {
        trace("deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT  \n");
    } else {
        trace("deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT ERROR  \n");
    }
    return result;
}

int stepOverNextObjectFromTemporaryInputLDIFFile(LineReader& stream) {
    trace("stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n");
    if (!hasTheStepOverFilePositionBeenInitialized) {
        const int returnCode = stream.getPosition(filePositionOfFirstObjectSteppedOver);
        if (returnCode != 0) {
            const Message message = positionMessage("fgetpos()", returnCode);
            trace("stepOverNextObjectFromTemporaryInputLDIFFile():  fgetpos() failed with rc = %d "
                  "(dec)  \n"
                  "stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT1  \n",
                  returnCode);
            zr_printf_utf8(message);
            trace("stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT ERROR  \n");
            return -1;
        }
        hasTheStepOverFilePositionBeenInitialized = true;
    }
    bool objectHasBegun = false;
    int result = 0;
    while ((result = getNextLine(nextLine, stream)) == 0) {
        const bool blank = isBlankLine(nextLine);
        trace("\n"
              "stepOverNextObjectFromTemporaryInputLDIFFile() - The next line returned from "
              "getNextLine() is:   \n"
              "%s \n"
              "The line read contains %d characters \n"
              "stepOverNextObjectFromTemporaryInputLDIFFile() - The line %s a blank line.   \n",
              nextLine, nextLine.size(), blank ? "IS" : "IS NOT");
        if (!blank) {
            trace("stepOverNextObjectFromTemporaryInputLDIFFile() - This is an actual line of the "
                  "object  \n");
            objectHasBegun = true;
        } else if (!objectHasBegun) {
            trace("stepOverNextObjectFromTemporaryInputLDIFFile() - This blank line precedes the "
                  "object   \n");
        } else {
            trace("stepOverNextObjectFromTemporaryInputLDIFFile() - This blank line terminates the "
                  "object   \n"
                  "                                                 and will cause this function "
                  "to return.  \n");
            break;
        }
    }
    if (result == READ_ERROR) {
        trace("stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT ERROR  \n");
        return -1;
    }
    if (result == END_OF_FILE) {
        trace("stepOverNextObjectFromTemporaryInputLDIFFile():  getNextLine() has reached EOF.  "
              "Exiting loop. \n");
    }
    trace("stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT \n");
    return 0;
}
