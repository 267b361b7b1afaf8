#include "driver/platform/terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string>

bool isTerminal(int descriptor) {
    return ::isatty(descriptor) == 1;
}

File openTerminal(int descriptor) {
    if (!isTerminal(descriptor)) {
        return {};
    }
    // A terminal may belong to another user, as it does after su(1): its own process group can
    // always open it by this name.
    const bool isControlling = ::tcgetpgrp(descriptor) >= 0;
    const std::string name =
        isControlling ? "/dev/tty" : "/proc/self/fd/" + std::to_string(descriptor);
    return openFile(name, O_NOCTTY | O_NONBLOCK);
}

int columnsOf(const File& terminal) {
    constexpr int usualColumns = 80;
    struct winsize size = {};
    const bool isKnown = ::ioctl(terminal.descriptor(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : usualColumns;
}

bool isInForeground(const File& terminal) {
    const pid_t foreground = ::tcgetpgrp(terminal.descriptor());
    return foreground < 0 || foreground == ::getpgrp();
}
