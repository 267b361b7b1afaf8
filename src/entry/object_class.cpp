#include "entry/object_class.h"

#include <algorithm>
#include <array>

#include "driver/diagnostics/trace.h"
#include "entry/entry.h"
#include "entry/text.h"

ObjectClass objectClass = UNINTERESTING_OBJECTCLASS;

namespace {

// The classes that a class line can name, in the order of the tests. A name is looked for as a part
// of the line, so that secPolicyData must be tried before secPolicy.
constexpr std::array<ObjectClass, 8> testOrder = {
    SECUSER_OBJECTCLASS,   SECPOLICYDATA_OBJECTCLASS, SECPOLICY_OBJECTCLASS,
    SECMAP_OBJECTCLASS,    SECGROUP_OBJECTCLASS,      SECAUTHORITYINFO_OBJECTCLASS,
    CONTAINER_OBJECTCLASS, SECRESCREDS_OBJECTCLASS};

constexpr const ClassNames& namesOf(ObjectClass code) {
    return classTable[static_cast<std::size_t>(code)];
}

// Whether no test keeps a later one from ever deciding.
constexpr bool isEveryTestReached() {
    for (auto test = testOrder.begin(); test != testOrder.end(); ++test) {
        const bool isHidden = std::any_of(testOrder.begin(), test, [test](ObjectClass earlier) {
            return namesOf(*test).spelling.starts_with(namesOf(earlier).spelling);
        });
        if (isHidden) {
            return false;
        }
    }
    return true;
}
static_assert(isEveryTestReached());

bool contains(std::string_view line, std::string_view text) {
    return line.find(text) != std::string_view::npos;
}

// The first class in the order of the tests that `line` names anywhere. Every spelling begins with
// the only space that it holds, so that one look at each space does for all of them.
ObjectClass classNamedIn(std::string_view line) {
    auto first = testOrder.end();
    for (std::size_t space = line.find(' '); space != std::string_view::npos;
         space = line.find(' ', space + 1)) {
        const std::string_view rest = line.substr(space);
        if (rest.substr(1, 1).find_first_of("scC") != 0) {
            continue;  // what all the spellings begin with; most object classes do not
        }
        first = std::find_if(testOrder.begin(), first, [rest](ObjectClass code) {
            return rest.starts_with(namesOf(code).spelling) ||
                   rest.starts_with(namesOf(code).otherSpelling);
        });
    }
    return first == testOrder.end() ? UNINTERESTING_OBJECTCLASS : *first;
}

bool namesResourceCredentials(std::string_view dnLine) {
    return contains(dnLine, "cn=ResCreds") || contains(dnLine, "cn=rescreds");
}

// The class of the current entry, and the line that names it.
struct ClassLine {
    ObjectClass code = UNINTERESTING_OBJECTCLASS;
    int line = -1;
};

ClassLine findClassLine() {
    ClassLine classLine;
    someColonPrefix(
        object, [](std::string_view colonPrefix) { return isObjectClassName(colonPrefix); },
        [&classLine](int line, std::string_view, std::string_view) {
            const ObjectClass code = classNamedIn(object.line(line));
            if (code != UNINTERESTING_OBJECTCLASS) {
                classLine = {code, line};
            }
            return code != UNINTERESTING_OBJECTCLASS;
        });
    return classLine;
}

ObjectClass classOfObject() {
    const ObjectClass code = findClassLine().code;
    const bool isContainer = code == CONTAINER_OBJECTCLASS;
    return isContainer && namesResourceCredentials(object.line(0)) ? RESCREDS_CONTAINER : code;
}

}  // namespace

void determineTheObjectsObjectClass() {
    objectClass = classOfObject();
    trace("\ndetermineTheObjectsObjectClass():    \n   The object class is %s\n\n",
          namesOf(objectClass).traceText);
}

int lineOfObjectClass() {
    return findClassLine().line;
}

const ClassNames* classNamed(std::string_view name) {
    const auto found =
        std::find_if(classTable.begin(), classTable.end(), [name](const ClassNames& names) {
            return !names.spelling.empty() && equalIgnoringCase(name, names.name);
        });
    return found == classTable.end() ? nullptr : &*found;
}
