#include "ldif/pass_through_entries.h"

#include <gmock/gmock.h>

#include <string>

#include "support/ldif_fixture.h"
#include "support/odd_files.h"
#include "support/process.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;

class PassThrough : public LdifFixture {
protected:
    // The output of the first `count` entries of an export.
    std::string passed(std::string_view input, int count = 1) {
        openInput(input);
        openOutput();
        for (int i = 0; i < count; ++i) {
            moveNextObjectToOutputLDIFFile(ifp);
        }
        return output();
    }
};

TEST_F(PassThrough, EntryAndOneBlankLineAreCopied) {
    EXPECT_EQ(passed("dn: cn=a\ncn: a\n\ndn: cn=b\n"), "dn: cn=a\ncn: a\n\n");
}

TEST_F(PassThrough, BlankLinesBeforeTheEntryAreSkipped) {
    EXPECT_EQ(passed("\n  \r\n\ndn: cn=a\n\n"), "dn: cn=a\n\n");
}

TEST_F(PassThrough, LinesStayUnchanged) {
    EXPECT_EQ(passed("dn: cn=a\r\n folded \n\t\n   \r\n"), "dn: cn=a\r\n folded \n\t\n\n");
}

TEST_F(PassThrough, LongLinesArePassedWhole) {
    const std::string line = "cn: " + std::string(10000, 'x') + "\n";
    EXPECT_EQ(passed(line + "\n"), line + "\n");
}

TEST_F(PassThrough, EntryAtEndOfFileHasNoBlankLineBehindIt) {
    EXPECT_EQ(passed("dn: cn=a\ncn: a"), "dn: cn=a\ncn: a");
}

TEST_F(PassThrough, NextEntryBeginsBehindTheBlankLine) {
    EXPECT_EQ(passed("dn: cn=a\n\n\ndn: cn=b\n\n", 2), "dn: cn=a\n\ndn: cn=b\n\n");
}

TEST_F(PassThrough, CommentsAreDroppedAndAreNoLineOfTheEntry) {
    EXPECT_EQ(passed("# one\n\n# two\ndn: cn=a\n# three\n #four\n\n"), "dn: cn=a\n #four\n\n");
}

TEST_F(PassThrough, EntryIdentifiersAreDroppedInTwoSpellings) {
    EXPECT_EQ(passed("dn: cn=a\nKVO-ENTRYUUID: 1\nkvo-entryuuid: 2\nx: kvo-entryuuid: 3\n"
                     "Kvo-Entryuuid: 4\nkvo-entryuuid:5\n\n"),
              "dn: cn=a\nKvo-Entryuuid: 4\nkvo-entryuuid:5\n\n");
}

TEST_F(PassThrough, EntryIdentifierCountsAsALineOfTheEntry) {
    EXPECT_EQ(passed("kvo-entryuuid: 1\n\ndn: cn=b\n"), "\n");
}

TEST_F(PassThrough, NothingIsWrittenAtEndOfFile) {
    EXPECT_EQ(passed("\n# comment\n\n"), "");
}

TEST_F(PassThrough, ReadErrorIsSeenByTheNextReader) {
    const TextBeforeReadError text("dn: cn=a\ncn: a\n");
    ASSERT_EQ(ifp.open(unreadableFile), 0);
    ASSERT_EQ(ifp.setPosition({text.offset()}), 0);
    openOutput();
    moveNextObjectToOutputLDIFFile(ifp);
    EXPECT_EQ(getNextObject(ifp), READ_ERROR);
}

TEST_F(PassThrough, FailedWriteEndsTheProcess) {
    openInput("dn: cn=a\ncn: " + std::string(300000, 'x') + "\n\n");
    ASSERT_EQ(ofp.open(fullFile, 0), 0);
    debugError = true;
    startTrace();
    const Ending ending = endingOf([] { moveNextObjectToOutputLDIFFile(ifp); });
    EXPECT_THAT(ending, FailsWith(380928306));
    EXPECT_THAT(ending.errors, HasSubstr('"' + output_ldif_filename + '"'));
    EXPECT_EQ(ending.output, "");
    EXPECT_THAT(traced(), EndsWith("moveNextObjectToOutputLDIFFile():  fputs() failed with "
                                   "rc=-1 \n"));
    ofp.close();
}

TEST_F(PassThrough, EveryLineIsTracedWithItsMeaning) {
    startTrace();
    passed("\n# c\ndn: cn=a\nkvo-entryuuid: 1\n\n");
    const std::string read = "\nmoveNextObjectToOutputLDIFFile():  THE LINE READ WAS: ";
    const std::string indent(35, ' ');
    EXPECT_EQ(traced(),
              "moveNextObjectToOutputLDIFFile():  FUNCTION ENTRY \n" + read + "\n   \n" + indent +
                  "This is a BLANK line which precedes the next object.  \n" + read + "# c\n   \n" +
                  indent + "This is a COMMENT which will be discarded.  \n" + read +
                  "dn: cn=a\n   \n" + indent +
                  "THIS IS A LINE OF THE OBJECT.  \n"
                  "moveNextObjectToOutputLDIFFile():  Writing this line to the output LDIF "
                  "file. \n" +
                  read + "kvo-entryuuid: 1\n   \n" + indent + "THIS IS A LINE OF THE OBJECT.  \n" +
                  read + "\n   \n" + indent +
                  "This is a BLANK line which terminates the object.  \n"
                  "moveNextObjectToOutputLDIFFile():  Writing a blank line between objects \n"
                  "moveNextObjectToOutputLDIFFile():  FUNCTION EXIT   \n");
}

}  // namespace
