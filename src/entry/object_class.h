// The object class of an entry: which of ten kinds the current entry is.
//
// Every entry is sorted whenever it is read: while it is staged, in every pass and when what is
// left is copied. What
// happens to it then hangs on the kind alone.
#pragma once

#include <cstdint>
#include <string_view>

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

// The kind of the current entry; written by determineTheObjectsObjectClass alone.
extern ObjectClass objectClass;

// Sets objectClass from the lines of the current entry.
void determineTheObjectsObjectClass();

// The index of the line that tells the current entry's class, or -1 when none does.
int lineOfObjectClass();

// Whether `head`, a line up to one of its colons, ends in the name of the attribute that tells
// object classes. Only these two spellings count, as the registry writes no other.
inline bool isObjectClassName(std::string_view colonPrefix) {
    return colonPrefix.ends_with("lass:") &&
           (colonPrefix.ends_with("objectClass:") || colonPrefix.ends_with("objectclass:"));
}
