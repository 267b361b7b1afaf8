#include "ldif/staging.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "support/ldif_fixture.h"
#include "support/odd_files.h"
#include "support/process.h"

using std::string_literals::operator""s;

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Staging : public LdifFixture {
protected:
    // Stages `input`; output and work file can be looked at afterwards.
    void stage(std::string_view input) {
        writeInput(input);
        openOutput();
        EXPECT_EQ(copyOriginalInputFileToTempInputFile(), 0);
    }

    std::string staged(std::string_view input) {
        stage(input);
        EXPECT_EQ(output(), "");
        return workFile();
    }

    std::string passed(std::string_view input) {
        stage(input);
        EXPECT_EQ(workFile(), "");
        return output();
    }
};

std::string entryOfClass(const std::string& name, const std::string& dn = "cn=x") {
    return "dn: " + dn + "\nobjectClass: " + name + "\nsecDomainId: 1\ninstallDate: 1\n\n";
}

TEST_F(Staging, ClassesThatAreRegroupedGoToTheWorkFile) {
    for (const char* name :
         {"secUser", "secGroup", "secPolicyData", "secPolicy", "secMap", "secResCreds"}) {
        EXPECT_EQ(staged(entryOfClass(name)), entryOfClass(name));
        std::filesystem::remove(temp_input_ldif_filename);
    }
    const std::string container = entryOfClass("container", "cn=ResCreds,cn=x");
    EXPECT_EQ(staged(container), container);
}

TEST_F(Staging, OtherClassesGoToTheOutput) {
    for (const char* name : {"person", "secAuthorityInfo", "container"}) {
        EXPECT_EQ(passed(entryOfClass(name)), entryOfClass(name));
    }
}

TEST_F(Staging, PolicyOfTheNewerLayoutGoesToTheOutput) {
    for (const char* dn :
         {"cn=Policies,secAuthority=default", "cn=Policy,CN=POLICIES,SECAUTHORITY=Default",
          "cn=a,cn=policies,\n secauthority=b"}) {
        stage("dn: "s + dn + "\nobjectClass: secPolicy\n\n");
        EXPECT_EQ(workFile(), "") << dn;
        EXPECT_THAT(output(), EndsWith("objectClass: secPolicy\n\n"));
    }
}

TEST_F(Staging, PolicyOfTheOlderLayoutGoesToTheWorkFile) {
    for (const char* dn : {"cn=Policy,cn=a,o=b", "cn=Policies, secAuthority=default"}) {
        EXPECT_EQ(staged(entryOfClass("secPolicy", dn)), entryOfClass("secPolicy", dn));
        std::filesystem::remove(temp_input_ldif_filename);
    }
}

TEST_F(Staging, OnlyPoliciesAreTestedForTheNewerLayout) {
    const std::string entry = entryOfClass("secMap", "cn=Policies,secAuthority=default");
    EXPECT_EQ(staged(entry), entry);
}

TEST_F(Staging, OneBlankLineFollowsEachEntry) {
    stage("\n\ndn: cn=a\n\n \r\n\ndn: cn=b\nobjectClass: secMap\n\n# c\n\ndn: cn=c\n");
    EXPECT_EQ(workFile(), "dn: cn=b\nobjectClass: secMap\n\n");
    EXPECT_EQ(output(), "dn: cn=a\n\ndn: cn=c\n\n");
}

TEST_F(Staging, LastEntryNeedsNoBlankLine) {
    EXPECT_EQ(staged("dn: cn=a\nobjectClass: secMap"), "dn: cn=a\nobjectClass: secMap\n\n");
    std::filesystem::remove(temp_input_ldif_filename);
    EXPECT_EQ(passed("dn: cn=a\ncn: a"), "dn: cn=a\ncn: a\n\n");
}

TEST_F(Staging, EmptyExportLeavesEmptyFiles) {
    stage("# nothing\n\n");
    EXPECT_EQ(workFile(), "");
    EXPECT_EQ(output(), "");
}

