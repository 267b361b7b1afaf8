// A file that is checked: the export or the output.
//
// It must be a regular file and stay what it was when it was opened. Every failure to look at it
// ends the check, so that nobody takes the bytes that could be read for the whole file.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

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

    std::string name_;
    File file_;
    FileState state_;  // when it was opened
};
