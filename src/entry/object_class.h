// The object class of an entry: which of ten classes the current entry is in.
//
// Every entry is classified whenever it is read: while it is staged, in every pass and when the
// residue is copied. Its further processing depends on the class alone.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "driver/diagnostics/enum_table.h"

enum ObjectClass : std::int32_t {
    UNINTERESTING_OBJECTCLASS = 0,
    SECUSER_OBJECTCLASS = 1,
    SECPOLICYDATA_OBJECTCLASS = 2,
    SECPOLICY_OBJECTCLASS = 3,
    SECGROUP_OBJECTCLASS = 4,
    SECMAP_OBJECTCLASS = 5,
    SECAUTHORITYINFO_OBJECTCLASS = 6,
    RESCREDS_CONTAINER = 7,  // a container whose DN line names cn=ResCreds
    SECRESCREDS_OBJECTCLASS = 8,
    CONTAINER_OBJECTCLASS = 9,
};

// The names of a class.
struct ClassNames {
    ObjectClass code;
    std::string_view name;
    // How a class line names it: these two spellings alone, each with the space before it. Empty
    // for a class that no line names.
    std::string_view spelling;
    std::string_view otherSpelling;
    std::string_view base64;  // the name, for the classes that belong to the registry alone
    std::string_view traceText;
    std::string_view label;  // of its entries in reports
};

// By code. In which order class lines are searched for them is up to object_class.cpp.
// clang-format off
inline constexpr std::array<ClassNames, 10> classTable = {{
    {UNINTERESTING_OBJECTCLASS, "other", "", "", "",
     "UNINTERESTING_OBJECTCLASS  ", "other entries, unchanged"},
    {SECUSER_OBJECTCLASS, "secUser", " secUser", " secuser", "c2VjVXNlcg==",
     "SECUSER_OBJECTCLASS  ", "user entries"},
    {SECPOLICYDATA_OBJECTCLASS, "secPolicyData", " secPolicyData", " secpolicydata", "c2VjUG9saWN5RGF0YQ==",
     "SECPOLICYDATA_OBJECTCLASS  ", "policy data, dropped: the newer layout has none"},
    {SECPOLICY_OBJECTCLASS, "secPolicy", " secPolicy", " secpolicy", "c2VjUG9saWN5",
     "SECPOLICY_OBJECTCLASS  ", "policies"},
    {SECGROUP_OBJECTCLASS, "secGroup", " secGroup", " secgroup", "c2VjR3JvdXA=",
     "SECGROUP_OBJECTCLASS  ", "group entries"},
    {SECMAP_OBJECTCLASS, "secMap", " secMap", " secmap", "c2VjTWFw",
     "SECMAP_OBJECTCLASS  ", "mapping entries"},
    {SECAUTHORITYINFO_OBJECTCLASS, "secAuthorityInfo", " secAuthorityInfo", " secauthorityinfo", "c2VjQXV0aG9yaXR5SW5mbw==",
     "SECAUTHORITYINFO_OBJECTCLASS  ", "domains' own entries"},
    {RESCREDS_CONTAINER, "resCredsContainer", "", "", "",
     "RESCREDS_CONTAINER (not really an object class) ", "containers of resource credentials"},
    {SECRESCREDS_OBJECTCLASS, "secResCreds", " secResCreds", " secrescreds", "c2VjUmVzQ3JlZHM=",
     "SECRESCREDS_OBJECTCLASS (not really an object class) ", "resource credentials"},
    {CONTAINER_OBJECTCLASS, "container", " container", " Container", "",
     "CONTAINER_OBJECTCLASS ", "containers"},
}};
// clang-format on

static_assert(isInOrderOf(classTable, &ClassNames::code));

// The class of the current entry; written by determineTheObjectsObjectClass alone.
extern ObjectClass objectClass;

// Sets objectClass from the lines of the current entry.
void determineTheObjectsObjectClass();

// The index of the line that names the current entry's class, or -1 when none does.
int lineOfObjectClass();

// The class that a class line can name and that has this name in any case; null when there is none.
const ClassNames* classNamed(std::string_view name);

// Whether `colonPrefix`, a line up to one of its colons, ends in the name of the attribute that
// holds object classes. Only these two spellings count, as the registry writes no other.
inline bool isObjectClassName(std::string_view colonPrefix) {
    return colonPrefix.ends_with("lass:") &&
           (colonPrefix.ends_with("objectClass:") || colonPrefix.ends_with("objectclass:"));
}
