#include "driver/platform/terminal.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/process.h"
#include "support/pseudo_terminal.h"
#include "support/temporary_folder.h"

namespace {

TEST(Terminal, IsNeitherAFileNorADeviceNorNothing) {
    const TemporaryFolder folder;
    const File file = openLockedFile(folder.path("file"));
    const File device = openFile("/dev/null", 0);
    for (const int descriptor : {file.descriptor(), device.descriptor(), -1}) {
        EXPECT_FALSE(isTerminal(descriptor));
        EXPECT_FALSE(openTerminal(descriptor).isOpen());
    }
    EXPECT_TRUE(isTerminal(PseudoTerminal().descriptor()));
}

TEST(Terminal, OpenedOnceMoreIsTheSameOne) {
    const PseudoTerminal terminal;
    const File file = openTerminal(terminal.descriptor());
    ASSERT_TRUE(file.isOpen());
    EXPECT_NE(file.descriptor(), terminal.descriptor());
    EXPECT_EQ(writeText(file.descriptor(), "text"), 4U);
    EXPECT_EQ(terminal.written(), "text");
}

TEST(Terminal, RefusesAtOnceWhatItDoesNotTake) {
    const PseudoTerminal terminal;
    const File file = openTerminal(terminal.descriptor());
    terminal.stop();
    EXPECT_EQ(writeText(file.descriptor(), "lost"), 0U);
    EXPECT_EQ(errno, EAGAIN);
    terminal.goOn();
    EXPECT_EQ(writeText(file.descriptor(), "text"), 4U);
    EXPECT_EQ(terminal.written(), "text");
}

TEST(Terminal, WidthIsThatOfTheMoment) {
    const PseudoTerminal terminal;
    const File file = openTerminal(terminal.descriptor());
    for (const int columns : {1, 20, 132}) {
        terminal.resize(columns);
        EXPECT_EQ(columnsOf(file), columns);
    }
}

TEST(Terminal, IsEightyColumnsWideWhenNothingIsKnown) {
    const PseudoTerminal terminal;
    terminal.resize(0);
    EXPECT_EQ(columnsOf(openTerminal(terminal.descriptor())), 80);
    EXPECT_EQ(columnsOf(openFile("/dev/null", 0)), 80);
}

// Makes the terminal that of this process, as logging in does.
void logInto(const PseudoTerminal& terminal) {
    if (setsid() < 0 || ioctl(terminal.descriptor(), TIOCSCTTY, 0) != 0) {
        std::exit(99);
    }
}

TEST(Terminal, OneThatBelongsToTheProcessIsOpenedWhoeverOwnsItsDevice) {
    const PseudoTerminal terminal;
    const Ending ending = endingOf([&terminal] {
        logInto(terminal);
        const File file = openTerminal(terminal.descriptor());
        const auto link = "/proc/self/fd/" + std::to_string(file.descriptor());
        std::exit(std::filesystem::read_symlink(link) == "/dev/tty" ? 0 : 1);
    });
    EXPECT_EQ(ending.status, 0);
}

TEST(Terminal, JobsAreInTheForegroundOrNot) {
    const PseudoTerminal terminal;
    const Ending ending = endingOf([&terminal] {
        logInto(terminal);
        const File file = openTerminal(terminal.descriptor());
        if (!isInForeground(file)) {
            std::exit(1);
        }
        const pid_t job = fork();
        if (job == 0) {
            setpgid(0, 0);
            _exit(isInForeground(file) ? 2 : 0);
        }
        int status = 0;
        waitpid(job, &status, 0);
        std::exit(WEXITSTATUS(status));
    });
    EXPECT_EQ(ending.status, 0);
}

TEST(Terminal, ProcessesOfAnotherTerminalAreNoBackgroundJobs) {
    const PseudoTerminal terminal;
    EXPECT_TRUE(isInForeground(openTerminal(terminal.descriptor())));
}

}  // namespace
