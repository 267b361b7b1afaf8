// Where the lines of a file stand: byte offsets turned into line numbers.
//
// Findings remember offsets, which cost less than lines and entries. Whoever shows one asks here
// for its line number, which counts the line feeds from the nearest place that is known. Findings
// jump from one end of a file to the other, so that the places known are close to each other: a few
// KiB in an export of 50 MB. Of larger files no more places are kept, and most of what takes time
// is their size.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "check/checked_file.h"

class LinePlaces {
public:
    LinePlaces() = default;

    // For a file of this size.
    explicit LinePlaces(off_t fileSize);

    // Notes that the line `line`, from 1 on, begins at `offset`. Offsets must rise.
    void note(off_t offset, std::int64_t line);

    // The number of the line that begins at `offset` of the file; 0 when the file is shorter.
    std::int64_t lineAt(const CheckedFile& file, off_t offset) const;

private:
    struct Place {
        off_t offset;
        std::int64_t line;
    };
    static constexpr off_t least = 4096;

    off_t distance_ = least;  // between places, at least
    std::vector<Place> places_;
    mutable Place last_ = {0, 1};  // where the last search has ended; most go on from there
};
