// PIDx- 2: how far the ceiling goes up with power.
#include "controller/branches.h"
#include "state/state.h"

#include "tests/support/rows.h"
#include "tests/support/simulated_machine.h"

#include <gmock/gmock.h>

#include <climits>
#include <string>

namespace kelvane::tests {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

// On mains, in a burst, so that no cap interferes.
class UpBranchRise : public testing::Test {
protected:
    UpBranchRise()
    {
        minPrefReset = 0;
        appliedPrefMax = 9000;
        acMode = 1;
        cpuPL1 = 17000;
        pwrCeiling = 15000;
        PerfRange = 3000;
        exitCount = 1;
        lastPrefMax = 1111;
        leastRangeCount = 4;
        leastRangeLimit = 5;
        upStep = 200;
        loop.prefMax = 4000;
        loop.floor = 1000;
        loop.restorePending = 1;
    }

    // The ceiling that the branch decides and writes.
    int ceilingAfter(int prev, int power)
    {
        loop.prev = prev;
        pkgPower = power;
        onPowerUp(loop);
        EXPECT_EQ(appliedPrefMax, loop.prefMax);
        return loop.prefMax;
    }

    SimulatedMachine machine;
    LoopState loop;
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

class UpBranchCeiling : public WithRow<UpBranchRise, RiseRow> {};

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

TEST_P(UpBranchCeiling, FollowsTheRise)
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

class UpBranchFifth : public WithRow<UpBranchRise, FifthRow> {};

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

TEST_P(UpBranchFifth, OfTheEarlierPowerCountsMoreAtSmallPowersAndRises)
{
    ceilingAfter(row().prev, row().power);

    EXPECT_EQ(loop.Xf, row().Xf);
    EXPECT_EQ(loop.DeltaPkgpwr, row().power - row().prev);
}

struct RepeatRow {
    int count;
    int upStep = 200;
    int after;  // from 4000
    int countAfter;
};

class UpBranchRepeat : public WithRow<UpBranchRise, RepeatRow> {};

TEST_ROWS(UpBranchRepeat, ROW(.count = 0, .after = 4000, .countAfter = 1),
          ROW(.count = 4, .after = 4000, .countAfter = 5), ROW(.count = 5, .after = 4000, .countAfter = 6),
          ROW(.count = 6, .after = 4200, .countAfter = 1),
          ROW(.count = 6, .upStep = 300, .after = 4300, .countAfter = 1),
          ROW(.count = 7, .upStep = 150, .after = 4150, .countAfter = 1));

TEST_P(UpBranchRepeat, IsCountedAtASmallRiseWhileThePreferenceStandsStill)
{
    lastPrefMax = 4000;
    leastRangeCount = row().count;
    upStep = row().upStep;

    EXPECT_EQ(ceilingAfter(10000, 10500), row().after);
    EXPECT_EQ(leastRangeCount, row().countAfter);
    EXPECT_EQ(loop.incnttype, 3);
    ASSERT_THAT(machine.messages(), SizeIs(2));
    EXPECT_EQ(machine.messages()[1], "2  *** PIDx 6 No change in PrefMax, within least range = " +
                                         std::to_string(row().countAfter) + " ** incnttype = 3");
}

TEST_F(UpBranchRise, CeilingTooFarAboveAnImpossibleTierFallsToItAndIsWrittenAs2000)
{
    acMode = 255;
    exitCount = 0;
    PerfRange = -41500;
    loop.prefMax = 9901;
    loop.prev = 10000;
    pkgPower = 10500;

    onPowerUp(loop);

    EXPECT_EQ(loop.prefMax, -41500);
    EXPECT_EQ(appliedPrefMax, 2000);
}

TEST_F(UpBranchRise, SmallRiseOfAPreferenceThatMovedForgetsTheRepeats)
{
    ceilingAfter(10000, 10500);

    EXPECT_EQ(leastRangeCount, 0);
}

TEST_F(UpBranchRise, LargerRiseLeavesTheRepeatsAlone)
{
    lastPrefMax = 4000;

    ceilingAfter(10000, 11000);

    EXPECT_EQ(leastRangeCount, 4);
    EXPECT_EQ(loop.incnttype, 0);
}

TEST_F(UpBranchRise, ClearsAPendingClip)
{
    clipPending = 1;

    ceilingAfter(10000, 11000);

    EXPECT_EQ(clipPending, 0);
}

}  // namespace
}  // namespace kelvane::tests
