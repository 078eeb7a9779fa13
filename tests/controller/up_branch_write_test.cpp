// PIDx- 2: the write with its Max Perf Reset, and the process-start burst with its pauses.
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
using testing::SizeIs;

// Power rose by a fifth, from 5000 to 6000 mW, on mains.
class UpBranchWrite : public testing::Test {
protected:
    UpBranchWrite() { arrange(); }

    void arrange()
    {
        minPrefReset = 0;
        appliedPrefMax = 3000;
        acMode = 1;
        cpuPL1 = 17000;
        pwrCeiling = 15000;
        PerfRange = 4800;
        NewPIDAvgPwr = 5500;
        PID_Change = 0;
        NewPID = 0;
        exitCount = -1;
        clipPending = 1;
        prevClipCount = 2;
        lastPrefMax = 1111;
        leastRangeCount = 4;
        leastRangeLimit = 5;
        g_workload = 3;
        loop = {};
        loop.prefMax = 3000;
        loop.floor = 2100;
        loop.probeSleep = 300;
        riseTo(6000);
        machine.onSleep = nullptr;
        machine.forget();
    }

    void riseTo(int power)
    {
        loop.prev = power - power / 6;
        pkgPowerPrev = loop.prev;
        pkgPower = power;
    }

    SimulatedMachine machine;
    LoopState loop;
};

TEST_F(UpBranchWrite, WritesTheCeilingAndRemembersTheStep)
{
    loop.clipCount = 0;

    onPowerUp(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 3400 0",
                            "log 2  **** PIDx- 2 Up   Pkg power = 6000 *Perf Max = 3400 *DeltaPkgpwr ==: 1000 "
                            "*Xf ==: 1000 *NewPIDAvgPwr = 5500 *PerfRange ==: 4800 *WLC ==: 3"));
    EXPECT_EQ(pkgPowerPrev, 6000);
    EXPECT_EQ(prevClipCount, 0);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(loop.PostPID, 0);
    EXPECT_EQ(loop.probeSleep, 300U);
    EXPECT_EQ(exitCount, -1);
}

TEST_F(UpBranchWrite, PreferenceThatStandsStillHasASecondLineLast)
{
    lastPrefMax = 3000;
    loop.prev = 5900;

    onPowerUp(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  **** PIDx- 2 Up   Pkg power = 6000 *Perf Max = 3000 *DeltaPkgpwr ==: 100 "
                            "*Xf ==: 1180 *NewPIDAvgPwr = 5500 *PerfRange ==: 4800 *WLC ==: 3",
                            "log 2  *** PIDx 6 No change in PrefMax, within least range = 5 ** incnttype = 3"));
}

using MaxPerfResetOnUp = UpBranchWrite;

TEST_F(MaxPerfResetOnUp, IsArrangedByPowerWheneverFullPerformanceIsReached)
{
    struct Row {
        std::uint32_t acMode;
        int pkgPower;
        int exitCount;  // -1 before
        int restorePending;
        const char* line;  // null: none
    };

    const Row rows[] = {
        { 1, 4999, 2, 1, nullptr },
        { 1, 5000, 3, 1, "2  ******* Max Perf Reset set 5 ==3" },
        { 1, 8499, 3, 1, "2  ******* Max Perf Reset set 5 ==3" },
        { 1, 8500, 4, 1, "2  ******* Max Perf Reset set 6 ==4" },
        { 1, 16999, 4, 1, "2  ******* Max Perf Reset set 6 ==4" },
        { 1, 17000, -1, 0, "2  ******* Max Perf Reset Not set 3 ==-1" },
        { 0, 4999, 2, 1, nullptr },
        { 0, 5000, 2, 1, "2  ******* Max Perf Reset set 5 ==2" },
        { 0, 8499, 2, 1, "2  ******* Max Perf Reset set 5 ==2" },
        { 0, 8500, 3, 1, "2  ******* Max Perf Reset set 6 ==3" },
        { 0, 16999, 3, 1, "2  ******* Max Perf Reset set 6 ==3" },
        { 0, INT_MAX, -1, 0, "2  ******* Max Perf Reset Not set 3 ==-1" },
        { 255, 5000, 3, 1, "2  ******* Max Perf Reset set 5 ==3" },
        { 255, 8500, 4, 1, "2  ******* Max Perf Reset set 6 ==4" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.pkgPower));
        arrange();
        acMode = row.acMode;
        loop.prefMax = 10000;
        riseTo(row.pkgPower);

        onPowerUp(loop);

        EXPECT_EQ(appliedPrefMax, 10000);
        EXPECT_EQ(exitCount, row.exitCount);
        EXPECT_EQ(loop.restorePending, row.restorePending);
        ASSERT_THAT(machine.messages(), SizeIs(row.line ? 2 : 1));
        if (row.line) {
            EXPECT_EQ(machine.messages()[1], row.line);
        }
    }
}

TEST_F(MaxPerfResetOnUp, NeedsFullPerformanceAndNoRestoreThatIsPending)
{
    exitCount = 1;
    loop.prefMax = 9599;  // becomes 9999
    onPowerUp(loop);
    EXPECT_EQ(loop.prefMax, 9999);
    EXPECT_EQ(loop.restorePending, 0);

    arrange();
    loop.prefMax = 10000;
    loop.restorePending = 1;
    onPowerUp(loop);
    EXPECT_EQ(exitCount, -1);
    EXPECT_THAT(machine.messages(), SizeIs(1));
}

