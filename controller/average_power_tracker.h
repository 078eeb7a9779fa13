// controller/average_power_tracker.h: the smoothed average power, and the countdowns that hang on it.
#pragma once

#include <cstdint>

namespace kelvane {

// Takes the step's pkgPower into NewPIDAvgPwr while power is steady, starts the average afresh when it is not or when
// clipping just ended (`clipCleared`), counts exitCount down while full performance is to be taken back
// (`restorePending`), and starts afresh some steps after the workload class changed. Does nothing outside 51 mW..cpuPL1
// or when a process just started. Called by the scaling loop after the probe.
void averagePowerTracker(std::uint32_t acMode, int cpuPL1, int restorePending, bool clipCleared);

}  // namespace kelvane
