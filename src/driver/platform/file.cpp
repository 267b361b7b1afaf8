#include "driver/platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

FileKind kindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return FileKind::REGULAR;
    }
    return S_ISFIFO(mode) || S_ISSOCK(mode) ? FileKind::PIPE : FileKind::OTHER;
}

std::int64_t nanosecondsOf(const struct timespec& time) {
    constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
    return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
}

FileState stateFrom(const struct stat& status) {
    return {kindOf(status.st_mode),
            status.st_dev,
            status.st_ino,
            status.st_size,
            nanosecondsOf(status.st_mtim),
            nanosecondsOf(status.st_ctim),
            status.st_nlink,
            status.st_uid == ::geteuid(),
            (status.st_mode & (S_IWGRP | S_IWOTH)) != 0,
            0};
}

FileState failedLook() {
    FileState state;
    state.error = errno;
    return state;
}

// The name that opening `name` leads to in the end, whether or not there is such a file.
std::filesystem::path followLinks(const std::string& name) {
    constexpr int maxLinks = 40;  // as many as Linux itself follows, path_resolution(7)
    std::filesystem::path path = name;
    std::error_code error;
    for (int links = 0; links < maxLinks && std::filesystem::is_symlink(path, error); ++links) {
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    }
    return path;
}

// The path that opening `name` for creation would lead to, symbolic links followed.
std::filesystem::path creationPath(const std::string& name) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::absolute(followLinks(name), error);
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
    return error ? path : canonical;  // such as a name that is too long
}

File openWith(const std::string& name, int flags) {
    int descriptor = -1;
    do {
        descriptor = ::open(name.c_str(), O_CLOEXEC | flags, ownerOnly);
    } while (descriptor < 0 && errno == EINTR);
    return File(descriptor);
}

}  // namespace

File::File(File&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {
}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

File::~File() {
    close();
}

int File::close() {
    if (!isOpen()) {
        return 0;
    }
    // Linux frees the descriptor even when close() fails, so it must not be tried again.
    return ::close(std::exchange(descriptor_, -1));
}

File openFile(const std::string& name, int flags) {
    return openWith(name, O_RDWR | flags);
}

File openFileForReading(const std::string& name) {
    return openWith(name, O_RDONLY);
}

FileState stateOf(int descriptor) {
    struct stat status = {};
    return ::fstat(descriptor, &status) == 0 ? stateFrom(status) : failedLook();
}

FileState stateOf(const std::string& name) {
    struct stat status = {};
    return ::stat(name.c_str(), &status) == 0 ? stateFrom(status) : failedLook();
}

bool isSameFile(const FileState& first, const FileState& second) {
    return (first.kind == FileKind::REGULAR || first.kind == FileKind::PIPE) &&
           first.kind == second.kind && first.device == second.device &&
           first.inode == second.inode;
}

File openLockedFile(const std::string& name) {
    File file = openFile(name, O_CREAT);
    const FileKind kind = file.isOpen() ? stateOf(file.descriptor()).kind : FileKind::NONE;
    const bool isHad = kind == FileKind::REGULAR ? lockFile(file) == 0 : kind != FileKind::NONE;
    if (file.isOpen() && !isHad) {
        const int error = errno;
        file.close();
        errno = error;
    }
    return file;
}

int emptyFile(const File& file) {
    const int result = ::ftruncate(file.descriptor(), 0);
    return result == 0 || errno == EINVAL ? 0 : -1;  // EINVAL: it is not a regular file
}

int lockFile(const File& file) {
    int result = 0;
    do {
        result = ::flock(file.descriptor(), LOCK_EX | LOCK_NB);
    } while (result < 0 && errno == EINTR);
    return result;
}

int syncFile(const File& file) {
    const int result = ::fsync(file.descriptor());
    return result == 0 || errno == EINVAL ? 0 : -1;  // EINVAL: a device, or a pipe
}

int syncFolderOf(const File& file, const std::string& name) {
    const std::string path = followLinks(name).parent_path().string();
    const File folder = openWith(path.empty() ? "." : path, O_RDONLY | O_DIRECTORY);
    if (folder.isOpen()) {
        return syncFile(folder);
    }
    // Nobody can wait for a folder without reading it, but anybody for its whole file system.
    return errno == EACCES ? ::syncfs(file.descriptor()) : -1;
}

int checkWrittenBack(const File& file) {
    // Linux keeps the first failure since the opening until it is asked for; nothing is written
    // now.
    const int result = ::sync_file_range(file.descriptor(), 0, 0, SYNC_FILE_RANGE_WAIT_BEFORE);
    return result == 0 || errno == ENOSYS ? 0 : -1;  // ENOSYS: a sandbox without the call
}

std::size_t writeText(int descriptor, std::string_view text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
        if (count == 0) {
            errno = EIO;  // as in writeTextAt
        }
        if (count == 0 || (count < 0 && errno != EINTR)) {
            break;
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return written;
}

int writeTextAt(int descriptor, std::string_view text, off_t offset) {
    while (!text.empty()) {
        const ssize_t count = ::pwrite(descriptor, text.data(), text.size(), offset);
        if (count == 0) {
            errno = EIO;  // for callers that pass the reason on as a number, where 0 is success
        }
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return -1;
        }
        const std::size_t written = count > 0 ? static_cast<std::size_t>(count) : 0;
        text.remove_prefix(written);
        offset += static_cast<off_t>(written);
    }
    return 0;
}

ssize_t readBytes(int descriptor, char* buffer, std::size_t size) {
    ssize_t count = 0;
    do {
        count = ::read(descriptor, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

int copyFile(const std::string& from, const std::string& to) {
    const File source = openFile(from, 0);
    if (!source.isOpen()) {
        return -1;
    }
    // Only a file that nobody uses may go, and only a link can be one that is not opened.
    const File replaced = openFile(to, 0);
    const bool isFree =
        replaced.isOpen()
            ? stateOf(replaced.descriptor()).kind == FileKind::REGULAR && lockFile(replaced) == 0
            : errno == ENOENT || errno == ELOOP;
    if (!isFree) {
        return -1;
    }
    ::unlink(to.c_str());
    const File target = openFile(to, O_CREAT | O_EXCL);  // follows no link
    if (!target.isOpen()) {
        return -1;
    }
    std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t count = readBytes(source.descriptor(), buffer.data(), buffer.size());
        if (count <= 0) {
            return static_cast<int>(count);
        }
        const std::string_view text(buffer.data(), static_cast<std::size_t>(count));
        if (writeText(target.descriptor(), text) < text.size()) {
            return -1;
        }
    }
}

bool isSymbolicLink(const std::string& name) {
    struct stat status = {};
    return ::lstat(name.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

bool isSameFile(const std::string& first, const std::string& second) {
    const FileState firstState = stateOf(first);
    const FileState secondState = stateOf(second);
    const bool firstExists = firstState.kind != FileKind::NONE;
    const bool secondExists = secondState.kind != FileKind::NONE;
    if (firstExists && secondExists) {
        return isSameFile(firstState, secondState);
    }
    return firstExists == secondExists && creationPath(first) == creationPath(second);
}

bool occupyStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        const bool isTaken = stateOf(descriptor).kind != FileKind::NONE;
        // Opening takes the lowest that is free. The root folder takes no data, but is there in
        // every surrounding.
        if (!isTaken && ::open("/dev/null", O_RDWR) < 0 && ::open("/", O_PATH) < 0) {
            return false;
        }
    }
    return true;
}
