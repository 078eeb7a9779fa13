#include "controller/actuators.h"

#include "controller/state.h"
#include "tests/fakes/simulated_machine.h"

#include <gmock/gmock.h>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SetPerfmax, FirstCallOfTheProcessAlsoWritesTheFloor)
{
    SimulatedMachine machine;

    setPerfmax(1200);

    EXPECT_THAT(machine.writes(), ElementsAre("SET_PERF_PREFERENCE_MAX 1200", "SET_PERF_PREFERENCE_MIN 0"));
}

TEST(SetPerfmax, WritesNothingAtTenThousandWhenTenThousandIsInForce)
{
    SimulatedMachine machine;
    appliedPrefMax = 10000;
    minPrefReset = 0;

    setPerfmax(10000);

    EXPECT_THAT(machine.writes(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
