// PIDx- 2: how far the ceiling goes up with power.
#include "controller/branches.h"
#include "state/state.h"

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
    UpBranchRise() { arrange(); }

    void arrange()
    {
        minPrefReset = 0;
        appliedPrefMax = 9000;
        acMode = 1;
        cpuPL1 = 17000;
        pwrCeiling = 15000;
        PerfRange = 3000;
        PID_Change = 0;
        exitCount = 1;
        lastPrefMax = 1111;
        leastRangeCount = 4;
        leastRangeLimit = 5;
        upStep = 200;
        loop = {};
        loop.prefMax = 4000;
        loop.floor = 1000;
        loop.restorePending = 1;
        machine.forget();
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

TEST_F(UpBranchRise, FifthOfTheEarlierPowerCountsMoreAtSmallPowersAndRises)
{
    struct Row {
        int prev;
        int pkgPower;
        int Xf;
    };

    const Row rows[] = {
        // below 500 mW now and 800 before: five times
        { 400, 499, 400 },
        { 799, 499, 795 },
        { 404, 450, 400 },
        // below 1000 mW, risen by less than 200: three times
        { 400, 500, 240 },
        { 800, 499, 480 },
        { 800, 999, 480 },
        // below 2000 mW, risen by less than 500: twice
        { 799, 999, 318 },
        { 900, 1000, 360 },
        { 1500, 1999, 600 },
        // else once
        { 1499, 1999, 299 },
        { 1900, 2000, 380 },
        { 499, 999, 99 },
        { 10004, 12000, 2000 },
        { -1, 1200, 0 },
        { -10, 1200, -2 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.prev) + " " + std::to_string(row.pkgPower));
        arrange();

        ceilingAfter(row.prev, row.pkgPower);

        EXPECT_EQ(loop.Xf, row.Xf);
        EXPECT_EQ(loop.DeltaPkgpwr, row.pkgPower - row.prev);
    }
}

TEST_F(UpBranchRise, CeilingGoesUpByTheRiseAgainstAFifth)
{
    struct Row {
        int prev;
        int pkgPower;
        int after;  // from 4000
    };

    const Row rows[] = {
        // a fifth of 2000 mW
        { 10000, 10999, 4000 },
        { 10000, 11000, 4200 },
        { 10000, 11999, 4200 },
        { 10000, 12000, 4400 },
        { 10000, 13999, 4400 },
        { 10000, 14000, 5500 },
        // of 400 mW: less than a thousand risen to less than four
        { 2000, 2799, 4400 },
        { 2000, 2800, 5000 },
        { 2000, 2999, 5000 },
        { 2000, 3000, 5500 },
        // half of 2001 mW is truncated
        { 10005, 11004, 4000 },
        { 10005, 11005, 4200 },
        // a steep rise
        { 2000, 7000, 5500 },
        { 2000, 7001, 10000 },
        { -1, 5000, 10000 },
        { -1, 4999, 5500 },
        // above the power ceiling
        { 14000, 15000, 4000 },
        { 14000, 15001, 10000 },
        { 3000, INT_MAX, 10000 },
        { -1, INT_MAX, 10000 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.prev) + " " + std::to_string(row.pkgPower));
        arrange();

        EXPECT_EQ(ceilingAfter(row.prev, row.pkgPower), row.after);
    }
}

TEST_F(UpBranchRise, NegativeEarlierPowerGoesThroughTheChainByTheLetter)
{
    // A fifth of -2000 mW is -400: any rise is more than twice that.
    EXPECT_EQ(ceilingAfter(-2000, 1200), 5500);

    arrange();
    EXPECT_EQ(ceilingAfter(-10, 900), 5000);
}

TEST_F(UpBranchRise, StepAfterABurstBeganKeepsFullPerformance)
{
    struct Row {
        int PostPID;
        int prefMax;
        int after;
    };

    for (const Row& row : { Row{ 1, 4000, 10000 }, Row{ 1, 9999, 10000 }, Row{ 1, 10000, 10000 }, Row{ 0, 4000, 4200 },
                            Row{ 2, 4000, 4200 } }) {
        SCOPED_TRACE(std::to_string(row.PostPID) + " " + std::to_string(row.prefMax));
        arrange();
        loop.PostPID = row.PostPID;
        loop.prefMax = row.prefMax;

        EXPECT_EQ(ceilingAfter(10000, 11000), row.after);
        EXPECT_EQ(loop.PostPID, 0);
    }
}

