#include "check/output_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "check/digest.h"
#include "support/dice.h"
#include "support/temporary_folder.h"

namespace {

constexpr std::size_t block = LineDigest::blockSize;
constexpr std::size_t buffer = 4 * block;

class OutputReaderTest : public testing::Test {
protected:
    void open(std::string_view content) {
        reader_ = OutputReader();
        reader_.open(writeFile(folder_.path("output"), content));
    }

    // Reads `content` entry by entry and expects the entries that a split at empty lines finds.
    void expectEntriesOf(std::string_view content) {
        open(content);
        OutputEntry entry;
        std::size_t at = 0;
        std::int64_t line = 1;
        for (;;) {
            while (at < content.size() && content[at] == '\n') {
                ++at;
                ++line;
            }
            if (at == content.size()) {
                break;
            }
            ASSERT_TRUE(reader_.read(entry)) << at;
            ASSERT_EQ(entry.offset, static_cast<off_t>(at));
            ASSERT_EQ(reader_.file().lineAt(entry.offset), line);
            ASSERT_EQ(reader_.firstLine(),
                      content.substr(at, content.find('\n', at) - at).substr(0, block));
            LinesDigest lines;
            LinesDigest linesButLast;
            while (at < content.size() && content[at] != '\n') {
                const std::size_t end = content.find('\n', at);
                ASSERT_NE(end, std::string_view::npos) << "the content must end in a line feed";
                linesButLast = lines;
                lines.add(digestOfLine(content.substr(at, end - at)));
                at = end + 1;
                ++line;
            }
            ASSERT_EQ(entry.lines.chain, lines.chain) << at;
            ASSERT_EQ(entry.lines.sum, lines.sum) << at;
            ASSERT_EQ(entry.lines.count, lines.count) << at;
            ASSERT_EQ(entry.linesButLast.chain, linesButLast.chain) << at;
            ASSERT_EQ(entry.isEnded, at < content.size());
        }
        EXPECT_FALSE(reader_.read(entry));
        reader_.file().requireUnchanged();
    }

    // The first entry of `content`.
    OutputEntry firstOf(std::string_view content) {
        open(content);
        OutputEntry entry;
        EXPECT_TRUE(reader_.read(entry));
        return entry;
    }

    TemporaryFolder folder_;
    OutputReader reader_;
};

TEST_F(OutputReaderTest, EntriesEndAtEmptyLines) {
    expectEntriesOf("dn: a\nx: 1\n\ndn: b\n\n");
}

TEST_F(OutputReaderTest, SeveralEmptyLinesAreAsOne) {
    expectEntriesOf("\n\ndn: a\n\n\n\ndn: b\n\n\n");
}

TEST_F(OutputReaderTest, NothingIsNoEntry) {
    expectEntriesOf("");
    expectEntriesOf("\n\n");
}

TEST_F(OutputReaderTest, ALineThatOnlyLooksEmptyIsALine) {
    expectEntriesOf(std::string_view("dn: a\n \n\r\n\t\n\0\n#\n\n", 17));
}

TEST_F(OutputReaderTest, ZeroBytesAndCarriageReturnsBelongToTheLine) {
    expectEntriesOf(std::string_view("dn: a\0b\r\nx: \0\0\n\n", 16));
    EXPECT_NE(firstOf(std::string_view("dn: a\0b\n\n", 9)).lines.sum,
              firstOf("dn: a\n\n").lines.sum);
}

TEST_F(OutputReaderTest, AnEntryAtTheEndOfTheFileIsNotEnded) {
    expectEntriesOf("dn: a\n\ndn: b\nx: 1\n");
}

TEST_F(OutputReaderTest, ALineWithoutItsLineFeedIsLikeNoOther) {
    for (const std::size_t size : {std::size_t{1}, block - 1, block, block + 1, 2 * block}) {
        const std::string line(size, 'x');
        const OutputEntry torn = firstOf(line);
        EXPECT_EQ(torn.lines.count, 1U);
        EXPECT_FALSE(torn.isEnded);
        EXPECT_NE(torn.lines.sum, firstOf(line + '\n').lines.sum) << size;
    }
}

TEST_F(OutputReaderTest, LinesMayBeAsLongAsTheyLike) {
    for (const std::size_t size : {block - 1, block, block + 1, 2 * block - 1, 2 * block,
                                   2 * block + 1, buffer - 1, buffer, buffer + 1, 3 * buffer + 5}) {
        const std::string line(size, 'x');
        expectEntriesOf("dn: a\n" + line + "\nz: 1\n\n" + line + "\n\n" + line + "y\n");
    }
}

TEST_F(OutputReaderTest, TheEndsOfTheBufferMakeNoDifference) {
    const std::string tail = "y: 1\n\ndn: b\nz: 2\n\n\ndn: c\n\n";
    for (std::size_t size = buffer - 40; size <= buffer + 4; ++size) {
        std::string content = "dn: a\n";
        while (content.size() + 2000 < size) {
            content += std::string(999, 'x') + '\n';
        }
        content += std::string(size - content.size() - 1, 'x') + '\n';
        expectEntriesOf(content + tail);
        ASSERT_FALSE(HasFailure()) << size;
    }
}

TEST_F(OutputReaderTest, AnyMixtureOfLinesIsReadUnchanged) {
    Dice dice(1);
    const std::vector<std::string> lines = {
        "",  "",         "dn: cn=a",           "x: 1", " y", "\r", "# comment",
        " ", "\xc3\xa4", std::string(1, '\0'), "long"};
    for (int round = 0; round < 300; ++round) {
        std::string content;
        for (std::size_t i = dice.upTo(40); i > 0; --i) {
            const std::string line = dice.oneOf(lines);
            content += line == "long" ? std::string(block - 3 + dice.upTo(6), 'x') : line;
            content += '\n';
        }
        expectEntriesOf(content);
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST_F(OutputReaderTest, AnInstallationDateIsRecognisedAtTheEndAlone) {
    const struct {
        std::string_view entry;
        bool endsInInstallDate;
    } cases[] = {
        {"dn: a\ninstallDate: 20260131123059.0Z\n\n", true},
        {"installDate: 20260131123059.0Z\n\n", true},
        {"dn: a\ninstallDate: 20260131123059.0Z\nx: 1\n\n", false},
        {"dn: a\ninstallDate: 20260231123059.0Z\n\n", false},
        {"dn: a\ninstallDate: 20260131123059.0Z\r\n\n", false},
    };
    for (const auto& [entry, endsInInstallDate] : cases) {
        EXPECT_EQ(firstOf(entry).endsInInstallDate, endsInInstallDate) << entry;
    }
}

TEST_F(OutputReaderTest, ALongLineThatBeginsLikeAnInstallationDateIsNone) {
    std::string line = "installDate: 20260131123059.0Z";
    line.resize(block + 30, '0');
    EXPECT_FALSE(firstOf(line + "\n\n").endsInInstallDate);
}

}  // namespace
