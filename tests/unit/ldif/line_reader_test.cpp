#include "ldif/line_reader.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <string>
#include <vector>

#include "support/ldif_fixture.h"
#include "support/odd_files.h"

using std::string_literals::operator""s;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Lines : public LdifFixture {
protected:
    void openFile(std::string_view content) {
        ASSERT_EQ(stream.open(writeFile(folder.path("file"), content)), 0);
    }

    // The lines from the present position on.
    std::vector<std::string> rest() {
        std::vector<std::string> lines;
        std::string_view line;
        int result = 0;
        while ((result = stream.readLine(line)) == 0) {
            lines.emplace_back(line);
        }
        EXPECT_EQ(result, END_OF_FILE);
        return lines;
    }

    std::vector<std::string> linesOfFile(std::string_view content) {
        openFile(content);
        return rest();
    }

    std::string next() {
        std::string_view line;
        EXPECT_EQ(stream.readLine(line), 0);
        return std::string(line);
    }

    LineReader stream;
};

TEST_F(Lines, KeepTheirLineEnds) {
    EXPECT_THAT(linesOfFile("cn=a\nx: 1\r\n\n"), ElementsAre("cn=a\n", "x: 1\r\n", "\n"));
}

TEST_F(Lines, LastLineNeedsNoLineEnd) {
    EXPECT_THAT(linesOfFile("cn=a\ncn=b"), ElementsAre("cn=a\n", "cn=b"));
}

TEST_F(Lines, EmptyFileHasNone) {
    EXPECT_THAT(linesOfFile(""), IsEmpty());
}

TEST_F(Lines, CarriageReturnAloneEndsNoLine) {
    EXPECT_THAT(linesOfFile("a\rb\n"), ElementsAre("a\rb\n"));
}

TEST_F(Lines, LongLineArrivesInPiecesOf4095Characters) {
    const std::string x(4095, 'x');
    EXPECT_THAT(linesOfFile(std::string(5000, 'x') + "\n"),
                ElementsAre(x, std::string(905, 'x') + "\n"));
    EXPECT_THAT(linesOfFile(std::string(8190, 'x')), ElementsAre(x, x));
    EXPECT_THAT(linesOfFile(std::string(8191, 'x')), ElementsAre(x, x, "x"));
}

TEST_F(Lines, LineFeedCountsAmongThe4095Characters) {
    const std::string x(4094, 'x');
    EXPECT_THAT(linesOfFile(x + "\ny\n"), ElementsAre(x + "\n", "y\n"));
    EXPECT_THAT(linesOfFile(x + "x\ny\n"), ElementsAre(x + "x", "\n", "y\n"));
}

TEST_F(Lines, NulEndsALineEarlyAndItsRestIsLost) {
    EXPECT_THAT(linesOfFile("ab\0cd\0ef\nnext\n"s), ElementsAre("ab", "next\n"));
    EXPECT_THAT(linesOfFile("\0cd\nnext\n"s), ElementsAre("", "next\n"));
    EXPECT_THAT(linesOfFile("ab\0"s), ElementsAre("ab"));
}

TEST_F(Lines, PiecesAreCountedWithTheirNulBytes) {
    EXPECT_THAT(linesOfFile("a\0"s + std::string(4094, 'x') + "y\n"), ElementsAre("a", "xy\n"));
}

TEST_F(Lines, FilesLargerThanAnyBufferAreReadToTheirEnd) {
    std::string content;
    for (int i = 0; i < 100000; ++i) {
        content += "line: " + std::to_string(i) + '\n';
    }
    openFile(content);
    std::string again;
    for (const std::string& line : rest()) {
        again += line;
    }
    EXPECT_EQ(again, content);
}

