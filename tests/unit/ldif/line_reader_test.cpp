#include "ldif/line_reader.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "support/ldif_fixture.h"
#include "support/odd_files.h"
#include "support/process.h"

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
    EXPECT_EQ(stream.open(folder.path("missing")), ENOENT);
    EXPECT_FALSE(stream.isOpen());
    EXPECT_FALSE(fileExists(folder.path("missing")));
    EXPECT_EQ(stream.open(folder.path(".")), EISDIR);
}

TEST_F(Lines, ReopeningStartsAtTheBeginning) {
    openFile("first\nsecond\n");
    next();
    ASSERT_EQ(stream.open(folder.path("file")), 0);
    EXPECT_EQ(stream.tell(), 0);
    EXPECT_EQ(next(), "first\n");
    stream.close();
    EXPECT_FALSE(stream.isOpen());
}

TEST_F(Lines, PositionIsBehindTheLineRead) {
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
    EXPECT_EQ(stream.setPosition(second), 0);  // read again
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
    EXPECT_EQ(stream.getPosition(position), ESPIPE);
    EXPECT_EQ(stream.setPosition({0}), ESPIPE);
}

TEST_F(Lines, FileWhosePositionCannotBeHadKeepsTheSystemsReason) {
    constexpr int nobodysDescriptor = 9999;
    stream.open(File(nobodysDescriptor));
    FilePosition position;
    EXPECT_EQ(stream.getPosition(position), EBADF);
}

TEST_F(Lines, OverwrittenBytesAreInTheFileOnceFlushed) {
    openFile("first\nsecond\nthird\n");
    next();
    next();
    EXPECT_EQ(stream.overwrite({1}, "IR"), 0);
    EXPECT_EQ(stream.overwrite({3}, "ST\nSE"), 0);  // behind it
    EXPECT_EQ(stream.overwrite({11}, "D"), 0);      // elsewhere
    EXPECT_EQ(stream.flush(), 0);
    EXPECT_EQ(readFile(folder.path("file")), "fIRST\nSEconD\nthird\n");
    EXPECT_EQ(stream.tell(), 13);
    EXPECT_THAT(rest(), ElementsAre("third\n"));
}

TEST_F(Lines, OverwrittenBytesAreInTheFileOnceItIsClosedOrReopened) {
    openFile("first\n");
    next();
    EXPECT_EQ(stream.overwrite({0}, "F"), 0);
    EXPECT_EQ(stream.close(), 0);
    EXPECT_EQ(readFile(folder.path("file")), "First\n");

    ASSERT_EQ(stream.open(folder.path("file")), 0);
    next();
    EXPECT_EQ(stream.overwrite({0}, "f"), 0);
    ASSERT_EQ(stream.open(folder.path("file")), 0);
    EXPECT_EQ(next(), "first\n");
}

TEST_F(Lines, OverwrittenBytesAreInTheFileWhenTheProcessEnds) {
    openFile("first\n");
    const Ending ending = endingOf([this] {
        static LineReader last;
        last.open(folder.path("file"));
        std::string_view line;
        last.readLine(line);
        last.overwrite({0}, "F");
        std::exit(0);
    });
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(readFile(folder.path("file")), "First\n");
}

TEST_F(Lines, OverwrittenBytesAreReadAgain) {
    openFile("first\nsecond\nthird\n");
    next();
    next();
    EXPECT_EQ(stream.overwrite({6}, "S"), 0);
    EXPECT_EQ(stream.setPosition({0}), 0);
    EXPECT_THAT(rest(), ElementsAre("first\n", "Second\n", "third\n"));
}

TEST_F(Lines, OverwrittenBytesAreReadAgainOnceFlushed) {
    openFile("first\nsecond\nthird\n");
    next();
    EXPECT_EQ(stream.overwrite({0}, "F"), 0);
    EXPECT_EQ(stream.flush(), 0);
    EXPECT_EQ(stream.setPosition({0}), 0);
    EXPECT_THAT(rest(), ElementsAre("First\n", "second\n", "third\n"));
}

