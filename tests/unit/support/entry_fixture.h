// The fixture of everything that works on the current entry, and entries as lists of lines.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "entry/entry.h"
#include "entry/object_class.h"
#include "support/trace_fixture.h"

inline Entry entryOf(std::initializer_list<std::string_view> lines) {
    Entry entry;
    for (const std::string_view line : lines) {
        entry.append(line);
    }
    return entry;
}

inline std::vector<std::string> linesOf(const Entry& entry) {
    std::vector<std::string> lines;
    for (int i = 0; i < entry.lineCount(); ++i) {
        lines.emplace_back(entry.line(i));
    }
    return lines;
}

// Makes `lines`, which bring their line ends, the current entry.
inline void setObject(std::initializer_list<std::string_view> lines) {
    object = entryOf(lines);
}

class EntryFixture : public TraceFixture {
protected:
    void SetUp() override {
        TraceFixture::SetUp();
        object = Entry();
        objectClass = UNINTERESTING_OBJECTCLASS;
    }
};
