// PIDx- 1: how far the ceiling comes down with power, what keeps or raises it after all, the write, and the
// process-start burst.
#include "controller/branches.h"
#include "tests/controller/part_of_step.h"

#include <climits>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// The floor is far below.
class DownBranch : public PartOfStep {
protected:
    DownBranch()
    {
        appliedPrefMax = 9000;
        pwrCeiling = 15000;
        PerfRange = 3000;
        prevClipCount = 2;
        g_workload = 3;
        loop.prefMax = 4000;
        loop.floor = 1000;
        loop.tempPerfRange = 1000;
        loop.restorePending = 1;
        loop.probeSleep = 300;
    }

    void fall(int from, int to)
    {
        loop.prev = from;
        pkgPower = to;
        onPowerDown(loop);
    }
};

// What the branch makes of a fall, on mains with the ceiling at 4000.
struct FallRow {
    int prev = 10000;   // mW
    int power = 10000;  // mW
    std::uint32_t acMode = 1;
    int applied = 9000;
    int PwrPause = 0;
    int PostPID = 0;
    int prefMax = 4000;
    int PerfRange = 3000;
    int floor = 1000;
    int after = 4000;
    std::size_t messages = 1;
};

class DownBranchCeiling : public WithRow<DownBranch, FallRow> {};

