#include "check/export_scan.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>
#include <vector>

#include "cache/accumulation.h"
#include "cache/owner.h"
#include "check/places.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"
#include "driver/settings.h"
#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/filters.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "ldif/entry_reader.h"
#include "ldif/pass_through.h"
#include "ldif/run_files.h"
#include "ldif/staging.h"
#include "ldif/work_file.h"
#include "output/merge.h"
#include "output/new_dn.h"

Inventory inventory;
std::array<std::uint64_t, static_cast<std::size_t>(Rule::END)> ruleLines = {};

namespace {

constexpr std::size_t longestLine = 4095;  // with its line feed

File exportFile;  // beside the reader, for places that are looked at again
LinePlaces linePlaces;
DemandTakers demandTakers;

// A line of the export, or a piece of one that is too long, as the reader sees it.
struct Piece {
    off_t place = 0;
    std::int64_t line = 0;   // its number in the file
    std::string_view text;   // up to a zero byte
    bool beginsLine = true;  // rather than going on with a line that is too long
    bool isCut = false;      // by a zero byte
};

// Where the entry just read stands.
struct CurrentEntry {
    off_t place = 0;            // of its first line
    std::int64_t line = 0;      // the number of that line
    off_t end = 0;              // behind the blank line that ends it
    bool endsInBlanks = false;  // that line is not empty
    bool hasLongLine = false;
    bool isTornOff = false;  // by a line of blanks right above it
};
CurrentEntry current;

// How far the reading has come.
struct Progress {
    std::int64_t nextLine = 1;  // the number of the next line of the export
    CurrentEntry last;          // the entry before the current one
};
Progress progress;

std::string shownText(std::string_view text) {
    const std::string whole = quoted(text);
    return whole.substr(1, whole.size() - 2);
}

// Tells what is wrong with the current entry, at line `line` of the export.
void find(Kind kind, std::int64_t line, const std::string& effect, int message = 0) {
    if (!isShown(kind)) {
        countFinding(kind);
        return;
    }
    addFinding(kind, {line, 0, dnAt(current.place), effect, message});
}

// The same at attribute `index`.
void findAt(Kind kind, int index, const std::string& effect, int message = 0) {
    find(kind, isShown(kind) ? lineOfAttribute(current.place, index) : 0, effect, message);
}

// What stands before the colon, for messages.
std::string nameOf(std::string_view line) {
    return shownText(line.substr(0, line.find(':')));
}

// ---- Reading, and what the way that lines are read does to them.

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
        pieces.push_back({place, line, kept, beginsLine, kept.size() < size});
        beginsLine = lineFeed != std::string_view::npos;
        line += beginsLine ? 1 : 0;
        place += static_cast<off_t>(size);
        text.remove_prefix(size);
    }
    return pieces;
}

bool isTextOfEntry(const Piece& piece) {
    return !isBlankLine(piece.text) && !isCommentLine(piece.text);
}

void tellFoldedComments(const std::vector<Piece>& pieces) {
    bool entryHasBegun = false;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const bool isFolded = isCommentLine(pieces[i].text) && pieces[i].beginsLine &&
                              i + 1 < pieces.size() && pieces[i + 1].text.starts_with(' ') &&
                              !isBlankLine(pieces[i + 1].text);
        if (isFolded && entryHasBegun) {
            find(Kind::FOLDED_COMMENT, pieces[i].line,
                 "would add the second line of the comment to the attribute above it");
        }
        entryHasBegun = entryHasBegun || isTextOfEntry(pieces[i]);
    }
}

void tellZeroBytes(const std::vector<Piece>& pieces) {
    for (const Piece& piece : pieces) {
        if (piece.isCut) {
            find(
                Kind::CUT_TEXT, piece.line,
                "would lose what stands behind the zero byte, and join the line to the next or end "
                "the entry there");
        }
    }
}

