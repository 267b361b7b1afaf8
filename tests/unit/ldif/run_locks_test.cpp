#include "ldif/run_locks.h"

#include <gmock/gmock.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>

#include "driver/platform/file.h"
#include "support/ldif_fixture.h"
#include "support/process.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class RunLocks : public LdifFixture {
protected:
    void stage(std::string_view content) {
        writeFile(temp_input_ldif_filename, content);
        ASSERT_FALSE(lockWorkFile());
        noteStagedWorkFile();
    }
    static std::string reasonOf(const std::optional<Message>& problem) {
        EXPECT_TRUE(problem && problem->id == 380928304);
        return problem ? problem->arguments.at(1) : "";
    }
    static void append(const std::string& name, std::string_view text) {
        writeFile(name, readFile(name) + std::string(text));
    }
};

TEST_F(RunLocks, BothFilesAreLockedUntilTheyAreReleased) {
    writeInput("dn: cn=a\n");
    ASSERT_FALSE(lockInput());
    ASSERT_FALSE(lockWorkFile());
    const File input = openFile(input_ldif_filename, 0);
    const File work = openFile(temp_input_ldif_filename, 0);
    EXPECT_EQ(lockFile(input), -1);
    EXPECT_EQ(lockFile(work), -1);
    releaseLocks();
    EXPECT_EQ(lockFile(input), 0);
    EXPECT_EQ(lockFile(work), 0);
}

TEST_F(RunLocks, SizesAreThoseOfTheLockAndOfTheEndOfStaging) {
    writeInput("dn: cn=a\n");
    ASSERT_FALSE(lockInput());
    stage("dn: cn=b\n\n");
    append(input_ldif_filename, "more");
    append(temp_input_ldif_filename, "more");
    EXPECT_EQ(inputSize(), 9);
    EXPECT_EQ(workFileSize(), 10);
}

TEST_F(RunLocks, FilesOfAnotherRunAreRefused) {
    writeInput("dn: cn=a\n");
    const File input = openFile(input_ldif_filename, 0);
    const File work = openLockedFile(temp_input_ldif_filename);
    ASSERT_EQ(lockFile(input), 0);
    EXPECT_THAT(reasonOf(lockInput()), StartsWith("another migration is using it"));
    EXPECT_THAT(reasonOf(lockWorkFile()), StartsWith("another migration is using it"));
}

TEST_F(RunLocks, MissingExportIsLeftToStaging) {
    EXPECT_FALSE(lockInput());
    EXPECT_EQ(endingOf(requireUnchangedInput).status, 0);

    writeInput("dn: cn=a\n");
    EXPECT_THAT(endingOf(requireInputInPlace), FailsWith(380928305));
}

TEST_F(RunLocks, WorkFileIsCreatedForItsOwnerAloneAndKeepsWhatIsThere) {
    ASSERT_FALSE(lockWorkFile());
    EXPECT_EQ(fileMode(temp_input_ldif_filename), 0600);
    EXPECT_FALSE(holdsLeftOvers());
    writeFile(temp_input_ldif_filename, "left behind");
    ASSERT_FALSE(lockWorkFile());
    EXPECT_EQ(workFile(), "left behind");
    EXPECT_TRUE(holdsLeftOvers());
    releaseLocks();
    EXPECT_FALSE(holdsLeftOvers());
}

TEST_F(RunLocks, WorkFileMustBeARegularFile) {
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/full"}) {
        temp_input_ldif_filename = device;
        EXPECT_EQ(reasonOf(lockWorkFile()), "it is not a regular file") << device;
    }
    temp_input_ldif_filename = folder.path("pipe");
    ASSERT_EQ(::mkfifo(temp_input_ldif_filename.c_str(), 0600), 0);
    EXPECT_EQ(reasonOf(lockWorkFile()), "it is not a regular file");

    temp_input_ldif_filename = folder.path("link");
    std::filesystem::create_symlink(writeFile(folder.path("elsewhere"), ""),
                                    temp_input_ldif_filename);
    EXPECT_EQ(reasonOf(lockWorkFile()), systemReason(ELOOP));
    std::filesystem::remove(folder.path("elsewhere"));
    EXPECT_EQ(reasonOf(lockWorkFile()), systemReason(ELOOP));
    EXPECT_FALSE(std::filesystem::exists(folder.path("elsewhere")));
}

