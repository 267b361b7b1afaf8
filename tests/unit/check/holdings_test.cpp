#include "check/holdings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

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

std::uint64_t placesFor(std::uint64_t owners) {
    return owners == 0 ? 0 : 8 * std::bit_ceil(2 * owners);
}

// What stays in memory from a merge of entries with 10 lines of 100 bytes: 4 bytes for the entry
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
              100 + 3 * stored + 7 + placesFor(1) + 2 * stored + 2 * views + colons);
}

TEST_F(HoldingsTest, AnEntryBelowUsersIsMergedWithTheResultOfTheOthers) {
    for (const Part part : {Part::OWN, Part::MAPPING, Part::USERS_ENTRY}) {
        holdEntry(0, false, part, entryOf(10, 100), 0);
    }
    holdOwner(0, false, 0);
    EXPECT_EQ(maxHeld(1, 1, 0), 3 * stored + placesFor(1) + 5 * stored + 3 * views + 2 * colons);
}

TEST_F(HoldingsTest, TheMergeTakesThePlaceOfTheEntryRead) {
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
    EXPECT_EQ(maxHeld(1, 1, 0), 1000 + placesFor(1));
    EXPECT_EQ(maxHeld(2, 1, 0), 2000 + placesFor(2));
    EXPECT_EQ(maxHeld(3, 1, 0), 2010 + placesFor(3));
    EXPECT_EQ(maxHeld(10, 1, 0), 2080 + placesFor(10));
}

TEST_F(HoldingsTest, UsersAndGroupsOfOnePassAreHeldTogether) {
    holdOwner(0, false, 10);
    holdOwner(1, true, 10);
    holdOwner(2, false, 500);
    holdOwner(3, true, 700);
    EXPECT_EQ(maxHeld(1, 1, 0), 1200 + 2 * placesFor(1));
    EXPECT_EQ(maxHeld(2, 1, 0), 700 + placesFor(1));
}

TEST_F(HoldingsTest, WhatAMergeHasTakenStays) {
    holdOwner(0, false, 0);
    holdEntry(0, false, Part::OWN, entryOf(10, 100), 0);
    holdEntry(0, false, Part::MAPPING, entryOf(10, 100), 0);
    holdOwner(1, false, 5000);
    EXPECT_EQ(maxHeld(1, 1, 0), 5000 + placesFor(1) + 2 * stored + 2 * views + colons);
}

// The slots of owners alone, of the sizes `bytes`.
std::uint64_t maxOfPasses(const std::vector<std::uint64_t>& bytes, std::size_t slots) {
    std::uint64_t most = 0;
    for (std::size_t from = 0; from < bytes.size(); from += slots) {
        const std::size_t held = std::min(slots, bytes.size() - from);
        std::uint64_t sum = placesFor(held);
        for (std::size_t i = from; i < from + held; ++i) {
            sum += bytes[i];
        }
        most = std::max(most, sum);
    }
    return most;
}

TEST_F(HoldingsTest, OfManyThousandOwnersNoPassTakesMoreThanIsPredicted) {
    Dice dice(7);
    std::vector<std::uint64_t> bytes;
    for (OwnerNumber i = 0; i < 50'000; ++i) {
        const std::size_t most = i < 500 || dice.upTo(5000) == 0 ? 100'000 : 1000;
        bytes.push_back(500 + dice.upTo(most));
        holdOwner(i, false, bytes.back());
    }
    for (const std::size_t slots : {50'000U, 20'000U, 7001U, 1000U, 400U, 3U, 1U}) {
        const std::uint64_t exact = maxOfPasses(bytes, slots);
        const std::uint64_t predicted = maxHeld(slots, 1, 0);
        EXPECT_GE(predicted, exact) << slots;
        EXPECT_LE(predicted, exact + exact / 4) << slots;
    }
}

}  // namespace
