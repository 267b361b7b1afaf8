// How names are printed: for a reader, and for a shell.
//
// Names of entries and of files may hold any bytes. A terminal obeys control
// characters (C0, DEL, C1), bidirectional controls and the separators of lines and paragraphs make
// one name look like another, and bytes that are not UTF-8 (RFC 3629) break what reads the text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// A character of a text in UTF-8, or a byte that belongs to none.
struct Character {
    std::size_t length = 1;  // in bytes
    bool isValid = false;
    bool isPrintable = false;
    char32_t code = 0;  // of a valid one
};

// The character that `text`, which must not be empty, begins with.
Character firstCharacter(std::string_view text);

// `text` with a question mark in place of every character that must not be printed, and of every
// byte that belongs to none. Cut between two characters, with "..." behind it, where it would
// become longer than `maxSize` bytes.
std::string printable(std::string_view text, std::size_t maxSize = std::string_view::npos);

// The name of a file as bash(1) reads it: in quotes where it needs any, in $'...' with the numbers
// of all bytes that are not printable ASCII, and behind ./ where it would look like an option.
std::string shellWord(std::string_view fileName);
