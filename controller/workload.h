// controller/workload.h: what the workload class and the user's power slider ask for.
#pragma once

namespace kelvane {

// Sets PerfRange, the tracker's divisor limit and the rise that counts as "Up" from the workload class; when the slider
// was moved, also the mode, PL1 and, in its outer bands, PerfRange. Called by the scaling loop once per step.
void readWorkloadClassification();

}  // namespace kelvane
