#include "check/owners.h"

#include <gtest/gtest.h>

#include <optional>
#include <span>
#include <string>
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
        addOwner(digestOfUser(i)).name = i;
    }
    ASSERT_EQ(ownerCount(), count);
    for (OwnerNumber i = 0; i < count; ++i) {
        const std::optional<OwnerNumber> owner = findOwner(digestOfUser(i));
        ASSERT_EQ(owner, i);
        ASSERT_EQ(ownerAt(i).name, i);
    }
    EXPECT_FALSE(findOwner(digestOfUser(count)));
}

TEST_F(OwnersTest, SimilarDigestsAreDistinguished) {
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

std::vector<OwnerNumber> numbers(std::span<const OwnerNumber> owners) {
    return {owners.begin(), owners.end()};
}

TEST_F(OwnersTest, OwnersThatShareTheirNewDnAreFound) {
    addNamed(1, 50);
    addNamed(2, 60);
    addNamed(3, 50);
    addNamed(4, 50);
    addOwner(5);  // without a name
    addOwner(6);
    indexNewDns();
    EXPECT_EQ(numbers(ownersOfNewDn(50)), (std::vector<OwnerNumber>{0, 2, 3}));
    EXPECT_EQ(numbers(ownersOfNewDn(60)), std::vector<OwnerNumber>{1});
    EXPECT_EQ(numbers(ownersSharingNewDns()), (std::vector<OwnerNumber>{0, 2, 3}));
    EXPECT_TRUE(ownersOfNewDn(0).empty());
    EXPECT_TRUE(ownersOfNewDn(70).empty());
}

TEST_F(OwnersTest, AnIndexThatIsMadeAgainFindsTheSame) {
    addNamed(1, 50);
    addNamed(2, 60);
    indexNewDns();
    indexNewDns();
    EXPECT_EQ(numbers(ownersOfNewDn(50)), std::vector<OwnerNumber>{0});
    EXPECT_TRUE(ownersSharingNewDns().empty());
}

TEST_F(OwnersTest, ManyThousandsAreFoundByTheirNewDns) {
    constexpr OwnerNumber count = 20'000;
    for (OwnerNumber i = 0; i < count; ++i) {
        addNamed(i, digestOfUser(i));
    }
    indexNewDns();
    for (OwnerNumber i = 0; i < count; ++i) {
        ASSERT_EQ(numbers(ownersOfNewDn(digestOfUser(i))), std::vector<OwnerNumber>{i});
    }
}

TEST_F(OwnersTest, ClearingForgetsAll) {
    noteDomain("Sales");
    addNamed(1, 2);
    indexNewDns();
    clearOwners();
    EXPECT_EQ(ownerCount(), 0U);
    EXPECT_FALSE(findOwner(1));
    EXPECT_TRUE(ownersOfNewDn(2).empty());
    EXPECT_EQ(domainCount(), 0U);
}

// ---- Parts and flags of an owner

TEST(OwnerTest, PartsExistOnceTheyHaveAnOffset) {
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

}  // namespace
