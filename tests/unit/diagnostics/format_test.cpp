#include "driver/diagnostics/format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

using std::string_literals::operator""s;

namespace {

TEST(Format, TextWithoutPlaceholdersIsUnchanged) {
    EXPECT_EQ(format("main():  FUNCTION ENTRY  \n"), "main():  FUNCTION ENTRY  \n");
    EXPECT_EQ(format(""), "");
}

TEST(Format, EveryKindOfTextFitsTheTextPlaceholder) {
    EXPECT_EQ(format("%s", "literal"), "literal");
    EXPECT_EQ(format("%s", std::string("string")), "string");
    EXPECT_EQ(format("%s", std::string_view("view")), "view");
}

TEST(Format, NumbersAreDecimalWithTheirSign) {
    EXPECT_EQ(format("rc = %d (dec)  \n", -1), "rc = -1 (dec)  \n");
    EXPECT_EQ(format("%ld", std::int64_t{9223372036854775807}), "9223372036854775807");
    EXPECT_EQ(format("%d", std::uint32_t{4294967295}), "4294967295");
    EXPECT_EQ(format("%d", std::size_t{0}), "0");
}

TEST(Format, PlaceholdersAreFilledInOrder) {
    EXPECT_EQ(format("   object[%d] = %s of %s", 7, "x: 1", "y"), "   object[7] = x: 1 of y");
    EXPECT_EQ(format("%s%s", "a", "b"), "ab");
}

TEST(Format, PercentSignsOfAnArgumentAreText) {
    EXPECT_EQ(format("<%s|%s>", "100%s", "%d"), "<100%s|%d>");
}

TEST(Format, NothingIsCutOff) {
    const std::string longText(100000, 'x');
    EXPECT_EQ(format("a%sb", longText), "a" + longText + "b");
    EXPECT_EQ(format("<%s>", "a\0b"s), "<a\0b>"s);
}

TEST(FormatText, PlaceholdersWithoutArgumentBecomeEmpty) {
    const FormatArgument arguments[] = {"one"};
    EXPECT_EQ(formatText("<%s|%s|%ld>", arguments), "<one||>");
}

TEST(FormatText, ArgumentsWithoutPlaceholderAreLeftOut) {
    const FormatArgument arguments[] = {"one", 2, "three"};
    EXPECT_EQ(formatText("%s %d", arguments), "one 2");
}

}  // namespace
