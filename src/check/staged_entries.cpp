#include "check/staged_entries.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "cache/accumulation.h"
#include "cache/owner.h"
#include "check/digest.h"
#include "check/export_file.h"
#include "check/inventory.h"
#include "check/line_findings.h"
#include "check/owner_entries.h"
#include "check/owners.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/pass_through_entries.h"
#include "ldif/residue.h"
#include "ldif/staged_lines.h"
#include "ldif/work_file.h"

namespace {

ExpectedEntryTakers expectedEntryTakers;

// Counts lines of a text that are asked for one behind the other, each of them once.
class LineIndex {
public:
    explicit LineIndex(std::string_view text) : counted_(text.data()) {
    }
    int of(std::string_view lines) {
        index_ += static_cast<int>(std::count(counted_, lines.data(), '\n'));
        counted_ = lines.data();
        return index_;
    }

private:
    const char* counted_;
    int index_ = 0;
};

// ---- Entries that pass through.

// The class of the registry that a line names in a spelling that is not recognised, or empty.
std::string_view unrecognisedClass(std::string_view line) {
    constexpr std::string_view name = "objectclass:";
    if (line.size() <= name.size() || !equalIgnoringCase(line.substr(0, name.size()), name)) {
        return {};
    }
    std::string_view value = line.substr(name.size());
    const bool isBase64 = value.starts_with(':');
    value.remove_prefix(isBase64 ? 1 : 0);
    constexpr std::string_view whiteSpace = " \t";
    value.remove_prefix(std::min(value.find_first_not_of(whiteSpace), value.size()));
    value = value.substr(0, value.find_last_not_of(whiteSpace) + 1);
    const auto found =
        std::find_if(classTable.begin(), classTable.end(), [&](const ClassNames& one) {
            return !one.base64.empty() &&
                   (isBase64 ? value == one.base64 : equalIgnoringCase(value, one.name));
        });
    return found == classTable.end() ? std::string_view() : found->name;
}

void reportUnrecognisedClass(std::string_view line, int index) {
    const std::string_view name = unrecognisedClass(line);
    if (name.empty()) {
        return;
    }
    if (!isShown(FindingType::CLASS_NOT_RECOGNISED)) {
        countFinding(FindingType::CLASS_NOT_RECOGNISED);
        return;
    }
    reportAt(FindingType::CLASS_NOT_RECOGNISED, index,
             format("would leave the entry unchanged, and not take it for a %s", name));
}

// A half-migrated export may hold entries under the names that users and groups will get.
struct NewName {
    std::uint64_t dn;  // case-insensitive
    off_t offset;
};
std::vector<NewName> newNames;

void noteNewName(std::string_view attributes) {
    const std::string_view dnLine = attributes.substr(0, attributes.find('\n'));
    const bool mayBe =
        dostristr(dnLine, ",cn=Users,") != nullptr || dostristr(dnLine, ",cn=Groups,") != nullptr;
    if (mayBe && dostristr(dnLine, "secAuthority=default") != nullptr) {
        newNames.push_back({digestIgnoringCase(dnLine), current.offset});
    }
}

void expectPassedThrough(const TextDigest& text, bool addsInstallDate) {
    // Of an entry that has lost all its lines nothing is written but an empty line.
    const bool isWritten = text.lines().count > 0 || addsInstallDate;
    if (isWritten && expectedEntryTakers.passedThrough != nullptr) {
        expectedEntryTakers.passedThrough({text.lines().chain, current.offset, addsInstallDate,
                                           objectClass == SECAUTHORITYINFO_OBJECTCLASS});
    }
}

// ---- Entries that go to the work file.

void addCredential(bool isBroken) {
    dropUnmergedLines(0);
    TextDigest digest;
    std::uint64_t bytes = 0;
    visitResidueLines(object, [&](std::string_view line) {
        digest.add(line);
        bytes += line.size();
        return 0;
    });
    discountOutput(isBroken ? 0 : object.text().size() - bytes);
    if (digest.lines().count > 0 && expectedEntryTakers.credential != nullptr) {
        expectedEntryTakers.credential({digest.lines().chain, current.offset});
    }
}

// Takes in the current entry, as read from the work file. Returns false if a migration would fail
// because it needs no regrouping.
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

// Whether normalizing removes a space that belongs to a value within the DN: one behind an escaped
// comma, or one that is escaped itself (RFC 4514, section 2.4).
bool losesEscapedSpace(std::string_view line) {
    bool isEscaped = false;       // the character
    bool isCommaEscaped = false;  // or follows an escaped comma
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == ' ' && (isCommaEscaped ||
                         (isEscaped && withoutLeadingSpaces(line.substr(i)).starts_with(',')))) {
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
            format("would drop the spaces beside commas in the attribute %s", nameOf(line, index)));
    } else if (losesEscapedSpace(line)) {
        reportAt(
            FindingType::ESCAPED_COMMA, index,
            format("would drop a space beside a comma that belongs to a value in the attribute %s",
                   nameOf(line, index)));
    }
}

