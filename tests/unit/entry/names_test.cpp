#include "entry/names.h"

#include <gtest/gtest.h>

#include <string_view>

#include "entry/filters.h"

namespace {

constexpr std::string_view twoNames[] = {"acl:", "control:"};
constexpr NameSet names(twoNames);

TEST(NameSet, MatchesHeadsByTheirEndWithoutRegardToCase) {
    EXPECT_TRUE(names.matches("ACL:"));
    EXPECT_TRUE(names.matches("secretControl:"));
    EXPECT_TRUE(names.matches("description: an acl:"));
    EXPECT_FALSE(names.matches("cl:"));
    EXPECT_FALSE(names.matches("patrol:"));
    EXPECT_FALSE(names.matches(":"));
    EXPECT_FALSE(names.matches(""));
}

TEST(NameSet, MatchesLinesThatHoldANameAnywhere) {
    EXPECT_TRUE(names.matchesSome("ACL: x"));
    EXPECT_TRUE(names.matchesSome("description: secretControl:x"));
    EXPECT_FALSE(names.matchesSome("acl x: control"));
    EXPECT_FALSE(names.matchesSome(""));
}

TEST(NameSet, MayHoldOneNameOrNone) {
    constexpr std::string_view one = "x:";
    EXPECT_TRUE(NameSet({&one, 1}).matches("X:"));
    EXPECT_FALSE(NameSet({}).matches("x:"));
    constexpr std::string_view colon = ":";
    EXPECT_TRUE(NameSet({&colon, 1}).matches("x:"));
    EXPECT_TRUE(NameSet({&colon, 1}).matches(":"));
    EXPECT_FALSE(NameSet({&colon, 1}).matches("x"));
}

TEST(Filters, DifferInControlsAlone) {
    for (const std::string_view colonPrefix : {"kvo-entryuuid:", "KVO-ENTRYUUID:", "aclEntry:",
                                               "aci:", "acl:", "oracl:", "description: aci:"}) {
        EXPECT_TRUE(unmergedFilter.matches(colonPrefix)) << colonPrefix;
        EXPECT_TRUE(mergedFilter.matches(colonPrefix)) << colonPrefix;
    }
    EXPECT_TRUE(unmergedFilter.matches("Control:"));
    EXPECT_FALSE(mergedFilter.matches("Control:"));
    EXPECT_FALSE(unmergedFilter.matches("aclPropagate:"));
}

}  // namespace
