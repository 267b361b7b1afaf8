#include "check/export_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "check/checked_file.h"
#include "check/findings.h"
#include "support/dice.h"
#include "support/ldif_fixture.h"
#include "support/process.h"

namespace {

constexpr std::size_t longestLine = 4095;  // with its line feed

// A line of the export, or a piece of one, found by dividing the whole text.
struct Part {
    off_t offset;
    std::int64_t line;
    std::size_t size;
    std::string text;  // up to a zero byte
    bool beginsLine;
};

std::vector<Part> partsOf(std::string_view text) {
    std::vector<Part> parts;
    std::int64_t line = 1;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        for (std::size_t at = start; at < end; at += longestLine) {
            const std::string_view whole = text.substr(at, std::min(longestLine, end - at));
            parts.push_back({static_cast<off_t>(at), line, whole.size(),
                             std::string(whole.substr(0, whole.find('\0'))), at == start});
        }
        start = end;
        ++line;
    }
    return parts;
}

bool isBlank(const std::string& text) {
    return text.find_first_not_of(" \r\n") == std::string::npos;
}

// An entry of the export, found by reading those parts again.
struct Expected {
    off_t offset = 0;
    std::int64_t line = 0;
    off_t end = 0;
    bool endsInSpaces = false;
    bool isSplitOff = false;
    bool isLast = false;
    bool hasLongLine = false;
    std::vector<std::string> lines;
    std::vector<std::int64_t> attributes;  // the numbers of the lines that they begin in
};

std::vector<Expected> entriesOf(std::string_view text) {
    std::vector<Expected> entries;
    Expected entry;
    const auto finish = [&](off_t end, bool isLast) {
        entry.end = end;
        entry.isLast = isLast;
        entry.isSplitOff =
            !entries.empty() && entries.back().endsInSpaces && entries.back().end == entry.offset;
        entries.push_back(entry);
        entry = Expected();
    };
    for (const Part& part : partsOf(text)) {
        const bool isText = !isBlank(part.text) && !part.text.starts_with('#');
        const bool isPart = isText || (isBlank(part.text) && !entry.lines.empty());
        entry.hasLongLine = entry.hasLongLine || (isPart && !part.beginsLine);
        if (isBlank(part.text)) {
            if (!entry.lines.empty()) {
                entry.endsInSpaces = part.beginsLine && part.text.starts_with(' ');
                finish(part.offset + static_cast<off_t>(part.size), false);
            }
        } else if (isText) {
            if (entry.lines.empty()) {
                entry.offset = part.offset;
                entry.line = part.line;
            }
            if (!part.text.starts_with(' ')) {
                entry.attributes.push_back(part.line);
            }
            entry.lines.push_back(part.text);
        }
    }
    if (!entry.lines.empty()) {
        finish(static_cast<off_t>(text.size()), true);
    }
    return entries;
}

// Lines of every sort that the reader treats in a way of its own.
std::string randomExport(Dice& dice, bool mayHoldLongLines) {
    const std::vector<std::string> lines = {"dn: cn=Ann,o=acme\n",
                                            "dn: cn=Bob,\r\n",
                                            "cn: Ann\n",
                                            "cn: Ann\n",
                                            "sn: Lee\r\n",
                                            " folded\n",
                                            " folded again\r\n",
                                            "\n",
                                            "\n",
                                            "\r\n",
                                            "  \n",
                                            " \r\n",
                                            "# a comment\n",
                                            "#\n",
                                            "\ttab\n",
                                            std::string("a: cut\0short\n", 13),
                                            std::string("\0\n", 2),
                                            std::string("   \0 \n", 6)};
    std::string text;
    for (std::size_t i = dice.upTo(30); i > 0; --i) {
        if (mayHoldLongLines && dice.upTo(9) == 0) {
            const std::size_t size = dice.oneOf(std::vector<std::size_t>{1, 2}) * longestLine;
            text += dice.oneOf(std::vector<std::string>{"x: ", " ", "#", "x\0"});
            text += std::string(size - 6 + dice.upTo(6), dice.oneOf(std::string("xyz ")));
            text += '\n';
        } else {
            text += dice.oneOf(lines);
        }
    }
    if (dice.upTo(3) == 0 && !text.empty()) {
        text.pop_back();
    }
    return text;
}

class ExportFileTest : public LdifFixture {
protected:
    void SetUp() override {
        LdifFixture::SetUp();
        beginFindings(10);
    }
    void TearDown() override {
        beginFindings(0);
        LdifFixture::TearDown();
    }
    void open(std::string_view content) {
        writeInput(content);
        openExport(input_ldif_filename);
    }
    // Opens an export and reads its first entry.
    void read(std::string_view content) {
        open(content);
        ASSERT_TRUE(readNextEntry());
    }

