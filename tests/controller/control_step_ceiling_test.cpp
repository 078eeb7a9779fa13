// PIDx 7 and PIDx 3: the power ceiling, and the reset on a workload change.
#include "controller/control_step.h"
#include "state/state.h"

#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

// High power above the average but within the ceiling, and a new workload class.
class StepCeiling : public testing::Test {
protected:
    StepCeiling()
    {
        pwrCeiling = 15000;
        pkgPower = 7000;
        NewPIDAvgPwr = 5000;
        PerfRange = 4800;
        g_workload = 3;
        g_workloadEventSeen = 1;
        loop.prefMax = 3000;
        loop.tempPerfRange = 2100;
    }

    SimulatedMachine machine;
    LoopState loop;
};

struct PowerRow {
    int power = 7000;
    int average = 5000;
    int prefMax = 3000;
    int temp = 2100;  // tempPerfRange
    int after;
    int rangeAfter = 4800;
    int tempAfter = 2100;
    std::size_t lines = 0;
};

using PowerCeiling = WithRow<StepCeiling, PowerRow>;

TEST_ROWS(PowerCeiling,
          // within the ceiling, power must be high and above the average to raise to the tier's preference
          ROW(.power = 6000, .after = 3000), ROW(.power = 6001, .after = 4800, .lines = 1),
          ROW(.power = 6001, .average = 6000, .after = 4800, .lines = 1),
          ROW(.power = 6001, .average = 6001, .after = 3000), ROW(.power = 6001, .average = 6002, .after = 3000),
          ROW(.power = 15000, .after = 4800, .lines = 1),
          // never lowers
          ROW(.prefMax = 6000, .after = 6000, .lines = 1),
          // above it the preference follows the workload without a line
          ROW(.power = 15001, .temp = 1800, .after = 5800, .rangeAfter = 5800, .tempAfter = 2800),
          ROW(.power = 15001, .prefMax = 9000, .temp = 1999, .after = 5999, .rangeAfter = 5999, .tempAfter = 2999),
          ROW(.power = 15001, .prefMax = 9000, .temp = 2000, .after = 5000, .rangeAfter = 5000, .tempAfter = 2000),
          ROW(.power = INT_MAX, .prefMax = 9000, .temp = 4000, .after = 7000, .rangeAfter = 7000, .tempAfter = 4000),
          ROW(.power = 15001, .prefMax = 9000, .temp = 7001, .after = 10001, .rangeAfter = 10001, .tempAfter = 7001));

TEST_ROW(PowerCeiling, MovesThePreferenceAtHighPower)
{
    pkgPower = row().power;
    NewPIDAvgPwr = row().average;
    loop.prefMax = row().prefMax;
    loop.tempPerfRange = row().temp;

    applyPowerCeiling(loop);

    EXPECT_EQ(loop.prefMax, row().after);
    EXPECT_EQ(PerfRange, row().rangeAfter);
    EXPECT_EQ(loop.tempPerfRange, row().tempAfter);
    EXPECT_THAT(machine.happened(), SizeIs(row().lines));
}

TEST_F(StepCeiling, LineShowsAveragePowerAndThePreferenceAfterTheRaise)
{
    applyPowerCeiling(loop);
    EXPECT_THAT(machine.messages(), ElementsAre("2  *** PIDx 7 NewPIDAvgPwr ==5000 pkgPower = 7000 prefMax = 4800"));

    machine.forget();
    loop.prefMax = 6000;
    applyPowerCeiling(loop);
    EXPECT_THAT(machine.messages(), ElementsAre("2  *** PIDx 7 NewPIDAvgPwr ==5000 pkgPower = 7000 prefMax = 6000"));
}

struct ResetRow {
    int seen = 1;
    int power = 6001;
    int prefMax = 3000;
    int PerfRange = 4800;
    int temp = 2100;  // tempPerfRange
    int after;
    int rangeAfter = 4800;
    int floor = 2100;
    std::size_t lines = 0;
};

using WorkloadChangeReset = WithRow<StepCeiling, ResetRow>;

TEST_ROWS(WorkloadChangeReset,
          // needs an event, a low preference and high power
          ROW(.prefMax = 4799, .after = 2100, .lines = 1), ROW(.seen = 2, .prefMax = 4799, .after = 2100, .lines = 1),
          ROW(.seen = 0, .prefMax = 4799, .after = 4799), ROW(.prefMax = 4800, .after = 4800),
          ROW(.power = 6000, .prefMax = 4799, .after = 4799),
          // a tier above the scale still counts as higher than ten thousand
          ROW(.prefMax = 10000, .PerfRange = 10001, .temp = 7001, .after = 7001, .rangeAfter = 10000, .floor = 7001,
              .lines = 1),
          // the floor is the lesser of tier and workload
          ROW(.seen = 0, .PerfRange = 1200, .after = 3000, .rangeAfter = 1200, .floor = 1200),
          ROW(.seen = 0, .PerfRange = 2100, .after = 3000, .rangeAfter = 2100, .floor = 2100),
          ROW(.seen = 0, .PerfRange = 9999, .temp = 10500, .after = 3000, .rangeAfter = 9999, .floor = 9999),
          ROW(.seen = 0, .PerfRange = 10000, .temp = 10500, .after = 3000, .rangeAfter = 10000, .floor = 10000),
          ROW(.seen = 0, .PerfRange = 10001, .temp = 10500, .after = 3000, .rangeAfter = 10000, .floor = 10000),
          ROW(.seen = 0, .PerfRange = 12000, .temp = 9000, .after = 3000, .rangeAfter = 10000, .floor = 9000));

TEST_ROW(WorkloadChangeReset, SetsThePreferenceThatTheNewClassAsksFor)
{
    g_workloadEventSeen = row().seen;
    pkgPower = row().power;
    loop.prefMax = row().prefMax;
    PerfRange = row().PerfRange;
    loop.tempPerfRange = row().temp;

    resetOnWorkloadChange(loop);

    EXPECT_EQ(loop.prefMax, row().after);
    EXPECT_EQ(PerfRange, row().rangeAfter);
    EXPECT_EQ(loop.floor, row().floor);
    EXPECT_EQ(loop.tempPerfRange, row().floor);
    EXPECT_EQ(g_workloadEventSeen, 0);
    EXPECT_THAT(machine.happened(), SizeIs(row().lines));
}

TEST_F(StepCeiling, LineOfAWorkloadChangeShowsPreferencePowerAndClass)
{
    resetOnWorkloadChange(loop);

    EXPECT_THAT(machine.messages(),
                ElementsAre("2  *** PIDx 3 reset WLC Change prefMax ==2100 pkgPower = 7000 *WLC ==: 3"));
}

}  // namespace
}  // namespace kelvane::tests