// The current entry in a work file of its own.
struct StagedEntry {
    LineReader workFile;
    std::size_t size = 0;

    std::string_view text() const {
        return workFile.textAtHand(0, static_cast<off_t>(size));
    }
};

// Stages these attributes; `changed` is called with each line that staging changes, and its index.
StagedEntry stage(std::string_view attributes,
                  const std::function<void(std::string_view line, int index)>& changed) {
    StagedEntry staged;
    staged.workFile.openText({});
    LineIndex index(attributes);
    visitWorkFileLines(attributes, [&](std::string_view lines, std::string_view written) {
        if (written.data() != lines.data() && written != lines) {
            changed(withoutLineEnd(lines), index.of(lines));
        }
        staged.workFile.addText(written);
        staged.size += written.size();
    });
    filePositionOfChangetypeSearch = {};  // nothing of this work file has been searched yet
    return staged;
}

// Reads the next entry of the work file into `object`, as a pass does. Returns false at its end.
bool readBack(StagedEntry& staged) {
    getNextObjectFromTemporaryInputLDIFFile(staged.workFile);
    if (object.empty()) {
        return false;
    }
    determineTheObjectsObjectClass();
    return true;
}

// Whether `object` holds the whole staged entry, and each of its attributes on one line.
bool isIntact(const StagedEntry& staged) {
    const EntryView lines = object;
    return lines.text().size() == staged.size &&
           std::all_of(lines.lineEnds().begin(), lines.lineEnds().end(),
                       [lines](std::uint32_t end) { return lines.text()[end - 1] == '\n'; });
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

// A line that the reader of the work file, or before it that of the export, splits.
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

// Whether the pieces of the current entry reach the output one behind the other, as if they had not
// been split: those of policies and resource credentials do, unless one is dropped. The first line
// of a policy is replaced by its new DN.
bool isWrittenWhole(const StagedEntry& staged) {
    const bool losesDn = objectClass == SECPOLICY_OBJECTCLASS && !object.line(0).ends_with('\n');
    if (isMerged(objectClass) || losesDn || object.text().size() != staged.size) {
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

// Takes in the entries read from the work file, of which the current one is the first.
void regroupPieces(StagedEntry& staged) {
    const Break found = findBreak(staged.text());
    current.isInPieces = true;
    bool fails = false;
    bool isWhole = true;
    do {
        const bool isDropped = objectClass == SECPOLICYDATA_OBJECTCLASS;
        isWhole = isWhole && (isDropped || (!found.isInExport && isWrittenWhole(staged)));
        fails = fails || (isMerged(objectClass) && hasLineWithoutColon());
        fails = !takeIn(!isWhole) || fails;
        stepOverNextObjectFromTemporaryInputLDIFFile(staged.workFile);
    } while (readBack(staged));
    if (fails) {
        reportAtFileLine(found.isLong ? FindingType::LONG_ATTRIBUTE : FindingType::STRAY_LINES,
                         found.line,
                         found.isLong ? "the entry is split after every 4,095 bytes of the line"
                                      : "the entry is split at a line of which nothing is left",
                         MESSAGE_PROCESSING_FAILED);
    } else if (found.isLong && !isWhole) {
        reportAtFileLine(FindingType::LONG_ATTRIBUTE_BROKEN, found.line,
                         "would split the line after every 4,095 bytes");
    }
}

}  // namespace

void beginStagedEntries(const ExpectedEntryTakers& takers) {
    expectedEntryTakers = takers;
    newNames.clear();
    changetypeSeen = false;
}

void passThrough(std::string_view attributes, bool addsInstallDate) {
    const bool isPlain =
        objectClass == UNINTERESTING_OBJECTCLASS || objectClass == CONTAINER_OBJECTCLASS;
    if (isPlain) {
        visitLines(attributes, reportUnrecognisedClass);
    }
    TextDigest digest;
    std::uint64_t bytes = 1;
    LineIndex index(attributes);
    visitOutputLines(attributes, [&](std::string_view lines, std::string_view written) {
        if (written.empty()) {
            dropLine(withoutLineEnd(lines), index.of(lines), FROM_PASS_THROUGH);
        }
        digest.add(written);
        bytes += written.size();
    });
    reportLongLines();
    noteNewName(attributes);
    countOutput(addsInstallDate ? bytes + installDateLine({}).size() + 1 : bytes);
    expectPassedThrough(digest, addsInstallDate);
}

void passThroughOversized() {
    TextDigest digest;
    std::uint64_t read = 0;  // before the migration gives up
    int lines = 0;
    const bool isEnded = visitOversizedEntry([&](PassedLine kind, std::string_view line) {
        if (kind != PassedLine::KEPT && kind != PassedLine::DROPPED) {
            return;
        }
        read += lines++ <= MOST_LINES_OF_AN_OBJECT ? line.size() + sizeof(std::uint32_t) : 0;
        if (kind == PassedLine::DROPPED) {
            countRule(Rule::ENTRY_IDENTIFIERS);
        } else {
            countOutput(line.size());
            digest.add(line);
        }
    });
    countReading(read, 0);
    countOutput(1);  // the empty line behind it
    reportEntry(
        FindingType::TOO_MANY_LINES,
        isEnded ? "would pass the entry through without its comments and entry identifiers"
                : "would pass the entry through without its comments and entry identifiers, and "
                  "write what follows directly after it");
    expectPassedThrough(digest, false);
}

void reportTakenNames() {
    for (const NewName& name : newNames) {
        const std::span<const OwnerNumber> owners = ownersOfNewDn(name.dn);
        std::size_t reported = 0;
        for (; reported < owners.size() && isShown(FindingType::SAME_NEW_NAME); ++reported) {
            const Owner& owner = ownerAt(owners[reported]);
            reportAtOffset(
                name.offset, FindingType::SAME_NEW_NAME,
                format("stays unchanged, and the entry in line %ld would get the same DN",
                       lineAt(owner.offset(Part::OWN))));
        }
        countFinding(FindingType::SAME_NEW_NAME, owners.size() - reported);
    }
}

void regroup(std::string_view attributes) {
    StagedEntry staged = stage(attributes, reportNormalized);
    countWorkFile(staged.size + 1);
    countOutput(staged.size + 1);
    const bool isRead = readBack(staged);
    if (isRead && (current.hasLongLine || !isIntact(staged))) {
        regroupPieces(staged);
    } else if (isRead && !takeIn(false)) {
        reportEntry(FindingType::STRAY_LINES,
                    "the entry is not one to be regrouped once its lines are joined",
                    MESSAGE_PROCESSING_FAILED);
    }
}

namespace {

std::optional<Entry> readBackAt(off_t offset, bool (*isAccepted)(const StagedEntry& staged)) {
    if (!readEntryAt(offset) || object.line(0).starts_with(' ')) {
        return std::nullopt;
    }
    determineTheObjectsObjectClass();
    if (!canBeTweeked()) {
        return std::nullopt;
    }
    tweekObjectInObjectArray();
    StagedEntry staged = stage(unfoldedObject(), [](std::string_view, int) {});
    return readBack(staged) && isAccepted(staged) ? std::optional(std::exchange(object, Entry()))
                                                  : std::nullopt;
}

}  // namespace

std::optional<Entry> stagedEntryAt(off_t offset) {
    return readBackAt(offset, isIntact);
}

std::optional<Entry> firstPieceAt(off_t offset) {
    return readBackAt(offset, [](const StagedEntry&) { return true; });
}
