// The fixture of everything that works on the object cache: empty, with room for ten users and ten
// groups.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "cache/object_cache.h"
#include "cache/owner.h"
#include "support/ldif_fixture.h"

// What a filled row holds, line by line.
using Row = std::vector<std::string>;

inline void fillRow(Matrix& matrix, int index, std::initializer_list<std::string_view> lines) {
    Entry entry = entryOf(lines);
    matrix.fill(index, entry);
}

// An entry of `count` lines, the first of them a DN line.
inline Entry entryOfLength(int count) {
    Entry entry = entryOf({"dn: cn=long\n"});
    for (int i = 1; i < count; ++i) {
        entry.append("a" + std::to_string(i) + ": " + std::to_string(i) + "\n");
    }
    return entry;
}

// Stores the DN of the policy of user slot `index`.
inline void setPolicyDn(int index, std::string_view dn) {
    const auto slot = static_cast<std::size_t>(index);
    if (slot >= secPolicy_dn.size()) {
        secPolicy_dn.resize(slot + 1);
    }
    secPolicy_dn[slot] = dn;
}

class CacheFixture : public LdifFixture {
protected:
    void SetUp() override {
        LdifFixture::SetUp();
        max_number_of_secuser_slots = 10;
        max_number_of_secgroup_slots = 10;
        initializeAllArrays();
        saved_secUser_dn.clear();
        saved_secGroup_dn.clear();
    }
    void TearDown() override {
        initializeAllArrays();
        LdifFixture::TearDown();
    }

    // What `procedure` writes to the trace.
    std::string traceOf(const std::function<void()>& procedure) {
        startTrace();
        procedure();
        debug = false;
        return traced();
    }
};
