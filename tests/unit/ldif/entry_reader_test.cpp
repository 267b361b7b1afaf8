#include "ldif/entry_reader.h"

#include <gmock/gmock.h>

#include <new>
#include <string>

#include "driver/diagnostics/failure.h"
#include "ldif/run_locks.h"
#include "ldif/work_file.h"
#include "support/allocations.h"
#include "support/ldif_fixture.h"
#include "support/odd_files.h"
#include "support/process.h"

using std::string_literals::operator""s;

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

constexpr int (*readWorkFile)(LineReader&) = getNextObjectFromTemporaryInputLDIFFile;

// As many short lines as stay below or reach the size that is passed through.
std::string shortLines(int count) {
    std::string lines;
    for (int i = 0; i < count; ++i) {
        lines += "a\n";
    }
    return lines;
}

class EntryReader : public LdifFixture {
protected:
    // Opens the work file so that it delivers `content` but cannot be positioned.
    void openWorkFileWithoutPositions(std::string_view content) {
        tifp.close();
        const int descriptor = nextDescriptor();
        openWorkFile("");
        replaceByPipe(descriptor, content);
    }
};

TEST_F(EntryReader, EntriesEndAtABlankLineOrAtEndOfFile) {
    openInput("\n# comment\n\ncn=a\nx: 1\n\ncn=b");
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=a\n", "x: 1\n"));
    EXPECT_EQ(getNextObject(ifp), END_OF_FILE);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b"));
    EXPECT_EQ(getNextObject(ifp), END_OF_FILE);
    EXPECT_EQ(next_available_object_slot(), 0);
}

TEST_F(EntryReader, BlankLinesAndCommentsAloneAreNoEntry) {
    const std::string content = "\n# one\n  \r\n# two\n\n";
    openInput(content);
    setObject({"old\n"});
    EXPECT_EQ(getNextObject(ifp), END_OF_FILE);
    EXPECT_EQ(next_available_object_slot(), 0);
    openWorkFile(content);
    setObject({"old\n"});
    EXPECT_EQ(readWorkFile(tifp), END_OF_FILE);
    EXPECT_EQ(next_available_object_slot(), 0);
}

TEST_F(EntryReader, CommentsWithinAnEntryAreDropped) {
    openInput("cn=a\n# comment\n # text\nx: 1\n\n");
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=a\n", " # text\n", "x: 1\n"));
}

TEST_F(EntryReader, LinesAreKeptUnchanged) {
    openInput("cn=a\r\n folded \n\t\n  \r\nnext\n");
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=a\r\n", " folded \n", "\t\n"));
}

TEST_F(EntryReader, BlankLineThatEndsTheEntryIsConsumed) {
    openInput("cn=a\n\ncn=b\n");
    getNextObject(ifp);
    EXPECT_EQ(ifp.tell(), 6);
}

TEST_F(EntryReader, LongLineBecomesSeveral) {
    openInput("cn=a\n" + std::string(5000, 'x') + "\n\n");
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_THAT(linesOf(object),
                ElementsAre("cn=a\n", std::string(4095, 'x'), std::string(905, 'x') + "\n"));
}

// A long line is read in pieces, and a later piece may be taken for the DN of an entry or its
// owner.
TEST_F(EntryReader, DnsAreNoLongerShownOnceTheRestOfALineLooksLikeOne) {
    const std::string spaces(longestLine, ' ');
    const std::string text = "dn: a\nx:" + std::string(longestLine - 2, 'x');
    for (const std::string& line :
         {spaces + "dn: b\n", spaces + "dn: b", spaces + spaces + "DN:b\n", text + "secdn: b\n",
          text + "secAuthority: b\r\n"}) {
        areDnsCertain = true;
        openInput("dn: a\n\n" + line + "x: 2\n\n");
        getNextObject(ifp);
        EXPECT_EQ(entryName(object), "\"dn: a\"");
        getNextObject(ifp);
        EXPECT_THAT(entryName(object), testing::StartsWith("(DN not shown, ")) << line;
    }
}

TEST_F(EntryReader, DnsAreShownWhereTheRestsOfLinesLookLikeNone) {
    const std::string text = "dn: a\nx:" + std::string(longestLine - 2, 'x');
    for (const std::string& line : {text + "x\n", text + "\ndn: b\n", text + "x dn: b\n"}) {
        openInput(line + "\ndn: c\n");
        getNextObject(ifp);
        EXPECT_EQ(entryName(object), "\"dn: a\"");
    }
}

