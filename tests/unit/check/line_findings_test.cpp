#include "check/line_findings.h"

#include <gtest/gtest.h>

#include <string_view>

#include "check/export_file.h"
#include "check/findings.h"
#include "check/inventory.h"
#include "entry/filters.h"
#include "support/ldif_fixture.h"

namespace {

std::uint64_t linesOfRule(Rule rule) {
    return ruleLines[static_cast<std::size_t>(rule)];
}

class LineFindingsTest : public LdifFixture {
protected:
    void SetUp() override {
        LdifFixture::SetUp();
        forgetInventory();
        beginFindings(10);
    }
    void TearDown() override {
        forgetInventory();
        beginFindings(0);
        LdifFixture::TearDown();
    }
    // Reads the first entry of this export.
    void read(std::string_view content) {
        writeInput(content);
        openExport(input_ldif_filename);
        ASSERT_TRUE(readNextEntry());
    }
    // The line of the only finding of this type, 0 when there is none.
    static std::int64_t lineOf(FindingType type) {
        EXPECT_LE(total(type), 1U);
        return shown(type).empty() ? 0 : shown(type).front().line;
    }
};

TEST_F(LineFindingsTest, AFoldedCommentIsReportedAtItsFirstLine) {
    read("dn: a\n# one\n# two\n folded\nx: 1\n");
    reportLineFindings();
    EXPECT_EQ(lineOf(FindingType::FOLDED_COMMENT), 3);
}

TEST_F(LineFindingsTest, ACommentInFrontOfAFoldedLineOfAnAttributeIsOneThatIsFolded) {
    read("dn: a\nx: 1\n# c\n  2\n");
    reportLineFindings();
    EXPECT_EQ(lineOf(FindingType::FOLDED_COMMENT), 3);
}

TEST_F(LineFindingsTest, CommentsOnLinesOfTheirOwnAreFine) {
    read("# c\ndn: a\n b\n# c\n# d\nx: 1\n# e\n\n");
    reportLineFindings();
    EXPECT_EQ(totalOfAllTypes(), 0U);
}

TEST_F(LineFindingsTest, AZeroByteIsReportedAtItsLine) {
    read(std::string_view("dn: a\nx: 1\0\n\n", 13));
    reportLineFindings();
    EXPECT_EQ(lineOf(FindingType::CUT_TEXT), 2);
}

TEST_F(LineFindingsTest, TextBehindACarriageReturnIsLost) {
    read("dn: a\r\nx: 1\ry\n folded\r\n\r\n");
    reportLineFindings();
    EXPECT_EQ(lineOf(FindingType::CUT_TEXT), 2);
}

TEST_F(LineFindingsTest, CarriageReturnsAtTheEndOfALineAreNoText) {
    read("dn: a\r\nx: 1\r\r\n\r\n");
    reportLineFindings();
    EXPECT_EQ(totalOfAllTypes(), 0U);
}

TEST_F(LineFindingsTest, ALineOfAnyLengthIsReportedOnce) {
    read("dn: a\nx: " + std::string(20'000, 'y') + "\n\n");
    reportLongLines();
    EXPECT_EQ(lineOf(FindingType::LONG_LINE), 2);
}

TEST_F(LineFindingsTest, FromFourThousandAndNinetyFiveBytesOnALineIsTooLong) {
    read("dn: a\nx: " + std::string(4091, 'y') + "\n\n");
    reportLongLines();
    EXPECT_EQ(lineOf(FindingType::LONG_LINE), 0);
    read("dn: a\nx: " + std::string(4092, 'y') + "\n\n");
    reportLongLines();
    EXPECT_EQ(lineOf(FindingType::LONG_LINE), 2);
}

TEST_F(LineFindingsTest, ALineDroppedForItsOwnNameIsCountedAlone) {
    read("dn: a\naclEntry: x\n\n");
    dropLine("aclEntry: x", 1, FROM_UNMERGED);
    dropLine("KVO-EntryUUID: x", 1, FROM_UNMERGED);
    EXPECT_EQ(linesOfRule(Rule::ACCESS_CONTROL), 1U);
    EXPECT_EQ(linesOfRule(Rule::ENTRY_IDENTIFIERS), 1U);
    EXPECT_EQ(totalOfAllTypes(), 0U);
}

TEST_F(LineFindingsTest, ALineDroppedForAnotherNameIsReported) {
    read("dn: a\n b\nmotto: mind the acl: x\n\n");
    dropLine("motto: mind the acl: x", 1, FROM_UNMERGED);
    EXPECT_EQ(linesOfRule(Rule::FILTERED_WORDS), 1U);
    EXPECT_EQ(lineOf(FindingType::FILTERED_WORD), 3);
    dropLine("oldacl: x", 1, FROM_UNMERGED);
    EXPECT_EQ(total(FindingType::FILTERED_WORD), 2U);
}

}  // namespace
