#include "check/shell_word.h"

#include <algorithm>

namespace {

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

// Whether a shell takes the character as it is wherever it is.
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
        if (isPrintable(c)) {
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

std::string shellWord(std::string_view fileName) {
    const std::string name = std::string(fileName.starts_with('-') ? "./" : "").append(fileName);
    if (!std::all_of(name.begin(), name.end(), isPrintable)) {
        return inNumbers(name);
    }
    const bool isPlainWord = !name.empty() && std::all_of(name.begin(), name.end(), isPlain);
    return isPlainWord ? name : inQuotes(name);
}
