#include "check/surroundings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "check/findings.h"
#include "check/inventory.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"
#include "support/process.h"
#include "support/temporary_folder.h"

namespace {

class SurroundingsTest : public testing::Test {
protected:
    void SetUp() override {
        forgetInventory();
        beginFindings(1);
    }
    void TearDown() override {
        forgetInventory();
        beginFindings(0);
    }
    static void setNeed(std::uint64_t workFile, std::uint64_t output) {
        inventory.workFileBytes = workFile;
        inventory.outputBytes = output;
    }
};

TEST_F(SurroundingsTest, FreeDiskSpaceIsThatOfTheFolderOfTheExport) {
    const TemporaryFolder folder;
    EXPECT_GT(freeDiskSpace(folder.path("export")).value_or(0), 0U);
    EXPECT_GT(freeDiskSpace("export").value_or(0), 0U);
    EXPECT_TRUE(unknown().empty());
}

TEST_F(SurroundingsTest, NothingIsWrongAroundAnExportWithEnoughDiskSpace) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    writeFile(name + ".tmp", "");
    setNeed(3, 4);
    checkSurroundings(name, 7);
    EXPECT_EQ(totalOfAllTypes(), 0U);
}

TEST_F(SurroundingsTest, OneByteTooLittleIsTooLittle) {
    const TemporaryFolder folder;
    setNeed(3, 4);
    checkSurroundings(writeFile(folder.path("export"), ""), 6);
    ASSERT_EQ(total(FindingType::DISK_TOO_SMALL), 1U);
    EXPECT_EQ(totalOfAllTypes(), 1U);
    EXPECT_EQ(shown(FindingType::DISK_TOO_SMALL).front().message, MESSAGE_CANNOT_WRITE);
}

TEST_F(SurroundingsTest, AFullDiskIsTooSmall) {
    const TemporaryFolder folder;
    setNeed(3, 4);
    checkSurroundings(writeFile(folder.path("export"), ""), 0);
    EXPECT_EQ(total(FindingType::DISK_TOO_SMALL), 1U);
}

TEST_F(SurroundingsTest, FreeSpaceThatIsNotKnownIsNoFindingButReported) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    setNeed(3, 4);
    EXPECT_FALSE(freeDiskSpace(folder.path("missing/export")));
    checkSurroundings(name, {});
    EXPECT_EQ(totalOfAllTypes(), 0U);
    EXPECT_EQ(unknown(),
              (std::vector<std::string>{"how much is free on the disk of the export: \"" +
                                        folder.path("missing") + "\": No such file or directory"}));
}

TEST_F(SurroundingsTest, AnExportThatAnotherProgramHasLockedIsFound) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    const File other = openFile(name, 0);
    ASSERT_EQ(lockFile(other), 0);
    checkSurroundings(name, {});
    if (!unknown().empty()) {
        GTEST_SKIP() << unknown().front();
    }
    EXPECT_EQ(total(FindingType::EXPORT_NOT_WRITABLE), 1U);
    EXPECT_EQ(totalOfAllTypes(), 1U);
}

TEST_F(SurroundingsTest, AWorkFileThatIsNotEmptyIsLeftOver) {
    const TemporaryFolder folder;
    const std::string name = writeFile(folder.path("export"), "");
    writeFile(name + ".tmp", "\n");
    checkSurroundings(name, {});
    EXPECT_EQ(total(FindingType::LEFT_OVER_WORK_FILE), 1U);
    EXPECT_EQ(totalOfAllTypes(), 1U);
}

TEST_F(SurroundingsTest, AnExportThatMayNotBeWrittenIsFound) {
    const std::string name = "/proc/self/exe";  // not even root may
    checkSurroundings(name, {});
    ASSERT_EQ(total(FindingType::EXPORT_NOT_WRITABLE), 1U);
    EXPECT_EQ(shown(FindingType::EXPORT_NOT_WRITABLE).front().message, MESSAGE_CANNOT_OPEN);
}

TEST_F(SurroundingsTest, AnExportThatIsGoneIsNotJudged) {
    const TemporaryFolder folder;
    const Ending ending = endingOf([&] { checkSurroundings(folder.path("missing"), {}); });
    EXPECT_EQ(ending.status, 2);
    EXPECT_EQ(ending.errors, "ldif-migrate-check: cannot check \"" + folder.path("missing") +
                                 "\": No such file or directory\n");
}

}  // namespace
