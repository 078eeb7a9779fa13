// engine/state.h: the engine's flags, and what its watchers tell the controller.
//
// Every variable may be read and written by any thread; a change is seen at the next read. Grouped by writer.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kelvane {

// --- written by requestEngineStop, the engine's start-up and tear-down, and the end of the scaling loop -----------------
constexpr int engineRunning = 3;
extern std::atomic<int> g_engineState;               // engineRunning: the loop may run; 0: a stop was asked for
extern std::atomic<std::uint8_t> g_serviceStopping;  // 1: the loop ends after its step, for the service is stopping
extern std::atomic<std::uint8_t> g_engineStarted;    // 1 from start-up until a scaling-only tear-down is complete
extern std::atomic<std::uint8_t> g_startReentered;   // 1 once a start came while g_engineStarted was 1; never cleared
extern std::atomic<std::uint8_t> g_wmiConnected;     // 1 once a connection to WMI was tried
extern std::atomic<std::uint8_t> g_wmiQueryIssued;   // 1 once the process-creation query was tried

// --- written by the process creation watcher, reset by the scaling loop --------------------------------------------------
constexpr std::size_t trackedProcessCapacity = 10;  // ids past that are not stored, and the count stops there
extern std::atomic<int> g_trackedProcessSeen;       // 1: a tracked process started
extern std::array<std::atomic<int>, trackedProcessCapacity> g_trackedProcessIds;
extern std::atomic<int> g_trackedProcessIdCount;

// The name of the process that started last, in the ANSI code page; empty when none did since the loop last looked.
void setProcessName(const std::string& name);
std::string processName();
void clearProcessName();

// --- written by the standby watcher --------------------------------------------------------------------------------------
extern std::atomic<std::uint8_t>
    g_reportPerfFailures;  // 1: a failed preference write or clip read counts; 0 since standby
extern std::atomic<std::uint8_t> g_loopStopEnabled;  // must be non-zero for the loop to take its stop path

// The one way to ask the engine to stop: for the service's end (true), or scaling alone (false). Returns 0 at once;
// nobody waits here.
int requestEngineStop(bool serviceStopping);

}  // namespace kelvane
