#include "check/regrouped_entries.h"

#include <cstdint>
#include <string>
#include <vector>

#include "cache/accumulation.h"
#include "cache/owner.h"
#include "check/demands.h"
#include "check/digest.h"
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

constexpr std::size_t longestLine = 4095;  // with its line feed

bool holdsChangetype = false;

void addCredential() {
    LinesDigest digest;
    visitLines(object.text(), [&](std::string_view line, int index) {
        if (unmergedFilter.matchesSome(line)) {
            dropLine(line, index, filteredNames);
        } else {
            digest.add(digestOfLine(line));
            inventory.passedBytes += line.size() + 1;
        }
    });
    if (demandTakers.credential != nullptr) {
        demandTakers.credential({digest.chain, current.place, false});
    }
}

// Takes the current entry as the work file would hold it. Returns false when a migration would end
// with an error because it needs no regrouping.
bool takeIn(bool isBroken) {
    switch (objectClass) {
        case RESCREDS_CONTAINER:
        case SECRESCREDS_OBJECTCLASS:
            addCredential();
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

// Puts lines that stand back to back into the current entry.
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
    if (!someHead(attributes, isNormalized)) {
        return attributes;
    }
    text.clear();
    visitLines(attributes, [&changed](std::string_view line, int index) {
        std::string normalized(line);
        if (someHead(line, isNormalized)) {
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

void tellNormalized(std::string_view line, int index) {
    countRule(Rule::NORMALIZED);
    if (line.find("\\, ") != std::string_view::npos) {
        findAt(Kind::ESCAPED_COMMA, index,
               format("would drop the blank behind an escaped comma in the attribute %s",
                      nameOf(line)));
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

// The index of the first attribute that the work file does not give back as it gets it.
int firstBrokenAttribute(std::string_view attributes, bool& isLong) {
    int broken = -1;
    visitLines(attributes, [&](std::string_view line, int index) {
        const bool isTooLong = line.size() >= longestLine;
        if (broken < 0 && (isTooLong || isBlankLine(line))) {
            broken = index;
            isLong = isTooLong;
        }
    });
    return broken;
}

// Has the reader of the work file divide the attributes, and takes in what it makes of them.
void regroupPieces(const std::string& attributes) {
    bool isLong = false;
    const int broken = firstBrokenAttribute(attributes, isLong);
    const std::int64_t line = lineOfAttribute(current.place, broken);
    LineReader reader;
    reader.openText(attributes + '\n');
    bool ends = false;
    int entries = 0;
    while (getNextObjectFromTemporaryInputLDIFFile(reader) != READ_ERROR &&
           next_available_object_slot() > 0) {
        ++entries;
        determineTheObjectsObjectClass();
        ends = ends || (isMerged(objectClass) && hasLineWithoutColon());
        ends = !takeIn(true) || ends;
        stepOverNextObjectFromTemporaryInputLDIFFile(reader);
    }
    if (ends) {
        find(
            isLong ? Kind::LONG_ATTRIBUTE : Kind::STRAY_LINES, line,
            "the entry breaks apart behind each 4,095 bytes of the attribute, or at a line that is "
            "empty",
            MESSAGE_PROCESSING_FAILED);
    } else {
        find(Kind::LONG_ATTRIBUTE_BROKEN, line,
             "would break the attribute apart behind each 4,095 bytes of it");
    }
}

}  // namespace

void regroup(std::string_view attributes) {
    const std::string_view text = workFileText(attributes, tellNormalized);
    inventory.workFileBytes += text.size() + 1;
    holdsChangetype = holdsChangetype || someHead(text, [](std::string_view head) {
                          return head.ends_with("changetype:");
                      });
    if (!survivesWorkFile(text)) {
        regroupPieces(std::string(text));
        return;
    }
    if (text.data() != object.text().data()) {
        setObject(std::string(text));
    }
    if (current.hasLongLine) {
        findEntry(Kind::LONG_ATTRIBUTE_BROKEN,
                  "would break a line of the entry apart behind 4,095 bytes");
    }
    takeIn(current.hasLongLine);
}

std::optional<Entry> stagedEntryAt(off_t place) {
    if (!readEntryAt(place) || object.line(0).starts_with(' ')) {
        return std::nullopt;
    }
    determineTheObjectsObjectClass();
    tweekObjectInObjectArray();
    const std::string text(workFileText(unfoldedObject(), [](std::string_view, int) {}));
    if (!survivesWorkFile(text)) {
        return std::nullopt;
    }
    setObject(text);
    return object;
}

bool isChangetypeDemanded() {
    return holdsChangetype;
}

void forgetRegroupedEntries() {
    holdsChangetype = false;
}
