#include "driver/platform/random.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "support/process.h"

namespace {

TEST(RandomBits, AreTheSameWithinAProcess) {
    EXPECT_EQ(randomBits(), randomBits());
}

TEST(RandomBits, DifferInEveryProcess) {
    // Run again by this test, it prints the bits and ends.
    if (std::getenv("PRINT_RANDOM_BITS") != nullptr) {
        std::cout << randomBits()[0] << ' ' << randomBits()[1] << std::endl;
        std::_Exit(0);
    }
    const auto bitsOfAnother = [] {
        return endingOf([] {
                   setenv("PRINT_RANDOM_BITS", "1", 1);
                   execl("/proc/self/exe", "platform_test", "--gtest_brief=1",
                         "--gtest_filter=RandomBits.DifferInEveryProcess", nullptr);
               })
            .output;
    };
    const std::string bits = bitsOfAnother();
    EXPECT_NE(bits.find(' '), std::string::npos) << bits;
    EXPECT_NE(bits, bitsOfAnother());
}

}  // namespace
