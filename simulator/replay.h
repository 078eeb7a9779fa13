// simulator/replay.h: runs the service's scaling loop against a scenario in virtual time.
#pragma once

#include "simulator/scenario.h"

#include <ostream>

namespace kelvane::simulator {

enum class ReplayEnd {
    loopEnded,
    clockStoodStill,  // primitivesWithoutSleepMax primitives ran in a row without a Sleep
};

constexpr int primitivesWithoutSleepMax = 100000;

// Runs the loop on this thread until it ends, and writes the trace to `out`. Once per process, since the controller's
// state is the process's.
ReplayEnd replay(const Scenario& scenario, std::ostream& out);

}  // namespace kelvane::simulator
