#include "diagnostics/ansi_text.h"

#include <gmock/gmock.h>
#include <windows.h>

namespace kelvane::tests {
namespace {

TEST(AnsiText, KeepsPlainText)
{
    EXPECT_EQ(toAnsi(L"C:\\Users\\x ~!\"#"), "C:\\Users\\x ~!\"#");
    EXPECT_EQ(toAnsi(L""), "");
}

TEST(AnsiText, TakesTheViewAloneAndItsNulCharactersToo)
{
    constexpr wchar_t text[] = L"ab\0cdef";

    EXPECT_EQ(toAnsi({ text, 5 }), std::string("ab\0cd", 5));
}

TEST(AnsiText, ReplacesWhatTheCodePageLacks)
{
    ASSERT_EQ(GetACP(), 1252U);

    EXPECT_EQ(toAnsi(L"a\x4E2D"
                     L"b"),
              "a?b");
    EXPECT_EQ(toAnsi(L"\x00FC\x20AC"), "\xFC\x80");
}

}  // namespace
}  // namespace kelvane::tests
