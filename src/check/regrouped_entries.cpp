#include "check/regrouped_entries.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "cache/accumulation.h"
#include "cache/owner.h"
#include "check/digest.h"
#include "check/expected_entry.h"
#include "check/export_file.h"
#include "check/inventory.h"
#include "check/line_findings.h"
#include "check/owner_entries.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/staging.h"
#include "ldif/work_file.h"

namespace {

bool holdsChangetype = false;

void addCredential(bool isBroken) {
    LinesDigest digest;
    visitLines(object.text(), [&](std::string_view line, int index) {
        if (unmergedFilter.matchesSome(line)) {
            dropLine(line, index, FROM_UNMERGED);
            discountOutput(isBroken ? 0 : line.size() + 1);
        } else {
            digest.add(digestOfLine(line));
        }
    });
    if (expectedEntryTakers.credential != nullptr) {
        expectedEntryTakers.credential({digest.chain, current.offset});
    }
}

// Takes the current entry as the work file would hold it. Returns false when a migration would end
// with an error because it needs no regrouping.
bool takeIn(bool isBroken) {
    switch (objectClass) {
        case RESCREDS_CONTAINER:
        case SECRESCREDS_OBJECTCLASS:
            addCredential(isBroken);
            return true;
        case SECUSER_OBJECTCLASS:
            addToOwner(isUsersEntry(object.line(0)) ? Part::USERS_ENTRY : Part::OWN, false,
                       isBroken);
            return true;
        case SECGROUP_OBJECTCLASS:
            addToOwner(Part::OWN, true, isBroken);
            return true;
        case SECMAP_OBJECTCLASS:
            addToOwner(Part::MAPPING, !isMappingOfUser(), isBroken);
            return true;
        case SECPOLICY_OBJECTCLASS:
            addToOwner(Part::POLICY, false, isBroken);
            return true;
        case SECPOLICYDATA_OBJECTCLASS:
            addToOwner(Part::POLICY_DATA, false, isBroken);
            return true;
        default:
            return false;
    }
}

// Puts lines that stand back to back into the current entry, whose own they are not.
void setObject(std::string_view lines) {
    static std::vector<std::uint32_t> ends;
    ends.clear();
    for (std::size_t at = lines.find('\n'); at != std::string_view::npos;
         at = lines.find('\n', at + 1)) {
        ends.push_back(static_cast<std::uint32_t>(at + 1));
    }
    object.clear();
    object.append(lines, ends);
}

// What the work file gets of these attributes, each on its line. `changed` is called with each line
// that is normalized, its index, and what becomes of it.
template <class Changed>
std::string_view workFileText(std::string_view attributes, Changed changed) {
    static std::string text;
    if (!someColonPrefix(attributes, isNormalized)) {
        return attributes;
    }
    text.clear();
    text.reserve(attributes.size());
    visitLines(attributes, [&changed](std::string_view line, int index) {
        std::string normalized(line);
        if (someColonPrefix(line, isNormalized)) {
            commaSpaceEater(normalized);
        }
        if (normalized != line) {
            changed(line, index);
        }
        text += normalized;
        text += '\n';
    });
    return text;
}

// Whether normalizing takes a blank that belongs to a value within the DN: one behind a comma that
// is escaped, or one that is escaped itself (RFC 4514, section 2.4).
bool losesEscapedBlank(std::string_view line) {
    bool isEscaped = false;       // the character
    bool isCommaEscaped = false;  // or what stands behind an escaped comma
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const std::size_t next = line.find_first_not_of(' ', i);
        const bool isBeforeComma = next != std::string_view::npos && line[next] == ',';
        if (c == ' ' && (isCommaEscaped || (isEscaped && isBeforeComma))) {
            return true;
        }
        isCommaEscaped = c == ',' && isEscaped;
        isEscaped = c == '\\' && !isEscaped;
    }
    return false;
}

void reportNormalized(std::string_view line, int index) {
    countRule(Rule::NORMALIZED);
    constexpr std::string_view name = "secdn:";
    if (!line.starts_with(name)) {
        reportAt(
            FindingType::NORMALIZED_VALUE, index,
            format("would drop the blanks beside commas in the attribute %s", nameOf(line, index)));
    } else if (losesEscapedBlank(line)) {
        reportAt(
            FindingType::ESCAPED_COMMA, index,
            format("would drop a blank beside a comma that belongs to a value in the attribute %s",
                   nameOf(line, index)));
    }
}

// Whether the work file gives the attributes back as it gets them.
bool survivesWorkFile(std::string_view attributes) {
    bool survives = true;
    visitLines(attributes, [&survives](std::string_view line, int) {
        survives = survives && line.size() < longestLine && !isBlankLine(line);
    });
    return survives;
}

bool isMerged(ObjectClass kind) {
    return kind == SECUSER_OBJECTCLASS || kind == SECGROUP_OBJECTCLASS ||
           kind == SECMAP_OBJECTCLASS;
}