// Looks closely at an entry that is not made of whole lines alone.
void lookAtPieces(off_t start, off_t end, bool isLast) {
    const std::string text =
        textAt(exportFile.descriptor(), start, static_cast<std::size_t>(end - start));
    const std::vector<Piece> pieces = dividedIntoPieces(text, start, progress.nextLine);
    const auto first = std::find_if(pieces.begin(), pieces.end(), isTextOfEntry);
    if (first != pieces.end()) {
        current.place = first->place;
        current.line = first->line;
        current.endsInBlanks =
            !isLast && pieces.back().beginsLine && pieces.back().text.starts_with(' ');
    }
    current.hasLongLine = std::any_of(pieces.begin(), pieces.end(),
                                      [](const Piece& piece) { return !piece.beginsLine; });
    progress.nextLine += std::count(text.begin(), text.end(), '\n');
    tellFoldedComments(pieces);
    tellZeroBytes(pieces);
}

// Learns where the entry just read stands, which began to be read at `start`.
void locate(off_t start, std::uint32_t linesBefore, bool isLast) {
    current = CurrentEntry();
    current.end = ifp.tell();
    const std::optional<Extent> extent = ifp.takeNotedExtent(start);
    if (extent) {
        const std::uint32_t lines = lineNum - linesBefore;
        current.place = extent->firstLine;
        current.line = progress.nextLine + lines - object.lineCount() - 1;
        current.endsInBlanks = extent->next - extent->end > 1 &&
                               ifp.textAtHand(extent->end, extent->next).starts_with(' ');
        progress.nextLine += lines;
    } else {
        lookAtPieces(start, current.end, isLast);
    }
    linePlaces.note(current.place, current.line);
    const bool isRightBehind = progress.last.end != 0 && current.place == progress.last.end;
    current.isTornOff = isRightBehind && progress.last.endsInBlanks;
}

// ---- What is wrong with lines, whatever the entry's class.

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

void tellTornOff() {
    if (current.isTornOff && dostristr(object.line(0).substr(0, 3), "dn:") == nullptr) {
        find(Kind::BLANK_CONTINUATION, current.line - 1,
             "would end the entry above it there, and take the lines behind it for an entry of its "
             "own");
    }
}

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

// ---- Entries that pass through.

struct RegroupedClass {
    std::string_view name;
    std::string_view base64;
};
constexpr std::array<RegroupedClass, 7> regroupedClasses = {{
    {"secUser", "c2VjVXNlcg=="},
    {"secPolicyData", "c2VjUG9saWN5RGF0YQ=="},
    {"secPolicy", "c2VjUG9saWN5"},
    {"secGroup", "c2VjR3JvdXA="},
    {"secMap", "c2VjTWFw"},
    {"secAuthorityInfo", "c2VjQXV0aG9yaXR5SW5mbw=="},
    {"secResCreds", "c2VjUmVzQ3JlZHM="},
}};

// The class of the registry that a line names in a spelling that is not recognised, or empty.
std::string_view unrecognisedClass(std::string_view line) {
    constexpr std::string_view name = "objectclass:";
    if (line.size() <= name.size() || !equalIgnoringCase(line.substr(0, name.size()), name)) {
        return {};
    }
    std::string_view value = line.substr(name.size());
    const bool isBase64 = value.starts_with(':');
    value.remove_prefix(isBase64 ? 1 : 0);
    value = withoutLeadingBlanks(value);
    value = value.substr(0, value.find_last_not_of(' ') + 1);
    const auto found = std::find_if(
        regroupedClasses.begin(), regroupedClasses.end(), [&](const RegroupedClass& one) {
            return isBase64 ? value == one.base64 : equalIgnoringCase(value, one.name);
        });
    return found == regroupedClasses.end() ? std::string_view() : found->name;
}

bool holdsEntryIdentifier(std::string_view line) {
    return someHead(line, [line](std::string_view head) {
        return isEntryIdentifier(head, line.substr(head.size()));
    });
}

// Counts a line that is dropped for one of the names, and tells when another attribute's is.
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
    findAt(Kind::FILTERED_WORD, index,
           format("would drop the attribute %s, because it holds a name that is filtered",
                  nameOf(line)));
}

