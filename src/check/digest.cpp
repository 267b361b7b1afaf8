#include "check/digest.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "driver/platform/random.h"
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

std::uint64_t unchanged(std::uint64_t bytes) {
    return bytes;
}

// Set when the program starts.
struct Keys {
    std::array<std::uint64_t, 16> words;  // for the words of a text, again and again
    std::uint64_t start;
    std::uint64_t factor;
};

Keys keysOfRun() {
    const std::array<std::uint64_t, 2> bits = randomBits();
    std::uint64_t count = 0;
    const auto next = [&] { return scattered(scattered(bits[0] + count++) + bits[1]); };
    Keys keys = {{}, next(), next() | 1U};
    std::generate(keys.words.begin(), keys.words.end(), next);
    return keys;
}

const Keys keys = keysOfRun();

constexpr std::size_t wordSize = sizeof(std::uint64_t);
__extension__ using Product = unsigned __int128;

std::uint64_t wordAt(const char* at) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, wordSize);
    return word;
}

// The digest of a text that follows another one with the digest `before`.
template <class Fold>
std::uint64_t digest(std::string_view text, Fold fold, std::uint64_t before = 0) {
    const std::size_t size = text.size();
    std::array<char, 2 * wordSize> padded = {};
    if (size < padded.size()) {
        text.copy(padded.data(), size);
        text = {padded.data(), padded.size()};
    }
    std::uint64_t value = (keys.start ^ size) + before;
    Product sum = 0;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t i = 0; at != end;) {
        at = std::min(at, end - 2 * wordSize);  // the last words may overlap those before
        sum += Product{fold(wordAt(at)) + keys.words[i]} *
               (fold(wordAt(at + wordSize)) + keys.words[i + 1]);
        at += 2 * wordSize;
        i += 2;
        if (at == end || i == keys.words.size()) {
            value = scattered((value ^ static_cast<std::uint64_t>(sum)) +
                              static_cast<std::uint64_t>(sum >> 64U) * keys.factor);
            i = 0;
        }
    }
    return value;
}

}  // namespace

std::uint64_t digestOf(std::string_view text) {
    return digest(text, unchanged);
}

std::uint64_t digestIgnoringCase(std::string_view text) {
    return digest(text, lowerCaseOf);
}

void LineDigest::add(std::string_view block) {
    value_ = digest(block, unchanged, value_);
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

LineSum sumOfLines(std::string_view lines) {
    LineSum sum;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        sum += line.empty() ? LineSum() : LineSum(digestOfLine(line));
        lines.remove_prefix(std::min(line.size() + 1, lines.size()));
    }
    return sum;
}

void LinesDigest::add(std::uint64_t line) {
    sum += LineSum(line);
    chain = scattered(chain + firstFactor) ^ line;
    ++count;
}

void TextDigest::add(std::string_view text) {
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        const std::string_view line = text.substr(0, end);
        const std::string_view whole = rest_.empty() ? line : rest_.append(line);
        if (!whole.empty()) {
            lines_.add(digestOfLine(whole));
        }
        rest_.clear();
        text.remove_prefix(end + 1);
    }
    rest_ += text;
}
