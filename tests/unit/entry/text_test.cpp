#include "entry/text.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/trace_fixture.h"

namespace {

struct Rewriting {
    std::string before;
    std::string after;
};

TEST(Trim, RemovesWhiteSpaceFromTheEndAlone) {
    const Rewriting cases[] = {
        {"abc \r\n", "abc"}, {"  abc", "  abc"},
        {"   ", ""},         {"", ""},
        {"abc", "abc"},      {"a b c \t\n\v\f\r", "a b c"},
        {"abc\b ", "abc\b"}, {"abc\xA0", "abc\xA0"},
    };
    for (const auto& [before, after] : cases) {
        std::string text = before;
        EXPECT_EQ(trim(text), after);
        EXPECT_EQ(&trim(text), &text);
    }
}

TEST(CaseFolding, ChangesAsciiLettersInPlace) {
    std::string lower = "@AZ[`az{ 09\xC4\xE4";
    EXPECT_EQ(strtolower(lower), "@az[`az{ 09\xC4\xE4");
    EXPECT_EQ(lower, "@az[`az{ 09\xC4\xE4");

    std::string upper = "@AZ[`az{ 09\xC4\xE4";
    EXPECT_EQ(strtoupper(upper), "@AZ[`AZ{ 09\xC4\xE4");
    EXPECT_EQ(upper, "@AZ[`AZ{ 09\xC4\xE4");
}

TEST(CaseFolding, EveryByteIsALetterOrStays) {
    for (int code = -128; code < 128; ++code) {
        const char c = static_cast<char>(code);
        const bool isUpper = c >= 'A' && c <= 'Z';
        const bool isLower = c >= 'a' && c <= 'z';
        EXPECT_EQ(toLower(c), isUpper ? c + 32 : c);
        EXPECT_EQ(toUpper(c), isLower ? c - 32 : c);
    }
}

// The offset of the match, or -1.
std::ptrdiff_t offsetOf(std::string_view needle, std::string_view haystack) {
    const char* match = dostristr(haystack, needle);
    return match == nullptr ? -1 : match - haystack.data();
}

TEST(Dostristr, FindsTheFirstMatchCaseInsensitively) {
    EXPECT_EQ(offsetOf(" secuser", "objectClass: SECUSER"), 12);
    EXPECT_EQ(offsetOf("CN=", "dn: cn=a,cn=b"), 4);
    EXPECT_EQ(offsetOf("abc", "ababc"), 2);
    EXPECT_EQ(offsetOf("a:a:b", "a:a:a:b"), 2);
    EXPECT_EQ(offsetOf("abc", "ABC"), 0);
}

TEST(Dostristr, MatchDoesNotRunPastTheEnd) {
    EXPECT_EQ(offsetOf("abc", "ab"), -1);
    EXPECT_EQ(offsetOf("b:", "a:b"), -1);
    EXPECT_EQ(offsetOf("abc", std::string_view("abcd", 2)), -1);
}

TEST(Dostristr, EmptyTexts) {
    EXPECT_EQ(offsetOf("", "abc"), 0);
    EXPECT_EQ(offsetOf("", std::string_view("abc", 0)), 0);
    EXPECT_EQ(offsetOf("a", std::string_view("abc", 0)), -1);
    EXPECT_EQ(dostristr("abc", {}), nullptr);
}

TEST(Dostristr, OnlyAsciiLettersHaveCase) {
    EXPECT_EQ(offsetOf("[", "{"), -1);
    EXPECT_EQ(offsetOf("\xE4", "\xC4"), -1);
}

// The search as one would write it first: every start, character by character.
std::ptrdiff_t naiveOffsetOf(std::string_view needle, std::string_view haystack) {
    for (std::size_t i = 0; i < haystack.size(); ++i) {
        std::size_t k = 0;
        while (k < needle.size() && i + k < haystack.size() &&
               toUpper(haystack[i + k]) == toUpper(needle[k])) {
            ++k;
        }
        if (k == needle.size()) {
            return static_cast<std::ptrdiff_t>(i);
        }
    }
    return -1;
}

TEST(Dostristr, AgreesWithTheNaiveSearch) {
    std::mt19937 random(20260);
    const auto randomText = [&random](std::size_t maxLetters) {
        constexpr std::string_view letters = "aAbB: ";
        std::string text(random() % maxLetters + 1, ' ');
        for (char& c : text) {
            c = letters[random() % letters.size()];
        }
        return text;
    };
    for (int i = 0; i < 50000; ++i) {
        const std::string haystack = randomText(12);
        const std::string needle = randomText(4);
        ASSERT_EQ(offsetOf(needle, haystack), naiveOffsetOf(needle, haystack))
            << '"' << needle << "\" in \"" << haystack << '"';
    }
}

TEST(SomeColonPrefix, VisitsTheLineUpToEachColonUntilTheVisitorStops) {
    std::vector<std::string> colonPrefixes;
    const auto collect = [&colonPrefixes](std::string_view colonPrefix) {
        colonPrefixes.emplace_back(colonPrefix);
        return colonPrefix == "a:b:";
    };
    EXPECT_TRUE(someColonPrefix("a:b:c:d", collect));
    EXPECT_EQ(colonPrefixes, (std::vector<std::string>{"a:", "a:b:"}));
    EXPECT_FALSE(someColonPrefix("x::", collect));
    EXPECT_EQ(colonPrefixes, (std::vector<std::string>{"a:", "a:b:", "x:", "x::"}));
    EXPECT_FALSE(someColonPrefix("none", collect));
}

TEST(EndsIgnoringCase, ComparesTheEndAlone) {
    EXPECT_TRUE(endsIgnoringCase("secDN:", "dn:"));
    EXPECT_TRUE(endsIgnoringCase("dn:", "DN:"));
    EXPECT_FALSE(endsIgnoringCase("n:", "dn:"));
    EXPECT_FALSE(endsIgnoringCase("dn: x", "dn:"));
    EXPECT_TRUE(endsIgnoringCase("x", ""));
    EXPECT_FALSE(endsIgnoringCase("", ":"));
}

TEST(EqualFolded, FoldsTheLettersAlone) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const auto lower = [](int c) { return c < 128 ? std::tolower(c) : c; };
            ASSERT_EQ(equalFolded(static_cast<char>(first), static_cast<char>(second)),
                      lower(first) == lower(second))
                << first << ' ' << second;
        }
    }
}

