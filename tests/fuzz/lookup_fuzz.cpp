// Text routines, lookups, class detection and staging edits on arbitrary entries, each against the
// standard library's search or against the properties of every result.

#include <strings.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "entry/adjustments.h"
#include "entry/attribute_lookup.h"
#include "entry/entry.h"
#include "entry/filters.h"
#include "entry/hash.h"
#include "entry/object_class.h"
#include "entry/text.h"
#include "harness.h"
#include "ldif/line_reader.h"
#include "support/dice.h"
#include "support/entry_lines.h"
#include "support/naive_owners.h"

namespace {

using Lines = std::vector<std::string>;

// ---- Texts

// A part of `text`, most often a short one.
std::string partOf(const std::string& text, Dice& dice) {
    const std::size_t start = dice.upTo(text.size());
    const std::size_t max = dice.upTo(3) == 0 ? text.size() : 12;
    return text.substr(start, dice.upTo(max));
}

void checkSearches(const std::string& text, const std::string& part) {
    require(dostristr(text, part) == strcasestr(text.c_str(), part.c_str()), "strcasestr's place");
    require(equalIgnoringCase(text, part) == (strcasecmp(text.c_str(), part.c_str()) == 0),
            "strcasecmp's answer");
    require(
        (hashIgnoringCase(text, {}) == hashIgnoringCase(part, {})) == equalIgnoringCase(text, part),
        "equal texts alone have equal hashes");
    const bool isEnd = part.size() <= text.size() &&
                       strcasecmp(text.c_str() + text.size() - part.size(), part.c_str()) == 0;
    require(endsIgnoringCase(text, part) == isEnd, "the end is the end");
    const bool holdsOne =
        std::any_of(droppedNames.begin(), droppedNames.end(), [&text](const DroppedName& one) {
            return (one.drops & FROM_UNMERGED) != 0 &&
                   strcasestr(text.c_str(), std::string(one.name).c_str()) != nullptr;
        });
    require(unmergedFilter.matchesSome(text) == holdsOne, "a name is found anywhere");
}

void checkCase(const std::string& text) {
    std::string lower = text;
    std::string upper = text;
    strtolower(lower);
    strtoupper(upper);
    const auto isUpper = [](unsigned char c) { return isupper(c) != 0; };
    const auto isLower = [](unsigned char c) { return islower(c) != 0; };
    require(std::none_of(lower.begin(), lower.end(), isUpper), "no upper case is left");
    require(std::none_of(upper.begin(), upper.end(), isLower), "no lower case is left");
    require(strcasecmp(lower.c_str(), upper.c_str()) == 0, "nothing but case changes");
    require(hashIgnoringCase(lower, {}) == hashIgnoringCase(upper, {}),
            "equal texts have equal hashes");
}

void checkSpaces(const std::string& text) {
    std::string eaten = text;
    commaSpaceEater(eaten);
    require(eaten == withoutSpacesAroundCommas(text), "no space is beside a comma");

    std::string trimmed = text;
    trim(trimmed);
    require(text.starts_with(trimmed), "the beginning stays");
    require(trimmed.empty() || isspace(static_cast<unsigned char>(trimmed.back())) == 0,
            "no white space is at the end");
    const char* rest = text.c_str() + trimmed.size();
    require(std::strspn(rest, " \t\n\v\f\r") == std::strlen(rest), "nothing else is trimmed");

    require(withoutLineEnd(text) == text.substr(0, std::strcspn(text.c_str(), "\r\n")),
            "a line ends at CR or LF");
    require(withoutLeadingSpaces(text) == text.substr(std::strspn(text.c_str(), " ")),
            "leading spaces are removed");
    require(isBlankLine(text) == (std::strspn(text.c_str(), " \r\n") == text.size()),
            "a blank line holds nothing else");
    std::string blanked = text;
    blankLine(blanked);
    require(isBlankLine(blanked) && blanked.ends_with("\r\n") &&
                blanked.size() == std::max<std::size_t>(text.size(), 2),
            "a blanked line keeps its length");
}

// ---- Entries

std::string withoutLineEnds(const std::string& line) {
    return line.substr(0, std::strcspn(line.c_str(), "\r\n"));
}

// Line `index` with its continuation lines.
std::string unfolded(const Lines& lines, std::size_t index, std::size_t start) {
    std::string whole = withoutLineEnds(lines[index].substr(start));
    for (std::size_t i = index + 1; i < lines.size() && lines[i][0] == ' '; ++i) {
        whole += withoutLineEnds(lines[i].substr(1));
    }
    return whole;
}

// A naive lookup: the line is lowered up to its first colon and the key searched in it.
std::optional<std::string> valueOf(const Lines& lines, std::string name) {
    const std::string key = strtolower(name) + ":";
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::string copy = lines[i];
        const std::size_t nameEnd = std::min(copy.find(':'), copy.size());
        std::transform(copy.begin(), copy.begin() + static_cast<std::ptrdiff_t>(nameEnd),
                       copy.begin(), [](unsigned char c) { return std::tolower(c); });
        const std::size_t at = copy.find(key);
        if (at != std::string::npos) {
            const std::size_t value = at + key.size();
            return unfolded(lines, i, value + std::strspn(copy.c_str() + value, " "));
        }
    }
    return std::nullopt;
}

