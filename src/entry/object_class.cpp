#include "entry/object_class.h"

#include <algorithm>
#include <array>

#include "driver/diagnostics/trace.h"
#include "entry/entry.h"
#include "entry/text.h"

ObjectClass objectClass = UNINTERESTING_OBJECTCLASS;

namespace {

struct Spelling {
    std::string_view mixedCase;
    std::string_view otherCase;
    ObjectClass kind;
};

// In the order of the tests: the words are searched as parts of the line, so that secPolicyData
// must be tried before secPolicy.
constexpr std::array<Spelling, 8> spellings = {{
    {" secUser", " secuser", SECUSER_OBJECTCLASS},
    {" secPolicyData", " secpolicydata", SECPOLICYDATA_OBJECTCLASS},
    {" secPolicy", " secpolicy", SECPOLICY_OBJECTCLASS},
    {" secMap", " secmap", SECMAP_OBJECTCLASS},
    {" secGroup", " secgroup", SECGROUP_OBJECTCLASS},
    {" secAuthorityInfo", " secauthorityinfo", SECAUTHORITYINFO_OBJECTCLASS},
    {" container", " Container", CONTAINER_OBJECTCLASS},
    {" secResCreds", " secrescreds", SECRESCREDS_OBJECTCLASS},
}};

constexpr std::array<std::string_view, 10> traceTexts = {
    "UNINTERESTING_OBJECTCLASS  ",
    "SECUSER_OBJECTCLASS  ",
    "SECPOLICYDATA_OBJECTCLASS  ",
    "SECPOLICY_OBJECTCLASS  ",
    "SECGROUP_OBJECTCLASS  ",
    "SECMAP_OBJECTCLASS  ",
    "SECAUTHORITYINFO_OBJECTCLASS  ",
    "RESCREDS_CONTAINER (not really an object class) ",
    "SECRESCREDS_OBJECTCLASS (not really an object class) ",
    "CONTAINER_OBJECTCLASS ",
};

bool contains(std::string_view line, std::string_view text) {
    return line.find(text) != std::string_view::npos;
}

// The first kind in the table that `line` names anywhere. Every spelling begins with the only blank
// that it holds, so that one look at each blank does for all of them.
ObjectClass kindNamedIn(std::string_view line) {
    auto first = spellings.end();
    for (std::size_t blank = line.find(' '); blank != std::string_view::npos;
         blank = line.find(' ', blank + 1)) {
        const std::string_view rest = line.substr(blank);
        if (rest.substr(1, 1).find_first_of("scC") != 0) {
            continue;  // what all the spellings begin with; most object classes do not
        }
        first = std::find_if(spellings.begin(), first, [rest](const Spelling& spelling) {
            return rest.starts_with(spelling.mixedCase) || rest.starts_with(spelling.otherCase);
        });
    }
    return first == spellings.end() ? UNINTERESTING_OBJECTCLASS : first->kind;
}

bool namesResourceCredentials(std::string_view dnLine) {
    return contains(dnLine, "cn=ResCreds") || contains(dnLine, "cn=rescreds");
}

// The kind of the current entry, and the line that tells it.
struct ClassLine {
    ObjectClass kind = UNINTERESTING_OBJECTCLASS;
    int line = -1;
};

ClassLine findClassLine() {
    ClassLine classLine;
    someColonPrefix(
        object, [](std::string_view colonPrefix) { return isObjectClassName(colonPrefix); },
        [&classLine](int line, std::string_view, std::string_view) {
            const ObjectClass kind = kindNamedIn(object.line(line));
            if (kind != UNINTERESTING_OBJECTCLASS) {
                classLine = {kind, line};
            }
            return kind != UNINTERESTING_OBJECTCLASS;
        });
    return classLine;
}

ObjectClass kindOfObject() {
    const ObjectClass kind = findClassLine().kind;
    const bool isContainer = kind == CONTAINER_OBJECTCLASS;
    return isContainer && namesResourceCredentials(object.line(0)) ? RESCREDS_CONTAINER : kind;
}

}  // namespace

void determineTheObjectsObjectClass() {
    objectClass = kindOfObject();
    trace("\ndetermineTheObjectsObjectClass():    \n   The object class is %s\n\n",
          traceTexts[static_cast<std::size_t>(objectClass)]);
}

int lineOfObjectClass() {
    return findClassLine().line;
}
