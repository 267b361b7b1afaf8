// What every benchmark rests on.
#pragma once

#include <benchmark/benchmark.h>

// Ends the benchmark with an error unless `expectation` holds: the time that something else takes
// says nothing.
inline void require(benchmark::State& state, bool holds, const char* expectation) {
    if (!holds) {
        state.SkipWithError(expectation);
    }
}
