// Text routines that the entry model rests on: trimming, case folding, searching
// case-insensitively, and the spaces around the commas of distinguished names.
//
// Everything is bytes; only the ASCII letters have case. The routines that change a text do so
// in place. They write nothing to the trace.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// Lower or upper case of an ASCII letter; any other byte unchanged.
constexpr char toLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char toUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Lower case of the ASCII letters among eight bytes.
constexpr std::uint64_t lowerCaseOf(std::uint64_t bytes) {
    // Seven bits of each byte, so that no sum carries into the next byte.
    constexpr std::uint64_t each = 0x0101010101010101U;
    const std::uint64_t low = bytes & each * 0x7fU;
    const std::uint64_t fromA = low + each * (0x80U - 'A');
    const std::uint64_t aboveZ = low + each * (0x7fU - 'Z');
    const std::uint64_t capitals = fromA & ~aboveZ & ~bytes & each * 0x80U;
    return bytes | capitals >> 2U;
}

// Removes white space (space, tab, LF, VT, FF, CR) from the end; leading white space stays.
std::string& trim(std::string& str);

// Fold every letter of the text.
std::string& strtolower(std::string& str);
std::string& strtoupper(std::string& str);

// The leftmost occurrence of `needle` in `haystack`, case-insensitively; null when there is none. A
// null needle gives null, an empty one the haystack itself.
const char* dostristr(std::string_view haystack, std::string_view needle);

// Calls `visit` with the line up to each of its colons, that colon included, until it returns true.
// Returns whether it did. An attribute name ends in its only colon, so that a line holds one
// anywhere when one of these prefixes ends in it.
template <class Visit>
bool someColonPrefix(std::string_view line, Visit visit) {
    const char* const begin = line.data();
    const char* const end = begin + line.size();
    for (const char* at = begin; at != end;) {
        const void* colon = std::memchr(at, ':', static_cast<std::size_t>(end - at));
        if (colon == nullptr) {
            break;
        }
        at = static_cast<const char*>(colon) + 1;
        if (visit(std::string_view(begin, static_cast<std::size_t>(at - begin)))) {
            return true;
        }
    }
    return false;
}

// Whether two characters are equal, case-insensitively.
constexpr bool equalFolded(char first, char second) {
    constexpr int caseBit = 'a' - 'A';
    const int difference = first ^ second;
    return difference == 0 || (difference == caseBit && toLower(first) != toUpper(first));
}

// Whether `text` ends in `end`, case-insensitively.
inline bool endsIgnoringCase(std::string_view text, std::string_view end) {
    if (text.size() < end.size()) {
        return false;
    }
    // Compared from the back: most names differ in the last letters before the colon.
    return std::equal(end.rbegin(), end.rend(), text.rbegin(), equalFolded);
}

// Whether two texts are equal, case-insensitively.
bool equalIgnoringCase(std::string_view first, std::string_view second);

// Whether a space is directly before or after a comma.
bool hasSpaceBesideComma(std::string_view text);

// Removes every space directly before or after a comma. A comma that is escaped or quoted is a
// comma like any other: old and new layout have always been compared that way. Tabs stay.
void commaSpaceEater(std::string& str);

// A line without its line end: everything before the first CR or LF.
std::string_view withoutLineEnd(std::string_view line);

// A text without the spaces that it begins with.
std::string_view withoutLeadingSpaces(std::string_view text);
