// Where the lines of a file stand: byte offsets turned into line numbers.
//
// Findings remember offsets, which cost less than lines and entries. Whoever shows one asks here
// for its line number, which counts the line feeds from the nearest place that is known.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "check/checked_file.h"

class LinePlaces {
public:
    // Notes that the line `line`, from 1 on, begins at `offset`. Offsets must rise.
    void note(off_t offset, std::int64_t line);

    // The number of the line that begins at `offset` of the file; 0 when the file is shorter.
    std::int64_t lineAt(const CheckedFile& file, off_t offset) const;

private:
    struct Place {
        off_t offset;
        std::int64_t line;
    };
    std::vector<Place> places_;    // one for each MiB
    mutable Place last_ = {0, 1};  // where the last search has ended; most go on from there
};
