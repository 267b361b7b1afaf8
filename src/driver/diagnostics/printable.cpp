#include "driver/diagnostics/printable.h"

#include <algorithm>
#include <array>

namespace {

struct Range {
    char32_t first;
    char32_t last;

    bool holds(char32_t code) const {
        return code >= first && code <= last;
    }
};

constexpr std::array<Range, 7> notPrintable = {{{0x00, 0x1f},
                                                {0x7f, 0x9f},
                                                {0x061c, 0x061c},
                                                {0x200e, 0x200f},
                                                {0x2028, 0x2029},
                                                {0x202a, 0x202e},
                                                {0x2066, 0x2069}}};

constexpr Range surrogates = {0xd800, 0xdfff};
constexpr char32_t highestCode = 0x10ffff;

// The lowest code of each length: a lower one has a shorter form, which alone is valid.
constexpr std::array<char32_t, 5> lowestCode = {0, 0, 0x80, 0x800, 0x10000};

// The length of the sequence that begins with `byte`, or 0 when none does.
std::size_t sequenceLength(unsigned char byte) {
    if (byte < 0x80) {
        return 1;
    }
    if (byte < 0xc0 || byte >= 0xf8) {
        return 0;
    }
    return byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
}

bool isPrintableAscii(char c) {
    return c >= ' ' && c <= '~';
}

// Whether a shell takes the character literally, wherever it is.
bool isPlain(char c) {
    constexpr std::string_view marks = "_@%+=:,./-";
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           marks.find(c) != std::string_view::npos;
}

std::string inQuotes(std::string_view text) {
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + '\'';
}

std::string inNumbers(std::string_view text) {
    std::string word = "$'";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\'' || c == '\\') {
            word += '\\';
        }
        if (isPrintableAscii(c)) {
            word += c;
        } else {
            word += '\\';
            for (const unsigned shift : {6U, 3U, 0U}) {
                word += static_cast<char>('0' + (byte >> shift & 7U));
            }
        }
    }
    return word + '\'';
}

}  // namespace

Character firstCharacter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = sequenceLength(first);
    if (length == 0 || text.size() < length) {
        return {};
    }
    char32_t code = length == 1 ? first : first & (0x7fU >> length);
    for (const char c : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0U) != 0x80) {
            return {};
        }
        code = code << 6U | (byte & 0x3fU);
    }
    if (code < lowestCode[length] || code > highestCode || surrogates.holds(code)) {
        return {};
    }
    const bool isPrintable = std::none_of(notPrintable.begin(), notPrintable.end(),
                                          [code](const Range& range) { return range.holds(code); });
    return {length, true, isPrintable, code};
}

std::string printable(std::string_view text, std::size_t maxSize) {
    std::string shown;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        const std::string_view next =
            character.isPrintable ? text.substr(0, character.length) : "?";
        if (next.size() > maxSize - shown.size()) {
            return shown + "...";
        }
        shown += next;
        text.remove_prefix(character.length);
    }
    return shown;
}

std::string shellWord(std::string_view fileName) {
    const std::string name = std::string(fileName.starts_with('-') ? "./" : "").append(fileName);
    if (!std::all_of(name.begin(), name.end(), isPrintableAscii)) {
        return inNumbers(name);
    }
    const bool isPlainWord = !name.empty() && std::all_of(name.begin(), name.end(), isPlain);
    return isPlainWord ? name : inQuotes(name);
}