TEST_F(RunLocks, WorkFileMustBelongToItsUserAlone) {
    const FileState own = {
        .kind = FileKind::REGULAR, .names = 1, .isOwn = true, .isOpenToOthers = false};
    EXPECT_EQ(workFileProblem(own), "");

    FileState state = own;
    state.isOwn = false;
    EXPECT_EQ(workFileProblem(state), "it belongs to another user. Remove it");
    state = own;
    state.isOpenToOthers = true;
    EXPECT_EQ(workFileProblem(state), "others than its owner may write to it. Remove it");
    state = own;
    state.names = 2;
    EXPECT_EQ(workFileProblem(state), "it has another name, a hard link. Remove it");
    state = own;
    state.kind = FileKind::PIPE;
    EXPECT_EQ(workFileProblem(state), "it is not a regular file");
}

TEST_F(RunLocks, WorkFileThatOthersShareIsRefusedAndLeftAlone) {
    const std::string& name = temp_input_ldif_filename;
    writeFile(name, "left behind");
    std::filesystem::permissions(name, std::filesystem::perms(0666));
    EXPECT_EQ(reasonOf(lockWorkFile()), "others than its owner may write to it. Remove it");
    std::filesystem::permissions(name, std::filesystem::perms(0600));
    std::filesystem::create_hard_link(name, folder.path("hard"));
    EXPECT_EQ(reasonOf(lockWorkFile()), "it has another name, a hard link. Remove it");
    EXPECT_EQ(readFile(name), "left behind");
}

TEST_F(RunLocks, NewWorkFileMayBelongToWhomTheFileSystemGivesIt) {
    const std::filesystem::path name = temp_input_ldif_filename;
    std::filesystem::permissions(name.parent_path(), std::filesystem::perms::all);
    const Ending ending = endingOf([] {
        constexpr uid_t nobody = 65534;
        ::setfsuid(nobody);  // only root may do that, and only for root it makes a difference
        ::_exit(lockWorkFile() ? 1 : 42);
    });
    EXPECT_EQ(ending.status, 42);
    EXPECT_EQ(stateOf(temp_input_ldif_filename).isOwn, ::geteuid() != 0);
}

TEST_F(RunLocks, MessagesSuspectAWorkFileThatWasLeftBehind) {
    const std::string suspicion = "The work file \"" + temp_input_ldif_filename + "\", which an";
    ASSERT_FALSE(lockWorkFile());
    EXPECT_THAT(migrationFailed("why").arguments.at(2), Not(HasSubstr(suspicion)));
    releaseLocks();
    writeFile(temp_input_ldif_filename, "left behind");
    ASSERT_FALSE(lockWorkFile());
    // Problems found while the export is staged are not in the work file.
    EXPECT_THAT(migrationFailed("why").arguments.at(2), Not(HasSubstr(suspicion)));
    noteStagedWorkFile();
    EXPECT_THAT(migrationFailed("why").arguments.at(2), StartsWith(suspicion));
    EXPECT_THAT(slotOccupied("one", "other").arguments.at(3), StartsWith(suspicion));
    releaseLocks();
    EXPECT_THAT(migrationFailed("why").arguments.at(2), Not(HasSubstr(suspicion)));
}

TEST_F(RunLocks, EveryReasonHasItsWords) {
    const auto reasonFor = [](int error) {
        const Message message = lockMessage("file", error);
        EXPECT_EQ(message.id, 380928304);
        return message.arguments.at(1);
    };
    EXPECT_EQ(
        reasonFor(EWOULDBLOCK),
        "another migration is using it, or another program has locked it. Wait until that has "
        "ended");
    EXPECT_EQ(reasonFor(ENODEV), "it is not a regular file");
    EXPECT_EQ(reasonFor(ESPIPE), "it is a pipe; the output must be a file");
    EXPECT_EQ(reasonFor(ENOLCK), "No locks available");
}

TEST_F(RunLocks, ExportMustNotChange) {
    writeInput("dn: cn=a\n");
    ASSERT_FALSE(lockInput());
    EXPECT_EQ(endingOf(requireUnchangedInput).status, 0);

    append(input_ldif_filename, "cn: a\n");
    const Ending ending = endingOf(requireUnchangedInput);
    EXPECT_THAT(ending, FailsWith(380928305));
    EXPECT_THAT(ending.errors, HasSubstr('"' + input_ldif_filename +
                                         "\": another program has changed or replaced it since"));
}

