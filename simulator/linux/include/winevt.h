// simulator/linux/include/winevt.h: subscriptions to the event log. Whoever links code that subscribes defines both.
#pragma once

#include <windows.h>

using EVT_HANDLE = HANDLE;

enum EVT_SUBSCRIBE_NOTIFY_ACTION : int { EvtSubscribeActionError, EvtSubscribeActionDeliver };

using EVT_SUBSCRIBE_CALLBACK = DWORD (*)(EVT_SUBSCRIBE_NOTIFY_ACTION action, PVOID context, EVT_HANDLE event);

constexpr DWORD EvtSubscribeToFutureEvents = 1;
constexpr DWORD EvtRenderEventXml = 1;

extern "C" {
EVT_HANDLE EvtSubscribe(EVT_HANDLE session, HANDLE signalEvent, LPCWSTR channel, LPCWSTR query, EVT_HANDLE bookmark,
                        PVOID context, EVT_SUBSCRIBE_CALLBACK callback, DWORD flags);
BOOL EvtRender(EVT_HANDLE context, EVT_HANDLE fragment, DWORD flags, DWORD bufferSize, PVOID buffer, PDWORD bufferUsed,
               PDWORD propertyCount);
}