void tellLongLines() {
    if (!current.hasLongLine) {
        return;
    }
    const std::string text = textAt(exportFile.descriptor(), current.place,
                                    static_cast<std::size_t>(current.end - current.place));
    std::int64_t told = 0;
    for (const Piece& piece : dividedIntoPieces(text, current.place, current.line)) {
        if (!piece.beginsLine && std::exchange(told, piece.line) != piece.line) {
            find(Kind::LONG_LINE, piece.line,
                 "would break the line apart behind each 4,095 bytes of it");
        }
    }
}

void passThrough(std::string_view attributes, bool addsInstallDate) {
    constexpr std::array<std::string_view, 1> identifiers = {"kvo-entryuuid:"};
    const bool holdsIdentifier = holdsEntryIdentifier(attributes);
    const bool isPlain =
        objectClass == UNINTERESTING_OBJECTCLASS || objectClass == CONTAINER_OBJECTCLASS;
    LinesDigest digest;
    std::uint64_t bytes = 1;
    visitLines(attributes, [&](std::string_view line, int index) {
        if (isPlain && unrecognisedClass(line).data() != nullptr) {
            findAt(Kind::CLASS_NOT_RECOGNISED, index,
                   format("would leave the entry as it is, and not take it for a %s",
                          unrecognisedClass(line)));
        }
        if (holdsIdentifier && holdsEntryIdentifier(line)) {
            dropLine(line, index, identifiers);
            return;
        }
        digest.add(digestOfLine(line));
        bytes += line.size() + 1;
    });
    tellLongLines();
    inventory.passedBytes += bytes;
    if (objectClass == SECPOLICY_OBJECTCLASS) {
        ++inventory.newPolicies;
    }
    if (demandTakers.passedThrough != nullptr) {
        demandTakers.passedThrough({digest.chain, current.place, addsInstallDate});
    }
}

// An entry with too many lines for the migration to hold has been passed on by the reader. It is
// read again, a block at a time.
void passThroughOversized(off_t start, off_t end, bool isLast) {
    ++inventory.entries;
    ++inventory.byClass[UNINTERESTING_OBJECTCLASS];
    LineReader reader;
    reader.open(openFileForReading(input_ldif_filename));
    reader.setPosition({start});
    LinesDigest digest;
    LineDigest line;
    bool hasBegun = false;
    std::string_view piece;
    std::int64_t lineNumber = progress.nextLine;
    while (reader.tell() < end && reader.readLine(piece) == 0) {
        const bool isOfEntry = !isBlankLine(piece) && !isCommentLine(piece);
        if (isOfEntry && !hasBegun) {
            hasBegun = true;
            current.place = reader.tell() - static_cast<off_t>(piece.size());
            current.line = lineNumber;
        }
        lineNumber += piece.ends_with('\n') ? 1 : 0;
        if (isOfEntry && !holdsEntryIdentifier(piece)) {
            digest.add(digestOfLine(withoutLineEnd(piece)));
            inventory.passedBytes += piece.size();
        }
    }
    progress.nextLine = lineNumber;
    linePlaces.note(current.place, current.line);
    find(Kind::TOO_MANY_LINES, current.line,
         isLast ? "would pass the entry on as it is, without comments and entry identifiers, and "
                  "write the next entry right behind it"
                : "would pass the entry on as it is, without comments and entry identifiers");
    if (demandTakers.passedThrough != nullptr) {
        demandTakers.passedThrough({digest.chain, current.place, false});
    }
}

// ---- Entries that are regrouped. The current entry is as the work file would hold it.

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

