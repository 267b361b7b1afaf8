#include "check/credentials.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

class CredentialsTest : public testing::Test {
protected:
    void SetUp() override {
        forgetCredentials();
        for (const std::uint64_t lines : {5U, 3U, 5U, 9U}) {
            expectCredential(lines, offset += 100);
        }
    }
    void TearDown() override {
        forgetCredentials();
    }
    off_t offset = 0;
};

using Offsets = std::vector<off_t>;

TEST_F(CredentialsTest, AreTakenInTheirOrder) {
    EXPECT_TRUE(takeCredential(5));
    EXPECT_TRUE(takeCredential(3));
    EXPECT_EQ(offsetsOfMissingCredentials(), (Offsets{300, 400}));
    EXPECT_TRUE(takeCredential(5));
    EXPECT_TRUE(takeCredential(9));
    EXPECT_EQ(offsetsOfMissingCredentials(), Offsets());
    EXPECT_FALSE(takeCredential(9));
    EXPECT_EQ(offsetsOfMissingCredentials(), Offsets());
}

TEST_F(CredentialsTest, AreTakenInAnyOrder) {
    EXPECT_TRUE(takeCredential(5));
    EXPECT_TRUE(takeCredential(9));
    EXPECT_FALSE(takeCredential(9));
    EXPECT_FALSE(takeCredential(4));
    EXPECT_TRUE(takeCredential(5));
    EXPECT_FALSE(takeCredential(5));
    EXPECT_EQ(offsetsOfMissingCredentials(), Offsets{200});
}

TEST_F(CredentialsTest, OfEqualOnesTheFirstIsTakenFirst) {
    EXPECT_TRUE(takeCredential(9));
    EXPECT_TRUE(takeCredential(5));
    std::vector<off_t> missing = offsetsOfMissingCredentials();
    std::sort(missing.begin(), missing.end());
    EXPECT_EQ(missing, (Offsets{200, 300}));
}

TEST_F(CredentialsTest, ThoseTakenAreFoundAgain) {
    EXPECT_EQ(offsetOfTakenCredential(5), -1);
    EXPECT_TRUE(takeCredential(5));
    EXPECT_TRUE(takeCredential(5));
    EXPECT_EQ(offsetOfTakenCredential(5), 100);
    EXPECT_EQ(offsetOfTakenCredential(3), -1);
}

TEST_F(CredentialsTest, ManyThatComeBackwardsTakeNoLonger) {
    forgetCredentials();
    constexpr std::uint64_t count = 200'000;
    for (std::uint64_t i = 0; i < count; ++i) {
        expectCredential(i, static_cast<off_t>(i));
    }
    for (std::uint64_t i = count; i > 0; --i) {
        ASSERT_TRUE(takeCredential(i - 1));
    }
    EXPECT_TRUE(offsetsOfMissingCredentials().empty());
}

}  // namespace
