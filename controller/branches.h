// controller/branches.h: the four ways in which a control step ends.
//
// Each decides the new ceiling from the step's power, tier and floor, and leaves pkgPowerPrev and prevClipCount for the
// next step. Exactly one runs in each step that passes Active Idle.
#pragma once

#include "controller/loop_state.h"

namespace kelvane {

// PIDx- -1: samples were clipped. Writes full or half performance at once; with a process start it writes nothing and
// pauses two seconds.
void onClip(LoopState& loop);

// PIDx- 1: power fell, or rose too little to count. Takes the ceiling down by how much it fell.
void onPowerDown(LoopState& loop);

// PIDx- 2: power rose. Takes the ceiling up by how much it rose; with a process start it begins a burst and pauses.
void onPowerUp(LoopState& loop);

// PIDx 6: the clip reasons could not be read, or power rose within the idle band. Writes nothing; a changed prefMax is
// only the base of the next probe.
void onNoChange(LoopState& loop);

constexpr int unchanged = 3;  // incnttype

// When prefMax is what it was a step ago: counts the repeat, and after leastRangeLimit of them moves prefMax by `step`.
// Returns whether it was. Up and No change use it.
bool countUnchanged(LoopState& loop, int step);

void logUnchanged(const LoopState& loop);

}  // namespace kelvane
