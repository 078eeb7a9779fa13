// tests/support/rows.h: a table of cases. Each row is a test in a process of its own, and its fields are its name.
//
//     struct FallRow { int power = 3000; int floor = 1000; int after; };
//     using DownBranchFall = WithRow<DownBranch, FallRow>;
//     TEST_ROWS(DownBranchFall, ROW(.power = 2250, .after = 3000), ROW(.power = 2250, .floor = 3500, .after = 3500));
//     TEST_ROW(DownBranchFall, StopsAtTheFloor) { EXPECT_EQ(ceilingAt(row().power), row().after); }
//
// gives DownBranchFall.StopsAtTheFloor/power2250_after3000 and its like. googletest's own value-parameterised tests do
// the same, and take the compiler twice as long: much of their machinery is compiled anew for each table.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>

namespace kelvane::tests {

template<class Fields>
struct Row {
    const char* text;  // as it stands in the source
    Fields fields;
};

// A fixture whose tests see one row; testing::Test where there is nothing to set up.
template<class Fixture, class Fields>
class WithRow : public Fixture {
public:
    using RowType = Row<Fields>;

    static void setRow(const void* row) { s_row = static_cast<const RowType*>(row); }

protected:
    const Fields& row() const { return s_row->fields; }

private:
    static inline const RowType* s_row = nullptr;  // set before the fixture is made, whose members may look at it
};

struct RowTest {
    const char* suite;
    const char* name;
    const char* file;
    int line;
};

// Registers one row of a test with googletest. Two rows of one name end the program.
void registerRow(const RowTest& test, const char* text, const void* row, testing::Test* (*make)(const void* row));

template<class Test, std::size_t count>
bool registerRows(const RowTest& test, const typename Test::RowType (&rows)[count])
{
    const auto make = [](const void* row) -> testing::Test* {
        Test::setRow(row);
        return new Test;
    };
    for (const auto& row : rows) registerRow(test, row.text, &row, make);
    return true;
}

}  // namespace kelvane::tests

// The versions of the formatter lay these out differently.
// clang-format off
#define ROW(...) { #__VA_ARGS__, { __VA_ARGS__ } }

#define TEST_ROWS(suite, ...) static const suite::RowType rowsOf##suite[] = { __VA_ARGS__ }

#define TEST_ROW(suite, name) \
    class suite##_##name final : public suite { \
        void TestBody() override; \
    }; \
    static const bool suite##_##name##_registered = \
        kelvane::tests::registerRows<suite##_##name>({ #suite, #name, __FILE__, __LINE__ }, rowsOf##suite); \
    void suite##_##name::TestBody()
// clang-format on
