#include "diagnostics/ansi_text.h"

#include <gmock/gmock.h>
#include <windows.h>

namespace kelvane::tests {
namespace {

TEST(AnsiText, IsTheViewAloneWithItsNulCharactersToo)
{
    constexpr wchar_t text[] = L"C:\\x ~!\"#\0cdef";

    EXPECT_EQ(toAnsi({ text, 11 }), std::string("C:\\x ~!\"#\0c", 11));
    EXPECT_EQ(toAnsi(L""), "");
}

TEST(AnsiText, ReplacesWhatTheCodePageLacks)
{
    ASSERT_EQ(GetACP(), 1252U);

    EXPECT_EQ(toAnsi(L"a\u4E2Db"), "a?b");
    EXPECT_EQ(toAnsi(L"\u00FC\u20AC"), "\xFC\x80");
}

}  // namespace
}  // namespace kelvane::tests
