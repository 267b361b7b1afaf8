#include "entry/object_class.h"

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

ObjectClass kindNamedIn(std::string_view line) {
    for (const Spelling& spelling : spellings) {
        if (contains(line, spelling.mixedCase) || contains(line, spelling.otherCase)) {
            return spelling.kind;
        }
    }
    return UNINTERESTING_OBJECTCLASS;
}

bool namesResourceCredentials(std::string_view dnLine) {
    return contains(dnLine, "cn=ResCreds") || contains(dnLine, "cn=rescreds");
}

ObjectClass kindOfObject() {
    for (int i = 0; i < object.lineCount(); ++i) {
        if (!holdsObjectClassName(object.line(i))) {
            continue;
        }
        const ObjectClass kind = kindNamedIn(object.line(i));
        if (kind == CONTAINER_OBJECTCLASS && namesResourceCredentials(object.line(0))) {
            return RESCREDS_CONTAINER;
        }
        if (kind != UNINTERESTING_OBJECTCLASS) {
            return kind;
        }
    }
    return UNINTERESTING_OBJECTCLASS;
}

}  // namespace

bool holdsObjectClassName(std::string_view line) {
    // Only these two spellings count, as the registry writes no other.
    return someHead(line, [](std::string_view head) {
        return head.ends_with("objectClass:") || head.ends_with("objectclass:");
    });
}

void determineTheObjectsObjectClass() {
    objectClass = kindOfObject();
    trace("\ndetermineTheObjectsObjectClass():    \n   The object class is %s\n\n",
          traceTexts[static_cast<std::size_t>(objectClass)]);
}
