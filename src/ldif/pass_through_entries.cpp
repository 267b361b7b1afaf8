#include "ldif/pass_through_entries.h"

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/filters.h"
#include "ldif/run_files.h"

namespace {

void writeOrFail(std::string_view text) {
    if (ofp.write(text) != 0) {
        fail("moveNextObjectToOutputLDIFFile():  fputs() failed with rc=-1 \n", {},
             writeMessage(output_ldif_filename, ofp));
    }
}

// Tells what the line just read is, aligned under what is said of it.
void traceNote(std::string_view note) {
    trace("                                   %s\n", note);
}

}  // namespace

void moveNextObjectToOutputLDIFFile() {
    trace("moveNextObjectToOutputLDIFFile():  FUNCTION ENTRY \n");
    bool entryHasBegun = false;
    while (getNextLine(nextLine, ifp) == 0) {
        trace("\nmoveNextObjectToOutputLDIFFile():  THE LINE READ WAS: %s   \n", nextLine);
        if (isBlankLine(nextLine)) {
            if (entryHasBegun) {
                traceNote("This is a BLANK line which terminates the object.  ");
                trace("moveNextObjectToOutputLDIFFile():  Writing a blank line between objects \n");
                writeOrFail("\n");
                break;
            }
            traceNote("This is a BLANK line which precedes the next object.  ");
        } else if (isCommentLine(nextLine)) {
            traceNote("This is a COMMENT which will be discarded.  ");
        } else {
            traceNote("THIS IS A LINE OF THE OBJECT.  ");
            entryHasBegun = true;
            if (!passThroughDrops(nextLine)) {
                trace("moveNextObjectToOutputLDIFFile():  Writing this line to the output LDIF "
                      "file. \n");
                writeOrFail(nextLine);
            }
        }
    }
    // At the end of the file no blank line is written, on purpose: the entry is passed on as it is.
    // What is written next stands right behind it, so that such an entry must not be the last one
    // of an export.
    trace("moveNextObjectToOutputLDIFFile():  FUNCTION EXIT   \n");
}
