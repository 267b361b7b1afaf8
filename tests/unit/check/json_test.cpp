#include "check/json.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>

namespace {

std::string asJson(std::string_view text) {
    JsonText json;
    json.addText({}, text);
    return json.text();
}

TEST(JsonTextTest, CommasAppearBetweenValuesAlone) {
    JsonText json;
    json.beginObject();
    json.addText("program", "check");
    json.beginObject("empty");
    json.endObject();
    json.beginArray("list");
    json.beginArray();
    json.endArray();
    json.beginObject();
    json.addNumber("one", 1);
    json.addNumber("two", 2);
    json.endObject();
    json.addText({}, "");
    json.endArray();
    json.addNumber("last", 0);
    json.endObject();
    EXPECT_EQ(json.text(), R"({"program":"check","empty":{},"list":[[],{"one":1,"two":2},""],)"
                           R"("last":0})");
}

TEST(JsonTextTest, ANumberThatIsNotKnownIsNull) {
    JsonText json;
    json.addNumber({}, std::nullopt);
    EXPECT_EQ(json.text(), "null");
}

TEST(JsonTextTest, NumbersAreWrittenInFull) {
    JsonText json;
    json.addNumber({}, std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(json.text(), "18446744073709551615");
}

TEST(JsonTextTest, NamesAreEscapedAsValuesAre) {
    JsonText json;
    json.beginObject();
    json.addNumber("a\"b", 1);
    json.endObject();
    EXPECT_EQ(json.text(), R"({"a\"b":1})");
}

TEST(JsonTextTest, QuotesBackslashesAndWhatIsNotPrintableAreEscaped) {
    EXPECT_EQ(asJson("a\"b\\c/d"), R"("a\"b\\c/d")");
    EXPECT_EQ(asJson(std::string("\0\x01\t\n\r\x1f \x7f", 8)),
              "\"\\u0000\\u0001\\u0009\\u000a\\u000d\\u001f \\u007f\"");
    EXPECT_EQ(asJson("\xc2\x85|\xd8\x9c|\xe2\x80\xae|\xe2\x80\xa8"),
              R"("\u0085|\u061c|\u202e|\u2028")");
}

// RFC 3629, section 4: the sequences that are UTF-8, at the ends of each range.
TEST(JsonTextTest, Utf8IsUnchanged) {
    for (const std::string_view text :
         {"\x7e", "\xc2\xa0", "\xdf\xbf", "\xe0\xa0\x80", "\xe0\xbf\xbf", "\xe1\x80\x80",
          "\xec\xbf\xbf", "\xed\x80\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf",
          "\xf0\x90\x80\x80", "\xf0\xbf\xbf\xbf", "\xf1\x80\x80\x80", "\xf3\xbf\xbf\xbf",
          "\xf4\x80\x80\x80", "\xf4\x8f\xbf\xbf"}) {
        EXPECT_EQ(asJson("<" + std::string(text) + ">"), "\"<" + std::string(text) + ">\"");
    }
}

// How many bytes of `text` are replaced by the replacement character, and that nothing else is.
void expectReplaced(std::string_view text, std::string_view expected) {
    EXPECT_EQ(asJson(std::string(text) + "!"), '"' + std::string(expected) + "!\"")
        << testing::PrintToString(text);
}

TEST(JsonTextTest, EachByteThatIsNotUtf8IsReplaced) {
    const std::string one = "\\ufffd";
    const std::string two = one + one;
    const std::string three = two + one;
    const std::string four = two + two;
    expectReplaced("\x80", one);
    expectReplaced("\xbf", one);
    expectReplaced("\xc0\xaf", two);  // a slash in two bytes
    expectReplaced("\xc1\xbf", two);
    expectReplaced("\xc2", one);
    expectReplaced("\xc2\x7f", one + "\\u007f");
    expectReplaced("\xc2\xc3\xa4", one + "\xc3\xa4");
    expectReplaced("\xe0\x9f\xbf", three);
    expectReplaced("\xe1\x80", two);
    expectReplaced("\xed\xa0\x80", three);  // half of a surrogate pair
    expectReplaced("\xed\xbf\xbf", three);
    expectReplaced("\xf0\x8f\xbf\xbf", four);
    expectReplaced("\xf1\x80\x80", three);
    expectReplaced("\xf4\x90\x80\x80", four);
    expectReplaced("\xf5\x80\x80\x80", four);
    expectReplaced("\xfe\xff", two);
}

TEST(JsonTextTest, ASequenceThatTheTextCutsOffIsReplaced) {
    EXPECT_EQ(asJson("a\xe2\x82"), "\"a\\ufffd\\ufffd\"");
    EXPECT_EQ(asJson("\xf0"), "\"\\ufffd\"");
}

}  // namespace
