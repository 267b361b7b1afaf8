#include "ldif/claims.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "driver/platform/file.h"
#include "support/ldif_fixture.h"
#include "support/process.h"

namespace {

using testing::HasSubstr;

class Claims : public LdifFixture {
protected:
    void stage(std::string_view content) {
        writeFile(temp_input_ldif_filename, content);
        ASSERT_EQ(claimWorkFile(), 0);
        noteStagedWorkFile();
    }
    static void append(const std::string& name, std::string_view text) {
        writeFile(name, readFile(name) + std::string(text));
    }
};

TEST_F(Claims, BothFilesAreLockedUntilTheyAreReleased) {
    writeInput("dn: cn=a\n");
    ASSERT_EQ(claimInput(), 0);
    ASSERT_EQ(claimWorkFile(), 0);
    const File input = openFile(input_ldif_filename, 0);
    const File work = openFile(temp_input_ldif_filename, 0);
    EXPECT_EQ(lockFile(input), -1);
    EXPECT_EQ(lockFile(work), -1);
    releaseClaims();
    EXPECT_EQ(lockFile(input), 0);
    EXPECT_EQ(lockFile(work), 0);
}

TEST_F(Claims, SizesAreThoseOfTheClaimAndOfTheEndOfStaging) {
    writeInput("dn: cn=a\n");
    ASSERT_EQ(claimInput(), 0);
    stage("dn: cn=b\n\n");
    append(input_ldif_filename, "more");
    append(temp_input_ldif_filename, "more");
    EXPECT_EQ(inputSize(), 9);
    EXPECT_EQ(workFileSize(), 10);
}

TEST_F(Claims, FilesOfAnotherRunAreNotHad) {
    writeInput("dn: cn=a\n");
    const File input = openFile(input_ldif_filename, 0);
    const File work = openEmptyFile(temp_input_ldif_filename);
    ASSERT_EQ(lockFile(input), 0);
    EXPECT_EQ(claimInput(), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    EXPECT_EQ(claimWorkFile(), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(Claims, MissingExportIsLeftToStaging) {
    EXPECT_EQ(claimInput(), 0);
    EXPECT_EQ(endingOf(requireUnchangedInput).status, 0);

    writeInput("dn: cn=a\n");
    EXPECT_THAT(endingOf(requireInputInPlace), FailsWith(380928305));
}

TEST_F(Claims, WorkFileIsCreatedForItsOwnerAloneAndKeepsWhatIsThere) {
    ASSERT_EQ(claimWorkFile(), 0);
    EXPECT_EQ(fileMode(temp_input_ldif_filename), 0600);
    EXPECT_FALSE(holdsLeftOvers());
    writeFile(temp_input_ldif_filename, "left behind");
    ASSERT_EQ(claimWorkFile(), 0);
    EXPECT_EQ(workFile(), "left behind");
    EXPECT_TRUE(holdsLeftOvers());
    releaseClaims();
    EXPECT_FALSE(holdsLeftOvers());
}

TEST_F(Claims, WorkFileMustBeARegularFile) {
    for (const char* device : {"/dev/null", "/dev/zero", "/dev/full"}) {
        temp_input_ldif_filename = device;
        EXPECT_EQ(claimWorkFile(), -1) << device;
        EXPECT_EQ(errno, ENODEV) << device;
    }
    temp_input_ldif_filename = folder.path("pipe");
    ASSERT_EQ(::mkfifo(temp_input_ldif_filename.c_str(), 0600), 0);
    EXPECT_EQ(claimWorkFile(), -1);
    EXPECT_EQ(errno, ENODEV);

    temp_input_ldif_filename = folder.path("link");
    std::filesystem::create_symlink(writeFile(folder.path("elsewhere"), ""),
                                    temp_input_ldif_filename);
    EXPECT_EQ(claimWorkFile(), -1);
    EXPECT_EQ(errno, ELOOP);
}

TEST_F(Claims, EveryReasonHasItsWords) {
    const auto reasonFor = [](int error) {
        errno = error;
        const Message message = claimMessage("file");
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

TEST_F(Claims, ExportMustNotChange) {
    writeInput("dn: cn=a\n");
    ASSERT_EQ(claimInput(), 0);
    EXPECT_EQ(endingOf(requireUnchangedInput).status, 0);

    append(input_ldif_filename, "cn: a\n");
    const Ending ending = endingOf(requireUnchangedInput);
    EXPECT_THAT(ending, FailsWith(380928305));
    EXPECT_THAT(ending.errors, HasSubstr('"' + input_ldif_filename +
                                         "\": another program has changed or replaced it since"));
}

TEST_F(Claims, ExportMustStayWhereItIsUntilItIsStaged) {
    writeInput("dn: cn=a\n");
    ASSERT_EQ(claimInput(), 0);
    EXPECT_EQ(endingOf(requireInputInPlace).status, 0);
    std::filesystem::rename(writeFile(folder.path("new"), "dn: cn=b\n"), input_ldif_filename);
    EXPECT_THAT(endingOf(requireInputInPlace), FailsWith(380928305));
}

TEST_F(Claims, DeviceAsExportIsNeitherLockedNorWatched) {
    input_ldif_filename = "/dev/null";
    ASSERT_EQ(claimInput(), 0);
    EXPECT_EQ(lockFile(openFile("/dev/null", 0)), 0);
    EXPECT_EQ(endingOf(requireInputInPlace).status, 0);
    EXPECT_EQ(endingOf(requireUnchangedInput).status, 0);
}

TEST_F(Claims, ExportMustNotBeWrittenInPlace) {
    writeInput("dn: cn=a\n");
    ASSERT_EQ(claimInput(), 0);
    const auto later = std::filesystem::file_time_type::clock::now() + std::chrono::hours(1);
    std::filesystem::last_write_time(input_ldif_filename, later);
    EXPECT_THAT(endingOf(requireUnchangedInput), FailsWith(380928305));
}

TEST_F(Claims, WorkFileMustKeepItsSize) {
    stage("dn: cn=a\n\n");
    EXPECT_EQ(endingOf(requireIntactWorkFile).status, 0);
    // The blanks of a last line of one character.
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

TEST_F(Claims, WorkFileMustStayWhereItIs) {
    stage("dn: cn=a\n\n");
    std::filesystem::rename(temp_input_ldif_filename, folder.path("elsewhere"));
    EXPECT_THAT(endingOf(requireIntactWorkFile), FailsWith(380928307));
    writeFile(temp_input_ldif_filename, "dn: cn=a\n\n");
    EXPECT_THAT(endingOf(requireIntactWorkFile), FailsWith(380928307));
}

}  // namespace
