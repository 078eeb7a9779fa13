// simulator/platform/simulated_core.h: a framework core whose answers are scripted.
//
// It fills in an interface record like the real core, keeps which events are registered, and writes a trace row for
// every operation that reaches it. Power and clip reasons are scripted, or a processor model's. One core per process.
// Every function here, and every slot of the interface, may be called from any thread; nothing is locked while an
// event's callback, the hook or `onPrimitive` runs.
#pragma once

#include "framework/orq_interface.h"
#include "simulator/formats/scenario.h"
#include "simulator/formats/trace.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace kelvane::simulator {

// From now on the core answers with all-zero readings and success, and writes to `trace` with the time that `nowMs`
// gives, one row at a time. `onPrimitive`, if there is one, is called after each primitive's row. All must outlive the
// core's use.
void startCore(Trace& trace, std::function<std::uint64_t()> nowMs, std::function<void()> onPrimitive = {});

// A call that has reached the core.
struct CoreCall {
    // As a scenario names it: "INIT", "GET_RAPL_POWER", "REGISTER_EVENT/183"; and "UNREGISTER_EVENT/183".
    std::string_view operation;
    const ApplicationRecord* application = nullptr;  // of a SESSION_CREATE
    const OrqData* command = nullptr;                // of a primitive, and the two below
    const OrqData* request = nullptr;
    const OrqData* response = nullptr;
};

// Sees a call before the core does, on the caller's thread. A status is the core's answer; none: as scripted.
using CoreHook = std::function<std::optional<int>(const CoreCall& call)>;

// For all calls from now on, also behind another startCore; an empty hook takes it away.
void setCoreHook(CoreHook hook);

// From now on a processor that is given jobs answers for power and clip reasons, and takes the ceiling and PL1. Its
// clock is `nowMs`. `onTick` is called after each of its ticks, under the core's lock.
void useProcessor(const ProcessorSpec& spec, std::function<void(const ProcessorModel&)> onTick = {});

// All three only with a processor. A job arrives at the core's present time.
void addJob(const Job& job);
// For the thread that moves a virtual clock, which nothing else runs beside.
const ProcessorModel& processorAtWork();
// Lets the ticks that have passed happen, and writes a set of rows every 100 ms.
void advanceProcessor();

void setReading(const Reading& reading);

void setAnswer(const Answer& answer);

// Calls the registered callback, if the event's type is registered at this moment. One thread at a time.
void deliverEvent(const FrameworkEvent& event);

// The core library's export.
int getSimulatedInterface(OrqInterface* record);

}  // namespace kelvane::simulator
