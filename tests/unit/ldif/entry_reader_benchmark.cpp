#include "ldif/entry_reader.h"

#include "entry/entry.h"
#include "ldif/work_file.h"
#include "support/benchmark_checks.h"
#include "support/sample_file.h"

namespace {

void readExport(benchmark::State& state) {
    const SampleFile file(directoryEntry);
    file.open(ifp);
    const int linesOfEach = directoryEntry(0).lineCount();
    int complete = 0;
    for (auto _ : state) {
        complete = 0;
        ifp.setPosition({0});
        while (getNextObject(ifp) == 0 && next_available_object_slot() == linesOfEach) {
            ++complete;
        }
    }
    require(state, complete == SampleFile::entries, "every entry is read");
    file.reportRounds(state);
}
BENCHMARK(readExport)->Name("EntryReader/ReadsExport");

void readWorkFile(benchmark::State& state) {
    const SampleFile file(ordinaryUser);
    file.open(tifp);
    const int linesOfEach = ordinaryUser(0).lineCount();
    int complete = 0;
    for (auto _ : state) {
        complete = 0;
        for (int i = 0; i < SampleFile::entries; ++i) {
            tifp.setPosition({file.startOf(i)});
            const bool read = getNextObjectFromTemporaryInputLDIFFile(tifp) == 0 &&
                              next_available_object_slot() == linesOfEach &&
                              tifp.tell() == file.startOf(i);
            complete += read ? 1 : 0;
        }
    }
    require(state, complete == SampleFile::entries, "every entry is read");
    file.reportRounds(state);
}
BENCHMARK(readWorkFile)->Name("EntryReader/ReadsWorkFile");

// The blank lines before an entry whose pass comes late.
void skipDeletedEntries(benchmark::State& state) {
    constexpr int last = SampleFile::entries - 1;
    const SampleFile file(ordinaryUser);
    file.open(tifp);
    for (int i = 0; i < last; ++i) {
        deleteNextObjectFromTemporaryInputLDIFFile(tifp);
    }
    for (auto _ : state) {
        tifp.setPosition({0});
        getNextObjectFromTemporaryInputLDIFFile(tifp);
    }
    require(state, linesOf(object) == linesOf(ordinaryUser(last)), "the last entry is read");
    file.reportRounds(state);
}
BENCHMARK(skipDeletedEntries)->Name("EntryReader/SkipsDeletedEntries");

}  // namespace
