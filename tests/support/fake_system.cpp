// One function in place of each import; all of them act on the one FakeSystem that lives.
#include "tests/support/fake_system.h"

#include "tests/support/import_swap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace kelvane::tests {

namespace {

FakeSystem* theSystem = nullptr;

// Only compared, never looked into.
int moduleMark;
int keyMark;
const HMODULE coreModule = reinterpret_cast<HMODULE>(&moduleMark);
const HKEY deviceKey = reinterpret_cast<HKEY>(&keyMark);
constexpr DEVINST frameworkDevice = 7;

decltype(&GetProcAddress) realGetProcAddress;
decltype(&FreeLibrary) realFreeLibrary;
decltype(&LocalFree) realLocalFree;

std::string hex(ULONG flags)
{
    std::ostringstream text;
    text << "0x" << std::hex << flags;
    return text.str();
}

std::string textOf(const GUID& guid)
{
    char text[39];
    std::snprintf(text, sizeof text, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                  guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

bool liesInThisModule(LPCSTR address)
{
    MEMORY_BASIC_INFORMATION region = {};
    VirtualQuery(address, &region, sizeof region);
    return region.AllocationBase == GetModuleHandleA(nullptr);
}

}  // namespace

template<class... Parts>
void FakeSystem::note(const Parts&... parts)
{
    std::ostringstream text;
    (text << ... << parts);
    calls.push_back(text.str());
}

struct FakeSystem::Thunks {
    static CONFIGRET WINAPI deviceListSize(PULONG size, PCSTR filter, ULONG flags)
    {
        FakeSystem& system = *theSystem;
        system.note("CM_Get_Device_ID_List_SizeA ", filter, " ", hex(flags));
        if (system.announcesListSize) {
            *size = system.deviceListSize.value_or(static_cast<ULONG>(system.deviceList.size()));
        }
        return system.deviceListSizeStatus;
    }

    static CONFIGRET WINAPI deviceList(PCSTR filter, PCHAR buffer, ULONG size, ULONG flags)
    {
        FakeSystem& system = *theSystem;
        system.note("CM_Get_Device_ID_ListA ", filter, " ", size, " ", hex(flags));
        std::copy_n(system.deviceList.data(), std::min<std::size_t>(size, system.deviceList.size()), buffer);
        return system.deviceListStatus;
    }

    static CONFIGRET WINAPI interfaceListSize(PULONG size, LPGUID interfaceClass, DEVINSTID_A device, ULONG flags)
    {
        FakeSystem& system = *theSystem;
        system.note("CM_Get_Device_Interface_List_SizeA ", textOf(*interfaceClass), " ", device, " ", hex(flags));
        const auto list = system.interfaces.find(device);
        *size = list == system.interfaces.end() ? 1 : list->second.size;
        return list == system.interfaces.end() ? CR_SUCCESS : list->second.status;
    }

    static CONFIGRET WINAPI locate(PDEVINST device, DEVINSTID_A id, ULONG flags)
    {
        theSystem->note("CM_Locate_DevNodeA ", id, " ", hex(flags));
        *device = frameworkDevice;
        return theSystem->locateStatus;
    }

    static CONFIGRET WINAPI openKey(DEVINST device, REGSAM access, ULONG profile, REGDISPOSITION disposition, PHKEY key,
                                    ULONG flags)
    {
        theSystem->note("CM_Open_DevNode_Key ", device, " ", hex(access), " ", profile, " ", disposition, " ",
                        hex(flags));
        *key = deviceKey;
        return theSystem->openKeyStatus;
    }

    static LSTATUS WINAPI getValue(HKEY key, LPCSTR subkey, LPCSTR value, DWORD flags, LPDWORD type, PVOID data,
                                   LPDWORD size)
    {
        FakeSystem& system = *theSystem;
        EXPECT_EQ(key, deviceKey);
        EXPECT_EQ(subkey, nullptr);
        EXPECT_EQ(type, nullptr);
        system.note("RegGetValueA ", value, " ", hex(flags), " ", *size);
        if (system.installDirStatus != ERROR_SUCCESS) return system.installDirStatus;
        const std::size_t needed = system.installDir.size() + 1;
        if (needed > *size) return ERROR_MORE_DATA;
        std::copy_n(system.installDir.c_str(), needed, static_cast<char*>(data));
        return ERROR_SUCCESS;
    }

    static LSTATUS WINAPI closeKey(HKEY key)
    {
        EXPECT_EQ(key, deviceKey);
        theSystem->note("RegCloseKey");
        return ERROR_SUCCESS;
    }

    static UINT WINAPI systemDirectory(LPSTR buffer, UINT size)
    {
        FakeSystem& system = *theSystem;
        system.note("GetSystemDirectoryA ", size);
        if (system.systemDirectoryAnswer) return *system.systemDirectoryAnswer;
        const auto length = static_cast<UINT>(system.systemDirectory.size());
        if (length >= size) return length + 1;
        std::copy_n(system.systemDirectory.c_str(), length + 1, buffer);
        return length;
    }

    static DWORD WINAPI fileAttributes(LPCSTR path)
    {
        theSystem->note("GetFileAttributesA ", path);
        const auto file = theSystem->files.find(path);
        return file == theSystem->files.end() ? INVALID_FILE_ATTRIBUTES : file->second;
    }

    static BOOL WINAPI deleteFile(LPCSTR path)
    {
        theSystem->note("DeleteFileA ", path);
        return theSystem->deletesFiles && theSystem->files.erase(path) != 0;
    }

    static BOOL WINAPI removeDirectory(LPCSTR path)
    {
        theSystem->note("RemoveDirectoryA ", path);
        return theSystem->deletesFiles && theSystem->files.erase(path) != 0;
    }

    static HMODULE load(LPCSTR path, DWORD& error)
    {
        const FakeSystem& system = *theSystem;
        if (system.loadFailsSilently) return nullptr;
        error = system.loadError.value_or(system.files.count(path) ? ERROR_SUCCESS : ERROR_MOD_NOT_FOUND);
        if (system.loadError || error != ERROR_SUCCESS) return nullptr;
        error = system.errorAfterLoad.value_or(error);
        return coreModule;
    }

    // The last error is set last, since what stands before may change it.
    static HMODULE WINAPI loadLibrary(LPCSTR path, HANDLE file, DWORD flags)
    {
        DWORD error = GetLastError();
        EXPECT_EQ(file, nullptr);
        theSystem->note("LoadLibraryExA ", path, " ", hex(flags));
        const HMODULE module = load(path, error);
        SetLastError(error);
        return module;
    }

    static BOOL WINAPI moduleHandle(DWORD flags, LPCSTR address, HMODULE* module)
    {
        theSystem->note("GetModuleHandleExA ", hex(flags), liesInThisModule(address) ? " own address" : " elsewhere");
        const DWORD error = theSystem->loadError.value_or(ERROR_SUCCESS);
        if (!theSystem->loadError) *module = coreModule;
        SetLastError(error);
        return error == ERROR_SUCCESS;
    }

    static FARPROC WINAPI procAddress(HMODULE module, LPCSTR name)
    {
        if (module != coreModule) return realGetProcAddress(module, name);
        theSystem->note("GetProcAddress ", name);
        SetLastError(theSystem->exportsInterface ? theSystem->errorAfterLookUp : ERROR_PROC_NOT_FOUND);
        if (!theSystem->exportsInterface) return nullptr;
        return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(&FakeCore::getOrqInterface));
    }

    static BOOL WINAPI freeLibrary(HMODULE module)
    {
        if (module != coreModule) return realFreeLibrary(module);
        theSystem->note("FreeLibrary");
        if (theSystem->onFreeLibrary) theSystem->onFreeLibrary();
        return TRUE;
    }

    static DWORD WINAPI formatMessage(DWORD flags, LPCVOID source, DWORD error, DWORD language, LPSTR buffer,
                                      DWORD size, va_list* arguments)
    {
        const auto* const inserts = reinterpret_cast<const char* const*>(arguments);
        EXPECT_EQ(source, nullptr);
        EXPECT_EQ(size, 0U);
        for (int insert = 1; insert < 99; ++insert) EXPECT_STREQ(inserts[insert], "");  // a text may name up to %99
        theSystem->note("FormatMessageA ", hex(flags), " ", error, " language ", language, " [", inserts[0], "][",
                        inserts[1], "][", inserts[2], "]");
        if (!theSystem->formatsMessages) return 0;
        const std::string words = "words for " + std::to_string(error);
        auto* const text = static_cast<char*>(LocalAlloc(LMEM_FIXED, words.size() + 1));
        std::copy_n(words.c_str(), words.size() + 1, text);
        theSystem->texts.insert(text);
        *reinterpret_cast<char**>(buffer) = text;
        return static_cast<DWORD>(words.size());
    }

    static HLOCAL WINAPI localFree(HLOCAL memory)
    {
        if (theSystem->texts.erase(memory) != 0) theSystem->note("LocalFree");
        return realLocalFree(memory);
    }

    static LPVOID WINAPI heapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes)
    {
        FakeSystem& system = *theSystem;
        EXPECT_EQ(heap, GetProcessHeap());
        system.note("HeapAlloc ", bytes, flags == HEAP_ZERO_MEMORY ? " zeroed" : " " + hex(flags));
        if (++system.allocations == system.failingAllocation) return nullptr;
        auto block = std::make_unique<GuardedBlock>(bytes, flags & HEAP_ZERO_MEMORY ? 0 : 0xCC);
        void* const memory = block->data();
        system.blocks[memory] = std::move(block);
        return memory;
    }

