#include "check/owners.h"

#include <gtest/gtest.h>

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "check/digest.h"

namespace {

class OwnersTest : public testing::Test {
protected:
    void SetUp() override {
        clearOwners();
    }
    void TearDown() override {
        clearOwners();
    }
    static std::uint64_t digestOfUser(std::uint32_t number) {
        return digestIgnoringCase("secAuthority=Default,cn=user" + std::to_string(number));
    }
    static Owner& addNamed(std::uint64_t dn, std::uint64_t newDn) {
        Owner& owner = addOwner(dn);
        owner.newDn = Packed64(newDn);
        owner.set(NAMED);
        return owner;
    }
};

// ---- Finding owners

TEST_F(OwnersTest, ManyThousandsAreFoundAgain) {
    constexpr OwnerNumber count = 60'000;
    for (OwnerNumber i = 0; i < count; ++i) {
        addOwner(digestOfUser(i)).classLines = static_cast<std::uint8_t>(i);
    }
    ASSERT_EQ(ownerCount(), count);
    for (OwnerNumber i = 0; i < count; ++i) {
        const std::optional<OwnerNumber> owner = findOwner(digestOfUser(i));
        ASSERT_EQ(owner, i);
        ASSERT_EQ(ownerAt(i).classLines, static_cast<std::uint8_t>(i));
    }
    EXPECT_FALSE(findOwner(digestOfUser(count)));
}

TEST_F(OwnersTest, DigestsThatAreAlikeAreToldApart) {
    std::vector<std::uint64_t> digests = {0, ~std::uint64_t{0}};
    for (unsigned bit = 0; bit < 64; ++bit) {
        digests.push_back(std::uint64_t{1} << bit);
    }
    for (std::uint64_t i = 1; i < 1000; ++i) {
        digests.push_back(i << 48U);  // one slot, one shard, one tag
    }
    for (const std::uint64_t digest : digests) {
        if (!findOwner(digest)) {
            addOwner(digest);
        }
    }
    for (const std::uint64_t digest : digests) {
        ASSERT_TRUE(findOwner(digest));
        ASSERT_EQ(ownerAt(*findOwner(digest)).dn.value(), digest);
    }
    EXPECT_FALSE(findOwner(3));
}

TEST_F(OwnersTest, WithoutOwnersNoneIsFound) {
    EXPECT_EQ(ownerCount(), 0U);
    EXPECT_FALSE(findOwner(0));
    EXPECT_FALSE(findOwner(7));
    EXPECT_TRUE(ownersOfNewDn(7).empty());
}

TEST_F(OwnersTest, OfEqualDigestsTheFirstIsFound) {
    addOwner(7);
    addOwner(7);
    EXPECT_EQ(findOwner(7), 0U);
    EXPECT_EQ(ownerCount(), 2U);
    EXPECT_EQ(ownerAt(1).dn.value(), 7U);
}

TEST_F(OwnersTest, OwnersStayWhereTheyAre) {
    Owner& first = addOwner(0);
    for (OwnerNumber i = 1; i < 10'000; ++i) {
        addOwner(digestOfUser(i));
    }
    EXPECT_EQ(&first, &ownerAt(0));
}

std::vector<std::pair<std::uint64_t, std::uint64_t>> sameNames;

void noteSameName(Owner& first, Owner& second) {
    sameNames.emplace_back(first.dn.value(), second.dn.value());
}

std::vector<OwnerNumber> numbers(std::span<const OwnerNumber> owners) {
    return {owners.begin(), owners.end()};
}

TEST_F(OwnersTest, NewDnsThatAnEarlierOwnerHasAreTold) {
    sameNames.clear();
    addNamed(1, 50);
    addNamed(2, 60);
    addNamed(3, 50);
    addNamed(4, 50);
    addOwner(5);  // without a name
    addOwner(6);
    indexNewDns(noteSameName);
    EXPECT_EQ(sameNames, (std::vector<std::pair<std::uint64_t, std::uint64_t>>{{1, 3}, {1, 4}}));
    EXPECT_EQ(numbers(ownersOfNewDn(50)), (std::vector<OwnerNumber>{0, 2, 3}));
    EXPECT_EQ(numbers(ownersOfNewDn(60)), std::vector<OwnerNumber>{1});
    EXPECT_EQ(numbers(ownersSharingNewDns()), (std::vector<OwnerNumber>{0, 2, 3}));
    EXPECT_TRUE(ownersOfNewDn(0).empty());
    EXPECT_TRUE(ownersOfNewDn(70).empty());
}

TEST_F(OwnersTest, ManyThousandsAreFoundByTheirNewDns) {
    sameNames.clear();
    constexpr OwnerNumber count = 20'000;
    for (OwnerNumber i = 0; i < count; ++i) {
        addNamed(i, digestOfUser(i));
    }
    indexNewDns(noteSameName);
    EXPECT_TRUE(sameNames.empty());
    for (OwnerNumber i = 0; i < count; ++i) {
        ASSERT_EQ(numbers(ownersOfNewDn(digestOfUser(i))), std::vector<OwnerNumber>{i});
    }
}

TEST_F(OwnersTest, ClearingForgetsAll) {
    numberOfDomain("secAuthority=Sales");
    noteDomain("Sales");
    addNamed(1, 2);
    indexNewDns(noteSameName);
    clearOwners();
    EXPECT_EQ(ownerCount(), 0U);
    EXPECT_FALSE(findOwner(1));
    EXPECT_TRUE(ownersOfNewDn(2).empty());
    EXPECT_EQ(domainCount(), 0U);
    EXPECT_EQ(numberOfDomain("secAuthority=Other"), 1);
}

// ---- What is known of an owner

TEST(OwnerTest, PartsAreThereOnceTheyHaveAPlace) {
    Owner owner;
    EXPECT_FALSE(owner.has(Part::OWN));
    owner.offsets[static_cast<std::size_t>(Part::OWN)] = Packed40(1);
    EXPECT_TRUE(owner.has(Part::OWN));
    EXPECT_EQ(owner.offset(Part::OWN), 0);
    EXPECT_FALSE(owner.has(Part::POLICY_DATA));
}

TEST(OwnerTest, EachPartIsExplainedByItself) {
    Owner owner;
    owner.explain(Part::POLICY_DATA);
    EXPECT_TRUE(owner.isExplained(Part::POLICY_DATA));
    EXPECT_FALSE(owner.isExplained(Part::OWN));
    EXPECT_FALSE(owner.isExplained(Part::POLICY));
}

TEST(OwnerTest, FlagsAreSetOneByOne) {
    Owner owner;
    owner.set(BROKEN);
    owner.set(IS_GROUP);
    EXPECT_TRUE(owner.has(BROKEN));
    EXPECT_TRUE(owner.has(IS_GROUP));
    EXPECT_FALSE(owner.has(NAMED));
}

TEST(Packed64Test, KeepsAllBits) {
    static_assert(alignof(Packed64) == 4);
    EXPECT_EQ(Packed64().value(), 0U);
    EXPECT_EQ(Packed64(0x1234'5678'9abc'def0U).value(), 0x1234'5678'9abc'def0U);
    EXPECT_EQ(Packed64(~std::uint64_t{0}).value(), ~std::uint64_t{0});
}

// ---- Domains

TEST_F(OwnersTest, DomainsAreNumberedFromOneOn) {
    EXPECT_EQ(numberOfDomain("secAuthority=Sales"), 1);
    EXPECT_EQ(numberOfDomain("secAuthority=Other"), 2);
    EXPECT_EQ(numberOfDomain("secAuthority=Sales"), 1);
    EXPECT_EQ(numberOfDomain("secAuthority=sales"), 3);
    EXPECT_EQ(domainDigest(2), digestOfLine("secAuthority=Other"));
}

TEST_F(OwnersTest, AnEmptyDomainIsNotTheDefaultDomain) {
    const int number = numberOfDomain("");
    EXPECT_NE(number, 0);
    EXPECT_EQ(domainDigest(number), digestOfLine(""));
}

TEST_F(OwnersTest, ThereIsRoomForSixtyFiveThousandDomains) {
    for (int i = 1; i <= 65'534; ++i) {
        ASSERT_EQ(numberOfDomain(std::to_string(i)), i);
    }
    EXPECT_EQ(numberOfDomain("one more"), -1);
    EXPECT_EQ(numberOfDomain("65534"), 65'534);
    EXPECT_EQ(domainDigest(65'534), digestOfLine("65534"));
}

TEST_F(OwnersTest, DomainsCountOnceInAnyCase) {
    EXPECT_EQ(domainCount(), 0U);
    for (const std::string_view name : {"Sales", "Sales", "Default", "SALES", "sales"}) {
        noteDomain(name);
    }
    EXPECT_EQ(domainCount(), 2U);
}

TEST_F(OwnersTest, ADomainIsNotedAgainOnceAllAreForgotten) {
    noteDomain("Sales");
    clearOwners();
    noteDomain("Sales");
    EXPECT_EQ(domainCount(), 1U);
}

// ---- Sketches

class SketchTest : public OwnersTest {
protected:
    // An owner that has taken the lines of its own entry and its mapping entry in.
    static Owner& ownerOf(const std::vector<std::string>& own,
                          const std::vector<std::string>& mapping) {
        Owner& owner = addOwner(ownerCount());
        take(owner, Part::OWN, own);
        take(owner, Part::MAPPING, mapping);
        return owner;
    }
    static MergedLines take(Owner& owner, Part part, const std::vector<std::string>& lines) {
        Sketch sketch;
        for (const std::string& line : lines) {
            sketchLine(sketch, line, true);
        }
        return take(owner, part, sketch);
    }
    static MergedLines take(Owner& owner, Part part, const Sketch& sketch) {
        const MergedLines merged = takeIn(owner, part, sketch);
        owner.offsets[static_cast<std::size_t>(part)] = Packed40(1);
        return merged;
    }
    static Sketch withClasses(std::uint64_t sum, std::uint32_t count) {
        Sketch sketch;
        sketch.classLines = LineSum(sum);
        sketch.classLineCount = count;
        return sketch;
    }
};

TEST_F(SketchTest, LinesOfDifferentNamesAddUp) {
    const Owner& owner = ownerOf({"mail: a", "phone: b"}, {"secDN: cn=ann"});
    EXPECT_FALSE(owner.has(MAY_LOSE_VALUES));
    LineSum sum(digestOfLine("mail: a"));
    sum += LineSum(digestOfLine("phone: b"));
    sum += LineSum(digestOfLine("secDN: cn=ann"));
    EXPECT_EQ(owner.record.value(), sum.value());
}

TEST_F(SketchTest, ACommonLineThatBothHoldCountsOnce) {
    Owner& owner = addOwner(1);
    take(owner, Part::OWN, {"secUUID: 1"});
    EXPECT_EQ(take(owner, Part::MAPPING, {"secUUID: 1"}).equal, 1U);
    EXPECT_FALSE(owner.has(MAY_LOSE_VALUES));
    EXPECT_EQ(owner.record.value(), LineSum(digestOfLine("secUUID: 1")).value());
}

TEST_F(SketchTest, ALineThatIsFilteredCountsByItsNameAlone) {
    Sketch sketch;
    sketchLine(sketch, "motto: acl: x", false);
    Owner& owner = addOwner(1);
    take(owner, Part::OWN, sketch);
    EXPECT_EQ(owner.record.value(), 0U);
    take(owner, Part::MAPPING, {"motto: y"});
    EXPECT_TRUE(owner.has(MAY_LOSE_VALUES));
}

TEST_F(SketchTest, NamesThatEndInNoLetterAreNotDecided) {
    EXPECT_TRUE(ownerOf({"fax2: a"}, {}).has(MAY_LOSE_VALUES));
    EXPECT_TRUE(ownerOf({": a"}, {}).has(MAY_LOSE_VALUES));
}

TEST_F(SketchTest, OfClassesThoseOfTheEntryThatLeadsAreKept) {
    Owner& owner = addOwner(1);
    EXPECT_EQ(take(owner, Part::OWN, withClasses(1000, 2)).classes, 0U);
    EXPECT_EQ(owner.record.value(), 1000U);
    EXPECT_EQ(take(owner, Part::MAPPING, withClasses(70, 1)).classes, 1U);
    EXPECT_EQ(owner.record.value(), 1000U);
    EXPECT_EQ(take(owner, Part::USERS_ENTRY, withClasses(400, 3)).classes, 2U);
    EXPECT_EQ(owner.record.value(), 400U);
}

TEST_F(SketchTest, TheOrderOfTheEntriesMakesNoDifferenceToTheClasses) {
    Owner& owner = addOwner(1);
    EXPECT_EQ(take(owner, Part::USERS_ENTRY, withClasses(400, 3)).classes, 0U);
    EXPECT_EQ(take(owner, Part::OWN, withClasses(1000, 2)).classes, 2U);
    EXPECT_EQ(owner.record.value(), 400U);
}

TEST_F(SketchTest, MoreSetsOfClassesThanAreRememberedAreNotDecided) {
    for (std::uint64_t i = 1; i <= 255; ++i) {
        Owner& owner = addOwner(i);
        take(owner, Part::OWN, withClasses(i, 1));
        ASSERT_FALSE(owner.has(MAY_LOSE_VALUES)) << i;
    }
    Owner& known = addOwner(300);
    take(known, Part::OWN, withClasses(255, 1));
    EXPECT_FALSE(known.has(MAY_LOSE_VALUES));
    Owner& unknown = addOwner(301);
    take(unknown, Part::OWN, withClasses(256, 1));
    EXPECT_TRUE(unknown.has(MAY_LOSE_VALUES));
}

TEST_F(SketchTest, WhatCannotBeMergedBreaksTheOwner) {
    Sketch sketch;
    sketch.isBroken = true;
    Owner& owner = addOwner(1);
    take(owner, Part::MAPPING, sketch);
    EXPECT_TRUE(owner.has(BROKEN));
}

}  // namespace