TEST_F(Staging, AttributesAreUnfoldedAndEndInALineFeed) {
    EXPECT_EQ(passed("dn: cn=a\r\n ,o=b\r\nx: 1\n  2\n \n"), "dn: cn=a,o=b\nx: 1 2\n\n");
    EXPECT_EQ(staged("dn: cn=a\r\n ,o=b\r\nobjectClass: sec\n Map\nobjectClass: secMap\n"),
              "dn: cn=a,o=b\nobjectClass: secMap\nobjectClass: secMap\n\n");
}

TEST_F(Staging, EntryIdentifiersAreDroppedFromTheOutputAlone) {
    const std::string lines = "KVO-ENTRYUUID: 1\nkvo-entryuuid: 2\nx: kvo-entryuuid: 3\n";
    EXPECT_EQ(passed("dn: cn=a\n" + lines + "Kvo-EntryUUID: 4\n\n"),
              "dn: cn=a\nKvo-EntryUUID: 4\n\n");
    EXPECT_EQ(staged("dn: cn=a\nobjectClass: secMap\n" + lines + "\n"),
              "dn: cn=a\nobjectClass: secMap\n" + lines + "\n");
}

TEST_F(Staging, EntryIdentifierIsLookedForInTheUnfoldedAttribute) {
    EXPECT_EQ(passed("dn: cn=a\nx: kvo-entry\n uuid: 1\n y\n\n"), "dn: cn=a\n\n");
}

TEST_F(Staging, SpacesAroundCommasOfASecdnAreRemovedInTheWorkFileAlone) {
    EXPECT_EQ(
        staged("dn: cn=m, o=b\nobjectClass: secMap\nsecdn: cn=a ,\n  o=b\nsecDN: cn=a, o=b\n"),
        "dn: cn=m, o=b\nobjectClass: secMap\nsecdn: cn=a,o=b\nsecDN: cn=a, o=b\n\n");
    std::filesystem::remove(temp_input_ldif_filename);
    EXPECT_EQ(passed("dn: cn=m\nsecdn: cn=a, o=b\n"), "dn: cn=m\nsecdn: cn=a, o=b\n\n");
}

TEST_F(Staging, EntriesAreAdjustedOnTheWay) {
    EXPECT_EQ(staged("dn: cn=a\nobjectClass: secUser\nsecAuthority: D\nprincipalName: p\n"
                     "secuuid: u\n"),
              "dn: cn=a\nobjectClass: secUser\nsecAuthority: D\nprincipalName: p\nsecUUID: u\n"
              "secDomainId: D%p\n\n");
    std::filesystem::remove(temp_input_ldif_filename);
    EXPECT_EQ(passed("dn: cn=a\nobjectClass: secAuthorityInfo\nversion: 3.0\ninstallDate: 1\n"),
              "dn: cn=a\nobjectClass: secAuthorityInfo\nversion: 6.0\ninstallDate: 1\n\n");
}

TEST_F(Staging, UserWithoutAuthorityEndsTheProcessWithItsEchoButNoTrace) {
    writeInput("dn: cn=a\nobjectClass: secUser\n");
    openOutput();
    debugError = true;
    startTrace();
    const Ending ending = endingOf(copyOriginalInputFileToTempInputFile);
    EXPECT_THAT(ending, FailsWith(380928302));
    EXPECT_THAT(ending.output, StartsWith("tweekObjectInObjectArray():  "));
    EXPECT_THAT(traced(), Not(HasSubstr("tweek")));
}

TEST_F(Staging, EntryThatBeginsWithASpaceEndsTheProcess) {
    writeInput(" dn: cn=a\ncn: a\n\n");
    openOutput();
    EXPECT_THAT(endingOf(copyOriginalInputFileToTempInputFile), FailsWith(380928302));
}