TEST_ROWS(DownBranchCeiling,
          // less than 5%
          ROW(.power = 10099, .after = 4000), ROW(.power = 10000, .after = 4000), ROW(.power = 9999, .after = 3900),
          ROW(.power = 9501, .after = 3900), ROW(.power = 9999, .prefMax = 6000, .after = 5900),
          // less than 10%: more from 5000 on and above the tier
          ROW(.power = 9500, .after = 3800), ROW(.power = 9001, .after = 3800),
          ROW(.power = 9500, .prefMax = 6000, .after = 5000), ROW(.power = 9500, .prefMax = 4999, .after = 4799),
          ROW(.power = 9500, .prefMax = 5000, .after = 4000),
          ROW(.power = 9500, .prefMax = 5000, .PerfRange = 4999, .after = 4000),
          ROW(.power = 9500, .prefMax = 5000, .PerfRange = 5000, .after = 4800),
          // less than 20%: the same
          ROW(.power = 9000, .after = 3600), ROW(.power = 8001, .after = 3600),
          ROW(.power = 9000, .prefMax = 6000, .after = 4000), ROW(.power = 9000, .prefMax = 4999, .after = 4599),
          ROW(.power = 9000, .prefMax = 5000, .PerfRange = 4999, .after = 3000),
          ROW(.power = 9000, .prefMax = 5000, .PerfRange = 5000, .after = 4600),
          // less than 30%: only above 2000 and the tier
          ROW(.power = 8000, .after = 3000), ROW(.power = 7001, .after = 3000),
          ROW(.power = 8000, .prefMax = 6000, .after = 4000),
          ROW(.power = 8000, .prefMax = 9999, .PerfRange = 10000, .after = 9999),
          ROW(.power = 8000, .prefMax = 5000, .PerfRange = 4999, .after = 3000),
          ROW(.power = 8000, .prefMax = 5000, .PerfRange = 5000, .after = 5000),
          ROW(.power = 8000, .prefMax = 4999, .after = 3999),
          ROW(.power = 8000, .prefMax = 4999, .PerfRange = 4999, .after = 4999),
          ROW(.power = 8000, .prefMax = 2001, .PerfRange = 2000, .after = 1001),
          ROW(.power = 8000, .prefMax = 2001, .PerfRange = 2001, .after = 2001),
          ROW(.power = 8000, .prefMax = 2000, .PerfRange = 1500, .after = 2000),
          // full performance, of which this takes 4000 at once
          ROW(.power = 10000, .prefMax = 10000, .after = 10000), ROW(.power = 9999, .prefMax = 10000, .after = 9900),
          ROW(.power = 9500, .prefMax = 10000, .after = 9000), ROW(.power = 9000, .prefMax = 10000, .after = 8000),
          ROW(.power = 8001, .prefMax = 10000, .after = 8000), ROW(.power = 8000, .prefMax = 10000, .after = 6000),
          ROW(.power = 7001, .prefMax = 10000, .after = 6000),
          ROW(.power = 8000, .prefMax = 10000, .PerfRange = 10000, .after = 6000),
          // a large fall from at most 2000, or not above the tier: to the floor, but never up
          ROW(.power = 5000, .prefMax = 2000, .PerfRange = 1500, .after = 1000),
          ROW(.power = 5000, .prefMax = 3000, .after = 1000),
          ROW(.power = 5000, .prefMax = 9000, .PerfRange = 9000, .after = 1000),
          ROW(.power = 5000, .prefMax = 900, .PerfRange = 1500, .after = 900),
          // from up to 5000: steps of 250 above it
          ROW(.power = 7000, .after = 1750), ROW(.power = 1, .after = 1750),
          ROW(.power = 5000, .prefMax = 2001, .PerfRange = 1500, .after = 1750),
          ROW(.power = 5000, .prefMax = 3001, .after = 1750), ROW(.power = 5000, .prefMax = 5000, .after = 1750),
          ROW(.power = 5000, .prefMax = 5000, .floor = 1999, .after = 2749),
          ROW(.power = 5000, .prefMax = 5000, .floor = 2000, .after = 2500),
          ROW(.power = 5000, .acMode = 0, .prefMax = 5000, .after = 1500),
          ROW(.power = 5000, .acMode = 0, .prefMax = 5000, .floor = 2000, .after = 2250),
          ROW(.power = 5000, .acMode = 255, .prefMax = 5000, .after = 5000),
          ROW(.power = 5000, .prefMax = 2400, .PerfRange = 2000, .floor = 2000, .after = 2400),
          // from above 5000: steps of 500
          ROW(.power = 7000, .prefMax = 6000, .after = 2500), ROW(.power = 7000, .prefMax = 10000, .after = 2500),
          ROW(.power = 5000, .prefMax = 5001, .after = 2500),
          ROW(.power = 5000, .prefMax = 5001, .floor = 1999, .after = 3499),
          ROW(.power = 5000, .prefMax = 5001, .floor = 2000, .after = 3000),
          ROW(.power = 5000, .acMode = 0, .prefMax = 5001, .after = 2000),
          ROW(.power = 5000, .acMode = 0, .prefMax = 5001, .floor = 2000, .after = 2500),
          ROW(.power = 5000, .acMode = 255, .prefMax = 5001, .after = 5001),
          ROW(.power = 5000, .acMode = 255, .prefMax = 10000, .after = 10000),
          // the truncated shares of a tiny power
          ROW(.prev = 20, .power = 20, .after = 4000), ROW(.prev = 20, .power = 19, .after = 3800),
          ROW(.prev = 20, .power = 18, .after = 3600), ROW(.prev = 20, .power = 16, .after = 1750),
          ROW(.prev = 19, .power = 19, .after = 3800), ROW(.prev = 10, .power = 10, .after = 3800),
          ROW(.prev = 9, .power = 9, .after = 3600), ROW(.prev = 5, .power = 5, .after = 3600),
          ROW(.prev = 4, .power = 4, .after = 1750), ROW(.prev = 99, .power = 81, .after = 3600),
          ROW(.prev = 99, .power = 80, .after = 1750), ROW(.prev = 100, .power = 80, .after = 3000),
          ROW(.prev = 100, .power = 71, .after = 3000), ROW(.prev = 100, .power = 70, .after = 1750),
          ROW(.prev = 199, .power = 161, .after = 3600), ROW(.prev = 199, .power = 160, .after = 1750),
          ROW(.prev = 299, .power = 240, .after = 3000), ROW(.prev = 299, .power = 239, .after = 1750),
          // none before counts as no fall; of a negative power each band is tested in its turn
          ROW(.prev = 0, .power = 0, .after = 1750), ROW(.prev = 0, .power = 10, .after = 3800),
          ROW(.prev = 0, .power = 20, .after = 4000), ROW(.prev = 0, .power = -1, .after = 1750),
          ROW(.prev = -1, .power = -1, .after = 1750), ROW(.prev = -1, .power = 0, .after = 4000),
          ROW(.prev = -100, .power = -100, .after = 1750), ROW(.prev = -100, .power = -94, .after = 4000),
          ROW(.prev = -100, .power = -95, .after = 1750), ROW(.prev = -1, .power = INT_MAX, .after = 10000),
          // snaps to a floor that is far above
          ROW(.prefMax = 700, .after = 700), ROW(.prefMax = 699, .after = 1000),
          ROW(.prefMax = 2199, .floor = 2499, .after = 2199), ROW(.prefMax = 2198, .floor = 2499, .after = 2499),
          ROW(.prefMax = 2000, .floor = 2500, .after = 2000), ROW(.prefMax = 1999, .floor = 2500, .after = 2500),
          ROW(.prefMax = 3699, .floor = 4199, .after = 3699), ROW(.prefMax = 3698, .floor = 4199, .after = 4199),
          ROW(.prefMax = 3500, .floor = 4200, .after = 3500), ROW(.prefMax = 3499, .floor = 4200, .after = 4200),
          ROW(.acMode = 0, .prefMax = 2199, .floor = 2499, .after = 2199),
          ROW(.acMode = 0, .prefMax = 2198, .floor = 2499, .after = 2499),
          ROW(.acMode = 0, .prefMax = 1800, .floor = 2500, .after = 1800),
          ROW(.acMode = 0, .prefMax = 1799, .floor = 2500, .after = 2500),
          ROW(.acMode = 0, .prefMax = 3499, .floor = 4199, .after = 3499),
          ROW(.acMode = 0, .prefMax = 3498, .floor = 4199, .after = 4199),
          ROW(.acMode = 0, .prefMax = 3300, .floor = 4200, .after = 3300),
          ROW(.acMode = 0, .prefMax = 3299, .floor = 4200, .after = 4200),
          ROW(.acMode = 255, .prefMax = 2000, .floor = 2500, .after = 2000),
          ROW(.acMode = 255, .prefMax = 1999, .floor = 2500, .after = 2500),
          ROW(.acMode = 255, .prefMax = 3500, .floor = 4200, .after = 3500),
          ROW(.acMode = 255, .prefMax = 3499, .floor = 4200, .after = 4200),
          // after the fall and not before, also after a large one
          ROW(.prev = 3000, .power = 2250, .prefMax = 2200, .PerfRange = 2000, .floor = 2000, .after = 2000),
          ROW(.power = 5000, .prefMax = 600, .PerfRange = 1500, .after = 1000),
          // full performance stays for three reasons
          ROW(.prefMax = 9999, .after = 9999), ROW(.prefMax = 10000, .after = 10000),
          ROW(.prefMax = 10500, .after = 10000), ROW(.power = 15000), ROW(.power = 15001, .after = 10000),
          ROW(.PostPID = 1, .after = 10000), ROW(.PostPID = 2),
          // else a change of the workload steps up a ceiling below 2000
          ROW(.applied = 1999, .PwrPause = 1, .after = 2199, .messages = 2),
          ROW(.applied = 1999, .PwrPause = 2, .after = 2199, .messages = 2), ROW(.applied = 2000, .PwrPause = 1),
          ROW(.applied = 1999, .PwrPause = 0), ROW(.applied = 1999, .PwrPause = 1, .PostPID = 1, .after = 10000),
          ROW(.applied = 1999, .PwrPause = 1, .prefMax = 10000, .after = 10000),
          // even far below the floor
          ROW(.applied = 1000, .PwrPause = 1, .floor = 3000, .after = 1200, .messages = 2),
          // high power on mains eases the way down from full performance
          ROW(.power = 10001, .applied = 10000, .after = 8000), ROW(.power = 10000, .applied = 10000),
          ROW(.power = 10001, .acMode = 255, .applied = 10000, .after = 8000),
          ROW(.power = 10001, .acMode = 0, .applied = 10000),
          ROW(.power = 10001, .applied = 10000, .prefMax = 5999, .after = 8000),
          ROW(.power = 10001, .applied = 10000, .prefMax = 6000, .after = 6000), ROW(.power = 10001, .applied = 9999));