TEST_F(EntryReader, LineFeedLeftOverByALongLineEndsTheEntry) {
    openInput("cn=a\n" + std::string(4095, 'x') + "\ny: 1\n\n");
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=a\n", std::string(4095, 'x')));
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_THAT(linesOf(object), ElementsAre("y: 1\n"));
}

TEST_F(EntryReader, LineThatBeginsWithNulIsBlank) {
    openInput("cn=a\n\0x\ncn=b\0lost\ny: 1\n"s);
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=a\n"));
    EXPECT_EQ(getNextObject(ifp), END_OF_FILE);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b", "y: 1\n"));
}

TEST_F(EntryReader, LargestEntryIsReadNormally) {
    openInput("\n" + shortLines(249999) + "\ncn=b\n");
    EXPECT_EQ(getNextObject(ifp), 0);
    EXPECT_EQ(next_available_object_slot(), 249999);
}

TEST_F(EntryReader, EntryOf250000LinesIsPassedToTheOutput) {
    const std::string lines = "cn=a\n# c\nkvo-entryuuid: 1\n" + shortLines(249998);
    openInput("\n" + lines + "\ncn=b\n");
    openOutput();
    EXPECT_EQ(getNextObject(ifp), PASSED_THROUGH);
    EXPECT_EQ(PASSED_THROUGH, 99);
    EXPECT_EQ(next_available_object_slot(), 0);
    EXPECT_EQ(getNextObject(ifp), END_OF_FILE);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b\n"));
    EXPECT_EQ(output(), "cn=a\n" + shortLines(249998) + "\n");
}

TEST_F(EntryReader, WorkFileHasNoLimitOfLines) {
    openWorkFile(shortLines(250001));
    EXPECT_EQ(readWorkFile(tifp), END_OF_FILE);
    EXPECT_EQ(next_available_object_slot(), 250001);
}

TEST_F(EntryReader, WorkFileEntryIsReadAgainUntilItIsConsumed) {
    openWorkFile("\n# c\ncn=a\nx: 1\n\ncn=b\n");
    EXPECT_EQ(tifp.setPosition({1}), 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(readWorkFile(tifp), 0);
        EXPECT_THAT(linesOf(object), ElementsAre("cn=a\n", "x: 1\n"));
        EXPECT_EQ(tifp.tell(), 1);
        EXPECT_EQ(filePositionBeforeReadingObject.offset, 1);
        EXPECT_EQ(filePositionAfterReadingObject.offset, 1);
    }
}

TEST_F(EntryReader, WorkFilePositionIsRestoredAtEndOfFileToo) {
    openWorkFile("\ncn=a");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(readWorkFile(tifp), END_OF_FILE);
        EXPECT_THAT(linesOf(object), ElementsAre("cn=a"));
        EXPECT_EQ(tifp.tell(), 0);
    }
}

TEST_F(EntryReader, WorkFileEntryLargerThanAnyBufferIsReadAgain) {
    const std::string large = shortLines(200000);
    openWorkFile("cn=a\n" + large + "\ncn=b\n");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(readWorkFile(tifp), 0);
        EXPECT_EQ(next_available_object_slot(), 200001);
        EXPECT_EQ(object.line(0), "cn=a\n");
        EXPECT_EQ(tifp.tell(), 0);
    }
}

TEST_F(EntryReader, BlankedLinesOfTheWorkFileReadAsBlank) {
    openWorkFile("   \r\n \r\n\r\ncn=b\n\n");
    EXPECT_EQ(readWorkFile(tifp), 0);
    EXPECT_THAT(linesOf(object), ElementsAre("cn=b\n"));
}

TEST_F(EntryReader, ChangetypeIsSeenInTheWorkFileEvenInAComment) {
    for (const char* content :
         {"cn=a\nchangetype: add\n\n", "# xchangetype:\ncn=a\n\n", "cn=a\nx: changetype:\n"}) {
        changetypeSeen = false;
        filePositionOfChangetypeSearch = {};
        openWorkFile(content);
        readWorkFile(tifp);
        EXPECT_TRUE(changetypeSeen) << content;
    }
}

TEST_F(EntryReader, ChangetypeStaysSeen) {
    changetypeSeen = true;
    openWorkFile("cn=a\n");
    readWorkFile(tifp);
    EXPECT_TRUE(changetypeSeen);
}

