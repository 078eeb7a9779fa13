// service/service_host.h: the service's life between the service control manager and the engine.
#pragma once

#include <windows.h>

#include <atomic>

namespace kelvane {

extern std::atomic<bool> g_serviceRunning;  // false once the service was asked to stop
extern std::atomic<int> g_engineGate;       // 0: the engine is to be started; the worker sets it back to 1
extern std::atomic<HANDLE> g_stopEvent;     // set by the control handler, polled by the worker

// Hands the process to the service control manager and returns its exit code when the service has ended.
// Refused because nobody but a person started it, it tells on standard error how to go about it.
int runService();

// The service's own thread: reports its states, starts the worker and waits for it.
void WINAPI ServiceMain(DWORD argc, LPWSTR* argv);

// Acts on STOP while the service runs; ignores everything else. Called on the dispatcher's thread.
void WINAPI serviceControlHandler(DWORD control);

// The worker: starts the control registry watcher, checks the capability, then starts the engine whenever the gate
// opens. Ends within one poll of three seconds after the stop event was set.
DWORD WINAPI serviceWorker(LPVOID unused);

}  // namespace kelvane
