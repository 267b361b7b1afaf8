#include "ldif/work_file.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "support/ldif_fixture.h"
#include "support/odd_files.h"
#include "support/process.h"

using std::string_literals::operator""s;

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr int (*deleteEntry)(LineReader&) = deleteNextObjectFromTemporaryInputLDIFFile;
constexpr int (*stepOver)(LineReader&) = stepOverNextObjectFromTemporaryInputLDIFFile;
constexpr int (*readWorkFile)(LineReader&) = getNextObjectFromTemporaryInputLDIFFile;

class WorkFile : public LdifFixture {
protected:
    // The contents of the work file after its first entry has been deleted.
    std::string afterDeletion(std::string_view content) {
        openWorkFile(content);
        EXPECT_EQ(deleteEntry(tifp), 0);
        return workFile();
    }
};

TEST_F(WorkFile, DeletionBlanksEveryLineOfTheEntryInItsLength) {
    EXPECT_EQ(afterDeletion("cn=a\nx: 1\r\nab\n\ncn=b\n"), "   \r\n    \r\n \r\n\ncn=b\n");
}

TEST_F(WorkFile, DeletionLeavesBlankLinesAroundTheEntryUnchanged) {
    EXPECT_EQ(afterDeletion("\n \r\ncn=a\n  \n\ncn=b\n"), "\n \r\n   \r\n  \n\ncn=b\n");
}

TEST_F(WorkFile, DeletionBlanksCommentsToo) {
    EXPECT_EQ(afterDeletion("# 1\ncn=a\n#\n\ncn=b\n"), "  \r\n   \r\n\r\n\ncn=b\n");
}

TEST_F(WorkFile, DeletedEntryIsNotReadAgain) {
    openWorkFile("cn=a\nx: 1\n\ncn=b\n\ncn=c\n\n");
    readWorkFile(tifp);
    EXPECT_EQ(deleteEntry(tifp), 0);
    EXPECT_EQ(tifp.tell(), 11);
    readWorkFile(tifp);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b\n"));
    ASSERT_EQ(tifp.close(), 0);
    ASSERT_EQ(tifp.open(temp_input_ldif_filename), 0);
    readWorkFile(tifp);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b\n"));
}

TEST_F(WorkFile, DeletedLastLineWithoutLineEndKeepsItsLength) {
    EXPECT_EQ(afterDeletion("cn=a\nx: 1"), "   \r\n  \r\n");
    EXPECT_EQ(afterDeletion("ab"), "\r\n");
}

TEST_F(WorkFile, DeletedLastLineOfOneCharacterExtendsTheFile) {
    EXPECT_EQ(afterDeletion("cn=a\nx"), "   \r\n\r\n");
    EXPECT_EQ(tifp.tell(), 7);
}

TEST_F(WorkFile, DeletionOfPiecesOfALongLineKeepsTheLength) {
    EXPECT_EQ(afterDeletion(std::string(5000, 'x') + "\n\ny"),
              std::string(4093, ' ') + "\r\n" + std::string(904, ' ') + "\r\n\ny");
}

TEST_F(WorkFile, DeletionBlanksALineUpToItsNulByte) {
    // The text behind it begins with the NUL byte: a blank line, the end of the entry.
    EXPECT_EQ(afterDeletion("cn=a\0x: 1\n\ncn=b\n"s), "  \r\n\0x: 1\n\ncn=b\n"s);
    EXPECT_EQ(tifp.tell(), 10);
}

TEST_F(WorkFile, NothingIsDeletedOrSteppedOverAtEndOfFile) {
    for (const std::string& content : {""s, "\n"s, "  \r\n\n\r\n"s, "\0"s}) {
        EXPECT_EQ(afterDeletion(content), content);
        openWorkFile(content);
        EXPECT_EQ(stepOver(tifp), 0);
        EXPECT_EQ(workFile(), content);
        EXPECT_EQ(tifp.tell(), static_cast<long>(content.size()));
    }
}

