#include "kelvanectl/installed_service.h"

#include "diagnostics/event_log.h"

#include <algorithm>
#include <cstdio>
#include <cwctype>
#include <vector>

namespace kelvane {

namespace {

// The path at the beginning of a command line.
std::wstring programOf(const std::wstring& commandLine)
{
    if (commandLine.starts_with(L'"')) return commandLine.substr(1, commandLine.find(L'"', 1) - 1);
    std::wstring lower = commandLine;
    std::transform(lower.begin(), lower.end(), lower.begin(), std::towlower);
    const std::size_t end = lower.find(L".exe");
    return end == std::wstring::npos ? commandLine : commandLine.substr(0, end + 4);
}

void readState(SC_HANDLE handle, InstalledService& service)
{
    SERVICE_STATUS_PROCESS status{};
    DWORD needed = 0;
    if (!QueryServiceStatusEx(handle, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&status), sizeof status,
                              &needed)) {
        return;
    }
    service.state = status.dwCurrentState;
    service.process = status.dwProcessId;
}

void readConfiguration(SC_HANDLE handle, InstalledService& service)
{
    std::vector<BYTE> buffer(8192);  // the most that Windows needs
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    DWORD needed = 0;
    if (!QueryServiceConfigW(handle, config, static_cast<DWORD>(buffer.size()), &needed)) return;
    service.startType = config->dwStartType;
    if (config->lpServiceStartName) service.account = config->lpServiceStartName;
    // The registry has what the next start takes; Wine's manager remembers what it was when it looked last.
    service.commandLine = textOf(readValue(std::wstring(servicesKey) + serviceName, L"ImagePath"));
    if (service.commandLine.empty() && config->lpBinaryPathName) service.commandLine = config->lpBinaryPathName;
    service.program = programOf(service.commandLine);
}

}  // namespace

InstalledService readService()
{
    InstalledService service;
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    if (!manager) return service;
    SC_HANDLE handle = OpenServiceW(manager, serviceName, SERVICE_QUERY_STATUS | SERVICE_QUERY_CONFIG);
    if (handle) {
        service.presence = Presence::present;
        readState(handle, service);
        readConfiguration(handle, service);
        CloseServiceHandle(handle);
    } else {
        service.presence = presenceBy(static_cast<LSTATUS>(GetLastError()));
    }
    CloseServiceHandle(manager);
    return service;
}

std::string stateWord(DWORD state)
{
    static constexpr const char* words[] = { "unknown", "stopped",       "starting", "stopping",
                                             "running", "being resumed", "pausing",  "paused" };
    return words[state < std::size(words) ? state : 0];
}

std::string startTypeWord(DWORD startType)
{
    static constexpr const char* words[] = { "boot", "system", "automatic", "manual", "disabled" };
    return startType < std::size(words) ? words[startType] : "unknown";
}

std::string fileVersion(const std::wstring& path)
{
    DWORD unused = 0;
    std::vector<BYTE> resource(GetFileVersionInfoSizeW(path.c_str(), &unused));
    VS_FIXEDFILEINFO* info = nullptr;
    UINT size = 0;
    if (resource.empty() ||
        !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()) ||
        !VerQueryValueW(resource.data(), L"\\", reinterpret_cast<void**>(&info), &size) || size < sizeof *info) {
        return {};
    }
    char text[64];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                  HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
    return text;
}

}  // namespace kelvane