void checkLookups(const Lines& lines, const std::string& part) {
    for (const char* name : {"dn", "secDN", "secdn", "secAuthority", "principalName"}) {
        require(obtainAttributeValueFromObjArray(name) == valueOf(lines, name), "a value");
    }
    const std::string name = part.substr(0, part.find(':'));
    require(obtainAttributeValueFromObjArray(name) == valueOf(lines, name), "a value of any name");
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const int index = static_cast<int>(i);
        std::optional<std::string> attribute;
        const bool isRefused = !returns([&] { attribute = obtainAttributeFromObjectArray(index); });
        require(isRefused == (lines[i][0] == ' '), "a continuation line is refused");
        if (!isRefused) {
            require(attribute == unfolded(lines, i, 0), "an attribute");
            const std::size_t colon = std::min(lines[i].find(':'), lines[i].size());
            require(obtainAttributeValueFromObjectArray(index) == unfolded(lines, i, colon),
                    "an attribute from its colon on");
        }
    }
    require(linesOf(object) == lines, "lookups leave the entry alone");
}

// The class is decided by one line: lines added behind it change nothing.
void checkClass(const Lines& lines) {
    determineTheObjectsObjectClass();
    const ObjectClass whole = objectClass;
    freeObject();
    ObjectClass last = UNINTERESTING_OBJECTCLASS;
    for (const std::string& line : lines) {
        object.append(line);
        determineTheObjectsObjectClass();
        const bool isDecided = last != UNINTERESTING_OBJECTCLASS;
        require(!isDecided || objectClass == last, "a class once found stays");
        require(isDecided || objectClass == UNINTERESTING_OBJECTCLASS ||
                    line.find("objectClass:") != std::string::npos ||
                    line.find("objectclass:") != std::string::npos,
                "a class is found on a class line");
        last = objectClass;
    }
    require(last == whole, "the same class");
}

bool holdsInAnyCase(const Lines& lines, const char* text) {
    return std::any_of(lines.begin(), lines.end(), [text](const std::string& line) {
        return strcasestr(line.c_str(), text) != nullptr;
    });
}

// The first line that holds `text`, or their number.
std::size_t firstWith(const Lines& lines, const char* text) {
    const auto holds = [text](const std::string& line) {
        return line.find(text) != std::string::npos;
    };
    return static_cast<std::size_t>(std::find_if(lines.begin(), lines.end(), holds) -
                                    lines.begin());
}

// The expected line after its UUID or version is changed.
std::string adjusted(std::string line, ObjectClass kind) {
    if (kind != SECAUTHORITYINFO_OBJECTCLASS) {
        return line.replace(line.find("secuuid: "), 9, "secUUID: ");
    }
    std::size_t value = line.find("version: ") + 9;
    value += std::strspn(line.c_str() + value, " ");
    const bool isShort = line.size() - value < 3;
    return isShort ? line.substr(0, value) + "6.0" : line.replace(value, 3, "6.0");
}

