// PIDx- 2: how far the ceiling goes up with power, the write, and the process-start burst with its pauses.
#include "controller/branches.h"
#include "tests/controller/part_of_step.h"

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// In a burst, so that no cap interferes.
class UpBranch : public PartOfStep {
protected:
    UpBranch()
    {
        appliedPrefMax = 9000;
        pwrCeiling = 15000;
        PerfRange = 3000;
        exitCount = 1;
        lastPrefMax = 1111;
        leastRangeCount = 4;
        leastRangeLimit = 5;
        upStep = 200;
        g_workload = 3;
        loop.prefMax = 4000;
        loop.floor = 1000;
        loop.restorePending = 1;
        loop.probeSleep = 300;
    }

    void rise(int from, int to)
    {
        loop.prev = from;
        pkgPower = to;
        onPowerUp(loop);
    }

    // The ceiling that the branch decides and writes.
    int ceilingAfter(int from, int to)
    {
        rise(from, to);
        EXPECT_EQ(appliedPrefMax, loop.prefMax);
        return loop.prefMax;
    }
};

// What the branch makes of a rise, on mains in a burst with the ceiling at 4000.
struct RiseRow {
    int prev = 10000;   // mW
    int power = 10500;  // mW
    std::uint32_t acMode = 1;
    int PerfRange = 3000;
    int exitCount = 1;
    int PostPID = 0;
    int prefMax = 4000;
    int floor = 1000;
    int after = 4000;
};

class UpBranchCeiling : public WithRow<UpBranch, RiseRow> {};

TEST_ROWS(UpBranchCeiling,
          // against a fifth of 2000 mW
          ROW(.prev = 10000, .power = 10999, .after = 4000), ROW(.prev = 10000, .power = 11000, .after = 4200),
          ROW(.prev = 10000, .power = 11999, .after = 4200), ROW(.prev = 10000, .power = 12000, .after = 4400),
          ROW(.prev = 10000, .power = 13999, .after = 4400), ROW(.prev = 10000, .power = 14000, .after = 5500),
          // of 400 mW: less than a thousand risen to less than four
          ROW(.prev = 2000, .power = 2799, .after = 4400), ROW(.prev = 2000, .power = 2800, .after = 5000),
          ROW(.prev = 2000, .power = 2999, .after = 5000), ROW(.prev = 2000, .power = 3000, .after = 5500),
          // half of 2001 mW is truncated
          ROW(.prev = 10005, .power = 11004, .after = 4000), ROW(.prev = 10005, .power = 11005, .after = 4200),
          // a fifth of -2000 mW is -400: any rise is more than twice that
          ROW(.prev = -2000, .power = 1200, .after = 5500), ROW(.prev = -10, .power = 900, .after = 5000),
          // a steep rise
          ROW(.prev = 2000, .power = 7000, .after = 5500), ROW(.prev = 2000, .power = 7001, .after = 10000),
          ROW(.prev = -1, .power = 4999, .after = 5500), ROW(.prev = -1, .power = 5000, .after = 10000),
          // above the power ceiling
          ROW(.prev = 14000, .power = 15000, .after = 4000), ROW(.prev = 14000, .power = 15001, .after = 10000),
          ROW(.prev = 3000, .power = INT_MAX, .after = 10000), ROW(.prev = -1, .power = INT_MAX, .after = 10000),
          // the step after a burst began keeps full performance
          ROW(.power = 11000, .PostPID = 1, .after = 10000), ROW(.power = 11000, .PostPID = 2, .after = 4200),
          ROW(.power = 11000, .PostPID = 1, .prefMax = 9999, .after = 10000),
          ROW(.power = 11000, .PostPID = 1, .prefMax = 10000, .after = 10000),
          // a small rise of a ceiling that moved only lifts it to the floor
          ROW(.floor = 1000, .after = 4000), ROW(.floor = 4000, .after = 4000),
          ROW(.prefMax = 3999, .floor = 4000, .after = 4100), ROW(.prefMax = 1000, .floor = 4000, .after = 4100),
          // too far above the tier, outside a burst
          ROW(.acMode = 0, .exitCount = 0, .prefMax = 3400, .after = 3400),
          ROW(.acMode = 0, .exitCount = 0, .prefMax = 3401, .after = 3000),
          ROW(.exitCount = 0, .prefMax = 3600, .after = 3600), ROW(.exitCount = 0, .prefMax = 3601, .after = 3000),
          ROW(.exitCount = -1, .prefMax = 3601, .after = 3000), ROW(.exitCount = 1, .prefMax = 3601, .after = 3601),
          ROW(.PerfRange = 4199, .exitCount = 0, .prefMax = 4799, .after = 4799),
          ROW(.PerfRange = 4199, .exitCount = 0, .prefMax = 4800, .after = 4199),
          ROW(.acMode = 0, .PerfRange = 4200, .exitCount = 0, .prefMax = 4900, .after = 4900),
          ROW(.acMode = 0, .PerfRange = 4200, .exitCount = 0, .prefMax = 4901, .after = 4200),
          ROW(.PerfRange = 4200, .exitCount = 0, .prefMax = 5300, .after = 5300),
          ROW(.PerfRange = 4200, .exitCount = 0, .prefMax = 5301, .after = 4200),
          ROW(.exitCount = 0, .prefMax = 9999, .after = 3000), ROW(.exitCount = 0, .prefMax = 10000, .after = 10000),
          ROW(.exitCount = 0, .prefMax = 10500, .after = 10000), ROW(.exitCount = 1, .prefMax = 10500, .after = 10000),
          // of an unknown power source 51400 above it, or 102700 with the tier at 4200
          ROW(.acMode = 255, .exitCount = 0, .prefMax = 9999, .after = 9999),
          ROW(.acMode = 255, .PerfRange = 4200, .exitCount = 0, .prefMax = 9999, .after = 9999),
          ROW(.acMode = 255, .PerfRange = -41500, .exitCount = 0, .prefMax = 9900, .after = 9900));

