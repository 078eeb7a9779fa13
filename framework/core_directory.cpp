// Finds the framework core's library: the framework's device, its install directory, the fallback.
#include "framework/core_directory.h"

#include <windows.h>

#include <cfgmgr32.h>

#include <cstdio>
#include <cstring>

namespace kelvane {

namespace {

constexpr GUID frameworkInterface = { 0xEE27098E, 0x1B22, 0x472A, { 0x89, 0xD8, 0x5C, 0xCC, 0xE1, 0x6B, 0x13, 0x56 } };
constexpr char enumerator[] = "PCI";
constexpr ULONG presentOfEnumerator = 0x101;  // by enumerator, present only
constexpr char fallbackFolder[] = "\\Tarvo\\ORQ";

constexpr CONFIGRET outOfMemory = 2;
constexpr CONFIGRET notFound = 3;
constexpr CONFIGRET noDevice = 37;
constexpr unsigned long guardFailed = 31;

bool hasSeparator(const char* name) { return std::strpbrk(name, "\\/") != nullptr; }

void joinPath(char* path, const char* directory, const char* name)
{
    std::snprintf(path, pathCapacity, "%s%s%s", directory, "\\", name);
}

bool fileExists(const char* path) { return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES; }

bool fileExistsOnceGuarded(const char* path) { return removeReparsePoint(path) == 0 && fileExists(path); }

// Walks the device IDs in `list`, never past its `size` bytes, to the first device with the framework's interface.
CONFIGRET findFrameworkDevice(char* list, ULONG size, DEVINST* device)
{
    CONFIGRET status = noDevice;
    ULONG at = 0;
    while (at < size && list[at] != '\0') {
        char* const id = list + at;
        const auto length = static_cast<ULONG>(strnlen(id, size - at));
        if (length == size - at) break;  // cut off in the middle: not a device ID
        GUID interfaceClass = frameworkInterface;
        ULONG interfaceListSize = 0;
        const CONFIGRET query = CM_Get_Device_Interface_List_SizeA(&interfaceListSize, &interfaceClass, id,
                                                                   CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
        if (query == CR_SUCCESS && interfaceListSize > 1) {
            return CM_Locate_DevNodeA(device, id, CM_LOCATE_DEVNODE_NORMAL);
        }
        if (query != CR_SUCCESS) status = query;
        at += length + 1;
    }
    return status;
}

unsigned long readInstallDirectory(DEVINST device, char* buffer, unsigned long size)
{
    HKEY key = nullptr;
    const CONFIGRET opened =
        CM_Open_DevNode_Key(device, KEY_READ, 0, RegDisposition_OpenExisting, &key, CM_REGISTRY_HARDWARE);
    if (opened != CR_SUCCESS) return opened;
    DWORD bytes = size;
    const LSTATUS status = RegGetValueA(key, nullptr, "InstallDir", RRF_RT_REG_SZ, nullptr, buffer, &bytes);
    RegCloseKey(key);
    return static_cast<unsigned long>(status);
}

unsigned long searchDeviceList(char* list, ULONG listSize, char* buffer, unsigned long size)
{
    const CONFIGRET fetched = CM_Get_Device_ID_ListA(enumerator, list, listSize, presentOfEnumerator);
    if (fetched != CR_SUCCESS) return fetched;
    DEVINST device = 0;
    const CONFIGRET found = findFrameworkDevice(list, listSize, &device);
    return found == CR_SUCCESS ? readInstallDirectory(device, buffer, size) : found;
}

const char* findCoreDirectory(const char* name, char* buffer, bool (*exists)(const char* path))
{
    unsigned long status = notFound;
    if (locateInstallDirectory(buffer, pathCapacity) == 0) status = 0;
    if (status == 0 && !hasSeparator(name)) {
        char candidate[pathCapacity];
        joinPath(candidate, buffer, name);
        if (!exists(candidate)) status = notFound;
    }
    if (status == 0) return buffer;

    const UINT length = GetSystemDirectoryA(buffer, pathCapacity);
    if (length == 0 || length >= pathCapacity) {
        buffer[0] = '\0';
        return nullptr;
    }
    std::snprintf(buffer + length, pathCapacity - length, "%s", fallbackFolder);
    return buffer;
}

}  // namespace

unsigned long locateInstallDirectory(char* buffer, unsigned long size)
{
    if (!buffer || size == 0) return notFound;
    ULONG listSize = 0;  // some systems report success and leave it alone
    const CONFIGRET sized = CM_Get_Device_ID_List_SizeA(&listSize, enumerator, presentOfEnumerator);
    if (sized != CR_SUCCESS) return sized;
    if (listSize == 0) return noDevice;  // no room even for the list's end: nothing may be fetched
    auto* const list = static_cast<char*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, listSize));
    if (!list) return outOfMemory;
    const unsigned long status = searchDeviceList(list, listSize, buffer, size);
    HeapFree(GetProcessHeap(), 0, list);
    return status;
}

unsigned long removeReparsePoint(const char* path)
{
    const DWORD attributes = GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) return 0;
    const BOOL removed = attributes & FILE_ATTRIBUTE_DIRECTORY ? RemoveDirectoryA(path) : DeleteFileA(path);
    return removed ? 0 : guardFailed;
}

const char* coreDirectory(const char* name, char* buffer)
{
    return findCoreDirectory(name, buffer, fileExistsOnceGuarded);
}

void lookForCore(const char* name, char* path)
{
    char directory[pathCapacity] = {};
    path[0] = '\0';
    if (findCoreDirectory(name, directory, fileExists)) joinPath(path, directory, name);
}

void formCorePath(const char* name, char* path)
{
    char directory[pathCapacity] = {};
    if (!hasSeparator(name) && coreDirectory(name, directory)) {
        joinPath(path, directory, name);
    } else {
        std::snprintf(path, pathCapacity, "%s", name);
    }
}

}  // namespace kelvane
