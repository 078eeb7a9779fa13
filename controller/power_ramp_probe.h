// controller/power_ramp_probe.h: measures one control step.
#pragma once

#include <cstdint>

namespace kelvane {

// Samples clip reasons and power ten times (twice in Active Idle), `sleepMs` apart, and leaves the average power in
// pkgPower. `lineStatus` is as acMode has it, `prefMax` the ceiling to come back to. Inside the sampling it lets go at
// once: full performance on a clip, more performance when power climbs fast above what `prefMax` was set for. Returns
// the number of clipped samples, or -1, with pkgPower unchanged, when the clip reasons could not be read. Called by the
// scaling loop; takes samples x sleepMs.
int powerRampProbe(std::uint32_t lineStatus, int prefMax, std::uint32_t PL1Mw, std::uint32_t sleepMs);

}  // namespace kelvane