TEST_ROW(UpBranchCeiling, FollowsTheRise)
{
    acMode = row().acMode;
    PerfRange = row().PerfRange;
    exitCount = row().exitCount;
    loop.PostPID = row().PostPID;
    loop.prefMax = row().prefMax;
    loop.floor = row().floor;

    EXPECT_EQ(ceilingAfter(row().prev, row().power), row().after);
    EXPECT_EQ(loop.PostPID, 0);
    EXPECT_EQ(loop.incnttype, 0);
    EXPECT_THAT(machine.messages(), SizeIs(1));
    EXPECT_THAT(machine.sleeps(), IsEmpty());
}

struct FifthRow {
    int prev;
    int power;
    int Xf;
};

class UpBranchFifth : public WithRow<UpBranch, FifthRow> {};

TEST_ROWS(UpBranchFifth,
          // below 500 mW now and 800 before: five times
          ROW(.prev = 400, .power = 499, .Xf = 400), ROW(.prev = 799, .power = 499, .Xf = 795),
          ROW(.prev = 404, .power = 450, .Xf = 400),
          // below 1000 mW, risen by less than 200: three times
          ROW(.prev = 400, .power = 500, .Xf = 240), ROW(.prev = 800, .power = 499, .Xf = 480),
          ROW(.prev = 800, .power = 999, .Xf = 480),
          // below 2000 mW, risen by less than 500: twice
          ROW(.prev = 799, .power = 999, .Xf = 318), ROW(.prev = 900, .power = 1000, .Xf = 360),
          ROW(.prev = 1500, .power = 1999, .Xf = 600),
          // else once
          ROW(.prev = 1499, .power = 1999, .Xf = 299), ROW(.prev = 1900, .power = 2000, .Xf = 380),
          ROW(.prev = 499, .power = 999, .Xf = 99), ROW(.prev = 10004, .power = 12000, .Xf = 2000),
          ROW(.prev = -1, .power = 1200, .Xf = 0), ROW(.prev = -10, .power = 1200, .Xf = -2));

