#include "check/inventory.h"

#include <gtest/gtest.h>

namespace {

std::uint64_t linesOfRule(Rule rule) {
    return ruleLines[static_cast<std::size_t>(rule)];
}

class InventoryTest : public testing::Test {
protected:
    void TearDown() override {
        forgetInventory();
    }
};

TEST_F(InventoryTest, EntriesCountByTheirClassAndInAll) {
    countEntry(SECUSER_OBJECTCLASS);
    countEntry(SECUSER_OBJECTCLASS);
    countEntry(CONTAINER_OBJECTCLASS);
    EXPECT_EQ(inventory.entries, 3U);
    EXPECT_EQ(inventory.byClass[SECUSER_OBJECTCLASS], 2U);
    EXPECT_EQ(inventory.byClass[CONTAINER_OBJECTCLASS], 1U);
    EXPECT_EQ(inventory.byClass[SECGROUP_OBJECTCLASS], 0U);
}

TEST_F(InventoryTest, UsersAndGroupsCountApart) {
    countOwner(false);
    countOwner(true);
    countOwner(true);
    EXPECT_EQ(inventory.users, 1U);
    EXPECT_EQ(inventory.groups, 2U);
}

TEST_F(InventoryTest, LinesOfARuleAddUp) {
    countRule(Rule::EQUAL_LINES, 5);
    countRule(Rule::EQUAL_LINES);
    EXPECT_EQ(linesOfRule(Rule::EQUAL_LINES), 6U);
    EXPECT_EQ(linesOfRule(Rule::REPLACED_LINES), 0U);
}

TEST_F(InventoryTest, NoMoreOfTheOutputThanWasCountedIsTakenBack) {
    countOutput(30);
    discountOutput(10);
    EXPECT_EQ(inventory.outputBytes, 20U);
    discountOutput(21);
    EXPECT_EQ(inventory.outputBytes, 0U);
}

TEST_F(InventoryTest, BeginningResetsAllCounts) {
    countExport(10);
    countWorkFile(20);
    countOutput(30);
    countRule(Rule::VERSIONS);
    EXPECT_EQ(inventory.bytes + inventory.workFileBytes + inventory.outputBytes, 60U);
    forgetInventory();
    EXPECT_EQ(inventory.bytes + inventory.workFileBytes + inventory.outputBytes, 0U);
    EXPECT_EQ(linesOfRule(Rule::VERSIONS), 0U);
}

}  // namespace
