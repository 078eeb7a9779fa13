// controller/process_watch_stop.h: the scaling loop's own way to stop the process creation watcher.
//
// It works on interface slots that mirror the engine's WMI objects. No part of the system fills them, so in effect the
// operation only logs; delivery is stopped by the engine's tear-down.
#pragma once

#include <cstdint>

struct IUnknown;
struct IWbemObjectSink;
struct IWbemServices;

namespace kelvane {

// Null for the life of the process. A to E are named by storage order.
struct ProcessWatchSlots {
    IWbemServices* services;
    IWbemObjectSink* stubSink;
    IUnknown* A;
    IUnknown* B;
    IUnknown* C;
    IUnknown* D;
    IUnknown* E;
};

extern ProcessWatchSlots g_processWatchSlots;
extern long g_processWatchCancelResult;  // HRESULT of the last CancelAsyncCall made here

// Called by the scaling loop's thread on its first Active Idle entry, with 0. Takes g_loopStopLock.
void stopProcessWatch(std::uint8_t serviceStopping);

}  // namespace kelvane
