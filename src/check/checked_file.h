// A file that is checked: the export or the output.
//
// It must be a regular file and must not change after it is opened. Every failure to read it ends
// the check, so that a part of the file is never taken for all of it.
//
// Findings store offsets, which take less memory than lines or entries. The line number of an
// offset is found when it is shown, by counting line feeds from the nearest known line. Findings
// are not in the order of the file, so the start of a line is noted every few KiB in an export of
// 50 MB. The number of notes is limited: in larger files they are farther apart.
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

    // The number of the line that begins at `offset`; 0 if the file is shorter.
    std::int64_t lineAt(off_t offset) const;

    // Its size when it was opened.
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
    mutable Line last_ = {0, 1};  // where the last search ended; the next often goes on from there
};
