// simulator/simulated_core.h: a framework core whose answers are scripted.
//
// It fills in an interface record like the real core, keeps which events are registered, and writes a trace row for
// every operation that reaches it. One core per process. Every function here, and every slot of the interface, may be
// called from any thread; nothing is locked while an event's callback or `onPrimitive` runs.
#pragma once

#include "framework/orq_interface.h"
#include "simulator/scenario.h"
#include "simulator/trace.h"

#include <cstdint>
#include <functional>

namespace kelvane::simulator {

// From now on the core answers with all-zero readings and success, and writes to `trace` with the time that `nowMs`
// gives, one row at a time. `onPrimitive` is called after each primitive's row. All must outlive the core's use.
void startCore(Trace& trace, std::function<std::uint64_t()> nowMs, std::function<void()> onPrimitive);

void setReading(const Reading& reading);

void setAnswer(const Answer& answer);

// Calls the registered callback, if the event's type is registered at this moment. One thread at a time.
void deliverEvent(const FrameworkEvent& event);

// The core library's export.
int getSimulatedInterface(OrqInterface* record);

}  // namespace kelvane::simulator
