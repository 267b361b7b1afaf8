#include "check/surroundings.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "check/failing.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"
#include "driver/platform/locks.h"
#include "driver/settings.h"
#include "ldif/run_locks.h"

namespace {

// Notes that `what` is unknown because this system does not have `name`, or does not show it. Any
// other error, such as one of the disk, ends the check.
void noteUnknown(std::string_view what, const std::string& name, int error) {
    constexpr std::array<int, 4> absences = {ENOENT, EACCES, EPERM, ENOSYS};
    if (std::find(absences.begin(), absences.end(), error) == absences.end()) {
        failReading(name, systemReason(error));
    }
    addUnknown(format("%s: \"%s\": %s", what, name, systemReason(error)));
}

// The folder that holds `name`.
std::string folderOf(const std::string& name) {
    const std::string folder = std::filesystem::path(name).parent_path().string();
    return folder.empty() ? "." : folder;
}

// Why the system would refuse `name` to a migration as well. Any other error, such as one of the
// disk, ends the check, because it does not show what a migration would meet.
std::string refusal(const std::string& name, int error) {
    constexpr std::array<int, 7> refusals = {EACCES, EPERM,   EROFS,  ENAMETOOLONG,
                                             ELOOP,  ENOTDIR, ETXTBSY};
    if (std::find(refusals.begin(), refusals.end(), error) == refusals.end()) {
        failReading(name, systemReason(error));
    }
    return systemReason(error);
}

// The same for a file that is not accessible in this way; empty if it is.
std::string refusalOfAccess(const std::string& name, int mode) {
    return ::access(name.c_str(), mode) == 0 ? "" : refusal(name, errno);
}

// Why the migration could not open or create its work file; empty when it could.
std::string refusalOf(const std::string& workFile) {
    std::error_code error;
    switch (std::filesystem::symlink_status(workFile, error).type()) {
        case std::filesystem::file_type::none:
            return refusal(workFile, error.value());
        case std::filesystem::file_type::not_found:
            return refusalOfAccess(folderOf(workFile), W_OK);
        case std::filesystem::file_type::symlink:
            return "it is a symbolic link";
        default:
            break;
    }
    const FileState state = stateOf(workFile);
    if (state.kind == FileKind::NONE) {
        return refusal(workFile, errno);
    }
    const std::string_view problem = workFileProblem(state);
    return problem.empty() ? refusalOfAccess(workFile, R_OK | W_OK) : std::string(problem);
}

bool isLeftOver(const std::string& workFile) {
    const FileState state = stateOf(workFile);
    if (state.kind == FileKind::NONE && errno != ENOENT) {
        failReading(workFile, systemReason(errno));
    }
    return state.size > 0;
}

// `message` is the number of the message that the migration fails with, or 0.
void add(FindingType type, std::string effect, int message) {
    addFinding(type, {0, 0, {}, std::move(effect), message});
}

void checkLock(const File& exportFile, const std::string& exportName) {
    const FileState state = stateOf(exportFile.descriptor());
    if (state.kind == FileKind::NONE) {
        failReading(exportName, systemReason(errno));
    }
    const LockLookup lock = lookUpLock(state);
    if (lock.state == LockState::HELD) {
        add(FindingType::EXPORT_NOT_WRITABLE,
            "another migration or another program has locked the export", MESSAGE_CANNOT_OPEN);
    } else if (lock.state == LockState::UNKNOWN) {
        noteUnknown("whether another program has locked the export", lockList, lock.error);
    }
}

void checkExport(const std::string& exportName) {
    const File writable = openFile(exportName, 0);
    if (writable.isOpen()) {
        checkLock(writable, exportName);
        return;
    }
    const std::string reason = refusal(exportName, errno);
    add(FindingType::EXPORT_NOT_WRITABLE,
        format("the export cannot be opened for reading and writing: %s", reason),
        MESSAGE_CANNOT_OPEN);
}

void checkWorkFile(const std::string& workFile) {
    const std::string refusal = refusalOf(workFile);
    if (!refusal.empty()) {
        add(FindingType::WORK_FILE_REFUSED, format("\"%s\": %s", workFile, refusal),
            MESSAGE_CANNOT_OPEN);
    } else if (isLeftOver(workFile)) {
        add(FindingType::LEFT_OVER_WORK_FILE,
            format("would migrate the entries of \"%s\" again: the run ends, or the output holds "
                   "them twice",
                   workFile),
            0);
    }
}

void checkDisk(std::uint64_t freeSpace) {
    const std::uint64_t needed = inventory.workFileBytes + inventory.outputBytes;
    if (needed > freeSpace) {
        add(FindingType::DISK_TOO_SMALL,
            format("work file and output need %ld bytes, and %ld are free", needed, freeSpace),
            MESSAGE_CANNOT_WRITE);
    }
}

}  // namespace

std::optional<std::uint64_t> freeDiskSpace(const std::string& exportName) {
    const std::string folder = folderOf(exportName);
    struct statvfs state = {};
    if (::statvfs(folder.c_str(), &state) != 0) {
        noteUnknown("how much is free on the disk of the export", folder, errno);
        return std::nullopt;
    }
    return std::uint64_t{state.f_bavail} * state.f_frsize;
}

void checkSurroundings(const std::string& exportName, std::optional<std::uint64_t> freeSpace) {
    checkExport(exportName);
    checkWorkFile(workFileName(exportName));
    if (freeSpace) {
        checkDisk(*freeSpace);
    }
}