TEST_F(Staging, EntryThatIsTooLargeIsPassedByTheReader) {
    std::string large = "dn: cn=large\nobjectClass: secUser\n";
    for (int i = 0; i < 249998; ++i) {
        large += "a\n";
    }
    stage(large + "\n" + entryOfClass("secMap"));
    EXPECT_EQ(workFile(), entryOfClass("secMap"));
    EXPECT_EQ(output(), large + "\n");
}

TEST_F(Staging, WorkFileOfAnEarlierRunIsExtended) {
    const std::string entry = entryOfClass("secUser");
    EXPECT_EQ(staged(entry), entry);
    EXPECT_EQ(staged(entry), entry + entry);
}

TEST_F(Staging, WorkFileIsCreatedForItsOwnerAlone) {
    stage("dn: cn=a\n");
    EXPECT_EQ(fileMode(temp_input_ldif_filename), 0600);
}

TEST_F(Staging, ExportStaysUnchangedAndIsClosed) {
    stage(entryOfClass("secUser"));
    EXPECT_EQ(readFile(input_ldif_filename), entryOfClass("secUser"));
    EXPECT_FALSE(ifp.isOpen());
}

TEST_F(Staging, BothFilesAreCompleteAtItsEnd) {
    stage("dn: cn=a\n\ndn: cn=b\nobjectClass: secMap\n\n");
    EXPECT_EQ(readFile(output_ldif_filename), "dn: cn=a\n\n");
    EXPECT_EQ(workFile(), "dn: cn=b\nobjectClass: secMap\n\n");
}

TEST_F(Staging, OnlyBeginningAndEndAreTraced) {
    startTrace();
    stage(entryOfClass("secUser"));
    const std::string function = "copyOriginalInputFileToTempInputFile():  ";
    EXPECT_EQ(traced(), function + "TURNING DEBUG TRACING OFF \n" + function + "FUNCTION ENTRY \n" +
                            function +
                            "The temporary input file name = " + temp_input_ldif_filename + " \n" +
                            function + "TURNING DEBUG TRACING BACK ON \n");
    EXPECT_TRUE(debug);
}

TEST_F(Staging, TraceThatIsOffStaysOff) {
    startTrace();
    debug = false;
    stage("dn: cn=a\n");
    EXPECT_EQ(traced(), "");
    EXPECT_FALSE(debug);
}

class StagingFailure : public Staging {
protected:
    // How staging ends. Nothing of a failure may be traced or echoed.
    Ending ending() {
        debugError = true;
        startTrace();
        const Ending result = endingOf(copyOriginalInputFileToTempInputFile);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(traced(), EndsWith(temp_input_ldif_filename + " \n"));
        return result;
    }
};

TEST_F(StagingFailure, MissingExport) {
    openOutput();
    const Ending result = ending();
    EXPECT_THAT(result, FailsWith(380928304));
    EXPECT_THAT(result.errors, HasSubstr('"' + input_ldif_filename + '"'));
    EXPECT_FALSE(fileExists(temp_input_ldif_filename));
}

TEST_F(StagingFailure, WorkFileThatCannotBeOpened) {
    writeInput("dn: cn=a\n");
    openOutput();
    std::filesystem::create_directory(temp_input_ldif_filename);
    const Ending result = ending();
    EXPECT_THAT(result, FailsWith(380928304));
    EXPECT_THAT(result.errors, HasSubstr('"' + temp_input_ldif_filename + '"'));
}

TEST_F(StagingFailure, OutputThatIsFullAtTheEnd) {
    writeInput("dn: cn=a\n");
    ASSERT_EQ(ofp.open(fullFile, 0), 0);
    const Ending result = ending();
    EXPECT_THAT(result, FailsWith(380928306));
    EXPECT_THAT(result.errors, HasSubstr('"' + output_ldif_filename + '"'));
    ofp.close();
}