TEST_F(Lines, OneByteBeyondTheEndMayBeOverwritten) {
    openFile("a\nb");
    next();
    next();
    EXPECT_EQ(stream.overwrite({2}, "\r\n"), 0);
    EXPECT_EQ(stream.setPosition({4}), 0);
    EXPECT_THAT(rest(), IsEmpty());
    EXPECT_EQ(stream.close(), 0);
    EXPECT_EQ(readFile(folder.path("file")), "a\n\r\n");
}

TEST_F(Lines, MoreIsOverwrittenThanAnyBufferHolds) {
    const std::string line = std::string(999, 'x') + '\n';
    const std::string blank = std::string(998, ' ') + "\r\n";
    std::string content;
    std::string blanks;
    for (int i = 0; i < 600; ++i) {
        content += line;
        blanks += blank;
    }
    openFile(content);
    for (int i = 0; i < 600; ++i) {
        EXPECT_EQ(next(), line);
        EXPECT_EQ(stream.overwrite({i * 1000}, blank), 0);
    }
    EXPECT_NE(readFile(folder.path("file")), content);  // not all of it waits for the end
    EXPECT_EQ(stream.close(), 0);
    EXPECT_EQ(readFile(folder.path("file")), blanks);
}

TEST_F(Lines, OverwriteThatFailsLeavesTheReason) {
    ASSERT_EQ(stream.open(fullFile), 0);
    EXPECT_EQ(stream.error(), 0);
    EXPECT_EQ(stream.overwrite({0}, "text"), 0);
    EXPECT_EQ(stream.flush(), ENOSPC);
    EXPECT_EQ(stream.error(), ENOSPC);
    EXPECT_EQ(stream.overwrite({9}, "elsewhere"), ENOSPC);
    errno = 0;
    EXPECT_EQ(stream.close(), ENOSPC);
    EXPECT_FALSE(stream.isOpen());
}

// The lines of the run at hand.
std::vector<std::string> runOf(LineReader& stream) {
    const LineReader::Run run = stream.readRunAtHand();
    std::vector<std::string> lines;
    std::uint32_t start = 0;
    for (const std::uint32_t end : run.ends) {
        lines.emplace_back(run.text.substr(start, end - start));
        start = end;
    }
    EXPECT_EQ(run.text.size(), start);
    return lines;
}

TEST_F(Lines, RunsHoldWholeLinesInMemoryAlone) {
    openFile("first\nsecond\n third\nfourth");
    EXPECT_THAT(runOf(stream), IsEmpty());  // nothing has been read yet
    EXPECT_EQ(next(), "first\n");
    EXPECT_THAT(runOf(stream), ElementsAre("second\n", " third\n"));
    EXPECT_THAT(runOf(stream), IsEmpty());  // the last line may go on
    EXPECT_EQ(stream.tell(), 20);
    EXPECT_EQ(next(), "fourth");
    EXPECT_THAT(runOf(stream), IsEmpty());
}

TEST_F(Lines, RunsEndBeforeBlankLinesAndCommentsAndPossibleOnes) {
    for (const std::string line : {"# comment\n", "\n", " \n", "\r\n", "  \r\n", "\t\n", " \t\n"}) {
        openFile("first\nsecond\n" + line + "cn=a\n");
        next();
        EXPECT_THAT(runOf(stream), ElementsAre("second\n")) << line;
        EXPECT_EQ(next(), line);
        EXPECT_THAT(runOf(stream), ElementsAre("cn=a\n"));
    }
    openFile("first\n\xc3\xa4\n \xc3\xa4\n");
    next();
    EXPECT_THAT(runOf(stream), ElementsAre("\xc3\xa4\n", " \xc3\xa4\n"));
}

TEST_F(Lines, RunsHoldNoPiecesOfLines) {
    const std::string longest = std::string(4094, 'x') + "\n";
    openFile("first\n" + longest + "x" + longest);
    next();
    EXPECT_THAT(runOf(stream), ElementsAre(longest));
    EXPECT_THAT(runOf(stream), IsEmpty());
    EXPECT_EQ(next(), std::string(4095, 'x'));
}

TEST_F(Lines, RunsAreNotTakenNearNulBytes) {
    openFile("first\nsecond\nth\0ird\n"s);
    next();
    EXPECT_THAT(runOf(stream), IsEmpty());
    EXPECT_THAT(rest(), ElementsAre("second\n", "th"));
}

