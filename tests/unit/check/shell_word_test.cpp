#include "check/shell_word.h"

#include <gtest/gtest.h>

namespace {

TEST(ShellWordTest, APlainNameStaysAsItIs) {
    EXPECT_EQ(shellWord("/data/export-2026_01.ldif"), "/data/export-2026_01.ldif");
    EXPECT_EQ(shellWord("a@b%c+d=e:f,g"), "a@b%c+d=e:f,g");
}

TEST(ShellWordTest, WhatAShellReadsOtherwiseIsInQuotes) {
    EXPECT_EQ(shellWord(""), "''");
    EXPECT_EQ(shellWord("my export.ldif"), "'my export.ldif'");
    EXPECT_EQ(shellWord("~ann"), "'~ann'");
    EXPECT_EQ(shellWord("$(reboot);`x`&*?[a]{b}<>|\\\"#!"), "'$(reboot);`x`&*?[a]{b}<>|\\\"#!'");
    EXPECT_EQ(shellWord("Ann's"), "'Ann'\\''s'");
}

TEST(ShellWordTest, BytesThatAreNotPrintableAsciiAreNumbers) {
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
