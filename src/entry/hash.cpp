#include "entry/hash.h"

#include <bit>
#include <cstddef>
#include <cstring>

#include "entry/text.h"

namespace {

struct State {
    std::uint64_t a;
    std::uint64_t b;
    std::uint64_t c;
    std::uint64_t d;

    void mix() {
        a += b;
        c += d;
        b = std::rotl(b, 13) ^ a;
        d = std::rotl(d, 16) ^ c;
        a = std::rotl(a, 32) + d;
        c += b;
        d = std::rotl(d, 21) ^ a;
        b = std::rotl(b, 17) ^ c;
        c = std::rotl(c, 32);
    }

    void add(std::uint64_t word) {
        d ^= word;
        mix();
        a ^= word;
    }
};

}  // namespace

std::uint64_t hashIgnoringCase(std::string_view text, const HashKey& key) {
    State state = {key[0] ^ 0x736f6d6570736575U, key[1] ^ 0x646f72616e646f6dU,
                   key[0] ^ 0x6c7967656e657261U, key[1] ^ 0x7465646279746573U};
    const std::uint64_t length = std::uint64_t{text.size()} << 56U;
    while (text.size() >= sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), sizeof word);
        state.add(lowerCaseOf(word));
        text.remove_prefix(sizeof word);
    }
    std::uint64_t rest = 0;
    std::memcpy(&rest, text.data(), text.size());
    state.add(lowerCaseOf(rest) | length);
    state.c ^= 0xffU;
    for (int i = 0; i < 3; ++i) {
        state.mix();
    }
    return state.a ^ state.b ^ state.c ^ state.d;
}
