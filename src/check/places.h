// Where the lines of a file stand: byte offsets turned into line numbers.
//
// Findings remember offsets, which cost less than lines and entries. Whoever shows one asks here
// for its line number, which counts the line feeds from the nearest place that is known.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "driver/platform/file.h"

class LinePlaces {
public:
    // Notes that the line `line`, from 1 on, begins at `offset`. Offsets must rise.
    void note(off_t offset, std::int64_t line);

    // The number of the line that begins at `offset`, which lies in the file open as `descriptor`.
    // 0 when the file cannot be read.
    std::int64_t lineAt(int descriptor, off_t offset) const;

private:
    struct Place {
        off_t offset;
        std::int64_t line;
    };
    std::vector<Place> places_;  // one for each MiB
};

// Whether `name` is there, but no regular file: to open it might never end.
bool isOtherThanRegular(const std::string& name);

// Whether the file has another size or was written to since it looked like `before`.
bool hasChanged(const File& file, const FileState& before);
inline constexpr std::string_view changedMeanwhile =
    "it has changed while it was read. Check it again when it is complete";

// The bytes of the file from `offset` on, at most `size`; fewer at its end or when it cannot be
// read.
std::string textAt(int descriptor, off_t offset, std::size_t size);
