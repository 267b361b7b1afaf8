// What of a line may be shown: its DN or the name of its attribute, never a value or a piece of
// one.
//
// A value that was broken apart may stand where a DN or a name is expected. So what is shown must
// look like one: a DN line begins with "dn:", and an attribute name consists of at most 63 letters,
// digits and the characters "-", "." and ";" in front of a colon.
#pragma once

#include <string>
#include <string_view>

// A DN line, its line end left out; empty for any other line.
std::string shownDn(std::string_view line);

// The name of the attribute that the line begins with; "(unnamed)" for any other line.
std::string shownName(std::string_view line);
inline constexpr std::string_view unnamed = "(unnamed)";
