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

TEST_F(FindingsTest, WhatIsNotKnownIsNoFinding) {
    beginFindings(1);
    addUnknown("one");
    addUnknown("two");
    EXPECT_EQ(unknown(), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(totalOfAllKinds(), 0U);
    beginFindings(1);
    EXPECT_TRUE(unknown().empty());
}

TEST(Kinds, EveryKindIsListedOnceInTheOrderOfTheEnumeration) {
    ASSERT_EQ(kinds().size(), static_cast<std::size_t>(FindingType::END));
    for (std::size_t i = 0; i < kinds().size(); ++i) {
        EXPECT_EQ(static_cast<std::size_t>(kinds()[i].kind), i) << kinds()[i].id;
    }
}

TEST(Kinds, IdsAndTitlesAreUnique) {
    std::set<std::string_view> ids;
    std::set<std::string_view> titles;
    for (const FindingText& text : kinds()) {
        ids.insert(text.id);
        titles.insert(text.title);
        EXPECT_EQ(text.id.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-"),
                  std::string_view::npos)
            << text.id;
    }
    EXPECT_EQ(ids.size(), kinds().size());
    EXPECT_EQ(titles.size(), kinds().size());
    EXPECT_EQ(ids.count(""), 0U);
    EXPECT_EQ(titles.count(""), 0U);
}

TEST(Kinds, EveryTypeHasAFix) {
    for (const FindingText& text : kinds()) {
        EXPECT_NE(text.repair, "") << text.id;
        EXPECT_FALSE(text.repair.ends_with('.')) << text.id;
        EXPECT_FALSE(text.title.ends_with('.')) << text.id;
    }
}

TEST(Kinds, SeveritiesFollowOneAnother) {
    EXPECT_TRUE(std::is_sorted(kinds().begin(), kinds().end(),
                               [](const FindingText& one, const FindingText& other) {
                                   return one.severity < other.severity;
                               }));
}

TEST_F(FindingsTest, TheFirstOfAKindAreKeptInOrderAndAllAreCounted) {
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

TEST_F(FindingsTest, TheLimitIsOneOfEachKind) {
    beginFindings(1);
    addFinding(FindingType::LONG_LINE, inLine(1));
    EXPECT_TRUE(isShown(FindingType::CUT_TEXT));
    addFinding(FindingType::CUT_TEXT, inLine(2));
    EXPECT_EQ(shown(FindingType::LONG_LINE).front().line, 1);
    EXPECT_EQ(shown(FindingType::CUT_TEXT).front().line, 2);
    EXPECT_EQ(totalOfAllKinds(), 2U);
}

TEST_F(FindingsTest, WithALimitOfZeroFindingsAreCountedAlone) {
    beginFindings(0);
    EXPECT_FALSE(isShown(FindingType::LONG_LINE));
    addFinding(FindingType::LONG_LINE, inLine(1));
    countFinding(FindingType::LONG_LINE);
    EXPECT_TRUE(shown(FindingType::LONG_LINE).empty());
    EXPECT_EQ(total(FindingType::LONG_LINE), 2U);
}

TEST_F(FindingsTest, OneThatIsOnlyCountedTakesNoRoom) {
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
    EXPECT_EQ(totalOfAllKinds(), 0U);
    EXPECT_TRUE(shown(FindingType::LONG_LINE).empty());
}

TEST_F(FindingsTest, OnlyWhatDiffersIsKept) {
    beginFindings(1);
    for (const FindingText& text : kinds()) {
        addFinding(text.kind, inLine(1));
    }
    keepDifferencesAlone();
    for (const FindingText& text : kinds()) {
        const bool isKept = text.severity == Severity::DIFFERS;
        EXPECT_EQ(total(text.kind), isKept ? 1U : 0U) << text.id;
        EXPECT_EQ(shown(text.kind).size(), isKept ? 1U : 0U) << text.id;
        EXPECT_EQ(isShown(text.kind), !isKept) << text.id;
    }
}

}  // namespace
