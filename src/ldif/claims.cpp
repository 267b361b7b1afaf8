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

FileState inputAtStart;      // written by claimInput; of no kind where it could not be opened
FileState stagedWorkFile;    // written by noteStagedWorkFile
bool isStaged = false;       // whether stagedWorkFile is valid
bool wasLeftBehind = false;  // written by claimWorkFile

[[noreturn]] void failChangedInput() {
    fail({}, {},
         {MESSAGE_STAGING_FAILED,
          {input_ldif_filename, "another program has changed or replaced it since the run began"}});
}

}  // namespace

int claimInput() {
    claimedInput = openFile(input_ldif_filename, 0);
    if (!claimedInput.isOpen()) {
        return 0;
    }
    inputAtStart = stateOf(claimedInput.descriptor());
    switch (inputAtStart.kind) {
        case FileKind::NONE:
            return -1;
        case FileKind::REGULAR:
            return lockFile(claimedInput);
        default:
            return 0;
    }
}

off_t inputSize() {
    return inputAtStart.size;
}

int claimWorkFile() {
    claimedWorkFile = openFile(temp_input_ldif_filename, O_CREAT | O_NOFOLLOW);
    if (!claimedWorkFile.isOpen()) {
        return -1;
    }
    const FileState state = stateOf(claimedWorkFile.descriptor());
    if (state.kind == FileKind::PIPE || state.kind == FileKind::OTHER) {
        errno = ENODEV;
    }
    wasLeftBehind = state.size > 0;
    return state.kind == FileKind::REGULAR ? lockFile(claimedWorkFile) : -1;
}

bool holdsLeftOvers() {
    return wasLeftBehind;
}

Message claimMessage(const std::string& name) {
    switch (errno) {
        case EWOULDBLOCK:
            return {MESSAGE_CANNOT_OPEN,
                    {name, "another migration is using it, or another program has locked it. Wait "
                           "until that has ended"}};
        case ENODEV:
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

off_t workFileSize() {
    return stagedWorkFile.size;
}

void requireInputInPlace() {
    // One that could be opened for staging alone is not locked.
    if (inputAtStart.kind != FileKind::OTHER &&
        !isSameFile(inputAtStart, stateOf(input_ldif_filename))) {
        failChangedInput();
    }
}

void requireUnchangedInput() {
    const FileState state = stateOf(claimedInput.descriptor());
    const bool isUnchanged = state.kind == inputAtStart.kind && state.size == inputAtStart.size &&
                             state.modifiedTime == inputAtStart.modifiedTime;
    if (inputAtStart.kind == FileKind::REGULAR && !isUnchanged) {
        failChangedInput();
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
              {temp_input_ldif_filename, "another program has changed its size or replaced it"}});
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
    wasLeftBehind = false;
}
