#include "check/plan.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "check/failing.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"
#include "driver/platform/locks.h"

namespace {

std::uint64_t passesFor(std::uint64_t owners, std::uint64_t slots) {
    return (owners + slots - 1) / slots;
}

// The part of `memory`, which `owners` take, that `slots` of them take.
std::uint64_t memoryOf(std::uint64_t memory, std::uint64_t owners, std::uint64_t slots) {
    return owners <= slots ? memory : memory / owners * slots;
}

// The folder that holds `name`.
std::string folderOf(const std::string& name) {
    const std::string folder = std::filesystem::path(name).parent_path().string();
    return folder.empty() ? "." : folder;
}

// Why the system refuses `name` to a migration as well. Any other error, such as one of the disk,
// leaves open what a migration would meet, and ends the check.
std::string refusal(const std::string& name, int error) {
    constexpr std::array<int, 7> refusals = {EACCES, EPERM,   EROFS,  ENAMETOOLONG,
                                             ELOOP,  ENOTDIR, ETXTBSY};
    if (std::find(refusals.begin(), refusals.end(), error) == refusals.end()) {
        failReading(name, systemReason(error));
    }
    return systemReason(error);
}

// The same for what is not accessible in this way; empty when it is.
std::string refusalOfAccess(const std::string& name, int mode) {
    return ::access(name.c_str(), mode) == 0 ? "" : refusal(name, errno);
}

// Why the work file could not be had; empty when it could.
std::string refusalOf(const std::string& workFile) {
    std::error_code error;
    switch (std::filesystem::symlink_status(workFile, error).type()) {
        case std::filesystem::file_type::none:
            return refusal(workFile, error.value());
        case std::filesystem::file_type::not_found:
            return refusalOfAccess(folderOf(workFile), W_OK);
        case std::filesystem::file_type::symlink:
            return "it is a symbolic link";
        case std::filesystem::file_type::regular:
            return refusalOfAccess(workFile, R_OK | W_OK);
        default:
            return "it is no regular file";
    }
}

bool isLeftOver(const std::string& workFile) {
    const FileState state = stateOf(workFile);
    if (state.kind == FileKind::NONE && errno != ENOENT) {
        failReading(workFile, systemReason(errno));
    }
    return state.size > 0;
}

void findTroubleOfLock(const File& exportFile, const std::string& exportName) {
    const FileState state = stateOf(exportFile.descriptor());
    if (state.kind == FileKind::NONE) {
        failReading(exportName, systemReason(errno));
    }
    switch (lockStateOf(state)) {
        case LockState::HELD:
            addFinding(Kind::EXPORT_NOT_WRITABLE,
                       {0,
                        0,
                        {},
                        "another migration or another program has locked the export",
                        MESSAGE_CANNOT_OPEN});
            break;
        case LockState::UNKNOWN:
            addUnknown(format("whether another program has locked the export: \"%s\": %s", lockList,
                              systemReason(errno)));
            break;
        case LockState::FREE:
            break;
    }
}

void findTroubleOfExport(const std::string& exportName) {
    const File writable = openFile(exportName, 0);
    if (writable.isOpen()) {
        findTroubleOfLock(writable, exportName);
        return;
    }
    const std::string reason = refusal(exportName, errno);
    addFinding(Kind::EXPORT_NOT_WRITABLE,
               {0,
                0,
                {},
                format("the export cannot be opened for reading and writing: %s", reason),
                MESSAGE_CANNOT_OPEN});
}

void findTroubleOfWorkFile(const std::string& workFile) {
    const std::string refusal = refusalOf(workFile);
    if (!refusal.empty()) {
        addFinding(Kind::WORK_FILE_REFUSED,
                   {0, 0, {}, format("\"%s\": %s", workFile, refusal), MESSAGE_CANNOT_OPEN});
    } else if (isLeftOver(workFile)) {
        addFinding(Kind::LEFT_OVER_WORK_FILE,
                   {0,
                    0,
                    {},
                    format("would migrate the entries of \"%s\" again: the run ends, or the output "
                           "holds them twice",
                           workFile),
                    0});
    }
}

}  // namespace

Plan planFor(std::uint64_t users, std::uint64_t groups) {
    // The program itself, its buffers, and what the chunks of its storage leave unused.
    constexpr std::uint64_t programMemory = 5 * 1024 * 1024;
    Plan plan;
    // A slot too many has a second entry of one kind meet the first in any case.
    const std::uint64_t spare = total(Kind::TWO_OF_ONE_KIND) == 0 ? 0 : 1;
    plan.users = std::max<std::uint64_t>(users != 0 ? users : inventory.users + spare, 1);
    plan.groups = std::max<std::uint64_t>(groups != 0 ? groups : inventory.groups + spare, 1);
    plan.passes =
        std::max(passesFor(inventory.users, plan.users), passesFor(inventory.groups, plan.groups));
    const std::uint64_t gathered = memoryOf(inventory.userMemory, inventory.users, plan.users) +
                                   memoryOf(inventory.groupMemory, inventory.groups, plan.groups);
    // What is left over in chunks and tables, and owners that are larger than the others.
    plan.memory = programMemory + gathered + gathered / 10;
    return plan;
}

std::vector<Plan> plans() {
    constexpr std::uint64_t mostPasses = 64;
    std::vector<Plan> all;
    for (std::uint64_t part = 1; part <= mostPasses; part *= 2) {
        const Plan plan =
            planFor(passesFor(inventory.users, part), passesFor(inventory.groups, part));
        if (all.empty() || plan.passes > all.back().passes) {
            all.push_back(plan);
        }
    }
    return all;
}

DiskNeed diskNeed(const std::string& exportName) {
    DiskNeed need;
    need.workFile = inventory.workFileBytes;
    need.output = inventory.outputBytes;
    struct statvfs state = {};
    if (::statvfs(folderOf(exportName).c_str(), &state) == 0) {
        need.free = std::uint64_t{state.f_bavail} * state.f_frsize;
    } else {
        addUnknown(format("how much is free on the disk of the export: %s", systemReason(errno)));
    }
    return need;
}

void findTroubleAround(const std::string& exportName, const DiskNeed& need) {
    findTroubleOfExport(exportName);
    findTroubleOfWorkFile(exportName + ".tmp");
    if (need.free && need.workFile + need.output > *need.free) {
        addFinding(Kind::DISK_TOO_SMALL,
                   {0,
                    0,
                    {},
                    format("work file and output need %ld bytes, and %ld are free",
                           need.workFile + need.output, *need.free),
                    MESSAGE_CANNOT_WRITE});
    }
}
