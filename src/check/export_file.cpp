#include "check/export_file.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "check/checked_file.h"
#include "check/digest.h"
#include "check/failing.h"
#include "check/places.h"
#include "check/shown.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"

CurrentEntry current;

namespace {

CheckedFile exportFile;  // beside the reader's, for places that are looked at again
LinePlaces linePlaces;
std::int64_t nextLineNumber = 1;  // of the line that is read next
int lastResult = 0;               // of the reader

// Has `reader` read the export from its beginning.
void openReader(LineReader& reader) {
    reader.open(exportFile.openAgain());
    if (reader.tell() < 0) {
        exportFile.fail(errno);
    }
}

// A reader of the export from `start` to `end`, and the place where its own positions begin. A few
// lines are read from memory: many exports have a comment above every entry.
struct PartReader {
    LineReader reader;
    off_t base = 0;
};

PartReader openPart(off_t start, off_t end) {
    constexpr off_t mostInMemory = 64 * 1024;
    PartReader part;
    if (end - start <= mostInMemory) {
        part.base = start;
        part.reader.openText(exportFile.textAt(start, static_cast<std::size_t>(end - start)));
        return part;
    }
    openReader(part.reader);
    if (part.reader.setPosition({start}) != 0) {
        exportFile.fail(errno);
    }
    return part;
}

// Whether the byte in front of `place` is a line feed.
bool isBehindLineFeed(off_t place) {
    return exportFile.textAt(place - 1, 1) == "\n";
}

// Calls `visit` with each line of the export from `start` to `end`, the first being line `line`, as
// the reader divides them, and with its text up to a zero byte.
template <class Visit>
void visitPieces(off_t start, off_t end, std::int64_t line, Visit visit) {
    PartReader part = openPart(start, end);
    Piece piece;
    piece.place = start;
    piece.line = line;
    std::string_view text;
    while (piece.place < end && part.reader.readLine(text) == 0) {
        const off_t next = part.base + part.reader.tell();
        piece.isCut = static_cast<off_t>(text.size()) < next - piece.place;
        piece.isBlank = isBlankLine(text);
        piece.isComment = isCommentLine(text);
        piece.isContinuation = text.starts_with(' ');
        visit(piece, text);
        piece.beginsLine = piece.isCut ? isBehindLineFeed(next) : text.ends_with('\n');
        piece.line += piece.beginsLine ? 1 : 0;
        piece.place = next;
    }
    if (part.reader.error() != 0) {
        exportFile.fail(part.reader.error());
    }
    nextLineNumber = piece.line;
}

// Looks closely at an entry that is not made of whole lines alone.
void divideCurrent(off_t start) {
    bool hasBegun = false;
    bool wasCut = false;
    bool isInComment = false;
    visitPieces(start, current.end, nextLineNumber, [&](const Piece& piece, std::string_view text) {
        if (!hasBegun && piece.isText()) {
            hasBegun = true;
            current.place = piece.place;
            current.line = piece.line;
        }
        isInComment = piece.beginsLine ? piece.isComment : isInComment;
        const bool isRun = piece.isCut && wasCut && text.empty();
        wasCut = piece.isCut;
        // What stands above the entry may be as long as it likes, and is not kept.
        if (!hasBegun && (!piece.isCut || isRun)) {
            return;
        }
        current.pieces.push_back(piece);
        Piece& kept = current.pieces.back();
        kept.isTorn = hasBegun && !piece.beginsLine && !(isInComment && piece.isComment);
        current.hasLongLine = current.hasLongLine || kept.isTorn;
        current.isInPieces = current.isInPieces || kept.isTorn || kept.isCut;
        current.endsInBlanks =
            !current.isLast && piece.beginsLine && piece.isBlank && piece.isContinuation;
    });
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

// Learns where an oversized entry stands.
void locateOversized(off_t start) {
    current.isOversized = true;
    current.isLast = exportFile.size() == current.end;
    visitPieces(start, current.end, nextLineNumber, [](const Piece& piece, std::string_view) {
        if (current.line == 0 && piece.isText()) {
            current.place = piece.place;
            current.line = piece.line;
        }
    });
}

// Whether a folded line of `object` has no colon, so that its name is taken from the value's rest.
bool hasFoldedName() {
    for (int i = 1; i < object.lineCount(); ++i) {
        if (!object.line(i).starts_with(' ')) {
            continue;
        }
        const std::string_view line = object.line(i - 1);
        if (!line.starts_with(' ') && withoutLineEnd(line).find(':') == std::string_view::npos) {
            return true;
        }
    }
    return false;
}

// How far lineOfAttribute has looked at an entry: findings come in the order of the lines, and an
// entry may have many.
struct AttributeSearch {
    off_t place = -1;        // of the entry
    off_t next = 0;          // behind the block
    std::int64_t line = 0;   // the number of the line looked at next
    int attribute = -1;      // the one that the line before it belongs to
    bool beginsLine = true;  // rather than a block within a line
    std::string block = {};
    std::size_t used = 0;  // of the block
};
AttributeSearch attributeSearch;

// The DN that was shown last, which is often shown again.
off_t shownDnPlace = -1;
std::string dnShown;

// The index of the attribute that line `line` of `object` belongs to.
int attributeOfLine(int line) {
    int attribute = -1;
    for (int i = 0; i <= line; ++i) {
        attribute += object.line(i).starts_with(' ') ? 0 : 1;
    }
    return attribute;
}

}  // namespace

void openExport(const std::string& name) {
    input_ldif_filename = name;  // the name that the reader's own failures show
    current = CurrentEntry();
    linePlaces = LinePlaces();
    attributeSearch = AttributeSearch();
    shownDnPlace = -1;
    nextLineNumber = 1;
    lastResult = 0;
    exportFile.open(name);
    // Places in it are kept in five bytes.
    if (exportFile.size() >= static_cast<off_t>(Packed40::most)) {
        failReading(name, "it is too large");
    }
    openReader(ifp);
    ofp.discard();  // the reader itself passes on what is too large
}

bool readNextEntry() {
    if (lastResult == END_OF_FILE) {
        return false;
    }
    const CurrentEntry before = std::exchange(current, CurrentEntry());
    const off_t start = ifp.tell();
    const std::uint32_t linesBefore = lineNum;
    lastResult = getNextObject(ifp);
    if (ifp.error() != 0) {
        exportFile.fail(ifp.error());
    }
    current.end = ifp.tell();
    current.isLast = lastResult == END_OF_FILE;
    if (lastResult == PASSED_THROUGH) {
        locateOversized(start);
    } else if (object.empty()) {
        return false;
    } else {
        locate(start, linesBefore);
        current.isInPieces = current.isInPieces || hasFoldedName();
    }
    linePlaces.note(current.place, current.line);
    current.isTornOff = before.endsInBlanks && current.place == before.end;
    return true;
}

void requireUnchangedExport() {
    exportFile.requireUnchanged();
}

void leaveOutLines(int count, int attributes) {
    const Entry whole = std::exchange(object, Entry());
    for (int i = count; i < whole.lineCount(); ++i) {
        object.append(whole.line(i));
    }
    current.isShortened = true;
    current.leftOut += attributes;
}

void visitOversizedEntry(void (*visit)(std::string_view line)) {
    visitPieces(current.place, current.end, current.line,
                [visit](const Piece& piece, std::string_view text) {
                    if (piece.isText()) {
                        visit(text);
                    }
                });
}

bool readEntryAt(off_t place) {
    constexpr std::size_t firstBlock = 4096;
    constexpr std::size_t mostInMemory = 64 * 1024;
    for (std::size_t size = firstBlock; size <= mostInMemory; size *= 2) {
        const std::string block = exportFile.textAt(place, size);
        LineReader reader;
        reader.openText(block);
        const int result = getNextObject(reader);
        // At the end of the block a line may be cut off, and look blank.
        const bool isWhole = result == 0 && reader.tell() < static_cast<long>(size);
        if (isWhole || block.size() < size) {
            current.isInPieces = hasFoldedName();
            return (result == 0 || result == END_OF_FILE) && !object.empty();
        }
        if (result == PASSED_THROUGH) {
            return false;
        }
    }
    LineReader reader;
    openReader(reader);
    if (reader.setPosition({place}) != 0) {
        exportFile.fail(errno);
    }
    const int result = getNextObject(reader);
    if (result == READ_ERROR) {
        exportFile.fail(reader.error());
    }
    current.isInPieces = hasFoldedName();
    return result != PASSED_THROUGH && !object.empty();
}

std::int64_t lineAt(off_t place) {
    return linePlaces.lineAt(exportFile, place);
}

std::int64_t lineOfAttribute(off_t place, int index) {
    constexpr std::size_t blockSize = 64 * 1024;
    AttributeSearch& search = attributeSearch;
    if (search.place != place || search.attribute >= index) {
        search = {place, place, lineAt(place)};
    }
    for (;;) {
        if (search.used == search.block.size()) {
            search.block = exportFile.textAt(search.next, blockSize);
            search.next += static_cast<off_t>(search.block.size());
            search.used = 0;
        }
        // Every line of a block but its last is whole.
        const std::string_view rest = std::string_view(search.block).substr(search.used);
        const bool begins = search.beginsLine && !rest.starts_with(' ') && !rest.starts_with('#');
        if (!rest.empty() && search.attribute + (begins ? 1 : 0) == index) {
            return search.line;
        }
        const std::size_t lineFeed = rest.find('\n');
        if (rest.empty() || (search.beginsLine && isBlankLine(rest.substr(0, lineFeed)))) {
            return lineAt(place);  // an attribute that only the migration adds
        }
        search.attribute += begins ? 1 : 0;
        search.beginsLine = lineFeed != std::string_view::npos;
        search.line += search.beginsLine ? 1 : 0;
        search.used += search.beginsLine ? lineFeed + 1 : rest.size();
    }
}

std::string dnAt(off_t place) {
    if (shownDnPlace != place) {
        dnShown = shownDn(dnLineAt(place));
        shownDnPlace = place;
    }
    return dnShown;
}

std::string dnLineAt(off_t place) {
    constexpr std::size_t most = 8192;
    const std::string text = exportFile.textAt(place, most);
    if (shownDn(text).empty() || (place > 0 && !isBehindLineFeed(place))) {
        return {};
    }
    const auto firstLineOf = [](std::string_view lines) {
        return lines.substr(0, lines.find_first_of(std::string_view("\r\n\0", 3)));
    };
    std::string_view rest = text;
    std::string dn(firstLineOf(rest));
    while (rest.find('\n') != std::string_view::npos) {
        rest.remove_prefix(rest.find('\n') + 1);
        if (!rest.starts_with(' ') || isBlankLine(firstLineOf(rest))) {
            break;
        }
        dn += firstLineOf(rest.substr(1));
    }
    return dn;
}

std::string nameOf(std::string_view line, int index) {
    std::string name = shownName(line);
    const bool isRest =
        index == 0 && !equalIgnoringCase(name, "dn") && !equalIgnoringCase(name, "version");
    return current.isInPieces || isRest ? std::string(unnamed) : name;
}

void find(Kind kind, std::int64_t line, const std::string& effect, int message) {
    if (!isShown(kind)) {
        countFinding(kind);
        return;
    }
    addFinding(kind, {line, 0, dnAt(current.place), effect, message});
}

std::int64_t lineOfCurrentAttribute(int index) {
    if (current.attribute >= index) {
        current.attribute = -1;
        current.piece = 0;
    }
    for (; current.piece < current.pieces.size(); ++current.piece) {
        const Piece& piece = current.pieces[current.piece];
        const int begun = piece.isText() && !piece.isContinuation ? 1 : 0;
        if (current.attribute + begun == index) {
            return piece.line;
        }
        current.attribute += begun;
    }
    return lineOfAttribute(current.place, index);
}

void findAt(Kind kind, int index, const std::string& effect, int message) {
    find(kind, isShown(kind) ? lineOfCurrentAttribute(index + current.leftOut) : 0, effect,
         message);
}

void findAtLine(Kind kind, int line, const std::string& effect) {
    findAt(kind, isShown(kind) ? attributeOfLine(line) : 0, effect);
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
