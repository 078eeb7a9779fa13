// The imports of the service's host.
#include "tests/service/host_life.h"

#include "diagnostics/ansi_text.h"
#include "engine/engine.h"
#include "service/service_host.h"
#include "tests/service/turns.h"
#include "tests/support/call_list.h"
#include "tests/support/import_swap.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>

namespace kelvane {

int runEngine(int /*argument*/)
{
    tests::note("engine");
    return 0;
}

namespace tests {

namespace {

// Only compared.
const auto stopEvent = reinterpret_cast<HANDLE>(0xE0E0);
const auto changeEvent = reinterpret_cast<HANDLE>(0xE0E4);
const auto worker = reinterpret_cast<HANDLE>(0x3030);
const auto source = reinterpret_cast<HANDLE>(0xE1);
const auto statusHandle = reinterpret_cast<SERVICE_STATUS_HANDLE>(0x5C0);

// A registry key, by what it is for; its handle is its place.
struct Key {
    const char* name;
    int opened = 0;
    int closed = 0;
};

Key registryKeys[] = { { "control" }, { "driver" }, { "capability" } };

Key& keyOf(const std::string& name) { return *std::ranges::find(registryKeys, name, &Key::name); }

struct HostWorld {
    unsigned sleptMs = 0;
    int sleeps = 0;
    std::uint32_t setting = 0;
    bool settingChanged = false;
    bool stopSignalled = false;
    bool driversPresent = true;
    int notifications = 0;