// The owner of the current entry, as the migration would find it or open a slot for it; null when
// there are too many domains.
Owner* ownerOf(bool isGroup) {
    constexpr std::uint64_t groupSalt = 0x5851f42d4c957f2dU;
    isGroup ? learnIndexOfAssociatedSecGroupDN() : learnIndexOfAssociatedSecUserDN();
    const std::uint64_t salt = isGroup ? groupSalt : 0;
    if (Owner* const owner = findOwner(digestIgnoringCase(searchedDn) ^ salt)) {
        return owner;
    }
    const std::string& saved = isGroup ? saved_secGroup_dn : saved_secUser_dn;
    Owner& owner = addOwner(digestIgnoringCase(saved) ^ salt);
    const std::string_view domain = std::string_view(saved).substr(0, saved.find(','));
    const int number = isInDefaultDomain(saved) ? 0 : numberOfDomain(domain);
    if (number < 0) {
        return nullptr;
    }
    owner.domain = static_cast<std::uint16_t>(number);
    if (isGroup) {
        owner.set(IS_GROUP);
    }
    ++(isGroup ? inventory.groups : inventory.users);
    // What the migration holds of an owner beside its entries: a slot in a table or two, with the
    // DN in a block of its own, a place in the index, and its part of each matrix.
    constexpr std::uint64_t slot = 96;
    (isGroup ? inventory.groupMemory : inventory.userMemory) += slot + saved.size();
    return &owner;
}

void tellDomain(const Owner& owner, std::string_view ownerDn) {
    std::string domain(withoutLineEnd(ownerDn.substr(0, ownerDn.find(','))));
    const std::string_view value = std::string_view(domain).substr(domain.find('=') + 1);
    const bool meansDefault = equalIgnoringCase(value, "default");
    if (meansDefault != (owner.domain == 0)) {
        find(Kind::WRONG_DOMAIN, current.line,
             owner.domain == 0
                 ? format("would put the entry into the default domain instead of %s",
                          shownText(domain))
                 : "would put the entry into a subdomain instead of the default domain");
    }
}

// A value within a DN, RFC 4514, section 2.4.
bool needsEscaping(std::string_view name) {
    return name.find_first_of(",+\"\\<>;=") != std::string_view::npos || name.starts_with('#') ||
           name.starts_with(' ') || name.ends_with(' ');
}

// Where the naming value was found.
struct NameSource {
    std::string_view kind;                      // of the attribute, for messages
    std::array<std::string_view, 2> spellings;  // with the colon
};
constexpr NameSource principalNameSource = {"principalName", {"principalName:", "principalname:"}};
constexpr NameSource cnSource = {"cn", {"cn:", "CN:"}};

void tellName(const NameSource& source, std::string_view name) {
    const auto offset = static_cast<std::size_t>(name.data() - object.text().data());
    const int index = EntryView(object).lineOf(std::min(offset, object.text().size() - 1));
    const std::string_view line = object.line(index);
    const bool isOwn =
        line.starts_with(source.spellings[0]) || line.starts_with(source.spellings[1]);
    if (!isOwn) {
        findAt(Kind::NAME_FROM_ELSEWHERE, index,
               format("would take its %s from the attribute %s", source.kind, nameOf(line)));
    } else if (name.starts_with(':')) {
        findAt(Kind::BASE64_NAME, index,
               format("would take the %s undecoded into the new DN", source.kind));
    } else if (needsEscaping(name)) {
        findAt(Kind::NAME_NEEDS_ESCAPING, index,
               format("would put the %s unescaped into the new DN", source.kind));
    }
}

void nameOwner(Owner& owner, bool isGroup) {
    const NameSource& source = isGroup ? cnSource : principalNameSource;
    const std::string_view name = isGroup ? cnOf(object) : principalNameOf(object);
    if (name.empty()) {
        find(Kind::MISSING_NAME, current.line, format("the entry has no %s", source.kind),
             MESSAGE_PROCESSING_FAILED);
        owner.explain(Part::OWN);
        return;
    }
    tellName(source, name);
    const std::string_view domain = domainName(owner.domain);
    const std::string dnLine = isGroup ? newGroupDnLine(name, domain) : newUserDnLine(name, domain);
    owner.newDn = Packed64(digestIgnoringCase(withoutLineEnd(dnLine)));
    owner.set(NAMED);
    owner.addToRecord(digestOfLine(withoutLineEnd(dnLine)));
    inventory.rebuiltBytes += dnLine.size() + 1;
}

// What a merge does with a line.
bool isClassName(std::string_view name) {
    return name == "objectclass:" || name == "objectClass:";
}