TEST_ROW(DownBranchCeiling, FollowsTheFallUnlessItIsKeptOrRaised)
{
    acMode = row().acMode;
    appliedPrefMax = row().applied;
    PwrPause = row().PwrPause;
    PerfRange = row().PerfRange;
    loop.PostPID = row().PostPID;
    loop.prefMax = row().prefMax;
    loop.floor = row().floor;

    fall(row().prev, row().power);

    EXPECT_EQ(loop.prefMax, row().after);
    EXPECT_EQ(appliedPrefMax, row().after);
    EXPECT_EQ(PwrPause, 0);
    EXPECT_EQ(loop.PostPID, 0);
    EXPECT_THAT(machine.messages(), SizeIs(row().messages));
}

TEST_F(DownBranch, FallRightAfterARestoreCountsAsNone)
{
    perfRestored = 1;

    fall(10000, 2000);

    EXPECT_EQ(loop.prefMax, 4000);
    EXPECT_EQ(loop.DeltaPkgpwr, 0);
    EXPECT_EQ(perfRestored, 0);
}

TEST_F(DownBranch, FirstStepTakesItsOwnPowerAsTheEarlierOne)
{
    fall(0, 3000);

    EXPECT_EQ(loop.prev, 3000);
    EXPECT_EQ(pkgPowerPrev, 3000);
    EXPECT_EQ(loop.DeltaPkgpwr, 0);
    EXPECT_EQ(loop.prefMax, 4000);
}

