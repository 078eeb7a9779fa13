// simulator/platform/import_slots.h: the import slots that fakes of ours take (import_slot.h), each declared once.
#pragma once

#include <windows.h>

#include <cfgmgr32.h>
#include <comdef.h>
#include <winsvc.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#ifdef _WIN32
#include <process.h>
#endif

// The linker's own names.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {
// configuration manager
extern decltype(&CM_Get_Device_ID_ListA) __imp_CM_Get_Device_ID_ListA;
extern decltype(&CM_Get_Device_ID_List_SizeA) __imp_CM_Get_Device_ID_List_SizeA;
extern decltype(&CM_Get_Device_Interface_List_SizeA) __imp_CM_Get_Device_Interface_List_SizeA;
extern decltype(&CM_Locate_DevNodeA) __imp_CM_Locate_DevNodeA;
extern decltype(&CM_Open_DevNode_Key) __imp_CM_Open_DevNode_Key;
// COM and automation
extern decltype(&CoCreateInstance) __imp_CoCreateInstance;
extern decltype(&CoInitializeEx) __imp_CoInitializeEx;
extern decltype(&CoInitializeSecurity) __imp_CoInitializeSecurity;
extern decltype(&CoSetProxyBlanket) __imp_CoSetProxyBlanket;
extern decltype(&CoTaskMemFree) __imp_CoTaskMemFree;
extern decltype(&CoUninitialize) __imp_CoUninitialize;
extern decltype(&SysAllocString) __imp_SysAllocString;
extern decltype(&SysFreeString) __imp_SysFreeString;
extern decltype(&VariantChangeType) __imp_VariantChangeType;
// files, modules, memory
extern decltype(&CreateDirectoryW) __imp_CreateDirectoryW;
extern decltype(&DeleteFileA) __imp_DeleteFileA;
extern decltype(&FormatMessageA) __imp_FormatMessageA;
extern decltype(&FreeLibrary) __imp_FreeLibrary;
extern decltype(&GetFileAttributesA) __imp_GetFileAttributesA;
extern decltype(&GetModuleHandleExA) __imp_GetModuleHandleExA;
extern decltype(&GetProcAddress) __imp_GetProcAddress;
extern decltype(&GetSystemDirectoryA) __imp_GetSystemDirectoryA;
extern decltype(&HeapAlloc) __imp_HeapAlloc;
extern decltype(&HeapFree) __imp_HeapFree;
extern decltype(&LoadLibraryExA) __imp_LoadLibraryExA;
extern decltype(&LocalFree) __imp_LocalFree;
extern decltype(&RemoveDirectoryA) __imp_RemoveDirectoryA;
extern decltype(&VirtualProtect) __imp_VirtualProtect;
// processes, threads, time
extern decltype(&CloseHandle) __imp_CloseHandle;
extern decltype(&CreateEventW) __imp_CreateEventW;
extern decltype(&CreateThread) __imp_CreateThread;
extern decltype(&GetCurrentThreadId) __imp_GetCurrentThreadId;
extern decltype(&GetSystemPowerStatus) __imp_GetSystemPowerStatus;
extern decltype(&SetEvent) __imp_SetEvent;
extern decltype(&Sleep) __imp_Sleep;
extern decltype(&WaitForSingleObject) __imp_WaitForSingleObject;
// registry
extern decltype(&RegCloseKey) __imp_RegCloseKey;
extern decltype(&RegGetValueA) __imp_RegGetValueA;
extern decltype(&RegNotifyChangeKeyValue) __imp_RegNotifyChangeKeyValue;
extern decltype(&RegOpenKeyExW) __imp_RegOpenKeyExW;
extern decltype(&RegQueryValueExW) __imp_RegQueryValueExW;
extern decltype(&RegSetValueExW) __imp_RegSetValueExW;
// services and the event log
extern decltype(&DeregisterEventSource) __imp_DeregisterEventSource;
extern decltype(&RegisterEventSourceW) __imp_RegisterEventSourceW;
extern decltype(&RegisterServiceCtrlHandlerW) __imp_RegisterServiceCtrlHandlerW;
extern decltype(&ReportEventW) __imp_ReportEventW;
extern decltype(&SetServiceStatus) __imp_SetServiceStatus;
extern decltype(&StartServiceCtrlDispatcherW) __imp_StartServiceCtrlDispatcherW;
// C library
extern std::FILE* (*__imp_fopen)(const char*, const char*);
extern decltype(&_time64) __imp__time64;
extern decltype(&std::malloc) __imp_malloc;
extern decltype(&std::free) __imp_free;
#ifdef _WIN32
extern decltype(&_beginthreadex) __imp__beginthreadex;
#endif
}

// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
