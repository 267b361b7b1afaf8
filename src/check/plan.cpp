#include "check/plan.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <initializer_list>
#include <system_error>

#include "check/failing.h"
#include "check/findings.h"
#include "check/holdings.h"
#include "check/inventory.h"
#include "driver/diagnostics/format.h"
#include "driver/diagnostics/messages.h"
#include "driver/platform/file.h"
#include "driver/platform/locks.h"
#include "driver/settings.h"
#include "ldif/run_locks.h"

namespace {

std::uint64_t passesFor(std::uint64_t owners, std::uint64_t slots) {
    return (owners + slots - 1) / slots;
}

std::uint64_t entriesOf(std::initializer_list<ObjectClass> kinds) {
    std::uint64_t entries = 0;
    for (const ObjectClass kind : kinds) {
        entries += inventory.byClass[static_cast<std::size_t>(kind)];
    }
    return entries;
}

// What several passes take to remember which entries they have stepped over, in the passes before
// and in this one: pairs of offsets for entries that stand back to back.
std::uint64_t memoryForPasses(std::uint64_t passes) {
    constexpr std::uint64_t stretch = 2 * sizeof(off_t);
    constexpr std::uint64_t maxStretches = 65536;
    // Between two stretches there is an entry that was gathered. Of users in the order in which
    // they are gathered, a pass leaves those behind the last one that it takes; credentials stay,
    // and groups are gathered at a pace of their own.
    const std::uint64_t credentials = entriesOf({RESCREDS_CONTAINER, SECRESCREDS_OBJECTCLASS});
    const std::uint64_t entries =
        credentials + entriesOf({SECUSER_OBJECTCLASS, SECPOLICYDATA_OBJECTCLASS,
                                 SECPOLICY_OBJECTCLASS, SECGROUP_OBJECTCLASS, SECMAP_OBJECTCLASS});
    const std::uint64_t ofGroups = 2 * inventory.groups;
    const std::uint64_t stretches =
        std::min({entries / 2 + 1, 1 + inventory.turns + credentials + ofGroups, maxStretches});
    return passes < 2 ? 0 : 2 * stretch * stretches;
}

// Notes that `what` is not known because this system does not have `name`, or does not show it. Any
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

void findTroubleOfLock(const File& exportFile, const std::string& exportName) {
    const FileState state = stateOf(exportFile.descriptor());
    if (state.kind == FileKind::NONE) {
        failReading(exportName, systemReason(errno));
    }
    switch (lockStateOf(state)) {
        case LockState::HELD:
            addFinding(FindingType::EXPORT_NOT_WRITABLE,
                       {0,
                        0,
                        {},
                        "another migration or another program has locked the export",
                        MESSAGE_CANNOT_OPEN});
            break;
        case LockState::UNKNOWN:
            noteUnknown("whether another program has locked the export", lockList, errno);
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
    addFinding(FindingType::EXPORT_NOT_WRITABLE,
               {0,
                0,
                {},
                format("the export cannot be opened for reading and writing: %s", reason),
                MESSAGE_CANNOT_OPEN});
}

void findTroubleOfWorkFile(const std::string& workFile) {
    const std::string refusal = refusalOf(workFile);
    if (!refusal.empty()) {
        addFinding(FindingType::WORK_FILE_REFUSED,
                   {0, 0, {}, format("\"%s\": %s", workFile, refusal), MESSAGE_CANNOT_OPEN});
    } else if (isLeftOver(workFile)) {
        addFinding(FindingType::LEFT_OVER_WORK_FILE,
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
    // A run that gathers nothing: the program, what it uses of shared libraries, and its buffers.
    constexpr std::uint64_t programMemory = 4'850'000;
    // The heap takes somewhat more than what is taken from it.
    constexpr std::uint64_t partOfHeap = 25;
    Plan plan;
    // A slot too many has a second entry of one kind meet the first in any case.
    const std::uint64_t spare = total(FindingType::TWO_OF_ONE_KIND) == 0 ? 0 : 1;
    plan.users = std::max<std::uint64_t>(users != 0 ? users : inventory.users + spare, 1);
    plan.groups = std::max<std::uint64_t>(groups != 0 ? groups : inventory.groups + spare, 1);
    plan.passes =
        std::max(passesFor(inventory.users, plan.users), passesFor(inventory.groups, plan.groups));
    const std::uint64_t held = maxHeld(plan.users, plan.groups, inventory.read);
    const std::uint64_t heap = std::max(inventory.reading, inventory.read + inventory.unfolded +
                                                               held + memoryForPasses(plan.passes));
    plan.memory = programMemory + heap + heap / partOfHeap;
    return plan;
}

std::vector<Plan> plans() {
    constexpr std::uint64_t maxPasses = 64;
    std::vector<Plan> all;
    for (std::uint64_t part = 1; part <= maxPasses; part *= 2) {
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
    const std::string folder = folderOf(exportName);
    struct statvfs state = {};
    if (::statvfs(folder.c_str(), &state) == 0) {
        need.free = std::uint64_t{state.f_bavail} * state.f_frsize;
    } else {
        noteUnknown("how much is free on the disk of the export", folder, errno);
    }
    return need;
}

void findTroubleAround(const std::string& exportName, const DiskNeed& need) {
    findTroubleOfExport(exportName);
    findTroubleOfWorkFile(workFileName(exportName));
    if (need.free && need.workFile + need.output > *need.free) {
        addFinding(FindingType::DISK_TOO_SMALL,
                   {0,
                    0,
                    {},
                    format("work file and output need %ld bytes, and %ld are free",
                           need.workFile + need.output, *need.free),
                    MESSAGE_CANNOT_WRITE});
    }
}
