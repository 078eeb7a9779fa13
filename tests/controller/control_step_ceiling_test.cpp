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
    int tempPerfRange = 2100;
    int prefMaxAfter;
    int PerfRangeAfter = 4800;
    int tempPerfRangeAfter = 2100;
    std::size_t lines = 0;
};

using PowerCeiling = WithRow<StepCeiling, PowerRow>;

TEST_ROWS(PowerCeiling,
          // within the ceiling, power must be high and above the average to raise to the tier's preference
          ROW(.power = 6000, .prefMaxAfter = 3000), ROW(.power = 6001, .prefMaxAfter = 4800, .lines = 1),
          ROW(.power = 6001, .average = 6000, .prefMaxAfter = 4800, .lines = 1),
          ROW(.power = 6001, .average = 6001, .prefMaxAfter = 3000),
          ROW(.power = 6001, .average = 6002, .prefMaxAfter = 3000),
          ROW(.power = 15000, .prefMaxAfter = 4800, .lines = 1),
          // never lowers
          ROW(.prefMax = 6000, .prefMaxAfter = 6000, .lines = 1),
          // above it the preference follows the workload without a line
          ROW(.power = 15001, .tempPerfRange = 1800, .prefMaxAfter = 5800, .PerfRangeAfter = 5800,
              .tempPerfRangeAfter = 2800),
          ROW(.power = 15001, .prefMax = 9000, .tempPerfRange = 1999, .prefMaxAfter = 5999, .PerfRangeAfter = 5999,
              .tempPerfRangeAfter = 2999),
          ROW(.power = 15001, .prefMax = 9000, .tempPerfRange = 2000, .prefMaxAfter = 5000, .PerfRangeAfter = 5000,
              .tempPerfRangeAfter = 2000),
          ROW(.power = INT_MAX, .prefMax = 9000, .tempPerfRange = 4000, .prefMaxAfter = 7000, .PerfRangeAfter = 7000,
              .tempPerfRangeAfter = 4000),
          ROW(.power = 15001, .prefMax = 9000, .tempPerfRange = 7001, .prefMaxAfter = 10001, .PerfRangeAfter = 10001,
              .tempPerfRangeAfter = 7001));

TEST_P(PowerCeiling, MovesThePreferenceAtHighPower)
{
    pkgPower = row().power;
    NewPIDAvgPwr = row().average;
    loop.prefMax = row().prefMax;
    loop.tempPerfRange = row().tempPerfRange;

    applyPowerCeiling(loop);

    EXPECT_EQ(loop.prefMax, row().prefMaxAfter);
    EXPECT_EQ(PerfRange, row().PerfRangeAfter);
    EXPECT_EQ(loop.tempPerfRange, row().tempPerfRangeAfter);
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
    int tempPerfRange = 2100;
    int prefMaxAfter;
    int PerfRangeAfter = 4800;
    int floor = 2100;
    std::size_t lines = 0;
};

using WorkloadChangeReset = WithRow<StepCeiling, ResetRow>;

TEST_ROWS(WorkloadChangeReset,
          // needs an event, a low preference and high power
          ROW(.prefMax = 4799, .prefMaxAfter = 2100, .lines = 1),
          ROW(.seen = 2, .prefMax = 4799, .prefMaxAfter = 2100, .lines = 1),
          ROW(.seen = 0, .prefMax = 4799, .prefMaxAfter = 4799), ROW(.prefMax = 4800, .prefMaxAfter = 4800),
          ROW(.power = 6000, .prefMax = 4799, .prefMaxAfter = 4799),
          // a tier above the scale still counts as higher than ten thousand
          ROW(.prefMax = 10000, .PerfRange = 10001, .tempPerfRange = 7001, .prefMaxAfter = 7001,
              .PerfRangeAfter = 10000, .floor = 7001, .lines = 1),
          // the floor is the lesser of tier and workload
          ROW(.seen = 0, .PerfRange = 1200, .prefMaxAfter = 3000, .PerfRangeAfter = 1200, .floor = 1200),
          ROW(.seen = 0, .PerfRange = 2100, .prefMaxAfter = 3000, .PerfRangeAfter = 2100, .floor = 2100),
          ROW(.seen = 0, .PerfRange = 9999, .tempPerfRange = 10500, .prefMaxAfter = 3000, .PerfRangeAfter = 9999,
              .floor = 9999),
          ROW(.seen = 0, .PerfRange = 10000, .tempPerfRange = 10500, .prefMaxAfter = 3000, .PerfRangeAfter = 10000,
              .floor = 10000),
          ROW(.seen = 0, .PerfRange = 10001, .tempPerfRange = 10500, .prefMaxAfter = 3000, .PerfRangeAfter = 10000,
              .floor = 10000),
          ROW(.seen = 0, .PerfRange = 12000, .tempPerfRange = 9000, .prefMaxAfter = 3000, .PerfRangeAfter = 10000,
              .floor = 9000));

TEST_P(WorkloadChangeReset, SetsThePreferenceThatTheNewClassAsksFor)
{
    g_workloadEventSeen = row().seen;
    pkgPower = row().power;
    loop.prefMax = row().prefMax;
    PerfRange = row().PerfRange;
    loop.tempPerfRange = row().tempPerfRange;

    resetOnWorkloadChange(loop);

    EXPECT_EQ(loop.prefMax, row().prefMaxAfter);
    EXPECT_EQ(PerfRange, row().PerfRangeAfter);
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
