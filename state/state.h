// state/state.h: every variable that two folders of the product touch, by the thread that writes it.
//
// Power is in mW, preference on 0..10000 (10000: unrestricted). Variables keep their values when scaling stops and
// starts again; nothing resets them but the code that names them. All are atomic and used plainly: a change is seen at
// the next read. Log lines use these names.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace kelvane {

constexpr int engineRunning = 3;  // a value of g_engineState

// --- written by requestEngineStop, the engine's start-up and tear-down, and the end of the scaling loop --------------
// engineRunning: the loop may run; 0: a stop was asked for.
inline constinit std::atomic<int> g_engineState = engineRunning;
// 1: the loop ends after its step, for the service is stopping. A process start while the engine is not running clears
// it.
inline constinit std::atomic<std::uint8_t> g_serviceStopping = 0;
inline constinit std::atomic<std::uint8_t> g_wmiConnected = 0;    // 1 once a connection to WMI was tried
inline constinit std::atomic<std::uint8_t> g_wmiQueryIssued = 0;  // 1 once the process-creation query was tried

// --- written by the scaling loop, and by the process watcher's thread through setPerfmax -----------------------------
// Preference ceiling last written, whether or not the write succeeded.
inline constinit std::atomic<int> appliedPrefMax = 0;
inline constinit std::atomic<int> PrevPerf = 0;     // appliedPrefMax saved when full performance replaces less
inline constinit std::atomic<int> clipPending = 0;  // cleared by every branch and by setPerfmax
inline constinit std::atomic<int> g_orqStatus = 0;  // latest framework status

// --- written by the scaling loop, read by other threads --------------------------------------------------------------
inline constinit std::atomic<std::uint64_t> g_sessionHandle = ~std::uint64_t{ 0 };  // all ones: there is none
inline constinit std::atomic<std::uint8_t> g_sessionOpen = 1;  // 1 at process start; 0 at loop start, 1 after a connect
inline constinit std::atomic<std::uint8_t> g_stopDone = 1;     // 0 while the loop's stop path runs
inline constinit std::atomic<int> prevWorkload = -1;           // class that the tracker last reset for; -1: none

// --- written by the framework's event thread, read and consumed by the loop ------------------------------------------
inline constinit std::atomic<int> g_workload = 0;              // workload class
inline constinit std::atomic<int> g_powerSlider = 0;           // slider position
inline constinit std::atomic<int> g_powerSliderChanged = 0;    // 1: consumed by the workload read
inline constinit std::atomic<int> g_workloadEventSeen = 0;     // 1: consumed by the ceiling phase
inline constinit std::atomic<int> g_workloadEventPending = 0;  // 1: consumed by the tracker
inline constinit std::atomic<int> g_workloadEventHold = 0;     // steps until the tracker resets for the new class
inline constinit std::atomic<int> PwrPause = 0;                // 1: consumed by the Down branch

// --- written by the process watcher, consumed by the loop ------------------------------------------------------------
inline constinit std::atomic<int> PID_Change = 0;               // 1: a process started since the loop last looked
inline constinit std::atomic<int> noOfPids = 0;                 // started processes that are in no list
inline constinit std::atomic<int> g_trackedProcessSeen = 0;     // 1: a tracked process started
inline constinit std::atomic<int> g_trackedProcessIdCount = 0;  // of g_trackedProcessIds

// The name of the process that started last, in the ANSI code page; empty when none did since the loop last looked.
// Nothing is called under its lock.
void setProcessName(const std::string& name);
std::string processName();
void clearProcessName();

// --- written by the standby watcher ----------------------------------------------------------------------------------
// 1: a failed preference write or clip read counts; 0 since standby.
inline constinit std::atomic<std::uint8_t> g_reportPerfFailures = 1;
inline constinit std::atomic<std::uint8_t> g_loopStopEnabled =
    1;  // must be non-zero for the loop to take its stop path

// The one way to ask the engine to stop: for the service's end (true), or scaling alone (false). Returns 0 at once;
// nobody waits here. Any thread.
int requestEngineStop(bool serviceStopping);

}  // namespace kelvane
