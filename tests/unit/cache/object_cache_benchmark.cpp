#include "cache/object_cache.h"

#include <string>
#include <vector>

#include "support/benchmark_checks.h"
#include "support/sample_owners.h"

namespace {

using DnOf = std::string (*)(int);

// Looks random numbers from `first` on up among `state.range(0)` owners, those from 0 on.
void find(benchmark::State& state, DnOf dnOf, int first) {
    const int owners = static_cast<int>(state.range(0));
    openSlots(secUser_dn, owners, dnOf);
    std::vector<std::string> dns;
    const std::vector<int> numbers = randomNumbers(owners);
    for (const int number : numbers) {
        dns.push_back(dnOf(first + number) + "\n");
    }
    bool asExpected = true;
    std::size_t next = 0;
    for (auto _ : state) {
        const int expected = first + numbers[next] < owners ? numbers[next] : -1;
        asExpected = secUser_dn.find(dns[next]) == expected && asExpected;
        next = (next + 1) % dns.size();
    }
    require(state, asExpected, "exactly the owners that have a slot are found");
    state.SetItemsProcessed(state.iterations());
}

void findOwner(benchmark::State& state, DnOf dnOf) {
    find(state, dnOf, 0);
}
BENCHMARK_CAPTURE(findOwner, plain, ownerDnOfUser)
    ->Name("ObjectCache/FindsOwner")
    ->Arg(1'000)
    ->Arg(32'000)
    ->Arg(100'000);
BENCHMARK_CAPTURE(findOwner, numbered, numberedOwnerDn)
    ->Name("ObjectCache/FindsNumberedOwner")
    ->Arg(100'000);
BENCHMARK_CAPTURE(findOwner, bracketed, bracketedOwnerDn)
    ->Name("ObjectCache/FindsBracketedOwner")
    ->Arg(32'000);

void missOwner(benchmark::State& state) {
    find(state, ownerDnOfUser, static_cast<int>(state.range(0)));
}
BENCHMARK(missOwner)->Name("ObjectCache/MissesOwner")->Arg(1'000)->Arg(100'000);

}  // namespace
