// The progress line: what a run is doing, shown on a terminal.
//
//     Pass 2  [=====     ]   52%  users 51200, groups 4100  180.3 MB/s  0:12 left
//
// It is redrawn in place at most five times a second, and there is none unless standard error is a
// terminal. The cursor stays at its beginning. Before other text is written that may reach the
// terminal, the line is erased; it comes back with the next redraw.
//
// The line is no output of the run: text that the terminal refuses is lost, and a terminal that has
// been stopped does not hold up the run. Without the line, a run only compares two numbers for each
// entry.
#pragma once

#include <cstdint>

#include "driver/diagnostics/progress_line.h"

// Allows the line if standard error is a terminal that can erase it. A terminal that cannot has the
// type "dumb" in TERM, or none.
void startProgress();

// Begins a phase; the passes are counted here.
void beginPhase(Phase phase, std::int64_t begin, std::int64_t total);

// Where the phase must have come to for the clock to be looked at. Written by progress.cpp alone;
// never reached without the line.
extern std::int64_t nextLookAtClock;

// Looks at the clock, and redraws the line when it is time.
void redrawProgress(std::int64_t done, std::int32_t users, std::int32_t groups);

// Reports how far the phase has come and how many users and groups are held.
inline void showProgress(std::int64_t done, std::int32_t users = 0, std::int32_t groups = 0) {
    if (done >= nextLookAtClock) [[unlikely]] {
        redrawProgress(done, users, groups);
    }
}

// Erases the line, if there is one on the terminal, before something is written to `descriptor`.
void eraseProgress(int descriptor);

// Erases the line and draws no more, at the end of the run. A signal handler may call it.
void endProgress();
