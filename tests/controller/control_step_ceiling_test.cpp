// PIDx 7 and PIDx 3: the power ceiling, and the reset on a workload change.
#include "controller/control_step.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PowerCeiling : public testing::Test {
protected:
    PowerCeiling() { arrange(); }

    void arrange()
    {
        pwrCeiling = 15000;
        pkgPower = 7000;
        NewPIDAvgPwr = 5000;
        PerfRange = 4800;
        loop.prefMax = 3000;
        loop.tempPerfRange = 1800;
        machine.forget();
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(PowerCeiling, HighPowerAboveTheAverageRaisesToTheTiersPreference)
{
    applyPowerCeiling(loop);

    EXPECT_EQ(loop.prefMax, 4800);
    EXPECT_EQ(PerfRange, 4800);
    EXPECT_EQ(loop.tempPerfRange, 1800);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 7 NewPIDAvgPwr ==5000 pkgPower = 7000 prefMax = 4800"));
}

TEST_F(PowerCeiling, NeverLowersWithinTheCeilingButSaysSo)
{
    loop.prefMax = 6000;

    applyPowerCeiling(loop);

    EXPECT_EQ(loop.prefMax, 6000);
    EXPECT_THAT(machine.messages(), ElementsAre("2  *** PIDx 7 NewPIDAvgPwr ==5000 pkgPower = 7000 prefMax = 6000"));
}

TEST_F(PowerCeiling, WithinTheCeilingPowerMustBeHighAndAboveTheAverage)
{
    struct Row {
        int pkgPower;
        int NewPIDAvgPwr;
        bool raises;
    };

    for (const Row& row : { Row{ 6000, 5000, false }, Row{ 6001, 5000, true }, Row{ 6001, 6000, true },
                            Row{ 6001, 6001, false }, Row{ 6001, 6002, false }, Row{ 15000, 5000, true } }) {
        SCOPED_TRACE(std::to_string(row.pkgPower) + " " + std::to_string(row.NewPIDAvgPwr));
        arrange();
        pkgPower = row.pkgPower;
        NewPIDAvgPwr = row.NewPIDAvgPwr;

        applyPowerCeiling(loop);

        EXPECT_EQ(loop.prefMax, row.raises ? 4800 : 3000);
        EXPECT_EQ(machine.messages().size(), row.raises ? 1U : 0U);
        EXPECT_EQ(PerfRange, 4800);
    }
}

TEST_F(PowerCeiling, AboveTheCeilingPreferenceFollowsTheWorkloadWithoutALine)
{
    struct Row {
        int pkgPower;
        int tempPerfRange;
        int tempAfter;
        int PerfRange;
    };

    const Row rows[] = {
        { 15001, 1800, 2800, 5800 }, { 15001, 1999, 2999, 5999 },   { 15001, 2000, 2000, 5000 },
        { 15001, 4000, 4000, 7000 }, { INT_MAX, 4000, 4000, 7000 }, { 15001, 7001, 7001, 10001 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.tempPerfRange);
        arrange();
        pkgPower = row.pkgPower;
        loop.tempPerfRange = row.tempPerfRange;
        loop.prefMax = 9000;

        applyPowerCeiling(loop);

        EXPECT_EQ(loop.tempPerfRange, row.tempAfter);
        EXPECT_EQ(PerfRange, row.PerfRange);
        EXPECT_EQ(loop.prefMax, row.PerfRange);
        EXPECT_THAT(machine.happened(), IsEmpty());
    }
}

class WorkloadChangeReset : public testing::Test {
protected:
    WorkloadChangeReset() { arrange(); }

    void arrange()
    {
        g_workload = 3;
        g_workloadEventSeen = 1;
        pkgPower = 6001;
        PerfRange = 4800;
        loop.prefMax = 3000;
        loop.tempPerfRange = 2100;
        loop.floor = 0;
        machine.forget();
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(WorkloadChangeReset, SetsThePreferenceThatTheNewClassAsksFor)
{
    resetOnWorkloadChange(loop);

    EXPECT_EQ(loop.prefMax, 2100);
    EXPECT_EQ(g_workloadEventSeen, 0);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 3 reset WLC Change prefMax ==2100 pkgPower = 6001 *WLC ==: 3"));
}

TEST_F(WorkloadChangeReset, NeedsAnEventALowPreferenceAndHighPower)
{
    struct Row {
        int seen;
        int prefMax;
        int pkgPower;
        bool resets;
    };

    for (const Row& row : { Row{ 1, 4799, 6001, true }, Row{ 2, 4799, 6001, true }, Row{ 0, 4799, 6001, false },
                            Row{ 1, 4800, 6001, false }, Row{ 1, 4799, 6000, false } }) {
        SCOPED_TRACE(std::to_string(row.seen) + " " + std::to_string(row.prefMax));
        arrange();
        g_workloadEventSeen = row.seen;
        loop.prefMax = row.prefMax;
        pkgPower = row.pkgPower;

        resetOnWorkloadChange(loop);

        EXPECT_EQ(loop.prefMax, row.resets ? 2100 : row.prefMax);
        EXPECT_EQ(machine.messages().size(), row.resets ? 1U : 0U);
        EXPECT_EQ(g_workloadEventSeen, 0);
    }
}

TEST_F(WorkloadChangeReset, PreferenceAboveTheScaleStillCountsAsHigherThanTenThousand)
{
    PerfRange = 10001;
    loop.prefMax = 10000;
    loop.tempPerfRange = 7001;

    resetOnWorkloadChange(loop);

    EXPECT_EQ(loop.prefMax, 7001);
    EXPECT_EQ(PerfRange, 10000);
}

TEST_F(WorkloadChangeReset, FloorIsTheLesserOfTierAndWorkload)
{
    struct Row {
        int PerfRange;
        int tempPerfRange;
        int rangeAfter;
        int floor;
    };

    const Row rows[] = {
        { 4800, 2100, 4800, 2100 },   { 1200, 2100, 1200, 1200 },     { 2100, 2100, 2100, 2100 },
        { 9999, 10500, 9999, 9999 },  { 10000, 10500, 10000, 10000 }, { 10001, 10500, 10000, 10000 },
        { 12000, 9000, 10000, 9000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.PerfRange);
        arrange();
        g_workloadEventSeen = 0;
        PerfRange = row.PerfRange;
        loop.tempPerfRange = row.tempPerfRange;

        resetOnWorkloadChange(loop);

        EXPECT_EQ(PerfRange, row.rangeAfter);
        EXPECT_EQ(loop.floor, row.floor);
        EXPECT_EQ(loop.tempPerfRange, row.floor);
        EXPECT_THAT(machine.messages(), IsEmpty());
    }
}

}  // namespace
}  // namespace kelvane::tests
