#include "ldif/pass_through_entries.h"

#include <array>
#include <cstddef>

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

// By PassedLine.
constexpr std::array<std::string_view, 5> notes = {
    "This is a BLANK line which precedes the next object.  ",
    "This is a COMMENT which will be discarded.  ",
    "THIS IS A LINE OF THE OBJECT.  ",
    "THIS IS A LINE OF THE OBJECT.  ",
    "This is a BLANK line which terminates the object.  ",
};

PassedLine kindOf(std::string_view line, bool entryHasBegun) {
    if (isBlankLine(line)) {
        return entryHasBegun ? PassedLine::BLANK_BEHIND : PassedLine::BLANK_BEFORE;
    }
    if (isCommentLine(line)) {
        return PassedLine::COMMENT;
    }
    return passThroughDrops(line) ? PassedLine::DROPPED : PassedLine::KEPT;
}

void passLine(PassedLine kind, std::string_view line) {
    trace("\nmoveNextObjectToOutputLDIFFile():  THE LINE READ WAS: %s   \n"
          "                                   %s\n",
          line, notes[static_cast<std::size_t>(kind)]);
    if (kind == PassedLine::KEPT) {
        trace("moveNextObjectToOutputLDIFFile():  Writing this line to the output LDIF file. \n");
        writeOrFail(line);
    } else if (kind == PassedLine::BLANK_BEHIND) {
        trace("moveNextObjectToOutputLDIFFile():  Writing a blank line between objects \n");
        writeOrFail("\n");
    }
}

}  // namespace

int visitPassedLines(LineReader& stream,
                     const std::function<void(PassedLine kind, std::string_view line)>& take) {
    bool entryHasBegun = false;
    int result = 0;
    while ((result = getNextLine(nextLine, stream)) == 0) {
        const PassedLine kind = kindOf(nextLine, entryHasBegun);
        take(kind, nextLine);
        if (kind == PassedLine::BLANK_BEHIND) {
            break;
        }
        entryHasBegun = entryHasBegun || kind == PassedLine::DROPPED || kind == PassedLine::KEPT;
    }
    return result;
}

void moveNextObjectToOutputLDIFFile(LineReader& stream) {
    trace("moveNextObjectToOutputLDIFFile():  FUNCTION ENTRY \n");
    // At the end of the file no blank line is written, on purpose: the entry is copied unchanged.
    // The next text written follows it directly, so that such an entry must not be the last one of
    // an export.
    visitPassedLines(stream, passLine);
    trace("moveNextObjectToOutputLDIFFile():  FUNCTION EXIT   \n");
}