using UpBranchBurst = UpBranchWrite;

TEST_F(UpBranchBurst, ProcessStartBeginsABurstWithoutAWrite)
{
    PID_Change = 1;
    minPrefReset = -1;

    onPowerUp(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("sleep 2000",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 6000 *Perf Max = 10000 *DeltaPkgpwr ==: 1000 "
                            "*Xf ==: 1000 *exitCount = 3 *prev_exitCount ==: -1 *WLC ==: 3"));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(exitCount, 3);
    EXPECT_EQ(loop.prev_exitCount, -1);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(appliedPrefMax, 3000);
    EXPECT_EQ(pkgPowerPrev, 6000);
    EXPECT_EQ(prevClipCount, 0);
}

TEST_F(UpBranchBurst, PauseDependsOnPendingRestoreRiseAndPower)
{
    struct Row {
        int restorePending;
        int prev;
        int pkgPower;
        std::uint32_t pause;
    };

    const Row rows[] = {
        { 0, 5000, 6000, 2000 },  // nothing pending
        { 0, 5900, 6000, 2000 }, { 0, 3000, 4000, 2000 },
        { 1, 5000, 6000, 1000 }, { 1, 5900, 6000, 500 },  // least range
        { 1, 3000, 4000, 2000 },                          // light power
        { 1, 4900, 4999, 2000 }, { 1, 4900, 5000, 500 },
        { 1, 4000, 5000, 1000 }, { 1, 9000, 15001, 1000 },  // above the power ceiling
        { 2, 5000, 6000, 1000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.restorePending) + " " + std::to_string(row.prev) + " " +
                     std::to_string(row.pkgPower));
        arrange();
        PID_Change = 1;
        loop.restorePending = row.restorePending;
        loop.prev = row.prev;
        pkgPower = row.pkgPower;

        onPowerUp(loop);

        EXPECT_THAT(machine.sleeps(), ElementsAre(row.pause));
        EXPECT_EQ(loop.restorePending, 1);
    }
}

TEST_F(UpBranchBurst, RestoreIsPendingOnlyAfterThePause)
{
    PID_Change = 1;
    int pending = -1;
    int PID = -1;
    machine.onSleep = [&](std::uint32_t) {
        pending = loop.restorePending;
        PID = PID_Change;
    };

    onPowerUp(loop);

    EXPECT_EQ(pending, 0);
    EXPECT_EQ(PID, 0);
}

// Unlike on the way down, the power source and PL1 do not count.
TEST_F(UpBranchBurst, LastsLongerFromFiveThousandOnWithAnyPowerSource)
{
    for (const std::uint32_t source : { 0U, 1U, 255U }) {
        SCOPED_TRACE(source);
        arrange();
        PID_Change = 1;
        acMode = source;
        riseTo(4999);
        onPowerUp(loop);
        EXPECT_EQ(exitCount, 2);

        arrange();
        PID_Change = 1;
        acMode = source;
        riseTo(5000);
        onPowerUp(loop);
        EXPECT_EQ(exitCount, 3);
    }
}

TEST_F(UpBranchBurst, BurstThatIsCountingIsProlongedByOneStepAtTheMost)
{
    struct Row {
        int before;
        int pkgPower;
        int exitCount;
    };

    for (const Row& row : { Row{ 0, 6000, 3 }, Row{ 1, 6000, 2 }, Row{ 2, 6000, 3 }, Row{ 3, 6000, 3 },
                            Row{ 4, 6000, 3 }, Row{ 1, 3000, 2 }, Row{ 3, 3000, 2 } }) {
        SCOPED_TRACE(std::to_string(row.before) + " " + std::to_string(row.pkgPower));
        arrange();
        PID_Change = 1;
        exitCount = row.before;
        riseTo(row.pkgPower);

        onPowerUp(loop);

        EXPECT_EQ(exitCount, row.exitCount);
        EXPECT_EQ(loop.prev_exitCount, row.before);
    }
}

TEST_F(UpBranchBurst, LineOfAPreferenceThatStoodStillComesLast)
{
    PID_Change = 1;
    lastPrefMax = 3000;
    loop.prev = 5900;
    loop.restorePending = 1;

    onPowerUp(loop);

    EXPECT_THAT(machine.happened(),
                ElementsAre("sleep 500",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 6000 *Perf Max = 10000 *DeltaPkgpwr ==: 100 "
                            "*Xf ==: 1180 *exitCount = 3 *prev_exitCount ==: -1 *WLC ==: 3",
                            "log 2  *** PIDx 6 No change in PrefMax, within least range = 5 ** incnttype = 3"));
}

TEST_F(UpBranchBurst, DoesNotArrangeAMaxPerfReset)
{
    PID_Change = 1;
    loop.prefMax = 10000;

    onPowerUp(loop);

    EXPECT_THAT(machine.messages(), SizeIs(1));
    EXPECT_THAT(machine.writes(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
