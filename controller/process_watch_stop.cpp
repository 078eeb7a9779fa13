// Cancels the notification query and releases the mirrored WMI objects in their fixed order, if there are any.
#include "controller/process_watch_stop.h"

#include "controller/com_release.h"
#include "controller/state.h"
#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

#include <windows.h>

#include <wbemcli.h>

namespace kelvane {

ProcessWatchSlots g_processWatchSlots = {};
long g_processWatchCancelResult = 0;

namespace {

void releaseSlots(ProcessWatchSlots& slots)
{
    release(slots.A);
    release(slots.C);
    release(slots.D);
    release(slots.E);
    release(slots.stubSink);
    release(slots.B);
    CoUninitialize();
    release(slots.services);
    slots.stubSink = nullptr;
    slots.services = nullptr;
}

}  // namespace

void stopProcessWatch(std::uint8_t serviceStopping)
{
    logLine(logDebug, "processid Stop Service is Called");
    const std::lock_guard stopLock(g_loopStopLock());
    ProcessWatchSlots& slots = g_processWatchSlots;
    if (slots.stubSink && slots.services && g_wmiConnected == 1) {
        if (g_wmiQueryIssued == 1) g_processWatchCancelResult = slots.services->CancelAsyncCall(slots.stubSink);
        g_serviceStopping = serviceStopping;
        releaseSlots(slots);
        g_wmiConnected = 0;
        g_wmiQueryIssued = 0;
    } else {
        logLine(logInfo, "CancelAsyncCall call skipped with NULL pointer check =");
    }
}

}  // namespace kelvane
