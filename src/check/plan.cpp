#include "check/plan.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "check/findings.h"
#include "check/inventory.h"
#include "check/places.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"

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

// Whether the system lets the work file be opened or made; errno tells why not.
bool isAccessible(const std::string& workFile) {
    if (::access(workFile.c_str(), F_OK) == 0) {
        return ::access(workFile.c_str(), R_OK | W_OK) == 0;
    }
    return errno == ENOENT && ::access(folderOf(workFile).c_str(), W_OK) == 0;
}

// Why the work file could not be had; empty when it could.
std::string refusalOf(const std::string& workFile) {
    if (isSymbolicLink(workFile)) {
        return "it is a symbolic link";
    }
    if (isOtherThanRegular(workFile)) {
        return "it is no regular file";
    }
    return isAccessible(workFile) ? "" : systemReason(errno);
}

void findTroubleOfWorkFile(const std::string& workFile) {
    const std::string refusal = refusalOf(workFile);
    if (!refusal.empty()) {
        addFinding(Kind::WORK_FILE_REFUSED,
                   {0, 0, {}, format("\"%s\": %s", workFile, refusal), MESSAGE_CANNOT_OPEN});
    } else if (stateOf(workFile).size > 0) {
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
    }
    return need;
}

void findTroubleAround(const std::string& exportName, const DiskNeed& need) {
    const File writable = openFile(exportName, 0);
    if (writable.isOpen() && lockFile(writable) != 0) {
        addFinding(Kind::EXPORT_NOT_WRITABLE,
                   {0,
                    0,
                    {},
                    "another migration or another program has locked the export",
                    MESSAGE_CANNOT_OPEN});
    }
    if (!writable.isOpen()) {
        addFinding(
            Kind::EXPORT_NOT_WRITABLE,
            {0,
             0,
             {},
             format("the export cannot be opened for reading and writing: %s", systemReason(errno)),
             MESSAGE_CANNOT_OPEN});
    }
    findTroubleOfWorkFile(exportName + ".tmp");
    if (need.free != 0 && need.workFile + need.output > need.free) {
        addFinding(Kind::DISK_TOO_SMALL,
                   {0,
                    0,
                    {},
                    format("work file and output need %ld bytes, and %ld are free",
                           need.workFile + need.output, need.free),
                    MESSAGE_CANNOT_WRITE});
    }
}
