#include "driver/diagnostics/interruption.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/progress.h"
#include "support/process.h"
#include "support/pseudo_terminal.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

constexpr std::array<int, 4> endingSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};
const Message message = {MESSAGE_INTERRUPTED, {"new.ldif", "old.ldif.tmp"}};
constexpr const char* line =
    "380928317 ERROR: interrupted: the output \"new.ldif\" is incomplete. Remove the work file "
    "\"old.ldif.tmp\" before the next run\n";

// The signal that ends a process which does `procedure`, or 0. The text it writes to `errors` has
// not been read by anybody.
int signalOf(int errors, const std::function<void()>& procedure) {
    const pid_t child = fork();
    if (child == 0) {
        dup2(errors, STDERR_FILENO);
        alarm(10);  // ends a process that is held up
        procedure();
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST(Interruption, MessageIsPrintedAndTheSignalEndsTheProcess) {
    const PseudoTerminal terminal;
    for (const int signal : endingSignals) {
        EXPECT_EQ(signalOf(terminal.descriptor(),
                           [signal] {
                               reportInterruptions(message);
                               raise(signal);
                           }),
                  signal);
        EXPECT_EQ(terminal.written(), line) << signal;
    }
}

TEST(Interruption, NothingIsPrintedOnceThereIsNothingLeftToInterrupt) {
    const PseudoTerminal terminal;
    EXPECT_EQ(signalOf(terminal.descriptor(),
                       [] {
                           reportInterruptions(message);
                           endInterruptionReports();
                           raise(SIGTERM);
                       }),
              SIGTERM);
    EXPECT_EQ(terminal.written(), "");
}

TEST(Interruption, NothingIsPrintedOnceTheRunHasFailed) {
    const PseudoTerminal terminal;
    EXPECT_EQ(signalOf(terminal.descriptor(),
                       [] {
                           reportInterruptions(message);
                           // Exiting may take long, and what would be printed is released by it.
                           std::atexit([] { raise(SIGTERM); });
                           fail({}, {}, {MESSAGE_NO_MEMORY, {}});
                       }),
              SIGTERM);
    EXPECT_THAT(terminal.written(), Not(HasSubstr("interrupted")));
}

TEST(Interruption, SignalsThatAreIgnoredStayIgnored) {
    const Ending ending = endingOf([] {
        for (const int signal : endingSignals) {
            std::signal(signal, SIG_IGN);
        }
        reportInterruptions(message);
        for (const int signal : endingSignals) {
            raise(signal);
        }
    });
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors, "");
}

TEST(Interruption, ErasesTheProgressLineFirst) {
    const PseudoTerminal terminal;
    for (const int signal : endingSignals) {
        signalOf(terminal.descriptor(), [signal] {
            setenv("TERM", "xterm", 1);
            reportInterruptions(message);
            startProgress();
            beginPhase(Phase::PASS, 50, 100);
            std::this_thread::sleep_for(std::chrono::milliseconds(210));
            showProgress(50, 3, 2);
            raise(signal);
        });
        EXPECT_THAT(terminal.written(), EndsWith("\r\033[J" + std::string(line))) << signal;
    }
}

TEST(Interruption, StoppedTerminalDoesNotKeepTheProcess) {
    const PseudoTerminal terminal;
    terminal.stop();
    EXPECT_EQ(signalOf(terminal.descriptor(),
                       [] {
                           reportInterruptions(message);
                           raise(SIGTERM);
                       }),
              SIGTERM);
    terminal.goOn();
}

TEST(Interruption, PipeThatNobodyReadsDoesNotKeepTheProcess) {
    std::array<int, 2> ends = {};
    ASSERT_EQ(pipe2(ends.data(), O_NONBLOCK), 0);
    const std::string text(4096, 'x');
    while (write(ends[1], text.data(), text.size()) > 0) {
    }
    ASSERT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
    EXPECT_EQ(signalOf(ends[1],
                       [] {
                           reportInterruptions(message);
                           raise(SIGTERM);
                       }),
              SIGTERM);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
