// The entry of a program that has a wmain. Its null device is named as on Windows, for which freopen is wrapped
// (-Wl,--wrap=freopen).
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <locale>
#include <string>
#include <vector>

int wmain(int argc, wchar_t** argv);

int main(int argc, char** argv)
{
    std::locale::global(std::locale("C.UTF-8"));  // for paths
    std::vector<std::wstring> texts;
    for (int i = 0; i < argc; ++i) texts.push_back(std::filesystem::path(argv[i]).wstring());
    std::vector<wchar_t*> wide;
    for (std::wstring& text : texts) wide.push_back(text.data());
    wide.push_back(nullptr);
    return wmain(argc, wide.data());
}

extern "C" {
std::FILE* __real_freopen(const char* path, const char* mode, std::FILE* stream);
std::FILE* __wrap_freopen(const char* path, const char* mode, std::FILE* stream);

std::FILE* __wrap_freopen(const char* path, const char* mode, std::FILE* stream)
{
    return __real_freopen(std::strcmp(path, "NUL") == 0 ? "/dev/null" : path, mode, stream);
}
}
