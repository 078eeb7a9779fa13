// Replaces imports at their slots in this program's import table.
#include "simulator/replay/imports.h"

#include "simulator/platform/import_slot.h"
#include "simulator/platform/import_slots.h"
#include "simulator/platform/simulated_core.h"

#include <windows.h>

#include <cfgmgr32.h>

#include <cstring>

namespace kelvane::simulator {

namespace {

std::function<void(std::uint32_t)> sleepInstead;
const HMODULE coreModule = reinterpret_cast<HMODULE>(&sleepInstead);  // only ever compared
decltype(&GetProcAddress) realGetProcAddress;

void WINAPI simulatedSleep(DWORD ms) { sleepInstead(ms); }

CONFIGRET WINAPI noDevices(PULONG size, PCSTR /*filter*/, ULONG /*flags*/)
{
    *size = 0;
    return CR_FAILURE;
}

UINT WINAPI simulatedSystemDirectory(LPSTR buffer, UINT size)
{
    constexpr char directory[] = "C:\\windows\\system32";
    if (size < sizeof directory) return sizeof directory;
    std::memcpy(buffer, directory, sizeof directory);
    return sizeof directory - 1;
}

DWORD WINAPI noSuchFile(LPCSTR /*path*/) { return INVALID_FILE_ATTRIBUTES; }

HMODULE WINAPI loadSimulatedCore(LPCSTR /*path*/, HANDLE /*file*/, DWORD /*flags*/) { return coreModule; }

FARPROC WINAPI findExport(HMODULE module, LPCSTR name)
{
    if (module != coreModule) return realGetProcAddress(module, name);
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&getSimulatedInterface));
}

}  // namespace

void replacePlatform(std::function<void(std::uint32_t ms)> sleep)
{
    sleepInstead = std::move(sleep);
    if (!realGetProcAddress) realGetProcAddress = __imp_GetProcAddress;
    setImport(__imp_Sleep, simulatedSleep);
    setImport(__imp_GetSystemPowerStatus, simulatedPowerStatus);
    setImport(__imp_GetSystemDirectoryA, simulatedSystemDirectory);
    setImport(__imp_GetFileAttributesA, noSuchFile);
    setImport(__imp_LoadLibraryExA, loadSimulatedCore);
    setImport(__imp_GetProcAddress, findExport);
    setImport(__imp_CM_Get_Device_ID_List_SizeA, noDevices);
}

}  // namespace kelvane::simulator