bool hasLineWithoutColon() {
    for (int i = 0; i < object.lineCount(); ++i) {
        if (object.line(i).find(':') == std::string_view::npos) {
            return true;
        }
    }
    return false;
}

// What the reader of the work file, or that of the export before it, takes apart.
struct Break {
    std::int64_t line = 0;    // of the export
    bool isLong = false;      // too long, rather than empty
    bool isInExport = false;  // the export's own line is too long
};

Break findBreak(std::string_view attributes) {
    Break found;
    if (current.hasLongLine) {
        visitCurrentPieces([&found](const Piece& piece) {
            if (piece.isSplit) {
                found = {piece.line, true, true};
            }
            return found.line == 0;
        });
        return found;
    }
    visitLines(attributes, [&found](std::string_view line, int index) {
        const bool isLong = line.size() >= longestLine;
        if (found.line == 0 && (isLong || isBlankLine(line))) {
            found = {lineOfCurrentAttribute(index + current.leftOut), isLong, false};
        }
    });
    return found;
}

// Whether the pieces of the current entry reach the output one behind the other, as if nothing had
// taken them apart: those of policies and resource credentials do, unless one is dropped.
bool isWrittenWhole(std::string_view attributes) {
    if (isMerged(objectClass) || object.text() != attributes) {
        return false;
    }
    bool beginsLine = true;
    for (int i = 0; i < object.lineCount(); ++i) {
        const std::string_view line = object.line(i);
        const bool isPiece = !beginsLine || !line.ends_with('\n');
        if (isPiece && unmergedFilter.matchesSome(line)) {
            return false;
        }
        beginsLine = line.ends_with('\n');
    }
    return true;
}

// Has the reader of the work file divide the attributes, and takes in what it makes of them.
void regroupPieces(std::string_view attributes) {
    const Break found = findBreak(attributes);
    current.isInPieces = true;
    LineReader reader;
    reader.openText(attributes);
    bool ends = false;
    bool isWhole = true;
    while (getNextObjectFromTemporaryInputLDIFFile(reader) != READ_ERROR &&
           next_available_object_slot() > 0) {
        determineTheObjectsObjectClass();
        const bool isDropped = objectClass == SECPOLICYDATA_OBJECTCLASS;
        isWhole = isWhole && (isDropped || (!found.isInExport && isWrittenWhole(attributes)));
        ends = ends || (isMerged(objectClass) && hasLineWithoutColon());
        ends = !takeIn(!isWhole) || ends;
        stepOverNextObjectFromTemporaryInputLDIFFile(reader);
    }
    if (ends) {
        reportAtFileLine(found.isLong ? FindingType::LONG_ATTRIBUTE : FindingType::STRAY_LINES,
                         found.line,
                         found.isLong ? "the entry breaks apart behind each 4,095 bytes of the line"
                                      : "the entry breaks apart at a line of which nothing is left",
                         MESSAGE_PROCESSING_FAILED);
    } else if (found.isLong && !isWhole) {
        reportAtFileLine(FindingType::LONG_ATTRIBUTE_BROKEN, found.line,
                         "would break the line apart behind each 4,095 bytes of it");
    }
}

}  // namespace

void regroup(std::string_view attributes) {
    const std::string_view text = workFileText(attributes, reportNormalized);
    countWorkFile(text.size() + 1);
    countOutput(text.size() + 1);
    holdsChangetype = holdsChangetype || someColonPrefix(text, [](std::string_view colonPrefix) {
                          return colonPrefix.ends_with("changetype:");
                      });
    if (current.hasLongLine || !survivesWorkFile(text)) {
        const bool isOfObject = text.data() == object.text().data();
        const std::string copy(isOfObject ? text : std::string_view());
        regroupPieces(isOfObject ? copy : text);
        return;
    }
    if (text.data() != object.text().data()) {
        setObject(text);
        determineTheObjectsObjectClass();  // joined lines may tell another one
    }
    if (!takeIn(false)) {
        reportEntry(FindingType::STRAY_LINES,
                    "the entry is none that is regrouped once its lines are joined",
                    MESSAGE_PROCESSING_FAILED);
    }
}

std::optional<Entry> stagedEntryAt(off_t offset) {
    if (!readEntryAt(offset) || object.line(0).starts_with(' ')) {
        return std::nullopt;
    }
    determineTheObjectsObjectClass();
    if (!canBeTweeked()) {
        return std::nullopt;
    }
    tweekObjectInObjectArray();
    const std::string_view text = workFileText(unfoldedObject(), [](std::string_view, int) {});
    if (!survivesWorkFile(text)) {
        return std::nullopt;
    }
    if (text.data() != object.text().data()) {
        setObject(text);
    }
    return std::exchange(object, Entry());
}

bool isChangetypeExpected() {
    return holdsChangetype;
}

void forgetRegroupedEntries() {
    holdsChangetype = false;
}
