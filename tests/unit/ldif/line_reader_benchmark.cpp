#include "ldif/line_reader.h"

#include <string_view>

#include "support/benchmark_checks.h"
#include "support/sample_file.h"

namespace {

void readLines(benchmark::State& state) {
    const SampleFile file(ordinaryUser);
    file.open(ifp);
    int lines = 0;
    off_t bytes = 0;
    for (auto _ : state) {
        lines = 0;
        bytes = 0;
        ifp.setPosition({0});
        for (std::string_view line; getNextLine(line, ifp) == 0; ++lines) {
            bytes += static_cast<off_t>(line.size());
        }
    }
    const int linesOfAll = SampleFile::entries * (ordinaryUser(0).lineCount() + 1);
    require(state, lines == linesOfAll && bytes == file.size(), "every line is read");
    state.SetItemsProcessed(state.iterations() * lines);
    state.SetBytesProcessed(state.iterations() * bytes);
}
BENCHMARK(readLines)->Name("LineReader/ReadsLines");

}  // namespace
