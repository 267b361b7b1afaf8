#include "check/plan.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "check/findings.h"
#include "check/holdings.h"
#include "check/inventory.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"
#include "support/dice.h"
#include "support/process.h"
#include "support/temporary_folder.h"

namespace {

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

TEST_F(PlanTest, WithoutOwnersOneSlotOfEachWillDoAndNoPassGathersAnything) {
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

TEST_F(PlanTest, ZeroStandsForAsManyAsThereAre) {
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

TEST_F(PlanTest, WorkFileAndOutputNeedWhatWasCounted) {
    inventory.workFileBytes = 30;
    inventory.outputBytes = 507;
    const TemporaryFolder folder;
    const DiskNeed need = diskNeed(folder.path("export"));
    EXPECT_EQ(need.workFile, 30U);
    EXPECT_EQ(need.output, 507U);
    EXPECT_GT(need.free.value_or(0), 0U);
    EXPECT_GT(diskNeed("export").free.value_or(0), 0U);
    EXPECT_TRUE(unknown().empty());
}

TEST_F(PlanTest, NothingIsWrongAroundAnExportWithRoom) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    writeFile(name + ".tmp", "");
    findTroubleAround(name, {3, 4, 7});
    EXPECT_EQ(totalOfAllKinds(), 0U);
}

TEST_F(PlanTest, OneByteTooLittleIsTooLittle) {
    const TemporaryFolder folder;
    findTroubleAround(writeFile(folder.path("export"), ""), {3, 4, 6});
    ASSERT_EQ(total(FindingType::DISK_TOO_SMALL), 1U);
    EXPECT_EQ(totalOfAllKinds(), 1U);
    EXPECT_EQ(shown(FindingType::DISK_TOO_SMALL).front().message, MESSAGE_CANNOT_WRITE);
}

TEST_F(PlanTest, AFullDiskIsTooSmall) {
    const TemporaryFolder folder;
    findTroubleAround(writeFile(folder.path("export"), ""), {3, 4, 0});
    EXPECT_EQ(total(FindingType::DISK_TOO_SMALL), 1U);
}

TEST_F(PlanTest, FreeSpaceThatIsNotKnownIsNoFindingButReported) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    const DiskNeed need = diskNeed(folder.path("missing/export"));
    EXPECT_FALSE(need.free);
    findTroubleAround(name, {3, 4, {}});
    EXPECT_EQ(totalOfAllKinds(), 0U);
    EXPECT_EQ(unknown(),
              (std::vector<std::string>{"how much is free on the disk of the export: \"" +
                                        folder.path("missing") + "\": No such file or directory"}));
}

TEST_F(PlanTest, AnExportThatAnotherProgramHasLockedIsFound) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    const File other = openFile(name, 0);
    ASSERT_EQ(lockFile(other), 0);
    findTroubleAround(name, {});
    if (!unknown().empty()) {
        GTEST_SKIP() << unknown().front();
    }
    EXPECT_EQ(total(FindingType::EXPORT_NOT_WRITABLE), 1U);
    EXPECT_EQ(totalOfAllKinds(), 1U);
}

TEST_F(PlanTest, AWorkFileThatIsNotEmptyIsLeftOver) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    writeFile(name + ".tmp", "\n");
    findTroubleAround(name, {});
    EXPECT_EQ(total(FindingType::LEFT_OVER_WORK_FILE), 1U);
    EXPECT_EQ(totalOfAllKinds(), 1U);
}

TEST_F(PlanTest, AnExportThatMayNotBeWrittenIsFound) {
    const std::string name = "/proc/self/exe";  // not even root may
    findTroubleAround(name, {});
    ASSERT_EQ(total(FindingType::EXPORT_NOT_WRITABLE), 1U);
    EXPECT_EQ(shown(FindingType::EXPORT_NOT_WRITABLE).front().message, MESSAGE_CANNOT_OPEN);
}

TEST_F(PlanTest, AnExportThatIsGoneIsNotJudged) {
    const TemporaryFolder folder;
    const Ending ending = endingOf([&] { findTroubleAround(folder.path("missing"), {}); });
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.errors, "ldif-migrate-check: cannot check \"" + folder.path("missing") +
                                 "\": No such file or directory\n");
}

}  // namespace