TEST_F(WorkFile, StepOverMovesBehindTheBlankLineAndWritesNothing) {
    const std::string content = "\n# 1\ncn=a\n\n\ncn=b\n";
    openWorkFile(content);
    EXPECT_EQ(stepOver(tifp), 0);
    EXPECT_EQ(tifp.tell(), 11);
    readWorkFile(tifp);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b\n"));
    EXPECT_EQ(workFile(), content);
}

TEST_F(WorkFile, FirstStepOverOfAPassIsRemembered) {
    openWorkFile("cn=a\n\n\ncn=b\n\ncn=c\n\ncn=d\n");
    stepOver(tifp);
    EXPECT_TRUE(hasTheStepOverFilePositionBeenInitialized);
    EXPECT_EQ(filePositionOfFirstObjectSteppedOver.offset, 0);
    stepOver(tifp);
    EXPECT_EQ(filePositionOfFirstObjectSteppedOver.offset, 0);

    hasTheStepOverFilePositionBeenInitialized = false;
    stepOver(tifp);
    EXPECT_EQ(filePositionOfFirstObjectSteppedOver.offset, 13);
}

TEST_F(WorkFile, BlankLinesBeforeTheEntryBelongToTheRememberedPosition) {
    openWorkFile("cn=a\n\n\n\ncn=b\n");
    deleteEntry(tifp);
    EXPECT_FALSE(hasTheStepOverFilePositionBeenInitialized);
    stepOver(tifp);
    EXPECT_EQ(filePositionOfFirstObjectSteppedOver.offset, 6);
}

// Reads the work file to its end; entries are deleted or stepped over as `isLeft` has it.
template <class IsLeft>
void readToTheEnd(IsLeft isLeft) {
    for (int i = 0; readWorkFile(tifp) == 0; ++i) {
        ASSERT_EQ(isLeft(i) ? stepOver(tifp) : deleteEntry(tifp), 0);
    }
}

// The first lines of all entries that are read when lines known to be blank are skipped.
std::vector<std::string> seenAgain() {
    EXPECT_EQ(tifp.close(), 0);
    EXPECT_EQ(tifp.open(temp_input_ldif_filename), 0);
    std::vector<std::string> seen;
    for (;;) {
        skipBlankedObjects(tifp);
        readWorkFile(tifp);
        if (object.empty()) {
            return seen;
        }
        seen.emplace_back(object.line(0));
        stepOver(tifp);
    }
}

TEST_F(WorkFile, BlankedEntriesAreSkipped) {
    openWorkFile("cn=a\n\ncn=b\n\ncn=c\n\ncn=d\n\ncn=e\n\n");
    readToTheEnd([](int i) { return i == 1 || i == 2 || i == 4; });
    rememberObjectsSteppedOver(tifp);
    // The entries skipped would be read without the skipping.
    ASSERT_EQ(tifp.close(), 0);
    writeFile(temp_input_ldif_filename, "cn=A\n\ncn=B\n\ncn=C\n\ncn=D\n\ncn=E\n\n");
    ASSERT_EQ(tifp.open(temp_input_ldif_filename), 0);
    EXPECT_THAT(seenAgain(), ElementsAre("cn=B\n", "cn=C\n", "cn=E\n"));

    rememberObjectsSteppedOver(tifp);
    EXPECT_THAT(seenAgain(), ElementsAre("cn=B\n", "cn=C\n", "cn=E\n"));
    forgetObjectsSteppedOver();
    EXPECT_THAT(seenAgain(), ElementsAre("cn=A\n", "cn=B\n", "cn=C\n", "cn=D\n", "cn=E\n"));
}

TEST_F(WorkFile, NothingButTheEndIsLeftWhenNothingHasBeenSteppedOver) {
    openWorkFile("cn=a\n\ncn=b\n\n");
    readToTheEnd([](int) { return false; });
    rememberObjectsSteppedOver(tifp);
    skipBlankedObjects(tifp);
    ASSERT_EQ(tifp.setPosition({0}), 0);
    skipBlankedObjects(tifp);
    EXPECT_EQ(tifp.tell(), 12);
}

