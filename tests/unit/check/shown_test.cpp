#include "check/shown.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

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

TEST(ShownName, TheNameStandsBeforeTheFirstColon) {
    EXPECT_EQ(shownName("mail;x: a:b"), "mail;x");
    EXPECT_EQ(shownName("photo:: YQ=="), "photo");
    EXPECT_EQ(shownName("1.2.840-X:"), "1.2.840-X");
}

TEST(ShownName, WhatIsNoNameIsNotShown) {
    for (const std::string_view line :
         {"secret", "", ":", ": secret", "my secret: x", " secret: x", "\tsecret: x", "#secret: x",
          "secret\r: x", "s\xc3\xa4: x", "a+b/c=: x", "secret\n: x"}) {
        EXPECT_EQ(shownName(line), unnamed) << line;
    }
    EXPECT_EQ(shownName(std::string_view("secret\0: x", 10)), unnamed);
}

}  // namespace
