#include "check/export_file.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "check/places.h"
#include "driver/platform/file.h"
#include "entry/entry.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"

CurrentEntry current;

namespace {

constexpr std::size_t longestLine = 4095;  // with its line feed

File exportFile;  // beside the reader's, for places that are looked at again
FileState stateAtStart;
LinePlaces linePlaces;
std::int64_t nextLineNumber = 1;  // of the line that is read next
int lastResult = 0;               // of the reader
std::string exportName;

// Divides `text`, which stands at `place` and begins with line `line`, as the reader does.
std::vector<Piece> dividedIntoPieces(std::string_view text, off_t place, std::int64_t line) {
    std::vector<Piece> pieces;
    bool beginsLine = true;
    while (!text.empty()) {
        const std::size_t lineFeed = text.substr(0, longestLine).find('\n');
        const std::size_t size = std::min(
            {lineFeed == std::string_view::npos ? longestLine : lineFeed + 1, text.size()});
        const std::string_view whole = text.substr(0, size);
        const std::string_view kept = whole.substr(0, whole.find('\0'));
        pieces.push_back({place, line, kept, beginsLine, false, kept.size() < size});
        beginsLine = lineFeed != std::string_view::npos;
        line += beginsLine ? 1 : 0;
        place += static_cast<off_t>(size);
        text.remove_prefix(size);
    }
    return pieces;
}

bool isTextOfEntry(std::string_view line) {
    return !isBlankLine(line) && !isCommentLine(line);
}

// Looks closely at an entry that is not made of whole lines alone.
void divideCurrent(off_t start) {
    current.text =
        textAt(exportFile.descriptor(), start, static_cast<std::size_t>(current.end - start));
    current.pieces = dividedIntoPieces(current.text, start, nextLineNumber);
    std::vector<Piece>& pieces = current.pieces;
    nextLineNumber += std::count(current.text.begin(), current.text.end(), '\n');
    const auto first = std::find_if(pieces.begin(), pieces.end(),
                                    [](const Piece& piece) { return isTextOfEntry(piece.text); });
    for (auto piece = first; piece != pieces.end(); ++piece) {
        piece->isTorn = !piece->beginsLine && !isCommentLine(piece->text);
        current.hasLongLine = current.hasLongLine || piece->isTorn;
    }
    if (first != pieces.end()) {
        current.place = first->place;
        current.line = first->line;
        current.endsInBlanks =
            !current.isLast && pieces.back().beginsLine && pieces.back().text.starts_with(' ');
    }
}

// Learns where the entry just read stands, which began to be read at `start`.
void locate(off_t start, std::uint32_t linesBefore) {
    const std::optional<Extent> extent = ifp.takeNotedExtent(start);
    if (!extent) {
        divideCurrent(start);
        return;
    }
    const std::uint32_t lines = lineNum - linesBefore;
    current.place = extent->firstLine;
    current.line = nextLineNumber + lines - object.lineCount() - 1;
    current.endsInBlanks = extent->next - extent->end > 1 &&
                           ifp.textAtHand(extent->end, extent->next).starts_with(' ');
    nextLineNumber += lines;
}

// Calls `visit` with each line, or piece of one, of the export from `start` to `end`, and with its
// place.
template <class Visit>
void visitPieces(off_t start, off_t end, Visit visit) {
    LineReader reader;
    if (reader.open(openFileForReading(exportName)) != 0 || reader.setPosition({start}) != 0) {
        return;
    }
    off_t place = start;
    std::string_view line;
    while (place < end && reader.readLine(line) == 0) {
        visit(line, place);
        place = reader.tell();
    }
}

// Learns where an oversized entry stands.
void locateOversized(off_t start) {
    current.isOversized = true;
    current.isLast = stateAtStart.size == current.end;
    visitPieces(start, current.end, [](std::string_view line, off_t place) {
        if (current.line == 0 && isTextOfEntry(line)) {
            current.place = place;
            current.line = nextLineNumber;
        }
        nextLineNumber += line.ends_with('\n') ? 1 : 0;
    });
}

bool hasExportChanged() {
    const FileState now = stateOf(exportFile.descriptor());
    return now.size != stateAtStart.size || now.modifiedTime != stateAtStart.modifiedTime;
}

}  // namespace

int openExport(const std::string& name) {
    exportName = name;
    current = CurrentEntry();
    linePlaces = LinePlaces();
    nextLineNumber = 1;
    lastResult = 0;
    if (isOtherThanRegular(name)) {
        errno = ESPIPE;
        return -1;
    }
    exportFile = openFileForReading(name);
    if (!exportFile.isOpen() || ifp.open(openFileForReading(name)) != 0) {
        return -1;
    }
    stateAtStart = stateOf(exportFile.descriptor());
    // The reader itself passes on what is too large.
    return ofp.openEmpty("/dev/null");
}

