#include "entry/filters.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "entry/text.h"

namespace {

TEST(DroppedNames, HaveTwoSpellingsThatDifferInCaseAlone) {
    for (const DroppedName& one : droppedNames) {
        std::string lower(one.otherSpelling);
        EXPECT_EQ(strtolower(lower), one.name);
        EXPECT_NE(one.otherSpelling, one.name);
        EXPECT_EQ(one.name.find(':'), one.name.size() - 1) << one.name;
    }
}

std::string namesDropped(unsigned drops) {
    std::string names;
    for (const DroppedName& one : droppedNames) {
        names += (one.drops & drops) != 0 ? std::string(one.name) : "";
    }
    return names;
}

TEST(DroppedNames, AreTheseInEachWay) {
    EXPECT_EQ(namesDropped(FROM_PASS_THROUGH), "kvo-entryuuid:");
    EXPECT_EQ(namesDropped(BY_MERGE),
              "objectclass:kvo-entryuuid:aclentry:aci:acl:control:aclpropagate:");
    EXPECT_EQ(namesDropped(FROM_MERGED), "kvo-entryuuid:aclentry:aci:acl:");
    EXPECT_EQ(namesDropped(FROM_UNMERGED), "kvo-entryuuid:aclentry:aci:acl:control:");
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

TEST(DropList, HoldsWholeNamesInTwoSpellings) {
    for (const std::string_view name :
         {"objectclass:", "objectClass:", "KVO-ENTRYUUID:", "kvo-entryuuid:", "control:",
          "Control:", "aclpropagate:", "aclPropagate:", "aclentry:", "aclEntry:", "acl:", "ACL:",
          "aci:", "ACI:"}) {
        EXPECT_TRUE(isOnDropList(name)) << name;
    }
    for (const std::string_view name : {"ObjectClass:", "Kvo-EntryUUID:", "CONTROL:", "Aci:",
                                        "oracl:", "aclentry", "acl: ", "o:", ":"}) {
        EXPECT_FALSE(isOnDropList(name)) << name;
    }
}

TEST(PassThrough, DropsEntryIdentifiersInTwoSpellings) {
    EXPECT_TRUE(passThroughDrops("KVO-ENTRYUUID:", " 1"));
    EXPECT_TRUE(passThroughDrops("x kvo-entryuuid:", "  "));
    EXPECT_FALSE(passThroughDrops("Kvo-EntryUUID:", " 1"));
    EXPECT_FALSE(passThroughDrops("kvo-entryuuid:", "1"));
    EXPECT_FALSE(passThroughDrops("kvo-entryuuid:", ""));
    EXPECT_FALSE(passThroughDrops("aclentry:", " 1"));
}

TEST(PassThrough, DropsLinesThatHoldANameAnywhere) {
    EXPECT_TRUE(passThroughDrops("kvo-entryuuid: 1"));
    EXPECT_TRUE(passThroughDrops("x: see KVO-ENTRYUUID: 1"));
    EXPECT_FALSE(passThroughDrops("x: see KVO-ENTRYUUID:1"));
    EXPECT_FALSE(passThroughDrops("kvo-entryuuid 1"));
}

}  // namespace
