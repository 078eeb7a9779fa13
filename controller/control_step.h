// controller/control_step.h: one control step, about three seconds.
//
// A step is a row of phases and one of four branches (controller/branches.h). Each phase says what it reads and writes;
// the phases are declared here so that each can be checked for itself. All of it runs on the scaling loop's thread.
#pragma once

#include "controller/loop_state.h"

namespace kelvane {

void controlStep(LoopState& loop);

// The phases, in their order.

// acMode from the system; unchanged when the system does not tell.
void readPowerSource();

// Runs the probe and the tracker: clipCount, pkgPower, NewPIDAvgPwr, exitCount.
void measure(LoopState& loop);

// pwrCeiling, PerfRange on mains at high power, the statistics, lastPrefMax; the next probe's sleep, provisionally.
void countStep(LoopState& loop);

// PIDx 5: enters, keeps or leaves Active Idle. Returns whether the step ends here.
bool stepThroughActiveIdle(LoopState& loop);

// Ends the state that the first Active Idle entry began.
void leavePidOnTest();

// PerfRange and the tier's thresholds from pkgPower; prefMax is reloaded from what was written last.
void selectTier(LoopState& loop);

// PIDx 7 and 3: prefMax by ceiling and workload change; the floor that holds from here on.
void applyPowerCeiling(LoopState& loop);
void resetOnWorkloadChange(LoopState& loop);

// (decideRestore: controller/restore.h)

void logStatus(const LoopState& loop);

// Starts the statistics afresh when scaling was switched off or on.
void noteModeChange();

// PIDx- 0 PIC: a process started. Without enough power behind it the start is forgotten and prefMax brought back.
void handleProcessStart(LoopState& loop);

// Clears what other threads count per step.
void clearStepInputs();

// What the branches work with: the power of the step before, and no change yet.
void preparePowers(LoopState& loop);

enum class Branch { clip, noChange, up, down };

Branch chooseBranch(const LoopState& loop);

}  // namespace kelvane
