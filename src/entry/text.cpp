#include "entry/text.h"

#include <algorithm>

namespace {

constexpr std::string_view whiteSpace = " \t\n\v\f\r";

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

}  // namespace

std::string& trim(std::string& str) {
    str.erase(str.find_last_not_of(whiteSpace) + 1);
    return str;
}

std::string& strtolower(std::string& str) {
    std::transform(str.begin(), str.end(), str.begin(), toLower);
    return str;
}

std::string& strtoupper(std::string& str) {
    std::transform(str.begin(), str.end(), str.begin(), toUpper);
    return str;
}

const char* dostristr(std::string_view haystack, std::string_view needle) {
    if (needle.data() == nullptr) {
        return nullptr;
    }
    if (needle.empty()) {
        return haystack.data();
    }
    // Almost every needle holds a character without case, such as the colon of an attribute
    // name. Looking for that one first leaves little to compare.
    const auto anchor = std::find_if_not(needle.begin(), needle.end(), isLetter);
    const bool isAnchored = anchor != needle.end();
    const auto offset = isAnchored ? static_cast<std::size_t>(anchor - needle.begin()) : 0;
    const auto next = [=](std::size_t at) { return isAnchored ? haystack.find(*anchor, at) : at; };
    for (std::size_t at = next(offset); at < haystack.size(); at = next(at + 1)) {
        const std::string_view candidate = haystack.substr(at - offset, needle.size());
        if (equalFolded(candidate.front(), needle.front()) &&
            equalIgnoringCase(candidate, needle)) {
            return candidate.data();
        }
    }
    return nullptr;
}

bool equalIgnoringCase(std::string_view first, std::string_view second) {
    return std::equal(first.begin(), first.end(), second.begin(), second.end(), equalFolded);
}

bool hasSpaceBesideComma(std::string_view text) {
    for (std::size_t comma = text.find(','); comma != std::string_view::npos;
         comma = text.find(',', comma + 1)) {
        if (text.substr(comma + 1, 1) == " " || (comma > 0 && text[comma - 1] == ' ')) {
            return true;
        }
    }
    return false;
}

void commaSpaceEater(std::string& str) {
    if (!hasSpaceBesideComma(str)) {
        return;  // as with most DNs
    }
    std::size_t length = 0;
    for (const char c : str) {
        const char last = length > 0 ? str[length - 1] : '\0';
        if (c == ' ' && last == ',') {
            continue;
        }
        if (c == ',') {
            while (length > 0 && str[length - 1] == ' ') {
                --length;
            }
        }
        str[length++] = c;
    }
    str.resize(length);
}

std::string_view withoutLineEnd(std::string_view line) {
    line = line.substr(0, line.find('\n'));
    return line.substr(0, line.find('\r'));
}

std::string_view withoutLeadingSpaces(std::string_view text) {
    const auto begin = std::find_if(text.begin(), text.end(), [](char c) { return c != ' '; });
    return text.substr(static_cast<std::size_t>(begin - text.begin()));
}
