#include "driver/diagnostics/progress.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <string>
#include <thread>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/trace.h"
#include "support/allocations.h"
#include "support/process.h"
#include "support/pseudo_terminal.h"

namespace {

constexpr const char* erased = "\r\033[J";

// Long enough for the next redraw.
void waitForRedraw() {
    std::this_thread::sleep_for(std::chrono::milliseconds(210));
}

std::string drawn(const std::string& line) {
    return "\r" + line + "\033[J\r";
}

// Standard error is a terminal, and a phase has begun that shows no speed until it advances.
class ProgressFixture : public testing::Test {
protected:
    void SetUp() override {
        dup2(terminal.descriptor(), STDERR_FILENO);
        setenv("TERM", "xterm", 1);
    }
    void TearDown() override {
        debugError = false;
        endProgress();
        dup2(standardError_, STDERR_FILENO);
        close(standardError_);
    }

    static void start() {
        startProgress();
        beginPhase(Phase::PASS, 50, 100);
        waitForRedraw();
    }

    PseudoTerminal terminal;

private:
    int standardError_ = dup(STDERR_FILENO);
};

constexpr const char* line = "Pass 1  [=====     ]   50%  users 3, groups 2";

TEST_F(ProgressFixture, LineIsDrawnInPlace) {
    start();
    showProgress(50, 3, 2);
    EXPECT_EQ(terminal.written(), drawn(line));
}

TEST_F(ProgressFixture, ShortRunHasNoLine) {
    startProgress();
    beginPhase(Phase::STAGING, 0, 100);
    showProgress(0);
    beginPhase(Phase::PASS, 0, 100);
    showProgress(0, 3, 2);
    endProgress();
    EXPECT_EQ(terminal.written(), "");
}

TEST_F(ProgressFixture, ClockIsLookedAtAfterEachStepOfAFile) {
    start();
    showProgress(50, 3, 2);
    waitForRedraw();
    terminal.written();
    showProgress(50 + 65535, 3, 2);
    EXPECT_EQ(terminal.written(), "");
    showProgress(50 + 65536, 3, 2);
    EXPECT_NE(terminal.written(), "");
}

TEST_F(ProgressFixture, ClockIsLookedAtAfterEachStepOfTheFlush) {
    start();
    beginPhase(Phase::WRITING, 0, 1000);
    showProgress(1, 999, 0);
    waitForRedraw();
    EXPECT_NE(terminal.written(), "");
    showProgress(256, 744, 0);
    EXPECT_EQ(terminal.written(), "");
    showProgress(257, 743, 0);
    EXPECT_NE(terminal.written(), "");
}

TEST_F(ProgressFixture, LineIsNotRedrawnAtOnce) {
    start();
    showProgress(50, 3, 2);
    beginPhase(Phase::PASS, 50, 100);
    showProgress(50, 4, 2);
    EXPECT_EQ(terminal.written(), drawn(line));
}

TEST_F(ProgressFixture, PassesAreCounted) {
    start();
    beginPhase(Phase::WRITING, 0, 10);
    beginPhase(Phase::PASS, 50, 100);
    showProgress(50, 3, 2);
    EXPECT_EQ(terminal.written(), drawn("Pass 2  [=====     ]   50%  users 3, groups 2"));
}

TEST_F(ProgressFixture, WidthIsThatOfTheMoment) {
    start();
    terminal.resize(20);
    showProgress(50, 3, 2);
    EXPECT_EQ(terminal.written(), drawn("Pass 1   50%"));
}

TEST_F(ProgressFixture, MessageErasesTheLineOnce) {
    start();
    showProgress(50, 3, 2);
    zr_printf_utf8({MESSAGE_NO_MEMORY, {}});
    const std::string afterwards = terminal.written().substr(drawn(line).size());
    EXPECT_TRUE(afterwards.starts_with(erased + std::string("380928300 ERROR: "))) << afterwards;
    zr_printf_utf8({MESSAGE_NO_MEMORY, {}});
    EXPECT_EQ(terminal.written().find('\033'), std::string::npos);
}

TEST_F(ProgressFixture, NoticeAndEchoToAPipeEraseTheLine) {
    debugError = true;
    for (void (*const write)() : {+[] {
                                      zr_printf_utf8({MESSAGE_COMPLETE, {}});
                                  },
                                  +[] { echo("main():  ERROR \n"); }}) {
        start();
        showProgress(50, 3, 2);
        EXPECT_NE(outputOf(write), "");
        EXPECT_EQ(terminal.written(), drawn(line) + erased);
    }
}

TEST_F(ProgressFixture, LineIsBackAWhileAfterAMessage) {
    start();
    showProgress(50, 3, 2);
    waitForRedraw();
    const auto now = std::chrono::steady_clock::now();
    eraseProgress(STDERR_FILENO);
    beginPhase(Phase::WRITING, 50, 100);
    showProgress(50, 3, 2);
    // On a machine that is too busy, the line may be back already.
    if (std::chrono::steady_clock::now() - now < std::chrono::milliseconds(50)) {
        EXPECT_EQ(terminal.written(), drawn(line) + erased);
    }
    waitForRedraw();
    beginPhase(Phase::PASS, 50, 100);
    showProgress(50, 3, 2);
    EXPECT_TRUE(
        terminal.written().ends_with(drawn("Pass 2  [=====     ]   50%  users 3, groups 2")));
}

TEST_F(ProgressFixture, FailureWithoutAMessageErasesTheLine) {
    start();
    showProgress(50, 3, 2);
    terminal.written();
    const Ending ending = endingOf([] { fail({}, {}, {NO_MESSAGE, {}}); });
    EXPECT_EQ(ending.status, 255);
    EXPECT_EQ(terminal.written(), erased);
}

TEST_F(ProgressFixture, StoppedTerminalHoldsUpNeitherRedrawsNorNoticesElsewhere) {
    start();
    showProgress(50, 3, 2);
    EXPECT_EQ(terminal.written(), drawn(line));
    terminal.stop();
    waitForRedraw();
    beginPhase(Phase::PASS, 50, 100);
    showProgress(50, 3, 2);
    outputOf([] { zr_printf_utf8({MESSAGE_COMPLETE, {}}); });
    terminal.goOn();
    EXPECT_EQ(terminal.written(), "");
    endProgress();
    EXPECT_EQ(terminal.written(), erased);
}

TEST_F(ProgressFixture, RedrawingAndErasingNeedNoMemoryAndKeepErrno) {
    start();
    {
        const AllocationLimit none(0);
        errno = ENOSPC;
        showProgress(50, 3, 2);
        EXPECT_EQ(errno, ENOSPC);
        eraseProgress(STDERR_FILENO);
        EXPECT_EQ(errno, ENOSPC);
    }
    EXPECT_EQ(terminal.written(), drawn(line) + erased);
}

void expectNoLine() {
    startProgress();
    beginPhase(Phase::STAGING, 0, 100);
    EXPECT_EQ(nextLookAtClock, std::numeric_limits<std::int64_t>::max());
    waitForRedraw();
    showProgress(100);
    eraseProgress(STDERR_FILENO);
}

TEST_F(ProgressFixture, TerminalThatCannotEraseHasNoLine) {
    for (const char* type : {"dumb", ""}) {
        setenv("TERM", type, 1);
        expectNoLine();
    }
    unsetenv("TERM");
    expectNoLine();
    EXPECT_EQ(terminal.written(), "");
}

TEST_F(ProgressFixture, OtherStandardErrorsHaveNoLine) {
    const int device = open("/dev/null", O_WRONLY);
    dup2(device, STDERR_FILENO);
    close(device);
    expectNoLine();
    EXPECT_EQ(terminal.written(), "");
}

}  // namespace
