#include "ldif/work_file.h"

#include <string>

#include "support/benchmark_checks.h"
#include "support/sample_file.h"

namespace {

// Calls `take` for one entry after another. Returns how many it took, up to the first behind which
// the work file is not positioned at the next one.
int takeEntries(const SampleFile& file, int (*take)(LineReader&)) {
    int taken = 0;
    while (taken < SampleFile::entries && take(tifp) == 0 &&
           tifp.tell() == file.startOf(taken + 1)) {
        ++taken;
    }
    return taken;
}

void deleteEntries(benchmark::State& state) {
    const SampleFile file(ordinaryUser);
    int deleted = 0;
    for (auto _ : state) {
        state.PauseTiming();
        file.open(tifp);
        state.ResumeTiming();
        deleted = takeEntries(file, deleteNextObjectFromTemporaryInputLDIFFile);
        tifp.flush();
    }
    const bool isBlank = file.content().find_first_not_of(" \r\n") == std::string::npos;
    require(state, deleted == SampleFile::entries && isBlank, "every entry is deleted");
    file.reportRounds(state);
}
BENCHMARK(deleteEntries)->Name("WorkFile/DeletesEntries");

void stepOverEntries(benchmark::State& state) {
    const SampleFile file(ordinaryUser);
    file.open(tifp);
    int steps = 0;
    for (auto _ : state) {
        tifp.setPosition({0});
        steps = takeEntries(file, stepOverNextObjectFromTemporaryInputLDIFFile);
    }
    require(state, steps == SampleFile::entries, "every entry is stepped over");
    file.reportRounds(state);
}
BENCHMARK(stepOverEntries)->Name("WorkFile/StepsOverEntries");

}  // namespace
