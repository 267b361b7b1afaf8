#include "output/flush.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "cache/object_cache.h"
#include "driver/diagnostics/failure.h"
#include "driver/diagnostics/progress.h"
#include "driver/diagnostics/trace.h"
#include "driver/settings.h"
#include "entry/entry.h"
#include "entry/text.h"
#include "ldif/run_files.h"
#include "output/dump.h"
#include "output/new_dn.h"
#include "output/writers.h"

namespace {

// Why the flush has failed. Written by take(); valid once a flush has returned -1.
Message failure = {MESSAGE_PROCESSING_FAILED, {}};

// Whether the first line that holds `name`, where there is one, begins with it.
bool isWhereItBelongs(EntryView entry, std::string_view name) {
    for (int i = 0; i < entry.lineCount(); ++i) {
        if (dostristr(entry.line(i), name) != nullptr) {
            return equalIgnoringCase(entry.line(i).substr(0, name.size()), name);
        }
    }
    return true;
}

// Whether the DN that an entry of the table gives its owner is a DN, rather than a piece of a value
// that holds the name of an attribute.
bool namesOwnerByDn(const Matrix& matrix, EntryView entry) {
    const bool isInUsers = &matrix == &Users_secUser_matrix;
    return entry.empty() || (isDnShown(entry) && isWhereItBelongs(entry, "secdn:") &&
                             (!isInUsers || isWhereItBelongs(entry, "secauthority:")));
}

// The name of the owner in slot `index` in messages. Its DN may be any piece of one of its entries.
std::string ownerName(const OwnerTable& owners, int index) {
    static const std::array<const Matrix*, 5> ofUsers = {&secUser_matrix, &Users_secUser_matrix,
                                                         &secPolicyData_matrix, &secPolicy_matrix,
                                                         &secMap_for_secUser_matrix};
    static const std::array<const Matrix*, 2> ofGroups = {&secGroup_matrix,
                                                          &secMap_for_secGroup_matrix};
    const bool isUser = &owners == &secUser_dn;
    for (const Matrix* matrix : isUser ? std::span<const Matrix* const>(ofUsers) : ofGroups) {
        const EntryView entry = matrix->row(index);
        if (!namesOwnerByDn(*matrix, entry)) {
            return format("the owner of %s", entryName(entry));
        }
    }
    return quoted(owners.dn(index));
}

Message messageOfFailure(const OwnerTable& owners, int index) {
    if (ofp.error() != 0) {
        return migrationStopped(
            format("cannot write \"%s\": %s", output_ldif_filename, systemReason(ofp.error())));
    }
    // Without a write error, a name could not be found.
    const bool isUser = &owners == &secUser_dn;
    const EntryView entry = (isUser ? secUser_matrix : secGroup_matrix).row(index);
    const std::string problem = isUser ? nameProblemOfUser(entry) : nameProblemOfGroup(entry);
    if (!problem.empty()) {
        return migrationFailed(format("the entry %s %s", entryName(entry), problem));
    }
    return migrationFailed(format("other entries belong to %s, but it has no %s",
                                  ownerName(owners, index),
                                  isUser ? "secUser entry outside cn=Users with a principalName"
                                         : "secGroup entry with a cn"));
}

// A step of writing the owner in one slot, and its name in errors.
struct Step {
    std::string_view name;
    int (*run)(int);
};

int writeUserRecord(int i) {
    return writeSecUserAddToOutputFile(i, ofp);
}

int writePolicyRecord(int i) {
    return writeSecPolicyAddToOutputFile(i, ofp);
}

int writeGroupRecord(int j) {
    return writeSecGroupAddToOutputFile(j, ofp);
}

constexpr std::array<Step, 2> userSteps = {
    {{"createNewSecUserDN", createNewSecUserDN}, {"writeSecUserAddToOutputFile", writeUserRecord}}};
constexpr std::array<Step, 3> policySteps = {
    {{"createNewSecPolicyDN", createNewSecPolicyDN},
     {"writePolicyContainerAddToOutputFile", writePolicyContainerAddToOutputFile},
     {"writeSecPolicyAddToOutputFile", writePolicyRecord}}};
constexpr std::array<Step, 2> groupSteps = {{{"createNewSecGroupDN", createNewSecGroupDN},
                                             {"writeSecGroupAddToOutputFile", writeGroupRecord}}};

// Takes the steps in order. Returns 0, or -1 after reporting the first that has failed.
int take(std::span<const Step> steps, const OwnerTable& owners, int index) {
    for (const Step& step : steps) {
        if (step.run(index) != 0) {
            const std::string error = format(
                "copyAllAccumulatedDataToOutputFile() - %s() failure.  RETURNING. \n", step.name);
            report(error, error + format("%s = %s\n", owners.name(), owners.dn(index)));
            failure = messageOfFailure(owners, index);
            return -1;
        }
    }
    return 0;
}

int writeUser(int i) {
    const int result = take(userSteps, secUser_dn, i);
    return result != 0 || secPolicyDN(i).empty() ? result : take(policySteps, secUser_dn, i);
}

int writeGroup(int j) {
    return take(groupSteps, secGroup_dn, j);
}

// The policy data is not written: the newer layout has no entry for it.
void releaseUser(int i) {
    freeSecUserDN(i);
    freeSecUser(i);
    freeUsersSecUser(i);
    freeSecPolicyData(i);
    freeSecMapForSecUser(i);
    freeSecPolicyDN(i);
    freeSecPolicy(i);
}

void releaseGroup(int j) {
    freeSecGroupDN(j);
    freeSecGroup(j);
    freeSecMapForSecGroup(j);
}

// The texts of one kind of owner in its traces.
struct Flush {
    std::string_view kind;
    OwnerTable& owners;
    std::string_view indexLabel;
    void (*prefetch)(int);
    int (*write)(int);
    void (*release)(int);
};

const Flush users = {
    "secUser", secUser_dn, "index            = ", prefetchUser, writeUser, releaseUser};
const Flush groups = {
    "secGroup", secGroup_dn, "index             = ", prefetchGroup, writeGroup, releaseGroup};

// The beginning of the further lines of a trace.
constexpr std::string_view indent = "                                       ";

void traceProgress(const Flush& flush, std::string_view what, int index) {
    trace("copyAllAccumulatedDataToOutputFile() - %s COPYING ANOTHER %s \n"
          "%s%s_dn_count = %d \n"
          "%s%s%d \n",
          what, flush.kind, indent, flush.kind, flush.owners.count, indent, flush.indexLabel,
          index);
}

// Writes all owners of one kind. `before` owners have been written already.
int writeAll(const Flush& flush, int before) {
    constexpr int ahead = 4;
    for (int i = 0; flush.owners.count != 0; ++i) {
        flush.prefetch(i + ahead);
        traceProgress(flush, "BEGIN", i);
        trace("%s%s[%d]   = %s \n", indent, flush.owners.name(), i, flush.owners.dn(i));
        if (flush.write(i) != 0) {
            return -1;
        }
        flush.release(i);
        --flush.owners.count;
        showProgress(before + i + 1, secUser_dn_count(), secGroup_dn_count());
        traceProgress(flush, "END", i + 1);
    }
    return 0;
}

void traceCounts() {
    trace("%ssecUser_dn_count = %d \n%ssecGroup_dn_count = %d \n", indent, secUser_dn_count(),
          indent, secGroup_dn_count());
}

}  // namespace

int copyAllAccumulatedDataToOutputFile() {
    trace("copyAllAccumulatedDataToOutputFile() - FUNCTION ENTRY \n");
    traceCounts();
    trace("\n%sCalling dumpData() first to learn \n%swhat data will be copied.  \n", indent,
          indent);
    dumpData();
    const int usersHeld = secUser_dn_count();
    beginPhase(Phase::WRITING, 0, std::int64_t{usersHeld} + secGroup_dn_count());
    if (writeAll(users, 0) != 0 || writeAll(groups, usersHeld) != 0) {
        return -1;
    }
    secUser_dn.clear();
    secGroup_dn.clear();
    trace("copyAllAccumulatedDataToOutputFile() - Calling dumpData() last to verify \n"
          "%sthat all tables are empty. \n",
          indent);
    dumpData();
    trace("copyAllAccumulatedDataToOutputFile() - FUNCTION EXIT \n");
    traceCounts();
    return 0;
}

Message flushFailedMessage() {
    return failure;
}
