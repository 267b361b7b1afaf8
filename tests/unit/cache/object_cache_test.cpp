#include "cache/object_cache.h"

#include <gmock/gmock.h>
#include <strings.h>

#include "support/allocations.h"
#include "support/cache_fixture.h"
#include "support/dice.h"
#include "support/failure.h"

namespace {

using testing::ElementsAre;

// A matrix, its counter and its release.
struct Kind {
    Matrix& matrix;
    std::int32_t (*held)();
    void (*release)(int);
};

const Kind kinds[] = {
    {secUser_matrix, numberOfSecUserObjectsInObjectCache, freeSecUser},
    {Users_secUser_matrix, numberOfUserSecUserObjectsInObjectCache, freeUsersSecUser},
    {secPolicyData_matrix, numberOfSecPolicyDataObjectsInObjectCache, freeSecPolicyData},
    {secPolicy_matrix, numberOfSecPolicyObjectsInObjectCache, freeSecPolicy},
    {secMap_for_secUser_matrix, numberOfSecMapForSecUserObjectsInObjectCache, freeSecMapForSecUser},
    {secGroup_matrix, numberOfSecGroupObjectsInObjectCache, freeSecGroup},
    {secMap_for_secGroup_matrix, numberOfSecMapForSecGroupObjectsInObjectCache,
     freeSecMapForSecGroup},
};

// The number of entries in each matrix, in the order of `kinds`.
std::vector<int> heldPerKind() {
    std::vector<int> counts;
    for (const Kind& kind : kinds) {
        counts.push_back(kind.held());
    }
    return counts;
}

class ObjectCacheTest : public CacheFixture {};

void fillEverything() {
    for (const Kind& kind : kinds) {
        fillRow(kind.matrix, 0, {"dn: cn=a\n"});
        fillRow(kind.matrix, 1, {"dn: cn=b\n"});
    }
    secUser_dn.open("cn=a\n");
    secGroup_dn.open("cn=a\n");
    setPolicyDn(0, "cn=Policy,cn=a\n");
    setObject({"dn: cn=current\n"});
}

void expectEverythingEmpty() {
    EXPECT_THAT(heldPerKind(), testing::Each(0));
    for (const Kind& kind : kinds) {
        EXPECT_TRUE(kind.matrix.row(0).empty());
        EXPECT_TRUE(kind.matrix.row(1).empty());
    }
    EXPECT_EQ(secUser_dn_count(), 0);
    EXPECT_EQ(secGroup_dn_count(), 0);
    EXPECT_EQ(next_available_secUser_dn_slot(), 0);
    EXPECT_EQ(next_available_secGroup_dn_slot(), 0);
    EXPECT_EQ(secUser_dn.find("cn=a\n"), -1);
    EXPECT_EQ(secGroup_dn.find("cn=a\n"), -1);
    EXPECT_EQ(secUser_dn.dn(0), "");
    EXPECT_EQ(secPolicyDN(0), "");
}

TEST_F(ObjectCacheTest, InitialisingEmptiesEverythingAndTheCurrentEntry) {
    fillEverything();
    initializeAllArrays();
    expectEverythingEmpty();
    EXPECT_TRUE(object.empty());
}

TEST_F(ObjectCacheTest, DeallocatingEmptiesTheCache) {
    fillEverything();
    deallocateObjectCache();
    expectEverythingEmpty();
}

TEST_F(ObjectCacheTest, AllocatingTracesTheSlotCounts) {
    max_number_of_secuser_slots = 3;
    max_number_of_secgroup_slots = 2;
    EXPECT_EQ(traceOf(allocateObjectCache),
              "allocateObjectCache():  FUNCTION ENTRY  \n"
              "\nallocateObjectCache():  max_number_of_secuser_slots  = 3  \n"
              "\nallocateObjectCache():  max_number_of_secgroup_slots = 2  \n"
              "allocateObjectCache():  FUNCTION EXIT  \n");
}

TEST_F(ObjectCacheTest, DeallocatingTracesTheSlotCounts) {
    max_number_of_secuser_slots = 3;
    max_number_of_secgroup_slots = 2;
    EXPECT_EQ(traceOf(deallocateObjectCache),
              "deallocateObjectCache():  FUNCTION ENTRY  \n"
              "\ndeallocateObjectCache():  max_number_of_secuser_slots  = 3  \n"
              "\ndeallocateObjectCache():  max_number_of_secgroup_slots = 2  \n"
              "deallocateObjectCache():  FUNCTION EXIT  \n");
}

TEST_F(ObjectCacheTest, InitialisingTracesEntryAndExit) {
    EXPECT_EQ(traceOf(initializeAllArrays), "initializeAllArrays():  FUNCTION ENTRY  \n"
                                            "initializeAllArrays():  FUNCTION EXIT  \n");
}

TEST_F(ObjectCacheTest, AllocatingWithoutMemoryEndsTheProcess) {
    EXPECT_THAT(lastTracesWithoutMemory(allocateObjectCache),
                ElementsAre("allocateObjectCache():  malloc() failure.  EXITING. \n"));
}

TEST_F(ObjectCacheTest, SlotCountsOfTwoBillionCostNothingUpFront) {
    const auto allocationsFor = [](int slots) {
        max_number_of_secuser_slots = slots;
        max_number_of_secgroup_slots = slots;
        const std::size_t before = allocationCount();
        allocateObjectCache();
        initializeAllArrays();
        return allocationCount() - before;
    };
    EXPECT_EQ(allocationsFor(2000000000), allocationsFor(1));
}

TEST_F(ObjectCacheTest, ReleasingAnEmptyRowLeavesItsCounterUnchanged) {
    for (const Kind& kind : kinds) {
        fillRow(kind.matrix, 1, {"dn: cn=b\n"});
        kind.release(0);
        kind.release(7);
        EXPECT_EQ(kind.held(), 1) << kind.matrix.name;
    }
}

TEST_F(ObjectCacheTest, ReleasingARowTwiceCountsOnce) {
    for (const Kind& kind : kinds) {
        fillRow(kind.matrix, 0, {"dn: cn=a\n"});
        fillRow(kind.matrix, 1, {"dn: cn=b\n"});
        kind.release(0);
        kind.release(0);
        EXPECT_EQ(kind.held(), 1) << kind.matrix.name;
    }
}

TEST_F(ObjectCacheTest, ReleasingARowEmptiesThatRowOfThatMatrixAlone) {
    for (std::size_t i = 0; i < std::size(kinds); ++i) {
        initializeAllArrays();
        fillEverything();
        kinds[i].release(0);

        std::vector<int> expected(std::size(kinds), 2);
        expected[i] = 1;
        EXPECT_EQ(heldPerKind(), expected);
        EXPECT_TRUE(kinds[i].matrix.row(0).empty());
        EXPECT_EQ(linesOf(kinds[i].matrix.row(1)), Row{"dn: cn=b\n"});
    }
}

TEST_F(ObjectCacheTest, AReleasedRowCanBeFilledAgain) {
    for (const Kind& kind : kinds) {
        fillRow(kind.matrix, 0, {"dn: cn=a\n", "a: 1\n", "b: 2\n"});
        kind.release(0);
        fillRow(kind.matrix, 0, {"dn: cn=b\n", "c: 3\n"});
        EXPECT_EQ(linesOf(kind.matrix.row(0)), (Row{"dn: cn=b\n", "c: 3\n"}));
        EXPECT_EQ(kind.held(), 1);
    }
}

TEST_F(ObjectCacheTest, AReleasedRowFreesItsMemory) {
    const std::string line(100000, 'x');
    fillRow(secUser_matrix, 0, {line});
    const std::size_t filled = bytesInUse();
    freeSecUser(0);
    EXPECT_LT(bytesInUse(), filled - line.size());
}

TEST_F(ObjectCacheTest, AReleasedDnFreesItsMemory) {
    const std::string dn(100000, 'x');
    secUser_dn.open(dn);
    const std::size_t filled = bytesInUse();
    freeSecUserDN(0);
    EXPECT_LT(bytesInUse(), filled - dn.size());
}

TEST_F(ObjectCacheTest, RowsHoldLittleMoreMemoryThanTheirLines) {
    const std::string line = "a line of forty bytes, its line feed too\n";
    Entry entry;
    for (int i = 0; i < 10; ++i) {
        entry.append(line);
    }
    constexpr std::size_t rows = 10000;
    const std::size_t before = bytesInUse();
    for (std::size_t i = 0; i < rows; ++i) {
        secUser_matrix.fill(static_cast<int>(i), entry);
    }
    const std::size_t lines = rows * entry.text().size();
    EXPECT_LT(bytesInUse() - before, lines + lines / 5);
}

TEST_F(ObjectCacheTest, EmptyingTheCacheNeedsNoMemory) {
    fillEverything();
    const std::size_t before = allocationCount();
    deallocateObjectCache();
    initializeAllArrays();
    EXPECT_EQ(allocationCount(), before);
}

TEST_F(ObjectCacheTest, ReleasingADnTouchesNoCounter) {
    fillEverything();
    freeSecUserDN(0);
    freeSecGroupDN(0);
    freeSecPolicyDN(0);
    EXPECT_EQ(secUser_dn.dn(0), "");
    EXPECT_EQ(secGroup_dn.dn(0), "");
    EXPECT_EQ(secPolicyDN(0), "");
    EXPECT_EQ(secUser_dn_count(), 1);
    EXPECT_EQ(secGroup_dn_count(), 1);
    EXPECT_EQ(next_available_secUser_dn_slot(), 1);
    EXPECT_EQ(next_available_secGroup_dn_slot(), 1);
    EXPECT_THAT(heldPerKind(), testing::Each(2));
}

TEST_F(ObjectCacheTest, ReleasingADnThatIsNotThereDoesNothing) {
    fillEverything();
    for (const int index : {1, 1000}) {
        freeSecUserDN(index);
        freeSecGroupDN(index);
        freeSecPolicyDN(index);
    }
    EXPECT_EQ(secUser_dn.dn(0), "cn=a\n");
    EXPECT_EQ(secGroup_dn.dn(0), "cn=a\n");
    EXPECT_EQ(secPolicyDN(0), "cn=Policy,cn=a\n");
}

TEST_F(ObjectCacheTest, ReleasesWriteNothing) {
    fillEverything();
    EXPECT_EQ(traceOf([] {
                  for (const Kind& kind : kinds) {
                      kind.release(0);
                  }
                  freeSecUserDN(0);
                  freeSecGroupDN(0);
                  freeSecPolicyDN(0);
              }),
              "");
}

TEST_F(ObjectCacheTest, ARowHoldsSixtyLines) {
    for (const Kind& kind : kinds) {
        Entry entry = entryOfLength(60);
        const Row lines = linesOf(entry);
        kind.matrix.fill(0, entry);
        EXPECT_EQ(linesOf(kind.matrix.row(0)), lines);
        kind.release(0);
        EXPECT_EQ(kind.held(), 0);
    }
}

TEST_F(ObjectCacheTest, APolicyRowHoldsFiveThousandLines) {
    max_number_of_secuser_slots = 1;
    allocateObjectCache();
    Entry entry = entryOfLength(5000);
    const Row lines = linesOf(entry);
    secPolicy_matrix.fill(0, entry);
    EXPECT_EQ(linesOf(secPolicy_matrix.row(0)), lines);
    freeSecPolicy(0);
    EXPECT_TRUE(secPolicy_matrix.row(0).empty());
}

TEST_F(ObjectCacheTest, AnOwnerTableCountsItsSlots) {
    secUser_dn.open("cn=a\n");
    secUser_dn.open("cn=b\n");
    EXPECT_EQ(secUser_dn.dn(0), "cn=a\n");
    EXPECT_EQ(secUser_dn.dn(1), "cn=b\n");
    EXPECT_EQ(secUser_dn.dn(2), "");
    EXPECT_EQ(secUser_dn_count(), 2);
    EXPECT_EQ(next_available_secUser_dn_slot(), 2);
    EXPECT_EQ(secGroup_dn_count(), 0);
    EXPECT_EQ(next_available_secGroup_dn_slot(), 0);
}

TEST_F(ObjectCacheTest, AReplacedDnIsNotFoundAnyMore) {
    secUser_dn.open("cn=a\n");
    secUser_dn.open("cn=b\n");
    secUser_dn.replace(0, "dn: cn=new\n");
    EXPECT_EQ(secUser_dn.dn(0), "dn: cn=new\n");
    EXPECT_EQ(secUser_dn.find("cn=a\n"), -1);
    EXPECT_EQ(secUser_dn.find("cn=b\n"), 1);
}

TEST_F(ObjectCacheTest, OwnersAreFoundHoweverManyThereAre) {
    constexpr int many = 20000;
    secUser_dn.prepare(3, {});
    for (int i = 0; i < many; ++i) {
        secUser_dn.open("cn=" + std::to_string(i) + "\n");
    }
    for (int i = 0; i < many; ++i) {
        ASSERT_EQ(secUser_dn.find("CN=" + std::to_string(i) + "\n"), i);
    }
    EXPECT_EQ(secUser_dn.find("cn=20000\n"), -1);
    secUser_dn.clear();
    EXPECT_EQ(secUser_dn.find("cn=1\n"), -1);
    secUser_dn.open("cn=1\n");
    EXPECT_EQ(secUser_dn.find("cn=1\n"), 0);
}

TEST_F(ObjectCacheTest, RowsOfAnyLengthCoexist) {
    Entry large;
    for (int i = 0; i < 60000; ++i) {
        large.append("control: " + std::to_string(i) + '\n');
    }
    for (int i = 0; i < 3000; ++i) {
        secUser_matrix.fill(i, i % 1000 == 500 ? large : entryOf({"dn: " + std::to_string(i)}));
    }
    for (int i = 0; i < 3000; ++i) {
        if (i % 1000 == 500) {
            ASSERT_EQ(secUser_matrix.row(i).text(), large.text());
            ASSERT_EQ(secUser_matrix.row(i).line(59999), "control: 59999\n");
        } else {
            ASSERT_EQ(secUser_matrix.row(i).text(), "dn: " + std::to_string(i));
        }
    }
}

TEST_F(ObjectCacheTest, MemoryIsFreedWithTheLastRow) {
    fillRow(secUser_matrix, 0, {"dn: cn=a\n"});
    const std::size_t before = bytesInUse();
    {
        Entry large;
        large.append(std::string(1000000, 'x'));
        secPolicy_matrix.fill(0, large);
    }
    EXPECT_GT(bytesInUse(), before + 900000);
    freeSecPolicy(0);
    freeSecUser(0);
    EXPECT_LT(bytesInUse(), before);
}

// The expected result of a lookup: that of a scan from slot 0.
int scan(const std::vector<std::string>& dns, const std::string& dn) {
    for (std::size_t i = 0; i < dns.size(); ++i) {
        if (strcasecmp(dns[i].c_str(), dn.c_str()) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

TEST_F(ObjectCacheTest, ALookupAnswersAsAScanWould) {
    Dice dice(20260);
    const auto randomDn = [&dice] {
        // Neighbours of the letters' code points, and bytes that only a locale would fold.
        constexpr std::string_view characters = "aAbB@[`{ ,\xe4\xc4";
        std::string dn;
        for (std::size_t length = dice.upTo(4); length > 0; --length) {
            dn += dice.oneOf(characters);
        }
        return dn + std::string(dice.upTo(1), ' ') + "\n";
    };
    for (int round = 0; round < 100; ++round) {
        initializeAllArrays();
        secUser_dn.prepare(1, {dice.upTo(1000), dice.upTo(1000)});
        std::vector<std::string> dns;
        for (std::size_t slots = dice.upTo(60); slots > 0; --slots) {
            dns.push_back(randomDn());
            secUser_dn.open(dns.back());
        }
        for (int lookup = 0; lookup < 60; ++lookup) {
            const std::string dn = randomDn();
            ASSERT_EQ(secUser_dn.find(dn), scan(dns, dn)) << round << ": " << dn;
        }
    }
}

}  // namespace