TEST_F(UpBranchRise, SmallRiseIsCountedWhileThePreferenceStandsStill)
{
    struct Row {
        int count;
        int upStep;
        int after;  // from 4000
        int countAfter;
    };

    for (const Row& row : { Row{ 0, 200, 4000, 1 }, Row{ 4, 200, 4000, 5 }, Row{ 5, 200, 4000, 6 },
                            Row{ 6, 200, 4200, 1 }, Row{ 6, 300, 4300, 1 }, Row{ 7, 150, 4150, 1 } }) {
        SCOPED_TRACE(std::to_string(row.count) + " " + std::to_string(row.upStep));
        arrange();
        lastPrefMax = 4000;
        leastRangeCount = row.count;
        upStep = row.upStep;

        EXPECT_EQ(ceilingAfter(10000, 10500), row.after);
        EXPECT_EQ(leastRangeCount, row.countAfter);
        EXPECT_EQ(loop.incnttype, 3);
        ASSERT_THAT(machine.messages(), SizeIs(2));
        EXPECT_EQ(machine.messages()[1], "2  *** PIDx 6 No change in PrefMax, within least range = " +
                                             std::to_string(row.countAfter) + " ** incnttype = 3");
    }
}

TEST_F(UpBranchRise, SmallRiseOfAPreferenceThatMovedOnlyLiftsItToTheFloor)
{
    struct Row {
        int prefMax;
        int floor;
        int after;
    };

    for (const Row& row :
         { Row{ 4000, 1000, 4000 }, Row{ 4000, 4000, 4000 }, Row{ 3999, 4000, 4100 }, Row{ 1000, 4000, 4100 } }) {
        SCOPED_TRACE(row.prefMax);
        arrange();
        loop.prefMax = row.prefMax;
        loop.floor = row.floor;

        EXPECT_EQ(ceilingAfter(10000, 10500), row.after);
        EXPECT_EQ(leastRangeCount, 0);
        EXPECT_EQ(loop.incnttype, 0);
        EXPECT_THAT(machine.messages(), SizeIs(1));
    }
}

TEST_F(UpBranchRise, LargerRiseLeavesTheRepeatsAlone)
{
    lastPrefMax = 4000;

    ceilingAfter(10000, 11000);

    EXPECT_EQ(leastRangeCount, 4);
    EXPECT_EQ(loop.incnttype, 0);
}

TEST_F(UpBranchRise, CeilingTooFarAboveTheTierFallsToItOutsideABurst)
{
    struct Row {
        std::uint32_t acMode;
        int PerfRange;
        int exitCount;
        int prefMax;
        int after;
    };

    const Row rows[] = {
        { 0, 3000, 0, 3400, 3400 },   { 0, 3000, 0, 3401, 3000 },   { 1, 3000, 0, 3600, 3600 },
        { 1, 3000, 0, 3601, 3000 },   { 1, 3000, -1, 3601, 3000 },  { 1, 3000, 1, 3601, 3601 },
        { 1, 4199, 0, 4799, 4799 },   { 1, 4199, 0, 4800, 4199 },   { 0, 4200, 0, 4900, 4900 },
        { 0, 4200, 0, 4901, 4200 },   { 1, 4200, 0, 5300, 5300 },   { 1, 4200, 0, 5301, 4200 },
        { 1, 3000, 0, 9999, 3000 },   { 1, 3000, 0, 10000, 10000 }, { 1, 3000, 0, 10500, 10000 },
        { 1, 3000, 1, 10500, 10000 }, { 255, 3000, 0, 9999, 9999 }, { 255, 4200, 0, 9999, 9999 },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.acMode) + " " + std::to_string(row.PerfRange) + " " +
                     std::to_string(row.exitCount) + " " + std::to_string(row.prefMax));
        arrange();
        acMode = row.acMode;
        PerfRange = row.PerfRange;
        exitCount = row.exitCount;
        loop.prefMax = row.prefMax;

        EXPECT_EQ(ceilingAfter(10000, 10500), row.after);
    }
}

TEST_F(UpBranchRise, UnknownPowerSourceHasAHugeMargin)
{
    acMode = 255;
    exitCount = 0;
    PerfRange = -41500;  // 51400 above it, or 102700 with the tier at 4200
    loop.prefMax = 9900;
    EXPECT_EQ(ceilingAfter(10000, 10500), 9900);

    arrange();
    acMode = 255;
    exitCount = 0;
    PerfRange = -41500;
    loop.prefMax = 9901;
    loop.prev = 10000;
    pkgPower = 10500;

    onPowerUp(loop);

    EXPECT_EQ(loop.prefMax, -41500);
}

TEST_F(UpBranchRise, ClearsAPendingClip)
{
    clipPending = 1;

    ceilingAfter(10000, 11000);

    EXPECT_EQ(clipPending, 0);
    EXPECT_THAT(machine.sleeps(), IsEmpty());
}

}  // namespace
}  // namespace kelvane::tests
