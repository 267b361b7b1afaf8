#include "check/digest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "entry/text.h"

namespace {

constexpr std::size_t block = LineDigest::blockSize;

// Reading stops at a whole word, and the rest is folded as well: both are looked at.
TEST(DigestIgnoringCase, FoldsTheAsciiLettersAlone) {
    for (const std::size_t at : {0U, 3U, 7U, 8U, 10U}) {
        std::string one = "[cn=Ann Z@~";
        std::string other = one;
        for (int first = 0; first < 256; ++first) {
            one[at] = static_cast<char>(first);
            const std::uint64_t digest = digestIgnoringCase(one);
            for (int second = 0; second < 256; ++second) {
                other[at] = static_cast<char>(second);
                ASSERT_EQ(digest == digestIgnoringCase(other), equalFolded(one[at], other[at]))
                    << first << ' ' << second << " at " << at;
            }
        }
    }
}

TEST(DigestOf, DistinguishesCapitalsFromSmallLetters) {
    EXPECT_NE(digestOf("cn: Ann"), digestOf("cn: ann"));
    EXPECT_EQ(digestOf("cn: ann"), digestIgnoringCase("CN: ANN"));
}

TEST(DigestOf, EveryBitAndEveryZeroByteCounts) {
    for (std::size_t size = 0; size <= 24; ++size) {
        const std::string text(size, '\0');
        std::set<std::uint64_t> digests = {digestOf(text), digestOf(text + '\0')};
        for (std::size_t bit = 0; bit < size * 8; ++bit) {
            std::string changed = text;
            changed[bit / 8] = static_cast<char>(1U << bit % 8);
            digests.insert(digestOf(changed));
        }
        EXPECT_EQ(digests.size(), size * 8 + 2) << size;
    }
}

TEST(DigestOf, ManyNamesHaveAsManyDigests) {
    constexpr std::size_t names = 100'000;
    std::vector<std::uint64_t> digests;
    for (std::size_t i = 0; i < names; ++i) {
        const std::string dn = "secAuthority=Default,cn=user" + std::to_string(i) + ",o=acme";
        digests.push_back(digestIgnoringCase(dn));
    }
    std::sort(digests.begin(), digests.end());
    EXPECT_EQ(std::adjacent_find(digests.begin(), digests.end()), digests.end());
}

TEST(DigestOf, EveryByteOfALongTextCountsAtItsOffset) {
    for (const std::size_t size : {31U, 127U, 128U, 129U, 255U, 300U}) {
        const std::string text(size, 'x');
        std::set<std::uint64_t> digests = {digestOf(text), digestOf(text + 'x')};
        for (std::size_t i = 0; i < size; ++i) {
            std::string changed = text;
            changed[i] = 'y';
            digests.insert(digestOf(changed));
        }
        EXPECT_EQ(digests.size(), size + 2);
    }
}

TEST(DigestOf, ATextCraftedForDigestsWithoutAKeyHasAnother) {
    EXPECT_NE(digestOf("description: Keeps the registry"),
              digestOf("description: fddp`__hv_Yegistry"));
}

TEST(LineDigest, ALineIsTheSameInOneAndInItsBlocks) {
    for (const std::size_t size : {block - 1, block, block + 1, 2 * block, 2 * block + 1}) {
        std::string line(size, 'x');
        line.back() = 'y';
        LineDigest digest;
        for (std::size_t at = 0; at < size; at += block) {
            digest.add(std::string_view(line).substr(at, block));
        }
        EXPECT_EQ(digest.value(), digestOfLine(line)) << size;
    }
}

TEST(LineDigest, TheOrderAndTheNumberOfBlocksCount) {
    const std::string a(block, 'a');
    const std::string b(block, 'b');
    const std::set<std::uint64_t> digests = {
        digestOfLine(""),    digestOfLine(a),     digestOfLine(b),        digestOfLine(a + a),
        digestOfLine(a + b), digestOfLine(b + a), digestOfLine(a + a + a)};
    EXPECT_EQ(digests.size(), 7U);
}

LinesDigest digestOfLines(const std::vector<std::string_view>& lines) {
    LinesDigest digest;
    for (const std::string_view line : lines) {
        digest.add(digestOfLine(line));
    }
    return digest;
}

TEST(LinesDigest, TheSumIgnoresTheOrderAndTheChainDoesNot) {
    const LinesDigest one = digestOfLines({"dn: a", "x: 1", "x: 2"});
    const LinesDigest other = digestOfLines({"dn: a", "x: 2", "x: 1"});
    EXPECT_EQ(one.sum, other.sum);
    EXPECT_NE(one.chain, other.chain);
    EXPECT_EQ(one.count, 3U);
}

TEST(LinesDigest, ALineTwiceIsNotALineOnceNorNone) {
    const LinesDigest none = digestOfLines({"dn: a"});
    const LinesDigest once = digestOfLines({"dn: a", "x: 1"});
    const LinesDigest twice = digestOfLines({"dn: a", "x: 1", "x: 1"});
    EXPECT_EQ((std::set{none.sum.value(), once.sum.value(), twice.sum.value()}).size(), 3U);
    EXPECT_EQ((std::set{none.chain, once.chain, twice.chain}).size(), 3U);
}

TEST(LinesDigest, FourLinesCraftedForDigestsWithoutAKeyDoNotCancelEachOther) {
    EXPECT_NE(digestOfLines({"loginAllowed: FALSE", "maxFailedLogins: 3"}).sum,
              digestOfLines({"loginAllowed: TRUE", "note: 7l796k3k91NhkIYw~;"}).sum);
}

TEST(LineSum, NoNumberOfCopiesAddsNothing) {
    LineSum sum(digestOfLine("x: 1"));
    for (int i = 0; i < 64; ++i) {
        sum += sum;
        ASSERT_NE(sum.value(), 0U) << i;
    }
}

TEST(LineSum, FitsIntoFortyBitsAndLosesNothingAdded) {
    const LineSum largest(Packed40::max - 87);  // the prime is one more
    LineSum sum = largest;
    sum += largest;
    EXPECT_LT(sum.value(), Packed40::max);
    sum -= largest;
    EXPECT_EQ(sum, largest);
    sum -= largest;
    EXPECT_EQ(sum, LineSum());
    EXPECT_EQ((sum -= largest).value(), 1U);
}

TEST(Packed40, KeepsFortyBitsInFiveBytes) {
    static_assert(sizeof(Packed40) == 5);
    EXPECT_EQ(Packed40().value(), 0U);
    EXPECT_EQ(Packed40(Packed40::max).value(), Packed40::max);
    EXPECT_EQ(Packed40(0x12'3456'789aU).value(), 0x12'3456'789aU);
    EXPECT_EQ(Packed40(Packed40::max + 1).value(), 0U);
    EXPECT_EQ(Packed40(~std::uint64_t{0}).value(), Packed40::max);
}

}  // namespace