constexpr std::array<std::string_view, 12> droppedInMerge = {
    "KVO-ENTRYUUID:", "kvo-entryuuid:", "control:", "Control:", "aclpropagate:", "aclPropagate:",
    "aclentry:",      "aclEntry:",      "acl:",     "ACL:",     "aci:",          "ACI:"};

// What is dropped by name in merged entries, in one spelling each.
constexpr std::array<std::string_view, 6> droppedNames = {
    "kvo-entryuuid:", "aclentry:", "aci:", "acl:", "control:", "aclpropagate:"};

void tellWithoutColon(std::string_view line, int index, bool isBroken) {
    if (isBroken) {
        return;  // told as a long attribute
    }
    const bool isTab = line.starts_with('\t');
    findAt(isTab ? Kind::TAB_CONTINUATION : Kind::LINE_WITHOUT_COLON, index,
           isTab ? "a tab does not continue a line, and the line has no colon"
                 : "the line has no colon",
           MESSAGE_PROCESSING_FAILED);
}

// The sketch of the current entry, which is going to be merged.
Sketch sketchOfObject(Part part, bool isBroken) {
    Sketch sketch;
    visitLines(object.text(), [&](std::string_view line, int index) {
        if (index == 0) {
            return;
        }
        const std::string_view name = line.substr(0, line.find(':') + 1);
        if (name.empty()) {
            tellWithoutColon(line, index, isBroken);
            sketch.isBroken = true;
            return;
        }
        inventory.rebuiltBytes += line.size() + 1;
        if (isClassName(name)) {
            sketch.classLines += digestOfLine(line);
            if (part == Part::MAPPING) {
                countRule(Rule::OLD_CLASSES);
            }
        } else if (std::find(droppedInMerge.begin(), droppedInMerge.end(), name) !=
                   droppedInMerge.end()) {
            sketch.isIrregular = sketch.isIrregular || someHead(line, [](std::string_view head) {
                                     return isObjectClassName(head);
                                 });
            dropLine(line, index, droppedNames);
        } else {
            sketch.isIrregular = sketch.isIrregular || name == "dn:" || name == "DN:";
            const bool isDropped = mergedFilter.matchesSome(line);
            if (isDropped) {
                dropLine(line, index, droppedNames);
            }
            sketchLine(sketch, line, !isDropped);
        }
    });
    return sketch;
}

// The sum of the lines of a policy but for its first.
std::uint64_t policyLines() {
    LinesDigest digest;
    visitLines(object.text(), [&](std::string_view line, int index) {
        if (index == 0) {
            return;
        }
        if (unmergedFilter.matchesSome(line)) {
            dropLine(line, index, filteredNames);
        } else {
            digest.add(digestOfLine(line));
            inventory.rebuiltBytes += line.size() + 1;
        }
    });
    return digest.sum;
}

// A policy spells its domain in its own way, which its new DN keeps.
std::uint64_t policyDomainDigest() {
    const std::string_view dn = object.line(0);
    return isInDefaultDomain(dn) ? 0 : digestOfLine(domainOfPolicy(dn));
}

bool hasBase64Dn() {
    return object.line(0).substr(0, 4) == "dn::";
}

bool hasBlankBesideComma(std::string_view dn) {
    std::string eaten(dn);
    commaSpaceEater(eaten);
    return eaten.size() != dn.size();
}

void tellMissing(Kind kind, const std::string& problem) {
    find(kind, current.line, problem, MESSAGE_PROCESSING_FAILED);
}

