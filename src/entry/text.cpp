#include "entry/text.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr std::string_view whiteSpace = " \t\n\v\f\r";

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool equalFolded(char first, char second) {
    return toUpper(first) == toUpper(second);
}

// Most DNs have none and need not be rewritten.
bool hasBlankBesideComma(std::string_view text) {
    for (std::size_t comma = text.find(','); comma != std::string_view::npos;
         comma = text.find(',', comma + 1)) {
        if (text.substr(comma + 1, 1) == " " || (comma > 0 && text[comma - 1] == ' ')) {
            return true;
        }
    }
    return false;
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
    // Almost every needle holds a character without case, such as the colon of an attribute
    // name. Looking for that one first leaves little to compare.
    const auto anchor = std::find_if_not(needle.begin(), needle.end(), isLetter);
    if (anchor == needle.end()) {
        const auto match = std::search(haystack.begin(), haystack.end(), needle.begin(),
                                       needle.end(), equalFolded);
        const bool found = match != haystack.end() || needle.empty();
        return found ? haystack.data() + (match - haystack.begin()) : nullptr;
    }
    const auto offset = static_cast<std::size_t>(anchor - needle.begin());
    for (std::size_t at = haystack.find(*anchor, offset); at != std::string_view::npos;
         at = haystack.find(*anchor, at + 1)) {
        const std::string_view candidate = haystack.substr(at - offset, needle.size());
        if (equalIgnoringCase(candidate, needle)) {
            return candidate.data();
        }
    }
    return nullptr;
}

bool holdsAnyName(std::string_view line, std::span<const std::string_view> names) {
    return someHead(line, [names](std::string_view head) {
        return std::any_of(names.begin(), names.end(),
                           [head](std::string_view name) { return endsIgnoringCase(head, name); });
    });
}

bool endsIgnoringCase(std::string_view text, std::string_view end) {
    // Compared from the back: the last letters before the colon tell most names apart.
    return text.size() >= end.size() &&
           std::equal(end.rbegin(), end.rend(), text.rbegin(), equalFolded);
}

bool equalIgnoringCase(std::string_view first, std::string_view second) {
    return std::equal(first.begin(), first.end(), second.begin(), second.end(), equalFolded);
}

std::size_t hashIgnoringCase(std::string_view text) {
    // FNV-1a, 64 bits: http://www.isthe.com/chongo/tech/comp/fnv/
    std::uint64_t hash = 14695981039346656037U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(toUpper(c))) * 1099511628211U;
    }
    return hash;
}

void commaSpaceEater(std::string& str) {
    if (!hasBlankBesideComma(str)) {
        return;
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

std::string_view withoutLeadingBlanks(std::string_view text) {
    const auto begin = std::find_if(text.begin(), text.end(), [](char c) { return c != ' '; });
    return text.substr(static_cast<std::size_t>(begin - text.begin()));
}
