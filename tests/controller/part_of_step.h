// tests/controller/part_of_step.h: a phase or branch of the control step by itself, over a simulated machine.
#pragma once

#include "controller/loop_state.h"
#include "state/state.h"
#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {

// On mains. The floor was written already, so that a ceiling is one write.
class PartOfStep : public testing::Test {
protected:
    PartOfStep()
    {
        minPrefReset = 0;
        acMode = 1;
    }

    SimulatedMachine machine;
    LoopState loop;
};

}  // namespace kelvane::tests
