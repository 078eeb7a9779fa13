// controller/restore.h: takes full performance back once a burst is over.
#pragma once

#include "controller/loop_state.h"

namespace kelvane {

// Brings prefMax down towards PerfRange when a restore is due and power does not rise any more. Reads power, tier and
// floor of the step; writes prefMax, restorePending, perfRestored and NewPID.
void decideRestore(LoopState& loop);

}  // namespace kelvane
