#pragma once

#include <algorithm>
#include <vector>

#include "Platform/Machine/ProcessTable.h"
#include "ZQMHelper/Shared/ProcessCategory.h"

namespace zqm {

/// The `count` rows of the table with the largest values, larger first, equal ones in the table's order. The rows stay
/// where they are: a table may hold ten thousand.
template <class Row, class Value>
std::vector<const Row*> largest(const std::vector<Row>& table, std::size_t count, Value Row::*value) {
    std::vector<const Row*> rows(table.size());
    std::transform(table.begin(), table.end(), rows.begin(), [](const Row& row) { return &row; });
    count = std::min(count, rows.size());
    std::partial_sort(
        rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(count), rows.end(),
        [value](const Row* a, const Row* b) { return a->*value != b->*value ? a->*value > b->*value : a < b; });
    rows.resize(count);
    return rows;
}

/// The entries by value, larger first, equal ones in their order, at most `count` of them.
inline std::vector<TopProcess> ranked(std::vector<TopProcess> entries, std::size_t count) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const TopProcess& a, const TopProcess& b) { return a.value > b.value; });
    if (entries.size() > count) entries.resize(count);
    return entries;
}

}  // namespace zqm