TEST_F(EntryReader, ChangetypeIsLookedForOnceInEachLine) {
    openWorkFile("cn=a\n\ncn=b\nchangetype: add\n\n");
    readWorkFile(tifp);
    EXPECT_FALSE(changetypeSeen);
    EXPECT_EQ(filePositionOfChangetypeSearch.offset, 5);
    EXPECT_EQ(stepOverNextObjectFromTemporaryInputLDIFFile(tifp), 0);
    readWorkFile(tifp);
    EXPECT_TRUE(changetypeSeen);

    changetypeSeen = false;
    readWorkFile(tifp);
    EXPECT_FALSE(changetypeSeen);
}

// The line arrives in pieces that end 4,095 bytes behind its start, and behind that one 4,095 bytes
// farther, which divides "changetype:". Once the text before the zero byte is blank, the
// pieces begin three bytes later.
TEST_F(EntryReader, ChangetypeIsLookedForAgainInWhatAnEarlierRunHasLeft) {
    const std::string line =
        "abc" + std::string(1, '\0') + std::string(8178, 'z') + "changetype: x\n";
    ASSERT_EQ(line.find("changetype:"), 8182U);
    openWorkFile(line + "\n");
    ASSERT_FALSE(lockWorkFile());
    readWorkFile(tifp);
    EXPECT_FALSE(changetypeSeen);
    EXPECT_EQ(deleteNextObjectFromTemporaryInputLDIFFile(tifp), 0);
    EXPECT_FALSE(changetypeSeen);
    readWorkFile(tifp);
    EXPECT_TRUE(changetypeSeen);
    releaseLocks();
}

TEST_F(EntryReader, ChangetypeInOtherCasesOrInTheExportIsNotSeen) {
    openWorkFile("cn=a\nChangeType: add\nchangetype\n\n");
    readWorkFile(tifp);
    openInput("cn=a\nchangetype: add\n# changetype:\n\n");
    getNextObject(ifp);
    EXPECT_FALSE(changetypeSeen);
}

TEST_F(EntryReader, ReadErrorIsDistinguishedFromEndOfFile) {
    const TextBeforeReadError text("cn=a\nx: 1\n");
    ASSERT_EQ(ifp.open(unreadableFile), 0);
    ASSERT_EQ(ifp.setPosition({text.offset()}), 0);
    EXPECT_EQ(getNextObject(ifp), READ_ERROR);
    ASSERT_EQ(tifp.open(unreadableFile), 0);
    ASSERT_EQ(tifp.setPosition({text.offset()}), 0);
    EXPECT_EQ(readWorkFile(tifp), READ_ERROR);
}

TEST_F(EntryReader, StreamWithoutPositionsEndsTheProcess) {
    const std::string pipe = makePipe(folder.path("pipe"));
    debugError = true;
    for (LineReader* stream : {&ifp, &tifp}) {
        ASSERT_EQ(stream->open(pipe), 0);
        startTrace();
        const Ending ending =
            endingOf([stream] { stream == &ifp ? getNextObject(ifp) : readWorkFile(tifp); });
        const std::string function =
            stream == &ifp ? "getNextObject" : "getNextObjectFromTemporaryInputLDIFFile";
        EXPECT_THAT(ending, FailsWith(380928301));
        EXPECT_THAT(ending.errors, HasSubstr("fgetpos() returned -1"));
        EXPECT_EQ(ending.output, "");
        EXPECT_EQ(traced(), function + "():  FUNCTION ENTRY  \n" + function +
                                "():  fgetpos() failed with rc = -1 (dec)  \n");
    }
}

TEST_F(EntryReader, FailureToGoBackInTheExportEndsTheProcess) {
    const int descriptor = nextDescriptor();
    openInput("");
    replaceByPipe(descriptor, shortLines(250000));
    startTrace();
    const Ending ending = endingOf([] { getNextObject(ifp); });
    EXPECT_THAT(ending, FailsWith(380928301));
    EXPECT_THAT(ending.errors, HasSubstr("fsetpos() returned -1"));
    EXPECT_THAT(traced(), EndsWith("getNextObject():  fsetpos() failed with rc = -1 (dec)  \n"));
}

