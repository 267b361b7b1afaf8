// Files that fail when a test wants them to.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

// A file that exists and opens, but whose very first read fails with EIO.
inline constexpr const char* unreadableFile = "/proc/self/mem";

// A file that takes no byte.
inline constexpr const char* fullFile = "/dev/full";

// Makes `text` the beginning of unreadableFile: reading beyond it fails. The text must not be
// larger than a page.
class TextBeforeReadError {
public:
    explicit TextBeforeReadError(std::string_view text);
    TextBeforeReadError(const TextBeforeReadError&) = delete;
    TextBeforeReadError& operator=(const TextBeforeReadError&) = delete;
    ~TextBeforeReadError();

    off_t offset() const;

private:
    char* pages_;
    char* text_;
};

// The descriptor that the next file opened will get.
int nextDescriptor();

// Lets `descriptor` read `text`, at most a megabyte, from a pipe: it has no positions any more,
// even if its owner has found some before.
void replaceByPipe(int descriptor, std::string_view text);

// Lets `descriptor` read `path` from the beginning without the right to write.
void replaceByReadOnlyFile(int descriptor, const std::string& path);

// While it lives, no regular file can be written at or behind offset `size`.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::size_t size);
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit();
};
