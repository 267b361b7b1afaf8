#include "support/pseudo_terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <array>

PseudoTerminal::PseudoTerminal() {
    termios raw = {};
    cfmakeraw(&raw);
    if (openpty(&screen_, &program_, nullptr, &raw, nullptr) != 0) {
        ADD_FAILURE() << "cannot open a terminal";
    }
}

PseudoTerminal::~PseudoTerminal() {
    close(screen_);
    close(program_);
}

void PseudoTerminal::resize(int columns) const {
    winsize size = {};
    size.ws_row = 24;
    size.ws_col = static_cast<unsigned short>(columns);
    EXPECT_EQ(ioctl(screen_, TIOCSWINSZ, &size), 0);
}

void PseudoTerminal::stop() const {
    EXPECT_EQ(tcflow(program_, TCOOFF), 0);
}

void PseudoTerminal::goOn() const {
    EXPECT_EQ(tcflow(program_, TCOON), 0);
}

std::string PseudoTerminal::written() const {
    // Text written on one side reaches the other a little later.
    constexpr int patience = 50;
    std::string text;
    std::array<char, 4096> buffer;
    for (pollfd screen = {screen_, POLLIN, 0}; poll(&screen, 1, patience) == 1;) {
        const ssize_t count = read(screen_, buffer.data(), buffer.size());
        if (count <= 0) {
            break;
        }
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
}
