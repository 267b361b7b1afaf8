// Entries as lists of lines.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "entry/entry.h"

inline Entry entryOf(std::initializer_list<std::string_view> lines) {
    Entry entry;
    for (const std::string_view line : lines) {
        entry.append(line);
    }
    return entry;
}

// An entry of `count` lines, the first of them a DN line.
inline Entry entryOfLength(int count) {
    Entry entry = entryOf({"dn: cn=long\n"});
    for (int i = 1; i < count; ++i) {
        entry.append("a" + std::to_string(i) + ": " + std::to_string(i) + "\n");
    }
    return entry;
}

inline std::vector<std::string> linesOf(EntryView entry) {
    std::vector<std::string> lines;
    for (int i = 0; i < entry.lineCount(); ++i) {
        lines.emplace_back(entry.line(i));
    }
    return lines;
}
