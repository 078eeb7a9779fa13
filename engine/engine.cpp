// Start-up, the loop's thread, tear-down.
//
//   log -> guard -> COM, security -> WMI connection -> process-creation query -> event subscription -> loop
//
// A start-up that fails releases what it has and leaves g_engineStarted set: later runs of this process are turned
// away. The engine keeps its own reference to the sink after a run, so that the sink outlives every late notification.
#include "engine/engine.h"

#include "controller/com_release.h"
#include "controller/scaling_loop.h"
#include "diagnostics/ansi_text.h"
#include "diagnostics/diagnostic_log.h"
#include "engine/event_sink.h"
#include "engine/standby_watcher.h"
#include "engine/state.h"
#include "framework/events.h"
#include "framework/session.h"
#include "state/names.h"
#include "state/state.h"

#include <comdef.h>
#include <wbemidl.h>

#include <new>
#include <thread>

namespace kelvane {

namespace {

constexpr int endedWell = 0;
constexpr int endedEarly = 1;

struct Engine {
    IWbemLocator* locator = nullptr;
    IWbemServices* services = nullptr;
    IUnsecuredApartment* unsecuredApartment = nullptr;
    EventSink* sink = nullptr;
    IUnknown* stubUnknown = nullptr;
    IWbemObjectSink* stubSink = nullptr;
};

// Releases in the order given, skipping what was never made, and leaves COM. Deliberate: what a step does not name, it
// keeps (one without a sink keeps the apartment), since the process makes no other start.
template<class... Interfaces>
bool giveUp(Interfaces*... objects)
{
    (release(objects), ...);
    CoUninitialize();
    return false;
}

bool openCom()
{
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {
        logLine(logError, "Failed to initialize COM library. Error code = 0x");
        return false;
    }
    if (FAILED(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                    RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr))) {
        logLine(logError, "Failed to initialize security. Error code = 0x");
        return giveUp();
    }
    return true;
}

bool connectToWmi(Engine& engine)
{
    const HRESULT created = CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                                             reinterpret_cast<void**>(&engine.locator));
    if (FAILED(created)) {
        logLine(logError, "Failed to create IWbemLocator object.", "Err code = 0x");
        return giveUp();
    }
    if (!engine.locator) {
        logLine(logError, "ConnectServer is failed pLoc with NULL");
        return giveUp();
    }
    const HRESULT connected = engine.locator->ConnectServer(_bstr_t(L"ROOT\\CIMV2"), nullptr, nullptr, nullptr, 0,
                                                            nullptr, nullptr, &engine.services);
    g_wmiConnected = 1;
    if (FAILED(connected)) {
        logLine(logError, "Could not connect. Error code = 0x");
        return giveUp(engine.locator);
    }
    logLine(logInfo, "Connected to ROOT\\CIMV2 WMI namespace");
    if (!engine.services) {
        logLine(logError, "CoSetProxyBlanket psvc with NULL");
        return giveUp(engine.locator);
    }
    if (FAILED(CoSetProxyBlanket(engine.services, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                                 RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE))) {
        logLine(logError, "Could not set proxy blanket. Error code = 0x");
        return giveUp(engine.services, engine.locator);
    }
    return true;
}

bool makeSink(Engine& engine)
{
    CoCreateInstance(CLSID_UnsecuredApartment, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnsecuredApartment,
                     reinterpret_cast<void**>(&engine.unsecuredApartment));
    engine.sink = new (std::nothrow) EventSink;
    if (!engine.sink || !engine.unsecuredApartment) {
        logLine(logError, "CreateObjectStub psink or pStubUnk with NULL");
        return giveUp(engine.services, engine.locator, engine.sink);
    }
    engine.sink->AddRef();
    engine.unsecuredApartment->CreateObjectStub(engine.sink, &engine.stubUnknown);
    if (!engine.stubUnknown) {
        logLine(logError, "CreateObjectStub psink with NULL");
        return giveUp(engine.services, engine.locator, engine.unsecuredApartment, engine.sink);
    }
    engine.stubUnknown->QueryInterface(IID_IWbemObjectSink, reinterpret_cast<void**>(&engine.stubSink));
    return true;
}

