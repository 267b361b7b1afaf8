// The check that every benchmark makes.
#pragma once

#include <benchmark/benchmark.h>

// Ends the benchmark with an error unless `expectation` holds: the time of other work means
// nothing.
inline void require(benchmark::State& state, bool holds, const char* expectation) {
    if (!holds) {
        state.SkipWithError(expectation);
    }
}
