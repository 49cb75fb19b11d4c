#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace TestSupport {

// The first member of a row of a parameterised table: the row's test is named after it, and a
// failure prints the row as its name.
struct TableRow {
    const char *name;
};

inline std::ostream &operator<<(std::ostream &os, const TableRow &row)
{
    return os << row.name;
}

// The test-name generator for tables of such rows.
inline constexpr auto tableRowName = [](const auto &info) { return std::string(info.param.name); };

} // namespace TestSupport
