// A file that is written through a buffer.
//
// Written text stays in memory until the buffer is full, the file is flushed or closed, or the
// process ends by exit(3): a file with static storage loses nothing to a fatal error elsewhere.
// Bytes that the system refuses stay in the buffer, and the next attempt begins with them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "driver/platform/file.h"

class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    // Opens `name` with the additional open(2) flags. Returns 0 or the error number.
    int open(const std::string& name, int flags);

    // Opens `name`, which no other run may write to, as openLockedFile does. Returns 0 or the error
    // number: ESPIPE for a pipe, whose contents might never be read.
    int openLocked(const std::string& name);

    // Removes the contents that the file had when it was opened. Returns 0 or the error number.
    int empty();

    // From here on, written text is discarded, until another file is opened.
    void discard();

    bool isOpen() const {
        return file_.isOpen();
    }

    // Each returns 0, or -1 if the system refuses the text; error() is then the reason. A text that
    // could not be written is not kept. close() closes in either case.
    int write(std::string_view text);
    int flush();
    int close();

    // Flushes, and waits until the file, and the folder that `name` has led to, are on the disk.
    // Returns as flush().
    int sync(const std::string& name);

    bool isTerminal() const;

    // The result of stateOf.
    FileState state() const;

    int error() const {
        return error_;
    }

private:
    void begin(File file);

    File file_;
    std::vector<char> buffer_;
    std::size_t used_ = 0;
    int error_ = 0;
    bool isDiscarding_ = false;
};
