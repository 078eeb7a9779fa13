// Renders an event as XML, looks for the two identifiers in it, and asks the engine to stop on entry into standby.
#include "engine/standby_watcher.h"

#include "diagnostics/ansi_text.h"
#include "diagnostics/diagnostic_log.h"
#include "state/state.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace kelvane {

std::atomic<int> g_standbyExitCount = 0;

namespace {

constexpr std::uint64_t noSessionHandle = ~std::uint64_t{ 0 };

// Never destroyed: the event log's threads outlive main.
std::mutex& g_standbyRenderLock = *new std::mutex;  // one event at a time
std::mutex& g_standbyStopLock = *new std::mutex;    // always taken after the render lock

void enterStandby()
{
    if (g_engineState != engineRunning || g_sessionHandle == noSessionHandle || g_stopDone == 0) return;
    logLine(logDebug, "Entering MS-506 ");
    const std::lock_guard stop(g_standbyStopLock);
    g_reportPerfFailures = 0;
    g_loopStopEnabled = 1;
    requestEngineStop(false);
}

void leaveStandby()
{
    if (g_sessionHandle == noSessionHandle && g_stopDone != 0 && g_sessionOpen != 0) g_standbyExitCount += 1;
}

void actOn(const std::string& xml)
{
    if (xml.find("<EventID>506</EventID>") != std::string::npos) {
        enterStandby();
    } else if (xml.find("<EventID>507</EventID>") != std::string::npos) {
        leaveStandby();
    }
}

// The XML in `buffer`, up to its first NUL within the `used` bytes that were rendered.
std::string rendered(const void* buffer, DWORD used)
{
    const auto* const text = static_cast<const wchar_t*>(buffer);
    const auto* const end = std::find(text, text + used / sizeof(wchar_t), L'\0');
    return toAnsi({ text, static_cast<std::size_t>(end - text) });
}

void renderAndAct(EVT_HANDLE event, DWORD used)
{
    const std::lock_guard render(g_standbyRenderLock);
    void* const buffer = std::malloc(used);
    if (!buffer) return;
    const DWORD allocated = used;
    DWORD propertyCount = 0;
    // Deliberate: a buffer that could not be filled is not freed.
    if (!EvtRender(nullptr, event, EvtRenderEventXml, used, buffer, &used, &propertyCount)) return;
    const std::string xml = rendered(buffer, std::min(used, allocated));
    std::free(buffer);
    actOn(xml);
}

}  // namespace

DWORD WINAPI SubscriptionCallback(EVT_SUBSCRIBE_NOTIFY_ACTION action, PVOID /*userContext*/, EVT_HANDLE event)
{
    try {
        if (action == EvtSubscribeActionError) {
            const auto error = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(event));
            if (error == ERROR_EVT_QUERY_RESULT_STALE) {
                logLine(logError, "The subscription callback was notified that event records are missing");
            } else {
                logLine(logError, "The subscription callback received the following Win32 error");
            }
        } else if (action == EvtSubscribeActionDeliver) {
            const DWORD status = renderStandbyEvent(event);
            if (status != ERROR_SUCCESS) {
                logLine(logError, "SubscriptionCallback is failed with out ERROR_SUCCESS ");
                return status;
            }
        } else {
            logLine(logInfo, "SubscriptionCallback: Unknown action");
        }
    } catch (...) {
        return ERROR_OUTOFMEMORY;  // the event log's thread must not see an exception
    }
    return ERROR_SUCCESS;
}

DWORD renderStandbyEvent(EVT_HANDLE event)
{
    DWORD used = 0;
    DWORD propertyCount = 0;
    if (EvtRender(nullptr, event, EvtRenderEventXml, 0, nullptr, &used, &propertyCount)) return ERROR_SUCCESS;
    if (GetLastError() == ERROR_INSUFFICIENT_BUFFER) renderAndAct(event, used);
    return GetLastError() != ERROR_SUCCESS ? ERROR_OUTOFMEMORY : ERROR_SUCCESS;
}

}  // namespace kelvane
