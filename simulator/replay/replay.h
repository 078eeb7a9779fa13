// simulator/replay/replay.h: runs the service's scaling loop against a scenario in virtual time.
#pragma once

#include "simulator/formats/scenario.h"

#include <functional>
#include <ostream>

namespace kelvane::simulator {

enum class ReplayEnd {
    loopEnded,
    clockStoodStill,  // primitivesWithoutSleepMax primitives ran in a row without a Sleep
};

constexpr int primitivesWithoutSleepMax = 100000;

// Who has the processor in hand: the service's loop, or another that Sleeps and ends when the engine is asked to stop.
struct Controller {
    std::uint32_t (*run)();
    bool watchesProcesses;  // process starts are told to the process watcher
    std::function<void(const ProcessorModel&)>
        onTick;  // sees each tick of a processor that is given work; may be empty
};

// Runs the controller on this thread until it ends, and writes the trace to `out`. Once per process, since the
// controller's state is the process's.
ReplayEnd replay(const Scenario& scenario, std::ostream& out, const Controller& controller);

// The same with the service's scaling loop.
ReplayEnd replay(const Scenario& scenario, std::ostream& out);

}  // namespace kelvane::simulator
