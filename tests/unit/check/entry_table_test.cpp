#include "check/entry_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <vector>

#include "support/dice.h"

namespace {

TEST(EntryTableTest, AnEmptyOneHasNothingToTake) {
    EntryTable table;
    EXPECT_TRUE(table.empty());
    EXPECT_EQ(table.take(1), -1);
    EXPECT_TRUE(table.offsets().empty());
}

TEST(EntryTableTest, EntriesAreTakenByTheirLinesAlone) {
    EntryTable table;
    table.add(7, 300);
    table.add(7 + 16, 200);
    EXPECT_EQ(table.take(8), -1);
    EXPECT_EQ(table.offsets(), (std::vector<off_t>{200, 300}));
    EXPECT_EQ(table.take(7), 300);
    EXPECT_EQ(table.take(7), -1);
    EXPECT_EQ(table.take(23), 200);
    EXPECT_TRUE(table.empty());
}

TEST(EntryTableTest, EqualEntriesCostNoMoreThanOthers) {
    EntryTable table;
    for (off_t offset = 0; offset < 200'000; ++offset) {
        table.add(1, offset);
    }
    for (off_t offset = 0; offset < 200'000; ++offset) {
        ASSERT_NE(table.take(1), -1);
    }
    EXPECT_TRUE(table.empty());
}

TEST(EntryTableTest, ItHoldsWhatAMultimapHolds) {
    Dice dice(1);
    EntryTable table;
    std::multimap<std::uint64_t, off_t> expected;
    for (off_t offset = 0; offset < 20'000; ++offset) {
        const std::uint64_t lines = dice.upTo(500);
        if (dice.upTo(2) != 0) {
            table.add(lines, offset);
            expected.emplace(lines, offset);
            continue;
        }
        const off_t taken = table.take(lines);
        const auto [first, last] = expected.equal_range(lines);
        const auto found =
            std::find_if(first, last, [taken](const auto& one) { return one.second == taken; });
        ASSERT_EQ(taken == -1, first == last);
        if (taken != -1) {
            ASSERT_NE(found, last);
            expected.erase(found);
        }
    }
    std::vector<off_t> offsets;
    for (const auto& [lines, offset] : expected) {
        offsets.push_back(offset);
    }
    std::sort(offsets.begin(), offsets.end());
    EXPECT_EQ(table.offsets(), offsets);
}

}  // namespace
