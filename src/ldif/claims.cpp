#include "ldif/claims.h"

#include <fcntl.h>

#include <cerrno>

#include "driver/diagnostics/failure.h"
#include "driver/platform/file.h"
#include "driver/settings.h"
#include "ldif/run_files.h"

namespace {

// Open for their locks alone. A lock of flock(2), unlike one of fcntl(2), outlives the opening and
// closing of the same file elsewhere.
File claimedInput;
File claimedWorkFile;

FileState inputAtStart;
FileState stagedWorkFile;
bool isStaged = false;

}  // namespace

int claimInput() {
    claimedInput = openFile(input_ldif_filename, 0);
    if (!claimedInput.isOpen()) {
        return 0;
    }
    inputAtStart = stateOf(claimedInput.descriptor());
    return inputAtStart.kind == FileKind::NONE ? -1 : lockFile(claimedInput);
}

int claimWorkFile() {
    claimedWorkFile = openFile(temp_input_ldif_filename, O_CREAT | O_NOFOLLOW);
    if (!claimedWorkFile.isOpen()) {
        return -1;
    }
    const FileKind kind = stateOf(claimedWorkFile.descriptor()).kind;
    if (kind == FileKind::PIPE || kind == FileKind::OTHER) {
        errno = ENOTSUP;
    }
    return kind == FileKind::REGULAR ? lockFile(claimedWorkFile) : -1;
}

Message claimMessage(const std::string& name) {
    switch (errno) {
        case EWOULDBLOCK:
            return {MESSAGE_CANNOT_OPEN,
                    {name, "another migration is using it. Wait until it has ended"}};
        case ENOTSUP:
            return {MESSAGE_CANNOT_OPEN, {name, "it is not a regular file"}};
        case ESPIPE:
            return {MESSAGE_CANNOT_OPEN, {name, "it is a pipe; the output must be a file"}};
        default:
            return openMessage(name);
    }
}

void noteStagedWorkFile() {
    stagedWorkFile = stateOf(claimedWorkFile.descriptor());
    isStaged = true;
}

void requireUnchangedInput() {
    const FileState state = stateOf(claimedInput.descriptor());
    const bool isUnchanged = state.kind == inputAtStart.kind && state.size == inputAtStart.size &&
                             state.modifiedTime == inputAtStart.modifiedTime;
    if (inputAtStart.kind == FileKind::REGULAR && !isUnchanged) {
        fail({}, {},
             {MESSAGE_STAGING_FAILED,
              {input_ldif_filename, "another program has changed it since the run began"}});
    }
}

void requireIntactWorkFile() {
    if (!isStaged) {
        return;  // nothing to compare with before the end of staging
    }
    const FileState state = stateOf(temp_input_ldif_filename);
    // Blanking a last line of one character adds a byte.
    const bool hasSize = state.size == stagedWorkFile.size || state.size == stagedWorkFile.size + 1;
    if (!hasSize || !isSameFile(state, stagedWorkFile)) {
        fail({}, {},
             {MESSAGE_CANNOT_READ,
              {temp_input_ldif_filename, "another program has changed or replaced it"}});
    }
    if (checkWrittenBack(claimedWorkFile) != 0) {
        const int error = errno;
        fail({}, {}, {MESSAGE_CANNOT_WRITE, {temp_input_ldif_filename, systemReason(error)}});
    }
}

void releaseClaims() {
    claimedInput = File();
    claimedWorkFile = File();
    inputAtStart = {};
    stagedWorkFile = {};
    isStaged = false;
}