void checkAdjustments(const Lines& before) {
    const ObjectClass kind = objectClass;
    const bool isDomain = kind == SECAUTHORITYINFO_OBJECTCLASS;
    const bool isUser = kind == SECUSER_OBJECTCLASS;
    Lines expected = before;
    const std::size_t changed = firstWith(before, isDomain ? "version: " : "secuuid: ");
    const bool isAdjusted = isDomain || isUser || kind == SECGROUP_OBJECTCLASS;
    if (isAdjusted && changed < before.size()) {
        expected[changed] = adjusted(before[changed], kind);
    }
    // A version in front of an installation date on one line may have cut its name short.
    const bool lacksLine = (isDomain && !holdsInAnyCase(expected, "installDate: ")) ||
                           (isUser && !holdsInAnyCase(expected, "secDomainId: "));
    const bool isRefused = isUser && lacksLine &&
                           !(valueOf(before, "secAuthority") && valueOf(before, "principalName"));
    require(returns(tweekObjectInObjectArray) == !isRefused, "a user without a name is refused");
    if (isRefused) {
        return;
    }
    Lines after = linesOf(object);
    require(after.size() == before.size() + (lacksLine ? 1 : 0), "one line is added");
    if (lacksLine) {
        require(after.back().starts_with(isUser ? "secDomainId: " : "installDate: "), "the line");
        after.pop_back();
    }
    require(after == expected, "one line changes");
}

// ---- Edits

void edit(Entry& entry, Lines& lines, const std::string& part, Dice& dice) {
    const std::size_t index = dice.upTo(lines.size());
    if (index == lines.size()) {
        entry.append(part);
        lines.push_back(part);
        return;
    }
    std::string& line = lines[index];
    const std::size_t offset = dice.upTo(line.size());
    if (dice.upTo(1) == 0) {
        entry.replaceTail(static_cast<int>(index), offset, part);
        line = line.substr(0, offset) + part;
    } else {
        const std::string over = part.substr(0, line.size() - offset);
        entry.overwrite(static_cast<int>(index), offset, over);
        line.replace(offset, over.size(), over);
    }
}

void checkEdits(Entry entry, const std::string& text, Dice& dice) {
    Lines lines = linesOf(entry);
    for (std::size_t edits = dice.upTo(20); edits > 0; --edits) {
        edit(entry, lines, partOf(text, dice), dice);
    }
    require(linesOf(entry) == lines, "edits reach their line alone");
}

void checkEntry(const Entry& entry, const std::string& text, Dice& dice) {
    constexpr std::array<ObjectClass, 4> kinds = {SECAUTHORITYINFO_OBJECTCLASS, SECUSER_OBJECTCLASS,
                                                  SECGROUP_OBJECTCLASS, SECMAP_OBJECTCLASS};
    const Lines lines = linesOf(entry);
    object = entry;
    checkLookups(lines, partOf(text, dice));
    checkClass(lines);
    if (dice.upTo(1) == 0) {
        objectClass = dice.oneOf(kinds);
    }
    checkAdjustments(lines);
    checkEdits(entry, text, dice);
    require(aboutObject("").size() < 512, "a message stays short");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int parts = 8;
    const FuzzInput fuzz = fuzzInput(data, size);
    Dice dice(fuzz.choices());
    if (dice.upTo(3) == 0) {
        traceToNowhere();
    }
    std::string text = fuzz.text;
    std::erase(text, '\0');
    for (int i = 0; i < parts; ++i) {
        const std::string part = partOf(text, dice);
        checkSearches(part, partOf(dice.upTo(1) == 0 ? part : text, dice));
        checkCase(part);
        checkSpaces(part);
    }
    for (const Entry& entry : entriesIn(fuzz.text)) {
        checkEntry(entry, text, dice);
    }
    resetProgram();
    return 0;
}
