// simulator/linux/include/winreg.h: the registry.
#pragma once

#include <windows.h>

const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(0x80000002);

constexpr REGSAM KEY_NOTIFY = 0x10;
constexpr REGSAM KEY_READ = 0x20019;
constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;
constexpr DWORD REG_DWORD = 4;
constexpr DWORD REG_NOTIFY_CHANGE_NAME = 1;
constexpr DWORD REG_NOTIFY_CHANGE_ATTRIBUTES = 2;
constexpr DWORD REG_NOTIFY_CHANGE_LAST_SET = 4;
constexpr DWORD REG_NOTIFY_CHANGE_SECURITY = 8;
constexpr DWORD RRF_RT_REG_SZ = 2;

WINDOWS_IMPORT(LSTATUS, RegOpenKeyExW, (HKEY root, LPCWSTR subkey, DWORD options, REGSAM access, PHKEY key),
               (root, subkey, options, access, key))
WINDOWS_IMPORT(LSTATUS, RegCloseKey, (HKEY key), (key))
WINDOWS_IMPORT(LSTATUS, RegQueryValueExW,
               (HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size),
               (key, name, reserved, type, data, size))
WINDOWS_IMPORT(LSTATUS, RegSetValueExW,
               (HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size),
               (key, name, reserved, type, data, size))
WINDOWS_IMPORT(LSTATUS, RegNotifyChangeKeyValue,
               (HKEY key, BOOL subtree, DWORD filter, HANDLE event, BOOL asynchronous),
               (key, subtree, filter, event, asynchronous))
WINDOWS_IMPORT(LSTATUS, RegGetValueA,
               (HKEY key, LPCSTR subkey, LPCSTR value, DWORD flags, LPDWORD type, PVOID data, LPDWORD size),
               (key, subkey, value, flags, type, data, size))
