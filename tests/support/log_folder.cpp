#include "tests/support/log_folder.h"

#include "tests/support/diagnostic_log_inspector.h"

#include <objbase.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace kelvane::tests {

// Used before the constructors of this file have run.
constinit KnownFolderLookups knownFolderLookups;

void (*atProcessEnd)() = nullptr;

namespace {

void removeRoamingFolder()
{
    if (atProcessEnd) atProcessEnd();
    // An open file cannot be removed.
    DiagnosticLogInspector::closeFile();
    std::error_code leftBehind;
    std::filesystem::remove_all(roamingFolder(), leftBehind);
}

std::filesystem::path makeRoamingFolder()
{
    auto folder = std::filesystem::temp_directory_path() / ("kelvane-log-" + std::to_string(GetCurrentProcessId()));
    // A process of the same number may have crashed earlier.
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder / "KelvanneApp" / "logs");
    std::ofstream(folder / "KelvanneApp" / "logs" / "KelvanneApp.log") << "text of an earlier process\n";
    std::atexit(removeRoamingFolder);
    return folder;
}

}  // namespace

const std::filesystem::path& roamingFolder()
{
    static const auto& folder = *new std::filesystem::path(makeRoamingFolder());
    return folder;
}

std::string bytesOf(const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in) return "(no file)";
    return { std::istreambuf_iterator<char>(in), {} };
}

std::string logFileBytes() { return bytesOf(roamingFolder() / "KelvanneApp" / "logs" / "KelvanneApp.log"); }

}  // namespace kelvane::tests

HRESULT WINAPI SHGetKnownFolderPath(REFKNOWNFOLDERID folder, DWORD flags, HANDLE token, PWSTR* path)
{
    using namespace kelvane::tests;
    KnownFolderLookups& lookups = knownFolderLookups;
    ++lookups.count;
    lookups.folder = folder;
    lookups.flags = flags;
    lookups.token = token;
    lookups.handedOut = nullptr;
    *path = nullptr;
    if (lookups.answer != S_OK) return lookups.answer;

    const std::wstring text = (lookups.path ? *lookups.path : roamingFolder()).wstring();
    *path = static_cast<PWSTR>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    std::copy_n(text.c_str(), text.size() + 1, *path);
    lookups.handedOut = *path;
    return S_OK;
}
