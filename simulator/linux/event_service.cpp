// The event log's functions have no import slots: programs that care put definitions of their own in place of these.
#include <winevt.h>

extern "C" {
[[gnu::weak]] EVT_HANDLE EvtSubscribe(EVT_HANDLE, HANDLE, LPCWSTR, LPCWSTR, EVT_HANDLE, PVOID, EVT_SUBSCRIBE_CALLBACK,
                                      DWORD)
{
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return nullptr;
}

[[gnu::weak]] BOOL EvtRender(EVT_HANDLE, EVT_HANDLE, DWORD, DWORD, PVOID, PDWORD, PDWORD)
{
    SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return FALSE;
}
}