TEST_F(EntryReader, FailureToGoBackInTheWorkFileReportsTheReadersOwnResult) {
    const std::string function = "getNextObjectFromTemporaryInputLDIFFile";
    std::string large;  // more than the reader keeps in memory
    for (int i = 0; i < 400; ++i) {
        large += std::string(999, 'x') + '\n';
    }
    for (const bool atBlankLine : {true, false}) {
        openWorkFileWithoutPositions(large + (atBlankLine ? "\n" : ""));
        startTrace();
        const Ending ending = endingOf([] { readWorkFile(tifp); });
        const std::string number = atBlankLine ? "0" : "-1";
        EXPECT_THAT(ending, FailsWith(380928301));
        EXPECT_THAT(ending.errors, HasSubstr("fsetpos() returned " + number + ":"));
        EXPECT_THAT(traced(), EndsWith(function + "():  fsetpos() failed with rc = " + number +
                                       " (dec)  \n"));
    }
}

TEST_F(EntryReader, MissingMemoryEndsTheProcess) {
    debugError = true;
    const std::string content = "cn=a\n" + std::string(1000, 'x') + "\n\n";
    openInput(content);
    openWorkFile(content);
    for (LineReader* stream : {&ifp, &tifp}) {
        startTrace();
        const Ending ending = endingOf([stream] {
            debug = false;
            endProcessWithoutMemory();
            std::set_new_handler([] {
                debug = true;
                failWithoutMemory();
            });
            const AllocationLimit none(0);
            stream == &ifp ? getNextObject(ifp) : readWorkFile(tifp);
        });
        const std::string function =
            stream == &ifp ? "getNextObject" : "getNextObjectFromTemporaryInputLDIFFile";
        EXPECT_THAT(ending, FailsWith(380928300));
        EXPECT_EQ(ending.output, "");
        EXPECT_EQ(traced(), function + "():  malloc() failure.  EXITING. \n");
    }
}

TEST_F(EntryReader, EntryOfTheExportIsTraced) {
    openInput("\ncn=a\r\nx: 1\n\ncn=b");
    startTrace();
    getNextObject(ifp);
    EXPECT_EQ(traced(), "getNextObject():  FUNCTION ENTRY  \n"
                        "getNextObject():  filePositionBeforeReadingObject = 0  \n"
                        "\ngetNextObject():  The object read is:   \n"
                        "   object[0] = cn=a\r\n"
                        "   object[1] = x: 1\n"
                        "getNextObject():  Returning 0 \n"
                        "getNextObject():  FUNCTION EXIT   \n");
    startTrace();
    getNextObject(ifp);
    EXPECT_EQ(traced(), "getNextObject():  FUNCTION ENTRY  \n"
                        "getNextObject():  filePositionBeforeReadingObject = 13  \n"
                        "\ngetNextObject():  The object read is:   \n"
                        "   object[0] = cn=b"
                        "getNextObject():  Returning -1 \n"
                        "getNextObject():  FUNCTION EXIT   \n");
}

TEST_F(EntryReader, EntryOfTheWorkFileIsTraced) {
    openWorkFile("\ncn=a\nx: 1\n\n");
    ASSERT_EQ(tifp.setPosition({1}), 0);
    startTrace();
    readWorkFile(tifp);
    const std::string function = "getNextObjectFromTemporaryInputLDIFFile():  ";
    const std::string indent(44, ' ');
    EXPECT_EQ(traced(), function + "FUNCTION ENTRY  \n" + function +
                            "filePositionBeforeReadingObject = 1  \n\n" + function +
                            "The object read is:   \n"
                            "   object[0] = cn=a\n"
                            "   object[1] = x: 1\n" +
                            function + "filePositionBeforeReadingObject = 1  \n" + indent +
                            "filePositionAfterReadingObject = 1  \n" + indent +
                            "THESE VALUES SHOULD BE EQUAL SINCE THIS FUNCTION RESTORES THE FILE"
                            "    \n" +
                            indent +
                            "POSITION TO THE BEGINNING OF THE OBJECT THAT IT READS."
                            "                \n" +
                            function + "Returning rc = 0 \n" + indent +
                            "next_available_object_slot = 2 \n" + function + "FUNCTION EXIT   \n");
}

TEST_F(EntryReader, EmptyEntryIsTracedWithoutLines) {
    openInput("\n");
    startTrace();
    getNextObject(ifp);
    EXPECT_THAT(traced(), EndsWith("\ngetNextObject():  The object read is:   \n"
                                   "getNextObject():  Returning -1 \n"
                                   "getNextObject():  FUNCTION EXIT   \n"));
}

}  // namespace
