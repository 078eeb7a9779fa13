// framework/events.h: what the framework tells the service about.
//
// Six event types are registered with one callback, which turns each payload into variables that the controller reads:
// those of controller/state.h and the ones below. The callback may run on any thread of the framework's, at any moment,
// also overlapping itself or inside a registration; it lets no exception out.
#pragma once

#include "framework/orq_interface.h"

#include <atomic>
#include <cstdint>

namespace kelvane {

// Written by the event callback. Values outlive the session that delivered them.
extern std::atomic<std::uint32_t> g_logVerbosity;   // the framework's, not the service's; 1 at start
extern std::atomic<const void*> g_powerSchemeData;  // the last scheme's payload as received; nobody reads through it
extern std::atomic<int> g_powerScheme;              // 0 power saver, 1 balanced or unknown, 2 high performance
extern std::atomic<std::uint32_t> g_workloadRaw;    // the workload class as received
extern std::atomic<int> g_orqDisconnected;          // 1 once the framework has ended a session; nothing clears it

// Registers all events for `session`. Returns 0, or the first status that is not; then nothing stays registered. Called
// by the scaling loop once the session was connected.
int registerEvents(SessionHandle session);

// Unregisters all events, also those that never were registered. Called by the loop's stop path and the engine's
// tear-down.
void UnregisterEvents(SessionHandle session);

// The callback. `context` is not used; the result is always 0.
std::uint32_t onFrameworkEvent(std::uint64_t context, std::uint32_t eventType, const char* participant,
                               const OrqData* payload);

}  // namespace kelvane
