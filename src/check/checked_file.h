// A file that is checked: the export or the output.
//
// It must be a regular file and stay what it was when it was opened. Every failure to look at it
// ends the check, so that nobody takes the bytes that could be read for the whole file.
//
// Findings remember offsets, which cost less than lines and entries. Whoever shows one asks for its
// line number, which counts the line feeds from the nearest line that is known. Findings jump from
// one end of a file to the other, so that the lines known are close to each other: a few KiB in an
// export of 50 MB. Of larger files no more lines are kept, and most of what takes time is their
// size.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "driver/platform/file.h"

inline constexpr std::string_view changedMeanwhile =
    "it has changed while it was read. Check it again when it is complete";

class CheckedFile {
public:
    void open(const std::string& name);

    // The same file, to be read from its beginning.
    File openAgain() const;

    // The next bytes, at most `size`. Returns their number, 0 at the end of the file.
    std::size_t read(char* buffer, std::size_t size) const;

    // Has read() go on at `offset`.
    void seek(off_t offset) const;

    // The bytes from `offset` on, at most `size`; fewer at the end of the file.
    std::string textAt(off_t offset, std::size_t size) const;

    // Notes that the line `line`, from 1 on, begins at `offset`, unless one behind or close to it
    // has been noted.
    void noteLine(off_t offset, std::int64_t line);

    // The number of the line that begins at `offset`; 0 when the file is shorter.
    std::int64_t lineAt(off_t offset) const;

    // How long it was when it was opened.
    off_t size() const {
        return state_.size;
    }

    // Ends the check when the file has changed since it was opened.
    void requireUnchanged() const;

    // Ends the check because of this error number.
    [[noreturn]] void fail(int error) const;

private:
    void requireState(const FileState& now) const;

    // A line that is known.
    struct Line {
        off_t offset;
        std::int64_t number;
    };

    std::string name_;
    File file_;
    FileState state_;  // when it was opened
    std::vector<Line> lines_;
    mutable Line last_ = {0, 1};  // where the last search has ended; most go on from there
};
