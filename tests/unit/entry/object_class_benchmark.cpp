#include "entry/object_class.h"

#include "entry/entry.h"
#include "support/benchmark_checks.h"
#include "support/sample_entries.h"

namespace {

void sortEntry(benchmark::State& state, const Entry& entry, ObjectClass kind) {
    object = entry;
    for (auto _ : state) {
        determineTheObjectsObjectClass();
    }
    require(state, objectClass == kind, "the entry is of its kind");
    state.SetItemsProcessed(state.iterations());
}

void sortUser(benchmark::State& state) {
    sortEntry(state, ordinaryUser(1), SECUSER_OBJECTCLASS);
}
BENCHMARK(sortUser)->Name("ObjectClass/SortsUser");

void sortMapping(benchmark::State& state) {
    sortEntry(state, mappingOfUser(1), SECMAP_OBJECTCLASS);
}
BENCHMARK(sortMapping)->Name("ObjectClass/SortsMapping");

// All of its lines have to be looked at.
void sortDirectoryEntry(benchmark::State& state) {
    sortEntry(state, directoryEntry(1), UNINTERESTING_OBJECTCLASS);
}
BENCHMARK(sortDirectoryEntry)->Name("ObjectClass/SortsDirectoryEntry");

}  // namespace