    static BOOL WINAPI heapFree(HANDLE heap, DWORD flags, LPVOID memory)
    {
        FakeSystem& system = *theSystem;
        EXPECT_EQ(heap, GetProcessHeap());
        EXPECT_EQ(flags, 0U);
        const auto held = system.blocks.find(memory);
        if (held == system.blocks.end()) {
            ADD_FAILURE() << "memory is released that is not held";
            return FALSE;
        }
        const std::string content(held->second->data(), held->second->size);
        const bool zero = content == std::string(content.size(), '\0');
        system.note("HeapFree ", content.size(), zero ? " all zero" : "");
        system.blocks.erase(held);
        return TRUE;
    }
};

FakeSystem::FakeSystem()
{
    theSystem = this;
    realGetProcAddress = __imp_GetProcAddress;
    realFreeLibrary = __imp_FreeLibrary;
    realLocalFree = __imp_LocalFree;
    const auto swap = [this]<class Function>(Function& slot, Function fake) {
        swaps.push_back(std::make_shared<ImportSwap<Function>>(slot, fake));
    };
    swap(__imp_CM_Get_Device_ID_List_SizeA, &Thunks::deviceListSize);
    swap(__imp_CM_Get_Device_ID_ListA, &Thunks::deviceList);
    swap(__imp_CM_Get_Device_Interface_List_SizeA, &Thunks::interfaceListSize);
    swap(__imp_CM_Locate_DevNodeA, &Thunks::locate);
    swap(__imp_CM_Open_DevNode_Key, &Thunks::openKey);
    swap(__imp_RegGetValueA, &Thunks::getValue);
    swap(__imp_RegCloseKey, &Thunks::closeKey);
    swap(__imp_GetSystemDirectoryA, &Thunks::systemDirectory);
    swap(__imp_GetFileAttributesA, &Thunks::fileAttributes);
    swap(__imp_DeleteFileA, &Thunks::deleteFile);
    swap(__imp_RemoveDirectoryA, &Thunks::removeDirectory);
    swap(__imp_LoadLibraryExA, &Thunks::loadLibrary);
    swap(__imp_GetModuleHandleExA, &Thunks::moduleHandle);
    swap(__imp_GetProcAddress, &Thunks::procAddress);
    swap(__imp_FreeLibrary, &Thunks::freeLibrary);
    swap(__imp_FormatMessageA, &Thunks::formatMessage);
    swap(__imp_LocalFree, &Thunks::localFree);
    swap(__imp_HeapAlloc, &Thunks::heapAlloc);
    swap(__imp_HeapFree, &Thunks::heapFree);
}

FakeSystem::~FakeSystem()
{
    swaps.clear();
    theSystem = nullptr;
}

void FakeSystem::plugInFrameworkDevice(const std::string& directory)
{
    deviceList = deviceIds({ "PCI\\ORQ" });
    interfaces["PCI\\ORQ"] = { CR_SUCCESS, 2 };
    installDir = directory;
}

std::vector<std::string> FakeSystem::callsOf(const std::string& name) const
{
    std::vector<std::string> found;
    for (const std::string& call : calls) {
        if (call.starts_with(name)) found.push_back(call);
    }
    return found;
}

std::string deviceIds(const std::vector<std::string>& ids)
{
    std::string list;
    for (const std::string& id : ids) list += id + '\0';
    return list + '\0';
}

}  // namespace kelvane::tests
