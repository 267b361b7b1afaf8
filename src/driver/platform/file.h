// Files of the operating system, as this program uses them.
//
// A File owns a descriptor. Files are created readable and writable by their owner alone,
// because exports hold secrets, and are closed on exec. Procedures that fail leave the reason in
// errno, as the system calls beneath them do.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

class File {
public:
    File() = default;
    explicit File(int descriptor) : descriptor_(descriptor) {
    }
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    bool isOpen() const {
        return descriptor_ >= 0;
    }
    int descriptor() const {
        return descriptor_;
    }

    // Closes the file if it is open. Returns 0, or -1 when the system reports a late write error.
    int close();

private:
    int descriptor_ = -1;
};

// Opens `name` for reading and writing with the additional open(2) flags given. The result is
// not open when that fails.
File openFile(const std::string& name, int flags);

// Opens `name` for reading alone. The result is not open when that fails.
File openFileForReading(const std::string& name);

// What kind of file it is; PIPE means pipes and sockets, NONE for a file that cannot be looked
// at.
enum class FileKind { NONE, REGULAR, PIPE, OTHER };

// The state of a file, without its contents.
struct FileState {
    FileKind kind = FileKind::NONE;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;                 // in bytes
    std::int64_t modifiedTime = 0;  // in nanoseconds since 1970
    std::int64_t changedTime = 0;   // likewise; no program can set it back, unlike modifiedTime
    nlink_t names = 0;              // hard links to it
    bool isOwn = false;             // whether it belongs to the user who runs the program
    bool isOpenToOthers = false;    // whether anybody but its owner may write to it
    int error = 0;                  // the error number when the kind is NONE
};

// Looks at an open file, or at the one that `name` leads to. The kind is NONE on failure.
FileState stateOf(int descriptor);
FileState stateOf(const std::string& name);

// Whether both are one file. Devices never are: what one writes there does not harm the other.
bool isSameFile(const FileState& first, const FileState& second);

// Opens `name` for reading and writing, creating it if need be, and takes its lock where it is a
// regular file. Its contents stay. The result is not open when that fails; errno is EWOULDBLOCK
// when another process holds the lock.
File openLockedFile(const std::string& name);

// Removes the contents of a regular file; no other kind of file has any. Returns 0 or -1.
int emptyFile(const File& file);

// Takes the advisory lock of an open file, as flock(2), until it is closed. Returns 0, or -1;
// EWOULDBLOCK when another process has it.
int lockFile(const File& file);

// Waits until all that was written to the file is on its disk, as fsync(2). Returns 0, also for
// what has no disk, or -1.
int syncFile(const File& file);

// Waits until the folder of `file`, which `name` leads to, is on its disk: a loss of power before
// that takes away a new file whose contents are safe. Returns 0 or -1.
int syncFolderOf(const File& file, const std::string& name);

// Whether what was written to the file since it was opened has reached its disk as far as the
// system has tried. Returns 0, or -1: some of it is lost, although no write has failed.
int checkWrittenBack(const File& file);

// Writes all of `text`. Returns the number of bytes written, less than its size on failure.
std::size_t writeText(int descriptor, std::string_view text);

// Writes all of `text` at `offset`, leaving the descriptor's own position alone. Returns 0 or -1.
int writeTextAt(int descriptor, std::string_view text, off_t offset);

// Reads up to `size` bytes into `buffer`. Returns their number, 0 at end of file, -1 on failure.
ssize_t readBytes(int descriptor, char* buffer, std::size_t size);

// Copies the file `from` to a new file `to`. A regular file of that name that nobody holds the lock
// of is removed, and so is a link; neither is written to. Returns 0 or -1.
int copyFile(const std::string& from, const std::string& to);

// Whether `name` itself is a symbolic link, wherever it leads.
bool isSymbolicLink(const std::string& name);

// Whether both names lead to the same regular file or pipe: by device and inode where both exist,
// else by the path that opening them would create.
bool isSameFile(const std::string& first, const std::string& second);

// Makes sure that descriptors 0 to 2 are taken, so that no file of ours is ever written to by
// code that means standard output or standard error. Returns whether they are.
bool occupyStandardDescriptors();
