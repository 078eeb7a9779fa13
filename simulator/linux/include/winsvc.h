// simulator/linux/include/winsvc.h: the service control manager and the event log that programs write to.
#pragma once

#include <windows.h>

using SERVICE_STATUS_HANDLE = struct ServiceOfWindows*;
using LPSERVICE_MAIN_FUNCTIONW = void (*)(DWORD, LPWSTR*);
using LPHANDLER_FUNCTION = void (*)(DWORD);

struct SERVICE_STATUS {
    DWORD dwServiceType;
    DWORD dwCurrentState;
    DWORD dwControlsAccepted;
    DWORD dwWin32ExitCode;
    DWORD dwServiceSpecificExitCode;
    DWORD dwCheckPoint;
    DWORD dwWaitHint;
};

using LPSERVICE_STATUS = SERVICE_STATUS*;

struct SERVICE_TABLE_ENTRYW {
    LPWSTR lpServiceName;
    LPSERVICE_MAIN_FUNCTIONW lpServiceProc;
};

constexpr DWORD SERVICE_WIN32_OWN_PROCESS = 0x10;
constexpr DWORD SERVICE_STOPPED = 1;
constexpr DWORD SERVICE_START_PENDING = 2;
constexpr DWORD SERVICE_STOP_PENDING = 3;
constexpr DWORD SERVICE_RUNNING = 4;
constexpr DWORD SERVICE_ACCEPT_STOP = 1;
constexpr DWORD SERVICE_ACCEPT_POWEREVENT = 0x40;
constexpr DWORD SERVICE_CONTROL_STOP = 1;

WINDOWS_IMPORT(BOOL, StartServiceCtrlDispatcherW, (const SERVICE_TABLE_ENTRYW* table), (table))
WINDOWS_IMPORT(SERVICE_STATUS_HANDLE, RegisterServiceCtrlHandlerW, (LPCWSTR name, LPHANDLER_FUNCTION handler),
               (name, handler))
WINDOWS_IMPORT(BOOL, SetServiceStatus, (SERVICE_STATUS_HANDLE service, LPSERVICE_STATUS status), (service, status))

using PSID = void*;
constexpr WORD EVENTLOG_ERROR_TYPE = 1;
WINDOWS_IMPORT(HANDLE, RegisterEventSourceW, (LPCWSTR server, LPCWSTR source), (server, source))
WINDOWS_IMPORT(BOOL, ReportEventW,
               (HANDLE log, WORD type, WORD category, DWORD event, PSID user, WORD stringCount, DWORD dataBytes,
                LPCWSTR* strings, LPVOID data),
               (log, type, category, event, user, stringCount, dataBytes, strings, data))
WINDOWS_IMPORT(BOOL, DeregisterEventSource, (HANDLE log), (log))