TEST_F(WorkFile, NoEntryIsSkippedHoweverManyAreSteppedOver) {
    std::string content;
    for (int i = 0; i < 150000; ++i) {
        content += "cn=" + std::to_string(i) + "\n\n";
    }
    openWorkFile(content);
    readToTheEnd([](int i) { return i % 2 == 1; });  // more stretches than are remembered
    rememberObjectsSteppedOver(tifp);
    const std::vector<std::string> seen = seenAgain();
    ASSERT_EQ(seen.size(), 75000U);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        ASSERT_EQ(seen[i], "cn=" + std::to_string(2 * i + 1) + "\n");
    }
}

TEST_F(WorkFile, EntryBehindALongBlankStretchIsDeletedAndSteppedOver) {
    const std::string blanks = std::string(998, ' ') + "\r\n";
    std::string content;
    for (int i = 0; i < 1000; ++i) {
        content += blanks;
    }
    openWorkFile(content + "cn=a\n\ncn=b\n\n");
    readWorkFile(tifp);
    EXPECT_EQ(deleteEntry(tifp), 0);
    readWorkFile(tifp);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b\n"));
    EXPECT_EQ(workFile(), content + "   \r\n\ncn=b\n\n");

    ASSERT_EQ(tifp.setPosition({0}), 0);
    readWorkFile(tifp);
    EXPECT_EQ(stepOver(tifp), 0);
    EXPECT_EQ(tifp.tell(), static_cast<long>(content.size()) + 12);
    EXPECT_EQ(filePositionOfFirstObjectSteppedOver.offset, 0);
}

TEST_F(WorkFile, StreamWithoutPositionsIsReportedButNotFatal) {
    ASSERT_EQ(tifp.open(makePipe(folder.path("pipe"))), 0);
    for (const auto operation : {deleteEntry, stepOver}) {
        startTrace();
        const Ending ending = endingOf([operation] { std::exit(operation(tifp) == -1 ? 42 : 1); });
        EXPECT_EQ(ending.status, 42);
        EXPECT_THAT(ending.errors, testing::StartsWith("380928301 ERROR: "));
        EXPECT_THAT(ending.errors, HasSubstr("fgetpos() returned -1"));
    }
}

TEST_F(WorkFile, FailedStepOverRemembersNothing) {
    ASSERT_EQ(tifp.open(makePipe(folder.path("pipe"))), 0);
    startTrace();
    endingOf([] {
        stepOver(tifp);
        trace("remembered: %d\n", int{hasTheStepOverFilePositionBeenInitialized});
    });
    const std::string function = "stepOverNextObjectFromTemporaryInputLDIFFile():  ";
    EXPECT_EQ(traced(), function + "FUNCTION ENTRY  \n" + function +
                            "fgetpos() failed with rc = -1 (dec)  \n" + function +
                            "FUNCTION EXIT1  \n" + function + "FUNCTION EXIT ERROR  \n" +
                            "remembered: 0\n");
}

TEST_F(WorkFile, DeletionReportsAFailureToGoBack) {
    // In a last line of one character, the blank line ends beyond the end of the file.
    const int descriptor = nextDescriptor();
    openWorkFile("");
    replaceByPipe(descriptor, "a");
    const Ending ending = endingOf([] { std::exit(deleteEntry(tifp) == -1 ? 42 : 1); });
    EXPECT_EQ(ending.status, 42);
    EXPECT_THAT(ending.errors, testing::StartsWith("380928301 ERROR: "));
    EXPECT_THAT(ending.errors, HasSubstr("fsetpos() returned -1"));
}

