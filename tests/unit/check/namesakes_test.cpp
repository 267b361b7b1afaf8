#include "check/namesakes.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace {

std::uint64_t keyOf(const Owner& owner) {
    return owner.record.value();
}

class NamesakesTest : public testing::Test {
protected:
    void TearDown() override {
        clearOwners();
    }
    // Owners with these records, all of one name, behind one of another name.
    void gather(const std::vector<std::uint64_t>& records) {
        add(70, 1);
        for (const std::uint64_t record : records) {
            add(50, record);
        }
        indexNewDns();
        namesakes.gather(Part::OWN, RECORD_SEEN, keyOf);
    }
    static void add(std::uint64_t newDn, std::uint64_t record) {
        Owner& owner = addOwner(ownerCount());
        owner.newDn = Packed64(newDn);
        owner.set(NAMED);
        owner.record = Packed40(record);
        owner.offsets[0] = Packed40(1);
    }
    OwnerNumber take(std::optional<std::uint64_t> key) {
        Owner* const chosen = namesakes.choose(50, key);
        chosen->set(RECORD_SEEN);
        for (OwnerNumber i = 0; i < ownerCount(); ++i) {
            if (&ownerAt(i) == chosen) {
                return i;
            }
        }
        return 0;
    }

    Namesakes namesakes;
};

TEST_F(NamesakesTest, AnOwnerWithANameOfItsOwnHasNoNamesake) {
    gather({3, 5});
    EXPECT_EQ(namesakes.choose(70, 1), nullptr);
    EXPECT_EQ(namesakes.choose(60, 1), nullptr);
}

TEST_F(NamesakesTest, TheFirstOneThatAnEntryMatchesIsChosen) {
    gather({3, 5, 3, 4});
    EXPECT_EQ(take(5), 2U);
    EXPECT_EQ(take(3), 1U);
    EXPECT_EQ(take(3), 3U);
}

TEST_F(NamesakesTest, AnEntryThatMatchesNoneBelongsToOneThatIsNotSeen) {
    gather({3, 5});
    EXPECT_EQ(take(4), 1U);
    EXPECT_EQ(take(std::nullopt), 2U);
    EXPECT_EQ(take(5), 1U);  // all of them are seen
}

TEST_F(NamesakesTest, ManyTakeNoLonger) {
    constexpr std::uint64_t count = 20'000;
    std::vector<std::uint64_t> records;
    for (std::uint64_t i = 0; i < count; ++i) {
        records.push_back(i / 3);
    }
    gather(records);
    for (std::uint64_t i = count; i > 0; --i) {
        Owner* const chosen = namesakes.choose(50, (i - 1) / 3);
        ASSERT_EQ(keyOf(*chosen), (i - 1) / 3);
        ASSERT_FALSE(chosen->has(RECORD_SEEN));
        chosen->set(RECORD_SEEN);
    }
}

}  // namespace
