#include "entry/hash.h"

#include <gtest/gtest.h>

#include <bit>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "entry/text.h"
#include "support/sample_entries.h"

namespace {

constexpr HashKey someKey = {0x0706050403020100U, 0x0f0e0d0c0b0a0908U};

TEST(HashIgnoringCase, IsThePublishedFunction) {
    if (std::endian::native != std::endian::little) {
        GTEST_SKIP() << "elsewhere, the words are read in the other order";
    }
    // By another implementation: PYTHONHASHSEED=0 python3.11 -c 'print(hex(hash(b"a")))'
    const std::pair<std::string_view, std::uint64_t> hashes[] = {
        {"a", 0x407448d2b89b1813U},
        {"cn=abcd", 0x9f748c02e4f3c204U},
        {"cn=abcde", 0x4e6b2b6bfc0f3d4aU},
        {"cn=anna,ou=people1,o=example\n", 0xaa48c5bde1dee38eU},
        {"[\\]^_`{|}~@\x80\xc4\xe4\xff\x30", 0x4a4ee07c08460205U},
    };
    for (const auto& [text, hash] : hashes) {
        EXPECT_EQ(hashIgnoringCase(text, HashKey{}), hash) << text;
    }
}

TEST(HashIgnoringCase, FoldsTheLettersAlone) {
    for (int i = 0; i < 256; ++i) {
        for (int j = 0; j < 256; ++j) {
            const char first = static_cast<char>(i);
            const char second = static_cast<char>(j);
            for (const std::size_t offset : {0U, 7U, 8U}) {  // within eight bytes and behind them
                std::string texts[2] = {"cn=anna,o", "CN=ANNA,O"};
                texts[0][offset] = first;
                texts[1][offset] = second;
                ASSERT_EQ(
                    hashIgnoringCase(texts[0], someKey) == hashIgnoringCase(texts[1], someKey),
                    equalFolded(first, second))
                    << i << ' ' << j << ' ' << offset;
            }
        }
    }
}

TEST(HashIgnoringCase, DistinguishesTextsOfNulBytes) {
    std::set<std::uint64_t> hashes;
    for (std::size_t length = 0; length < 20; ++length) {
        hashes.insert(hashIgnoringCase(std::string(length, '\0'), someKey));
    }
    EXPECT_EQ(hashes.size(), 20);
}

TEST(HashIgnoringCase, DependsOnEveryBitOfTheKey) {
    std::set<std::uint64_t> hashes = {hashIgnoringCase("cn=a", someKey)};
    for (unsigned bit = 0; bit < 128; ++bit) {
        HashKey key = someKey;
        key[bit / 64] ^= std::uint64_t{1} << bit % 64;
        hashes.insert(hashIgnoringCase("cn=a", key));
    }
    EXPECT_EQ(hashes.size(), 129);
}

// Of 64 Ki buckets, 32 Ki names at random take about 25,787.
TEST(HashIgnoringCase, SpreadsNamesThatAreAlikeOverItsLowBits) {
    for (std::string (*const nameOf)(int) : {ownerDnOfUser, numberedOwnerDn, bracketedOwnerDn}) {
        std::set<std::uint64_t> buckets;
        for (int number = 0; number < 32768; ++number) {
            buckets.insert(hashIgnoringCase(nameOf(number), someKey) % 65536);
        }
        EXPECT_GT(buckets.size(), 25500) << nameOf(0);
    }
}

}  // namespace