TEST_F(WorkFile, FailedOverwriteIsReportedByTheResultAlone) {
    const int descriptor = nextDescriptor();
    // More than is gathered before it is written.
    const std::string content(300000, 'x');
    openWorkFile("cn=a\n\n" + content);
    EXPECT_EQ(deleteEntry(tifp), 0);
    replaceByReadOnlyFile(descriptor, temp_input_ldif_filename);
    debugError = true;
    startTrace();
    const Ending ending = endingOf([] { std::exit(deleteEntry(tifp) == -1 ? 42 : 1); });
    EXPECT_EQ(ending.status, 42);
    EXPECT_EQ(ending.output + ending.errors, "");
    EXPECT_EQ(traced(), "deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n"
                        "deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT ERROR  \n");
}

TEST_F(WorkFile, ReadErrorFailsBothOperations) {
    const TextBeforeReadError text("cn=a\n");
    for (const auto operation : {deleteEntry, stepOver}) {
        ASSERT_EQ(tifp.open(unreadableFile), 0);
        ASSERT_EQ(tifp.setPosition({text.offset()}), 0);
        startTrace();
        EXPECT_EQ(operation(tifp), -1);
        EXPECT_EQ(tifp.error(), EIO);
        EXPECT_THAT(traced(), testing::EndsWith("FUNCTION EXIT ERROR  \n"));
    }
}

TEST_F(WorkFile, DeletionTracesItsEntryAndExitAlone) {
    openWorkFile("\ncn=a\nx: 1\n\n");
    startTrace();
    deleteEntry(tifp);
    EXPECT_EQ(traced(), "deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n"
                        "deleteNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT  \n");
    EXPECT_TRUE(debug);
}

TEST_F(WorkFile, TracedDeletionIsInTheFileAtOnce) {
    openWorkFile("cn=a\n\ncn=b\n\n");
    startTrace();
    EXPECT_EQ(deleteEntry(tifp), 0);
    EXPECT_EQ(readFile(temp_input_ldif_filename), "   \r\n\ncn=b\n\n");
}

TEST_F(WorkFile, TracedDeletionThatTheSystemRefusesFails) {
    const int descriptor = nextDescriptor();
    openWorkFile("cn=a\n\ncn=b\n\n");
    readWorkFile(tifp);
    replaceByReadOnlyFile(descriptor, temp_input_ldif_filename);
    startTrace();
    EXPECT_EQ(deleteEntry(tifp), -1);
    EXPECT_EQ(tifp.error(), EBADF);
    EXPECT_THAT(traced(), testing::EndsWith("FUNCTION EXIT ERROR  \n"));
}

// The trace of step-over for one line read, up to the role of the line.
std::string readLine(std::string_view line, bool isBlank) {
    const std::string function = "stepOverNextObjectFromTemporaryInputLDIFFile() - ";
    return "\n" + function + "The next line returned from getNextLine() is:   \n" +
           std::string(line) + " \nThe line read contains " + std::to_string(line.size()) +
           " characters \n" + function + "The line " + (isBlank ? "IS" : "IS NOT") +
           " a blank line.   \n" + function;
}

TEST_F(WorkFile, StepOverTracesEveryLine) {
    openWorkFile("\r\ncn=a\n\ncn=b\n");
    startTrace();
    stepOver(tifp);
    EXPECT_EQ(traced(), "stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n" +
                            readLine("\r\n", true) + "This blank line precedes the object   \n" +
                            readLine("cn=a\n", false) + "This is an actual line of the object  \n" +
                            readLine("\n", true) + "This blank line terminates the object   \n" +
                            std::string(49, ' ') +
                            "and will cause this function to return.  \n"
                            "stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT \n");
}

TEST_F(WorkFile, StepOverTracesTheEndOfTheFile) {
    openWorkFile("cn=b");
    startTrace();
    stepOver(tifp);
    EXPECT_EQ(traced(), "stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION ENTRY  \n" +
                            readLine("cn=b", false) +
                            "This is an actual line of the object  \n"
                            "stepOverNextObjectFromTemporaryInputLDIFFile():  getNextLine() has "
                            "reached EOF.  Exiting loop. \n"
                            "stepOverNextObjectFromTemporaryInputLDIFFile():  FUNCTION EXIT \n");
}

}  // namespace
