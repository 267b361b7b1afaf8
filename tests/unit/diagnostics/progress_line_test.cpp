#include "driver/diagnostics/progress_line.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "support/allocations.h"

namespace {

using std::chrono::milliseconds;

// Half way through a pass that began at the start of its file, ten seconds ago.
Progress secondPass() {
    return {Phase::PASS, 2, 0, 500'000'000, 1'000'000'000, 51200, 4100, milliseconds(10'000), 80};
}

std::string lineOf(const Progress& progress) {
    return std::string(progressLine(progress).view());
}

TEST(ProgressLine, PassShowsEverything) {
    EXPECT_EQ(lineOf(secondPass()),
              "Pass 2  [=====     ]   50%  users 51200, groups 4100  50.0 MB/s  0:10 left");
}

TEST(ProgressLine, StagingHoldsNoUsersAndGroups) {
    Progress progress = secondPass();
    progress.phase = Phase::STAGING;
    EXPECT_EQ(lineOf(progress), "Staging  [=====     ]   50%  50.0 MB/s  0:10 left");
}

TEST(ProgressLine, WritingIsNotMeasuredInBytes) {
    EXPECT_EQ(lineOf({Phase::WRITING, 2, 0, 300, 1200, 800, 100, milliseconds(1000), 80}),
              "Writing  [==        ]   25%  users 800, groups 100  0:03 left");
}

TEST(ProgressLine, CredentialsHoldNoUsersAndGroups) {
    Progress progress = secondPass();
    progress.phase = Phase::CREDENTIALS;
    EXPECT_EQ(lineOf(progress), "Credentials  [=====     ]   50%  50.0 MB/s  0:10 left");
}

TEST(ProgressLine, SpeedAndTimeLeftCountFromTheBeginningOfThePhase) {
    Progress progress = secondPass();
    progress.begin = 400'000'000;
    EXPECT_EQ(lineOf(progress),
              "Pass 2  [=====     ]   50%  users 51200, groups 4100  10.0 MB/s  0:50 left");
}

TEST(ProgressLine, NothingIsPredictedBeforeThePhaseHasMoved) {
    Progress progress = secondPass();
    progress.begin = progress.done;
    EXPECT_EQ(lineOf(progress), "Pass 2  [=====     ]   50%  users 51200, groups 4100");
    progress = secondPass();
    progress.elapsed = milliseconds(0);
    EXPECT_EQ(lineOf(progress), "Pass 2  [=====     ]   50%  users 51200, groups 4100");
}

TEST(ProgressLine, TimeLeftIsShownInMinutesAndHours) {
    struct {
        int seconds;
        const char* text;
    } const cases[] = {{0, "0:01 left"},          {9, "0:10 left"},
                       {59, "1:00 left"},         {599, "10:00 left"},
                       {3599, "1:00:00 left"},    {3660, "1:01:01 left"},
                       {36'000, "10:00:01 left"}, {1'000'000, "99:59:59 left"}};
    for (const auto& [seconds, text] : cases) {
        // A little more than so many seconds.
        const Progress progress = {Phase::PASS, 1, 0, 1, 2, 0, 0, milliseconds(seconds * 1000 + 1),
                                   200};
        EXPECT_TRUE(lineOf(progress).ends_with(std::string("  ") + text)) << lineOf(progress);
    }
}

TEST(ProgressLine, PercentAndBarNeverRunOver) {
    struct {
        std::int64_t done;
        std::int64_t total;
        const char* text;
    } const cases[] = {{-1, 10, "[          ]    0%"},   {0, 0, "[          ]    0%"},
                       {5, 0, "[==========]  100%"},     {11, 10, "[==========]  100%"},
                       {99, 1000, "[          ]    9%"}, {999, 1000, "[========= ]   99%"}};
    for (const auto& [done, total, text] : cases) {
        const Progress progress = {Phase::STAGING, 0, done, done, total, 0, 0, milliseconds(1), 80};
        EXPECT_EQ(lineOf(progress), std::string("Staging  ") + text);
    }
}

TEST(ProgressLine, NarrowTerminalShowsTheMostImportantFirst) {
    struct {
        int columns;
        const char* text;
    } const cases[] = {
        {75, "Pass 2  [=====     ]   50%  users 51200, groups 4100  50.0 MB/s  0:10 left"},
        {74, "Pass 2  [=====     ]   50%  users 51200, groups 4100  0:10 left"},
        {64, "Pass 2  [=====     ]   50%  users 51200, groups 4100  0:10 left"},
        {63, "Pass 2  [=====     ]   50%  50.0 MB/s  0:10 left"},
        {38, "Pass 2  [=====     ]   50%  0:10 left"},
        {37, "Pass 2   50%  50.0 MB/s  0:10 left"},
        {34, "Pass 2   50%  0:10 left"},
        {24, "Pass 2   50%  0:10 left"},
        {23, "Pass 2   50%"},
        {13, "Pass 2   50%"},
        {12, " 50%"},
        {5, " 50%"},
        {4, ""},
        {1, ""},
        {0, ""}};
    for (const auto& [columns, text] : cases) {
        Progress progress = secondPass();
        progress.columns = columns;
        EXPECT_EQ(lineOf(progress), text) << columns;
    }
}

TEST(ProgressLine, WideTerminalHasALongerBar) {
    Progress progress = secondPass();
    progress.columns = 160;
    EXPECT_NE(lineOf(progress).find("[==========          ]"), std::string::npos);
    progress.columns = 10'000;
    EXPECT_NE(lineOf(progress).find("[===============               ]"), std::string::npos);
}

TEST(ProgressLine, LargestNumbersFit) {
    constexpr auto max = std::numeric_limits<std::int32_t>::max();
    constexpr std::int64_t terabytes = 1LL << 45;
    const Progress progress = {Phase::PASS,     max,   0, terabytes / 2, terabytes, max, max,
                               milliseconds(1), 10'000};
    EXPECT_EQ(lineOf(progress),
              "Pass 2147483647  [===============               ]   50%  users 2147483647, groups "
              "2147483647  17592186044.4 MB/s  0:01 left");
}

TEST(ProgressLine, NeverReachesTheLastColumn) {
    Progress progress = secondPass();
    for (progress.columns = 1; progress.columns < 200; ++progress.columns) {
        EXPECT_LT(lineOf(progress).size(), static_cast<std::size_t>(progress.columns));
    }
}

TEST(ProgressLine, NeedsNoMemory) {
    const std::size_t before = allocationCount();
    progressLine(secondPass());
    EXPECT_EQ(allocationCount(), before);
}

TEST(ShortText, CutsOffWhatIsTooLong) {
    ShortText text;
    text.append(std::string(100, 'a'));
    text.append(std::string(100, 'b'));
    text.append(123);
    EXPECT_EQ(text.view(), std::string(100, 'a') + std::string(92, 'b'));
}

}  // namespace
