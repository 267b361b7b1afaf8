#include "check/findings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

namespace {

class FindingsTest : public testing::Test {
protected:
    void TearDown() override {
        beginFindings(0);
    }
    static Finding inLine(std::int64_t line) {
        Finding finding;
        finding.line = line;
        return finding;
    }
};

TEST_F(FindingsTest, UnknownsAreNoFindings) {
    beginFindings(1);
    addUnknown("one");
    addUnknown("two");
    EXPECT_EQ(unknown(), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(totalOfAllTypes(), 0U);
    beginFindings(1);
    EXPECT_TRUE(unknown().empty());
}

TEST(FindingTypes, IdsAndTitlesAreUnique) {
    std::set<std::string_view> ids;
    std::set<std::string_view> titles;
    for (const FindingText& text : findingTypes()) {
        ids.insert(text.id);
        titles.insert(text.title);
        EXPECT_EQ(text.id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"),
                  std::string_view::npos)
            << text.id;
    }
    EXPECT_EQ(ids.size(), findingTypes().size());
    EXPECT_EQ(titles.size(), findingTypes().size());
    EXPECT_EQ(ids.count(""), 0U);
    EXPECT_EQ(titles.count(""), 0U);
}

TEST(FindingTypes, EveryTypeHasAFix) {
    for (const FindingText& text : findingTypes()) {
        EXPECT_NE(text.fix, "") << text.id;
        EXPECT_FALSE(text.fix.ends_with('.')) << text.id;
        EXPECT_FALSE(text.title.ends_with('.')) << text.id;
    }
}

TEST(FindingTypes, SeveritiesFollowOneAnother) {
    EXPECT_TRUE(std::is_sorted(findingTypes().begin(), findingTypes().end(),
                               [](const FindingText& one, const FindingText& other) {
                                   return one.severity < other.severity;
                               }));
}

TEST_F(FindingsTest, TheFirstOfATypeAreKeptInOrderAndAllAreCounted) {
    beginFindings(2);
    for (const std::int64_t line : {30, 10, 20}) {
        EXPECT_EQ(isShown(FindingType::LONG_LINE), line != 20);
        addFinding(FindingType::LONG_LINE, inLine(line));
    }
    ASSERT_EQ(shown(FindingType::LONG_LINE).size(), 2U);
    EXPECT_EQ(shown(FindingType::LONG_LINE)[0].line, 30);
    EXPECT_EQ(shown(FindingType::LONG_LINE)[1].line, 10);
    EXPECT_EQ(total(FindingType::LONG_LINE), 3U);
}

TEST_F(FindingsTest, TheLimitIsOneOfEachType) {
    beginFindings(1);
    addFinding(FindingType::LONG_LINE, inLine(1));
    EXPECT_TRUE(isShown(FindingType::CUT_TEXT));
    addFinding(FindingType::CUT_TEXT, inLine(2));
    EXPECT_EQ(shown(FindingType::LONG_LINE).front().line, 1);
    EXPECT_EQ(shown(FindingType::CUT_TEXT).front().line, 2);
    EXPECT_EQ(totalOfAllTypes(), 2U);
}

TEST_F(FindingsTest, WithALimitOfZeroFindingsAreCountedAlone) {
    beginFindings(0);
    EXPECT_FALSE(isShown(FindingType::LONG_LINE));
    addFinding(FindingType::LONG_LINE, inLine(1));
    countFinding(FindingType::LONG_LINE);
    EXPECT_TRUE(shown(FindingType::LONG_LINE).empty());
    EXPECT_EQ(total(FindingType::LONG_LINE), 2U);
}

TEST_F(FindingsTest, OneThatIsOnlyCountedDoesNotCountTowardsTheLimit) {
    beginFindings(1);
    countFinding(FindingType::LONG_LINE);
    addFinding(FindingType::LONG_LINE, inLine(7));
    ASSERT_EQ(shown(FindingType::LONG_LINE).size(), 1U);
    EXPECT_EQ(total(FindingType::LONG_LINE), 2U);
}

TEST_F(FindingsTest, BeginningForgetsAll) {
    beginFindings(5);
    addFinding(FindingType::LONG_LINE, inLine(1));
    beginFindings(5);
    EXPECT_EQ(totalOfAllTypes(), 0U);
    EXPECT_TRUE(shown(FindingType::LONG_LINE).empty());
}

TEST_F(FindingsTest, OnlyWhatDiffersIsKept) {
    beginFindings(1);
    for (const FindingText& text : findingTypes()) {
        addFinding(text.type, inLine(1));
    }
    keepDifferencesAlone();
    for (const FindingText& text : findingTypes()) {
        const bool isKept = text.severity == Severity::DIFFERS;
        EXPECT_EQ(total(text.type), isKept ? 1U : 0U) << text.id;
        EXPECT_EQ(shown(text.type).size(), isKept ? 1U : 0U) << text.id;
        EXPECT_EQ(isShown(text.type), !isKept) << text.id;
    }
}

TEST(ShownDn, ALineThatBeginsWithTheNameOfADnIsShown) {
    EXPECT_EQ(shownDn("dn: cn=Ann Lee,o=acme\n"), "dn: cn=Ann Lee,o=acme");
    EXPECT_EQ(shownDn("DN:cn=Ann"), "DN:cn=Ann");
    EXPECT_EQ(shownDn("dn:: Y249QW5u\r\n"), "dn:: Y249QW5u");
    EXPECT_EQ(shownDn("dn: cn=\x1b"), "dn: cn=?");
}

TEST(ShownDn, NoOtherLineIsShown) {
    for (const std::string_view line : {"userPassword: secret", "secret", "", "dn", "dn secret",
                                        " dn: secret", "xdn: secret", "#dn: secret"}) {
        EXPECT_EQ(shownDn(line), "") << line;
    }
}

TEST(ShownName, TheNameEndsBeforeTheFirstColon) {
    EXPECT_EQ(shownName("mail;x: a:b"), "mail;x");
    EXPECT_EQ(shownName("photo:: YQ=="), "photo");
    EXPECT_EQ(shownName("1.2.840-X:"), "1.2.840-X");
}

TEST(ShownName, ATextThatIsNoNameIsNotShown) {
    for (const std::string_view line :
         {"secret", "", ":", ": secret", "my secret: x", " secret: x", "\tsecret: x", "#secret: x",
          "secret\r: x", "s\xc3\xa4: x", "a+b/c=: x", "secret\n: x"}) {
        EXPECT_EQ(shownName(line), unnamed) << line;
    }
    EXPECT_EQ(shownName(std::string_view("secret\0: x", 10)), unnamed);
}

}  // namespace
