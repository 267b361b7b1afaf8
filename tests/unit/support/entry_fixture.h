// The fixture of everything that works on the current entry.
#pragma once

#include <initializer_list>
#include <string_view>

#include "entry/entry.h"
#include "entry/object_class.h"
#include "support/entry_lines.h"
#include "support/trace_fixture.h"

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
