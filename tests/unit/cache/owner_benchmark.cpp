#include "cache/owner.h"

#include <string>
#include <vector>

#include "cache/object_cache.h"
#include "entry/entry.h"
#include "entry/object_class.h"
#include "support/benchmark_checks.h"
#include "support/sample_owners.h"

namespace {

// One of the two associations.
struct Side {
    OwnerTable& owners;
    std::string (*ownerDn)(int);
    int (*learnIndex)();
};

const Side userSide = {secUser_dn, ownerDnOfUser, learnIndexOfAssociatedSecUserDN};
const Side groupSide = {secGroup_dn, ownerDnOfGroup, learnIndexOfAssociatedSecGroupDN};

// The time includes that for copying the entry: the association may rewrite it.
void learnIndex(benchmark::State& state, const Side& side, ObjectClass kind,
                Entry (*entryOfKind)(int)) {
    const int owners = static_cast<int>(state.range(0));
    openSlots(side.owners, owners, side.ownerDn);
    const std::vector<int> numbers = randomNumbers(owners);
    std::vector<Entry> entries;
    for (const int number : numbers) {
        entries.push_back(entryOfKind(number));
    }
    objectClass = kind;
    bool asExpected = true;
    std::size_t next = 0;
    for (auto _ : state) {
        object = entries[next];
        asExpected = side.learnIndex() == numbers[next] && asExpected;
        next = (next + 1) % entries.size();
    }
    require(state, asExpected, "every owner is found in its slot");
    state.SetItemsProcessed(state.iterations());
}

// The influence of the number of owners does not depend on the kind of entry.

void learnIndexOfUser(benchmark::State& state) {
    learnIndex(state, userSide, SECUSER_OBJECTCLASS, ordinaryUser);
}
BENCHMARK(learnIndexOfUser)->Name("Owner/LearnsIndexOfUser")->Arg(1'000)->Arg(100'000);

void learnIndexOfUsersEntry(benchmark::State& state) {
    learnIndex(state, userSide, SECUSER_OBJECTCLASS, usersEntry);
}
BENCHMARK(learnIndexOfUsersEntry)->Name("Owner/LearnsIndexOfUsersEntry")->Arg(1'000);

void learnIndexOfPolicy(benchmark::State& state) {
    learnIndex(state, userSide, SECPOLICY_OBJECTCLASS, policyOfUser);
}
BENCHMARK(learnIndexOfPolicy)->Name("Owner/LearnsIndexOfPolicy")->Arg(1'000);

void learnIndexOfMapping(benchmark::State& state) {
    learnIndex(state, userSide, SECMAP_OBJECTCLASS, mappingOfUser);
}
BENCHMARK(learnIndexOfMapping)->Name("Owner/LearnsIndexOfMapping")->Arg(1'000);

void learnIndexOfGroup(benchmark::State& state) {
    learnIndex(state, groupSide, SECGROUP_OBJECTCLASS, groupEntry);
}
BENCHMARK(learnIndexOfGroup)->Name("Owner/LearnsIndexOfGroup")->Arg(1'000)->Arg(100'000);

void learnIndexOfGroupMapping(benchmark::State& state) {
    learnIndex(state, groupSide, SECMAP_OBJECTCLASS, mappingOfGroup);
}
BENCHMARK(learnIndexOfGroupMapping)->Name("Owner/LearnsIndexOfGroupMapping")->Arg(1'000);

}  // namespace
