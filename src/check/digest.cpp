#include "check/digest.h"

#include <algorithm>
#include <cstring>

#include "entry/text.h"

namespace {

constexpr std::uint64_t firstFactor = 0x9fb21c651e98df25U;
constexpr std::uint64_t secondFactor = 0xd6e8feb86659fd93U;

// The finalizer of the splitmix family, with other factors: every bit of the result depends on
// every bit of the value.
std::uint64_t scattered(std::uint64_t value) {
    value = (value ^ value >> 32U) * firstFactor;
    value = (value ^ value >> 29U) * secondFactor;
    return value ^ value >> 32U;
}

template <class Fold>
std::uint64_t digest(std::string_view text, Fold fold) {
    std::uint64_t value = text.size() * secondFactor;
    while (text.size() >= sizeof(std::uint64_t)) {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, text.data(), sizeof bytes);
        value = (value ^ fold(bytes)) * firstFactor;
        value ^= value >> 32U;
        text.remove_prefix(sizeof bytes);
    }
    std::uint64_t rest = 0;
    std::memcpy(&rest, text.data(), text.size());
    return scattered(value ^ fold(rest));
}

}  // namespace

std::uint64_t digestOf(std::string_view text) {
    return digest(text, [](std::uint64_t bytes) { return bytes; });
}

std::uint64_t digestIgnoringCase(std::string_view text) {
    return digest(text, lowerCaseOf);
}

void LineDigest::add(std::string_view block) {
    value_ = scattered(value_ + firstFactor) ^ digestOf(block);
}

void LineDigest::addLine(std::string_view line) {
    do {
        add(line.substr(0, blockSize));
        line.remove_prefix(std::min(line.size(), blockSize));
    } while (!line.empty());
}

std::uint64_t digestOfLine(std::string_view line) {
    LineDigest digest;
    digest.addLine(line);
    return digest.value();
}

void LinesDigest::add(std::uint64_t line) {
    sum += line;
    chain = scattered(chain + firstFactor) ^ line;
    ++count;
}
