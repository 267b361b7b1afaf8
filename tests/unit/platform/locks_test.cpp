#include "driver/platform/locks.h"

#include <gtest/gtest.h>
#include <sys/file.h>

#include "support/temporary_folder.h"

namespace {

class LocksTest : public testing::Test {
protected:
    void SetUp() override {
        if (!openFileForReading(lockList).isOpen()) {
            GTEST_SKIP() << "there is no " << lockList;
        }
    }
    LockState state() const {
        return lookUpLock(stateOf(name_)).state;
    }

    TemporaryFolder folder_;
    const std::string name_ = writeFile(folder_.path("file"), "");
};

TEST_F(LocksTest, AFileIsFreeUnlessSomebodyHasLockedIt) {
    const File file = openFile(name_, 0);
    const File another = openFile(writeFile(folder_.path("another"), ""), 0);
    ASSERT_EQ(lockFile(another), 0);
    EXPECT_EQ(state(), LockState::FREE);
    ASSERT_EQ(lockFile(file), 0);
    EXPECT_EQ(state(), LockState::HELD);
}

TEST_F(LocksTest, ASharedLockCountsAsWell) {
    const File file = openFile(name_, 0);
    ASSERT_EQ(::flock(file.descriptor(), LOCK_SH), 0);
    EXPECT_EQ(state(), LockState::HELD);
}

TEST_F(LocksTest, LookingTakesNoLock) {
    const File file = openFile(name_, 0);
    EXPECT_EQ(state(), LockState::FREE);
    EXPECT_EQ(lockFile(openFile(name_, 0)), 0);
}

}  // namespace