int readNextEntry() {
    if (lastResult == END_OF_FILE) {
        return -1;
    }
    const CurrentEntry before = std::exchange(current, CurrentEntry());
    const off_t start = ifp.tell();
    const std::uint32_t linesBefore = lineNum;
    lastResult = getNextObject(ifp);
    current.end = ifp.tell();
    current.isLast = lastResult == END_OF_FILE;
    if (lastResult == READ_ERROR || (lastResult == END_OF_FILE && hasExportChanged())) {
        errno = lastResult == READ_ERROR ? ifp.error() : EBUSY;
        return -2;
    }
    if (lastResult == PASSED_THROUGH) {
        locateOversized(start);
    } else if (object.empty()) {
        return -1;
    } else {
        locate(start, linesBefore);
    }
    linePlaces.note(current.place, current.line);
    current.isTornOff = before.endsInBlanks && current.place == before.end;
    return 0;
}

void visitOversizedEntry(void (*visit)(std::string_view line)) {
    visitPieces(current.place, current.end, [visit](std::string_view line, off_t) {
        if (isTextOfEntry(line)) {
            visit(line);
        }
    });
}

bool readEntryAt(off_t place) {
    constexpr std::size_t firstBlock = 4096;
    for (std::size_t size = firstBlock;; size *= 2) {
        const std::string block = textAt(exportFile.descriptor(), place, size);
        LineReader reader;
        reader.openText(block);
        const int result = getNextObject(reader);
        // At the end of the block a line may be cut off, and look blank.
        const bool isWhole = result == 0 && reader.tell() < static_cast<long>(size);
        if (isWhole || block.size() < size) {
            return (result == 0 || result == END_OF_FILE) && !object.empty();
        }
        if (result == PASSED_THROUGH) {
            return false;
        }
    }
}

std::int64_t lineAt(off_t place) {
    return linePlaces.lineAt(exportFile.descriptor(), place);
}

std::int64_t lineOfAttribute(off_t place, int index) {
    constexpr std::size_t blockSize = 64 * 1024;
    std::int64_t line = lineAt(place);
    int attribute = -1;
    bool beginsLine = true;
    off_t at = place;
    for (std::string block = textAt(exportFile.descriptor(), at, blockSize); !block.empty();
         block = textAt(exportFile.descriptor(), at, blockSize)) {
        // Every line of a block but its last is whole.
        std::string_view rest = block;
        while (!rest.empty()) {
            const bool begins = !rest.starts_with(' ') && !rest.starts_with('#');
            attribute += beginsLine && begins ? 1 : 0;
            if (attribute == index) {
                return line;
            }
            const std::size_t lineFeed = rest.find('\n');
            beginsLine = lineFeed != std::string_view::npos;
            line += beginsLine ? 1 : 0;
            rest.remove_prefix(beginsLine ? lineFeed + 1 : rest.size());
        }
        at += static_cast<off_t>(block.size());
    }
    return lineAt(place);
}

std::string dnAt(off_t place) {
    constexpr std::size_t most = 4096;
    std::string_view rest;
    const std::string text = textAt(exportFile.descriptor(), place, most);
    if (!equalIgnoringCase(std::string_view(text).substr(0, 3), "dn:")) {
        return {};  // a value, which may be a secret
    }
    rest = text;
    std::string dn(withoutLineEnd(rest));
    while (rest.find('\n') != std::string_view::npos) {
        rest.remove_prefix(rest.find('\n') + 1);
        if (!rest.starts_with(' ')) {
            break;
        }
        dn += withoutLineEnd(rest.substr(1));
    }
    return shownText(dn);
}

std::string shownText(std::string_view text) {
    const std::string whole = quoted(text);
    return whole.substr(1, whole.size() - 2);
}

std::string nameOf(std::string_view line) {
    return shownText(line.substr(0, line.find(':')));
}

void find(Kind kind, std::int64_t line, const std::string& effect, int message) {
    if (!isShown(kind)) {
        countFinding(kind);
        return;
    }
    addFinding(kind, {line, 0, dnAt(current.place), effect, message});
}

std::int64_t lineOfCurrentAttribute(int index) {
    int attribute = -1;
    for (const Piece& piece : current.pieces) {
        attribute += isTextOfEntry(piece.text) && !piece.text.starts_with(' ') ? 1 : 0;
        if (attribute == index) {
            return piece.line;
        }
    }
    return lineOfAttribute(current.place, index);
}

void findAt(Kind kind, int index, const std::string& effect, int message) {
    find(kind, isShown(kind) ? lineOfCurrentAttribute(index + current.leftOut) : 0, effect,
         message);
}

void findEntry(Kind kind, const std::string& effect, int message) {
    find(kind, current.line, effect, message);
}

void findAtPlace(off_t place, Kind kind, const std::string& effect, int message) {
    if (!isShown(kind)) {
        countFinding(kind);
        return;
    }
    addFinding(kind, {lineAt(place), 0, dnAt(place), effect, message});
}

int attributeOfLine(int line) {
    int attribute = -1;
    for (int i = 0; i <= line; ++i) {
        attribute += object.line(i).starts_with(' ') ? 0 : 1;
    }
    return attribute;
}