// Whether the migration could look for the entry's owner; tells why not.
bool namesOwner(Part part, bool isGroup) {
    switch (part) {
        case Part::OWN:
            return true;
        case Part::POLICY:
        case Part::POLICY_DATA:
            if (object.line(0).find(',', 3) == std::string_view::npos) {
                tellMissing(Kind::MISSING_OWNER,
                            "its DN has no comma, so that it belongs to nobody");
                return false;
            }
            if (part == Part::POLICY && !isInDefaultDomain(object.line(0)) &&
                domainOfPolicy(object.line(0)).data() == nullptr) {
                tellMissing(Kind::MISSING_DOMAIN, "its DN names no domain");
                return false;
            }
            return true;
        case Part::USERS_ENTRY:
            if (!obtainAttributeValueFromObjArray("secAuthority")) {
                tellMissing(Kind::MISSING_DOMAIN, "the entry has no secAuthority");
                return false;
            }
            break;
        case Part::MAPPING:
            if (const auto dn = obtainAttributeValueFromObjArray("dn");
                !dn || dostristr(*dn, "secAuthority") == nullptr) {
                tellMissing(hasBase64Dn() ? Kind::BASE64_DN : Kind::MISSING_DOMAIN,
                            "the entry has no secAuthority in its DN");
                return false;
            }
            break;
    }
    if (!obtainAttributeValueFromObjArray(isGroup ? "secDN" : "secdn")) {
        tellMissing(Kind::MISSING_OWNER, "the entry has no secDN");
        return false;
    }
    return true;
}

// Tells what in the entry will keep its owner from being found.
void tellOwnerTrouble(Owner& owner, Part part) {
    if (part == Part::OWN || part == Part::POLICY || part == Part::POLICY_DATA) {
        if (hasBase64Dn()) {
            find(Kind::BASE64_DN, current.line,
                 "the DN is not decoded, and no other entry finds it", MESSAGE_PROCESSING_FAILED);
            owner.explain(part);
        }
        return;
    }
    const std::string owned = obtainAttributeValueFromObjArray("secDN").value_or("");
    const std::string domain = part == Part::USERS_ENTRY
                                   ? obtainAttributeValueFromObjArray("secAuthority").value_or("")
                                   : "secAuthority";
    if (owned.starts_with(':') || domain.starts_with(':')) {
        find(Kind::BASE64_OWNER, current.line, "the owner is not decoded, and so not found",
             MESSAGE_PROCESSING_FAILED);
        owner.explain(part);
    } else if (owned.empty() || domain.empty()) {
        tellMissing(owned.empty() ? Kind::MISSING_OWNER : Kind::MISSING_DOMAIN,
                    format("the entry's %s is empty", owned.empty() ? "secDN" : "secAuthority"));
        owner.explain(part);
    }
}

// How many entries of each kind have been gathered, as the slots of the migration count them.
std::array<std::array<std::uint64_t, partCount>, 2> gathered = {};

// Marks an owner whose own entry, or policy, will not be found by its DN.
void markBlanks(Owner& owner, Part part, bool isGroup, std::string_view dnBefore) {
    if (part == Part::OWN) {
        const bool hasTrailing =
            dnBefore.find_last_not_of(" \t\v\f\r\n") + 1 < withoutLineEnd(dnBefore).size();
        if (hasTrailing || (isGroup && hasBlankBesideComma(withoutLineEnd(dnBefore)))) {
            owner.set(HAS_BLANKS_IN_DN);
        }
    } else if (part == Part::POLICY || part == Part::POLICY_DATA) {
        const std::size_t comma = dnBefore.find(',', 3);
        if (dnBefore.substr(comma + 1, 1) == " ") {
            owner.set(HAS_BLANK_IN_POLICY);
        }
    }
}

bool tooManyDomains = false;
bool holdsChangetype = false;  // one of the entries that are regrouped

