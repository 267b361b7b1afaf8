#include "entry/attribute_lookup.h"

#include <optional>
#include <string>

#include "entry/entry.h"
#include "support/benchmark_checks.h"
#include "support/sample_entries.h"

namespace {

void lookUpName(benchmark::State& state, const Entry& entry, std::string_view name,
                const std::optional<std::string>& expected) {
    object = entry;
    std::optional<std::string> value;
    for (auto _ : state) {
        value = obtainAttributeValueFromObjArray(name);
    }
    require(state, value == expected, "the value is found");
    state.SetItemsProcessed(state.iterations());
}

void findValue(benchmark::State& state) {
    lookUpName(state, ordinaryUser(1), "principalName", principalOf(1));
}
BENCHMARK(findValue)->Name("AttributeLookup/FindsValue");

void findFoldedValue(benchmark::State& state) {
    lookUpName(state, directoryEntry(1), "description",
               "works in the second office on floor three and answers questions about orders from "
               "northern branches since spring and works in the second office on floor three");
}
BENCHMARK(findFoldedValue)->Name("AttributeLookup/FindsFoldedValue");

void missName(benchmark::State& state) {
    lookUpName(state, ordinaryUser(1), "secDN", std::nullopt);
}
BENCHMARK(missName)->Name("AttributeLookup/MissesName");

void lookUpIndex(benchmark::State& state, std::string (*obtain)(int), const std::string& expected) {
    constexpr int lineOfPrincipalName = 4;
    object = ordinaryUser(1);
    std::string text;
    for (auto _ : state) {
        text = obtain(lineOfPrincipalName);
    }
    require(state, text == expected, "the text is taken");
    state.SetItemsProcessed(state.iterations());
}

void takeValueAtIndex(benchmark::State& state) {
    lookUpIndex(state, obtainAttributeValueFromObjectArray, ": " + principalOf(1));
}
BENCHMARK(takeValueAtIndex)->Name("AttributeLookup/TakesValueAtIndex");

void takeAttributeAtIndex(benchmark::State& state) {
    lookUpIndex(state, obtainAttributeFromObjectArray, "principalName: " + principalOf(1));
}
BENCHMARK(takeAttributeAtIndex)->Name("AttributeLookup/TakesAttributeAtIndex");

}  // namespace
