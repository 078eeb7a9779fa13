#include "kelvanectl/console.h"

#include <windows.h>

#include <cstdio>

namespace kelvane {

namespace {

std::wstring decoded(UINT codePage, std::string_view narrow)
{
    if (narrow.empty()) return {};
    const int size = static_cast<int>(narrow.size());
    const int length = MultiByteToWideChar(codePage, 0, narrow.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(codePage, 0, narrow.data(), size, wide.data(), length);
    return wide;
}

void write(DWORD stream, const std::string& text)
{
    HANDLE handle = GetStdHandle(stream);
    DWORD mode = 0;
    DWORD written = 0;
    if (GetConsoleMode(handle, &mode)) {
        const std::wstring wide = toWide(text);
        WriteConsoleW(handle, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
    } else {
        WriteFile(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }
}

}  // namespace

std::string toUtf8(std::wstring_view wide)
{
    if (wide.empty()) return {};
    const int size = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, narrow.data(), length, nullptr, nullptr);
    return narrow;
}

std::wstring toWide(std::string_view utf8) { return decoded(CP_UTF8, utf8); }

std::string ansiToUtf8(std::string_view narrow) { return toUtf8(decoded(CP_ACP, narrow)); }

void say(const std::string& text) { write(STD_OUTPUT_HANDLE, text); }

int complain(int exitCode, const std::string& sentence)
{
    write(STD_ERROR_HANDLE, "kelvanectl: " + sentence + "\n");
    return exitCode;
}

}  // namespace kelvane
