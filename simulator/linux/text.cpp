// Text: characters of four bytes to code page 1252, and UTF-8 to them. Nobody asks for the other ways.
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

namespace {

constexpr wchar_t replacement = 0xFFFD;

// 0x80 to 0x9F of code page 1252; 0 where it has no character.
constexpr wchar_t upperControls[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178,
};

char toAnsiByte(wchar_t character)
{
    if (character < 0x80 || (character >= 0xA0 && character < 0x100)) return static_cast<char>(character);
    const auto* const found = std::find(std::begin(upperControls), std::end(upperControls), character);
    return found == std::end(upperControls) ? '?' : static_cast<char>(0x80 + (found - std::begin(upperControls)));
}

// The character that begins at `at`, which is moved behind it; the replacement character for a byte that begins none.
wchar_t takeUtf8(const std::string& text, std::size_t& at)
{
    const auto lead = static_cast<unsigned char>(text[at++]);
    if (lead < 0x80) return lead;
    const std::size_t more = lead >= 0xF0 && lead < 0xF5 ? 3 : lead >= 0xE0 && lead < 0xF0 ? 2 : lead >= 0xC2 ? 1 : 0;
    if (more == 0 || lead >= 0xF5 || at + more > text.size()) return replacement;
    char32_t character = lead & (0x3F >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto byte = static_cast<unsigned char>(text[at + i]);
        if ((byte & 0xC0) != 0x80) return replacement;
        character = character << 6 | (byte & 0x3F);
    }
    at += more;
    return static_cast<wchar_t>(character);
}

// Hands out as Windows does: without room, only the length; with too little, an error.
template<class Text, class Character>
int handOut(const Text& text, Character* out, int size)
{
    if (size == 0) return static_cast<int>(text.size());
    if (static_cast<std::size_t>(size) < text.size()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    std::copy(text.begin(), text.end(), out);
    return static_cast<int>(text.size());
}

}  // namespace

UINT GetACP() { return 1252; }

int WideCharToMultiByte(UINT /*codePage*/, DWORD /*flags*/, LPCWSTR wide, int length, LPSTR narrow, int size,
                        LPCSTR /*substitute*/, BOOL* /*substituted*/)
{
    std::string text;
    std::transform(wide, wide + length, std::back_inserter(text), toAnsiByte);
    return handOut(text, narrow, size);
}

int MultiByteToWideChar(UINT /*codePage*/, DWORD /*flags*/, LPCSTR narrow, int length, LPWSTR wide, int size)
{
    const std::string bytes(narrow, static_cast<std::size_t>(length));
    std::wstring text;
    for (std::size_t at = 0; at < bytes.size();) text += takeUtf8(bytes, at);
    return handOut(text, wide, size);
}
