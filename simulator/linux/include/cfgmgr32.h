// simulator/linux/include/cfgmgr32.h: devices.
#pragma once

#include <windows.h>

using CONFIGRET = DWORD;
using DEVINST = DWORD;
using PDEVINST = DEVINST*;
using DEVINSTID_A = char*;
using REGDISPOSITION = DWORD;

constexpr CONFIGRET CR_SUCCESS = 0;
constexpr CONFIGRET CR_NO_SUCH_DEVNODE = 13;
constexpr CONFIGRET CR_FAILURE = 19;
constexpr ULONG CM_GET_DEVICE_INTERFACE_LIST_PRESENT = 0;
constexpr ULONG CM_LOCATE_DEVNODE_NORMAL = 0;
constexpr ULONG CM_REGISTRY_HARDWARE = 0;
constexpr REGDISPOSITION RegDisposition_OpenExisting = 1;

WINDOWS_IMPORT(CONFIGRET, CM_Get_Device_ID_List_SizeA, (PULONG size, PCSTR filter, ULONG flags), (size, filter, flags))
WINDOWS_IMPORT(CONFIGRET, CM_Get_Device_ID_ListA, (PCSTR filter, PCHAR buffer, ULONG size, ULONG flags),
               (filter, buffer, size, flags))
WINDOWS_IMPORT(CONFIGRET, CM_Get_Device_Interface_List_SizeA,
               (PULONG size, LPGUID interfaceClass, DEVINSTID_A device, ULONG flags),
               (size, interfaceClass, device, flags))
WINDOWS_IMPORT(CONFIGRET, CM_Locate_DevNodeA, (PDEVINST device, DEVINSTID_A id, ULONG flags), (device, id, flags))
WINDOWS_IMPORT(CONFIGRET, CM_Open_DevNode_Key,
               (DEVINST device, REGSAM access, ULONG profile, REGDISPOSITION disposition, PHKEY key, ULONG flags),
               (device, access, profile, disposition, key, flags))
