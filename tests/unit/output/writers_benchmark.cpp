#include "output/writers.h"

#include <fcntl.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cache/object_cache.h"
#include "support/benchmark_checks.h"
#include "support/cache_state.h"
#include "support/ldif_state.h"
#include "support/naive_merge.h"
#include "support/sample_entries.h"
#include "support/temporary_folder.h"

namespace {

const std::string userDn =
    "dn: principalName=" + principalOf(0) + ",cn=Users,secAuthority=default\n";
const std::string policyDn = "dn: cn=Policy,cn=Policies," + userDn.substr(4);
const std::string groupDn = "dn: cn=group" + sixDigits(0) + ",cn=Groups,secAuthority=default\n";

using Lines = std::vector<std::string>;

// The record of an entry of the lines `lines`, of which the first is the old DN.
std::string recordOf(const std::string& dnLine, const Lines& lines) {
    std::string record = dnLine;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        record += lines[i];
    }
    return record + "\n";
}

void openOutput(const std::string& name) {
    if (ofp.open(name, O_CREAT) != 0) {
        throw std::runtime_error("cannot open " + name);
    }
}

// `write` must write `record` for slot 0. Then it is measured with an output that no disk slows
// down.
void writeRecords(benchmark::State& state, int (*write)(int, OutputFile&),
                  const std::string& record) {
    resetRunFiles();
    const TemporaryFolder folder;
    openOutput(folder.path("output"));
    write(0, ofp);
    ofp.close();
    require(state, readFile(folder.path("output")) == record, "the record is written");

    openOutput("/dev/null");
    bool written = true;
    for (auto _ : state) {
        written = write(0, ofp) == 0 && written;
    }
    require(state, written, "the output takes every record");
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(record.size()));
}

void holdUser() {
    emptyCache();
    secUser_dn.open(userDn);
    fillRow(secUser_matrix, 0, ordinaryUser(0));
    fillRow(secMap_for_secUser_matrix, 0, mappingOfUser(0));
}

Lines mergedUser() {
    return naiveMerge(linesOf(ordinaryUser(0)), linesOf(mappingOfUser(0)));
}

void writeUser(benchmark::State& state) {
    holdUser();
    writeRecords(state, writeSecUserAddToOutputFile, recordOf(userDn, mergedUser()));
}
BENCHMARK(writeUser)->Name("Writers/WritesUser");

void writeUserOfThreeEntries(benchmark::State& state) {
    holdUser();
    fillRow(Users_secUser_matrix, 0, usersEntry(0));
    const Lines merged = naiveMerge(linesOf(usersEntry(0)), mergedUser());
    writeRecords(state, writeSecUserAddToOutputFile, recordOf(userDn, merged));
}
BENCHMARK(writeUserOfThreeEntries)->Name("Writers/WritesUserOfThreeEntries");

void writePolicy(benchmark::State& state) {
    emptyCache();
    setPolicyDn(0, policyDn);
    fillRow(secPolicy_matrix, 0, policyOfUser(0));
    // Its last two lines do not pass the filter.
    Lines lines = linesOf(policyOfUser(0));
    lines.resize(lines.size() - 2);
    writeRecords(state, writeSecPolicyAddToOutputFile, recordOf(policyDn, lines));
}
BENCHMARK(writePolicy)->Name("Writers/WritesPolicy");

void writeGroup(benchmark::State& state) {
    emptyCache();
    secGroup_dn.open(groupDn);
    fillRow(secGroup_matrix, 0, groupEntry(0));
    fillRow(secMap_for_secGroup_matrix, 0, mappingOfGroup(0));
    const Lines merged = naiveMerge(linesOf(groupEntry(0)), linesOf(mappingOfGroup(0)));
    writeRecords(state, writeSecGroupAddToOutputFile, recordOf(groupDn, merged));
}
BENCHMARK(writeGroup)->Name("Writers/WritesGroup");

}  // namespace
