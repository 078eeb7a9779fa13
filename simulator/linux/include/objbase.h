// simulator/linux/include/objbase.h: COM's own calls.
#pragma once

#include <unknwn.h>

enum : DWORD { CLSCTX_INPROC_SERVER = 1, CLSCTX_LOCAL_SERVER = 4 };

enum : DWORD { COINIT_MULTITHREADED = 0 };

enum : DWORD { EOAC_NONE = 0 };

enum : DWORD { RPC_C_AUTHN_LEVEL_DEFAULT = 0, RPC_C_AUTHN_LEVEL_CALL = 3 };

enum : DWORD { RPC_C_IMP_LEVEL_IMPERSONATE = 3 };

enum : DWORD { RPC_C_AUTHN_WINNT = 10, RPC_C_AUTHZ_NONE = 0 };

struct SOLE_AUTHENTICATION_SERVICE;
using PSECURITY_DESCRIPTOR = void*;
using RPC_AUTH_IDENTITY_HANDLE = void*;

WINDOWS_IMPORT(HRESULT, CoInitializeEx, (LPVOID reserved, DWORD model), (reserved, model))
WINDOWS_IMPORT(HRESULT, CoInitializeSecurity,
               (PSECURITY_DESCRIPTOR descriptor, LONG serviceCount, SOLE_AUTHENTICATION_SERVICE* services,
                void* reserved1, DWORD authentication, DWORD impersonation, void* list, DWORD capabilities,
                void* reserved2),
               (descriptor, serviceCount, services, reserved1, authentication, impersonation, list, capabilities,
                reserved2))
WINDOWS_IMPORT(HRESULT, CoCreateInstance,
               (REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object),
               (classId, outer, context, interfaceId, object))
WINDOWS_IMPORT(HRESULT, CoSetProxyBlanket,
               (IUnknown * proxy, DWORD authentication, DWORD authorization, wchar_t* principal, DWORD level,
                DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE identity, DWORD capabilities),
               (proxy, authentication, authorization, principal, level, impersonation, identity, capabilities))
WINDOWS_IMPORT(void, CoUninitialize, (), ())
LPVOID CoTaskMemAlloc(SIZE_T bytes);
WINDOWS_IMPORT(void, CoTaskMemFree, (LPVOID memory), (memory))