    int events = 0;
    int sources = 0;
    int threads = 0;
};

HostWorld& world = *new HostWorld;

bool fails(const std::string& call)
{
    beginTurn();
    if (!callFails(call)) return false;
    SetLastError(ERROR_ACCESS_DENIED);
    return true;
}

// --- the control manager ---------------------------------------------------------------------------------------------

BOOL WINAPI dispatch(const SERVICE_TABLE_ENTRYW* table)
{
    if (fails("StartServiceCtrlDispatcherW")) return FALSE;
    table[0].lpServiceProc(0, nullptr);
    return TRUE;
}

SERVICE_STATUS_HANDLE WINAPI registerHandler(LPCWSTR /*name*/, LPHANDLER_FUNCTION /*handler*/)
{
    return fails("RegisterServiceCtrlHandlerW") ? nullptr : statusHandle;
}

BOOL WINAPI setStatus(SERVICE_STATUS_HANDLE /*handle*/, LPSERVICE_STATUS status)
{
    const std::string state = std::to_string(status->dwCurrentState);
    const bool noEvent = status->dwWin32ExitCode != NO_ERROR;
    note("state " + state);
    return fails("SetServiceStatus, " + state + (noEvent ? " for want of an event" : "")) ? FALSE : TRUE;
}

decltype(&CreateEventW) realCreateEvent;
decltype(&SetEvent) realSetEvent;
decltype(&WaitForSingleObject) realWait;
decltype(&CloseHandle) realCloseHandle;
decltype(&CreateThread) realCreateThread;
std::FILE* (*realOpen)(const char*, const char*);

// Of the two threads' run-time libraries too, which make events without asking for manual reset.
HANDLE WINAPI createEvent(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL signalled, LPCWSTR name)
{
    const bool products = manualReset && !signalled;
    if (!products) return realCreateEvent(attributes, manualReset, signalled, name);
    if (fails(isHost() ? "CreateEventW, stop" : "CreateEventW, change")) return nullptr;
    world.events += 1;
    return isHost() ? stopEvent : changeEvent;
}

BOOL WINAPI setEvent(HANDLE event)
{
    if (event != stopEvent) return realSetEvent(event);
    if (fails("SetEvent")) return FALSE;
    world.stopSignalled = true;
    return TRUE;
}

HANDLE WINAPI createThread(LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                           LPVOID argument, DWORD flags, LPDWORD id)
{
    if (start != serviceWorker) return realCreateThread(attributes, stack, start, argument, flags, id);
    if (fails("CreateThread")) return nullptr;
    world.threads += 1;
    return worker;
}

// Waiting for the worker is when it works.
DWORD WINAPI wait(HANDLE handle, DWORD ms)
{
    if (handle == worker) {
        serviceWorker(nullptr);
        return WAIT_OBJECT_0;
    }
    if (!handle) return WAIT_FAILED;
    if (handle == stopEvent) {
        if (world.sleptMs > HostLife::patienceMs) return WAIT_OBJECT_0;
        if (fails("WaitForSingleObject, stop")) return WAIT_FAILED;
        return world.stopSignalled ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }
    if (handle != changeEvent) return realWait(handle, ms);
    if (fails("WaitForSingleObject, change")) return WAIT_FAILED;
    do letHostRun();
    while (!world.settingChanged);
    world.settingChanged = false;
    return WAIT_OBJECT_0;
}

BOOL WINAPI closeHandle(HANDLE handle)
{
    if (handle == stopEvent || handle == changeEvent) {
        world.events -= 1;
    } else if (handle == worker) {
        world.threads -= 1;
    } else {
        return realCloseHandle(handle);
    }
    return TRUE;
}

// --- the worker's sleeps: what happens meanwhile ---------------------------------------------------------------------

void change(std::uint32_t setting)
{
    world.setting = setting;
    world.settingChanged = true;
}

void passTime(DWORD ms)
{
    world.sleptMs += ms;
    world.sleeps += 1;
    if (world.sleeps == 2) change(2);
    if (world.sleeps == 6) change(0);
    if (world.sleeps >= 8) serviceControlHandler(SERVICE_CONTROL_STOP);
    letWatcherRun();
}

void WINAPI virtualSleep(DWORD ms)
{
    if (ms != 0) passTime(ms);
}

// --- the registry ----------------------------------------------------------------------------------------------------

LSTATUS WINAPI openKey(HKEY /*root*/, LPCWSTR /*subkey*/, DWORD /*options*/, REGSAM access, PHKEY result)
{
    const std::string name = !isHost() ? "control" : access == KEY_READ ? "driver" : "capability";
    Key& key = keyOf(name);
    const bool again = name == "control" && key.opened != 0;
    if (fails("RegOpenKeyExW, " + name + (again ? " again" : ""))) return ERROR_FILE_NOT_FOUND;
    if (name == "driver" && !world.driversPresent) return ERROR_FILE_NOT_FOUND;
    key.opened += 1;
    *result = reinterpret_cast<HKEY>(&key);
    return ERROR_SUCCESS;
}

LSTATUS WINAPI closeKey(HKEY key)
{
    reinterpret_cast<Key*>(key)->closed += 1;
    return ERROR_SUCCESS;
}

LSTATUS WINAPI queryValue(HKEY /*key*/, LPCWSTR /*name*/, LPDWORD /*reserved*/, LPDWORD type, LPBYTE data, LPDWORD size)
{
    if (fails("RegQueryValueExW")) return ERROR_FILE_NOT_FOUND;
    *type = REG_DWORD;
    *size = sizeof world.setting;
    std::memcpy(data, &world.setting, sizeof world.setting);
    return ERROR_SUCCESS;
}

LSTATUS WINAPI setValue(HKEY /*key*/, LPCWSTR /*name*/, DWORD /*reserved*/, DWORD /*type*/, const BYTE* /*data*/,
                        DWORD /*size*/)
{
    return fails("RegSetValueExW") ? ERROR_ACCESS_DENIED : ERROR_SUCCESS;
}

LSTATUS WINAPI notifyChange(HKEY /*key*/, BOOL /*subtree*/, DWORD /*filter*/, HANDLE /*event*/, BOOL /*asynchronous*/)
{
    return fails(++world.notifications == 1 ? "RegNotifyChangeKeyValue" : "RegNotifyChangeKeyValue again")
               ? ERROR_ACCESS_DENIED
               : ERROR_SUCCESS;
}

// --- the two channels ------------------------------------------------------------------------------------------------

HANDLE WINAPI registerSource(LPCWSTR /*server*/, LPCWSTR /*name*/)
{
    if (fails("RegisterEventSourceW")) return nullptr;
    world.sources += 1;
    return source;
}

BOOL WINAPI reportEvent(HANDLE /*log*/, WORD /*type*/, WORD /*category*/, DWORD /*id*/, PSID /*user*/, WORD /*strings*/,
                        DWORD /*bytes*/, LPCWSTR* strings, LPVOID /*data*/)
{
    if (fails("ReportEventW")) return FALSE;
    note("event " + toAnsi(strings[1]));
    return TRUE;
}

BOOL WINAPI deregisterSource(HANDLE /*log*/)
{
    world.sources -= 1;
    return TRUE;
}

// Only the service data file is opened for appending.
std::FILE* openFile(const char* path, const char* mode)
{
    const bool data = mode[0] == 'a';
    return data && fails("fopen, service data") ? nullptr : realOpen(path, mode);
}

template<class Function>
using Swap = ImportSwap<Function>;

}  // namespace

struct HostLife::Imports {
    Swap<decltype(&StartServiceCtrlDispatcherW)> dispatcher{ __imp_StartServiceCtrlDispatcherW, &dispatch };
    Swap<decltype(&RegisterServiceCtrlHandlerW)> handler{ __imp_RegisterServiceCtrlHandlerW, &registerHandler };
    Swap<decltype(&SetServiceStatus)> status{ __imp_SetServiceStatus, &setStatus };
    Swap<decltype(&CreateEventW)> create{ __imp_CreateEventW, &createEvent };
    Swap<decltype(&SetEvent)> set{ __imp_SetEvent, &setEvent };
    Swap<decltype(&CreateThread)> thread{ __imp_CreateThread, &createThread };
    Swap<decltype(&WaitForSingleObject)> waiting{ __imp_WaitForSingleObject, &wait };
    Swap<decltype(&CloseHandle)> close{ __imp_CloseHandle, &closeHandle };
    Swap<decltype(&Sleep)> sleep{ __imp_Sleep, &virtualSleep };
    Swap<decltype(&RegOpenKeyExW)> open{ __imp_RegOpenKeyExW, &openKey };
    Swap<decltype(&RegCloseKey)> closing{ __imp_RegCloseKey, &closeKey };
    Swap<decltype(&RegQueryValueExW)> query{ __imp_RegQueryValueExW, &queryValue };
    Swap<decltype(&RegSetValueExW)> setting{ __imp_RegSetValueExW, &setValue };
    Swap<decltype(&RegNotifyChangeKeyValue)> notifying{ __imp_RegNotifyChangeKeyValue, &notifyChange };
    Swap<decltype(&RegisterEventSourceW)> registering{ __imp_RegisterEventSourceW, &registerSource };
    Swap<decltype(&ReportEventW)> reporting{ __imp_ReportEventW, &reportEvent };
    Swap<decltype(&DeregisterEventSource)> deregistering{ __imp_DeregisterEventSource, &deregisterSource };
    Swap<std::FILE* (*)(const char*, const char*)> file{ __imp_fopen, &openFile };
};

HostLife::HostLife()
{
    takeFirstTurn();
    realCreateEvent = __imp_CreateEventW;
    realSetEvent = __imp_SetEvent;
    realWait = __imp_WaitForSingleObject;
    realCloseHandle = __imp_CloseHandle;
    realCreateThread = __imp_CreateThread;
    realOpen = __imp_fopen;
    imports = std::make_unique<Imports>();
}

// The watcher is still waiting, as it is when the service's process ends.
HostLife::~HostLife() = default;

void HostLife::live(FailurePlan plan, bool driversPresent)
{
    world.driversPresent = driversPresent;
    planFailures(plan);
    exitCode = runService();
}

std::vector<std::string> HostLife::reports() const
{
    std::vector<std::string> found = notedOf("event ");
    for (const std::string& message : file.messages()) found.push_back("data " + message);
    return found;
}

std::vector<std::string> HostLife::states() { return notedOf("state "); }

int HostLife::opened(const std::string& key) { return keyOf(key).opened; }

int HostLife::open(const std::string& key) { return keyOf(key).opened - keyOf(key).closed; }

bool HostLife::watcherWaits() { return watcherLives(); }

int HostLife::events() { return world.events; }

int HostLife::sources() { return world.sources; }

int HostLife::threads() { return world.threads; }

unsigned HostLife::slept() { return world.sleptMs; }

int HostLife::engineStarts(int count)
{
    const ULONGLONG end = GetTickCount64() + 10000;
    while (static_cast<int>(notedOf("engine").size()) < count && GetTickCount64() < end) std::this_thread::yield();
    return static_cast<int>(notedOf("engine").size());
}

}  // namespace tests

}  // namespace kelvane
