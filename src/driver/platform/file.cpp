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

// The path that opening `name` for creation would lead to, symbolic links followed.
std::filesystem::path creationPath(const std::string& name) {
    constexpr int mostLinks = 40;  // as many as Linux itself follows, path_resolution(7)
    std::filesystem::path path = name;
    std::error_code error;
    for (int links = 0; links < mostLinks && std::filesystem::is_symlink(path, error); ++links) {
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    }
    path = std::filesystem::absolute(path, error);
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
    return error ? path : canonical;  // such as a name that is too long
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
    int descriptor = -1;
    do {
        descriptor = ::open(name.c_str(), O_RDWR | O_CLOEXEC | flags, ownerOnly);
    } while (descriptor < 0 && errno == EINTR);
    return File(descriptor);
}

File openEmptyFile(const std::string& name) {
    // Emptied only once the lock is held: until then it may be what another run is writing.
    File file = openFile(name, O_CREAT);
    struct stat status = {};
    const bool isReady = file.isOpen() && ::fstat(file.descriptor(), &status) == 0 &&
                         (!S_ISREG(status.st_mode) ||
                          (lockFile(file) == 0 && ::ftruncate(file.descriptor(), 0) == 0));
    if (!isReady) {
        const int error = errno;
        file.close();
        errno = error;
    }
    return file;
}

int lockFile(const File& file) {
    int result = 0;
    do {
        result = ::flock(file.descriptor(), LOCK_EX | LOCK_NB);
    } while (result < 0 && errno == EINTR);
    return result;
}

std::size_t writeText(int descriptor, std::string_view text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = ::write(descriptor, text.data() + written, text.size() - written);
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
    struct stat firstStatus = {};
    struct stat secondStatus = {};
    const bool firstExists = ::stat(first.c_str(), &firstStatus) == 0;
    const bool secondExists = ::stat(second.c_str(), &secondStatus) == 0;
    if (firstExists && secondExists) {
        return S_ISREG(firstStatus.st_mode) && firstStatus.st_dev == secondStatus.st_dev &&
               firstStatus.st_ino == secondStatus.st_ino;
    }
    return firstExists == secondExists && creationPath(first) == creationPath(second);
}

void occupyStandardDescriptors() {
    int descriptor = -1;
    do {
        descriptor = ::open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO) {
        ::close(descriptor);
    }
}
