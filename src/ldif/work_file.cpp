#include "ldif/work_file.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "ldif/run_files.h"
#include "ldif/work_file_trace.h"

bool hasTheStepOverFilePositionBeenInitialized = false;
FilePosition filePositionOfFirstObjectSteppedOver;

namespace {

// A part of the file, in bytes from its beginning.
struct Stretch {
    off_t start;
    off_t end;
};

// Extents of the entries stepped over in the current pass; adjacent entries share one. When there
// are too many, the last one also covers the text between them.
constexpr std::size_t maxStretches = 65536;
std::vector<Stretch> steppedOver;

// The extents that the last pass has left, up to the end of the file, and the index of the next
// one; written by rememberObjectsSteppedOver.
std::vector<Stretch> remaining;
std::size_t nextRemaining = 0;
off_t endOfFile = 0;
bool isRemainderKnown = false;

void noteSteppedOver(off_t start, off_t end) {
    if (!steppedOver.empty() &&
        (steppedOver.back().end == start || steppedOver.size() == maxStretches)) {
        steppedOver.back().end = end;
    } else {
        steppedOver.push_back({start, end});
    }
}

// Here and below, procedures return 0 or -1.
int goTo(LineReader& stream, const FilePosition& position) {
    const int error = stream.setPosition(position);
    // If the system refused blank lines on the way, the caller reports it.
    if (error != 0 && stream.error() == 0) {
        zr_printf_utf8(positionMessage("fsetpos()", error));
    }
    return error == 0 ? 0 : -1;
}

int overwrite(LineReader& stream, const FilePosition& position, std::string_view text) {
    return stream.overwrite(position, text) == 0 ? 0 : -1;
}

// Blanks the consecutive lines of the entry. Nothing is traced: a trace line per blanked line would
// be too much.
int blankLineByLine(LineReader& stream) {
    FilePosition start;
    if (const int error = stream.getPosition(start); error != 0) {
        zr_printf_utf8(positionMessage("fgetpos()", error));
        return -1;
    }
    constexpr std::size_t maxAtOnce = 256 * 1024;  // of an entry that may be of any size
    static std::string blankLines;
    blankLines.clear();
    bool objectHasBegun = false;
    int result = 0;
    while ((result = getNextLine(nextLine, stream)) == 0) {
        if (isBlankLine(nextLine)) {
            if (objectHasBegun) {
                break;
            }
            start.offset = stream.tell();
            continue;
        }
        objectHasBegun = true;
        if (blankLines.size() + nextLine.size() > maxAtOnce) {
            if (overwrite(stream, start, blankLines) != 0) {
                return -1;
            }
            start.offset += static_cast<off_t>(blankLines.size());
            blankLines.clear();
        }
        // Comments are blanked too: nothing of the entry may be read again.
        const std::size_t lineStart = blankLines.size();
        blankLines += nextLine;
        blankLine(blankLines, lineStart);
        // The next line begins behind the spaces. It began there anyway, unless this line was
        // shortened by a NUL byte or is a last line of one character.
        const FilePosition behind = {start.offset + static_cast<off_t>(blankLines.size())};
        if (behind.offset != stream.tell() && goTo(stream, behind) != 0) {
            return -1;
        }
    }
    if (result == READ_ERROR) {
        return -1;
    }
    return blankLines.empty() ? 0 : overwrite(stream, start, blankLines);
}

// Blanks the entry at `extent` without reading it again, and the blank line behind it, so that the
// bytes of consecutive deleted entries are written at once.
int blankExtent(LineReader& stream, const Extent& extent, std::string_view text) {
    static std::string blankLines;
    blankLines = text;
    const auto end = static_cast<std::size_t>(extent.end - extent.firstLine);
    std::fill_n(blankLines.begin(), end, ' ');
    for (std::size_t lineFeed = text.find('\n'); lineFeed < end;
         lineFeed = text.find('\n', lineFeed + 1)) {
        blankLines[lineFeed - 1] = '\r';
        blankLines[lineFeed] = '\n';
    }
    const int result = overwrite(stream, {extent.firstLine}, blankLines);
    return result == 0 ? goTo(stream, {extent.next}) : result;
}

int blankObject(LineReader& stream) {
    const std::optional<Extent> extent = stream.takeNotedExtent(stream.tell());
    if (!extent) {
        return blankLineByLine(stream);
    }
    const std::string_view text = stream.textAtHand(extent->firstLine, extent->next);
    if (!text.empty()) {
        return blankExtent(stream, *extent, text);
    }
    // Anything before the entry is not read again.
    return goTo(stream, {extent->firstLine}) == 0 ? blankLineByLine(stream) : -1;
}

// Remembers where the first entry stepped over begins.
int noteFirstSteppedOver(LineReader& stream) {
    if (hasTheStepOverFilePositionBeenInitialized) {
        return 0;
    }
    if (const int error = stream.getPosition(filePositionOfFirstObjectSteppedOver); error != 0) {
        tracePositionFailure(-1);
        zr_printf_utf8(positionMessage("fgetpos()", error));
        return -1;
    }
    hasTheStepOverFilePositionBeenInitialized = true;
    return 0;
}

int stepOverLineByLine(LineReader& stream) {
    bool objectHasBegun = false;
    int result = 0;
    while ((result = getNextLine(nextLine, stream)) == 0) {
        traceLineSteppedOver(nextLine, objectHasBegun);
        if (objectHasBegun && isBlankLine(nextLine)) {
            break;
        }
        objectHasBegun = objectHasBegun || !isBlankLine(nextLine);
    }
    if (result == END_OF_FILE) {
        traceEndOfFile();
    }
    return result == READ_ERROR ? -1 : 0;
}

int stepOverObject(LineReader& stream) {
    if (noteFirstSteppedOver(stream) != 0) {
        return -1;
    }
    const off_t start = stream.tell();
    // The trace of a run shows every line.
    const std::optional<Extent> extent = stream.takeNotedExtent(start);
    const int result = extent && !debug ? goTo(stream, {extent->next}) : stepOverLineByLine(stream);
    if (result == 0) {
        noteSteppedOver(start, stream.tell());
    }
    return result;
}

}  // namespace

int deleteNextObjectFromTemporaryInputLDIFFile(LineReader& stream) {
    traceDeletion();
    int result = blankObject(stream);
    // A deletion must be in the file before the trace shows it.
    if (result == 0 && debug) {
        result = stream.flush() == 0 ? 0 : -1;
    }
    traceEndOfDeletion(result);
    return result;
}

void rememberObjectsSteppedOver(const LineReader& stream) {
    remaining.swap(steppedOver);
    steppedOver.clear();
    nextRemaining = 0;
    endOfFile = stream.tell();
    isRemainderKnown = true;
}

void skipBlankedObjects(LineReader& stream) {
    if (!isRemainderKnown) {
        return;
    }
    while (nextRemaining < remaining.size() && remaining[nextRemaining].end <= stream.tell()) {
        ++nextRemaining;
    }
    const off_t next =
        nextRemaining < remaining.size() ? remaining[nextRemaining].start : endOfFile;
    if (const int error = next > stream.tell() ? stream.setPosition({next}) : 0; error != 0) {
        fail({}, {}, setPositionMessage(stream, error));
    }
}

void forgetObjectsSteppedOver() {
    steppedOver.clear();
    remaining.clear();
    isRemainderKnown = false;
}

int stepOverNextObjectFromTemporaryInputLDIFFile(LineReader& stream) {
    traceStepOver();
    const int result = stepOverObject(stream);
    traceEndOfStepOver(result);
    return result;
}
