#include "check/sizing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "check/findings.h"
#include "check/inventory.h"
#include "support/dice.h"

namespace {

class HoldingsTest : public testing::Test {
protected:
    void SetUp() override {
        forgetHoldings();
    }
    void TearDown() override {
        forgetHoldings();
    }
};

// An entry of so many lines, each with a colon and `size` bytes long.
Entry entryOf(std::size_t lines, std::size_t size) {
    Entry entry;
    for (std::size_t i = 0; i < lines; ++i) {
        entry.append("a:" + std::string(size - 3, 'x') + '\n');
    }
    return entry;
}

std::uint64_t tableFor(std::uint64_t owners) {
    return owners == 0 ? 0 : 8 * std::bit_ceil(2 * owners);
}

// The memory kept from a merge of entries with 10 lines of 100 bytes: 4 bytes for the entry
// and 4 for each line of it beside the text, a view of each line, and 16 bytes for a colon
// searched.
constexpr std::uint64_t stored = 10 * 100 + 4 + 10 * 4;
constexpr std::uint64_t views = 10 * 16;
constexpr std::uint64_t colons = 10 * 16;

TEST_F(HoldingsTest, WithoutOwnersNothingIsHeld) {
    EXPECT_EQ(maxHeld(1, 1, 5000), 0U);
}

TEST_F(HoldingsTest, AnOwnerTakesItsSlotItsEntriesAndTheirMerge) {
    holdOwner(0, false, 100);
    holdEntry(0, false, Part::OWN, entryOf(10, 100), 0);
    holdEntry(0, false, Part::MAPPING, entryOf(10, 100), 0);
    holdEntry(0, false, Part::POLICY, entryOf(10, 100), 7);
    EXPECT_EQ(maxHeld(1, 1, 0),
              100 + 3 * stored + 7 + tableFor(1) + 2 * stored + 2 * views + colons);
}

TEST_F(HoldingsTest, AnEntryBelowUsersIsMergedWithTheResultOfTheOthers) {
    for (const Part part : {Part::OWN, Part::MAPPING, Part::USERS_ENTRY}) {
        holdEntry(0, false, part, entryOf(10, 100), 0);
    }
    holdOwner(0, false, 0);
    EXPECT_EQ(maxHeld(1, 1, 0), 3 * stored + tableFor(1) + 5 * stored + 3 * views + 2 * colons);
}

TEST_F(HoldingsTest, TheMergeReplacesTheEntryRead) {
    holdOwner(0, true, 0);
    holdEntry(0, true, Part::OWN, entryOf(1, 1000), 0);
    const std::uint64_t alone = maxHeld(1, 1, 0);
    EXPECT_EQ(maxHeld(1, 1, 600), alone - 600);
    EXPECT_EQ(maxHeld(1, 1, 100'000), alone - 1008);
}

TEST_F(HoldingsTest, PassesTakeOwnersInTheirOrder) {
    for (OwnerNumber i = 0; i < 10; ++i) {
        holdOwner(i, false, i < 2 ? 1000 : 10);
    }
    EXPECT_EQ(maxHeld(1, 1, 0), 1000 + tableFor(1));
    EXPECT_EQ(maxHeld(2, 1, 0), 2000 + tableFor(2));
    EXPECT_EQ(maxHeld(3, 1, 0), 2010 + tableFor(3));
    EXPECT_EQ(maxHeld(10, 1, 0), 2080 + tableFor(10));
}

TEST_F(HoldingsTest, UsersAndGroupsOfOnePassAreHeldTogether) {
    holdOwner(0, false, 10);
    holdOwner(1, true, 10);
    holdOwner(2, false, 500);
    holdOwner(3, true, 700);
    EXPECT_EQ(maxHeld(1, 1, 0), 1200 + 2 * tableFor(1));
    EXPECT_EQ(maxHeld(2, 1, 0), 700 + tableFor(1));
}

TEST_F(HoldingsTest, MemoryOfAMergeIsKept) {
    holdOwner(0, false, 0);
    holdEntry(0, false, Part::OWN, entryOf(10, 100), 0);
    holdEntry(0, false, Part::MAPPING, entryOf(10, 100), 0);
    holdOwner(1, false, 5000);
    EXPECT_EQ(maxHeld(1, 1, 0), 5000 + tableFor(1) + 2 * stored + 2 * views + colons);
}

// The slots of owners alone, of the sizes `bytes`.
std::uint64_t maxOfPasses(const std::vector<std::uint64_t>& bytes, std::size_t slots) {
    std::uint64_t max = 0;
    for (std::size_t from = 0; from < bytes.size(); from += slots) {
        const std::size_t held = std::min(slots, bytes.size() - from);
        std::uint64_t sum = tableFor(held);
        for (std::size_t i = from; i < from + held; ++i) {
            sum += bytes[i];
        }
        max = std::max(max, sum);
    }
    return max;
}

TEST_F(HoldingsTest, NoPassOfManyThousandOwnersTakesMoreThanIsPredicted) {
    Dice dice(7);
    std::vector<std::uint64_t> bytes;
    for (OwnerNumber i = 0; i < 50'000; ++i) {
        const std::size_t max = i < 500 || dice.upTo(5000) == 0 ? 100'000 : 1000;
        bytes.push_back(500 + dice.upTo(max));
        holdOwner(i, false, bytes.back());
    }
    for (const std::size_t slots : {50'000U, 20'000U, 7001U, 1000U, 400U, 3U, 1U}) {
        const std::uint64_t exact = maxOfPasses(bytes, slots);
        const std::uint64_t predicted = maxHeld(slots, 1, 0);
        EXPECT_GE(predicted, exact) << slots;
        EXPECT_LE(predicted, exact + exact / 4) << slots;
    }
}

class PlanTest : public testing::Test {
protected:
    void SetUp() override {
        forgetInventory();
        forgetHoldings();
        beginFindings(1);
    }
    void TearDown() override {
        forgetInventory();
        forgetHoldings();
        beginFindings(0);
    }
    static void setOwners(std::uint64_t users, std::uint64_t groups) {
        inventory.users = users;
        inventory.groups = groups;
    }
};

std::uint64_t withHeap(std::uint64_t bytes) {
    return bytes + bytes / 25;
}

TEST_F(PlanTest, WithoutOwnersOneSlotOfEachSufficesAndNoPassGathersAnything) {
    const Plan plan = planFor(0, 0);
    EXPECT_EQ(plan.users, 1U);
    EXPECT_EQ(plan.groups, 1U);
    EXPECT_EQ(plan.passes, 0U);
    EXPECT_EQ(plans().size(), 1U);
}

TEST_F(PlanTest, OneOwnerNeedsOnePass) {
    setOwners(1, 0);
    EXPECT_EQ(planFor(0, 0).passes, 1U);
    EXPECT_EQ(planFor(1, 1).passes, 1U);
    EXPECT_EQ(plans().size(), 1U);
}

TEST_F(PlanTest, ZeroMeansAsManyAsThereAre) {
    setOwners(70, 9);
    const Plan plan = planFor(0, 0);
    EXPECT_EQ(plan.users, 70U);
    EXPECT_EQ(plan.groups, 9U);
    EXPECT_EQ(planFor(7, 0).groups, 9U);
    EXPECT_EQ(planFor(7, 0).users, 7U);
}

TEST_F(PlanTest, PassesGoOnUntilTheLastOwnerHasASlot) {
    Dice dice(1);
    for (int i = 0; i < 2000; ++i) {
        setOwners(dice.upTo(40), dice.upTo(40));
        const Plan plan = planFor(1 + dice.upTo(40), 1 + dice.upTo(40));
        std::uint64_t passes = 0;
        while (passes * plan.users < inventory.users || passes * plan.groups < inventory.groups) {
            ++passes;
        }
        ASSERT_EQ(plan.passes, passes) << inventory.users << " users in " << plan.users << ", "
                                       << inventory.groups << " groups in " << plan.groups;
    }
}

TEST_F(PlanTest, MemoryIsThatOfTheOwnersHeldAtOnce) {
    const std::uint64_t ofProgram = planFor(0, 0).memory;
    setOwners(10, 4);
    for (OwnerNumber i = 0; i < 14; ++i) {
        holdOwner(i, i >= 10, 1000);
    }
    EXPECT_EQ(planFor(0, 0).memory, ofProgram + withHeap(maxHeld(10, 4, 0)));
    EXPECT_EQ(planFor(5, 1).memory, ofProgram + withHeap(maxHeld(5, 1, 0) + 32));
    EXPECT_LT(planFor(5, 1).memory, planFor(0, 0).memory);
    EXPECT_EQ(planFor(2'000'000'000, 2'000'000'000).memory, planFor(0, 0).memory);
}

TEST_F(PlanTest, OnlyEntriesOutOfOrderCountForWhatPassesStepOver) {
    setOwners(100, 0);
    inventory.byClass[SECUSER_OBJECTCLASS] = 200;
    for (std::uint32_t i = 0; i < 100; ++i) {
        countEntryOf(i);
    }
    const std::uint64_t inOnePass = planFor(0, 0).memory;
    EXPECT_EQ(planFor(50, 1).memory, inOnePass + withHeap(32));
    countEntryOf(7);
    EXPECT_EQ(planFor(50, 1).memory, inOnePass + withHeap(2 * 32));
    for (std::uint32_t i = 200; i > 0; --i) {
        countEntryOf(i);
    }
    EXPECT_EQ(planFor(50, 1).memory, inOnePass + withHeap(101 * 32));
}

TEST_F(PlanTest, AnEntryGrowsToThePowerOfTwoWhileItIsRead) {
    const std::uint64_t ofProgram = planFor(0, 0).memory;
    countReading(20'000'000, 0);
    EXPECT_EQ(planFor(0, 0).memory, ofProgram + withHeap(1U << 25U));
    // It stays in memory while owners are gathered, and so does an unfolded one.
    countReading(20'000'000, 19'000'000);
    EXPECT_EQ(planFor(0, 0).memory, ofProgram + withHeap(39'000'000));
}

TEST_F(PlanTest, PlansDivideTheOwnersFurtherAndFurther) {
    setOwners(1000, 10);
    for (OwnerNumber i = 0; i < 1010; ++i) {
        holdOwner(i, i >= 1000, 1000);
    }
    const std::vector<Plan> all = plans();
    ASSERT_EQ(all.size(), 7U);
    EXPECT_EQ(all.front().users, 1000U);
    EXPECT_EQ(all.front().groups, 10U);
    EXPECT_EQ(all.front().passes, 1U);
    EXPECT_EQ(all.back().users, 16U);
    EXPECT_EQ(all.back().groups, 1U);
    EXPECT_EQ(all.back().passes, 63U);
    for (std::size_t i = 1; i < all.size(); ++i) {
        EXPECT_GT(all[i].passes, all[i - 1].passes);
        EXPECT_LT(all[i].memory, all[i - 1].memory);
    }
}

TEST_F(PlanTest, NoPlanIsListedTwice) {
    setOwners(3, 1);
    std::vector<std::uint64_t> passes;
    for (const Plan& plan : plans()) {
        passes.push_back(plan.passes);
    }
    EXPECT_EQ(passes, (std::vector<std::uint64_t>{1, 2, 3}));
}

}  // namespace
