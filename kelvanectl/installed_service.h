// kelvanectl/installed_service.h: the service as the service control manager knows it.
#pragma once

#include "kelvanectl/registry.h"

#include <windows.h>

#include <string>

namespace kelvane {

// The key that holds those of all services.
inline constexpr wchar_t servicesKey[] = L"SYSTEM\\CurrentControlSet\\Services\\";

struct InstalledService {
    Presence presence = Presence::unseen;
    DWORD state = 0;      // SERVICE_RUNNING, ...
    DWORD process = 0;    // 0: none
    DWORD startType = 0;  // SERVICE_AUTO_START, ...
    std::wstring account;
    std::wstring commandLine;
    std::wstring program;  // the path in it
};

InstalledService readService();

// "running", "stopped", ...; "automatic", "manual", ...
std::string stateWord(DWORD state);
std::string startTypeWord(DWORD startType);

// The version in the file's resources as four numbers; empty when there is none.
std::string fileVersion(const std::wstring& path);

}  // namespace kelvane
