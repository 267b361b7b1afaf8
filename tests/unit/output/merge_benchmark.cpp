#include "output/merge.h"

#include "entry/entry.h"
#include "support/benchmark_checks.h"
#include "support/naive_merge.h"
#include "support/sample_entries.h"

namespace {

void merge(benchmark::State& state, const Entry& first, const Entry& second) {
    for (auto _ : state) {
        mergeObjects(first, second);
    }
    require(state, linesOf(object) == naiveMerge(linesOf(first), linesOf(second)),
            "the entries are merged");
    state.SetItemsProcessed(state.iterations() * (first.lineCount() + second.lineCount()));
}

void mergeUserAndMapping(benchmark::State& state) {
    merge(state, ordinaryUser(1), mappingOfUser(1));
}
BENCHMARK(mergeUserAndMapping)->Name("Merge/MergesUserAndMapping");

void mergeLines(benchmark::State& state) {
    const int lines = static_cast<int>(state.range(0));
    merge(state, entryOfLength(lines), entryOfLength(lines));
}
BENCHMARK(mergeLines)->Name("Merge/MergesLines")->Arg(100)->Arg(1'000);

}  // namespace
