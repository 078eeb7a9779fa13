// simulator/platform/simulated_core.h: a framework core whose answers are scripted.
//
// It fills in an interface record like the real core, keeps which events are registered, and writes a trace row for
// every operation that reaches it. Power and clip reasons are scripted, or a processor model's. One core per process.
// Every function here, and every slot of the interface, may be called from any thread; nothing is locked while an
// event's callback, `onPrimitive` or the watcher of calls runs.
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
    std::string_view operation;                // "INIT", "SESSION_CREATE", "REGISTER_EVENT", "GET_RAPL_POWER", ...
    std::optional<std::uint32_t> eventType{};  // of the two event operations
    const ApplicationRecord* application = nullptr;  // of SESSION_CREATE
    // Of primitives, whose last two may be null.
    const OrqData* command = nullptr;
    const OrqData* request = nullptr;
    const OrqData* response = nullptr;
};

// From now on `onCall` is called before the core answers, and a status that it returns is the answer; an empty one ends
// that. To be set while nobody calls the core.
void watchCalls(std::function<std::optional<int>(const CoreCall& call)> onCall);

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
