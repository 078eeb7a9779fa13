// PIDx- 1: what keeps or raises the ceiling after the fall, the write, and the process-start burst.
#include "controller/branches.h"
#include "state/state.h"

#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Power stands at 3000 mW on mains, and so does the ceiling at 4000.
class DownBranchWrite : public testing::Test {
protected:
    DownBranchWrite() { arrange(); }

    void arrange()
    {
        minPrefReset = 0;
        appliedPrefMax = 3900;
        acMode = 1;
        cpuPL1 = 17000;
        pwrCeiling = 15000;
        PerfRange = 3000;
        perfRestored = 0;
        PwrPause = 0;
        PID_Change = 0;
        NewPID = 0;
        exitCount = -1;
        clipPending = 1;
        prevClipCount = 2;
        g_workload = 3;
        loop = {};
        loop.prefMax = 4000;
        loop.floor = 1000;
        loop.tempPerfRange = 1000;
        loop.probeSleep = 300;
        standAt(3000);
        machine.forget();
    }

    void standAt(int power)
    {
        pkgPower = power;
        pkgPowerPrev = power;
        loop.prev = power;
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(DownBranchWrite, SnapsToTheFloorAfterTheFallAndNotBefore)
{
    PerfRange = 2000;
    loop.floor = 2000;
    loop.prefMax = 2200;
    pkgPower = 2250;  // a quarter less: 1000 lower, which is far below the floor

    onPowerDown(loop);

    EXPECT_EQ(loop.prefMax, 2000);
    EXPECT_EQ(appliedPrefMax, 2000);
}

TEST_F(DownBranchWrite, WritesTheCeilingAndRemembersTheStep)
{
    pkgPower = 2700;
    PwrPause = 1;
    loop.PostPID = 0;

    onPowerDown(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 3600 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 2700 *Perf Max = 3600 *DeltaPkgpwr = 300 "
                            "*PerfRange ==: 3000 *tempPerfRange = 1000 PwrPause = 0 *WLC ==: 3"));
    EXPECT_EQ(pkgPowerPrev, 2700);
    EXPECT_EQ(prevClipCount, 0);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(PwrPause, 0);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(loop.probeSleep, 300U);
}

TEST_F(DownBranchWrite, ClearsAPendingClipAlsoWhileScalingIsOff)
{
    Kv_opt = 0;
    kv_off_f = 0;

    onPowerDown(loop);

    EXPECT_EQ(clipPending, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(DownBranchWrite, FullPerformanceStaysForThreeReasons)
{
    struct Row {
        int prefMax;
        int pkgPower;
        int PostPID;
        int after;
    };

    const Row rows[] = {
        { 9999, 3000, 0, 9999 },   { 10000, 3000, 0, 10000 }, { 10500, 3000, 0, 10000 }, { 4000, 15000, 0, 4000 },
        { 4000, 15001, 0, 10000 }, { 4000, 3000, 1, 10000 },  { 4000, 3000, 0, 4000 },   { 4000, 3000, 2, 4000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.prefMax) + " " + std::to_string(row.pkgPower));
        arrange();
        loop.prefMax = row.prefMax;
        standAt(row.pkgPower);
        loop.PostPID = row.PostPID;

        onPowerDown(loop);

        EXPECT_EQ(loop.prefMax, row.after);
        EXPECT_EQ(appliedPrefMax, row.after);
        EXPECT_EQ(loop.PostPID, 0);
    }
}

TEST_F(DownBranchWrite, WorkloadPauseStepsUpALowCeiling)
{
    appliedPrefMax = 1999;
    PwrPause = 1;

    onPowerDown(loop);

    EXPECT_EQ(loop.prefMax, 2199);
    EXPECT_EQ(PwrPause, 0);
    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 4 WLC Change prefMax ==2199 PwrPause = 1 *WLC ==: 3",
                            "SET_PERF_PREFERENCE_MAX 2199 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 3000 *Perf Max = 2199 *DeltaPkgpwr = 0 "
                            "*PerfRange ==: 3000 *tempPerfRange = 1000 PwrPause = 0 *WLC ==: 3"));
}

TEST_F(DownBranchWrite, WorkloadPauseNeedsALowCeilingAndNoReasonForFullPerformance)
{
    struct Row {
        int PwrPause;
        int applied;
        int PostPID;
        int after;
    };

    for (const Row& row : { Row{ 1, 1999, 0, 2199 }, Row{ 2, 1999, 0, 2199 }, Row{ 1, 2000, 0, 4000 },
                            Row{ 0, 1999, 0, 4000 }, Row{ 1, 1999, 1, 10000 } }) {
        SCOPED_TRACE(std::to_string(row.PwrPause) + " " + std::to_string(row.applied));
        arrange();
        PwrPause = row.PwrPause;
        appliedPrefMax = row.applied;
        loop.PostPID = row.PostPID;
        loop.restorePending = 1;

        onPowerDown(loop);

        EXPECT_EQ(loop.prefMax, row.after);
        EXPECT_EQ(PwrPause, 0);
        EXPECT_EQ(loop.PostPID, 0);
        EXPECT_EQ(machine.messages().size(), row.after == 2199 ? 2U : 1U);
    }
}

TEST_F(DownBranchWrite, FullPerformanceComesBeforeTheWorkloadPause)
{
    PwrPause = 1;
    appliedPrefMax = 1999;
    loop.prefMax = 10000;
    loop.restorePending = 1;

    onPowerDown(loop);

    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(PwrPause, 0);
    EXPECT_EQ(machine.messages().size(), 1U);
}

