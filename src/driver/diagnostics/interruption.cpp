#include "driver/diagnostics/interruption.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <string>

#include "driver/diagnostics/progress.h"
#include "driver/platform/file.h"

namespace {

std::string line;  // what is printed; not to be changed while isPrinted is 1
volatile std::sig_atomic_t isPrinted = 0;

// Calls nothing but what a signal handler may call, signal-safety(7).
void reportAndEnd(int signal) {
    endProgress();
    // A terminal that has been stopped, or a pipe that nobody reads, must not keep the process.
    struct pollfd errors = {STDERR_FILENO, POLLOUT, 0};
    if (isPrinted == 1 && ::poll(&errors, 1, 0) == 1 && (errors.revents & POLLOUT) != 0) {
        writeText(STDERR_FILENO, line);
    }
    ::raise(signal);
}

}  // namespace

void reportInterruptions(const Message& message) {
    endInterruptionReports();
    line = lineOf(message);
    std::atomic_signal_fence(std::memory_order_seq_cst);
    isPrinted = 1;

    struct sigaction reporting = {};
    reporting.sa_handler = reportAndEnd;
    reporting.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        struct sigaction inherited = {};
        if (::sigaction(signal, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_DFL) {
            ::sigaction(signal, &reporting, nullptr);
        }
    }
}

void endInterruptionReports() {
    isPrinted = 0;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}
