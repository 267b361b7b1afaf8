#include "driver/diagnostics/printable.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

TEST(Printable, TextIsShownUnchanged) {
    for (const std::string_view text :
         {"", "dn: cn=a,o=b", "\xc3\x84 \xe2\x82\xac \xf0\x9f\x98\x80", "\"quoted\" back\\slash"}) {
        EXPECT_EQ(printable(text), text);
    }
}

TEST(Printable, EveryControlCharacterIsAQuestionMark) {
    for (int code = 0; code < 0x20; ++code) {
        EXPECT_EQ(printable(std::string(1, static_cast<char>(code))), "?") << code;
    }
    EXPECT_EQ(printable("\x1b[2Ja\r\n\tb\x7f"), "?[2Ja???b?");
    EXPECT_EQ(printable("\xc2\x80|\xc2\x85|\xc2\x9b|\xc2\x9f|\xc2\xa0"), "?|?|?|?|\xc2\xa0");
}

TEST(Printable, EveryBidirectionalControlIsAQuestionMark) {
    EXPECT_EQ(printable("\xd8\x9c|\xe2\x80\x8e|\xe2\x80\x8f"), "?|?|?");  // U+061C, U+200E, U+200F
    EXPECT_EQ(printable("\xe2\x80\xaa\xe2\x80\xab\xe2\x80\xac\xe2\x80\xad\xe2\x80\xae"), "?????");
    EXPECT_EQ(printable("\xe2\x81\xa6\xe2\x81\xa7\xe2\x81\xa8\xe2\x81\xa9"), "????");
    const std::string beside = "\xd8\x9b\xd8\x9d\xe2\x80\x8d\xe2\x80\x90\xe2\x80\xaf\xe2\x81\xaa";
    EXPECT_EQ(printable(beside), beside);
}

TEST(Printable, EverySeparatorOfLinesOrParagraphsIsAQuestionMark) {
    EXPECT_EQ(printable("\xe2\x80\xa7|\xe2\x80\xa8|\xe2\x80\xa9"), "\xe2\x80\xa7|?|?");
}

// RFC 3629, section 4: the sequences that are UTF-8, at the ends of each range.
TEST(Printable, CharactersOfEveryLengthAreShown) {
    for (const std::string_view text :
         {"\x20", "\x7e", "\xc2\xa0", "\xdf\xbf", "\xe0\xa0\x80", "\xe0\xbf\xbf", "\xe1\x80\x80",
          "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf0\xbf\xbf\xbf",
          "\xf1\x80\x80\x80", "\xf3\xbf\xbf\xbf", "\xf4\x80\x80\x80", "\xf4\x8f\xbf\xbf"}) {
        EXPECT_EQ(printable(text), text);
    }
}

TEST(Printable, EveryByteThatIsNotUtf8IsAQuestionMark) {
    EXPECT_EQ(printable("\x80|\xbf|\xfe|\xff"), "?|?|?|?");
    EXPECT_EQ(printable("\xc0\xaf|\xc1\xbf"), "??|??");  // a slash in two bytes
    EXPECT_EQ(printable("\xe0\x9f\xbf|\xf0\x8f\xbf\xbf"), "???|????");
    EXPECT_EQ(printable("\xed\xa0\x80|\xed\xbf\xbf"), "???|???");  // halves of surrogate pairs
    EXPECT_EQ(printable("\xf4\x90\x80\x80|\xf5\x80\x80\x80"), "????|????");
    EXPECT_EQ(printable("\xc2z|\xe1\x80z|\xc2\xc3\xa4"), "?z|??z|?\xc3\xa4");
    EXPECT_EQ(printable("a\xe2\x82"), "a??");
    EXPECT_EQ(printable("\xf0"), "?");
}

TEST(Printable, TextIsCutBetweenTwoCharacters) {
    EXPECT_EQ(printable("abcd", 4), "abcd");
    EXPECT_EQ(printable("abcde", 4), "abcd...");
    EXPECT_EQ(printable("abc\xc3\xa4", 5), "abc\xc3\xa4");
    EXPECT_EQ(printable("abc\xc3\xa4", 4), "abc...");
    EXPECT_EQ(printable("ab\xe2\x82\xac", 4), "ab...");
    EXPECT_EQ(printable("abc\x9f", 4), "abc?");
}

TEST(ShellWordTest, APlainNameStaysUnchanged) {
    EXPECT_EQ(shellWord("/data/export-2026_01.ldif"), "/data/export-2026_01.ldif");
    EXPECT_EQ(shellWord("a@b%c+d=e:f,g"), "a@b%c+d=e:f,g");
}

TEST(ShellWordTest, NamesThatAShellWouldInterpretAreQuoted) {
    EXPECT_EQ(shellWord(""), "''");
    EXPECT_EQ(shellWord("my export.ldif"), "'my export.ldif'");
    EXPECT_EQ(shellWord("~ann"), "'~ann'");
    EXPECT_EQ(shellWord("$(reboot);`x`&*?[a]{b}<>|\\\"#!"), "'$(reboot);`x`&*?[a]{b}<>|\\\"#!'");
    EXPECT_EQ(shellWord("Ann's"), "'Ann'\\''s'");
}

TEST(ShellWordTest, BytesThatAreNotPrintableAsciiAreOctalNumbers) {
    EXPECT_EQ(shellWord("a\nb"), "$'a\\012b'");
    EXPECT_EQ(shellWord("\x1b[2J\x7f"), "$'\\033[2J\\177'");
    EXPECT_EQ(shellWord("\xff'\\"), "$'\\377\\'\\\\'");
    EXPECT_EQ(shellWord("\u00e4"
                        "1"),
              "$'\\303\\2441'");
}

TEST(ShellWordTest, ANameIsNoOption) {
    EXPECT_EQ(shellWord("--json"), "./--json");
    EXPECT_EQ(shellWord("- x"), "'./- x'");
    EXPECT_EQ(shellWord("-\n"), "$'./-\\012'");
}

}  // namespace
