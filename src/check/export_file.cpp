#include "check/export_file.h"

#include <malloc.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "check/checked_file.h"
#include "check/digest.h"
#include "check/failing.h"
#include "check/findings.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "ldif/entry_reader.h"
#include "ldif/run_files.h"

CurrentEntry current;

namespace {

// Read first of an entry that is read again: few entries are longer.
constexpr std::size_t smallBlock = 512;

CheckedFile exportFile;           // beside the reader's, for entries that are read again
std::int64_t nextLineNumber = 1;  // of the line that is read next
int lastResult = 0;               // of the reader

// Has `reader` read the export from its beginning.
void openReader(LineReader& reader) {
    reader.open(exportFile.openAgain());
    FilePosition start;
    if (const int error = reader.getPosition(start); error != 0) {
        exportFile.fail(error);
    }
}

void goTo(LineReader& reader, off_t offset) {
    if (const int error = reader.setPosition({offset}); error != 0) {
        exportFile.fail(error);
    }
}

// A reader of the export from `start` to `end`, and the offset that its own positions count from.
// Lines at hand are read from memory: many exports have a comment above every entry.
struct PartReader {
    LineReader reader;
    off_t base = 0;
};

PartReader openPart(off_t start, off_t end) {
    PartReader part;
    if (const std::string_view lines = ifp.textAtHand(start, end); !lines.empty()) {
        part.base = start;
        part.reader.openText(lines);
        return part;
    }
    openReader(part.reader);
    goTo(part.reader, start);
    return part;
}

// Whether the byte before `offset` is a line feed.
bool isBehindLineFeed(off_t offset) {
    return exportFile.textAt(offset - 1, 1) == "\n";
}

// Calls `visit` with each line of the export from `start` to `end`, the first being line `line`, as
// the reader divides them, and with its text up to a zero byte, until it returns false.
template <class Visit>
void visitPieces(off_t start, off_t end, std::int64_t line, Visit visit) {
    PartReader part = openPart(start, end);
    Piece piece;
    piece.offset = start;
    piece.line = line;
    std::string_view text;
    bool goesOn = true;
    while (goesOn && piece.offset < end && part.reader.readLine(text) == 0) {
        const off_t reached = part.reader.tell();
        const off_t next = part.base + reached;
        piece.isCut = static_cast<off_t>(text.size()) < next - piece.offset;
        piece.isBlank = isBlankLine(text);
        piece.isComment = isCommentLine(text);
        piece.isContinuation = text.starts_with(' ');
        goesOn = visit(piece, text);
        piece.beginsLine = part.reader.textAtHand(reached - 1, reached) == "\n";
        piece.line += piece.beginsLine ? 1 : 0;
        piece.offset = next;
    }
    if (part.reader.error() != 0) {
        exportFile.fail(part.reader.error());
    }
    nextLineNumber = goesOn ? piece.line : nextLineNumber;
}

// As visitCurrentPieces, for an entry of which only its position is known.
template <class Visit>
void dividePieces(Visit visit) {
    bool hasBegun = false;
    bool wasCut = false;
    bool isInComment = false;
    visitPieces(
        current.start, current.end, current.startLine, [&](Piece& piece, std::string_view text) {
            hasBegun = hasBegun || piece.isText();
            isInComment = piece.beginsLine ? piece.isComment : isInComment;
            piece.isSplit = hasBegun && !piece.beginsLine && !(isInComment && piece.isComment);
            const bool isRun = piece.isCut && wasCut && text.empty();
            wasCut = piece.isCut;
            return !(hasBegun || (piece.isCut && !isRun)) || visit(piece);
        });
}

// Reads an entry that does not consist of whole lines alone piece by piece.
void divideCurrent() {
    bool isBehindComment = false;  // within the entry
    dividePieces([&isBehindComment](const Piece& piece) {
        if (current.line == 0 && piece.isText()) {
            current.offset = piece.offset;
            current.line = piece.line;
            current.beginsWithRest = piece.isSplit;
        }
        current.hasFoldedComment =
            current.hasFoldedComment || (isBehindComment && piece.isContinuation && !piece.isBlank);
        isBehindComment = current.line != 0 && piece.isComment && piece.beginsLine;
        current.zeroBytes += piece.isCut ? 1 : 0;
        current.hasLongLine = current.hasLongLine || piece.isSplit;
        current.endsInSpaces =
            !current.isLast && piece.beginsLine && piece.isBlank && piece.isContinuation;
        return true;
    });
    current.isInPieces = current.zeroBytes > 0 || current.hasLongLine;
}

// Notes the position of the entry just read; reading it began at `start`.
void locate(off_t start, std::uint32_t linesBefore) {
    const std::optional<Extent> extent = ifp.takeNotedExtent(start);
    if (!extent) {
        current.start = start;
        current.startLine = nextLineNumber;
        divideCurrent();
        return;
    }
    const std::uint32_t lines = lineNum - linesBefore;
    current.offset = extent->firstLine;
    current.line = nextLineNumber + lines - object.lineCount() - 1;
    current.endsInSpaces = extent->next - extent->end > 1 &&
                           ifp.textAtHand(extent->end, extent->next).starts_with(' ');
    nextLineNumber += lines;
}

// Notes the position of an oversized entry.
void locateOversized(off_t start) {
    current.isOversized = true;
    visitPieces(start, current.end, nextLineNumber, [](const Piece& piece, std::string_view) {
        if (current.line == 0 && piece.isText()) {
            current.offset = piece.offset;
            current.line = piece.line;
        }
        return true;
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

// How far lineOfAttribute has searched an entry: its findings come in the order of its lines, and
// there may be many.
struct AttributeSearch {
    off_t offset = -1;       // of the entry
    std::int64_t begin = 0;  // the number of its first line
    std::int64_t line = 0;   // that of the line looked at next
    int attribute = -1;      // the one that the line before it belongs to
    std::string block = {};
    std::size_t used = 0;  // of the block
    off_t next = 0;        // behind the block
};
AttributeSearch attributeSearch;

// The next line of the entry, or piece of one, with its line end; empty at the end of the export.
std::string_view pieceAhead(AttributeSearch& search) {
    constexpr std::size_t largest = 16 * 1024;
    const auto ahead = [&search] {
        const std::string_view rest = std::string_view(search.block).substr(search.used);
        return rest.substr(0, std::min(rest.find('\n', 0), longestLine - 1) + 1);
    };
    std::string_view piece = ahead();
    while (piece.size() < longestLine && !piece.ends_with('\n')) {
        const std::string more = exportFile.textAt(
            search.next, std::clamp(2 * search.block.size(), smallBlock, largest));
        if (more.empty()) {
            break;
        }
        search.block.erase(0, search.used);
        search.block += more;
        search.used = 0;
        search.next += static_cast<off_t>(more.size());
        piece = ahead();
    }
    return piece;
}

// The DN shown last, which is often shown again.
off_t shownDnOffset = -1;
std::string dnShown;

// Whether the first line, unfolded, ends within the text.
bool endsWithin(std::string_view text) {
    std::size_t next = text.find('\n') + 1;
    while (next != 0 && next < text.size() && text[next] == ' ') {
        next = text.find('\n', next) + 1;
    }
    return next != 0 && next < text.size();
}

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
    // Freed blocks of large entries go back to the system: by default the heap keeps ever larger
    // ones, up to 32 MiB.
    constexpr int largeBlock = 128 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, largeBlock);
    input_ldif_filename = name;  // the name that the reader's own failures show
    current = CurrentEntry();
    attributeSearch = AttributeSearch();
    shownDnOffset = -1;
    nextLineNumber = 1;
    lastResult = 0;
    exportFile.open(name);
    // Offsets in it are stored in five bytes.
    if (exportFile.size() >= static_cast<off_t>(Packed40::max)) {
        failReading(name, "it is too large");
    }
    openReader(ifp);
    ofp.discard();  // the reader itself copies entries that are too large
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
    exportFile.noteLine(current.offset, current.line);
    current.isSplitOff = before.endsInSpaces && current.offset == before.end;
    return true;
}

void requireUnchangedExport() {
    exportFile.requireUnchanged();
}

void visitCurrentPieces(const std::function<bool(const Piece&)>& visit) {
    dividePieces(visit);
}

void leaveOutLines(int count, int attributes) {
    const Entry whole = std::exchange(object, Entry());
    for (int i = count; i < whole.lineCount(); ++i) {
        object.append(whole.line(i));
    }
    current.isShortened = true;
    current.leftOut += attributes;
}

bool visitOversizedEntry(const std::function<void(PassedLine kind, std::string_view line)>& take) {
    PartReader part = openPart(current.offset, current.end);
    const int result = visitPassedLines(part.reader, take);
    if (result == READ_ERROR) {
        exportFile.fail(part.reader.error());
    }
    return result == 0;
}

bool readEntryAt(off_t offset) {
    constexpr std::size_t maxInMemory = 32 * 1024;
    for (std::size_t size = smallBlock; size <= maxInMemory; size *= 4) {
        const std::string block = exportFile.textAt(offset, size);
        LineReader reader;
        reader.openText(block);
        const int result = getNextObject(reader);
        // A line that the end of the block cuts off may look blank.
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
    goTo(reader, offset);
    const int result = getNextObject(reader);
    if (result == READ_ERROR) {
        exportFile.fail(reader.error());
    }
    current.isInPieces = hasFoldedName();
    return result != PASSED_THROUGH && !object.empty();
}

std::int64_t lineAt(off_t offset) {
    return exportFile.lineAt(offset);
}

std::int64_t lineOfAttribute(off_t offset, int index) {
    AttributeSearch& search = attributeSearch;
    if (search.offset != offset || search.attribute >= index) {
        const bool isCurrent = current.line != 0 && offset == current.offset;
        const std::int64_t line = isCurrent ? current.line : lineAt(offset);
        search = {.offset = offset, .begin = line, .line = line, .next = offset};
    }
    for (;;) {
        const std::string_view piece = pieceAhead(search);
        const std::string_view text = piece.substr(0, piece.find('\0'));
        if (isBlankLine(text)) {
            return search.begin;  // an attribute that only the migration adds
        }
        const int begun = text.starts_with(' ') || isCommentLine(text) ? 0 : 1;
        if (search.attribute + begun == index) {
            return search.line;
        }
        search.attribute += begun;
        search.line += piece.ends_with('\n') ? 1 : 0;
        search.used += piece.size();
    }
}

std::string dnAt(off_t offset) {
    if (shownDnOffset != offset) {
        dnShown = shownDn(dnLineAt(offset));
        shownDnOffset = offset;
    }
    return dnShown;
}

std::string dnLineAt(off_t offset) {
    constexpr std::size_t maxSize = 8192;
    std::string text = exportFile.textAt(offset, smallBlock);
    if (!endsWithin(text)) {
        text = exportFile.textAt(offset, maxSize);
    }
    if (shownDn(text).empty() || (offset > 0 && !isBehindLineFeed(offset))) {
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

void reportAtFileLine(FindingType type, std::int64_t line, std::string_view effect, int message) {
    if (!isShown(type)) {
        countFinding(type);
        return;
    }
    addFinding(type, {line, 0, dnAt(current.offset), std::string(effect), message});
}

std::int64_t lineOfCurrentAttribute(int index) {
    return lineOfAttribute(current.offset, index);
}

void reportAt(FindingType type, int index, std::string_view effect, int message) {
    reportAtFileLine(type, isShown(type) ? lineOfCurrentAttribute(index + current.leftOut) : 0,
                     effect, message);
}

void reportAtLine(FindingType type, int line, std::string_view effect) {
    reportAt(type, isShown(type) ? attributeOfLine(line) : 0, effect);
}

void reportEntry(FindingType type, std::string_view effect, int message) {
    reportAtFileLine(type, current.line, effect, message);
}

void reportAtOffset(off_t offset, FindingType type, std::string_view effect, int message) {
    if (!isShown(type)) {
        countFinding(type);
        return;
    }
    addFinding(type, {lineAt(offset), 0, dnAt(offset), std::string(effect), message});
}
