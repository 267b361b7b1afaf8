#include "driver/platform/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include "support/odd_files.h"
#include "support/process.h"
#include "support/temporary_folder.h"

namespace {

class FileFixture : public testing::Test {
protected:
    TemporaryFolder folder;
};

bool isOpenDescriptor(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

TEST_F(FileFixture, FreshFileIsNotOpen) {
    const File file;
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(file.descriptor(), -1);
}

TEST_F(FileFixture, DestructionClosesTheDescriptor) {
    int descriptor = -1;
    {
        const File file = openFile("/dev/null", 0);
        descriptor = file.descriptor();
        EXPECT_TRUE(isOpenDescriptor(descriptor));
    }
    EXPECT_FALSE(isOpenDescriptor(descriptor));
}

TEST_F(FileFixture, MovingHandsTheDescriptorOn) {
    File first = openFile("/dev/null", 0);
    const int descriptor = first.descriptor();
    const File second = std::move(first);
    EXPECT_EQ(second.descriptor(), descriptor);
    EXPECT_FALSE(first.isOpen());
    EXPECT_TRUE(isOpenDescriptor(descriptor));
}

TEST_F(FileFixture, MovingIntoAnOpenFileClosesIt) {
    File target = openFile("/dev/null", 0);
    const int old = target.descriptor();
    File source = openFile("/dev/null", 0);
    const int kept = source.descriptor();
    target = std::move(source);
    EXPECT_FALSE(isOpenDescriptor(old));
    EXPECT_EQ(target.descriptor(), kept);
    EXPECT_TRUE(isOpenDescriptor(kept));
}

TEST_F(FileFixture, MovingAFileIntoItselfKeepsItOpen) {
    File file = openFile("/dev/null", 0);
    File& same = file;
    file = std::move(same);
    EXPECT_TRUE(isOpenDescriptor(file.descriptor()));
}

TEST_F(FileFixture, ClosingFreesTheDescriptorOnce) {
    File file = openFile("/dev/null", 0);
    const int descriptor = file.descriptor();
    EXPECT_EQ(file.close(), 0);
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(isOpenDescriptor(descriptor));
    EXPECT_EQ(file.close(), 0);
}

TEST_F(FileFixture, ClosingReportsWhatTheSystemReports) {
    File file = openFile("/dev/null", 0);
    ::close(file.descriptor());
    EXPECT_EQ(file.close(), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_FALSE(file.isOpen());
}

TEST_F(FileFixture, CreatedFileBelongsToItsOwnerAlone) {
    const mode_t mask = umask(0);
    const File file = openFile(folder.path("new"), O_CREAT);
    umask(mask);
    EXPECT_TRUE(file.isOpen());
    EXPECT_EQ(fileMode(folder.path("new")), 0600);
}

TEST_F(FileFixture, OpenedFileIsReadAndWrittenAndClosedOnExec) {
    const File file = openFile(writeFile(folder.path("a"), "text"), 0);
    EXPECT_EQ(fcntl(file.descriptor(), F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_NE(fcntl(file.descriptor(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(FileFixture, FlagsDecideWhetherContentIsKept) {
    const std::string path = writeFile(folder.path("a"), "text");
    openFile(path, 0);
    EXPECT_EQ(readFile(path), "text");
    openFile(path, O_TRUNC);
    EXPECT_EQ(readFile(path), "");
}

TEST_F(FileFixture, FileThatCannotBeOpenedLeavesTheReason) {
    EXPECT_FALSE(openFile(folder.path("missing"), 0).isOpen());
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(openFile(folder.path("."), 0).isOpen());
    EXPECT_EQ(errno, EISDIR);
}

TEST_F(FileFixture, WritesWholeTextAndCountsIt) {
    const File file = openFile(folder.path("a"), O_CREAT);
    EXPECT_EQ(writeText(file.descriptor(), "text"), 4U);
    EXPECT_EQ(writeText(file.descriptor(), ""), 0U);
    EXPECT_EQ(readFile(folder.path("a")), "text");
}

TEST_F(FileFixture, WriteCountsWhatHasReachedTheFile) {
    const File file = openFile(folder.path("a"), O_CREAT);
    {
        const FileSizeLimit limit(10);
        EXPECT_EQ(writeText(file.descriptor(), "0123456789abcdef"), 10U);
        EXPECT_EQ(errno, EFBIG);
    }
    EXPECT_EQ(readFile(folder.path("a")), "0123456789");
}

TEST_F(FileFixture, WriteToAFullDeviceWritesNothing) {
    const File file = openFile(fullFile, 0);
    EXPECT_EQ(writeText(file.descriptor(), "text"), 0U);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(FileFixture, WriteAtAnOffsetLeavesThePositionAlone) {
    const File file = openFile(writeFile(folder.path("a"), "0123456789"), 0);
    lseek(file.descriptor(), 2, SEEK_SET);
    EXPECT_EQ(writeTextAt(file.descriptor(), "abc", 5), 0);
    EXPECT_EQ(lseek(file.descriptor(), 0, SEEK_CUR), 2);
    EXPECT_EQ(readFile(folder.path("a")), "01234abc89");
    EXPECT_EQ(writeTextAt(file.descriptor(), "", 0), 0);
}

TEST_F(FileFixture, WriteAtAnOffsetFailsWithTheReason) {
    EXPECT_EQ(writeTextAt(openFile(fullFile, 0).descriptor(), "abc", 0), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(writeTextAt(openFile(makePipe(folder.path("pipe")), 0).descriptor(), "abc", 0), -1);
    EXPECT_EQ(errno, ESPIPE);
}

TEST_F(FileFixture, WriteAtAnOffsetGoesOnAfterAPartialWrite) {
    const File file = openFile(folder.path("a"), O_CREAT);
    {
        const FileSizeLimit limit(10);
        EXPECT_EQ(writeTextAt(file.descriptor(), "abcdef", 8), -1);
        EXPECT_EQ(errno, EFBIG);
    }
    EXPECT_EQ(readFile(folder.path("a")), std::string(8, '\0') + "ab");
}

TEST_F(FileFixture, ReadCountsBytesUntilEndOfFile) {
    const File file = openFile(writeFile(folder.path("a"), "abc"), 0);
    std::array<char, 2> buffer = {};
    EXPECT_EQ(readBytes(file.descriptor(), buffer.data(), buffer.size()), 2);
    EXPECT_EQ(std::string(buffer.data(), 2), "ab");
    EXPECT_EQ(readBytes(file.descriptor(), buffer.data(), buffer.size()), 1);
    EXPECT_EQ(readBytes(file.descriptor(), buffer.data(), buffer.size()), 0);
}

TEST_F(FileFixture, ReadFailsWithTheReason) {
    char byte = '\0';
    EXPECT_EQ(readBytes(openFile(unreadableFile, 0).descriptor(), &byte, 1), -1);
    EXPECT_EQ(errno, EIO);
}

void ignoreAlarm(int) {
}

// Interrupts slow system calls every few milliseconds.
class Interruptions {
public:
    Interruptions() {
        struct sigaction action = {};
        action.sa_handler = ignoreAlarm;
        sigaction(SIGALRM, &action, &former_);
        const itimerval interval = {{0, 5000}, {0, 5000}};
        setitimer(ITIMER_REAL, &interval, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    ~Interruptions() {
        const itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &former_, nullptr);
    }

private:
    struct sigaction former_ = {};
};

TEST_F(FileFixture, SignalsDisturbNeitherWriteNorRead) {
    // The other side begins late enough for both calls to be interrupted while they wait.
    constexpr std::size_t size = 1000000;
    int toChild[2] = {-1, -1};
    int fromChild[2] = {-1, -1};
    ASSERT_EQ(pipe(toChild), 0);
    ASSERT_EQ(pipe(fromChild), 0);
    const pid_t child = fork();
    if (child == 0) {
        usleep(50000);
        std::array<char, 4096> buffer;
        std::size_t left = size;
        while (left > 0) {
            left -= static_cast<std::size_t>(read(toChild[0], buffer.data(), buffer.size()));
        }
        usleep(50000);
        _exit(write(fromChild[1], "x", 1) == 1 ? 0 : 1);
    }
    {
        const Interruptions interruptions;
        EXPECT_EQ(writeText(toChild[1], std::string(size, 'a')), size);
        char byte = '\0';
        EXPECT_EQ(readBytes(fromChild[0], &byte, 1), 1);
        EXPECT_EQ(byte, 'x');
    }
    waitpid(child, nullptr, 0);
    for (const int descriptor : {toChild[0], toChild[1], fromChild[0], fromChild[1]}) {
        ::close(descriptor);
    }
}

TEST_F(FileFixture, CopyReplacesTheTargetAndIsPrivate) {
    const std::string content(200000, 'x');  // more than one buffer
    const std::string from = writeFile(folder.path("from"), content);
    EXPECT_EQ(copyFile(from, folder.path("new")), 0);
    EXPECT_EQ(readFile(folder.path("new")), content);
    EXPECT_EQ(fileMode(folder.path("new")), 0600);

    writeFile(from, "short");
    EXPECT_EQ(copyFile(from, folder.path("new")), 0);
    EXPECT_EQ(readFile(folder.path("new")), "short");
}

TEST_F(FileFixture, CopyOfAMissingFileCreatesNothing) {
    EXPECT_EQ(copyFile(folder.path("missing"), folder.path("to")), -1);
    EXPECT_FALSE(fileExists(folder.path("to")));
}

TEST_F(FileFixture, CopyFailsWhenEitherFileFails) {
    const std::string from = writeFile(folder.path("from"), "text");
    EXPECT_EQ(copyFile(from, folder.path(".")), -1);
    EXPECT_EQ(copyFile(unreadableFile, folder.path("to")), -1);
    const FileSizeLimit limit(3);
    EXPECT_EQ(copyFile(from, folder.path("to")), -1);
}

TEST_F(FileFixture, CopyReplacesLinksAndWritesThroughNone) {
    const std::string from = writeFile(folder.path("from"), "new text");
    const std::string elsewhere = writeFile(folder.path("elsewhere"), "kept");
    std::filesystem::create_symlink(elsewhere, folder.path("soft"));
    std::filesystem::create_symlink(folder.path("nowhere"), folder.path("dangling"));
    std::filesystem::create_hard_link(elsewhere, folder.path("hard"));
    for (const std::string& link :
         {folder.path("soft"), folder.path("dangling"), folder.path("hard")}) {
        EXPECT_EQ(copyFile(from, link), 0) << link;
        EXPECT_FALSE(isSymbolicLink(link)) << link;
        EXPECT_EQ(readFile(link), "new text") << link;
    }
    EXPECT_EQ(readFile(elsewhere), "kept");
    EXPECT_FALSE(fileExists(folder.path("nowhere")));
}

TEST_F(FileFixture, CopyLeavesAloneWhatIsInUseOrNoRegularFile) {
    const std::string from = writeFile(folder.path("from"), "new text");
    const std::string used = writeFile(folder.path("used"), "kept");
    const File user = openFile(used, 0);
    ASSERT_EQ(lockFile(user), 0);
    EXPECT_EQ(copyFile(from, used), -1);
    EXPECT_EQ(readFile(used), "kept");

    const std::string pipe = makePipe(folder.path("pipe"));
    EXPECT_EQ(copyFile(from, pipe), -1);
    EXPECT_EQ(stateOf(pipe).kind, FileKind::PIPE);
}

TEST_F(FileFixture, OnlyALinkItselfIsASymbolicLink) {
    const std::string file = writeFile(folder.path("file"), "text");
    std::filesystem::create_symlink(file, folder.path("link"));
    std::filesystem::create_symlink("missing", folder.path("dangling"));
    EXPECT_TRUE(isSymbolicLink(folder.path("link")));
    EXPECT_TRUE(isSymbolicLink(folder.path("dangling")));
    EXPECT_FALSE(isSymbolicLink(file));
    EXPECT_FALSE(isSymbolicLink(folder.path("missing")));
}

TEST_F(FileFixture, LockIsHeldUntilTheFileIsClosed) {
    const std::string name = writeFile(folder.path("file"), "text");
    File first = openFile(name, 0);
    const File second = openFile(name, 0);
    EXPECT_EQ(lockFile(first), 0);
    errno = 0;
    EXPECT_EQ(lockFile(second), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    first.close();
    EXPECT_EQ(lockFile(second), 0);
}

TEST_F(FileFixture, LockSurvivesAnotherOpeningAndClosing) {
    const std::string name = writeFile(folder.path("file"), "text");
    const File holder = openFile(name, 0);
    EXPECT_EQ(lockFile(holder), 0);
    openFile(name, 0).close();
    EXPECT_EQ(lockFile(openFile(name, 0)), -1);
}

TEST_F(FileFixture, LockedFileIsNewOrKeepsItsContents) {
    EXPECT_TRUE(openLockedFile(folder.path("new")).isOpen());
    EXPECT_EQ(fileMode(folder.path("new")), 0600);

    const std::string old = writeFile(folder.path("old"), "text");
    EXPECT_TRUE(openLockedFile(old).isOpen());
    EXPECT_EQ(readFile(old), "text");
}

TEST_F(FileFixture, EmptiedFileHoldsNothing) {
    const std::string name = writeFile(folder.path("file"), "text");
    EXPECT_EQ(emptyFile(openLockedFile(name)), 0);
    EXPECT_EQ(readFile(name), "");
}

TEST_F(FileFixture, FileThatIsNotOpenCannotBeEmptied) {
    EXPECT_EQ(emptyFile(File()), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(FileFixture, FileOfAnotherWriterIsRefused) {
    const std::string name = writeFile(folder.path("file"), "text");
    const File writer = openLockedFile(name);
    errno = 0;
    EXPECT_FALSE(openLockedFile(name).isOpen());
    EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(FileFixture, DevicesAreNeitherEmptiedNorLocked) {
    const File first = openLockedFile("/dev/null");
    const File second = openLockedFile("/dev/null");
    EXPECT_TRUE(first.isOpen());
    EXPECT_TRUE(second.isOpen());
    EXPECT_EQ(emptyFile(second), 0);
}

TEST_F(FileFixture, FolderOfAFileIsSyncedWhereverItsNameLeads) {
    std::filesystem::create_directory(folder.path("real"));
    const std::string name = writeFile(folder.path("real/file"), "text");
    std::filesystem::create_symlink("real/file", folder.path("link"));
    const File file = openFile(name, 0);
    EXPECT_EQ(syncFolderOf(file, name), 0);
    EXPECT_EQ(syncFolderOf(file, folder.path("link")), 0);
    EXPECT_EQ(syncFolderOf(file, "no folder in it"), 0);

    std::filesystem::remove_all(folder.path("real"));
    EXPECT_EQ(syncFolderOf(file, folder.path("link")), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(FileFixture, StateShowsWhoMayWriteAndHowManyNamesThereAre) {
    const std::string name = writeFile(folder.path("file"), "text");
    std::filesystem::permissions(name, std::filesystem::perms(0644));
    EXPECT_TRUE(stateOf(name).isOwn);
    EXPECT_FALSE(stateOf(name).isOpenToOthers);
    EXPECT_EQ(stateOf(name).names, 1U);

    std::filesystem::create_hard_link(name, folder.path("hard"));
    EXPECT_EQ(stateOf(name).names, 2U);
    for (const int mode : {0620, 0602}) {
        std::filesystem::permissions(name, std::filesystem::perms(mode));
        EXPECT_TRUE(stateOf(name).isOpenToOthers) << mode;
    }
}

TEST_F(FileFixture, ChangeIsSeenAlthoughTheTimeOfModificationIsSetBack) {
    const std::string name = writeFile(folder.path("file"), "text");
    const FileState before = stateOf(name);
    const auto time = std::filesystem::last_write_time(name);
    do {
        writeFile(name, "TEXT");
        std::filesystem::last_write_time(name, time);
    } while (stateOf(name).changedTime == before.changedTime);  // the clock may be coarse
    EXPECT_EQ(stateOf(name).modifiedTime, before.modifiedTime);
}

TEST_F(FileFixture, ExistingFilesAreTheSameByDeviceAndInode) {
    const std::string file = writeFile(folder.path("file"), "same text");
    const std::string other = writeFile(folder.path("other"), "same text");
    std::filesystem::create_hard_link(file, folder.path("hard"));
    std::filesystem::create_symlink(file, folder.path("soft"));
    EXPECT_TRUE(isSameFile(file, file));
    EXPECT_TRUE(isSameFile(file, folder.path("./file")));
    EXPECT_TRUE(isSameFile(file, folder.path("hard")));
    EXPECT_TRUE(isSameFile(folder.path("soft"), folder.path("hard")));
    EXPECT_FALSE(isSameFile(file, other));
}

TEST_F(FileFixture, DevicesAreNeverTheSameFile) {
    EXPECT_FALSE(isSameFile("/dev/null", "/dev/null"));
}

TEST_F(FileFixture, MissingFilesAreTheSameByTheirResolvedPath) {
    std::filesystem::create_directory(folder.path("sub"));
    std::filesystem::create_directory_symlink(folder.path("sub"), folder.path("link"));
    std::filesystem::create_symlink("sub/new", folder.path("dangling"));
    std::filesystem::create_symlink("dangling", folder.path("twice"));
    EXPECT_TRUE(isSameFile(folder.path("sub/new"), folder.path("sub/../sub/new")));
    EXPECT_TRUE(isSameFile(folder.path("sub/new"), folder.path("link/new")));
    EXPECT_TRUE(isSameFile(folder.path("sub/new"), folder.path("dangling")));
    EXPECT_TRUE(isSameFile(folder.path("sub/new"), folder.path("twice")));
    EXPECT_FALSE(isSameFile(folder.path("sub/new"), folder.path("new")));
}

TEST_F(FileFixture, RelativeAndAbsoluteNamesOfAMissingFileAreTheSame) {
    const std::string absolute = std::filesystem::current_path() / "missing-file-of-a-test";
    EXPECT_TRUE(isSameFile("missing-file-of-a-test", absolute));
}

TEST_F(FileFixture, MissingFileIsNoExistingOne) {
    const std::string file = writeFile(folder.path("file"), "");
    EXPECT_FALSE(isSameFile(file, folder.path("missing")));
    EXPECT_FALSE(isSameFile(folder.path("missing"), file));
}

TEST_F(FileFixture, LinksThatLeadInACircleComeToAnEnd) {
    std::filesystem::create_symlink("second", folder.path("first"));
    std::filesystem::create_symlink("first", folder.path("second"));
    EXPECT_FALSE(isSameFile(folder.path("first"), folder.path("other")));
}

TEST_F(FileFixture, MissingStandardDescriptorsAreOccupied) {
    const std::string path = folder.path("file");
    const Ending ending = endingOf([&path] {
        ::close(STDIN_FILENO);
        ::close(STDOUT_FILENO);
        const bool areOccupied = occupyStandardDescriptors();
        const File file = openFile(path, O_CREAT);
        ::_exit(areOccupied && isOpenDescriptor(STDIN_FILENO) && isOpenDescriptor(STDOUT_FILENO) &&
                        file.descriptor() > STDERR_FILENO
                    ? 42
                    : 1);
    });
    EXPECT_EQ(ending.status, 42);
}

TEST_F(FileFixture, StandardDescriptorsAreOccupiedWhereThereIsNoNullDevice) {
    const Ending ending = endingOf([this] {
        // A user who is not root may change the root folder in a user namespace of his own.
        const std::string root = folder.path("");
        const bool isRoot = ::chroot(root.c_str()) == 0 ||
                            (::unshare(CLONE_NEWUSER) == 0 && ::chroot(root.c_str()) == 0);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        const bool areOccupied = occupyStandardDescriptors();
        const File file = openFile("/file", O_CREAT);
        ::_exit(isRoot && areOccupied && file.descriptor() > STDERR_FILENO &&
                        writeText(STDOUT_FILENO, "text") == 0
                    ? 42
                    : 1);
    });
    EXPECT_EQ(ending.status, 42);
}

TEST_F(FileFixture, StandardDescriptorsInUseStayUnchanged) {
    const int next = nextDescriptor();
    const std::string output = outputOf([] {
        EXPECT_TRUE(occupyStandardDescriptors());
        writeText(STDOUT_FILENO, "still here");
    });
    EXPECT_EQ(output, "still here");
    EXPECT_EQ(nextDescriptor(), next);
}

}  // namespace