    void expectEntriesOf(std::string_view content) {
        SCOPED_TRACE(testing::PrintToString(std::string(content)));
        open(content);
        const std::vector<Expected> entries = entriesOf(content);
        for (const Expected& entry : entries) {
            ASSERT_TRUE(readNextEntry());
            ASSERT_EQ(current.offset, entry.offset);
            ASSERT_EQ(current.line, entry.line);
            ASSERT_EQ(current.end, entry.end);
            ASSERT_EQ(current.endsInSpaces, entry.endsInSpaces) << entry.offset;
            ASSERT_EQ(current.isSplitOff, entry.isSplitOff) << entry.offset;
            ASSERT_EQ(current.isLast, entry.isLast) << entry.offset;
            ASSERT_EQ(current.hasLongLine, entry.hasLongLine) << entry.offset;
            ASSERT_FALSE(current.isOversized);
            ASSERT_EQ(linesOf(object), entry.lines);
            for (std::size_t i = 0; i < entry.attributes.size(); ++i) {
                ASSERT_EQ(lineOfCurrentAttribute(static_cast<int>(i)), entry.attributes[i])
                    << entry.offset << ' ' << i;
            }
        }
        ASSERT_FALSE(readNextEntry());
        requireUnchangedExport();
    }

    // The same, and that each of them is found again.
    void expectEntriesTwiceOf(std::string_view content) {
        expectEntriesOf(content);
        SCOPED_TRACE(testing::PrintToString(std::string(content)));
        for (const Expected& entry : entriesOf(content)) {
            ASSERT_TRUE(readEntryAt(entry.offset)) << entry.offset;
            ASSERT_EQ(linesOf(object), entry.lines);
            ASSERT_EQ(lineAt(entry.offset), entry.line);
            for (std::size_t i = 0; i < entry.attributes.size(); ++i) {
                ASSERT_EQ(lineOfAttribute(entry.offset, static_cast<int>(i)), entry.attributes[i])
                    << entry.offset << ' ' << i;
            }
        }
    }
};

// ---- Entries and their positions

