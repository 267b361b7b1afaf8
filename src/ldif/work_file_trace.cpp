#include "ldif/work_file_trace.h"

#include "driver/diagnostics/trace.h"
#include "ldif/line_reader.h"

void traceDeletion() {
    trace("deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n");
}

void traceEndOfDeletion(int result) {
    trace("deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT %s \n",
          result == 0 ? "" : "ERROR ");
}

void traceStepOver() {
    trace("stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n");
}

void traceEndOfStepOver(int result) {
    trace("stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT %s\n",
          result == 0 ? "" : "ERROR  ");
}

void tracePositionFailure(int returnCode) {
    trace("stepOverNextObjectFromTemporaryInputLDIFFile():  fgetpos() failed with rc = %d (dec)  \n"
          "stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT1  \n",
          returnCode);
}

void traceLineSteppedOver(std::string_view line, bool objectHasBegun) {
    const bool isBlank = isBlankLine(line);
    trace("\n"
          "stepOverNextObjectFromTemporaryInputLDIFFile() - The next line returned from "
          "getNextLine() is:   \n"
          "%s \n"
          "The line read contains %d characters \n"
          "stepOverNextObjectFromTemporaryInputLDIFFile() - The line %s a blank line.   \n",
          line, line.size(), isBlank ? "IS" : "IS NOT");
    if (!isBlank) {
        trace("stepOverNextObjectFromTemporaryInputLDIFFile() - This is an actual line of the "
              "object  \n");
    } else if (!objectHasBegun) {
        trace("stepOverNextObjectFromTemporaryInputLDIFFile() - This blank line precedes the "
              "object   \n");
    } else {
        trace("stepOverNextObjectFromTemporaryInputLDIFFile() - This blank line terminates the "
              "object   \n"
              "                                                 and will cause this function "
              "to return.  \n");
    }
}

void traceEndOfFile() {
    trace("stepOverNextObjectFromTemporaryInputLDIFFile():  getNextLine() has reached EOF.  "
          "Exiting loop. \n");
}
