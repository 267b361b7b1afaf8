#include "ldif/run_locks.h"

#include <fcntl.h>

#include <cerrno>

#include "driver/diagnostics/failure.h"
#include "driver/settings.h"
#include "ldif/run_files.h"

namespace {

// Open for their locks alone. A lock of flock(2), unlike one of fcntl(2), is kept when the same
// file is opened and closed elsewhere.
File lockedInput;
File lockedWorkFile;

FileState inputAtStart;      // written by lockInput; of no kind where it could not be opened
FileState stagedWorkFile;    // written by noteStagedWorkFile
bool isStaged = false;       // whether stagedWorkFile is valid
bool wasLeftBehind = false;  // written by lockWorkFile

[[noreturn]] void failChangedInput(const FileState& now) {
    fail({}, {},
         {MESSAGE_STAGING_FAILED,
          {input_ldif_filename,
           reasonOfChange(now, "another program has changed or replaced it since the run began")}});
}

int lockError(const File& file) {
    return lockFile(file) == 0 ? 0 : errno;
}

Message cannotOpen(const std::string& name, std::string_view reason) {
    return {MESSAGE_CANNOT_OPEN, {name, std::string(reason)}};
}

}  // namespace

std::optional<Message> lockInput() {
    lockedInput = openFile(input_ldif_filename, 0);
    if (!lockedInput.isOpen()) {
        return std::nullopt;
    }
    inputAtStart = stateOf(lockedInput.descriptor());
    if (inputAtStart.kind == FileKind::PIPE) {
        return std::nullopt;
    }
    const int error = inputAtStart.kind == FileKind::NONE    ? inputAtStart.error
                      : inputAtStart.kind == FileKind::OTHER ? ENODEV
                                                             : lockError(lockedInput);
    return error == 0 ? std::nullopt : std::optional(lockMessage(input_ldif_filename, error));
}

off_t inputSize() {
    return inputAtStart.size;
}

std::string_view workFileProblem(const FileState& state) {
    if (state.kind != FileKind::REGULAR) {
        return "it is not a regular file";
    }
    if (!state.isOwn) {
        return "it belongs to another user. Remove it";
    }
    if (state.isOpenToOthers) {
        return "others than its owner may write to it. Remove it";
    }
    return state.names > 1 ? "it has another name, a hard link. Remove it" : "";
}

std::optional<Message> lockWorkFile() {
    const std::string& name = temp_input_ldif_filename;
    // Follows no link, and opens no file that another program creates meanwhile.
    lockedWorkFile = openFile(name, O_CREAT | O_EXCL | O_NOFOLLOW);
    const bool isNew = lockedWorkFile.isOpen();
    if (!isNew && errno == EEXIST) {
        lockedWorkFile = openFile(name, O_NOFOLLOW);
    }
    if (!lockedWorkFile.isOpen()) {
        return lockMessage(name, errno);
    }
    const FileState state = stateOf(lockedWorkFile.descriptor());
    if (state.kind == FileKind::NONE) {
        return lockMessage(name, state.error);
    }
    // On some file systems every file belongs to one user, or everybody may write to all of them.
    if (const auto problem = workFileProblem(state); !isNew && !problem.empty()) {
        return cannotOpen(name, problem);
    }
    wasLeftBehind = state.size > 0;
    const int error = lockError(lockedWorkFile);
    return error == 0 ? std::nullopt : std::optional(lockMessage(name, error));
}

bool holdsLeftOvers() {
    return wasLeftBehind;
}

Message lockMessage(const std::string& name, int error) {
    switch (error) {
        case EWOULDBLOCK:
            return cannotOpen(name,
                              "another migration is using it, or another program has locked it. "
                              "Wait until that has ended");
        case ENODEV:
            return cannotOpen(name, "it is not a regular file");
        case ESPIPE:
            return cannotOpen(name, "it is a pipe; the output must be a file");
        default:
            return openMessage(name, error);
    }
}

std::string reasonOfChange(const FileState& state, std::string_view other) {
    const bool isGone = state.error == ENOENT || state.error == ENOTDIR;
    return state.kind == FileKind::NONE && !isGone ? systemReason(state.error) : std::string(other);
}

void noteStagedWorkFile() {
    stagedWorkFile = stateOf(lockedWorkFile.descriptor());
    if (stagedWorkFile.kind == FileKind::NONE) {
        fail({}, {},
             {MESSAGE_CANNOT_READ, {temp_input_ldif_filename, systemReason(stagedWorkFile.error)}});
    }
    isStaged = true;
    suspectWorkFile(wasLeftBehind);  // from here on: staging fails at entries of the export alone
}

off_t workFileSize() {
    return stagedWorkFile.size;
}

void requireInputInPlace() {
    const FileState state = stateOf(input_ldif_filename);
    if (!isSameFile(inputAtStart, state) || state.changedTime != inputAtStart.changedTime) {
        failChangedInput(state);
    }
}

void requireUnchangedInput() {
    if (inputAtStart.kind != FileKind::REGULAR) {
        return;  // a pipe has not been read, and a file that could not be opened was not locked
    }
    const FileState state = stateOf(lockedInput.descriptor());
    const bool isUnchanged = state.kind == inputAtStart.kind && state.size == inputAtStart.size &&
                             state.modifiedTime == inputAtStart.modifiedTime;
    if (!isUnchanged) {
        failChangedInput(state);
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
              {temp_input_ldif_filename,
               reasonOfChange(state, "another program has changed its size or replaced it")}});
    }
    if (checkWrittenBack(lockedWorkFile) != 0) {
        const int error = errno;
        fail({}, {}, {MESSAGE_CANNOT_WRITE, {temp_input_ldif_filename, systemReason(error)}});
    }
}

void releaseLocks() {
    lockedInput = File();
    lockedWorkFile = File();
    inputAtStart = {};
    stagedWorkFile = {};
    isStaged = false;
    wasLeftBehind = false;
    suspectWorkFile(false);
}