TEST_F(Lines, RunsOfAnyLengthArriveInTheEnd) {
    std::string content;
    for (int i = 0; i < 50000; ++i) {
        content += "line: " + std::to_string(i) + '\n';
    }
    openFile(content);
    std::string again;
    std::string_view line;
    while (stream.readLine(line) == 0) {
        again += line;
        for (std::string_view run; !(run = stream.readRunAtHand().text).empty();) {
            again += run;
        }
    }
    EXPECT_EQ(again, content);
}

// The text behind the blank lines that can be skipped after the first line has been read.
struct Skipped {
    std::uint32_t lines;
    std::string next;
};

TEST_F(Lines, BlankOnesAreSkippedWhole) {
    const auto skip = [this](const std::string& content) {
        openFile("first\n" + content);
        next();
        const std::uint32_t count = stream.skipBlankLinesAtHand();
        return Skipped{count, next()};
    };
    const auto expect = [&](const std::string& content, std::uint32_t lines,
                            const std::string& rest) {
        const Skipped skipped = skip(content);
        EXPECT_EQ(skipped.lines, lines) << content;
        EXPECT_EQ(skipped.next, rest) << content;
    };
    expect("cn=a\n", 0, "cn=a\n");
    expect("\n \r\n\r\ncn=a\n", 3, "cn=a\n");
    expect("\n          cn=a\n", 1, "          cn=a\n");
    expect("\n \r x\n", 1, " \r x\n");
    expect("\n\t\n", 1, "\t\n");
    expect("\n    ", 1, "    ");  // it may go on
    for (std::size_t spaces = 0; spaces < 40; ++spaces) {
        expect(std::string(spaces, ' ') + "\r\n#\n", 1, "#\n");
        expect(std::string(spaces, ' ') + "x\n", 0, std::string(spaces, ' ') + "x\n");
    }
}

TEST_F(Lines, BlankOnesThatAreTooLongAreNotSkipped) {
    openFile("\n" + std::string(4094, ' ') + "\n" + std::string(4095, ' ') + "\n");
    next();
    EXPECT_EQ(stream.skipBlankLinesAtHand(), 1U);
    EXPECT_EQ(next(), std::string(4095, ' '));
}

TEST_F(Lines, NotedExtentIsFoundAtItsStartOnce) {
    openFile("\ncn=a\n\nrest\n");
    next();
    stream.noteExtent({1, 1, 6, 7});
    const std::optional<Extent> extent = stream.takeNotedExtent(stream.tell());
    ASSERT_TRUE(extent);
    EXPECT_EQ(extent->next, 7);
    EXPECT_FALSE(stream.takeNotedExtent(stream.tell()));
}

TEST_F(Lines, NotedExtentIsForgottenElsewhere) {
    openFile("\ncn=a\n\nrest\n");
    next();
    stream.noteExtent({1, 1, 6, 7});
    next();
    EXPECT_FALSE(stream.takeNotedExtent(stream.tell()));
    ASSERT_EQ(stream.setPosition({1}), 0);
    EXPECT_FALSE(stream.takeNotedExtent(stream.tell()));
    stream.noteExtent({1, 1, 6, 7});
    openFile("\ncn=a\n\nrest\n");
    next();
    EXPECT_FALSE(stream.takeNotedExtent(stream.tell()));
}

TEST_F(Lines, TextAtHandIsTheTextInMemory) {
    openFile("first\nsecond\n" + std::string(1000000, 'x'));
    EXPECT_EQ(stream.textAtHand(0, 6).data(), nullptr);
    next();
    EXPECT_EQ(stream.textAtHand(0, 6), "first\n");
    EXPECT_EQ(stream.textAtHand(2, 9), "rst\nsec");
    EXPECT_EQ(stream.textAtHand(0, 1000000).data(), nullptr);
    ASSERT_EQ(stream.setPosition({500000}), 0);
    next();
    EXPECT_EQ(stream.textAtHand(0, 6).data(), nullptr);
}

TEST_F(Lines, ReadErrorIsDistinguishedFromEndOfFile) {
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