TEST_F(RunLocks, ExportMustStayWhereItIsUntilItIsStaged) {
    writeInput("dn: cn=a\n");
    ASSERT_FALSE(lockInput());
    EXPECT_EQ(endingOf(requireInputInPlace).status, 0);
    std::filesystem::rename(writeFile(folder.path("new"), "dn: cn=b\n"), input_ldif_filename);
    EXPECT_THAT(endingOf(requireInputInPlace), FailsWith(380928305));
}

TEST_F(RunLocks, DeviceIsNoExport) {
    for (const char* device : {"/dev/null", "/dev/zero"}) {
        input_ldif_filename = device;
        EXPECT_EQ(reasonOf(lockInput()), "it is not a regular file") << device;
    }
}

TEST_F(RunLocks, ExportThatIsAPipeIsLeftToStaging) {
    input_ldif_filename = folder.path("pipe");
    ASSERT_EQ(::mkfifo(input_ldif_filename.c_str(), 0600), 0);
    EXPECT_FALSE(lockInput());
}

TEST_F(RunLocks, ChangeOfAnExportIsNoticedAlthoughItsTimeIsSetBack) {
    writeInput("dn: cn=a\n");
    const auto time = std::filesystem::last_write_time(input_ldif_filename);
    ASSERT_FALSE(lockInput());
    const std::int64_t before = stateOf(input_ldif_filename).changedTime;
    do {
        writeInput("dn: cn=b\n");
        std::filesystem::last_write_time(input_ldif_filename, time);
    } while (stateOf(input_ldif_filename).changedTime == before);  // the clock may be coarse
    EXPECT_THAT(endingOf(requireInputInPlace), FailsWith(380928305));
}

TEST_F(RunLocks, ExportThatHasBeenReadMayBeRenamedLinkedAndProtected) {
    writeInput("dn: cn=a\n");
    ASSERT_FALSE(lockInput());
    const std::int64_t before = stateOf(input_ldif_filename).changedTime;
    do {
        std::filesystem::permissions(input_ldif_filename, std::filesystem::perms::owner_read);
        std::filesystem::remove(folder.path("link"));
        std::filesystem::create_hard_link(input_ldif_filename, folder.path("link"));
    } while (stateOf(input_ldif_filename).changedTime == before);
    std::filesystem::remove(input_ldif_filename);
    EXPECT_EQ(endingOf(requireUnchangedInput).status, 0);
}

TEST_F(RunLocks, FileThatCannotBeSeenIsNotBlamedOnAnotherProgram) {
    EXPECT_EQ(reasonOfChange({.error = EACCES}, "another program has replaced it"),
              "Permission denied");
    for (const int gone : {ENOENT, ENOTDIR}) {
        EXPECT_EQ(reasonOfChange({.error = gone}, "another program has replaced it"),
                  "another program has replaced it");
    }
    EXPECT_EQ(reasonOfChange({.kind = FileKind::REGULAR}, "another program has replaced it"),
              "another program has replaced it");
}

TEST_F(RunLocks, ExportMustNotBeWrittenInPlace) {
    writeInput("dn: cn=a\n");
    ASSERT_FALSE(lockInput());
    const auto later = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
    std::filesystem::last_write_time(input_ldif_filename, later);
    EXPECT_THAT(endingOf(requireUnchangedInput), FailsWith(380928305));
}

TEST_F(RunLocks, WorkFileMustKeepItsSize) {
    stage("dn: cn=a\n\n");
    EXPECT_EQ(endingOf(requireIntactWorkFile).status, 0);
    // The byte that blanking a last line of one character adds.
    append(temp_input_ldif_filename, " ");
    EXPECT_EQ(endingOf(requireIntactWorkFile).status, 0);

    append(temp_input_ldif_filename, " ");
    const Ending ending = endingOf(requireIntactWorkFile);
    EXPECT_THAT(ending, FailsWith(380928307));
    EXPECT_THAT(ending.errors,
                HasSubstr('"' + temp_input_ldif_filename +
                          "\": another program has changed its size or replaced it"));
    writeFile(temp_input_ldif_filename, "dn: cn=a\n");
    EXPECT_THAT(endingOf(requireIntactWorkFile), FailsWith(380928307));
}

TEST_F(RunLocks, WorkFileMustStayWhereItIs) {
    stage("dn: cn=a\n\n");
    std::filesystem::rename(temp_input_ldif_filename, folder.path("elsewhere"));
    EXPECT_THAT(endingOf(requireIntactWorkFile), FailsWith(380928307));
    writeFile(temp_input_ldif_filename, "dn: cn=a\n\n");
    EXPECT_THAT(endingOf(requireIntactWorkFile), FailsWith(380928307));
}

}  // namespace