bool queryProcessStarts(Engine& engine)
{
    if (!engine.services) {
        logLine(logError, "ExecNotificationQueryAsync failed with NULL");
        return giveUp(engine.locator, engine.unsecuredApartment, engine.stubUnknown, engine.sink, engine.stubSink);
    }
    const HRESULT issued = engine.services->ExecNotificationQueryAsync(
        _bstr_t(L"WQL"),
        _bstr_t(L"select * from __instancecreationevent within 1 where targetinstance isa 'win32_process'"),
        WBEM_FLAG_SEND_STATUS, nullptr, engine.stubSink);
    g_wmiQueryIssued = 1;
    if (FAILED(issued)) {
        logLine(logError, "ExecNotificationQueryAsync failed", "with = 0x%X");
        return giveUp(engine.services, engine.locator, engine.unsecuredApartment, engine.stubUnknown, engine.sink,
                      engine.stubSink);
    }
    return true;
}

// Scaling works without the standby watcher, so a failure is only logged. The subscription lasts as long as the
// process: its handle is not kept.
void subscribeToStandby()
{
    if (EvtSubscribe(nullptr, nullptr, standbyChannel, standbyQuery, nullptr, nullptr, SubscriptionCallback,
                     EvtSubscribeToFutureEvents)) {
        return;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_EVT_CHANNEL_NOT_FOUND) {
        logLine(logError, "Channel was not found", [] { return toAnsi(standbyChannel); });
    } else if (error == ERROR_EVT_INVALID_QUERY) {
        logLine(logError, "The query is not valid", [] { return toAnsi(standbyQuery); });
    } else {
        logLine(logError, "EvtSubscribe failed with", error);
    }
}

bool startUp(Engine& engine)
{
    const DiagnosticLog& log = DiagnosticLog::instance();
    logLine(logDebug, "Logger file is", log.path());
    logLine(logInfo, "\n Initialized logger ");
    logLine(logDebug, "processidCapture started");
    if (!openCom() || !connectToWmi(engine) || !makeSink(engine) || !queryProcessStarts(engine)) return false;
    subscribeToStandby();
    return true;
}

void runLoop()
{
    std::thread loop([] {
        try {
            scalingLoop();
        } catch (...) {
            // Out of memory ends scaling, not the service.
        }
    });
    loop.join();
}

// The sink is left out: the engine keeps its reference.
void releaseWmi(Engine& engine)
{
    release(engine.services);
    release(engine.locator);
    release(engine.unsecuredApartment);
    release(engine.stubUnknown);
    release(engine.stubSink);
    CoUninitialize();
    engine.stubSink = nullptr;
    engine.services = nullptr;
}

void tearDownFully(Engine& engine)
{
    const SessionHandle session = g_sessionHandle;
    if (session != noSession) {
        UnregisterEvents(session);
        SessionDisconnect(session);
        SessionDestroy(session);
    }
    if (engine.stubSink && engine.services && g_wmiConnected == 1) {
        if (g_wmiQueryIssued == 1) engine.services->CancelAsyncCall(engine.stubSink);
        releaseWmi(engine);
    }
    logLine(logDebug, "KV Windows Service is stopped");
}

// The one way after which the engine can be run again.
void tearDownForScaling(Engine& engine)
{
    engine.services->CancelAsyncCall(engine.stubSink);
    releaseWmi(engine);
    logLine(logDebug, "Kiostot registry: Stop KV completed");
    g_engineStarted = 0;
}

// Fully, for the service's end; for scaling alone; or not at all, when a second start came meanwhile: this run then
// stays the last one, with WMI as it is.
int tearDown(Engine& engine)
{
    if (g_serviceStopping == 1) tearDownFully(engine);
    if (!engine.services || !engine.stubSink) return endedEarly;  // released just now, or no sink to cancel
    if (g_startReentered == 1 || g_wmiConnected != 1) return endedWell;
    if (g_wmiQueryIssued != 1) return endedEarly;
    tearDownForScaling(engine);
    return endedWell;
}

int runOnce()
{
    DiagnosticLog::instance().open();
    DiagnosticLog::instance().configure(0, "info");
    if (g_engineStarted.exchange(1) == 1) {
        g_startReentered = 1;
        return endedWell;
    }
    g_engineState = engineRunning;
    Engine engine;
    if (!startUp(engine)) return endedEarly;
    runLoop();
    return tearDown(engine);
}

}  // namespace

int runEngine(int /*unused*/)
{
    try {
        return runOnce();
    } catch (const std::exception&) {
        logLine(logError, "Start function Exception occurre ");
    } catch (...) {
        logLine(logError, "Catch...start function Exception occurre ");
    }
    return endedEarly;
}

}  // namespace kelvane
