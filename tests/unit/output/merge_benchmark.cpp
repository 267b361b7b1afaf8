#include "output/merge.h"

#include <string>
#include <vector>

#include "entry/entry.h"
#include "support/benchmark_checks.h"
#include "support/naive_merge.h"
#include "support/sample_entries.h"

namespace {

using Lines = std::vector<std::string>;

void merge(benchmark::State& state, const Entry& first, const Entry& second,
           const Lines& expected) {
    for (auto _ : state) {
        mergeObjects(first, second);
    }
    require(state, linesOf(object) == expected, "the entries are merged");
    state.SetItemsProcessed(state.iterations() * (first.lineCount() + second.lineCount()));
}

void mergeUserAndMapping(benchmark::State& state) {
    const Entry user = ordinaryUser(1);
    const Entry mapping = mappingOfUser(1);
    merge(state, user, mapping, naiveMerge(linesOf(user), linesOf(mapping)));
}
BENCHMARK(mergeUserAndMapping)->Name("Merge/MergesUserAndMapping");

void mergeLines(benchmark::State& state) {
    const Entry entry = entryOfLength(static_cast<int>(state.range(0)));
    merge(state, entry, entry, linesOf(entry));
}
BENCHMARK(mergeLines)->Name("Merge/MergesLines")->Arg(100)->Arg(1'000)->Arg(32'000);

}  // namespace