TEST_F(ExportFileTest, EntriesHaveTheirOffsetsInTheFile) {
    Dice dice(1);
    for (int round = 0; round < 1000; ++round) {
        expectEntriesTwiceOf(randomExport(dice, false));
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST_F(ExportFileTest, LinesThatAreTooLongAreDividedAsTheReaderDividesThem) {
    Dice dice(2);
    for (int round = 0; round < 300; ++round) {
        expectEntriesTwiceOf(randomExport(dice, true));
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST_F(ExportFileTest, AnEmptyExportHasNoEntries) {
    expectEntriesOf("");
    expectEntriesOf("\n \n# comment\n\r\n");
}

TEST_F(ExportFileTest, EntriesBeyondTheBufferHaveTheirOffsets) {
    std::string content;
    for (int i = 0; content.size() < 400'000; ++i) {
        content += "dn: cn=" + std::to_string(i) + "\nsn: " + std::string(3007, 'x') + "\n";
        content += i % 3 == 0 ? "# a comment\n\n" : i % 7 == 0 ? "   \n" : "\n\n";
    }
    expectEntriesOf(content);
}

TEST_F(ExportFileTest, ThePiecesOfAnEntryAreThoseOfItsLines) {
    read("dn: a\n# c\nx: " + std::string(5000, 'y') + std::string("\nz: 1\0002\n\n", 10));
    std::vector<Piece> pieces;
    visitCurrentPieces([&pieces](const Piece& piece) {
        pieces.push_back(piece);
        return true;
    });
    ASSERT_EQ(pieces.size(), 6U);
    const Piece& rest = pieces[3];
    EXPECT_EQ(rest.offset, 10 + 4095);
    EXPECT_EQ(rest.line, 3);
    EXPECT_FALSE(rest.beginsLine);
    const Piece& cut = pieces[4];
    EXPECT_TRUE(cut.isText());
    EXPECT_FALSE(cut.isContinuation);
    EXPECT_TRUE(cut.isCut);
    EXPECT_TRUE(cut.beginsLine);
    EXPECT_FALSE(rest.isCut);
}

TEST_F(ExportFileTest, AnOversizedEntryStaysUnread) {
    std::string content = "\n# comment\ndn: a\n";
    for (int i = 0; i < 250'000; ++i) {
        content += i % 1000 == 0 ? "# c\nx: 1\n" : "x: 1\n";
    }
    const std::size_t next = content.size() + 1;
    open(content + "\ndn: b\n");
    ASSERT_TRUE(readNextEntry());
    EXPECT_TRUE(current.isOversized);
    EXPECT_EQ(current.offset, 11);
    EXPECT_EQ(current.line, 3);
    EXPECT_EQ(current.end, static_cast<off_t>(next));
    int visited = 0;
    EXPECT_TRUE(visitOversizedEntry([&visited](PassedLine kind, std::string_view line) {
        const bool isKept = kind == PassedLine::KEPT;
        visited += isKept ? 1 : 0;
        EXPECT_EQ(isKept, line == "dn: a\n" || line == "x: 1\n");
    }));
    EXPECT_EQ(visited, 250'001);
    ASSERT_TRUE(readNextEntry());
    EXPECT_FALSE(current.isOversized);
    EXPECT_EQ(current.offset, static_cast<off_t>(next));
    EXPECT_EQ(current.line, 3 + 250'250 + 2);
    EXPECT_EQ(linesOf(object), (std::vector<std::string>{"dn: b\n"}));
    EXPECT_FALSE(readEntryAt(11));
}

TEST_F(ExportFileTest, AnExportThatIsTooLargeIsNotChecked) {
    writeInput("");
    std::filesystem::resize_file(input_ldif_filename, std::uintmax_t{1} << 40U);
    const Ending ending = endingOf([] { openExport(input_ldif_filename); });
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.errors, testing::EndsWith("\": it is too large\n"));
}

TEST_F(ExportFileTest, AnExportThatGrowsMeanwhileIsNotChecked) {
    read("dn: a\n\ndn: b\n");
    std::ofstream(input_ldif_filename, std::ios::app) << "x: 1\n";
    while (readNextEntry()) {
    }
    const Ending ending = endingOf(requireUnchangedExport);
    EXPECT_EQ(ending.status, 2);
    EXPECT_THAT(ending.errors, testing::HasSubstr(std::string(changedMeanwhile)));
}

// ---- Reading entries again

TEST_F(ExportFileTest, AnEntryOfAnySizeIsReadAgain) {
    for (std::size_t size = 4050; size <= 4110; ++size) {
        for (const std::string_view end : {"\n", "\n\n", "\n \ndn: b\n", "\r\n\r\n"}) {
            std::string content = "dn: a\n";
            content += "x: " + std::string(2000, 'y') + "\n";
            content += "x: " + std::string(size - content.size(), 'y') + std::string(end);
            read(content);
            const std::vector<std::string> lines = linesOf(object);
            ASSERT_TRUE(readEntryAt(0));
            ASSERT_EQ(linesOf(object), lines) << size << testing::PrintToString(end);
        }
    }
}

TEST_F(ExportFileTest, AnEntryThatIsGoneIsNotReadAgain) {
    read("dn: a\n\ndn: b\n\n");
    EXPECT_FALSE(readEntryAt(14));
    writeInput("");
    EXPECT_FALSE(readEntryAt(7));
    EXPECT_EQ(lineAt(7), 0);
}

TEST_F(ExportFileTest, FoldedLinesAndCommentsAreNoAttributesOfTheirOwn) {
    read("dn: a\n b\n# c\nx: 1\n# c\n d\n e\ny: 2\n");
    EXPECT_EQ(lineOfAttribute(0, 0), 1);
    EXPECT_EQ(lineOfAttribute(0, 1), 4);
    EXPECT_EQ(lineOfAttribute(0, 2), 8);
}

TEST_F(ExportFileTest, AnAttributeFarBehindIsFound) {
    std::string content = "dn: a\n";
    for (int i = 1; i < 20'000; ++i) {
        content += "attribute" + std::to_string(i) + ": 1\n";
    }
    read(content);
    for (int i = 0; i < 20'000; i += 613) {
        ASSERT_EQ(lineOfAttribute(0, i), i + 1);
    }
}

TEST_F(ExportFileTest, TheDnIsShownUnfoldedAndPrintable) {
    read("dn: cn=Ann\r\n  Lee,\n o=\x1b"
         "acme\nx: 1\n\ndn: b");
    EXPECT_EQ(dnAt(0), "dn: cn=Ann Lee,o=?acme");
    EXPECT_EQ(dnAt(34), "dn: b");
    EXPECT_EQ(dnAt(99), "");
}

TEST_F(ExportFileTest, ALineThatIsNoDnIsNotShown) {
    read("userPassword: secret\ndn: a\n");
    EXPECT_EQ(dnAt(0), "");
}

TEST_F(ExportFileTest, ALongDnIsCut) {
    read("dn: " + std::string(5000, 'x') + "\n");
    EXPECT_EQ(dnAt(0).substr(0, 250), "dn: " + std::string(246, 'x'));
    EXPECT_LT(dnAt(0).size(), 300U);
}

TEST_F(ExportFileTest, TextBehindTheDnIsNotShownWithIt) {
    read(std::string_view("dn: cn=a\0secret\nx: 1\n\ndn: b\n \n secret\n", 39));
    EXPECT_EQ(dnAt(0), "dn: cn=a");
    EXPECT_EQ(dnAt(22), "dn: b");
}

TEST_F(ExportFileTest, ADnBeginsALine) {
    const std::string comment(longestLine, '#');
    read(comment + "dn: secret\nx: 1\n");
    EXPECT_EQ(dnAt(static_cast<off_t>(longestLine)), "");
}

TEST_F(ExportFileTest, AFirstLineIsNamedWhenItIsADnOrAHeader) {
    read("dn: a\n");
    EXPECT_EQ(nameOf("DN: a", 0), "DN");
    EXPECT_EQ(nameOf("version: 1", 0), "version");
    EXPECT_EQ(nameOf("secret: 1", 0), unnamed);
    EXPECT_EQ(nameOf("mail: 1", 1), "mail");
}

TEST_F(ExportFileTest, NothingIsNamedInAnEntryThatIsInPieces) {
    for (const std::string& line :
         {"x: " + std::string(longestLine, 'y'), std::string("x: a\0b", 6)}) {
        read("dn: a\n" + line + "\nmail: 1\n");
        EXPECT_EQ(nameOf("mail: 1", 2), unnamed);
    }
}

// ---- Findings

TEST_F(ExportFileTest, AFindingHasItsLineAndTheDnOfItsEntry) {
    read("# c\ndn: a\n b\nx: 1\n folded\ny: 2\n\ndn: c\n");
    reportAt(FindingType::CUT_TEXT, 2, "an effect", 5);
    reportEntry(FindingType::CUT_TEXT, "another");
    reportAtOffset(32, FindingType::CUT_TEXT, "a third");
    const std::vector<Finding>& findings = shown(FindingType::CUT_TEXT);
    ASSERT_EQ(findings.size(), 3U);
    EXPECT_EQ(findings[0].line, 6);
    EXPECT_EQ(findings[0].dn, "dn: ab");
    EXPECT_EQ(findings[0].effect, "an effect");
    EXPECT_EQ(findings[0].message, 5);
    EXPECT_EQ(findings[1].line, 2);
    EXPECT_EQ(findings[1].message, 0);
    EXPECT_EQ(findings[2].line, 8);
    EXPECT_EQ(findings[2].dn, "dn: c");
}

TEST_F(ExportFileTest, AFindingAtAFoldedLineIsOneAtItsAttribute) {
    read("dn: a\nx: 1\n# c\ny: 2\n z\n");
    reportAtLine(FindingType::CUT_TEXT, 3, "an effect");
    EXPECT_EQ(shown(FindingType::CUT_TEXT).front().line, 4);
}

TEST_F(ExportFileTest, FindingsBeyondTheLimitAreCounted) {
    beginFindings(1);
    read("dn: a\n");
    reportEntry(FindingType::CUT_TEXT, "one");
    reportEntry(FindingType::CUT_TEXT, "two");
    reportAt(FindingType::CUT_TEXT, 0, "three");
    reportAtOffset(0, FindingType::CUT_TEXT, "four");
    ASSERT_EQ(shown(FindingType::CUT_TEXT).size(), 1U);
    EXPECT_EQ(shown(FindingType::CUT_TEXT).front().effect, "one");
    EXPECT_EQ(total(FindingType::CUT_TEXT), 4U);
}

// ---- Lines of a text

TEST(VisitLines, VisitsEveryLineWithItsIndex) {
    const auto visited = [](std::string_view text) {
        std::vector<std::string> lines;
        visitLines(text, [&lines](std::string_view line, int index) {
            lines.push_back(std::to_string(index) + std::string(line));
        });
        return lines;
    };
    EXPECT_EQ(visited("a\n\nb\n"), (std::vector<std::string>{"0a", "1", "2b"}));
    EXPECT_EQ(visited("a\nb"), (std::vector<std::string>{"0a", "1b"}));
    EXPECT_TRUE(visited("").empty());
}

}  // namespace
