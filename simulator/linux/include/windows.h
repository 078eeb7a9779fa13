// simulator/linux/include/windows.h: as much of Windows as the service's code names, for builds that run on Linux.
//
// Types have their Windows sizes, except that wchar_t has four bytes and a path may use either separator. As in a
// Windows program, a call goes through the import's slot `__imp_NAME`, in which tests put their own function; the
// slots' first contents are in simulator/linux. What the linker binds directly on Windows has no slot here either.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>

#define WINAPI
#define CALLBACK
#define STDMETHODCALLTYPE
#define TRUE 1
#define FALSE 0
#define INFINITE 0xFFFFFFFF

using BOOL = int;
using WINBOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using UINT = unsigned;
using USHORT = std::uint16_t;
using ULONGLONG = std::uint64_t;
using SIZE_T = std::size_t;
using DWORD_PTR = std::uintptr_t;
using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using PCHAR = char*;
using LPSTR = char*;
using PCSTR = const char*;
using LPCSTR = const char*;
using PWSTR = wchar_t*;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using PDWORD = DWORD*;
using LPDWORD = DWORD*;
using PULONG = ULONG*;
using HRESULT = LONG;
using LSTATUS = LONG;
using REGSAM = DWORD;
using HANDLE = void*;
using HLOCAL = void*;
using HMODULE = struct ModuleOfWindows*;
using HKEY = struct KeyOfWindows*;
using PHKEY = HKEY*;
using FARPROC = std::intptr_t (*)();

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};

inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

using IID = GUID;
using CLSID = GUID;
using LPGUID = GUID*;
using REFIID = const GUID&;
using REFCLSID = const GUID&;

#include "winerror.h"

DWORD GetLastError();
void SetLastError(DWORD error);

// --- imports ---------------------------------------------------------------------------------------------------------
#define WINDOWS_IMPORT(result, name, parameters, arguments)                                                            \
    extern "C" {                                                                                                       \
    extern result(*__imp_##name) parameters;                                                                           \
    inline result name parameters { return __imp_##name arguments; }                                                   \
    }

WINDOWS_IMPORT(void, Sleep, (DWORD ms), (ms))
WINDOWS_IMPORT(DWORD, GetCurrentThreadId, (), ())
DWORD GetCurrentProcessId();
ULONGLONG GetTickCount64();  // ms

struct SYSTEM_POWER_STATUS {
    BYTE ACLineStatus;
    BYTE BatteryFlag;
    BYTE BatteryLifePercent;
    BYTE SystemStatusFlag;
    DWORD BatteryLifeTime;
    DWORD BatteryFullLifeTime;
};

using LPSYSTEM_POWER_STATUS = SYSTEM_POWER_STATUS*;
WINDOWS_IMPORT(BOOL, GetSystemPowerStatus, (LPSYSTEM_POWER_STATUS status), (status))

// Text. The ANSI code page is 1252.
constexpr UINT CP_ACP = 0;
constexpr UINT CP_UTF8 = 65001;
UINT GetACP();
int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide, int length, LPSTR narrow, int size, LPCSTR substitute,
                        BOOL* substituted);
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR narrow, int length, LPWSTR wide, int size);

inline int _wcsicmp(const wchar_t* a, const wchar_t* b) { return wcscasecmp(a, b); }

// Files.
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
constexpr DWORD FILE_ATTRIBUTE_REPARSE_POINT = 0x400;
struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;
WINDOWS_IMPORT(UINT, GetSystemDirectoryA, (LPSTR buffer, UINT size), (buffer, size))
WINDOWS_IMPORT(DWORD, GetFileAttributesA, (LPCSTR path), (path))
WINDOWS_IMPORT(BOOL, DeleteFileA, (LPCSTR path), (path))
WINDOWS_IMPORT(BOOL, RemoveDirectoryA, (LPCSTR path), (path))
WINDOWS_IMPORT(BOOL, CreateDirectoryW, (LPCWSTR path, LPSECURITY_ATTRIBUTES attributes), (path, attributes))

