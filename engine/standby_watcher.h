// engine/standby_watcher.h: entry into and exit from modern standby, as the System event log records them.
//
// Entry (EventID 506) stops scaling and leaves the service running; exit (507) is only counted. Both functions run on a
// thread of the event log's, once per event and subscription.
#pragma once

#include <windows.h>

#include <winevt.h>

#include <atomic>

namespace kelvane {

extern std::atomic<int> g_standbyExitCount;  // exits seen while no session was open; nobody reads it

// The subscription's callback. Returns 0, or the status of a rendering that failed.
DWORD WINAPI SubscriptionCallback(EVT_SUBSCRIBE_NOTIFY_ACTION action, PVOID userContext, EVT_HANDLE event);

// Renders the event and acts on it. Returns 14 (ERROR_OUTOFMEMORY) when the thread's last error is set at the end,
// whatever set it, else 0.
DWORD renderStandbyEvent(EVT_HANDLE event);

}  // namespace kelvane
