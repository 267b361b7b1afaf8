#include "check/line_findings.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "check/export_file.h"
#include "check/inventory.h"
#include "driver/diagnostics/format.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/text.h"
#include "ldif/line_reader.h"

namespace {

bool beginsWith(std::string_view name, int line) {
    return equalIgnoringCase(object.line(line).substr(0, name.size()), name);
}

void reportFoldedComments() {
    if (!current.hasFoldedComment) {
        return;
    }
    std::int64_t comment = 0;  // the number of a comment line right above, or 0
    visitCurrentPieces([&comment](const Piece& piece) {
        if (comment != 0 && piece.isContinuation && !piece.isBlank) {
            reportAtFileLine(FindingType::FOLDED_COMMENT, comment,
                             "would add the second line of the comment to the attribute above it");
        }
        const bool isWithin = piece.offset > current.offset;
        comment = isWithin && piece.isComment && piece.beginsLine ? piece.line : 0;
        return true;
    });
}

void reportZeroBytes() {
    std::uint64_t left = current.zeroBytes;
    if (left > 0 && isShown(FindingType::CUT_TEXT)) {
        visitCurrentPieces([&left](const Piece& piece) {
            if (piece.isCut) {
                --left;
                reportAtFileLine(
                    FindingType::CUT_TEXT, piece.line,
                    "would lose the text after the zero byte, and take what is left of the "
                    "line for the beginning of the next, or for the end of the entry");
            }
            return left > 0 && isShown(FindingType::CUT_TEXT);
        });
    }
    countFinding(FindingType::CUT_TEXT, left);
}

// Text behind a carriage return is lost when the lines of an attribute are joined.
void reportCarriageReturns() {
    if (object.text().find('\r') == std::string_view::npos) {
        return;
    }
    int attribute = -1;
    for (int i = 0; i < object.lineCount(); ++i) {
        const std::string_view line = object.line(i);
        attribute += line.starts_with(' ') ? 0 : 1;
        const std::size_t at = line.find('\r');
        if (at != std::string_view::npos &&
            line.find_first_not_of("\r\n", at) != std::string_view::npos) {
            reportAt(FindingType::CUT_TEXT, attribute,
                     "would lose the text after the carriage return in the line");
        }
    }
}

void reportMissingDn() {
    constexpr std::string_view trailer = "search:";
    if (current.isShortened || current.beginsWithRest || beginsWith("dn:", 0) ||
        beginsWithHeader() || beginsWith(trailer, 0)) {
        return;
    }
    if (current.isSplitOff) {
        reportAtFileLine(
            FindingType::BLANK_CONTINUATION, current.line - 1,
            "would end the entry above it there, and take the lines after it for a separate entry");
    } else {
        reportEntry(FindingType::ENTRY_WITHOUT_DN, "would take the lines for a separate entry");
    }
}

void reportSecondDns() {
    const int first = beginsWithHeader() || current.beginsWithRest ? 2 : 1;
    int attribute = -1;
    for (int i = 0; i < object.lineCount(); ++i) {
        attribute += object.line(i).starts_with(' ') ? 0 : 1;
        if (i >= first && beginsWith("dn:", i)) {
            reportAt(FindingType::SECOND_DN, attribute,
                     "would take this entry for a part of the one above it");
        }
    }
}

}  // namespace

void reportLineFindings() {
    reportMissingDn();
    reportSecondDns();
    reportFoldedComments();
    reportZeroBytes();
    reportCarriageReturns();
}

bool isVersion(std::string_view line) {
    constexpr std::string_view name = "version:";
    return equalIgnoringCase(line.substr(0, name.size()), name);
}

bool beginsWithHeader() {
    return isVersion(object.line(0));
}

void reportLongLines() {
    if (!current.hasLongLine) {
        return;
    }
    std::int64_t reported = 0;
    visitCurrentPieces([&reported](const Piece& piece) {
        if (piece.isSplit && std::exchange(reported, piece.line) != piece.line) {
            reportAtFileLine(FindingType::LONG_LINE, piece.line,
                             "would split the line after every 4,095 bytes");
        }
        return true;
    });
}

void dropLine(std::string_view line, int index, unsigned drops) {
    const std::string_view name = line.substr(0, line.find(':') + 1);
    const auto dropped =
        std::find_if(droppedNames.begin(), droppedNames.end(), [&](const DroppedName& one) {
            return (one.drops & drops) != 0 && equalIgnoringCase(one.name, name);
        });
    // Object classes that a merge drops are counted separately.
    if (dropped != droppedNames.end() && dropped->kind != DroppedKind::OBJECT_CLASS) {
        countRule(dropped->kind == DroppedKind::ENTRY_IDENTIFIER ? Rule::ENTRY_IDENTIFIERS
                                                                 : Rule::ACCESS_CONTROL);
        return;
    }
    countRule(Rule::FILTERED_WORDS);
    if (!isShown(FindingType::FILTERED_WORD)) {
        countFinding(FindingType::FILTERED_WORD);
        return;
    }
    reportAt(FindingType::FILTERED_WORD, index,
             format("would drop the attribute %s, because it holds a name that is filtered",
                    nameOf(line, index)));
}

void dropUnmergedLines(int first) {
    int attribute = 0;
    for (int i = 0; i < object.lineCount(); ++i) {
        const std::string_view line = object.line(i);
        if (i >= first && unmergedFilter.matchesSome(line)) {
            dropLine(withoutLineEnd(line), attribute, FROM_UNMERGED);
        }
        attribute += line.ends_with('\n') ? 1 : 0;  // else a piece of it is next
    }
}
