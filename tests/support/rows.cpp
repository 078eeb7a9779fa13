// tests/support/rows.cpp: the rows of a table become googletest's tests.

#include "tests/support/rows.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

namespace kelvane::tests {
namespace {

// What may stand in a test's name of ".power = -1, .floor = 2": "powerminus1_floor2". The end of a long row is left
// out, for files are named after tests.
std::string nameOfRow(const char* text)
{
    constexpr std::size_t longest = 150;
    std::string name;
    for (const char* c = text; *c != '\0'; ++c) {
        if (std::isalnum(static_cast<unsigned char>(*c)) != 0) name += *c;
        if (*c == '-') name += "minus";
        if (*c == ',') name += '_';
    }
    return name.substr(0, longest);
}

void insistOnNewName(const std::string& name)
{
    static std::set<std::string> names;
    if (names.insert(name).second) return;
    std::fprintf(stderr, "two rows are called %s\n", name.c_str());
    std::abort();
}

}  // namespace

void registerRow(const RowTest& test, const char* text, const void* row, testing::Test* (*make)(const void* row))
{
    const std::string name = std::string(test.name) + '/' + nameOfRow(text);
    insistOnNewName(std::string(test.suite) + '.' + name);
    testing::RegisterTest(test.suite, name.c_str(), nullptr, text, test.file, test.line, [=] { return make(row); });
}

}  // namespace kelvane::tests
