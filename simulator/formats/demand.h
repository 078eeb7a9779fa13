// simulator/formats/demand.h: what follows from a scenario that gives work instead of power.
#pragma once

#include "simulator/formats/scenario.h"

namespace kelvane::simulator {

// The machine that does the scenario's work: the one it names, the first preset if it names none. Null when power is
// scripted.
const ProcessorSpec* processorOf(const Scenario& scenario);

// The scenario with a process start for each launch, 0 to 999 ms later: the process watcher learns of processes by
// asking once a second, at a moment that has nothing to do with theirs. The delays come from the scenario's seed (1 if
// it has none), one for each launch in the file's order.
Scenario withProcessStarts(const Scenario& scenario);

}  // namespace kelvane::simulator
