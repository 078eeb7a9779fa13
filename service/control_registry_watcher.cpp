// Watch, wait, open, read, decide, watch again.
//
// Nothing is read before the first change. Each change opens the key once more, and the handle before it stays open.
#include "service/control_registry_watcher.h"

#include "diagnostics/event_log.h"
#include "diagnostics/service_data.h"
#include "service/service_host.h"
#include "state/names.h"
#include "state/state.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string>

namespace kelvane {

namespace {

constexpr DWORD anyChange =
    REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_ATTRIBUTES | REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_CHANGE_SECURITY;

constexpr DWORD initialSetting = 2;

// One per process and never freed: g_currentSettingData points into it.
struct SettingBuffer {
    wchar_t units[512];
};

SettingBuffer buffer;

struct Watch {
    HKEY key = nullptr;
    HANDLE event = nullptr;
    DWORD size = sizeof buffer;  // as the last read left it
};

DWORD remembered(LSTATUS status)
{
    g_lastRegistryStatus = static_cast<DWORD>(status);
    return g_lastRegistryStatus;
}

DWORD openKey(Watch& watch, REGSAM access)
{
    return remembered(RegOpenKeyExW(HKEY_LOCAL_MACHINE, controlKey, 0, access, &watch.key));
}

DWORD arm(const Watch& watch)
{
    return remembered(RegNotifyChangeKeyValue(watch.key, TRUE, anyChange, watch.event, TRUE));
}

// The size variable is not set anew for each read, so a value longer than the one before it is "not present" once. No
// more than the buffer is ever offered.
DWORD readSetting(Watch& watch)
{
    DWORD type = 0;
    watch.size = std::min<DWORD>(watch.size, sizeof buffer);
    return remembered(
        RegQueryValueExW(watch.key, controlValue, nullptr, &type, reinterpret_cast<BYTE*>(&buffer), &watch.size));
}

void followSetting(Watch& watch)
{
    if (readSetting(watch) != ERROR_SUCCESS) {
        reportServiceEvent(L"KV::LITSSVC: Registry value KV is not present in the registry");
        return;
    }
    g_currentSettingData = &buffer;
    // The text of the one character 2, which in memory is the number 2. Bytes of an earlier, longer value count.
    if (buffer.units[0] == scalingWanted && buffer.units[1] == L'\0') {
        g_engineGate = 0;
    } else {
        requestEngineStop(false);
        g_engineGate = 1;
    }
}

// Returns whether the watch goes on.
bool followNextChange(Watch& watch)
{
    g_lastRegistryStatus = WaitForSingleObject(watch.event, INFINITE);
    if (g_lastRegistryStatus == WAIT_FAILED) {
        reportServiceEvent(L"Error occurred while waiting for registry change.");
        return false;
    }
    if (openKey(watch, KEY_READ) == ERROR_SUCCESS) followSetting(watch);
    return arm(watch) == ERROR_SUCCESS;
}

void close(Watch& watch)
{
    CloseHandle(watch.event);
    if (watch.key) RegCloseKey(watch.key);
    watch.key = nullptr;
}

void watchChanges(Watch& watch)
{
    if (arm(watch) != ERROR_SUCCESS) reportServiceEvent(L"KV::RegNotifyChangeKeyValue Failed");
    while (g_serviceRunning && followNextChange(watch)) {
    }
    close(watch);
}

void watchControlKey()
{
    Watch watch;
    if (openKey(watch, KEY_NOTIFY) != ERROR_SUCCESS) {
        reportServiceEvent(L"KV::Failed in RegOpenKeyEx LITSSVC IC KV with kiostot control");
        return;
    }
    watch.event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!watch.event) {
        reportServiceEvent(L"KV::CreateEvent Failed");
        return;
    }
    try {
        watchChanges(watch);
    } catch (const std::exception& error) {
        writeServiceData(std::string(" registryNotifyexception - ") + error.what());
    } catch (...) {
        writeServiceData("catch ... registry_write function. Service stopped");
    }
    writeServiceData(" registryNotify() is closed");
}

}  // namespace

std::atomic<DWORD> g_lastRegistryStatus = 0;
std::atomic<const void*> g_currentSettingData = &initialSetting;

DWORD registryNotify()
{
    try {
        watchControlKey();
    } catch (...) {
        // A report that cannot even be put together ends the watcher, not the service.
    }
    return 0;
}

}  // namespace kelvane
