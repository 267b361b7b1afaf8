#include "entry/names.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

constexpr std::string_view twoNames[] = {"acl:", "control:"};
constexpr NameSet names(twoNames);

TEST(NameSet, MatchesColonPrefixesByTheirEndCaseInsensitively) {
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

}  // namespace
