// Text routines that the entry model rests on: trimming, case folding, searching without regard
// to case, and the blanks around the commas of distinguished names.
//
// Everything is bytes; only the ASCII letters have case. The routines that change a text do so
// in place. They write nothing to the trace.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

// Lower or upper case of an ASCII letter; any other byte as it is.
constexpr char toLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char toUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Removes white space (space, tab, LF, VT, FF, CR) from the end; leading white space stays.
std::string& trim(std::string& str);

// Fold every letter of the text.
std::string& strtolower(std::string& str);
std::string& strtoupper(std::string& str);

// The leftmost place where `haystack` holds `needle`, without regard to case; null when there is
// none. A null needle gives null, an empty one the haystack itself.
const char* dostristr(std::string_view haystack, std::string_view needle);

// Calls `visit` with the line up to each of its colons, that colon included, until it returns true.
// Returns whether it did. An attribute name ends in its only colon, so that looking for one
// anywhere in a line comes down to looking at how these heads end.
template <class Visit>
bool someHead(std::string_view line, Visit visit) {
    for (std::size_t colon = line.find(':'); colon != std::string_view::npos;
         colon = line.find(':', colon + 1)) {
        if (visit(line.substr(0, colon + 1))) {
            return true;
        }
    }
    return false;
}

// Whether `line` holds any of `names`, each with its colon, anywhere and without regard to case.
bool holdsAnyName(std::string_view line, std::span<const std::string_view> names);

// Whether `text` ends in `end`, without regard to case.
bool endsIgnoringCase(std::string_view text, std::string_view end);

// Whether two texts are equal without regard to case.
bool equalIgnoringCase(std::string_view first, std::string_view second);

// A hash that is equal for texts which are equal without regard to case.
std::size_t hashIgnoringCase(std::string_view text);

// Removes every space directly before or after a comma. A comma that is escaped or quoted is a
// comma like any other: old and new layout have always been compared that way. Tabs stay.
void commaSpaceEater(std::string& str);

// A line without its line end: everything before the first CR or LF.
std::string_view withoutLineEnd(std::string_view line);

// A text without the blanks (spaces alone) that it begins with.
std::string_view withoutLeadingBlanks(std::string_view text);