void addToOwner(Part part, bool isGroup, bool isBroken) {
    if (!namesOwner(part, isGroup)) {
        return;
    }
    const std::string dnBefore(object.line(0));
    Owner* const found = ownerOf(isGroup);
    if (found == nullptr) {
        tooManyDomains = true;
        return;
    }
    Owner& owner = *found;
    if (isBroken) {
        owner.set(BROKEN);
    }
    const auto index = static_cast<std::size_t>(part);
    if (owner.has(part)) {
        // Told with the line of the first, which a later look at the file finds.
        if (isShown(Kind::TWO_OF_ONE_KIND)) {
            find(Kind::TWO_OF_ONE_KIND, current.line,
                 format("the entry in line %ld is of the same kind and has the same owner",
                        lineAt(owner.place(part))),
                 static_cast<int>(gathered[isGroup ? 1 : 0][index] * 2 + (isGroup ? 1 : 0)));
        } else {
            countFinding(Kind::TWO_OF_ONE_KIND);
        }
        owner.set(BROKEN);
        return;
    }
    ++gathered[isGroup ? 1 : 0][index];
    tellOwnerTrouble(owner, part);
    markBlanks(owner, part, isGroup, dnBefore);
    if (part == Part::OWN) {
        tellDomain(owner, isGroup ? saved_secGroup_dn : saved_secUser_dn);
        nameOwner(owner, isGroup);
    }
    if (part == Part::POLICY) {
        owner.policy = Packed40(policyLines() + policyDomainDigest());
        countRule(Rule::CONTAINERS_ADDED);
        constexpr std::uint64_t container = 200;
        inventory.rebuiltBytes += container;
    } else if (part == Part::POLICY_DATA) {
        countRule(Rule::POLICY_DATA, static_cast<std::uint64_t>(object.lineCount()));
    } else {
        const Sketch sketch = sketchOfObject(part, isBroken);
        if (part != Part::OWN) {
            countRule(Rule::OLD_NAMES);
        }
        countRule(Rule::EQUAL_LINES, static_cast<std::uint64_t>(takeIn(owner, part, sketch)));
    }
    owner.places[index] = Packed40(static_cast<std::uint64_t>(current.place) + 1);
    const std::uint64_t size =
        object.text().size() +
        sizeof(std::uint32_t) * static_cast<std::uint64_t>(object.lineCount() + 1);
    (isGroup ? inventory.groupMemory : inventory.userMemory) += size;
}

// Takes the current entry as the work file would hold it. Returns false when a migration would end
// with an error because it needs no regrouping.
bool regroup(bool isBroken) {
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
        ends = !regroup(true) || ends;
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

void stage(std::string_view attributes) {
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
        find(Kind::LONG_ATTRIBUTE_BROKEN, current.line,
             "would break a line of the entry apart behind 4,095 bytes");
    }
    regroup(current.hasLongLine);
}

// ---- The adjustments, and what stands in their way.

void tellVersion() {
    bool isTold = false;
    someHead(
        object, [](std::string_view head) { return head.ends_with("version:"); },
        [&isTold](int line, std::string_view head, std::string_view tail) {
            if (isTold || !tail.starts_with(' ')) {
                return isTold;
            }
            isTold = true;
            const std::string_view value = withoutLineEnd(withoutLeadingBlanks(tail));
            countRule(Rule::VERSIONS);
            if (head != "version:" || line == 0) {
                findAt(
                    Kind::VERSION_ELSEWHERE, line,
                    format("would set the version in the attribute %s", nameOf(object.line(line))));
            } else if (value.size() != 3) {
                findAt(
                    Kind::VERSION_LENGTH, line,
                    value.size() < 3
                        ? std::string("would put 6.0 in the place of a version of another length")
                        : "would write 6.0 over the first three characters of the version alone");
            }
            return true;
        });
}

// Whether the user's entry has what its domain identifier is made of; tells what is missing.
bool canBeIdentified() {
    if (hasDomainIdentifier()) {
        return true;
    }
    const std::optional<std::string> authority = obtainAttributeValueFromObjArray("secAuthority");
    if (!authority) {
        tellMissing(Kind::MISSING_DOMAIN, "the entry has no secAuthority");
        return false;
    }
    if (!obtainAttributeValueFromObjArray("principalName")) {
        tellMissing(Kind::MISSING_NAME, "the entry has no principalName");
        return false;
    }
    if (authority->empty() && !isUsersEntry(object.line(0))) {
        find(Kind::EMPTY_DOMAIN, current.line,
             "would give the user a domain identifier without a domain");
    }
    countRule(Rule::DOMAIN_IDS_ADDED);
    return true;
}

