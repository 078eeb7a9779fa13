// controller/loop_state.h: what one run of the scaling loop keeps to itself.
//
// The rest of the controller's memory, which outlives a run, stands in controller/state.h. Touched by the loop's thread
// alone; the phases and branches of a step get it by reference.
#pragma once

#include "controller/state.h"

#include <cstdint>

namespace kelvane {

struct LoopState {
    // What a step finds as the one before left it.
    int prefMax = fullPreference;  // preference; the first probe runs with full performance as its base
    int PostPID = 0;               // 1: the next Down or Up keeps full performance
    int restorePending = 0;        // 1: full performance is to be taken back
    std::uint32_t probeSleep = probeSleepMsAfterWake;  // ms between the samples of the next probe

    // What the phases of one step hand to each other; each is written before it is read.
    int clipCount = 0;             // clipped samples; -1: the clip reasons could not be read
    int tempPerfRange = 0;         // preference that the workload class asks for
    int floor = 0;                 // preference, the lesser of PerfRange and tempPerfRange
    int prev = 0;                  // mW, pkgPower of the step before, as the branches see it
    std::int64_t DeltaPkgpwr = 0;  // mW, rise (Up) or fall (Down)
    int Xf = 0;                    // mW, the fifth of prev against which a rise is measured
    int incnttype = 0;             // 3: prefMax is what it was a step ago
    int prev_exitCount = 0;        // exitCount when the burst began
};

}  // namespace kelvane