TEST_ROW(UpBranchFifth, OfTheEarlierPowerCountsMoreAtSmallPowersAndRises)
{
    ceilingAfter(row().prev, row().power);

    EXPECT_EQ(loop.Xf, row().Xf);
    EXPECT_EQ(loop.DeltaPkgpwr, row().power - row().prev);
}

struct RepeatRow {
    int power = 10500;
    int last = 4000;
    int count;
    int upStep = 200;
    int after = 4000;
    int countAfter;
    int incnttype = 3;
};

class UpBranchRepeat : public WithRow<UpBranch, RepeatRow> {};

TEST_ROWS(UpBranchRepeat, ROW(.count = 0, .countAfter = 1), ROW(.count = 4, .countAfter = 5),
          ROW(.count = 5, .countAfter = 6), ROW(.count = 6, .after = 4200, .countAfter = 1),
          ROW(.count = 6, .upStep = 300, .after = 4300, .countAfter = 1),
          ROW(.count = 7, .upStep = 150, .after = 4150, .countAfter = 1),
          // forgotten when the preference moved, left alone by a larger rise
          ROW(.last = 1111, .count = 4, .countAfter = 0, .incnttype = 0),
          ROW(.power = 11000, .count = 4, .after = 4200, .countAfter = 4, .incnttype = 0));

TEST_ROW(UpBranchRepeat, IsCountedAtASmallRiseWhileThePreferenceStandsStill)
{
    lastPrefMax = row().last;
    leastRangeCount = row().count;
    upStep = row().upStep;

    EXPECT_EQ(ceilingAfter(10000, row().power), row().after);
    EXPECT_EQ(leastRangeCount, row().countAfter);
    EXPECT_EQ(loop.incnttype, row().incnttype);
    if (row().incnttype == 3) {
        EXPECT_EQ(machine.messages().back(), "2  *** PIDx 6 No change in PrefMax, within least range = " +
                                                 std::to_string(row().countAfter) + " ** incnttype = 3");
    }
}

TEST_F(UpBranch, CeilingTooFarAboveAnImpossibleTierFallsToItAndIsWrittenAs2000)
{
    acMode = 255;
    exitCount = 0;
    PerfRange = -41500;
    loop.prefMax = 9901;

    rise(10000, 10500);

    EXPECT_EQ(loop.prefMax, -41500);
    EXPECT_EQ(appliedPrefMax, 2000);
}

TEST_F(UpBranch, WritesTheCeilingAndRemembersTheStep)
{
    NewPIDAvgPwr = 5500;
    pkgPowerPrev = 10000;
    clipPending = 1;
    prevClipCount = 2;

    rise(10000, 12000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("SET_PERF_PREFERENCE_MAX 4400 0",
                            "log 2  **** PIDx- 2 Up   Pkg power = 12000 *Perf Max = 4400 *DeltaPkgpwr ==: 2000 "
                            "*Xf ==: 2000 *NewPIDAvgPwr = 5500 *PerfRange ==: 3000 *WLC ==: 3"));
    EXPECT_EQ(pkgPowerPrev, 12000);
    EXPECT_EQ(prevClipCount, 0);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(loop.probeSleep, 300U);
    EXPECT_EQ(exitCount, 1);
}

class UpBranchBurst : public UpBranch {
protected:
    UpBranchBurst()
    {
        PID_Change = 1;
        exitCount = -1;
    }
};

TEST_F(UpBranchBurst, ProcessStartBeginsABurstWithoutAWrite)
{
    minPrefReset = -1;
    clipPending = 1;
    prevClipCount = 2;
    loop.restorePending = 0;

    rise(10000, 12000);

    EXPECT_THAT(machine.happened(),
                ElementsAre("sleep 2000",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 12000 *Perf Max = 10000 *DeltaPkgpwr ==: 2000 "
                            "*Xf ==: 2000 *exitCount = 3 *prev_exitCount ==: -1 *WLC ==: 3"));
    EXPECT_EQ(PID_Change, 0);
    EXPECT_EQ(NewPID, 1);
    EXPECT_EQ(loop.PostPID, 1);
    EXPECT_EQ(loop.prefMax, 10000);
    EXPECT_EQ(loop.probeSleep, 200U);
    EXPECT_EQ(clipPending, 0);
    EXPECT_EQ(appliedPrefMax, 9000);
    EXPECT_EQ(pkgPowerPrev, 12000);
    EXPECT_EQ(prevClipCount, 0);
}