TEST_F(StagingFailure, OutputThatIsFullInBetween) {
    writeInput("dn: cn=a\ncn: " + std::string(300000, 'x') + "\n");
    ASSERT_EQ(ofp.open(fullFile, 0), 0);
    const Ending result = ending();
    EXPECT_THAT(result, FailsWith(380928306));
    EXPECT_THAT(result.errors, HasSubstr('"' + output_ldif_filename + '"'));
    ofp.close();
}

TEST_F(StagingFailure, WorkFileThatIsFull) {
    openOutput();
    for (const std::size_t size : {1000U, 300000U}) {
        writeInput("dn: cn=a\nobjectClass: secMap\nx: " + std::string(size, 'x') + "\n");
        const FileSizeLimit limit(1000);
        const Ending result = ending();
        EXPECT_THAT(result, FailsWith(380928306));
        EXPECT_THAT(result.errors, HasSubstr('"' + temp_input_ldif_filename + '"'));
        std::filesystem::remove(temp_input_ldif_filename);
    }
}

TEST_F(StagingFailure, LeavesAnOutputThatExistsAloneUntilEverythingIsOpen) {
    writeFile(output_ldif_filename, "of an earlier run");
    ASSERT_EQ(ofp.openLocked(output_ldif_filename), 0);
    EXPECT_THAT(ending(), FailsWith(380928304));  // there is no export
    EXPECT_EQ(readFile(output_ldif_filename), "of an earlier run");

    std::filesystem::create_directory(temp_input_ldif_filename);
    writeInput("dn: cn=a\n");
    EXPECT_THAT(ending(), FailsWith(380928304));
    EXPECT_EQ(readFile(output_ldif_filename), "of an earlier run");

    std::filesystem::remove(temp_input_ldif_filename);
    EXPECT_EQ(endingOf(copyOriginalInputFileToTempInputFile).status, 0);
    EXPECT_EQ(readFile(output_ldif_filename), "dn: cn=a\n\n");
}

TEST_F(Staging, AnnouncesAWorkFileThatWasLeftBehindUnlessItIsEmpty) {
    writeInput("dn: cn=a\n");
    openOutput();
    EXPECT_EQ(endingOf(copyOriginalInputFileToTempInputFile).errors, "");
    EXPECT_EQ(readFile(temp_input_ldif_filename), "");
    EXPECT_EQ(endingOf(copyOriginalInputFileToTempInputFile).errors, "");

    writeFile(temp_input_ldif_filename, "\n");
    const Ending ending = endingOf(copyOriginalInputFileToTempInputFile);
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.errors,
              "380928316 WARNING: the work file \"" + temp_input_ldif_filename +
                  "\" was left behind by an earlier run. What it holds is migrated too. If you do "
                  "not want that, end this run, remove the work file and start again\n");
}

TEST_F(StagingFailure, WorkFileThatHasBecomeALink) {
    writeInput("dn: cn=a\nobjectClass: secMap\n");
    openOutput();
    const std::string elsewhere = writeFile(folder.path("elsewhere"), "kept");
    std::filesystem::create_symlink(elsewhere, temp_input_ldif_filename);
    const Ending result = ending();
    EXPECT_THAT(result, FailsWith(380928304));
    EXPECT_THAT(result.errors, HasSubstr('"' + temp_input_ldif_filename + '"'));
    EXPECT_EQ(readFile(elsewhere), "kept");
}

TEST_F(StagingFailure, ExportWithoutPositions) {
    makePipe(input_ldif_filename);
    openOutput();
    EXPECT_THAT(ending(), FailsWith(380928301));
}

TEST_F(StagingFailure, ReadErrorIsReturned) {
    std::filesystem::create_symlink(unreadableFile, input_ldif_filename);
    openOutput();
    startTrace();
    EXPECT_EQ(copyOriginalInputFileToTempInputFile(), -1);
    EXPECT_EQ(ifp.error(), EIO);
    EXPECT_TRUE(debug);
}

}  // namespace
