#include "support/odd_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstring>

namespace {

std::size_t pageSize() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void limitFileSize(rlim_t size) {
    struct rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(size, limit.rlim_max);
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

}  // namespace

TextBeforeReadError::TextBeforeReadError(std::string_view text) {
    // Two pages over a file of one: nobody can read the second.
    const int file = memfd_create("text", 0);
    EXPECT_EQ(ftruncate(file, static_cast<off_t>(pageSize())), 0);
    void* pages = mmap(nullptr, 2 * pageSize(), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    pages_ = static_cast<char*>(pages);
    text_ = pages_ + pageSize() - text.size();
    std::memcpy(text_, text.data(), text.size());
}

TextBeforeReadError::~TextBeforeReadError() {
    munmap(pages_, 2 * pageSize());
}

off_t TextBeforeReadError::offset() const {
    return static_cast<off_t>(reinterpret_cast<std::intptr_t>(text_));
}

int nextDescriptor() {
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

void replaceByPipe(int descriptor, std::string_view text) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_GE(fcntl(ends[1], F_SETPIPE_SZ, 1 << 20), 1 << 20);
    ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(ends[1]);
    ASSERT_EQ(dup2(ends[0], descriptor), descriptor);
    close(ends[0]);
}

void replaceByReadOnlyFile(int descriptor, const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY);
    ASSERT_EQ(dup2(file, descriptor), descriptor);
    close(file);
}

FileSizeLimit::FileSizeLimit(std::size_t size) {
    std::signal(SIGXFSZ, SIG_IGN);  // makes the write fail instead
    limitFileSize(size);
}

FileSizeLimit::~FileSizeLimit() {
    limitFileSize(RLIM_INFINITY);
    std::signal(SIGXFSZ, SIG_DFL);
}