// Modules.
constexpr DWORD LOAD_LIBRARY_SEARCH_DEFAULT_DIRS = 0x1000;
constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 4;
WINDOWS_IMPORT(HMODULE, LoadLibraryExA, (LPCSTR path, HANDLE file, DWORD flags), (path, file, flags))
WINDOWS_IMPORT(BOOL, GetModuleHandleExA, (DWORD flags, LPCSTR name, HMODULE* module), (flags, name, module))
WINDOWS_IMPORT(FARPROC, GetProcAddress, (HMODULE module, LPCSTR name), (module, name))
WINDOWS_IMPORT(BOOL, FreeLibrary, (HMODULE module), (module))
HMODULE GetModuleHandleA(LPCSTR name);  // null: this program

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x2000;
WINDOWS_IMPORT(DWORD, FormatMessageA,
               (DWORD flags, LPCVOID source, DWORD error, DWORD language, LPSTR buffer, DWORD size, va_list* arguments),
               (flags, source, error, language, buffer, size, arguments))

// Memory.
constexpr DWORD HEAP_ZERO_MEMORY = 8;
constexpr UINT LMEM_FIXED = 0;
constexpr DWORD MEM_COMMIT = 0x1000;
constexpr DWORD MEM_RESERVE = 0x2000;
constexpr DWORD MEM_RELEASE = 0x8000;
constexpr DWORD PAGE_NOACCESS = 1;
constexpr DWORD PAGE_READONLY = 2;
constexpr DWORD PAGE_READWRITE = 4;

struct MEMORY_BASIC_INFORMATION {
    PVOID BaseAddress;
    PVOID AllocationBase;
};

HANDLE GetProcessHeap();
WINDOWS_IMPORT(LPVOID, HeapAlloc, (HANDLE heap, DWORD flags, SIZE_T bytes), (heap, flags, bytes))
WINDOWS_IMPORT(BOOL, HeapFree, (HANDLE heap, DWORD flags, LPVOID memory), (heap, flags, memory))
HLOCAL LocalAlloc(UINT flags, SIZE_T bytes);
WINDOWS_IMPORT(HLOCAL, LocalFree, (HLOCAL memory), (memory))
LPVOID VirtualAlloc(LPVOID address, SIZE_T bytes, DWORD type, DWORD access);
WINDOWS_IMPORT(BOOL, VirtualProtect, (LPVOID address, SIZE_T bytes, DWORD access, PDWORD before),
               (address, bytes, access, before))
BOOL VirtualFree(LPVOID address, SIZE_T bytes, DWORD type);  // MEM_RELEASE of what VirtualAlloc gave
SIZE_T VirtualQuery(LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T bytes);

// Kernel objects.
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_ABANDONED = 0x80;
constexpr DWORD WAIT_TIMEOUT = 258;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID);
WINDOWS_IMPORT(HANDLE, CreateEventW, (LPSECURITY_ATTRIBUTES attributes, BOOL manual, BOOL set, LPCWSTR name),
               (attributes, manual, set, name))
WINDOWS_IMPORT(BOOL, SetEvent, (HANDLE event), (event))
WINDOWS_IMPORT(HANDLE, CreateThread,
               (LPSECURITY_ATTRIBUTES attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start, LPVOID parameter,
                DWORD flags, LPDWORD id),
               (attributes, stack, start, parameter, flags, id))
WINDOWS_IMPORT(DWORD, WaitForSingleObject, (HANDLE handle, DWORD ms), (handle, ms))
WINDOWS_IMPORT(BOOL, CloseHandle, (HANDLE handle), (handle))

inline LONG InterlockedIncrement(LONG volatile* value) { return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST); }

inline LONG InterlockedDecrement(LONG volatile* value) { return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST); }

#include "winreg.h"
#include "winsvc.h"
