#include "diagnostics/ansi_text.h"

#include <windows.h>

namespace kelvane {

std::string toAnsi(std::wstring_view wide)
{
    if (wide.empty()) return {};
    const int wideLength = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_ACP, 0, wide.data(), wideLength, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide.data(), wideLength, narrow.data(), length, nullptr, nullptr);
    return narrow;
}

}  // namespace kelvane
