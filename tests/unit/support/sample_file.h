// A file of sample entries that is read again and again.
#pragma once

#include <benchmark/benchmark.h>

#include <stdexcept>
#include <string>

#include "support/ldif_state.h"
#include "support/sample_entries.h"
#include "support/temporary_folder.h"

class SampleFile {
public:
    // More than a reader's buffer holds, so that every round reads the whole file again.
    static constexpr int entries = 1000;

    explicit SampleFile(Entry (*entryOfKind)(int)) : text_(ldifOf(entries, entryOfKind)) {
        resetRunFiles();
    }

    off_t size() const {
        return static_cast<off_t>(text_.size());
    }

    // Where entry `number`, counted from 0, begins; the end of the file behind the last one.
    off_t startOf(int number) const {
        return size() / entries * number;
    }

    // Writes the file again and opens it.
    void open(LineReader& stream) const {
        const std::string name = writeFile(folder_.path("sample"), text_);
        if (stream.open(name) != 0) {
            throw std::runtime_error("cannot open " + name);
        }
    }

    std::string content() const {
        return readFile(folder_.path("sample"));
    }

    // Each round of the benchmark has taken the whole file.
    void reportRounds(benchmark::State& state) const {
        state.SetItemsProcessed(state.iterations() * entries);
        state.SetBytesProcessed(state.iterations() * size());
    }

private:
    TemporaryFolder folder_;
    std::string text_;
};
