#include "check/line_findings.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "check/export_file.h"
#include "check/inventory.h"
#include "driver/diagnostics/format.h"
#include "entry/entry.h"
#include "entry/text.h"
#include "ldif/line_reader.h"

namespace {

bool beginsWith(std::string_view name, int line) {
    return equalIgnoringCase(object.line(line).substr(0, name.size()), name);
}

void tellFoldedComments() {
    if (!current.hasFoldedComment) {
        return;
    }
    std::int64_t comment = 0;  // the line of the one right above, or 0
    visitCurrentPieces([&comment](const Piece& piece) {
        if (comment != 0 && piece.isContinuation && !piece.isBlank) {
            find(Kind::FOLDED_COMMENT, comment,
                 "would add the second line of the comment to the attribute above it");
        }
        const bool isWithin = piece.place > current.place;
        comment = isWithin && piece.isComment && piece.beginsLine ? piece.line : 0;
        return true;
    });
}

void tellZeroBytes() {
    std::uint64_t left = current.zeroBytes;
    if (left > 0 && isShown(Kind::CUT_TEXT)) {
        visitCurrentPieces([&left](const Piece& piece) {
            if (piece.isCut) {
                --left;
                find(Kind::CUT_TEXT, piece.line,
                     "would lose what stands behind the zero byte, and take what is left of the "
                     "line "
                     "for the beginning of the next, or for the end of the entry");
            }
            return left > 0 && isShown(Kind::CUT_TEXT);
        });
    }
    countFinding(Kind::CUT_TEXT, left);
}

// Text behind a carriage return is lost when the lines of an attribute are joined.
void tellCarriageReturns() {
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
            findAt(Kind::CUT_TEXT, attribute,
                   "would lose what stands behind the carriage return within the line");
        }
    }
}

void tellMissingDn() {
    constexpr std::string_view trailer = "search:";
    if (current.isShortened || current.beginsWithRest || beginsWith("dn:", 0) ||
        beginsWithHeader() || beginsWith(trailer, 0)) {
        return;
    }
    if (current.isTornOff) {
        find(Kind::BLANK_CONTINUATION, current.line - 1,
             "would end the entry above it there, and take the lines behind it for an entry of its "
             "own");
    } else {
        findEntry(Kind::ENTRY_WITHOUT_DN, "would take the lines for an entry of its own");
    }
}

void tellSecondDns() {
    const int first = beginsWithHeader() || current.beginsWithRest ? 2 : 1;
    int attribute = -1;
    for (int i = 0; i < object.lineCount(); ++i) {
        attribute += object.line(i).starts_with(' ') ? 0 : 1;
        if (i >= first && beginsWith("dn:", i)) {
            findAt(Kind::SECOND_DN, attribute,
                   "would take this entry for a part of the one above it");
        }
    }
}

}  // namespace

void tellLineTrouble() {
    tellMissingDn();
    tellSecondDns();
    tellFoldedComments();
    tellZeroBytes();
    tellCarriageReturns();
}

bool isVersion(std::string_view line) {
    constexpr std::string_view name = "version:";
    return equalIgnoringCase(line.substr(0, name.size()), name);
}

bool beginsWithHeader() {
    return isVersion(object.line(0));
}

void tellLongLines() {
    if (!current.hasLongLine) {
        return;
    }
    std::int64_t told = 0;
    visitCurrentPieces([&told](const Piece& piece) {
        if (piece.isTorn && std::exchange(told, piece.line) != piece.line) {
            find(Kind::LONG_LINE, piece.line,
                 "would break the line apart behind each 4,095 bytes of it");
        }
        return true;
    });
}

void dropLine(std::string_view line, int index, std::span<const std::string_view> names) {
    const std::string_view name = line.substr(0, line.find(':') + 1);
    const bool isNamed = std::any_of(names.begin(), names.end(), [name](std::string_view one) {
        return equalIgnoringCase(one, name);
    });
    if (isNamed) {
        countRule(equalIgnoringCase(name, "kvo-entryuuid:") ? Rule::ENTRY_IDENTIFIERS
                                                            : Rule::ACCESS_CONTROL);
        return;
    }
    countRule(Rule::FILTERED_WORDS);
    if (!isShown(Kind::FILTERED_WORD)) {
        countFinding(Kind::FILTERED_WORD);
        return;
    }
    findAt(Kind::FILTERED_WORD, index,
           format("would drop the attribute %s, because it holds a name that is filtered",
                  nameOf(line, index)));
}