TEST_F(DownBranch, WritesTheCeilingAndRemembersTheStep)
{
    PwrPause = 1;
    loop.restorePending = 0;

    fall(10000, 9000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 3600 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 9000 *Perf Max = 3600 *DeltaPkgpwr = 1000 "
                            "*PerfRange ==: 3000 *tempPerfRange = 1000 PwrPause = 0 *WLC ==: 3"));
    EXPECT_EQ(pkgPowerPrev, 9000);
    EXPECT_EQ(prevClipCount, 0);
    EXPECT_EQ(PwrPause, 0);
    EXPECT_EQ(loop.restorePending, 0);
    EXPECT_EQ(loop.probeSleep, 300U);
    EXPECT_EQ(exitCount, -1);
}

TEST_F(DownBranch, ClearsAPendingClipAlsoWhileScalingIsOff)
{
    Kv_opt = 0;
    kv_off_f = 0;
    clipPending = 1;

    fall(3000, 3000);

    EXPECT_EQ(clipPending, 0);
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(DownBranch, WorkloadPauseStepsUpALowCeiling)
{
    appliedPrefMax = 1999;
    PwrPause = 1;

    fall(3000, 3000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  *** PIDx 4 WLC Change prefMax ==2199 PwrPause = 1 *WLC ==: 3",
                            "SET_PERF_PREFERENCE_MAX 2199 0",
                            "log 2  **** PIDx- 1 Down Pkg power = 3000 *Perf Max = 2199 *DeltaPkgpwr = 0 "
                            "*PerfRange ==: 3000 *tempPerfRange = 1000 PwrPause = 0 *WLC ==: 3"));
}

TEST_F(DownBranch, ProcessStartBeginsABurstWithoutAWrite)
{
    PID_Change = 1;
    PwrPause = 1;
    minPrefReset = -1;
    clipPending = 1;
    loop.restorePending = 0;

    fall(3000, 3000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("log 2  **** PIDx- 1 PIDC Pkg power = 3000 *exitCount = 2 *prev_exitCount ==: -1 "
                            "*tempPerfRange = 1000 *WLC ==: 3"));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(PwrPause, 0);
    EXPECT_EQ(appliedPrefMax, 9000);
    EXPECT_EQ(pkgPowerPrev, 3000);
    EXPECT_EQ(prevClipCount, 0);
}

struct BurstRow {
    int power;
    std::uint32_t acMode = 1;
    int cpuPL1 = 17000;
    int prefMax = 4000;
    int exitCount = -1;
    int steps;
};

class DownBranchBurst : public WithRow<DownBranch, BurstRow> {};

TEST_ROWS(DownBranchBurst, ROW(.power = 8499, .steps = 2), ROW(.power = 8500, .steps = 3),
          ROW(.power = 8500, .acMode = 0, .steps = 2), ROW(.power = 8500, .acMode = 255, .steps = 3),
          ROW(.power = 8500, .cpuPL1 = 17001, .steps = 3), ROW(.power = 4999, .cpuPL1 = 9000, .steps = 2),
          ROW(.power = 5000, .cpuPL1 = 9000, .steps = 3), ROW(.power = INT_MAX, .steps = 3),
          // one that is counting
          ROW(.power = 9000, .exitCount = 1, .steps = 2), ROW(.power = 3000, .exitCount = 3, .steps = 2),
          // full performance already
          ROW(.power = 9000, .prefMax = 10000, .steps = 3));

TEST_ROW(DownBranchBurst, LastsLongerAtHighPowerOnMains)
{
    PID_Change = 1;
    acMode = row().acMode;
    cpuPL1 = row().cpuPL1;
    exitCount = row().exitCount;
    loop.prefMax = row().prefMax;
    loop.restorePending = 0;

    fall(row().power, row().power);

    EXPECT_EQ(exitCount, row().steps);
    EXPECT_EQ(loop.prev_exitCount, row().exitCount);
    EXPECT_THAT(machine.happened(), SizeIs(1));
}

}  // namespace
}  // namespace kelvane::tests
