#include "diagnostics/event_log.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <array>
#include <string>

namespace kelvane::tests {
namespace {

// The program's resources hold the wording; the test program carries them too.
TEST(EventWording, MakesASentenceOfTheEventsTwoStrings)
{
    std::wstring message = L"KV::Orq Drivers are not present, Please install the drivers";
    DWORD_PTR strings[] = { reinterpret_cast<DWORD_PTR>(serviceName), reinterpret_cast<DWORD_PTR>(message.c_str()) };
    std::array<wchar_t, 200> text{};

    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, nullptr, 0, 0, text.data(),
                       static_cast<DWORD>(text.size()), reinterpret_cast<va_list*>(strings));

    EXPECT_EQ(std::wstring(text.data(), length),
              L"Tarvo(R) Kelvane reports: KV::Orq Drivers are not present, Please install the drivers\r\n");
}

}  // namespace
}  // namespace kelvane::tests