TEST_F(Lines, FileMustExistAndBeNoFolder) {
    EXPECT_EQ(stream.open(folder.path("missing")), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(stream.isOpen());
    EXPECT_FALSE(fileExists(folder.path("missing")));
    EXPECT_EQ(stream.open(folder.path(".")), -1);
    EXPECT_EQ(errno, EISDIR);
}

TEST_F(Lines, OpeningAnewStartsAtTheBeginning) {
    openFile("first\nsecond\n");
    next();
    ASSERT_EQ(stream.open(folder.path("file")), 0);
    EXPECT_EQ(stream.tell(), 0);
    EXPECT_EQ(next(), "first\n");
    stream.close();
    EXPECT_FALSE(stream.isOpen());
}

TEST_F(Lines, PositionIsThatBehindTheLineRead) {
    openFile("cn=a\nab\0cd\nlast"s);
    EXPECT_EQ(stream.tell(), 0);
    next();
    EXPECT_EQ(stream.tell(), 5);
    next();
    EXPECT_EQ(stream.tell(), 11);
    next();
    EXPECT_EQ(stream.tell(), 15);
    EXPECT_THAT(rest(), IsEmpty());
    EXPECT_EQ(stream.tell(), 15);
}

TEST_F(Lines, PositionsLeadBackNearAndFar) {
    const std::string filler = std::string(1000, 'x') + "\n";
    std::string content = "first\nsecond\n";
    for (int i = 0; i < 1000; ++i) {
        content += filler;
    }
    openFile(content);
    next();
    FilePosition second;
    EXPECT_EQ(stream.getPosition(second), 0);
    EXPECT_EQ(second.offset, 6);
    next();
    EXPECT_EQ(stream.setPosition(second), 0);  // still in memory
    EXPECT_EQ(next(), "second\n");
    EXPECT_EQ(rest().size(), 1000U);
    EXPECT_EQ(stream.setPosition(second), 0);  // read anew
    EXPECT_EQ(stream.tell(), 6);
    EXPECT_EQ(next(), "second\n");
    EXPECT_EQ(next(), filler);
    EXPECT_EQ(stream.setPosition({6 + 7 + 999 * 1001}), 0);  // ahead
    EXPECT_THAT(rest(), ElementsAre(filler));
}

TEST_F(Lines, PositionBehindTheEndIsEndOfFile) {
    openFile("a");
    EXPECT_EQ(stream.setPosition({2}), 0);
    EXPECT_EQ(stream.tell(), 2);
    EXPECT_THAT(rest(), IsEmpty());
}

TEST_F(Lines, PipeHasNoPositions) {
    ASSERT_EQ(stream.open(makePipe(folder.path("pipe"))), 0);
    FilePosition position;
    EXPECT_EQ(stream.tell(), -1);
    EXPECT_EQ(stream.getPosition(position), -1);
    EXPECT_EQ(errno, ESPIPE);
    EXPECT_EQ(stream.setPosition({0}), -1);
    EXPECT_EQ(errno, ESPIPE);
}

TEST_F(Lines, OverwrittenBytesAreInTheFileAtOnceAndReadAgain) {
    openFile("first\nsecond\nthird\n");
    next();
    EXPECT_EQ(stream.overwrite({6}, "SECOND\nTH"), 0);
    EXPECT_EQ(readFile(folder.path("file")), "first\nSECOND\nTHird\n");
    EXPECT_EQ(stream.tell(), 6);
    EXPECT_THAT(rest(), ElementsAre("SECOND\n", "THird\n"));
}

TEST_F(Lines, OverwritingWorksOnBytesInMemoryAndBeyond) {
    std::string content;
    for (int i = 0; i < 600; ++i) {
        content += std::string(999, 'x') + '\n';
    }
    openFile(content);
    for (int i = 0; i < 300; ++i) {
        next();
    }
    const std::string blanks = std::string(content.size() - 2, ' ') + "\r\n";
    EXPECT_EQ(stream.overwrite({0}, blanks), 0);
    EXPECT_EQ(readFile(folder.path("file")), blanks);
    EXPECT_EQ(stream.setPosition({0}), 0);
    EXPECT_EQ(next(), std::string(4095, ' '));
}

TEST_F(Lines, OverwriteThatFailsLeavesTheReason) {
    ASSERT_EQ(stream.open(fullFile), 0);
    EXPECT_EQ(stream.error(), 0);
    EXPECT_EQ(stream.overwrite({0}, "text"), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(stream.error(), ENOSPC);
}

TEST_F(Lines, ReadErrorIsToldApartFromEndOfFile) {
    ASSERT_EQ(stream.open(unreadableFile), 0);
    std::string_view line;
    EXPECT_EQ(stream.readLine(line), READ_ERROR);
    EXPECT_EQ(stream.error(), EIO);
}

TEST_F(Lines, ReadErrorComesBehindTheLinesBeforeItAndStays) {
    const TextBeforeReadError text("cn=a\nhalf a li");
    ASSERT_EQ(stream.open(unreadableFile), 0);
    ASSERT_EQ(stream.setPosition({text.offset()}), 0);
    EXPECT_EQ(next(), "cn=a\n");
    std::string_view line;
    EXPECT_EQ(stream.readLine(line), READ_ERROR);
    EXPECT_EQ(stream.readLine(line), READ_ERROR);

    openFile("cn=b\n");
    EXPECT_EQ(stream.error(), 0);
    EXPECT_THAT(rest(), ElementsAre("cn=b\n"));
}

TEST_F(Lines, EveryAttemptToReadIsCounted) {
    openFile("cn=a\n");
    lineNum = 41;
    EXPECT_EQ(getNextLine(nextLine, stream), 0);
    EXPECT_EQ(nextLine, "cn=a\n");
    EXPECT_EQ(lineNum, 42U);
    EXPECT_EQ(getNextLine(nextLine, stream), END_OF_FILE);
    EXPECT_EQ(lineNum, 43U);
    EXPECT_EQ(nextLine, "");
}

TEST_F(Lines, NothingIsLeftOfALineAfterAReadError) {
    ASSERT_EQ(stream.open(unreadableFile), 0);
    nextLine = "old";
    EXPECT_EQ(getNextLine(nextLine, stream), READ_ERROR);
    EXPECT_EQ(nextLine, "");
}

TEST(BlankLines, HoldSpacesLineFeedsAndCarriageReturnsAlone) {
    for (const std::string_view line : {"", "\n", "\r\n", "   \r\n", " ", "\r \r", " \n \n"}) {
        EXPECT_TRUE(isBlankLine(line)) << line;
    }
    for (const std::string_view line : {"\t\n", " \t", "a", "  a\n", "\v\n", "\f\n", "#\n"}) {
        EXPECT_FALSE(isBlankLine(line)) << line;
    }
}

TEST(CommentLines, BeginWithTheirSign) {
    EXPECT_TRUE(isCommentLine("# text\n"));
    EXPECT_TRUE(isCommentLine("#"));
    EXPECT_FALSE(isCommentLine(" # text\n"));
    EXPECT_FALSE(isCommentLine("a #\n"));
    EXPECT_FALSE(isCommentLine(""));
}

struct Blanking {
    std::string before;
    std::string after;
};

TEST(BlankLine, KeepsItsLength) {
    const Blanking cases[] = {
        {"cn=a\n", "   \r\n"}, {"cn=a\r\n", "    \r\n"}, {"cn=a", "  \r\n"},
        {"abc", " \r\n"},      {"ab", "\r\n"},           {"a\n", "\r\n"},
    };
    for (const auto& [before, after] : cases) {
        std::string line = before;
        blankLine(line);
        EXPECT_EQ(line, after);
        EXPECT_EQ(line.size(), before.size());
        EXPECT_TRUE(isBlankLine(line));
    }
}

TEST(BlankLine, OfFewerThanTwoCharactersIsALineEnd) {
    for (const std::string before : {"", "a", "\n"}) {
        std::string line = before;
        blankLine(line);
        EXPECT_EQ(line, "\r\n");
    }
}

}  // namespace
