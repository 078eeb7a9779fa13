// controller/actuators.h: writes the processor's limits.
//
// Every limit that the controller changes is changed here. Preference is 0..10000, power in mW. setPerfmax is called by
// the scaling loop and by the process watcher's thread, the rest by the loop alone. Failures are logged, never retried:
// the controller's own copies take every value as written.
#pragma once

namespace kelvane {

// Writes `value` as the ceiling when it differs from the one in force, and remembers it in appliedPrefMax. Above 10000
// it is 10000, below 0 it is 2000. The floor 0 is written as well when minPrefReset asks for it, as it does at process
// start.
void setPerfmax(int value);

// Writes PL1. The log shows cpuPL1, the limit that the controller works with, which this does not change.
void setPL1(unsigned milliwatts);

// Hands the processor back: floor 0, ceiling 10000, PL1 as it was. Does nothing without a session. It bypasses
// setPerfmax, so appliedPrefMax keeps its value.
void resetPL1Level();

}  // namespace kelvane
