// States and threads of the service.
//
//   dispatcher thread: runService -> ... -> serviceControlHandler (sets the stop event)
//   service thread:    ServiceMain -> starts the worker, waits for it, reports STOPPED
//   worker thread:     watcher of the control value (detached), capability check, poll: gate -> engine (detached)
//
// Nobody waits for the detached threads: they end with the process.
#include "service/service_host.h"

#include "diagnostics/event_log.h"
#include "engine/engine.h"
#include "service/capability_check.h"
#include "service/control_registry_watcher.h"
#include "state/state.h"
#include "version.h"

#include <cstdio>
#include <thread>

namespace kelvane {

std::atomic<bool> g_serviceRunning = true;
std::atomic<int> g_engineGate = 1;
std::atomic<HANDLE> g_stopEvent = nullptr;

namespace {

constexpr DWORD startDelayMs = 2000;
constexpr DWORD pollMs = 3000;
constexpr int engineArgument = 3;
// Power events are accepted although the plain handler never sees them.
constexpr DWORD controlsWhileRunning = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_POWEREVENT;

SERVICE_STATUS g_serviceStatus;
SERVICE_STATUS_HANDLE g_serviceStatusHandle;

// The handler's thread reads the state that the service's thread wrote.
std::atomic_ref<DWORD> currentState() { return std::atomic_ref(g_serviceStatus.dwCurrentState); }

// A non-zero check point on STOPPED is what this service has always reported.
bool reportStatus(DWORD state, DWORD controls, DWORD exitCode, DWORD checkPoint)
{
    currentState() = state;
    g_serviceStatus.dwControlsAccepted = controls;
    g_serviceStatus.dwWin32ExitCode = exitCode;
    g_serviceStatus.dwCheckPoint = checkPoint;
    return SetServiceStatus(g_serviceStatusHandle, &g_serviceStatus) != FALSE;
}

bool stopSignalled() { return WaitForSingleObject(g_stopEvent, 0) == WAIT_OBJECT_0; }

// Whether an engine already runs is not looked at: a second one is turned away by the engine itself.
void startEngineWhenWanted()
{
    if (g_engineGate == 1) return;
    Sleep(startDelayMs);
    g_engineGate = 1;
    std::thread(runEngine, engineArgument).detach();
}

void runWorkerToItsEnd()
{
    HANDLE worker = CreateThread(nullptr, 0, serviceWorker, nullptr, 0, nullptr);
    WaitForSingleObject(worker, INFINITE);
    CloseHandle(g_stopEvent);
    if (!reportStatus(SERVICE_STOPPED, 0, NO_ERROR, 3)) {
        reportServiceEvent(L"ServiceMain: Unable to STOP the service");
    }
    if (worker) CloseHandle(worker);
}

// The line for somebody who starts the program by hand. Other refusals concern the service manager alone.
void tellHowToStart(DWORD error)
{
    if (error != ERROR_FAILED_SERVICE_CONTROLLER_CONNECT) return;
    std::fprintf(stderr,
                 "kelvane.exe is the Windows service \"%ls\": install it by kelvane-%s-x64.msi and start it by "
                 "net start \"%ls\".\n",
                 serviceName, KELVANE_VERSION, serviceName);
}

}  // namespace

int runService()
{
    const SERVICE_TABLE_ENTRYW table[] = { { const_cast<LPWSTR>(serviceName), ServiceMain }, { nullptr, nullptr } };
    if (StartServiceCtrlDispatcherW(table)) return 0;
    const DWORD error = GetLastError();
    reportServiceEvent(L"Kelvane: Main: StartServiceCtrlDispatcher returned error");
    tellHowToStart(error);
    return static_cast<int>(error);
}

void WINAPI ServiceMain(DWORD /*argc*/, LPWSTR* /*argv*/)
{
    g_serviceStatusHandle = RegisterServiceCtrlHandlerW(serviceName, serviceControlHandler);
    if (!g_serviceStatusHandle) return;
    g_serviceStatus = {};
    g_serviceStatus.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    if (!reportStatus(SERVICE_START_PENDING, 0, NO_ERROR, 0)) {
        reportServiceEvent(L"ServiceMain: Unable to start the service after registering with SCM");
    }
    g_stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!g_stopEvent) {
        // Deliberate: the message belongs to a failed report, not to the failed event.
        if (!reportStatus(SERVICE_STOPPED, 0, GetLastError(), 1)) {
            reportServiceEvent(L"ServiceMain: Unable to create a STOP event for service");
        }
        return;
    }
    if (!reportStatus(SERVICE_RUNNING, controlsWhileRunning, NO_ERROR, 0)) {
        reportServiceEvent(L"ServiceMain: unable to set the service status");
    }
    runWorkerToItsEnd();
}

void WINAPI serviceControlHandler(DWORD control)
{
    if (control != SERVICE_CONTROL_STOP || currentState() != SERVICE_RUNNING) return;
    g_serviceRunning = false;
    requestEngineStop(true);
    if (!reportStatus(SERVICE_STOP_PENDING, 0, NO_ERROR, 4)) {
        reportServiceEvent(L"Unable to set service status to STOP");
    }
    if (!SetEvent(g_stopEvent)) reportServiceEvent(L"Unable to set service status to STOP");
}

DWORD WINAPI serviceWorker(LPVOID /*unused*/)
{
    std::thread(registryNotify).detach();
    capabilityCheck();
    while (!stopSignalled()) {
        startEngineWhenWanted();
        Sleep(pollMs);
    }
    return 0;
}

}  // namespace kelvane