// Unlike on the way down, neither the power source nor PL1 counts.
struct BurstRow {
    int prev;
    int power;
    std::uint32_t acMode = 1;
    int PostPID = 0;
    int prefMax = 4000;
    int restorePending = 1;
    int exitCount = -1;
    int steps = 3;
    std::uint32_t pause;
};

class UpBranchBursts : public WithRow<UpBranchBurst, BurstRow> {};

TEST_ROWS(UpBranchBursts,
          // shorter by what the burst prolongs: a restore is pending
          ROW(.prev = 5000, .power = 6000, .restorePending = 0, .pause = 2000),
          ROW(.prev = 5900, .power = 6000, .restorePending = 0, .pause = 2000),
          ROW(.prev = 5000, .power = 6000, .pause = 1000),
          ROW(.prev = 5000, .power = 6000, .restorePending = 2, .pause = 1000),
          ROW(.prev = 9000, .power = 15001, .pause = 1000),
          // after a small rise, also in the step after a burst began
          ROW(.prev = 5900, .power = 6000, .pause = 500),
          ROW(.prev = 5900, .power = 6000, .PostPID = 1, .prefMax = 10000, .pause = 500),
          // light power: a step less
          ROW(.prev = 3000, .power = 4000, .restorePending = 0, .steps = 2, .pause = 2000),
          ROW(.prev = 4900, .power = 4999, .steps = 2, .pause = 2000), ROW(.prev = 4900, .power = 5000, .pause = 500),
          ROW(.prev = 4000, .power = 4999, .steps = 2, .pause = 2000), ROW(.prev = 4000, .power = 5000, .pause = 1000),
          ROW(.prev = 4000, .power = 5000, .acMode = 0, .pause = 1000),
          ROW(.prev = 4000, .power = 5000, .acMode = 255, .pause = 1000),
          // one that is counting
          ROW(.prev = 5000, .power = 6000, .exitCount = 1, .steps = 2, .pause = 1000),
          ROW(.prev = 5000, .power = 6000, .exitCount = 4, .steps = 3, .pause = 1000),
          // full performance already
          ROW(.prev = 5000, .power = 6000, .prefMax = 10000, .restorePending = 0, .pause = 2000));

TEST_ROW(UpBranchBursts, LastAndPauseByPower)
{
    acMode = row().acMode;
    exitCount = row().exitCount;
    loop.PostPID = row().PostPID;
    loop.prefMax = row().prefMax;
    loop.restorePending = row().restorePending;
    machine.onSleep = [this](std::uint32_t) {
        EXPECT_EQ(PID_Change, 0);
        EXPECT_EQ(loop.restorePending, row().restorePending);  // until after the pause
    };

    rise(row().prev, row().power);

    EXPECT_EQ(exitCount, row().steps);
    EXPECT_EQ(loop.restorePending, 1);
    EXPECT_THAT(machine.sleeps(), ElementsAre(row().pause));
    EXPECT_THAT(machine.messages(), SizeIs(1));
    EXPECT_THAT(machine.writes(), IsEmpty());
}

TEST_F(UpBranchBurst, LineOfAPreferenceThatStoodStillComesLast)
{
    lastPrefMax = 4000;

    rise(10000, 10500);

    EXPECT_THAT(machine.happened(),
                ElementsAre("sleep 500",
                            "log 2  **** PIDx- 2 PIDC Pkg power = 10500 *Perf Max = 10000 *DeltaPkgpwr ==: 500 "
                            "*Xf ==: 2000 *exitCount = 3 *prev_exitCount ==: -1 *WLC ==: 3",
                            "log 2  *** PIDx 6 No change in PrefMax, within least range = 5 ** incnttype = 3"));
}

}  // namespace
}  // namespace kelvane::tests
