// A library to preload: it makes one call of the program, or all from that one on, fail.
//
//   FAULT_KIND    the kind of call: the name of a procedure below, or "memory" for the last ones
//   FAULT_CALL    the number of the call of that kind that fails first, from 1
//   FAULT_ERRNO   the error number that it fails with, or "short": half of the bytes are moved
//   FAULT_MODE    "once", or "on" for that call and all after it
//   FAULT_REPORT  a file to which events are appended, one line for each:
//                     open NAME, close NAME            every opening tried, every closing
//                     create NAME                      an opening that may create the file, before
//                                                      its line as an opening
//                     fault KIND CALL OFFSET SIZE NAME a call that failed: the position of its
//                                                      descriptor and the bytes asked for, or 0
//
// A call is counted when the program makes it, whether it fails or not. Without FAULT_KIND nothing
// fails and nothing is reported. The library itself allocates nothing and makes its own system
// calls directly, so that it neither counts nor disturbs itself.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// The settings from the environment. Written at start-up alone; until then nothing fails.
const char* faultKind = nullptr;
const char* reportName = nullptr;
long firstCall = 0;
int errorNumber = 0;
bool isShort = false;
bool goesOn = false;

// The number of calls of the kind that the program has made.
long callsMade = 0;

const char* settingOr(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

[[gnu::constructor]] void readSettings() {
    firstCall = std::strtol(settingOr("FAULT_CALL", "0"), nullptr, 10);
    isShort = std::strcmp(settingOr("FAULT_ERRNO", ""), "short") == 0;
    errorNumber = static_cast<int>(std::strtol(settingOr("FAULT_ERRNO", "0"), nullptr, 10));
    goesOn = std::strcmp(settingOr("FAULT_MODE", "once"), "on") == 0;
    reportName = std::getenv("FAULT_REPORT");
    faultKind = std::getenv("FAULT_KIND");
}

void report(const char* line, int length) {
    const int error = errno;
    const long file =
        syscall(SYS_openat, AT_FDCWD, reportName, O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (file < 0 || syscall(SYS_write, file, line, length) != length) {
        std::abort();  // rather than let the run pass for one without a fault
    }
    syscall(SYS_close, file);
    errno = error;
}

void reportEvent(const char* event, const char* name) {
    if (faultKind != nullptr) {
        char line[PATH_MAX + 100];
        report(line, std::snprintf(line, sizeof line, "%s %s\n", event, name));
    }
}

// The name of the file behind a descriptor, as long as it lives.
class NameOf {
public:
    explicit NameOf(int descriptor) {
        char link[40];
        std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
        const long length = syscall(SYS_readlink, link, name_, sizeof name_ - 1);
        name_[length > 0 ? length : 0] = '\0';
    }
    const char* text() const {
        return name_;
    }

private:
    char name_[PATH_MAX];
};

bool isAskedFor(const char* kind) {
    return faultKind != nullptr && std::strcmp(kind, faultKind) == 0;
}

// Counts the call if it is of the requested kind. Returns whether it must fail.
bool isDue(const char* kind) {
    if (!isAskedFor(kind)) {
        return false;
    }
    ++callsMade;
    return callsMade == firstCall || (goesOn && callsMade > firstCall);
}

void reportFault(const char* kind, const char* name, long offset, std::size_t size) {
    char line[PATH_MAX + 100];
    report(line, std::snprintf(line, sizeof line, "fault %s %ld %ld %zu %s\n", kind, callsMade,
                               offset, size, name));
    errno = errorNumber;
}

bool fails(const char* kind, const char* name) {
    if (!isDue(kind)) {
        return false;
    }
    reportFault(kind, name, 0, 0);
    return true;
}

bool fails(const char* kind, int descriptor) {
    if (!isDue(kind)) {
        return false;
    }
    reportFault(kind, NameOf(descriptor).text(), 0, 0);
    return true;
}

// The same for a transfer of `size` bytes. A short one does not fail, but gets a smaller size.
bool failsTransfer(const char* kind, int descriptor, std::size_t& size) {
    if (!isDue(kind)) {
        return false;
    }
    const long offset = syscall(SYS_lseek, descriptor, 0, SEEK_CUR);
    reportFault(kind, NameOf(descriptor).text(), offset, size);
    if (isShort && size > 1) {
        size /= 2;
    }
    return !isShort;
}

// The procedure that the program would have called.
template <class Procedure>
Procedure* next(Procedure* /*ours*/, const char* name) {
    return reinterpret_cast<Procedure*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define CALL_NEXT(procedure, ...)                             \
    static auto* const theirs = next(&procedure, #procedure); \
    return theirs(__VA_ARGS__)

extern "C" {

int open(const char* name, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
        reportEvent("create", name);
    }
    reportEvent("open", name);
    if (fails("open", name)) {
        return -1;
    }
    // A file system is only synced where a folder must not be read.
    if (isAskedFor("syncfs") && (flags & O_DIRECTORY) != 0) {
        errno = EACCES;
        return -1;
    }
    CALL_NEXT(open, name, flags, mode);
}

int close(int descriptor) {
    const NameOf name(descriptor);
    const bool isFault = fails("close", name.text());
    reportEvent("close", name.text());
    if (isFault) {
        syscall(SYS_close, descriptor);  // a descriptor is free even when closing it has failed
        errno = errorNumber;
        return -1;
    }
    CALL_NEXT(close, descriptor);
}

ssize_t read(int descriptor, void* buffer, std::size_t size) {
    if (failsTransfer("read", descriptor, size)) {
        return -1;
    }
    CALL_NEXT(read, descriptor, buffer, size);
}

ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset) {
    if (failsTransfer("pread", descriptor, size)) {
        return -1;
    }
    CALL_NEXT(pread, descriptor, buffer, size, offset);
}

ssize_t write(int descriptor, const void* buffer, std::size_t size) {
    if (failsTransfer("write", descriptor, size)) {
        return -1;
    }
    CALL_NEXT(write, descriptor, buffer, size);
}

ssize_t pwrite(int descriptor, const void* buffer, std::size_t size, off_t offset) {
    if (failsTransfer("pwrite", descriptor, size)) {
        return -1;
    }
    CALL_NEXT(pwrite, descriptor, buffer, size, offset);
}

off_t lseek(int descriptor, off_t offset, int whence) noexcept {
    if (fails("lseek", descriptor)) {
        return -1;
    }
    CALL_NEXT(lseek, descriptor, offset, whence);
}

int fsync(int descriptor) {
    if (fails("fsync", descriptor)) {
        return -1;
    }
    CALL_NEXT(fsync, descriptor);
}

int syncfs(int descriptor) noexcept {
    if (fails("syncfs", descriptor)) {
        return -1;
    }
    CALL_NEXT(syncfs, descriptor);
}

int sync_file_range(int descriptor, off_t offset, off_t size, unsigned flags) {
    if (fails("sync_file_range", descriptor)) {
        return -1;
    }
    CALL_NEXT(sync_file_range, descriptor, offset, size, flags);
}

int ftruncate(int descriptor, off_t size) noexcept {
    if (fails("ftruncate", descriptor)) {
        return -1;
    }
    CALL_NEXT(ftruncate, descriptor, size);
}

int flock(int descriptor, int operation) noexcept {
    if (fails("flock", descriptor)) {
        return -1;
    }
    CALL_NEXT(flock, descriptor, operation);
}

int fstat(int descriptor, struct stat* status) noexcept {
    if (fails("fstat", descriptor)) {
        return -1;
    }
    CALL_NEXT(fstat, descriptor, status);
}

int stat(const char* name, struct stat* status) noexcept {
    if (fails("stat", name)) {
        return -1;
    }
    CALL_NEXT(stat, name, status);
}

int lstat(const char* name, struct stat* status) noexcept {
    if (fails("lstat", name)) {
        return -1;
    }
    CALL_NEXT(lstat, name, status);
}

int access(const char* name, int mode) noexcept {
    if (fails("access", name)) {
        return -1;
    }
    CALL_NEXT(access, name, mode);
}

int statvfs(const char* name, struct statvfs* status) noexcept {
    if (fails("statvfs", name)) {
        return -1;
    }
    CALL_NEXT(statvfs, name, status);
}

int unlink(const char* name) noexcept {
    if (fails("unlink", name)) {
        return -1;
    }
    CALL_NEXT(unlink, name);
}

char* getcwd(char* buffer, std::size_t size) noexcept {
    if (fails("getcwd", "")) {
        return nullptr;
    }
    CALL_NEXT(getcwd, buffer, size);
}

char* realpath(const char* name, char* resolved) noexcept {
    if (fails("realpath", name)) {
        return nullptr;
    }
    CALL_NEXT(realpath, name, resolved);
}

void* malloc(std::size_t size) noexcept {
    if (fails("memory", "")) {
        return nullptr;
    }
    CALL_NEXT(malloc, size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    if (fails("memory", "")) {
        return nullptr;
    }
    CALL_NEXT(calloc, count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    if (fails("memory", "")) {
        return nullptr;
    }
    CALL_NEXT(realloc, memory, size);
}
}
