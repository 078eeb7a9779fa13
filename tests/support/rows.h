// tests/support/rows.h: a table of cases as value-parameterised tests. Each row is a test in a process of its own, and
// its fields are its name.
//
//     struct FallRow { int power = 3000; int floor = 1000; int after; };
//     using DownBranchFall = WithRow<DownBranch, FallRow>;
//     TEST_ROWS(DownBranchFall, ROW(.power = 2250, .after = 3000), ROW(.power = 2250, .floor = 3500, .after = 3500));
//     TEST_P(DownBranchFall, StopsAtTheFloor) { EXPECT_EQ(ceilingAt(row().power), row().after); }
//
// gives DownBranchFall.StopsAtTheFloor/power2250_after3000 and its like.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <string>
#include <vector>

namespace kelvane::tests {

template<class Fields>
struct Row {
    const char* text;  // as it stands in the source
    Fields fields;
};

template<class Fields>
void PrintTo(const Row<Fields>& row, std::ostream* out)
{
    *out << row.text;
}

// A fixture whose tests see one row; testing::Test where there is nothing to set up.
template<class Fixture, class Fields>
class WithRow : public Fixture, public testing::WithParamInterface<Row<Fields>> {
protected:
    const Fields& row() const { return this->GetParam().fields; }
};

// What may stand in a test's name of ".power = -1, .floor = 2": "powerminus1_floor2". The end of a long row is left
// out, for files are named after tests.
constexpr std::size_t longestNameOfRow = 150;
inline constexpr auto nameOfRow = [](const auto& row) {
    std::string name;
    for (const char* c = row.param.text; *c != '\0'; ++c) {
        if (std::isalnum(static_cast<unsigned char>(*c)) != 0) name += *c;
        if (*c == '-') name += "minus";
        if (*c == ',') name += '_';
    }
    return name.substr(0, longestNameOfRow);
};

}  // namespace kelvane::tests

#define ROW(...)                                                                                                       \
    {                                                                                                                  \
#__VA_ARGS__, { __VA_ARGS__ }                                                                                  \
    }

#define TEST_ROWS(suite, ...)                                                                                          \
    INSTANTIATE_TEST_SUITE_P(, suite, testing::ValuesIn(std::vector<suite::ParamType>{ __VA_ARGS__ }), nameOfRow)
