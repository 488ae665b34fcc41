#pragma once

#include <algorithm>
#include <vector>

#include "Platform/Machine/ProcessTable.h"
#include "ZQMHelper/Shared/ProcessCategory.h"

namespace zqm {

/// The `count` rows of the table with the largest values, larger first, equal ones in the table's order. The rows stay
/// where they are: a table may hold ten thousand.
template <class Value>
std::vector<const ProcessRow*> largest(const std::vector<ProcessRow>& table, std::size_t count,
                                       Value ProcessRow::*value) {
    std::vector<const ProcessRow*> rows(table.size());
    std::transform(table.begin(), table.end(), rows.begin(), [](const ProcessRow& row) { return &row; });
    count = std::min(count, rows.size());
    std::partial_sort(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(count), rows.end(),
                      [value](const ProcessRow* a, const ProcessRow* b) {
                          return a->*value != b->*value ? a->*value > b->*value : a < b;
                      });
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
