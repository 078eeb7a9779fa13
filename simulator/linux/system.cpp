// The imports' slots that have to do with the machine. They are filled before any constructor runs, since the
// diagnostic log is made that early.
#include "simulator/linux/not_here.h"

#include <windows.h>

#include <cfgmgr32.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <thread>

using kelvane::native::null;
using kelvane::native::refused;

namespace {

thread_local DWORD lastError;

void sleepMilliseconds(DWORD ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Asked for once: on Windows it is there to be read.
DWORD currentThread()
{
    thread_local const DWORD id = static_cast<DWORD>(syscall(SYS_gettid));
    return id;
}

}  // namespace

DWORD GetLastError() { return lastError; }

void SetLastError(DWORD error) { lastError = error; }

DWORD GetCurrentProcessId() { return static_cast<DWORD>(getpid()); }

ULONGLONG GetTickCount64()
{
    using namespace std::chrono;
    return static_cast<ULONGLONG>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

HMODULE GetModuleHandleA(LPCSTR /*name*/) { return reinterpret_cast<HMODULE>(&lastError); }

extern "C" {
constinit decltype(&Sleep) __imp_Sleep = sleepMilliseconds;
constinit decltype(&GetCurrentThreadId) __imp_GetCurrentThreadId = currentThread;
constinit decltype(&GetSystemPowerStatus) __imp_GetSystemPowerStatus = null;
constinit decltype(&GetSystemDirectoryA) __imp_GetSystemDirectoryA = null;

constinit decltype(&LoadLibraryExA) __imp_LoadLibraryExA = null;
constinit decltype(&GetModuleHandleExA) __imp_GetModuleHandleExA = null;
constinit decltype(&GetProcAddress) __imp_GetProcAddress = null;
constinit decltype(&FreeLibrary) __imp_FreeLibrary = null;
constinit decltype(&FormatMessageA) __imp_FormatMessageA = null;

constinit decltype(&CreateEventW) __imp_CreateEventW = null;
constinit decltype(&SetEvent) __imp_SetEvent = null;
constinit decltype(&CreateThread) __imp_CreateThread = null;
constinit decltype(&WaitForSingleObject) __imp_WaitForSingleObject = kelvane::native::NotHere<WAIT_FAILED>();
constinit decltype(&CloseHandle) __imp_CloseHandle = null;

constinit decltype(&RegOpenKeyExW) __imp_RegOpenKeyExW = refused;
constinit decltype(&RegCloseKey) __imp_RegCloseKey = refused;
constinit decltype(&RegQueryValueExW) __imp_RegQueryValueExW = refused;
constinit decltype(&RegSetValueExW) __imp_RegSetValueExW = refused;
constinit decltype(&RegNotifyChangeKeyValue) __imp_RegNotifyChangeKeyValue = refused;
constinit decltype(&RegGetValueA) __imp_RegGetValueA = refused;

constinit decltype(&StartServiceCtrlDispatcherW) __imp_StartServiceCtrlDispatcherW = null;
constinit decltype(&RegisterServiceCtrlHandlerW) __imp_RegisterServiceCtrlHandlerW = null;
constinit decltype(&SetServiceStatus) __imp_SetServiceStatus = null;
constinit decltype(&RegisterEventSourceW) __imp_RegisterEventSourceW = null;
constinit decltype(&ReportEventW) __imp_ReportEventW = null;
constinit decltype(&DeregisterEventSource) __imp_DeregisterEventSource = null;

constinit decltype(&CM_Get_Device_ID_List_SizeA) __imp_CM_Get_Device_ID_List_SizeA = refused;
constinit decltype(&CM_Get_Device_ID_ListA) __imp_CM_Get_Device_ID_ListA = refused;
constinit decltype(&CM_Get_Device_Interface_List_SizeA) __imp_CM_Get_Device_Interface_List_SizeA = refused;
constinit decltype(&CM_Locate_DevNodeA) __imp_CM_Locate_DevNodeA = refused;
constinit decltype(&CM_Open_DevNode_Key) __imp_CM_Open_DevNode_Key = refused;
}
