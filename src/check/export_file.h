// The export while it is checked: the entry just read, its position, and single entries read again.
//
// The migration's own reader reads the export once, from beginning to end. Findings and merges read
// single entries again.
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "check/findings.h"
#include "entry/text.h"
#include "ldif/pass_through_entries.h"

// A line of the export, or a piece of one that is too long, as the reader sees it.
struct Piece {
    off_t offset = 0;
    std::int64_t line = 0;   // its number in the file
    bool beginsLine = true;  // false for a further piece of a line that is too long
    bool isSplit = false;    // a further piece that is part of the entry or ends it
    bool isCut = false;      // by a zero byte
    bool isBlank = false;    // up to a zero byte
    bool isComment = false;
    bool isContinuation = false;  // begins with a space
    bool isText() const {
        return !isBlank && !isComment;
    }
};

// The position of the entry just read. Written by readNextEntry, leaveOutLines and readEntryAt.
struct CurrentEntry {
    off_t offset = 0;           // of its first line
    std::int64_t line = 0;      // the number of that line
    off_t end = 0;              // behind the blank line that ends it
    bool endsInSpaces = false;  // that line is not empty
    bool isSplitOff = false;    // by a line of spaces right above it
    bool isShortened = false;   // lines at its beginning are not in `object` any more
    int leftOut = 0;            // the number of attributes in these lines
    bool isOversized = false;   // too many lines for the migration to hold
    bool isLast = false;        // the export ends behind it

    std::uint64_t zeroBytes = 0;  // pieces of it, and above it, in which they begin
    bool hasFoldedComment = false;
    bool hasLongLine = false;     // one of its lines is too long
    bool beginsWithRest = false;  // of a line that is too long, a comment as a rule
    bool isInPieces = false;      // text that looks like a name in it may be part of a value

    // Where reading it began, to read it again if it does not consist of whole lines alone.
    off_t start = 0;
    std::int64_t startLine = 0;
};
extern CurrentEntry current;

// Opens the export. Here and below, a failure to read ends the check.
void openExport(const std::string& name);

// Reads the next entry into `object`; one that is oversized stays unread there. Returns false at
// the end of the export.
bool readNextEntry();

// Ends the check when the export has changed since it was opened.
void requireUnchangedExport();

// Calls `visit` with the pieces of the current entry from its first one on, and with those above it
// in which zero bytes begin, until it returns false. The pieces are found again each time: stored,
// those of short lines would take several times the memory of the entry.
void visitCurrentPieces(const std::function<bool(const Piece&)>& visit);

// Removes the first `count` lines of `object`, which hold `attributes` attributes.
void leaveOutLines(int count, int attributes);

// Gives `take` the lines of the current entry, which is oversized, as visitPassedLines does.
// Returns whether a blank line follows it, rather than the end of the export.
bool visitOversizedEntry(const std::function<void(PassedLine kind, std::string_view line)>& take);

// After the last entry: reads the entry at `offset` again, into `object`. Returns false if there is
// none or it is too large.
bool readEntryAt(off_t offset);

// The line number of an offset, and of attribute `index` of the entry there, in which folded lines
// count once; 0 if the export is shorter.
std::int64_t lineAt(off_t offset);
std::int64_t lineOfAttribute(off_t offset, int index);

// The same for the current entry, each piece of a line counting.
std::int64_t lineOfCurrentAttribute(int index);

// The DN line of the entry at `offset`, unfolded and without its line end: in a form that can be
// shown, or unchanged. Empty if no DN line begins there.
std::string dnAt(off_t offset);
std::string dnLineAt(off_t offset);

// The name of the attribute in `line`, which is line `index` of the current entry, in a form that
// can be shown. A first line that is neither a DN nor a header may be the rest of a value.
std::string nameOf(std::string_view line, int index);

// Report a problem of the current entry: at line `line` of the export, at attribute `index`, at
// line `line` of `object`, or of the whole entry. `message` is the number of the message that a
// migration fails with.
void reportAtFileLine(FindingType type, std::int64_t line, std::string_view effect,
                      int message = 0);
void reportAt(FindingType type, int index, std::string_view effect, int message = 0);
void reportAtLine(FindingType type, int line, std::string_view effect);
void reportEntry(FindingType type, std::string_view effect, int message = 0);

// Reports a problem of the entry at `offset`.
void reportAtOffset(off_t offset, FindingType type, std::string_view effect, int message = 0);

// Calls `visit` with each line of `text`, without its line feed, and its index.
template <class Visit>
void visitLines(std::string_view text, Visit visit) {
    int index = 0;
    while (!text.empty()) {
        const std::size_t size = std::min(text.find('\n'), text.size());
        visit(text.substr(0, size), index++);
        text.remove_prefix(std::min(size + 1, text.size()));
    }
}