TEST_F(DownBranchWrite, HighPowerOnMainsEasesTheWayDownFromFullPerformance)
{
    struct Row {
        std::uint32_t acMode;
        int pkgPower;
        int prefMax;
        int applied;
        int after;
    };

    const Row rows[] = {
        { 1, 10001, 4000, 10000, 8000 }, { 255, 10001, 4000, 10000, 8000 }, { 1, 10000, 4000, 10000, 4000 },
        { 0, 10001, 4000, 10000, 4000 }, { 1, 10001, 5999, 10000, 8000 },   { 1, 10001, 6000, 10000, 6000 },
        { 1, 10001, 4000, 9999, 4000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower));
        arrange();
        acMode = row.acMode;
        standAt(row.pkgPower);
        loop.prefMax = row.prefMax;
        appliedPrefMax = row.applied;

        onPowerDown(loop);

        EXPECT_EQ(loop.prefMax, row.after);
        EXPECT_EQ(appliedPrefMax, row.after);
    }
}

using MaxPerfResetOnDown = DownBranchWrite;

TEST_F(MaxPerfResetOnDown, IsArrangedByPowerWheneverFullPerformanceStays)
{
    struct Row {
        int pkgPower;
        int exitCount;  // -1 before
        int restorePending;
        const char* line;  // null: none
    };

    const Row rows[] = {
        { 4999, 2, 1, nullptr },
        { 5000, 2, 1, "2  ******* Max Perf Reset set 1 exitCount ==2" },
        { 8499, 2, 1, "2  ******* Max Perf Reset set 1 exitCount ==2" },
        { 8500, 3, 1, "2  ******* Max Perf Reset set 2 exitCount ==3" },
        { 16999, 3, 1, "2  ******* Max Perf Reset set 2 exitCount ==3" },
        { 17000, -1, 0, "2  ******* Max Perf Reset Not done ==" },
        { INT_MAX, -1, 0, "2  ******* Max Perf Reset Not done ==" },
    };
    for (const std::uint32_t source : { 0U, 1U, 255U }) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::to_string(source) + " " + std::to_string(row.pkgPower));
            arrange();
            acMode = source;
            loop.prefMax = 10000;
            standAt(row.pkgPower);

            onPowerDown(loop);

            EXPECT_EQ(exitCount, row.exitCount);
            EXPECT_EQ(loop.restorePending, row.restorePending);
            ASSERT_EQ(machine.messages().size(), row.line ? 2U : 1U);
            if (row.line) {
                EXPECT_EQ(machine.messages()[1], row.line);
            }
        }
    }
}

TEST_F(MaxPerfResetOnDown, NeedsFullPerformanceAndNoRestoreThatIsPending)
{
    loop.prefMax = 9999;
    onPowerDown(loop);
    EXPECT_EQ(exitCount, -1);
    EXPECT_EQ(loop.restorePending, 0);

    arrange();
    loop.prefMax = 10000;
    loop.restorePending = 1;
    onPowerDown(loop);
    EXPECT_EQ(exitCount, -1);
}

using DownBranchBurst = DownBranchWrite;

TEST_F(DownBranchBurst, ProcessStartBeginsABurstWithoutAWrite)
{
    PID_Change = 1;
    PwrPause = 1;
    minPrefReset = -1;
    loop.clipCount = 0;

    onPowerDown(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  **** PIDx- 1 PIDC Pkg power = 3000 *exitCount = 2 *prev_exitCount ==: -1 "
                            "*tempPerfRange = 1000 *WLC ==: 3"));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(exitCount, 2);
    EXPECT_EQ(loop.prev_exitCount, -1);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(PwrPause, 0);
    EXPECT_EQ(appliedPrefMax, 3900);
    EXPECT_EQ(pkgPowerPrev, 3000);
    EXPECT_EQ(prevClipCount, 0);
}

TEST_F(DownBranchBurst, LastsLongerAtHighPowerOnMains)
{
    struct Row {
        std::uint32_t acMode;
        int cpuPL1;
        int pkgPower;
        int exitCount;
    };

    const Row rows[] = {
        { 1, 17000, 8499, 2 }, { 1, 17000, 8500, 3 }, { 0, 17000, 8500, 2 }, { 255, 17000, 8500, 3 },
        { 1, 17001, 8500, 3 }, { 1, 9000, 4999, 2 },  { 1, 9000, 5000, 3 },  { 1, 17000, INT_MAX, 3 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower));
        arrange();
        PID_Change = 1;
        acMode = row.acMode;
        cpuPL1 = row.cpuPL1;
        standAt(row.pkgPower);

        onPowerDown(loop);

        EXPECT_EQ(exitCount, row.exitCount);
    }
}

TEST_F(DownBranchBurst, BurstThatIsCountingIsProlongedByOneStepAtTheMost)
{
    struct Row {
        int before;
        int pkgPower;
        int exitCount;
    };

    for (const Row& row : { Row{ 0, 9000, 3 }, Row{ 1, 9000, 2 }, Row{ 2, 9000, 3 }, Row{ 3, 9000, 3 },
                            Row{ 1, 3000, 2 }, Row{ 3, 3000, 2 } }) {
        SCOPED_TRACE(std::to_string(row.before) + " " + std::to_string(row.pkgPower));
        arrange();
        PID_Change = 1;
        exitCount = row.before;
        standAt(row.pkgPower);

        onPowerDown(loop);

        EXPECT_EQ(exitCount, row.exitCount);
        EXPECT_EQ(loop.prev_exitCount, row.before);
    }
}

TEST_F(DownBranchBurst, DoesNotArrangeAMaxPerfReset)
{
    PID_Change = 1;
    loop.prefMax = 10000;
    standAt(9000);

    onPowerDown(loop);

    EXPECT_THAT(machine.messages(), testing::SizeIs(1));
    EXPECT_THAT(machine.sleeps(), IsEmpty());
    EXPECT_THAT(machine.writes(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
