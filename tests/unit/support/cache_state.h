// The empty object cache before a pass, and entries to fill it with.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "cache/object_cache.h"
#include "cache/owner.h"
#include "support/entry_lines.h"

// The lines of a filled row.
using Row = std::vector<std::string>;

inline void fillRow(Matrix& matrix, int index, Entry entry) {
    matrix.fill(index, entry);
}
inline void fillRow(Matrix& matrix, int index, std::initializer_list<std::string_view> lines) {
    fillRow(matrix, index, entryOf(lines));
}

// Stores the DN of the policy of user slot `index`.
inline void setPolicyDn(int index, std::string_view dn) {
    const auto slot = static_cast<std::size_t>(index);
    if (slot >= secPolicy_dn.size()) {
        secPolicy_dn.resize(slot + 1);
    }
    secPolicy_dn[slot] = dn;
}

// Clears all owners, their entries and the current one.
inline void emptyCache() {
    initializeAllArrays();
    saved_secUser_dn.clear();
    saved_secGroup_dn.clear();
}