TEST(EqualIgnoringCase, ComparesWholeTexts) {
    EXPECT_TRUE(equalIgnoringCase("cn=A,o=b", "CN=a,O=B"));
    EXPECT_TRUE(equalIgnoringCase("", ""));
    EXPECT_FALSE(equalIgnoringCase("cn=a", "cn=a "));
    EXPECT_FALSE(equalIgnoringCase("cn=a", "cn="));
    EXPECT_FALSE(equalIgnoringCase("[", "{"));
}

TEST(CommaSpaceEater, RemovesSpacesAroundCommas) {
    const Rewriting cases[] = {
        {"cn=a , o=b ,  c=d", "cn=a,o=b,c=d"},
        {", a", ",a"},
        {"a ,", "a,"},
        {" ,a", ",a"},
        {"   ,", ","},
        {",   ", ","},
        {" , , ", ",,"},
        {"a b,c d", "a b,c d"},
        {"a\t,b", "a\t,b"},
        {"a,\tb", "a,\tb"},
        {"a \t ,b", "a \t,b"},
        {"a,\t b", "a,\t b"},
        {"  a b  ", "  a b  "},
        {"", ""},
        {",", ","},
        {"secdn: cn=a, o=b", "secdn: cn=a,o=b"},
    };
    for (const auto& [before, after] : cases) {
        std::string text = before;
        commaSpaceEater(text);
        EXPECT_EQ(text, after) << '"' << before << '"';
    }
}

TEST(CommaSpaceEater, EscapedAndQuotedCommasAreCommas) {
    std::string text = R"(cn=a\ , b,o="c , d")";
    commaSpaceEater(text);
    EXPECT_EQ(text, R"(cn=a\,b,o="c,d")");
}

TEST(WithoutLineEnd, EndsBeforeTheFirstLineEndCharacter) {
    EXPECT_EQ(withoutLineEnd("cn: x\r\n"), "cn: x");
    EXPECT_EQ(withoutLineEnd("cn: x\n"), "cn: x");
    EXPECT_EQ(withoutLineEnd("cn: x \ry\n"), "cn: x ");
    EXPECT_EQ(withoutLineEnd("cn: x"), "cn: x");
    EXPECT_EQ(withoutLineEnd("\n"), "");
    EXPECT_EQ(withoutLineEnd(""), "");
}

TEST(WithoutLeadingSpaces, TabsStay) {
    EXPECT_EQ(withoutLeadingSpaces("  a b "), "a b ");
    EXPECT_EQ(withoutLeadingSpaces(" \t a"), "\t a");
    EXPECT_EQ(withoutLeadingSpaces("   "), "");
    EXPECT_EQ(withoutLeadingSpaces(""), "");
}

class TextTrace : public TraceFixture {};

TEST_F(TextTrace, TextRoutinesWriteNothing) {
    startTrace();
    std::string text = "A , b \n";
    trim(text);
    strtolower(text);
    strtoupper(text);
    commaSpaceEater(text);
    dostristr(text, "b");
    EXPECT_EQ(traced(), "");
}

}  // namespace
