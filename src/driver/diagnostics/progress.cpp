#include "driver/diagnostics/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "driver/platform/file.h"
#include "driver/platform/terminal.h"

std::int64_t nextLookAtClock = std::numeric_limits<std::int64_t>::max();

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds betweenRedraws{200};
// Text written to a pipe may reach the terminal a little later.
constexpr std::chrono::milliseconds behindErasing{50};

// How far a phase goes before the clock is looked at.
constexpr std::int64_t bytesOfStep = 64 * 1024;
constexpr std::int64_t ownersOfStep = 256;

constexpr std::string_view lineStart = "\r";
constexpr std::string_view clearFromHere = "\033[J";  // to the end of the screen: the terminal may
                                                      // have wrapped the line when it shrank

File terminal;             // open while there may be a line
Progress progress;         // written when a phase begins and when the line is redrawn
Clock::time_point began;   // when the phase did
Clock::time_point redraw;  // when the line may be redrawn
volatile std::sig_atomic_t isShown = 0;

// Also called by a signal handler, in endProgress.
void eraseThrough(int descriptor) {
    if (isShown == 0) {
        return;
    }
    if (!isInForeground(terminal)) {
        isShown = 0;  // lost among what others have written since
        return;
    }
    ShortText text;
    text.append(lineStart);
    text.append(clearFromHere);
    isShown = writeText(descriptor, text.view()) < text.view().size() ? 1 : 0;
}

void draw() {
    if (!isInForeground(terminal)) {
        return;
    }
    progress.columns = columnsOf(terminal);
    ShortText text;
    text.append(lineStart);
    text.append(progressLine(progress).view());
    text.append(clearFromHere);
    text.append(lineStart);
    isShown = 1;
    writeText(terminal.descriptor(), text.view());
}

}  // namespace

void startProgress() {
    const char* value = std::getenv("TERM");
    const std::string_view type = value != nullptr ? value : "";
    if (type.empty() || type == "dumb") {
        return;
    }
    terminal = openTerminal(STDERR_FILENO);
    if (terminal.isOpen()) {
        progress = {};
        redraw = Clock::now() + betweenRedraws;
    }
}

void beginPhase(Phase phase, std::int64_t begin, std::int64_t total) {
    if (!terminal.isOpen()) {
        return;
    }
    progress.phase = phase;
    progress.pass += phase == Phase::PASS ? 1 : 0;
    progress.begin = begin;
    progress.total = total;
    began = Clock::now();
    nextLookAtClock = begin;
}

void redrawProgress(std::int64_t done, std::int32_t users, std::int32_t groups) {
    nextLookAtClock = done + (progress.phase == Phase::WRITING ? ownersOfStep : bytesOfStep);
    const Clock::time_point now = Clock::now();
    if (now < redraw) {
        return;
    }
    redraw = now + betweenRedraws;
    progress.done = done;
    progress.users = users;
    progress.groups = groups;
    progress.elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - began);
    const int error = errno;  // the caller may be about to report it
    draw();
    errno = error;
}

void eraseProgress(int descriptor) {
    if (isShown == 0) {
        return;
    }
    const int error = errno;
    // A terminal that takes nothing now will hold up what is about to be written to it as well.
    eraseThrough(isTerminal(descriptor) ? STDERR_FILENO : terminal.descriptor());
    redraw = std::max(redraw, Clock::now() + behindErasing);
    errno = error;
}

void endProgress() {
    eraseThrough(terminal.descriptor());
    isShown = 0;
    nextLookAtClock = std::numeric_limits<std::int64_t>::max();
    terminal.close();
}