void scanEntry() {
    ++inventory.entries;
    if (object.line(0).starts_with(' ')) {
        find(Kind::STARTS_WITH_CONTINUATION, current.line,
             "the entry begins with a continuation line", MESSAGE_PROCESSING_FAILED);
        return;
    }
    determineTheObjectsObjectClass();
    ++inventory.byClass[static_cast<std::size_t>(objectClass)];
    tellTornOff();
    tellCarriageReturns();
    const bool passes = belongsInOutput();
    const bool hasHeader = dostristr(object.line(0).substr(0, 8), "version:") != nullptr;
    if (hasHeader && !passes && objectClass != SECRESCREDS_OBJECTCLASS &&
        objectClass != RESCREDS_CONTAINER) {
        find(Kind::HEADER_GLUED, current.line, "the header line is taken for the DN of the entry",
             MESSAGE_PROCESSING_FAILED);
        return;
    }
    if (objectClass == SECAUTHORITYINFO_OBJECTCLASS) {
        tellVersion();
    }
    if (objectClass == SECUSER_OBJECTCLASS && !canBeIdentified()) {
        return;
    }
    const int lines = object.lineCount();
    tweekObjectInObjectArray();
    const bool addsInstallDate =
        objectClass == SECAUTHORITYINFO_OBJECTCLASS && object.lineCount() > lines;
    std::string_view text = unfoldedObject();
    if (addsInstallDate) {
        countRule(Rule::DATES_ADDED);
        text = text.substr(0, text.rfind('\n', text.size() - 2) + 1);
    }
    if (passes) {
        passThrough(text, addsInstallDate);
    } else {
        stage(text);
    }
}

void scanEntries() {
    int result = 0;
    while (result == 0 || result == PASSED_THROUGH) {
        const off_t start = ifp.tell();
        const std::uint32_t linesBefore = lineNum;
        result = getNextObject(ifp);
        if (result == PASSED_THROUGH) {
            current = CurrentEntry();
            passThroughOversized(start, ifp.tell(),
                                 stateOf(exportFile.descriptor()).size == ifp.tell());
        } else if (result != READ_ERROR && next_available_object_slot() > 0) {
            locate(start, linesBefore, result == END_OF_FILE);
            scanEntry();
        }
        current.end = ifp.tell();
        progress.last = current;
    }
}

// Reads the entry at `place` once more, into the current entry. Few entries are larger than the
// first block: a whole buffer of the reader for each took longer than all the rest.
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

void forgetEverything() {
    clearOwners();
    inventory = Inventory();
    ruleLines = {};
    linePlaces = LinePlaces();
    progress = Progress();
    gathered = {};
    tooManyDomains = false;
    holdsChangetype = false;
}

}  // namespace

void countRule(Rule rule, std::uint64_t lines) {
    ruleLines[static_cast<std::size_t>(rule)] += lines;
}

int scanExport(const std::string& name, const DemandTakers& takers) {
    forgetEverything();
    demandTakers = takers;
    input_ldif_filename = name;
    exportFile = openFileForReading(name);
    if (!exportFile.isOpen() || ifp.open(openFileForReading(name)) != 0) {
        return -1;
    }
    const FileState before = stateOf(exportFile.descriptor());
    if (before.kind != FileKind::REGULAR) {
        errno = ESPIPE;
        return -1;
    }
    // Entries that are too large are passed on by the reader itself.
    if (ofp.openEmpty("/dev/null") != 0) {
        return -1;
    }
    scanEntries();
    if (ifp.error() != 0) {
        errno = ifp.error();
        return -1;
    }
    const FileState after = stateOf(exportFile.descriptor());
    if (after.size != before.size || after.modifiedTime != before.modifiedTime) {
        errno = EBUSY;
        return -1;
    }
    if (tooManyDomains) {
        errno = E2BIG;
        return -1;
    }
    inventory.bytes = static_cast<std::uint64_t>(after.size);
    return 0;
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

bool isChangetypeDemanded() {
    return holdsChangetype;
}

void addFindingAt(off_t place, Kind kind, const std::string& effect, int message) {
    if (!isShown(kind)) {
        countFinding(kind);
        return;
    }
    addFinding(kind, {lineAt(place), 0, dnAt(place), effect, message});
}
