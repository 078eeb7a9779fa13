// The service's files lie below its account's profile and in the current directory of services.
#include "kelvanectl/places.h"

#include "diagnostics/log_names.h"
#include "diagnostics/service_data.h"
#include "kelvanectl/console.h"

#include <windows.h>

#include <knownfolders.h>
#include <objbase.h>
#include <sddl.h>
#include <shlobj.h>

namespace kelvane {

namespace {

constexpr wchar_t localSystem[] = L"S-1-5-18";
constexpr wchar_t profileList[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\";

// Wine runs services as the user, in another directory.
bool onWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

std::wstring systemDirectory()
{
    wchar_t path[MAX_PATH] = {};
    GetSystemDirectoryW(path, MAX_PATH);
    return path;
}

std::wstring ownRoamingFolder()
{
    PWSTR folder = nullptr;
    std::wstring path;
    if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_RoamingAppData, 0, nullptr, &folder))) path = folder;
    CoTaskMemFree(folder);
    return path;
}

// The security identifier of an account as text; empty when there is none of that name.
std::wstring identifierOf(const std::wstring& account)
{
    if (account.empty() || _wcsicmp(account.c_str(), L"LocalSystem") == 0) return localSystem;
    BYTE identifier[SECURITY_MAX_SID_SIZE];
    wchar_t domain[256];
    DWORD size = sizeof identifier;
    auto domainSize = static_cast<DWORD>(std::size(domain));
    SID_NAME_USE use{};
    wchar_t* text = nullptr;
    // An account of this machine is named with a dot for the machine, which the look-up does not know.
    const std::wstring name = account.starts_with(L".\\") ? account.substr(2) : account;
    if (!LookupAccountNameW(nullptr, name.c_str(), identifier, &size, domain, &domainSize, &use) ||
        !ConvertSidToStringSidW(identifier, &text)) {
        return {};
    }
    std::wstring result = text;
    LocalFree(text);
    return result;
}

std::string contentOf(HANDLE file)
{
    std::string content;
    std::string block(1 << 16, '\0');
    DWORD got = 0;
    while (ReadFile(file, block.data(), static_cast<DWORD>(block.size()), &got, nullptr) && got > 0) {
        content.append(block, 0, got);
    }
    return content;
}

}  // namespace

std::wstring roamingFolderOf(const std::wstring& account)
{
    if (onWine()) return ownRoamingFolder();
    const std::wstring identifier = identifierOf(account);
    std::wstring profile = textOf(readValue(profileList + identifier, L"ProfileImagePath"));
    if (profile.empty()) profile = systemDirectory() + L"\\config\\systemprofile";
    return profile + L"\\AppData\\Roaming";
}

std::wstring logFileOf(const std::wstring& account) { return roamingFolderOf(account) + logHomeFolder + logFileInHome; }

std::wstring serviceDataFile()
{
    std::wstring folder = systemDirectory();
    if (onWine()) folder.resize(folder.rfind(L'\\'));
    return folder + L"\\" + toWide(g_serviceDataFileName);
}

LogFile readLog(const std::wstring& path)
{
    LogFile log;
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) return log;
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        log.presence = presenceBy(static_cast<LSTATUS>(GetLastError()));
        return log;
    }
    log.presence = Presence::present;
    const std::string content = contentOf(file);
    log.entries = parseLog(content);
    log.isLog = content.empty() || !log.entries.empty();
    CloseHandle(file);
    return log;
}

}  // namespace kelvane
