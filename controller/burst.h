// controller/burst.h: full performance for a few steps, and how it is arranged to end.
#pragma once

#include "controller/loop_state.h"

namespace kelvane {

// Below it a burst and a reset are short.
constexpr int lightPowerMw = 5000;

// A process start with power behind it: full performance for `steps` steps. A burst that is still counting is
// prolonged by one step at the most.
void startBurst(LoopState& loop, int steps);

// Sees to it that a ceiling that went to 10000 without a process start comes down again: sets exitCount and
// restorePending by power. Each branch that can get there has its own counts and lines.
struct MaxPerfReset {
    const char* belowHalfLine;  // power below the half of cpuPL1
    BySource belowHalfCount;
    const char* belowPL1Line;
    BySource belowPL1Count;
    const char* notSetLine;
    bool notSetShowsCount;
};

extern const MaxPerfReset maxPerfResetOnClip;
extern const MaxPerfReset maxPerfResetOnDown;
extern const MaxPerfReset maxPerfResetOnUp;

void resetMaxPerf(LoopState& loop, const MaxPerfReset& reset);

}  // namespace kelvane
