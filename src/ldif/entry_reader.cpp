#include "ldif/entry_reader.h"

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "entry/entry.h"
#include "entry/text.h"
#include "ldif/pass_through_entries.h"
#include "ldif/run_files.h"
#include "ldif/run_locks.h"

bool changetypeSeen = false;
FilePosition filePositionOfChangetypeSearch;
FilePosition filePositionBeforeReadingObject;
FilePosition filePositionAfterReadingObject;

namespace {

[[noreturn]] void failPosition(std::string_view function, const char* call, int number,
                               const Message& message) {
    fail(format("%s():  %s failed with rc = %d (dec)  \n", function, call, number), {}, message);
}

FilePosition positionBeforeObject(std::string_view function, LineReader& stream) {
    FilePosition position;
    const long offset = stream.tell();
    if (const int error = stream.getPosition(position); error != 0) {
        failPosition(function, "fgetpos()", -1, positionMessage("fgetpos()", error));
    }
    trace("%s():  filePositionBeforeReadingObject = %ld  \n", function, offset);
    return position;
}

// Searches the lines just read. Lines that an earlier run left in the work file may be divided
// differently once lines before them are blank, so these are searched each time.
void lookForChangetype(std::string_view lines, const LineReader& stream) {
    const long end = stream.tell();
    const bool isSearched = end <= filePositionOfChangetypeSearch.offset && !holdsLeftOvers();
    if (changetypeSeen || isSearched) {
        return;
    }
    filePositionOfChangetypeSearch.offset = end;
    changetypeSeen = someColonPrefix(
        lines, [](std::string_view colonPrefix) { return colonPrefix.ends_with("changetype:"); });
}

enum Source { EXPORT, WORK_FILE };

bool isTooLarge(Source source) {
    return source == EXPORT && next_available_object_slot() > MOST_LINES_OF_AN_OBJECT;
}

void takeRun(LineReader& stream, Source source) {
    const LineReader::Run run = stream.readRunAtHand();
    lineNum += static_cast<std::uint32_t>(run.ends.size());
    if (source == WORK_FILE) {
        lookForChangetype(run.text, stream);
    }
    object.append(run.text, run.ends);
}

// Takes the lines at hand, and reads the line behind them into `nextLine`. Returns 0, END_OF_FILE,
// READ_ERROR, or PASSED_THROUGH when the lines make an entry of the export too large.
int readOn(LineReader& stream, Source source, Extent& extent) {
    const bool isRest = stream.isWithinLine();
    const int lineOfRest = object.lineCount();
    takeRun(stream, source);
    if (isTooLarge(source)) {
        return PASSED_THROUGH;
    }
    extent.end = stream.tell();
    const int result = getNextLine(nextLine, stream);
    extent.next = stream.tell();
    if (isRest) {
        noteRestOfLine(lineOfRest < object.lineCount() ? object.line(lineOfRest) : nextLine);
    }
    return result;
}

// Gathers the lines of the next entry in `object`. Returns 0 at the blank line behind it,
// END_OF_FILE, READ_ERROR, or PASSED_THROUGH when an entry of the export is too large.
int gatherLines(LineReader& stream, Source source) {
    Extent extent = {stream.tell()};
    bool isRegular = true;  // whether the extent holds nothing but the lines gathered, all whole
    for (;;) {
        if (object.empty()) {
            lineNum += stream.skipBlankLinesAtHand();
            extent.firstLine = stream.tell();
        }
        if (const int result = readOn(stream, source, extent); result != 0) {
            return result;
        }
        isRegular = isRegular && nextLine.ends_with('\n') && !isCommentLine(nextLine) &&
                    extent.next - extent.end == static_cast<off_t>(nextLine.size());
        if (isBlankLine(nextLine)) {
            if (object.empty()) {
                continue;
            }
            if (isRegular) {
                stream.noteExtent(extent);
            }
            return 0;
        }
        if (source == WORK_FILE) {
            lookForChangetype(nextLine, stream);  // comments count here
        }
        if (!isCommentLine(nextLine)) {
            object.append(nextLine);
        }
        if (isTooLarge(source)) {
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

// Goes back to `start` and copies the entry there to the output: an entry that is too large to
// regroup must at least not be lost.
void passThroughFrom(const FilePosition& start, LineReader& stream) {
    if (const int error = stream.setPosition(start); error != 0) {
        failPosition("getNextObject", "fsetpos()", -1, positionMessage("fsetpos()", error));
    }
    freeObject();
    moveNextObjectToOutputLDIFFile(stream);
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
    if (const int error = stream.setPosition(filePositionBeforeReadingObject); error != 0) {
        // The number reported is the reader's own result, not the return code of the call:
        // administrators know it as "at a blank line" or "at end of file".
        failPosition(function, "fsetpos()", result, setPositionMessage(stream, error, result));
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
