// Tables with one row for each value of an enum, in its order, so that the value finds its row.
#pragma once

#include <algorithm>
#include <cstddef>

// Whether row i of `table` is that of the i-th value from `first` on; for a static_assert beside
// the table.
template <class Table, class Row, class Value>
constexpr bool isInOrderOf(const Table& table, Value Row::*value, Value first = Value()) {
    auto expected = static_cast<std::size_t>(first);
    return std::all_of(table.begin(), table.end(), [&expected, value](const Row& row) {
        return static_cast<std::size_t>(row.*value) == expected++;
    });
}
