// A file that is written through a buffer.
//
// What is written stays in memory until the buffer is full, the file is flushed or closed, or the
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
    // number: ESPIPE for a pipe, which would take what nobody may ever read.
    int openLocked(const std::string& name);

    // Removes what the file held when it was opened. Returns 0 or the error number.
    int empty();

    // From here on, what is written goes nowhere, until another file is opened.
    void discard();

    bool isOpen() const {
        return file_.isOpen();
    }

    // Each returns 0, or -1 when the system refuses to take what has been written; error() then
    // tells why. A text that could not be written is not kept. close() closes in either case.
    int write(std::string_view text);
    int flush();
    int close();

    // Flushes, and waits until the system has everything on its disk, with the folder that `name`
    // has led to. Returns as flush().
    int sync(const std::string& name);

    bool isTerminal() const;

    // As stateOf gives it.
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
